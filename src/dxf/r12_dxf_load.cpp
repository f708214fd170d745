// Opening and loading a release 12 drawing from a DXF file, ASCII or binary.
//
// The load runs in two phases. The first reads up to the first BLOCKS or ENTITIES section:
// HEADER and TABLES, in any order, found by their names wherever they stand; then the
// header's names become table indices. The second reads BLOCKS and ENTITIES until "EOF".
// The reader is loose by design: it scans values for the words it knows and passes over
// what it does not know. Where the file ends before a section, table or entity is closed,
// or holds a group that cannot be gone past (an entity kind that has no class), the load
// ends with "Invalid File." instead of waiting for a group that never comes.
#include "dwg12/r12_drawing.h"
#include "dxf/dxf_open.h"
#include "dxf/r12_dxf_header.h"
#include "dxf/r12_dxf_layout.h"
#include "interface/drawing_file.h"

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
    int Find(int t, const char *name) const { return drawing_.Table(t).FindNoCase(name); }
    CR12Drawing &drawing_;
};

} // namespace

// ---- Opening ----------------------------------------------------------------------------------

int CR12Drawing::OpenDXF(const char *name, CDB_OPEN_MODE) {
    if (file) {
        SetError(CDB_ERR_FILE_ALREADY_OPEN);
        return 0;
    }
    file = std::make_unique<CDrawingFile>();
    file_name = name ? name : "";
    if (!file->Open(name, CDB_OPEN_READ)) {
        file.reset();
        SetError(CDB_ERR_OPENING_FILE);
        return 0;
    }
    CDxfStream::Form form = CDxfStream::kUndecided;
    const DxfVersionCheck check = CheckDxfVersion(*file, CDxfStream::kRelease12, "AC1009", form);
    if (check != DxfVersionCheck::kMatch) {
        // A binary file of another release is a version mismatch; an ASCII file that is
        // not one of this release is no DXF that this class reads.
        SetError(form == CDxfStream::kBinary ? CDB_ERR_VERSION_MISMATCH : CDB_ERR_INVALID_FILE);
        file_kind = kNone;
        file->Close();
        file.reset();
        return 0;
    }
    file_kind = form == CDxfStream::kBinary ? kBinaryDxf : kTextDxf;
    dxf.AttachInput(file.get(), form, CDxfStream::kRelease12);
    return 1;
}

// ---- Loading ----------------------------------------------------------------------------------

int CR12Drawing::InvalidDxf() {
    SetError(CDB_ERR_INVALID_FILE);
    return 0;
}

bool CR12Drawing::NextGroup() {
    dxf.ReadGroup(&dxf_code, dxf_value);
    return !dxf.AtEnd();
}

int CR12Drawing::LoadDXF() {
    if (file_kind != kTextDxf && file_kind != kBinaryDxf)
        return 0;
    if (!file)
        return InvalidDxf();
    if (!LoadDxfUpToBlocks())
        return 0;
    if (!LoadDxfBlocksAndEntities())
        return 0;
    return 1;
}

int CR12Drawing::LoadDxfUpToBlocks() {
    if (header_loaded && tables_loaded)
        return 1;
    R12DxfHeaderNames names;
    std::memset(&names, 0, sizeof names);
    std::strcpy(names.active, "*ACTIVE");
    if (!NextGroup())
        return InvalidDxf();
    while (!Is(dxf_value, "BLOCKS") && !Is(dxf_value, "ENTITIES")) {
        if (Is(dxf_value, "HEADER") && !InXref()) {
            if (!ReadR12DxfHeader(dxf, *file, header, names, dxf_code, dxf_value))
                return InvalidDxf();
        } else if (Is(dxf_value, "TABLES")) {
            if (!ReadTablesDxf())
                return 0;
        }
        if (!NextGroup())
            return InvalidDxf();
    }
    ResolveR12DxfHeaderNames(names, TableLookup(*this), header.vars);
    CopyBounded(next_section, sizeof next_section, dxf_value);
    header_loaded = 1;
    tables_loaded = 1;
    return 1;
}

int CR12Drawing::LoadDxfBlocksAndEntities() {
    if (blocks_loaded && entities_loaded)
        return 1;
    CopyBounded(dxf_value, sizeof dxf_value, next_section);
    if (!ViewFlag()) {
        while (!Is(dxf_value, "EOF")) {
            if (Is(dxf_value, "BLOCKS")) {
                if (!ReadBlocksDxf())
                    return dxf.AtEnd() ? InvalidDxf() : 0;
            } else if (Is(dxf_value, "ENTITIES")) {
                if (!ReadEntitiesDxf())
                    return dxf.AtEnd() ? InvalidDxf() : 0;
                // The end sentinel closes the main section, as in a DWG.
                entities.Append(new CR12EndBlock(this));
            }
            if (!NextGroup())
                return InvalidDxf();
        }
        next_section[0] = 0;
    } else {
        // View mode: the entities go to the application when LoadEntities asks for them.
        while (!Is(dxf_value, "ENTITIES")) {
            if (Is(dxf_value, "BLOCKS") && !ReadBlocksDxf())
                return dxf.AtEnd() ? InvalidDxf() : 0;
            if (!NextGroup())
                return InvalidDxf();
        }
        std::strcpy(next_section, "ENTITIES");
    }
    blocks_loaded = 1;
    entities_loaded = 1;
    RewindCursors();
    return 1;
}

