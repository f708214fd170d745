// The TrueType glyph interface on small fonts written by hand.
#include "fonts/ttf_bytes.h"
#include "interface/test_files.h"

#include "fonts/truetype_font.h"
#include "velkow32.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

namespace {

using namespace velko_test;
using velko_test::ttf::Component;
using velko_test::ttf::Font;
using velko_test::ttf::Glyph;
using velko_test::ttf::Point;
using velko_test::ttf::Square;

// A font file on disk, opened through InitFont and closed again.
class OpenedFont {
public:
    OpenedFont(const std::string &name, const std::vector<uint8_t> &bytes)
        : file_(name, bytes), handle_(InitFont(0, file_.c_str())) {}
    ~OpenedFont() {
        if (handle_ >= 0)
            ExitFont(0, handle_);
    }
    OpenedFont(const OpenedFont &) = delete;
    OpenedFont &operator=(const OpenedFont &) = delete;
    int16_t h() const { return handle_; }
    const std::string &path() const { return file_.path(); }

private:
    TempFile file_;
    int16_t handle_;
};

struct Outline {
    int16_t contours = 0;
    std::vector<int> end_points;
    std::vector<FNT_POINT> points;
};

// Walks the current record by its counts.
Outline WalkRecord(int16_t h) {
    Outline o;
    o.contours = GetContourCount(0, h);
    for (int i = 0; i < o.contours; ++i)
        o.end_points.push_back(
            static_cast<uint16_t>(i ? GetNextEndPoint(0, h) : GetFirstEndPoint(0, h)));
    int16_t points = GetPointCount(0, h);
    for (int i = 0; i < points; ++i) {
        FNT_POINT p = {};
        EXPECT_EQ(i ? GetNextPoint(0, h, &p) : GetFirstPoint(0, h, &p), 0);
        o.points.push_back(p);
    }
    return o;
}

void ExpectPoints(const Outline &o, const std::vector<Point> &want) {
    ASSERT_EQ(o.points.size(), want.size());
    for (size_t i = 0; i < want.size(); ++i) {
        EXPECT_EQ(o.points[i].x, want[i].x) << "point " << i;
        EXPECT_EQ(o.points[i].y, want[i].y) << "point " << i;
        EXPECT_EQ(o.points[i].on_curve, want[i].on ? 1 : 0) << "point " << i;
    }
}

// Glyph 0 the missing-character box, 1 the space, 2 a square "A", 3 a glyph with every
// coordinate form, and `extra` more squares.
Font SmallFont(int extra = 0) {
    Font f;
    Glyph missing;
    missing.contours = {Square(50, 0, 400), Square(100, 50, 300)};
    missing.advance = 500;
    missing.lsb = 50;
    Glyph space;
    space.advance = 318;
    space.lsb = 0;
    Glyph a;
    a.contours = {Square(10, 0, 600)};
    a.advance = 684;
    a.lsb = 10;
    Glyph mixed;
    // Long deltas, byte deltas of both signs, unchanged coordinates, off-curve points,
    // a run of equal flags, and instructions to skip.
    mixed.contours = {{{0, 0, true},
                       {1000, 0, true},
                       {1000, -700, false},
                       {800, -700, false},
                       {600, -700, false},
                       {600, -600, true}},
                      {{-300, 20, true}, {-301, 21, false}, {-302, 22, false}}};
    mixed.instructions = {0xB0, 0x01, 0x2F};
    mixed.advance = 1100;
    mixed.lsb = -302;
    f.glyphs = {missing, space, a, mixed};
    for (int i = 0; i < extra; ++i) {
        Glyph g;
        g.contours = {Square(i % 100, 0, 100 + i % 50)};
        g.advance = static_cast<uint16_t>(200 + i);
        f.glyphs.push_back(g);
    }
    f.cmap = {{32, 1}, {65, 2}, {66, 3}};
    return f;
}

} // namespace

TEST(TrueTypeFont, SpaceGivesOneRecordWithoutContoursAndItsAdvance) {
    OpenedFont font("space.ttf", ttf::Build(SmallFont()));
    ASSERT_GE(font.h(), 0);
    EXPECT_EQ(SetCurrentChar(0, font.h(), ' '), 1);
    EXPECT_EQ(SetGlyf(0, font.h(), 1), 0);
    EXPECT_EQ(GetContourCount(0, font.h()), 0);
    EXPECT_EQ(GetPointCount(0, font.h()), 0);
    uint16_t advance = 0;
    int16_t bearing = 99;
    EXPECT_EQ(GetWidth(0, font.h(), &advance, &bearing), 0);
    EXPECT_EQ(advance, 318);
    EXPECT_EQ(bearing, 0);
}

