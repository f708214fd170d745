// Helpers of the tests of the release 13 kinds: objects of a class written with the
// library's writer and read back by a fresh object of the same class.
#ifndef VELKO_TESTS_R13_NEW_KINDS_SUPPORT_H
#define VELKO_TESTS_R13_NEW_KINDS_SUPPORT_H

#include "support/dwg13_builder.h"

#include "r13_test_objects.h"

#include "dwg13/r13_entity.h"
#include "dwg13/r13_entity_kinds.h"
#include "io/bit_stream.h"

#include <cstring>
#include <memory>
#include <vector>

namespace velko_test {

// A fresh object of the class of object type `type`, without a drawing.
inline std::unique_ptr<CR13Entity> MakeOfType(int16_t type, CR13Drawing *drawing = nullptr) {
    const R13EntityKind *kind = FindR13EntityKind(type);
    return std::unique_ptr<CR13Entity>(kind && kind->make ? kind->make(drawing, type) : nullptr);
}

// An object of type `type` with a model space head (handle 40) and nothing else filled.
inline std::unique_ptr<CR13Entity> NewEntity(int16_t type, CR13Drawing *drawing = nullptr) {
    auto entity = MakeOfType(type, drawing);
    SetEntityHead(*entity, R13EntityHead{}.Type(type).Handle(0x40));
    return entity;
}

// What a fresh object of the same type makes of `object`; the decode's result in `result`.
inline std::unique_ptr<CR13Entity> ReadBack(int16_t type, const R13Object &object, int &result,
                                            CR13Drawing *drawing = nullptr) {
    auto read = MakeOfType(type, drawing);
    CBitStream stream(object.data(), static_cast<int32_t>(object.size()));
    result = read->ReadDWG(stream);
    return read;
}

// Writes `entity` and reads it back; the decode must succeed.
inline std::unique_ptr<CR13Entity> RoundTrip(const CR13Entity &entity) {
    int result = -1;
    auto read = ReadBack(entity.FileType(), EntityObjectOf(entity), result);
    return result == 1 ? std::move(read) : nullptr;
}

// A caller's record like the object's, without the heap blocks of its common part (those
// stay the object's): what a client passes to SetRecord.
inline CDB_ENTITY CallerRecord(const CR13Entity &entity) {
    CDB_ENTITY in;
    std::memcpy(static_cast<void *>(&in), entity.GetData(), sizeof in);
    in.handle = in.layer_handle = in.line_type_handle = nullptr;
    in.eed_data = nullptr;
    in.eed_size = 0;
    return in;
}

} // namespace velko_test

#endif
