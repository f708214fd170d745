// The entity classes of release 12: the common fields, and the body of every kind with
// every presence bit, decoded through a real drawing over a hand-made file.
#include "records/angles.h"
#include "dwg12/r12_entity_layout.h"
#include "dwg12/r12_loaded_drawing.h"
#include "fonts/shx_bytes.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

using namespace velko_test;

namespace {

double Rad(double degrees) {
    return degrees * kPi / 180.0;
}

int g_file_number = 0;

// Opens a drawing whose entity section is `section`; nothing is loaded yet.
std::unique_ptr<LoadedR12> Open(const Bytes &section) {
    Dwg12FileBuilder b;
    BuildDrawing(b, section);
    auto d =
        std::make_unique<LoadedR12>(CurrentTestName() + std::to_string(++g_file_number), b.bytes());
    EXPECT_TRUE(d->opened());
    return d;
}

// Opens and loads the section, which must read to its end.
std::unique_ptr<LoadedR12> Load(const Bytes &section) {
    auto d = Open(section);
    EXPECT_EQ(d->drawing().LoadEntitySection(), 1);
    return d;
}

// Reads the first frame of the section into `entity` directly, after a test has prepared
// the entity's record.
short ReadFirst(LoadedR12 &d, CR12Entity &entity) {
    d->File()->SetPosition(static_cast<int32_t>(kDwg12EntitiesStart), 0);
    d->File()->in_entity_section = 1;
    uint8_t next = 0;
    return entity.ReadDWG(next);
}

#define EXPECT_POINT(p, X, Y, Z)                                                                   \
    do {                                                                                           \
        EXPECT_DOUBLE_EQ(Field((p).x), (X));                                                       \
        EXPECT_DOUBLE_EQ(Field((p).y), (Y));                                                       \
        EXPECT_DOUBLE_EQ(Field((p).z), (Z));                                                       \
    } while (0)

} // namespace

// ---- The common fields ---------------------------------------------------------------------

TEST(R12Entities, DefaultsWhenNoCommonFieldIsThere) {
    auto d = Load(LineFrame(1, 2, 3, 4, 5, 6));
    CDB_ENTITY *e = d->Entity(0);
    ASSERT_NE(e, nullptr);
    EXPECT_EQ(Field(e->entity_type), 1);
    EXPECT_EQ(Field(e->color), -1);
    EXPECT_EQ(Field(e->line_type_index), -1);
    EXPECT_EQ(Field(e->layer_index), 0);
    EXPECT_EQ(Field(e->elevation), 0.0);
    EXPECT_EQ(Field(e->thickness), 0.0);
    EXPECT_EQ(Field(e->handle), nullptr);
    EXPECT_EQ(Field(e->space), 0);
    EXPECT_EQ(Field(e->eed_size), 0);
    EXPECT_EQ(Field(e->eed_data), nullptr);
    EXPECT_EQ(Field(e->line_type_scale), 0.0);
    EXPECT_POINT(e->extrusion, 0, 0, 1);
    EXPECT_EQ(d->drawing().IsAnyPaperSpace(), 0);
}

TEST(R12Entities, EveryCommonField) {
    FrameSpec f(3);
    f.layer = 4;
    f.common.eed = Bytes{1, 2, 3};
    f.common.color = 200;
    f.common.ltype = 3;
    f.common.elevation = 5.5;
    f.common.thickness = 2.25;
    f.common.handle = Bytes{0x00, 0x2A, 0x0F};
    f.common.space = 1;
    f.body = FrameBody().XY(1, 2).F64(3).bytes();
    auto d = Load(MakeFrame(f));
    CDB_ENTITY *e = d->Entity(0);
    ASSERT_NE(e, nullptr);
    EXPECT_EQ(Field(e->layer_index), 4);
    EXPECT_EQ(Field(e->color), 200); // zero-extended
    EXPECT_EQ(Field(e->line_type_index), 3);
    EXPECT_EQ(Field(e->elevation), 5.5);
    EXPECT_EQ(Field(e->thickness), 2.25);
    ASSERT_NE(Field(e->handle), nullptr);
    EXPECT_STREQ(e->handle, "2A0F");
    EXPECT_EQ(Field(e->space), 1);
    ASSERT_EQ(Field(e->eed_size), 3);
    ASSERT_NE(Field(e->eed_data), nullptr);
    EXPECT_EQ(e->eed_data[0], 1);
    EXPECT_EQ(e->eed_data[2], 3);
    EXPECT_EQ(e->eed_data[3], 0); // one byte longer, zero-filled
    EXPECT_POINT(e->circle.center, 1, 2, 5.5);
    EXPECT_EQ(Field(e->circle.radius), 3.0);
    EXPECT_EQ(d->drawing().IsAnyPaperSpace(), 1);
}

TEST(R12Entities, HandleOfZeroBytesReadsZero) {
    FrameSpec f(2);
    f.common.handle = Bytes{0, 0, 0};
    f.body = FrameBody().XYZ(0, 0, 0).bytes();
    auto d = Load(MakeFrame(f));
    ASSERT_NE(Field(d->Entity(0)->handle), nullptr);
    EXPECT_STREQ(d->Entity(0)->handle, "0");
}

TEST(R12Entities, LayerAndLineTypeGetTheDrawingBases) {
    FrameSpec with_ltype(1);
    with_ltype.layer = 4;
    with_ltype.common.ltype = 3;
    with_ltype.body = FrameBody().XYZ(0, 0, 0).XYZ(1, 1, 1).bytes();
    FrameSpec byblock = with_ltype;
    byblock.common.ltype = 0x7FFE;
    FrameSpec bylayer = with_ltype;
    bylayer.common.ltype.reset();
    auto d = Open(Concat({MakeFrame(with_ltype), MakeFrame(byblock), MakeFrame(bylayer)}));
    d->drawing().SetBase(TableBase::kLayers, 10);
    d->drawing().SetBase(TableBase::kLtypes, 20);
    ASSERT_EQ(d->drawing().LoadEntitySection(), 1);
    EXPECT_EQ(Field(d->Entity(0)->layer_index), 14);
    EXPECT_EQ(Field(d->Entity(0)->line_type_index), 23);
    // BYBLOCK stays -2 whatever the base; the default -1 also gets the base.
    EXPECT_EQ(Field(d->Entity(1)->line_type_index), -2);
    EXPECT_EQ(Field(d->Entity(2)->line_type_index), 19);
}

TEST(R12Entities, ByBlockLineTypeWithoutABase) {
    FrameSpec f(3);
    f.common.ltype = 0x7FFE;
    f.body = FrameBody().XY(0, 0).F64(1).bytes();
    auto d = Load(MakeFrame(f));
    EXPECT_EQ(Field(d->Entity(0)->line_type_index), -2);
}

