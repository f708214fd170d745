// Helpers of the tests of the release 13 classes of the kinds that release 12 shares:
// entity objects built bit by bit, and objects written by a class and read back.
#ifndef VELKO_TESTS_R13_CLASSIC_TEST_OBJECTS_H
#define VELKO_TESTS_R13_CLASSIC_TEST_OBJECTS_H

#include "support/dwg13_builder.h"

#include "dwg13/r13_drawing.h"
#include "dwg13/r13_entity.h"
#include "dwg13/r13_entity_kinds.h"
#include "dwg13/r13_test_objects.h"
#include "io/bit_stream.h"
#include "io/bit_writer.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <vector>

namespace velko_test {

using Stream = std::function<void(CBitWriter &)>;

// An entity object of `type` built by hand: handle 40, no extended data, model space, line
// type by layer, no links, layer 10; `body` between the head and the trailer, `behind`
// behind the trailer.
inline std::vector<uint8_t> HandEntity(int16_t type, const Stream &body,
                                       const Stream &behind = {}) {
    CBitWriter w;
    w.WriteByte(0);
    w.WriteByte(0);
    w.WriteBitShort(type);
    w.WriteBits(0, 4);
    w.WriteHandleText("40");
    w.WriteBitShort(0);
    w.WriteRawLong(0);
    for (int bit : {0, 1, 0, 0, 0, 1, 1})
        w.WriteBit(bit);
    w.WriteBitShort(256);
    w.WriteBitDouble(1.0);
    w.WriteBitShort(0);
    body(w);
    w.WriteHandle(Ref(3, 0));
    w.WriteBits(5, 4);
    w.WriteHandleText("10");
    if (behind)
        behind(w);
    w.Align();
    w.WriteRawShort(0xFFFF);
    w.PatchShort(static_cast<uint16_t>(w.TellSize() - 4), 0);
    return Bytes(w);
}

inline std::unique_ptr<CR13Entity> Make(int16_t type, CR13Drawing *drawing = nullptr) {
    const R13EntityKind *kind = FindR13EntityKind(type);
    if (!kind || !kind->make)
        return nullptr;
    return std::unique_ptr<CR13Entity>(kind->make(drawing, type));
}

// The object decoded by the class of its type; `stream` (when given) stays behind the
// object's handles.
inline std::unique_ptr<CR13Entity> Decode(const std::vector<uint8_t> &object, int16_t type,
                                          CR13Drawing *drawing = nullptr,
                                          CBitStream *stream = nullptr) {
    auto entity = Make(type, drawing);
    EXPECT_NE(entity, nullptr);
    if (!entity)
        return nullptr;
    CBitStream own(object.data());
    CBitStream &s = stream ? *stream : own;
    if (stream)
        s.Attach(object.data());
    EXPECT_EQ(entity->ReadDWG(s), 1);
    return entity;
}

// The entity written by its class (with the builder's head) and read back.
inline std::unique_ptr<CR13Entity> RoundTrip(CR13Entity &entity, CBitStream *stream = nullptr,
                                             std::vector<uint8_t> *bytes = nullptr) {
    SetEntityHead(entity, R13EntityHead{}.Type(entity.FileType()).Handle(0x40));
    static std::vector<uint8_t> kept;
    std::vector<uint8_t> &object = bytes ? *bytes : kept;
    object = EntityObjectOf(entity);
    return Decode(object, entity.FileType(), nullptr, stream);
}

inline void Put(CBitWriter &w, CDB_POINT3 p) {
    w.WritePoint3(p.x, p.y, p.z);
}

constexpr double kPi = 3.141592653589793;

} // namespace velko_test

#endif
