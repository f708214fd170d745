#include "model/block_list.h"

#include <cstdlib>
#include <cstring>

CModelBlock::CModelBlock() {
    record = static_cast<CDB_STARTBLOCK_ENTITY_type *>(
        std::calloc(1, sizeof(CDB_STARTBLOCK_ENTITY_type)));
}

CModelBlock::~CModelBlock() {
    if (record) {
        std::free(record->handle);
        std::free(record->eed_data);
        std::free(record->xref_path);
        std::free(record->name);
        std::free(record->name_2);
    }
    std::free(record);
}

CBlockList::~CBlockList() {
    for (CModelBlock *b : items_)
        delete b;
}

CModelBlock *CBlockList::First() {
    if (items_.empty())
        return nullptr;
    cursor_ = 0;
    return items_[0];
}

CModelBlock *CBlockList::Next() {
    if (cursor_ + 1 >= Count())
        return nullptr;
    return items_[static_cast<size_t>(++cursor_)];
}

CModelBlock *CBlockList::StepTo(int index) {
    CModelBlock *found = First();
    if (!found || index <= 0)
        return found;
    if (empty_places_ != 0) {
        for (int step = 1; found && step <= index; ++step)
            found = Next();
        return found;
    }
    const int last = Count() - 1;
    cursor_ = static_cast<int16_t>(index < last ? index : last);
    return index <= last ? items_[static_cast<size_t>(index)] : nullptr;
}

int CBlockList::Add(CModelBlock *block) {
    if (!block)
        ++empty_places_;
    items_.push_back(block);
    cursor_ = static_cast<int16_t>(items_.size() - 1);
    return cursor_;
}

void CBlockList::Put(int index, CModelBlock *block) {
    if (index < 0)
        return;
    if (index >= Count()) {
        empty_places_ += static_cast<size_t>(index + 1 - Count());
        items_.resize(static_cast<size_t>(index) + 1, nullptr);
    }
    CModelBlock *&place = items_[static_cast<size_t>(index)];
    empty_places_ -= place ? 0 : 1;
    empty_places_ += block ? 0 : 1;
    delete place;
    place = block;
}

int CBlockList::Remove(int index) {
    if (index < 0 || index >= Count())
        return 0;
    if (!items_[static_cast<size_t>(index)])
        --empty_places_;
    delete items_[static_cast<size_t>(index)];
    items_.erase(items_.begin() + index);
    return 1;
}

int CBlockList::RemoveNamed(const char *name) {
    if (!name)
        return 0;
    size_t kept = 0;
    for (CModelBlock *block : items_) {
        if (block && block->record && block->record->name &&
            std::strcmp(block->record->name, name) == 0) {
            delete block;
            continue;
        }
        items_[kept++] = block;
    }
    const int removed = static_cast<int>(items_.size() - kept);
    items_.resize(kept);
    return removed;
}

int CBlockList::FindByName(const char *name) const {
    if (!name)
        return -2;
    for (int i = 0; i < Count(); ++i) {
        const CModelBlock *block = items_[static_cast<size_t>(i)];
        if (block && block->record && block->record->name &&
            std::strncmp(block->record->name, name, 32) == 0)
            return i;
    }
    return -2;
}

std::vector<CModelBlock *> CBlockList::TakeAll() {
    std::vector<CModelBlock *> taken;
    taken.swap(items_);
    cursor_ = 0;
    empty_places_ = 0;
    return taken;
}