TEST(R12Entities, EmptyExtendedDataKeepsOneByte) {
    FrameSpec f(3);
    f.common.eed = Bytes{};
    f.body = FrameBody().XY(0, 0).F64(1).bytes();
    auto d = Load(MakeFrame(f));
    CDB_ENTITY *e = d->Entity(0);
    EXPECT_EQ(Field(e->eed_size), 0);
    ASSERT_NE(Field(e->eed_data), nullptr);
    EXPECT_EQ(e->eed_data[0], 0);
}

TEST(R12Entities, LineWithFlag4ReadsNoElevation) {
    // For a line, bit 0x04 means two-dimensional coordinates: no elevation is there.
    FrameSpec f(1);
    f.common.elevation = 7.0; // sets the bit only
    f.common.thickness = 1.5;
    f.body = FrameBody().XY(1, 2).XY(3, 4).bytes();
    auto d = Load(MakeFrame(f));
    CDB_ENTITY *e = d->Entity(0);
    EXPECT_EQ(Field(e->elevation), 0.0);
    EXPECT_EQ(Field(e->thickness), 1.5);
    EXPECT_POINT(e->line.start_point, 1, 2, 0);
    EXPECT_POINT(e->line.end_point, 3, 4, 0);
}

TEST(R12Entities, CircleWithFlag4ReadsAnElevation) {
    auto d = Load(CircleFrame(1, 2, 3, 5.0));
    CDB_ENTITY *e = d->Entity(0);
    EXPECT_EQ(Field(e->elevation), 5.0);
    EXPECT_POINT(e->circle.center, 1, 2, 5);
}

TEST(R12Entities, PaperSpaceFlagStaysAfterTheEntityGoes) {
    FrameSpec paper(1);
    paper.common.space = 1;
    paper.body = FrameBody().XYZ(0, 0, 0).XYZ(1, 1, 1).bytes();
    auto d = Load(Concat({LineFrame(0, 0, 0, 1, 1, 1), MakeFrame(paper)}));
    EXPECT_EQ(d->drawing().IsAnyPaperSpace(), 1);
    CModelEntity *taken = d->drawing().Entities().At(1);
    ASSERT_EQ(d->drawing().Entities().RemoveAt(1), 1);
    delete taken;
    EXPECT_EQ(d->drawing().IsAnyPaperSpace(), 1);
}

TEST(R12Entities, SpaceWordZeroIsModelSpace) {
    FrameSpec f(1);
    f.common.space = 0;
    f.body = FrameBody().XYZ(0, 0, 0).XYZ(1, 1, 1).bytes();
    auto d = Load(MakeFrame(f));
    EXPECT_EQ(Field(d->Entity(0)->space), 0);
    EXPECT_EQ(d->drawing().IsAnyPaperSpace(), 0);
}

TEST(R12Entities, ExtensionByteWithoutItsBits) {
    FrameSpec f(1);
    f.common.extension = 0x01;
    f.body = FrameBody().XYZ(1, 0, 0).XYZ(1, 1, 1).bytes();
    auto d = Load(MakeFrame(f));
    EXPECT_EQ(Field(d->Entity(0)->line.start_point.x), 1.0);
    EXPECT_EQ(Field(d->Entity(0)->eed_data), nullptr);
}

// ---- Lines and points ------------------------------------------------------------------------

TEST(R12Entities, LineIn3D) {
    auto d = Load(LineFrame(1, 2, 3, 4, 5, 6));
    EXPECT_POINT(d->Entity(0)->line.start_point, 1, 2, 3);
    EXPECT_POINT(d->Entity(0)->line.end_point, 4, 5, 6);
}

TEST(R12Entities, LineIn2DAndItsExtrusion) {
    FrameSpec f(1);
    f.flags = 0x04;
    f.options_1 = 0x01;
    f.body = FrameBody().XY(1, 2).XY(3, 4).XYZ(0, 1, 0).bytes();
    auto d = Load(MakeFrame(f));
    EXPECT_POINT(d->Entity(0)->line.start_point, 1, 2, 0);
    EXPECT_POINT(d->Entity(0)->line.end_point, 3, 4, 0);
    EXPECT_POINT(d->Entity(0)->extrusion, 0, 1, 0);
}

TEST(R12Entities, PointWithEveryOption) {
    FrameSpec f(2);
    f.options_1 = 0x01 | 0x10;
    f.body = FrameBody().XYZ(1, 2, 3).XYZ(0, 0, -1).F64(Rad(45)).bytes();
    auto d = Load(MakeFrame(f));
    CDB_ENTITY *e = d->Entity(0);
    EXPECT_POINT(e->point.location, 1, 2, 3);
    EXPECT_POINT(e->extrusion, 0, 0, -1);
    EXPECT_DOUBLE_EQ(Field(e->point.x_axis_angle), 45.0);
}

TEST(R12Entities, PointIn2D) {
    FrameSpec f(2);
    f.flags = 0x04;
    f.options_1 = 0x10;
    f.body = FrameBody().XY(1, 2).F64(Rad(90)).bytes();
    auto d = Load(MakeFrame(f));
    EXPECT_POINT(d->Entity(0)->point.location, 1, 2, 0);
    EXPECT_DOUBLE_EQ(Field(d->Entity(0)->point.x_axis_angle), 90.0);
}

// ---- Circle, arc, trace, solid, face -------------------------------------------------------

TEST(R12Entities, CircleWithExtrusionAndNoElevation) {
    FrameSpec f(3);
    f.options_1 = 0x01;
    f.body = FrameBody().XY(1, 2).F64(3).XYZ(1, 0, 0).bytes();
    auto d = Load(MakeFrame(f));
    EXPECT_POINT(d->Entity(0)->circle.center, 1, 2, 0);
    EXPECT_EQ(Field(d->Entity(0)->circle.radius), 3.0);
    EXPECT_POINT(d->Entity(0)->extrusion, 1, 0, 0);
}

TEST(R12Entities, ArcAnglesInDegreesAndZFromElevation) {
    FrameSpec f(8);
    f.common.elevation = 2.0;
    f.options_1 = 0x01;
    f.body = FrameBody().XY(5, 6).F64(1.5).F64(Rad(30)).F64(Rad(270)).XYZ(0, 0, -1).bytes();
    auto d = Load(MakeFrame(f));
    CDB_ENTITY *e = d->Entity(0);
    EXPECT_POINT(e->arc.center, 5, 6, 2);
    EXPECT_EQ(Field(e->arc.radius), 1.5);
    EXPECT_DOUBLE_EQ(Field(e->arc.start_angle), 30.0);
    EXPECT_DOUBLE_EQ(Field(e->arc.end_angle), 270.0);
    EXPECT_POINT(e->extrusion, 0, 0, -1);
}

