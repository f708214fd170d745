#include "io/drawing_file.h"

#include <cctype>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

bool Exists(const std::string &path) {
    struct stat st;
    return ::stat(path.c_str(), &st) == 0;
}

bool EqualNoCase(const char *a, const char *b) {
    for (; *a && *b; ++a, ++b)
        if (std::toupper(static_cast<unsigned char>(*a)) !=
            std::toupper(static_cast<unsigned char>(*b)))
            return false;
    return *a == *b;
}

// Finds an entry of `dir` whose name equals `component` but for case.
bool FindNoCase(const std::string &dir, const std::string &component, std::string &found) {
    DIR *d = ::opendir(dir.empty() ? "." : dir.c_str());
    if (!d)
        return false;
    bool ok = false;
    while (dirent *e = ::readdir(d)) {
        if (EqualNoCase(e->d_name, component.c_str())) {
            found = e->d_name;
            ok = true;
            break;
        }
    }
    ::closedir(d);
    return ok;
}

} // namespace

std::string ResolveDrawingPath(const char *name) {
    std::string path = name ? name : "";
    for (char &c : path)
        if (c == '\\')
            c = '/';
    if (path.empty() || Exists(path))
        return path;

    std::vector<std::string> parts;
    std::string current;
    for (char c : path) {
        if (c == '/') {
            parts.push_back(current);
            current.clear();
        } else {
            current += c;
        }
    }
    parts.push_back(current);

    std::string resolved;
    for (size_t i = 0; i < parts.size(); ++i) {
        const std::string &part = parts[i];
        if (i == 0 && part.empty()) { // absolute path
            resolved = "/";
            continue;
        }
        if (part.empty() || part == "." || part == "..") {
            if (!part.empty())
                resolved += part + (i + 1 < parts.size() ? "/" : "");
            continue;
        }
        std::string candidate = resolved + part;
        std::string found;
        if (!Exists(candidate) && FindNoCase(resolved.empty() ? "." : resolved, part, found))
            candidate = resolved + found;
        resolved = candidate;
        if (i + 1 < parts.size())
            resolved += "/";
    }
    return resolved;
}

CDrawingFile::CDrawingFile() = default;

CDrawingFile::CDrawingFile(const CDrawingFile &other) : in_entity_section(other.in_entity_section) {
    std::memcpy(version, other.version, sizeof version);
    std::memcpy(trailer, other.trailer, sizeof trailer);
}

CDrawingFile::~CDrawingFile() {
    if (fd >= 0) {
        Flush();
        ::close(fd);
    }
    std::free(buffer);
    delete write_buffer;
}

int CDrawingFile::Open(const char *file_name, int mode) {
    if (fd >= 0 || !file_name)
        return 0;
    int flags = O_RDONLY;
    switch (mode) {
    case kDrawingFileRead:
        flags = O_RDONLY;
        break;
    case kDrawingFileWrite:
        flags = O_WRONLY | O_CREAT;
        break;
    case kDrawingFileReadWrite:
        flags = O_RDWR;
        break;
    case kDrawingFileCreate:
        flags = O_RDWR | O_CREAT | O_TRUNC;
        break;
    }
    std::string path = ResolveDrawingPath(file_name);
    int opened = ::open(path.c_str(), flags | O_CLOEXEC, 0644);
    if (opened < 0)
        return 0;
    if (!Adopt(opened, path)) {
        ::close(opened);
        return 0;
    }
    return 1;
}

int CDrawingFile::Adopt(int descriptor, const std::string &path) {
    if (fd >= 0 || descriptor < 0)
        return 0;
    struct stat st;
    if (::fstat(descriptor, &st) != 0 || !S_ISREG(st.st_mode))
        return 0;
    std::free(buffer);
    buffer = static_cast<uint8_t *>(std::calloc(static_cast<size_t>(capacity), 1));
    if (!buffer)
        return 0;
    fd = descriptor;
    name = path;
    buffer_start = buffer_end = 0;
    position = 0;
    // Lengths beyond what a signed 32-bit position can address are cut to that range.
    length = st.st_size > 0x7FFFFFFF ? 0x7FFFFFFFu : static_cast<uint32_t>(st.st_size);
    return 1;
}

