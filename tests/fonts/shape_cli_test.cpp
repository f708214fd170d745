// velko shapes: the listing of a shape file, as a user runs it.
#include "support/run_command.h"
#include "fonts/shx_bytes.h"

#include <array>
#include <cstdio>
#include <gtest/gtest.h>
#include <string>
#include <sys/wait.h>

namespace {

using shx_test::ScratchDir;

using Outcome = velko_test::CommandOutcome;

Outcome RunShapesCli(const std::string &arguments) {
    return velko_test::RunVelko(arguments);
}

bool Has(const std::string &text, const std::string &part) {
    return text.find(part) != std::string::npos;
}

TEST(ShapeCli, ListsNumberNameLengthAndWidth) {
    ScratchDir dir("cli");
    std::string path = dir.Write("font.shx", shx_test::Shx({shx_test::FontInfo("MYFONT", 10),
                                                            {65, "CAPA", {0x40, 0x2C, 0}},
                                                            {300, "EXTRA", {3, 2, 0x10, 0}}}));
    Outcome text = RunShapesCli("shapes " + path);
    EXPECT_EQ(text.status, 0);
    EXPECT_TRUE(Has(text.out, "form: shapes 1.1")) << text.out;
    EXPECT_TRUE(Has(text.out, "above: 10")) << text.out;
    EXPECT_TRUE(Has(text.out, "shapes: 3")) << text.out;
    EXPECT_TRUE(Has(text.out, "      65  CAPA")) << text.out;

    Outcome json = RunShapesCli("shapes --json " + path);
    EXPECT_EQ(json.status, 0);
    EXPECT_EQ(json.out.front(), '{');
    EXPECT_TRUE(Has(json.out, "\"form\": \"shapes 1.1\"")) << json.out;
    EXPECT_TRUE(Has(json.out, "\"max_shape_id\": 255")) << json.out;
    EXPECT_TRUE(
        Has(json.out, "{\"number\": 0, \"name\": \"MYFONT\", \"length\": 11, \"width\": 0}"))
        << json.out;
    EXPECT_TRUE(Has(json.out, "{\"number\": 65, \"name\": \"CAPA\", \"length\": 8, \"width\": 4}"))
        << json.out;
    EXPECT_TRUE(
        Has(json.out, "{\"number\": 300, \"name\": \"EXTRA\", \"length\": 10, \"width\": 0.5}"))
        << json.out;
}

TEST(ShapeCli, UnifontHasNoWidthsAndBigFontListsItsShapes) {
    ScratchDir dir("cliuni");
    std::string uni = dir.Write("uni.shx", shx_test::Unifont({{66, "B", {0x40, 0}}}));
    Outcome o = RunShapesCli("shapes --json " + uni);
    EXPECT_EQ(o.status, 0);
    EXPECT_TRUE(Has(o.out, "\"form\": \"unifont\"")) << o.out;
    EXPECT_TRUE(Has(o.out, "{\"number\": 66, \"name\": \"B\", \"length\": 4}")) << o.out;

    std::string big =
        dir.Write("big.shx", shx_test::BigFontFile({{0x81, 0x9F}}, {{0x8140, "KAN", {0x40, 0}}}));
    o = RunShapesCli("shapes --json " + big);
    EXPECT_EQ(o.status, 0);
    EXPECT_TRUE(Has(o.out, "\"form\": \"bigfont\"")) << o.out;
    EXPECT_TRUE(Has(o.out, "{\"number\": 33088, \"name\": \"KAN\", \"length\": 6}")) << o.out;
}

TEST(ShapeCli, ExitCodes) {
    ScratchDir dir("clicodes");
    std::string bad = dir.Write("bad.shx", shx_test::Bytes{'n', 'o', 'p', 'e'});
    EXPECT_EQ(RunShapesCli("shapes " + bad).status, 1);
    EXPECT_EQ(RunShapesCli("shapes " + dir.File("missing.shx")).status, 1);
    EXPECT_EQ(RunShapesCli("shapes").status, 2);
    EXPECT_EQ(RunShapesCli("shapes --frob " + bad).status, 2);
    EXPECT_EQ(RunShapesCli("shapes a.shx b.shx").status, 2);
    EXPECT_EQ(RunShapesCli("shapes --help").status, 0);
}

} // namespace
