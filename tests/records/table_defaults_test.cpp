// The records are byte-packed, so their fields may sit at any address. gtest binds its
// arguments by reference; a packed field is therefore handed over as a copy, through
// unary plus.
#include "interface/drawing_table.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>

namespace {

void FreeLineType(CDB_LTYPE_TBL_type &r) {
    std::free(r.description);
    std::free(r.dashes);
}

void FreeStyle(CDB_STYLE_TBL_type &r) {
    std::free(r.font_file);
    std::free(r.bigfont_file);
}

void FreeDimStyle(CDB_DIMSTYLE_TBL_type &r) {
    std::free(r.dimpost);
    std::free(r.dimapost);
    std::free(r.dimblk);
    std::free(r.dimblk1);
    std::free(r.dimblk2);
}

// The counter behind a default name such as "LAYER12".
int NameNumber(const char *name, const char *prefix) {
    const size_t n = std::strlen(prefix);
    EXPECT_EQ(std::strncmp(name, prefix, n), 0) << name;
    return std::atoi(name + n);
}

// The names of the very first defaults of the process, taken before any test runs.
struct FirstNames {
    std::string layer_first;
    std::string layer_second;
    std::string dimstyle_first;
    FirstNames() {
        CDB_LAYER_TBL_type layer;
        CDBLayerTableDefault(&layer);
        layer_first = layer.name;
        CDBLayerTableDefault(&layer);
        layer_second = layer.name;
        CDB_DIMSTYLE_TBL_type dim;
        CDBDimStyleTableDefault(&dim);
        dimstyle_first = dim.name;
        FreeDimStyle(dim);
    }
};
const FirstNames g_firstNames;

} // namespace

TEST(TableDefaults, FirstLayerDefaultsAreLayerZeroThenLayerOne) {
    EXPECT_EQ(g_firstNames.layer_first, "LAYER0");
    EXPECT_EQ(g_firstNames.layer_second, "LAYER1");
}

TEST(TableDefaults, FirstDimensionStyleDefaultIsNamedLttypeZero) {
    EXPECT_EQ(g_firstNames.dimstyle_first, "LTTYPE0");
}

TEST(TableDefaults, LayerDefaultNamesCountUpInOneSharedBuffer) {
    CDB_LAYER_TBL_type a, b;
    ASSERT_EQ(CDBLayerTableDefault(&a), 0);
    const std::string first = a.name;
    ASSERT_EQ(CDBLayerTableDefault(&b), 0);
    EXPECT_EQ(NameNumber(b.name, "LAYER"), NameNumber(first.c_str(), "LAYER") + 1);
    // Both records point into the same buffer, which now holds the second name.
    EXPECT_EQ(+a.name, +b.name);
    EXPECT_STREQ(+a.name, +b.name);
}

TEST(TableDefaults, EveryTableSharesTheOneNameBuffer) {
    CDB_LAYER_TBL_type layer;
    CDB_APPID_TBL_type appid;
    CDB_UCS_TBL_type ucs;
    CDBLayerTableDefault(&layer);
    CDBAppidTableDefault(&appid);
    EXPECT_EQ(+layer.name, +appid.name);
    EXPECT_EQ(std::strncmp(layer.name, "APPID", 5), 0);
    CDBUCSTableDefault(&ucs);
    EXPECT_EQ(+ucs.name, +layer.name);
    EXPECT_EQ(std::strncmp(appid.name, "UCS", 3), 0);
}

TEST(TableDefaults, EachTableKeepsItsOwnCounter) {
    CDB_APPID_TBL_type appid;
    CDB_LAYER_TBL_type layer;
    CDBAppidTableDefault(&appid);
    const int before = NameNumber(appid.name, "APPID");
    for (int i = 0; i < 3; ++i)
        CDBLayerTableDefault(&layer);
    CDBAppidTableDefault(&appid);
    EXPECT_EQ(NameNumber(appid.name, "APPID"), before + 1);
}

TEST(TableDefaults, DefaultsClearTheErrorSlot) {
    g_LastError = -999;
    CDB_LAYER_TBL_type layer;
    EXPECT_EQ(CDBLayerTableDefault(&layer), 0);
    EXPECT_EQ(g_LastError, 0);
    g_LastError = -999;
    CDB_VIEW_TBL_type view;
    EXPECT_EQ(CDBViewTableDefault(&view), 0);
    EXPECT_EQ(g_LastError, 0);
}

