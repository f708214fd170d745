// The entity classes of release 12 and their records.
#include "dwg12/r12_drawing.h"
#include "dwg12/r12_entity_layout.h"
#include "dwg12/r12_header.h"
#include "io/byte_order.h"
#include "io/byte_writer.h"
#include "io/record_field.h"
#include "records/entity_kinds.h"
#include "records/heap_text.h"

#include <cstdlib>
#include <cstring>

// ---- CR12Entity ------------------------------------------------------------------------------

CR12Entity::CR12Entity(CR12Drawing *owner, int16_t kind)
    : CModelEntity(kind), drawing(owner), layout(R12EntityLayoutFor(kind)) {}

CR12Entity::~CR12Entity() {
    ReleaseOwned();
}

void CR12Entity::ReleaseOwned() {
    if (!record)
        return;
    std::free(record->handle);
    record->handle = nullptr;
    std::free(record->eed_data);
    record->eed_data = nullptr;
    record->eed_size = 0;
    if (const EntityKind *kind = FindEntityKind(code))
        FreeOwnedTexts(*kind, record);
}

void CR12Entity::GetRecord(CDB_ENTITY *out) {
    if (!out || !record)
        return;
    const size_t bytes = layout ? layout->record_bytes : sizeof(CDB_ENTITY);
    std::memcpy(static_cast<void *>(out), record, bytes);
    if (!layout || (drawing && drawing->ViewFlag()))
        return;
    // List mode: the caller gets copies of the texts of its own.
    for (uint16_t offset : OwnedTextsOf(code))
        StoreField<char *>(out, offset, DuplicateText(LoadField<char *>(record, offset)));
}

CR12PlainEntity::CR12PlainEntity(CR12Drawing *owner, int16_t kind) : CR12Entity(owner, kind) {}

void CR12Shape::GetRecord(CDB_ENTITY *out) {
    if (record && drawing &&
        drawing->GetShapeName(record->shape.shape_style_index, record->shape.shape_number,
                              nullptr) == CDB_FAIL) {
        record->shape.shape_style_index = -1;
        record->shape.shape_number = -1;
    }
    CR12Entity::GetRecord(out);
}

void CR12BeginBlock::ReleaseRecordTo(CDB_STARTBLOCK_ENTITY_type *out) {
    static_assert(offsetof(CDB_ENTITY, block) == offsetof(CDB_STARTBLOCK_ENTITY_type, xref_path),
                  "a block start record is the common part and the block part");
    static_assert(sizeof(CDB_BLOCK_type) + offsetof(CDB_ENTITY, block) ==
                      sizeof(CDB_STARTBLOCK_ENTITY_type),
                  "a block start record is the common part and the block part");
    if (!out || !record)
        return;
    std::memcpy(static_cast<void *>(out), record, sizeof(CDB_STARTBLOCK_ENTITY_type));
    record->handle = nullptr;
    record->eed_data = nullptr;
    record->eed_size = 0;
    record->block.xref_path = nullptr;
    record->block.name = nullptr;
    record->block.name_2 = nullptr;
}

namespace {
// The block table index of a name kept from a DXF file, plus the drawing's block base (-1
// plus the base when the table has no such block).
int16_t ResolveBlockName(CR12Drawing *drawing, const std::string &name) {
    const int index = drawing->Table(kR12Blocks).FindNoCase(name.c_str());
    return static_cast<int16_t>(index + drawing->Base(TableBase::kBlocks));
}
} // namespace

CDB_ENTITY *CR12BlockReference::GetResolvedRecord() {
    if (record && drawing && named)
        BlockIndex(*record) = ResolveBlockName(drawing, block_name);
    return record;
}

void CR12BlockReference::GetRecord(CDB_ENTITY *out) {
    GetResolvedRecord();
    CR12PlainEntity::GetRecord(out);
}

void CR12Dimension::KeepBlockName(const char *name) {
    CR12BlockReference::KeepBlockName(name);
    if (record)
        record->dimension.block_index = 0;
}

// ---- The viewport ------------------------------------------------------------------------------

