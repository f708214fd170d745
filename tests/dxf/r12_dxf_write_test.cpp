// Saving a release 12 drawing as DXF: the order of the file, the common groups and the
// groups of every kind with their conditions, ASCII against binary, and reading back.
#include "dxf/r12_dxf_write_support.h"

#include "dxf/dxf_stream.h"
#include "dxf/r12_dxf_write.h"
#include "fonts/shx_bytes.h"
#include "io/drawing_file.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

using namespace velko_test;

namespace {

// The drawing of `entities` saved as ASCII: the objects of its ENTITIES section.
std::vector<WrittenGroups> SavedEntities(const DxfText &entities, int handling = 1) {
    R12FromBytes d(BaseDrawing(entities, handling));
    EXPECT_TRUE(d.opened());
    return ObjectsOf(SectionOf(AsciiGroups(d.Save(false)), "ENTITIES"));
}

// Saves a drawing whose ENTITIES hold `entity` (of kind `code`) as ASCII and as binary:
// the kind's groups behind the common ones must be `codes`, the binary file must hold the
// same groups, and the record must come back from the ASCII file.
void CheckKind(const DxfText &entity, int code, const std::vector<int> &codes) {
    R12FromBytes d(BaseDrawing(entity));
    ASSERT_TRUE(d.opened());
    const std::vector<uint8_t> ascii = d.Save(false);
    const WrittenGroups groups = AsciiGroups(ascii);
    const std::vector<WrittenGroups> objects = ObjectsOf(SectionOf(groups, "ENTITIES"));
    ASSERT_EQ(objects.size(), 1u);
    EXPECT_EQ(KindCodes(objects[0]), codes);
    ExpectSameGroups(groups, BinaryGroups(d.Save(true)));

    R12FromBytes back(ascii);
    ASSERT_TRUE(back.opened());
    ASSERT_NE(back.Entity(0), nullptr);
    ASSERT_NE(d.Entity(0), nullptr);
    ExpectSameEntity(*d.Entity(0), *back.Entity(0), code);
}

std::vector<int> Corners() {
    return {10, 20, 30, 11, 21, 31, 12, 22, 32, 13, 23, 33};
}

} // namespace

// ---- The edge cases of the writer ---------------------------------------------------------

TEST(R12DxfWrite, HandlingZeroWritesNoEntityHandleButKeepsHandseed) {
    R12FromBytes d(BaseDrawing(DxfText().G(0, "LINE").G(8, "0").G(5, "1F").G(10, 1.0), 0));
    ASSERT_TRUE(d.opened());
    ASSERT_STREQ(d.Entity(0)->handle, "1F");
    const WrittenGroups all = AsciiGroups(d.Save(false));
    for (const WrittenGroups &o : ObjectsOf(SectionOf(all, "ENTITIES")))
        EXPECT_FALSE(HasCode(o, 5)) << o[0].value;
    for (const WrittenGroups &o : ObjectsOf(SectionOf(all, "BLOCKS")))
        EXPECT_FALSE(HasCode(o, 5)) << o[0].value;
    const WrittenGroups header = SectionOf(all, "HEADER");
    bool handseed = false;
    for (size_t i = 0; i + 1 < header.size(); ++i)
        if (header[i].code == 9 && header[i].value == "$HANDSEED") {
            handseed = true;
            EXPECT_EQ(header[i + 1].code, 5);
            EXPECT_EQ(header[i + 1].value, "2A0F");
        }
    EXPECT_TRUE(handseed);
}

TEST(R12DxfWrite, HandlingOneWritesTheEntityHandle) {
    const auto objects = SavedEntities(DxfText().G(0, "LINE").G(8, "0").G(5, "1F"), 1);
    ASSERT_EQ(objects.size(), 1u);
    EXPECT_EQ(ValueOf(objects[0], 5), "1F");
}

TEST(R12DxfWrite, EntityWithoutHandleWritesNoGroup5UnderHandlingOne) {
    const auto objects = SavedEntities(DxfText().G(0, "LINE").G(8, "0"), 1);
    ASSERT_EQ(objects.size(), 1u);
    EXPECT_FALSE(HasCode(objects[0], 5));
}

TEST(R12DxfWrite, NegativeElevationAndThicknessAreNotWritten) {
    const auto objects = SavedEntities(DxfText().G(0, "LINE").G(8, "0").G(38, -1.0).G(39, -2.0));
    ASSERT_EQ(objects.size(), 1u);
    EXPECT_FALSE(HasCode(objects[0], 38));
    EXPECT_FALSE(HasCode(objects[0], 39));
}

TEST(R12DxfWrite, ZeroElevationAndThicknessAreNotWritten) {
    const auto objects = SavedEntities(DxfText().G(0, "LINE").G(8, "0").G(38, 0.0).G(39, 0.0));
    ASSERT_EQ(objects.size(), 1u);
    EXPECT_FALSE(HasCode(objects[0], 38));
    EXPECT_FALSE(HasCode(objects[0], 39));
}

TEST(R12DxfWrite, LineWithElevationFiveWrites38) {
    const auto objects = SavedEntities(DxfText().G(0, "LINE").G(8, "0").G(38, 5.0).G(39, 0.5));
    ASSERT_EQ(objects.size(), 1u);
    EXPECT_EQ(ValueOf(objects[0], 38), "5.0");
    EXPECT_EQ(ValueOf(objects[0], 39), "0.5");
    EXPECT_EQ(ValueOf(objects[0], 30), "0.0");
}

TEST(R12DxfWrite, CircleWithElevationFiveWritesItAsCentreZWithout38) {
    const auto objects = SavedEntities(
        DxfText().G(0, "CIRCLE").G(8, "0").G(10, 1.0).G(20, 2.0).G(30, 0.0).G(40, 3.0).G(38, 5.0));
    ASSERT_EQ(objects.size(), 1u);
    EXPECT_EQ(ValueOf(objects[0], 30), "5.0");
    EXPECT_FALSE(HasCode(objects[0], 38));
}

