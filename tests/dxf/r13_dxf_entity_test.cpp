// Release 13 entities read from hand-made DXF groups, ASCII and binary: every field of every
// kind, the arrays of the new kinds, the extended data in the release 13 form, and the
// behaviour at the edges (refused names, a file that ends inside an entity, huge counts).
#include "support/dxf_text.h"
#include "support/r13_dxf_fixture.h"

#include "dwg13/r13_block.h"
#include "dwg13/r13_classic_kinds.h"
#include "dwg13/r13_dxf_layout.h"
#include "dwg13/r13_entity.h"
#include "dwg13/r13_new_kinds.h"
#include "dwg13/r13_tables.h"
#include "records/heap_text.h"
#include "velkow32.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <vector>

using velko_test::DxfText;
using velko_test::R13DxfEntityFixture;

namespace {

// The object types the dispatch makes for the names.
constexpr int16_t kText = 1, kAttrib = 2, kAttdef = 3, kSeqEnd = 6, kInsert = 7, kVertex = 10,
                  kPolyline = 15, kArc = 17, kCircle = 18, kLine = 19, kDimension = 23, kPoint = 27,
                  kFace = 28, kSolid = 31, kTrace = 32, kShape = 33, kViewport = 34, kEllipse = 35,
                  kSpline = 36, kRegion = 37, kSolid3D = 38, kBody = 39, kRay = 40, kXline = 41,
                  kMtext = 44, kLeader = 45, kTolerance = 46, kMline = 47, kOle = 500, kBlock = 4,
                  kEndBlock = 5;

// One entity read from its groups in one form.
struct Read {
    std::unique_ptr<R13DxfEntityFixture> fixture;
    std::unique_ptr<CR13Entity> entity;
    int result = 0;

