// The extended data collector: DXF groups 1000 and up turned into the byte block that a
// release 12 entity keeps in `eed_data`.
//
// How doubtful values are stored:
//   1000  a text longer than 255 bytes is cut to its first 255 bytes.
//   1002  only "{" opens a group; the comparison folds the case of letters only, so "["
//         is not taken for "{" and closes.
//   1004  ASCII: hexadecimal text, upper or lower case, read two digits a byte. Reading
//         stops at the first character that is not a hexadecimal digit; a last single
//         digit with no partner is dropped; at most 255 bytes are taken.
//         Binary: the first byte of the value is the stated length. The stream hands the
//         chunk over as NUL-terminated text, so fewer bytes may arrive than stated (a zero
//         byte in the data cuts it): what arrived is stored, with its true length.
//   1005  hexadecimal digits up to the first other character (an empty or wholly wrong
//         text is handle 0); of a longer run the last 16 digits are kept.
//   1010-1013  a point item always has three doubles: y and z start at 0 and are filled in
//         place by the 1020-1023 and 1030-1033 groups that follow, in whatever order they
//         come. A 1020-1033 group with no point open is dropped. Any other stored item
//         closes the point; a dropped group leaves it open.
//   1070  the integer text is read at 32 bits and its low 16 bits are stored.
//   1071  the integer text, held to the 32-bit range.
//   The block's length is kept in a 16-bit field: an item that would take the block past
//   65535 bytes is not stored, and from then on nothing more is added, so that no later
//   value ends up under the wrong application.
#include "dxf/dxf_eed.h"

#include "dxf/dxf_numbers.h"
#include "dxf/dxf_stream.h"

#include "records/handle_text.h"

#include <cstring>

namespace {

constexpr size_t kMaxBlock = 65535;
constexpr size_t kMaxPayload = 255;
constexpr size_t kValueSize = static_cast<size_t>(CDxfStream::kValueSize);

char FoldLetter(char c) {
    return (c >= 'a' && c <= 'z') ? static_cast<char>(c - 'a' + 'A') : c;
}

bool EqualIgnoringCase(const char *a, const char *b) {
    for (; *a && *b; ++a, ++b) {
        if (FoldLetter(*a) != FoldLetter(*b))
            return false;
    }
    return *a == *b;
}

void PutU16(std::vector<uint8_t> &out, uint16_t v) {
    out.push_back(static_cast<uint8_t>(v & 0xFF));
    out.push_back(static_cast<uint8_t>(v >> 8));
}

void PutU32(std::vector<uint8_t> &out, uint32_t v) {
    for (int i = 0; i < 4; ++i)
        out.push_back(static_cast<uint8_t>(v >> (8 * i)));
}

void StoreDouble(uint8_t *dest, double d) {
    uint64_t raw = 0;
    std::memcpy(&raw, &d, sizeof raw);
    for (int i = 0; i < 8; ++i)
        dest[i] = static_cast<uint8_t>(raw >> (8 * i));
}

void PutDouble(std::vector<uint8_t> &out, double d) {
    uint8_t b[8];
    StoreDouble(b, d);
    out.insert(out.end(), b, b + 8);
}

// Bytes of a hexadecimal text, two digits a byte, up to the first non-digit.
std::vector<uint8_t> HexBytes(const char *text) {
    std::vector<uint8_t> out;
    for (size_t i = 0; i + 1 < kValueSize && out.size() < kMaxPayload; i += 2) {
        const int high = HexDigitValue(text[i]);
        if (high < 0)
            break;
        const int low = HexDigitValue(text[i + 1]);
        if (low < 0)
            break;
        out.push_back(static_cast<uint8_t>(high * 16 + low));
    }
    return out;
}

} // namespace

bool CDxfEedCollector::Reserve(size_t count) {
    if (closed_ || bytes_.size() + count > kMaxBlock) {
        closed_ = true;
        return false;
    }
    return true;
}