TEST(R12DxfWrite, TextWithoutTextWritesAnEmptyGroup1) {
    const auto objects =
        SavedEntities(DxfText().G(0, "TEXT").G(8, "0").G(10, 1.0).G(20, 1.0).G(40, 2.0));
    ASSERT_EQ(objects.size(), 1u);
    ASSERT_TRUE(HasCode(objects[0], 1));
    EXPECT_EQ(ValueOf(objects[0], 1), "");
}

TEST(R12DxfWrite, InsertCountsOfOneAreLeftOut) {
    const auto objects =
        SavedEntities(DxfText().G(0, "INSERT").G(8, "0").G(2, "B1").G(70, 1).G(71, 1));
    ASSERT_EQ(objects.size(), 1u);
    EXPECT_FALSE(HasCode(objects[0], 70));
    EXPECT_FALSE(HasCode(objects[0], 71));
}

TEST(R12DxfWrite, InsertColumnCountZeroIsWritten) {
    const auto objects = SavedEntities(DxfText().G(0, "INSERT").G(8, "0").G(2, "B1").G(70, 0));
    ASSERT_EQ(objects.size(), 1u);
    EXPECT_EQ(ValueOf(objects[0], 70), "     0");
    EXPECT_FALSE(HasCode(objects[0], 71));
}

TEST(R12DxfWrite, EmptyLayerTableWritesItsHeadAndEnd) {
    DxfText dxf;
    dxf.MinimalHeader().Section("ENTITIES").EndSection().Eof();
    R12FromBytes d(dxf);
    ASSERT_TRUE(d.opened());
    ASSERT_EQ(d->Table(kR12Layers).Count(), 0);
    const WrittenGroups tables = SectionOf(AsciiGroups(d.Save(false)), "TABLES");
    bool found = false;
    for (size_t i = 0; i + 3 < tables.size(); ++i) {
        if (tables[i + 1].code == 2 && tables[i + 1].value == "LAYER") {
            found = true;
            EXPECT_EQ(tables[i].code, 0);
            EXPECT_EQ(tables[i].value, "TABLE");
            EXPECT_EQ(tables[i + 2].code, 70);
            EXPECT_EQ(tables[i + 2].value, "     0");
            EXPECT_EQ(tables[i + 3].code, 0);
            EXPECT_EQ(tables[i + 3].value, "ENDTAB");
        }
    }
    EXPECT_TRUE(found);
}

TEST(R12DxfWrite, BinaryBeginsWithTheSentinelAndAOneByteCodeZero) {
    R12FromBytes d(BaseDrawing(DxfText()));
    ASSERT_TRUE(d.opened());
    const std::vector<uint8_t> bytes = d.Save(true);
    ASSERT_GT(bytes.size(), 31u);
    const std::string sentinel(bytes.begin(), bytes.begin() + 22);
    EXPECT_EQ(sentinel, std::string("AutoCAD Binary DXF\r\n\x1a", 21) + std::string(1, '\0'));
    EXPECT_EQ(bytes[22], 0);
    EXPECT_EQ(std::string(reinterpret_cast<const char *>(&bytes[23])), "SECTION");
    EXPECT_EQ(bytes[31], 2);
}

TEST(R12DxfWrite, BinaryAndAsciiHoldTheSameGroupsInTheSameOrder) {
    DxfText entities;
    entities.G(0, "LINE").G(8, "WALLS").G(6, "DASHED").G(62, 3).G(5, "20").G(39, 2.5);
    entities.G(10, 0.1).G(20, 1.0 / 3.0).G(30, 123456789.0).G(11, -2.5e-9).G(21, 7.0).G(31, 8.0);
    entities.G(1001, "MYAPP").G(1000, "x").G(1004, "00FF10").G(1071, 70000);
    entities.G(0, "TEXT").G(8, "0").G(10, 1.0).G(20, 2.0).G(40, 0.2).G(1, "Hello").G(7, "ROMANS");
    entities.G(0, "VIEWPORT").G(8, "0").G(67, 1).G(10, 5.0).G(20, 4.0).G(40, 10.0).G(41, 8.0);
    R12FromBytes d(BaseDrawing(entities));
    ASSERT_TRUE(d.opened());
    ExpectSameGroups(AsciiGroups(d.Save(false)), BinaryGroups(d.Save(true)));
}

// ---- The order of the file ---------------------------------------------------------------

TEST(R12DxfWrite, SectionsComeInTheirOrderAndTheFileEndsWithEof) {
    R12FromBytes d(BaseDrawing(DxfText().G(0, "POINT").G(8, "0")));
    ASSERT_TRUE(d.opened());
    const WrittenGroups all = AsciiGroups(d.Save(false));
    std::vector<std::string> sections;
    for (size_t i = 0; i + 1 < all.size(); ++i)
        if (all[i].code == 0 && all[i].value == "SECTION" && all[i + 1].code == 2)
            sections.push_back(all[i + 1].value);
    EXPECT_EQ(sections, (std::vector<std::string>{"HEADER", "TABLES", "BLOCKS", "ENTITIES"}));
    ASSERT_GE(all.size(), 3u);
    EXPECT_EQ(all.front().value, "SECTION");
    EXPECT_EQ(all[all.size() - 2].value, "ENDSEC");
    EXPECT_EQ(all.back().code, 0);
    EXPECT_EQ(all.back().value, "EOF");
}

TEST(R12DxfWrite, SectionBreakClosesAndOpensOrEnds) {
    TempFile file(UniqueName("break.dxf"));
    CDrawingFile out;
    ASSERT_EQ(out.Open(file.c_str(), CDB_OPEN_CREATE), 1);
    CDxfStream stream;
    stream.AttachOutput(&out, 0);
    EXPECT_EQ(WriteSectionBreak(stream, "TABLES", 0), 1);
    EXPECT_EQ(WriteSectionBreak(stream, "EOF", 1), 1);
    out.Close();
    const WrittenGroups g = AsciiGroups(FileBytes(file.path()));
    ASSERT_EQ(g.size(), 5u);
    EXPECT_EQ(g[0].value, "ENDSEC");
    EXPECT_EQ(g[1].value, "SECTION");
    EXPECT_EQ(g[2].code, 2);
    EXPECT_EQ(g[2].value, "TABLES");
    EXPECT_EQ(g[3].value, "ENDSEC");
    EXPECT_EQ(g[4].code, 0);
    EXPECT_EQ(g[4].value, "EOF");
}

