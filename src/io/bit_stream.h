// The reading side of the bit-coded objects of a release 13 DWG.
//
// Values are packed without regard to byte boundaries; bit 0 of a byte is its most
// significant bit. Numbers carry a 2-bit selector that picks a short form for the common
// values. Multi-byte values are little-endian, doubles IEEE 754 binary64.
//
// What callers may rely on:
// - no read touches memory outside [buffer, buffer + size): a read at or past the end
//   gives zero bits;
// - a move past `size` is refused and sets `overrun`, which stays set until a buffer is
//   attached again; from then on the numeric reads named below give 0, 0.0 or empty text
//   while the bit reads go on giving the last bits (zeros past the end);
// - nothing allocates except the texts, and bits come out of a machine word, not one call
//   per bit.
// The stream borrows its buffer: the caller frees it after the stream is gone.
#ifndef VELKO_IO_BIT_STREAM_H
#define VELKO_IO_BIT_STREAM_H

#include <cstddef>
#include <cstdint>
#include <string>

class CBitStream {
public:
    CBitStream() = default;
    CBitStream(const uint8_t *bytes, int32_t count) { Attach(bytes, count); }
    // One object as the drawing file delivers it: its size is the 16-bit value of its
    // first two bytes plus 4 (the size field and the two check bytes).
    explicit CBitStream(const uint8_t *object) { Attach(object); }

    void Attach(const uint8_t *bytes, int32_t count);
    void Attach(const uint8_t *object);

    int32_t TellByte() const { return byte_pos; }
    int32_t TellBit() const { return bit_pos; }
    int32_t Size() const { return size; }
    bool Overrun() const { return overrun != 0; }
    // Sets both positions; a byte past `size` sets `overrun`, the position stays.
    void Seek(int32_t byte, int32_t bit);
    // Adds both. A byte position past `size` (greater, not equal) undoes both additions
    // and sets `overrun`; otherwise a bit position of 8 or more carries one byte (and is
    // taken modulo 8), without a test of the carried position. A negative `bits` is not
    // normalised.
    void Skip(int32_t bytes, int32_t bits) {
        int64_t new_byte = int64_t(byte_pos) + bytes;
        if (new_byte > size) {
            overrun = 1;
            return;
        }
        byte_pos = static_cast<int32_t>(new_byte);
        bit_pos += bits;
        if (bit_pos >= 8) {
            byte_pos += 1;
            bit_pos %= 8;
        }
    }

    // B: one bit. A bit position outside 0 to 7 (left by a negative Skip) names no bit of
    // the byte: it reads 0, and the move goes on from there.
    int ReadBit() {
        int bit = bit_pos >= 0 && bit_pos < 8 ? (ByteAt(byte_pos) >> (7 - bit_pos)) & 1 : 0;
        Skip(0, 1);
        return bit;
    }
    // `n` bits (0 to 32), the first read the most significant.
    uint32_t ReadBits(int n);
    // RC: one byte.
    uint8_t ReadByte() {
        if (bit_pos != 0)
            return static_cast<uint8_t>(ReadBits(8));
        uint8_t value = ByteAt(byte_pos);
        Skip(1, 0);
        return value;
    }
    // BS: selector 00 two bytes, 10 (stream order) zero, 01 one byte, 11 -1. 0 once the
    // stream has overrun.
    int32_t ReadBitShort();
    // PL: selector read as 2 bits, high first: 0 four bytes, 1 one, 2 two, 3 three; the
    // bytes are the value's low bytes, low first.
    uint32_t ReadPrefixedLong();
    // RL: four bytes, low first.
    uint32_t ReadRawLong();
    // MS: a raw long whose bit 15 says whether it is the long form (keeps all 4 bytes) or
    // the short form (the position moves 2 bytes back).
    uint32_t ReadModularSize();
    // RD: eight bytes; 0.0 once the stream has overrun.
    double ReadRawDouble();
    // BD: 1x zero (the second bit ignored), 01 one, 00 a raw double.
    double ReadBitDouble();
    // 3BD: x, y, z.
    void ReadPoint3(double point[3]) {
        point[0] = ReadBitDouble();
        point[1] = ReadBitDouble();
        point[2] = ReadBitDouble();
    }
    // TV: a BS length (-1 standing for 256) and that many bytes. A new zero-terminated
    // text of malloc, owned by the caller; empty when the length is 0 or less or the
    // stream overran.
    char *ReadText();
    // `n` bytes, as a text owned by the stream (until the next call); empty on overrun.
    const std::string &ReadRawBytes(int32_t n);
    // HT: a 4-bit byte count and that many bytes, most significant first, as upper-case
    // hexadecimal text without the leading zero of the first byte. A count of 0 or of 9 and
    // more gives an empty text and consumes nothing further. A new text of malloc.
    char *ReadHandleText();
    // Passes over a handle's 4-bit count and its bytes (a count of 9 or more: nothing).
    void SkipHandle();
    // H: a 4-bit code and a handle into a record with members `code` and `value`. 1.
    template <typename Ref> int ReadHandle(Ref &ref) {
        ref.code = static_cast<decltype(ref.code)>(ReadBits(4));
        ref.value = static_cast<decltype(ref.value)>(ReadHandleValue());
        return 1;
    }
    // The value of a handle (count and bytes) as ReadHandleText would give its text.
    uint32_t ReadHandleValue();

private:
    // The byte at `index`, 0 outside the buffer.
    uint8_t ByteAt(int32_t index) const { return index >= 0 && index < size ? buffer[index] : 0; }
    // ReadBits for a read that may cross the end: bit by bit, as ReadBit moves.
    uint32_t ReadBitsSlowly(int n);
    // `count` bytes through ReadByte into `text`, which is empty when the stream overran.
    void ReadBytesInto(std::string &text, int32_t count);
    // Reads a handle's count and bytes; false for a count of 0 or 9 and more.
    bool ReadHandleBytes(uint8_t bytes[8], int &count);

    const uint8_t *buffer = nullptr;
    int32_t size = 0;
    int32_t byte_pos = 0;
    int32_t bit_pos = 0;
    int32_t overrun = 0;
    uint32_t long_scratch = 0;
    std::string bytes_text;
    std::string short_text;
};

#endif