int CDrawingFile::Close() {
    if (fd >= 0) {
        Flush();
        ::close(fd);
        fd = -1;
    }
    return 1;
}

int CDrawingFile::SetPosition(int32_t offset, int origin) {
    int64_t target = position;
    if (origin == 0)
        target = offset;
    else if (origin == 1)
        target = static_cast<int64_t>(position) + offset;
    else
        target = static_cast<int64_t>(length) + offset;
    if (target > INT32_MAX)
        target = INT32_MAX;
    if (target < INT32_MIN)
        target = INT32_MIN;
    position = static_cast<int32_t>(target);
    return 1;
}

int CDrawingFile::Rewind() {
    if (fd < 0)
        return 0;
    if (::lseek(fd, 0, SEEK_SET) < 0)
        return 0;
    position = 0;
    return 1;
}

int CDrawingFile::Refill() {
    buffer_start = static_cast<uint32_t>(position);
    if (::lseek(fd, static_cast<off_t>(buffer_start), SEEK_SET) < 0)
        return 0;
    size_t want = static_cast<size_t>(capacity) - 1;
    size_t got = 0;
    while (got < want) {
        ssize_t n = ::read(fd, buffer + got, want - got);
        if (n < 0)
            return 0;
        if (n == 0)
            break;
        got += static_cast<size_t>(n);
    }
    buffer_end = buffer_start + static_cast<uint32_t>(got);
    return 1;
}

int CDrawingFile::Read(void *dest, uint32_t size) {
    last_request = size;
    if (fd < 0 || !buffer || position < 0 || static_cast<uint32_t>(position) >= length)
        return 0;
    if (size > static_cast<uint32_t>(INT32_MAX - 1))
        return 0;
    if (static_cast<int64_t>(size) > capacity) {
        capacity = static_cast<int32_t>(size) + 1;
        std::free(buffer);
        buffer = static_cast<uint8_t *>(std::calloc(static_cast<size_t>(capacity), 1));
        buffer_start = buffer_end = 0;
        if (!buffer)
            return 0;
    }
    uint64_t pos = static_cast<uint32_t>(position);
    // The buffer serves only when the request ends strictly before its end.
    if (!(pos < buffer_end && pos + last_request < buffer_end && buffer_start <= pos)) {
        if (!Refill())
            return 0;
    }
    if (pos + size > buffer_end)
        size = buffer_end > pos ? static_cast<uint32_t>(buffer_end - pos) : 0;
    if (size)
        std::memcpy(dest, buffer + (pos - buffer_start), size);
    position += static_cast<int32_t>(size);
    return 1;
}

std::unique_ptr<uint8_t[]> CDrawingFile::ReadObject() {
    read_failed = false;
    for (;;) {
        int32_t start = position;
        uint8_t head[4] = {};
        if (!Read(head, sizeof head) || position == start)
            return nullptr;
        // Back to where the object starts, also when fewer than 4 bytes were left: the block
        // must begin with the size it was allocated for, since a bit stream over it takes
        // its length from there.
        position = start;
        uint32_t first = head[0] | (uint32_t(head[1]) << 8);
        if (first & 0x8000u) {
            // The long form: (first & 0x7FFF) XOR (second << 15) bytes of data and 6 more.
            uint32_t second = head[2] | (uint32_t(head[3]) << 8);
            int64_t skip = int64_t((first & 0x7FFFu) ^ (second << 15)) + 6;
            int64_t next = int64_t(start) + skip;
            if (next > INT32_MAX)
                return nullptr;
            position = static_cast<int32_t>(next);
            continue;
        }
        uint32_t count = (first & 0x7FFFu) + 4;
        std::unique_ptr<uint8_t[]> object(new uint8_t[count]());
        if (!Read(object.get(), count)) {
            read_failed = true;
            return nullptr;
        }
        return object;
    }
}

