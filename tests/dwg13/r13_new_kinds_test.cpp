// The classes of the kinds that release 13 brought, on single objects: every class written
// with the library's writer and read back, their flags, forms and empty counts, and what
// set-record does with the caller's arrays. Packed record fields are handed to gtest as
// copies (unary plus).
#include "r13_new_kinds_support.h"

#include "dwg13/r13_new_kinds.h"
#include "io/bit_writer.h"

#include "velkow32.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

namespace velko_test {
namespace {

void ExpectPoint(const CDB_POINT3 &p, double x, double y, double z) {
    EXPECT_DOUBLE_EQ(p.x, x);
    EXPECT_DOUBLE_EQ(p.y, y);
    EXPECT_DOUBLE_EQ(p.z, z);
}

// ---- The dispatch -------------------------------------------------------------------------

TEST(R13NewKinds, EveryNewObjectTypeHasAClassGivingItsPublicKind) {
    const struct {
        int16_t type;
        int16_t code;
    } rows[] = {{35, CDB_ELLIPSE}, {36, CDB_SPLINE},    {37, CDB_REGION}, {38, CDB_3DSOLID},
                {39, CDB_BODY},    {40, CDB_RAY},       {41, CDB_XLINE},  {44, CDB_MTEXT},
                {45, CDB_LEADER},  {46, CDB_TOLERANCE}, {47, CDB_MLINE},  {500, CDB_OLEFRAME}};
    for (const auto &row : rows) {
        auto entity = MakeOfType(row.type);
        ASSERT_NE(entity, nullptr) << row.type;
        EXPECT_EQ(entity->Code(), row.code);
        EXPECT_EQ(entity->FileType(), row.type);
    }
    EXPECT_EQ(FindR13EntityKind(42), nullptr);
    EXPECT_EQ(FindR13EntityKind(43), nullptr);
}

// ---- ELLIPSE, RAY, XLINE --------------------------------------------------------------------

TEST(R13NewKinds, EllipseKeepsItsFieldsAndTakesTheCentresZAsElevation) {
    auto e = NewEntity(35);
    CDB_ENTITY *r = e->GetData();
    r->ellipse.center = {1.5, 2.5, 3.5};
    r->ellipse.major_axis = {4.0, 0.0, 0.0};
    r->extrusion = {0.0, 1.0, 0.0};
    r->ellipse.axis_ratio = 0.5;
    r->ellipse.start_parameter = 0.25;
    r->ellipse.end_parameter = 6.0;
    auto back = RoundTrip(*e);
    ASSERT_NE(back, nullptr);
    const CDB_ENTITY *b = back->GetData();
    EXPECT_EQ(+b->entity_type, CDB_ELLIPSE);
    ExpectPoint(b->ellipse.center, 1.5, 2.5, 3.5);
    ExpectPoint(b->ellipse.major_axis, 4.0, 0.0, 0.0);
    ExpectPoint(b->extrusion, 0.0, 1.0, 0.0);
    EXPECT_DOUBLE_EQ(+b->ellipse.axis_ratio, 0.5);
    EXPECT_DOUBLE_EQ(+b->ellipse.start_parameter, 0.25);
    EXPECT_DOUBLE_EQ(+b->ellipse.end_parameter, 6.0);
    EXPECT_DOUBLE_EQ(+b->elevation, 3.5);
}

TEST(R13NewKinds, RayAndXlineShareOneLayoutAndGiveTheirOwnKinds) {
    for (int16_t type : {int16_t(40), int16_t(41)}) {
        auto e = NewEntity(type);
        e->GetData()->ray.base_point = {1.0, 2.0, 3.0};
        e->GetData()->ray.direction = {0.0, 0.6, 0.8};
        auto back = RoundTrip(*e);
        ASSERT_NE(back, nullptr);
        EXPECT_EQ(+back->GetData()->entity_type, type == 40 ? CDB_RAY : CDB_XLINE);
        ExpectPoint(back->GetData()->xline.base_point, 1.0, 2.0, 3.0);
        ExpectPoint(back->GetData()->ray.direction, 0.0, 0.6, 0.8);
    }
}

// ---- MTEXT, TOLERANCE ---------------------------------------------------------------------

TEST(R13NewKinds, MtextKeepsItsTextAndStyleAndItsExtrusionIsItsNormal) {
    auto e = NewEntity(44);
    CDB_ENTITY *r = e->GetData();
    r->mtext.insertion_point = {1.0, 2.0, 7.0};
    r->extrusion = {0.0, 0.0, -1.0};
    r->mtext.x_axis_direction = {1.0, 0.0, 0.0};
    r->mtext.width = 12.0;
    r->mtext.height = 2.5;
    r->mtext.attachment_point = 5;
    r->mtext.drawing_direction = 3;
    r->mtext.line_spacing = 1.5;
    r->mtext.line_spacing_extra = 0.75;
    r->mtext.text = Dup("first\\Psecond");
    r->mtext.style_handle = Dup("11");
    auto back = RoundTrip(*e);
    ASSERT_NE(back, nullptr);
    const CDB_ENTITY *b = back->GetData();
    ExpectPoint(b->mtext.insertion_point, 1.0, 2.0, 7.0);
    EXPECT_DOUBLE_EQ(+b->elevation, 7.0);
    ExpectPoint(b->mtext.normal, 0.0, 0.0, -1.0);
    ExpectPoint(b->extrusion, 0.0, 0.0, -1.0);
    EXPECT_DOUBLE_EQ(+b->mtext.width, 12.0);
    EXPECT_DOUBLE_EQ(+b->mtext.height, 2.5);
    EXPECT_EQ(+b->mtext.attachment_point, 5);
    EXPECT_EQ(+b->mtext.drawing_direction, 3);
    EXPECT_DOUBLE_EQ(+b->mtext.line_spacing, 1.5);
    EXPECT_DOUBLE_EQ(+b->mtext.line_spacing_extra, 0.75);
    EXPECT_STREQ(b->mtext.text, "first\\Psecond");
    EXPECT_STREQ(b->mtext.style_handle, "11");
}

TEST(R13NewKinds, MtextWithAnEmptyTextReadsBackEmpty) {
    auto e = NewEntity(44);
    e->GetData()->mtext.style_handle = Dup("11");
    auto back = RoundTrip(*e);
    ASSERT_NE(back, nullptr);
    ASSERT_NE(back->GetData()->mtext.text, nullptr);
    EXPECT_STREQ(back->GetData()->mtext.text, "");
}

TEST(R13NewKinds, ToleranceKeepsItsHeightAndGapInTheObject) {
    auto e = NewEntity(46);
    auto *t = static_cast<CR13Tolerance *>(e.get());
    t->height = 0.18;
    t->gap = 0.09;
    CDB_ENTITY *r = e->GetData();
    r->tolerance.insertion_point = {5.0, 6.0, 0.0};
    r->tolerance.x_axis_direction = {1.0, 0.0, 0.0};
    r->tolerance.normal = {0.0, 0.0, 1.0};
    r->tolerance.text = Dup("{\\Fgdt;j}%%v0.1");
    r->tolerance.dimstyle_handle = Dup("1D");
    auto back = RoundTrip(*e);
    ASSERT_NE(back, nullptr);
    auto *bt = static_cast<CR13Tolerance *>(back.get());
    EXPECT_DOUBLE_EQ(bt->height, 0.18);
    EXPECT_DOUBLE_EQ(bt->gap, 0.09);
    const CDB_ENTITY *b = back->GetData();
    ExpectPoint(b->tolerance.insertion_point, 5.0, 6.0, 0.0);
    EXPECT_STREQ(b->tolerance.text, "{\\Fgdt;j}%%v0.1");
    EXPECT_STREQ(b->tolerance.dimstyle_handle, "1D");
}

TEST(R13NewKinds, SetRecordCopiesTheTextsOfMtextAndTolerance) {
    auto e = NewEntity(46);
    CDB_ENTITY in = CallerRecord(*e);
    char text[] = "caller";
    char handle[] = "1D";
    in.tolerance.text = text;
    in.tolerance.dimstyle_handle = handle;
    e->SetRecord(&in);
    EXPECT_STREQ(e->GetData()->tolerance.text, "caller");
    EXPECT_NE(e->GetData()->tolerance.text, text);
    EXPECT_NE(e->GetData()->tolerance.dimstyle_handle, handle);
}

// ---- The unknown kind ---------------------------------------------------------------------

TEST(R13NewKinds, TheUnknownKindReadsTheCommonHeadAlone) {
    CR13Unknown unknown(nullptr, CDB_ELLIPSE);
    R13Object object = EntityObject(R13EntityHead{}.Type(35).Handle(0x77));
    CBitStream stream(object.data(), static_cast<int32_t>(object.size()));
    ASSERT_EQ(unknown.ReadDWG(stream), 1);
    EXPECT_STREQ(unknown.GetData()->handle, "77");
    EXPECT_EQ(+unknown.GetData()->entity_type, CDB_ELLIPSE);
    // Nothing of the trailer: the layer stays unread.
    EXPECT_EQ(unknown.GetData()->layer_handle, nullptr);
}

// ---- REGION, 3DSOLID, BODY ------------------------------------------------------------------

TEST(R13NewKinds, ModelerKindsCopyTheirChunksAndTakeLayerFAndLineTypeMinusOne) {
    const char *acis = "400 26 1 0\n16 Autodesk AutoCAD 19 ASM 221.0.0.1930 NT 0\n";
    for (int16_t type : {int16_t(37), int16_t(38), int16_t(39)}) {
        auto e = NewEntity(type);
        auto *modeler = static_cast<CR13Modeler *>(e.get());
        uint8_t *data = reinterpret_cast<uint8_t *>(Dup(acis));
        CDB_ENTITY in = CallerRecord(*e);
        if (type == 38)
            in.solid3d.data = data;
        else
            in.region.data = data;
        modeler->SetRecord(&in);
        // A plain copy: the object took the caller's block.
        EXPECT_EQ(type == 38 ? e->GetData()->solid3d.data : e->GetData()->region.data, data);
        auto back = RoundTrip(*e);
        ASSERT_NE(back, nullptr) << type;
        const CDB_ENTITY *b = back->GetData();
        const uint8_t *read = type == 38 ? b->solid3d.data : b->body.data;
        ASSERT_NE(read, nullptr);
        EXPECT_STREQ(reinterpret_cast<const char *>(read), acis);
        EXPECT_EQ(static_cast<CR13Modeler *>(back.get())->DataLength(), std::strlen(acis));
        EXPECT_STREQ(b->layer_handle, "F");
        EXPECT_STREQ(b->line_type_handle, "-1");
        EXPECT_EQ(+b->entity_type, type);
    }
}

TEST(R13NewKinds, AModelerObjectWithoutChunksGivesAnEmptyTerminatedBlock) {
    auto e = NewEntity(38);
    auto back = RoundTrip(*e);
    ASSERT_NE(back, nullptr);
    ASSERT_NE(back->GetData()->solid3d.data, nullptr);
    EXPECT_EQ(back->GetData()->solid3d.data[0], 0);
    EXPECT_EQ(static_cast<CR13Modeler *>(back.get())->DataLength(), 0u);
}

// ---- OLE frame ----------------------------------------------------------------------------

TEST(R13NewKinds, OleFrameKeepsItsVersionAndDataBlock) {
    auto e = NewEntity(500);
    CDB_ENTITY *r = e->GetData();
    r->ole.ole_version = 2;
    r->ole.data_size = 300;
    r->ole.data = static_cast<uint8_t *>(std::malloc(300));
    for (int i = 0; i < 300; ++i)
        r->ole.data[i] = static_cast<uint8_t>(i * 7);
    auto back = RoundTrip(*e);
    ASSERT_NE(back, nullptr);
    const CDB_ENTITY *b = back->GetData();
    EXPECT_EQ(+b->entity_type, CDB_OLEFRAME);
    EXPECT_EQ(+b->ole.ole_version, 2);
    ASSERT_EQ(+b->ole.data_size, 300);
    EXPECT_EQ(std::memcmp(b->ole.data, r->ole.data, 300), 0);
    EXPECT_STREQ(b->layer_handle, "10");
}

TEST(R13NewKinds, OleFrameOfNoDataHasANullBlock) {
    auto back = RoundTrip(*NewEntity(500));
    ASSERT_NE(back, nullptr);
    EXPECT_EQ(+back->GetData()->ole.data_size, 0);
    EXPECT_EQ(back->GetData()->ole.data, nullptr);
}

TEST(R13NewKinds, SetRecordOfAnOleFrameTakesTheCallersBlock) {
    auto e = NewEntity(500);
    CDB_ENTITY in = CallerRecord(*e);
    in.ole.data = static_cast<uint8_t *>(std::malloc(4));
    in.ole.data_size = 4;
    e->SetRecord(&in);
    EXPECT_EQ(e->GetData()->ole.data, in.ole.data);
}

} // namespace
} // namespace velko_test