void CDxfEedCollector::Add(int16_t code, const char *value) {
    if (!value)
        value = "";
    const size_t length = strnlen(value, kValueSize);

    // Continuation of an open point: filled in place, no code byte.
    if ((code >= 1020 && code <= 1023) || (code >= 1030 && code <= 1033)) {
        if (point_at_ == kNoPoint)
            return;
        const size_t slot = point_at_ + 1 + (code >= 1030 ? 16 : 8);
        StoreDouble(bytes_.data() + slot, DxfTextToReal(value));
        return;
    }

    const bool known = (code >= 1000 && code <= 1005) || (code >= 1010 && code <= 1013) ||
                       (code >= 1040 && code <= 1042) || code == 1070 || code == 1071;
    if (!known)
        return;
    point_at_ = kNoPoint;

    const uint8_t tag = static_cast<uint8_t>(code - 1000);
    switch (code) {
    case 1000: {
        const size_t n = length < kMaxPayload ? length : kMaxPayload;
        if (!Reserve(2 + n))
            return;
        bytes_.push_back(tag);
        bytes_.push_back(static_cast<uint8_t>(n));
        bytes_.insert(bytes_.end(), value, value + n);
        break;
    }
    case 1001:
    case 1003: {
        const std::function<int(const char *)> &find = code == 1001 ? lookup_.appid : lookup_.layer;
        const int index = find ? find(value) : -1;
        if (!Reserve(3))
            return;
        bytes_.push_back(tag);
        PutU16(bytes_, static_cast<uint16_t>(index));
        break;
    }
    case 1002:
        if (!Reserve(2))
            return;
        bytes_.push_back(tag);
        bytes_.push_back(EqualIgnoringCase(value, "{") ? 0 : 1);
        break;
    case 1004: {
        std::vector<uint8_t> data;
        if (binary_) {
            if (length > 0) {
                const size_t stated = static_cast<uint8_t>(value[0]);
                const size_t arrived = length - 1;
                const size_t n = stated < arrived ? stated : arrived;
                data.assign(value + 1, value + 1 + n);
            }
        } else {
            data = HexBytes(value);
        }
        if (!Reserve(2 + data.size()))
            return;
        bytes_.push_back(tag);
        bytes_.push_back(static_cast<uint8_t>(data.size()));
        bytes_.insert(bytes_.end(), data.begin(), data.end());
        break;
    }
    case 1005: {
        const uint64_t handle = HandleTextToValue(value, length);
        if (!Reserve(9))
            return;
        bytes_.push_back(tag);
        for (int i = 7; i >= 0; --i)
            bytes_.push_back(static_cast<uint8_t>(handle >> (8 * i)));
        break;
    }
    case 1010:
    case 1011:
    case 1012:
    case 1013:
        if (!Reserve(25))
            return;
        point_at_ = bytes_.size();
        bytes_.push_back(tag);
        PutDouble(bytes_, DxfTextToReal(value));
        PutDouble(bytes_, 0.0);
        PutDouble(bytes_, 0.0);
        break;
    case 1040:
    case 1041:
    case 1042:
        if (!Reserve(9))
            return;
        bytes_.push_back(tag);
        PutDouble(bytes_, DxfTextToReal(value));
        break;
    case 1070:
        if (!Reserve(3))
            return;
        bytes_.push_back(tag);
        PutU16(bytes_, static_cast<uint16_t>(static_cast<uint32_t>(DxfTextToInt(value))));
        break;
    case 1071:
        if (!Reserve(5))
            return;
        bytes_.push_back(tag);
        PutU32(bytes_, static_cast<uint32_t>(DxfTextToInt(value)));
        break;
    default:
        break;
    }
}

void CDxfEedCollector::Collect(CDxfStream &stream, int16_t &code, char *value) {
    if (code < 1000)
        return;
    Add(code, value);
    // Every pass reads one group; the stream's end stops the loop whatever the codes say.
    // A read that met the end delivered nothing whole (ASCII keeps the old group, binary
    // may hold a cut one), so it is not stored.
    while (!stream.AtEnd()) {
        if (!stream.ReadGroup(&code, value) || stream.AtEnd())
            return;
        if (code < 1000)
            return;
        Add(code, value);
    }
}
