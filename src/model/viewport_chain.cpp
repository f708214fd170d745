#include "model/viewport_chain.h"

CViewportLink::~CViewportLink() {
    if (chain)
        chain->Unlink(this);
}

CViewportChain::~CViewportChain() {
    for (CViewportLink *v = head_; v; v = v->next)
        v->chain = nullptr;
}

void CViewportChain::Append(CViewportLink *link) {
    if (!link || link->chain)
        return;
    link->previous = tail_;
    link->next = nullptr;
    link->chain = this;
    if (tail_)
        tail_->next = link;
    else
        head_ = link;
    tail_ = link;
}

void CViewportChain::Unlink(CViewportLink *link) {
    if (!link || link->chain != this)
        return;
    if (link->previous)
        link->previous->next = link->next;
    else
        head_ = link->next;
    if (link->next)
        link->next->previous = link->previous;
    else
        tail_ = link->previous;
    if (cursor_ == link)
        cursor_ = link->next;
    link->next = link->previous = nullptr;
    link->chain = nullptr;
}

void CViewportChain::Replace(CViewportLink *link, CViewportLink *replacement) {
    if (!link || link->chain != this || !replacement || replacement->chain)
        return;
    replacement->previous = link->previous;
    replacement->next = link->next;
    replacement->chain = this;
    if (link->previous)
        link->previous->next = replacement;
    else
        head_ = replacement;
    if (link->next)
        link->next->previous = replacement;
    else
        tail_ = replacement;
    if (cursor_ == link)
        cursor_ = replacement;
    link->next = link->previous = nullptr;
    link->chain = nullptr;
}

CModelEntity *CViewportChain::First() {
    cursor_ = head_;
    return cursor_ ? cursor_->entity : nullptr;
}

CModelEntity *CViewportChain::Next() {
    if (cursor_)
        cursor_ = cursor_->next;
    return cursor_ ? cursor_->entity : nullptr;
}