    CDB_ENTITY &rec() { return *entity->GetData(); }
    std::string name() const { return fixture->Name(); }
};

// Reads the entity of the file type `type` from `groups`, which begin with its group 0.
Read ReadEntity(bool binary, int16_t type, const DxfText &groups, int view_flag = 0) {
    Read r;
    r.fixture = std::make_unique<R13DxfEntityFixture>(binary, view_flag);
    r.fixture->Open(groups);
    r.entity = r.fixture->Make(type);
    r.result = r.entity->ReadDXF(r.fixture->Reader(), r.fixture->Name());
    return r;
}

// Runs `test` on the ASCII form and on the binary form.
void ForBothForms(const std::function<void(bool binary)> &test) {
    for (bool binary : {false, true}) {
        SCOPED_TRACE(binary ? "binary" : "ASCII");
        test(binary);
    }
}

std::string Text(const char *text) {
    return text ? text : "(null)";
}

void ExpectPoint(const CDB_POINT3 &p, double x, double y, double z) {
    EXPECT_DOUBLE_EQ(p.x, x);
    EXPECT_DOUBLE_EQ(p.y, y);
    EXPECT_DOUBLE_EQ(p.z, z);
}

// Three groups of a point.
DxfText &Point(DxfText &d, int code, double x, double y, double z) {
    return d.G(code, x).G(code + 10, y).G(code + 20, z);
}

// ---- The common groups ----------------------------------------------------------------------

TEST(R13DxfEntity, LineTakesEveryCommonGroupAndItsPoints) {
    ForBothForms([](bool binary) {
        DxfText d;
        d.G(0, "LINE").G(5, "2A").G(100, "AcDbEntity").G(8, "WALLS").G(6, "DASHED").G(62, 3);
        d.G(48, 2.5).G(67, 1).G(60, 1).G(38, 4.0).G(39, 1.5).G(100, "AcDbLine");
        Point(d, 10, 1, 2, 3);
        Point(d, 11, 4, 5, 6);
        Point(d, 210, 0, 1, 0);
        d.G(0, "ENDSEC");
        Read r = ReadEntity(binary, kLine, d);
        ASSERT_EQ(r.result, 1);
        EXPECT_EQ(r.name(), "ENDSEC");
        CDB_ENTITY &e = r.rec();
        EXPECT_EQ(e.entity_type, CDB_LINE);
        EXPECT_EQ(Text(e.handle), "2A");
        EXPECT_EQ(Text(e.layer_handle), "11");
        EXPECT_EQ(Text(e.line_type_handle), "15");
        EXPECT_EQ(e.line_type_bylayer, 0u);
        EXPECT_EQ(e.color, 3);
        EXPECT_DOUBLE_EQ(e.line_type_scale, 2.5);
        EXPECT_EQ(e.space, 1);
        EXPECT_EQ(r.fixture->Drawing().IsAnyPaperSpace(), 1);
        EXPECT_EQ(e.invisibility, 1);
        EXPECT_DOUBLE_EQ(e.elevation, 4.0);
        EXPECT_DOUBLE_EQ(e.thickness, 1.5);
        ExpectPoint(e.line.start_point, 1, 2, 3);
        ExpectPoint(e.line.end_point, 4, 5, 6);
        ExpectPoint(e.extrusion, 0, 1, 0);
    });
}

TEST(R13DxfEntity, DefaultsWhenTheCommonGroupsAreMissing) {
    ForBothForms([](bool binary) {
        DxfText d;
        d.G(0, "LINE").G(8, "0").G(0, "ENDSEC");
        Read r = ReadEntity(binary, kLine, d);
        ASSERT_EQ(r.result, 1);
        CDB_ENTITY &e = r.rec();
        EXPECT_EQ(e.color, -1);
        EXPECT_EQ(Text(e.line_type_handle), "-1");
        EXPECT_EQ(e.line_type_bylayer, 1u);
        EXPECT_DOUBLE_EQ(e.line_type_scale, 1.0);
        EXPECT_EQ(e.invisibility, 0);
        EXPECT_EQ(e.space, 0);
        EXPECT_EQ(r.fixture->Drawing().IsAnyPaperSpace(), 0);
        ExpectPoint(e.extrusion, 0, 0, 1);
        EXPECT_EQ(e.handle, nullptr);
        EXPECT_EQ(Text(e.layer_handle), "10");
    });
}

TEST(R13DxfEntity, LineWithoutGroup6IsByLayerAndByBlockIsZero) {
    ForBothForms([](bool binary) {
        Read none = ReadEntity(binary, kLine, DxfText().G(0, "LINE").G(0, "ENDSEC"));
        EXPECT_EQ(Text(none.rec().line_type_handle), "-1");
        Read byblock =
            ReadEntity(binary, kLine, DxfText().G(0, "LINE").G(6, "BYBLOCK").G(0, "ENDSEC"));
        EXPECT_EQ(Text(byblock.rec().line_type_handle), "0");
        EXPECT_EQ(byblock.rec().line_type_bylayer, 0u);
        Read bylayer =
            ReadEntity(binary, kLine, DxfText().G(0, "LINE").G(6, "BYLAYER").G(0, "ENDSEC"));
        EXPECT_EQ(Text(bylayer.rec().line_type_handle), "-1");
    });
}

TEST(R13DxfEntity, NamesMissingFromTheirTablesGiveNullHandles) {
    ForBothForms([](bool binary) {
        Read r = ReadEntity(binary, kLine,
                            DxfText().G(0, "LINE").G(8, "NOSUCH").G(6, "NOSUCH").G(0, "ENDSEC"));
        ASSERT_EQ(r.result, 1);
        EXPECT_EQ(r.rec().layer_handle, nullptr);
        EXPECT_EQ(r.rec().line_type_handle, nullptr);
    });
}

TEST(R13DxfEntity, ReactorsOwnersAndUnknownGroupsArePassedOver) {
    ForBothForms([](bool binary) {
        DxfText d;
        d.G(0, "LINE").G(5, "2B").G(102, "{ACAD_REACTORS").G(330, "1F").G(102, "}");
        d.G(330, "1F").G(360, "77").G(100, "AcDbEntity").G(8, "WALLS").G(999, "note");
        d.G(100, "AcDbLine").G(10, 7.0).G(0, "LINE");
        Read r = ReadEntity(binary, kLine, d);
        ASSERT_EQ(r.result, 1);
        EXPECT_EQ(r.name(), "LINE");
        EXPECT_EQ(Text(r.rec().handle), "2B");
        EXPECT_EQ(Text(r.rec().layer_handle), "11");
        EXPECT_DOUBLE_EQ(r.rec().line.start_point.x, 7.0);
    });
}

// ---- Names refused --------------------------------------------------------------------------

TEST(R13DxfEntity, Line3DIsRefusedWithoutReading) {
    ForBothForms([](bool binary) {
        Read r = ReadEntity(binary, kLine, DxfText().G(0, "3DLINE").G(8, "WALLS").G(0, "EOF"));
        EXPECT_EQ(r.result, 0);
        EXPECT_EQ(r.name(), "3DLINE");
        // Nothing was read: the next group is still the layer.
        int16_t code = 0;
        char value[CDxfStream::kValueSize] = {};
        r.fixture->Reader().Stream().ReadGroup(&code, value);
        EXPECT_EQ(code, 8);
        EXPECT_STREQ(value, "WALLS");
    });
}

TEST(R13DxfEntity, Ole2FrameIsRefusedWithoutReading) {
    ForBothForms([](bool binary) {
        Read r = ReadEntity(binary, kOle, DxfText().G(0, "OLE2FRAME").G(70, 2).G(0, "EOF"));
        EXPECT_EQ(r.result, 0);
        int16_t code = 0;
        char value[CDxfStream::kValueSize] = {};
        r.fixture->Reader().Stream().ReadGroup(&code, value);
        EXPECT_EQ(code, 70);
    });
}

TEST(R13DxfEntity, AnotherKindsNameIsRefused) {
    ForBothForms([](bool binary) {
        Read r = ReadEntity(binary, kCircle, DxfText().G(0, "ARC").G(40, 2.0).G(0, "EOF"));
        EXPECT_EQ(r.result, 0);
        EXPECT_DOUBLE_EQ(r.rec().circle.radius, 0.0);
    });
}

TEST(R13DxfEntity, FileThatEndsInsideAnEntityGivesMinusOne) {
    ForBothForms([](bool binary) {
        Read r = ReadEntity(binary, kLine, DxfText().G(0, "LINE").G(8, "WALLS").G(10, 1.0));
        EXPECT_EQ(r.result, -1);
    });
}

TEST(R13DxfEntity, FileThatEndsInsideExtendedDataGivesMinusOne) {
    ForBothForms([](bool binary) {
        Read r =
            ReadEntity(binary, kLine, DxfText().G(0, "LINE").G(1001, "ACAD").G(1000, "cut here"));
        EXPECT_EQ(r.result, -1);
    });
}

// ---- Circle, arc, point, trace, solid, face ---------------------------------------------------

TEST(R13DxfEntity, CircleGroup30SetsTheCentreZAndLeavesTheElevation) {
    ForBothForms([](bool binary) {
        DxfText d;
        d.G(0, "CIRCLE").G(100, "AcDbCircle").G(39, 2.0);
        Point(d, 10, 1, 2, 5).G(40, 3.5).G(0, "ENDSEC");
        Read r = ReadEntity(binary, kCircle, d);
        ASSERT_EQ(r.result, 1);
        EXPECT_EQ(r.rec().entity_type, CDB_CIRCLE);
        ExpectPoint(r.rec().circle.center, 1, 2, 5);
        EXPECT_DOUBLE_EQ(r.rec().circle.radius, 3.5);
        EXPECT_DOUBLE_EQ(r.rec().thickness, 2.0);
        EXPECT_DOUBLE_EQ(r.rec().elevation, 0.0);
    });
}

TEST(R13DxfEntity, CircleElevationComesFromGroup38Only) {
    ForBothForms([](bool binary) {
        DxfText d;
        d.G(0, "CIRCLE").G(38, 7.0).G(30, 5.0).G(0, "ENDSEC");
        Read r = ReadEntity(binary, kCircle, d);
        EXPECT_DOUBLE_EQ(r.rec().elevation, 7.0);
        EXPECT_DOUBLE_EQ(r.rec().circle.center.z, 5.0);
    });
}

TEST(R13DxfEntity, ArcTakesCentreRadiusAnglesAndExtrusion) {
    ForBothForms([](bool binary) {
        DxfText d;
        d.G(0, "ARC").G(100, "AcDbCircle");
        Point(d, 10, 1, 2, 3).G(40, 4.0).G(100, "AcDbArc").G(50, 30.0).G(51, 120.0);
        Point(d, 210, 0, 0, -1).G(0, "ENDSEC");
        Read r = ReadEntity(binary, kArc, d);
        ASSERT_EQ(r.result, 1);
        EXPECT_EQ(r.rec().entity_type, CDB_ARC);
        ExpectPoint(r.rec().arc.center, 1, 2, 3);
        EXPECT_DOUBLE_EQ(r.rec().arc.radius, 4.0);
        EXPECT_DOUBLE_EQ(r.rec().arc.start_angle, 30.0);
        EXPECT_DOUBLE_EQ(r.rec().arc.end_angle, 120.0);
        ExpectPoint(r.rec().extrusion, 0, 0, -1);
        EXPECT_DOUBLE_EQ(r.rec().elevation, 0.0);
    });
}

TEST(R13DxfEntity, PointTakesLocationAndAngle) {
    ForBothForms([](bool binary) {
        DxfText d;
        d.G(0, "POINT");
        Point(d, 10, 1, 2, 3).G(39, 0.5).G(50, 45.0).G(0, "ENDSEC");
        Read r = ReadEntity(binary, kPoint, d);
        ExpectPoint(r.rec().point.location, 1, 2, 3);
        EXPECT_DOUBLE_EQ(r.rec().point.x_axis_angle, 45.0);
        EXPECT_DOUBLE_EQ(r.rec().thickness, 0.5);
    });
}

TEST(R13DxfEntity, TraceAndSolidKeepTheZOfTheirCorners) {
    ForBothForms([](bool binary) {
        for (auto kind : {std::make_pair(kTrace, "TRACE"), std::make_pair(kSolid, "SOLID")}) {
            DxfText d;
            d.G(0, kind.second);
            Point(d, 10, 1, 2, 9);
            Point(d, 11, 3, 4, 9);
            Point(d, 12, 5, 6, 9);
            Point(d, 13, 7, 8, 9).G(0, "ENDSEC");
            Read r = ReadEntity(binary, kind.first, d);
            ASSERT_EQ(r.result, 1);
            ExpectPoint(r.rec().trace.corner_1, 1, 2, 9);
            ExpectPoint(r.rec().trace.corner_2, 3, 4, 9);
            ExpectPoint(r.rec().trace.corner_3, 5, 6, 9);
            ExpectPoint(r.rec().trace.corner_4, 7, 8, 9);
            EXPECT_DOUBLE_EQ(r.rec().elevation, 0.0);
        }
    });
}

TEST(R13DxfEntity, FaceTakesFourCornersAndInvisibleEdges) {
    ForBothForms([](bool binary) {
        DxfText d;
        d.G(0, "3DFACE");
        Point(d, 10, 1, 2, 3);
        Point(d, 11, 4, 5, 6);
        Point(d, 12, 7, 8, 9);
        Point(d, 13, 10, 11, 12).G(70, 5).G(0, "ENDSEC");
        Read r = ReadEntity(binary, kFace, d);
        ExpectPoint(r.rec().face.corner_1, 1, 2, 3);
        ExpectPoint(r.rec().face.corner_2, 4, 5, 6);
        ExpectPoint(r.rec().face.corner_3, 7, 8, 9);
        ExpectPoint(r.rec().face.corner_4, 10, 11, 12);
        EXPECT_EQ(r.rec().face.invisible_edges, 5);
    });
}

// ---- Texts and attributes ---------------------------------------------------------------------

TEST(R13DxfEntity, TextTakesEveryGroup) {
    ForBothForms([](bool binary) {
        DxfText d;
        d.G(0, "TEXT").G(100, "AcDbText");
        Point(d, 10, 1, 2, 3).G(40, 2.5).G(1, "Hello").G(50, 30.0).G(41, 0.8).G(51, 15.0);
        d.G(7, "ROMANS").G(71, 2).G(72, 1);
        Point(d, 11, 4, 5, 6).G(100, "AcDbText").G(73, 2).G(0, "ENDSEC");
        Read r = ReadEntity(binary, kText, d);
        ASSERT_EQ(r.result, 1);
        const CDB_TEXT_type &t = r.rec().text;
        ExpectPoint(t.insertion_point, 1, 2, 3);
        EXPECT_DOUBLE_EQ(t.height, 2.5);
        EXPECT_EQ(Text(t.text), "Hello");
        EXPECT_DOUBLE_EQ(t.rotation, 30.0);
        EXPECT_DOUBLE_EQ(t.width_factor, 0.8);
        EXPECT_DOUBLE_EQ(t.oblique_angle, 15.0);
        EXPECT_EQ(Text(t.style_handle), "21");
        EXPECT_EQ(t.generation_flags, 2);
        EXPECT_EQ(t.horizontal_justification, 1);
        EXPECT_EQ(t.vertical_justification, 2);
        ExpectPoint(t.alignment_point, 4, 5, 6);
        EXPECT_DOUBLE_EQ(r.rec().elevation, 0.0);
    });
}

TEST(R13DxfEntity, TextLeftOutGroupsTakeTheWritersDefaults) {
    ForBothForms([](bool binary) {
        Read r = ReadEntity(binary, kText, DxfText().G(0, "TEXT").G(1, "").G(0, "ENDSEC"));
        EXPECT_DOUBLE_EQ(r.rec().text.width_factor, 1.0);
        EXPECT_EQ(r.rec().text.text, nullptr);
    });
}

TEST(R13DxfEntity, ATextWithoutAStyleIsInTheStyleStandard) {
    ForBothForms([](bool binary) {
        DxfText text;
        text.G(0, "TEXT").G(100, "AcDbText").G(40, 2.5).G(1, "plain").G(0, "ENDSEC");
        Read r = ReadEntity(binary, kText, text);
        ASSERT_EQ(r.result, 1);
        EXPECT_EQ(Text(r.rec().text.style_handle), "20");
        DxfText attdef;
        attdef.G(0, "ATTDEF").G(1, "d").G(3, "p").G(2, "T").G(0, "ENDSEC");
        Read a = ReadEntity(binary, kAttdef, attdef);
        ASSERT_EQ(a.result, 1);
        EXPECT_EQ(Text(a.rec().attdef.style_handle), "20");
        DxfText attrib;
        attrib.G(0, "ATTRIB").G(1, "v").G(2, "T").G(0, "ENDSEC");
        Read b = ReadEntity(binary, kAttrib, attrib);
        ASSERT_EQ(b.result, 1);
        EXPECT_EQ(Text(b.rec().attrib.style_handle), "20");
        DxfText mtext;
        mtext.G(0, "MTEXT").G(100, "AcDbMText").G(1, "para").G(0, "ENDSEC");
        Read m = ReadEntity(binary, kMtext, mtext);
        ASSERT_EQ(m.result, 1);
        EXPECT_EQ(Text(m.rec().mtext.style_handle), "20");
    });
}

TEST(R13DxfEntity, AStyleTheTableLacksStaysUnnamed) {
    ForBothForms([](bool binary) {
        DxfText d;
        d.G(0, "TEXT").G(1, "x").G(7, "NOSUCHSTYLE").G(0, "ENDSEC");
        Read r = ReadEntity(binary, kText, d);
        ASSERT_EQ(r.result, 1);
        // The name was given: the table's answer stands, no default takes its place.
        EXPECT_EQ(r.rec().text.style_handle, nullptr);
    });
}

TEST(R13DxfEntity, AttdefTakesEveryGroup) {
    ForBothForms([](bool binary) {
        DxfText d;
        d.G(0, "ATTDEF");
        Point(d, 10, 1, 2, 3).G(40, 2.0).G(1, "dflt").G(100, "AcDbAttributeDefinition");
        d.G(3, "Prompt?").G(2, "TAG").G(70, 4).G(73, 12).G(50, 10.0).G(41, 0.5).G(51, 5.0);
        d.G(7, "STANDARD").G(71, 4).G(72, 2).G(74, 3);
        Point(d, 11, 7, 8, 9).G(0, "SEQEND");
        Read r = ReadEntity(binary, kAttdef, d);
        ASSERT_EQ(r.result, 1);
        EXPECT_EQ(r.name(), "SEQEND");
        const CDB_ATTDEF_type &a = r.rec().attdef;
        ExpectPoint(a.insertion_point, 1, 2, 3);
        EXPECT_DOUBLE_EQ(a.height, 2.0);
        EXPECT_EQ(Text(a.default_value), "dflt");
        EXPECT_EQ(Text(a.prompt), "Prompt?");
        EXPECT_EQ(Text(a.tag), "TAG");
        EXPECT_EQ(a.flags, 4);
        EXPECT_EQ(a.field_length, 12);
        EXPECT_DOUBLE_EQ(a.rotation, 10.0);
        EXPECT_DOUBLE_EQ(a.width_factor, 0.5);
        EXPECT_DOUBLE_EQ(a.oblique_angle, 5.0);
        EXPECT_EQ(Text(a.style_handle), "20");
        EXPECT_EQ(a.generation_flags, 4);
        EXPECT_EQ(a.horizontal_justification, 2);
        EXPECT_EQ(a.vertical_justification, 3);
        ExpectPoint(a.alignment_point, 7, 8, 9);
    });
}

TEST(R13DxfEntity, AttribTakesEveryGroup) {
    ForBothForms([](bool binary) {
        DxfText d;
        d.G(0, "ATTRIB");
        Point(d, 10, 1, 2, 3).G(40, 2.0).G(1, "value").G(100, "AcDbAttribute").G(2, "TAG");
        d.G(70, 1).G(73, 6).G(50, 20.0).G(51, 3.0).G(7, "ROMANS").G(71, 2).G(72, 4).G(74, 1);
        Point(d, 11, 7, 8, 9).G(0, "SEQEND");
        Read r = ReadEntity(binary, kAttrib, d);
        ASSERT_EQ(r.result, 1);
        const CDB_ATTRIB_type &a = r.rec().attrib;
        ExpectPoint(a.insertion_point, 1, 2, 3);
        EXPECT_DOUBLE_EQ(a.height, 2.0);
        EXPECT_EQ(Text(a.value), "value");
        EXPECT_EQ(Text(a.tag), "TAG");
        EXPECT_EQ(a.flags, 1);
        EXPECT_EQ(a.field_length, 6);
        EXPECT_DOUBLE_EQ(a.rotation, 20.0);
        EXPECT_DOUBLE_EQ(a.width_factor, 1.0);
        EXPECT_DOUBLE_EQ(a.oblique_angle, 3.0);
        EXPECT_EQ(Text(a.style_handle), "21");
        EXPECT_EQ(a.generation_flags, 2);
        EXPECT_EQ(a.horizontal_justification, 4);
        EXPECT_EQ(a.vertical_justification, 1);
        ExpectPoint(a.alignment_point, 7, 8, 9);
    });
}

TEST(R13DxfEntity, ShapeTakesItsGroupsAndAnUnknownNameGivesNoShape) {
    ForBothForms([](bool binary) {
        DxfText d;
        d.G(0, "SHAPE");
        Point(d, 10, 1, 2, 3).G(40, 2.0).G(2, "NOSUCHSHAPE").G(50, 90.0).G(41, 1.5).G(51, 7.0);
        d.G(0, "ENDSEC");
        Read r = ReadEntity(binary, kShape, d);
        ASSERT_EQ(r.result, 1);
        const CDB_SHAPE_type &s = r.rec().shape;
        ExpectPoint(s.insertion_point, 1, 2, 3);
        EXPECT_DOUBLE_EQ(s.size, 2.0);
        EXPECT_EQ(s.shape_number, -1);
        EXPECT_EQ(s.style_handle, nullptr);
        EXPECT_DOUBLE_EQ(s.rotation, 90.0);
        EXPECT_DOUBLE_EQ(s.x_scale, 1.5);
        EXPECT_DOUBLE_EQ(s.oblique_angle, 7.0);
    });
}

// ---- Inserts, polylines, vertices -------------------------------------------------------------

TEST(R13DxfEntity, InsertKeepsItsBlocksNameAndTakesEveryGroup) {
    ForBothForms([](bool binary) {
        DxfText d;
        d.G(0, "INSERT").G(66, 1).G(2, "DOOR");
        Point(d, 10, 1, 2, 3).G(41, 2.0).G(42, 3.0).G(43, 4.0).G(50, 90.0);
        d.G(70, 3).G(71, 2).G(44, 10.0).G(45, 20.0).G(0, "ATTRIB");
        Read r = ReadEntity(binary, kInsert, d);
        ASSERT_EQ(r.result, 1);
        const CDB_INSERT_type &i = r.rec().insert;
        EXPECT_EQ(i.attributes_follow, 1);
        EXPECT_EQ(Text(i.block_handle), "40");
        EXPECT_EQ(static_cast<CR13Insert *>(r.entity.get())->block_name, "DOOR");
        ExpectPoint(i.insertion_point, 1, 2, 3);
        EXPECT_DOUBLE_EQ(i.x_scale, 2.0);
        EXPECT_DOUBLE_EQ(i.y_scale, 3.0);
        EXPECT_DOUBLE_EQ(i.z_scale, 4.0);
        EXPECT_DOUBLE_EQ(i.rotation, 90.0);
        EXPECT_EQ(i.column_count, 3);
        EXPECT_EQ(i.row_count, 2);
        EXPECT_DOUBLE_EQ(i.column_spacing, 10.0);
        EXPECT_DOUBLE_EQ(i.row_spacing, 20.0);
        EXPECT_EQ(r.entity->FileType(), 8); // a grid: MINSERT
    });
}

TEST(R13DxfEntity, InsertLeftOutGroupsTakeTheWritersDefaults) {
    ForBothForms([](bool binary) {
        Read r = ReadEntity(binary, kInsert, DxfText().G(0, "INSERT").G(2, "LATER").G(0, "EOF"));
        const CDB_INSERT_type &i = r.rec().insert;
        EXPECT_DOUBLE_EQ(i.x_scale, 1.0);
        EXPECT_DOUBLE_EQ(i.y_scale, 1.0);
        EXPECT_DOUBLE_EQ(i.z_scale, 1.0);
        EXPECT_EQ(i.column_count, 1);
        EXPECT_EQ(i.row_count, 1);
        EXPECT_EQ(r.entity->FileType(), 7);
        // A block that the table does not know yet: the name stays for the resolve step.
        EXPECT_EQ(i.block_handle, nullptr);
        EXPECT_EQ(static_cast<CR13Insert *>(r.entity.get())->block_name, "LATER");
    });
}

TEST(R13DxfEntity, InsertResolvesAKeptBlockNameWhenItsRecordIsAsked) {
    ForBothForms([](bool binary) {
        Read r = ReadEntity(binary, kInsert, DxfText().G(0, "INSERT").G(2, "LATER").G(0, "EOF"));
        auto *later = new CR13BlockRecord(&r.fixture->Drawing());
        later->SetName("LATER");
        later->Rec().handle = DuplicateText("44");
        r.fixture->Drawing().Table(R13Table::kBlocks).AddRecord(later);
        CDB_ENTITY *resolved = r.entity->GetResolvedRecord();
        EXPECT_EQ(Text(resolved->insert.block_handle), "44");
        EXPECT_EQ(resolved->insert.block_index, 1); // behind DOOR
        EXPECT_EQ(resolved->layer_index, -1);       // no group 8: no layer handle
        EXPECT_EQ(resolved->line_type_index, -1);   // by layer
    });
}

TEST(R13DxfEntity, ReferencesResolveToTheirTablesIndices) {
    ForBothForms([](bool binary) {
        Read r = ReadEntity(
            binary, kText,
            DxfText().G(0, "TEXT").G(8, "WALLS").G(6, "DASHED").G(7, "ROMANS").G(0, "EOF"));
        CDB_ENTITY *resolved = r.entity->GetResolvedRecord();
        EXPECT_EQ(resolved->layer_index, 1);
        EXPECT_EQ(resolved->line_type_index, 1);
        EXPECT_EQ(resolved->text.style_index, 1);
        Read byblock =
            ReadEntity(binary, kLine, DxfText().G(0, "LINE").G(6, "BYBLOCK").G(0, "EOF"));
        EXPECT_EQ(byblock.entity->GetResolvedRecord()->line_type_index, 0);
    });
}

TEST(R13DxfEntity, PolylineTakesEveryGroupAndLeavesItsZForTheVertices) {
    ForBothForms([](bool binary) {
        DxfText d;
        d.G(0, "POLYLINE").G(100, "AcDb2dPolyline").G(66, 1);
        Point(d, 10, 0, 0, 6.5).G(70, 1).G(40, 0.5).G(41, 0.25).G(71, 3).G(72, 4).G(73, 5);
        d.G(74, 6).G(75, 8).G(0, "VERTEX");
        Read r = ReadEntity(binary, kPolyline, d);
        ASSERT_EQ(r.result, 1);
        const CDB_POLYLINE_type &p = r.rec().polyline;
        EXPECT_EQ(p.vertices_follow, 1);
        ExpectPoint(p.origin, 0, 0, 6.5);
        EXPECT_EQ(p.flags, 1);
        EXPECT_DOUBLE_EQ(p.start_width, 0.5);
        EXPECT_DOUBLE_EQ(p.end_width, 0.25);
        EXPECT_EQ(p.mesh_m_count, 3);
        EXPECT_EQ(p.mesh_n_count, 4);
        EXPECT_EQ(p.smooth_m_density, 5);
        EXPECT_EQ(p.smooth_n_density, 6);
        EXPECT_EQ(p.curve_type, 8);
        EXPECT_DOUBLE_EQ(r.fixture->Reader().PolylineZ(), 6.5);
        EXPECT_DOUBLE_EQ(r.rec().elevation, 0.0);
    });
}

// A polyline and its first vertex read from one file.
struct PolylineAndVertex {
    Read polyline;
    std::unique_ptr<CR13Entity> vertex;
    int result = 0;
};

PolylineAndVertex ReadPolylineAndVertex(bool binary, const char *marker) {
    DxfText d;
    d.G(0, "POLYLINE").G(66, 1);
    Point(d, 10, 0, 0, 6.5);
    Point(d, 210, 0, 0, -1).G(0, "VERTEX").G(100, "AcDbVertex");
    if (marker)
        d.G(100, marker);
    Point(d, 10, 1, 2, 3).G(40, 0.5).G(41, 0.75).G(42, 0.25).G(70, 32).G(50, 12.0);
    d.G(71, 1).G(72, 2).G(73, 3).G(74, 4).G(0, "SEQEND");
    PolylineAndVertex out;
    out.polyline = ReadEntity(binary, kPolyline, d);
    out.vertex = out.polyline.fixture->Make(kVertex);
    out.result = out.vertex->ReadDXF(out.polyline.fixture->Reader(), out.polyline.fixture->Name());
    return out;
}

TEST(R13DxfEntity, VertexWithoutAMeshMarkerTakesThePolylinesZAsElevation) {
    ForBothForms([](bool binary) {
        PolylineAndVertex pv = ReadPolylineAndVertex(binary, "AcDb2dVertex");
        ASSERT_EQ(pv.result, 1);
        EXPECT_EQ(pv.polyline.name(), "SEQEND");
        const CDB_ENTITY &v = *pv.vertex->GetData();
        EXPECT_DOUBLE_EQ(v.elevation, 6.5);
        ExpectPoint(v.vertex.location, 1, 2, 3);
        ExpectPoint(v.extrusion, 0, 0, -1); // the polyline's
        EXPECT_DOUBLE_EQ(v.vertex.start_width, 0.5);
        EXPECT_DOUBLE_EQ(v.vertex.end_width, 0.75);
        EXPECT_DOUBLE_EQ(v.vertex.bulge, 0.25);
        EXPECT_EQ(v.vertex.flags, 32);
        EXPECT_DOUBLE_EQ(v.vertex.tangent_direction, 12.0);
        EXPECT_EQ(v.vertex.polyface_index_1, 1);
        EXPECT_EQ(v.vertex.polyface_index_2, 2);
        EXPECT_EQ(v.vertex.polyface_index_3, 3);
        EXPECT_EQ(v.vertex.polyface_index_4, 4);
        EXPECT_EQ(pv.vertex->FileType(), 11); // flag 32: a 3D polyline's vertex
    });
}

TEST(R13DxfEntity, VertexWithAMeshMarkerTakesItsOwnZAsElevation) {
    ForBothForms([](bool binary) {
        for (const char *marker : {kR13PolygonMeshVertex, kR13PolyFaceMeshVertex}) {
            PolylineAndVertex pv = ReadPolylineAndVertex(binary, marker);
            ASSERT_EQ(pv.result, 1);
            EXPECT_DOUBLE_EQ(pv.vertex->GetData()->elevation, 3.0);
        }
    });
}

TEST(R13DxfEntity, VertexWithNoMarkerAtAllTakesThePolylinesZ) {
    ForBothForms([](bool binary) {
        PolylineAndVertex pv = ReadPolylineAndVertex(binary, nullptr);
        EXPECT_DOUBLE_EQ(pv.vertex->GetData()->elevation, 6.5);
    });
}

TEST(R13DxfEntity, SequenceEndTakesTheCommonGroups) {
    ForBothForms([](bool binary) {
        Read r = ReadEntity(binary, kSeqEnd,
                            DxfText().G(0, "SEQEND").G(5, "3C").G(8, "WALLS").G(0, "LINE"));
        ASSERT_EQ(r.result, 1);
        EXPECT_EQ(r.rec().entity_type, CDB_SEQEND);
        EXPECT_EQ(Text(r.rec().handle), "3C");
        EXPECT_EQ(Text(r.rec().layer_handle), "11");
        EXPECT_EQ(r.name(), "LINE");
    });
}

TEST(R13DxfEntity, ViewportTakesCentreSizeAndIdAndPassesTheStatusOver) {
    ForBothForms([](bool binary) {
        DxfText d;
        d.G(0, "VIEWPORT").G(100, "AcDbViewPort").G(68, 1);
        Point(d, 10, 5, 6, 0).G(40, 20.0).G(41, 10.0).G(69, 2).G(0, "ENDSEC");
        Read r = ReadEntity(binary, kViewport, d);
        ASSERT_EQ(r.result, 1);
        ExpectPoint(r.rec().viewport.center, 5, 6, 0);
        EXPECT_DOUBLE_EQ(r.rec().viewport.width, 20.0);
        EXPECT_DOUBLE_EQ(r.rec().viewport.height, 10.0);
        EXPECT_EQ(r.rec().viewport.viewport_id, 2);
    });
}

TEST(R13DxfEntity, DimensionTakesEveryGroup) {
    ForBothForms([](bool binary) {
        DxfText d;
        d.G(0, "DIMENSION").G(100, "AcDbDimension").G(2, "*D1");
        Point(d, 10, 1, 2, 3);
        Point(d, 11, 4, 5, 6).G(70, 32).G(1, "<>").G(53, 5.0).G(51, 6.0).G(3, "ARCH");
        d.G(100, "AcDbAlignedDimension");
        Point(d, 12, 7, 8, 9);
        Point(d, 13, 10, 11, 12);
        Point(d, 14, 13, 14, 15).G(50, 30.0).G(52, 40.0);
        Point(d, 15, 16, 17, 18);
        Point(d, 16, 19, 20, 21).G(40, 2.5).G(0, "ENDSEC");
        Read r = ReadEntity(binary, kDimension, d);
        ASSERT_EQ(r.result, 1);
        const CDB_DIMENSION_type &m = r.rec().dimension;
        EXPECT_EQ(m.block_handle, nullptr); // *D1 is not in the block table
        EXPECT_EQ(static_cast<CR13Dimension *>(r.entity.get())->block_name, "*D1");
        EXPECT_EQ(Text(m.dimstyle_handle), "31");
        ExpectPoint(m.definition_point, 1, 2, 3);
        ExpectPoint(m.text_midpoint, 4, 5, 6);
        ExpectPoint(m.clone_insertion_point, 7, 8, 9);
        ExpectPoint(m.definition_point_2, 10, 11, 12);
        ExpectPoint(m.definition_point_3, 13, 14, 15);
        ExpectPoint(m.definition_point_4, 16, 17, 18);
        ExpectPoint(m.arc_definition_point, 19, 20, 21);
        EXPECT_EQ(m.dimension_type, 32);
        EXPECT_EQ(Text(m.text), "<>");
        EXPECT_DOUBLE_EQ(m.leader_length, 2.5);
        EXPECT_DOUBLE_EQ(m.text_rotation, 30.0);
        EXPECT_DOUBLE_EQ(m.horizontal_direction, 6.0);
        EXPECT_DOUBLE_EQ(m.extension_line_rotation, 40.0);
        EXPECT_DOUBLE_EQ(m.oblique_angle, 5.0);
        EXPECT_EQ(r.entity->FileType(), 21); // linear
    });
}

TEST(R13DxfEntity, DimensionOfAKnownBlockTakesItsHandle) {
    ForBothForms([](bool binary) {
        Read r = ReadEntity(binary, kDimension,
                            DxfText().G(0, "DIMENSION").G(2, "DOOR").G(70, 38).G(0, "EOF"));
        EXPECT_EQ(Text(r.rec().dimension.block_handle), "40");
        EXPECT_EQ(r.entity->FileType(), 20); // ordinate
    });
}

// ---- The plain new kinds ------------------------------------------------------------------

TEST(R13DxfEntity, EllipseTakesEveryGroup) {
    ForBothForms([](bool binary) {
        DxfText d;
        d.G(0, "ELLIPSE").G(100, "AcDbEllipse");
        Point(d, 10, 1, 2, 3);
        Point(d, 11, 4, 0, 0);
        Point(d, 210, 0, 0, 1).G(40, 0.5).G(41, 0.1).G(42, 6.0).G(0, "ENDSEC");
        Read r = ReadEntity(binary, kEllipse, d);
        ASSERT_EQ(r.result, 1);
        EXPECT_EQ(r.rec().entity_type, CDB_ELLIPSE);
        ExpectPoint(r.rec().ellipse.center, 1, 2, 3);
        ExpectPoint(r.rec().ellipse.major_axis, 4, 0, 0);
        EXPECT_DOUBLE_EQ(r.rec().ellipse.axis_ratio, 0.5);
        EXPECT_DOUBLE_EQ(r.rec().ellipse.start_parameter, 0.1);
        EXPECT_DOUBLE_EQ(r.rec().ellipse.end_parameter, 6.0);
        EXPECT_DOUBLE_EQ(r.rec().elevation, 3.0); // the centre's z, as the record has it
    });
}

TEST(R13DxfEntity, RayAndXlineTakeBaseAndDirection) {
    ForBothForms([](bool binary) {
        for (auto kind : {std::make_pair(kRay, "RAY"), std::make_pair(kXline, "XLINE")}) {
            DxfText d;
            d.G(0, kind.second);
            Point(d, 10, 1, 2, 3);
            Point(d, 11, 0, 1, 0).G(0, "ENDSEC");
            Read r = ReadEntity(binary, kind.first, d);
            ASSERT_EQ(r.result, 1);
            ExpectPoint(r.rec().ray.base_point, 1, 2, 3);
            ExpectPoint(r.rec().ray.direction, 0, 1, 0);
        }
    });
}

TEST(R13DxfEntity, MtextJoinsGroups3And1InArrivalOrder) {
    ForBothForms([](bool binary) {
        DxfText d;
        d.G(0, "MTEXT").G(100, "AcDbMText").G(7, "ROMANS").G(40, 2.5);
        d.G(3, "first ").G(3, "second ").G(1, "last");
        Point(d, 10, 1, 2, 3);
        Point(d, 11, 0, 1, 0);
        Point(d, 12, 0, 0, -1).G(41, 40.0).G(71, 5).G(72, 3).G(0, "ENDSEC");
        Read r = ReadEntity(binary, kMtext, d);
        ASSERT_EQ(r.result, 1);
        const CDB_MTEXT_type &m = r.rec().mtext;
        EXPECT_EQ(Text(m.text), "first second last");
        EXPECT_EQ(Text(m.style_handle), "21");
        EXPECT_DOUBLE_EQ(m.height, 2.5);
        ExpectPoint(m.insertion_point, 1, 2, 3);
        ExpectPoint(m.x_axis_direction, 0, 1, 0);
        ExpectPoint(m.normal, 0, 0, -1);
        EXPECT_DOUBLE_EQ(m.width, 40.0);
        EXPECT_EQ(m.attachment_point, 5);
        EXPECT_EQ(m.drawing_direction, 3);
    });
}

TEST(R13DxfEntity, MtextWithoutDirectionOrNormalTakesTheirDefaults) {
    ForBothForms([](bool binary) {
        DxfText d;
        d.G(0, "MTEXT").G(1, "x");
        Point(d, 210, 0, 1, 0).G(0, "ENDSEC");
        Read r = ReadEntity(binary, kMtext, d);
        ExpectPoint(r.rec().mtext.x_axis_direction, 1, 0, 0);
        ExpectPoint(r.rec().mtext.normal, 0, 1, 0); // the extrusion
    });
}

TEST(R13DxfEntity, ToleranceTakesEveryGroup) {
    ForBothForms([](bool binary) {
        DxfText d;
        d.G(0, "TOLERANCE").G(100, "AcDbFcf").G(3, "ARCH");
        Point(d, 10, 1, 2, 3).G(1, "{\\Fgdt;j}%%v0.1");
        Point(d, 11, 0, 1, 0);
        Point(d, 12, 0, 0, -1).G(0, "ENDSEC");
        Read r = ReadEntity(binary, kTolerance, d);
        ASSERT_EQ(r.result, 1);
        const CDB_TOLERANCE_type &t = r.rec().tolerance;
        EXPECT_EQ(Text(t.dimstyle_handle), "31");
        EXPECT_EQ(Text(t.text), "{\\Fgdt;j}%%v0.1");
        ExpectPoint(t.insertion_point, 1, 2, 3);
        ExpectPoint(t.x_axis_direction, 0, 1, 0);
        ExpectPoint(t.normal, 0, 0, -1);
    });
}

// ---- The kinds with arrays ------------------------------------------------------------------

TEST(R13DxfEntity, LeaderTakesEveryGroupAndDropsVerticesBeyondItsCount) {
    ForBothForms([](bool binary) {
        DxfText d;
        d.G(0, "LEADER").G(100, "AcDbLeader").G(3, "ARCH").G(72, 1).G(71, 0).G(73, 2);
        d.G(74, 1).G(75, 1).G(77, 5).G(40, 1.5).G(41, 3.0).G(76, 2);
        Point(d, 10, 1, 2, 3);
        Point(d, 10, 4, 5, 6);
        Point(d, 10, 7, 8, 9); // beyond the count
        Point(d, 11, 0, 0, -1);
        Point(d, 12, 0, 1, 0).G(0, "ENDSEC");
        Read r = ReadEntity(binary, kLeader, d);
        ASSERT_EQ(r.result, 1);
        const CDB_LEADER_type &l = r.rec().leader;
        EXPECT_EQ(Text(l.dimstyle_handle), "31");
        EXPECT_EQ(l.path_type, 1);
        EXPECT_EQ(l.arrow_head, 0);
        EXPECT_EQ(l.annotation_type, 2);
        EXPECT_EQ(l.hookline_on_x, 1);
        EXPECT_EQ(l.hookline, 1);
        EXPECT_EQ(l.color, 5);
        EXPECT_DOUBLE_EQ(l.text_height, 1.5);
        EXPECT_DOUBLE_EQ(l.text_width, 3.0);
        ASSERT_EQ(l.vertex_count, 2);
        ASSERT_NE(l.vertices, nullptr);
        ExpectPoint(l.vertices[0], 1, 2, 3);
        ExpectPoint(l.vertices[1], 4, 5, 6);
        ExpectPoint(l.normal, 0, 0, -1);
        ExpectPoint(l.x_direction, 0, 1, 0);
    });
}

TEST(R13DxfEntity, LeaderLeftOutGroupsTakeTheirDefaults) {
    ForBothForms([](bool binary) {
        Read r = ReadEntity(binary, kLeader, DxfText().G(0, "LEADER").G(0, "ENDSEC"));
        EXPECT_EQ(r.rec().leader.annotation_type, 3);
        EXPECT_EQ(r.rec().leader.vertex_count, 0);
        EXPECT_EQ(r.rec().leader.vertices, nullptr);
        ExpectPoint(r.rec().leader.normal, 0, 0, 1);
        ExpectPoint(r.rec().leader.x_direction, 1, 0, 0);
    });
}

TEST(R13DxfEntity, SplineFillsItsArraysByRunningCountersAndTakesWeights) {
    ForBothForms([](bool binary) {
        DxfText d;
        d.G(0, "SPLINE").G(100, "AcDbSpline");
        Point(d, 210, 0, 0, 1).G(70, 4).G(71, 3).G(72, 3).G(73, 2).G(74, 1);
        d.G(42, 1e-9).G(43, 1e-8).G(44, 1e-7);
        Point(d, 12, 1, 0, 0);
        Point(d, 13, 0, 1, 0).G(40, 0.0).G(40, 0.5).G(40, 1.0).G(40, 9.0); // one knot too many
        Point(d, 10, 1, 2, 3).G(41, 0.5);
        Point(d, 10, 4, 5, 6).G(41, 2.0);
        Point(d, 10, 7, 8, 9).G(41, 3.0); // beyond the count
        Point(d, 11, 10, 11, 12);
        Point(d, 11, 13, 14, 15).G(0, "ENDSEC");
        Read r = ReadEntity(binary, kSpline, d);
        ASSERT_EQ(r.result, 1);
        const CDB_SPLINE_type &s = r.rec().spline;
        EXPECT_EQ(s.flags, 4);
        EXPECT_EQ(s.degree, 3);
        EXPECT_DOUBLE_EQ(s.knot_tolerance, 1e-9);
        EXPECT_DOUBLE_EQ(s.control_tolerance, 1e-8);
        EXPECT_DOUBLE_EQ(s.fit_tolerance, 1e-7);
        ExpectPoint(s.start_tangent, 1, 0, 0);
        ExpectPoint(s.end_tangent, 0, 1, 0);
        ASSERT_EQ(s.knot_count, 3);
        EXPECT_DOUBLE_EQ(s.knots[0], 0.0);
        EXPECT_DOUBLE_EQ(s.knots[1], 0.5);
        EXPECT_DOUBLE_EQ(s.knots[2], 1.0);
        ASSERT_EQ(s.control_point_count, 2);
        EXPECT_DOUBLE_EQ(s.control_points[0].x, 1.0);
        EXPECT_DOUBLE_EQ(s.control_points[0].z, 3.0);
        EXPECT_DOUBLE_EQ(s.control_points[0].weight, 0.5);
        EXPECT_DOUBLE_EQ(s.control_points[1].y, 5.0);
        EXPECT_DOUBLE_EQ(s.control_points[1].weight, 2.0);
        ASSERT_EQ(s.fit_point_count, 1);
        ExpectPoint(s.fit_points[0], 10, 11, 12);
        EXPECT_EQ(static_cast<CR13Spline *>(r.entity.get())->weighted, 1);
    });
}

TEST(R13DxfEntity, SplineWithoutTheRationalFlagDropsWeights) {
    ForBothForms([](bool binary) {
        DxfText d;
        d.G(0, "SPLINE").G(70, 8).G(73, 1);
        Point(d, 10, 1, 2, 3).G(41, 0.5).G(0, "ENDSEC");
        Read r = ReadEntity(binary, kSpline, d);
        ASSERT_EQ(r.rec().spline.control_point_count, 1);
        EXPECT_DOUBLE_EQ(r.rec().spline.control_points[0].weight, 1.0);
        EXPECT_EQ(r.rec().spline.knots, nullptr);
        EXPECT_EQ(r.rec().spline.fit_points, nullptr);
    });
}

TEST(R13DxfEntity, SplineValuesBeforeTheirCountAreDropped) {
    ForBothForms([](bool binary) {
        DxfText d;
        d.G(0, "SPLINE").G(40, 1.0).G(72, 1).G(40, 2.0).G(72, 5).G(0, "ENDSEC");
        Read r = ReadEntity(binary, kSpline, d);
        // The count that came again once its array existed is dropped too.
        ASSERT_EQ(r.rec().spline.knot_count, 1);
        EXPECT_DOUBLE_EQ(r.rec().spline.knots[0], 2.0);
    });
}

TEST(R13DxfEntity, MlineFillsVerticesLinesAndParameters) {
    ForBothForms([](bool binary) {
        DxfText d;
        d.G(0, "MLINE").G(100, "AcDbMline").G(2, "STANDARD").G(340, "5A").G(40, 2.0);
        d.G(70, 1).G(71, 3).G(72, 2).G(73, 2);
        Point(d, 10, 1, 2, 3);
        // The first vertex: two lines, the first with two segment and one fill parameter.
        Point(d, 11, 1, 2, 3);
        Point(d, 12, 1, 0, 0);
        Point(d, 13, 0, 1, 0);
        d.G(74, 2).G(41, 0.0).G(41, 5.0).G(41, 9.0).G(75, 1).G(42, 0.5);
        d.G(74, 1).G(41, 1.0).G(75, 0);
        // The second vertex.
        Point(d, 11, 6, 2, 3);
        Point(d, 12, -1, 0, 0);
        Point(d, 13, 0, -1, 0);
        d.G(74, 0).G(75, 0).G(74, 1).G(41, 7.0).G(75, 0);
        // A third vertex is beyond the count.
        Point(d, 11, 9, 9, 9).G(74, 1).G(41, 1.0).G(0, "ENDSEC");
        Read r = ReadEntity(binary, kMline, d);
        ASSERT_EQ(r.result, 1);
        const CDB_MLINE_type &m = r.rec().mline;
        EXPECT_EQ(Text(m.style_handle), "5A");
        EXPECT_DOUBLE_EQ(m.scale, 2.0);
        EXPECT_EQ(m.justification, 1);
        EXPECT_EQ(m.flags, 3);
        ExpectPoint(m.base_point, 1, 2, 3);
        ASSERT_EQ(m.vertex_count, 2);
        ASSERT_EQ(m.line_count, 2);
        const CDB_MLINE_VERTEX &a = m.vertices[0];
        ExpectPoint(a.location, 1, 2, 3);
        ExpectPoint(a.direction, 1, 0, 0);
        ExpectPoint(a.miter_direction, 0, 1, 0);
        ASSERT_NE(a.lines, nullptr);
        ASSERT_EQ(a.lines[0].segment_parameter_count, 2);
        EXPECT_DOUBLE_EQ(a.lines[0].segment_parameters[1], 5.0);
        ASSERT_EQ(a.lines[0].fill_parameter_count, 1);
        EXPECT_DOUBLE_EQ(a.lines[0].fill_parameters[0], 0.5);
        ASSERT_EQ(a.lines[1].segment_parameter_count, 1);
        EXPECT_DOUBLE_EQ(a.lines[1].segment_parameters[0], 1.0);
        EXPECT_EQ(a.lines[1].fill_parameters, nullptr);
        const CDB_MLINE_VERTEX &b = m.vertices[1];
        ExpectPoint(b.location, 6, 2, 3);
        ExpectPoint(b.miter_direction, 0, -1, 0);
        ASSERT_NE(b.lines, nullptr);
        EXPECT_EQ(b.lines[0].segment_parameter_count, 0);
        ASSERT_EQ(b.lines[1].segment_parameter_count, 1);
        EXPECT_DOUBLE_EQ(b.lines[1].segment_parameters[0], 7.0);
    });
}

TEST(R13DxfEntity, MlineStyleByNameOnlyWhenTheTableKnowsIt) {
    ForBothForms([](bool binary) {
        Read known =
            ReadEntity(binary, kMline, DxfText().G(0, "MLINE").G(2, "STANDARD").G(0, "ENDSEC"));
        EXPECT_EQ(Text(known.rec().mline.style_handle), "50");
        Read unknown = ReadEntity(
            binary, kMline, DxfText().G(0, "MLINE").G(340, "5A").G(2, "OTHER").G(0, "ENDSEC"));
        EXPECT_EQ(Text(unknown.rec().mline.style_handle), "5A");
    });
}

// ---- Counts from the file are held against the file -----------------------------------------

TEST(R13DxfEntity, HugeCountsDoNotAllocateMoreThanTheFileCanFill) {
    ForBothForms([](bool binary) {
        DxfText d;
        d.G(0, "SPLINE").G(72, 32767).G(73, 32767).G(74, 32767).G(40, 1.0).G(0, "ENDSEC");
        Read r = ReadEntity(binary, kSpline, d);
        ASSERT_EQ(r.result, 1);
        const CDB_SPLINE_type &s = r.rec().spline;
        // The file has a few dozen bytes behind the counts: a handful of groups at most.
        EXPECT_LT(s.knot_count, 40);
        EXPECT_LT(s.control_point_count, 40);
        EXPECT_LT(s.fit_point_count, 40);
        ASSERT_GE(s.knot_count, 1);
        EXPECT_DOUBLE_EQ(s.knots[0], 1.0);
    });
}

TEST(R13DxfEntity, HugeMlineCountsDoNotAllocateMoreThanTheFileCanFill) {
    ForBothForms([](bool binary) {
        DxfText d;
        d.G(0, "MLINE").G(72, 32767).G(73, 32767);
        Point(d, 11, 1, 2, 3).G(74, 32767).G(41, 1.0);
        Point(d, 11, 4, 5, 6).G(74, 2).G(0, "ENDSEC");
        Read r = ReadEntity(binary, kMline, d);
        ASSERT_EQ(r.result, 1);
        const CDB_MLINE_type &m = r.rec().mline;
        EXPECT_LT(m.vertex_count, 100);
        // The lines of a vertex would need more of the file than there is: none are made.
        for (int v = 0; v < m.vertex_count; ++v)
            EXPECT_EQ(m.vertices[v].lines, nullptr);
    });
}

TEST(R13DxfEntity, AsciiCountsBeyondSixteenBitsAreHeldToTheFile) {
    DxfText d;
    d.G(0, "LEADER").G(76, "1000000000");
    Point(d, 10, 1, 2, 3).G(0, "ENDSEC");
    Read r = ReadEntity(false, kLeader, d);
    ASSERT_EQ(r.result, 1);
    EXPECT_GE(r.rec().leader.vertex_count, 1);
    EXPECT_LT(r.rec().leader.vertex_count, 40);
    ExpectPoint(r.rec().leader.vertices[0], 1, 2, 3);
}

TEST(R13DxfEntity, NegativeCountsAllocateNothing) {
    ForBothForms([](bool binary) {
        Read r = ReadEntity(binary, kLeader,
                            DxfText().G(0, "LEADER").G(76, -5).G(10, 1.0).G(0, "ENDSEC"));
        EXPECT_EQ(r.rec().leader.vertex_count, 0);
        EXPECT_EQ(r.rec().leader.vertices, nullptr);
    });
}

// ---- Modeler data and OLE frames --------------------------------------------------------------

TEST(R13DxfEntity, ModelerKindsJoinTheirLinesWithLineEnds) {
    ForBothForms([](bool binary) {
        for (auto kind : {std::make_pair(kRegion, "REGION"), std::make_pair(kBody, "BODY")}) {
            DxfText d;
            d.G(0, kind.second).G(8, "WALLS").G(70, 1).G(1, "abc def").G(3, "ghi");
            d.G(1, "jkl").G(0, "ENDSEC");
            Read r = ReadEntity(binary, kind.first, d);
            ASSERT_EQ(r.result, 1);
            EXPECT_EQ(r.rec().region.format_version, 1);
            EXPECT_EQ(Text(reinterpret_cast<char *>(r.rec().region.data)),
                      "abc def\r\nghi\r\njkl\r\n");
            EXPECT_EQ(Text(r.rec().layer_handle), "11");
        }
    });
}

TEST(R13DxfEntity, ModelerTextOfManyLinesIsJoinedWhole) {
    ForBothForms([](bool binary) {
        DxfText d;
        d.G(0, "BODY").G(70, 1);
        std::string expected;
        for (int i = 0; i < 500; ++i) {
            const std::string line = "line " + std::to_string(i) + std::string(40, 'x');
            d.G(i % 2 ? 3 : 1, line);
            expected += line + "\r\n";
        }
        d.G(0, "ENDSEC");
        Read r = ReadEntity(binary, kBody, d);
        ASSERT_EQ(r.result, 1);
        EXPECT_EQ(Text(reinterpret_cast<char *>(r.rec().body.data)), expected);
    });
}

TEST(R13DxfEntity, Solid3DIsReadWithoutAnyFileWritten) {
    ForBothForms([](bool binary) {
        std::remove("c:\\acis\\dump.txt");
        DxfText d;
        d.G(0, "3DSOLID").G(70, 1).G(1, "body line").G(0, "ENDSEC");
        Read r = ReadEntity(binary, kSolid3D, d);
        ASSERT_EQ(r.result, 1);
        EXPECT_EQ(r.rec().solid3d.format_version, 1);
        EXPECT_EQ(Text(reinterpret_cast<char *>(r.rec().solid3d.data)), "body line\r\n");
        std::FILE *dump = std::fopen("c:\\acis\\dump.txt", "rb");
        EXPECT_EQ(dump, nullptr);
        if (dump)
            std::fclose(dump);
    });
}

TEST(R13DxfEntity, ViewModePassesModelerLinesAndOleDataOver) {
    ForBothForms([](bool binary) {
        Read solid = ReadEntity(binary, kSolid3D,
                                DxfText().G(0, "3DSOLID").G(70, 1).G(1, "x").G(0, "ENDSEC"), 1);
        ASSERT_EQ(solid.result, 1);
        EXPECT_EQ(solid.rec().solid3d.data, nullptr);
        Read ole = ReadEntity(
            binary, kOle,
            DxfText().G(0, "OLEFRAME").G(70, 2).G(90, 2).G(310, "ABCD").G(0, "ENDSEC"), 1);
        ASSERT_EQ(ole.result, 1);
        EXPECT_EQ(ole.rec().ole.data, nullptr);
        EXPECT_EQ(ole.rec().ole.data_size, 0);
    });
}

TEST(R13DxfEntity, OleFrameAppendsItsChunksUpToItsSize) {
    ForBothForms([](bool binary) {
        DxfText d;
        d.G(0, "OLEFRAME").G(70, 2).G(90, 5).G(310, "0102").G(310, "A0B0C0D0").G(0, "ENDSEC");
        Read r = ReadEntity(binary, kOle, d);
        ASSERT_EQ(r.result, 1);
        const CDB_OLE_type &o = r.rec().ole;
        EXPECT_EQ(o.ole_version, 2);
        ASSERT_EQ(o.data_size, 5);
        const uint8_t expected[] = {0x01, 0x02, 0xA0, 0xB0, 0xC0};
        EXPECT_EQ(std::memcmp(o.data, expected, 5), 0);
    });
}

TEST(R13DxfEntity, OleFrameSizeIsHeldToTheFile) {
    ForBothForms([](bool binary) {
        DxfText d;
        d.G(0, "OLEFRAME").G(90, 100000000).G(310, "0102").G(0, "ENDSEC");
        Read r = ReadEntity(binary, kOle, d);
        ASSERT_EQ(r.result, 1);
        EXPECT_LT(r.rec().ole.data_size, 100);
        ASSERT_GE(r.rec().ole.data_size, 2);
        EXPECT_EQ(r.rec().ole.data[1], 0x02);
    });
}

// ---- Block start and end ------------------------------------------------------------------

TEST(R13DxfEntity, BlockStartTakesItsGroups) {
    ForBothForms([](bool binary) {
        DxfText d;
        d.G(0, "BLOCK").G(5, "41").G(100, "AcDbEntity").G(67, 1).G(8, "WALLS");
        d.G(100, "AcDbBlockBegin").G(2, "XREF").G(70, 4);
        Point(d, 10, 1, 2, 3).G(3, "XREF").G(1, "c:/parts/xref.dwg").G(0, "LINE");
        Read r = ReadEntity(binary, kBlock, d);
        ASSERT_EQ(r.result, 1);
        EXPECT_EQ(r.name(), "LINE");
        const CDB_BLOCK_type &b = r.rec().block;
        EXPECT_EQ(Text(r.rec().handle), "41");
        EXPECT_EQ(r.rec().space, 1);
        EXPECT_EQ(Text(r.rec().layer_handle), "11");
        EXPECT_EQ(Text(b.name), "XREF");
        EXPECT_EQ(Text(b.name_2), "XREF");
        EXPECT_EQ(b.flags, 4);
        ExpectPoint(b.base_point, 1, 2, 3);
        EXPECT_DOUBLE_EQ(r.rec().elevation, 3.0); // the base point's z, as a DWG gives it
        EXPECT_EQ(Text(b.xref_path), "c:/parts/xref.dwg");
        EXPECT_EQ(static_cast<CR13BlockStart *>(r.entity.get())->is_xref_block, 1);
    });
}

TEST(R13DxfEntity, BlockStartWithoutSecondNameOrPathTakesTheDwgsForm) {
    ForBothForms([](bool binary) {
        Read r = ReadEntity(binary, kBlock, DxfText().G(0, "BLOCK").G(2, "DOOR").G(0, "ENDBLK"));
        EXPECT_EQ(Text(r.rec().block.name_2), "DOOR");
        EXPECT_EQ(Text(r.rec().block.xref_path), "");
        EXPECT_EQ(static_cast<CR13BlockStart *>(r.entity.get())->is_xref_block, 0);
    });
}

TEST(R13DxfEntity, BlockEndTakesItsGroups) {
    ForBothForms([](bool binary) {
        DxfText d;
        d.G(0, "ENDBLK").G(5, "42").G(100, "AcDbEntity").G(8, "0").G(100, "AcDbBlockEnd");
        d.G(0, "BLOCK");
        Read r = ReadEntity(binary, kEndBlock, d);
        ASSERT_EQ(r.result, 1);
        EXPECT_EQ(r.rec().entity_type, CDB_ENDBLK);
        EXPECT_EQ(Text(r.rec().handle), "42");
        EXPECT_EQ(Text(r.rec().layer_handle), "10");
        EXPECT_EQ(r.name(), "BLOCK");
    });
}

// ---- Extended data ----------------------------------------------------------------------------

TEST(R13DxfEntity, ExtendedDataIsStoredInTheReleaseThirteenForm) {
    ForBothForms([](bool binary) {
        DxfText d;
        d.G(0, "LINE").G(8, "0").G(1001, "ACAD").G(1000, "hi").G(1002, "{").G(1003, "WALLS");
        d.G(1070, 5).G(1002, "}").G(1001, "VELKO").G(1071, 70000).G(1040, 0.5);
        d.G(1010, 1.0).G(1020, 2.0).G(1030, 3.0).G(1005, "1F").G(1004, "0A0B");
        d.G(0, "ENDSEC");
        Read r = ReadEntity(binary, kLine, d);
        ASSERT_EQ(r.result, 1);
        EXPECT_EQ(r.name(), "ENDSEC");
        std::vector<uint8_t> expected = {0x51, 0x12,                       // ACAD, handle 12
                                         0x00, 0x02, 0x00, 0x00, 'h', 'i', // string, code page
                                         0x02, 0x00,                       // {
                                         0x03, 0,    0,    0,    0,   0,
                                         0,    0,    0x11,              // layer WALLS
                                         0x46, 0x05, 0x00,              // 1070
                                         0x02, 0x01,                    // }
                                         0x51, 0x13,                    // VELKO, handle 13
                                         0x47, 0x70, 0x11, 0x01, 0x00}; // 1071
        auto put = [&expected](uint8_t code, std::initializer_list<double> values) {
            expected.push_back(code);
            for (double v : values) {
                uint8_t bytes[8];
                std::memcpy(bytes, &v, 8);
                expected.insert(expected.end(), bytes, bytes + 8);
            }
        };
        put(0x28, {0.5});
        put(0x0A, {1.0, 2.0, 3.0});
        expected.insert(expected.end(), {0x05, 0, 0, 0, 0, 0, 0, 0, 0x1F});
        expected.insert(expected.end(), {0x04, 0x02, 0x0A, 0x0B});
        ASSERT_EQ(r.rec().eed_size, expected.size());
        EXPECT_EQ(std::vector<uint8_t>(r.rec().eed_data, r.rec().eed_data + r.rec().eed_size),
                  expected);
    });
}

TEST(R13DxfEntity, ExtendedDataWalksWithTheDrawingsCursor) {
    ForBothForms([](bool binary) {
        DxfText d;
        d.G(0, "LINE").G(1001, "VELKO").G(1000, "hi").G(1003, "WALLS").G(1070, 7);
        d.G(0, "ENDSEC");
        Read r = ReadEntity(binary, kLine, d);
        CR13Drawing &drawing = r.fixture->Drawing();
        CDB_EED_type cursor{};
        ASSERT_EQ(drawing.GetEED(&r.rec(), &cursor), 0);
        EXPECT_EQ(drawing.GetFirstAppid(&cursor), 1); // VELKO, the second application
        CDB_EED_VALUES value{};
        EXPECT_EQ(drawing.GetFirstValue(&cursor, &value), 1);
        EXPECT_EQ(value.short_value, 1);
        EXPECT_EQ(drawing.GetNextValue(&cursor, &value), 0);
        EXPECT_STREQ(value.text, "hi");
        EXPECT_EQ(drawing.GetNextValue(&cursor, &value), 3);
        EXPECT_EQ(value.short_value, 1); // WALLS, the second layer
        EXPECT_EQ(drawing.GetNextValue(&cursor, &value), 70);
        EXPECT_EQ(value.short_value, 7);
        EXPECT_EQ(drawing.GetNextValue(&cursor, &value), CDB_EED_END);
    });
}

TEST(R13DxfEntity, ExtendedDataOfAnUnknownApplicationIsDropped) {
    ForBothForms([](bool binary) {
        DxfText d;
        d.G(0, "LINE").G(1000, "no application").G(1001, "NOSUCH").G(1070, 1);
        d.G(1001, "ACAD").G(1070, 2).G(0, "ENDSEC");
        Read r = ReadEntity(binary, kLine, d);
        const std::vector<uint8_t> expected = {0x51, 0x12, 0x46, 0x02, 0x00};
        ASSERT_EQ(r.rec().eed_size, expected.size());
        EXPECT_EQ(std::vector<uint8_t>(r.rec().eed_data, r.rec().eed_data + r.rec().eed_size),
                  expected);
    });
}

TEST(R13DxfEntity, ExtendedDataAtTheEndHandsTheNextNameBack) {
    ForBothForms([](bool binary) {
        DxfText d;
        d.G(0, "POINT").G(10, 1.0).G(1001, "ACAD").G(1070, 2).G(0, "CIRCLE").G(40, 1.0);
        Read r = ReadEntity(binary, kPoint, d);
        ASSERT_EQ(r.result, 1);
        EXPECT_EQ(r.name(), "CIRCLE");
        EXPECT_EQ(r.rec().eed_size, 5);
    });
}

TEST(R13DxfEntity, ExtendedDataBetweenKindGroupsLetsTheKindGoOn) {
    ForBothForms([](bool binary) {
        DxfText d;
        d.G(0, "CIRCLE").G(1001, "ACAD").G(1070, 2).G(40, 4.5).G(0, "ENDSEC");
        Read r = ReadEntity(binary, kCircle, d);
        EXPECT_DOUBLE_EQ(r.rec().circle.radius, 4.5);
        EXPECT_EQ(r.rec().eed_size, 5);
    });
}

// ---- The layouts ----------------------------------------------------------------------------

TEST(R13DxfLayout, EveryKindOfTheDispatchHasItsGroups) {
    for (int code :
         {CDB_TEXT,     CDB_ATTRIB, CDB_ATTDEF,    CDB_SEQEND, CDB_INSERT,    CDB_VERTEX,
          CDB_POLYLINE, CDB_ARC,    CDB_CIRCLE,    CDB_LINE,   CDB_DIMENSION, CDB_POINT,
          CDB_3DFACE,   CDB_SOLID,  CDB_TRACE,     CDB_SHAPE,  CDB_VIEWPORT,  CDB_ELLIPSE,
          CDB_SPLINE,   CDB_REGION, CDB_3DSOLID,   CDB_BODY,   CDB_RAY,       CDB_XLINE,
          CDB_MTEXT,    CDB_LEADER, CDB_TOLERANCE, CDB_MLINE,  CDB_OLEFRAME,  CDB_BLOCK,
          CDB_ENDBLK})
        EXPECT_NE(R13DxfLayoutOf(code), nullptr) << code;
    EXPECT_EQ(R13DxfLayoutOf(CDB_3DLINE), nullptr);
}

// The markers of a kind in the writer's order, for the forms that `when` lets through.
std::vector<std::string> Markers(int code) {
    std::vector<std::string> out;
    const R13DxfLayout *layout = R13DxfLayoutOf(code);
    for (size_t i = 0; layout && i < layout->count; ++i)
        if (layout->groups[i].value == R13DxfValue::kMarker)
            out.push_back(layout->groups[i].marker);
    return out;
}

TEST(R13DxfLayout, MarkersStandInTheWritersOrder) {
    EXPECT_EQ(Markers(CDB_ARC), (std::vector<std::string>{"AcDbCircle", "AcDbArc"}));
    EXPECT_EQ(Markers(CDB_TEXT), (std::vector<std::string>{"AcDbText", "AcDbText"}));
    EXPECT_EQ(Markers(CDB_ATTDEF),
              (std::vector<std::string>{"AcDbText", "AcDbAttributeDefinition"}));
    EXPECT_EQ(Markers(CDB_VERTEX),
              (std::vector<std::string>{"AcDbVertex", "AcDb3dVertex", "AcDb2dVertex"}));
    EXPECT_EQ(Markers(CDB_BLOCK), (std::vector<std::string>{"AcDbEntity", "AcDbBlockBegin"}));
    EXPECT_EQ(Markers(CDB_SEQEND), std::vector<std::string>{});
    EXPECT_EQ(Markers(CDB_3DSOLID), std::vector<std::string>{});
}

// The codes of a kind's groups in the writer's order (markers as 100, the extrusion as 210,
// the extended data as 1001), without the read-only ones.
std::vector<int> WrittenCodes(int code) {
    std::vector<int> out;
    const R13DxfLayout *layout = R13DxfLayoutOf(code);
    for (size_t i = 0; layout && i < layout->count; ++i)
        if (layout->groups[i].when != R13DxfWhen::kNever)
            out.push_back(layout->groups[i].code);
    return out;
}

TEST(R13DxfLayout, GroupsStandInTheWritersOrder) {
    EXPECT_EQ(WrittenCodes(CDB_LINE), (std::vector<int>{100, 39, 10, 20, 30, 11, 21, 31, 1001}));
    EXPECT_EQ(WrittenCodes(CDB_POINT), (std::vector<int>{100, 10, 20, 30, 39, 210, 50}));
    EXPECT_EQ(WrittenCodes(CDB_ELLIPSE),
              (std::vector<int>{100, 10, 20, 30, 11, 21, 31, 210, 40, 41, 42}));
    EXPECT_EQ(WrittenCodes(CDB_INSERT), (std::vector<int>{100, 66, 2, 10, 20, 30, 41, 42, 43, 50,
                                                          70, 71, 44, 45, 210, 1001}));
    EXPECT_EQ(WrittenCodes(CDB_SPLINE),
              (std::vector<int>{100, 210, 70, 71, 72, 73, 74, 42, 43, 44, 12, 22,
                                32,  13,  23, 33, 40, 10, 20, 30, 11, 21, 31, 1001}));
    EXPECT_EQ(WrittenCodes(CDB_ENDBLK), (std::vector<int>{5, 100, 67, 8, 100}));
    EXPECT_EQ(WrittenCodes(CDB_OLEFRAME), std::vector<int>{});
}

TEST(R13DxfLayout, ReadOnlyGroupsAreMarked) {
    const R13DxfLayout *spline = R13DxfLayoutOf(CDB_SPLINE);
    ASSERT_NE(spline->Find(41), nullptr);
    EXPECT_EQ(spline->Find(41)->when, R13DxfWhen::kNever);
    const R13DxfLayout *mtext = R13DxfLayoutOf(CDB_MTEXT);
    EXPECT_EQ(mtext->Find(3)->when, R13DxfWhen::kNever);
    EXPECT_EQ(mtext->Find(12)->when, R13DxfWhen::kNever);
    EXPECT_EQ(mtext->Find(1)->when, R13DxfWhen::kAlways);
}

TEST(R13DxfLayout, DimensionTailGoesByTheFormOfGroup70) {
    const R13DxfLayout *dim = R13DxfLayoutOf(CDB_DIMENSION);
    int ordinate_points = 0;
    for (size_t i = 0; i < dim->count; ++i) {
        const R13DxfGroup &g = dim->groups[i];
        if (g.form == R13DxfForm::kOrdinate && g.value == R13DxfValue::kReal)
            ++ordinate_points;
    }
    EXPECT_EQ(ordinate_points, 6); // 13 and 14
    ASSERT_NE(dim->Find(16), nullptr);
    EXPECT_EQ(dim->Find(16)->form, R13DxfForm::kAngular);
    EXPECT_EQ(dim->Find(10)->when, R13DxfWhen::kDefinitionPoint);
}

TEST(R13DxfLayout, MarkersExtrusionAndExtendedDataAreNotFoundByCode) {
    EXPECT_EQ(R13DxfLayoutOf(CDB_ARC)->Find(100), nullptr);
    EXPECT_EQ(R13DxfLayoutOf(CDB_ARC)->Find(210), nullptr);
    EXPECT_EQ(kR13CommonDxfGroups.Find(210)->value, R13DxfValue::kReal);
    EXPECT_EQ(kR13CommonDxfGroups.Find(6)->when, R13DxfWhen::kNotByLayer);
}

} // namespace
