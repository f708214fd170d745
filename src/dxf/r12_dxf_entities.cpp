// Release 12 entities read from a DXF file: the common groups, the kind's groups of
// r12_dxf_layout.h, and the extended data.
#include "dwg12/r12_drawing.h"
#include "dwg12/r12_entity_layout.h"
#include "dxf/dxf_eed.h"
#include "dxf/dxf_long_names.h"
#include "dxf/dxf_numbers.h"
#include "dxf/dxf_stream.h"
#include "dwg12/r12_dxf_layout.h"
#include "dwg12/r12_entity_kinds.h"
#include "dxf/r12_dxf_reader.h"
#include "io/record_field.h"
#include "records/heap_text.h"

#include <cstdlib>
#include <cstring>

namespace {

void ReplaceText(CDB_ENTITY *record, size_t offset, const char *text) {
    std::free(LoadField<char *>(record, offset));
    StoreField<char *>(record, offset, DuplicateText(text));
}

// A field that the writer leaves out when it is 1 starts at 1.
void StartNotOneFieldsAtOne(CDB_ENTITY *record, const R12DxfLayout &layout) {
    for (size_t i = 0; i < layout.count; ++i) {
        const R12DxfGroup &g = layout.groups[i];
        if (g.when != R12DxfWhen::kNotOne)
            continue;
        if (g.value == R12DxfValue::kReal)
            StoreField<double>(record, g.offset, 1.0);
        else if (g.value == R12DxfValue::kInt16)
            StoreField<int16_t>(record, g.offset, 1);
    }
}

// Appends a run of extended data to the record's block: a second run in the same entity
// goes behind the first. A run that would take the block past 65535 bytes is dropped.
void AppendExtendedData(CDB_ENTITY *record, const std::vector<uint8_t> &bytes) {
    const size_t kept = record->eed_data ? record->eed_size : 0;
    const size_t total = kept + bytes.size();
    if (bytes.empty() || total > 0xFFFF)
        return;
    auto *joined = static_cast<uint8_t *>(std::malloc(total));
    if (!joined)
        return;
    if (kept)
        std::memcpy(joined, record->eed_data, kept);
    std::memcpy(joined + kept, bytes.data(), bytes.size());
    std::free(record->eed_data);
    record->eed_data = joined;
    record->eed_size = static_cast<uint16_t>(total);
}

// The index of the record of table `t` named `name`, by the lookup of the DXF readers; with
// long names read whole, a long name is looked up whole.
int FindName(CR12Drawing &drawing, int t, const char *name) {
    bool took_road = false;
    const int index = FindTableNameNoCase(drawing.Table(t), name,
                                          drawing.ReadsTolerantly(CDB_READ_LONG_NAMES), &took_road);
    if (took_road)
        drawing.NoteTolerantRead(CDB_READ_LONG_NAMES);
    return index;
}

// The line type of group 6. The block start takes its line type without the BYBLOCK test
// and the base.
int16_t LineTypeIndexOf(CR12Drawing &drawing, const char *name, bool block_start) {
    if (!block_start && std::strcmp(name, "BYBLOCK") == 0)
        return -2;
    return static_cast<int16_t>(FindName(drawing, kR12Ltypes, name) +
                                drawing.Base(TableBase::kLtypes));
}

// One of the groups that every kind has, into the record; false when `group` is none of
// them.
bool ReadCommonGroup(CR12Drawing &drawing, CDB_ENTITY *record, const CDxfStream &stream,
                     int16_t group, const char *value, bool block_start) {
    switch (group) {
    case 5:
        std::free(record->handle);
        record->handle = DuplicateText(value);
        return true;
    case 6:
        record->line_type_index = LineTypeIndexOf(drawing, value, block_start);
        return true;
    case 8:
        // The block start takes its layer without the base.
        record->layer_index =
            static_cast<int16_t>(FindName(drawing, kR12Layers, value) +
                                 (block_start ? 0 : drawing.Base(TableBase::kLayers)));
        return true;
    case 38:
        record->elevation = stream.Real(value);
        return true;
    case 39:
        record->thickness = stream.Real(value);
        return true;
    case 62:
        record->color = static_cast<int16_t>(DxfTextToInt(value));
        return true;
    case 67:
        record->space = static_cast<int16_t>(DxfTextToInt(value));
        if (record->space != 0)
            drawing.MarkPaperSpace();
        return true;
    case 210:
        record->extrusion.x = stream.Real(value);
        return true;
    case 220:
        record->extrusion.y = stream.Real(value);
        return true;
    case 230:
        record->extrusion.z = stream.Real(value);
        return true;
    default:
        return false;
    }
}

} // namespace

