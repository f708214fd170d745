// A save that never destroys a file: the new content goes into a file of its own beside the
// target, and takes the target's place only once it is complete and on the disk.
//
// Open makes a new, empty file with a unique name in the folder of the target (the target's
// name resolved as every drawing name is, ignoring case; a symbolic link followed to the file
// it points at, so that the link stays and the file behind it is replaced) and hands it to a
// CDrawingFile to write. Commit writes the buffer out, syncs it to the disk, gives it the old
// file's permission bits (or those of a new file under the process's umask), and renames it
// over the target. Until Commit succeeds the target is left exactly as it was; a replacement
// that is not committed is removed when the object goes (or by Abandon), so that no stray
// file stays behind. An existing target that may not be written is refused at Open, as
// writing into it would be.
#ifndef VELKO_IO_FILE_REPLACEMENT_H
#define VELKO_IO_FILE_REPLACEMENT_H

#include <string>

class CDrawingFile;

class CFileReplacement {
public:
    explicit CFileReplacement(const char *target);
    ~CFileReplacement();
    CFileReplacement(const CFileReplacement &) = delete;
    CFileReplacement &operator=(const CFileReplacement &) = delete;

    // Opens `file` (which must be closed) on a new empty file beside the target. 1 or 0.
    int Open(CDrawingFile &file);
    // Puts the file written through `file` in the target's place. `file` stays open, now
    // under the target's name. 1, or 0 when any step fails; the new file is then removed
    // and the target is as it was.
    int Commit(CDrawingFile &file);
    // Removes the new file, if it is still there and not committed.
    void Abandon();

    // The path the new content goes to in the end (symbolic links followed).
    const std::string &Target() const { return target_; }
    // The path of the new file while it is written; empty when none is open.
    const std::string &Temporary() const { return temporary_; }

private:
    std::string target_;
    std::string temporary_;
    bool committed_ = false;
};

#endif