TEST(R12Entities, TraceAndSolidKeepTheirCornersFlat) {
    for (uint8_t code : {uint8_t(9), uint8_t(11)}) {
        FrameSpec f(code);
        f.common.elevation = 3.0;
        f.options_1 = 0x01;
        f.body = FrameBody().XY(1, 2).XY(3, 4).XY(5, 6).XY(7, 8).XYZ(0, 1, 0).bytes();
        auto d = Load(MakeFrame(f));
        CDB_ENTITY *e = d->Entity(0);
        EXPECT_EQ(Field(e->entity_type), code);
        EXPECT_POINT(e->trace.corner_1, 1, 2, 0);
        EXPECT_POINT(e->trace.corner_2, 3, 4, 0);
        EXPECT_POINT(e->trace.corner_3, 5, 6, 0);
        EXPECT_POINT(e->trace.corner_4, 7, 8, 0);
        EXPECT_EQ(Field(e->elevation), 3.0);
        EXPECT_POINT(e->extrusion, 0, 1, 0);
    }
}

TEST(R12Entities, FaceIn3DWithInvisibleEdges) {
    FrameSpec f(22);
    f.options_1 = 0x01;
    f.body = FrameBody().XYZ(1, 2, 3).XYZ(4, 5, 6).XYZ(7, 8, 9).XYZ(10, 11, 12).U8(0x0F).bytes();
    auto d = Load(MakeFrame(f));
    CDB_ENTITY *e = d->Entity(0);
    EXPECT_POINT(e->face.corner_1, 1, 2, 3);
    EXPECT_POINT(e->face.corner_4, 10, 11, 12);
    EXPECT_EQ(Field(e->face.invisible_edges), 15);
}

TEST(R12Entities, FaceIn2D) {
    FrameSpec f(22);
    f.flags = 0x04;
    f.body = FrameBody().XY(1, 2).XY(3, 4).XY(5, 6).XY(7, 8).bytes();
    auto d = Load(MakeFrame(f));
    CDB_ENTITY *e = d->Entity(0);
    EXPECT_POINT(e->face.corner_2, 3, 4, 0);
    EXPECT_POINT(e->face.corner_4, 7, 8, 0);
    EXPECT_EQ(Field(e->face.invisible_edges), 0);
}

// ---- Shape and text ------------------------------------------------------------------------

TEST(R12Entities, ShapeWithEveryOption) {
    FrameSpec f(4);
    f.options_1 = 0x1F;
    f.body = FrameBody()
                 .XY(1, 2)
                 .F64(0.5)
                 .U8(200)
                 .F64(Rad(90))
                 .U8(1)
                 .F64(0.75)
                 .F64(Rad(15))
                 .XYZ(0, 0, -1)
                 .bytes();
    auto d = Open(MakeFrame(f));
    d->drawing().SetBase(TableBase::kStyles, 3);
    ASSERT_EQ(d->drawing().LoadEntitySection(), 1);
    CDB_ENTITY *e = d->Entity(0);
    EXPECT_POINT(e->shape.insertion_point, 1, 2, 0);
    EXPECT_EQ(Field(e->shape.size), 0.5);
    EXPECT_EQ(Field(e->shape.shape_number), 200);
    EXPECT_DOUBLE_EQ(Field(e->shape.rotation), 90.0);
    EXPECT_EQ(Field(e->shape.shape_style_index), 4);
    EXPECT_EQ(Field(e->shape.x_scale), 0.75);
    EXPECT_DOUBLE_EQ(Field(e->shape.oblique_angle), 15.0);
    EXPECT_POINT(e->extrusion, 0, 0, -1);
}

TEST(R12Entities, ShapeWithoutItsFileReadsMinusOne) {
    // The style's font file cannot be found: the shape table has no such shape.
    FrameSpec f(4);
    f.options_1 = 0x02;
    f.body = FrameBody().XY(1, 2).F64(1).U8(5).U8(0).bytes();
    auto d = Load(MakeFrame(f));
    CDB_ENTITY out;
    std::memset(&out, 0, sizeof out);
    d->drawing().Entities().At(0)->GetRecord(&out);
    EXPECT_EQ(Field(out.entity_type), 4);
    EXPECT_EQ(Field(out.shape.shape_style_index), -1);
    EXPECT_EQ(Field(out.shape.shape_number), -1);
    // In the object's record too.
    EXPECT_EQ(Field(d->Entity(0)->shape.shape_number), -1);
    EXPECT_POINT(out.shape.insertion_point, 1, 2, 0);
}

TEST(R12Entities, ShapeFoundInItsFileKeepsItsNumbers) {
    // The style's font lies beside the drawing: a shape it has keeps its numbers, one it
    // lacks reads -1 and -1.
    shx_test::ScratchDir dir("r12shape");
    shx_test::ScratchDir no_index("r12shapenoindex");
    shx_test::IndexDirectories index({no_index.path()});
    dir.Write("romans.shx", shx_test::Shx({shx_test::FontInfo("ROMANS", 21),
                                           {65, "CAPA", {2, 0x40, 1, 0x14, 0}}}));
    Dwg12FileBuilder b;
    b.AddMinimalTables();
    b.records(kStyleTable).clear();
    StyleRec style;
    style.font_file = "romans";
    b.Add(style);
    FrameSpec known(4), unknown(4);
    known.options_1 = unknown.options_1 = 0x02;
    known.body = FrameBody().XY(1, 2).F64(1).U8(65).U8(0).bytes();
    unknown.body = FrameBody().XY(1, 2).F64(1).U8(99).U8(0).bytes();
    b.SetEntities(Concat({MakeFrame(known), MakeFrame(unknown)}));
    std::string path = dir.Write("SHAPES.DWG", b.Build());
    CR12Drawing d(nullptr, 0);
    ASSERT_TRUE(d.OpenDWG(path.c_str(), CDB_OPEN_READ) && d.LoadDWG());
    ASSERT_EQ(d.LoadEntitySection(), 1);
    CDB_ENTITY out;
    std::memset(&out, 0, sizeof out);
    d.Entities().At(0)->GetRecord(&out);
    EXPECT_EQ(Field(out.shape.shape_number), 65);
    EXPECT_EQ(Field(out.shape.shape_style_index), 0);
    std::memset(&out, 0, sizeof out);
    d.Entities().At(1)->GetRecord(&out);
    EXPECT_EQ(Field(out.shape.shape_number), -1);
    EXPECT_EQ(Field(out.shape.shape_style_index), -1);
}

