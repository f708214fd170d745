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

#include "io/byte_reader.h"
#include "io/byte_writer.h"
#include "records/handle_text.h"

#include <cstdint>
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

// Bytes of a hexadecimal text, two digits a byte, up to the first non-digit, into `out`
// (room for kMaxPayload bytes). The count of bytes.
size_t HexBytes(const char *text, uint8_t *out) {
    size_t count = 0;
    for (size_t i = 0; i + 1 < kValueSize && count < kMaxPayload; i += 2) {
        const int high = HexDigitValue(text[i]);
        if (high < 0)
            break;
        const int low = HexDigitValue(text[i + 1]);
        if (low < 0)
            break;
        out[count++] = static_cast<uint8_t>(high * 16 + low);
    }
    return count;
}

// 1020 to 1023 and 1030 to 1033: the y and the z of a point that 1010 to 1013 began.
bool IsPointContinuation(int16_t code) {
    return (code >= 1020 && code <= 1023) || (code >= 1030 && code <= 1033);
}

// The codes the stored form has an item for.
bool IsStoredCode(int16_t code) {
    return (code >= 1000 && code <= 1005) || (code >= 1010 && code <= 1013) ||
           (code >= 1040 && code <= 1042) || code == 1070 || code == 1071;
}

} // namespace

bool CDxfEedCollector::Reserve(size_t count) {
    if (closed_ || bytes_.size() + count > kMaxBlock) {
        closed_ = true;
        return false;
    }
    return true;
}

bool CDxfEedCollector::BeginItem(int16_t code, size_t payload) {
    if (!Reserve(1 + payload))
        return false;
    bytes_.push_back(static_cast<uint8_t>(code - 1000));
    return true;
}

void CDxfEedCollector::AddCounted(int16_t code, const void *data, size_t count) {
    if (!BeginItem(code, 1 + count))
        return;
    bytes_.push_back(static_cast<uint8_t>(count));
    const auto *p = static_cast<const uint8_t *>(data);
    bytes_.insert(bytes_.end(), p, p + count);
}

void CDxfEedCollector::AddTableIndex(int16_t code, const char *name) {
    const std::function<int(const char *)> &find = code == 1001 ? lookup_->appid : lookup_->layer;
    const int index = find ? find(name) : -1;
    if (BeginItem(code, 2))
        ByteWriter(bytes_).U16(static_cast<uint16_t>(index));
}

void CDxfEedCollector::AddBinary(int16_t code, const char *value, size_t length) {
    if (binary_) {
        // The chunk: its stated length, then what of it arrived.
        size_t n = 0;
        if (length > 0) {
            const size_t stated = static_cast<uint8_t>(value[0]);
            const size_t arrived = length - 1;
            n = stated < arrived ? stated : arrived;
        }
        AddCounted(code, value + 1, n);
        return;
    }
    uint8_t data[kMaxPayload];
    AddCounted(code, data, HexBytes(value, data));
}

void CDxfEedCollector::AddHandle(int16_t code, const char *value, size_t length) {
    const uint64_t handle = HandleTextToValue(value, length);
    if (!BeginItem(code, 8))
        return;
    for (int i = 7; i >= 0; --i)
        bytes_.push_back(static_cast<uint8_t>(handle >> (8 * i)));
}

void CDxfEedCollector::AddPointStart(int16_t code, const char *value) {
    if (!BeginItem(code, 24))
        return;
    point_at_ = bytes_.size() - 1;
    ByteWriter out(bytes_);
    out.F64(DxfTextToReal(value));
    out.F64(0.0);
    out.F64(0.0);
}

void CDxfEedCollector::AddPointPart(int16_t code, const char *value) {
    if (point_at_ == kNoPoint)
        return;
    const size_t slot = point_at_ + 1 + (code >= 1030 ? 16 : 8);
    ByteWriter(bytes_).WriteAt(slot, DxfTextToReal(value));
}

void CDxfEedCollector::AddSection(const char *name) {
    const char *handle = handles_->appid ? handles_->appid(name) : nullptr;
    in_section_ = false;
    if (!handle)
        return;
    const uint64_t value = HandleTextToValue(handle, strnlen(handle, kValueSize));
    size_t count = 1;
    while (count < 8 && (value >> (8 * count)) != 0)
        ++count;
    if (!Reserve(1 + count))
        return;
    bytes_.push_back(static_cast<uint8_t>(0x50 + count));
    for (size_t i = count; i-- > 0;)
        bytes_.push_back(static_cast<uint8_t>(value >> (8 * i)));
    in_section_ = true;
}