TEST(TrueTypeGlyph, SimpleGlyphInBothLocaForms) {
    for (bool long_loca : {false, true}) {
        SCOPED_TRACE(long_loca ? "long loca" : "short loca");
        Font f = SmallFont();
        f.long_loca = long_loca;
        OpenedFont font("simple.ttf", ttf::Build(f));
        ASSERT_GE(font.h(), 0);

        ASSERT_EQ(SetCurrentChar(0, font.h(), 'A'), 1);
        ASSERT_EQ(SetGlyf(0, font.h(), 1), 0);
        Outline a = WalkRecord(font.h());
        EXPECT_EQ(a.contours, 1);
        EXPECT_EQ(a.end_points, std::vector<int>({3}));
        ExpectPoints(a, Square(10, 0, 600));
        uint16_t advance = 0;
        int16_t bearing = 0;
        EXPECT_EQ(GetWidth(0, font.h(), &advance, &bearing), 0);
        EXPECT_EQ(advance, 684);
        EXPECT_EQ(bearing, 10);

        ASSERT_EQ(SetCurrentChar(0, font.h(), 'B'), 1);
        ASSERT_EQ(SetGlyf(0, font.h(), 1), 0);
        Outline b = WalkRecord(font.h());
        EXPECT_EQ(b.contours, 2);
        EXPECT_EQ(b.end_points, std::vector<int>({5, 8}));
        std::vector<Point> want = f.glyphs[3].contours[0];
        want.insert(want.end(), f.glyphs[3].contours[1].begin(), f.glyphs[3].contours[1].end());
        ExpectPoints(b, want);
        EXPECT_EQ(GetWidth(0, font.h(), &advance, &bearing), 0);
        EXPECT_EQ(advance, 1100);
        EXPECT_EQ(bearing, -302);
    }
}

TEST(TrueTypeFont, UnmappedCodeGivesTheMissingCharacterGlyph) {
    for (bool format0 : {false, true}) {
        SCOPED_TRACE(format0 ? "format 0" : "format 4");
        Font f = SmallFont();
        f.format0 = format0;
        f.format4 = !format0;
        OpenedFont font("unmapped.ttf", ttf::Build(f));
        ASSERT_GE(font.h(), 0);
        uint16_t id = 99;
        ASSERT_EQ(SetCurrentChar(0, font.h(), 'z'), 1);
        ASSERT_EQ(SetGlyf(0, font.h(), 1), 0);
        Outline o = WalkRecord(font.h());
        EXPECT_EQ(o.contours, 2);
        EXPECT_EQ(o.end_points, std::vector<int>({3, 7}));
        uint16_t advance = 0;
        EXPECT_EQ(GetWidth(0, font.h(), &advance, nullptr), 0);
        EXPECT_EQ(advance, 500);

        CTrueTypeFont direct;
        ASSERT_EQ(direct.Open(font.path().c_str()), 1);
        EXPECT_TRUE(direct.MapCode('z', &id));
        EXPECT_EQ(id, 0);
        // Codes above the last segment, between segments, and the 0xFFFF end segment.
        for (uint16_t code : {uint16_t(0x7F), uint16_t(0x1234), uint16_t(0xFFFF)}) {
            EXPECT_TRUE(direct.MapCode(code, &id) || code > 255);
            EXPECT_EQ(id, 0) << code;
        }
        ASSERT_EQ(direct.SetCurrentChar('z'), 1);
        EXPECT_EQ(direct.Records()[0].glyph_id, 0);
    }
}

TEST(TrueTypeFont, Format0FontRefusesCode300) {
    Font f = SmallFont();
    f.format0 = true;
    f.format4 = false;
    OpenedFont font("format0.ttf", ttf::Build(f));
    ASSERT_GE(font.h(), 0);
    EXPECT_EQ(SetCurrentChar(0, font.h(), 300), -123);
    EXPECT_EQ(SetCurrentChar(0, font.h(), 256), -123);
    EXPECT_EQ(SetCurrentChar(0, font.h(), 255), 1); // unmapped: glyph 0
    EXPECT_EQ(SetCurrentChar(0, font.h(), 'A'), 1);
    ASSERT_EQ(SetGlyf(0, font.h(), 1), 0);
    ExpectPoints(WalkRecord(font.h()), Square(10, 0, 600));
}

TEST(TrueTypeFont, BothFormatsWithMoreThan256GlyphsUseFormat4) {
    Font f = SmallFont(300);
    f.format0 = true;
    f.format4 = true;
    f.format0_map = {{65, 3}}; // format 0 would give the glyph of 'B'
    f.cmap[300] = 10;
    for (bool format4_first : {true, false}) {
        f.format4_first = format4_first;
        OpenedFont font("both.ttf", ttf::Build(f));
        ASSERT_GE(font.h(), 0);
        CTrueTypeFont direct;
        ASSERT_EQ(direct.Open(font.path().c_str()), 1);
        EXPECT_TRUE(direct.HasFormat0());
        EXPECT_TRUE(direct.HasFormat4());
        EXPECT_EQ(direct.Maxp().num_glyphs, 304);
        ASSERT_EQ(SetCurrentChar(0, font.h(), 'A'), 1);
        ASSERT_EQ(SetGlyf(0, font.h(), 1), 0);
        ExpectPoints(WalkRecord(font.h()), Square(10, 0, 600));
        // A code above 255 works through format 4.
        ASSERT_EQ(SetCurrentChar(0, font.h(), 300), 1);
        uint16_t advance = 0;
        EXPECT_EQ(GetWidth(0, font.h(), &advance, nullptr), 0);
        EXPECT_EQ(advance, 200 + 10 - 4);
    }
}

TEST(TrueTypeFont, BothFormatsWithAtMost256GlyphsUseFormat0) {
    Font f = SmallFont(252); // 256 glyphs
    f.format0 = true;
    f.format4 = true;
    f.format0_map = {{65, 3}};
    OpenedFont font("both256.ttf", ttf::Build(f));
    ASSERT_GE(font.h(), 0);
    ASSERT_EQ(SetCurrentChar(0, font.h(), 'A'), 1);
    ASSERT_EQ(SetGlyf(0, font.h(), 1), 0);
    EXPECT_EQ(GetContourCount(0, font.h()), 2); // the glyph of 'B', through format 0
    EXPECT_EQ(SetCurrentChar(0, font.h(), 300), -123);
}