TEST(TableDefaults, NullRecordFailsWithInvalidParameter) {
    g_LastError = 0;
    EXPECT_EQ(CDBLayerTableDefault(nullptr), CDB_FAIL);
    EXPECT_EQ(g_LastError, CDB_ERR_INVALID_PARAMETER);
    g_LastError = 0;
    EXPECT_EQ(CDBLineTypeTableDefault(nullptr), CDB_FAIL);
    EXPECT_EQ(g_LastError, CDB_ERR_INVALID_PARAMETER);
    g_LastError = 0;
    EXPECT_EQ(CDBStyleTableDefault(nullptr), CDB_FAIL);
    EXPECT_EQ(g_LastError, CDB_ERR_INVALID_PARAMETER);
    g_LastError = 0;
    EXPECT_EQ(CDBVportTableDefault(nullptr), CDB_FAIL);
    EXPECT_EQ(g_LastError, CDB_ERR_INVALID_PARAMETER);
    g_LastError = 0;
    EXPECT_EQ(CDBViewTableDefault(nullptr), CDB_FAIL);
    EXPECT_EQ(g_LastError, CDB_ERR_INVALID_PARAMETER);
    g_LastError = 0;
    EXPECT_EQ(CDBUCSTableDefault(nullptr), CDB_FAIL);
    EXPECT_EQ(g_LastError, CDB_ERR_INVALID_PARAMETER);
    g_LastError = 0;
    EXPECT_EQ(CDBAppidTableDefault(nullptr), CDB_FAIL);
    EXPECT_EQ(g_LastError, CDB_ERR_INVALID_PARAMETER);
    g_LastError = 0;
    EXPECT_EQ(CDBDimStyleTableDefault(nullptr), CDB_FAIL);
    EXPECT_EQ(g_LastError, CDB_ERR_INVALID_PARAMETER);
    g_LastError = 0;
}

TEST(TableDefaults, NullRecordDoesNotMoveTheCounter) {
    CDB_UCS_TBL_type ucs;
    CDBUCSTableDefault(&ucs);
    const int before = NameNumber(ucs.name, "UCS");
    CDBUCSTableDefault(nullptr);
    CDBUCSTableDefault(&ucs);
    EXPECT_EQ(NameNumber(ucs.name, "UCS"), before + 1);
    g_LastError = 0;
}

TEST(TableDefaults, LayerDefaultIsReferencedColourSevenContinuous) {
    CDB_LAYER_TBL_type r;
    std::memset(&r, 0xAB, sizeof r);
    ASSERT_EQ(CDBLayerTableDefault(&r), 0);
    EXPECT_EQ(+r.handle, nullptr);
    EXPECT_EQ(+r.flags, 64);
    EXPECT_EQ(+r.flags_copy, 0);
    EXPECT_EQ(+r.color, 7);
    EXPECT_EQ(+r.line_type_index, 0);
    EXPECT_EQ(+r.line_type_handle, nullptr);
    EXPECT_EQ(+r.links.link_count, 0);
    EXPECT_EQ(+r.links.owner.value, 0u);
}

TEST(TableDefaults, LineTypeDefaultIsSolidLineWithHeapBlocks) {
    CDB_LTYPE_TBL_type r;
    std::memset(&r, 0xAB, sizeof r);
    ASSERT_EQ(CDBLineTypeTableDefault(&r), 0);
    EXPECT_EQ(NameNumber(r.name, "LTYPE") >= 0, true);
    EXPECT_EQ(+r.handle, nullptr);
    EXPECT_EQ(+r.flags, 4);
    ASSERT_NE(+r.description, nullptr);
    EXPECT_STREQ(+r.description, "Solid line");
    EXPECT_EQ(+r.alignment, 65);
    EXPECT_EQ(+r.dash_count, 0);
    EXPECT_EQ(+r.pattern_length, 0);
    EXPECT_EQ(+r.complex_types, nullptr);
    ASSERT_NE(+r.dashes, nullptr);
    EXPECT_EQ(+r.dashes[0], 0.0);
    EXPECT_EQ(+r.entry_code, 0);
    EXPECT_EQ(+r.shape_numbers, nullptr);
    EXPECT_EQ(+r.style_handles, nullptr);
    // The description is a block of 48 bytes that the caller may fill.
    std::memset(r.description, 'd', 47);
    r.description[47] = '\0';
    CDB_LTYPE_TBL_type s;
    CDBLineTypeTableDefault(&s);
    EXPECT_NE(+s.description, +r.description);
    EXPECT_NE(+s.dashes, +r.dashes);
    EXPECT_STREQ(+s.description, "Solid line");
    FreeLineType(r);
    FreeLineType(s);
}

