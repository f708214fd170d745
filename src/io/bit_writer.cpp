#include "io/bit_writer.h"

#include <cstdlib>
#include <cstring>

void CByteBuffer::SetByte(int32_t index, uint8_t value) {
    if (index < 0)
        return;
    if (index < size) {
        data[static_cast<size_t>(index)] = value;
        return;
    }
    if (index < capacity) {
        data[static_cast<size_t>(index)] = value;
        size = index + 1;
        return;
    }
    // The store that makes the buffer grow keeps its byte at 0. The writer never jumps
    // further than one byte past the end; a cursor set further grows the buffer as far.
    while (capacity <= index)
        capacity += kGrowStep;
    data.resize(static_cast<size_t>(capacity), 0);
    size = index + 1;
}

void CBitWriter::WriteRawLong(uint32_t value) {
    for (int i = 0; i < 4; ++i)
        WriteByte(static_cast<uint8_t>(value >> (8 * i)));
}

void CBitWriter::WritePrefixedLong(uint32_t value) {
    int count = 1;
    if (value > 0xFFFFFFu)
        count = 4;
    else if (value > 0xFFFFu)
        count = 3;
    else if (value > 0xFFu)
        count = 2;
    WriteBits(count == 4 ? 0u : static_cast<uint32_t>(count), 2);
    for (int i = 0; i < count; ++i)
        WriteByte(static_cast<uint8_t>(value >> (8 * i)));
}

void CBitWriter::WriteRawFloat(float value) {
    uint32_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    WriteRawLong(bits);
}

void CBitWriter::WriteRawDouble(double value) {
    uint64_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    for (int i = 0; i < 8; ++i)
        WriteByte(static_cast<uint8_t>(bits >> (8 * i)));
}

void CBitWriter::WriteBitShort(int32_t value) {
    int16_t v = static_cast<int16_t>(value);
    if (v == 0) {
        WriteBits(2, 2); // 1 0
    } else if (v == -1) {
        WriteBits(3, 2); // 1 1
    } else if (v >= 1 && v <= 255) {
        WriteBits(1, 2); // 0 1
        WriteByte(static_cast<uint8_t>(v));
    } else {
        WriteBits(0, 2);
        WriteRawShort(static_cast<uint16_t>(v));
    }
}

void CBitWriter::WriteBitDouble(double value) {
    static const double kOne = 1.0;
    if (value == 0.0) {
        WriteBits(2, 2); // 1 0
    } else if (std::memcmp(&value, &kOne, sizeof value) == 0) {
        WriteBits(1, 2); // 0 1
    } else {
        WriteBits(0, 2);
        WriteRawDouble(value);
    }
}

void CBitWriter::WriteBitFloat(float value) {
    if (value == 0.0f) {
        WriteBits(2, 2);
    } else if (value == 1.0f) {
        WriteBits(1, 2);
    } else {
        WriteBits(0, 2);
        WriteRawFloat(value);
    }
}

void CBitWriter::WriteText(const char *text) {
    size_t length = text ? std::strlen(text) : 0;
    if (length == 0) {
        WriteBitShort(0);
        return;
    }
    WriteBitShort(static_cast<int32_t>(length));
    WriteRawBytes(reinterpret_cast<const uint8_t *>(text), length);
}

void CBitWriter::WriteHandleText(const char *text) {
    size_t length = text ? std::strlen(text) : 0;
    // The number as the C library reads base 16: leading blanks and a "0x" pass, the first
    // character that is no digit ends it.
    uint64_t value = length ? std::strtoull(text, nullptr, 16) : 0;
    uint32_t count = static_cast<uint32_t>((length + 1) / 2);
    WriteBits(count, 4);
    for (uint32_t i = count; i-- > 0;)
        WriteByte(i < 8 ? static_cast<uint8_t>(value >> (8 * i)) : 0);
}

void CBitWriter::WriteHandleValue(uint32_t value) {
    uint8_t bytes[4];
    int count = 0;
    while (count < 4) {
        uint8_t byte = static_cast<uint8_t>(value >> (8 * count));
        if (byte == 0)
            break;
        bytes[count++] = byte;
    }
    WriteBits(static_cast<uint32_t>(count), 4);
    for (int i = count - 1; i >= 0; --i)
        WriteByte(bytes[i]);
}
