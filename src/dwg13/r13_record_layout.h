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

// The bytes a field fills in its record.
constexpr size_t R13FieldBytes(const R13Field &f) {
    switch (f.kind) {
    case R13Kind::kRL:
        return 4;
    case R13Kind::kRD:
    case R13Kind::kBD:
    case R13Kind::kAngle:
    case R13Kind::kDegrees:
        return 8;
    case R13Kind::k3BD:
        return 24;
    case R13Kind::k2RD:
        return 16;
    case R13Kind::kTV:
    case R13Kind::kTVFixed:
    case R13Kind::kHT:
        return sizeof(char *);
    case R13Kind::kH:
        return sizeof(int16_t) + sizeof(uint32_t);
    case R13Kind::kSkip:
        return 0;
    default:
        return f.width;
    }
}

// True when every kept field of a layout lies inside a record of `size` bytes and every
// integer field has a width the readers know: a layout that fails this does not build.
template <size_t N> constexpr bool R13FieldsFit(const R13Field (&fields)[N], size_t size) {
    for (const R13Field &f : fields) {
        if (f.offset == kR13Dropped)
            continue;
        if (size_t(f.offset) + R13FieldBytes(f) > size)
            return false;
        const bool integer = f.kind == R13Kind::kB || f.kind == R13Kind::kBits ||
                             f.kind == R13Kind::kRC || f.kind == R13Kind::kBS;
        if (integer && f.width != 1 && f.width != 2 && f.width != 4 && f.width != 8)
            return false;
    }
    return true;
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

// A zero-filled malloc array of `count` elements, null when it cannot be had.
template <typename T> T *R13NewArray(size_t count) {
    return static_cast<T *>(std::calloc(count, sizeof(T)));
}

#endif
