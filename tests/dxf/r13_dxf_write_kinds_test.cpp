// Every entity kind of the release 13 DXF writer written once: the groups come out in the
// writer's order, checked on the text of the saved file. Each kind's input is the very group
// sequence the writer should give back (the reader takes groups by their codes, whatever
// their order), so the test states that order once per kind, apart from the group lists.
#include "dxf/r13_dxf_write_support.h"

#include "velkow32.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace velko_test {
namespace {

struct KindCase {
    const char *name;
    DxfText groups; // behind 0 name, 5, 100 "AcDbEntity", 8
};

DxfText &P(DxfText &d, int code, double x, double y, double z) {
    return d.G(code, x).G(code + 10, y).G(code + 20, z);
}

std::vector<KindCase> Cases() {
    std::vector<KindCase> c;
    auto add = [&c](const char *name) -> DxfText & {
        c.push_back(KindCase{name, DxfText()});
        return c.back().groups;
    };
    {
        DxfText &d = add("LINE").G(100, "AcDbLine");
        P(P(d, 10, 1, 2, 0), 11, 3, 4, 0);
    }
    P(add("POINT").G(100, "AcDbPoint"), 10, 1, 2, 3);
    P(add("CIRCLE").G(100, "AcDbCircle"), 10, 1, 2, 0).G(40, 2.0);
    P(add("ARC").G(100, "AcDbCircle"), 10, 1, 2, 0)
        .G(40, 2.0)
        .G(100, "AcDbArc")
        .G(50, 0.0)
        .G(51, 90.0);
    for (const char *corners : {"TRACE", "SOLID"}) {
        DxfText &d = add(corners).G(100, "AcDbTrace");
        P(P(P(P(d, 10, 0, 0, 0), 11, 1, 0, 0), 12, 0, 1, 0), 13, 1, 1, 0);
    }
    {
        DxfText &d = add("3DFACE").G(100, "AcDbFace");
        P(P(P(P(d, 10, 0, 0, 0), 11, 1, 0, 0), 12, 0, 1, 0), 13, 1, 1, 1);
    }
    {
        DxfText &d = add("TEXT").G(100, "AcDbText");
        P(d, 10, 1, 1, 0).G(40, 2.5).G(1, "hello").G(7, "STANDARD").G(71, 0).G(72, 0);
        P(d, 11, 0, 0, 0).G(100, "AcDbText").G(73, 0);
    }
    P(add("SHAPE").G(100, "AcDbShape"), 10, 1, 1, 0).G(40, 1.0).G(2, "");
    P(add("INSERT").G(100, "AcDbBlockReference").G(66, 0).G(2, "DOOR"), 10, 5, 5, 0);
    {
        DxfText &d = add("ATTDEF").G(100, "AcDbText");
        P(d, 10, 1, 1, 0).G(40, 1.0).G(1, "def").G(100, "AcDbAttributeDefinition");
        d.G(3, "prompt").G(2, "TAG").G(70, 0).G(73, 0).G(7, "STANDARD").G(71, 0).G(72, 0).G(74, 0);
        P(d, 11, 0, 0, 0);
    }
    {
        DxfText &d = add("ATTRIB").G(100, "AcDbText");
        P(d, 10, 1, 1, 0).G(40, 1.0).G(1, "value").G(100, "AcDbAttribute");
        d.G(2, "TAG").G(70, 0).G(73, 0).G(7, "STANDARD").G(71, 0).G(72, 0).G(74, 0);
        P(d, 11, 0, 0, 0);
    }
    P(add("POLYLINE").G(100, "AcDb2dPolyline").G(66, 1), 10, 0, 0, 0)
        .G(70, 0)
        .G(71, 0)
        .G(72, 0)
        .G(73, 0)
        .G(74, 0)
        .G(75, 0);
    P(add("VERTEX").G(100, "AcDbVertex").G(100, "AcDb2dVertex"), 10, 1, 1, 0)
        .G(70, 0)
        .G(71, 0)
        .G(72, 0)
        .G(73, 0)
        .G(74, 0);
    // A vertex at the origin takes the other marker, whatever its polyline.
    P(add("VERTEX").G(100, "AcDbVertex").G(100, "AcDb3dVertex"), 10, 0, 0, 0)
        .G(70, 0)
        .G(71, 0)
        .G(72, 0)
        .G(73, 0)
        .G(74, 0);
    add("SEQEND");
    P(add("POLYLINE").G(100, "AcDb3dPolyline").G(66, 1), 10, 0, 0, 0)
        .G(70, 8)
        .G(71, 0)
        .G(72, 0)
        .G(73, 0)
        .G(74, 0)
        .G(75, 0);
    add("SEQEND");
    P(add("VIEWPORT").G(100, "AcDbViewPort").G(68, 1), 10, 5, 4, 0).G(40, 10.0).G(41, 8.0).G(69, 1);
    {
        DxfText &d = add("DIMENSION").G(100, "AcDbDimension").G(2, "DOOR");
        P(P(d, 10, 1, 1, 0), 11, 2, 2, 0).G(70, 32).G(1, "").G(3, "STANDARD");
        d.G(100, "AcDbAlignedDimension");
        P(P(P(d, 12, 1, 0, 0), 13, 3, 3, 0), 14, 4, 4, 0).G(100, "AcDbRotatedDimension");
    }
    {
        // An ordinate dimension writes its definition point even at 0, 0, 0.
        DxfText &d = add("DIMENSION").G(100, "AcDbDimension").G(2, "DOOR");
        P(d, 10, 0, 0, 0).G(70, 102).G(1, "").G(3, "STANDARD");
        P(P(d.G(100, "AcDbOrdinateDimension"), 13, 3, 3, 0), 14, 4, 4, 0);
    }
    {
        DxfText &d = add("DIMENSION").G(100, "AcDbDimension").G(2, "DOOR");
        P(P(d, 10, 1, 1, 0), 11, 2, 2, 0).G(70, 36).G(1, "").G(3, "STANDARD");
        P(d.G(100, "AcDbRadialDimension"), 15, 5, 5, 0).G(40, 0.5);
    }
    P(P(add("XLINE").G(100, "AcDbXline"), 10, 0, 0, 0), 11, 1, 0, 0);
    P(P(add("RAY").G(100, "AcDbRay"), 10, 0, 0, 0), 11, 0, 1, 0);
    P(P(P(add("ELLIPSE").G(100, "AcDbEllipse"), 10, 1, 1, 0), 11, 2, 0, 0), 210, 0, 0, 1)
        .G(40, 0.5)
        .G(41, 0.0)
        .G(42, 6.25);
    {
        DxfText &d = add("LEADER").G(100, "AcDbLeader").G(3, "STANDARD").G(71, 1).G(72, 0);
        d.G(74, 0).G(75, 0).G(40, 1.0).G(41, 1.0).G(76, 2);
        P(P(d, 10, 0, 0, 0), 10, 1, 1, 0).G(77, 256);
    }
    P(add("MTEXT").G(100, "AcDbMText"), 10, 1, 1, 0)
        .G(40, 2.5)
        .G(41, 10.0)
        .G(71, 1)
        .G(72, 1)
        .G(1, "words")
        .G(7, "STANDARD");
    P(add("TOLERANCE").G(100, "AcDbFcf").G(3, "STANDARD"), 10, 1, 1, 0).G(1, "frame");
    {
        DxfText &d = add("MLINE").G(100, "AcDbMline").G(2, "STANDARD").G(340, "18").G(40, 1.0);
        d.G(70, 0).G(71, 1).G(72, 2).G(73, 1);
        P(d, 10, 0, 0, 0);
        for (double x : {0.0, 5.0}) {
            P(P(P(d, 11, x, 0, 0), 12, 1, 0, 0), 13, 0, 1, 0);
            d.G(74, 2).G(41, 0.0).G(41, 5.0).G(75, 0);
        }
    }
    {
        DxfText &d = add("SPLINE").G(100, "AcDbSpline").G(70, 8).G(71, 3).G(72, 8).G(73, 4);
        d.G(74, 0).G(42, 1e-10).G(43, 1e-10).G(44, 1e-10);
        P(P(d, 12, 0, 0, 0), 13, 0, 0, 0);
        for (double k : {0.0, 0.0, 0.0, 0.0, 1.0, 1.0, 1.0, 1.0})
            d.G(40, k);
        for (double x : {0.0, 1.0, 2.0, 3.0})
            P(d, 10, x, x * x, 0);
    }
    return c;
}

class R13DxfWriteKinds : public ::testing::Test {
protected:
    void SetUp() override {
        cases_ = Cases();
        int handle = 0x100;
        const DxfText input = SmallR13Dxf([this, &handle](DxfText &d) {
            for (const KindCase &k : cases_) {
                d.G(0, k.name).G(5, HandleText(handle++)).G(100, "AcDbEntity").G(8, "0");
                for (const auto &g : k.groups.Groups())
                    d.G(g.first, g.second);
            }
        });
        in_ = std::make_unique<LoadedR13Dxf>("r13w_kinds.dxf", input.Ascii());
        ASSERT_TRUE(in_->Loaded());
        ASSERT_EQ(in_->Save("r13w_kinds_out.dxf"), 0);
        written_ = ObjectsOf(SectionOf(in_->SavedGroups(), "ENTITIES"));
    }

