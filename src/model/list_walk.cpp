// The walk of a drawing held in lists: the entity cursor over the main section and the
// block lists, the block walk and the chain of viewports.
#include "model/list_drawing.h"

#include "records/heap_text.h"

#include <cstring>

namespace {

constexpr int kMainSection = -1;

// How a block number leads to an entity list.
enum class ListLookup {
    kFound,   // the list exists
    kNoBlock, // no block object has that number
    kNoList,  // the block is deleted, or has no list
};

// The list of block `block` (-1 the main section).
ListLookup FindList(CListDrawing &drawing, int block, CEntityList *&list) {
    list = nullptr;
    if (block == kMainSection) {
        list = &drawing.Entities();
        return ListLookup::kFound;
    }
    CModelBlock *object = block >= 0 ? drawing.Blocks().At(block) : nullptr;
    if (!object)
        return ListLookup::kNoBlock;
    if (!object->entities || object->IsDeleted())
        return ListLookup::kNoList;
    list = object->entities.get();
    return ListLookup::kFound;
}

// The list of a block for a walk, with the walk's codes: no such block sets -411 and
// answers `no_block`; a deleted block or one without list sets -412 and answers -133.
// 0 when the list exists.
int32_t WalkList(CListDrawing &drawing, int block, CEntityList *&list, int32_t no_block) {
    switch (FindList(drawing, block, list)) {
    case ListLookup::kNoBlock:
        drawing.SetError(CDB_ERR_BLOCK_NOT_FOUND);
        return no_block;
    case ListLookup::kNoList:
        drawing.SetError(CDB_ERR_ENTITY_NOT_FOUND);
        return CDB_END_OF_WALK;
    case ListLookup::kFound:
        break;
    }
    return 0;
}

int32_t PackId(int block, int position) {
    return CDBPackEntityId(static_cast<int16_t>(block), static_cast<uint16_t>(position));
}

// A list's size as the walk's 16-bit count: a list longer than 32767 counts 32767.
short CountOf(const CEntityList &list) {
    int n = list.Count();
    return static_cast<short>(n > 32767 ? 32767 : n);
}

// Reading a block record out: the caller's record is cleared, then gets the flags, the
// base point and its own copies of the three texts (null stays null). 2 for a deleted
// block, else 0.
short ReadBlockOut(const CModelBlock &block, CDB_STARTBLOCK_ENTITY_type *out) {
    std::memset(static_cast<void *>(out), 0, sizeof *out);
    const CDB_STARTBLOCK_ENTITY_type *record = block.record;
    if (!record)
        return 0;
    out->flags = record->flags;
    out->base_point = record->base_point;
    out->name = DuplicateText(record->name);
    out->name_2 = DuplicateText(record->name_2);
    out->xref_path = DuplicateText(record->xref_path);
    return block.IsDeleted() ? CDB_DELETED : CDB_OK;
}

// TriggerLoading for a walking operation: on failure the code -405 and false.
bool Ready(CListDrawing &drawing) {
    if (!drawing.TriggerLoading()) {
        drawing.SetError(CDB_ERR_INVALID_FILE);
        return false;
    }
    return true;
}

} // namespace

// ---- The entity cursor ------------------------------------------------------------------

int32_t CListDrawing::FirstEntity(short block) {
    if (!Ready(*this))
        return CDB_FAIL;
    current_block = block;
    CEntityList *list = nullptr;
    if (int32_t missing = WalkList(*this, block, list, CDB_END_OF_WALK))
        return missing;
    if (!list->SetPosition(0))
        return CDB_END_OF_WALK;
    return PackId(block, list->Position());
}

int32_t CListDrawing::NextEntity() {
    if (!Ready(*this))
        return CDB_FAIL;
    CEntityList *list = nullptr;
    if (int32_t missing = WalkList(*this, current_block, list, CDB_END_OF_WALK))
        return missing;
    // Past the end the position stays there: Current() is null until it is set again.
    int position = list->Advance();
    if (position >= list->Count())
        return CDB_END_OF_WALK;
    return PackId(current_block, position);
}

int32_t CListDrawing::GetCurrentEntity(CDB_ENTITY *entity) {
    if (!Ready(*this))
        return CDB_FAIL;
    CEntityList *list = nullptr;
    if (int32_t missing = WalkList(*this, current_block, list, CDB_END_OF_WALK))
        return missing;
    CModelEntity *current = list->Current();
    if (!current)
        return CDB_END_OF_WALK;
    if (entity)
        current->GetRecord(entity);
    return PackId(current_block, list->Position());
}

