// Release 13 entities read from a DXF file: the name check, the common groups, the kind's
// groups of r13_dxf_layout.h, the extended data, and the steps behind the last group.
#include "dwg13/r13_block.h"
#include "dwg13/r13_classic_kinds.h"
#include "dwg13/r13_drawing.h"
#include "dwg13/r13_entity.h"
#include "dwg13/r13_new_kinds.h"
#include "dwg13/r13_tables.h"
#include "dxf/dxf_eed.h"
#include "dxf/dxf_numbers.h"
#include "dxf/dxf_stream.h"
#include "dxf/r13_dxf_entity_read.h"
#include "dxf/r13_dxf_reader.h"
#include "io/drawing_file.h"
#include "io/record_field.h"
#include "records/entity_kinds.h"
#include "records/heap_text.h"

#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

using V = R13DxfValue;

void ReplaceText(CDB_ENTITY *record, size_t offset, const char *text) {
    std::free(LoadField<char *>(record, offset));
    StoreField<char *>(record, offset, DuplicateText(text));
}

// Appends a run of extended data to the record's block: a second run in the same entity
// goes behind the first. A run that would take the block past 65535 bytes is dropped.
void AppendExtendedData(CDB_ENTITY *record, const std::vector<uint8_t> &bytes) {
    const size_t kept = record->eed_data ? record->eed_size : 0;
    const size_t total = kept + bytes.size();
    if (bytes.empty() || total > 0xFFFF)
        return;
    auto *joined = static_cast<uint8_t *>(std::realloc(record->eed_data, total));
    if (!joined)
        return;
    std::memcpy(joined + kept, bytes.data(), bytes.size());
    record->eed_data = joined;
    record->eed_size = static_cast<uint16_t>(total);
}

// The line type of group 6: "BYBLOCK" is "0", "BYLAYER" "-1", any other name the handle text
// of the line type by that name (null when the table has none).
const char *LineTypeHandleOf(CR13Drawing &drawing, const char *name) {
    if (std::strcmp(name, "BYBLOCK") == 0)
        return "0";
    if (std::strcmp(name, "BYLAYER") == 0)
        return "-1";
    return drawing.Table(R13Table::kLtypes).HandleOfName(name);
}

// The handle text of the style whose font is slot `slot` of the shape tables, or null.
const char *StyleHandleOfShapeSlot(CR13Drawing &drawing, int slot) {
    CR13Table &styles = drawing.Table(R13Table::kStyles);
    for (int i = 0; i < styles.records.Count(); ++i) {
        const auto *style = dynamic_cast<const CR13StyleRecord *>(styles.RecordAt(i));
        if (style && style->ShapeIndex() == slot)
            return style->RecordHandle();
    }
    return nullptr;
}

// The bytes the file has behind the reader's position.
int64_t BytesLeft(CR13Drawing &drawing) {
    CDrawingFile *file = drawing.File();
    if (!file)
        return 0;
    return int64_t(file->Length()) - file->GetPosition();
}

bool IsZero(const CDB_POINT3 &p) {
    return p.x == 0.0 && p.y == 0.0 && p.z == 0.0;
}

// The object type of a DIMENSION's form, from the low bits of its group 70.
int16_t DimensionFileType(int16_t dimension_type) {
    static constexpr int16_t kTypes[] = {21, 22, 24, 26, 25, 23, 20};
    const int form = dimension_type & 0x0F;
    return form < 7 ? kTypes[form] : 21;
}

// The object type of a POLYLINE's form, from its flags.
int16_t PolylineFileType(int16_t flags) {
    if (flags & 0x40)
        return 29;
    if (flags & 0x10)
        return 30;
    return (flags & 0x08) ? 16 : 15;
}

// The object type of a VERTEX's form, from its flags.
int16_t VertexFileType(int16_t flags) {
    if (flags & 0x80)
        return (flags & 0x40) ? 13 : 14;
    if (flags & 0x40)
        return 12;
    return (flags & 0x20) ? 11 : 10;
}

} // namespace

// ---- The entry point ----------------------------------------------------------------------

int CR13Entity::ReadDXF(CR13DxfReader &reader, char *name) {
    const EntityKind *kind = FindEntityKind(code);
    const R13DxfLayout *layout = R13DxfLayoutOf(code);
    if (!record || !name || !kind || !layout || std::strcmp(name, kind->dxf_name) != 0)
        return 0;
    R13DxfEntityRead read(reader, *this, *layout);
    return read.Run(name);
}

// ---- The budget ---------------------------------------------------------------------------

int32_t R13DxfBudget::Take(int32_t wanted, int32_t bytes_each) {
    if (wanted < 1 || bytes_each < 1)
        return 0;
    const int64_t fits = bytes_ / bytes_each;
    const int32_t count = fits < wanted ? static_cast<int32_t>(fits) : wanted;
    bytes_ -= int64_t(count) * bytes_each;
    return count;
}

bool R13DxfBudget::TakeAll(int32_t count, int32_t bytes_each) {
    if (count < 0 || int64_t(count) * bytes_each > bytes_)
        return false;
    bytes_ -= int64_t(count) * bytes_each;
    return true;
}

