// The two phases of a release 13 DXF load and the section, table, block and entity readers
// under them.
#include "dxf/r13_dxf_reader.h"

#include "dwg13/r13_block.h"
#include "dwg13/r13_drawing.h"
#include "dwg13/r13_dxf_record_layout.h"
#include "dwg13/r13_entity_kinds.h"
#include "dwg13/r13_header.h"
#include "dwg13/r13_tables.h"
#include "dxf/dxf_numbers.h"
#include "dxf/dxf_tolerance.h"
#include "io/drawing_file.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace {

// The entity dispatch: group 0 names and the object types made for them.
struct NamedType {
    const char *name;
    int16_t type;
};
constexpr NamedType kEntityTypes[] = {
    {"TEXT", 1},        {"ATTRIB", 2},     {"ATTDEF", 3},     {"SEQEND", 6},   {"INSERT", 7},
    {"VERTEX", 10},     {"POLYLINE", 15},  {"ARC", 17},       {"CIRCLE", 18},  {"LINE", 19},
    {"3DLINE", 19},     {"DIMENSION", 23}, {"POINT", 27},     {"3DFACE", 28},  {"SOLID", 31},
    {"TRACE", 32},      {"SHAPE", 33},     {"VIEWPORT", 34},  {"ELLIPSE", 35}, {"SPLINE", 36},
    {"REGION", 37},     {"3DSOLID", 38},   {"BODY", 39},      {"RAY", 40},     {"XLINE", 41},
    {"MTEXT", 44},      {"LEADER", 45},    {"TOLERANCE", 46}, {"MLINE", 47},   {"OLEFRAME", 500},
    {"OLE2FRAME", 500},
};

// The table manager whose records are of `record_type`.
R13Table TableOfRecordType(int record_type) {
    switch (record_type) {
    case kR13BlockHeader:
        return R13Table::kBlocks;
    case kR13Layer:
        return R13Table::kLayers;
    case kR13Style:
        return R13Table::kStyles;
    case kR13Ltype:
        return R13Table::kLtypes;
    case kR13View:
        return R13Table::kViews;
    case kR13Ucs:
        return R13Table::kUcs;
    case kR13Vport:
        return R13Table::kVports;
    case kR13Appid:
        return R13Table::kAppids;
    case kR13Dimstyle:
        return R13Table::kDimstyles;
    default:
        return R13Table::kMlineStyles;
    }
}

// The drawing's tables, asked for the handle texts of the header's names.
class HandleOfName : public R13DxfHandleOfName {
public:
    explicit HandleOfName(CR13Drawing &drawing) : drawing_(drawing) {}
    const char *Handle(R13DxfNameTable table, const char *name) const override {
        switch (table) {
        case R13DxfNameTable::kLtypes:
            return Find(R13Table::kLtypes, name);
        case R13DxfNameTable::kLayers:
            return Find(R13Table::kLayers, name);
        case R13DxfNameTable::kStyles:
            return Find(R13Table::kStyles, name);
        case R13DxfNameTable::kDimstyles:
            return Find(R13Table::kDimstyles, name);
        case R13DxfNameTable::kUcs:
            return Find(R13Table::kUcs, name);
        case R13DxfNameTable::kMlineStyles:
            return Find(R13Table::kMlineStyles, name);
        default:
            return nullptr;
        }
    }
    bool Vport(const char *name, CDB_VPORT_TBL_type &out) const override {
        CR13Table &vports = drawing_.Table(R13Table::kVports);
        const int index = vports.IndexOfName(name);
        CR13TableRecord *record = vports.RecordAt(index);
        if (!record)
            return false;
        out = *static_cast<const CDB_VPORT_TBL_type *>(record->GetRecord());
        return true;
    }

private:
    const char *Find(R13Table table, const char *name) const {
        return drawing_.Table(table).HandleOfName(name);
    }
    CR13Drawing &drawing_;
};

} // namespace

CR13DxfReader::CR13DxfReader(CR13Drawing &drawing, CDxfStream::Form form) : drawing_(drawing) {
    stream_.AttachInput(drawing.File(), form, CDxfStream::kRelease13);
    stream_.SetReadOptions(DxfReadOptionsOf(drawing));
    eed_lookup_.appid = [&drawing](const char *name) {
        return drawing.Table(R13Table::kAppids).IndexOfName(name);
    };
    eed_lookup_.layer = [&drawing](const char *name) {
        return drawing.Table(R13Table::kLayers).IndexOfName(name);
    };
}