TEST(TrueTypeFont, Format4RangeOffsetIndexesTheGlyphIdArrayAndAddsTheDelta) {
    Font f = SmallFont(20);
    // Codes 0x100 to 0x104 map to ids out of order: a segment through the glyph id array.
    f.cmap = {{0x100, 9}, {0x101, 4}, {0x102, 0}, {0x103, 20}, {0x104, 6}, {'A', 2}};
    for (int16_t delta : {int16_t(0), int16_t(3), int16_t(-2)}) {
        SCOPED_TRACE(delta);
        f.range_delta = delta;
        TempFile file("ranges.ttf", ttf::Build(f));
        CTrueTypeFont font;
        ASSERT_EQ(font.Open(file.c_str()), 1);
        ASSERT_TRUE(font.HasFormat4());
        EXPECT_EQ(font.Format4().glyph_id_array.size(), 5u);
        for (auto m : f.cmap) {
            uint16_t id = 0xEEEE;
            EXPECT_TRUE(font.MapCode(static_cast<uint16_t>(m.first), &id));
            // A zero word stays glyph 0 whatever the delta.
            uint16_t want = m.second;
            if (m.second == 0 || static_cast<uint16_t>(m.second - delta) == 0)
                want = 0;
            EXPECT_EQ(id, want) << m.first;
        }
    }
}

TEST(TrueTypeFont, Format4SegmentWhoseStartIsAboveTheCodeGivesGlyphZero) {
    Font f = SmallFont();
    f.cmap = {{'A', 2}, {'B', 3}, {0x2000, 1}};
    TempFile file("gap.ttf", ttf::Build(f));
    CTrueTypeFont font;
    ASSERT_EQ(font.Open(file.c_str()), 1);
    uint16_t id = 7;
    EXPECT_TRUE(font.MapCode('C', &id)); // end 0x2000 is above, start 0x2000 too
    EXPECT_EQ(id, 0);
    EXPECT_TRUE(font.MapCode('@', &id));
    EXPECT_EQ(id, 0);
    EXPECT_TRUE(font.MapCode(0x2000, &id));
    EXPECT_EQ(id, 1);
    EXPECT_TRUE(font.MapCode('B', &id));
    EXPECT_EQ(id, 3);
}

TEST(TrueTypeFont, Format4GlyphIdArrayLengthComesFromTheSubtableLength) {
    Font f = SmallFont(20);
    f.cmap = {{0x100, 9}, {0x101, 4}, {0x102, 7}, {'A', 2}};
    std::vector<uint8_t> bytes = ttf::Build(f);
    uint32_t cmap = 0, length = 0;
    ASSERT_TRUE(ttf::FindTable(bytes, "cmap", &cmap, &length));
    uint32_t sub = cmap + ttf::GetU32(bytes, cmap + 8);
    ASSERT_EQ(ttf::GetU16(bytes, sub), 4);
    // Three segments: (16 + 3 x 8) + 3 ids = 46 bytes. Claim one id less.
    ASSERT_EQ(ttf::GetU16(bytes, sub + 2), 46);
    ttf::SetU16(bytes, sub + 2, 44);
    TempFile file("length.ttf", bytes);
    CTrueTypeFont font;
    ASSERT_EQ(font.Open(file.c_str()), 1);
    EXPECT_EQ(font.Format4().glyph_id_array.size(), 2u);
    uint16_t id = 0;
    EXPECT_TRUE(font.MapCode(0x101, &id));
    EXPECT_EQ(id, 4);
    EXPECT_TRUE(font.MapCode(0x102, &id)); // its word is no longer in the array
    EXPECT_EQ(id, 0);
    // A length below the fixed part gives no ids at all.
    ttf::SetU16(bytes, sub + 2, 10);
    TempFile file2("length2.ttf", bytes);
    CTrueTypeFont font2;
    ASSERT_EQ(font2.Open(file2.c_str()), 1);
    EXPECT_TRUE(font2.Format4().glyph_id_array.empty());
}

TEST(TrueTypeFont, FirstFormat4SubtableIsTaken) {
    Font f = SmallFont();
    std::vector<uint8_t> bytes = ttf::Build(f);
    uint32_t cmap = 0, length = 0;
    ASSERT_TRUE(ttf::FindTable(bytes, "cmap", &cmap, &length));
    // A second format 4 subtable that maps 'A' to glyph 3, appended; its encoding record
    // replaces nothing, so build a cmap of two records by hand.
    Font other = SmallFont();
    other.cmap = {{'A', 3}};
    std::vector<uint8_t> second = ttf::Format4Bytes(other.cmap, 0);
    std::vector<uint8_t> first = ttf::Format4Bytes(f.cmap, 0);
    std::vector<uint8_t> table;
    ttf::PutU16(table, 0);
    ttf::PutU16(table, 2);
    ttf::PutU16(table, 0);
    ttf::PutU16(table, 3);
    ttf::PutU32(table, 20);
    ttf::PutU16(table, 3);
    ttf::PutU16(table, 1);
    ttf::PutU32(table, 20 + static_cast<uint32_t>(first.size()));
    table.insert(table.end(), first.begin(), first.end());
    table.insert(table.end(), second.begin(), second.end());
    // Put the new cmap at the end of the file and point the directory at it.
    uint32_t at = static_cast<uint32_t>(bytes.size());
    bytes.insert(bytes.end(), table.begin(), table.end());
    int count = ttf::GetU16(bytes, 4);
    for (int i = 0; i < count; ++i)
        if (std::memcmp(&bytes[12 + 16 * i], "cmap", 4) == 0)
            ttf::SetU32(bytes, 12 + 16 * i + 8, at);
    TempFile file("twoformat4.ttf", bytes);
    CTrueTypeFont font;
    ASSERT_EQ(font.Open(file.c_str()), 1);
    EXPECT_EQ(font.Encodings().size(), 2u);
    uint16_t id = 0;
    EXPECT_TRUE(font.MapCode('A', &id));
    EXPECT_EQ(id, 2);
}

