// Appends fixed-size little-endian values and byte runs to a growing block of bytes.
//
// What callers may rely on: the bytes go to the end of the vector given at construction,
// which keeps its capacity from one use to the next, so a writer reused over many records
// allocates only while they grow; nothing calls through a virtual function; everything
// inlines. Values written earlier are changed in place with WriteAt, which checks that the
// value lies inside what is written (values at a fixed offset of a block that is not a
// vector go through WriteValueAt of io/byte_order.h).
#ifndef VELKO_IO_BYTE_WRITER_H
#define VELKO_IO_BYTE_WRITER_H

#include "io/byte_order.h"

#include <cstddef>
#include <cstdint>
#include <vector>

class ByteWriter {
public:
    explicit ByteWriter(std::vector<uint8_t> &out) : out_(out) {}

    template <typename T> void Write(T value) {
        const size_t at = out_.size();
        out_.resize(at + sizeof(T));
        LittleEndian::Encode(out_.data() + at, value);
    }
    void U8(uint8_t value) { out_.push_back(value); }
    void U16(uint16_t value) { Write(value); }
    void I16(int16_t value) { Write(value); }
    void U32(uint32_t value) { Write(value); }
    void I32(int32_t value) { Write(value); }
    void F64(double value) { Write(value); }
    void Bytes(const void *data, size_t count) {
        if (!count)
            return;
        const auto *p = static_cast<const uint8_t *>(data);
        out_.insert(out_.end(), p, p + count);
    }

    // Overwrites the value at `offset` of what is written. False, with nothing changed,
    // when the value would not lie wholly inside it.
    template <typename T> bool WriteAt(size_t offset, T value) {
        return WriteValueAt(out_.data(), out_.size(), offset, value);
    }

    size_t Size() const { return out_.size(); }

private:
    std::vector<uint8_t> &out_;
};

#endif
