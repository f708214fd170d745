// The two phases of a release 12 DXF load and the section, table, block and entity readers
// under them.
#include "dxf/r12_dxf_reader.h"

#include "dwg12/r12_drawing.h"
#include "dxf/r12_dxf_header.h"
#include "dxf/dxf_long_names.h"
#include "dxf/dxf_tolerance.h"
#include "dwg12/r12_dxf_layout.h"
#include "dwg12/r12_entity_kinds.h"
#include "io/drawing_file.h"

#include <cstdlib>
#include <cstring>
#include <memory>

namespace {

constexpr uint8_t kXrefFlag = 0x04;

bool Is(const char *value, const char *word) {
    return std::strcmp(value, word) == 0;
}

// Copies `text` into `dest` of `size` bytes, cut to fit and terminated.
void CopyBounded(char *dest, size_t size, const char *text) {
    const size_t n = strnlen(text, size - 1);
    std::memcpy(dest, text, n);
    dest[n] = 0;
}

// The tables of a TABLES section by the names that open them.
int TableOfName(const char *name) {
    struct Named {
        const char *name;
        int table;
    };
    static constexpr Named kTables[] = {
        {"VPORT", kR12Vports}, {"LAYER", kR12Layers},       {"LTYPE", kR12Ltypes},
        {"STYLE", kR12Styles}, {"DIMSTYLE", kR12Dimstyles}, {"VIEW", kR12Views},
        {"UCS", kR12Ucs},      {"APPID", kR12Appids},
    };
    for (const Named &t : kTables)
        if (Is(name, t.name))
            return t.table;
    return -1;
}

// The record of table `t` named `name`, looked up the DXF way; with long names read whole, a
// long name is looked up whole.
int FindR12DxfName(CR12Drawing &drawing, int t, const char *name) {
    bool took_road = false;
    const int index = FindTableNameNoCase(drawing.Table(t), name,
                                          drawing.ReadsTolerantly(CDB_READ_LONG_NAMES), &took_road);
    if (took_road)
        drawing.NoteTolerantRead(CDB_READ_LONG_NAMES);
    return index;
}

// The drawing's tables, looked up the DXF way, for the header's names.
class TableLookup : public R12DxfNameLookup {
public:
    explicit TableLookup(CR12Drawing &drawing) : drawing_(drawing) {}
    int Layer(const char *name) const override { return Find(kR12Layers, name); }
    int Ltype(const char *name) const override { return Find(kR12Ltypes, name); }
    int Style(const char *name) const override { return Find(kR12Styles, name); }
    int Dimstyle(const char *name) const override { return Find(kR12Dimstyles, name); }
    int Ucs(const char *name) const override { return Find(kR12Ucs, name); }
    bool Vport(const char *name, CDB_VPORT_TBL_type &out) const override {
        const int index = Find(kR12Vports, name);
        const CR12TableRecord *record = drawing_.Table(kR12Vports).At(index);
        if (!record)
            return false;
        out = *static_cast<const CDB_VPORT_TBL_type *>(
            const_cast<CR12TableRecord *>(record)->GetRecord());
        return true;
    }

private:
    int Find(int t, const char *name) const { return FindR12DxfName(drawing_, t, name); }
    CR12Drawing &drawing_;
};

} // namespace

CR12DxfReader::CR12DxfReader(CR12Drawing &drawing, CDxfStream::Form form) : drawing_(drawing) {
    stream_.AttachInput(drawing.File(), form, CDxfStream::kRelease12);
    stream_.SetReadOptions(DxfReadOptionsOf(drawing));
    eed_lookup_.appid = [&drawing](const char *name) {
        return FindR12DxfName(drawing, kR12Appids, name);
    };
    eed_lookup_.layer = [&drawing](const char *name) {
        return FindR12DxfName(drawing, kR12Layers, name);
    };
}

void CR12DxfReader::DetachInput(CDxfStream::Form form) {
    stream_.AttachInput(nullptr, form, CDxfStream::kRelease12);
}

int CR12DxfReader::Invalid() {
    drawing_.SetError(CDB_ERR_INVALID_FILE);
    return 0;
}

bool CR12DxfReader::NextGroup() {
    stream_.ReadGroup(&code_, value_);
    return !stream_.AtEnd();
}

