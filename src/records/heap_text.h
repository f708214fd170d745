// Texts that records own: copies on the heap, freed with free().
#ifndef VELKO_HEAP_TEXT_H
#define VELKO_HEAP_TEXT_H

#include <cstdlib>
#include <cstring>

// A copy of `text` (malloc), null for a null text or a failed allocation.
inline char *DuplicateText(const char *text) {
    if (!text)
        return nullptr;
    const size_t n = std::strlen(text) + 1;
    char *copy = static_cast<char *>(std::malloc(n));
    if (copy)
        std::memcpy(copy, text, n);
    return copy;
}

// `tail` appended to `head` (null for none) in a new block (malloc); null when the
// allocation fails.
inline char *JoinTexts(const char *head, const char *tail) {
    const size_t a = head ? std::strlen(head) : 0;
    const size_t b = tail ? std::strlen(tail) : 0;
    char *joined = static_cast<char *>(std::malloc(a + b + 1));
    if (joined) {
        if (a)
            std::memcpy(joined, head, a);
        if (b)
            std::memcpy(joined + a, tail, b);
        joined[a + b] = 0;
    }
    return joined;
}

#endif
