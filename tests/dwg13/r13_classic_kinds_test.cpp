// The release 13 classes of the kinds that release 12 has too: each class on objects built
// bit by bit (what the reader makes of a stream) and on objects its own writer made (that
// the two directions agree). Packed record fields are handed to gtest as copies (unary plus).
#include "support/dwg13_builder.h"

#include "dwg13/r13_classic_kinds.h"
#include "dwg13/r13_drawing.h"
#include "dwg13/r13_entity_kinds.h"
#include "dwg13/r13_fields.h"
#include "dwg13/r13_test_objects.h"
#include "io/bit_stream.h"
#include "io/bit_writer.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <functional>
#include <memory>
#include <vector>

namespace velko_test {
namespace {

using Stream = std::function<void(CBitWriter &)>;

// An entity object of `type` built by hand: handle 40, no extended data, model space, line
// type by layer, no links, layer 10; `body` between the head and the trailer, `behind`
// behind the trailer.
std::vector<uint8_t> HandEntity(int16_t type, const Stream &body, const Stream &behind = {}) {
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

std::unique_ptr<CR13Entity> Make(int16_t type, CR13Drawing *drawing = nullptr) {
    const R13EntityKind *kind = FindR13EntityKind(type);
    if (!kind || !kind->make)
        return nullptr;
    return std::unique_ptr<CR13Entity>(kind->make(drawing, type));
}

// The object decoded by the class of its type; `stream` (when given) stays behind the
// object's handles.
std::unique_ptr<CR13Entity> Decode(const std::vector<uint8_t> &object, int16_t type,
                                   CR13Drawing *drawing = nullptr, CBitStream *stream = nullptr) {
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
std::unique_ptr<CR13Entity> RoundTrip(CR13Entity &entity, CBitStream *stream = nullptr,
                                      std::vector<uint8_t> *bytes = nullptr) {
    SetEntityHead(entity, R13EntityHead{}.Type(entity.FileType()).Handle(0x40));
    static std::vector<uint8_t> kept;
    std::vector<uint8_t> &object = bytes ? *bytes : kept;
    object = EntityObjectOf(entity);
    return Decode(object, entity.FileType(), nullptr, stream);
}

void Put(CBitWriter &w, CDB_POINT3 p) {
    w.WritePoint3(p.x, p.y, p.z);
}

constexpr double kPi = 3.141592653589793;

// ---- LINE, POINT, 3DFACE ----------------------------------------------------------------------

TEST(R13ClassicKinds, LineReadsItsPointsThicknessAndExtrusion) {
    auto line = Decode(HandEntity(19,
                                  [](CBitWriter &w) {
                                      Put(w, {1, 2, 3});
                                      Put(w, {4, 5, 6});
                                      w.WriteBitDouble(0.5);
                                      Put(w, {0, 1, 0});
                                  }),
                       19);
    const CDB_ENTITY *r = line->GetData();
    EXPECT_EQ(+r->entity_type, CDB_LINE);
    EXPECT_EQ(+r->line.start_point.z, 3.0);
    EXPECT_EQ(+r->line.end_point.x, 4.0);
    EXPECT_EQ(+r->thickness, 0.5);
    EXPECT_EQ(+r->extrusion.y, 1.0);
    EXPECT_STREQ(r->layer_handle, "10");
}

TEST(R13ClassicKinds, LineRoundTripsAndItsEstimateCountsTwentyBits) {
    auto line = Make(19);
    SetEntityHead(*line, R13EntityHead{}.Type(19).Handle(0x40));
    // A line of zeros: its 20 bits, and the colour's 8.
    EXPECT_EQ(line->EstimateBits(), CR13Entity::EncodeObjectBits(20 + 8));
    line->GetData()->line.end_point = CDB_POINT3{7, 1, 0};
    EXPECT_EQ(line->EstimateBits(), CR13Entity::EncodeObjectBits(20 + 8 + 64));
    auto back = RoundTrip(*line);
    EXPECT_EQ(+back->GetData()->line.end_point.x, 7.0);
    EXPECT_EQ(+back->GetData()->extrusion.z, 1.0);
}

TEST(R13ClassicKinds, PointKeepsItsAxisAngleInRadians) {
    auto point = Make(27);
    CDB_ENTITY *r = point->GetData();
    r->point.location = CDB_POINT3{1, 2, 3};
    r->point.x_axis_angle = 0.25;
    r->thickness = 2.0;
    auto back = RoundTrip(*point);
    EXPECT_EQ(+back->GetData()->entity_type, CDB_POINT);
    EXPECT_EQ(+back->GetData()->point.location.y, 2.0);
    EXPECT_EQ(+back->GetData()->point.x_axis_angle, 0.25);
    EXPECT_EQ(+back->GetData()->thickness, 2.0);
}

TEST(R13ClassicKinds, FaceKeepsItsCornersAndInvisibleEdges) {
    for (int16_t edges : {0, 5, 15}) {
        auto face = Make(28);
        CDB_ENTITY *r = face->GetData();
        r->face.corner_1 = CDB_POINT3{1, 0, 0};
        r->face.corner_4 = CDB_POINT3{0, 4, 9};
        r->face.invisible_edges = edges;
        auto back = RoundTrip(*face);
        EXPECT_EQ(+back->GetData()->entity_type, CDB_3DFACE);
        EXPECT_EQ(+back->GetData()->face.corner_4.z, 9.0);
        EXPECT_EQ(+back->GetData()->face.invisible_edges, edges);
    }
}

// ---- CIRCLE, ARC, SOLID, TRACE ------------------------------------------------------------------

TEST(R13ClassicKinds, CircleTakesItsElevationFromTheCentre) {
    auto circle = Decode(HandEntity(18,
                                    [](CBitWriter &w) {
                                        Put(w, {1, 2, 3.5});
                                        w.WriteBitDouble(4.0);
                                        w.WriteBitDouble(0.0);
                                        Put(w, {0, 0, 1});
                                    }),
                         18);
    EXPECT_EQ(+circle->GetData()->entity_type, CDB_CIRCLE);
    EXPECT_EQ(+circle->GetData()->circle.radius, 4.0);
    EXPECT_EQ(+circle->GetData()->elevation, 3.5);
}

TEST(R13ClassicKinds, ArcAnglesGoThroughTheShortPi) {
    auto arc = Decode(HandEntity(17,
                                 [](CBitWriter &w) {
                                     Put(w, {0, 0, 2});
                                     w.WriteBitDouble(1.0);
                                     w.WriteBitDouble(0.0);
                                     Put(w, {0, 0, 1});
                                     w.WriteBitDouble(3.14159265359);
                                     w.WriteBitDouble(kPi);
                                 }),
                      17);
    const CDB_ENTITY *r = arc->GetData();
    EXPECT_EQ(+r->entity_type, CDB_ARC);
    EXPECT_EQ(+r->arc.start_angle, 180.0);
    EXPECT_EQ(+r->arc.end_angle, kPi / 3.14159265359 * 180.0);
    EXPECT_EQ(+r->elevation, 2.0);
    auto back = RoundTrip(*arc);
    EXPECT_NEAR(+back->GetData()->arc.start_angle, 180.0, 1e-9);
    EXPECT_EQ(+back->GetData()->arc.radius, 1.0);
}

TEST(R13ClassicKinds, SolidAndTraceCornersLieAtTheElevation) {
    for (int16_t type : {31, 32}) {
        auto solid = Decode(HandEntity(type,
                                       [](CBitWriter &w) {
                                           w.WriteBitDouble(0.0);
                                           w.WriteBitDouble(6.0);
                                           for (double v : {1, 2, 3, 4, 5, 6, 7, 8})
                                               w.WriteRawDouble(v);
                                           Put(w, {0, 0, 1});
                                       }),
                            type);
        const CDB_ENTITY *r = solid->GetData();
        EXPECT_EQ(+r->entity_type, type == 31 ? CDB_SOLID : CDB_TRACE);
        EXPECT_EQ(+r->trace.corner_3.x, 5.0);
        EXPECT_EQ(+r->trace.corner_4.y, 8.0);
        EXPECT_EQ(+r->trace.corner_1.z, 6.0);
        EXPECT_EQ(+r->trace.corner_4.z, 6.0);
        auto back = RoundTrip(*solid);
        EXPECT_EQ(back->FileType(), type);
        EXPECT_EQ(+back->GetData()->trace.corner_2.y, 4.0);
        EXPECT_EQ(+back->GetData()->trace.corner_2.z, 6.0);
    }
}

// ---- TEXT and ATTDEF
// ------------------------------------------------------------------------------

TEST(R13ClassicKinds, TextPlacesItsPointsAndKeepsItsStyleHandle) {
    auto text = Decode(HandEntity(
                           1,
                           [](CBitWriter &w) {
                               w.WriteBitDouble(2.0); // elevation
                               w.WriteRawDouble(10);
                               w.WriteRawDouble(11);
                               w.WriteRawDouble(12);
                               w.WriteRawDouble(13);
                               Put(w, {0, 0, 1});
                               w.WriteBitDouble(0.0);
                               w.WriteBitDouble(0.0);
                               w.WriteBitDouble(kPi / 2);
                               w.WriteBitDouble(2.5);
                               w.WriteBitDouble(1.0);
                               w.WriteText("hello");
                               w.WriteBitShort(2);
                               w.WriteBitShort(4);
                               w.WriteBitShort(3);
                           },
                           [](CBitWriter &w) {
                               w.WriteBits(5, 4);
                               w.WriteHandleText("11");
                           }),
                       1);
    const CDB_ENTITY *r = text->GetData();
    EXPECT_EQ(+r->entity_type, CDB_TEXT);
    EXPECT_EQ(+r->text.insertion_point.x, 10.0);
    EXPECT_EQ(+r->text.insertion_point.z, 2.0);
    EXPECT_EQ(+r->text.alignment_point.y, 13.0);
    EXPECT_EQ(+r->text.alignment_point.z, 0.0);
    EXPECT_NEAR(+r->text.rotation, 90.0, 1e-9);
    EXPECT_STREQ(r->text.text, "hello");
    EXPECT_EQ(+r->text.generation_flags, 2);
    EXPECT_EQ(+r->text.horizontal_justification, 4);
    EXPECT_EQ(+r->text.vertical_justification, 3);
    EXPECT_STREQ(r->text.style_handle, "11");

    auto back = RoundTrip(*text);
    const CDB_ENTITY *b = back->GetData();
    EXPECT_STREQ(b->text.text, "hello");
    EXPECT_STREQ(b->text.style_handle, "11");
    EXPECT_NEAR(+b->text.rotation, 90.0, 1e-9);
    EXPECT_EQ(+b->text.insertion_point.z, 2.0);
    EXPECT_EQ(+b->text.height, 2.5);
}

TEST(R13ClassicKinds, TextWithAnEmptyStringRoundTrips) {
    auto text = Make(1);
    auto back = RoundTrip(*text);
    EXPECT_STREQ(back->GetData()->text.text, "");
    EXPECT_STREQ(back->GetData()->text.style_handle, "");
}

TEST(R13ClassicKinds, AttdefKeepsItsThreeTextsAndFlags) {
    auto attdef = Make(3);
    CDB_ENTITY *r = attdef->GetData();
    r->elevation = 1.5;
    r->attdef.insertion_point = CDB_POINT3{3, 4, 1.5};
    r->attdef.default_value = Dup("D");
    r->attdef.tag = Dup("TAG");
    r->attdef.prompt = Dup("Prompt?");
    r->attdef.flags = 9;
    r->attdef.field_length = 6;
    r->attdef.oblique_angle = 15.0;
    r->attdef.style_handle = Dup("11");
    auto back = RoundTrip(*attdef);
    const CDB_ENTITY *b = back->GetData();
    EXPECT_EQ(+b->entity_type, CDB_ATTDEF);
    EXPECT_STREQ(b->attdef.default_value, "D");
    EXPECT_STREQ(b->attdef.tag, "TAG");
    EXPECT_STREQ(b->attdef.prompt, "Prompt?");
    EXPECT_EQ(+b->attdef.flags, 9);
    EXPECT_EQ(+b->attdef.field_length, 6);
    EXPECT_NEAR(+b->attdef.oblique_angle, 15.0, 1e-9);
    EXPECT_EQ(+b->attdef.insertion_point.z, 1.5);
    EXPECT_STREQ(b->attdef.style_handle, "11");
}

// ---- ATTRIB
// ---------------------------------------------------------------------------------------

// An ATTRIB body: data form `form` with the doubles `points`, then the rest in its plain form.
Stream AttribBody(int form, std::vector<double> points, double oblique, double rotation,
                  std::vector<double> size) {
    return [=](CBitWriter &w) {
        w.WriteBits(static_cast<uint32_t>(form), 2);
        for (double v : points)
            w.WriteRawDouble(v);
        Put(w, {0, 0, 1});
        w.WriteBitDouble(0.0);
        w.WriteBitDouble(oblique);
        w.WriteBitDouble(rotation);
        for (double v : size)
            w.WriteBitDouble(v);
        w.WriteText("value");
        w.WriteBitShort(0);
        w.WriteBitShort(1);
        w.WriteBitShort(2);
        w.WriteText("TAG");
        w.WriteBitShort(8);
        w.WriteByte(4);
    };
}

Stream StyleHandle() {
    return [](CBitWriter &w) {
        w.WriteBits(5, 4);
        w.WriteHandleText("11");
    };
}

TEST(R13ClassicKinds, AttribFormOneGivesZOneForBothPoints) {
    auto attrib =
        Decode(HandEntity(2, AttribBody(1, {5, 6, 7}, 0, 0, {2.0, 1.0}), StyleHandle()), 2);
    const CDB_ATTRIB_type &a = attrib->GetData()->attrib;
    EXPECT_EQ(+a.insertion_point.x, 5.0);
    EXPECT_EQ(+a.insertion_point.y, 6.0);
    EXPECT_EQ(+a.alignment_point.x, 7.0);
    EXPECT_EQ(+a.alignment_point.y, 6.0);
    EXPECT_EQ(+a.insertion_point.z, 1.0);
    EXPECT_EQ(+a.alignment_point.z, 1.0);
    EXPECT_STREQ(a.value, "value");
    EXPECT_STREQ(a.tag, "TAG");
    EXPECT_EQ(+a.field_length, 8);
    EXPECT_EQ(+a.flags, 4);
    EXPECT_STREQ(a.style_handle, "11");
}

TEST(R13ClassicKinds, AttribFormZeroCarriesTheInsertionZToTheAlignment) {
    auto attrib =
        Decode(HandEntity(2, AttribBody(0, {9, 1, 2, 3, 4}, 0, 0, {2.0, 1.0}), StyleHandle()), 2);
    const CDB_ATTRIB_type &a = attrib->GetData()->attrib;
    EXPECT_EQ(+a.insertion_point.z, 9.0);
    EXPECT_EQ(+a.insertion_point.x, 1.0);
    EXPECT_EQ(+a.alignment_point.y, 4.0);
    EXPECT_EQ(+a.alignment_point.z, 9.0);
}

TEST(R13ClassicKinds, AttribFormTwoHasZZeroAndFormThreeNoPoints) {
    auto two =
        Decode(HandEntity(2, AttribBody(2, {1, 2, 3, 4}, 0, 0, {2.0, 1.0}), StyleHandle()), 2);
    EXPECT_EQ(+two->GetData()->attrib.alignment_point.x, 3.0);
    EXPECT_EQ(+two->GetData()->attrib.insertion_point.z, 0.0);
    auto three = Decode(HandEntity(2, AttribBody(3, {}, 0, 0, {2.0, 1.0}), StyleHandle()), 2);
    EXPECT_EQ(+three->GetData()->attrib.insertion_point.x, 0.0);
    EXPECT_EQ(+three->GetData()->attrib.height, 2.0);
    EXPECT_STREQ(three->GetData()->attrib.tag, "TAG");
}

TEST(R13ClassicKinds, AttribAnglesOutsideZeroToSixPointFourBecomeZero) {
    auto attrib = Decode(HandEntity(2, AttribBody(3, {}, 7.0, -0.5, {2.0, 1.0}), StyleHandle()), 2);
    EXPECT_EQ(+attrib->GetData()->attrib.oblique_angle, 0.0);
    EXPECT_EQ(+attrib->GetData()->attrib.rotation, 0.0);
    auto inside =
        Decode(HandEntity(2, AttribBody(3, {}, 6.4, 3.14159265359, {2.0, 1.0}), StyleHandle()), 2);
    EXPECT_EQ(+inside->GetData()->attrib.rotation, 180.0);
    EXPECT_EQ(+inside->GetData()->attrib.oblique_angle, R13ToDegrees(6.4));
}

TEST(R13ClassicKinds, AttribRepairsAFileWithOneMoreDoubleInFrontOfTheSize) {
    // An RD of 0.0, then the height and width factor: the first reading finds height 0.
    auto repaired = Decode(HandEntity(
                               2,
                               [](CBitWriter &w) {
                                   w.WriteBits(3, 2);
                                   Put(w, {0, 0, 1});
                                   w.WriteBitDouble(0.0);
                                   w.WriteBitDouble(0.0);
                                   w.WriteBitDouble(0.0);
                                   w.WriteRawDouble(0.0);
                                   w.WriteBitDouble(2.5);
                                   w.WriteBitDouble(0.75);
                                   w.WriteText("v");
                                   w.WriteBitShort(0);
                                   w.WriteBitShort(0);
                                   w.WriteBitShort(0);
                                   w.WriteText("T");
                                   w.WriteBitShort(0);
                                   w.WriteByte(0);
                               },
                               StyleHandle()),
                           2);
    EXPECT_EQ(+repaired->GetData()->attrib.height, 2.5);
    EXPECT_EQ(+repaired->GetData()->attrib.width_factor, 0.75);
    EXPECT_STREQ(repaired->GetData()->attrib.value, "v");
    EXPECT_STREQ(repaired->GetData()->attrib.style_handle, "11");
}

TEST(R13ClassicKinds, AttribWriterPutsTheRepairDoubleInFrontOfAnEmptySize) {
    for (double width : {0.0, 2.0}) {
        auto attrib = Make(2);
        auto *a = static_cast<CR13Attrib *>(attrib.get());
        a->data_form = 3;
        a->GetData()->attrib.height = width == 0.0 ? 3.0 : -1.0;
        a->GetData()->attrib.width_factor = width;
        a->GetData()->attrib.value = Dup("x");
        auto back = RoundTrip(*attrib);
        EXPECT_EQ(+back->GetData()->attrib.height, width == 0.0 ? 3.0 : -1.0);
        EXPECT_EQ(+back->GetData()->attrib.width_factor, width);
        EXPECT_STREQ(back->GetData()->attrib.value, "x");
    }
}

TEST(R13ClassicKinds, AttribRoundTripsEveryDataForm) {
    for (int form : {0, 1, 2, 3}) {
        auto attrib = Make(2);
        auto *a = static_cast<CR13Attrib *>(attrib.get());
        a->data_form = form;
        CDB_ATTRIB_type &r = a->GetData()->attrib;
        r.insertion_point = CDB_POINT3{1, 2, form == 1 ? 1.0 : form == 0 ? 5.0 : 0.0};
        r.alignment_point = CDB_POINT3{3, form == 1 ? 2.0 : 4.0, r.insertion_point.z};
        r.height = 2.0;
        r.width_factor = 1.0;
        r.rotation = 45.0;
        r.tag = Dup("T");
        auto back = RoundTrip(*attrib);
        const CDB_ATTRIB_type &b = back->GetData()->attrib;
        EXPECT_EQ(static_cast<CR13Attrib *>(back.get())->data_form, form);
        if (form != 3) {
            EXPECT_EQ(+b.insertion_point.x, 1.0) << form;
            EXPECT_EQ(+b.alignment_point.y, +r.alignment_point.y) << form;
            EXPECT_EQ(+b.insertion_point.z, +r.insertion_point.z) << form;
        }
        EXPECT_NEAR(+b.rotation, 45.0, 1e-9);
        EXPECT_STREQ(b.tag, "T");
    }
}

// ---- SHAPE
// ----------------------------------------------------------------------------------------

TEST(R13ClassicKinds, ShapeKeepsXAndYOfItsExtrusionAtZero) {
    for (uint32_t bits : {0u, 5u, 15u}) {
        auto shape = Decode(HandEntity(
                                33,
                                [bits](CBitWriter &w) {
                                    Put(w, {1, 2, 3});
                                    w.WriteBitDouble(2.0);
                                    w.WriteBitDouble(3.14159265359);
                                    w.WriteBitDouble(1.0);
                                    w.WriteBitDouble(0.0);
                                    w.WriteBitDouble(0.0);
                                    w.WriteBitShort(130);
                                    w.WriteBits(bits, 4);
                                    w.WriteBitDouble(-1.0);
                                },
                                StyleHandle()),
                            33);
        const CDB_ENTITY *r = shape->GetData();
        EXPECT_EQ(+r->entity_type, CDB_SHAPE);
        EXPECT_EQ(+r->extrusion.x, 0.0);
        EXPECT_EQ(+r->extrusion.y, 0.0);
        EXPECT_EQ(+r->extrusion.z, -1.0);
        EXPECT_EQ(+r->shape.shape_flags, static_cast<int16_t>(bits));
        EXPECT_EQ(+r->shape.shape_number, 130);
        EXPECT_EQ(+r->shape.rotation, 180.0);
        EXPECT_EQ(+r->elevation, 3.0);
        EXPECT_STREQ(r->shape.style_handle, "11");
        auto back = RoundTrip(*shape);
        EXPECT_EQ(+back->GetData()->shape.shape_flags, static_cast<int16_t>(bits));
        EXPECT_EQ(+back->GetData()->extrusion.z, -1.0);
        EXPECT_EQ(+back->GetData()->shape.size, 2.0);
    }
}

// ---- INSERT and MINSERT
// ---------------------------------------------------------------------------

TEST(R13ClassicKinds, InsertHasOneColumnAndRowAndItsRotationInFullPiDegrees) {
    auto insert = Decode(HandEntity(
                             7,
                             [](CBitWriter &w) {
                                 Put(w, {1, 2, 3});
                                 w.WriteBitDouble(2.0);
                                 w.WriteBitDouble(1.0);
                                 w.WriteBitDouble(1.0);
                                 w.WriteBitDouble(kPi);
                                 Put(w, {0, 0, 1});
                                 w.WriteBit(0);
                             },
                             [](CBitWriter &w) {
                                 w.WriteBits(5, 4);
                                 w.WriteHandleText("50");
                             }),
                         7);
    const CDB_INSERT_type &i = insert->GetData()->insert;
    EXPECT_EQ(+insert->GetData()->entity_type, CDB_INSERT);
    EXPECT_EQ(+i.rotation, 180.0);
    EXPECT_EQ(+i.x_scale, 2.0);
    EXPECT_EQ(+i.column_count, 1);
    EXPECT_EQ(+i.row_count, 1);
    EXPECT_EQ(+i.column_spacing, 0.0);
    EXPECT_EQ(+insert->GetData()->elevation, 3.0);
    EXPECT_STREQ(i.block_handle, "50");
}

TEST(R13ClassicKinds, MinsertKeepsItsGridAndTheAttributeLinks) {
    for (int follow : {0, 1}) {
        auto minsert = Make(8);
        auto *m = static_cast<CR13Insert *>(minsert.get());
        CDB_INSERT_type &i = m->GetData()->insert;
        i.column_count = 3;
        i.row_count = 0;
        i.column_spacing = 2.5;
        i.row_spacing = 1.0;
        i.attributes_follow = static_cast<int16_t>(follow);
        i.block_handle = Dup("50");
        m->first_attribute = Ref(4, 0x61);
        m->last_attribute = Ref(4, 0x62);
        m->sequence_end = Ref(4, 0x63);
        auto back = RoundTrip(*minsert);
        auto *b = static_cast<CR13Insert *>(back.get());
        EXPECT_EQ(b->FileType(), 8);
        EXPECT_EQ(+b->GetData()->insert.column_count, 3);
        EXPECT_EQ(+b->GetData()->insert.row_count, 0);
        EXPECT_EQ(+b->GetData()->insert.column_spacing, 2.5);
        EXPECT_EQ(+b->GetData()->insert.attributes_follow, follow);
        EXPECT_STREQ(b->GetData()->insert.block_handle, "50");
        EXPECT_EQ(b->first_attribute.value, follow ? 0x61u : 0u);
        EXPECT_EQ(b->last_attribute.value, follow ? 0x62u : 0u);
        EXPECT_EQ(b->sequence_end.value, follow ? 0x63u : 0u);
    }
}

// ---- VERTEX
// ---------------------------------------------------------------------------------------

TEST(R13ClassicKinds, VertexWithANegativeStartWidthTakesItAsEndWidth) {
    auto vertex = Decode(HandEntity(10,
                                    [](CBitWriter &w) {
                                        w.WriteByte(1);
                                        Put(w, {1, 2, 3});
                                        w.WriteBitDouble(-2.0);
                                        w.WriteBitDouble(0.5);
                                        w.WriteBitDouble(3.14159265359);
                                    }),
                         10);
    const CDB_VERTEX_type &v = vertex->GetData()->vertex;
    EXPECT_EQ(+v.start_width, -2.0);
    EXPECT_EQ(+v.end_width, -2.0);
    EXPECT_EQ(+v.bulge, 0.5);
    EXPECT_EQ(+v.tangent_direction, 180.0);
    EXPECT_EQ(+v.flags, 1);
    EXPECT_EQ(+v.polyface_index_1, -1);
    EXPECT_EQ(+vertex->GetData()->entity_type, CDB_VERTEX);
    auto back = RoundTrip(*vertex);
    EXPECT_EQ(+back->GetData()->vertex.end_width, -2.0);
    EXPECT_EQ(+back->GetData()->vertex.bulge, 0.5);
    EXPECT_NEAR(+back->GetData()->vertex.tangent_direction, 180.0, 1e-9);
}

TEST(R13ClassicKinds, VertexWithAPositiveStartWidthReadsItsEndWidth) {
    auto vertex = Make(10);
    vertex->GetData()->vertex.start_width = 0.0;
    vertex->GetData()->vertex.end_width = 4.0;
    auto back = RoundTrip(*vertex);
    EXPECT_EQ(+back->GetData()->vertex.start_width, 0.0);
    EXPECT_EQ(+back->GetData()->vertex.end_width, 4.0);
}

TEST(R13ClassicKinds, VertexFormsForceTheirFlags) {
    struct Case {
        int16_t type;
        int16_t read;
        int16_t flags;
    };
    for (Case c : {Case{11, 0x01, 0x21}, Case{12, 0x03, 0x43}, Case{13, 0xFF, 0xC0}}) {
        auto vertex = Decode(HandEntity(c.type,
                                        [&](CBitWriter &w) {
                                            w.WriteByte(static_cast<uint8_t>(c.read));
                                            Put(w, {1, 2, 3});
                                        }),
                             c.type);
        EXPECT_EQ(+vertex->GetData()->vertex.flags, c.flags) << c.type;
        EXPECT_EQ(+vertex->GetData()->vertex.location.z, 3.0);
        EXPECT_EQ(+vertex->GetData()->elevation, 3.0);
        auto back = RoundTrip(*vertex);
        EXPECT_EQ(back->FileType(), c.type);
        EXPECT_EQ(+back->GetData()->vertex.location.y, 2.0);
    }
}

TEST(R13ClassicKinds, FaceVertexWritesMinusOneInTheLongForm) {
    auto vertex = Make(14);
    CDB_VERTEX_type &v = vertex->GetData()->vertex;
    v.polyface_index_1 = 1;
    v.polyface_index_2 = -2;
    v.polyface_index_3 = 3;
    v.polyface_index_4 = -1;
    std::vector<uint8_t> bytes;
    auto back = RoundTrip(*vertex, nullptr, &bytes);
    const CDB_VERTEX_type &b = back->GetData()->vertex;
    EXPECT_EQ(+b.flags, 0x80);
    EXPECT_EQ(+b.polyface_index_1, 1);
    EXPECT_EQ(+b.polyface_index_2, -2);
    EXPECT_EQ(+b.polyface_index_4, -1);

    // The object as the class writes it: the -1 is the long form, bits 0 0 and FF FF.
    auto hand = HandEntity(14, [](CBitWriter &w) {
        for (int16_t i : {1, -2, 3})
            w.WriteBitShort(i);
        w.WriteBits(0, 2);
        w.WriteByte(0xFF);
        w.WriteByte(0xFF);
    });
    CDB_ENTITY *own = vertex->GetData();
    own->object_bits = 0;
    own->reserved_bit_1 = 0;
    CBitWriter written;
    vertex->WriteDWG(written);
    EXPECT_EQ(Bytes(written), hand);
}

TEST(R13ClassicKinds, VerticesTakeThePlaneOfThePolylineInFrontOfThem) {
    CR13Drawing drawing(nullptr, 0);
    auto polyline = Make(15);
    CDB_ENTITY *p = polyline->GetData();
    p->elevation = 4.0;
    p->extrusion = CDB_POINT3{0, 1, 0};
    p->polyline.flags = 1;
    SetEntityHead(*polyline, R13EntityHead{}.Type(15).Handle(0x40));
    Decode(EntityObjectOf(*polyline), 15, &drawing);
    EXPECT_EQ(+drawing.PolylineElevation(), 4.0);
    EXPECT_EQ(+drawing.PolylineExtrusion().y, 1.0);

    for (int16_t type : {10, 11, 14}) {
        auto vertex = Make(type);
        vertex->GetData()->vertex.location = CDB_POINT3{1, 2, 9};
        SetEntityHead(*vertex, R13EntityHead{}.Type(type).Handle(0x41));
        auto read = Decode(EntityObjectOf(*vertex), type, &drawing);
        const CDB_ENTITY *r = read->GetData();
        EXPECT_EQ(+r->extrusion.y, 1.0) << type;
        // Types 10 and 14 lie at the polyline's elevation; the others at their own z.
        const double z = type == 11 ? 9.0 : 4.0;
        EXPECT_EQ(+r->elevation, z) << type;
        EXPECT_EQ(+r->vertex.location.z, z) << type;
    }
}

// ---- POLYLINE
// -------------------------------------------------------------------------------------

TEST(R13ClassicKinds, PolylineFormsSetTheirFlags) {
    struct Case {
        int16_t type;
        int16_t written;
        int16_t flags;
    };
    for (Case c : {Case{15, 1, 1}, Case{16, 0, 8}, Case{29, 0, 0x40}, Case{30, 0x21, 0x31}}) {
        auto polyline = Make(c.type);
        CDB_POLYLINE_type &p = polyline->GetData()->polyline;
        p.flags = c.written;
        p.mesh_m_count = 3;
        p.mesh_n_count = 0;
        p.smooth_n_density = 6;
        p.start_width = 0.5;
        auto back = RoundTrip(*polyline);
        const CDB_POLYLINE_type &b = back->GetData()->polyline;
        EXPECT_EQ(+back->GetData()->entity_type, CDB_POLYLINE);
        EXPECT_EQ(back->FileType(), c.type);
        EXPECT_EQ(+b.flags, c.flags) << c.type;
        EXPECT_EQ(+b.vertices_follow, 1);
        EXPECT_EQ(+b.mesh_m_count, c.type == 29 || c.type == 30 ? 3 : 0) << c.type;
        EXPECT_EQ(+b.smooth_n_density, c.type == 30 ? 6 : 0) << c.type;
        EXPECT_EQ(+b.start_width, c.type == 15 ? 0.5 : 0.0) << c.type;
    }
}

TEST(R13ClassicKinds, PolylineWritesItsVertexRunBehindTheTrailer) {
    auto polyline = Make(16);
    auto *p = static_cast<CR13Polyline *>(polyline.get());
    p->first_vertex = Ref(4, 0x41);
    p->last_vertex = Ref(4, 0x45);
    p->seq_end = Ref(3, 0x46);
    CBitStream stream;
    auto back = RoundTrip(*polyline, &stream);
    // The reader leaves them: they follow where it stopped.
    CHandleRef first{}, last{}, end{};
    stream.ReadHandle(first);
    stream.ReadHandle(last);
    stream.ReadHandle(end);
    EXPECT_EQ(first.value, 0x41u);
    EXPECT_EQ(last.value, 0x45u);
    EXPECT_EQ(+end.code, 3);
    EXPECT_EQ(end.value, 0x46u);
}

// ---- DIMENSION
// ------------------------------------------------------------------------------------

TEST(R13ClassicKinds, DimensionFormsStoreTheirTypes) {
    struct Case {
        int16_t type;
        int16_t dimension_type;
    };
    for (Case c : {Case{20, kDimOrdinateX}, Case{21, kDimLinear}, Case{22, kDimAligned},
                   Case{23, kDimAngular3Point}, Case{24, kDimAngular2Line}, Case{25, kDimRadius},
                   Case{26, kDimDiameter}}) {
        auto dim = Make(c.type);
        CDB_DIMENSION_type &d = dim->GetData()->dimension;
        d.text = Dup("<>");
        d.definition_point = CDB_POINT3{1, 1, 1};
        d.definition_point_2 = CDB_POINT3{2, 2, 2};
        d.definition_point_3 = CDB_POINT3{3, 3, 3};
        d.definition_point_4 = CDB_POINT3{4, 4, 4};
        d.arc_definition_point = CDB_POINT3{5, 5, 0};
        d.text_midpoint = CDB_POINT3{6, 7, 8};
        d.leader_length = 2.5;
        d.oblique_angle = 30.0;
        d.text_rotation = 90.0;
        d.block_handle = Dup("50");
        d.dimstyle_handle = Dup("1D");
        auto back = RoundTrip(*dim);
        const CDB_DIMENSION_type &b = back->GetData()->dimension;
        EXPECT_EQ(+back->GetData()->entity_type, CDB_DIMENSION);
        EXPECT_EQ(back->FileType(), c.type);
        EXPECT_EQ(+b.dimension_type, c.dimension_type) << c.type;
        EXPECT_STREQ(b.text, "<>");
        EXPECT_STREQ(b.block_handle, "50");
        EXPECT_STREQ(b.dimstyle_handle, "1D");
        EXPECT_EQ(+b.text_midpoint.z, 8.0);
        EXPECT_NEAR(+b.text_rotation, 90.0, 1e-9);
        EXPECT_EQ(+b.definition_point.x, 1.0) << c.type;
        EXPECT_EQ(+b.arc_definition_point.x, c.type == 24 ? 5.0 : 0.0) << c.type;
        const bool has_second = c.type != 25 && c.type != 26;
        EXPECT_EQ(+b.definition_point_2.y, has_second ? 2.0 : 0.0) << c.type;
        const bool has_fourth = c.type >= 23;
        EXPECT_EQ(+b.definition_point_4.z, has_fourth ? 4.0 : 0.0) << c.type;
        EXPECT_EQ(+b.leader_length, c.type >= 25 ? 2.5 : 0.0) << c.type;
        EXPECT_NEAR(+b.oblique_angle, c.type == 21 ? 30.0 : 0.0, 1e-9) << c.type;
        EXPECT_EQ(static_cast<CR13Dimension *>(back.get())->reserved_byte, 0x56);
    }
}

// The head of a dimension body, with `flags` as its flag byte.
void DimensionHead(CBitWriter &w, uint8_t flags) {
    Put(w, {0, 0, 1});
    w.WriteRawDouble(1);
    w.WriteRawDouble(2);
    w.WriteBitDouble(3);
    w.WriteByte(flags);
    w.WriteText("");
    w.WriteBitDouble(kPi);
    w.WriteBitDouble(0);
    w.WriteByte(0x12);
    w.WriteRawDouble(4);
    w.WriteRawDouble(5);
}

Stream DimensionHandles() {
    return [](CBitWriter &w) {
        w.WriteBits(5, 4);
        w.WriteHandleText("1D");
        w.WriteBits(5, 4);
        w.WriteHandleText("50");
    };
}

TEST(R13ClassicKinds, OrdinatePointOrderFollowsTheFlags) {
    for (uint8_t flags : {3, 0}) {
        for (uint8_t ordinate : {0, 1}) {
            auto dim = Decode(HandEntity(
                                  20,
                                  [&](CBitWriter &w) {
                                      DimensionHead(w, flags);
                                      Put(w, {1, 0, 0});
                                      Put(w, {2, 0, 0});
                                      Put(w, {3, 0, 0});
                                      w.WriteByte(ordinate);
                                  },
                                  DimensionHandles()),
                              20);
            const CDB_DIMENSION_type &d = dim->GetData()->dimension;
            EXPECT_EQ(+d.definition_point.x, flags == 3 ? 1.0 : 3.0);
            EXPECT_EQ(+d.definition_point_2.x, flags == 3 ? 2.0 : 1.0);
            EXPECT_EQ(+d.dimension_type, ordinate ? kDimOrdinateY : kDimOrdinateX);
            EXPECT_EQ(+d.text_rotation, 180.0);
            EXPECT_EQ(+d.text_midpoint.z, 3.0);
            EXPECT_EQ(+d.clone_insertion_point.y, 5.0);
            EXPECT_EQ(+d.clone_insertion_point.z, 0.0);
            EXPECT_STREQ(d.dimstyle_handle, "1D");
            EXPECT_STREQ(d.block_handle, "50");
            auto *c = static_cast<CR13Dimension *>(dim.get());
            EXPECT_EQ(c->dim_flags, flags);
            EXPECT_EQ(c->reserved_byte, 0x12);
            EXPECT_EQ(c->ordinate_flag, ordinate);
            auto back = RoundTrip(*dim);
            EXPECT_EQ(+back->GetData()->dimension.definition_point.x, +d.definition_point.x);
            EXPECT_EQ(static_cast<CR13Dimension *>(back.get())->reserved_byte, 0x12);
        }
    }
}

// ---- VIEWPORT
// -------------------------------------------------------------------------------------

TEST(R13ClassicKinds, ViewportKeepsItsFrozenLayerListAndJoinsTheChain) {
    auto viewport = Make(34);
    CDB_ENTITY *r = viewport->GetData();
    r->viewport.center = CDB_POINT3{5, 6, 0};
    r->viewport.width = 10.0;
    r->viewport.height = 7.5;
    static_cast<CR13Viewport *>(viewport.get())->frozen_layer_list = Ref(5, 0x77);
    auto back = RoundTrip(*viewport);
    EXPECT_EQ(+back->GetData()->entity_type, CDB_VIEWPORT);
    EXPECT_EQ(+back->GetData()->viewport.width, 10.0);
    EXPECT_EQ(+back->GetData()->viewport.height, 7.5);
    EXPECT_EQ(+back->GetData()->viewport.center.y, 6.0);
    EXPECT_EQ(static_cast<CR13Viewport *>(back.get())->frozen_layer_list.value, 0x77u);
    ASSERT_NE(back->ViewportLink(), nullptr);
    EXPECT_EQ(back->ViewportLink()->entity, back.get());
}

// ---- Failures
// -------------------------------------------------------------------------------------

TEST(R13ClassicKinds, AClassAskedForAFormItHasNotFails) {
    for (int16_t type : {10, 15, 20}) {
        auto entity = Make(type);
        entity->SetFileType(static_cast<int16_t>(type + 100));
        SetEntityHead(*entity, R13EntityHead{}.Type(static_cast<int16_t>(type + 100)).Handle(0x40));
        const std::vector<uint8_t> bytes = EntityObjectOf(*entity);
        auto fresh = Make(type);
        CBitStream s(bytes.data());
        EXPECT_EQ(fresh->ReadDWG(s), 0) << type;
    }
}

TEST(R13ClassicKinds, AnObjectCutShortReadsWithoutLeavingItsBuffer) {
    auto text = Make(1);
    text->GetData()->text.text = Dup("a long enough text to be cut");
    SetEntityHead(*text, R13EntityHead{}.Type(1).Handle(0x40));
    std::vector<uint8_t> bytes = EntityObjectOf(*text);
    // The size field says 12 bytes: the stream ends in the middle of the body.
    bytes[0] = 12;
    bytes[1] = 0;
    auto fresh = Make(1);
    CBitStream s(bytes.data());
    fresh->ReadDWG(s);
    EXPECT_TRUE(s.Overrun());
    const char *read = fresh->GetData()->text.text;
    EXPECT_LT(read ? std::strlen(read) : 0u, 12u);
}

} // namespace
} // namespace velko_test
