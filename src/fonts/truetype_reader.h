// Big-endian reads of a TrueType font through the file object: the cursor with which the
// font's tables are read where they stand in the file. Every read is held against the
// file's length; a read that would pass the end fails and leaves nothing half-filled
// behind.
#ifndef VELKO_TRUETYPE_READER_H
#define VELKO_TRUETYPE_READER_H

#include "io/byte_order.h"
#include "io/byte_reader.h"
#include "io/drawing_file.h"

#include <cstdint>
#include <vector>

class TtfFileReader {
public:
    explicit TtfFileReader(CDrawingFile &f) : file(f) {}

    uint64_t Position() const {
        int32_t pos = file.GetPosition();
        return pos < 0 ? file.Length() + uint64_t(1) : static_cast<uint64_t>(pos);
    }
    uint64_t Remaining() const {
        uint64_t pos = Position();
        return pos >= file.Length() ? 0 : file.Length() - pos;
    }
    bool Seek(uint64_t offset) {
        if (offset > file.Length())
            return false;
        file.SetPosition(static_cast<int32_t>(offset), 0);
        return true;
    }
    bool Skip(uint64_t count) { return Seek(Position() + count); }
    bool Bytes(void *dest, uint64_t size) {
        if (size > Remaining())
            return false;
        if (size == 0)
            return true;
        int32_t before = file.GetPosition();
        if (!file.Read(dest, static_cast<uint32_t>(size)))
            return false;
        return static_cast<uint64_t>(file.GetPosition()) - static_cast<uint64_t>(before) == size;
    }
    bool U8(uint8_t *value) { return Bytes(value, 1); }
    bool U16(uint16_t *value) {
        uint8_t b[2];
        if (!Bytes(b, 2))
            return false;
        *value = BigEndian::Decode<uint16_t>(b);
        return true;
    }
    bool I16(int16_t *value) {
        uint16_t v;
        if (!U16(&v))
            return false;
        *value = static_cast<int16_t>(v);
        return true;
    }
    bool U32(uint32_t *value) {
        uint8_t b[4];
        if (!Bytes(b, 4))
            return false;
        *value = BigEndian::Decode<uint32_t>(b);
        return true;
    }
    bool I64(int64_t *value) {
        uint32_t high, low;
        if (!U32(&high) || !U32(&low))
            return false;
        *value = static_cast<int64_t>((static_cast<uint64_t>(high) << 32) | low);
        return true;
    }
    // `count` big-endian u16 values into `out`; the count is checked before allocating.
    bool U16Array(size_t count, std::vector<uint16_t> *out) {
        if (uint64_t(count) * 2 > Remaining())
            return false;
        std::vector<uint8_t> raw(count * 2);
        if (!Bytes(raw.data(), raw.size()))
            return false;
        out->resize(count);
        BigEndianByteReader values(raw.data(), raw.size());
        for (uint16_t &value : *out)
            values.U16(value);
        return true;
    }

private:
    CDrawingFile &file;
};

#endif
