// The records are byte-packed, so their fields may sit at any address. gtest binds its
// arguments by reference; a packed field is therefore handed over as a copy, through
// unary plus.
#include "records/entity_kinds.h"
#include "records/entity_defaults.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

namespace {

CDB_ENTITY Dirty() {
    CDB_ENTITY e;
    std::memset(&e, 0xAB, sizeof e);
    return e;
}

CDB_ENTITY Default(short type) {
    CDB_ENTITY e = Dirty();
    EXPECT_EQ(FillEntityDefault(&e, type), 0) << type;
    return e;
}

void ExpectPoint(const CDB_POINT3 &p, double x, double y, double z) {
    EXPECT_EQ(+p.x, x);
    EXPECT_EQ(+p.y, y);
    EXPECT_EQ(+p.z, z);
}

// The record as the default leaves it for a code without a kind of its own.
CDB_ENTITY CommonOnly() {
    CDB_ENTITY e;
    std::memset(&e, 0, sizeof e);
    e.line_type_scale = 1.0;
    e.line_type_index = -1;
    e.color = -1;
    e.extrusion.z = 1.0;
    return e;
}

// Whether the bytes of the kind part from `from` on are all zero.
bool KindPartZeroFrom(const CDB_ENTITY &e, size_t from) {
    const unsigned char *p = reinterpret_cast<const unsigned char *>(&e);
    for (size_t i = from; i < sizeof e; ++i)
        if (p[i] != 0)
            return false;
    return true;
}

} // namespace

TEST(EntityDefaults, CommonPartIsByLayerWithUnitScaleAndUpwardExtrusion) {
    for (short type : {1, 3, 7, 24, 44, 5, 0, 500}) {
        const CDB_ENTITY e = Default(type);
        EXPECT_EQ(+e.line_type_scale, 1.0) << type;
        EXPECT_EQ(+e.line_type_index, -1) << type;
        EXPECT_EQ(+e.color, -1) << type;
        ExpectPoint(e.extrusion, 0, 0, 1);
        EXPECT_EQ(+e.handle, nullptr);
        EXPECT_EQ(+e.layer_index, 0);
        EXPECT_EQ(+e.layer_handle, nullptr);
        EXPECT_EQ(+e.line_type_handle, nullptr);
        EXPECT_EQ(+e.elevation, 0);
        EXPECT_EQ(+e.thickness, 0);
        EXPECT_EQ(+e.space, 0);
        EXPECT_EQ(+e.invisibility, 0);
        EXPECT_EQ(+e.owner.code, 0);
        EXPECT_EQ(+e.mode_paper, 0u);
        for (const CDB_POINT3 &p : e.reserved_points)
            ExpectPoint(p, 0, 0, 0);
    }
}

TEST(EntityDefaults, KindFiveLeavesEntityTypeZeroAndReturnsZero) {
    CDB_ENTITY e = Dirty();
    EXPECT_EQ(FillEntityDefault(&e, 5), 0);
    EXPECT_EQ(+e.entity_type, 0);
}

TEST(EntityDefaults, CodesWithoutDefaultsLeaveOnlyTheClearedCommonPart) {
    std::vector<short> codes = {5, 6, 10, 12, 13, 18, 21, 0, -1, 47, 48, 500, 32767, -32768};
    for (short c = 25; c <= 34; ++c)
        codes.push_back(c);
    for (short c = 36; c <= 43; ++c)
        codes.push_back(c);
    const CDB_ENTITY expected = CommonOnly();
    for (short code : codes) {
        const CDB_ENTITY e = Default(code);
        EXPECT_EQ(+e.entity_type, 0) << code;
        EXPECT_EQ(std::memcmp(&e, &expected, sizeof e), 0) << code;
    }
}

TEST(EntityDefaults, KindsWithDefaultsSetTheirEntityType) {
    for (short code :
         {1, 2, 3, 4, 7, 8, 9, 11, 14, 15, 16, 17, 19, 20, 22, 23, 24, 35, 44, 45, 46}) {
        const CDB_ENTITY e = Default(code);
        EXPECT_EQ(+e.entity_type, code);
    }
}

TEST(EntityDefaults, NullRecordReturnsZero) {
    EXPECT_EQ(FillEntityDefault(nullptr, 1), 0);
}

TEST(EntityDefaults, LineRunsFromOriginToOneOne) {
    const CDB_ENTITY e = Default(CDB_LINE);
    ExpectPoint(e.line.start_point, 0, 0, 0);
    ExpectPoint(e.line.end_point, 1, 1, 0);
}

