// The public records are byte-packed: every field follows the one before it with no
// padding, whatever its alignment would otherwise be.
#include "velkow32.h"

#include <gtest/gtest.h>

#include <cstddef>

namespace {

constexpr size_t kPtr = sizeof(void *);

} // namespace

// Field `b` comes right behind field `a` of record `T`.
#define EXPECT_ADJACENT(T, a, b)                                                                   \
    EXPECT_EQ(offsetof(T, b), offsetof(T, a) + sizeof(static_cast<T *>(nullptr)->a))               \
        << #T "::" #a " -> " #b
// Field `a` is the last of record `T`.
#define EXPECT_LAST(T, a)                                                                          \
    EXPECT_EQ(sizeof(T), offsetof(T, a) + sizeof(static_cast<T *>(nullptr)->a)) << #T "::" #a

TEST(RecordLayout, RecordsHaveNoAlignment) {
    EXPECT_EQ(alignof(CDB_ENTITY), 1u);
    EXPECT_EQ(alignof(CDB_STARTBLOCK_ENTITY_type), 1u);
    EXPECT_EQ(alignof(CDB_SHAPE_ENTITY_type), 1u);
    EXPECT_EQ(alignof(CDB_LAYER_TBL_type), 1u);
    EXPECT_EQ(alignof(CDB_LTYPE_TBL_type), 1u);
    EXPECT_EQ(alignof(CDB_STYLE_TBL_type), 1u);
    EXPECT_EQ(alignof(CDB_VPORT_TBL_type), 1u);
    EXPECT_EQ(alignof(CDB_VIEW_TBL_type), 1u);
    EXPECT_EQ(alignof(CDB_UCS_TBL_type), 1u);
    EXPECT_EQ(alignof(CDB_APPID_TBL_type), 1u);
    EXPECT_EQ(alignof(CDB_DIMSTYLE_TBL_type), 1u);
    EXPECT_EQ(alignof(CDB_MLINESTYLE_TBL_type), 1u);
    EXPECT_EQ(alignof(CDB_BLOCK_TBL), 1u);
    EXPECT_EQ(alignof(CDB_HEADER_type), 1u);
    EXPECT_EQ(alignof(CDB_EED_type), 1u);
}

TEST(RecordLayout, BasicTypesHaveTheirStatedWidths) {
    EXPECT_EQ(sizeof(CDB_POINT2), 16u);
    EXPECT_EQ(sizeof(CDB_POINT3), 24u);
    EXPECT_EQ(sizeof(CHandleRef), 6u);
    EXPECT_EQ(sizeof(CDB_VAR_VALUE_type), 64u);
    EXPECT_EQ(sizeof(CDB_EED_VALUES), 512u);
    EXPECT_EQ(sizeof(CDB_EED_type), kPtr + 4);
    EXPECT_EQ(sizeof(CDB_FILE_INFO), 29u);
    EXPECT_EQ(sizeof(CDB_SPLINE_CONTROL_POINT), 32u);
}

TEST(RecordLayout, HandleFollowsEntityTypeAtOffsetTwo) {
    EXPECT_EQ(offsetof(CDB_ENTITY, entity_type), 0u);
    EXPECT_EQ(offsetof(CDB_ENTITY, handle), 2u);
    EXPECT_EQ(offsetof(CDB_ENTITY, layer_index), 2 + kPtr);
    EXPECT_EQ(offsetof(CDB_ENTITY, reserved_points), 6 + 3 * kPtr);
}

