// The entity stream of a release 12 DWG: finding frames, the common fields, the kinds'
// bodies by their layouts, and the load of the main entity section.
#include "dwg12/r12_drawing.h"
#include "dwg12/r12_entity_layout.h"

#include "io/byte_order.h"
#include "io/drawing_file.h"
#include "io/record_field.h"
#include "records/angles.h"
#include "records/handle_text.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

// A value of the 8-byte frame head: the length (i16 at 2), the layer (i16 at 4), a jump's
// target (i16 or u32 at 4).
template <typename T> inline T FrameHead(const uint8_t *head, size_t offset) {
    T value = 0;
    ReadValueAt(head, kR12FrameHeadSize, offset, value);
    return value;
}

// Positions beyond what a file position can hold become the largest one: a read there
// fails as any read past the end does.
inline int32_t ClampPosition(int64_t position) {
    if (position > INT32_MAX)
        return INT32_MAX;
    if (position < INT32_MIN)
        return INT32_MIN;
    return static_cast<int32_t>(position);
}

// A text of the frame: i16 length n and n bytes, to a new zero-filled block of n + 1
// bytes. A length below 1 gives null, or an empty string when `never_null`. False when
// the body is too short.
bool ReadFrameText(R12BodyReader &body, bool never_null, char *&text) {
    int16_t length = 0;
    if (!body.I16(length))
        return false;
    text = nullptr;
    if (length < 1) {
        if (never_null)
            text = static_cast<char *>(std::calloc(1, 1));
        return true;
    }
    if (!body.Has(size_t(length)))
        return false;
    text = static_cast<char *>(std::calloc(size_t(length) + 1, 1));
    if (text)
        std::memcpy(text, body.Here(), size_t(length));
    body.Skip(size_t(length));
    return true;
}

// A real field (kF64, kAngle) into the record; an angle is stored in degrees.
bool DecodeReal(R12BodyReader &body, CDB_ENTITY *record, const R12EntityField &f) {
    double x = 0.0;
    if (!body.F64(x))
        return false;
    StoreField(record, f.offset, f.value == R12Value::kAngle ? RadiansToDegrees(x) : x);
    return true;
}

// A point field into the record: x and y, and z for kXYZ and for kXYz when `three_d`. A
// point of two (kXY) leaves the record's z alone; the others store a z not read as 0.
bool DecodePoint(R12BodyReader &body, CDB_ENTITY *record, const R12EntityField &f, bool three_d) {
    double x = 0.0, y = 0.0, z = 0.0;
    if (!body.F64(x) || !body.F64(y))
        return false;
    if (f.value == R12Value::kXYZ || (f.value == R12Value::kXYz && three_d)) {
        if (!body.F64(z))
            return false;
    }
    StoreField(record, f.offset, x);
    StoreField(record, f.offset + 8, y);
    if (f.value != R12Value::kXY)
        StoreField(record, f.offset + 16, z);
    return true;
}

// An integer field (kU8, kU8Byte, kI16) into the record; a table index gets `base` added.
bool DecodeInteger(R12BodyReader &body, CDB_ENTITY *record, const R12EntityField &f, int32_t base) {
    if (f.value == R12Value::kI16) {
        int16_t v = 0;
        if (!body.I16(v))
            return false;
        StoreField(record, f.offset, static_cast<int16_t>(v + base));
        return true;
    }
    uint8_t v = 0;
    if (!body.U8(v))
        return false;
    if (f.value == R12Value::kU8Byte)
        StoreField(record, f.offset, v);
    else
        StoreField(record, f.offset, static_cast<int16_t>(v + base));
    return true;
}

// A text field into the record, in place of the text it held.
bool DecodeText(R12BodyReader &body, CDB_ENTITY *record, const R12EntityField &f) {
    char *text = nullptr;
    if (!ReadFrameText(body, f.value == R12Value::kNameText, text))
        return false;
    std::free(LoadField<char *>(record, f.offset));
    StoreField(record, f.offset, text);
    return true;
}

