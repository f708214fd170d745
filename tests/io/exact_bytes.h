// Test support of the bit stream: bytes in a heap block of exactly their size, so that the
// address sanitizer reports any read behind them, and the bytes a CBitWriter has touched.
#ifndef VELKO_TESTS_IO_EXACT_BYTES_H
#define VELKO_TESTS_IO_EXACT_BYTES_H

#include "io/bit_writer.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

namespace velko_test {

class ExactBytes {
public:
    explicit ExactBytes(const std::vector<uint8_t> &bytes)
        : block(new uint8_t[bytes.size()]), count(static_cast<int32_t>(bytes.size())) {
        if (!bytes.empty())
            std::memcpy(block.get(), bytes.data(), bytes.size());
    }
    const uint8_t *data() const { return block.get(); }
    int32_t size() const { return count; }

private:
    std::unique_ptr<uint8_t[]> block;
    int32_t count;
};

// The bytes the writer has touched (TellSize of them); a byte passed over by Align and
// never stored is 0.
inline std::vector<uint8_t> Written(const CBitWriter &writer) {
    std::vector<uint8_t> bytes(static_cast<size_t>(writer.TellSize()), 0);
    size_t stored = std::min(bytes.size(), static_cast<size_t>(writer.Used()));
    if (stored)
        std::memcpy(bytes.data(), writer.Data(), stored);
    return bytes;
}

} // namespace velko_test

#endif