// ---- TABLES -------------------------------------------------------------------------------------

int CR12Drawing::ReadTablesDxf() {
    for (;;) {
        if (!NextGroup())
            return InvalidDxf();
        if (Is(dxf_value, "ENDSEC"))
            return 1;
        const int t = TableOfName(dxf_value);
        if (t >= 0 && !ReadTableDxf(t))
            return 0;
    }
}

int CR12Drawing::ReadTableDxf(int t) {
    CR12TableList &list = Table(t);
    // A table is read once: a second one of the same name fails the load, with no code.
    if (list.Count() != 0)
        return 0;
    // The table's head ends with the count of group 70, which plays no part: the records
    // are read up to "ENDTAB". Groups before it (a handle) are read past, and a head
    // without a count ends at the first group 0.
    do {
        if (!NextGroup())
            return InvalidDxf();
    } while (dxf_code != 70 && dxf_code != 0);
    if (dxf_code == 70 && !NextGroup())
        return InvalidDxf();
    R12DxfRecordContext context{dxf, &Table(kR12Ltypes)};
    while (!Is(dxf_value, "ENDTAB")) {
        const int kind = TableOfName(dxf_value);
        if (kind < 0) {
            SetError(CDB_ERR_DRAWING_CORRUPTED);
            return 0;
        }
        // A record of another table's kind is read past: kept in this table it would be
        // taken for a record of this table's kind.
        std::unique_ptr<CR12TableRecord> record(MakeR12TableRecord(this, kind));
        record->table_id = static_cast<int16_t>(t);
        if (record->ReadDXF(context, dxf_value) != 1)
            return InvalidDxf();
        if (kind == t)
            list.Add(record.release());
    }
    return 1;
}

// ---- BLOCKS -------------------------------------------------------------------------------------

int CR12Drawing::ReadBlocksDxf() {
    if (Table(kR12Blocks).Count() != 0 || blocks.Count() != 0)
        return 0;
    if (!NextGroup())
        return InvalidDxf();
    const uint8_t in_section = file->in_entity_section;
    file->in_entity_section = 0;
    int16_t block_number = 0;
    int result = 1;
    while (!Is(dxf_value, "ENDSEC")) {
        if (!Is(dxf_value, "BLOCK") || !ReadBlockDxf(block_number)) {
            result = 0;
            break;
        }
    }
    file->in_entity_section = in_section;
    return result;
}

int CR12Drawing::ReadBlockDxf(int16_t &block_number) {
    auto block = std::make_unique<CModelBlock>();
    block_counter = block_number;
    block_number = static_cast<int16_t>(uint16_t(block_number) + 1u);
    {
        CR12BeginBlock begin(this);
        if (begin.ReadDXF(dxf_value) != 1)
            return InvalidDxf();
        begin.ReleaseRecordTo(block->record);
    }
    // The block table record takes the block's name and flags.
    const CDB_STARTBLOCK_ENTITY_type &start = *block->record;
    auto *table_record = static_cast<CR12BlockRecord *>(MakeR12TableRecord(this, kR12Blocks));
    table_record->table_id = kR12Blocks;
    CDB_BLOCK_TBL &table = table_record->GetTypedRecord();
    const char *name = start.name ? start.name : "";
    table.name = static_cast<char *>(std::calloc(kR12NameBlockSize, 1));
    if (table.name)
        CopyBounded(table.name, kR12NameBlockSize, name);
    CopyBounded(table_record->body.name_in_place, sizeof table_record->body.name_in_place, name);
    table.flags = static_cast<uint8_t>(start.flags);
    Table(kR12Blocks).Add(table_record);
    block->plain = (start.flags & kXrefFlag) ? 0 : 1;
    block->code = CDB_BLOCK;
    block->entities = std::make_unique<CEntityList>();

    while (!Is(dxf_value, "ENDBLK"))
        if (!ReadEntityDxf(block->entities.get(), true))
            return InvalidDxf();
    auto end = std::make_unique<CR12EndBlock>(this);
    if (end->ReadDXF(dxf_value) != 1)
        return InvalidDxf();
    KeepEntity(block->entities.get(), end.release(), true, false);
    blocks.Add(block.release());
    return 1;
}

// ---- ENTITIES -----------------------------------------------------------------------------------

int CR12Drawing::ReadEntitiesDxf() {
    if (!ViewFlag() && entities.Count() != 0)
        return 0;
    if (!NextGroup())
        return InvalidDxf();
    block_counter = -1;
    while (!Is(dxf_value, "ENDSEC"))
        if (!ReadEntityDxf(&entities, false))
            return InvalidDxf();
    return 1;
}

int CR12Drawing::ReadEntityDxf(CEntityList *list, bool in_block) {
    const int kind = R12DxfEntityKind(dxf_value, in_block);
    CR12Entity *entity = kind ? MakeR12Entity(this, kind) : nullptr;
    // A kind without a class, or a name that its class refuses ("3DLINE" in a block),
    // cannot be gone past.
    if (!entity || entity->ReadDXF(dxf_value) != 1) {
        delete entity;
        return 0;
    }
    entity->SetCode(static_cast<int16_t>(kind));
    KeepEntity(list, entity, in_block, false);
    return 1;
}