TEST(R12Entities, TextWithEveryOption) {
    FrameSpec f(7);
    f.options_1 = 0xFF;
    f.options_2 = 0x01;
    // The vertical justification of options_2 stands before the extrusion of options_1.
    f.body = FrameBody()
                 .XY(1, 2)
                 .F64(0.25)
                 .Text("HELLO")
                 .F64(Rad(30))
                 .F64(0.8)
                 .F64(Rad(10))
                 .U8(2)
                 .U8(4)
                 .U8(1)
                 .XY(5, 6)
                 .U8(3)
                 .XYZ(0, 0, -1)
                 .bytes();
    auto d = Open(MakeFrame(f));
    d->drawing().SetBase(TableBase::kStyles, 1);
    ASSERT_EQ(d->drawing().LoadEntitySection(), 1);
    CDB_ENTITY *e = d->Entity(0);
    EXPECT_POINT(e->text.insertion_point, 1, 2, 0);
    EXPECT_EQ(Field(e->text.height), 0.25);
    ASSERT_NE(Field(e->text.text), nullptr);
    EXPECT_STREQ(e->text.text, "HELLO");
    EXPECT_DOUBLE_EQ(Field(e->text.rotation), 30.0);
    EXPECT_EQ(Field(e->text.width_factor), 0.8);
    EXPECT_DOUBLE_EQ(Field(e->text.oblique_angle), 10.0);
    EXPECT_EQ(Field(e->text.style_index), 3);
    EXPECT_EQ(Field(e->text.generation_flags), 4);
    EXPECT_EQ(Field(e->text.horizontal_justification), 1);
    EXPECT_POINT(e->text.alignment_point, 5, 6, 0);
    EXPECT_EQ(Field(e->text.vertical_justification), 3);
    EXPECT_POINT(e->extrusion, 0, 0, -1);
}

TEST(R12Entities, TextWithoutOptions) {
    FrameSpec f(7);
    f.body = FrameBody().XY(1, 2).F64(0.25).Text("A").bytes();
    auto d = Load(MakeFrame(f));
    CDB_ENTITY *e = d->Entity(0);
    EXPECT_STREQ(e->text.text, "A");
    EXPECT_EQ(Field(e->text.width_factor), 0.0);
    EXPECT_EQ(Field(e->text.rotation), 0.0);
    EXPECT_POINT(e->extrusion, 0, 0, 1);
}

TEST(R12Entities, TextOfLengthZeroIsNull) {
    FrameSpec f(7);
    f.body = FrameBody().XY(1, 2).F64(0.25).Text("").bytes();
    auto d = Load(MakeFrame(f));
    EXPECT_EQ(Field(d->Entity(0)->text.text), nullptr);
    CDB_ENTITY out;
    std::memset(&out, 0, sizeof out);
    d->drawing().Entities().At(0)->GetRecord(&out);
    EXPECT_EQ(Field(out.text.text), nullptr);
}

TEST(R12Entities, TextRecordCopyOwnsItsText) {
    FrameSpec f(7);
    f.common.handle = Bytes{0x1F};
    f.body = FrameBody().XY(1, 2).F64(0.25).Text("COPY").bytes();
    auto d = Load(MakeFrame(f));
    CDB_ENTITY out;
    std::memset(&out, 0, sizeof out);
    d->drawing().Entities().At(0)->GetRecord(&out);
    ASSERT_NE(Field(out.text.text), nullptr);
    EXPECT_STREQ(out.text.text, "COPY");
    EXPECT_NE(Field(out.text.text), Field(d->Entity(0)->text.text));
    // The handle is shared with the object.
    EXPECT_EQ(Field(out.handle), Field(d->Entity(0)->handle));
    std::free(out.text.text);
}

// ---- Attributes ------------------------------------------------------------------------------

TEST(R12Entities, AttributeDefinitionWithEveryOption) {
    FrameSpec f(15);
    f.options_1 = 0xFF;
    f.options_2 = 0x03;
    f.body = FrameBody()
                 .XY(1, 2)
                 .F64(0.2)
                 .Text("DEFAULT")
                 .Text("PROMPT?")
                 .Text("TAG")
                 .U8(8)
                 .I16(12)
                 .F64(Rad(45))
                 .F64(0.9)
                 .F64(Rad(5))
                 .U8(1)
                 .U8(2)
                 .U8(4)
                 .XY(7, 8)
                 .XYZ(0, -1, 0)
                 .U8(2)
                 .bytes();
    auto d = Open(MakeFrame(f));
    d->drawing().SetBase(TableBase::kStyles, 10);
    ASSERT_EQ(d->drawing().LoadEntitySection(), 1);
    CDB_ENTITY *e = d->Entity(0);
    EXPECT_POINT(e->attdef.insertion_point, 1, 2, 0);
    EXPECT_EQ(Field(e->attdef.height), 0.2);
    EXPECT_STREQ(e->attdef.default_value, "DEFAULT");
    EXPECT_STREQ(e->attdef.prompt, "PROMPT?");
    EXPECT_STREQ(e->attdef.tag, "TAG");
    EXPECT_EQ(Field(e->attdef.flags), 8);
    EXPECT_EQ(Field(e->attdef.field_length), 12);
    EXPECT_DOUBLE_EQ(Field(e->attdef.rotation), 45.0);
    EXPECT_EQ(Field(e->attdef.width_factor), 0.9);
    EXPECT_DOUBLE_EQ(Field(e->attdef.oblique_angle), 5.0);
    EXPECT_EQ(Field(e->attdef.style_index), 11);
    EXPECT_EQ(Field(e->attdef.generation_flags), 2);
    EXPECT_EQ(Field(e->attdef.horizontal_justification), 4);
    EXPECT_POINT(e->attdef.alignment_point, 7, 8, 0);
    EXPECT_POINT(e->extrusion, 0, -1, 0);
    EXPECT_EQ(Field(e->attdef.vertical_justification), 2);

    // The record copy of list mode owns its three texts.
    CDB_ENTITY out;
    std::memset(&out, 0, sizeof out);
    d->drawing().Entities().At(0)->GetRecord(&out);
    EXPECT_STREQ(out.attdef.default_value, "DEFAULT");
    EXPECT_STREQ(out.attdef.prompt, "PROMPT?");
    EXPECT_STREQ(out.attdef.tag, "TAG");
    EXPECT_NE(Field(out.attdef.default_value), Field(e->attdef.default_value));
    EXPECT_NE(Field(out.attdef.prompt), Field(e->attdef.prompt));
    EXPECT_NE(Field(out.attdef.tag), Field(e->attdef.tag));
    std::free(out.attdef.default_value);
    std::free(out.attdef.prompt);
    std::free(out.attdef.tag);
}