TEST(R12DxfWrite, MainListEndSentinelIsNotWrittenAndEntitiesBehindItAre) {
    R12FromBytes d(BaseDrawing(DxfText().G(0, "POINT").G(8, "0")));
    ASSERT_TRUE(d.opened());
    CEntityList &list = d->Entities();
    ASSERT_EQ(list.At(list.Count() - 1)->Code(), CDB_ENDBLK);
    CR12Entity *line = MakeR12Entity(&d.drawing(), CDB_LINE);
    line->GetData()->line.end_point.x = 4.0;
    list.Append(line);
    const auto objects = ObjectsOf(SectionOf(AsciiGroups(d.Save(false)), "ENTITIES"));
    ASSERT_EQ(objects.size(), 2u);
    EXPECT_EQ(objects[0][0].value, "POINT");
    EXPECT_EQ(objects[1][0].value, "LINE");
    EXPECT_EQ(ValueOf(objects[1], 11), "4.0");
}

TEST(R12DxfWrite, EntitySectionFlagOfTheFileIsRestored) {
    R12FromBytes d(BaseDrawing(DxfText().G(0, "POINT").G(8, "0")));
    ASSERT_TRUE(d.opened());
    d->File()->in_entity_section = 7;
    d.Save(false);
    ASSERT_NE(d->File(), nullptr);
    EXPECT_EQ(d->File()->in_entity_section, 7);
}

// ---- Common groups ----------------------------------------------------------------------

TEST(R12DxfWriteCommon, GroupsComeInTheirOrder) {
    const auto objects = SavedEntities(DxfText()
                                           .G(0, "LINE")
                                           .G(210, 0.0)
                                           .G(220, 0.0)
                                           .G(230, -1.0)
                                           .G(67, 1)
                                           .G(39, 2.0)
                                           .G(38, 3.0)
                                           .G(5, "1A")
                                           .G(62, 5)
                                           .G(6, "DASHED")
                                           .G(8, "WALLS"));
    ASSERT_EQ(objects.size(), 1u);
    const std::vector<int> expected = {0,   8,   6,  62, 5,  38, 39, 67, 210,
                                       220, 230, 10, 20, 30, 11, 21, 31};
    EXPECT_EQ(CodesOf(objects[0]), expected);
    EXPECT_EQ(ValueOf(objects[0], 8), "WALLS");
    EXPECT_EQ(ValueOf(objects[0], 6), "DASHED");
    EXPECT_EQ(ValueOf(objects[0], 62), "     5");
    EXPECT_EQ(ValueOf(objects[0], 67), "     1");
    EXPECT_EQ(ValueOf(objects[0], 230), "-1.0");
}

TEST(R12DxfWriteCommon, DefaultsWriteOnlyTheLayer) {
    const auto objects = SavedEntities(DxfText().G(0, "LINE").G(8, "0"));
    ASSERT_EQ(objects.size(), 1u);
    EXPECT_EQ(CodesOf(objects[0]), (std::vector<int>{0, 8, 10, 20, 30, 11, 21, 31}));
}

TEST(R12DxfWriteCommon, ByBlockLineTypeIsWrittenByItsWord) {
    const auto objects = SavedEntities(DxfText().G(0, "LINE").G(8, "0").G(6, "BYBLOCK").G(62, 0));
    ASSERT_EQ(objects.size(), 1u);
    EXPECT_EQ(ValueOf(objects[0], 6), "BYBLOCK");
    EXPECT_EQ(ValueOf(objects[0], 62), "     0");
}

TEST(R12DxfWriteCommon, LayerOutsideTheTableIsAnEmptyValue) {
    const auto objects = SavedEntities(DxfText().G(0, "LINE").G(8, "NOSUCH"));
    ASSERT_EQ(objects.size(), 1u);
    ASSERT_TRUE(HasCode(objects[0], 8));
    EXPECT_EQ(ValueOf(objects[0], 8), "");
}

TEST(R12DxfWriteCommon, ExtrusionDifferingInOneCoordinateWritesAllThree) {
    const auto objects = SavedEntities(DxfText().G(0, "LINE").G(8, "0").G(220, 0.5));
    ASSERT_EQ(objects.size(), 1u);
    EXPECT_EQ(ValueOf(objects[0], 210), "0.0");
    EXPECT_EQ(ValueOf(objects[0], 220), "0.5");
    EXPECT_EQ(ValueOf(objects[0], 230), "1.0");
}

TEST(R12DxfWriteCommon, ColourBylayerAndSpaceZeroAreLeftOut) {
    const auto objects = SavedEntities(DxfText().G(0, "LINE").G(8, "0").G(62, -1).G(67, 0));
    ASSERT_EQ(objects.size(), 1u);
    EXPECT_FALSE(HasCode(objects[0], 62));
    EXPECT_FALSE(HasCode(objects[0], 67));
}

TEST(R12DxfWriteCommon, ExtendedDataFollowsTheKindsGroups) {
    const auto objects = SavedEntities(DxfText()
                                           .G(0, "POINT")
                                           .G(8, "0")
                                           .G(1001, "MYAPP")
                                           .G(1002, "{")
                                           .G(1003, "WALLS")
                                           .G(1040, 2.5)
                                           .G(1002, "}"));
    ASSERT_EQ(objects.size(), 1u);
    const std::vector<int> expected = {0, 8, 10, 20, 30, 1001, 1002, 1003, 1040, 1002};
    EXPECT_EQ(CodesOf(objects[0]), expected);
    EXPECT_EQ(ValueOf(objects[0], 1001), "MYAPP");
    EXPECT_EQ(ValueOf(objects[0], 1003), "WALLS");
}

// ---- Each kind: its groups in order, each condition on both sides -------------------------

TEST(R12DxfWriteKind, Line) {
    CheckKind(
        DxfText().G(0, "LINE").G(8, "0").G(10, 1.5).G(20, 2.5).G(30, 3.5).G(11, -4.0).G(21, 5.0).G(
            31, 6.125),
        CDB_LINE, {10, 20, 30, 11, 21, 31});
}

