// The update pass of a release 13 load: the objects that stand behind the tables, up to the
// object map, are later edits of the drawing, and are merged into what the first passes
// read.
//
// An entity behind the tables either extends its space (its handle is above the space's
// end: it goes to the tail of the chain) or updates an entity read before (it replaces the
// entity of that handle). An update whose previous or next link jumps over handles says
// that the entities in the gap were erased. Updates and erasures are gathered per space in
// a CR13ChainPatch and applied to the chain in one walk, in batches. A block header, a
// block start or a block end behind the tables redefines a block; a table record replaces
// the record of its handle or joins its table.
//
// What callers may rely on: the chains are walked once per batch; an erased POLYLINE or
// INSERT takes the VERTEX, ATTRIB and SEQEND objects behind it along; nothing is read
// beyond the object map's offset; a failed entity decode ends the pass with 0.
#ifndef VELKO_R13_UPDATE_PASS_H
#define VELKO_R13_UPDATE_PASS_H

#include "model/entity_list.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

class CR13Drawing;
class CR13Entity;
struct CR13Block;

// The number of a handle text (hexadecimal); 0 for a null or empty text.
uint32_t R13HandleNumber(const char *text);

// The updates and erasures of one chain, gathered and applied together.
class CR13ChainPatch {
public:
    // The batch size: at this many entries in either list the patch is applied.
    static constexpr size_t kBatch = 15000;

    explicit CR13ChainPatch(CEntityList &chain);
    ~CR13ChainPatch();
    CR13ChainPatch(const CR13ChainPatch &) = delete;
    CR13ChainPatch &operator=(const CR13ChainPatch &) = delete;

    // The handles that the links of an update jump over: with `previous` and `next` the
    // link texts as numbers (a null text, or a value above 0x1000000, counts as 0), a
    // positive value less one, the `previous` handles below `handle` (when `previous` is
    // below it) and the `next` handles above it are erased.
    void AddErased(uint32_t handle, const char *previous, const char *next);
    // The same with the entity's own handle and links.
    void AddErased(const CR13Entity &entity);
    void AddErasedHandle(uint32_t handle);
    // Takes the entity: it replaces the entity of its handle when the patch is applied.
    void AddUpdated(CModelEntity *entity);

    // Sorts both lists by handle, walks the chain once: an erased entity is destroyed
    // (with its sub-entities), an updated one replaced by its update and destroyed. Both
    // lists are then empty; an update whose handle is not in the chain is destroyed.
    void Apply();

    size_t Size() const { return erased_handles.size() + updated_entities.size(); }
    const std::vector<uint32_t> &ErasedHandles() const { return erased_handles; }
    size_t UpdatedCount() const { return updated_entities.size(); }

private:
    void ApplyWhenFull();
    // Puts the later of several updates of one handle last; the earlier ones are
    // destroyed.
    void SortUpdates();

    CEntityList &chain;
    std::vector<uint32_t> erased_handles;
    std::vector<CModelEntity *> updated_entities;
    size_t erased_cursor = 0;
    size_t updated_cursor = 0;
};

// From the tail of `chain`: the entities with a handle above `saved_end` are destroyed, a
// POLYLINE or INSERT with the VERTEX, ATTRIB and SEQEND objects behind it; those three are
// never removed on their own. The first entity at or below `saved_end` stops the walk.
void CutBehind(CEntityList &chain, uint32_t saved_end);
// From the head of `chain`: the entities with a handle below `first` are destroyed.
void CutBefore(CEntityList &chain, uint32_t first);

// The pass itself, run by the load once the tables are read, the file standing behind the
// last object that the tables took.
class CR13UpdatePass {
public:
    explicit CR13UpdatePass(CR13Drawing &drawing);
    ~CR13UpdatePass();
    CR13UpdatePass(const CR13UpdatePass &) = delete;
    CR13UpdatePass &operator=(const CR13UpdatePass &) = delete;

    // Reads the objects up to the map's offset and merges them; then the model space
    // chain becomes the drawing's main list and the paper space chain its paper list,
    // each closed by its ENDBLK, and both space blocks leave the block list. 1, or 0 for an entity
    // that failed to decode.
    int Run();

private:
    // One space: its block, its end handles and its patch.
    struct Space {
        CR13Block *block = nullptr;
        uint32_t running_end = 0;
        uint32_t saved_end = 0;
        std::unique_ptr<CR13ChainPatch> patch;
    };

    void Begin();
    int ReadObject(const uint8_t *object);
    int TakeEntity(int type);
    void PlaceEntity(std::unique_ptr<CR13Entity> entity, int type);
    int TakeBlockStart(uint32_t handle);
    int TakeBlockEnd();
    void TakeBlockHeader();
    void RemoveActiveViewports();
    void UpdateTable(int type);
    void FinishSpace(Space &space);
    void End();

    CR13Drawing &drawing;
    Space model;
    Space paper;
    std::unique_ptr<CR13Entity> kept_end_block;
    std::unique_ptr<CR13Entity> model_end_block;
    CR13Block *current_block = nullptr;
    bool in_block = false;
};

#endif
