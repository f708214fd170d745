// The walk of a release 12 drawing: the entity cursor over the main section and the
// block lists, the block walk, the chain of viewports, and the view mode's road to one
// block (LoadBlock).
//
// Every walking operation first makes sure that entities and blocks are read
// (TriggerLoading); when that fails the drawing's code becomes "Invalid File." and the
// result is -123. Entity ids pack the block number (0x4000 for the main section) and the
// position, as CDBPackEntityId does.
#include "dwg12/r12_drawing.h"

#include "io/drawing_file.h"
#include "records/heap_text.h"

#include <cstdlib>
#include <cstring>

namespace {

constexpr int16_t kDeletedBlock = 0x80;
constexpr int kMainSection = -1;

// How a block number leads to an entity list.
enum class ListLookup {
    kFound,   // the list exists
    kNoBlock, // no block object has that number
    kNoList,  // the block is deleted, or has no list
};

// The list of block `block` (-1 the main section).
ListLookup FindList(CR12Drawing &drawing, int block, CR12EntityList *&list) {
    list = nullptr;
    if (block == kMainSection) {
        list = &drawing.Entities();
        return ListLookup::kFound;
    }
    CR12Block *object = block >= 0 ? drawing.Blocks().At(block) : nullptr;
    if (!object)
        return ListLookup::kNoBlock;
    if (!object->entities || (object->record && (object->record->flags & kDeletedBlock)))
        return ListLookup::kNoList;
    list = object->entities.get();
    return ListLookup::kFound;
}

// The list of a block for a walk, with the walk's codes: no such block sets -411 and
// answers `no_block`; a deleted block or one without list sets -412 and answers -133.
// 0 when the list exists.
int32_t WalkList(CR12Drawing &drawing, int block, CR12EntityList *&list, int32_t no_block) {
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
short CountOf(const CR12EntityList &list) {
    int n = list.Count();
    return static_cast<short>(n > 32767 ? 32767 : n);
}

// Reading a block record out: the caller's record is cleared, then gets the flags, the
// base point and its own copies of the three texts (null stays null). 2 for a deleted
// block, else 0.
short ReadBlockOut(const CR12Block &block, CDB_STARTBLOCK_ENTITY_type *out) {
    std::memset(static_cast<void *>(out), 0, sizeof *out);
    const CDB_STARTBLOCK_ENTITY_type *record = block.record;
    if (!record)
        return 0;
    out->flags = record->flags;
    out->base_point = record->base_point;
    out->name = DuplicateText(record->name);
    out->name_2 = DuplicateText(record->name_2);
    out->xref_path = DuplicateText(record->xref_path);
    return (record->flags & kDeletedBlock) ? CDB_DELETED : CDB_OK;
}

// TriggerLoading for a walking operation: on failure the code -405 and false.
bool Ready(CR12Drawing &drawing) {
    if (!drawing.TriggerLoading()) {
        drawing.SetError(CDB_ERR_INVALID_FILE);
        return false;
    }
    return true;
}

} // namespace

// ---- The entity cursor ------------------------------------------------------------------

int32_t CR12Drawing::FirstEntity(short block) {
    if (!Ready(*this))
        return CDB_FAIL;
    current_block = block;
    current_block_object = block >= 0 ? blocks.At(block) : nullptr;
    CR12EntityList *list = nullptr;
    if (int32_t missing = WalkList(*this, block, list, CDB_END_OF_WALK))
        return missing;
    if (!list->SetPosition(0))
        return CDB_END_OF_WALK;
    return PackId(block, list->Position());
}

int32_t CR12Drawing::NextEntity() {
    if (!Ready(*this))
        return CDB_FAIL;
    CR12EntityList *list = nullptr;
    if (int32_t missing = WalkList(*this, current_block, list, CDB_END_OF_WALK))
        return missing;
    // Past the end the position stays there: Current() is null until it is set again.
    int position = list->Advance();
    if (position >= list->Count())
        return CDB_END_OF_WALK;
    return PackId(current_block, position);
}

int32_t CR12Drawing::GetCurrentEntity(CDB_ENTITY *entity) {
    if (!Ready(*this))
        return CDB_FAIL;
    CR12EntityList *list = nullptr;
    if (int32_t missing = WalkList(*this, current_block, list, CDB_END_OF_WALK))
        return missing;
    CR12Entity *current = list->Current();
    if (!current)
        return CDB_END_OF_WALK;
    if (entity)
        current->GetRecord(entity);
    return PackId(current_block, list->Position());
}

short CR12Drawing::EntityCount(short block) {
    if (!Ready(*this))
        return CDB_FAIL;
    CR12EntityList *list = nullptr;
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

short CR12Drawing::GotoEntity(int32_t id) {
    if (!Ready(*this))
        return CDB_FAIL;
    uint16_t position = 0;
    int16_t block = 0;
    CDBUnpackEntityId(id, &position, &block);
    current_block = block;
    current_block_object = block >= 0 ? blocks.At(block) : nullptr;
    CR12EntityList *list = nullptr;
    if (int32_t missing = WalkList(*this, block, list, CDB_FAIL))
        return missing;
    if (!list->SetPosition(position))
        return CDB_FAIL;
    return static_cast<short>(position);
}

short CR12Drawing::GetEntity(int32_t id, CDB_ENTITY *entity) {
    if (!Ready(*this))
        return CDB_FAIL;
    uint16_t position = 0;
    int16_t block = 0;
    CDBUnpackEntityId(id, &position, &block);
    CR12EntityList *list = nullptr;
    if (int32_t missing = WalkList(*this, block, list, CDB_FAIL))
        return missing;
    CR12Entity *object = list->At(position);
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
short CR12Drawing::BlockWalkStep(CDB_STARTBLOCK_ENTITY_type *block,
                                 CR12Block *(CR12BlockList::*step)(), short missing) {
    if (!Ready(*this))
        return CDB_FAIL;
    if (!block) {
        SetError(CDB_ERR_INVALID_PARAMETER);
        return CDB_FAIL;
    }
    CR12Block *found = (blocks.*step)();
    if (!found) {
        if (missing == CDB_FAIL)
            SetError(CDB_ERR_BLOCK_NOT_FOUND);
        return missing;
    }
    return ReadBlockOut(*found, block);
}

short CR12Drawing::GetFirstBlock(CDB_STARTBLOCK_ENTITY_type *block) {
    return BlockWalkStep(block, &CR12BlockList::First, CDB_END_OF_BLOCKS);
}

short CR12Drawing::GetNextBlock(CDB_STARTBLOCK_ENTITY_type *block) {
    return BlockWalkStep(block, &CR12BlockList::Next, CDB_END_OF_BLOCKS);
}

short CR12Drawing::GetCurrentBlock(CDB_STARTBLOCK_ENTITY_type *block) {
    return BlockWalkStep(block, &CR12BlockList::Current, CDB_FAIL);
}

// ---- Viewports --------------------------------------------------------------------------

int CR12Drawing::GetFirstViewport(CDB_ENTITY *entity) {
    if (!Ready(*this))
        return 0;
    CR12Viewport *viewport = viewports.First();
    if (!viewport)
        return 0;
    if (entity)
        viewport->GetRecord(entity);
    return 1;
}

int CR12Drawing::GetNextViewport(CDB_ENTITY *entity) {
    if (!Ready(*this))
        return 0;
    CR12Viewport *viewport = viewports.Next();
    if (!viewport)
        return 0;
    if (entity)
        viewport->GetRecord(entity);
    return 1;
}

// ---- View mode: one block ---------------------------------------------------------------

// A reference block is resolved on the way: its child's model space goes to BlockCall.
// While that happens, the child's own blocks are loaded through the child.
CDB_STARTBLOCK_ENTITY_type *CR12Drawing::LoadBlock(int index) {
    if (ForwardsToReference(index))
        return ForwardToReference(index);
    if (index < 0 || index >= BlockTableRecordCount())
        return nullptr;
    if (file_kind == kDwg) {
        if (!file)
            return nullptr;
        const int32_t position = file->GetPosition();
        const uint8_t in_section = file->in_entity_section;
        const int16_t counter = block_counter;
        file->in_entity_section = 0;
        auto *block = new CR12Block(this);
        int16_t number = static_cast<int16_t>(index);
        ArmFrameBudget();
        ReadTableBlock(index, *block, number);
        block->code = 12;
        blocks.Put(index, block);
        if (current_block == index)
            current_block_object = block;
        block_counter = counter;
        file->in_entity_section = in_section;
        file->SetPosition(position, 0);
        return IsReferenceBlock(index) ? ShowReference(index) : block->record;
    }
    // A drawing read from DXF holds its blocks' entities in lists already.
    CR12Block *block = blocks.At(index);
    if (!block)
        return nullptr;
    if (IsReferenceBlock(index))
        return ShowReference(index);
    if (block->entities && Lib()) {
        for (int i = 0; i < block->entities->Count(); ++i) {
            CR12Entity *entity = block->entities->At(i);
            if (entity)
                Lib()->EntityCall(entity->GetResolvedRecord());
        }
    }
    return block->record;
}