TEST(TableDefaults, StyleDefaultUsesTxtFontInHeapBlocks) {
    CDB_STYLE_TBL_type r;
    std::memset(&r, 0xAB, sizeof r);
    ASSERT_EQ(CDBStyleTableDefault(&r), 0);
    EXPECT_EQ(std::strncmp(r.name, "STYLE", 5), 0);
    EXPECT_EQ(+r.flags, 16);
    EXPECT_EQ(+r.height, 0);
    EXPECT_EQ(+r.width_factor, 1.0);
    EXPECT_EQ(+r.oblique_angle, 0);
    EXPECT_EQ(+r.generation_flags, 0);
    EXPECT_EQ(+r.last_height, 0.2);
    ASSERT_NE(+r.font_file, nullptr);
    ASSERT_NE(+r.bigfont_file, nullptr);
    EXPECT_STREQ(+r.font_file, "txt");
    EXPECT_STREQ(+r.bigfont_file, "");
    // Both are blocks of 64 bytes.
    std::memset(r.font_file, 'f', 63);
    std::memset(r.bigfont_file, 'b', 63);
    r.font_file[63] = r.bigfont_file[63] = '\0';
    CDB_STYLE_TBL_type s;
    CDBStyleTableDefault(&s);
    EXPECT_STREQ(+s.font_file, "txt");
    EXPECT_STREQ(+s.bigfont_file, "");
    FreeStyle(r);
    FreeStyle(s);
}

TEST(TableDefaults, VportDefault) {
    CDB_VPORT_TBL_type r;
    std::memset(&r, 0xAB, sizeof r);
    ASSERT_EQ(CDBVportTableDefault(&r), 0);
    EXPECT_EQ(std::strncmp(r.name, "VPORT", 5), 0);
    EXPECT_EQ(+r.flags, 16);
    EXPECT_EQ(+r.lower_left.x, 0);
    EXPECT_EQ(+r.lower_left.y, 0);
    EXPECT_EQ(+r.upper_right.x, 1);
    EXPECT_EQ(+r.upper_right.y, 1);
    EXPECT_EQ(+r.view_center.x, 6.196998);
    EXPECT_EQ(+r.view_center.y, 4.5);
    EXPECT_EQ(+r.snap_base.x, 0);
    EXPECT_EQ(+r.snap_spacing.x, 1);
    EXPECT_EQ(+r.snap_spacing.y, 1);
    EXPECT_EQ(+r.grid_spacing.x, 0);
    EXPECT_EQ(+r.view_direction.z, 1);
    EXPECT_EQ(+r.view_direction.x, 0);
    EXPECT_EQ(+r.view_target.x, 0);
    EXPECT_EQ(+r.view_height, 9.0);
    EXPECT_EQ(+r.aspect_ratio, 1.377111);
    EXPECT_EQ(+r.lens_length, 50.0);
    EXPECT_EQ(+r.front_clip, 0);
    EXPECT_EQ(+r.twist_angle, 0);
    EXPECT_EQ(+r.viewport_status, 2);
    EXPECT_EQ(+r.viewport_id, 5699);
    EXPECT_EQ(+r.view_mode, 0);
    EXPECT_EQ(+r.circle_zoom, 100);
    EXPECT_EQ(+r.fast_zoom, 1);
    EXPECT_EQ(+r.ucs_icon, 1);
    EXPECT_EQ(+r.snap_mode, 0);
    EXPECT_EQ(+r.snap_isopair, 0);
    EXPECT_EQ(+r.links.link_count, 0);
}

TEST(TableDefaults, ViewDefaultNameIsOneBlankEveryTime) {
    CDB_VIEW_TBL_type a, b;
    ASSERT_EQ(CDBViewTableDefault(&a), 0);
    EXPECT_STREQ(+a.name, " ");
    ASSERT_EQ(CDBViewTableDefault(&b), 0);
    EXPECT_STREQ(+b.name, " ");
    // The blank stands in the shared buffer, like every other default name.
    CDB_APPID_TBL_type appid;
    CDBAppidTableDefault(&appid);
    EXPECT_EQ(+appid.name, +b.name);
}

TEST(TableDefaults, ViewDefault) {
    CDB_VIEW_TBL_type r;
    std::memset(&r, 0xAB, sizeof r);
    ASSERT_EQ(CDBViewTableDefault(&r), 0);
    EXPECT_EQ(+r.handle, nullptr);
    EXPECT_EQ(+r.flags, 16);
    EXPECT_EQ(+r.height, 9.0);
    EXPECT_EQ(+r.width, 15.907);
    EXPECT_EQ(+r.center.x, 7.953782);
    EXPECT_EQ(+r.center.y, 4.5);
    EXPECT_EQ(+r.direction.x, 0);
    EXPECT_EQ(+r.direction.z, 1);
    EXPECT_EQ(+r.target.z, 0);
    EXPECT_EQ(+r.lens_length, 50.0);
    EXPECT_EQ(+r.front_clip, 0);
    EXPECT_EQ(+r.back_clip, 0);
    EXPECT_EQ(+r.twist_angle, 0);
    EXPECT_EQ(+r.view_mode, 0);
}