// What a kind's rules do once its fields are read; `z_point_read` tells whether the
// layout's z point was in the frame.
void ApplyRulesAfterFields(CDB_ENTITY *record, const R12EntityLayout &layout, bool z_point_read) {
    const uint16_t rules = layout.rules;
    if ((rules & kR12ZeroZTakesElevation) && z_point_read &&
        LoadField<double>(record, layout.z_point + 16) == 0.0)
        StoreField(record, layout.z_point + 16, record->elevation);
    if (rules & kR12OriginIsElevation) {
        record->polyline.origin.x = 0.0;
        record->polyline.origin.y = 0.0;
        record->polyline.origin.z = record->elevation;
    }
    if ((rules & kR12XrefPathNeverNull) && !record->block.xref_path)
        record->block.xref_path = static_cast<char *>(std::calloc(1, 1));
    if (rules & kR12UnpackMview)
        R12UnpackMview(record->eed_data, record->eed_size, &record->viewport);
}

// Bytes of a frame body, where they stand in it.
struct BodyBlock {
    const uint8_t *data = nullptr;
    size_t size = 0;
};

// The block of the body behind its length, a `Length`; the body moves past it. False when
// the body is too short for the length or the block.
template <typename Length> bool TakeCounted(R12BodyReader &body, BodyBlock &block) {
    Length length = 0;
    if (!body.Read(length) || !body.Has(length))
        return false;
    block.data = body.Here();
    block.size = length;
    body.Skip(length);
    return true;
}

// A copy of the frame's extended data (`size` bytes and a zero behind them) in place of
// the record's block.
void KeepExtendedData(CDB_ENTITY *record, const BodyBlock &eed) {
    auto *block = static_cast<uint8_t *>(std::calloc(eed.size + 1, 1));
    if (!block)
        return;
    std::memcpy(block, eed.data, eed.size);
    std::free(record->eed_data);
    record->eed_data = block;
    record->eed_size = static_cast<uint16_t>(eed.size);
}

// A copy of the handle's text in place of the record's.
void KeepHandle(CDB_ENTITY *record, const std::string &text) {
    char *handle = static_cast<char *>(std::malloc(text.size() + 1));
    if (handle)
        std::memcpy(handle, text.c_str(), text.size() + 1);
    std::free(record->handle);
    record->handle = handle;
}

// The trailer's position at `offset` (a u32), 0 without a file.
uint32_t TrailerPosition(const CDrawingFile *file, size_t offset) {
    uint32_t value = 0;
    if (file)
        ReadValueAt(file->trailer, sizeof file->trailer, offset, value);
    return value;
}

} // namespace

// ---- Trailer positions ------------------------------------------------------------------

uint32_t CR12Drawing::EntitiesStart() const {
    return TrailerPosition(file.get(), 0);
}
uint32_t CR12Drawing::EntitiesEnd() const {
    return TrailerPosition(file.get(), 4);
}
uint32_t CR12Drawing::BlocksStart() const {
    return TrailerPosition(file.get(), 8);
}
uint32_t CR12Drawing::ExtraStart() const {
    return TrailerPosition(file.get(), 12);
}

void CR12Drawing::ArmFrameBudget(int64_t extra) {
    const int64_t length = file ? int64_t(file->Length()) : 0;
    frame_heads_left = 4 * (length / 8 + 1) + 64 + (extra > 0 ? extra : 0);
}

// ---- Frames --------------------------------------------------------------------------------

