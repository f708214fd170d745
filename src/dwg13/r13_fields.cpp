#include "dwg13/r13_fields.h"

#include "io/bit_stream.h"
#include "io/bit_writer.h"
#include "io/record_field.h"
#include "records/heap_text.h"
#include "velkow32.h"

#include <cstdlib>
#include <cstring>

namespace {

constexpr double kShortPi = 3.14159265359;
constexpr double kLongPi = 3.141592653589793;

// An integer into a field of `width` bytes.
void StoreInteger(void *record, const R13Field &f, int64_t value) {
    switch (f.width) {
    case 1:
        StoreField(record, f.offset, static_cast<uint8_t>(value));
        break;
    case 2:
        StoreField(record, f.offset, static_cast<int16_t>(value));
        break;
    case 4:
        StoreField(record, f.offset, static_cast<int32_t>(value));
        break;
    case 8:
        StoreField(record, f.offset, static_cast<int64_t>(value));
        break;
    default:
        break;
    }
}

int64_t LoadInteger(const void *record, const R13Field &f) {
    if (f.offset == kR13Dropped)
        return 0;
    switch (f.width) {
    case 1:
        return f.is_signed ? LoadField<int8_t>(record, f.offset)
                           : LoadField<uint8_t>(record, f.offset);
    case 2:
        return f.is_signed ? LoadField<int16_t>(record, f.offset)
                           : LoadField<uint16_t>(record, f.offset);
    case 4:
        return f.is_signed ? LoadField<int32_t>(record, f.offset)
                           : LoadField<uint32_t>(record, f.offset);
    case 8:
        return LoadField<int64_t>(record, f.offset);
    default:
        return 0;
    }
}

double LoadDouble(const void *record, const R13Field &f, size_t index = 0) {
    return f.offset == kR13Dropped ? 0.0 : LoadField<double>(record, f.offset + 8 * index);
}

const char *LoadText(const void *record, const R13Field &f) {
    return f.offset == kR13Dropped ? nullptr : LoadField<const char *>(record, f.offset);
}

void ReadOne(CBitStream &s, const R13Field &f, void *record) {
    const bool keep = f.offset != kR13Dropped;
    switch (f.kind) {
    case R13Kind::kB:
        if (int bit = s.ReadBit(); keep)
            StoreInteger(record, f, bit);
        break;
    case R13Kind::kBits:
        if (uint32_t bits = s.ReadBits(f.bits); keep)
            StoreInteger(record, f, bits);
        break;
    case R13Kind::kRC:
        if (uint8_t byte = s.ReadByte(); keep)
            StoreInteger(record, f, byte);
        break;
    case R13Kind::kBS:
        if (int32_t value = s.ReadBitShort(); keep)
            StoreInteger(record, f, value);
        break;
    case R13Kind::kRL:
        if (uint32_t value = s.ReadRawLong(); keep)
            StoreField(record, f.offset, value);
        break;
    case R13Kind::kRD:
        if (double value = s.ReadRawDouble(); keep)
            StoreField(record, f.offset, value);
        break;
    case R13Kind::kBD:
        if (double value = s.ReadBitDouble(); keep)
            StoreField(record, f.offset, value);
        break;
    case R13Kind::kAngle:
        if (double value = s.ReadBitDouble(); keep)
            StoreField(record, f.offset, R13ToDegrees(value));
        break;
    case R13Kind::kDegrees:
        if (double value = s.ReadBitDouble(); keep)
            StoreField(record, f.offset, R13RadiansToDegrees(value));
        break;
    case R13Kind::k3BD:
        for (size_t i = 0; i < 3; ++i)
            if (double value = s.ReadBitDouble(); keep)
                StoreField(record, f.offset + 8 * i, value);
        break;
    case R13Kind::k2RD:
        for (size_t i = 0; i < 2; ++i)
            if (double value = s.ReadRawDouble(); keep)
                StoreField(record, f.offset + 8 * i, value);
        break;
    case R13Kind::kTV:
    case R13Kind::kHT: {
        if (f.kind == R13Kind::kHT)
            s.ReadBits(4);
        char *text = f.kind == R13Kind::kTV ? s.ReadText() : s.ReadHandleText();
        if (keep) {
            std::free(LoadField<char *>(record, f.offset));
            StoreField(record, f.offset, text);
        } else {
            std::free(text);
        }
        break;
    }
    case R13Kind::kTVFixed: {
        char *text = s.ReadText();
        char *block = keep ? LoadField<char *>(record, f.offset) : nullptr;
        if (block && f.room > 0 && text) {
            std::strncpy(block, text, f.room - 1);
            block[f.room - 1] = '\0';
        }
        std::free(text);
        break;
    }
    case R13Kind::kH: {
        CHandleRef ref{};
        s.ReadHandle(ref);
        if (keep)
            StoreField(record, f.offset, ref);
        break;
    }
    case R13Kind::kSkip:
        s.Skip(f.room, f.bits);
        break;
    }
}

void WriteOne(CBitWriter &w, const R13Field &f, const void *record) {
    switch (f.kind) {
    case R13Kind::kB:
        w.WriteBit(LoadInteger(record, f) != 0);
        break;
    case R13Kind::kBits:
        w.WriteBits(static_cast<uint32_t>(LoadInteger(record, f)), f.bits);
        break;
    case R13Kind::kRC:
        w.WriteByte(static_cast<uint8_t>(LoadInteger(record, f)));
        break;
    case R13Kind::kBS:
        w.WriteBitShort(static_cast<int32_t>(LoadInteger(record, f)));
        break;
    case R13Kind::kRL:
        w.WriteRawLong(f.offset == kR13Dropped ? 0u : LoadField<uint32_t>(record, f.offset));
        break;
    case R13Kind::kRD:
        w.WriteRawDouble(LoadDouble(record, f));
        break;
    case R13Kind::kBD:
        w.WriteBitDouble(LoadDouble(record, f));
        break;
    case R13Kind::kAngle:
    case R13Kind::kDegrees:
        w.WriteBitDouble(R13ToRadians(LoadDouble(record, f)));
        break;
    case R13Kind::k3BD:
        for (size_t i = 0; i < 3; ++i)
            w.WriteBitDouble(LoadDouble(record, f, i));
        break;
    case R13Kind::k2RD:
        for (size_t i = 0; i < 2; ++i)
            w.WriteRawDouble(LoadDouble(record, f, i));
        break;
    case R13Kind::kTV:
    case R13Kind::kTVFixed:
        w.WriteText(LoadText(record, f));
        break;
    case R13Kind::kHT:
        // The code the reader drops, as the field gives it.
        w.WriteBits(f.bits, 4);
        w.WriteHandleText(LoadText(record, f));
        break;
    case R13Kind::kH: {
        CHandleRef ref{};
        if (f.offset != kR13Dropped)
            ref = LoadField<CHandleRef>(record, f.offset);
        w.WriteHandle(ref);
        break;
    }
    case R13Kind::kSkip:
        for (int i = 0; i < f.room; ++i)
            w.WriteByte(0);
        w.WriteBits(0, f.bits);
        break;
    }
}

} // namespace

