#include "model/display_walk.h"

#include "model/entity_filter.h"
#include "records/entity_kinds.h"

#include <vector>

namespace {

// The return stack of CDBNavigate (navigate_stack.h): created at the first use, gone
// with the process.
std::vector<int32_t> &ReturnStack() {
    static std::vector<int32_t> stack;
    return stack;
}

int16_t BlockOfId(int32_t id) {
    uint16_t position = 0;
    int16_t block = 0;
    CDBUnpackEntityId(id, &position, &block);
    return block;
}

} // namespace

size_t NavigateStackDepth() {
    return ReturnStack().size();
}

void ResetNavigateStack() {
    ReturnStack().clear();
}

int16_t CDisplayWalk::Run() {
    std::vector<int32_t> &stack = ReturnStack();
    int32_t id = Current();
    long steps = 0;
    for (;;) {
        if (id < 0)
            return End(id);
        if (++steps > kNavigateMaxSteps)
            return End(CDB_END_OF_WALK);
        const int16_t kind = record_->entity_type;
        if (kind == CDB_ENDBLK) {
            // The end of a block: back behind the insert, or the end of the walk.
            if (stack.empty())
                return End(CDB_END_OF_WALK);
            int32_t back = stack.back();
            stack.pop_back();
            drawing_.GotoEntity(back);
            drawing_.NextEntity();
            id = Current();
            continue;
        }
        if (kind == CDB_INSERT) {
            // The block's entities stand in the insert's place; the insert is not given.
            const int16_t target = record_->insert.block_index;
            if (MayEnter(id, target)) {
                stack.push_back(id);
                drawing_.FirstEntity(target);
            } else {
                drawing_.NextEntity();
            }
            id = Current();
            continue;
        }
        if (!HiddenByFilters(drawing_, layer_bits_, space_bits_, record_))
            break;
        id = SkipHidden(steps);
        if (steps > kNavigateMaxSteps)
            return End(CDB_END_OF_WALK);
    }
    // The next call begins at the next entity; the caller owns the record's copies.
    drawing_.NextEntity();
    return static_cast<int16_t>(id & 0xFFFF);
}

int32_t CDisplayWalk::SkipHidden(long &steps) {
    // When vertices or attributes follow, they go along up to the kind 17 that closes
    // them; a kind 17 standing there then is passed as well. So a hidden polyline takes
    // its vertices and its end along. A kind 13 met on the way ends the skip (a damaged
    // list), so that the walk still leaves the block.
    drawing_.NextEntity();
    int32_t id = Current();
    if (id >= 0 && (record_->entity_type == CDB_VERTEX || record_->entity_type == CDB_ATTRIB)) {
        while (id >= 0 && record_->entity_type != CDB_SEQEND &&
               record_->entity_type != CDB_ENDBLK) {
            // Past the bound the walk ends; the caller sees the count.
            if (++steps > kNavigateMaxSteps)
                return id;
            drawing_.NextEntity();
            id = Current();
        }
    }
    if (id >= 0 && record_->entity_type == CDB_SEQEND) {
        drawing_.NextEntity();
        id = Current();
    }
    return id;
}

int32_t CDisplayWalk::Current() {
    if (filled_ && list_mode_) {
        FreeOwnedTexts(record_);
        filled_ = false;
    }
    int32_t id = drawing_.GetCurrentEntity(record_);
    if (id >= 0)
        filled_ = true;
    return id;
}

int16_t CDisplayWalk::End(int32_t status) {
    if (filled_ && list_mode_)
        FreeOwnedTexts(record_);
    return status == CDB_FAIL ? CDB_FAIL : CDB_END_OF_WALK;
}

bool CDisplayWalk::MayEnter(int32_t id, int16_t target) {
    const std::vector<int32_t> &stack = ReturnStack();
    if (stack.size() >= kNavigateMaxNesting)
        return false;
    if (BlockOfId(id) == target)
        return false;
    for (int32_t outer : stack) {
        if (BlockOfId(outer) == target)
            return false;
    }
    return true;
}
