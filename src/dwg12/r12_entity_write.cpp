// Entity frames as a release 12 DWG holds them. The writer walks each kind's layout, the
// same list of fields that the reader in r12_frames.cpp walks, from the record back to the
// bytes: the frame head, the common fields with their presence bits, the kind's fields and
// the CRC.
//
// An optional field is written exactly when its value differs, bit for bit, from what the
// reader leaves in the record when the field is absent. So a frame read and written again
// gives the same record back, -0.0 included.
#include "dwg12/r12_drawing.h"
#include "dwg12/r12_entity_layout.h"
#include "dwg12/r12_header.h"
#include "io/byte_order.h"
#include "io/byte_writer.h"
#include "io/crc16.h"
#include "io/record_field.h"
#include "records/handle_text.h"

#include <cstdlib>
#include <cstring>

namespace {

// The largest frame: its length field is a signed 16-bit value.
constexpr size_t kMaxFrameSize = 32767;
// A handle's length in the frame is one byte.
constexpr size_t kMaxHandleBytes = 255;
constexpr size_t kCrcSize = 2;

inline bool SameBits(double a, double b) {
    return std::memcmp(&a, &b, sizeof a) == 0;
}
// +0.0 and nothing else: -0.0 is a value of its own.
inline bool IsPositiveZero(double v) {
    return SameBits(v, 0.0);
}

// Appends little-endian values to a frame, and the frame's texts. The vector keeps its
// capacity from one frame to the next, so a save allocates only while its frames grow.
class FrameWriter : public ByteWriter {
public:
    using ByteWriter::ByteWriter;
    // A text of the frame: i16 length and the characters. False when it is too long for
    // a frame.
    bool Text(const char *text) {
        const size_t n = text ? std::strlen(text) : 0;
        if (n > kMaxFrameSize)
            return false;
        I16(static_cast<int16_t>(n));
        Bytes(text, n);
        return true;
    }
};

// The handle's hexadecimal text as the frame keeps it, most significant byte first, in the
// fewest bytes that hold the value: "2A0F" gives 2A 0F, "0" (and a text without digits)
// one zero byte. Digits count up to the first character that is not one. False when the
// value needs more bytes than the length byte can tell.
bool HandleTextToBytes(const char *text, uint8_t (&bytes)[kMaxHandleBytes], size_t &count) {
    size_t first = 0; // the first significant digit
    size_t end = 0;   // behind the last digit
    while (text[end] && HexDigitValue(text[end]) >= 0)
        ++end;
    while (first < end && text[first] == '0')
        ++first;
    const size_t digits = end - first;
    if (digits == 0) {
        bytes[0] = 0;
        count = 1;
        return true;
    }
    count = (digits + 1) / 2;
    if (count > kMaxHandleBytes)
        return false;
    // From the last digit back: two digits a byte, the first byte may hold one.
    size_t at = end;
    for (size_t b = count; b-- > 0;) {
        int value = HexDigitValue(text[--at]);
        if (at > first)
            value |= HexDigitValue(text[--at]) << 4;
        bytes[b] = static_cast<uint8_t>(value);
    }
    return true;
}

// What the reader leaves in a double of the record when its field is absent: the record
// as the entity's constructor made it (extrusion 0, 0, 1) and, under the insert's rule,
// scales of 1.0; 0 everywhere else.
double AbsentDouble(const R12EntityLayout &layout, size_t offset) {
    if (offset == offsetof(CDB_ENTITY, extrusion.z))
        return 1.0;
    if ((layout.rules & kR12ScalesStartAtOne) && (offset == offsetof(CDB_ENTITY, insert.x_scale) ||
                                                  offset == offsetof(CDB_ENTITY, insert.y_scale) ||
                                                  offset == offsetof(CDB_ENTITY, insert.z_scale)))
        return 1.0;
    return 0.0;
}

// How many doubles a field of these kinds takes from the record.
size_t DoublesOf(R12Value value) {
    switch (value) {
    case R12Value::kF64:
    case R12Value::kAngle:
        return 1;
    case R12Value::kXY:
    case R12Value::kXY0:
        return 2;
    case R12Value::kXYZ:
    case R12Value::kXYz:
        return 3;
    default:
        return 0;
    }
}

// Whether an optional field is written: its value differs from what the reader leaves
// when the field is absent.
bool DiffersFromAbsent(const CDB_ENTITY *record, const R12EntityLayout &layout, int32_t object_i32,
                       const R12EntityField &f) {
    switch (f.value) {
    case R12Value::kU8:
    case R12Value::kI16:
        return LoadField<int16_t>(record, f.offset) != 0;
    case R12Value::kU8Byte:
        return LoadField<uint8_t>(record, f.offset) != 0;
    case R12Value::kI32:
        return object_i32 != 0;
    case R12Value::kText: {
        // An empty text reads back as no text at all.
        const char *text = LoadField<char *>(record, f.offset);
        return text != nullptr && text[0] != 0;
    }
    case R12Value::kNameText: {
        // A stored empty name reads back as an empty string, an absent one as null;
        // the xref path of a block start is an empty string in both cases.
        const char *text = LoadField<char *>(record, f.offset);
        if (!text)
            return false;
        const bool never_null = (layout.rules & kR12XrefPathNeverNull) &&
                                f.offset == offsetof(CDB_ENTITY, block.xref_path);
        return !never_null || text[0] != 0;
    }
    case R12Value::kFlag80:
        return false;
    default:
        for (size_t i = 0; i < DoublesOf(f.value); ++i) {
            const size_t at = f.offset + 8 * i;
            if (!SameBits(LoadField<double>(record, at), AbsentDouble(layout, at)))
                return true;
        }
        return false;
    }
}

// The presence bits of a record's kind fields and the frame flags they set.
struct KindFieldBits {
    uint8_t flags = 0;
    uint8_t options_1 = 0;
    uint8_t options_2 = 0;
    bool flat = true; // every z of the kind's xy[z] points is +0.0
};

KindFieldBits FieldBitsOf(const CDB_ENTITY *record, const R12EntityLayout &layout,
                          int32_t object_i32) {
    KindFieldBits bits;
    for (size_t i = 0; i < layout.count; ++i) {
        const R12EntityField &f = layout.fields[i];
        if (f.value == R12Value::kFlag80 && LoadField<int16_t>(record, f.offset) != 0)
            bits.flags |= kR12FollowsBit;
        if (f.value == R12Value::kXYz && !IsPositiveZero(LoadField<double>(record, f.offset + 16)))
            bits.flat = false;
        if (f.when == R12When::kOptions1 && DiffersFromAbsent(record, layout, object_i32, f))
            bits.options_1 |= f.bit;
        else if (f.when == R12When::kOptions2 && DiffersFromAbsent(record, layout, object_i32, f))
            bits.options_2 |= f.bit;
    }
    return bits;
}

// Writes the value of the kind's field `f`; `base` is the drawing base of an index,
// `three_d` whether xy[z] points carry their z. False when a text is too long for a frame.
bool WriteField(FrameWriter &out, const CDB_ENTITY *record, const R12EntityField &f, int32_t base,
                bool three_d, int32_t object_i32) {
    switch (f.value) {
    case R12Value::kF64:
        out.F64(LoadField<double>(record, f.offset));
        break;
    case R12Value::kAngle:
        out.F64(R12AngleToFile(LoadField<double>(record, f.offset)));
        break;
    case R12Value::kXY:
    case R12Value::kXY0:
    case R12Value::kXYZ:
    case R12Value::kXYz:
        out.F64(LoadField<double>(record, f.offset));
        out.F64(LoadField<double>(record, f.offset + 8));
        if (f.value == R12Value::kXYZ || (f.value == R12Value::kXYz && three_d))
            out.F64(LoadField<double>(record, f.offset + 16));
        break;
    case R12Value::kU8:
        out.U8(static_cast<uint8_t>((LoadField<int16_t>(record, f.offset) - base) & 0xFF));
        break;
    case R12Value::kU8Byte:
        out.U8(LoadField<uint8_t>(record, f.offset));
        break;
    case R12Value::kI16:
        out.I16(static_cast<int16_t>(LoadField<int16_t>(record, f.offset) - base));
        break;
    case R12Value::kI32:
        out.I32(object_i32);
        break;
    case R12Value::kText:
    case R12Value::kNameText:
        if (!out.Text(LoadField<char *>(record, f.offset)))
            return false;
        break;
    case R12Value::kFlag80:
        break; // in the flags
    }
    return true;
}

// The flags of a frame's common part as a record asks for them.
struct CommonFlags {
    uint8_t flags = 0;
    uint8_t extension = 0;
    bool flat_kind = false;
    // Whether the kind's xy[z] points carry their z.
    bool three_d = false;
};

// The blocks a frame's common part copies: the extended data and the handle's bytes, null
// for none.
struct CommonBlocks {
    const uint8_t *eed = nullptr;
    size_t eed_size = 0;
    const uint8_t *handle = nullptr;
    size_t handle_size = 0;
};

// The flags of `record`, a frame of `kind` whose kind fields set `bits`. For kinds 1, 2, 21
// and 22 flags bit 0x04 marks two-dimensional coordinates and no elevation is stored; for
// the others it announces the elevation.
CommonFlags CommonFlagsOf(const CDB_ENTITY *record, int kind, const KindFieldBits &bits,
                          bool has_eed) {
    CommonFlags c;
    c.flat_kind = R12IsFlatCoordinateKind(kind);
    c.three_d = c.flat_kind && !bits.flat;
    c.flags = bits.flags;
    if (has_eed)
        c.extension |= kR12ExtHasEed;
    if (record->space != 0)
        c.extension |= kR12ExtHasSpace;
    if (c.extension)
        c.flags |= kR12HasExtension;
    if (record->color != -1 && record->color != 256)
        c.flags |= kR12HasColor;
    if (record->line_type_index != -1)
        c.flags |= kR12HasLtype;
    const bool has_elevation = !c.flat_kind && !IsPositiveZero(record->elevation);
    if ((c.flat_kind && !c.three_d) || has_elevation)
        c.flags |= kR12FlatOrElevation;
    if (!IsPositiveZero(record->thickness))
        c.flags |= kR12HasThickness;
    if (record->handle)
        c.flags |= kR12HasHandle;
    return c;
}

// Writes the frame head (with a length of 0, set when the frame is complete) and the
// common fields that the flags announce. `base` gives the drawing's table bases.
template <typename BaseOf>
void WriteCommonPart(FrameWriter &out, const CDB_ENTITY *record, int kind,
                     const KindFieldBits &bits, const CommonFlags &c, const CommonBlocks &blocks,
                     BaseOf base) {
    out.U8(static_cast<uint8_t>(kind));
    out.U8(c.flags);
    out.I16(0); // the length
    out.I16(static_cast<int16_t>(record->layer_index - base(TableBase::kLayers)));
    out.U8(bits.options_1);
    out.U8(bits.options_2);
    if (c.extension)
        out.U8(c.extension);
    if (c.extension & kR12ExtHasEed) {
        out.I16(static_cast<int16_t>(blocks.eed_size));
        out.Bytes(blocks.eed, blocks.eed_size);
    }
    if (c.flags & kR12HasColor)
        out.U8(static_cast<uint8_t>(record->color));
    if (c.flags & kR12HasLtype)
        out.I16(record->line_type_index == -2
                    ? kR12ByBlockLtype
                    : static_cast<int16_t>(record->line_type_index - base(TableBase::kLtypes)));
    if ((c.flags & kR12FlatOrElevation) && !c.flat_kind)
        out.F64(record->elevation);
    if (c.flags & kR12HasThickness)
        out.F64(record->thickness);
    if (c.flags & kR12HasHandle) {
        out.U8(static_cast<uint8_t>(blocks.handle_size));
        out.Bytes(blocks.handle, blocks.handle_size);
    }
    if (c.extension & kR12ExtHasSpace)
        out.I16(record->space);
}

// Writes the kind's fields that the presence bits hold, in the order of the layout. False
// when a text is too long for a frame.
template <typename BaseOf>
bool WriteKindFields(FrameWriter &out, const CDB_ENTITY *record, const R12EntityLayout &layout,
                     const KindFieldBits &bits, bool three_d, int32_t object_i32, BaseOf base) {
    for (size_t i = 0; i < layout.count; ++i) {
        const R12EntityField &f = layout.fields[i];
        if (!R12FieldIsPresent(f, bits.options_1, bits.options_2))
            continue;
        const int32_t field_base = f.base == TableBase::kNone ? 0 : base(f.base);
        if (!WriteField(out, record, f, field_base, three_d, object_i32))
            return false;
    }
    return true;
}

// Sets the length of a complete frame and appends its CRC. The frame's format knows a
// rule for extended data of an odd size: "the block adds what the kind's flags ask for".
// No reader needs it and nothing in the frame says what it would be, so no padding is
// written: the length field tells the reader where the frame ends. False when the frame
// is too long.
bool FinishFrame(FrameWriter &out, std::vector<uint8_t> &frame) {
    const size_t length = frame.size() + kCrcSize;
    if (length > kMaxFrameSize)
        return false;
    out.WriteAt(2, static_cast<uint16_t>(length));
    out.U16(DwgCrc(frame.data(), frame.size()));
    return true;
}

} // namespace

