// The fields of the public entity records as velko dump prints them: each kind's part of
// CDB_ENTITY described once, field by field (its key is the member's name, its print is
// chosen from the member's type), and one function that adds a field's value to a report.
//
// The records are byte-packed: every value is copied out of the record before it is used,
// and a list is read only as far as its count says and only when its pointer is set.
#ifndef VELKO_RECORD_FIELDS_H
#define VELKO_RECORD_FIELDS_H

#include "json_writer.h"
#include "velkow32.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

// How a record field is printed; chosen from the field's declared type by PrintOf. The
// lists (a pointer with a count elsewhere in the part) are named by the list macros.
enum class Print {
    kShort,
    kByte,
    kLong,
    kNumber,
    kText,
    kChars,
    kPoint2,
    kPoint3,
    kShorts,
    kNumbers,
    kPoints3,
    kWeightedPoints
};

template <typename T> struct PrintOf;
template <> struct PrintOf<int16_t> { static constexpr Print value = Print::kShort; };
template <> struct PrintOf<uint8_t> { static constexpr Print value = Print::kByte; };
template <> struct PrintOf<int32_t> { static constexpr Print value = Print::kLong; };
template <> struct PrintOf<double> { static constexpr Print value = Print::kNumber; };
template <> struct PrintOf<char *> { static constexpr Print value = Print::kText; };
template <size_t N> struct PrintOf<char[N]> { static constexpr Print value = Print::kChars; };
template <> struct PrintOf<CDB_POINT2> { static constexpr Print value = Print::kPoint2; };
template <> struct PrintOf<CDB_POINT3> { static constexpr Print value = Print::kPoint3; };

// One field of a kind's part of the record: its key (the member's name), how it prints,
// where it stands in the part and how many bytes it takes. A list (a pointer) also says
// where its count, a short, stands.
struct Field {
    const char *key;
    Print print;
    size_t offset;
    size_t size;
    size_t count_offset;
};

template <typename T> constexpr Field FieldOf(const char *key, size_t offset) {
    return Field{key, PrintOf<T>::value, offset, sizeof(T), 0};
}

// A field of a record part, named by its member.
#define FIELD(part, member) FieldOf<decltype(part::member)>(#member, offsetof(part, member))
// A list of a record part printed as `print`, its length in the short member `count`.
#define LIST(part, member, print, count)                                                           \
    Field {                                                                                        \
#member, print, offsetof(part, member), sizeof(void *), offsetof(part, count)              \
    }

// A kind, where its part stands in the record, and the part's fields.
struct KindFields {
    int16_t kind;
    size_t part_offset;
    const Field *fields;
    size_t count;
};

template <size_t N>
constexpr KindFields Kind(int16_t kind, size_t part_offset, const Field (&fields)[N]) {
    return KindFields{kind, part_offset, fields, N};
}

// The record's bytes are read with memcpy: the record is byte-packed.
template <typename T> T ReadAt(const void *at) {
    T value;
    std::memcpy(&value, at, sizeof value);
    return value;
}

// Points are copied out of the record before their address is taken.
void AddPoint3(Report &r, const char *key, CDB_POINT3 p);
void AddPoint2(Report &r, const char *key, CDB_POINT2 p);

// Upper-case hexadecimal digits of `n` bytes.
std::string Hex(const uint8_t *bytes, size_t n);

// Adds the value of `field` of the part that starts at `part`.
void AddField(Report &report, const Field &field, const unsigned char *part);

// Adds every field of the kind's part of `record`.
void AddKindFields(Report &report, const KindFields &kind, const CDB_ENTITY &record);

// The fields of kind `kind`'s part; null for a kind whose part has none to print.
const KindFields *FindKindFields(int kind);

// What a release 13 record holds beyond its kind's fields: the common fields a reader of a
// release 13 drawing wants (layer_handle, line_type_handle, line_type_scale, invisibility;
// only when the record has a layer handle, as release 13 records do), and, when `json` is
// set, the link block.
void AddRelease13Common(Report &report, const CDB_ENTITY &record, bool json);

// The blocks of data of the release 13 kinds: a multiline's vertices with the parameters of
// their lines, and the size and the first bytes of the modeler and OLE data.
void AddRelease13Blocks(Report &report, const CDB_ENTITY &record);

// The number of leading bytes of a block of data shown in a dump.
constexpr size_t kDataPreviewBytes = 16;

#endif