TEST(TableDefaults, UcsDefaultIsTheWorldAxes) {
    CDB_UCS_TBL_type r;
    std::memset(&r, 0xAB, sizeof r);
    ASSERT_EQ(CDBUCSTableDefault(&r), 0);
    EXPECT_EQ(std::strncmp(r.name, "UCS", 3), 0);
    EXPECT_EQ(+r.flags, 4);
    EXPECT_EQ(+r.origin.x, 0);
    EXPECT_EQ(+r.origin.y, 0);
    EXPECT_EQ(+r.origin.z, 0);
    EXPECT_EQ(+r.x_direction.x, 1);
    EXPECT_EQ(+r.x_direction.y, 0);
    EXPECT_EQ(+r.y_direction.x, 0);
    EXPECT_EQ(+r.y_direction.y, 1);
    EXPECT_EQ(+r.y_direction.z, 0);
}

TEST(TableDefaults, AppidDefault) {
    CDB_APPID_TBL_type r;
    std::memset(&r, 0xAB, sizeof r);
    ASSERT_EQ(CDBAppidTableDefault(&r), 0);
    EXPECT_EQ(std::strncmp(r.name, "APPID", 5), 0);
    EXPECT_EQ(+r.handle, nullptr);
    EXPECT_EQ(+r.flags, 4);
    EXPECT_EQ(+r.links.link_count, 0);
}

TEST(TableDefaults, DimensionStyleDefault) {
    CDB_DIMSTYLE_TBL_type r;
    std::memset(&r, 0xAB, sizeof r);
    ASSERT_EQ(CDBDimStyleTableDefault(&r), 0);
    EXPECT_EQ(std::strncmp(r.name, "LTTYPE", 6), 0);
    EXPECT_EQ(+r.handle, nullptr);
    EXPECT_EQ(+r.flags, 4);
    for (char *text : {r.dimpost, r.dimapost, r.dimblk, r.dimblk1, r.dimblk2}) {
        ASSERT_NE(text, nullptr);
        EXPECT_STREQ(text, "");
    }
    EXPECT_NE(+r.dimpost, +r.dimapost);
    EXPECT_EQ(+r.entry_code, 4);
    EXPECT_EQ(+r.dimscale, 1.0);
    EXPECT_EQ(+r.dimasz, 0);
    EXPECT_EQ(+r.dimexo, 0);
    EXPECT_EQ(+r.dimdli, 0.38);
    EXPECT_EQ(+r.dimexe, 0.18);
    EXPECT_EQ(+r.dimrnd, 0);
    EXPECT_EQ(+r.dimdle, 0);
    EXPECT_EQ(+r.dimtp, 0);
    EXPECT_EQ(+r.dimtm, 0);
    EXPECT_EQ(+r.dimtxt, 0.18);
    EXPECT_EQ(+r.dimcen, 0.09);
    EXPECT_EQ(+r.dimtsz, 0);
    EXPECT_EQ(+r.dimaltf, 25.4);
    EXPECT_EQ(+r.dimlfac, 1.0);
    EXPECT_EQ(+r.dimtvp, 0);
    EXPECT_EQ(+r.dimtfac, 1.0);
    EXPECT_EQ(+r.dimgap, 0);
    const int16_t flags71[] = {r.dimtol, r.dimlim, r.dimtih, r.dimtoh,
                               r.dimse1, r.dimse2, r.dimtad, r.dimzin};
    const int16_t expected71[] = {0, 0, 1, 1, 0, 0, 0, 0};
    for (int i = 0; i < 8; ++i)
        EXPECT_EQ(flags71[i], expected71[i]) << i;
    const int16_t flags170[] = {r.dimalt,  r.dimaltd, r.dimtofl, r.dimsah, r.dimtix,
                                r.dimsoxd, r.dimclrd, r.dimclre, r.dimclrt};
    const int16_t expected170[] = {0, 2, 0, 0, 0, 0, 0, 0, 0};
    for (int i = 0; i < 9; ++i)
        EXPECT_EQ(flags170[i], expected170[i]) << i;
    EXPECT_EQ(+r.dimunit, 0);
    EXPECT_EQ(+r.dimalttd, 0);
    EXPECT_EQ(+r.dimtxsty, nullptr);
    EXPECT_EQ(+r.dimaunit, 0);
    EXPECT_EQ(+r.dimjust, 0);
    EXPECT_EQ(+r.dimupt, 0);
    EXPECT_EQ(+r.links.link_count, 0);
    FreeDimStyle(r);
}
