#include "dwg13/r13_update_pass.h"

#include "dwg13/r13_block.h"
#include "dwg13/r13_drawing.h"
#include "dwg13/r13_entity_kinds.h"
#include "dwg13/r13_tables.h"
#include "dwg13/r13_object_walk.h"
#include "io/bit_stream.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace {

constexpr char kModelSpace[] = "*MODEL_SPACE";
constexpr char kPaperSpace[] = "*PAPER_SPACE";
constexpr char kActiveViewport[] = "*ACTIVE";
// A link further than this is no link: it counts as none.
constexpr uint32_t kLongestLink = 0x1000000;
// The control object of the viewports: new "*ACTIVE" records follow it.
constexpr int kViewportControlType = kR13Vport - 1;
constexpr int kBlockControlType = kR13BlockHeader - 1;

uint32_t HandleOf(const CModelEntity *entity) {
    const CDB_ENTITY *record = entity ? entity->GetData() : nullptr;
    return record ? R13HandleNumber(record->handle) : 0;
}

int16_t KindOf(const CModelEntity *entity) {
    const CDB_ENTITY *record = entity ? entity->GetData() : nullptr;
    return record ? record->entity_type : 0;
}

// The entities that own the sub-entities behind them.
bool OwnsSubEntities(const CModelEntity *entity) {
    const int16_t kind = KindOf(entity);
    return kind == CDB_POLYLINE || kind == CDB_INSERT;
}

// The sub-entities of a POLYLINE or an INSERT.
bool IsSubEntity(const CModelEntity *entity) {
    const int16_t kind = KindOf(entity);
    return kind == CDB_VERTEX || kind == CDB_ATTRIB || kind == CDB_SEQEND;
}

// The object types whose updates say nothing about erased neighbours: attributes, sequence
// ends, vertices, and the kinds that the library keeps opaque.
bool LinksNotFollowed(int type) {
    return type == 2 || type == 6 || (type >= 10 && type <= 14) || type == 37 || type == 38 ||
           type == 39 || type == 500;
}

// A link text as a count of handles: none (0) for a null text or a value past the longest
// link, else the value less one.
uint32_t LinkSpan(const char *text) {
    const uint32_t value = R13HandleNumber(text);
    if (value == 0 || value > kLongestLink)
        return 0;
    return value - 1;
}

bool IsNamed(const CR13BlockRecord &header, const char *name) {
    const char *own = header.RecordName();
    return own && std::strcmp(own, name) == 0;
}

} // namespace

uint32_t R13HandleNumber(const char *text) {
    if (!text || !*text)
        return 0;
    return static_cast<uint32_t>(std::strtoul(text, nullptr, 16));
}

// ---- The patch ------------------------------------------------------------------------------

CR13ChainPatch::CR13ChainPatch(CEntityList &list) : chain(list) {
    erased_handles.reserve(kBatch);
}

CR13ChainPatch::~CR13ChainPatch() {
    for (CModelEntity *entity : updated_entities)
        delete entity;
}

void CR13ChainPatch::AddErased(uint32_t handle, const char *previous, const char *next) {
    const uint32_t before = LinkSpan(previous);
    const uint32_t after = LinkSpan(next);
    if (before > 0 && before < handle)
        for (uint32_t step = 1; step <= before; ++step)
            AddErasedHandle(handle - step);
    for (uint32_t step = 1; step <= after && handle + step > handle; ++step)
        AddErasedHandle(handle + step);
}

void CR13ChainPatch::AddErased(const CR13Entity &entity) {
    AddErased(HandleOf(&entity), entity.PreviousText(), entity.NextText());
}

void CR13ChainPatch::AddErasedHandle(uint32_t handle) {
    erased_handles.push_back(handle);
    ApplyWhenFull();
}

void CR13ChainPatch::AddUpdated(CModelEntity *entity) {
    updated_entities.push_back(entity);
    ApplyWhenFull();
}

void CR13ChainPatch::ApplyWhenFull() {
    if (erased_handles.size() >= kBatch || updated_entities.size() >= kBatch)
        Apply();
}

