// Small helpers of the release 12 header and table tests: little-endian bytes, a file
// over bytes, and a drawing without a file.
#ifndef VELKO_TESTS_R12_TEST_BYTES_H
#define VELKO_TESTS_R12_TEST_BYTES_H

#include "io/drawing_file.h"
#include "model/base_drawing.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace r12test {

using Bytes = std::vector<uint8_t>;

// A copy of a field: the public records are packed, and a test must not bind a reference
// to one of their fields.
template <typename T> T Val(T value) {
    return value;
}

inline void Grow(Bytes &b, size_t end) {
    if (b.size() < end)
        b.resize(end, 0);
}
inline void PutU8(Bytes &b, size_t at, uint8_t v) {
    Grow(b, at + 1);
    b[at] = v;
}
inline void PutI16(Bytes &b, size_t at, int16_t v) {
    Grow(b, at + 2);
    const uint16_t u = static_cast<uint16_t>(v);
    b[at] = static_cast<uint8_t>(u & 0xFF);
    b[at + 1] = static_cast<uint8_t>(u >> 8);
}
inline void PutU32(Bytes &b, size_t at, uint32_t v) {
    Grow(b, at + 4);
    for (int i = 0; i < 4; ++i)
        b[at + i] = static_cast<uint8_t>(v >> (8 * i));
}
inline void PutF64(Bytes &b, size_t at, double v) {
    Grow(b, at + 8);
    uint64_t u;
    std::memcpy(&u, &v, sizeof(u));
    for (int i = 0; i < 8; ++i)
        b[at + i] = static_cast<uint8_t>(u >> (8 * i));
}
inline void PutText(Bytes &b, size_t at, size_t size, const std::string &text) {
    Grow(b, at + size);
    for (size_t i = 0; i < size; ++i)
        b[at + i] = i < text.size() ? static_cast<uint8_t>(text[i]) : 0;
}

// A table record of `size` bytes with its opening filled.
inline Bytes Record(size_t size, uint8_t flags, const std::string &name) {
    Bytes b(size, 0);
    PutU8(b, 0, flags);
    PutText(b, 1, 32, name);
    return b;
}

// A table descriptor of the trailer.
inline Bytes Descriptor(uint16_t id, uint16_t record_size, int16_t count, uint32_t position) {
    Bytes b(10, 0);
    PutI16(b, 0, static_cast<int16_t>(id));
    PutI16(b, 2, static_cast<int16_t>(record_size));
    PutI16(b, 4, count);
    PutU32(b, 6, position);
    return b;
}

// A file holding `bytes`, removed at the end of the test; `file` is open on it.
class TempFile {
public:
    explicit TempFile(const Bytes &bytes) {
        static int serial = 0;
        const testing::TestInfo *info = testing::UnitTest::GetInstance()->current_test_info();
        path = testing::TempDir() + "velko_r12_" + (info ? info->name() : "x") + "_" +
               std::to_string(++serial) + ".bin";
        FILE *f = std::fopen(path.c_str(), "wb");
        if (f) {
            if (!bytes.empty())
                std::fwrite(bytes.data(), 1, bytes.size(), f);
            std::fclose(f);
        }
        opened = file.Open(path.c_str(), CDB_OPEN_READ) != 0;
    }
    ~TempFile() {
        if (file.IsOpen())
            file.Close();
        std::remove(path.c_str());
    }
    TempFile(const TempFile &) = delete;
    TempFile &operator=(const TempFile &) = delete;

    std::string path;
    CDrawingFile file;
    bool opened = false;
};

struct TestDrawing : CBaseDrawing {
    TestDrawing() : CBaseDrawing(0) {}
};

} // namespace r12test

#endif