TEST(R12DxfWriteKind, PointWithAngle) {
    CheckKind(DxfText().G(0, "POINT").G(8, "0").G(10, 1.0).G(20, 2.0).G(30, 3.0).G(50, 45.0),
              CDB_POINT, {10, 20, 30, 50});
}

TEST(R12DxfWriteKind, PointWithoutAngle) {
    CheckKind(DxfText().G(0, "POINT").G(8, "0").G(10, 1.0).G(20, 2.0).G(30, 3.0).G(50, 0.0),
              CDB_POINT, {10, 20, 30});
}

TEST(R12DxfWriteKind, Circle) {
    CheckKind(DxfText().G(0, "CIRCLE").G(8, "0").G(10, 1.0).G(20, 2.0).G(30, 4.0).G(40, 2.5),
              CDB_CIRCLE, {10, 20, 30, 40});
}

TEST(R12DxfWriteKind, Arc) {
    CheckKind(
        DxfText().G(0, "ARC").G(8, "0").G(10, 1.0).G(20, 2.0).G(30, 4.0).G(40, 2.5).G(50, 10.0).G(
            51, 200.0),
        CDB_ARC, {10, 20, 30, 40, 50, 51});
}

TEST(R12DxfWriteKind, TraceAndSolid) {
    for (const char *name : {"TRACE", "SOLID"}) {
        SCOPED_TRACE(name);
        CheckKind(DxfText()
                      .G(0, name)
                      .G(8, "0")
                      .G(10, 1.0)
                      .G(20, 2.0)
                      .G(11, 3.0)
                      .G(21, 4.0)
                      .G(12, 5.0)
                      .G(22, 6.0)
                      .G(13, 7.5)
                      .G(23, 8.5),
                  std::string(name) == "TRACE" ? CDB_TRACE : CDB_SOLID, Corners());
    }
}

TEST(R12DxfWriteKind, SolidElevationGoesToTheFirstCornerOnly) {
    R12FromBytes d(BaseDrawing(
        DxfText().G(0, "SOLID").G(8, "0").G(10, 1.0).G(11, 2.0).G(12, 3.0).G(13, 4.0).G(38, 2.5)));
    ASSERT_TRUE(d.opened());
    ASSERT_EQ(d.Entity(0)->elevation, 2.5);
    d.Entity(0)->trace.corner_3.z = 1.5;
    const std::vector<uint8_t> bytes = d.Save(false);
    const auto objects = ObjectsOf(SectionOf(AsciiGroups(bytes), "ENTITIES"));
    ASSERT_EQ(objects.size(), 1u);
    EXPECT_FALSE(HasCode(objects[0], 38));
    EXPECT_EQ(ValueOf(objects[0], 30), "2.5");
    EXPECT_EQ(ValueOf(objects[0], 31), "0.0");
    EXPECT_EQ(ValueOf(objects[0], 32), "1.5");
    EXPECT_EQ(ValueOf(objects[0], 33), "0.0");
    // The reader takes every z group for the elevation: the last one wins.
    R12FromBytes back(bytes);
    ASSERT_TRUE(back.opened());
    EXPECT_EQ(back.Entity(0)->elevation, 0.0);
}

TEST(R12DxfWriteKind, JustifiedTextWritesItsAlignmentZAsHeld) {
    R12FromBytes d(
        BaseDrawing(DxfText().G(0, "TEXT").G(8, "0").G(1, "t").G(72, 1).G(11, 3.0).G(38, 4.0)));
    ASSERT_TRUE(d.opened());
    d.Entity(0)->text.alignment_point.z = 0.5;
    const auto objects = ObjectsOf(SectionOf(AsciiGroups(d.Save(false)), "ENTITIES"));
    ASSERT_EQ(objects.size(), 1u);
    EXPECT_EQ(ValueOf(objects[0], 30), "4.0");
    EXPECT_EQ(ValueOf(objects[0], 31), "0.5");
    EXPECT_FALSE(HasCode(objects[0], 38));
}

TEST(R12DxfWriteKind, TextWithEveryGroup) {
    CheckKind(DxfText()
                  .G(0, "TEXT")
                  .G(8, "0")
                  .G(10, 1.0)
                  .G(20, 2.0)
                  .G(30, 0.0)
                  .G(40, 2.5)
                  .G(1, "Hello")
                  .G(50, 30.0)
                  .G(41, 0.75)
                  .G(51, 15.0)
                  .G(7, "ROMANS")
                  .G(71, 2)
                  .G(72, 1)
                  .G(11, 5.0)
                  .G(21, 6.0)
                  .G(31, 0.0)
                  .G(73, 2),
              CDB_TEXT, {10, 20, 30, 40, 1, 50, 41, 51, 7, 71, 72, 11, 21, 31, 73});
}

TEST(R12DxfWriteKind, TextWithDefaults) {
    CheckKind(DxfText()
                  .G(0, "TEXT")
                  .G(8, "0")
                  .G(10, 1.0)
                  .G(20, 2.0)
                  .G(40, 2.5)
                  .G(1, "Hi")
                  .G(50, 0.0)
                  .G(41, 1.0)
                  .G(51, 0.0)
                  .G(7, "STANDARD")
                  .G(71, 0)
                  .G(72, 0)
                  .G(73, 0),
              CDB_TEXT, {10, 20, 30, 40, 1});
}

TEST(R12DxfWriteKind, TextVerticallyJustifiedOnlyWritesItsAlignmentPoint) {
    CheckKind(DxfText().G(0, "TEXT").G(8, "0").G(40, 2.5).G(1, "Hi").G(11, 5.0).G(21, 6.0).G(73, 1),
              CDB_TEXT, {10, 20, 30, 40, 1, 11, 21, 31, 73});
}

TEST(R12DxfWriteKind, TextStyleWhoseNameIsNotFoundIsLeftOut) {
    R12FromBytes d(BaseDrawing(DxfText().G(0, "TEXT").G(8, "0").G(1, "x").G(7, "ROMANS")));
    ASSERT_TRUE(d.opened());
    ASSERT_EQ(d.Entity(0)->text.style_index, 1);
    auto first = ObjectsOf(SectionOf(AsciiGroups(d.Save(false)), "ENTITIES"));
    ASSERT_EQ(first.size(), 1u);
    EXPECT_EQ(ValueOf(first[0], 7), "ROMANS");
    d.Entity(0)->text.style_index = 9;
    auto second = ObjectsOf(SectionOf(AsciiGroups(d.Save(false)), "ENTITIES"));
    ASSERT_EQ(second.size(), 1u);
    EXPECT_FALSE(HasCode(second[0], 7));
}

