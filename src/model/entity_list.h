// The entities of one section or one block, in file order, with the walk's cursor. The
// list owns its entities: it deletes those it still holds when it goes.
//
// Positions are 16-bit as the walk's entity ids pack them; Count() is not limited.
#ifndef VELKO_ENTITY_LIST_H
#define VELKO_ENTITY_LIST_H

#include "model/model_entity.h"

#include <cstddef>
#include <cstdint>
#include <vector>

class CEntityList {
public:
    CEntityList() = default;
    ~CEntityList();
    CEntityList(const CEntityList &) = delete;
    CEntityList &operator=(const CEntityList &) = delete;

    // Adds the entity at the end; the position goes to it. Its index.
    int Append(CModelEntity *entity);
    // Puts the entity at `index` (0 to Count()); the entities from there on move one place
    // on, and the position goes to the new entity. The index, or -1 for a bad index (the
    // entity is then not taken).
    int InsertAt(int index, CModelEntity *entity);
    // Puts the entity in the place of the one at `index` and hands that one back (the
    // caller then owns it); null for a bad index (the entity is then not taken).
    CModelEntity *ReplaceAt(int index, CModelEntity *entity);
    // Takes the entity out of the list (the caller then owns it): 0 for a bad index.
    int RemoveAt(int index);
    CModelEntity *First();
    CModelEntity *Current() const { return At(position_); }
    CModelEntity *At(int index) const {
        return index >= 0 && index < Count() ? items_[static_cast<size_t>(index)] : nullptr;
    }
    // Moves the position to `index`: 1, or 0 for an index outside the list.
    int SetPosition(int index);
    // The walk's step: the position goes one on, also to one past the last entity (where
    // Current() is null), and stays there; the new position.
    int Advance() {
        if (position_ < Count())
            position_ = static_cast<int16_t>(position_ + 1);
        return position_;
    }
    int Position() const { return position_; }
    int Count() const { return static_cast<int>(items_.size()); }
    // Moves the position to the first entity whose handle equals `text`: its index, or -1.
    int FindByHandle(const char *text);
    // Hands all entities to the caller, who then owns them, and leaves the list empty.
    std::vector<CModelEntity *> TakeAll();

private:
    int16_t position_ = 0;
    std::vector<CModelEntity *> items_;
};

#endif
