// The layouts of release 13 objects, written down once as data.
//
// An object's fields stand in its bit stream one behind the other. Each layout below is a
// list of R13Field in stream order: what kind of value the field is in the stream, and
// where it goes in a record (a byte offset; the records are packed, so values go through
// LoadField/StoreField). ReadR13Fields walks a list from the stream into a record;
// WriteR13Fields walks the same list from the record back into a CBitWriter. What does not
// fit a field (a value that decides whether another is present, a flag byte that is
// remapped) is a named step of the layout's owner, before or behind a run of fields.
#ifndef VELKO_R13_FIELDS_H
#define VELKO_R13_FIELDS_H

#include <cstddef>
#include <cstdint>
#include <type_traits>

class CBitStream;
class CBitWriter;

// How a field is coded in the stream, and what it becomes in the record.
enum class R13Kind : uint8_t {
    kB,       // B, into an integer of `width` bytes
    kBits,    // `bits` bits, unsigned, into an integer of `width` bytes
    kRC,      // RC, into an integer of `width` bytes
    kBS,      // BS, sign-extended into an integer of `width` bytes
    kRL,      // RL, into a 32-bit integer
    kRD,      // RD, into a double
    kBD,      // BD, into a double
    kAngle,   // BD in radians, into a double in degrees: value / 3.14159265359 * 180.0
    kDegrees, // BD in radians, into a double in degrees: value * 180.0 / 3.141592653589793
    k3BD,     // three BD, into a point3
    k2RD,     // RD x and RD y, into the first two doubles at the offset
    kTV,      // TV, into a new text (malloc) that the record's pointer takes
    kTVFixed, // TV, copied into the block of `room` bytes the record's pointer points at
    kHT,      // 4 bits dropped and HT, into a new handle text (malloc); written as `bits`
    kH,       // H, into a CHandleRef
    kSkip,    // Skip(`room` bytes, `bits` bits): no value
};

// The offset of a field that is read and dropped; the writer writes it as zero.
constexpr uint16_t kR13Dropped = 0xFFFF;

struct R13Field {
    R13Kind kind;
    uint8_t bits;    // kBits: the count; kSkip: the bits; kHT: the code the writer puts
    uint8_t width;   // bytes of an integer field
    uint16_t offset; // byte offset in the record, or kR13Dropped
    uint16_t room;   // kTVFixed: the block's size; kSkip: the bytes
    // An integer field whose member is signed: the writer sign-extends what it loads, so
    // that a 1-byte member holding -1 goes out as the BS of -1, not of 255.
    bool is_signed = false;
};

struct R13Layout {
    const R13Field *fields;
    size_t count;
};

// A field of record type `Rec`: its kind, offset and width.
#define R13_FIELD(kind, Rec, member)                                                               \
    R13Field {                                                                                     \
        R13Kind::kind, 0, static_cast<uint8_t>(sizeof(static_cast<Rec *>(nullptr)->member)),       \
            static_cast<uint16_t>(offsetof(Rec, member)), 0,                                       \
            std::is_signed<std::remove_cv_t<                                                       \
                std::remove_reference_t<decltype(static_cast<Rec *>(nullptr)->member)>>>::value    \
    }
// `n` bits into a member.
#define R13_BITS(n, Rec, member)                                                                   \
    R13Field {                                                                                     \
        R13Kind::kBits, n, static_cast<uint8_t>(sizeof(static_cast<Rec *>(nullptr)->member)),      \
            static_cast<uint16_t>(offsetof(Rec, member)), 0                                        \
    }
// A reference to another object as a handle text: the code in front of it, which the
// reader drops, goes out as 5 (a hard pointer), as the files have it.
#define R13_HARD_REF(Rec, member)                                                                  \
    R13Field {                                                                                     \
        R13Kind::kHT, 5, 0, static_cast<uint16_t>(offsetof(Rec, member)), 0                        \
    }
// A text copied into the member's fixed block of `size` bytes.
#define R13_FIXED_TEXT(Rec, member, size)                                                          \
    R13Field {                                                                                     \
        R13Kind::kTVFixed, 0, 0, static_cast<uint16_t>(offsetof(Rec, member)), size                \
    }
// A value of kind `kind` read and dropped (written back as zero).
#define R13_DROP(kind)                                                                             \
    R13Field {                                                                                     \
        R13Kind::kind, 0, 0, kR13Dropped, 0                                                        \
    }
#define R13_DROP_BITS(n)                                                                           \
    R13Field {                                                                                     \
        R13Kind::kBits, n, 0, kR13Dropped, 0                                                       \
    }
// Skip(bytes, bits).
#define R13_SKIP(bytes, bits)                                                                      \
    R13Field {                                                                                     \
        R13Kind::kSkip, bits, 0, kR13Dropped, bytes                                                \
    }

// Reads the fields of `layout` in order into `record`. A text field takes a new text; the
// text it held before (null or a malloc text of the record's own) is freed first, so that an
// object read twice does not leak.
void ReadR13Fields(CBitStream &stream, const R13Layout &layout, void *record);
// Frees the texts of the layout's text and handle-text fields in `record` and nulls them.
void FreeR13Texts(const R13Layout &layout, void *record);
// Replaces each text and handle text of the layout's fields in `record` with a new malloc
// copy of itself (null stays null): a record copied byte for byte takes its own texts.
void DuplicateR13Texts(const R13Layout &layout, void *record);
// Writes the fields of `layout` in order from `record`. A dropped field goes out as zero,
// a skip as that many zero bits, a null text as the empty text.
void WriteR13Fields(CBitWriter &writer, const R13Layout &layout, const void *record);

// What values take in the object's size estimate: 64 for a double that is neither 0.0 nor
// 1.0 (it takes its long form), 8 per character of a text, 8 per byte of a handle text past
// its first; and the share of the fields of `layout` in `record` by these rules.
uint32_t R13DoubleBits(double value);
uint32_t R13TextBits(const char *text);
uint32_t R13HandleTextBits(const char *text);
uint32_t R13LayoutBits(const R13Layout &layout, const void *record);

// The bits that remain to be read in the stream from its position (0 once it overran): what
// a count read from an object is held against before anything is allocated.
int64_t R13BitsLeft(const CBitStream &stream);

// The two conversions of angles between the stream (radians) and the records (degrees).
// ToDegrees cuts pi at 3.14159265359; the other reading uses pi to the double's precision.
// The writer goes back with the short pi for both.
double R13ToDegrees(double radians);
double R13RadiansToDegrees(double radians);
double R13ToRadians(double degrees);

#endif