TEST(R12Entities, AttributeWithEveryOption) {
    FrameSpec f(16);
    f.options_1 = 0xFF;
    f.options_2 = 0x03;
    f.body = FrameBody()
                 .XY(1, 2)
                 .F64(0.2)
                 .Text("VALUE")
                 .Text("TAG")
                 .U8(1)
                 .I16(6)
                 .F64(Rad(90))
                 .F64(1.1)
                 .F64(Rad(20))
                 .U8(0)
                 .U8(4)
                 .U8(5)
                 .XY(3, 4)
                 .XYZ(1, 0, 0)
                 .U8(1)
                 .bytes();
    auto d = Load(MakeFrame(f));
    CDB_ENTITY *e = d->Entity(0);
    EXPECT_STREQ(e->attrib.value, "VALUE");
    EXPECT_STREQ(e->attrib.tag, "TAG");
    EXPECT_EQ(Field(e->attrib.flags), 1);
    EXPECT_EQ(Field(e->attrib.field_length), 6);
    EXPECT_DOUBLE_EQ(Field(e->attrib.rotation), 90.0);
    EXPECT_EQ(Field(e->attrib.width_factor), 1.1);
    EXPECT_DOUBLE_EQ(Field(e->attrib.oblique_angle), 20.0);
    EXPECT_EQ(Field(e->attrib.style_index), 0);
    EXPECT_EQ(Field(e->attrib.generation_flags), 4);
    EXPECT_EQ(Field(e->attrib.horizontal_justification), 5);
    EXPECT_POINT(e->attrib.alignment_point, 3, 4, 0);
    EXPECT_POINT(e->extrusion, 1, 0, 0);
    EXPECT_EQ(Field(e->attrib.vertical_justification), 1);

    CDB_ENTITY out;
    std::memset(&out, 0, sizeof out);
    d->drawing().Entities().At(0)->GetRecord(&out);
    EXPECT_STREQ(out.attrib.value, "VALUE");
    EXPECT_STREQ(out.attrib.tag, "TAG");
    EXPECT_NE(Field(out.attrib.value), Field(e->attrib.value));
    EXPECT_NE(Field(out.attrib.tag), Field(e->attrib.tag));
    std::free(out.attrib.value);
    std::free(out.attrib.tag);
}

TEST(R12Entities, AlignmentPointZOfDefinitionAndAttribute) {
    // The definition sets the z of its alignment point to 0, the attribute leaves it.
    for (uint8_t code : {uint8_t(15), uint8_t(16)}) {
        FrameSpec f(code);
        f.options_1 = 0x80;
        FrameBody body;
        body.XY(0, 0).F64(1).Text("A");
        if (code == 15)
            body.Text("P");
        body.Text("T").U8(0).XY(3, 4);
        f.body = body.bytes();
        auto d = Open(MakeFrame(f));
        std::unique_ptr<CR12Entity> entity(MakeR12Entity(&d->drawing(), code));
        CDB_ENTITY *r = entity->GetData();
        if (code == 15)
            r->attdef.alignment_point.z = 7.0;
        else
            r->attrib.alignment_point.z = 7.0;
        EXPECT_EQ(ReadFirst(*d, *entity), -2);
        if (code == 15) {
            EXPECT_POINT(r->attdef.alignment_point, 3, 4, 0);
        } else {
            EXPECT_POINT(r->attrib.alignment_point, 3, 4, 7);
        }
    }
}

// ---- Polylines ------------------------------------------------------------------------------

TEST(R12Entities, VertexWithLocationAndEveryOption1) {
    FrameSpec f(20);
    f.common.elevation = 4.0;
    f.options_1 = 0xFF;
    f.body = FrameBody()
                 .XY(1, 2)
                 .F64(0.1)
                 .F64(0.2)
                 .F64(0.5)
                 .U8(32)
                 .F64(Rad(60))
                 .I16(1)
                 .I16(-2)
                 .I16(3)
                 .bytes();
    auto d = Load(MakeFrame(f));
    CDB_ENTITY *e = d->Entity(0);
    EXPECT_POINT(e->vertex.location, 1, 2, 4); // a z of 0 takes the elevation
    EXPECT_EQ(Field(e->vertex.start_width), 0.1);
    EXPECT_EQ(Field(e->vertex.end_width), 0.2);
    EXPECT_EQ(Field(e->vertex.bulge), 0.5);
    EXPECT_EQ(Field(e->vertex.flags), 32);
    EXPECT_DOUBLE_EQ(Field(e->vertex.tangent_direction), 60.0);
    EXPECT_EQ(Field(e->vertex.polyface_index_1), 1);
    EXPECT_EQ(Field(e->vertex.polyface_index_2), -2);
    EXPECT_EQ(Field(e->vertex.polyface_index_3), 3);
    EXPECT_EQ(Field(e->vertex.polyface_index_4), 0);
}

TEST(R12Entities, VertexWithOptions2HasNoLocation) {
    FrameSpec f(20);
    f.common.elevation = 4.0;
    f.options_1 = 0x08 | 0x20 | 0x40 | 0x80;
    f.options_2 = 0x01;
    f.body = FrameBody().U8(128).I16(1).I16(2).I16(3).I16(-4).bytes();
    auto d = Load(MakeFrame(f));
    CDB_ENTITY *e = d->Entity(0);
    EXPECT_POINT(e->vertex.location, 0, 0, 0);
    EXPECT_EQ(Field(e->vertex.flags), 128);
    EXPECT_EQ(Field(e->vertex.polyface_index_1), 1);
    EXPECT_EQ(Field(e->vertex.polyface_index_2), 2);
    EXPECT_EQ(Field(e->vertex.polyface_index_3), 3);
    EXPECT_EQ(Field(e->vertex.polyface_index_4), -4);
}

TEST(R12Entities, PolylineWithEveryOption) {
    FrameSpec f(19);
    f.flags = 0x80;
    f.common.elevation = 2.5;
    f.options_1 = 0xFF;
    f.options_2 = 0x01;
    f.body =
        FrameBody().U8(1).F64(0.1).F64(0.2).XYZ(0, 0, -1).I16(3).I16(4).I16(5).I16(6).U8(6).bytes();
    auto d = Load(MakeFrame(f));
    CDB_ENTITY *e = d->Entity(0);
    EXPECT_EQ(Field(e->polyline.vertices_follow), 1);
    EXPECT_EQ(Field(e->polyline.flags), 1);
    EXPECT_EQ(Field(e->polyline.start_width), 0.1);
    EXPECT_EQ(Field(e->polyline.end_width), 0.2);
    EXPECT_POINT(e->extrusion, 0, 0, -1);
    EXPECT_EQ(Field(e->polyline.mesh_m_count), 3);
    EXPECT_EQ(Field(e->polyline.mesh_n_count), 4);
    EXPECT_EQ(Field(e->polyline.smooth_m_density), 5);
    EXPECT_EQ(Field(e->polyline.smooth_n_density), 6);
    EXPECT_EQ(Field(e->polyline.curve_type), 6);
    EXPECT_POINT(e->polyline.origin, 0, 0, 2.5); // the origin's z is the elevation
}

TEST(R12Entities, PolylineWithoutOptions) {
    FrameSpec f(19);
    auto d = Load(MakeFrame(f));
    CDB_ENTITY *e = d->Entity(0);
    EXPECT_EQ(Field(e->polyline.vertices_follow), 0);
    EXPECT_EQ(Field(e->polyline.flags), 0);
    EXPECT_POINT(e->polyline.origin, 0, 0, 0);
}

