#include "io/bit_stream.h"

#include <cstdlib>
#include <cstring>

namespace {

// A new zero-terminated copy of `text` (malloc).
char *CopyText(const std::string &text) {
    char *copy = static_cast<char *>(std::malloc(text.size() + 1));
    if (copy)
        std::memcpy(copy, text.c_str(), text.size() + 1);
    return copy;
}

constexpr char kHexDigits[] = "0123456789ABCDEF";

} // namespace

void CBitStream::Attach(const uint8_t *bytes, int32_t count) {
    buffer = bytes;
    size = bytes && count > 0 ? count : 0;
    byte_pos = 0;
    bit_pos = 0;
    overrun = 0;
    long_scratch = 0;
}

void CBitStream::Attach(const uint8_t *object) {
    int32_t count = object ? static_cast<int32_t>(object[0] | (object[1] << 8)) + 4 : 0;
    Attach(object, count);
}

void CBitStream::Seek(int32_t byte, int32_t bit) {
    byte_pos = byte;
    bit_pos = bit;
    if (byte > size)
        overrun = 1;
}

uint32_t CBitStream::ReadBits(int n) {
    if (n <= 0)
        return 0;
    if (n > 32)
        n = 32;
    int64_t end_bit = int64_t(byte_pos) * 8 + bit_pos + n;
    if (byte_pos < 0 || bit_pos < 0 || bit_pos > 7 || end_bit > int64_t(size) * 8)
        return ReadBitsSlowly(n);
    // Every bit lies inside the buffer: gather the bytes that hold them (five at most) into
    // one big-endian word, its first bit at the top, and cut the value out of it.
    const int needed = (bit_pos + n + 7) >> 3;
    const uint8_t *bytes = buffer + byte_pos;
    uint64_t word = 0;
    for (int i = 0; i < needed; ++i)
        word = (word << 8) | bytes[i];
    word <<= 64 - 8 * needed;
    uint32_t value = static_cast<uint32_t>((word << bit_pos) >> (64 - n));
    int32_t total = bit_pos + n;
    byte_pos += total >> 3;
    bit_pos = total & 7;
    return value;
}

uint32_t CBitStream::ReadBitsSlowly(int n) {
    uint32_t value = 0;
    for (int i = 0; i < n; ++i)
        value = (value << 1) | static_cast<uint32_t>(ReadBit());
    return value;
}

int32_t CBitStream::ReadBitShort() {
    int low = ReadBit();
    int high = ReadBit();
    int32_t value = 0;
    switch ((high << 1) | low) {
    case 0: {
        uint8_t first = ReadByte();
        uint8_t second = ReadByte();
        value = static_cast<int16_t>(first | (second << 8));
        break;
    }
    case 1:
        value = 0;
        break;
    case 2:
        value = ReadByte();
        break;
    default:
        value = -1;
        break;
    }
    return overrun ? 0 : value;
}

uint32_t CBitStream::ReadPrefixedLong() {
    uint32_t selector = ReadBits(2);
    int count = selector == 0 ? 4 : static_cast<int>(selector);
    long_scratch = 0;
    for (int i = 0; i < count; ++i)
        long_scratch |= uint32_t(ReadByte()) << (8 * i);
    return long_scratch;
}

uint32_t CBitStream::ReadRawLong() {
    uint32_t value = 0;
    for (int i = 0; i < 4; ++i)
        value |= uint32_t(ReadByte()) << (8 * i);
    return value;
}

uint32_t CBitStream::ReadModularSize() {
    uint32_t v = ReadRawLong();
    if (v & 0x8000u)
        return (v & 0x7FFFu) ^ (((v >> 16) & 0xFFFFu) << 15);
    Skip(-2, 0);
    return v & 0x7FFFu;
}

double CBitStream::ReadRawDouble() {
    uint64_t bits = 0;
    for (int i = 0; i < 8; ++i)
        bits |= uint64_t(ReadByte()) << (8 * i);
    if (overrun)
        return 0.0;
    double value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

double CBitStream::ReadBitDouble() {
    if (ReadBit()) {
        ReadBit();
        return 0.0;
    }
    if (ReadBit())
        return 1.0;
    return ReadRawDouble();
}

void CBitStream::ReadBytesInto(std::string &text, int32_t count) {
    text.clear();
    if (count <= 0)
        return;
    // The room taken is held against what the buffer still holds, whatever the count says.
    int64_t remaining = int64_t(size) - byte_pos;
    if (remaining > 0)
        text.reserve(static_cast<size_t>(count < remaining ? count : remaining));
    for (int32_t i = 0; i < count; ++i) {
        int32_t was_byte = byte_pos, was_bit = bit_pos;
        uint8_t byte = ReadByte();
        if (!overrun)
            text.push_back(static_cast<char>(byte));
        // A read that could not move leaves the stream as it found it: so would every
        // later one, and the text is dropped anyway. A count far beyond the data ends here.
        if (byte_pos == was_byte && bit_pos == was_bit)
            break;
    }
    if (overrun)
        text.clear();
}

char *CBitStream::ReadText() {
    int32_t length = ReadBitShort();
    if (length == -1)
        length = 256;
    ReadBytesInto(short_text, length);
    return CopyText(short_text);
}

const std::string &CBitStream::ReadRawBytes(int32_t n) {
    ReadBytesInto(bytes_text, n);
    return bytes_text;
}

bool CBitStream::ReadHandleBytes(uint8_t bytes[8], int &count) {
    count = static_cast<int>(ReadBits(4));
    if (count == 0 || count >= 9)
        return false;
    for (int i = 0; i < count; ++i)
        bytes[i] = ReadByte();
    return true;
}

char *CBitStream::ReadHandleText() {
    uint8_t bytes[8];
    int count = 0;
    char text[17];
    size_t length = 0;
    if (ReadHandleBytes(bytes, count)) {
        for (int i = 0; i < count; ++i) {
            if (i > 0 || (bytes[i] >> 4) != 0)
                text[length++] = kHexDigits[bytes[i] >> 4];
            text[length++] = kHexDigits[bytes[i] & 0x0F];
        }
    }
    char *copy = static_cast<char *>(std::malloc(length + 1));
    if (copy) {
        std::memcpy(copy, text, length);
        copy[length] = '\0';
    }
    return copy;
}

uint32_t CBitStream::ReadHandleValue() {
    uint8_t bytes[8];
    int count = 0;
    if (!ReadHandleBytes(bytes, count))
        return 0;
    uint64_t value = 0;
    for (int i = 0; i < count; ++i)
        value = (value << 8) | bytes[i];
    return static_cast<uint32_t>(value);
}

void CBitStream::SkipHandle() {
    uint32_t count = ReadBits(4);
    if (count < 9)
        Skip(static_cast<int32_t>(count), 0);
}
