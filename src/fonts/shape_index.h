// The control-shape index VELKO.SDX: one file, shipped with the library, that holds several
// shape files and big fonts under their names. It is the last place where a shape table
// looks for a font.
#ifndef VELKO_SHAPE_INDEX_H
#define VELKO_SHAPE_INDEX_H

#include "fonts/shape_file.h"
#include "io/drawing_file.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

// The directories in which the index is looked for, in order: <install prefix>/share/velkow32
// and /usr/share/velkow32, unless a test has set others.
std::vector<std::string> ShapeIndexDirectories();
// Lets a test point every shape table created from now on at other directories.
void SetShapeIndexDirectoriesForTesting(std::vector<std::string> directories);
// Brings the two usual directories back.
void ResetShapeIndexDirectoriesForTesting();

class CShapeIndex {
public:
    static constexpr const char *kFileName = "VELKO.SDX";
    static constexpr const char *kSignature = "MORV Control Shapes";
    static constexpr uint32_t kSignatureLength = 19;
    static constexpr uint32_t kCountOffset = kSignatureLength;
    static constexpr uint32_t kDirectoryOffset = kSignatureLength + 2;
    static constexpr uint32_t kEntrySize = 38;
    static constexpr uint32_t kNameSize = 32;
    static constexpr int16_t kShapeFileKind = -1;
    static constexpr int16_t kBigFontKind = -2;

    struct Entry {
        char name[kNameSize + 1] = {}; // upper case, NUL-filled in the file
        int16_t kind = 0;
        uint32_t offset = 0;
    };

    CShapeIndex() = default;
    CShapeIndex(const CShapeIndex &) = delete;
    CShapeIndex &operator=(const CShapeIndex &) = delete;

    // Opens the index from the directories above: the first directory where the file opens
    // is the one used. 1, or 0 when no file opens, its first text is foreign or its
    // directory doesn't fit in it: the index is then unusable for good.
    int Open();
    // Opens the index at `path`, with the same checks.
    int Open(const std::string &path);

    bool Usable() const { return usable; }
    const std::string &Path() const { return path; }
    const std::vector<Entry> &Entries() const { return entries; }

    // The entry of a font name, upper-cased before the byte-wise comparison with each name
    // in directory order: entry index + 1, or 0 when it is not there (or the index is
    // unusable).
    int Lookup(const char *name) const;

    // Builds the shape file of entry `index` (kind -1). Null for another kind, an index
    // outside the directory, or a block that doesn't fit in the file.
    std::unique_ptr<CShapeFile> LoadShapeFile(int index);
    // Builds the big font of entry `index` (kind -2); its data stay in the index file and
    // are read on demand. Null on failure.
    std::unique_ptr<BigFont> LoadBigFont(int index);

private:
    // The entry `index` when it is of `kind`; null for another kind, an index outside the
    // directory, or an unusable index.
    const Entry *EntryOfKind(int index, int16_t kind) const;
    bool ReadAt(uint32_t offset, void *dest, uint32_t size);
    void MakeUnusable();

    CDrawingFile file;
    std::string path;
    std::vector<Entry> entries;
    bool usable = false;
};

#endif