TEST(EntityDefaults, PointSitsAtOneOne) {
    const CDB_ENTITY e = Default(CDB_POINT);
    ExpectPoint(e.point.location, 1, 1, 0);
    EXPECT_EQ(+e.point.x_axis_angle, 0);
}

TEST(EntityDefaults, CircleHasUnitRadiusAroundOneZero) {
    const CDB_ENTITY e = Default(CDB_CIRCLE);
    ExpectPoint(e.circle.center, 1, 0, 0);
    EXPECT_EQ(+e.circle.radius, 1.0);
}

TEST(EntityDefaults, ShapeHasUnitSizeAndScale) {
    const CDB_ENTITY e = Default(CDB_SHAPE);
    ExpectPoint(e.shape.insertion_point, 3, 1, 0);
    EXPECT_EQ(+e.shape.size, 1.0);
    EXPECT_EQ(+e.shape.x_scale, 1.0);
    EXPECT_EQ(+e.shape.shape_number, 0);
    EXPECT_EQ(+e.shape.shape_style_index, 0);
    EXPECT_EQ(+e.shape.rotation, 0);
    EXPECT_EQ(+e.shape.oblique_angle, 0);
    EXPECT_EQ(+e.shape.style_handle, nullptr);
}

TEST(EntityDefaults, TextPointsAtTheSharedNotAssignedText) {
    const CDB_ENTITY a = Default(CDB_TEXT);
    const CDB_ENTITY b = Default(CDB_TEXT);
    ASSERT_NE(+a.text.text, nullptr);
    EXPECT_STREQ(+a.text.text, "NOT_ASSIGNED");
    EXPECT_EQ(+a.text.text, +b.text.text);
    ExpectPoint(a.text.insertion_point, 3, 2, 0);
    EXPECT_EQ(+a.text.height, 0.2);
    EXPECT_EQ(+a.text.width_factor, 1.0);
    EXPECT_EQ(+a.text.rotation, 0);
    EXPECT_EQ(+a.text.style_index, 0);
    EXPECT_EQ(+a.text.horizontal_justification, 0);
    EXPECT_EQ(+a.text.style_handle, nullptr);
    ExpectPoint(a.text.alignment_point, 0, 0, 0);
}

TEST(EntityDefaults, EveryDefaultTextIsTheSameSharedText) {
    const char *shared = Default(CDB_TEXT).text.text;
    const CDB_ENTITY attdef = Default(CDB_ATTDEF);
    EXPECT_EQ(+attdef.attdef.default_value, shared);
    EXPECT_EQ(+attdef.attdef.prompt, shared);
    EXPECT_EQ(+attdef.attdef.tag, shared);
    const CDB_ENTITY attrib = Default(CDB_ATTRIB);
    EXPECT_EQ(+attrib.attrib.value, shared);
    EXPECT_EQ(+attrib.attrib.tag, shared);
    EXPECT_EQ(+Default(CDB_DIMENSION).dimension.text, shared);
    EXPECT_EQ(+Default(CDB_MTEXT).mtext.text, shared);
    EXPECT_EQ(+Default(CDB_TOLERANCE).tolerance.text, shared);
}

TEST(EntityDefaults, ArcGetsItsKindAndNoNumbers) {
    const CDB_ENTITY e = Default(CDB_ARC);
    EXPECT_EQ(+e.entity_type, CDB_ARC);
    EXPECT_TRUE(KindPartZeroFrom(e, offsetof(CDB_ENTITY, arc)));
}

TEST(EntityDefaults, TraceSolidAndFaceShareTheCornerDefaults) {
    const CDB_ENTITY t = Default(CDB_TRACE);
    const CDB_ENTITY s = Default(CDB_SOLID);
    const CDB_ENTITY f = Default(CDB_3DFACE);
    for (const CDB_TRACE_type *c : {&t.trace, &s.solid}) {
        ExpectPoint(c->corner_1, 0, 0, 0);
        ExpectPoint(c->corner_2, 1, 1, 0);
        ExpectPoint(c->corner_3, 1, 0, 0);
        ExpectPoint(c->corner_4, 0, 0, 0);
    }
    ExpectPoint(f.face.corner_1, 0, 0, 0);
    ExpectPoint(f.face.corner_2, 1, 1, 0);
    ExpectPoint(f.face.corner_3, 1, 0, 0);
    ExpectPoint(f.face.corner_4, 0, 0, 0);
    EXPECT_EQ(+f.face.invisible_edges, 0);
}

