// Editing the blocks and the entities of a release 13 drawing in memory.
//
// Everything that editing makes takes its handle from the drawing's handle seed and, in a
// drawing read from a DWG, an entry in the object map (offset 0 until a save writes it).
// An entity joins its block's chain behind the chain's last entity; an entity that is
// replaced keeps its place, its handle and its links; one that is deleted leaves the map.
#include "dwg13/r13_drawing.h"

#include "dwg13/r13_block.h"
#include "dwg13/r13_entity_kinds.h"
#include "dwg13/r13_object_map.h"
#include "dwg13/r13_tables.h"
#include "records/heap_text.h"

#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

namespace {

constexpr int16_t kXrefFlag = 0x04;
// The code of an absolute reference.
constexpr int16_t kAbsoluteCode = 4;
// The block header's references to its chain: first entity, BLOCK, last entity, ENDBLK.
constexpr int kFirstEntityRef = 3;
constexpr int kBlockStartRef = 4;
constexpr int kLastEntityRef = 5;
constexpr int kEndBlockRef = 6;
constexpr size_t kNameRoom = 32;

void UpperAscii(char *text) {
    for (; text && *text; ++text)
        if (*text >= 'a' && *text <= 'z')
            *text = static_cast<char>(*text - 'a' + 'A');
}

// The name a block takes: the caller's, cut to 31 characters and upper-cased.
std::string BlockName(const char *name) {
    char buffer[kNameRoom] = {};
    if (name)
        std::memcpy(buffer, name, strnlen(name, kNameRoom - 1));
    UpperAscii(buffer);
    return buffer;
}

// The index of the live block named `name` (the name as the block list keeps it), or -1.
int FindLiveBlock(const CBlockList &blocks, const char *name) {
    for (int i = 0; i < blocks.Count(); ++i) {
        const CModelBlock *block = blocks.At(i);
        if (block && block->record && block->record->name && !block->IsDeleted() &&
            std::strcmp(block->record->name, name) == 0)
            return i;
    }
    return -1;
}

// The entity that a new entity of `list` follows in its chain: in a block the one in front
// of the ENDBLK, in the main list the last entity of model space; null when there is none.
CR13Entity *ChainPrevious(CEntityList &list, bool main_section) {
    if (!main_section) {
        const int at = list.Count() - 2;
        return at >= 0 ? static_cast<CR13Entity *>(list.At(at)) : nullptr;
    }
    for (int i = list.Count() - 1; i >= 0; --i) {
        CModelEntity *entity = list.At(i);
        const CDB_ENTITY *record = entity ? entity->GetData() : nullptr;
        if (record && record->entity_type != CDB_ENDBLK && record->mode_model)
            return static_cast<CR13Entity *>(entity);
    }
    return nullptr;
}

// Fills the public record of a new block from the caller's: names, path, flags, base point,
// and the handle of its BLOCK.
void FillNewBlockRecord(CR13Block &block, const CDB_STARTBLOCK_ENTITY_type &source,
                        const std::string &name, const char *start_handle) {
    CDB_STARTBLOCK_ENTITY_type *record = block.record;
    if (!record)
        return;
    std::free(record->name);
    std::free(record->name_2);
    std::free(record->xref_path);
    std::free(record->handle);
    record->name = DuplicateText(name.c_str());
    record->name_2 = DuplicateText(name.c_str());
    record->xref_path = DuplicateText(source.xref_path ? source.xref_path : "");
    record->handle = DuplicateText(start_handle);
    record->flags = static_cast<int16_t>(source.flags & ~CModelBlock::kDeleted);
    record->base_point = source.base_point;
    record->entity_type = CDB_BLOCK;
    block.plain = (source.flags & kXrefFlag) ? 0 : 1;
    block.code = CDB_BLOCK;
}

} // namespace

// ---- Blocks ---------------------------------------------------------------------------------

CR13Block &CR13Drawing::MainChain() {
    if (CR13Block *model = ModelSpaceBlock())
        return *model;
    if (!main_chain) {
        main_chain = std::make_unique<CR13Block>();
        if (main_chain->record) {
            std::free(main_chain->record->name);
            main_chain->record->name = DuplicateText("*MODEL_SPACE");
        }
    }
    return *main_chain;
}

short CR13Drawing::BlockTableAdd(CDB_BLOCK_TBL *record) {
    if (!record) {
        SetError(CDB_ERR_INVALID_PARAMETER);
        return CDB_FAIL;
    }
    CR13Table &table = Table(R13Table::kBlocks);
    auto header_record = std::make_unique<CR13BlockRecord>(this);
    header_record->TakePublic(record);
    EnterNewRecord(table, *header_record);
    table.AddRecord(header_record.release());
    return static_cast<short>(table.records.Count() - 1);
}