TEST(RecordLayout, EntityCommonPartIsPacked) {
    EXPECT_ADJACENT(CDB_ENTITY, entity_type, handle);
    EXPECT_ADJACENT(CDB_ENTITY, handle, layer_index);
    EXPECT_ADJACENT(CDB_ENTITY, layer_index, layer_handle);
    EXPECT_ADJACENT(CDB_ENTITY, layer_handle, line_type_index);
    EXPECT_ADJACENT(CDB_ENTITY, line_type_index, line_type_handle);
    EXPECT_ADJACENT(CDB_ENTITY, line_type_handle, reserved_points);
    EXPECT_ADJACENT(CDB_ENTITY, reserved_points, elevation);
    EXPECT_ADJACENT(CDB_ENTITY, elevation, thickness);
    EXPECT_ADJACENT(CDB_ENTITY, thickness, color);
    EXPECT_ADJACENT(CDB_ENTITY, color, line_type_scale);
    EXPECT_ADJACENT(CDB_ENTITY, line_type_scale, space);
    EXPECT_ADJACENT(CDB_ENTITY, space, extrusion);
    EXPECT_ADJACENT(CDB_ENTITY, extrusion, eed_size);
    EXPECT_ADJACENT(CDB_ENTITY, eed_size, eed_data);
    EXPECT_ADJACENT(CDB_ENTITY, eed_data, invisibility);
    EXPECT_ADJACENT(CDB_ENTITY, invisibility, owner);
    EXPECT_ADJACENT(CDB_ENTITY, owner, object_bits);
    EXPECT_ADJACENT(CDB_ENTITY, object_bits, dictionary);
    EXPECT_ADJACENT(CDB_ENTITY, dictionary, previous);
    EXPECT_ADJACENT(CDB_ENTITY, previous, next);
    EXPECT_ADJACENT(CDB_ENTITY, next, no_links);
    EXPECT_ADJACENT(CDB_ENTITY, no_links, line_type_bylayer);
    EXPECT_ADJACENT(CDB_ENTITY, line_type_bylayer, has_owner);
    EXPECT_ADJACENT(CDB_ENTITY, has_owner, has_graphic);
    EXPECT_ADJACENT(CDB_ENTITY, has_graphic, reserved_bit_1);
    EXPECT_ADJACENT(CDB_ENTITY, reserved_bit_1, reserved_bit_2);
    EXPECT_ADJACENT(CDB_ENTITY, reserved_bit_2, mode_model);
    EXPECT_ADJACENT(CDB_ENTITY, mode_model, mode_paper);
    EXPECT_ADJACENT(CDB_ENTITY, mode_paper, line);
}

TEST(RecordLayout, AllKindPartsStartBehindTheCommonPart) {
    const size_t start = offsetof(CDB_ENTITY, line);
    EXPECT_EQ(offsetof(CDB_ENTITY, point), start);
    EXPECT_EQ(offsetof(CDB_ENTITY, text), start);
    EXPECT_EQ(offsetof(CDB_ENTITY, viewport), start);
    EXPECT_EQ(offsetof(CDB_ENTITY, spline), start);
    EXPECT_EQ(offsetof(CDB_ENTITY, ole), start);
}

TEST(RecordLayout, ViewportIsTheLongestKind) {
    const size_t start = offsetof(CDB_ENTITY, line);
    EXPECT_EQ(sizeof(CDB_ENTITY), start + sizeof(CDB_VIEWPORT_type));
    EXPECT_GT(sizeof(CDB_VIEWPORT_type), sizeof(CDB_DIMENSION_type));
    EXPECT_GT(sizeof(CDB_VIEWPORT_type), sizeof(CDB_LEADER_type));
}

TEST(RecordLayout, KindPartsArePacked) {
    EXPECT_EQ(sizeof(CDB_LINE_type), 48u);
    EXPECT_ADJACENT(CDB_TEXT_type, height, text);
    EXPECT_ADJACENT(CDB_TEXT_type, text, rotation);
    EXPECT_ADJACENT(CDB_TEXT_type, generation_flags, horizontal_justification);
    EXPECT_ADJACENT(CDB_TEXT_type, horizontal_justification, vertical_justification);
    EXPECT_ADJACENT(CDB_TEXT_type, vertical_justification, alignment_point);
    EXPECT_LAST(CDB_TEXT_type, style_handle);
    EXPECT_ADJACENT(CDB_SHAPE_type, shape_style_index, style_handle);
    EXPECT_LAST(CDB_SHAPE_type, shape_flags);
    EXPECT_ADJACENT(CDB_INSERT_type, block_index, block_handle);
    EXPECT_ADJACENT(CDB_INSERT_type, column_count, row_count);
    EXPECT_LAST(CDB_INSERT_type, row_spacing);
    EXPECT_ADJACENT(CDB_VERTEX_type, flags, tangent_direction);
    EXPECT_LAST(CDB_VERTEX_type, polyface_index_4);
    EXPECT_LAST(CDB_3DFACE_type, invisible_edges);
    EXPECT_ADJACENT(CDB_DIMENSION_type, text, block_index);
    EXPECT_LAST(CDB_DIMENSION_type, dimension_type);
    EXPECT_ADJACENT(CDB_SPLINE_type, fit_point_count, knot_tolerance);
    EXPECT_LAST(CDB_SPLINE_type, knots);
    EXPECT_ADJACENT(CDB_LEADER_type, vertex_count, vertices);
    EXPECT_LAST(CDB_LEADER_type, offset_to_block);
    EXPECT_ADJACENT(CDB_OLE_type, ole_version, data_size);
    EXPECT_LAST(CDB_OLE_type, data);
    EXPECT_ADJACENT(CDB_3DSOLID_type, reserved, format_version);
}