TEST(EntityDefaults, InsertHasUnitScalesAndOneCell) {
    const CDB_ENTITY e = Default(CDB_INSERT);
    EXPECT_EQ(+e.insert.attributes_follow, 0);
    EXPECT_EQ(+e.insert.block_index, 0);
    ExpectPoint(e.insert.insertion_point, 0, 0, 0);
    EXPECT_EQ(+e.insert.x_scale, 1.0);
    EXPECT_EQ(+e.insert.y_scale, 1.0);
    EXPECT_EQ(+e.insert.z_scale, 1.0);
    EXPECT_EQ(+e.insert.rotation, 0);
    EXPECT_EQ(+e.insert.column_count, 1);
    EXPECT_EQ(+e.insert.row_count, 1);
    EXPECT_EQ(+e.insert.column_spacing, 0);
    EXPECT_EQ(+e.insert.row_spacing, 0);
}

TEST(EntityDefaults, AttributeDefinitionDefaults) {
    const CDB_ENTITY e = Default(CDB_ATTDEF);
    ExpectPoint(e.attdef.insertion_point, 1, 2, 0);
    EXPECT_EQ(+e.attdef.height, 0.2);
    EXPECT_EQ(+e.attdef.width_factor, 1.0);
    EXPECT_EQ(+e.attdef.flags, 0);
    EXPECT_EQ(+e.attdef.field_length, 0);
    EXPECT_EQ(+e.attdef.vertical_justification, 0);
    EXPECT_EQ(+e.attdef.style_handle, nullptr);
}

TEST(EntityDefaults, AttributeSetsOnlyHeightTextsAndWidth) {
    const CDB_ENTITY e = Default(CDB_ATTRIB);
    ExpectPoint(e.attrib.insertion_point, 0, 0, 0);
    EXPECT_EQ(+e.attrib.height, 0.2);
    EXPECT_STREQ(+e.attrib.value, "NOT_ASSIGNED");
    EXPECT_STREQ(+e.attrib.tag, "NOT_ASSIGNED");
    EXPECT_EQ(+e.attrib.width_factor, 1.0);
    EXPECT_EQ(+e.attrib.rotation, 0);
    EXPECT_EQ(+e.attrib.flags, 0);
}

TEST(EntityDefaults, PolylineVertexAndSequenceEndAreAllZero) {
    for (short code : {CDB_POLYLINE, CDB_VERTEX, CDB_SEQEND, CDB_ELLIPSE}) {
        const CDB_ENTITY e = Default(code);
        EXPECT_EQ(+e.entity_type, code);
        EXPECT_TRUE(KindPartZeroFrom(e, offsetof(CDB_ENTITY, line))) << code;
    }
}

TEST(EntityDefaults, DimensionHasOnlyItsText) {
    const CDB_ENTITY e = Default(CDB_DIMENSION);
    EXPECT_STREQ(+e.dimension.text, "NOT_ASSIGNED");
    EXPECT_EQ(+e.dimension.block_index, 0);
    EXPECT_EQ(+e.dimension.dimension_type, 0);
    EXPECT_TRUE(KindPartZeroFrom(e, offsetof(CDB_ENTITY, dimension.block_index)));
}

TEST(EntityDefaults, ViewportHasIdOneAndMviewApplication) {
    const CDB_ENTITY e = Default(CDB_VIEWPORT);
    EXPECT_EQ(+e.entity_type, CDB_VIEWPORT);
    EXPECT_EQ(+e.viewport.viewport_id, 1);
    EXPECT_STREQ(+e.viewport.eed_application, "MVIEW");
    EXPECT_EQ(+e.viewport.data_version, 16);
    EXPECT_EQ(+e.viewport.eed_version, 0);
}

TEST(EntityDefaults, ViewportBoxIsNineHighInScreenProportion) {
    const CDB_VIEWPORT_type v = Default(CDB_VIEWPORT).viewport;
    EXPECT_EQ(+v.view_center.x, 7.953781512605);
    EXPECT_EQ(+v.view_center.y, 4.5);
    ExpectPoint(v.center, 7.953781512605, 4.5, 0);
    EXPECT_EQ(+v.width, 15.90756302521);
    EXPECT_DOUBLE_EQ(+v.width, 2 * v.center.x);
    EXPECT_EQ(+v.height, 9.0);
    EXPECT_EQ(+v.view_height, 9.0);
}

