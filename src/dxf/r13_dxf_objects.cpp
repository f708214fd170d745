// The OBJECTS section that a release 13 DXF save builds for a drawing that did not come from
// a DXF: the root dictionary with its two entries ACAD_GROUP and ACAD_MLINESTYLE, those two
// dictionaries with their reactor on the root, and the multiline styles, then the end mark.
//
// The two named dictionaries have no entries of their own: the pair 3 "STANDARD", 350 that
// stands in front of each multiline style extends the dictionary written last. Its text goes
// out with a length of 5, which a binary file counts: there it is "STAND" without its
// terminator. That is how files of this writer have always been.
#include "dwg13/r13_block.h"
#include "dwg13/r13_drawing.h"
#include "dwg13/r13_header.h"
#include "dwg13/r13_tables.h"
#include "dxf/dxf_stream.h"
#include "dxf/r13_dxf_write.h"

#include <cstring>
#include <string>

namespace {

// The highest handle value that a record, an entity or a table head of the drawing has.
class HighestHandle {
public:
    void Take(const char *text) {
        const uint32_t value = R13HandleValue(text);
        if (value > highest)
            highest = value;
    }
    void TakeList(const CEntityList *list) {
        for (int i = 0; list && i < list->Count(); ++i) {
            const CModelEntity *entity = list->At(i);
            if (entity && entity->GetData())
                Take(entity->GetData()->handle);
        }
    }
    void TakeBlock(const CR13Block *block) {
        if (!block)
            return;
        if (block->header)
            Take(block->header->RecordHandle());
        if (block->start) {
            Take(block->start->GetData() ? block->start->GetData()->handle : nullptr);
            if (block->start->end_block && block->start->end_block->GetData())
                Take(block->start->end_block->GetData()->handle);
        }
        TakeList(block->entities.get());
    }
    uint32_t highest = 0;
};

uint32_t HighestHandleOf(CR13Drawing &d) {
    HighestHandle h;
    for (size_t t = 0; t < kR13TableCount; ++t) {
        const CR13Table &table = d.Table(static_cast<R13Table>(t));
        h.Take(table.head.handle.c_str());
        for (int i = 0; i < table.records.Count(); ++i)
            if (const CR13TableRecord *record = table.RecordAt(i))
                h.Take(record->RecordHandle());
    }
    h.TakeList(&d.Entities());
    h.TakeBlock(d.ModelSpaceBlock());
    h.TakeBlock(d.PaperSpaceBlock());
    for (int i = 0; i < d.Blocks().Count(); ++i)
        h.TakeBlock(static_cast<const CR13Block *>(d.Blocks().At(i)));
    return h.highest;
}

int WriteHandle(CDxfStream &s, int16_t code, uint32_t value) {
    return s.WriteText(code, R13HandleText(value).c_str());
}

// The name of an element's line type: by its handle, else by its index.
const char *ElementLineType(CR13DxfWriter &w, const CDB_MLINESTYLE_ELEMENT &element) {
    if (element.line_type_handle && *element.line_type_handle)
        return w.LineTypeName(element.line_type_handle);
    if (element.line_type_index == -1)
        return "BYLAYER";
    const char *name = w.Drawing().Table(R13Table::kLtypes).NameAt(element.line_type_index);
    return name ? name : "";
}

int WriteMlineStyle(CR13DxfWriter &w, const CDB_MLINESTYLE_TBL_type &style, uint32_t dictionary) {
    CDxfStream &s = w.Stream();
    char standard[CDxfStream::kValueSize] = "STANDARD";
    if (!s.WriteGroup(3, standard, 5) || !s.WriteText(350, style.handle))
        return 0;
    if (!s.WriteText(0, "MLINESTYLE") || !s.WriteText(5, style.handle) ||
        !s.WriteText(102, "{ACAD_REACTORS") || !WriteHandle(s, 330, dictionary) ||
        !s.WriteText(102, "}") || !s.WriteText(100, "AcDbMlineStyle") ||
        !s.WriteText(2, style.name) || !s.WriteInt16(70, style.flags) || !s.WriteText(3, " ") ||
        !s.WriteInt16(62, style.fill_color) || !s.WriteReal(51, style.start_angle) ||
        !s.WriteReal(52, style.end_angle) || !s.WriteInt16(71, style.element_count))
        return 0;
    for (int i = 0; style.elements && i < style.element_count; ++i) {
        const CDB_MLINESTYLE_ELEMENT &element = style.elements[i];
        if (!s.WriteReal(49, element.offset) || !s.WriteInt16(62, element.color) ||
            !s.WriteText(6, ElementLineType(w, element)))
            return 0;
    }
    return 1;
}

} // namespace

void R13DxfDictionaryHandles(CR13Drawing &drawing, uint32_t out[3]) {
    const std::vector<uint32_t> &kept = drawing.dxf_dictionary_handles;
    if (kept.size() >= 3) {
        for (int i = 0; i < 3; ++i)
            out[i] = kept[size_t(i)];
        return;
    }
    // The drawing keeps none: three handles from the seed on, or above the highest handle
    // of the drawing when the seed lies below it. The seed is the next handle the drawing
    // would give, so no object of the drawing has any of the three.
    uint32_t first = R13HandleValue(drawing.Header().vars.handseed);
    const uint32_t highest = HighestHandleOf(drawing);
    if (first <= highest)
        first = highest + 1;
    for (int i = 0; i < 3; ++i)
        out[i] = first + uint32_t(i);
}

int WriteR13DxfObjects(CR13DxfWriter &writer) {
    CDxfStream &s = writer.Stream();
    uint32_t h[3] = {};
    R13DxfDictionaryHandles(writer.Drawing(), h);
    if (!s.WriteText(0, "SECTION") || !s.WriteText(2, "OBJECTS"))
        return 0;
    if (!s.WriteText(0, "DICTIONARY") || !WriteHandle(s, 5, h[0]) ||
        !s.WriteText(100, "AcDbDictionary") || !s.WriteText(3, "ACAD_GROUP") ||
        !WriteHandle(s, 350, h[1]) || !s.WriteText(3, "ACAD_MLINESTYLE") ||
        !WriteHandle(s, 350, h[2]))
        return 0;
    for (int i = 1; i < 3; ++i)
        if (!s.WriteText(0, "DICTIONARY") || !WriteHandle(s, 5, h[i]) ||
            !s.WriteText(102, "{ACAD_REACTORS") || !WriteHandle(s, 330, h[0]) ||
            !s.WriteText(102, "}") || !s.WriteText(100, "AcDbDictionary"))
            return 0;
    const CR13Table &styles = writer.Drawing().Table(R13Table::kMlineStyles);
    for (int i = 0; i < styles.records.Count(); ++i) {
        auto *record = const_cast<CR13TableRecord *>(styles.RecordAt(i));
        const auto *style =
            record ? static_cast<const CDB_MLINESTYLE_TBL_type *>(record->GetRecord()) : nullptr;
        if (style && !WriteMlineStyle(writer, *style, h[2]))
            return 0;
    }
    return s.WriteText(0, "ENDSEC") && s.WriteText(0, "EOF");
}
