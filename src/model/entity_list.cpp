#include "model/entity_list.h"

#include <cstring>

CEntityList::~CEntityList() {
    for (CModelEntity *e : items_)
        delete e;
}

int CEntityList::Append(CModelEntity *entity) {
    items_.push_back(entity);
    position_ = static_cast<int16_t>(items_.size() - 1);
    return position_;
}

int CEntityList::InsertAt(int index, CModelEntity *entity) {
    if (index < 0 || index > Count())
        return -1;
    items_.insert(items_.begin() + index, entity);
    position_ = static_cast<int16_t>(index);
    return index;
}

CModelEntity *CEntityList::ReplaceAt(int index, CModelEntity *entity) {
    if (index < 0 || index >= Count())
        return nullptr;
    CModelEntity *old = items_[static_cast<size_t>(index)];
    items_[static_cast<size_t>(index)] = entity;
    return old;
}

int CEntityList::RemoveAt(int index) {
    if (index < 0 || index >= Count())
        return 0;
    items_.erase(items_.begin() + index);
    return 1;
}

CModelEntity *CEntityList::First() {
    if (items_.empty())
        return nullptr;
    position_ = 0;
    return items_[0];
}

int CEntityList::SetPosition(int index) {
    if (index < 0 || index >= Count())
        return 0;
    position_ = static_cast<int16_t>(index);
    return 1;
}

int CEntityList::FindByHandle(const char *text) {
    if (!text)
        return -1;
    for (int i = 0; i < Count(); ++i) {
        const CDB_ENTITY *r = items_[static_cast<size_t>(i)]->GetData();
        if (r && r->handle && std::strcmp(r->handle, text) == 0) {
            position_ = static_cast<int16_t>(i);
            return i;
        }
    }
    return -1;
}

std::vector<CModelEntity *> CEntityList::TakeAll() {
    std::vector<CModelEntity *> all;
    all.swap(items_);
    position_ = 0;
    return all;
}
