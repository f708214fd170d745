// The BLOCKS and ENTITIES sections of a release 13 DXF, the entity dispatch under both, and
// the spaces that leave the block list at the end of the load.
#include "dxf/r13_dxf_reader.h"

#include "dwg13/r13_block.h"
#include "dwg13/r13_drawing.h"
#include "dwg13/r13_entity_kinds.h"
#include "dwg13/r13_tables.h"
#include "records/heap_text.h"

#include <cstdlib>
#include <cstring>
#include <deque>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

namespace {

constexpr int16_t kXrefFlag = 0x04;
constexpr int16_t kDeletedFlag = 0x80;

const char *NameOf(const CModelBlock *block) {
    return block && block->record && block->record->name ? block->record->name : "";
}

int16_t KindOf(const CModelEntity *entity) {
    const CDB_ENTITY *record = entity ? entity->GetData() : nullptr;
    return record ? record->entity_type : 0;
}

// The block's public record from its start: names, path, flags (less the deleted bit, which
// the walk would take literally), base point, handle.
void FillBlockRecord(CR13Block &block) {
    CDB_STARTBLOCK_ENTITY_type *record = block.record;
    const CDB_ENTITY *start = block.start ? block.start->GetData() : nullptr;
    if (!record || !start)
        return;
    const CDB_BLOCK_type &own = start->block;
    std::free(record->name);
    std::free(record->name_2);
    std::free(record->xref_path);
    std::free(record->handle);
    record->name = DuplicateText(own.name ? own.name : "");
    record->name_2 = DuplicateText(own.name_2 ? own.name_2 : record->name);
    record->xref_path = DuplicateText(own.xref_path ? own.xref_path : "");
    record->handle = start->handle ? DuplicateText(start->handle) : nullptr;
    record->flags = static_cast<int16_t>(own.flags & ~kDeletedFlag);
    record->base_point = own.base_point;
    record->entity_type = CDB_BLOCK;
    block.plain = (own.flags & kXrefFlag) ? 0 : 1;
    block.first_handle = start->handle ? start->handle : "";
}

// What a block record holds of its block beyond the DXF's groups, as a DWG's holds it: the
// base point, the path of a reference and its flag.
void TakeBlockIntoRecord(const CR13Block &block, CR13BlockRecord &header) {
    const CDB_STARTBLOCK_ENTITY_type *record = block.record;
    header.body.base_point = record->base_point;
    header.body.is_xref_block = (record->flags & kXrefFlag) ? 1 : 0;
    if (!header.body.xref_path && record->xref_path && *record->xref_path)
        header.body.xref_path = DuplicateText(record->xref_path);
}

} // namespace

// ---- BLOCKS -------------------------------------------------------------------------------

int CR13DxfReader::ReadBlocks() {
    if (drawing_.blocks.Count() != 0)
        return Refused("the BLOCKS section stands twice");
    if (!NextGroup())
        return Invalid("the file ends inside the BLOCKS section");
    for (;;) {
        if (Is(value_, "ENDSEC")) {
            MatchBlockRecords();
            return 1;
        }
        if (!Is(value_, "BLOCK"))
            return Refused("the BLOCKS section holds something other than a block");
        if (!ReadBlock())
            return 0;
    }
}

int CR13DxfReader::ReadBlock() {
    CR13Drawing &d = drawing_;
    std::unique_ptr<CR13Entity> start = d.MakeEntityOfType(kR13BlockType);
    if (!start || start->ReadDXF(*this, value_) != 1 || stream_.AtEnd())
        return Invalid("a block start cannot be read");
    auto block = std::make_unique<CR13Block>();
    block->start.reset(static_cast<CR13BlockStart *>(start.release()));
    FillBlockRecord(*block);
    block->entities = std::make_unique<CEntityList>();
    d.block_counter = static_cast<int16_t>(d.blocks.Count());
    if (!ReadEntityList(*block->entities, "ENDBLK"))
        return 0;
    std::unique_ptr<CR13Entity> end = d.MakeEntityOfType(kR13EndBlockType);
    if (!end || end->ReadDXF(*this, value_) != 1 || stream_.AtEnd())
        return Invalid("a block end cannot be read");
    end->SetFileType(kR13EndBlockType);
    CEntityList &list = *block->entities;
    if (const CModelEntity *last = list.At(list.Count() - 1)) {
        const char *handle = last->GetData() ? last->GetData()->handle : nullptr;
        block->last_handle = handle ? handle : "";
    }
    list.Append(end.release());
    d.CountLoaded();
    d.blocks.Add(block.release());
    return 1;
}