TEST(TrueTypeFont, AdvanceBeyondNumberOfHMetricsStaysZero) {
    Font f = SmallFont();
    f.number_of_h_metrics = 2;
    TempFile file("hmtx.ttf", ttf::Build(f));
    CTrueTypeFont font;
    ASSERT_EQ(font.Open(file.c_str()), 1);
    ASSERT_EQ(font.HorizontalMetrics().size(), 4u);
    EXPECT_EQ(font.HorizontalMetrics()[1].advance_width, 318);
    EXPECT_EQ(font.HorizontalMetrics()[2].advance_width, 0);
    EXPECT_EQ(font.HorizontalMetrics()[2].left_side_bearing, 10);
    EXPECT_EQ(font.HorizontalMetrics()[3].left_side_bearing, -302);
    ASSERT_EQ(font.SetCurrentChar('A'), 1);
    uint16_t advance = 9;
    int16_t bearing = 0;
    EXPECT_EQ(font.GetWidth(&advance, &bearing), 0);
    EXPECT_EQ(advance, 0);
    EXPECT_EQ(bearing, 10);
}

TEST(TrueTypeFont, TablesAreReadAsTheyStand) {
    Font f = SmallFont();
    f.extra_tables = {{"OS/2", std::vector<uint8_t>(96, 7)}, {"name", {0, 0, 0, 0}}};
    TempFile file("tables.ttf", ttf::Build(f));
    CTrueTypeFont font;
    ASSERT_EQ(font.Open(file.c_str()), 1);
    EXPECT_EQ(font.OffsetTable().scaler_type, 0x00010000u);
    EXPECT_EQ(font.OffsetTable().table_count, 9);
    EXPECT_EQ(font.Directory().size(), 9u);
    EXPECT_EQ(font.Head().magic_number, 0x5F0F3CF5u);
    EXPECT_EQ(font.Head().units_per_em, 1000);
    EXPECT_EQ(font.Head().y_min, -200);
    EXPECT_EQ(font.Head().index_to_loc_format, 0);
    EXPECT_EQ(font.Hhea().ascent, 800);
    EXPECT_EQ(font.Hhea().advance_width_max, 1100);
    EXPECT_EQ(font.Hhea().number_of_h_metrics, 4);
    EXPECT_EQ(font.Maxp().num_glyphs, 4);
    EXPECT_EQ(font.Maxp().max_zones, 2);
    EXPECT_EQ(font.CmapHeader().encoding_count, 1);
    EXPECT_EQ(font.Encodings()[0].platform_id, 3);
    ASSERT_EQ(font.GlyphOffsets().size(), 5u);
    EXPECT_EQ(font.GlyphOffsets()[1], font.GlyphOffsets()[2]); // the empty space
    uint32_t glyf = 0, length = 0;
    std::vector<uint8_t> bytes = ttf::Build(f);
    ASSERT_TRUE(ttf::FindTable(bytes, "glyf", &glyf, &length));
    EXPECT_EQ(font.TableOffset("glyf"), glyf);
    EXPECT_EQ(font.GlyphOffsets()[4], length);
}

