// The writing side of the bit-coded objects of a release 13 DWG: the mirror of CBitStream.
//
// CByteBuffer is the growable store of the bytes written. It grows by 1024 bytes at a time,
// and the byte whose store makes it grow is not kept (it stays 0): a whole byte written at
// offset 1024, 2048, ... of a fresh buffer comes back as 0, and one built bit by bit keeps
// only its later bits. Files written so read back the way other copies of them do.
//
// CBitWriter ORs bits into the buffer and never clears one: writing over an area needs a
// fresh writer.
#ifndef VELKO_IO_BIT_WRITER_H
#define VELKO_IO_BIT_WRITER_H

#include <cstddef>
#include <cstdint>
#include <vector>

class CByteBuffer {
public:
    static constexpr int32_t kGrowStep = 1024;
    static constexpr int32_t kInitialSize = 1024;

    CByteBuffer() : data(kInitialSize, 0), capacity(kInitialSize) {}

    // The byte at `index`, 0 where nothing has been stored.
    uint8_t GetByte(int32_t index) const {
        return index >= 0 && index < capacity ? data[static_cast<size_t>(index)] : 0;
    }
    // Below `size`: replaced. Below `capacity`: stored, `size` becomes index + 1.
    // Otherwise the buffer grows, `size` becomes index + 1, and the value is dropped.
    void SetByte(int32_t index, uint8_t value);

    const uint8_t *Data() const { return data.data(); }
    int32_t Size() const { return size; }
    int32_t Capacity() const { return capacity; }

private:
    std::vector<uint8_t> data;
    int32_t capacity;
    int32_t size = 0;
};

class CBitWriter {
public:
    void WriteBit(int bit) {
        if (bit) {
            uint8_t byte = buffer.GetByte(byte_pos);
            buffer.SetByte(byte_pos, static_cast<uint8_t>(byte | (0x80u >> bit_pos)));
        } else if (byte_pos >= buffer.Size()) {
            buffer.SetByte(byte_pos, buffer.GetByte(byte_pos));
        }
        if (++bit_pos == 8) {
            bit_pos = 0;
            ++byte_pos;
        }
    }
    // The low `n` bits of `value`, most significant first; beyond 32, leading zeros.
    void WriteBits(uint32_t value, int n) {
        for (int i = n - 1; i >= 0; --i)
            WriteBit(i < 32 ? (value >> i) & 1u : 0);
    }
    // RC: stored whole at a byte boundary, else as 8 bits.
    void WriteByte(uint8_t value) {
        if (bit_pos == 0) {
            buffer.SetByte(byte_pos, value);
            ++byte_pos;
        } else {
            WriteBits(value, 8);
        }
    }
    void WriteRawBytes(const uint8_t *bytes, size_t count) {
        for (size_t i = 0; i < count; ++i)
            WriteByte(bytes[i]);
    }
    // RL: four bytes, low first.
    void WriteRawLong(uint32_t value);
    // PL, the mirror of the reader's prefixed long: the shortest form that holds `value`, a
    // 2-bit count (0 standing for 4) and that many low bytes, low first.
    void WritePrefixedLong(uint32_t value);
    // Four raw bytes of a binary32.
    void WriteRawFloat(float value);
    // RD: eight raw bytes.
    void WriteRawDouble(double value);
    // BS of `value` taken as 16-bit signed: 0 as bits 1 0, -1 as 1 1, 1 to 255 as 0 1 and
    // the byte, anything else 0 0 and two bytes.
    void WriteBitShort(int32_t value);
    // BD: 0.0 (negative zero too) as 1 0, exactly 1.0 as 0 1, else 0 0 and the raw double.
    void WriteBitDouble(double value);
    // A binary32 the same way: zero, one, or 0 0 and four raw bytes.
    void WriteBitFloat(float value);
    void WritePoint3(double x, double y, double z) {
        WriteBitDouble(x);
        WriteBitDouble(y);
        WriteBitDouble(z);
    }
    void WritePoint3(const double point[3]) { WritePoint3(point[0], point[1], point[2]); }
    // TV: an empty text as a BS of 0; otherwise BS length and the bytes, no terminator.
    void WriteText(const char *text);
    // A handle given as hexadecimal text, without its code: a 4-bit byte count of
    // (length + 1) / 2 and that many bytes of the number, most significant first.
    void WriteHandleText(const char *text);
    // H: the 4-bit code, then the value's bytes taken from the low end up to the first zero
    // byte, counted in 4 bits and written most significant first. So a zero byte inside
    // the value cuts it there: 0x0100 writes the count 0.
    template <typename Ref> void WriteHandle(const Ref &ref) {
        WriteBits(static_cast<uint32_t>(ref.code), 4);
        WriteHandleValue(static_cast<uint32_t>(ref.value));
    }
    void WriteHandleValue(uint32_t value);
    // Two bytes, low first, at the cursor.
    void WriteRawShort(uint16_t value) {
        WriteByte(static_cast<uint8_t>(value & 0xFF));
        WriteByte(static_cast<uint8_t>(value >> 8));
    }
    // Overwrites the two bytes at `index`, low first; the cursor stays.
    void PatchShort(uint16_t value, int32_t index) {
        buffer.SetByte(index, static_cast<uint8_t>(value & 0xFF));
        buffer.SetByte(index + 1, static_cast<uint8_t>(value >> 8));
    }
    // Moves to the next whole byte unless the cursor is on one.
    void Align() {
        if (bit_pos != 0) {
            bit_pos = 0;
            ++byte_pos;
        }
    }
    void SeekTo(int32_t byte, int32_t bit) {
        byte_pos = byte;
        bit_pos = bit;
    }
    int32_t TellByte() const { return byte_pos; }
    int32_t TellBit() const { return bit_pos; }
    // The bytes touched: byte_pos, and one more for a byte begun.
    int32_t TellSize() const { return byte_pos + (bit_pos != 0 ? 1 : 0); }
    const uint8_t *Data() const { return buffer.Data(); }
    int32_t Used() const { return buffer.Size(); }

private:
    CByteBuffer buffer;
    int32_t byte_pos = 0;
    int32_t bit_pos = 0;
};

#endif