TEST(RecordLayout, ViewportFieldsArePacked) {
    EXPECT_ADJACENT(CDB_VIEWPORT_type, twist_angle, vx_index);
    EXPECT_ADJACENT(CDB_VIEWPORT_type, snap_isopair, links);
    EXPECT_ADJACENT(CDB_VIEWPORT_type, links, center);
    EXPECT_ADJACENT(CDB_VIEWPORT_type, height, eed_version);
    EXPECT_ADJACENT(CDB_VIEWPORT_type, eed_version, eed_application);
    EXPECT_EQ(sizeof(static_cast<CDB_VIEWPORT_type *>(nullptr)->eed_application), 6u);
    EXPECT_ADJACENT(CDB_VIEWPORT_type, eed_application, data_version);
    EXPECT_LAST(CDB_VIEWPORT_type, frozen_layer_count);
}

TEST(RecordLayout, ViewportRunMatchesTheVportTableRecord) {
    // From view_center to snap_isopair the entity has the order and widths of the
    // viewport table record.
    const size_t entity_run =
        offsetof(CDB_VIEWPORT_type, snap_isopair) - offsetof(CDB_VIEWPORT_type, view_center);
    const size_t table_run =
        offsetof(CDB_VPORT_TBL_type, snap_isopair) - offsetof(CDB_VPORT_TBL_type, view_center);
    EXPECT_EQ(entity_run, table_run);
    EXPECT_EQ(offsetof(CDB_VIEWPORT_type, viewport_id) - offsetof(CDB_VIEWPORT_type, view_center),
              offsetof(CDB_VPORT_TBL_type, viewport_id) -
                  offsetof(CDB_VPORT_TBL_type, view_center));
}

TEST(RecordLayout, StartBlockAndShapeRecordsOverlayTheEntity) {
    EXPECT_EQ(offsetof(CDB_STARTBLOCK_ENTITY_type, mode_paper), offsetof(CDB_ENTITY, mode_paper));
    EXPECT_EQ(offsetof(CDB_STARTBLOCK_ENTITY_type, xref_path),
              offsetof(CDB_ENTITY, block.xref_path));
    EXPECT_EQ(offsetof(CDB_STARTBLOCK_ENTITY_type, name), offsetof(CDB_ENTITY, block.name));
    EXPECT_EQ(offsetof(CDB_STARTBLOCK_ENTITY_type, flags), offsetof(CDB_ENTITY, block.flags));
    EXPECT_EQ(offsetof(CDB_STARTBLOCK_ENTITY_type, base_point),
              offsetof(CDB_ENTITY, block.base_point));
    EXPECT_EQ(offsetof(CDB_SHAPE_ENTITY_type, insertion_point),
              offsetof(CDB_ENTITY, shape.insertion_point));
    EXPECT_EQ(offsetof(CDB_SHAPE_ENTITY_type, shape_style_index),
              offsetof(CDB_ENTITY, shape.shape_style_index));
    EXPECT_EQ(offsetof(CDB_SHAPE_ENTITY_type, shape_flags),
              offsetof(CDB_ENTITY, shape.shape_flags));
    EXPECT_LE(sizeof(CDB_STARTBLOCK_ENTITY_type), sizeof(CDB_ENTITY));
    EXPECT_LE(sizeof(CDB_SHAPE_ENTITY_type), sizeof(CDB_ENTITY));
}

TEST(RecordLayout, TableRecordsOpenWithTheName) {
    EXPECT_EQ(offsetof(CDB_LAYER_TBL_type, name), 0u);
    EXPECT_EQ(offsetof(CDB_LTYPE_TBL_type, name), 0u);
    EXPECT_EQ(offsetof(CDB_STYLE_TBL_type, name), 0u);
    EXPECT_EQ(offsetof(CDB_VPORT_TBL_type, name), 0u);
    EXPECT_EQ(offsetof(CDB_VIEW_TBL_type, name), 0u);
    EXPECT_EQ(offsetof(CDB_UCS_TBL_type, name), 0u);
    EXPECT_EQ(offsetof(CDB_APPID_TBL_type, name), 0u);
    EXPECT_EQ(offsetof(CDB_DIMSTYLE_TBL_type, name), 0u);
    EXPECT_EQ(offsetof(CDB_MLINESTYLE_TBL_type, name), 0u);
    EXPECT_EQ(offsetof(CDB_LAYER_TBL_type, handle), kPtr);
}

TEST(RecordLayout, BlockTableRecordHasFlagsFirstAndNameLast) {
    EXPECT_EQ(offsetof(CDB_BLOCK_TBL, flags), 0u);
    EXPECT_EQ(offsetof(CDB_BLOCK_TBL, handle), 1u);
    EXPECT_ADJACENT(CDB_BLOCK_TBL, handle, links);
    EXPECT_ADJACENT(CDB_BLOCK_TBL, links, name);
    EXPECT_LAST(CDB_BLOCK_TBL, name);
    EXPECT_EQ(sizeof(CDB_BLOCK_LINKS), 7 * 6 + 2u);
}

