// Release 13 table records and multiline styles read from a DXF file: the groups of the
// release 12 record of the same name (r12_dxf_layout.h) with the release 13 groups of
// r13_dxf_record_layout.h on top of them.
#include "dwg12/r12_dxf_layout.h"
#include "dwg12/r12_tables.h"
#include "dwg13/r13_drawing.h"
#include "dwg13/r13_dxf_record_layout.h"
#include "dwg13/r13_tables.h"
#include "dxf/dxf_numbers.h"
#include "dxf/dxf_stream.h"
#include "dxf/r13_dxf_reader.h"
#include "io/record_field.h"
#include "records/heap_text.h"

#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

using V13 = R13DxfRecordValue;
using V12 = R12DxfValue;

// Replaces the heap text at `offset` of `body` with `text` (taken over).
void ReplaceText(uint8_t *body, size_t offset, char *text) {
    std::free(LoadField<char *>(body, offset));
    StoreField<char *>(body, offset, text);
}

// Allocates `count` zeroed items of `size` into the pointer field at `offset`.
void AllocateArray(uint8_t *body, size_t offset, size_t count, size_t size) {
    std::free(LoadField<void *>(body, offset));
    StoreField<void *>(body, offset, count ? std::calloc(count, size) : nullptr);
}

// Where one record's groups go, and what they gather before they go into the record: the
// dashes of a line type, the elements of a multiline style, the reactor block being passed
// over.
struct RecordSink {
    CR13TableRecord &record;
    uint8_t *body;
    size_t flags_at;
    size_t flags_width;
    CR13DxfReader &reader;
    std::vector<double> dashes;
    std::vector<int16_t> shape_flags;
    int element = 0;
    bool elements_open = false;
    bool in_reactors = false;

    void SetFlags(const char *value) {
        const int32_t flags = DxfTextToInt(value);
        if (flags_width == 2)
            StoreField<int16_t>(body, flags_at, static_cast<int16_t>(flags));
        else
            body[flags_at] = static_cast<uint8_t>(flags);
    }
};

// The element of a multiline style that the groups fill, or null past the count.
CDB_MLINESTYLE_ELEMENT *OpenElement(RecordSink &sink) {
    auto &style = *reinterpret_cast<CDB_MLINESTYLE_TBL_type *>(sink.body);
    if (!style.elements || sink.element < 0 || sink.element >= style.element_count)
        return nullptr;
    return &style.elements[sink.element];
}

// A line type name as a handle text: "BYBLOCK" "0", "BYLAYER" "-1", any other name its
// handle in the line type table (null when the table lacks it).
char *LtypeHandleText(CR13DxfReader &reader, const char *name) {
    if (std::strcmp(name, "BYBLOCK") == 0)
        return DuplicateText("0");
    if (std::strcmp(name, "BYLAYER") == 0)
        return DuplicateText("-1");
    const char *handle = reader.Drawing().Table(R13Table::kLtypes).HandleOfName(name);
    return handle ? DuplicateText(handle) : nullptr;
}

void StoreGroup(RecordSink &sink, const R13DxfRecordGroup &group, const char *value) {
    uint8_t *body = sink.body;
    switch (group.value) {
    case V13::kHandle:
        ReplaceText(body, group.offset, DuplicateText(value));
        return;
    case V13::kName:
        sink.record.SetName(*value ? value : nullptr);
        return;
    case V13::kFlags:
        sink.SetFlags(value);
        return;
    case V13::kReal:
        StoreField<double>(body, group.offset, sink.reader.Stream().Real(value));
        return;
    case V13::kInt16:
        StoreField<int16_t>(body, group.offset, static_cast<int16_t>(DxfTextToInt(value)));
        return;
    case V13::kTextKept:
        ReplaceText(body, group.offset, DuplicateText(value));
        return;
    case V13::kLtypeHandle:
        ReplaceText(body, group.offset, LtypeHandleText(sink.reader, value));
        return;
    case V13::kShapeFlag:
        // A dash count is 16 bits: more flags than that are not kept.
        if (sink.shape_flags.size() < 32767)
            sink.shape_flags.push_back(static_cast<int16_t>(DxfTextToInt(value)));
        return;
    case V13::kElementCount: {
        auto &style = *reinterpret_cast<CDB_MLINESTYLE_TBL_type *>(body);
        const int32_t count = DxfTextToInt(value);
        style.element_count = static_cast<int16_t>(count > 0 && count <= 32767 ? count : 0);
        AllocateArray(body, offsetof(CDB_MLINESTYLE_TBL_type, elements),
                      size_t(style.element_count), sizeof(CDB_MLINESTYLE_ELEMENT));
        sink.element = 0;
        sink.elements_open = true;
        return;
    }
    case V13::kElementReal:
        if (CDB_MLINESTYLE_ELEMENT *element = OpenElement(sink))
            StoreField<double>(element, group.offset, sink.reader.Stream().Real(value));
        return;
    case V13::kElementColor:
        if (CDB_MLINESTYLE_ELEMENT *element = OpenElement(sink))
            StoreField<int16_t>(element, group.offset, static_cast<int16_t>(DxfTextToInt(value)));
        return;
    case V13::kElementLtype:
        if (CDB_MLINESTYLE_ELEMENT *element = OpenElement(sink)) {
            int16_t index = -1;
            if (std::strcmp(value, "BYBLOCK") == 0)
                index = 0;
            else if (std::strcmp(value, "BYLAYER") != 0)
                index = static_cast<int16_t>(
                    sink.reader.Drawing().Table(R13Table::kLtypes).IndexOfName(value));
            StoreField<int16_t>(element, group.offset, index);
        }
        ++sink.element;
        return;
    case V13::kFillColor:
        StoreField<int16_t>(body, group.offset, static_cast<int16_t>(DxfTextToInt(value)));
        return;
    case V13::kReactors:
        // "{ACAD_REACTORS" opens the block, "}" closes it.
        sink.in_reactors = value[0] != '}';
        return;
    }
}

