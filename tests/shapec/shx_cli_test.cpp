// velko shx compile, run as a user runs it.
#include "shapec/shape_compiler.h"
#include "shapec/shapec_test_util.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

using shapec_test::Outcome;
using shapec_test::ReadBytes;
using shapec_test::RunVelko;
using shapec_test::SamplePath;
using shapec_test::ScratchDir;

namespace {

std::vector<uint8_t> CompileSample(const std::string &name, velko_shapec::Form form,
                                   const velko_shapec::Options &options = {}) {
    std::vector<velko_shapec::ShapeDef> defs;
    std::string error;
    EXPECT_TRUE(velko_shapec::ParseShapes(shapec_test::ReadSample(name), &defs, &error)) << error;
    return velko_shapec::CompileShx(defs, form, options, &error);
}

} // namespace

TEST(ShapecCli, CompilesAShapeFile) {
    ScratchDir dir;
    ASSERT_TRUE(dir.ok());
    std::string out = dir.File("STROKES.SHX");
    Outcome r = RunVelko("shx compile " + SamplePath("strokes.shp") + " " + out);
    EXPECT_EQ(r.status, 0);
    EXPECT_NE(r.out.find("6 shapes"), std::string::npos) << r.out;
    std::vector<uint8_t> bytes = ReadBytes(out);
    EXPECT_EQ(bytes, CompileSample("strokes.shp", velko_shapec::Form::kShapes11));
    ASSERT_GT(bytes.size(), 0x1Eu);
    EXPECT_EQ(bytes[0x1C], 6);
}

TEST(ShapecCli, CompilesAUnifontSortedOrAsDefined) {
    ScratchDir dir;
    ASSERT_TRUE(dir.ok());
    std::string out = dir.File("UNI.SHX");
    ASSERT_EQ(RunVelko("shx compile --unifont " + SamplePath("unifont.shp") + " " + out).status, 0);
    EXPECT_EQ(ReadBytes(out), CompileSample("unifont.shp", velko_shapec::Form::kUnifont));

    std::string shuffled = dir.Write("shuffled.shp", "*0,4,u\n6,2,0,0\n*042,2,b\n020,0\n"
                                                     "*041,2,a\n020,0\n");
    ASSERT_EQ(RunVelko("shx compile " + shuffled + " " + out + " --unifont --keep-order").status,
              0);
    std::vector<uint8_t> bytes = ReadBytes(out);
    ASSERT_GT(bytes.size(), 0x1Bu + 10 + 4);
    EXPECT_EQ(bytes[0x1B + 10], 0x42);
}

TEST(ShapecCli, CompilesABigFont) {
    ScratchDir dir;
    ASSERT_TRUE(dir.ok());
    std::string out = dir.File("BIG.SHX");
    ASSERT_EQ(
        RunVelko("shx compile " + SamplePath("bigfont.shp") + " " + out + " --bigfont 081-082")
            .status,
        0);
    velko_shapec::Options options;
    options.ranges = {{0x81, 0x82}};
    std::vector<uint8_t> bytes = ReadBytes(out);
    EXPECT_EQ(bytes, CompileSample("bigfont.shp", velko_shapec::Form::kBigFont, options));
    ASSERT_GT(bytes.size(), 0x21u);
    EXPECT_EQ(bytes[0x1D], 1);
    EXPECT_EQ(bytes[0x1F], 0x81);
    EXPECT_EQ(bytes[0x20], 0x82);
}

TEST(ShapecCli, WrongUsageExitsTwo) {
    ScratchDir dir;
    ASSERT_TRUE(dir.ok());
    std::string in = SamplePath("strokes.shp");
    std::string out = dir.File("X.SHX");
    EXPECT_EQ(RunVelko("shx").status, 2);
    EXPECT_EQ(RunVelko("shx build " + in + " " + out).status, 2);
    EXPECT_EQ(RunVelko("shx compile").status, 2);
    EXPECT_EQ(RunVelko("shx compile " + in).status, 2);
    EXPECT_EQ(RunVelko("shx compile " + in + " " + out + " extra").status, 2);
    EXPECT_EQ(RunVelko("shx compile " + in + " " + out + " --frob").status, 2);
    EXPECT_EQ(RunVelko("shx compile " + in + " " + out + " --bigfont").status, 2);
    EXPECT_EQ(RunVelko("shx compile " + in + " " + out + " --bigfont 09F-081").status, 2);
    EXPECT_EQ(RunVelko("shx compile " + in + " " + out + " --unifont --bigfont 081-09F").status, 2);
    EXPECT_EQ(RunVelko("shx --help").status, 0);
    EXPECT_EQ(RunVelko("shx compile --help").status, 0);
}

TEST(ShapecCli, UnreadableOrFaultySourceExitsOne) {
    ScratchDir dir;
    ASSERT_TRUE(dir.ok());
    std::string out = dir.File("X.SHX");
    EXPECT_EQ(RunVelko("shx compile " + dir.File("missing.shp") + " " + out).status, 1);
    std::string faulty = dir.Write("faulty.shp", "*65,4,A\n1,030,0\n");
    Outcome r = RunVelko("shx compile " + faulty + " " + out, true);
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.out.find("line 1: shape 65 (A) declares 4 bytes but lists 3"), std::string::npos)
        << r.out;
    EXPECT_TRUE(ReadBytes(out).empty());
    EXPECT_EQ(RunVelko("shx compile " + SamplePath("strokes.shp") + " " +
                       dir.File("no/such/folder/X.SHX"))
                  .status,
              1);
}
