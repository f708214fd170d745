// The TABLES and BLOCKS sections of a release 13 DXF.
//
// A table record writes the groups of its release 12 namesake (r12_dxf_layout.h) from the
// name on, with the release 13 groups of r13_dxf_record_layout.h on top: the handle ahead of
// the markers, a group of the same code in place of the release 12 one, a group with an
// anchor behind each group of the anchor's code, the rest behind the release 12 groups. The
// reader goes by the same two lists. A table's handle and count are those its control
// object keeps (from the DWG, or what the DXF reader took from the table's head): the count
// is not made again from the list.
#include "dwg12/r12_dxf_layout.h"
#include "dwg12/r12_tables.h"
#include "dwg13/r13_block.h"
#include "dwg13/r13_drawing.h"
#include "dwg13/r13_dxf_record_layout.h"
#include "dwg13/r13_tables.h"
#include "dxf/dxf_stream.h"
#include "dxf/r13_dxf_write.h"
#include "io/record_field.h"

#include <cstring>
#include <vector>

namespace {

using V12 = R12DxfValue;
using V13 = R13DxfRecordValue;

// Whether the release 12 group `code` gives way to a release 13 group of the same code
// that stands in its place (not a handle, not an anchored one).
bool ReplacedByRelease13(const R13DxfRecordKind &kind, int16_t code) {
    const R13DxfRecordGroup *g = kind.Find(code);
    return g && g->value != V13::kHandle && g->anchor == 0;
}

// Whether the release 13 group goes out behind the release 12 groups.
bool WrittenBehind(const R12DxfLayout *release12, const R13DxfRecordGroup &g) {
    if (g.value == V13::kHandle || g.anchor != 0)
        return false;
    return !(release12 && release12->Find(g.code));
}

} // namespace

// ---- One record -------------------------------------------------------------------------------

namespace {

class RecordWrite {
public:
    RecordWrite(CR13DxfWriter &writer, const R13DxfRecordKind &kind, const CR13TableRecord &record,
                const uint8_t *body)
        : w_(writer), s_(writer.Stream()), kind_(kind), record_(record), body_(body) {}

    int Release12(const R12DxfGroup &g) {
        switch (g.value) {
        case V12::kName:
            return s_.WriteText(g.code, record_.RecordName());
        case V12::kFlags:
            return s_.WriteInt16(g.code, record_.Flags());
        case V12::kReal:
            return s_.WriteReal(g.code, LoadField<double>(body_, g.offset));
        case V12::kInt16:
            return s_.WriteInt16(g.code, LoadField<int16_t>(body_, g.offset));
        case V12::kByte:
            return s_.WriteInt16(g.code, body_[g.offset]);
        case V12::kText:
        case V12::kTextKept:
            return s_.WriteText(g.code, LoadField<char *>(body_, g.offset));
        case V12::kAppendText:
            // The style's big font: the record keeps it in a field of its own.
            if (record_.RecordType() == kR13Style)
                return s_.WriteText(
                    g.code, LoadField<char *>(body_, offsetof(CDB_STYLE_TBL_type, bigfont_file)));
            return 1;
        case V12::kDash:
            return record_.RecordType() == kR13Ltype ? Dashes(g.code) : 1;
        case V12::kPoint2Next:
            return Positional(g.code, g.offset, 2);
        case V12::kPoint3Next:
            return Positional(g.code, g.offset, 3);
        default:
            return 1;
        }
    }