short CListDrawing::EntityCount(short block) {
    if (!Ready(*this))
        return CDB_FAIL;
    CEntityList *list = nullptr;
    switch (FindList(*this, block, list)) {
    case ListLookup::kNoBlock:
        SetError(CDB_ERR_BLOCK_NOT_FOUND);
        return CDB_FAIL;
    case ListLookup::kNoList:
        return 0;
    case ListLookup::kFound:
        break;
    }
    return CountOf(*list);
}

short CListDrawing::GotoEntity(int32_t id) {
    if (!Ready(*this))
        return CDB_FAIL;
    uint16_t position = 0;
    int16_t block = 0;
    CDBUnpackEntityId(id, &position, &block);
    current_block = block;
    CEntityList *list = nullptr;
    if (int32_t missing = WalkList(*this, block, list, CDB_FAIL))
        return missing;
    if (!list->SetPosition(position))
        return CDB_FAIL;
    return static_cast<short>(position);
}

short CListDrawing::GetEntity(int32_t id, CDB_ENTITY *entity) {
    if (!Ready(*this))
        return CDB_FAIL;
    uint16_t position = 0;
    int16_t block = 0;
    CDBUnpackEntityId(id, &position, &block);
    CEntityList *list = nullptr;
    if (int32_t missing = WalkList(*this, block, list, CDB_FAIL))
        return missing;
    CModelEntity *object = list->At(position);
    if (!object) {
        SetError(CDB_ERR_ENTITY_NOT_FOUND);
        return CDB_FAIL;
    }
    if (entity)
        object->GetRecord(entity);
    return static_cast<short>(position);
}

// ---- The block walk ---------------------------------------------------------------------

// One step of the block walk: the block the step lands on is read out to the caller, or
// `missing` comes back when there is none (the current block sets -411 besides).
short CListDrawing::BlockWalkStep(CDB_STARTBLOCK_ENTITY_type *block,
                                  CModelBlock *(CBlockList::*step)(), short missing) {
    if (!Ready(*this))
        return CDB_FAIL;
    if (!block) {
        SetError(CDB_ERR_INVALID_PARAMETER);
        return CDB_FAIL;
    }
    CModelBlock *found = (blocks.*step)();
    if (!found) {
        if (missing == CDB_FAIL)
            SetError(CDB_ERR_BLOCK_NOT_FOUND);
        return missing;
    }
    return ReadBlockOut(*found, block);
}

short CListDrawing::GetFirstBlock(CDB_STARTBLOCK_ENTITY_type *block) {
    return BlockWalkStep(block, &CBlockList::First, CDB_END_OF_BLOCKS);
}

short CListDrawing::GetNextBlock(CDB_STARTBLOCK_ENTITY_type *block) {
    return BlockWalkStep(block, &CBlockList::Next, CDB_END_OF_BLOCKS);
}

short CListDrawing::GetBlockAt(int index, CDB_STARTBLOCK_ENTITY_type *block) {
    if (!Ready(*this))
        return CDB_FAIL;
    if (!block) {
        SetError(CDB_ERR_INVALID_PARAMETER);
        return CDB_FAIL;
    }
    CModelBlock *found = blocks.StepTo(index);
    return found ? ReadBlockOut(*found, block) : CDB_END_OF_BLOCKS;
}

short CListDrawing::GetCurrentBlock(CDB_STARTBLOCK_ENTITY_type *block) {
    return BlockWalkStep(block, &CBlockList::Current, CDB_FAIL);
}

// ---- Viewports --------------------------------------------------------------------------

int CListDrawing::GetFirstViewport(CDB_ENTITY *entity) {
    if (!Ready(*this))
        return 0;
    CModelEntity *viewport = viewports.First();
    if (!viewport)
        return 0;
    if (entity)
        viewport->GetRecord(entity);
    return 1;
}

int CListDrawing::GetNextViewport(CDB_ENTITY *entity) {
    if (!Ready(*this))
        return 0;
    CModelEntity *viewport = viewports.Next();
    if (!viewport)
        return 0;
    if (entity)
        viewport->GetRecord(entity);
    return 1;
}
