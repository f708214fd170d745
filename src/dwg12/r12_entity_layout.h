// The bodies of the release 12 entity frames, written down once as data.
//
// A frame is an 8-byte head (code, flags, length, layer, options_1, options_2), the common
// fields, the kind's own fields and a CRC. The kind's fields of every kind stand below as a
// list of R12EntityField in the order of the file: which presence bit brings the field,
// what kind of value it is, and which field of the CDB_ENTITY record it fills. The reader
// walks a list from the frame's bytes to the record; the writer walks the same list back.
// The few rules that do not fit a field (the z rules, the insert's scales that start at
// 1.0, the viewport's extended data) are flags of the kind's R12EntityLayout.
#ifndef VELKO_R12_ENTITY_LAYOUT_H
#define VELKO_R12_ENTITY_LAYOUT_H

#include "velkow32.h"

#include "model/table_base.h"

#include <cstddef>
#include <cstdint>
#include <cstring>

// Where a field's presence is decided.
enum class R12When : uint8_t {
    kAlways,       // the fixed part of the body
    kOptions1,     // bit `bit` of options_1
    kOptions2,     // bit `bit` of options_2
    kOptions2Zero, // only when options_2 is 0 as a whole (the vertex's location)
};

// What a field holds in the file, and how it goes into the record.
enum class R12Value : uint8_t {
    kF64,      // one double to a double
    kAngle,    // one double, radians in the file, degrees in the record
    kXY,       // two doubles to x and y of a point3; its z is left alone
    kXY0,      // two doubles to x and y of a point3; its z is set to 0
    kXYZ,      // three doubles to a point3
    kXYz,      // x and y, and z only when the frame is three-dimensional (else z is 0)
    kU8,       // one byte, zero-extended, to an i16
    kU8Byte,   // one byte to a u8
    kI16,      // an i16 to an i16
    kI32,      // an i32 to the entity object's own i32 (not to the record)
    kText,     // i16 length n, then n bytes, to a new zero-filled block of n + 1 bytes;
               // a length below 1 leaves the pointer null
    kNameText, // as kText, but a length below 1 gives an empty string, never null
    kFlag80,   // reads nothing: bit 0x80 of the frame's flags, as 0 or 1, to an i16
};

struct R12EntityField {
    R12When when;
    uint8_t bit; // the presence bit, for kOptions1 and kOptions2
    R12Value value;
    TableBase base;  // the drawing's base added to an index, or TableBase::kNone
    uint16_t offset; // byte offset of the field in CDB_ENTITY
};

// Rules of a kind beyond its fields.
enum R12LayoutRule : uint16_t {
    kR12RuleNone = 0,
    // After the fields: a z of 0 of the point at `z_point` takes the common elevation.
    kR12ZeroZTakesElevation = 0x01,
    // Before the fields: x_scale, y_scale and z_scale of the insert start at 1.0.
    kR12ScalesStartAtOne = 0x02,
    // After the fields: the polyline's origin is 0, 0, elevation.
    kR12OriginIsElevation = 0x04,
    // After the fields: the viewport's view is unpacked from its "MVIEW" extended data.
    kR12UnpackMview = 0x08,
    // After the fields: a missing xref path (block start) is an empty string, never null.
    kR12XrefPathNeverNull = 0x10,
};

struct R12EntityLayout {
    int16_t code;         // the code that the decoder asks the frame reader for
    const char *dxf_name; // "LINE", ...
    const R12EntityField *fields;
    size_t count;
    uint16_t record_bytes; // the common part and the kind's part: what GetRecord copies
    uint16_t rules;        // R12LayoutRule bits
    uint16_t z_point;      // offset of the point that kR12ZeroZTakesElevation concerns
};

// The layout of the kind `code` (1 to 24), or null for a code that has no class. The
// code 21 ("3DLINE") has the line's layout, whose `code` is 1.
const R12EntityLayout *R12EntityLayoutFor(int code);

// Kinds whose flags bit 0x04 means two-dimensional coordinates rather than an elevation.
inline bool R12IsFlatCoordinateKind(int code) {
    return code == 1 || code == 2 || code == 21 || code == 22;
}

// Frame head fields.
constexpr size_t kR12FrameHeadSize = 8;
constexpr uint8_t kR12ErasedBit = 0x80;
constexpr uint8_t kR12JumpCode = 18;
constexpr uint8_t kR12NoNextCode = 0x20;

// Frame flags.
constexpr uint8_t kR12HasColor = 0x01;
constexpr uint8_t kR12HasLtype = 0x02;
constexpr uint8_t kR12FlatOrElevation = 0x04;
constexpr uint8_t kR12HasThickness = 0x08;
constexpr uint8_t kR12HasHandle = 0x20;
constexpr uint8_t kR12HasExtension = 0x40;
constexpr uint8_t kR12FollowsBit = 0x80;
// Extension byte bits.
constexpr uint8_t kR12ExtHasEed = 0x02;
constexpr uint8_t kR12ExtHasSpace = 0x04;
// The line type index that stands for BYBLOCK in a frame.
constexpr int16_t kR12ByBlockLtype = 0x7FFE;

// A cursor over a frame body: every read is tested against the body's size, and a read
// that would pass the end fails, leaves the value alone and marks the cursor as failed.
struct R12BodyReader {
    const uint8_t *data;
    size_t size;
    size_t at = 0;
    bool failed = false;

    R12BodyReader(const uint8_t *bytes, size_t length) : data(bytes), size(length) {}

    bool Has(size_t n) {
        if (!failed && n <= size - at)
            return true;
        failed = true;
        return false;
    }
    bool U8(uint8_t &v) {
        if (!Has(1))
            return false;
        v = data[at++];
        return true;
    }
    bool I16(int16_t &v) {
        if (!Has(2))
            return false;
        v = static_cast<int16_t>(uint16_t(data[at]) | uint16_t(data[at + 1]) << 8);
        at += 2;
        return true;
    }
    bool U16(uint16_t &v) {
        if (!Has(2))
            return false;
        v = static_cast<uint16_t>(uint16_t(data[at]) | uint16_t(data[at + 1]) << 8);
        at += 2;
        return true;
    }
    bool I32(int32_t &v) {
        if (!Has(4))
            return false;
        v = static_cast<int32_t>(uint32_t(data[at]) | uint32_t(data[at + 1]) << 8 |
                                 uint32_t(data[at + 2]) << 16 | uint32_t(data[at + 3]) << 24);
        at += 4;
        return true;
    }
    bool F64(double &v) {
        if (!Has(8))
            return false;
        uint64_t bits = 0;
        for (int i = 7; i >= 0; --i)
            bits = bits << 8 | data[at + size_t(i)];
        std::memcpy(&v, &bits, sizeof v);
        at += 8;
        return true;
    }
    bool Skip(size_t n) {
        if (!Has(n))
            return false;
        at += n;
        return true;
    }
};

#endif