// ---- The extended data a frame carries --------------------------------------------------

const uint8_t *CR12Entity::ExtendedDataForDWG(std::vector<uint8_t> &, size_t &size) const {
    size = record ? record->eed_size : 0;
    return record ? record->eed_data : nullptr;
}

const uint8_t *CR12Viewport::ExtendedDataForDWG(std::vector<uint8_t> &scratch, size_t &size) const {
    size = 0;
    if (!record)
        return nullptr;
    scratch = R12PackMview(record->viewport);
    // Behind the MVIEW part the stored block may hold more (another application's data):
    // it follows the packed part unchanged. The part ends where the reader's walk ends, and
    // the brace that closes the whole MVIEW group, which the packed part writes too, is
    // passed over. A walk that runs past the block leaves nothing behind it.
    const uint8_t *stored = record->eed_data;
    const size_t stored_size = record->eed_size;
    if (stored) {
        CDB_VIEWPORT_type walked;
        std::memset(&walked, 0, sizeof walked);
        size_t end = R12UnpackMview(stored, stored_size, &walked);
        std::free(walked.frozen_layers);
        if (end + 2 <= stored_size && stored[end] == 2 && stored[end + 1] == 1)
            end += 2;
        if (end < stored_size)
            scratch.insert(scratch.end(), stored + end, stored + stored_size);
    }
    size = scratch.size();
    return scratch.data();
}