CR12Viewport::CR12Viewport(CR12Drawing *owner) : CR12PlainEntity(owner, CDB_VIEWPORT) {}

CR12Viewport::~CR12Viewport() {
    if (record)
        std::free(record->viewport.frozen_layers);
}

void CR12Viewport::AfterReadDxf() {
    if (record)
        R12UnpackMview(record->eed_data, record->eed_size, &record->viewport);
}

namespace {

// The "MVIEW" block at its fixed places. After the application (code 1, i16), the name
// (code 0, length, bytes), an opening brace (code 2, 0) and the code of the data version,
// every value stands behind one code byte; a point is one value of three doubles.
enum class MviewKind : uint8_t { kI16, kF64, kAngle, kPoint3 };
struct MviewValue {
    MviewKind kind;
    uint16_t offset; // in CDB_VIEWPORT_type
};

#define VP(member) static_cast<uint16_t>(offsetof(CDB_VIEWPORT_type, member))
constexpr MviewValue kMviewValues[] = {
    {MviewKind::kPoint3, VP(view_target)}, {MviewKind::kPoint3, VP(view_direction)},
    {MviewKind::kAngle, VP(twist_angle)},  {MviewKind::kF64, VP(view_height)},
    {MviewKind::kF64, VP(view_center.x)},  {MviewKind::kF64, VP(view_center.y)},
    {MviewKind::kF64, VP(lens_length)},    {MviewKind::kF64, VP(front_clip)},
    {MviewKind::kF64, VP(back_clip)},      {MviewKind::kI16, VP(view_mode)},
    {MviewKind::kI16, VP(circle_zoom)},    {MviewKind::kI16, VP(fast_zoom)},
    {MviewKind::kI16, VP(ucs_icon)},       {MviewKind::kI16, VP(snap_mode)},
    {MviewKind::kI16, VP(grid_mode)},      {MviewKind::kI16, VP(snap_style)},
    {MviewKind::kI16, VP(snap_isopair)},   {MviewKind::kAngle, VP(snap_angle)},
    {MviewKind::kF64, VP(snap_base.x)},    {MviewKind::kF64, VP(snap_base.y)},
    {MviewKind::kF64, VP(snap_spacing.x)}, {MviewKind::kF64, VP(snap_spacing.y)},
    {MviewKind::kF64, VP(grid_spacing.x)}, {MviewKind::kF64, VP(grid_spacing.y)},
    {MviewKind::kI16, VP(hidden_in_plot)},
};
#undef VP

// A cursor over the block: a value that would pass the block's end is not read and
// leaves its field as it is; the cursor moves on all the same.
struct MviewCursor {
    const uint8_t *data;
    size_t size;
    size_t at;

    bool Fits(size_t n) const { return at <= size && n <= size - at; }
    uint8_t Byte(size_t offset) const { return Fits(offset + 1) ? data[at + offset] : 0; }
    void Skip(size_t n) { at += n; }
    void I16(uint8_t *field) {
        int16_t v = 0;
        if (ReadValueAt(data, size, at, v))
            StoreField(field, 0, v);
        at += 2;
    }
    void F64(uint8_t *field, bool degrees) {
        double v = 0.0;
        if (ReadValueAt(data, size, at, v))
            StoreField(field, 0, degrees ? RadiansToDegrees(v) : v);
        at += 8;
    }
};

} // namespace