// Each block takes the block record of its name as its header: a space the record kept
// apart, any other block the table's, which is then put in block order, so that block
// numbers are table indices. A block without a record gets one of its name; records
// without a block stay behind the others.
void CR13DxfReader::MatchBlockRecords() {
    CR13Drawing &d = drawing_;
    CR13Table &table = d.Table(R13Table::kBlocks);
    std::vector<CTableRecord *> unmatched = table.records.TakeAll();
    std::vector<CTableRecord *> ordered;
    // The live records of each name, in table order: a block takes the first one left.
    std::unordered_map<std::string, std::deque<size_t>> by_name;
    for (size_t k = 0; k < unmatched.size(); ++k) {
        const auto *record = static_cast<const CR13BlockRecord *>(unmatched[k]);
        if (record && record->IsNamed(record->Name()))
            by_name[record->Name()].push_back(k);
    }
    for (int i = 0; i < d.blocks.Count(); ++i) {
        auto *block = static_cast<CR13Block *>(d.blocks.At(i));
        const char *name = NameOf(block);
        const bool model = Is(name, kModelSpace);
        if (model || Is(name, kPaperSpace)) {
            std::unique_ptr<CR13BlockRecord> &kept = d.space_records[model ? 0 : 1];
            if (!kept) {
                kept = std::make_unique<CR13BlockRecord>(&d);
                kept->SetName(name);
            }
            block->header = kept.get();
            TakeBlockIntoRecord(*block, *kept);
            continue;
        }
        CR13BlockRecord *header = nullptr;
        auto named = name ? by_name.find(name) : by_name.end();
        if (named != by_name.end() && !named->second.empty()) {
            CTableRecord *&candidate = unmatched[named->second.front()];
            named->second.pop_front();
            header = static_cast<CR13BlockRecord *>(candidate);
            candidate = nullptr;
        }
        if (!header) {
            header = new CR13BlockRecord(&d);
            header->SetName(name);
            header->body.record.flags = static_cast<uint8_t>(block->record->flags);
            ++table.count_hint;
        }
        block->header = header;
        TakeBlockIntoRecord(*block, *header);
        ordered.push_back(header);
    }
    for (CTableRecord *record : ordered)
        table.records.Add(record);
    for (CTableRecord *record : unmatched)
        if (record)
            table.records.Add(record);
}

// ---- ENTITIES -----------------------------------------------------------------------------

int CR13DxfReader::ReadEntities() {
    CR13Drawing &d = drawing_;
    const int index = d.FindBlock(kModelSpace);
    CModelBlock *model = d.blocks.At(index);
    if (!model || !model->entities)
        return Refused("the ENTITIES section has no *MODEL_SPACE block to go into");
    CEntityList &list = *model->entities;
    // The block's end closes the main list: it goes behind the entities of the section.
    std::unique_ptr<CModelEntity> end;
    if (KindOf(list.At(list.Count() - 1)) == CDB_ENDBLK) {
        end.reset(list.At(list.Count() - 1));
        list.RemoveAt(list.Count() - 1);
    }
    if (list.Count() != 0) {
        list.Append(end.release());
        return Refused("the *MODEL_SPACE block holds entities before the ENTITIES section");
    }
    d.block_counter = -1;
    const int read = NextGroup() ? ReadEntityList(list, "ENDSEC")
                                 : Invalid("the file ends inside the ENTITIES section");
    if (end)
        list.Append(end.release());
    return read;
}

int CR13DxfReader::ReadEntityList(CEntityList &list, const char *end) {
    CR13Drawing &d = drawing_;
    while (!Is(value_, end)) {
        const int type = EntityTypeOfName(value_);
        std::unique_ptr<CR13Entity> entity = type ? d.MakeEntityOfType(type) : nullptr;
        if (!entity) {
            // A kind this reader does not know is passed over group by group.
            if (!NextGroup())
                return Invalid("the file ends inside an entity");
            continue;
        }
        // The name's type first: a kind of several forms (polyline, vertex, insert,
        // dimension) picks its form from its groups while it reads them.
        entity->SetFileType(static_cast<int16_t>(type));
        const int read = entity->ReadDXF(*this, value_);
        if (read == -1 || stream_.AtEnd())
            return Invalid("the file ends inside an entity");
        if (read == 0)
            return Invalid("an entity name that its class refuses cannot be gone past");
        const CDB_ENTITY *record = entity->GetData();
        if (record && record->space == 1)
            d.MarkPaperSpace();
        if (CViewportLink *link = entity->ViewportLink())
            d.viewports.Append(link);
        list.Append(entity.release());
        d.CountLoaded();
    }
    return 1;
}

// ---- The spaces ---------------------------------------------------------------------------

// The first block under each space's name leaves the block list and is kept by the
// drawing; model space's entities become the main list. Further blocks of those names are
// dropped, so that the block list stays one to one with the block table.
void CR13DxfReader::AdoptSpaces() {
    CR13Drawing &d = drawing_;
    std::vector<CModelBlock *> all = d.blocks.TakeAll();
    for (CModelBlock *block : all) {
        const char *name = NameOf(block);
        const bool model = Is(name, kModelSpace);
        if (!model && !Is(name, kPaperSpace)) {
            d.blocks.Add(block);
            continue;
        }
        std::unique_ptr<CR13Block> &kept = d.space_blocks[model ? 0 : 1];
        if (kept) {
            delete block;
            continue;
        }
        kept.reset(static_cast<CR13Block *>(block));
    }
    if (CR13Block *model = d.space_blocks[0].get())
        if (model->entities)
            for (CModelEntity *entity : model->entities->TakeAll())
                d.entities.Append(entity);
}