void ReadR13Fields(CBitStream &stream, const R13Layout &layout, void *record) {
    for (size_t i = 0; i < layout.count; ++i)
        ReadOne(stream, layout.fields[i], record);
}

void WriteR13Fields(CBitWriter &writer, const R13Layout &layout, const void *record) {
    for (size_t i = 0; i < layout.count; ++i)
        WriteOne(writer, layout.fields[i], record);
}

void FreeR13Texts(const R13Layout &layout, void *record) {
    for (size_t i = 0; i < layout.count; ++i) {
        const R13Field &f = layout.fields[i];
        if ((f.kind != R13Kind::kTV && f.kind != R13Kind::kHT) || f.offset == kR13Dropped)
            continue;
        std::free(LoadField<char *>(record, f.offset));
        StoreField<char *>(record, f.offset, nullptr);
    }
}

void DuplicateR13Texts(const R13Layout &layout, void *record) {
    for (size_t i = 0; i < layout.count; ++i) {
        const R13Field &f = layout.fields[i];
        if ((f.kind != R13Kind::kTV && f.kind != R13Kind::kHT) || f.offset == kR13Dropped)
            continue;
        const char *text = LoadField<const char *>(record, f.offset);
        StoreField<char *>(record, f.offset, text ? DuplicateText(text) : nullptr);
    }
}

uint32_t R13DoubleBits(double value) {
    return value != 0.0 && value != 1.0 ? 64u : 0u;
}

uint32_t R13TextBits(const char *text) {
    return text ? 8u * static_cast<uint32_t>(std::strlen(text)) : 0u;
}

uint32_t R13HandleTextBits(const char *text) {
    if (!text || !*text)
        return 0;
    return 8u * static_cast<uint32_t>((std::strlen(text) - 1) / 2);
}

uint32_t R13LayoutBits(const R13Layout &layout, const void *record) {
    uint32_t bits = 0;
    for (size_t i = 0; i < layout.count; ++i) {
        const R13Field &f = layout.fields[i];
        if (f.offset == kR13Dropped)
            continue;
        switch (f.kind) {
        case R13Kind::kRD:
        case R13Kind::kBD:
        case R13Kind::kAngle:
        case R13Kind::kDegrees:
            bits += R13DoubleBits(LoadDouble(record, f));
            break;
        case R13Kind::k2RD:
        case R13Kind::k3BD:
            for (size_t k = 0; k < (f.kind == R13Kind::k2RD ? 2u : 3u); ++k)
                bits += R13DoubleBits(LoadDouble(record, f, k));
            break;
        case R13Kind::kTV:
            bits += R13TextBits(LoadText(record, f));
            break;
        case R13Kind::kHT:
            bits += R13HandleTextBits(LoadText(record, f));
            break;
        default:
            break;
        }
    }
    return bits;
}

int64_t R13BitsLeft(const CBitStream &stream) {
    if (stream.Overrun())
        return 0;
    const int64_t left = (int64_t(stream.Size()) - stream.TellByte()) * 8 - stream.TellBit();
    return left > 0 ? left : 0;
}

double R13ToDegrees(double radians) {
    return radians / kShortPi * 180.0;
}

double R13RadiansToDegrees(double radians) {
    return radians * 180.0 / kLongPi;
}

double R13ToRadians(double degrees) {
    return degrees / 180.0 * kShortPi;
}