size_t R12UnpackMview(const uint8_t *eed, size_t size, CDB_VIEWPORT_type *viewport) {
    if (!eed || !viewport)
        return 0;
    auto *base = reinterpret_cast<uint8_t *>(viewport);
    MviewCursor c{eed, size, 1};
    c.I16(base + offsetof(CDB_VIEWPORT_type, eed_version));
    const size_t name_length = c.Byte(1);
    c.Skip(2);
    char name[sizeof viewport->eed_application] = {};
    for (size_t i = 0; i < name_length && i < sizeof name; ++i)
        name[i] = static_cast<char>(c.Byte(i));
    std::memcpy(viewport->eed_application, name, sizeof name);
    c.Skip(name_length + 3);
    c.I16(base + offsetof(CDB_VIEWPORT_type, data_version));
    for (const MviewValue &value : kMviewValues) {
        c.Skip(1);
        uint8_t *field = base + value.offset;
        switch (value.kind) {
        case MviewKind::kI16:
            c.I16(field);
            break;
        case MviewKind::kF64:
            c.F64(field, false);
            break;
        case MviewKind::kAngle:
            c.F64(field, true);
            break;
        case MviewKind::kPoint3:
            c.F64(field, false);
            c.F64(field + 8, false);
            c.F64(field + 16, false);
            break;
        }
    }

    // The frozen layers: behind an opening brace, code 3 and an i16 each.
    c.Skip(2);
    const size_t first = c.at;
    size_t count = 0;
    while (c.Fits(3) && c.Byte(0) == 3) {
        c.Skip(3);
        ++count;
    }
    // The list's closing brace ends the walk.
    const size_t end = c.at + 2;
    std::free(viewport->frozen_layers);
    viewport->frozen_layers = nullptr;
    viewport->frozen_layer_count = 0;
    if (count == 0)
        return end;
    if (count > 32767)
        count = 32767;
    auto *layers = static_cast<int16_t *>(std::malloc(count * sizeof(int16_t)));
    if (!layers)
        return end;
    for (size_t i = 0; i < count; ++i) {
        layers[i] = 0;
        ReadValueAt(eed, size, first + 3 * i + 1, layers[i]);
    }
    viewport->frozen_layers = layers;
    viewport->frozen_layer_count = static_cast<int16_t>(count);
    return end;
}

namespace {
// The code bytes of the stored form: the group code less 1000.
constexpr uint8_t kEedText = 0, kEedApp = 1, kEedBrace = 2, kEedLayer = 3, kEedPoint = 10,
                  kEedReal = 40, kEedShort = 70;

uint8_t MviewCode(MviewKind kind) {
    switch (kind) {
    case MviewKind::kI16:
        return kEedShort;
    case MviewKind::kPoint3:
        return kEedPoint;
    default:
        return kEedReal;
    }
}
} // namespace

std::vector<uint8_t> R12PackMview(const CDB_VIEWPORT_type &viewport) {
    const auto *base = reinterpret_cast<const uint8_t *>(&viewport);
    std::vector<uint8_t> out;
    out.reserve(224 +
                3 * size_t(viewport.frozen_layer_count > 0 ? viewport.frozen_layer_count : 0));
    ByteWriter put(out);
    out.push_back(kEedApp);
    put.I16(viewport.eed_version);
    const size_t name_length = strnlen(viewport.eed_application, sizeof viewport.eed_application);
    out.push_back(kEedText);
    out.push_back(static_cast<uint8_t>(name_length));
    put.Bytes(viewport.eed_application, name_length);
    out.push_back(kEedBrace);
    out.push_back(0);
    out.push_back(kEedShort);
    put.I16(viewport.data_version);
    for (const MviewValue &value : kMviewValues) {
        out.push_back(MviewCode(value.kind));
        const uint8_t *field = base + value.offset;
        switch (value.kind) {
        case MviewKind::kI16:
            put.I16(LoadField<int16_t>(field, 0));
            break;
        case MviewKind::kF64:
            put.F64(LoadField<double>(field, 0));
            break;
        case MviewKind::kAngle:
            put.F64(R12AngleToFile(LoadField<double>(field, 0)));
            break;
        case MviewKind::kPoint3:
            for (int axis = 0; axis < 3; ++axis)
                put.F64(LoadField<double>(field, 8 * size_t(axis)));
            break;
        }
    }
    out.push_back(kEedBrace);
    out.push_back(0);
    for (int16_t n = 0; viewport.frozen_layers && n < viewport.frozen_layer_count; ++n) {
        out.push_back(kEedLayer);
        put.I16(viewport.frozen_layers[n]);
    }
    out.push_back(kEedBrace);
    out.push_back(1);
    out.push_back(kEedBrace);
    out.push_back(1);
    return out;
}