// ---- The frame ---------------------------------------------------------------------------

int CR12Entity::EncodeDWG(std::vector<uint8_t> &frame) {
    frame.clear();
    // An insert or a dimension read from a DXF file finds its block's index first.
    GetResolvedRecord();
    if (!record || !layout)
        return 0;
    // The table bases of the drawing, taken back off the indices; none without a drawing.
    auto base = [this](TableBase slot) -> int32_t { return drawing ? drawing->Base(slot) : 0; };
    const int32_t object_i32 = ObjectI32();
    const KindFieldBits bits = FieldBitsOf(record, *layout, object_i32);
    std::vector<uint8_t> built_eed;
    CommonBlocks blocks;
    blocks.eed = ExtendedDataForDWG(built_eed, blocks.eed_size);
    if (blocks.eed && blocks.eed_size > 0xFFFF)
        return 0;
    uint8_t handle[kMaxHandleBytes];
    if (record->handle && !HandleTextToBytes(record->handle, handle, blocks.handle_size))
        return 0;
    blocks.handle = handle;
    const CommonFlags common = CommonFlagsOf(record, layout->code, bits, blocks.eed != nullptr);

    FrameWriter out(frame);
    WriteCommonPart(out, record, layout->code, bits, common, blocks, base);
    if (!WriteKindFields(out, record, *layout, bits, common.three_d, object_i32, base) ||
        !FinishFrame(out, frame))
        return frame.clear(), 0;
    return 1;
}
