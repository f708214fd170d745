// The buffered file object through which every reader and writer goes, and the resolution
// of a drawing's path on this system. The lowest layer of the library: it includes nothing
// else of it.
#ifndef VELKO_IO_DRAWING_FILE_H
#define VELKO_IO_DRAWING_FILE_H

#include <cstdint>
#include <memory>
#include <string>

// Resolves a drawing's path on this system: "\" and "/" both separate components, and a
// path that does not exist as written is looked up component by component, ignoring case.
// Returns the path to use (the original, normalised, when nothing matches).
std::string ResolveDrawingPath(const char *name);

// How CDrawingFile::Open opens a file. The values are those of the public open modes, so
// that a caller may pass either.
enum DrawingFileMode : int {
    kDrawingFileRead = 0,      // reading only; the file must exist
    kDrawingFileWrite = 1,     // writing only; created when missing, kept otherwise
    kDrawingFileReadWrite = 2, // reading and writing; the file must exist
    kDrawingFileCreate = 3     // reading and writing a new, empty file
};

class CDrawingFile {
public:
    static constexpr int32_t kReadCapacity = 20480;
    static constexpr int32_t kWriteCapacity = 8192;

    CDrawingFile();
    // Carries a drawing's layout (version, trailer) to a new file object with empty buffers.
    CDrawingFile(const CDrawingFile &other);
    CDrawingFile &operator=(const CDrawingFile &) = delete;
    ~CDrawingFile();

    int Open(const char *name, int mode); // a DrawingFileMode
    // Takes over `descriptor`, a regular file open for reading and writing, under `path`
    // (the name is not resolved again). 1, or 0 (the descriptor is then left alone).
    int Adopt(int descriptor, const std::string &path);
    // Writes the buffer out and asks the system to put the file's bytes on the disk. 1 or 0.
    int Sync();
    // The file, once renamed, goes on under `path`.
    void Rename(const std::string &path) { name = path; }
    // The descriptor, for the calls on the open file that only the owner of a replacement
    // makes (its permission bits). -1 when closed.
    int Descriptor() const { return fd; }
    int Close();
    int SetPosition(int32_t offset, int origin);
    int32_t GetPosition() const { return position; }
    int Read(void *dest, uint32_t size);
    char *ReadLine(char *dest, int max);
    // Bulk access for scanning: the bytes from the read position to the end of the read
    // buffer's fill (refilled when the position lies outside it), their count in
    // `available`, 0 at the end of the file. They are the bytes that Read would deliver one
    // at a time from the same position. Advance moves the position over `count` of them.
    const uint8_t *Span(uint32_t &available) {
        uint32_t pos = static_cast<uint32_t>(position);
        if (fd >= 0 && position >= 0 && buffer_start <= pos && pos < buffer_end && pos < length &&
            buffer) {
            uint32_t end = buffer_end < length ? buffer_end : length;
            available = end - pos;
            return buffer + (pos - buffer_start);
        }
        return SpanAfterRefill(available);
    }
    void Advance(uint32_t count) {
        int64_t target = static_cast<int64_t>(position) + count;
        position = target > INT32_MAX ? INT32_MAX : static_cast<int32_t>(target);
    }
    // The next object of a release 13 DWG at the read position: its 16-bit size `n`
    // (low byte first), `n` bytes of data and 2 check bytes, in a new block of n + 4 bytes
    // (bytes a short file lacks are zero). An object whose size has bit 15 set (32768 bytes
    // or more, in the long form of two 16-bit words) is passed over, and the one behind it
    // is delivered. Null when nothing can be read; `read_failed` tells a failed read of the
    // body from the end of the file.
    std::unique_ptr<uint8_t[]> ReadObject();
    bool read_failed = false;

    int Write(const void *source, uint32_t size);
    // Writing at a place: flushes what the write buffer holds and moves the physical file
    // position to `offset`, where the next Write goes. 1, or 0 when the platform refuses.
    int SeekForWrite(int32_t offset);
    // Writing at the end: flushes what the write buffer holds and moves the physical file
    // position to the end of the file, where the next Write goes. The offset of that end,
    // or -1 when the platform refuses.
    int32_t SeekEndForWrite();
    // Flushes and cuts the file to length 0; the next Write goes to offset 0. 1 or 0.
    int Truncate();
    int WriteString(const char *text);
    int Flush();
    // Moves the physical file position to the start; 0 when the platform refuses.
    int Rewind();
    bool IsOpen() const { return fd >= 0; }
    uint32_t Length() const { return length; }
    uint32_t LastRequest() const { return last_request; }
    const std::string &Name() const { return name; }

    char version[6] = {};
    uint8_t in_entity_section = 0;
    uint8_t trailer[128] = {};

private:
    int Refill();
    const uint8_t *SpanAfterRefill(uint32_t &available);

    int fd = -1;
    std::string name;
    uint32_t buffer_start = 0;
    uint32_t buffer_end = 0;
    int32_t position = 0;
    uint32_t last_request = 0;
    uint8_t *buffer = nullptr;
    uint32_t length = 0;
    int32_t capacity = kReadCapacity;
    struct WriteBuffer {
        uint8_t store[kWriteCapacity];
        uint32_t fill = 0;
    };
    WriteBuffer *write_buffer = nullptr;
};

#endif