TEST(RecordLayout, TableRecordsArePacked) {
    EXPECT_ADJACENT(CDB_LAYER_TBL_type, handle, flags);
    EXPECT_ADJACENT(CDB_LAYER_TBL_type, flags, flags_copy);
    EXPECT_ADJACENT(CDB_LAYER_TBL_type, flags_copy, color);
    EXPECT_ADJACENT(CDB_LAYER_TBL_type, line_type_handle, links);
    EXPECT_LAST(CDB_LAYER_TBL_type, links);
    EXPECT_ADJACENT(CDB_LTYPE_TBL_type, flags, description);
    EXPECT_ADJACENT(CDB_LTYPE_TBL_type, dash_count, pattern_length);
    EXPECT_ADJACENT(CDB_LTYPE_TBL_type, dashes, entry_code);
    EXPECT_ADJACENT(CDB_LTYPE_TBL_type, entry_code, shape_numbers);
    EXPECT_LAST(CDB_LTYPE_TBL_type, links);
    EXPECT_ADJACENT(CDB_STYLE_TBL_type, flags, height);
    EXPECT_ADJACENT(CDB_STYLE_TBL_type, generation_flags, last_height);
    EXPECT_LAST(CDB_STYLE_TBL_type, links);
    EXPECT_ADJACENT(CDB_VPORT_TBL_type, flags, lower_left);
    EXPECT_LAST(CDB_VPORT_TBL_type, links);
    EXPECT_ADJACENT(CDB_VIEW_TBL_type, flags, height);
    EXPECT_LAST(CDB_VIEW_TBL_type, links);
    EXPECT_ADJACENT(CDB_UCS_TBL_type, flags, origin);
    EXPECT_LAST(CDB_UCS_TBL_type, links);
    EXPECT_ADJACENT(CDB_APPID_TBL_type, flags, links);
    EXPECT_LAST(CDB_APPID_TBL_type, links);
    EXPECT_ADJACENT(CDB_DIMSTYLE_TBL_type, flags, dimpost);
    EXPECT_ADJACENT(CDB_DIMSTYLE_TBL_type, dimblk2, entry_code);
    EXPECT_ADJACENT(CDB_DIMSTYLE_TBL_type, entry_code, dimscale);
    EXPECT_ADJACENT(CDB_DIMSTYLE_TBL_type, dimgap, dimtol);
    EXPECT_ADJACENT(CDB_DIMSTYLE_TBL_type, dimalttd, dimtxsty);
    EXPECT_ADJACENT(CDB_DIMSTYLE_TBL_type, dimtxsty, dimaunit);
    EXPECT_LAST(CDB_DIMSTYLE_TBL_type, links);
    EXPECT_ADJACENT(CDB_MLINESTYLE_TBL_type, fill_color, description);
    EXPECT_LAST(CDB_MLINESTYLE_TBL_type, elements);
    EXPECT_EQ(sizeof(CDB_TABLE_LINKS), 2 + 3 * 6u);
}

TEST(RecordLayout, HeaderRecordIsPacked) {
    EXPECT_EQ(offsetof(CDB_HEADER_type, acadver), 0u);
    EXPECT_EQ(offsetof(CDB_HEADER_type, angbase), kPtr);
    EXPECT_ADJACENT(CDB_HEADER_type, angbase, angdir);
    EXPECT_ADJACENT(CDB_HEADER_type, axismode, axisunit);
    EXPECT_ADJACENT(CDB_HEADER_type, celtype, hceltype);
    EXPECT_ADJACENT(CDB_HEADER_type, hceltype, chamfera);
    EXPECT_ADJACENT(CDB_HEADER_type, userivar5, userrvar1);
    EXPECT_ADJACENT(CDB_HEADER_type, userrvar5, usrtimer);
    EXPECT_ADJACENT(CDB_HEADER_type, visretain, worldview);
    EXPECT_ADJACENT(CDB_HEADER_type, worldview, treedepth);
    EXPECT_LAST(CDB_HEADER_type, pinsbase);
    // 104 integers, 45 doubles, 9 two-point and 13 three-point values, 17 texts.
    EXPECT_EQ(sizeof(CDB_HEADER_type), 104 * 2 + 45 * 8 + 9 * 16 + 13 * 24 + 17 * kPtr);
}

TEST(RecordLayout, EedCursorIsPacked) {
    EXPECT_EQ(offsetof(CDB_EED_type, data), 0u);
    EXPECT_EQ(offsetof(CDB_EED_type, size), kPtr);
    EXPECT_EQ(offsetof(CDB_EED_type, position), kPtr + 2);
}
