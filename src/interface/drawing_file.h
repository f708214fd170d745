// The buffered file object through which every reader and writer goes.
#ifndef VELKO_DRAWING_FILE_H
#define VELKO_DRAWING_FILE_H

#include "velkow32.h"

#include <cstdint>
#include <string>

// Resolves a drawing's path on this system: "\" and "/" both separate components, and a
// path that does not exist as written is looked up component by component, ignoring case.
// Returns the path to use (the original, normalised, when nothing matches).
std::string ResolveDrawingPath(const char *name);

class CDrawingFile {
public:
    static constexpr int32_t kReadCapacity = 20480;
    static constexpr int32_t kWriteCapacity = 8192;

    CDrawingFile();
    // Carries a drawing's layout (version, trailer) to a new file object with empty buffers.
    CDrawingFile(const CDrawingFile &other);
    CDrawingFile &operator=(const CDrawingFile &) = delete;
    ~CDrawingFile();

    int Open(const char *name, CDB_OPEN_MODE mode);
    int Close();
    int SetPosition(int32_t offset, int origin);
    int32_t GetPosition() const { return position; }
    int Read(void *dest, uint32_t size);
    char *ReadLine(char *dest, int max);
    int Write(const void *source, uint32_t size);
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