void CR13ChainPatch::SortUpdates() {
    std::stable_sort(
        updated_entities.begin(), updated_entities.end(),
        [](const CModelEntity *a, const CModelEntity *b) { return HandleOf(a) < HandleOf(b); });
    std::vector<CModelEntity *> last_of_each;
    last_of_each.reserve(updated_entities.size());
    for (size_t i = 0; i < updated_entities.size(); ++i) {
        CModelEntity *entity = updated_entities[i];
        const bool later_follows = i + 1 < updated_entities.size() &&
                                   HandleOf(updated_entities[i + 1]) == HandleOf(entity);
        if (later_follows)
            delete entity;
        else
            last_of_each.push_back(entity);
    }
    updated_entities.swap(last_of_each);
}

void CR13ChainPatch::Apply() {
    std::sort(erased_handles.begin(), erased_handles.end());
    SortUpdates();
    erased_cursor = updated_cursor = 0;
    std::vector<CModelEntity *> all = chain.TakeAll();
    for (size_t i = 0; i < all.size(); ++i) {
        CModelEntity *entity = all[i];
        const bool used_up =
            erased_cursor >= erased_handles.size() && updated_cursor >= updated_entities.size();
        if (used_up) {
            chain.Append(entity);
            continue;
        }
        const uint32_t handle = HandleOf(entity);
        while (erased_cursor < erased_handles.size() && erased_handles[erased_cursor] < handle)
            ++erased_cursor;
        while (updated_cursor < updated_entities.size() &&
               HandleOf(updated_entities[updated_cursor]) < handle) {
            delete updated_entities[updated_cursor];
            updated_entities[updated_cursor++] = nullptr;
        }
        if (erased_cursor < erased_handles.size() && erased_handles[erased_cursor] == handle) {
            const bool owner = OwnsSubEntities(entity);
            delete entity;
            while (owner && i + 1 < all.size() && IsSubEntity(all[i + 1]))
                delete all[++i];
        } else if (updated_cursor < updated_entities.size() &&
                   HandleOf(updated_entities[updated_cursor]) == handle) {
            chain.Append(updated_entities[updated_cursor]);
            updated_entities[updated_cursor++] = nullptr;
            delete entity;
        } else {
            chain.Append(entity);
        }
    }
    for (CModelEntity *left : updated_entities)
        delete left;
    updated_entities.clear();
    erased_handles.clear();
    erased_cursor = updated_cursor = 0;
}

// ---- The cuts -------------------------------------------------------------------------------

void CutBehind(CEntityList &chain, uint32_t saved_end) {
    for (int i = chain.Count() - 1; i >= 0; --i) {
        CModelEntity *entity = chain.At(i);
        if (HandleOf(entity) <= saved_end)
            break;
        if (IsSubEntity(entity))
            continue;
        int end = i + 1;
        if (OwnsSubEntities(entity))
            while (end < chain.Count() && IsSubEntity(chain.At(end)))
                ++end;
        for (int k = end - 1; k >= i; --k) {
            delete chain.At(k);
            chain.RemoveAt(k);
        }
    }
}

void CutBefore(CEntityList &chain, uint32_t first) {
    int cut = 0;
    while (cut < chain.Count() && HandleOf(chain.At(cut)) < first)
        ++cut;
    if (cut == 0)
        return;
    std::vector<CModelEntity *> all = chain.TakeAll();
    for (size_t i = 0; i < all.size(); ++i)
        if (i < static_cast<size_t>(cut))
            delete all[i];
        else
            chain.Append(all[i]);
}

// ---- The pass -------------------------------------------------------------------------------

CR13UpdatePass::CR13UpdatePass(CR13Drawing &owner) : drawing(owner) {}

CR13UpdatePass::~CR13UpdatePass() = default;

int CR13UpdatePass::Run() {
    Begin();
    CR13ObjectWalk &walk = *drawing.object_walk;
    while (walk.Before(drawing.objects_end)) {
        drawing.object_buffer = walk.Next();
        if (!drawing.object_buffer)
            break;
        const int result = ReadObject(drawing.object_buffer.get());
        drawing.object_buffer.reset();
        if (!result)
            return 0;
    }
    End();
    return 1;
}