int CR13Drawing::BlockTableModify(short index, CDB_BLOCK_TBL *record) {
    if (!record) {
        SetError(CDB_ERR_INVALID_PARAMETER);
        return 0;
    }
    auto *header_record = static_cast<CR13BlockRecord *>(Table(R13Table::kBlocks).RecordAt(index));
    if (!header_record) {
        SetError(CDB_ERR_INVALID_INDEX);
        return 0;
    }
    header_record->body.record.flags = record->flags;
    Table(R13Table::kBlocks).records.NamesChanged();
    // The files of this release set the deleted bit in many a live block's header, so the
    // block itself keeps the walk's flags: only the bit given here reaches it.
    if (CModelBlock *block = blocks.At(index))
        if (block->record)
            block->record->flags =
                static_cast<int16_t>((block->record->flags & ~CModelBlock::kDeleted) |
                                     (record->flags & CModelBlock::kDeleted));
    return 1;
}

short CR13Drawing::BlockAdd(CDB_STARTBLOCK_ENTITY_type *block) {
    if (!block || !block->name) {
        SetError(CDB_ERR_INVALID_PARAMETER);
        return CDB_FAIL;
    }
    const std::string name = BlockName(block->name);
    if (block->name[0] == '*' || FindLiveBlock(blocks, name.c_str()) >= 0)
        return CDB_NAME_EXISTS;
    if (!TriggerLoading())
        return CDB_FAIL;

    CDB_BLOCK_TBL table_record;
    std::memset(static_cast<void *>(&table_record), 0, sizeof table_record);
    table_record.flags = static_cast<uint8_t>(block->flags & ~CModelBlock::kDeleted);
    table_record.name = const_cast<char *>(name.c_str());
    const short index = BlockTableAdd(&table_record);
    if (index < 0)
        return CDB_FAIL;
    auto *header_record = static_cast<CR13BlockRecord *>(Table(R13Table::kBlocks).RecordAt(index));
    header_record->body.base_point = block->base_point;
    header_record->body.is_xref_block = (block->flags & kXrefFlag) ? 1 : 0;
    header_record->body.xref_path = DuplicateText(block->xref_path ? block->xref_path : "");

    auto object = std::make_unique<CR13Block>();
    object->header = header_record;
    object->entities = std::make_unique<CEntityList>();
    std::unique_ptr<CR13Entity> start = MakeEntityOfType(kR13BlockType);
    std::unique_ptr<CR13Entity> end = MakeEntityOfType(kR13EndBlockType);
    if (!start || !end)
        return CDB_FAIL;
    for (CR13Entity *part : {start.get(), end.get()}) {
        CDB_ENTITY *own = part->GetData();
        const std::string handle = TakeNextHandle();
        own->handle = DuplicateText(handle.c_str());
        own->layer_handle = DuplicateText(layer_zero_handle.c_str());
        own->line_type_handle = DuplicateText("-1");
        own->line_type_bylayer = 1;
        own->reserved_bit_1 = 1;
        own->has_owner = 1;
        CR13Entity::MakeRelativeRef(own->handle, header_record->RecordHandle(), own->owner);
        part->is_unlinked = 1;
        if (file_kind == kDwg)
            object_map->InsertSorted(ObjectMapEntry{R13HandleValue(own->handle), 0});
    }
    CDB_ENTITY *start_record = start->GetData();
    start_record->entity_type = CDB_BLOCK;
    start_record->block.name = DuplicateText(name.c_str());
    start_record->block.name_2 = DuplicateText(name.c_str());
    start_record->block.xref_path = DuplicateText(block->xref_path ? block->xref_path : "");
    start_record->block.flags = table_record.flags;
    start_record->block.base_point = block->base_point;
    end->GetData()->entity_type = CDB_ENDBLK;

    CHandleRef *refs = header_record->body.record.links.refs;
    refs[kFirstEntityRef] = CHandleRef{kAbsoluteCode, 0};
    refs[kBlockStartRef] = CHandleRef{kAbsoluteCode, R13HandleValue(start_record->handle)};
    refs[kLastEntityRef] = CHandleRef{kAbsoluteCode, 0};
    refs[kEndBlockRef] = CHandleRef{kAbsoluteCode, R13HandleValue(end->GetData()->handle)};

    FillNewBlockRecord(*object, *block, name, start_record->handle);
    object->first_handle = start_record->handle;
    object->start.reset(static_cast<CR13BlockStart *>(start.release()));
    // A new block's list holds its end only.
    object->entities->Append(end.release());
    // Block numbers are table indices.
    if (blocks.Count() == index)
        blocks.Add(object.release());
    else
        blocks.Put(index, object.release());
    return index;
}