    static std::string HandleText(int value) {
        static const char kDigits[] = "0123456789ABCDEF";
        std::string text;
        for (; value > 0; value /= 16)
            text.insert(text.begin(), kDigits[value % 16]);
        return text;
    }

    std::vector<KindCase> cases_;
    std::unique_ptr<LoadedR13Dxf> in_;
    std::vector<DxfGroups> written_;
};

TEST_F(R13DxfWriteKinds, EveryKindWritesItsGroupsInTheWritersOrder) {
    ASSERT_EQ(written_.size(), cases_.size());
    for (size_t i = 0; i < cases_.size(); ++i) {
        const KindCase &k = cases_[i];
        std::vector<int> expected = {0, 5, 100, 8};
        std::vector<std::string> markers = {"AcDbEntity"};
        for (const auto &g : k.groups.Groups()) {
            expected.push_back(g.first);
            if (g.first == 100)
                markers.push_back(g.second);
        }
        const DxfGroups &out = written_[i];
        EXPECT_EQ(out[0].second, k.name) << i;
        EXPECT_EQ(CodesOf(out), expected) << k.name << " at " << i;
        std::vector<std::string> written_markers;
        for (const auto &g : out)
            if (g.first == 100)
                written_markers.push_back(g.second);
        EXPECT_EQ(written_markers, markers) << k.name << " at " << i;
        EXPECT_EQ(ValueOf(out, 5), HandleText(0x100 + int(i))) << k.name;
        EXPECT_EQ(ValueOf(out, 8), "0") << k.name;
    }
}

TEST_F(R13DxfWriteKinds, NamesGoOutByNameAndTheViewportByItsPlace) {
    auto find = [this](const char *name) -> const DxfGroups & {
        for (const DxfGroups &g : written_)
            if (g[0].second == name)
                return g;
        return written_.front();
    };
    EXPECT_EQ(ValueOf(find("INSERT"), 2), "DOOR");
    EXPECT_EQ(ValueOf(find("DIMENSION"), 2), "DOOR");
    EXPECT_EQ(ValueOf(find("DIMENSION"), 3), "STANDARD");
    EXPECT_EQ(ValueOf(find("TEXT"), 7), "STANDARD");
    EXPECT_EQ(ValueOf(find("MLINE"), 2), "STANDARD");
    EXPECT_EQ(ValueOf(find("MLINE"), 340), "18");
    EXPECT_EQ(ValueOf(find("LEADER"), 3), "STANDARD");
    EXPECT_EQ(ValueOf(find("MTEXT"), 1), "words");
    EXPECT_EQ(ValueOf(find("VIEWPORT"), 68), "     1");
}

TEST_F(R13DxfWriteKinds, CommonGroupsGoOutOnlyAwayFromTheirDefaults) {
    LoadedR13Dxf in("r13w_common.dxf", SmallR13Dxf([](DxfText &d) {
                                           d.G(0, "CIRCLE")
                                               .G(5, "60")
                                               .G(100, "AcDbEntity")
                                               .G(67, 1)
                                               .G(8, "WALLS")
                                               .G(6, "DASHED")
                                               .G(62, 3)
                                               .G(48, 2.0)
                                               .G(100, "AcDbCircle")
                                               .G(39, 1.5)
                                               .G(10, 0.0)
                                               .G(20, 0.0)
                                               .G(30, 0.0)
                                               .G(40, 1.0)
                                               .G(210, 0.0)
                                               .G(220, 1.0)
                                               .G(230, 0.0);
                                           d.G(0, "CIRCLE")
                                               .G(5, "61")
                                               .G(100, "AcDbEntity")
                                               .G(8, "0")
                                               .G(6, "BYBLOCK")
                                               .G(100, "AcDbCircle")
                                               .G(39, -1.0)
                                               .G(10, 0.0)
                                               .G(20, 0.0)
                                               .G(30, 0.0)
                                               .G(40, 1.0);
                                       }).Ascii());
    ASSERT_TRUE(in.Loaded());
    ASSERT_EQ(in.Save("r13w_common_out.dxf"), 0);
    const std::vector<DxfGroups> out = ObjectsOf(SectionOf(in.SavedGroups(), "ENTITIES"));
    ASSERT_EQ(out.size(), 2u);
    // The common groups in their order; a circle writes no 210 whatever its extrusion.
    EXPECT_EQ(CodesOf(out[0]),
              (std::vector<int>{0, 5, 100, 8, 6, 62, 48, 67, 100, 39, 10, 20, 30, 40}));
    EXPECT_EQ(ValueOf(out[0], 8), "WALLS");
    EXPECT_EQ(ValueOf(out[0], 6), "DASHED");
    // A negative thickness is not written; BYBLOCK is.
    EXPECT_EQ(CodesOf(out[1]), (std::vector<int>{0, 5, 100, 8, 6, 100, 10, 20, 30, 40}));
    EXPECT_EQ(ValueOf(out[1], 6), "BYBLOCK");
}

TEST(R13DxfWriteExtendedData, ApplicationsAndLayersGoOutByNameInTheReleaseThirteenForm) {
    LoadedR13Dxf in("r13w_eed.dxf", SmallR13Dxf([](DxfText &d) {
                                        d.G(0, "POINT")
                                            .G(5, "70")
                                            .G(100, "AcDbEntity")
                                            .G(8, "0")
                                            .G(100, "AcDbPoint")
                                            .G(10, 0.0)
                                            .G(20, 0.0)
                                            .G(30, 0.0)
                                            .G(1001, "ACAD")
                                            .G(1000, "ignored");
                                        d.G(0, "CIRCLE")
                                            .G(5, "71")
                                            .G(100, "AcDbEntity")
                                            .G(8, "0")
                                            .G(100, "AcDbCircle")
                                            .G(10, 0.0)
                                            .G(20, 0.0)
                                            .G(30, 0.0)
                                            .G(40, 1.0)
                                            .G(1001, "ACAD")
                                            .G(1000, "note")
                                            .G(1002, "{")
                                            .G(1003, "WALLS")
                                            .G(1040, 2.5)
                                            .G(1010, 1.0)
                                            .G(1020, 2.0)
                                            .G(1030, 3.0)
                                            .G(1071, 70000)
                                            .G(1002, "}");
                                    }).Ascii());
    ASSERT_TRUE(in.Loaded());
    ASSERT_EQ(in.Save("r13w_eed_out.dxf"), 0);
    const std::vector<DxfGroups> out = ObjectsOf(SectionOf(in.SavedGroups(), "ENTITIES"));
    ASSERT_EQ(out.size(), 2u);
    // A point writes no extended data, whatever it has.
    EXPECT_EQ(ValueOf(out[0], 1001), "<none>");
    DxfGroups eed;
    for (const auto &g : out[1])
        if (g.first >= 1000)
            eed.push_back(g);
    EXPECT_EQ(CodesOf(eed),
              (std::vector<int>{1001, 1000, 1002, 1003, 1040, 1010, 1020, 1030, 1071, 1002}));
    EXPECT_EQ(ValueOf(eed, 1001), "ACAD");
    EXPECT_EQ(ValueOf(eed, 1000), "note");
    EXPECT_EQ(ValueOf(eed, 1003), "WALLS");
    EXPECT_EQ(ValueOf(eed, 1040), "2.5");
    EXPECT_EQ(ValueOf(eed, 1071), "70000");
    EXPECT_EQ(eed.back().second, "}");
}

TEST(R13DxfWriteExtendedData, TheDrawingKeepsItsNameAndItsInputThroughASave) {
    LoadedR13Dxf in("r13w_keeps.dxf", SmallR13Dxf({}).Ascii());
    ASSERT_TRUE(in.Loaded());
    const std::string name = in.Drawing().GetFileName();
    ASSERT_EQ(in.Save("r13w_keeps_out1.dxf"), 0);
    const std::string first = in.Saved();
    ASSERT_EQ(in.Save("r13w_keeps_out2.dxf"), 0);
    EXPECT_EQ(std::string(in.Drawing().GetFileName()), name);
    ASSERT_NE(in.Drawing().File(), nullptr);
    EXPECT_TRUE(in.Drawing().File()->IsOpen());
    // The second save reads the tail from the same input and writes the same file.
    EXPECT_EQ(in.Saved(), first);
    EXPECT_NE(in.Saved().find("MLINESTYLE"), std::string::npos);
}

} // namespace
} // namespace velko_test