int CR12DxfReader::Load() {
    DxfRoadsNote note(stream_, drawing_);
    if (!LoadUpToBlocks())
        return 0;
    return LoadBlocksAndEntities();
}

// ---- The two phases -----------------------------------------------------------------------------

int CR12DxfReader::LoadUpToBlocks() {
    CR12Drawing &d = drawing_;
    if (d.header_loaded && d.tables_loaded)
        return 1;
    R12DxfHeaderNames names;
    std::memset(&names, 0, sizeof names);
    std::strcpy(names.active, "*ACTIVE");
    if (!NextGroup())
        return Invalid();
    while (!Is(value_, "BLOCKS") && !Is(value_, "ENTITIES")) {
        if (Is(value_, "HEADER") && !d.InXref()) {
            if (!ReadR12DxfHeader(stream_, *d.File(), d.Header(), names, code_, value_))
                return Invalid();
        } else if (Is(value_, "TABLES")) {
            if (!ReadTables())
                return 0;
        }
        if (!NextGroup())
            return Invalid();
    }
    ResolveR12DxfHeaderNames(names, TableLookup(d), d.Header().vars);
    CopyBounded(next_section_, sizeof next_section_, value_);
    d.header_loaded = 1;
    d.tables_loaded = 1;
    return 1;
}

int CR12DxfReader::LoadBlocksAndEntities() {
    CR12Drawing &d = drawing_;
    if (d.blocks_loaded && d.entities_loaded)
        return 1;
    CopyBounded(value_, sizeof value_, next_section_);
    if (!d.ViewFlag()) {
        while (!Is(value_, "EOF")) {
            if (Is(value_, "BLOCKS")) {
                if (!ReadBlocks())
                    return stream_.AtEnd() ? Invalid() : 0;
            } else if (Is(value_, "ENTITIES")) {
                if (!ReadEntities())
                    return stream_.AtEnd() ? Invalid() : 0;
                // The end sentinel closes the main section, as in a DWG.
                d.Entities().Append(new CR12EndBlock(&d));
            }
            if (!NextGroup())
                return Invalid();
        }
        next_section_[0] = 0;
    } else {
        // View mode: the entities go to the application when LoadEntities asks for them.
        while (!Is(value_, "ENTITIES")) {
            if (Is(value_, "BLOCKS") && !ReadBlocks())
                return stream_.AtEnd() ? Invalid() : 0;
            if (!NextGroup())
                return Invalid();
        }
        std::strcpy(next_section_, "ENTITIES");
    }
    d.blocks_loaded = 1;
    d.entities_loaded = 1;
    d.RewindCursors();
    return 1;
}

bool CR12DxfReader::HandOutEntities() {
    DxfRoadsNote note(stream_, drawing_);
    if (!drawing_.ViewFlag() || !Is(next_section_, "ENTITIES") || !ReadEntities())
        return false;
    next_section_[0] = 0;
    return true;
}

// ---- TABLES -------------------------------------------------------------------------------------

int CR12DxfReader::ReadTables() {
    for (;;) {
        if (!NextGroup())
            return Invalid();
        if (Is(value_, "ENDSEC"))
            return 1;
        const int t = TableOfName(value_);
        if (t >= 0 && !ReadTable(t))
            return 0;
    }
}

int CR12DxfReader::ReadTable(int t) {
    CR12TableList &list = drawing_.Table(t);
    // A table is read once: a second one of the same name fails the load, with no code.
    if (list.Count() != 0)
        return 0;
    // The table's head ends with the count of group 70, which plays no part: the records
    // are read up to "ENDTAB". Groups before it (a handle) are read past, and a head
    // without a count ends at the first group 0.
    do {
        if (!NextGroup())
            return Invalid();
    } while (code_ != 70 && code_ != 0);
    if (code_ == 70 && !NextGroup())
        return Invalid();
    R12DxfRecordContext context{stream_, &drawing_.Table(kR12Ltypes)};
    while (!Is(value_, "ENDTAB")) {
        const int kind = TableOfName(value_);
        if (kind < 0) {
            drawing_.SetError(CDB_ERR_DRAWING_CORRUPTED);
            return 0;
        }
        // A record of another table's kind is read past: kept in this table it would be
        // taken for a record of this table's kind.
        std::unique_ptr<CR12TableRecord> record(MakeR12TableRecord(&drawing_, kind));
        record->table_id = static_cast<int16_t>(t);
        if (record->ReadDXF(context, value_) != 1)
            return Invalid();
        if (kind == t)
            list.Add(record.release());
    }
    return 1;
}