// A group of the release 12 record. False when the file ends inside a positional point.
bool StoreRelease12Group(RecordSink &sink, const R12DxfGroup &group, char *value, int16_t &code) {
    uint8_t *body = sink.body;
    CDxfStream &stream = sink.reader.Stream();
    switch (group.value) {
    case V12::kName:
        sink.record.SetName(*value ? value : nullptr);
        return true;
    case V12::kFlags:
        sink.SetFlags(value);
        return true;
    case V12::kReal:
        StoreField<double>(body, group.offset, stream.Real(value));
        return true;
    case V12::kInt16:
        StoreField<int16_t>(body, group.offset, static_cast<int16_t>(DxfTextToInt(value)));
        return true;
    case V12::kByte:
        body[group.offset] = static_cast<uint8_t>(DxfTextToInt(value));
        return true;
    case V12::kText:
    case V12::kTextKept:
        ReplaceText(body, group.offset, DuplicateText(value));
        return true;
    case V12::kAppendText:
        ReplaceText(body, group.offset, JoinTexts(LoadField<char *>(body, group.offset), value));
        return true;
    case V12::kDash:
        if (sink.dashes.size() < 32767)
            sink.dashes.push_back(stream.Real(value));
        return true;
    case V12::kPoint2Next:
    case V12::kPoint3Next: {
        // The groups behind the first coordinate are taken by position.
        const int coordinates = group.value == V12::kPoint2Next ? 2 : 3;
        StoreField<double>(body, group.offset, stream.Real(value));
        for (int i = 1; i < coordinates; ++i) {
            stream.ReadGroup(&code, value);
            if (stream.AtEnd())
                return false;
            StoreField<double>(body, group.offset + 8 * size_t(i), stream.Real(value));
        }
        return true;
    }
    default:
        return true;
    }
}

// The arrays of a line type, all `dash_count` long: the lengths and shape flags in order
// of arrival, the rest zero.
void FinishLtype(RecordSink &sink) {
    auto &ltype = *reinterpret_cast<CDB_LTYPE_TBL_type *>(sink.body);
    const size_t count = ltype.dash_count > 0 ? size_t(ltype.dash_count) : 0;
    uint8_t *body = sink.body;
    AllocateArray(body, offsetof(CDB_LTYPE_TBL_type, dashes), count, sizeof(double));
    AllocateArray(body, offsetof(CDB_LTYPE_TBL_type, complex_types), count, sizeof(int16_t));
    for (size_t offset :
         {offsetof(CDB_LTYPE_TBL_type, shape_numbers), offsetof(CDB_LTYPE_TBL_type, scales),
          offsetof(CDB_LTYPE_TBL_type, rotations), offsetof(CDB_LTYPE_TBL_type, x_offsets),
          offsetof(CDB_LTYPE_TBL_type, y_offsets)})
        AllocateArray(body, offset, count, sizeof(double));
    AllocateArray(body, offsetof(CDB_LTYPE_TBL_type, style_handles), count, sizeof(CHandleRef));
    if (!count || !ltype.dashes || !ltype.complex_types)
        return;
    for (size_t i = 0; i < count && i < sink.dashes.size(); ++i)
        ltype.dashes[i] = sink.dashes[i];
    for (size_t i = 0; i < count && i < sink.shape_flags.size(); ++i)
        ltype.complex_types[i] = sink.shape_flags[i];
}

} // namespace

int CR13TableRecord::ReadDXF(CR13DxfReader &reader, char *name) {
    const R13DxfRecordKind *kind = R13DxfRecordKindOfType(record_type);
    if (!kind || !name || std::strcmp(name, kind->name) != 0)
        return 0;
    Clear();
    const R12DxfLayout *release12 =
        kind->release12_groups ? R12DxfTableLayoutNamed(kind->name) : nullptr;
    RecordSink sink{*this, body_bytes, shape.flags_at, shape.flags_width, reader, {}, {},
                    0,     false,      false};
    CDxfStream &stream = reader.Stream();
    int16_t code = 0;
    for (;;) {
        stream.ReadGroup(&code, name);
        if (stream.AtEnd())
            return -1;
        if (code == 0)
            break;
        if (sink.in_reactors && code == 330)
            continue;
        const R13DxfRecordGroup *group = kind->Find(code);
        // Inside the element list a 62 is the element's colour.
        if (group && group->value == V13::kFillColor && sink.elements_open)
            for (size_t i = 0; i < kind->count; ++i)
                if (kind->groups[i].value == V13::kElementColor)
                    group = &kind->groups[i];
        if (group) {
            StoreGroup(sink, *group, name);
        } else if (const R12DxfGroup *old = release12 ? release12->Find(code) : nullptr) {
            if (!StoreRelease12Group(sink, *old, name, code))
                return -1;
        }
    }
    if (record_type == kR13Ltype)
        FinishLtype(sink);
    if (record_type == kR13Layer) {
        auto &layer = *reinterpret_cast<CDB_LAYER_TBL_type *>(body_bytes);
        layer.flags_copy = layer.flags;
    }
    // A style without group 4 has no big font: an empty name, as a DWG stores it.
    if (record_type == kR13Style) {
        auto &style = *reinterpret_cast<CDB_STYLE_TBL_type *>(body_bytes);
        if (!style.bigfont_file)
            style.bigfont_file = DuplicateText("");
    }
    return 1;
}