uint8_t *CR12Drawing::ReadFrame(uint8_t header[8], bool peek, int wanted, short &status) {
    status = 0;
    if (!file)
        return nullptr;
    const int64_t extra_start = ExtraStart();
    const int64_t entities_end = EntitiesEnd();
    int last = kR12JumpCode;
    while (last == kR12JumpCode || (last & kR12ErasedBit)) {
        const int64_t p = file->GetPosition();
        if (p < extra_start && file->in_entity_section && entities_end <= p) {
            status = -2;
            return nullptr;
        }
        if (frame_heads_left <= 0)
            return nullptr;
        --frame_heads_left;
        std::memset(header, 0, kR12FrameHeadSize);
        if (!file->Read(header, kR12FrameHeadSize) || file->GetPosition() - p != 8)
            return nullptr;
        last = header[0];
        const int32_t body_size = int32_t(FrameHead<int16_t>(header, 2)) - 8;
        if (last & kR12ErasedBit) {
            // An erased entity: stepped over by its length.
            if (body_size < 0)
                return nullptr;
            file->SetPosition(body_size, 1);
        } else if (last == kR12JumpCode) {
            // A jump: relative to the extra area, or to an absolute position.
            const int64_t target = (header[7] & 0x80) ? extra_start + FrameHead<int16_t>(header, 4)
                                                      : int64_t(FrameHead<uint32_t>(header, 4));
            file->SetPosition(ClampPosition(target), 0);
        }
    }
    if (peek) {
        file->SetPosition(-8, 1);
        status = 1;
        return nullptr;
    }
    if (last != wanted) {
        file->SetPosition(-8, 1);
        return nullptr;
    }
    const int32_t body_size = int32_t(FrameHead<int16_t>(header, 2)) - 8;
    const int64_t remaining = int64_t(file->Length()) - file->GetPosition();
    if (body_size < 0 || body_size > remaining)
        return nullptr;
    if (frame_body.size() < size_t(body_size) + 1)
        frame_body.resize(size_t(body_size) + 1);
    if (body_size > 0 && !file->Read(frame_body.data(), uint32_t(body_size)))
        return nullptr;
    status = 1;
    return frame_body.data();
}

// ---- Decoding one frame ----------------------------------------------------------------------

bool CR12Entity::DecodeCommon(const uint8_t head[8], R12BodyReader &body, bool &three_d) {
    const int kind = head[0];
    const uint8_t flags = head[1];
    const bool flat_kind = R12IsFlatCoordinateKind(kind);
    uint8_t extension = 0;
    uint8_t color = 0;
    int16_t ltype = -1;
    int16_t space = 0;
    double elevation = 0.0;
    double thickness = 0.0;
    three_d = false;
    record->space = 0;

    if ((flags & kR12HasExtension) && !body.U8(extension))
        return false;
    BodyBlock eed;
    if ((extension & kR12ExtHasEed) && !TakeCounted<uint16_t>(body, eed))
        return false;
    // View mode keeps the extended data of a viewport only, which its view needs.
    if (eed.data && (!drawing->ViewFlag() || kind == CDB_VIEWPORT))
        KeepExtendedData(record, eed);
    if ((flags & kR12HasColor) && !body.U8(color))
        return false;
    if ((flags & kR12HasLtype) && !body.I16(ltype))
        return false;
    if ((flags & kR12FlatOrElevation) && !flat_kind && !body.F64(elevation))
        return false;
    if ((flags & kR12HasThickness) && !body.F64(thickness))
        return false;
    BodyBlock handle;
    if ((flags & kR12HasHandle) && !TakeCounted<uint8_t>(body, handle))
        return false;
    if (handle.data)
        KeepHandle(record, HandleBytesToText(handle.data, handle.size));
    if ((extension & kR12ExtHasSpace) && !body.I16(space))
        return false;
    if (space != 0)
        drawing->MarkPaperSpace();

    record->entity_type = static_cast<int16_t>(kind);
    record->thickness = thickness;
    record->color = (flags & kR12HasColor) ? int16_t(color) : int16_t(-1);
    record->elevation = elevation;
    record->space = space;
    record->layer_index =
        static_cast<int16_t>(FrameHead<int16_t>(head, 4) + drawing->Base(TableBase::kLayers));
    record->line_type_index = ltype == kR12ByBlockLtype
                                  ? int16_t(-2)
                                  : static_cast<int16_t>(ltype + drawing->Base(TableBase::kLtypes));
    three_d = flat_kind && !(flags & kR12FlatOrElevation);
    return true;
}

