// The block definitions of a drawing, in block table order, with the block walk's cursor.
//
// A block holds its start record and the list of its entities, closed by its end entity;
// the list is null for a deleted block and in view mode, where the entities go to the
// application instead. Block numbers are block table indices.
#ifndef VELKO_BLOCK_LIST_H
#define VELKO_BLOCK_LIST_H

#include "model/entity_list.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

// One block definition. It owns the record (malloc, zero-filled when made) and the blocks
// the record points at (handle, extended data, xref path, names).
struct CModelBlock {
    // The flag of a deleted block, in the record's flags as in the table's.
    static constexpr int16_t kDeleted = 0x80;

    CModelBlock();
    // A release may keep more of a block in a class of its own.
    virtual ~CModelBlock();
    CModelBlock(const CModelBlock &) = delete;
    CModelBlock &operator=(const CModelBlock &) = delete;

    bool IsDeleted() const { return record && (record->flags & kDeleted); }

    int16_t code = 12;
    CDB_STARTBLOCK_ENTITY_type *record;
    std::unique_ptr<CEntityList> entities;
    // 0 for a block of an external reference, whose entities view mode does not hand out.
    int32_t plain = 1;
};

class CBlockList {
public:
    CBlockList() = default;
    ~CBlockList();
    CBlockList(const CBlockList &) = delete;
    CBlockList &operator=(const CBlockList &) = delete;

    CModelBlock *At(int index) const {
        return index >= 0 && index < Count() ? items_[static_cast<size_t>(index)] : nullptr;
    }
    // The walk: First goes to block 0, Next one on (null at the end, the cursor staying on
    // the last block), Current the block at the cursor.
    CModelBlock *First();
    CModelBlock *Next();
    CModelBlock *Current() { return At(cursor_); }
    CModelBlock *Last() const { return items_.empty() ? nullptr : items_.back(); }
    // Where First and then `index` steps of Next land, and the cursor where they leave it,
    // in one step: the block, or null when a step finds none (an empty place stops the
    // steps on it, the end of the list on the last block).
    CModelBlock *StepTo(int index);
    // Adds the block at the end; the cursor goes to it. Its index.
    int Add(CModelBlock *block);
    // Stores a block at a given index (view mode), growing the list with empty places;
    // the block that stood there is destroyed.
    void Put(int index, CModelBlock *block);
    // Destroys the block at `index`; the later blocks move up one place. 0 for a bad index.
    int Remove(int index);
    // Destroys every block whose name equals `name` (case counted), in one pass; the later
    // blocks close up. How many went.
    int RemoveNamed(const char *name);
    // Compares the first 32 characters of each block's name: the index, or -2.
    int FindByName(const char *name) const;
    int Count() const { return static_cast<int>(items_.size()); }
    int16_t Cursor() const { return cursor_; }
    // The number an anonymous block ("*...") gets behind its name: 0, 1, ... per list.
    int32_t NextAnonymousNumber() { return anonymous_counter_++; }
    // Hands all blocks to the caller, who then owns them, and leaves the list empty.
    std::vector<CModelBlock *> TakeAll();

private:
    int16_t cursor_ = 0;
    int32_t anonymous_counter_ = 0;
    std::vector<CModelBlock *> items_;
    // How many places of items_ are empty (null): while there are none, StepTo goes
    // straight to its block.
    size_t empty_places_ = 0;
};

#endif