TEST(R12DxfWriteKind, ShapeWritesItsNameEvenWhenTheShapeTablesLackIt) {
    CheckKind(DxfText()
                  .G(0, "SHAPE")
                  .G(8, "0")
                  .G(10, 1.0)
                  .G(20, 2.0)
                  .G(30, 3.0)
                  .G(40, 2.0)
                  .G(2, "NOSUCH")
                  .G(50, 10.0)
                  .G(41, 2.0)
                  .G(51, 5.0),
              CDB_SHAPE, {10, 20, 30, 40, 2, 50, 41, 51});
    CheckKind(DxfText().G(0, "SHAPE").G(8, "0").G(40, 2.0).G(2, "NOSUCH").G(41, 1.0), CDB_SHAPE,
              {10, 20, 30, 40, 2});
}

TEST(R12DxfWriteKind, ShapeWritesTheNameItsFileGives) {
    // The style ROMANS finds its font beside the drawing; the shape is found by its name.
    shx_test::ScratchDir dir("dxfwshape");
    shx_test::ScratchDir no_index("dxfwshapenoindex");
    shx_test::IndexDirectories index({no_index.path()});
    dir.Write("romans.shx", shx_test::Shx({shx_test::FontInfo("ROMANS", 21),
                                           {65, "CAPA", {2, 0x40, 1, 0x14, 0}}}));
    const std::string text = BaseDrawing(DxfText().G(0, "SHAPE").G(8, "0").G(2, "CAPA")).Ascii();
    const std::string path =
        dir.Write("shapes.dxf", std::vector<uint8_t>(text.begin(), text.end()));
    CR12Drawing d(nullptr, 0);
    ASSERT_TRUE(d.OpenDXF(path.c_str(), CDB_OPEN_READ) && d.LoadDXF());
    CDB_ENTITY *shape = d.Entities().At(0)->GetData();
    ASSERT_EQ(shape->shape.shape_number, 65);
    const std::string out = dir.File("out.dxf");
    ASSERT_EQ(d.SaveAsDXF(out.c_str(), 0), 0);
    const auto objects = ObjectsOf(SectionOf(AsciiGroups(FileBytes(out)), "ENTITIES"));
    ASSERT_EQ(objects.size(), 1u);
    EXPECT_EQ(ValueOf(objects[0], 2), "CAPA");
}

TEST(R12DxfWriteKind, InsertWithEveryGroup) {
    CheckKind(DxfText()
                  .G(0, "INSERT")
                  .G(8, "0")
                  .G(66, 1)
                  .G(2, "B1")
                  .G(10, 1.0)
                  .G(20, 2.0)
                  .G(30, 3.0)
                  .G(41, 2.0)
                  .G(42, 3.0)
                  .G(43, 4.0)
                  .G(50, 90.0)
                  .G(70, 2)
                  .G(71, 3)
                  .G(44, 1.5)
                  .G(45, 2.5),
              CDB_INSERT, {66, 2, 10, 20, 30, 41, 42, 50, 43, 70, 71, 44, 45});
}

TEST(R12DxfWriteKind, InsertWithDefaults) {
    CheckKind(DxfText().G(0, "INSERT").G(8, "0").G(2, "B1").G(10, 1.0).G(20, 2.0), CDB_INSERT,
              {2, 10, 20, 30});
}

TEST(R12DxfWriteKind, InsertWritesItsBlockByName) {
    const auto objects = SavedEntities(DxfText().G(0, "INSERT").G(8, "0").G(2, "b1"));
    ASSERT_EQ(objects.size(), 1u);
    EXPECT_EQ(ValueOf(objects[0], 2), "B1");
}

TEST(R12DxfWriteKind, AttdefWithEveryGroup) {
    CheckKind(DxfText()
                  .G(0, "ATTDEF")
                  .G(8, "0")
                  .G(10, 1.0)
                  .G(20, 2.0)
                  .G(40, 2.5)
                  .G(1, "default")
                  .G(3, "prompt")
                  .G(2, "TAG")
                  .G(70, 8)
                  .G(73, 12)
                  .G(50, 30.0)
                  .G(41, 0.5)
                  .G(51, 10.0)
                  .G(7, "ROMANS")
                  .G(71, 4)
                  .G(72, 2)
                  .G(74, 1)
                  .G(11, 3.0)
                  .G(21, 4.0),
              CDB_ATTDEF, {10, 20, 30, 40, 1, 3, 2, 70, 73, 50, 41, 51, 7, 71, 72, 74, 11, 21, 31});
}

TEST(R12DxfWriteKind, AttdefWithDefaults) {
    CheckKind(DxfText()
                  .G(0, "ATTDEF")
                  .G(8, "0")
                  .G(40, 2.5)
                  .G(1, "d")
                  .G(3, "p")
                  .G(2, "T")
                  .G(70, 0)
                  .G(41, 1.0),
              CDB_ATTDEF, {10, 20, 30, 40, 1, 3, 2, 70});
}

TEST(R12DxfWriteKind, AttribWithEveryGroup) {
    CheckKind(DxfText()
                  .G(0, "ATTRIB")
                  .G(8, "0")
                  .G(10, 1.0)
                  .G(20, 2.0)
                  .G(40, 2.5)
                  .G(1, "value")
                  .G(2, "TAG")
                  .G(70, 1)
                  .G(73, 12)
                  .G(50, 30.0)
                  .G(41, 0.5)
                  .G(51, 10.0)
                  .G(7, "ROMANS")
                  .G(71, 4)
                  .G(72, 0)
                  .G(74, 3)
                  .G(11, 3.0)
                  .G(21, 4.0),
              CDB_ATTRIB, {10, 20, 30, 40, 1, 2, 70, 73, 50, 41, 51, 7, 71, 74, 11, 21, 31});
}

