// velko glyph, run as a user runs it, on a font written by hand.
#include "support/run_command.h"
#include "fonts/ttf_bytes.h"
#include "interface/test_files.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <string>
#include <sys/wait.h>

namespace {

using namespace velko_test;

using Result = CommandOutcome;
Result Velko(const std::string &arguments, bool with_stderr = false) {
    return RunVelko(arguments, with_stderr);
}

std::vector<uint8_t> CliFont(bool format0 = false) {
    ttf::Font f;
    ttf::Glyph missing, space, a, mark, composite;
    missing.contours = {ttf::Square(0, 0, 500)};
    space.advance = 318;
    a.contours = {{{10, 0, true}, {300, 700, false}, {600, 0, true}}};
    a.advance = 684;
    a.lsb = 10;
    mark.contours = {{{100, 800, true}, {200, 900, true}, {300, 800, true}}};
    ttf::Component base;
    base.glyph = 2;
    ttf::Component accent;
    accent.glyph = 3;
    accent.argument_1 = 40;
    accent.argument_2 = -20;
    accent.transform = {8192};
    composite.components = {base, accent};
    f.glyphs = {missing, space, a, mark, composite};
    f.cmap = {{' ', 1}, {'A', 2}, {0xC4, 4}};
    f.format0 = format0;
    f.format4 = !format0;
    return ttf::Build(f);
}

} // namespace

TEST(TrueTypeCli, GlyphPrintsRecordsContoursPointsAndAdvance) {
    TempFile font("cli.ttf", CliFont());
    Result r = Velko("glyph " + font.path() + " A");
    EXPECT_EQ(r.status, 0);
    EXPECT_NE(r.out.find("char: 65 (U+0041)"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("advance: 684"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("left bearing: 10"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("records: 1"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("  contours: 1\n  end points: 2\n  points: 3\n"
                         "    0: 10, 0 on\n    1: 300, 700 off\n    2: 600, 0 on\n"),
              std::string::npos)
        << r.out;
}

TEST(TrueTypeCli, GlyphOfACompositeAsJson) {
    TempFile font("cli_json.ttf", CliFont());
    Result r = Velko("glyph --json " + font.path() + " U+00C4");
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out.front(), '{');
    EXPECT_NE(r.out.find("\"code\": 196, \"advance\": 684, \"left_bearing\": 10"),
              std::string::npos)
        << r.out;
    EXPECT_NE(r.out.find("{\"transform_kind\": 1, \"transform\": [0.5], \"arguments\": [40, "
                         "-20], \"contours\": 1, \"end_points\": [2], \"points\": [[100, 800, "
                         "true], [200, 900, true], [300, 800, true]]}"),
              std::string::npos)
        << r.out;
    EXPECT_NE(r.out.find("{\"transform_kind\": 0, \"transform\": [], \"arguments\": [0, 0]"),
              std::string::npos)
        << r.out;
}

TEST(TrueTypeCli, GlyphTakesACharacterADecimalNumberOrACodePoint) {
    TempFile font("cli_codes.ttf", CliFont());
    Result by_char = Velko("glyph " + font.path() + " A");
    EXPECT_EQ(Velko("glyph " + font.path() + " 65").out, by_char.out);
    EXPECT_EQ(Velko("glyph " + font.path() + " u+41").out, by_char.out);
    Result space = Velko("glyph " + font.path() + " ' '");
    EXPECT_EQ(space.status, 0);
    EXPECT_NE(space.out.find("advance: 318\nleft bearing: 0\nrecords: 1"), std::string::npos)
        << space.out;
    EXPECT_NE(space.out.find("contours: 0"), std::string::npos) << space.out;
    Result utf8 = Velko("glyph " + font.path() + " \xC3\x84");
    EXPECT_EQ(utf8.status, 0);
    EXPECT_NE(utf8.out.find("char: 196 (U+00C4)\n"), std::string::npos) << utf8.out;
    EXPECT_NE(utf8.out.find("records: 2"), std::string::npos) << utf8.out;
    // A single digit is the character itself.
    EXPECT_NE(Velko("glyph " + font.path() + " 7").out.find("char: 55 (U+0037)"),
              std::string::npos);
}

TEST(TrueTypeCli, GlyphRefusals) {
    TempFile font("cli_refuse.ttf", CliFont(true));
    TempFile junk("cli_junk.ttf", std::string(200, 'x'));
    EXPECT_EQ(Velko("glyph " + junk.path() + " A").status, 1);
    Result far = Velko("glyph " + font.path() + " 300", true);
    EXPECT_EQ(far.status, 1);
    EXPECT_NE(far.out.find("character 300"), std::string::npos) << far.out;
    EXPECT_EQ(Velko("glyph " + font.path() + " 65").status, 0);
    EXPECT_EQ(Velko("glyph " + font.path()).status, 2);
    EXPECT_EQ(Velko("glyph " + font.path() + " U+10000").status, 2);
    EXPECT_EQ(Velko("glyph " + font.path() + " 70000").status, 2);
    EXPECT_EQ(Velko("glyph " + font.path() + " AB").status, 2);
    EXPECT_EQ(Velko("glyph " + font.path() + " A B").status, 2);
    Result help = Velko("glyph --help");
    EXPECT_EQ(help.status, 0);
    EXPECT_NE(help.out.find("velko glyph FONT.TTF CHAR"), std::string::npos) << help.out;
}