    int Release13(const R13DxfRecordGroup &g) {
        switch (g.value) {
        case V13::kHandle:
            return s_.WriteText(g.code, record_.RecordHandle());
        case V13::kName:
            return s_.WriteText(g.code, record_.RecordName());
        case V13::kFlags:
            return s_.WriteInt16(g.code, record_.Flags());
        case V13::kReal:
            return s_.WriteReal(g.code, LoadField<double>(body_, g.offset));
        case V13::kInt16:
            return s_.WriteInt16(g.code, LoadField<int16_t>(body_, g.offset));
        case V13::kTextKept:
            return s_.WriteText(g.code, LoadField<char *>(body_, g.offset));
        case V13::kLtypeHandle:
            return s_.WriteText(g.code, w_.LineTypeName(LoadField<char *>(body_, g.offset)));
        default:
            return 1;
        }
    }

private:
    // The dash lengths, each followed by the groups anchored on it (the shape flags).
    int Dashes(int16_t code) {
        const auto &ltype = *reinterpret_cast<const CDB_LTYPE_TBL_type *>(body_);
        for (int16_t i = 0; i < ltype.dash_count; ++i) {
            if (!s_.WriteReal(code, ltype.dashes ? ltype.dashes[i] : 0.0))
                return 0;
            for (size_t k = 0; k < kind_.count; ++k)
                if (kind_.groups[k].anchor == code && kind_.groups[k].value == V13::kShapeFlag &&
                    !s_.WriteInt16(kind_.groups[k].code,
                                   ltype.complex_types ? ltype.complex_types[i] : int16_t(0)))
                    return 0;
        }
        return 1;
    }

    int Positional(int16_t code, size_t offset, int coordinates) {
        for (int i = 0; i < coordinates; ++i)
            if (!s_.WriteReal(static_cast<int16_t>(code + 10 * i),
                              LoadField<double>(body_, offset + 8 * size_t(i))))
                return 0;
        return 1;
    }

    CR13DxfWriter &w_;
    CDxfStream &s_;
    const R13DxfRecordKind &kind_;
    const CR13TableRecord &record_;
    const uint8_t *body_;
};

} // namespace

int CR13TableRecord::WriteDXF(CR13DxfWriter &writer) const {
    const R13DxfRecordKind *kind = R13DxfRecordKindOfType(record_type);
    if (!kind)
        return 0;
    CDxfStream &s = writer.Stream();
    RecordWrite write(writer, *kind, *this, body_bytes);
    if (!s.WriteText(0, kind->name))
        return 0;
    for (size_t i = 0; i < kind->count; ++i)
        if (kind->groups[i].value == V13::kHandle && !write.Release13(kind->groups[i]))
            return 0;
    if (!s.WriteText(100, kR13SymbolTableRecordMarker) || !s.WriteText(100, kind->marker))
        return 0;
    // A block record has its name and nothing more.
    if (record_type == kR13BlockHeader)
        return s.WriteText(2, RecordName());
    const R12DxfLayout *release12 =
        kind->release12_groups ? R12DxfTableLayoutNamed(kind->name) : nullptr;
    for (size_t i = 0; release12 && i < release12->count; ++i) {
        const R12DxfGroup &g = release12->groups[i];
        const int written = ReplacedByRelease13(*kind, g.code)
                                ? write.Release13(*kind->Find(g.code))
                                : write.Release12(g);
        if (!written)
            return 0;
    }
    for (size_t i = 0; i < kind->count; ++i)
        if (WrittenBehind(release12, kind->groups[i]) && !write.Release13(kind->groups[i]))
            return 0;
    return 1;
}

// ---- The tables ----------------------------------------------------------------------------

namespace {

// 0 "TABLE", 2 name, 5 handle, the marker, 70 count, then `records`, 0 "ENDTAB".
int WriteTable(CR13DxfWriter &writer, const char *name, const CR13Table &table,
               const std::vector<const CR13TableRecord *> &records) {
    CDxfStream &s = writer.Stream();
    if (records.size() > size_t(CDxfStream::kMaxTableCount))
        return writer.Drawing().RefuseFormLimit(CDxfStream::kTableCountLimit);
    if (!s.WriteText(0, "TABLE") || !s.WriteText(2, name) ||
        !s.WriteText(5, table.head.handle.c_str()) || !s.WriteText(100, kR13SymbolTableMarker) ||
        !s.WriteInt16(70, table.head.entry_count))
        return 0;
    for (const CR13TableRecord *record : records)
        if (record && !record->WriteDXF(writer))
            return 0;
    return s.WriteText(0, "ENDTAB");
}

std::vector<const CR13TableRecord *> RecordsOf(const CR13Table &table) {
    std::vector<const CR13TableRecord *> records;
    for (int i = 0; i < table.records.Count(); ++i)
        records.push_back(table.RecordAt(i));
    return records;
}

// The block record of a space: the one the DXF reader kept, else the space block's header.
const CR13TableRecord *SpaceRecord(CR13BlockRecord *kept, CR13Block *block) {
    if (kept)
        return kept;
    return block ? block->header : nullptr;
}

} // namespace

