// The release 13 classes of the kinds that release 12 has too -- the one-layout kinds, the
// texts, the attributes, shapes, inserts and viewports -- each on objects built bit by bit
// (what the reader makes of a stream) and on objects its own writer made (that the two
// directions agree). Packed record fields are handed to gtest as copies (unary plus).
#include "dwg13/r13_classic_test_objects.h"

#include "dwg13/r13_classic_kinds.h"
#include "dwg13/r13_fields.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <vector>

namespace velko_test {
namespace {

// ---- LINE, POINT, 3DFACE -----------------------------------------------------------------------

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

// ---- CIRCLE, ARC, SOLID, TRACE -----------------------------------------------------------------

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

// ---- TEXT and ATTDEF ---------------------------------------------------------------------------

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

// ---- ATTRIB ------------------------------------------------------------------------------------

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

// ---- SHAPE -------------------------------------------------------------------------------------

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

// ---- INSERT and MINSERT ------------------------------------------------------------------------

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

// ---- VIEWPORT ----------------------------------------------------------------------------------

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

// ---- Failures ----------------------------------------------------------------------------------

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