// ---- One entity ---------------------------------------------------------------------------

R13DxfEntityRead::R13DxfEntityRead(CR13DxfReader &reader, CR13Entity &entity,
                                   const R13DxfLayout &layout)
    : reader_(reader), stream_(reader.Stream()), entity_(entity), drawing_(reader.Drawing()),
      record_(entity.GetData()), layout_(layout), budget_(BytesLeft(reader.Drawing())) {}

int R13DxfEntityRead::Run(char *value) {
    StartDefaults();
    int16_t code = 0;
    stream_.ReadGroup(&code, value);
    for (;;) {
        if (stream_.AtEnd())
            return -1;
        if (code == 0)
            break;
        if (code >= 1000) {
            // The collector reads on to the first group below 1000 and hands it back.
            TakeExtendedData(code, value);
            continue;
        }
        Take(code, value);
        stream_.ReadGroup(&code, value);
    }
    Finish();
    return 1;
}

void R13DxfEntityRead::StartDefaults() {
    record_->entity_type = entity_.Code();
    record_->color = -1;
    record_->extrusion = CDB_POINT3{0.0, 0.0, 1.0};
    ReplaceText(record_, offsetof(CDB_ENTITY, line_type_handle), "-1");
    record_->line_type_scale = 1.0;
    record_->invisibility = 0;
    for (size_t i = 0; i < layout_.count; ++i) {
        const R13DxfGroup &g = layout_.groups[i];
        if (g.when == R13DxfWhen::kNotOne || g.when == R13DxfWhen::kNotThree) {
            const int16_t start = g.when == R13DxfWhen::kNotOne ? 1 : 3;
            if (g.value == V::kReal)
                StoreField<double>(record_, g.offset, start);
            else if (g.value == V::kInt16)
                StoreField<int16_t>(record_, g.offset, start);
        } else if (g.when == R13DxfWhen::kNotUnitX && g.code >= 10 && g.code < 20) {
            // The x of a point that stands at 1, 0, 0 unless the file says otherwise.
            StoreField<double>(record_, g.offset, 1.0);
        }
    }
}

void R13DxfEntityRead::Take(int16_t code, const char *value) {
    if (code == 100) {
        TakeMarker(value);
        return;
    }
    const R13DxfGroup *g = kR13CommonDxfGroups.Find(code);
    if (!g)
        g = layout_.Find(code);
    if (g)
        TakeValue(*g, value);
}

void R13DxfEntityRead::TakeValue(const R13DxfGroup &g, const char *value) {
    const size_t at = g.offset;
    switch (g.value) {
    case V::kReal:
        StoreField<double>(record_, at, stream_.Real(value));
        if (g.offset == offsetof(CDB_ENTITY, elevation))
            own_elevation_ = true;
        if (g.offset >= offsetof(CDB_ENTITY, extrusion) &&
            g.offset < offsetof(CDB_ENTITY, extrusion) + sizeof(CDB_POINT3))
            own_extrusion_ = true;
        break;
    case V::kZBoth:
        record_->elevation = stream_.Real(value);
        StoreField<double>(record_, at, record_->elevation);
        break;
    case V::kInt16:
        StoreField<int16_t>(record_, at, static_cast<int16_t>(DxfTextToInt(value)));
        break;
    case V::kUInt16:
        StoreField<uint16_t>(record_, at, static_cast<uint16_t>(DxfTextToInt(value)));
        break;
    case V::kByte:
        StoreField<uint8_t>(record_, at, static_cast<uint8_t>(DxfTextToInt(value)));
        break;
    case V::kText:
        if (*value)
            ReplaceText(record_, at, value);
        break;
    case V::kTextKept:
    case V::kHandle:
        ReplaceText(record_, at, value);
        break;
    case V::kSpace:
        record_->space = static_cast<int16_t>(DxfTextToInt(value));
        if (record_->space != 0)
            drawing_.MarkPaperSpace();
        break;
    case V::kLayerName:
        ReplaceText(record_, at, drawing_.Table(R13Table::kLayers).HandleOfName(value));
        break;
    case V::kLineTypeName:
        ReplaceText(record_, at, LineTypeHandleOf(drawing_, value));
        break;
    case V::kTextStyle:
        style_named_ = true;
        ReplaceText(record_, at, drawing_.Table(R13Table::kStyles).HandleOfName(value));
        break;
    case V::kDimstyle:
        ReplaceText(record_, at, drawing_.Table(R13Table::kDimstyles).HandleOfName(value));
        break;
    case V::kMlineStyle:
        // Only a name the table knows: the handle of group 340 stays otherwise.
        if (const char *handle = drawing_.Table(R13Table::kMlineStyles).HandleOfName(value))
            ReplaceText(record_, at, handle);
        break;
    case V::kBlockName:
        ReplaceText(record_, at, drawing_.Table(R13Table::kBlocks).HandleOfName(value));
        if (auto *insert = dynamic_cast<CR13Insert *>(&entity_))
            insert->block_name = value;
        else if (auto *dimension = dynamic_cast<CR13Dimension *>(&entity_))
            dimension->block_name = value;
        break;
    case V::kShapeName: {
        short slot = -1;
        short number = -1;
        const bool found = drawing_.GetShapeId(slot, number, value) == 0;
        record_->shape.shape_number = found ? number : -1;
        ReplaceText(record_, offsetof(CDB_ENTITY, shape.style_handle),
                    found ? StyleHandleOfShapeSlot(drawing_, slot) : nullptr);
        break;
    }
    default:
        TakeArrayValue(g, value);
        break;
    }
}

