// The drawing's viewport entities in the order they were read, as GetFirstViewport and
// GetNextViewport walk them. The chain does not own the viewports: it links them through
// a CViewportLink that each viewport object holds, and a viewport that is destroyed
// leaves the chain by itself.
#ifndef VELKO_VIEWPORT_CHAIN_H
#define VELKO_VIEWPORT_CHAIN_H

#include "model/model_entity.h"

class CViewportChain;

// A viewport's place in a chain: a member of the viewport object, made with it.
struct CViewportLink {
    explicit CViewportLink(CModelEntity *owner) : entity(owner) {}
    // Leaves the chain it is in.
    ~CViewportLink();
    CViewportLink(const CViewportLink &) = delete;
    CViewportLink &operator=(const CViewportLink &) = delete;

    CModelEntity *const entity;
    CViewportLink *next = nullptr;
    CViewportLink *previous = nullptr;
    // The chain the link is in, null when in none.
    CViewportChain *chain = nullptr;
};

class CViewportChain {
public:
    CViewportChain() = default;
    // Leaves the viewports unlinked from a chain that no longer exists.
    ~CViewportChain();
    CViewportChain(const CViewportChain &) = delete;
    CViewportChain &operator=(const CViewportChain &) = delete;

    // Adds the link at the end; a link already in a chain is left where it is.
    void Append(CViewportLink *link);
    // Takes a link out of the chain (its destructor does so).
    void Unlink(CViewportLink *link);
    // Puts `replacement` (in no chain) into the chain at the place of `link`, which
    // leaves it. Nothing happens when `link` is not in this chain.
    void Replace(CViewportLink *link, CViewportLink *replacement);
    // The walk: the first viewport and the one after the cursor; null at the end.
    CModelEntity *First();
    CModelEntity *Next();
    // The first viewport, and its link, without moving the walk's cursor.
    CModelEntity *Head() const { return head_ ? head_->entity : nullptr; }
    CViewportLink *HeadLink() const { return head_; }

private:
    CViewportLink *head_ = nullptr;
    CViewportLink *tail_ = nullptr;
    CViewportLink *cursor_ = nullptr;
};

#endif