TEST(R12DxfWriteKind, AttribWithDefaults) {
    CheckKind(DxfText().G(0, "ATTRIB").G(8, "0").G(40, 2.5).G(1, "v").G(2, "T").G(70, 0),
              CDB_ATTRIB, {10, 20, 30, 40, 1, 2, 70});
}

TEST(R12DxfWriteKind, PolylineWithEveryGroup) {
    CheckKind(DxfText()
                  .G(0, "POLYLINE")
                  .G(8, "0")
                  .G(66, 1)
                  .G(10, 0.0)
                  .G(20, 0.0)
                  .G(30, 2.0)
                  .G(70, 16)
                  .G(40, 0.5)
                  .G(41, 0.25)
                  .G(71, 3)
                  .G(72, 4)
                  .G(73, 5)
                  .G(74, 6)
                  .G(75, 8),
              CDB_POLYLINE, {66, 10, 20, 30, 70, 40, 41, 71, 72, 73, 74, 75});
}

TEST(R12DxfWriteKind, PolylineWithDefaultsStillWrites66And72And75) {
    CheckKind(DxfText().G(0, "POLYLINE").G(8, "0").G(66, 0).G(40, 0.0).G(41, 0.0).G(72, 0).G(75, 0),
              CDB_POLYLINE, {66, 10, 20, 30, 72, 75});
}

TEST(R12DxfWriteKind, NegativeWidthsAreNotWritten) {
    const auto objects = SavedEntities(DxfText()
                                           .G(0, "POLYLINE")
                                           .G(8, "0")
                                           .G(40, -1.0)
                                           .G(41, -2.0)
                                           .G(0, "VERTEX")
                                           .G(8, "0")
                                           .G(40, -0.5)
                                           .G(41, -0.25));
    ASSERT_EQ(objects.size(), 2u);
    for (const WrittenGroups &o : objects) {
        EXPECT_FALSE(HasCode(o, 40)) << o[0].value;
        EXPECT_FALSE(HasCode(o, 41)) << o[0].value;
    }
}

TEST(R12DxfWriteKind, VertexWithEveryGroup) {
    CheckKind(DxfText()
                  .G(0, "VERTEX")
                  .G(8, "0")
                  .G(10, 1.0)
                  .G(20, 2.0)
                  .G(30, 3.0)
                  .G(40, 0.5)
                  .G(41, 0.25)
                  .G(42, -1.0)
                  .G(70, 2)
                  .G(50, 45.0)
                  .G(71, 1)
                  .G(72, 2)
                  .G(73, 3)
                  .G(74, 4),
              CDB_VERTEX, {10, 20, 30, 40, 41, 42, 70, 50, 71, 72, 73, 74});
}

TEST(R12DxfWriteKind, VertexWithDefaultsStillWrites73) {
    CheckKind(DxfText().G(0, "VERTEX").G(8, "0").G(10, 1.0).G(40, 0.0).G(42, 0.0), CDB_VERTEX,
              {10, 20, 30, 73});
}

TEST(R12DxfWriteKind, VertexFlagsAloneWriteTheTangent) {
    CheckKind(DxfText().G(0, "VERTEX").G(8, "0").G(70, 2), CDB_VERTEX, {10, 20, 30, 70, 50, 73});
    CheckKind(DxfText().G(0, "VERTEX").G(8, "0").G(50, 30.0), CDB_VERTEX, {10, 20, 30, 50, 73});
}

TEST(R12DxfWriteKind, FaceWithAndWithoutInvisibleEdges) {
    std::vector<int> with_flags = Corners();
    with_flags.push_back(70);
    CheckKind(DxfText()
                  .G(0, "3DFACE")
                  .G(8, "0")
                  .G(10, 1.0)
                  .G(21, 2.0)
                  .G(32, 3.0)
                  .G(13, 4.0)
                  .G(33, 5.0)
                  .G(70, 5),
              CDB_3DFACE, with_flags);
    CheckKind(DxfText().G(0, "3DFACE").G(8, "0").G(10, 1.0).G(70, 0), CDB_3DFACE, Corners());
}

TEST(R12DxfWriteKind, SeqendHasOnlyTheCommonGroups) {
    CheckKind(DxfText().G(0, "SEQEND").G(8, "WALLS"), CDB_SEQEND, {});
}

TEST(R12DxfWriteKind, DimensionWithEveryGroup) {
    CheckKind(DxfText()
                  .G(0, "DIMENSION")
                  .G(8, "0")
                  .G(2, "B1")
                  .G(3, "DS2")
                  .G(10, 1.0)
                  .G(20, 2.0)
                  .G(30, 3.0)
                  .G(11, 4.0)
                  .G(21, 5.0)
                  .G(31, 6.0)
                  .G(12, 7.0)
                  .G(22, 8.0)
                  .G(32, 9.0)
                  .G(70, 1)
                  .G(1, "<>")
                  .G(13, 1.0)
                  .G(23, 0.0)
                  .G(33, 0.0)
                  .G(14, 0.0)
                  .G(24, 1.0)
                  .G(34, 0.0)
                  .G(15, 0.0)
                  .G(25, 0.0)
                  .G(35, 1.0)
                  .G(16, 2.0)
                  .G(26, 2.0)
                  .G(36, 2.0)
                  .G(40, 0.5)
                  .G(50, 30.0),
              CDB_DIMENSION, {2,  3,  10, 20, 30, 11, 21, 31, 12, 22, 32, 70, 1, 13,
                              23, 33, 14, 24, 34, 15, 25, 35, 16, 26, 36, 40, 50});
}

TEST(R12DxfWriteKind, DimensionWithDefaultsWritesOnlyItsBlock) {
    CheckKind(DxfText().G(0, "DIMENSION").G(8, "0").G(2, "B1").G(3, "STANDARD").G(70, 0),
              CDB_DIMENSION, {2});
}

TEST(R12DxfWriteKind, DimensionPointsAreWrittenEachWhenNotZero) {
    CheckKind(DxfText().G(0, "DIMENSION").G(8, "0").G(2, "B1").G(31, 1.0).G(16, -1.0),
              CDB_DIMENSION, {2, 11, 21, 31, 16, 26, 36});
}