// Both end handles, running and saved; the ENDBLK off the tail of both chains, each kept
// for the end: paper space's closes the paper list, model space's stays the sentinel that
// closes the main list, at which every walk of the main section ends; a patch for each
// space.
void CR13UpdatePass::Begin() {
    for (Space *space : {&model, &paper}) {
        space->block = space == &model ? drawing.model_space : drawing.paper_space;
        space->saved_end = space->running_end = R13HandleNumber(space->block->last_handle.c_str());
        CEntityList &chain = *space->block->entities;
        CModelEntity *tail = chain.At(chain.Count() - 1);
        if (tail && KindOf(tail) == CDB_ENDBLK) {
            chain.RemoveAt(chain.Count() - 1);
            (space == &paper ? kept_end_block : model_end_block)
                .reset(static_cast<CR13Entity *>(tail));
        }
        space->patch = std::make_unique<CR13ChainPatch>(chain);
    }
}

// One object behind the tables, by its type. 0 for an entity that failed to decode.
int CR13UpdatePass::ReadObject(const uint8_t *object) {
    CBitStream stream(object);
    stream.Skip(2, 0);
    const int type = stream.ReadBitShort();
    stream.ReadBits(4);
    const uint32_t handle = stream.ReadHandleValue();
    if (type == kR13BlockType)
        return TakeBlockStart(handle);
    if (type == kR13EndBlockType)
        return TakeBlockEnd();
    if (type == kBlockControlType)
        return 1;
    if (type == kR13BlockHeader) {
        TakeBlockHeader();
        return 1;
    }
    if (FindR13EntityKind(type))
        return TakeEntity(type);
    if (type == kViewportControlType)
        RemoveActiveViewports();
    else
        UpdateTable(type);
    return 1;
}

int CR13UpdatePass::TakeEntity(int type) {
    std::unique_ptr<CR13Entity> entity = drawing.MakeEntityOfType(type);
    if (!entity)
        return 1; // a kind without a class: dropped
    CBitStream stream(drawing.object_buffer.get());
    if (!entity->ReadDWG(stream))
        return 0;
    PlaceEntity(std::move(entity), type);
    return 1;
}

void CR13UpdatePass::PlaceEntity(std::unique_ptr<CR13Entity> entity, int type) {
    if (in_block && entity->block_owned) {
        if (current_block && current_block->entities)
            current_block->entities->Append(entity.release());
        return;
    }
    Space &space = entity->GetData()->space == 1 ? paper : model;
    const uint32_t handle = HandleOf(entity.get());
    if (handle > space.running_end) {
        space.running_end = handle;
        space.block->entities->Append(entity.release());
        return;
    }
    if (!LinksNotFollowed(type) && !entity->is_unlinked)
        space.patch->AddErased(*entity);
    space.patch->AddUpdated(entity.release());
}

int CR13UpdatePass::TakeBlockStart(uint32_t handle) {
    in_block = true;
    current_block = nullptr;
    for (int i = 0; i < drawing.blocks.Count(); ++i) {
        auto *block = static_cast<CR13Block *>(drawing.blocks.At(i));
        if (block && block->start && R13HandleNumber(block->first_handle.c_str()) == handle) {
            current_block = block;
            break;
        }
    }
    if (!current_block)
        return 1;
    CBitStream stream(drawing.object_buffer.get());
    if (!current_block->start->ReadDWG(stream))
        return 0;
    current_block->FillRecord();
    return 1;
}

int CR13UpdatePass::TakeBlockEnd() {
    in_block = false;
    std::unique_ptr<CR13Entity> end = drawing.MakeEntityOfType(kR13EndBlockType);
    CBitStream stream(drawing.object_buffer.get());
    if (!end || !end->ReadDWG(stream))
        return 0;
    if (current_block && current_block->entities)
        current_block->entities->Append(end.release());
    current_block = nullptr;
    return 1;
}

