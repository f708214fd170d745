// Helpers of the release 13 table tests: objects built with the library's own writer.
#ifndef VELKO_TESTS_R13_TEST_OBJECTS_H
#define VELKO_TESTS_R13_TEST_OBJECTS_H

#include "dwg13/r13_tables.h"
#include "io/bit_writer.h"

#include <cstdlib>
#include <cstring>
#include <vector>

namespace velko_test {

// The bytes of an object, as CDrawingFile::ReadObject delivers it.
inline std::vector<uint8_t> Bytes(const CBitWriter &writer) {
    return std::vector<uint8_t>(writer.Data(), writer.Data() + writer.TellSize());
}

// A malloc copy of a text, for the records to own.
inline char *Dup(const char *text) {
    size_t n = std::strlen(text) + 1;
    char *copy = static_cast<char *>(std::malloc(n));
    std::memcpy(copy, text, n);
    return copy;
}

inline std::vector<uint8_t> Written(const CR13TableRecord &record) {
    CBitWriter writer;
    record.WriteDWG(writer);
    return Bytes(writer);
}

// An object of `type` whose head carries `handle`; `body` adds what follows it.
template <typename Body>
std::vector<uint8_t> HandObject(int16_t type, const char *handle, Body body) {
    CBitWriter writer;
    R13BeginObject(writer, type);
    writer.WriteBits(0, 4);
    writer.WriteHandleText(handle);
    body(writer);
    R13EndObject(writer);
    return Bytes(writer);
}

inline CHandleRef Ref(int16_t code, uint32_t value) {
    CHandleRef ref;
    ref.code = code;
    ref.value = value;
    return ref;
}

} // namespace velko_test

#endif