short CR13Drawing::BlockModify(short index, CDB_STARTBLOCK_ENTITY_type *block) {
    if (!TriggerLoading())
        return 0;
    if (!block || !block->name) {
        SetError(CDB_ERR_INVALID_PARAMETER);
        return CDB_FAIL;
    }
    const std::string name = BlockName(block->name);
    // Only a rename to a name that is free passes.
    if (block->name[0] == '*' || FindLiveBlock(blocks, name.c_str()) >= 0)
        return CDB_NAME_EXISTS;
    auto *object = static_cast<CR13Block *>(blocks.At(index));
    CR13TableRecord *header_record = Table(R13Table::kBlocks).RecordAt(index);
    if (!object || !header_record || object->header != header_record) {
        SetError(CDB_ERR_BLOCK_NOT_FOUND);
        return CDB_FAIL;
    }
    header_record->SetName(name.c_str());
    Table(R13Table::kBlocks).records.NamesChanged();
    auto &body = object->header->body;
    body.record.flags = static_cast<uint8_t>(block->flags);
    body.base_point = block->base_point;
    const std::string start_handle =
        object->record && object->record->handle ? object->record->handle : "";
    FillNewBlockRecord(*object, *block, name, start_handle.c_str());
    if (CDB_ENTITY *start = object->start ? object->start->GetData() : nullptr) {
        std::free(start->block.name);
        std::free(start->block.name_2);
        start->block.name = DuplicateText(name.c_str());
        start->block.name_2 = DuplicateText(name.c_str());
        start->block.base_point = block->base_point;
    }
    return 0;
}

// ---- Entities -------------------------------------------------------------------------------

int32_t CR13Drawing::EntityAdd(short block, CDB_ENTITY *entity) {
    if (!ReadyForRecord(entity))
        return CDB_FAIL;
    if (!CheckSequence(entity->entity_type))
        return CDB_FAIL;
    CEntityList *list = EditList(block);
    if (!list)
        return CDB_FAIL;
    std::unique_ptr<CR13Entity> object(static_cast<CR13Entity *>(MakeEntity(entity->entity_type)));
    if (!object) {
        SetError(CDB_ERR_INVALID_ENTITY_CODE);
        return CDB_FAIL;
    }
    const bool main_section = block == -1;
    CR13Block &chain = main_section ? MainChain() : *static_cast<CR13Block *>(blocks.At(block));
    if (object->SetNewRecord(entity, chain, ChainPrevious(*list, main_section)) != 1)
        return CDB_FAIL;
    object->block_owned = main_section ? 0 : 1;
    return static_cast<short>(PlaceNewEntity(*list, main_section, object.release()));
}

short CR13Drawing::EntityModify(int32_t id, CDB_ENTITY *entity) {
    if (!ReadyForRecord(entity))
        return CDB_FAIL;
    uint16_t position = 0;
    int16_t block = 0;
    CDBUnpackEntityId(id, &position, &block);
    std::unique_ptr<CR13Entity> object(static_cast<CR13Entity *>(MakeEntity(entity->entity_type)));
    if (!object) {
        SetError(CDB_ERR_INVALID_ENTITY_CODE);
        return CDB_FAIL;
    }
    CEntityList *list = EditList(block);
    if (!list)
        return CDB_FAIL;
    if (position >= list->Count())
        return 0;
    const auto *old = static_cast<const CR13Entity *>(list->At(position));
    if (object->SetReplacingRecord(entity, *old) != 1)
        return CDB_FAIL;
    ReplaceEntity(*list, position, object.release());
    return 1;
}

short CR13Drawing::EntityDelete(int32_t id) {
    uint16_t position = 0;
    int16_t block = 0;
    CDBUnpackEntityId(id, &position, &block);
    const CModelEntity *entity = nullptr;
    if (loaded && (block == -1 || blocks.At(block)))
        if (CEntityList *list = EditList(block))
            entity = list->At(position);
    const std::string handle =
        entity && entity->GetData() && entity->GetData()->handle ? entity->GetData()->handle : "";
    const short result = CListDrawing::EntityDelete(id);
    if (result == 1 && file_kind == kDwg && !handle.empty())
        object_map->Remove(handle.c_str());
    return result;
}

short CR13Drawing::EntityDeleteCurrent() {
    const CModelEntity *entity = nullptr;
    if (loaded && (current_block == -1 || blocks.At(current_block)))
        if (CEntityList *list = EditList(current_block))
            entity = list->At(list->Position());
    const std::string handle =
        entity && entity->GetData() && entity->GetData()->handle ? entity->GetData()->handle : "";
    const short result = CListDrawing::EntityDeleteCurrent();
    if (result == 1 && file_kind == kDwg && !handle.empty())
        object_map->Remove(handle.c_str());
    return result;
}
