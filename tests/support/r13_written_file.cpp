#include "support/r13_written_file.h"

#include "io/drawing_file.h"

#include <fstream>
#include <iterator>
#include <sstream>

namespace velko_test {

std::vector<uint8_t> FileBytes(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    return std::vector<uint8_t>(std::istreambuf_iterator<char>(in), {});
}

uint32_t LongAt(const std::vector<uint8_t> &b, size_t at) {
    return at + 4 <= b.size() ? uint32_t(b[at]) | uint32_t(b[at + 1]) << 8 |
                                    uint32_t(b[at + 2]) << 16 | uint32_t(b[at + 3]) << 24
                              : 0u;
}

std::vector<uint8_t> SectionAt(const std::vector<uint8_t> &b, size_t offset_at) {
    const uint32_t at = LongAt(b, offset_at), size = LongAt(b, offset_at + 4);
    if (uint64_t(at) + size > b.size())
        return {};
    return std::vector<uint8_t>(b.begin() + at, b.begin() + at + size);
}

std::vector<ObjectMapEntry> MapEntriesOf(const std::string &path) {
    CDrawingFile file;
    CObjectMap map;
    if (file.Open(path.c_str(), kDrawingFileRead))
        map.Read(file);
    file.Close();
    return map.Entries();
}

std::map<uint32_t, int32_t> MapOffsetsOf(const std::string &path) {
    std::map<uint32_t, int32_t> offsets;
    for (const ObjectMapEntry &entry : MapEntriesOf(path))
        offsets.emplace(entry.handle, entry.offset);
    return offsets;
}

std::string ObjectChecksProblem(const std::vector<uint8_t> &bytes,
                                const std::vector<ObjectMapEntry> &entries) {
    for (const ObjectMapEntry &e : entries) {
        std::ostringstream what;
        what << "object " << std::hex << e.handle;
        const size_t at = size_t(e.offset);
        if (e.offset < 0 || at + 4 > bytes.size())
            return what.str() + " lies outside the file";
        const size_t size = bytes[at] | bytes[at + 1] << 8;
        if (at + size + 4 > bytes.size())
            return what.str() + " runs past the end of the file";
        if (bytes[at + 2 + size] != 0xFF || bytes[at + 3 + size] != 0xFF)
            return what.str() + " does not end in FF FF";
    }
    return "";
}

} // namespace velko_test
