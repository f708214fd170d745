// The bodies of the release 12 entity frames, written down once as data.
//
// A frame is an 8-byte head (code, flags, length, layer, options_1, options_2), the common
// fields, the kind's own fields and a CRC. The kind's fields of every kind stand below as a
// list of R12EntityField in the order of the file: which presence bit brings the field,
// what kind of value it is, and which field of the CDB_ENTITY record it fills. The reader
// walks a list from the frame's bytes to the record; the writer walks the same list back.
// The few rules that do not fit a field (the z rules, the insert's scales that start at
// 1.0, the viewport's extended data) are flags of the kind's R12EntityLayout.
//
// Which kind has which layout is said by the release 12 kind table (r12_entity_kinds.h),
// whose rows point at the layouts below.
#ifndef VELKO_R12_ENTITY_LAYOUT_H
#define VELKO_R12_ENTITY_LAYOUT_H

#include "io/byte_reader.h"
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
    // The frame's flags bit 0x04 means two-dimensional coordinates rather than an elevation.
    kR12FlatCoordinates = 0x20,
};

struct R12EntityLayout {
    int16_t code; // the code that the decoder asks the frame reader for
    const R12EntityField *fields;
    size_t count;
    uint16_t record_bytes; // the common part and the kind's part: what GetRecord copies
    uint16_t rules;        // R12LayoutRule bits
    uint16_t z_point;      // offset of the point that kR12ZeroZTakesElevation concerns
};

// The layouts of the kinds. The code 21 ("3DLINE") has the line's layout, whose `code` is 1.
extern const R12EntityLayout kR12LineFrame;
extern const R12EntityLayout kR12PointFrame;
extern const R12EntityLayout kR12CircleFrame;
extern const R12EntityLayout kR12ShapeFrame;
extern const R12EntityLayout kR12TextFrame;
extern const R12EntityLayout kR12ArcFrame;
extern const R12EntityLayout kR12TraceFrame;
extern const R12EntityLayout kR12SolidFrame;
extern const R12EntityLayout kR12BeginBlockFrame;
extern const R12EntityLayout kR12EndBlockFrame;
extern const R12EntityLayout kR12InsertFrame;
extern const R12EntityLayout kR12AttDefFrame;
extern const R12EntityLayout kR12AttribFrame;
extern const R12EntityLayout kR12SeqEndFrame;
extern const R12EntityLayout kR12PolylineFrame;
extern const R12EntityLayout kR12VertexFrame;
extern const R12EntityLayout kR12FaceFrame;
extern const R12EntityLayout kR12DimensionFrame;
extern const R12EntityLayout kR12ViewportFrame;

// The layout of the kind `code` (from the kind table), or null for a code that has no class.
const R12EntityLayout *R12EntityLayoutFor(int code);

// Whether the flags bit 0x04 of a frame of kind `code` means two-dimensional coordinates
// rather than an elevation (the kinds 1, 2, 21 and 22).
inline bool R12IsFlatCoordinateKind(int code) {
    const R12EntityLayout *layout = R12EntityLayoutFor(code);
    return layout && (layout->rules & kR12FlatCoordinates);
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

// Whether a frame holds the field `f`, by its presence rule and the head's option bytes.
inline bool R12FieldIsPresent(const R12EntityField &f, uint8_t options_1, uint8_t options_2) {
    switch (f.when) {
    case R12When::kAlways:
        return true;
    case R12When::kOptions1:
        return (options_1 & f.bit) != 0;
    case R12When::kOptions2:
        return (options_2 & f.bit) != 0;
    case R12When::kOptions2Zero:
        return options_2 == 0;
    }
    return true;
}

// A cursor over a frame body: every read is tested against the body's size, and a read
// that would pass the end fails, leaves the value alone and marks the cursor as failed.
struct R12BodyReader : ByteReader {
    using ByteReader::ByteReader;
};

#endif