TEST(TrueTypeGlyph, CompositeOfTwoComponentsGivesTwoRecords) {
    struct Case {
        std::vector<int16_t> transform;
        int16_t kind;
    };
    for (const Case &c :
         {Case{{8192}, 1}, Case{{16384, -8192}, 2}, Case{{16384, 4096, -4096, 8192}, 3}}) {
        SCOPED_TRACE(c.kind);
        Font f = SmallFont();
        Glyph composite;
        Component first;
        first.glyph = 2;
        first.argument_1 = 300;
        first.argument_2 = -5;
        first.transform = c.transform;
        first.flags = 0x0002 | 0x0200;
        Component second;
        second.glyph = 3;
        second.argument_1 = 12;
        second.argument_2 = -100;
        composite.components = {first, second};
        composite.instructions = {0x01, 0x02};
        composite.advance = 999;
        f.glyphs.push_back(composite);
        f.cmap[0xC4] = 4;
        OpenedFont font("composite.ttf", ttf::Build(f));
        ASSERT_GE(font.h(), 0);
        ASSERT_EQ(SetCurrentChar(0, font.h(), 0xC4), 2);

        ASSERT_EQ(SetGlyf(0, font.h(), 1), 0);
        user_compGlyfData data;
        std::memset(&data, 0, sizeof data);
        data.transform_kind = -1;
        EXPECT_EQ(GetGlyfData(0, font.h(), &data), 0);
        EXPECT_EQ(data.transform_kind, c.kind);
        EXPECT_EQ(data.argument_1, 300);
        EXPECT_EQ(data.argument_2, -5);
        if (c.kind == 1) {
            EXPECT_DOUBLE_EQ(data.scale, 0.5);
        } else if (c.kind == 2) {
            EXPECT_DOUBLE_EQ(data.x_scale, 1.0);
            EXPECT_DOUBLE_EQ(data.y_scale, -0.5);
            EXPECT_DOUBLE_EQ(data.scale, 0.0);
        } else {
            EXPECT_DOUBLE_EQ(data.x_scale, 1.0);
            EXPECT_DOUBLE_EQ(data.scale_01, 0.25);
            EXPECT_DOUBLE_EQ(data.scale_10, -0.25);
            EXPECT_DOUBLE_EQ(data.y_scale, 0.5);
        }
        // The component's own outline, untransformed.
        Outline one = WalkRecord(font.h());
        EXPECT_EQ(one.contours, 1);
        ExpectPoints(one, Square(10, 0, 600));

        ASSERT_EQ(SetGlyf(0, font.h(), 2), 0);
        user_compGlyfData second_data;
        std::memset(&second_data, 0, sizeof second_data);
        second_data.transform_kind = 42;
        EXPECT_EQ(GetGlyfData(0, font.h(), &second_data), 0);
        EXPECT_EQ(second_data.transform_kind, 42); // no transform: untouched
        EXPECT_EQ(second_data.argument_1, 12);
        EXPECT_EQ(second_data.argument_2, -100);
        EXPECT_EQ(WalkRecord(font.h()).end_points, std::vector<int>({5, 8}));

        // The width is that of record 0's glyph, the first component.
        uint16_t advance = 0;
        EXPECT_EQ(GetWidth(0, font.h(), &advance, nullptr), 0);
        EXPECT_EQ(advance, 684);
    }
}

TEST(TrueTypeGlyph, ByteArgumentsAreSignedOffsetsOrUnsignedPointNumbers) {
    Font f = SmallFont();
    Glyph composite;
    Component offsets;
    offsets.glyph = 2;
    offsets.argument_1 = -128;
    offsets.argument_2 = 127;
    Component points;
    points.glyph = 2;
    points.flags = 0; // point numbers
    points.argument_1 = 200;
    points.argument_2 = 3;
    Component words;
    words.glyph = 2;
    words.flags = 0;
    words.force_words = true;
    words.argument_1 = 1;
    words.argument_2 = 2;
    composite.components = {offsets, points, words};
    f.glyphs.push_back(composite);
    f.cmap['C'] = 4;
    TempFile file("args.ttf", ttf::Build(f));
    CTrueTypeFont font;
    ASSERT_EQ(font.Open(file.c_str()), 1);
    ASSERT_EQ(font.SetCurrentChar('C'), 3);
    const std::vector<TtfGlyphRecord> &r = font.Records();
    EXPECT_EQ(r[0].argument_1, -128);
    EXPECT_EQ(r[0].argument_2, 127);
    EXPECT_EQ(r[1].argument_1, 200);
    EXPECT_EQ(r[1].argument_2, 3);
    EXPECT_EQ(r[2].component_flags & 0x0001, 0x0001);
    EXPECT_EQ(r[2].argument_1, 1);
    EXPECT_EQ(r[2].argument_2, 2);
    EXPECT_EQ(r[0].glyph_id, 2);
    EXPECT_EQ(r[0].component_flags & 0x0020, 0x0020);
    EXPECT_EQ(r[2].component_flags & 0x0020, 0);
}

TEST(TrueTypeGlyph, ComponentsThatReferBackEnd) {
    Font f = SmallFont();
    // Glyph 4 names itself; glyph 5 names glyph 6, which names glyph 5.
    Glyph self;
    Component c;
    c.glyph = 4;
    self.components = {c, c};
    Glyph five, six;
    c.glyph = 6;
    five.components = {c};
    c.glyph = 5;
    six.components = {c};
    f.glyphs.push_back(self);
    f.glyphs.push_back(five);
    f.glyphs.push_back(six);
    f.cmap['S'] = 4;
    f.cmap['T'] = 5;
    OpenedFont font("loops.ttf", ttf::Build(f));
    ASSERT_GE(font.h(), 0);
    // A component that is itself composite gives a record without an outline.
    ASSERT_EQ(SetCurrentChar(0, font.h(), 'S'), 2);
    for (int16_t n : {1, 2}) {
        ASSERT_EQ(SetGlyf(0, font.h(), n), 0);
        EXPECT_EQ(GetContourCount(0, font.h()), 0);
        EXPECT_EQ(GetPointCount(0, font.h()), 0);
    }
    ASSERT_EQ(SetCurrentChar(0, font.h(), 'T'), 1);
    EXPECT_EQ(GetContourCount(0, font.h()), 0);
}

