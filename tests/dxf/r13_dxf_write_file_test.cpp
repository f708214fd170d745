// The release 13 DXF writer on whole drawings: the sections, the header values it writes
// whatever the drawing says, the tail of a DXF input copied byte for byte, the OBJECTS section
// it builds for others, the binary form without a sentinel, and a save that an entity without
// a writer stops.
#include "dxf/r13_dxf_write_support.h"

#include "support/dwg13_builder.h"

#include "dwg13/r13_drawing.h"
#include "dwg13/r13_header.h"
#include "dwg13/r13_tables.h"
#include "dxf/r13_dxf_write.h"
#include "interface/tool_support.h"
#include "records/entity_kinds.h"

#include "velkow32.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

namespace velko_test {
namespace {

void Line(DxfText &d, const char *handle, double x) {
    d.G(0, "LINE")
        .G(5, handle)
        .G(100, "AcDbEntity")
        .G(8, "WALLS")
        .G(100, "AcDbLine")
        .G(10, x)
        .G(20, 0.0)
        .G(30, 0.0)
        .G(11, x + 1.0)
        .G(21, 1.0)
        .G(31, 0.0);
}

DxfText TwoLines() {
    return SmallR13Dxf([](DxfText &d) {
        Line(d, "50", 0.0);
        Line(d, "51", 10.0);
    });
}

// ---- The sections -------------------------------------------------------------------------

TEST(R13DxfWriteFile, SectionsComeInTheirOrderWithAnEmptyClassesSection) {
    LoadedR13Dxf in("r13w_sections.dxf", TwoLines().Ascii());
    ASSERT_TRUE(in.Loaded());
    ASSERT_EQ(in.Save("r13w_sections_out.dxf"), 0);
    std::vector<std::string> sections;
    const DxfGroups all = in.SavedGroups();
    for (size_t i = 1; i < all.size(); ++i)
        if (all[i - 1] == DxfGroups::value_type(0, "SECTION") && all[i].first == 2)
            sections.push_back(all[i].second);
    EXPECT_EQ(sections, (std::vector<std::string>{"HEADER", "CLASSES", "TABLES", "BLOCKS",
                                                  "ENTITIES", "OBJECTS"}));
    EXPECT_TRUE(SectionOf(all, "CLASSES").empty());
    EXPECT_EQ(all.back(), DxfGroups::value_type(0, "EOF"));
}

TEST(R13DxfWriteFile, HeaderWritesEveryWrittenVariableInItsOrder) {
    LoadedR13Dxf in("r13w_header.dxf", TwoLines().Ascii());
    ASSERT_TRUE(in.Loaded());
    ASSERT_EQ(in.Save("r13w_header_out.dxf"), 0);
    std::vector<std::string> names;
    for (const auto &g : SectionOf(in.SavedGroups(), "HEADER"))
        if (g.first == 9)
            names.push_back(g.second);
    ASSERT_EQ(names.size(), 162u);
    EXPECT_EQ(names[0], "$ACADVER");
    EXPECT_EQ(names[1], "$DWGCODEPAGE");
    for (const char *unwritten : {"$FASTZOOM", "$GRIDMODE", "$SNAPBASE", "$VIEWCTR", "$VIEWSIZE"})
        EXPECT_EQ(std::count(names.begin(), names.end(), unwritten), 0) << unwritten;
    // The additions of this release stand behind their neighbours.
    auto at = [&names](const char *name) {
        return std::find(names.begin(), names.end(), name) - names.begin();
    };
    EXPECT_EQ(at("$CELTSCALE"), at("$CECOLOR") + 1);
    EXPECT_EQ(at("$DIMTXSTY"), at("$DIMALTTD") + 1);
    EXPECT_EQ(at("$CMLSTYLE"), at("$PICKSTYLE") + 1);
}

TEST(R13DxfWriteFile, DwgCodePageIsAnsi1252InEveryFile) {
    DxfText groups = SmallR13Dxf({}, [](DxfText &d) { d.G(9, "$DWGCODEPAGE").G(3, "ansi_1250"); });
    LoadedR13Dxf in("r13w_codepage.dxf", groups.Ascii());
    ASSERT_TRUE(in.Loaded());
    ASSERT_EQ(in.Save("r13w_codepage_out.dxf"), 0);
    const DxfGroups header = SectionOf(in.SavedGroups(), "HEADER");
    const auto it =
        std::find(header.begin(), header.end(), DxfGroups::value_type(9, "$DWGCODEPAGE"));
    ASSERT_NE(it, header.end());
    EXPECT_EQ(*(it + 1), DxfGroups::value_type(3, "ansi_1252"));
    // And in binary: the text stands behind the variable's name.
    ASSERT_EQ(in.Save("r13w_codepage_out_b.dxf", true), 0);
    const std::string binary = in.Saved();
    const size_t name = binary.find("$DWGCODEPAGE");
    ASSERT_NE(name, std::string::npos);
    EXPECT_EQ(binary.compare(name + 13, 11,
                             std::string("\x03"
                                         "ansi_1252\0",
                                         11)),
              0);
}

TEST(R13DxfWriteFile, HandseedIsTheHeadersTextAsItStands) {
    LoadedR13Dxf in("r13w_seed.dxf", TwoLines().Ascii());
    ASSERT_TRUE(in.Loaded());
    ASSERT_EQ(in.Save("r13w_seed_out.dxf"), 0);
    const DxfGroups header = SectionOf(in.SavedGroups(), "HEADER");
    const auto it = std::find(header.begin(), header.end(), DxfGroups::value_type(9, "$HANDSEED"));
    ASSERT_NE(it, header.end());
    EXPECT_EQ(*(it + 1), DxfGroups::value_type(5, "200"));
}

TEST(R13DxfWriteFile, UcsNameWithIndexTwoWritesTheThirdLayersName) {
    LoadedR13Dxf in("r13w_ucsname.dxf", TwoLines().Ascii());
    ASSERT_TRUE(in.Loaded());
    in.Drawing().Header().vars.ucsname = 2;
    ASSERT_EQ(in.Save("r13w_ucsname_out.dxf"), 0);
    const DxfGroups header = SectionOf(in.SavedGroups(), "HEADER");
    const auto it = std::find(header.begin(), header.end(), DxfGroups::value_type(9, "$UCSNAME"));
    ASSERT_NE(it, header.end());
    EXPECT_EQ(*(it + 1), DxfGroups::value_type(2, "ROOF"));
}

TEST(R13DxfWriteFile, NamesOfMinusOneAndMinusTwoAndAnIndexWithoutANameFailingTheSave) {
    LoadedR13Dxf in("r13w_names.dxf", TwoLines().Ascii());
    ASSERT_TRUE(in.Loaded());
    CDB_HEADER_type &vars = in.Drawing().Header().vars;
    vars.celtype = -2;
    vars.dimstyle = -1;
    vars.clayer = -1;
    ASSERT_EQ(in.Save("r13w_names_out.dxf"), 0);
    const DxfGroups header = SectionOf(in.SavedGroups(), "HEADER");
    auto value = [&header](const char *name) {
        const auto it = std::find(header.begin(), header.end(), DxfGroups::value_type(9, name));
        return it == header.end() ? std::string("<none>") : (it + 1)->second;
    };
    EXPECT_EQ(value("$CELTYPE"), "BYBLOCK");
    EXPECT_EQ(value("$DIMSTYLE"), "*UNNAMED");
    EXPECT_EQ(value("$CLAYER"), "");
    vars.celtype = -1;
    ASSERT_EQ(in.Save("r13w_names_out2.dxf"), 0);
    EXPECT_NE(in.Saved().find("$CELTYPE\r\n  6\r\nBYLAYER\r\n"), std::string::npos);
    // The third text style does not exist: its empty name fails the save.
    vars.textstyle = 2;
    EXPECT_EQ(in.Save("r13w_names_out3.dxf"), CDB_FAIL);
    EXPECT_EQ(SectionOf(in.SavedGroups(), "TABLES").size(), 0u);
}

// ---- The group lines of this writer ---------------------------------------------------------

TEST(R13DxfWriteFile, CodeLinesAreRightAlignedInThreeAndNumbersTakeTheWritersForms) {
    LoadedR13Dxf in("r13w_lines.dxf", SmallR13Dxf([](DxfText &d) {
                                          d.G(0, "LINE")
                                              .G(5, "50")
                                              .G(100, "AcDbEntity")
                                              .G(8, "0")
                                              .G(62, 10)
                                              .G(100, "AcDbLine")
                                              .G(10, 100000000.0)
                                              .G(20, 12345678.9)
                                              .G(30, 0.1)
                                              .G(11, 0.099)
                                              .G(21, 1.0)
                                              .G(31, 0.0)
                                              .G(1001, "ACAD")
                                              .G(1070, 3);
                                      }).Ascii());
    ASSERT_TRUE(in.Loaded());
    ASSERT_EQ(in.Save("r13w_lines_out.dxf"), 0);
    const std::string &t = in.Saved();
    EXPECT_NE(t.find("\r\n  5\r\n50\r\n100\r\nAcDbEntity\r\n"), std::string::npos);
    EXPECT_NE(t.find("\r\n 62\r\n    10\r\n"), std::string::npos);
    EXPECT_NE(t.find("\r\n 10\r\n1.e+008\r\n 20\r\n12345679\r\n 30\r\n0.1\r\n 11\r\n9.9e-002\r\n"),
              std::string::npos);
    EXPECT_NE(t.find("\r\n 1001\r\nACAD\r\n 1070\r\n     3\r\n"), std::string::npos);
}

// ---- Entities ---------------------------------------------------------------------------------

TEST(R13DxfWriteFile, HandlingZeroStillWritesGroupFiveOnEveryEntity) {
    DxfText groups = SmallR13Dxf(
        [](DxfText &d) {
            Line(d, "50", 0.0);
            Line(d, "51", 10.0);
        },
        [](DxfText &d) { d.G(9, "$HANDLING").G(70, 0); });
    LoadedR13Dxf in("r13w_handling.dxf", groups.Ascii());
    ASSERT_TRUE(in.Loaded());
    ASSERT_EQ(in.Drawing().Header().vars.handling, 0);
    ASSERT_EQ(in.Save("r13w_handling_out.dxf"), 0);
    const std::vector<DxfGroups> entities = ObjectsOf(SectionOf(in.SavedGroups(), "ENTITIES"));
    ASSERT_EQ(entities.size(), 2u);
    EXPECT_EQ(entities[0][1], DxfGroups::value_type(5, "50"));
    EXPECT_EQ(entities[1][1], DxfGroups::value_type(5, "51"));
}

TEST(R13DxfWriteFile, ALineWithExtrusionZeroZeroMinusOneLosesItInTheFile) {
    LoadedR13Dxf in("r13w_extrusion.dxf", SmallR13Dxf([](DxfText &d) {
                                              Line(d, "50", 0.0);
                                              d.G(210, 0.0).G(220, 0.0).G(230, -1.0);
                                          }).Ascii());
    ASSERT_TRUE(in.Loaded());
    ASSERT_EQ(in.Drawing().Entities().At(0)->GetData()->extrusion.z, -1.0);
    ASSERT_EQ(in.Save("r13w_extrusion_out.dxf"), 0);
    const std::vector<DxfGroups> entities = ObjectsOf(SectionOf(in.SavedGroups(), "ENTITIES"));
    ASSERT_EQ(entities.size(), 1u);
    EXPECT_EQ(ValueOf(entities[0], 210), "<none>");
    EXPECT_EQ(ValueOf(entities[0], 230), "<none>");
}

// An entity added to the main list goes behind the end that closes it, and the writer's
// walk of the main list stops at that end: the DXF does not hold it. One added to a block
// goes in front of the block's end and is written with the block.
TEST(R13DxfWriteFile, AnEntityAddedToTheMainListStandsBehindItsEndAndIsNotWritten) {
    TempFile dxf("r13w_added.dxf", SmallR13Dxf([](DxfText &d) { Line(d, "50", 0.0); }).Ascii());
    const int16_t h = CDBStartFileReading(dxf.c_str(), nullptr);
    ASSERT_GE(h, 0) << CDBGetErrorNumber(-1);
    CDB_ENTITY line;
    CDBEntityDefault(h, &line, CDB_LINE);
    line.layer_index = 0;
    line.line_type_index = -1;
    line.line.end_point.x = 7.0;
    const int32_t position = CDBEntityAdd(h, -1, &line);
    ASSERT_GE(position, 0) << CDBGetErrorNumber(h);
    CDB_ENTITY closing;
    ASSERT_GE(CDBGetEntity(h, CDBPackEntityId(-1, uint16_t(position - 1)), &closing), 0);
    EXPECT_EQ(closing.entity_type, CDB_ENDBLK);
    FreeOwnedTexts(&closing);
    TempFile out("r13w_added_out.dxf");
    ASSERT_EQ(CDBSaveAsDXF(h, out.c_str(), 0), 0) << CDBGetErrorNumber(h);
    CDBEndOperation(h);
    const std::vector<DxfGroups> entities =
        ObjectsOf(SectionOf(AsciiGroups(WholeFile(out.path())), "ENTITIES"));
    ASSERT_EQ(entities.size(), 1u);
    EXPECT_EQ(ValueOf(entities[0], 5), "50");
}

TEST(R13DxfWriteFile, ADrawingWithA3dSolidFailsAndKeepsTheOldFile) {
    LoadedR13Dxf in("r13w_solid.dxf", SmallR13Dxf([](DxfText &d) {
                                          Line(d, "50", 0.0);
                                          d.G(0, "3DSOLID")
                                              .G(5, "5A")
                                              .G(100, "AcDbEntity")
                                              .G(8, "0")
                                              .G(100, "AcDbModelerGeometry")
                                              .G(70, 1)
                                              .G(1, "data");
                                          Line(d, "51", 10.0);
                                      }).Ascii());
    ASSERT_TRUE(in.Loaded());
    // A file of the name is there before the save, and stays as it was.
    const std::string old_text = "an old file\n";
    TempFile old("r13w_solid_old.dxf", old_text);
    ASSERT_EQ(in.Drawing().SaveAsDXF(old.c_str(), 0), CDB_FAIL);
    EXPECT_EQ(WholeFile(old.path()), old_text);
    // Without one, the failed save leaves no file.
    ASSERT_EQ(in.Save("r13w_solid_out.dxf"), CDB_FAIL);
    EXPECT_TRUE(in.Saved().empty());
    EXPECT_EQ(in.Drawing().LastDxfSaveStop().kind, "3DSOLID");
    EXPECT_EQ(in.Drawing().LastDxfSaveStop().handle, "5A");
    // A save that goes through forgets the stop.
    // Taken out of the list, the solid is the test's to delete.
    std::unique_ptr<CModelEntity> solid(in.Drawing().Entities().At(1));
    ASSERT_EQ(in.Drawing().Entities().RemoveAt(1), 1);
    EXPECT_EQ(in.Save("r13w_solid_out2.dxf"), 0);
    EXPECT_EQ(in.Drawing().LastDxfSaveStop().kind, "");
}

TEST(R13DxfWriteFile, ToolSupportTellsWhereASaveStopped) {
    TempFile file(
        "r13w_stop_tool.dxf",
        SmallR13Dxf([](DxfText &d) {
            d.G(0, "REGION").G(5, "5B").G(100, "AcDbEntity").G(8, "0").G(70, 1).G(1, "data");
        }).Ascii());
    TempFile out("r13w_stop_tool_out.dxf");
    const int16_t h = CDBStartFileReading(file.c_str(), nullptr);
    ASSERT_GE(h, 0);
    std::string kind, handle;
    EXPECT_FALSE(tool_support::SaveStoppedAt(h, &kind, &handle));
    EXPECT_EQ(CDBSaveAsDXF(h, out.c_str(), 0), CDB_FAIL);
    ASSERT_TRUE(tool_support::SaveStoppedAt(h, &kind, &handle));
    EXPECT_EQ(kind, "REGION");
    EXPECT_EQ(handle, "5B");
    EXPECT_EQ(CDBEndOperation(h), 0);
}

// ---- The tail ---------------------------------------------------------------------------------

TEST(R13DxfWriteFile, ADxfInputsObjectsSectionIsCopiedByteForByteInItsLineEnds) {
    const std::string text = TwoLines().Ascii("\r\n");
    LoadedR13Dxf in("r13w_tail.dxf", text);
    ASSERT_TRUE(in.Loaded());
    ASSERT_GT(in.Drawing().TailSize(), 0);
    const std::string tail =
        text.substr(size_t(in.Drawing().TailStart()), size_t(in.Drawing().TailSize()));
    ASSERT_EQ(in.Save("r13w_tail_out.dxf"), 0);
    const std::string &saved = in.Saved();
    ASSERT_GE(saved.size(), tail.size());
    EXPECT_EQ(saved.substr(saved.size() - tail.size()), tail);
    // Line feeds alone stay line feeds alone.
    const std::string lf = TwoLines().Ascii("\n");
    LoadedR13Dxf in_lf("r13w_tail_lf.dxf", lf);
    ASSERT_TRUE(in_lf.Loaded());
    const std::string tail_lf =
        lf.substr(size_t(in_lf.Drawing().TailStart()), size_t(in_lf.Drawing().TailSize()));
    ASSERT_EQ(in_lf.Save("r13w_tail_lf_out.dxf"), 0);
    EXPECT_EQ(in_lf.Saved().substr(in_lf.Saved().size() - tail_lf.size()), tail_lf);
    EXPECT_EQ(tail_lf.find('\r'), std::string::npos);
}

TEST(R13DxfWriteFile, ASavedBinaryFileHasNoSentinelAndBeginsWithGroupCodeZero) {
    LoadedR13Dxf in("r13w_binary.dxf", TwoLines().Ascii());
    ASSERT_TRUE(in.Loaded());
    ASSERT_EQ(in.Save("r13w_binary_out.dxf", true), 0);
    const std::string &b = in.Saved();
    ASSERT_GT(b.size(), 10u);
    EXPECT_EQ(b[0], '\0');
    EXPECT_EQ(b.compare(1, 8, std::string("SECTION\0", 8)), 0);
    EXPECT_EQ(b.find("AutoCAD Binary DXF"), std::string::npos);
    // Codes of 1000 and up take 255 and two bytes; below, one byte: the code 100 of the
    // first entity marker is the byte 100.
    EXPECT_NE(b.find(std::string("\x64"
                                 "AcDbEntity\0",
                                 12)),
              std::string::npos);
}

TEST(R13DxfWriteFile, TheLibrarysReaderDoesNotTakeTheBinaryFileBack) {
    LoadedR13Dxf in("r13w_binary_back.dxf", TwoLines().Ascii());
    ASSERT_TRUE(in.Loaded());
    ASSERT_EQ(in.Save("r13w_binary_back_out.dxf", true), 0);
    CDrawingFile file;
    ASSERT_EQ(file.Open(in.Out().c_str(), kDrawingFileRead), 1);
    const DxfSniff sniff = SniffDxf(file);
    EXPECT_NE(sniff.form, CDxfStream::kBinary);
    EXPECT_NE(sniff.release, 13);
}

// ---- A drawing that came from no DXF --------------------------------------------------------

TEST(R13DxfWriteFile, ADwgInputGetsARootDictionaryWithExactlyTheTwoNamedOnes) {
    TempFile dwg("r13w_from_dwg.dwg", SmallR13Dwg());
    TempFile out("r13w_from_dwg_out.dxf");
    const int16_t h = CDBStartFileReading(dwg.c_str(), nullptr);
    ASSERT_GE(h, 0) << CDBGetErrorNumber(-1);
    ASSERT_EQ(CDBSaveAsDXF(h, out.c_str(), 0), 0) << CDBGetErrorNumber(h);
    // The check whether the input is a DXF leaves its code behind on a DWG.
    EXPECT_EQ(CDBGetErrorNumber(h), CDB_ERR_SEEKING);
    EXPECT_EQ(CDBEndOperation(h), 0);
    const std::string text = WholeFile(out.path());
    const DxfGroups all = AsciiGroups(text);
    EXPECT_EQ(all.back(), DxfGroups::value_type(0, "EOF"));
    // A code of three digits stands behind one blank.
    EXPECT_NE(text.find("\r\n 330\r\n"), std::string::npos);
    const std::vector<DxfGroups> objects = ObjectsOf(SectionOf(all, "OBJECTS"));
    ASSERT_GE(objects.size(), 3u);
    const DxfGroups &root = objects[0];
    ASSERT_EQ(CodesOf(root), (std::vector<int>{0, 5, 100, 3, 350, 3, 350}));
    EXPECT_EQ(root[0].second, "DICTIONARY");
    EXPECT_EQ(root[3].second, "ACAD_GROUP");
    EXPECT_EQ(root[5].second, "ACAD_MLINESTYLE");
    for (int i = 1; i <= 2; ++i) {
        const DxfGroups &named = objects[size_t(i)];
        EXPECT_EQ(named[0].second, "DICTIONARY");
        EXPECT_EQ(named[1].second, root[size_t(2 + 2 * i)].second);
        EXPECT_EQ(ValueOf(named, 102), "{ACAD_REACTORS");
        EXPECT_EQ(ValueOf(named, 330), root[1].second);
    }
    // The three handles are taken from the seed on: no object of the drawing has them.
    EXPECT_EQ(root[1].second, "80");
    EXPECT_EQ(root[4].second, "81");
    EXPECT_EQ(root[6].second, "82");
}

TEST(R13DxfWriteFile, DictionaryHandlesLieAboveEveryHandleWhenTheSeedIsLow) {
    LoadedR13Dxf in("r13w_dict.dxf", TwoLines().Ascii());
    ASSERT_TRUE(in.Loaded());
    // The seed is a fixed text block of the header: emptied, it says 0.
    in.Drawing().Header().vars.handseed[0] = 0;
    uint32_t h[3] = {};
    R13DxfDictionaryHandles(in.Drawing(), h);
    // The highest handle of the drawing is the block DOOR's 43... and the line 51.
    EXPECT_EQ(h[0], 0x52u);
    EXPECT_EQ(h[1], 0x53u);
    EXPECT_EQ(h[2], 0x54u);
    in.Drawing().dxf_dictionary_handles = {7, 8, 9};
    R13DxfDictionaryHandles(in.Drawing(), h);
    EXPECT_EQ(h[0], 7u);
    EXPECT_EQ(h[2], 9u);
}

TEST(R13DxfWriteFile, BuiltMultilineStylesExtendTheDictionaryInFrontWithAShortStandard) {
    LoadedR13Dxf in("r13w_mlstyle.dxf", TwoLines().Ascii());
    ASSERT_TRUE(in.Loaded());
    // Not from a DXF any more: the drawing builds its OBJECTS.
    in.Drawing().dxf_dictionary_handles = {0x300, 0x301, 0x302};
    CDrawingFile *input = in.Drawing().File();
    ASSERT_NE(input, nullptr);
    input->Close();
    ASSERT_EQ(in.Save("r13w_mlstyle_out.dxf"), 0);
    const std::vector<DxfGroups> objects = ObjectsOf(SectionOf(in.SavedGroups(), "OBJECTS"));
    ASSERT_EQ(objects.size(), 4u);
    const DxfGroups &named = objects[2];
    ASSERT_GE(named.size(), 2u);
    EXPECT_EQ(named[named.size() - 2], DxfGroups::value_type(3, "STANDARD"));
    EXPECT_EQ(named.back(), DxfGroups::value_type(350, "18"));
    EXPECT_EQ(CodesOf(objects[3]),
              (std::vector<int>{0, 5, 102, 330, 102, 100, 2, 70, 3, 62, 51, 52, 71, 49, 62, 6}));
    EXPECT_EQ(ValueOf(objects[3], 330), "302");
    EXPECT_EQ(ValueOf(objects[3], 3), " ");
    EXPECT_EQ(ValueOf(objects[3], 6), "BYLAYER");
    // In binary the text goes out with the length 5: "STAND" without its terminator, and
    // the code 350 behind it in its one byte.
    ASSERT_EQ(in.Save("r13w_mlstyle_out_b.dxf", true), 0);
    EXPECT_NE(in.Saved().find(std::string("\x03"
                                          "STAND^",
                                          7)),
              std::string::npos);
}

} // namespace
} // namespace velko_test