TEST(EntityDefaults, ViewportViewSettings) {
    const CDB_VIEWPORT_type v = Default(CDB_VIEWPORT).viewport;
    EXPECT_EQ(+v.snap_base.x, 0);
    EXPECT_EQ(+v.snap_spacing.x, 1);
    EXPECT_EQ(+v.snap_spacing.y, 1);
    EXPECT_EQ(+v.grid_spacing.x, 0);
    ExpectPoint(v.view_direction, 0, 0, 1);
    ExpectPoint(v.view_target, 0, 0, 0);
    EXPECT_EQ(+v.aspect_ratio, 0);
    EXPECT_EQ(+v.lens_length, 50.0);
    EXPECT_EQ(+v.front_clip, 0);
    EXPECT_EQ(+v.twist_angle, 0);
    EXPECT_EQ(+v.vx_index, 0);
    EXPECT_EQ(+v.view_mode, 0);
    EXPECT_EQ(+v.circle_zoom, 100);
    EXPECT_EQ(+v.fast_zoom, 1);
    EXPECT_EQ(+v.ucs_icon, 1);
    EXPECT_EQ(+v.snap_mode, 0);
    EXPECT_EQ(+v.grid_mode, 0);
    EXPECT_EQ(+v.snap_isopair, 0);
    EXPECT_EQ(+v.links.link_count, 0);
    EXPECT_EQ(+v.hidden_in_plot, 0);
    EXPECT_EQ(+v.frozen_layers, nullptr);
    EXPECT_EQ(+v.frozen_layer_count, 0);
}

TEST(EntityDefaults, ViewportCarriesOneStaticExtendedDataBlock) {
    const CDB_ENTITY a = Default(CDB_VIEWPORT);
    const CDB_ENTITY b = Default(CDB_VIEWPORT);
    ASSERT_NE(+a.eed_data, nullptr);
    EXPECT_EQ(+a.eed_data[0], 1);
    EXPECT_EQ(+a.eed_size, 224);
    EXPECT_EQ(+a.eed_data, +b.eed_data);
    // No other kind carries extended data by default.
    EXPECT_EQ(+Default(CDB_LINE).eed_data, nullptr);
    EXPECT_EQ(+Default(CDB_LINE).eed_size, 0);
}

TEST(EntityDefaults, MultiLineTextDefaults) {
    const CDB_ENTITY e = Default(CDB_MTEXT);
    EXPECT_EQ(+e.mtext.width, 5.0);
    EXPECT_EQ(+e.mtext.height, 0.2);
    EXPECT_STREQ(+e.mtext.text, "NOT_ASSIGNED");
    EXPECT_EQ(+e.mtext.attachment_point, 1);
    EXPECT_EQ(+e.mtext.drawing_direction, 1);
    EXPECT_EQ(+e.mtext.reserved, 0);
    EXPECT_EQ(+e.mtext.style_handle, nullptr);
    ExpectPoint(e.mtext.insertion_point, 0, 0, 0);
}

TEST(EntityDefaults, LeaderDefaults) {
    const CDB_ENTITY e = Default(CDB_LEADER);
    EXPECT_EQ(+e.leader.vertex_count, 0);
    EXPECT_EQ(+e.leader.vertices, nullptr);
    EXPECT_EQ(+e.leader.path_type, 0);
    ExpectPoint(e.leader.normal, 0, 0, 1);
    ExpectPoint(e.leader.x_direction, 1, 0, 0);
    EXPECT_EQ(+e.leader.arrow_head, 1);
    EXPECT_EQ(+e.leader.annotation_type, 0);
    EXPECT_EQ(+e.leader.text_height, 0.9);
    EXPECT_EQ(+e.leader.color, 0);
}

TEST(EntityDefaults, ToleranceDefaults) {
    const CDB_ENTITY e = Default(CDB_TOLERANCE);
    ExpectPoint(e.tolerance.insertion_point, 0, 0, 0);
    ExpectPoint(e.tolerance.x_axis_direction, 1, 0, 0);
    ExpectPoint(e.tolerance.normal, 0, 0, 1);
    EXPECT_STREQ(+e.tolerance.text, "NOT_ASSIGNED");
    EXPECT_EQ(+e.tolerance.dimstyle_index, 0);
    EXPECT_EQ(+e.tolerance.dimstyle_handle, nullptr);
}

TEST(KindNames, EveryKindHasItsDxfName) {
    EXPECT_STREQ(EntityKindName(CDB_LINE), "LINE");
    EXPECT_STREQ(EntityKindName(CDB_3DFACE), "3DFACE");
    EXPECT_STREQ(EntityKindName(CDB_VIEWPORT), "VIEWPORT");
    EXPECT_STREQ(EntityKindName(CDB_MTEXT), "MTEXT");
    EXPECT_STREQ(EntityKindName(CDB_OLEFRAME), "OLEFRAME");
    EXPECT_STREQ(EntityKindName(5), "UNKNOWN");
    EXPECT_STREQ(EntityKindName(18), "UNKNOWN");
}
