// A cursor that reads fixed-size values and byte runs from a block of bytes in memory.
//
// What callers may rely on:
// - every read checks the bytes it needs against the block's end and returns whether it
//   succeeded;
// - a read that fails leaves its target untouched and marks the reader as failed; from then
//   on every read fails (the failure sticks), so a run of reads can be tested once;
// - nothing allocates and nothing calls through a virtual function: it all inlines, for
//   the hot decoding loops.
// The block is borrowed: it must outlive the reader. Values are little-endian
// (ByteReader) or big-endian (BigEndianByteReader).
#ifndef VELKO_IO_BYTE_READER_H
#define VELKO_IO_BYTE_READER_H

#include "io/byte_order.h"

#include <cstddef>
#include <cstdint>
#include <cstring>

template <typename Order> class BasicByteReader {
public:
    BasicByteReader(const uint8_t *data, size_t size) : data_(data), size_(data ? size : 0) {}

    // True when `count` more bytes are there; otherwise the reader fails.
    bool Has(size_t count) {
        if (!failed_ && count <= size_ - at_)
            return true;
        failed_ = true;
        return false;
    }

    template <typename T> bool Read(T &value) {
        if (!Has(sizeof(T)))
            return false;
        value = Order::template Decode<T>(data_ + at_);
        at_ += sizeof(T);
        return true;
    }
    bool U8(uint8_t &value) { return Read(value); }
    bool I8(int8_t &value) { return Read(value); }
    bool U16(uint16_t &value) { return Read(value); }
    bool I16(int16_t &value) { return Read(value); }
    bool U32(uint32_t &value) { return Read(value); }
    bool I32(int32_t &value) { return Read(value); }
    bool U64(uint64_t &value) { return Read(value); }
    bool I64(int64_t &value) { return Read(value); }
    bool F64(double &value) { return Read(value); }

    // Copies the next `count` bytes to `dest`.
    bool Bytes(void *dest, size_t count) {
        if (!Has(count))
            return false;
        if (count)
            std::memcpy(dest, data_ + at_, count);
        at_ += count;
        return true;
    }
    bool Skip(size_t count) {
        if (!Has(count))
            return false;
        at_ += count;
        return true;
    }
    // Moves the cursor to `position` of the block (its end included).
    bool Seek(size_t position) {
        if (failed_ || position > size_) {
            failed_ = true;
            return false;
        }
        at_ = position;
        return true;
    }

    // The value at `offset` of the block, wherever the cursor stands; neither moves the
    // cursor nor marks a failure.
    template <typename T> bool ReadAt(size_t offset, T &value) const {
        return ReadValueAt<Order>(data_, size_, offset, value);
    }

    // The bytes from the cursor on (valid for Remaining() bytes).
    const uint8_t *Here() const { return data_ + at_; }
    size_t Position() const { return at_; }
    size_t Remaining() const { return size_ - at_; }
    size_t Size() const { return size_; }
    bool Failed() const { return failed_; }

private:
    const uint8_t *data_;
    size_t size_;
    size_t at_ = 0;
    bool failed_ = false;
};

using ByteReader = BasicByteReader<LittleEndian>;
using BigEndianByteReader = BasicByteReader<BigEndian>;

#endif