void R13DxfEntityRead::TakeMarker(const char *value) {
    for (size_t i = 0; i < layout_.count; ++i) {
        const R13DxfGroup &g = layout_.groups[i];
        if (g.value == V::kMeshMarker && std::strcmp(g.marker, value) == 0)
            mesh_marker_ = true;
    }
}

void R13DxfEntityRead::TakeExtendedData(int16_t &code, char *value) {
    CR13Drawing &drawing = drawing_;
    const DxfEedHandles handles{
        [&drawing](const char *name) {
            return drawing.Table(R13Table::kAppids).HandleOfName(name);
        },
        [&drawing](const char *name) {
            return drawing.Table(R13Table::kLayers).HandleOfName(name);
        },
    };
    CDxfEedCollector collector(handles, stream_.InputForm() == CDxfStream::kBinary);
    collector.Collect(stream_, code, value);
    AppendExtendedData(record_, collector.Bytes());
}

// ---- Behind the last group ----------------------------------------------------------------

// A text that names no style is in the style STANDARD: a writer leaves group 7 out for it,
// and the record's style is then the one its default index means, as a DWG names it.
void R13DxfEntityRead::TakeDefaultTextStyle() {
    // A name the table lacks leaves the style unnamed.
    if (style_named_)
        return;
    for (size_t i = 0; i < layout_.count; ++i) {
        const R13DxfGroup &g = layout_.groups[i];
        if (g.value == V::kTextStyle && !LoadField<char *>(record_, g.offset))
            ReplaceText(record_, g.offset,
                        drawing_.Table(R13Table::kStyles).HandleOfName(kDefaultTextStyle));
    }
}

void R13DxfEntityRead::Finish() {
    const char *line_type = record_->line_type_handle;
    record_->line_type_bylayer = line_type && std::strcmp(line_type, "-1") == 0 ? 1u : 0u;
    TakeDefaultTextStyle();
    switch (entity_.Code()) {
    case CDB_POLYLINE:
        // The vertices behind it take the z of its point and its extrusion.
        reader_.SetPolylineZ(record_->polyline.origin.z);
        drawing_.SetPolylinePlane(record_->extrusion, record_->polyline.origin.z);
        entity_.SetFileType(PolylineFileType(record_->polyline.flags));
        break;
    case CDB_VERTEX:
        // A mesh vertex keeps its own z; any other stands at its polyline's.
        record_->elevation = mesh_marker_ ? record_->vertex.location.z : reader_.PolylineZ();
        if (!own_extrusion_)
            record_->extrusion = drawing_.PolylineExtrusion();
        entity_.SetFileType(VertexFileType(record_->vertex.flags));
        break;
    case CDB_INSERT:
        entity_.SetFileType(record_->insert.column_count > 1 || record_->insert.row_count > 1 ? 8
                                                                                              : 7);
        break;
    case CDB_DIMENSION:
        entity_.SetFileType(DimensionFileType(record_->dimension.dimension_type));
        break;
    case CDB_ELLIPSE:
        // The record keeps the centre's z as the elevation too, unless the file gives one.
        if (!own_elevation_)
            record_->elevation = record_->ellipse.center.z;
        break;
    case CDB_MTEXT:
        // The normal is the extrusion unless the file gives one of its own.
        if (IsZero(record_->mtext.normal))
            record_->mtext.normal = record_->extrusion;
        break;
    case CDB_TOLERANCE:
        if (IsZero(record_->tolerance.normal))
            record_->tolerance.normal = record_->extrusion;
        break;
    case CDB_LEADER:
        if (IsZero(record_->leader.normal))
            record_->leader.normal = CDB_POINT3{0.0, 0.0, 1.0};
        if (IsZero(record_->leader.x_direction))
            record_->leader.x_direction = CDB_POINT3{1.0, 0.0, 0.0};
        break;
    case CDB_SPLINE:
        if (auto *spline = dynamic_cast<CR13Spline *>(&entity_))
            spline->weighted = (record_->spline.flags & 4) ? 1 : 0;
        break;
    case CDB_BLOCK: {
        // The block start keeps its name twice and an empty path for a block that is no
        // reference, as a DWG gives them.
        CDB_BLOCK_type &block = record_->block;
        if (!block.name_2 && block.name)
            block.name_2 = DuplicateText(block.name);
        if (!block.xref_path)
            block.xref_path = DuplicateText("");
        if (auto *start = dynamic_cast<CR13BlockStart *>(&entity_))
            start->is_xref_block = (block.flags & 4) ? 1 : 0;
        break;
    }
    default:
        break;
    }
}