TEST(TrueTypeGlyph, EndlessComponentListEndsAtTheFileEnd) {
    Font f = SmallFont();
    // Every component says that more follow, up to the end of the file.
    Glyph endless;
    for (int i = 0; i < 5; ++i)
        ttf::PutU16(endless.raw, i == 0 ? 0xFFFF : 0);
    for (int i = 0; i < 2000; ++i) {
        ttf::PutU16(endless.raw, 0x0022);
        ttf::PutU16(endless.raw, 2);
        ttf::PutU8(endless.raw, 0);
        ttf::PutU8(endless.raw, 0);
    }
    f.glyphs.push_back(endless);
    f.cmap['E'] = 4;
    std::vector<uint8_t> bytes = ttf::Build(f);
    // glyf is the second table; cut the file in the middle of it, after the glyph's start.
    uint32_t glyf = 0, length = 0;
    ASSERT_TRUE(ttf::FindTable(bytes, "glyf", &glyf, &length));
    TempFile file("endless.ttf", bytes);
    CTrueTypeFont font;
    ASSERT_EQ(font.Open(file.c_str()), 1);
    uint32_t start = font.GlyphOffsets()[4];
    // The glyf table is followed by others, so the components run on into them: each
    // reading of a record is bounded, and the whole ends failed or with many records.
    int16_t result = font.SetCurrentChar('E');
    EXPECT_TRUE(result == -123 || result > 2000) << result;
    bytes.resize(glyf + start + 10 + 6 * 50 + 3);
    TempFile cut("endless_cut.ttf", bytes);
    CTrueTypeFont font2;
    // The cut file lost its later tables: the open already fails or the glyph does.
    if (font2.Open(cut.c_str())) {
        EXPECT_EQ(font2.SetCurrentChar('E'), -123);
    }
}

TEST(TrueTypeGlyph, TruncatedGlyphFailsTheCharacter) {
    Font f = SmallFont();
    std::vector<uint8_t> bytes = ttf::Build(f);
    uint32_t glyf = 0, length = 0;
    ASSERT_TRUE(ttf::FindTable(bytes, "glyf", &glyf, &length));
    // Move glyf to the end of the file and cut its last glyph short.
    std::vector<uint8_t> table(bytes.begin() + glyf, bytes.begin() + glyf + length);
    uint32_t at = static_cast<uint32_t>(bytes.size());
    bytes.insert(bytes.end(), table.begin(), table.end() - 6);
    int count = ttf::GetU16(bytes, 4);
    for (int i = 0; i < count; ++i)
        if (std::memcmp(&bytes[12 + 16 * i], "glyf", 4) == 0)
            ttf::SetU32(bytes, 12 + 16 * i + 8, at);
    OpenedFont font("truncated.ttf", bytes);
    ASSERT_GE(font.h(), 0);
    EXPECT_EQ(SetCurrentChar(0, font.h(), 'B'), -123);
    EXPECT_EQ(GetContourCount(0, font.h()), -123);
    EXPECT_EQ(SetGlyf(0, font.h(), 1), -123);
    EXPECT_EQ(SetCurrentChar(0, font.h(), 'A'), 1); // earlier glyphs are whole
}

TEST(TrueTypeGlyph, WalksRewindAndStayAtTheLastPosition) {
    OpenedFont font("walks.ttf", ttf::Build(SmallFont()));
    ASSERT_GE(font.h(), 0);
    ASSERT_EQ(SetCurrentChar(0, font.h(), 'B'), 1);
    ASSERT_EQ(SetGlyf(0, font.h(), 1), 0);
    EXPECT_EQ(GetFirstEndPoint(0, font.h()), 5);
    EXPECT_EQ(GetNextEndPoint(0, font.h()), 8);
    EXPECT_EQ(GetNextEndPoint(0, font.h()), 8);
    EXPECT_EQ(GetNextEndPoint(0, font.h()), 8);
    EXPECT_EQ(GetFirstEndPoint(0, font.h()), 5);
    FNT_POINT p = {};
    EXPECT_EQ(GetFirstPoint(0, font.h(), &p), 0);
    EXPECT_EQ(p.x, 0);
    for (int i = 1; i < 9; ++i)
        EXPECT_EQ(GetNextPoint(0, font.h(), &p), 0);
    EXPECT_EQ(p.x, -302);
    EXPECT_EQ(p.y, 22);
    EXPECT_EQ(GetNextPoint(0, font.h(), &p), 0);
    EXPECT_EQ(p.x, -302);
    EXPECT_EQ(p.on_curve, 0);
    EXPECT_EQ(GetFirstPoint(0, font.h(), &p), 0);
    EXPECT_EQ(p.x, 0);
    EXPECT_EQ(p.on_curve, 1);
    // Selecting a new character starts its records' walks afresh.
    ASSERT_EQ(SetCurrentChar(0, font.h(), 'B'), 1);
    ASSERT_EQ(SetGlyf(0, font.h(), 1), 0);
    EXPECT_EQ(GetNextEndPoint(0, font.h()), 5);
}

TEST(TrueTypeGlyph, CallsWithoutARecordFail) {
    OpenedFont font("norecord.ttf", ttf::Build(SmallFont()));
    ASSERT_GE(font.h(), 0);
    FNT_POINT p = {};
    user_compGlyfData data = {};
    uint16_t advance = 1;
    EXPECT_EQ(GetWidth(0, font.h(), &advance, nullptr), -123);
    EXPECT_EQ(advance, 0);
    EXPECT_EQ(SetGlyf(0, font.h(), 1), -123);
    EXPECT_EQ(GetGlyfData(0, font.h(), &data), -123);
    EXPECT_EQ(GetContourCount(0, font.h()), -123);
    EXPECT_EQ(GetPointCount(0, font.h()), -123);
    EXPECT_EQ(GetFirstEndPoint(0, font.h()), -123);
    EXPECT_EQ(GetFirstPoint(0, font.h(), &p), -123);
    // A record without contours has nothing to walk.
    ASSERT_EQ(SetCurrentChar(0, font.h(), ' '), 1);
    EXPECT_EQ(GetFirstEndPoint(0, font.h()), -123);
    EXPECT_EQ(GetNextPoint(0, font.h(), &p), -123);
    // Record numbers count from 1 up to the result.
    EXPECT_EQ(SetGlyf(0, font.h(), 0), -123);
    EXPECT_EQ(SetGlyf(0, font.h(), 2), -123);
    EXPECT_EQ(SetGlyf(0, font.h(), -1), -123);
    EXPECT_EQ(SetGlyf(0, font.h(), 1), 0);
    EXPECT_EQ(GetGlyfData(0, font.h(), nullptr), -123);
    EXPECT_EQ(GetFirstPoint(0, font.h(), nullptr), -123);
}