bool CR13DxfReader::Is(const char *value, const char *word) {
    return std::strcmp(value, word) == 0;
}

int CR13DxfReader::EntityTypeOfName(const char *name) {
    if (!name)
        return 0;
    for (const NamedType &entry : kEntityTypes)
        if (Is(name, entry.name))
            return entry.type;
    return 0;
}

int CR13DxfReader::Invalid(const char *why) {
    invalid_ = true;
    drawing_.SetError(CDB_ERR_INVALID_FILE);
    drawing_.load_failure = why;
    return 0;
}

int CR13DxfReader::Refused(const char *why) {
    drawing_.load_failure = why;
    return 0;
}

bool CR13DxfReader::NextGroup() {
    stream_.ReadGroup(&code_, value_);
    return !stream_.AtEnd();
}

int CR13DxfReader::Load() {
    DxfRoadsNote note(stream_, drawing_);
    if (!LoadUpToBlocks() || !LoadBlocksAndEntities())
        return 0;
    CR13Drawing &d = drawing_;
    if (!d.loaded)
        return 1; // a BLOCKS section that could not be read: the lists stay unset
    AdoptSpaces();
    // The multiline style that the header names is known now.
    HandleOfName lookup(d);
    ResolveR13DxfHeaderNames(header_names_, true, lookup, d.Header().vars);
    CR13Table &layers = d.Table(R13Table::kLayers);
    for (int i = 0; i < layers.records.Count(); ++i) {
        auto *layer = static_cast<CDB_LAYER_TBL_type *>(layers.records.At(i)->GetRecord());
        layer->line_type_index =
            static_cast<int16_t>(d.IndexOfHandle(TableBase::kLtypes, layer->line_type_handle) +
                                 d.Base(TableBase::kLtypes));
    }
    d.Header().ResolveIndices(
        [&d](TableBase table, const char *handle) { return d.IndexOfHandle(table, handle); });
    d.FinishTables();
    d.RewindCursors();
    return 1;
}

// ---- The two phases -----------------------------------------------------------------------

int CR13DxfReader::LoadUpToBlocks() {
    CR13Drawing &d = drawing_;
    if (d.tables_loaded)
        return 1;
    const CDxfStream::Form form = stream_.InputForm();
    if (form != CDxfStream::kAscii && form != CDxfStream::kBinary)
        return Refused("the file is neither an ASCII nor a binary DXF");
    if (!NextGroup())
        return Invalid("the file ends before its first section");
    while (!Is(value_, "BLOCKS") && !Is(value_, "ENTITIES")) {
        if (Is(value_, "HEADER") && !d.InXref()) {
            if (!ReadR13DxfHeader(stream_, *d.File(), d.Header(), header_names_, code_, value_))
                return Invalid("the file ends inside the HEADER section");
        } else if (Is(value_, "TABLES")) {
            if (!ReadTables())
                return 0;
        }
        if (!NextGroup())
            return Invalid("the file ends before a BLOCKS or an ENTITIES section");
    }
    ResolveAfterTables();
    std::snprintf(next_section_, sizeof next_section_, "%s", value_);
    d.tables_loaded = 1;
    return 1;
}