int WriteR13DxfTables(CR13DxfWriter &writer) {
    struct Entry {
        const char *name;
        R13Table table;
    };
    static constexpr Entry kOrder[] = {
        {"VPORT", R13Table::kVports}, {"LTYPE", R13Table::kLtypes},
        {"LAYER", R13Table::kLayers}, {"STYLE", R13Table::kStyles},
        {"VIEW", R13Table::kViews},   {"UCS", R13Table::kUcs},
        {"APPID", R13Table::kAppids}, {"DIMSTYLE", R13Table::kDimstyles},
    };
    CR13Drawing &d = writer.Drawing();
    for (const Entry &entry : kOrder) {
        const CR13Table &table = d.Table(entry.table);
        if (!WriteTable(writer, entry.name, table, RecordsOf(table)))
            return 0;
    }
    // The block records: the two spaces first.
    const CR13Table &blocks = d.Table(R13Table::kBlocks);
    std::vector<const CR13TableRecord *> records{
        SpaceRecord(d.ModelSpaceRecord(), d.ModelSpaceBlock()),
        SpaceRecord(d.PaperSpaceRecord(), d.PaperSpaceBlock())};
    for (const CR13TableRecord *record : RecordsOf(blocks))
        records.push_back(record);
    return WriteTable(writer, "BLOCK_RECORD", blocks, records);
}

// ---- The blocks ------------------------------------------------------------------------------

namespace {

// The block's end: the object the block start keeps (a DWG), else the last kind 13 of
// `list` (a DXF); null when there is none.
const CR13Entity *EndOf(const CR13Block &block, const CEntityList *list) {
    if (block.start && block.start->end_block)
        return block.start->end_block.get();
    for (int i = list ? list->Count() - 1 : -1; i >= 0; --i) {
        const CModelEntity *entity = list->At(i);
        if (entity && entity->Code() == CDB_ENDBLK)
            return static_cast<const CR13Entity *>(entity);
    }
    return nullptr;
}

// A block end made on the spot for a block that has none of its own.
int WritePlainEnd(CR13DxfWriter &writer) {
    CDxfStream &s = writer.Stream();
    return s.WriteText(0, "ENDBLK") && s.WriteText(100, "AcDbEntity") && s.WriteText(8, "0") &&
           s.WriteText(100, "AcDbBlockEnd");
}

// A space block: its start and end only; `end_list` is where its end stands for a DXF.
int WriteSpace(CR13DxfWriter &writer, const CR13Block *block, const CEntityList *end_list) {
    if (!block || !block->start)
        return 1;
    if (!block->start->WriteDXF(writer))
        return 0;
    const CR13Entity *end = EndOf(*block, end_list);
    return end ? end->WriteDXF(writer) : WritePlainEnd(writer);
}

} // namespace

int WriteR13DxfBlocks(CR13DxfWriter &writer) {
    CR13Drawing &d = writer.Drawing();
    const CR13Block *paper = d.PaperSpaceBlock();
    if (!WriteSpace(writer, d.ModelSpaceBlock(), &d.Entities()) ||
        !WriteSpace(writer, paper, paper ? paper->entities.get() : nullptr))
        return 0;
    for (int i = 0; i < d.Blocks().Count(); ++i) {
        const auto *block = static_cast<const CR13Block *>(d.Blocks().At(i));
        if (!block || !block->start || block->IsDeleted())
            continue;
        if (!block->start->WriteDXF(writer))
            return 0;
        const CEntityList *list = block->entities.get();
        if (list && !WriteR13DxfEntityList(writer, *list))
            return 0;
        const CR13Entity *end = EndOf(*block, list);
        if (!(end ? end->WriteDXF(writer) : WritePlainEnd(writer)))
            return 0;
    }
    return 1;
}
