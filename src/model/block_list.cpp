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

int CBlockList::Add(CModelBlock *block) {
    items_.push_back(block);
    cursor_ = static_cast<int16_t>(items_.size() - 1);
    return cursor_;
}

void CBlockList::Put(int index, CModelBlock *block) {
    if (index < 0)
        return;
    if (index >= Count())
        items_.resize(static_cast<size_t>(index) + 1, nullptr);
    delete items_[static_cast<size_t>(index)];
    items_[static_cast<size_t>(index)] = block;
}

int CBlockList::Remove(int index) {
    if (index < 0 || index >= Count())
        return 0;
    delete items_[static_cast<size_t>(index)];
    items_.erase(items_.begin() + index);
    return 1;
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
    return taken;
}