TEST(R12Entities, SequenceEndKeepsItsOwnerPosition) {
    FrameSpec f(17);
    f.body = FrameBody().I32(123456).bytes();
    auto d = Load(MakeFrame(f));
    auto *seqend = dynamic_cast<CR12SeqEnd *>(d->drawing().Entities().At(0));
    ASSERT_NE(seqend, nullptr);
    EXPECT_EQ(seqend->OwnerPosition(), 123456);
    EXPECT_EQ(Field(d->Entity(0)->entity_type), 17);
}

// ---- Insert and dimension --------------------------------------------------------------------

TEST(R12Entities, InsertWithEveryOptionInItsOrder) {
    FrameSpec f(14);
    f.flags = 0x80;
    f.options_1 = 0xFF;
    f.options_2 = 0x01;
    // x_scale, y_scale, rotation, z_scale: the rotation stands between the scales.
    f.body = FrameBody()
                 .I16(2)
                 .XY(10, 20)
                 .F64(2)
                 .F64(3)
                 .F64(Rad(45))
                 .F64(4)
                 .I16(5)
                 .I16(6)
                 .F64(1.5)
                 .F64(2.5)
                 .XYZ(0, 0, -1)
                 .bytes();
    auto d = Open(MakeFrame(f));
    d->drawing().SetBase(TableBase::kBlocks, 100);
    ASSERT_EQ(d->drawing().LoadEntitySection(), 1);
    CDB_ENTITY *e = d->Entity(0);
    EXPECT_EQ(Field(e->insert.attributes_follow), 1);
    EXPECT_EQ(Field(e->insert.block_index), 102);
    EXPECT_POINT(e->insert.insertion_point, 10, 20, 0);
    EXPECT_EQ(Field(e->insert.x_scale), 2.0);
    EXPECT_EQ(Field(e->insert.y_scale), 3.0);
    EXPECT_DOUBLE_EQ(Field(e->insert.rotation), 45.0);
    EXPECT_EQ(Field(e->insert.z_scale), 4.0);
    EXPECT_EQ(Field(e->insert.column_count), 5);
    EXPECT_EQ(Field(e->insert.row_count), 6);
    EXPECT_EQ(Field(e->insert.column_spacing), 1.5);
    EXPECT_EQ(Field(e->insert.row_spacing), 2.5);
    EXPECT_POINT(e->extrusion, 0, 0, -1);
}

TEST(R12Entities, InsertWithoutOptions) {
    FrameSpec f(14);
    f.common.elevation = 3.0;
    f.body = FrameBody().I16(0).XY(1, 2).bytes();
    auto d = Load(MakeFrame(f));
    CDB_ENTITY *e = d->Entity(0);
    EXPECT_EQ(Field(e->insert.attributes_follow), 0);
    EXPECT_POINT(e->insert.insertion_point, 1, 2, 0);
    EXPECT_EQ(Field(e->insert.x_scale), 1.0);
    EXPECT_EQ(Field(e->insert.y_scale), 1.0);
    EXPECT_EQ(Field(e->insert.z_scale), 1.0);
    EXPECT_EQ(Field(e->insert.rotation), 0.0);
    EXPECT_EQ(Field(e->insert.column_count), 0);
    EXPECT_EQ(Field(e->insert.row_count), 0);
}

TEST(R12Entities, InsertKnownByNameResolvesItsBlock) {
    Dwg12FileBuilder b;
    b.Add(BlockRec{0, "FIRST"}).Add(BlockRec{0, "SECOND"});
    FrameSpec f(14);
    f.body = FrameBody().I16(7).XY(1, 2).bytes();
    BuildDrawing(b, MakeFrame(f), Concat({BeginBlockFrame(), EndBlockFrame()}));
    LoadedR12 d(CurrentTestName(), b.bytes());
    ASSERT_TRUE(d.opened());
    d->SetBase(TableBase::kBlocks, 3);
    ASSERT_EQ(d->LoadEntitySection(), 1);
    auto *insert = dynamic_cast<CR12Insert *>(d->Entities().At(0));
    ASSERT_NE(insert, nullptr);
    // Read from a DWG the index stands as it is.
    EXPECT_EQ(Field(insert->GetResolvedRecord()->insert.block_index), 10);
    insert->block_name = "SECOND";
    insert->named = true;
    EXPECT_EQ(Field(insert->GetResolvedRecord()->insert.block_index), 4);
    insert->block_name = "MISSING";
    EXPECT_EQ(Field(insert->GetResolvedRecord()->insert.block_index), 2);
}

TEST(R12Entities, DimensionWithEveryOption) {
    FrameSpec f(23);
    f.options_1 = 0xFF;
    f.options_2 = 0x01 | 0x04 | 0x20 | 0x40 | 0x80;
    f.body = FrameBody()
                 .I16(1)
                 .XYZ(1, 2, 3)
                 .XY(4, 5)
                 .XY(6, 7)
                 .U8(2)
                 .Text("<>")
                 .XYZ(8, 9, 10)
                 .XYZ(11, 12, 13)
                 .XYZ(14, 15, 16)
                 .XYZ(17, 18, 19)
                 .F64(0.5)
                 .F64(Rad(10))
                 .F64(Rad(20))
                 .F64(Rad(30))
                 .XYZ(0, 0, -1)
                 .I16(2)
                 .bytes();
    auto d = Open(MakeFrame(f));
    d->drawing().SetBase(TableBase::kBlocks, 5);
    d->drawing().SetBase(TableBase::kDimstyles, 7);
    ASSERT_EQ(d->drawing().LoadEntitySection(), 1);
    CDB_ENTITY *e = d->Entity(0);
    EXPECT_EQ(Field(e->dimension.block_index), 6);
    EXPECT_POINT(e->dimension.definition_point, 1, 2, 3);
    EXPECT_POINT(e->dimension.text_midpoint, 4, 5, 0);
    EXPECT_POINT(e->dimension.clone_insertion_point, 6, 7, 0);
    EXPECT_EQ(Field(e->dimension.dimension_type), 2);
    EXPECT_STREQ(e->dimension.text, "<>");
    EXPECT_POINT(e->dimension.definition_point_2, 8, 9, 10);
    EXPECT_POINT(e->dimension.definition_point_3, 11, 12, 13);
    EXPECT_POINT(e->dimension.definition_point_4, 14, 15, 16);
    EXPECT_POINT(e->dimension.arc_definition_point, 17, 18, 19);
    EXPECT_EQ(Field(e->dimension.leader_length), 0.5);
    EXPECT_DOUBLE_EQ(Field(e->dimension.text_rotation), 10.0);
    EXPECT_DOUBLE_EQ(Field(e->dimension.extension_line_rotation), 20.0);
    EXPECT_DOUBLE_EQ(Field(e->dimension.horizontal_direction), 30.0);
    EXPECT_EQ(Field(e->dimension.oblique_angle), 0.0);
    EXPECT_POINT(e->extrusion, 0, 0, -1);
    EXPECT_EQ(Field(e->dimension.dimstyle_index), 9);

    CDB_ENTITY out;
    std::memset(&out, 0, sizeof out);
    d->drawing().Entities().At(0)->GetRecord(&out);
    EXPECT_STREQ(out.dimension.text, "<>");
    EXPECT_NE(Field(out.dimension.text), Field(e->dimension.text));
    std::free(out.dimension.text);
}