// A block header: a space's takes the new first and last handles and cuts its chain behind
// the old end; another block's joins the block list, or replaces the header of the block
// with its handle, whose chain starts afresh.
void CR13UpdatePass::TakeBlockHeader() {
    auto header = std::make_unique<CR13BlockRecord>(&drawing);
    if (!header->ReadDWG(drawing.object_buffer.get()))
        return;
    for (Space *space : {&model, &paper})
        if (IsNamed(*header, space == &model ? kModelSpace : kPaperSpace)) {
            space->block->first_handle = header->FirstHandle();
            space->running_end = space->saved_end;
            space->saved_end = R13HandleNumber(header->LastHandle().c_str());
            CutBehind(*space->block->entities, space->running_end);
            return;
        }
    CR13Table &table = drawing.Table(R13Table::kBlocks);
    for (int i = 0; i < drawing.blocks.Count(); ++i) {
        auto *block = static_cast<CR13Block *>(drawing.blocks.At(i));
        if (!block || !block->header || block->header == model.block->header ||
            block->header == paper.block->header ||
            !block->header->HasHandle(header->RecordHandle()))
            continue;
        CR13BlockRecord *fresh = header.get();
        int in_table = -1;
        for (int r = 0; r < table.records.Count() && in_table < 0; ++r)
            if (table.records.At(r) == block->header)
                in_table = r;
        if (in_table >= 0)
            table.records.Replace(in_table, header.release());
        else
            block->owned_header = std::move(header);
        block->header = fresh;
        block->entities = std::make_unique<CEntityList>();
        block->first_handle = block->header->FirstHandle();
        block->last_handle = block->header->LastHandle();
        block->FillRecord();
        return;
    }
    auto block = std::make_unique<CR13Block>();
    block->header = header.get();
    block->first_handle = header->FirstHandle();
    block->last_handle = header->LastHandle();
    block->start = std::make_unique<CR13BlockStart>(&drawing);
    block->entities = std::make_unique<CEntityList>();
    block->FillRecord();
    table.AddRecord(header.release());
    drawing.blocks.Add(block.release());
}

void CR13UpdatePass::RemoveActiveViewports() {
    CR13Table &viewports = drawing.Table(R13Table::kVports);
    for (int i = viewports.records.Count() - 1; i >= 0; --i)
        if (viewports.records.At(i)->IsNamed(kActiveViewport))
            viewports.records.Remove(i);
}

void CR13UpdatePass::UpdateTable(int type) {
    for (size_t t = static_cast<size_t>(R13Table::kLayers); t < kR13TableCount; ++t) {
        CR13Table &table = drawing.Table(static_cast<R13Table>(t));
        if (table.RecordType() == type) {
            table.UpdateRecord(drawing.object_buffer.get());
            return;
        }
    }
}

// The cuts and the patch of one space; the saved end becomes the block's last handle.
void CR13UpdatePass::FinishSpace(Space &space) {
    CEntityList &chain = *space.block->entities;
    CutBehind(chain, space.saved_end);
    space.block->last_handle = R13HandleText(space.saved_end);
    CutBefore(chain, R13HandleNumber(space.block->first_handle.c_str()));
    space.patch->Apply();
    space.patch.reset();
}

// The main list is model space followed by paper space, each entity telling its space, and
// paper space's kept ENDBLK closes it (model space's goes; should paper space have had none,
// model space's closes the list instead). Both blocks leave the block list, which thus stays
// one to one with the block table.
void CR13UpdatePass::End() {
    FinishSpace(model);
    FinishSpace(paper);
    std::unique_ptr<CModelEntity> end = std::move(kept_end_block);
    if (!end)
        end = std::move(model_end_block);
    model_end_block.reset();
    for (Space *space : {&model, &paper}) {
        for (CModelEntity *entity : space->block->entities->TakeAll())
            drawing.entities.Append(entity);
        // The space's block leaves the list but is kept: its header, its BLOCK and its
        // ENDBLK go out again when the drawing is saved.
        for (int i = 0; i < drawing.blocks.Count(); ++i)
            if (drawing.blocks.At(i) == space->block) {
                std::vector<CModelBlock *> all = drawing.blocks.TakeAll();
                for (CModelBlock *block : all)
                    if (block != space->block)
                        drawing.blocks.Add(block);
                drawing.space_blocks[space == &model ? 0 : 1].reset(space->block);
                break;
            }
        space->block = nullptr;
    }
    if (end)
        drawing.entities.Append(end.release());
    drawing.model_space = drawing.paper_space = nullptr;
}
