// An outside check of the TrueType reader: the DejaVu fonts of Debian's fonts-dejavu-core,
// every character 32 to 255 that a font maps, compared with what FreeType gives for the
// unscaled, unhinted glyph. FreeType is used here only, never by the library.
//
// The library's records of a composite glyph are its components' own outlines, so a
// composite is compared component by component: FreeType loads it without recursion for
// the list of components (glyph, flags, arguments, transform), and each component glyph
// again without recursion for its outline.
#include "fonts/truetype_font.h"
#include "velkow32.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <sys/stat.h>
#include <vector>

#ifdef VELKO_HAVE_FREETYPE
#include <ft2build.h>
#include FT_FREETYPE_H
#include FT_ADVANCES_H
#endif

namespace {

bool InCi() {
    const char *ci = std::getenv("CI");
    return ci && std::strcmp(ci, "true") == 0;
}

// Without what the check needs it is skipped, except in CI, where it must run.
#define VELKO_SKIP_OR_FAIL(reason)                                                                 \
    do {                                                                                           \
        if (InCi())                                                                                \
            FAIL() << reason << " (required under CI=true)";                                       \
        GTEST_SKIP() << reason;                                                                    \
    } while (0)

#ifdef VELKO_HAVE_FREETYPE

const char kDejaVuDir[] = "/usr/share/fonts/truetype/dejavu/";

bool FileExists(const std::string &path) {
    struct stat st;
    return ::stat(path.c_str(), &st) == 0;
}

struct Tally {
    int characters = 0;
    int composites = 0;
    int records = 0;
    long points = 0;
    int nested_components = 0;    // components that are composite themselves
    int advance_past_metrics = 0; // record 0's glyph beyond number_of_h_metrics
    int composite_advance_differs = 0;
};

// Compares the current record of font `h` with FreeType's outline of glyph `gid`.
void CompareOutline(FT_Face face, FT_UInt gid, int16_t h, const std::string &where, Tally *tally) {
    ASSERT_EQ(FT_Load_Glyph(face, gid, FT_LOAD_NO_SCALE | FT_LOAD_NO_HINTING | FT_LOAD_NO_RECURSE),
              0)
        << where;
    FT_GlyphSlot slot = face->glyph;
    if (slot->format == FT_GLYPH_FORMAT_COMPOSITE) {
        // Its components are not followed: a record without an outline.
        ++tally->nested_components;
        EXPECT_EQ(GetContourCount(0, h), 0) << where;
        EXPECT_EQ(GetPointCount(0, h), 0) << where;
        return;
    }
    ASSERT_EQ(slot->format, FT_GLYPH_FORMAT_OUTLINE) << where;
    const FT_Outline &o = slot->outline;
    ASSERT_EQ(GetContourCount(0, h), o.n_contours) << where;
    ASSERT_EQ(GetPointCount(0, h), o.n_points) << where;
    for (int c = 0; c < o.n_contours; ++c) {
        int16_t end = c ? GetNextEndPoint(0, h) : GetFirstEndPoint(0, h);
        EXPECT_EQ(end, o.contours[c]) << where << " contour " << c;
    }
    for (int p = 0; p < o.n_points; ++p) {
        FNT_POINT point = {};
        ASSERT_EQ(p ? GetNextPoint(0, h, &point) : GetFirstPoint(0, h, &point), 0) << where;
        EXPECT_EQ(point.x, o.points[p].x) << where << " point " << p;
        EXPECT_EQ(point.y, o.points[p].y) << where << " point " << p;
        EXPECT_EQ(point.on_curve, FT_CURVE_TAG(o.tags[p]) == FT_CURVE_TAG_ON ? 1 : 0)
            << where << " point " << p;
    }
    tally->points += o.n_points;
}

void CompareFont(const char *name) {
    std::string path = std::string(kDejaVuDir) + name;
    if (!FileExists(path))
        VELKO_SKIP_OR_FAIL(path + " is missing (package fonts-dejavu-core)");

    FT_Library library = nullptr;
    ASSERT_EQ(FT_Init_FreeType(&library), 0);
    FT_Face face = nullptr;
    ASSERT_EQ(FT_New_Face(library, path.c_str(), 0, &face), 0) << path;

    int16_t h = InitFont(0, path.c_str());
    ASSERT_GE(h, 0) << path;
    CTrueTypeFont direct;
    ASSERT_EQ(direct.Open(path.c_str()), 1);
    uint16_t h_metrics = direct.Hhea().number_of_h_metrics;

    Tally tally;
    for (uint16_t code = 32; code <= 255; ++code) {
        FT_UInt gid = FT_Get_Char_Index(face, code);
        uint16_t our_gid = 0xFFFF;
        ASSERT_TRUE(direct.MapCode(code, &our_gid));
        EXPECT_EQ(our_gid, gid) << name << " code " << code;
        if (gid == 0)
            continue;
        ++tally.characters;
        std::string where =
            std::string(name) + " code " + std::to_string(code) + " glyph " + std::to_string(gid);

        int16_t count = SetCurrentChar(0, h, code);
        ASSERT_GE(count, 1) << where;
        ASSERT_EQ(direct.SetCurrentChar(code), count) << where;

        ASSERT_EQ(
            FT_Load_Glyph(face, gid, FT_LOAD_NO_SCALE | FT_LOAD_NO_HINTING | FT_LOAD_NO_RECURSE), 0)
            << where;
        FT_GlyphSlot slot = face->glyph;
        if (slot->format == FT_GLYPH_FORMAT_COMPOSITE) {
            ++tally.composites;
            ASSERT_EQ(count, static_cast<int16_t>(slot->num_subglyphs)) << where;
            // Take the component list before the components' loads replace the slot.
            struct Sub {
                FT_Int index, arg1, arg2;
                FT_UInt flags;
                FT_Matrix matrix;
            };
            std::vector<Sub> subs(slot->num_subglyphs);
            for (FT_UInt i = 0; i < slot->num_subglyphs; ++i)
                ASSERT_EQ(FT_Get_SubGlyph_Info(slot, i, &subs[i].index, &subs[i].flags,
                                               &subs[i].arg1, &subs[i].arg2, &subs[i].matrix),
                          0);
            for (size_t i = 0; i < subs.size(); ++i) {
                std::string at = where + " component " + std::to_string(i + 1);
                const Sub &s = subs[i];
                const TtfGlyphRecord &record = direct.Records()[i];
                EXPECT_EQ(record.glyph_id, s.index) << at;
                EXPECT_EQ(record.component_flags, s.flags) << at;
                ASSERT_EQ(SetGlyf(0, h, static_cast<int16_t>(i + 1)), 0) << at;
                user_compGlyfData data;
                std::memset(&data, 0, sizeof data);
                ASSERT_EQ(GetGlyfData(0, h, &data), 0) << at;
                EXPECT_EQ(data.argument_1, s.arg1) << at;
                EXPECT_EQ(data.argument_2, s.arg2) << at;
                double xx = s.matrix.xx / 65536.0, xy = s.matrix.xy / 65536.0;
                double yx = s.matrix.yx / 65536.0, yy = s.matrix.yy / 65536.0;
                switch (data.transform_kind) {
                case 1:
                    EXPECT_DOUBLE_EQ(data.scale, xx) << at;
                    EXPECT_DOUBLE_EQ(data.scale, yy) << at;
                    break;
                case 2:
                    EXPECT_DOUBLE_EQ(data.x_scale, xx) << at;
                    EXPECT_DOUBLE_EQ(data.y_scale, yy) << at;
                    break;
                case 3:
                    EXPECT_DOUBLE_EQ(data.x_scale, xx) << at;
                    EXPECT_DOUBLE_EQ(data.scale_01, yx) << at;
                    EXPECT_DOUBLE_EQ(data.scale_10, xy) << at;
                    EXPECT_DOUBLE_EQ(data.y_scale, yy) << at;
                    break;
                default: // no transform: FreeType's identity
                    EXPECT_EQ(s.matrix.xx, 0x10000) << at;
                    EXPECT_EQ(s.matrix.yy, 0x10000) << at;
                    EXPECT_EQ(s.matrix.xy, 0) << at;
                    EXPECT_EQ(s.matrix.yx, 0) << at;
                }
                CompareOutline(face, static_cast<FT_UInt>(s.index), h, at, &tally);
                ++tally.records;
            }
        } else {
            ASSERT_EQ(count, 1) << where;
            EXPECT_EQ(direct.Records()[0].glyph_id, gid) << where;
            ASSERT_EQ(SetGlyf(0, h, 1), 0) << where;
            CompareOutline(face, gid, h, where, &tally);
            ++tally.records;
        }

        // The advance is that of record 0's glyph. Glyphs past number_of_h_metrics keep
        // an advance of 0 here, where FreeType repeats the last full row's advance.
        uint16_t advance = 0;
        int16_t bearing = 0;
        ASSERT_EQ(GetWidth(0, h, &advance, &bearing), 0) << where;
        uint16_t first = direct.Records()[0].glyph_id;
        FT_Fixed ft_advance = 0;
        ASSERT_EQ(FT_Get_Advance(face, first, FT_LOAD_NO_SCALE, &ft_advance), 0) << where;
        if (first < h_metrics) {
            EXPECT_EQ(advance, ft_advance) << where;
        } else {
            ++tally.advance_past_metrics;
            EXPECT_EQ(advance, 0) << where;
        }
        FT_Fixed own = 0;
        ASSERT_EQ(FT_Get_Advance(face, gid, FT_LOAD_NO_SCALE, &own), 0) << where;
        if (slot->format == FT_GLYPH_FORMAT_COMPOSITE && own != ft_advance)
            ++tally.composite_advance_differs;
    }

    std::printf("[ FreeType ] %s: %d characters (%d composite), %d records, %ld points; "
                "%d nested components, %d advances past number_of_h_metrics (%u), "
                "%d composites whose own advance differs from their first component's\n",
                name, tally.characters, tally.composites, tally.records, tally.points,
                tally.nested_components, tally.advance_past_metrics, h_metrics,
                tally.composite_advance_differs);
    EXPECT_GT(tally.characters, 150);

    EXPECT_EQ(ExitFont(0, h), 0);
    FT_Done_Face(face);
    FT_Done_FreeType(library);
}

#endif // VELKO_HAVE_FREETYPE

} // namespace

#ifdef VELKO_HAVE_FREETYPE

TEST(TrueTypeFreeType, DejaVuSansMatchesFreeType) {
    CompareFont("DejaVuSans.ttf");
}

TEST(TrueTypeFreeType, DejaVuSansMonoMatchesFreeType) {
    CompareFont("DejaVuSansMono.ttf");
}

TEST(TrueTypeFreeType, DejaVuSerifMatchesFreeType) {
    CompareFont("DejaVuSerif.ttf");
}

#else

TEST(TrueTypeFreeType, DejaVuFontsMatchFreeType) {
    VELKO_SKIP_OR_FAIL("built without FreeType (package libfreetype-dev)");
}

#endif