TEST(R12Entities, DimensionTextOfLengthZeroIsNull) {
    FrameSpec f(23);
    f.options_1 = 0x04;
    f.body = FrameBody().I16(0).XYZ(1, 2, 3).XY(4, 5).Text("").bytes();
    auto d = Load(MakeFrame(f));
    EXPECT_EQ(Field(d->Entity(0)->dimension.text), nullptr);
    EXPECT_EQ(Field(d->Entity(0)->dimension.dimstyle_index), 0);
}

// ---- Viewport ------------------------------------------------------------------------------

namespace {

Bytes ViewportFrame(const Bytes &eed, double cx = 5, int16_t id = 2) {
    FrameSpec f(24);
    f.common.eed = eed;
    f.common.space = 1;
    f.body = FrameBody().XYZ(cx, 4, 0).F64(10).F64(8).I16(id).bytes();
    return MakeFrame(f);
}

} // namespace

TEST(R12Entities, ViewportUnpacksItsMviewData) {
    MviewData m;
    m.application = 3;
    m.target[0] = 1;
    m.target[1] = 2;
    m.target[2] = 3;
    m.direction[0] = 0.5;
    m.twist = Rad(15);
    m.view_height = 12;
    m.center[0] = 6.5;
    m.center[1] = 4.25;
    m.lens = 35;
    m.front = 1.5;
    m.back = -1.5;
    for (int i = 0; i < 8; ++i)
        m.modes[i] = static_cast<int16_t>(i + 1);
    m.snap_angle = Rad(30);
    m.snap_base[0] = 0.1;
    m.snap_base[1] = 0.2;
    m.snap_spacing[0] = 0.3;
    m.snap_spacing[1] = 0.4;
    m.grid_spacing[0] = 0.5;
    m.grid_spacing[1] = 0.6;
    m.hidden_in_plot = 1;
    m.frozen_layers = {4, 2, 9};
    auto d = Load(ViewportFrame(MakeMviewData(m)));
    CDB_ENTITY *e = d->Entity(0);
    ASSERT_NE(e, nullptr);
    const CDB_VIEWPORT_type &v = e->viewport;
    EXPECT_POINT(v.center, 5, 4, 0);
    EXPECT_EQ(Field(v.width), 10.0);
    EXPECT_EQ(Field(v.height), 8.0);
    EXPECT_EQ(Field(v.viewport_id), 2);
    EXPECT_EQ(Field(v.eed_version), 3);
    EXPECT_EQ(std::string(v.eed_application, 5), "MVIEW");
    EXPECT_EQ(Field(v.data_version), 16);
    EXPECT_POINT(v.view_target, 1, 2, 3);
    EXPECT_POINT(v.view_direction, 0.5, 0, 1);
    EXPECT_DOUBLE_EQ(Field(v.twist_angle), 15.0);
    EXPECT_EQ(Field(v.view_height), 12.0);
    EXPECT_EQ(Field(v.view_center.x), 6.5);
    EXPECT_EQ(Field(v.view_center.y), 4.25);
    EXPECT_EQ(Field(v.lens_length), 35.0);
    EXPECT_EQ(Field(v.front_clip), 1.5);
    EXPECT_EQ(Field(v.back_clip), -1.5);
    EXPECT_EQ(Field(v.view_mode), 1);
    EXPECT_EQ(Field(v.circle_zoom), 2);
    EXPECT_EQ(Field(v.fast_zoom), 3);
    EXPECT_EQ(Field(v.ucs_icon), 4);
    EXPECT_EQ(Field(v.snap_mode), 5);
    EXPECT_EQ(Field(v.grid_mode), 6);
    EXPECT_EQ(Field(v.snap_style), 7);
    EXPECT_EQ(Field(v.snap_isopair), 8);
    EXPECT_DOUBLE_EQ(Field(v.snap_angle), 30.0);
    EXPECT_EQ(Field(v.snap_base.x), 0.1);
    EXPECT_EQ(Field(v.snap_base.y), 0.2);
    EXPECT_EQ(Field(v.snap_spacing.x), 0.3);
    EXPECT_EQ(Field(v.snap_spacing.y), 0.4);
    EXPECT_EQ(Field(v.grid_spacing.x), 0.5);
    EXPECT_EQ(Field(v.grid_spacing.y), 0.6);
    EXPECT_EQ(Field(v.hidden_in_plot), 1);
    ASSERT_EQ(Field(v.frozen_layer_count), 3);
    ASSERT_NE(Field(v.frozen_layers), nullptr);
    EXPECT_EQ(v.frozen_layers[0], 4);
    EXPECT_EQ(v.frozen_layers[1], 2);
    EXPECT_EQ(v.frozen_layers[2], 9);
    // The extended data stays in the record, and the viewport joins the chain.
    EXPECT_GT(Field(e->eed_size), 100);
    EXPECT_EQ(d->drawing().Viewports().Head(), d->drawing().Entities().At(0));
    EXPECT_EQ(d->drawing().IsAnyPaperSpace(), 1);
}

TEST(R12Entities, ViewportWithoutFrozenLayers) {
    auto d = Load(ViewportFrame(MakeMviewData(MviewData{})));
    const CDB_VIEWPORT_type &v = d->Entity(0)->viewport;
    EXPECT_EQ(Field(v.frozen_layer_count), 0);
    EXPECT_EQ(Field(v.frozen_layers), nullptr);
    EXPECT_EQ(Field(v.circle_zoom), 100);
    EXPECT_EQ(Field(v.view_height), 9.0);
}

TEST(R12Entities, ViewportWithShortMviewDataKeepsZeroBeyondIt) {
    MviewData m;
    m.view_height = 12;
    m.lens = 35;
    Bytes eed = MakeMviewData(m);
    // Cut behind the view height and one more byte: what lies beyond stays zero.
    const size_t keep = 1 + 2 + 1 + 1 + 5 + 2 + 1 + 2 + 1 + 24 + 1 + 24 + 1 + 8 + 1 + 8 + 1;
    eed.resize(keep);
    auto d = Load(ViewportFrame(eed));
    const CDB_VIEWPORT_type &v = d->Entity(0)->viewport;
    EXPECT_EQ(Field(v.view_height), 12.0);
    EXPECT_EQ(Field(v.view_center.x), 0.0);
    EXPECT_EQ(Field(v.lens_length), 0.0);
    EXPECT_EQ(Field(v.circle_zoom), 0);
    EXPECT_EQ(Field(v.frozen_layer_count), 0);
    EXPECT_EQ(Field(v.width), 10.0);
}

