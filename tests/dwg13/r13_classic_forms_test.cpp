// The release 13 classes whose object type gives a form: VERTEX, POLYLINE and DIMENSION,
// each form on objects built bit by bit and on objects its own writer made. Packed record
// fields are handed to gtest as copies (unary plus).
#include "dwg13/r13_classic_test_objects.h"

#include "dwg13/r13_classic_kinds.h"
#include "dwg13/r13_fields.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <vector>

namespace velko_test {
namespace {

// ---- VERTEX ------------------------------------------------------------------------------------

TEST(R13ClassicForms, VertexWithANegativeStartWidthTakesItAsEndWidth) {
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

TEST(R13ClassicForms, VertexWithAPositiveStartWidthReadsItsEndWidth) {
    auto vertex = Make(10);
    vertex->GetData()->vertex.start_width = 0.0;
    vertex->GetData()->vertex.end_width = 4.0;
    auto back = RoundTrip(*vertex);
    EXPECT_EQ(+back->GetData()->vertex.start_width, 0.0);
    EXPECT_EQ(+back->GetData()->vertex.end_width, 4.0);
}

TEST(R13ClassicForms, VertexFormsForceTheirFlags) {
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

TEST(R13ClassicForms, FaceVertexWritesMinusOneInTheLongForm) {
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

TEST(R13ClassicForms, VerticesTakeThePlaneOfThePolylineInFrontOfThem) {
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

// ---- POLYLINE ----------------------------------------------------------------------------------

TEST(R13ClassicForms, PolylineFormsSetTheirFlags) {
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

TEST(R13ClassicForms, PolylineWritesItsVertexRunBehindTheTrailer) {
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

// ---- DIMENSION ---------------------------------------------------------------------------------

TEST(R13ClassicForms, DimensionFormsStoreTheirTypes) {
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

TEST(R13ClassicForms, OrdinatePointOrderFollowsTheFlags) {
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

} // namespace
} // namespace velko_test