char *CDrawingFile::ReadLine(char *dest, int max) {
    if (!dest || max <= 0)
        return nullptr;
    int stored = 0;
    while (stored < max - 1) {
        char c = 0;
        int32_t before = position;
        if (!Read(&c, 1) || position == before) {
            dest[stored] = 0;
            return nullptr;
        }
        if (c == '\r')
            continue;
        dest[stored++] = c;
        if (c == '\n')
            break;
    }
    dest[stored] = 0;
    return stored ? dest : nullptr;
}

// The part of Span that finds the position outside the buffer: refills it there.
const uint8_t *CDrawingFile::SpanAfterRefill(uint32_t &available) {
    available = 0;
    if (fd < 0 || !buffer || position < 0 || static_cast<uint32_t>(position) >= length)
        return nullptr;
    uint32_t pos = static_cast<uint32_t>(position);
    if (!(buffer_start <= pos && pos < buffer_end)) {
        if (!Refill())
            return nullptr;
    }
    // Bytes past the length taken at open are not delivered by Read either.
    uint32_t end = buffer_end < length ? buffer_end : length;
    if (pos >= end || pos < buffer_start)
        return nullptr;
    available = end - pos;
    return buffer + (pos - buffer_start);
}

int CDrawingFile::Sync() {
    return fd >= 0 && Flush() && ::fsync(fd) == 0 ? 1 : 0;
}

int CDrawingFile::Flush() {
    if (!write_buffer || write_buffer->fill == 0)
        return 1;
    uint32_t done = 0;
    while (done < write_buffer->fill) {
        ssize_t n = ::write(fd, write_buffer->store + done, write_buffer->fill - done);
        if (n <= 0) {
            // Keep what was not written.
            std::memmove(write_buffer->store, write_buffer->store + done,
                         write_buffer->fill - done);
            write_buffer->fill -= done;
            return 0;
        }
        done += static_cast<uint32_t>(n);
    }
    write_buffer->fill = 0;
    return 1;
}

int CDrawingFile::Write(const void *source, uint32_t size) {
    if (fd < 0)
        return 0;
    if (!write_buffer)
        write_buffer = new WriteBuffer;
    const uint8_t *bytes = static_cast<const uint8_t *>(source);
    if (size <= static_cast<uint32_t>(kWriteCapacity)) {
        if (write_buffer->fill + size > static_cast<uint32_t>(kWriteCapacity) && !Flush())
            return 0;
        std::memcpy(write_buffer->store + write_buffer->fill, bytes, size);
        write_buffer->fill += size;
        return 1;
    }
    if (!Flush())
        return 0;
    uint32_t done = 0;
    while (done < size) {
        ssize_t n = ::write(fd, bytes + done, size - done);
        if (n <= 0)
            return 0;
        done += static_cast<uint32_t>(n);
    }
    return 1;
}

int CDrawingFile::WriteString(const char *text) {
    return text ? Write(text, static_cast<uint32_t>(std::strlen(text))) : 1;
}

int CDrawingFile::SeekForWrite(int32_t offset) {
    if (fd < 0 || offset < 0 || !Flush())
        return 0;
    if (::lseek(fd, static_cast<off_t>(offset), SEEK_SET) < 0)
        return 0;
    position = offset;
    // What the read buffer holds may no longer be what the file holds.
    buffer_start = buffer_end = 0;
    return 1;
}

int32_t CDrawingFile::SeekEndForWrite() {
    if (fd < 0 || !Flush())
        return -1;
    const off_t end = ::lseek(fd, 0, SEEK_END);
    if (end < 0 || end > INT32_MAX)
        return -1;
    position = static_cast<int32_t>(end);
    buffer_start = buffer_end = 0;
    return position;
}

int CDrawingFile::Truncate() {
    if (fd < 0 || !Flush())
        return 0;
    if (::ftruncate(fd, 0) != 0 || ::lseek(fd, 0, SEEK_SET) < 0)
        return 0;
    position = 0;
    length = 0;
    buffer_start = buffer_end = 0;
    return 1;
}