TEST(R12Entities, ViewportWithoutExtendedData) {
    FrameSpec f(24);
    f.body = FrameBody().XYZ(1, 2, 3).F64(10).F64(8).I16(1).bytes();
    auto d = Load(MakeFrame(f));
    const CDB_VIEWPORT_type &v = d->Entity(0)->viewport;
    EXPECT_POINT(v.center, 1, 2, 3);
    EXPECT_EQ(Field(v.viewport_id), 1);
    EXPECT_EQ(Field(v.data_version), 0);
}

TEST(R12Entities, ViewportsGetTheirEntityHeaderIndex) {
    // Records with flags 0 or the deleted bit are passed over; an index of 0 gives the
    // record count.
    Dwg12FileBuilder b;
    VxRec skipped;
    skipped.flags = 0;
    skipped.vx_index = 50;
    VxRec first;
    first.vx_index = 7;
    VxRec deleted;
    deleted.flags = 0xC0;
    deleted.vx_index = 51;
    VxRec zero;
    zero.vx_index = 0;
    b.Add(skipped).Add(first).Add(deleted).Add(zero);
    MviewData m;
    BuildDrawing(b,
                 Concat({ViewportFrame(MakeMviewData(m), 1), LineFrame(0, 0, 0, 1, 1, 1),
                         ViewportFrame(MakeMviewData(m), 2), ViewportFrame(MakeMviewData(m), 3)}));
    LoadedR12 d(CurrentTestName(), b.bytes());
    ASSERT_TRUE(d.opened());
    ASSERT_EQ(d->TriggerLoading(), 1);
    EXPECT_EQ(Field(d.Entity(0)->viewport.vx_index), 7);
    EXPECT_EQ(Field(d.Entity(2)->viewport.vx_index), 4);
    EXPECT_EQ(Field(d.Entity(3)->viewport.vx_index), 0); // no record left for it
    int chained = 0;
    for (CModelEntity *v = d->Viewports().First(); v; v = d->Viewports().Next())
        ++chained;
    EXPECT_EQ(chained, 3);
}

TEST(R12Entities, ViewportLeavesTheChainWhenDestroyed) {
    MviewData m;
    auto d = Load(Concat({ViewportFrame(MakeMviewData(m), 1), ViewportFrame(MakeMviewData(m), 2),
                          ViewportFrame(MakeMviewData(m), 3)}));
    CEntityList &list = d->drawing().Entities();
    CModelEntity *middle = list.At(1);
    ASSERT_EQ(list.RemoveAt(1), 1);
    delete middle;
    CViewportLink *head = d->drawing().Viewports().HeadLink();
    ASSERT_NE(head, nullptr);
    ASSERT_NE(head->next, nullptr);
    EXPECT_EQ(head->next->entity, list.At(1));
    EXPECT_EQ(head->next->next, nullptr);
}

// ---- Other kinds and the class table ---------------------------------------------------------

TEST(R12Entities, BlockStartAndEndFramesInTheMainSection) {
    auto d = Load(Concat({BeginBlockFrame(1, 2), EndBlockFrame()}));
    ASSERT_EQ(d->Count(), 2);
    CDB_ENTITY *begin = d->Entity(0);
    EXPECT_EQ(Field(begin->entity_type), 12);
    EXPECT_POINT(begin->block.base_point, 1, 2, 0);
    ASSERT_NE(Field(begin->block.xref_path), nullptr); // never null
    EXPECT_STREQ(begin->block.xref_path, "");
    EXPECT_EQ(Field(begin->block.name_2), nullptr);
    EXPECT_EQ(Field(d->Entity(1)->entity_type), 13);

    // The record copy of list mode owns its texts.
    begin->block.name = static_cast<char *>(std::calloc(3, 1));
    begin->block.name[0] = 'B';
    CDB_ENTITY out;
    std::memset(&out, 0, sizeof out);
    d->drawing().Entities().At(0)->GetRecord(&out);
    ASSERT_NE(Field(out.block.xref_path), nullptr);
    EXPECT_NE(Field(out.block.xref_path), Field(begin->block.xref_path));
    ASSERT_NE(Field(out.block.name), nullptr);
    EXPECT_NE(Field(out.block.name), Field(begin->block.name));
    EXPECT_STREQ(out.block.name, "B");
    EXPECT_EQ(Field(out.block.name_2), nullptr);
    std::free(out.block.xref_path);
    std::free(out.block.name);
}

TEST(R12Entities, ClassesByCode) {
    const int kinds[] = {1, 2, 3, 4, 7, 8, 9, 11, 12, 13, 14, 15, 16, 17, 19, 20, 21, 22, 23, 24};
    for (int code : kinds) {
        std::unique_ptr<CR12Entity> e(MakeR12Entity(nullptr, code));
        ASSERT_NE(e, nullptr) << code;
        EXPECT_EQ(e->Code(), code);
        ASSERT_NE(e->Layout(), nullptr) << code;
        EXPECT_EQ(e->Layout()->code, code == 21 ? 1 : code);
        CDB_ENTITY *r = e->GetData();
        EXPECT_EQ(Field(r->entity_type), code);
        EXPECT_EQ(Field(r->color), -1);
        EXPECT_EQ(Field(r->line_type_index), -1);
        EXPECT_POINT(r->extrusion, 0, 0, 1);
    }
    for (int code : {0, 5, 6, 10, 18, 25, 32, 127, 200}) {
        EXPECT_EQ(MakeR12Entity(nullptr, code), nullptr) << code;
        EXPECT_EQ(R12EntityLayoutFor(code), nullptr) << code;
    }
    EXPECT_NE(
        dynamic_cast<CR12Line *>(std::unique_ptr<CR12Entity>(MakeR12Entity(nullptr, 21)).get()),
        nullptr);
}

TEST(R12Entities, FindByHandle) {
    FrameSpec a(1), b(1);
    a.common.handle = Bytes{0x1A};
    b.common.handle = Bytes{0x01, 0x00};
    a.body = b.body = FrameBody().XYZ(0, 0, 0).XYZ(1, 1, 1).bytes();
    auto d = Load(Concat({MakeFrame(a), MakeFrame(b)}));
    CEntityList &list = d->drawing().Entities();
    EXPECT_EQ(list.FindByHandle("100"), 1);
    EXPECT_EQ(list.Position(), 1);
    EXPECT_EQ(list.FindByHandle("1A"), 0);
    EXPECT_EQ(list.Position(), 0);
    EXPECT_EQ(list.FindByHandle("FF"), -1);
}