TEST(TrueTypeFont, SimpleGlyphDataLeavesTheTransformKindAlone) {
    OpenedFont font("simpledata.ttf", ttf::Build(SmallFont()));
    ASSERT_GE(font.h(), 0);
    ASSERT_EQ(SetCurrentChar(0, font.h(), 'A'), 1);
    ASSERT_EQ(SetGlyf(0, font.h(), 1), 0);
    user_compGlyfData data;
    std::memset(&data, 0x55, sizeof data);
    data.transform_kind = 7;
    EXPECT_EQ(GetGlyfData(0, font.h(), &data), 0);
    EXPECT_EQ(data.transform_kind, 7);
    EXPECT_EQ(data.argument_1, 0);
    EXPECT_EQ(data.argument_2, 0);
    EXPECT_EQ(data.scale, 0.0);
    EXPECT_EQ(data.y_scale, 0.0);
}

TEST(TrueTypeFont, NoUsableCmapFailsAndSaysSo) {
    std::vector<uint8_t> bytes = ttf::Build(SmallFont());
    uint32_t cmap = 0, length = 0;
    ASSERT_TRUE(ttf::FindTable(bytes, "cmap", &cmap, &length));
    uint32_t sub = cmap + ttf::GetU32(bytes, cmap + 8);
    ttf::SetU16(bytes, sub, 6); // format 6: not read
    TempFile file("format6.ttf", bytes);
    testing::internal::CaptureStderr();
    EXPECT_EQ(InitFont(0, file.c_str()), -123);
    std::string said = testing::internal::GetCapturedStderr();
    EXPECT_NE(said.find("Cmap table format0 and format4 not found"), std::string::npos) << said;
}

TEST(TrueTypeFont, FilesThatAreNoFontFail) {
    EXPECT_EQ(InitFont(0, "/nonexistent/velko/font.ttf"), -123);
    EXPECT_EQ(InitFont(0, nullptr), -123);
    TempFile empty("empty.ttf", std::vector<uint8_t>());
    EXPECT_EQ(InitFont(0, empty.c_str()), -123);
    // A directory row count beyond the file.
    std::vector<uint8_t> bytes = ttf::Build(SmallFont());
    std::vector<uint8_t> rows = bytes;
    ttf::SetU16(rows, 4, 0xFFFF);
    TempFile many("rows.ttf", rows);
    EXPECT_EQ(InitFont(0, many.c_str()), -123);
    // A table that is not there: the open fails.
    std::vector<uint8_t> nohmtx = bytes;
    int count = ttf::GetU16(nohmtx, 4);
    for (int i = 0; i < count; ++i)
        if (std::memcmp(&nohmtx[12 + 16 * i], "hmtx", 4) == 0)
            std::memcpy(&nohmtx[12 + 16 * i], "HMTX", 4);
    TempFile missing("nohmtx.ttf", nohmtx);
    EXPECT_EQ(InitFont(0, missing.c_str()), -123);
    // A loca beyond the end of the file.
    std::vector<uint8_t> far = bytes;
    for (int i = 0; i < count; ++i)
        if (std::memcmp(&far[12 + 16 * i], "loca", 4) == 0)
            ttf::SetU32(far, 12 + 16 * i + 8, static_cast<uint32_t>(far.size() - 4));
    TempFile beyond("farloca.ttf", far);
    EXPECT_EQ(InitFont(0, beyond.c_str()), -123);
}

TEST(TrueTypeHandles, BadHandlesGive123AndTheWalkersSaySo) {
    FNT_POINT p = {};
    user_compGlyfData data = {};
    uint16_t advance = 0;
    int16_t bearing = 0;
    for (int16_t bad : {int16_t(-1), int16_t(30000), int16_t(-32768)}) {
        testing::internal::CaptureStderr();
        EXPECT_EQ(ExitFont(0, bad), -123);
        EXPECT_EQ(SetCurrentChar(0, bad, 'A'), -123);
        EXPECT_EQ(GetWidth(0, bad, &advance, &bearing), -123);
        EXPECT_EQ(SetGlyf(0, bad, 1), -123);
        EXPECT_EQ(GetGlyfData(0, bad, &data), -123);
        std::string quiet = testing::internal::GetCapturedStderr();
        EXPECT_EQ(quiet, "");

        int16_t (*walkers[])(int16_t, int16_t) = {GetContourCount, GetPointCount, GetFirstEndPoint,
                                                  GetNextEndPoint};
        for (auto walker : walkers) {
            testing::internal::CaptureStderr();
            EXPECT_EQ(walker(0, bad), -123);
            std::string said = testing::internal::GetCapturedStderr();
            EXPECT_NE(said.find("Invalid Handle Passed"), std::string::npos);
            EXPECT_EQ(std::count(said.begin(), said.end(), '\n'), 1) << said;
        }
        for (auto walker : {GetFirstPoint, GetNextPoint}) {
            testing::internal::CaptureStderr();
            EXPECT_EQ(walker(0, bad, &p), -123);
            std::string said = testing::internal::GetCapturedStderr();
            EXPECT_NE(said.find("Invalid Handle Passed"), std::string::npos);
        }
    }
}

