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

#endif