int CR12Entity::ReadDXF(CR12DxfReader &reader, char *name) {
    const R12EntityKind *kind = FindR12EntityKind(code);
    if (!kind || !record || !name || std::strcmp(name, kind->Facts().dxf_name) != 0)
        return 0;
    const R12DxfLayout *layout = kind->groups;
    CDxfStream &stream = reader.Stream();
    const bool block_start = code == CDB_BLOCK;
    StartNotOneFieldsAtOne(record, *layout);

    int16_t group = 0;
    stream.ReadGroup(&group, name);
    for (;;) {
        if (stream.AtEnd())
            return -1;
        if (group == 0)
            break;
        if (group >= 1000) {
            // The collector reads on to the first group below 1000 and hands it back.
            CDxfEedCollector collector(reader.EedLookup(),
                                       stream.InputForm() == CDxfStream::kBinary);
            collector.Collect(stream, group, name);
            AppendExtendedData(record, collector.Bytes());
            continue;
        }
        if (!ReadCommonGroup(*drawing, record, stream, group, name, block_start)) {
            if (const R12DxfGroup *g = layout->Find(group))
                ReadDxfGroup(stream, *g, name);
        }
        stream.ReadGroup(&group, name);
    }
    AfterReadDxf();
    // A block start's xref path is an empty text when the file gives none.
    if (block_start && !record->block.xref_path)
        record->block.xref_path = DuplicateText("");
    return 1;
}

void CR12Entity::ReadDxfGroup(const CDxfStream &stream, const R12DxfGroup &g, const char *value) {
    switch (g.value) {
    case R12DxfValue::kReal:
        StoreField<double>(record, g.offset, stream.Real(value));
        break;
    case R12DxfValue::kZElevation:
        record->elevation = stream.Real(value);
        break;
    case R12DxfValue::kZBoth:
        record->elevation = stream.Real(value);
        StoreField<double>(record, g.offset, record->elevation);
        break;
    case R12DxfValue::kInt16:
        StoreField<int16_t>(record, g.offset, static_cast<int16_t>(DxfTextToInt(value)));
        break;
    case R12DxfValue::kByte:
        StoreField<uint8_t>(record, g.offset, static_cast<uint8_t>(DxfTextToInt(value)));
        break;
    case R12DxfValue::kText:
        if (*value)
            ReplaceText(record, g.offset, value);
        break;
    case R12DxfValue::kTextKept:
        ReplaceText(record, g.offset, value);
        break;
    case R12DxfValue::kStyle:
        StoreField<int16_t>(record, g.offset,
                            static_cast<int16_t>(FindName(*drawing, kR12Styles, value) +
                                                 drawing->Base(TableBase::kStyles)));
        break;
    case R12DxfValue::kDimstyle:
        StoreField<int16_t>(record, g.offset,
                            static_cast<int16_t>(FindName(*drawing, kR12Dimstyles, value) +
                                                 drawing->Base(TableBase::kDimstyles)));
        break;
    case R12DxfValue::kBlockName:
        KeepBlockName(value);
        break;
    case R12DxfValue::kShapeName: {
        // The shape tables know the name: its number and the style of its file.
        short style = -1;
        short number = -1;
        if (drawing->GetShapeId(style, number, value) != 0) {
            style = -1;
            number = -1;
        }
        record->shape.shape_number = number;
        record->shape.shape_style_index = style;
        break;
    }
    default:
        break;
    }
}