bool CR12Entity::DecodeFields(const uint8_t head[8], R12BodyReader &body, bool three_d) {
    const uint8_t flags = head[1];
    const uint8_t options_1 = head[6];
    const uint8_t options_2 = head[7];
    bool z_point_read = false;

    if (layout->rules & kR12ScalesStartAtOne) {
        record->insert.x_scale = 1.0;
        record->insert.y_scale = 1.0;
        record->insert.z_scale = 1.0;
    }
    for (size_t i = 0; i < layout->count; ++i) {
        const R12EntityField &f = layout->fields[i];
        if (!R12FieldIsPresent(f, options_1, options_2))
            continue;
        bool ok = true;
        switch (f.value) {
        case R12Value::kF64:
        case R12Value::kAngle:
            ok = DecodeReal(body, record, f);
            break;
        case R12Value::kXY:
        case R12Value::kXY0:
        case R12Value::kXYZ:
        case R12Value::kXYz:
            ok = DecodePoint(body, record, f, three_d);
            if (f.offset == layout->z_point)
                z_point_read = true;
            break;
        case R12Value::kU8:
        case R12Value::kU8Byte:
        case R12Value::kI16:
            ok = DecodeInteger(body, record, f,
                               f.base == TableBase::kNone ? 0 : drawing->Base(f.base));
            break;
        case R12Value::kI32: {
            int32_t v = 0;
            ok = body.I32(v);
            if (ok)
                StoreObjectI32(v);
            break;
        }
        case R12Value::kText:
        case R12Value::kNameText:
            ok = DecodeText(body, record, f);
            break;
        case R12Value::kFlag80:
            StoreField(record, f.offset, static_cast<int16_t>((flags & kR12FollowsBit) ? 1 : 0));
            break;
        }
        if (!ok)
            return false;
    }
    ApplyRulesAfterFields(record, *layout, z_point_read);
    return true;
}

short CR12Entity::ReadByLayout(uint8_t &next_code) {
    next_code = kR12NoNextCode;
    if (!layout || !drawing || !drawing->File())
        return 0;
    uint8_t head[kR12FrameHeadSize];
    short status = 0;
    const uint8_t *bytes = drawing->ReadFrame(head, false, layout->code, status);
    if (status != 1 || !bytes)
        return status == 1 ? short(0) : status;
    const int32_t length = FrameHead<int16_t>(head, 2);
    file_position = drawing->File()->GetPosition() - length;
    R12BodyReader body(bytes, size_t(length) - 8);
    bool three_d = false;
    if (!DecodeCommon(head, body, three_d) || !DecodeFields(head, body, three_d))
        return 0;

    // The ending: a look at the next frame.
    uint8_t next[kR12FrameHeadSize];
    drawing->ReadFrame(next, true, 0, status);
    if (status == 1) {
        next_code = next[0];
        return 1;
    }
    next_code = kR12NoNextCode;
    return status;
}

// ---- The main entity section ----------------------------------------------------------------

int CR12Drawing::LoadEntitySection() {
    if (entities.Count() != 0)
        return 0;
    block_counter = -1;
    if (!file)
        return -1;
    file->SetPosition(ClampPosition(EntitiesStart()), 0);
    file->in_entity_section = 1;
    ArmFrameBudget();

    uint8_t head[kR12FrameHeadSize];
    short status = 0;
    ReadFrame(head, true, 0, status);
    if (status != 1)
        return status;
    int code = head[0];
    while (code != kR12NoNextCode) {
        CR12Entity *entity = MakeR12Entity(this, code);
        // A code without a class cannot be stepped over: the load is refused there.
        if (!entity)
            return -1;
        uint8_t next = kR12NoNextCode;
        status = entity->ReadDWG(next);
        entity->SetCode(static_cast<int16_t>(code));
        if (status == 0) {
            delete entity;
            return -1;
        }
        KeepEntity(&entities, entity, InXref() != 0, false);
        if (status == -2)
            return 1;
        code = next;
    }
    return -1;
}
