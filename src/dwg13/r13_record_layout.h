// What the record layouts of the release 13 tables share: the head and the closing
// references of a record as fields, and the two guards of the counts read from an object.
// Internal to src/dwg13.
#ifndef VELKO_R13_RECORD_LAYOUT_H
#define VELKO_R13_RECORD_LAYOUT_H

#include "dwg13/r13_fields.h"
#include "io/bit_stream.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>

template <size_t N> constexpr R13Layout R13LayoutOf(const R13Field (&fields)[N]) {
    return R13Layout{fields, N};
}

// The head every record shares behind the frame start: the handle, the RL of the object's
// bits, the 4-bit entry code (into `code`) and the name.
#define R13_HEAD(B, code)                                                                          \
    R13_FIELD(kHT, B, record.handle), R13_FIELD(kRL, B, object_bits), R13_BITS(4, B, code),        \
        R13_FIELD(kTV, B, record.name)
// The three references that close a record, kept in the link tail.
#define R13_LINKS(B)                                                                               \
    R13_FIELD(kH, B, record.links.owner), R13_FIELD(kH, B, record.links.reactor),                  \
        R13_FIELD(kH, B, record.links.dictionary)

// The bits that remain to be read in the stream: what a count read from the object is held
// against before anything is allocated.
inline int64_t R13BitsLeft(const CBitStream &stream) {
    return (int64_t(stream.Size()) - stream.TellByte()) * 8 - stream.TellBit();
}

// A zero-filled malloc array of `count` elements, null when it cannot be had.
template <typename T> T *R13NewArray(size_t count) {
    return static_cast<T *>(std::calloc(count, sizeof(T)));
}

#endif