int CR13DxfReader::LoadBlocksAndEntities() {
    CR13Drawing &d = drawing_;
    if (d.loaded)
        return 1;
    const CDxfStream::Form form = stream_.InputForm();
    if (form != CDxfStream::kAscii && form != CDxfStream::kBinary)
        return Invalid("the file is neither an ASCII nor a binary DXF");
    std::snprintf(value_, sizeof value_, "%s", next_section_);
    while (!Is(value_, "EOF")) {
        if (Is(value_, "BLOCKS")) {
            if (!ReadBlocks()) {
                // A BLOCKS section that the reader refuses ends the load, which is not
                // done; one that it cannot go through fails it.
                if (stream_.AtEnd())
                    return Invalid("the file ends inside the BLOCKS section");
                return invalid_ ? 0 : 1;
            }
        } else if (Is(value_, "ENTITIES")) {
            if (!ReadEntities())
                return 0;
            // The bytes behind the section's ENDSEC, for a save to carry over.
            CDrawingFile &file = *d.File();
            d.tail_start = file.GetPosition();
            d.tail_size = static_cast<int32_t>(int64_t(file.Length()) - d.tail_start);
            if (d.tail_size < 0)
                d.tail_size = 0;
        } else if (Is(value_, "MLINESTYLE")) {
            // The style leaves the group 0 value behind it, which is looked at in turn.
            if (!ReadMlineStyle())
                return 0;
            continue;
        }
        if (!NextGroup())
            return Invalid("the file ends before its EOF");
    }
    d.loaded = 1;
    return 1;
}

// ---- After the tables ---------------------------------------------------------------------

void CR13DxfReader::ResolveAfterTables() {
    CR13Drawing &d = drawing_;
    HandleOfName lookup(d);
    ResolveR13DxfHeaderNames(header_names_, false, lookup, d.Header().vars);
    FillR13ViewFromActiveViewport(lookup, d.Header().vars);
}

// ---- TABLES -------------------------------------------------------------------------------

int CR13DxfReader::ReadTables() {
    for (;;) {
        if (!NextGroup())
            return Invalid("the file ends inside the TABLES section");
        if (Is(value_, "ENDSEC"))
            return 1;
        if (FindR13DxfRecordKind(value_) && !ReadTable(value_))
            return 0;
    }
}

int CR13DxfReader::ReadTable(const char *name) {
    const R13DxfRecordKind *kind = FindR13DxfRecordKind(name);
    CR13Table &table = drawing_.Table(TableOfRecordType(kind->record_type));
    // A table is read once: a second one of the same name fails the load, with no code.
    if (table.records.Count() != 0)
        return Refused("a table stands twice in the TABLES section");
    // The control record: its handle, the marker, the count. The order 5, 100, 70 is
    // relied on: a table that lacks one of them loses the group behind its count.
    if (!NextGroup())
        return Invalid("the file ends inside a table");
    if (code_ == 5) {
        table.head.handle = value_;
        table.head.entry_count = static_cast<int16_t>(DxfTextToInt(value_));
    }
    if (!NextGroup() || !NextGroup())
        return Invalid("the file ends inside a table");
    if (code_ == 70)
        table.head.entry_count = static_cast<int16_t>(DxfTextToInt(value_));
    if (!NextGroup())
        return Invalid("the file ends inside a table");
    while (!Is(value_, "ENDTAB")) {
        const R13DxfRecordKind *record_kind = FindR13DxfRecordKind(value_);
        if (!record_kind) {
            if (!NextGroup())
                return Invalid("the file ends inside a table");
            continue;
        }
        std::unique_ptr<CR13TableRecord> record(
            MakeR13TableRecord(&drawing_, record_kind->record_type));
        const int read = record ? record->ReadDXF(*this, value_) : 0;
        if (read != 1)
            return Invalid("the file ends inside a table record");
        // A record of another table's kind would be taken for one of this table's kind.
        if (record_kind != kind)
            continue;
        if (record_kind->record_type == kR13BlockHeader) {
            const bool model = record->IsNamed(kModelSpace) != 0;
            if (model || record->IsNamed(kPaperSpace)) {
                drawing_.space_records[model ? 0 : 1].reset(
                    static_cast<CR13BlockRecord *>(record.release()));
                continue;
            }
        }
        if (record_kind->record_type == kR13Style) {
            auto *style = static_cast<CR13StyleRecord *>(record.get());
            style->AttachFont(nullptr);
        }
        table.AddRecord(record.release());
    }
    return 1;
}

// ---- Multiline styles -----------------------------------------------------------------------

int CR13DxfReader::ReadMlineStyle() {
    std::unique_ptr<CR13TableRecord> style(MakeR13TableRecord(&drawing_, kR13MlineStyle));
    if (!style || style->ReadDXF(*this, value_) != 1)
        return Invalid("the file ends inside a multiline style");
    drawing_.Table(R13Table::kMlineStyles).AddRecord(style.release());
    return 1;
}