TEST(TrueTypeHandles, ClosedSlotsStayAndAreNotHandedOutAgain) {
    TempFile file("slots.ttf", ttf::Build(SmallFont()));
    int16_t a = InitFont(0, file.c_str());
    int16_t b = InitFont(0, file.c_str());
    ASSERT_GE(a, 0);
    EXPECT_EQ(b, a + 1);
    EXPECT_EQ(ExitFont(0, a), 0);
    EXPECT_EQ(ExitFont(0, a), -123); // already closed
    testing::internal::CaptureStderr();
    EXPECT_EQ(GetContourCount(0, a), -123);
    EXPECT_NE(testing::internal::GetCapturedStderr().find("Invalid Handle Passed"),
              std::string::npos);
    EXPECT_EQ(SetCurrentChar(0, a, 'A'), -123);
    int16_t c = InitFont(0, file.c_str());
    EXPECT_EQ(c, b + 1);
    // The other fonts are untouched.
    EXPECT_EQ(SetCurrentChar(0, b, 'A'), 1);
    EXPECT_EQ(SetCurrentChar(0, c, 'B'), 1);
    EXPECT_EQ(SetGlyf(0, c, 1), 0);
    EXPECT_EQ(GetContourCount(0, c), 2);
    EXPECT_EQ(SetGlyf(0, b, 1), 0);
    EXPECT_EQ(GetContourCount(0, b), 1);
    EXPECT_EQ(ExitFont(0, b), 0);
    EXPECT_EQ(ExitFont(0, c), 0);
    // A failed open takes no slot.
    EXPECT_EQ(InitFont(0, "/nonexistent.ttf"), -123);
    int16_t d = InitFont(0, file.c_str());
    EXPECT_EQ(d, c + 1);
    EXPECT_EQ(ExitFont(0, d), 0);
}

TEST(TrueTypeHandles, TheDrawingNumberIsNotUsed) {
    TempFile file("drawing.ttf", ttf::Build(SmallFont()));
    int16_t h = InitFont(-5, file.c_str());
    ASSERT_GE(h, 0);
    EXPECT_EQ(SetCurrentChar(300, h, 'A'), 1);
    EXPECT_EQ(SetGlyf(-1, h, 1), 0);
    EXPECT_EQ(GetContourCount(255, h), 1);
    EXPECT_EQ(GetPointCount(12345, h), 4);
    FNT_POINT p = {};
    EXPECT_EQ(GetFirstPoint(-32768, h, &p), 0);
    EXPECT_EQ(p.x, 10);
    EXPECT_EQ(ExitFont(77, h), 0);
}

TEST(TrueTypeGlyph, RecordsAndPointsOfOneCharacterAreBounded) {
    Font f = SmallFont();
    // Glyph 4: one contour of 65536 points, all at the origin.
    Glyph dense;
    dense.contours = {std::vector<Point>(65536, Point{0, 0, true})};
    f.glyphs.push_back(dense);
    auto composite = [](uint16_t glyph, int count) {
        Glyph c;
        Component component;
        component.glyph = glyph;
        c.components.assign(static_cast<size_t>(count), component);
        return c;
    };
    f.glyphs.push_back(composite(1, 0x7FFF)); // 5: the most records a result can count
    f.glyphs.push_back(composite(1, 0x8000)); // 6: one more
    f.glyphs.push_back(composite(4, 16));     // 7: 2^20 points
    f.glyphs.push_back(composite(4, 17));     // 8: more
    f.cmap = {{'5', 5}, {'6', 6}, {'7', 7}, {'8', 8}, {'D', 4}};
    f.long_loca = true;
    TempFile file("bounded.ttf", ttf::Build(f));
    CTrueTypeFont font;
    ASSERT_EQ(font.Open(file.c_str()), 1);
    EXPECT_EQ(font.SetCurrentChar('5'), 0x7FFF);
    EXPECT_EQ(font.SetCurrentChar('6'), -123);
    EXPECT_EQ(font.SetCurrentChar('7'), 16);
    EXPECT_EQ(font.SetCurrentChar('8'), -123);
    // A point count beyond the i16 result is refused; the points can still be walked.
    ASSERT_EQ(font.SetCurrentChar('D'), 1);
    EXPECT_EQ(font.GetContourCount(), 1);
    EXPECT_EQ(font.GetPointCount(), -123);
    uint16_t end = 0;
    EXPECT_EQ(font.GetFirstEndPoint(&end), 0);
    EXPECT_EQ(end, 65535);
    FNT_POINT p = {};
    EXPECT_EQ(font.GetFirstPoint(&p), 0);
    for (int i = 0; i < 70000; ++i)
        ASSERT_EQ(font.GetNextPoint(&p), 0);
    EXPECT_EQ(p.x, 0);
    EXPECT_EQ(p.on_curve, 1);
}