// ---- BLOCKS -------------------------------------------------------------------------------------

int CR12DxfReader::ReadBlocks() {
    if (drawing_.Table(kR12Blocks).Count() != 0 || drawing_.Blocks().Count() != 0)
        return 0;
    if (!NextGroup())
        return Invalid();
    CDrawingFile &file = *drawing_.File();
    const uint8_t in_section = file.in_entity_section;
    file.in_entity_section = 0;
    int16_t block_number = 0;
    int result = 1;
    while (!Is(value_, "ENDSEC")) {
        if (!Is(value_, "BLOCK") || !ReadBlock(block_number)) {
            result = 0;
            break;
        }
    }
    file.in_entity_section = in_section;
    return result;
}

int CR12DxfReader::ReadBlock(int16_t &block_number) {
    CR12Drawing &d = drawing_;
    auto block = std::make_unique<CModelBlock>();
    d.block_counter = block_number;
    block_number = static_cast<int16_t>(uint16_t(block_number) + 1u);
    {
        CR12BeginBlock begin(&d);
        if (begin.ReadDXF(*this, value_) != 1)
            return Invalid();
        begin.ReleaseRecordTo(block->record);
    }
    // The block table record takes the block's name and flags.
    const CDB_STARTBLOCK_ENTITY_type &start = *block->record;
    auto *table_record = static_cast<CR12BlockRecord *>(MakeR12TableRecord(&d, kR12Blocks));
    table_record->table_id = kR12Blocks;
    CDB_BLOCK_TBL &table = table_record->GetTypedRecord();
    const char *name = start.name ? start.name : "";
    // The tolerant road keeps a long name whole; the original keeps what a record holds.
    const bool whole = d.ReadsTolerantly(CDB_READ_LONG_NAMES) &&
                       strnlen(name, kR12NameBlockSize) >= kR12NameBlockSize;
    if (whole)
        d.NoteTolerantRead(CDB_READ_LONG_NAMES);
    const size_t name_size = whole ? std::strlen(name) + 1 : kR12NameBlockSize;
    table.name = static_cast<char *>(std::calloc(name_size, 1));
    if (table.name)
        CopyBounded(table.name, name_size, name);
    CopyBounded(table_record->body.name_in_place, sizeof table_record->body.name_in_place, name);
    table.flags = static_cast<uint8_t>(start.flags);
    d.Table(kR12Blocks).Add(table_record);
    block->plain = (start.flags & kXrefFlag) ? 0 : 1;
    block->code = CDB_BLOCK;
    block->entities = std::make_unique<CEntityList>();

    while (!Is(value_, "ENDBLK"))
        if (!ReadEntity(block->entities.get(), true))
            return Invalid();
    auto end = std::make_unique<CR12EndBlock>(&d);
    if (end->ReadDXF(*this, value_) != 1)
        return Invalid();
    d.KeepEntity(block->entities.get(), end.release(), true, false);
    d.Blocks().Add(block.release());
    return 1;
}

// ---- ENTITIES -----------------------------------------------------------------------------------

int CR12DxfReader::ReadEntities() {
    if (!drawing_.ViewFlag() && drawing_.Entities().Count() != 0)
        return 0;
    if (!NextGroup())
        return Invalid();
    drawing_.block_counter = -1;
    while (!Is(value_, "ENDSEC"))
        if (!ReadEntity(&drawing_.Entities(), false))
            return Invalid();
    return 1;
}

int CR12DxfReader::ReadEntity(CEntityList *list, bool in_block) {
    const int kind = R12DxfEntityKind(value_, in_block);
    CR12Entity *entity = kind ? MakeR12Entity(&drawing_, kind) : nullptr;
    // A kind without a class, or a name that its class refuses ("3DLINE" in a block),
    // cannot be gone past.
    if (!entity || entity->ReadDXF(*this, value_) != 1) {
        delete entity;
        return 0;
    }
    entity->SetCode(static_cast<int16_t>(kind));
    drawing_.KeepEntity(list, entity, in_block, false);
    return 1;
}