// ---- The viewport -----------------------------------------------------------------------

namespace {

// Two viewports of paper space; the first one's view is filled in by hand.
struct Viewports {
    Viewports()
        : d(BaseDrawing(DxfText()
                            .G(0, "VIEWPORT")
                            .G(8, "0")
                            .G(67, 1)
                            .G(10, 5.0)
                            .G(20, 4.0)
                            .G(30, 0.0)
                            .G(40, 10.0)
                            .G(41, 8.0)
                            .G(69, 2)
                            .G(0, "VIEWPORT")
                            .G(8, "0")
                            .G(67, 1)
                            .G(69, 3))) {
        CDB_VIEWPORT_type &v = d.Entity(0)->viewport;
        v.eed_version = 0; // the application: ACAD
        std::memcpy(v.eed_application, "MVIEW", 6);
        v.data_version = 16;
        v.view_target = CDB_POINT3{1.0, 2.0, 3.0};
        v.view_direction = CDB_POINT3{0.0, 0.0, 1.0};
        v.twist_angle = 0.0;
        v.view_height = 297.0;
        v.view_center = CDB_POINT2{270.5, 148.5};
        v.lens_length = 50.0;
        v.view_mode = 1;
        v.circle_zoom = 100;
        v.snap_isopair = 2;
        v.snap_base = CDB_POINT2{0.5, 0.25};
        v.grid_spacing = CDB_POINT2{10.0, 10.0};
        v.hidden_in_plot = 1;
        auto *layers = static_cast<int16_t *>(std::malloc(2 * sizeof(int16_t)));
        layers[0] = 1;
        layers[1] = 0;
        v.frozen_layers = layers;
        v.frozen_layer_count = 2;
    }
    R12FromBytes d;
};

} // namespace

TEST(R12DxfWriteViewport, GroupsAndTheExpandedViewSettings) {
    Viewports v;
    ASSERT_TRUE(v.d.opened());
    const auto objects = ObjectsOf(SectionOf(AsciiGroups(v.d.Save(false)), "ENTITIES"));
    ASSERT_EQ(objects.size(), 2u);
    std::vector<int> expected = {0, 8, 67, 68, 10, 20, 30, 40, 41, 69, 1001, 1000, 1002, 1070};
    for (int i = 0; i < 2; ++i)
        for (int c : {1010, 1020, 1030})
            expected.push_back(c);
    for (int i = 0; i < 7; ++i)
        expected.push_back(1040);
    for (int i = 0; i < 8; ++i)
        expected.push_back(1070);
    for (int i = 0; i < 7; ++i)
        expected.push_back(1040);
    for (int c : {1070, 1002, 1003, 1003, 1002, 1002})
        expected.push_back(c);
    EXPECT_EQ(CodesOf(objects[0]), expected);

    const WrittenGroups &g = objects[0];
    EXPECT_EQ(ValueOf(g, 69), "     2");
    EXPECT_EQ(ValueOf(g, 1001), "ACAD");
    EXPECT_EQ(ValueOf(g, 1000), "MVIEW");
    size_t first_eed = 0;
    while (g[first_eed].code != 1001)
        ++first_eed;
    EXPECT_EQ(g[first_eed + 2].value, "{");
    EXPECT_EQ(g[first_eed + 3].value, "    16");
    EXPECT_EQ(g[first_eed + 4].value, "1.0");
    const size_t tail = g.size() - 6;
    EXPECT_EQ(g[tail].code, 1070);
    EXPECT_EQ(g[tail].value, "     1");
    EXPECT_EQ(g[tail + 1].value, "{");
    EXPECT_EQ(g[tail + 2].value, "WALLS");
    EXPECT_EQ(g[tail + 3].value, "0");
    EXPECT_EQ(g[tail + 4].value, "}");
    EXPECT_EQ(g[tail + 5].value, "}");
}

TEST(R12DxfWriteViewport, Group68IsThePlaceInTheChainOfViewports) {
    Viewports v;
    ASSERT_TRUE(v.d.opened());
    // A viewport that is in no chain is 1.
    CR12Entity *loose = MakeR12Entity(&v.d.drawing(), CDB_VIEWPORT);
    v.d->Entities().Append(loose);
    const auto objects = ObjectsOf(SectionOf(AsciiGroups(v.d.Save(false)), "ENTITIES"));
    ASSERT_EQ(objects.size(), 3u);
    EXPECT_EQ(ValueOf(objects[0], 68), "     1");
    EXPECT_EQ(ValueOf(objects[1], 68), "     2");
    EXPECT_EQ(ValueOf(objects[2], 68), "     1");
}

TEST(R12DxfWriteViewport, StoredExtendedDataIsNotWritten) {
    Viewports v;
    ASSERT_TRUE(v.d.opened());
    // A stored block of another application: the record's fields are written instead.
    static const uint8_t kMine[] = {1, 1, 0, 0, 4, 'm', 'i', 'n', 'e'};
    CDB_ENTITY *e = v.d.Entity(0);
    std::free(e->eed_data);
    e->eed_data = static_cast<uint8_t *>(std::malloc(sizeof kMine));
    std::memcpy(e->eed_data, kMine, sizeof kMine);
    e->eed_size = sizeof kMine;
    const auto objects = ObjectsOf(SectionOf(AsciiGroups(v.d.Save(false)), "ENTITIES"));
    ASSERT_EQ(objects.size(), 2u);
    EXPECT_EQ(ValueOf(objects[0], 1001), "ACAD");
    EXPECT_EQ(ValueOf(objects[0], 1000), "MVIEW");
    for (const WrittenGroup &g : objects[0])
        EXPECT_NE(g.value, "MYAPP");
}