void CDxfEedCollector::AddCodePageText(const char *value, size_t length) {
    const size_t n = length < kMaxPayload ? length : kMaxPayload;
    if (!BeginItem(1000, 3 + n))
        return;
    bytes_.push_back(static_cast<uint8_t>(n));
    ByteWriter(bytes_).U16(kDxfEedCodePage);
    bytes_.insert(bytes_.end(), value, value + n);
}

void CDxfEedCollector::AddLayerHandle(const char *name) {
    const char *handle = handles_->layer ? handles_->layer(name) : nullptr;
    const uint64_t value = handle ? HandleTextToValue(handle, strnlen(handle, kValueSize)) : 0;
    if (!BeginItem(1003, 8))
        return;
    for (int i = 7; i >= 0; --i)
        bytes_.push_back(static_cast<uint8_t>(value >> (8 * i)));
}

void CDxfEedCollector::Add(int16_t code, const char *value) {
    if (!value)
        value = "";
    if (handles_) {
        // Release 13: an application opens a section; nothing stands outside one.
        if (code == 1001) {
            point_at_ = kNoPoint;
            AddSection(value);
            return;
        }
        if (!in_section_)
            return;
        if (code == 1000 || code == 1003) {
            point_at_ = kNoPoint;
            if (code == 1000)
                AddCodePageText(value, strnlen(value, kValueSize));
            else
                AddLayerHandle(value);
            return;
        }
    }
    // Continuation of an open point: filled in place, no code byte.
    if (IsPointContinuation(code)) {
        AddPointPart(code, value);
        return;
    }
    if (!IsStoredCode(code))
        return;
    point_at_ = kNoPoint;
    const size_t length = strnlen(value, kValueSize);
    switch (code) {
    case 1000:
        AddCounted(code, value, length < kMaxPayload ? length : kMaxPayload);
        break;
    case 1001:
    case 1003:
        AddTableIndex(code, value);
        break;
    case 1002:
        if (BeginItem(code, 1))
            bytes_.push_back(EqualIgnoringCase(value, "{") ? 0 : 1);
        break;
    case 1004:
        AddBinary(code, value, length);
        break;
    case 1005:
        AddHandle(code, value, length);
        break;
    case 1070:
        if (BeginItem(code, 2))
            ByteWriter(bytes_).U16(
                static_cast<uint16_t>(static_cast<uint32_t>(DxfTextToInt(value))));
        break;
    case 1071:
        if (BeginItem(code, 4))
            ByteWriter(bytes_).U32(static_cast<uint32_t>(DxfTextToInt(value)));
        break;
    case 1010:
    case 1011:
    case 1012:
    case 1013:
        AddPointStart(code, value);
        break;
    default: // 1040 to 1042
        if (BeginItem(code, 8))
            ByteWriter(bytes_).F64(DxfTextToReal(value));
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

// ---- Writing ------------------------------------------------------------------------------

namespace {

// Bytes of the payload behind an item's code byte, or 0 for a code the stored form does
// not have. `p` points at the payload, `left` bytes of the block remain from there; a
// length byte that they cannot hold gives SIZE_MAX.
size_t EedPayloadSize(uint8_t tag, const uint8_t *p, size_t left) {
    switch (tag) {
    case 0:
    case 4:
        return left < 1 ? SIZE_MAX : 1 + size_t(p[0]);
    case 1:
    case 3:
    case 70:
        return 2;
    case 2:
        return 1;
    case 5:
    case 40:
    case 41:
    case 42:
        return 8;
    case 10:
    case 11:
    case 12:
    case 13:
        return 24;
    case 71:
        return 4;
    default:
        return 0;
    }
}

// Writes one item whose payload (`p`, `size` bytes) lies wholly inside the block. `value`
// is a scratch buffer of kValueSize + 8 bytes.
int WriteEedItem(CDxfStream &stream, uint8_t tag, const uint8_t *p, size_t size,
                 const DxfEedNames &names, char *value) {
    static const char kHexDigits[] = "0123456789ABCDEF";
    ByteReader payload(p, size);
    int16_t i16 = 0;
    int32_t i32 = 0;
    double xyz[3] = {};
    const int16_t code = static_cast<int16_t>(1000 + tag);
    switch (tag) {
    case 0: {
        // The text ends at its length or at a zero byte, whichever comes first.
        const size_t n = strnlen(reinterpret_cast<const char *>(p + 1), p[0]);
        std::memcpy(value, p + 1, n);
        value[n] = 0;
        return stream.WriteGroup(code, value, static_cast<int16_t>(n + 1));
    }
    case 1:
        payload.I16(i16);
        return stream.WriteText(code, names.Appid(i16));
    case 3:
        payload.I16(i16);
        return stream.WriteText(code, names.Layer(i16));
    case 2:
        return stream.WriteText(code, p[0] == 0 ? "{" : "}");
    case 4: {
        const size_t n = p[0];
        if (stream.OutputBinary()) {
            // A chunk: the length byte and the data, as the binary reader takes it.
            std::memcpy(value, p, n + 1);
            return stream.WriteGroup(code, value, static_cast<int16_t>(n + 1));
        }
        for (size_t i = 0; i < n; ++i) {
            value[2 * i] = kHexDigits[p[1 + i] >> 4];
            value[2 * i + 1] = kHexDigits[p[1 + i] & 0x0F];
        }
        value[2 * n] = 0;
        return stream.WriteGroup(code, value, static_cast<int16_t>(2 * n + 1));
    }
    case 5:
        return stream.WriteText(code, HandleBytesToText(p, 8).c_str());
    case 10:
    case 11:
    case 12:
    case 13:
        payload.F64(xyz[0]);
        payload.F64(xyz[1]);
        payload.F64(xyz[2]);
        return stream.WritePoint3(CDB_POINT3{xyz[0], xyz[1], xyz[2]}, code);
    case 40:
    case 41:
    case 42:
        payload.F64(xyz[0]);
        return stream.WriteReal(code, xyz[0]);
    case 70:
        payload.I16(i16);
        return stream.WriteInt16(code, i16);
    case 71:
        payload.I32(i32);
        return stream.WriteInt32(code, i32);
    default:
        return 1;
    }
}

} // namespace

int WriteEedDxf(CDxfStream &stream, const uint8_t *eed, size_t size, const DxfEedNames &names) {
    if (!eed)
        return 1;
    // Room for the longest value: 255 bytes as 510 hexadecimal digits, and the line end
    // that the ASCII form appends.
    char value[kValueSize + 8];
    size_t at = 0;
    while (at < size) {
        const uint8_t tag = eed[at];
        const uint8_t *payload = eed + at + 1;
        const size_t left = size - at - 1;
        const size_t payload_size = EedPayloadSize(tag, payload, left);
        if (payload_size == 0 || payload_size > left)
            return 1;
        if (!WriteEedItem(stream, tag, payload, payload_size, names, value))
            return 0;
        at += 1 + payload_size;
    }
    return 1;
}

int WriteEedDxfRelease13(CDxfStream &stream, const uint8_t *eed, size_t size,
                         const DxfEedHandleNames &names) {
    if (!eed)
        return 1;
    char value[kValueSize + 8];
    // The items the two forms share go through the release 12 walk, which never meets a
    // table index here.
    struct NoIndices final : DxfEedNames {
        const char *Appid(int) const override { return ""; }
        const char *Layer(int) const override { return ""; }
    } no_indices;
    size_t at = 0;
    while (at < size) {
        const uint8_t tag = eed[at];
        const uint8_t *payload = eed + at + 1;
        const size_t left = size - at - 1;
        size_t payload_size = 0;
        int written = 1;
        if (tag >= 0x51 && tag <= 0x58) {
            payload_size = tag - 0x50u;
            if (payload_size > left)
                return 1;
            const char *name = names.Appid(HandleBytesToText(payload, payload_size).c_str());
            written = stream.WriteText(1001, name ? name : "");
        } else if (tag == 3) {
            payload_size = 8;
            if (payload_size > left)
                return 1;
            const char *name = names.Layer(HandleBytesToText(payload, payload_size).c_str());
            written = stream.WriteText(1003, name ? name : "");
        } else if (tag == 0) {
            // The length, two bytes of code page, the characters up to a zero byte.
            if (left < 3 || size_t(3) + payload[0] > left)
                return 1;
            payload_size = size_t(3) + payload[0];
            const size_t n = strnlen(reinterpret_cast<const char *>(payload + 3), payload[0]);
            std::memcpy(value, payload + 3, n);
            value[n] = 0;
            written = stream.WriteGroup(1000, value, static_cast<int16_t>(n + 1));
        } else {
            payload_size = EedPayloadSize(tag, payload, left);
            if (payload_size == 0 || payload_size > left)
                return 1;
            written = WriteEedItem(stream, tag, payload, payload_size, no_indices, value);
        }
        if (!written)
            return 0;
        at += 1 + payload_size;
    }
    return 1;
}