TEST(R12DxfWriteViewport, ViewSettingsComeBack) {
    Viewports v;
    ASSERT_TRUE(v.d.opened());
    R12FromBytes back(v.d.Save(false));
    ASSERT_TRUE(back.opened());
    const CDB_VIEWPORT_type a = v.d.Entity(0)->viewport;
    const CDB_VIEWPORT_type b = back.Entity(0)->viewport;
    EXPECT_EQ(b.viewport_id, 2);
    EXPECT_EQ(b.center.x, 5.0);
    EXPECT_EQ(b.width, 10.0);
    EXPECT_EQ(b.height, 8.0);
    EXPECT_EQ(std::string(b.eed_application, 5), "MVIEW");
    EXPECT_EQ(b.data_version, 16);
    EXPECT_EQ(b.view_target.z, a.view_target.z);
    EXPECT_EQ(b.view_height, a.view_height);
    EXPECT_EQ(b.view_center.x, a.view_center.x);
    EXPECT_EQ(b.lens_length, a.lens_length);
    EXPECT_EQ(b.view_mode, a.view_mode);
    EXPECT_EQ(b.circle_zoom, a.circle_zoom);
    EXPECT_EQ(b.snap_isopair, a.snap_isopair);
    EXPECT_EQ(b.snap_base.y, a.snap_base.y);
    EXPECT_EQ(b.grid_spacing.x, a.grid_spacing.x);
    EXPECT_EQ(b.hidden_in_plot, a.hidden_in_plot);
    ASSERT_EQ(b.frozen_layer_count, 2);
    EXPECT_EQ(b.frozen_layers[0], 1);
    EXPECT_EQ(b.frozen_layers[1], 0);
}

// ---- Blocks -------------------------------------------------------------------------------

TEST(R12DxfWriteBlocks, BlockStartEntitiesAndEnd) {
    R12FromBytes d(BaseDrawing(DxfText()));
    ASSERT_TRUE(d.opened());
    const auto objects = ObjectsOf(SectionOf(AsciiGroups(d.Save(false)), "BLOCKS"));
    ASSERT_EQ(objects.size(), 3u);
    EXPECT_EQ(objects[0][0].value, "BLOCK");
    // The reader keeps an empty path for a block without one, and the path is written.
    EXPECT_EQ(KindCodes(objects[0]), (std::vector<int>{2, 70, 10, 20, 30, 1, 3}));
    EXPECT_EQ(ValueOf(objects[0], 2), "B1");
    EXPECT_EQ(ValueOf(objects[0], 10), "1.0");
    EXPECT_EQ(ValueOf(objects[0], 3), "B1");
    EXPECT_EQ(objects[1][0].value, "LINE");
    EXPECT_EQ(CodesOf(objects[2]), (std::vector<int>{0, 8}));
    EXPECT_EQ(objects[2][0].value, "ENDBLK");
}

TEST(R12DxfWriteBlocks, BlockWithoutPathOrSecondNameLeavesThemOut) {
    R12FromBytes d(BaseDrawing(DxfText()));
    ASSERT_TRUE(d.opened());
    CDB_STARTBLOCK_ENTITY_type *start = d->Blocks().At(0)->record;
    std::free(start->xref_path);
    start->xref_path = nullptr;
    std::free(start->name_2);
    start->name_2 = nullptr;
    const auto objects = ObjectsOf(SectionOf(AsciiGroups(d.Save(false)), "BLOCKS"));
    ASSERT_EQ(objects.size(), 3u);
    EXPECT_EQ(KindCodes(objects[0]), (std::vector<int>{2, 70, 10, 20, 30}));
}

TEST(R12DxfWriteBlocks, BlockElevationIsItsZAndComesBack) {
    DxfText dxf;
    dxf.MinimalHeader()
        .Section("BLOCKS")
        .G(0, "BLOCK")
        .G(8, "0")
        .G(2, "UP")
        .G(70, 0)
        .G(10, 1.0)
        .G(20, 2.0)
        .G(30, 5.0)
        .G(0, "ENDBLK")
        .G(8, "0")
        .EndSection()
        .Section("ENTITIES")
        .EndSection()
        .Eof();
    R12FromBytes d(dxf);
    ASSERT_TRUE(d.opened());
    ASSERT_EQ(d->Blocks().At(0)->record->elevation, 5.0);
    const std::vector<uint8_t> bytes = d.Save(false);
    const auto objects = ObjectsOf(SectionOf(AsciiGroups(bytes), "BLOCKS"));
    ASSERT_EQ(objects.size(), 2u);
    EXPECT_EQ(ValueOf(objects[0], 30), "5.0");
    EXPECT_FALSE(HasCode(objects[0], 38));
    R12FromBytes back(bytes);
    ASSERT_TRUE(back.opened());
    EXPECT_EQ(back->Blocks().At(0)->record->elevation, 5.0);
}

TEST(R12DxfWriteBlocks, DeletedBlockIsNotWritten) {
    R12FromBytes d(BaseDrawing(DxfText()));
    ASSERT_TRUE(d.opened());
    d->Blocks().At(0)->record->flags = 0x80;
    const WrittenGroups blocks = SectionOf(AsciiGroups(d.Save(false)), "BLOCKS");
    EXPECT_TRUE(blocks.empty());
}

TEST(R12DxfWriteBlocks, BlockListWithoutItsEndIsClosedByOne) {
    R12FromBytes d(BaseDrawing(DxfText()));
    ASSERT_TRUE(d.opened());
    CEntityList &list = *d->Blocks().At(0)->entities;
    CModelEntity *end = list.At(list.Count() - 1);
    ASSERT_EQ(end->Code(), CDB_ENDBLK);
    list.RemoveAt(list.Count() - 1);
    delete end;
    const auto objects = ObjectsOf(SectionOf(AsciiGroups(d.Save(false)), "BLOCKS"));
    ASSERT_EQ(objects.size(), 3u);
    EXPECT_EQ(objects[2][0].value, "ENDBLK");
}

TEST(R12DxfWriteBlocks, EntitiesAddedBehindTheBlockEndComeBeforeIt) {
    R12FromBytes d(BaseDrawing(DxfText()));
    ASSERT_TRUE(d.opened());
    d->Blocks().At(0)->entities->Append(MakeR12Entity(&d.drawing(), CDB_POINT));
    const auto objects = ObjectsOf(SectionOf(AsciiGroups(d.Save(false)), "BLOCKS"));
    ASSERT_EQ(objects.size(), 4u);
    EXPECT_EQ(objects[2][0].value, "POINT");
    EXPECT_EQ(objects[3][0].value, "ENDBLK");
}
