// The snapshot of a drawing through the public interface and the field by field comparison
// of two drawings; see drawing_snapshot.h.
#include "support/drawing_snapshot.h"

#include "records/entity_kinds.h"
#include "support/corpus.h"
#include "walk/walk_support.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <strings.h>
#include <filesystem>
#include <map>

#include <unistd.h>

namespace velko_test {
namespace snapshot {

using walk::FreeCopies;
using walk::NewBlockRecord;
using walk::NewRecord;

// ---------------------------------------------------------------------------
// Field visitors
// ---------------------------------------------------------------------------

void P3(FieldSink &s, const std::string &field, int group, CDB_POINT3 a, CDB_POINT3 b) {
    s.Real(field + ".x", group, a.x, b.x);
    s.Real(field + ".y", group < 0 ? group : group + 10, a.y, b.y);
    s.Real(field + ".z", group < 0 ? group : group + 20, a.z, b.z);
}

void P2(FieldSink &s, const std::string &field, int group, CDB_POINT2 a, CDB_POINT2 b) {
    s.Real(field + ".x", group, a.x, b.x);
    s.Real(field + ".y", group < 0 ? group : group + 10, a.y, b.y);
}

namespace {

void Ref(FieldSink &s, const std::string &field, CHandleRef a, CHandleRef b) {
    s.Int(field + ".code", -1, a.code, b.code);
    s.Int(field + ".value", -1, static_cast<long>(a.value), static_cast<long>(b.value));
}

void Links(FieldSink &s, CDB_TABLE_LINKS a, CDB_TABLE_LINKS b) {
    s.Int("links.link_count", -1, a.link_count, b.link_count);
    Ref(s, "links.owner", a.owner, b.owner);
    Ref(s, "links.reactor", a.reactor, b.reactor);
    Ref(s, "links.dictionary", a.dictionary, b.dictionary);
}

// The common part; the release 13 link block is compared too (it must stay zero).
template <typename Record> void VisitCommon(const Record &a, const Record &b, FieldSink &s) {
    s.Int("entity_type", -1, a.entity_type, b.entity_type);
    s.Text("handle", 5, a.handle, b.handle);
    s.Int("layer_index", 8, a.layer_index, b.layer_index);
    s.Text("layer_handle", -1, a.layer_handle, b.layer_handle);
    s.Int("line_type_index", 6, a.line_type_index, b.line_type_index);
    s.Text("line_type_handle", -1, a.line_type_handle, b.line_type_handle);
    P3(s, "reserved_points[0]", -1, a.reserved_points[0], b.reserved_points[0]);
    P3(s, "reserved_points[1]", -1, a.reserved_points[1], b.reserved_points[1]);
    s.Real("elevation", 38, a.elevation, b.elevation);
    s.Real("thickness", 39, a.thickness, b.thickness);
    s.Int("color", 62, a.color, b.color);
    s.Real("line_type_scale", 48, a.line_type_scale, b.line_type_scale);
    s.Int("space", 67, a.space, b.space);
    P3(s, "extrusion", 210, a.extrusion, b.extrusion);
    s.Data("eed", a.eed_data, a.eed_data ? a.eed_size : 0, b.eed_data, b.eed_data ? b.eed_size : 0);
    s.Int("eed_size", -1, a.eed_size, b.eed_size);
    s.Int("invisibility", 60, a.invisibility, b.invisibility);
    Ref(s, "owner", a.owner, b.owner);
    s.Int("object_bits", -1, static_cast<long>(a.object_bits), static_cast<long>(b.object_bits));
    Ref(s, "dictionary", a.dictionary, b.dictionary);
    Ref(s, "previous", a.previous, b.previous);
    Ref(s, "next", a.next, b.next);
    s.Int("no_links", -1, static_cast<long>(a.no_links), static_cast<long>(b.no_links));
    s.Int("line_type_bylayer", -1, static_cast<long>(a.line_type_bylayer),
          static_cast<long>(b.line_type_bylayer));
    s.Int("has_owner", -1, static_cast<long>(a.has_owner), static_cast<long>(b.has_owner));
    s.Int("has_graphic", -1, static_cast<long>(a.has_graphic), static_cast<long>(b.has_graphic));
    s.Int("reserved_bit_1", -1, static_cast<long>(a.reserved_bit_1),
          static_cast<long>(b.reserved_bit_1));
    s.Int("reserved_bit_2", -1, static_cast<long>(a.reserved_bit_2),
          static_cast<long>(b.reserved_bit_2));
    s.Int("mode_model", -1, static_cast<long>(a.mode_model), static_cast<long>(b.mode_model));
    s.Int("mode_paper", -1, static_cast<long>(a.mode_paper), static_cast<long>(b.mode_paper));
}

} // namespace

void VisitEntity(const CDB_ENTITY &a, const CDB_ENTITY &b, FieldSink &s) {
    VisitCommon(a, b, s);
    if (a.entity_type != b.entity_type)
        return;
    switch (a.entity_type) {
    case CDB_LINE:
    case CDB_3DLINE:
        P3(s, "start_point", 10, a.line.start_point, b.line.start_point);
        P3(s, "end_point", 11, a.line.end_point, b.line.end_point);
        break;
    case CDB_POINT:
        P3(s, "location", 10, a.point.location, b.point.location);
        s.Real("x_axis_angle", 50, a.point.x_axis_angle, b.point.x_axis_angle);
        break;
    case CDB_CIRCLE:
        P3(s, "center", 10, a.circle.center, b.circle.center);
        s.Real("radius", 40, a.circle.radius, b.circle.radius);
        break;
    case CDB_SHAPE:
        P3(s, "insertion_point", 10, a.shape.insertion_point, b.shape.insertion_point);
        s.Real("size", 40, a.shape.size, b.shape.size);
        s.Int("shape_number", 2, a.shape.shape_number, b.shape.shape_number);
        s.Int("shape_style_index", 2, a.shape.shape_style_index, b.shape.shape_style_index);
        s.Text("style_handle", -1, a.shape.style_handle, b.shape.style_handle);
        s.Real("rotation", 50, a.shape.rotation, b.shape.rotation);
        s.Real("x_scale", 41, a.shape.x_scale, b.shape.x_scale);
        s.Real("oblique_angle", 51, a.shape.oblique_angle, b.shape.oblique_angle);
        s.Int("shape_flags", -1, a.shape.shape_flags, b.shape.shape_flags);
        break;
    case CDB_TEXT:
        P3(s, "insertion_point", 10, a.text.insertion_point, b.text.insertion_point);
        s.Real("height", 40, a.text.height, b.text.height);
        s.Text("text", 1, a.text.text, b.text.text);
        s.Real("rotation", 50, a.text.rotation, b.text.rotation);
        s.Real("width_factor", 41, a.text.width_factor, b.text.width_factor);
        s.Real("oblique_angle", 51, a.text.oblique_angle, b.text.oblique_angle);
        s.Int("style_index", 7, a.text.style_index, b.text.style_index);
        s.Int("generation_flags", 71, a.text.generation_flags, b.text.generation_flags);
        s.Int("horizontal_justification", 72, a.text.horizontal_justification,
              b.text.horizontal_justification);
        s.Int("vertical_justification", 73, a.text.vertical_justification,
              b.text.vertical_justification);
        P3(s, "alignment_point", 11, a.text.alignment_point, b.text.alignment_point);
        s.Text("style_handle", -1, a.text.style_handle, b.text.style_handle);
        break;
    case CDB_ARC:
        P3(s, "center", 10, a.arc.center, b.arc.center);
        s.Real("radius", 40, a.arc.radius, b.arc.radius);
        s.Real("start_angle", 50, a.arc.start_angle, b.arc.start_angle);
        s.Real("end_angle", 51, a.arc.end_angle, b.arc.end_angle);
        break;
    case CDB_TRACE:
    case CDB_SOLID:
        P3(s, "corner_1", 10, a.trace.corner_1, b.trace.corner_1);
        P3(s, "corner_2", 11, a.trace.corner_2, b.trace.corner_2);
        P3(s, "corner_3", 12, a.trace.corner_3, b.trace.corner_3);
        P3(s, "corner_4", 13, a.trace.corner_4, b.trace.corner_4);
        break;
    case CDB_BLOCK:
        s.Text("xref_path", 1, a.block.xref_path, b.block.xref_path);
        s.Text("name", 2, a.block.name, b.block.name);
        s.Text("name_2", 3, a.block.name_2, b.block.name_2);
        s.Int("flags", 70, a.block.flags, b.block.flags);
        P3(s, "base_point", 10, a.block.base_point, b.block.base_point);
        break;
    case CDB_INSERT:
        s.Int("attributes_follow", 66, a.insert.attributes_follow, b.insert.attributes_follow);
        s.Int("block_index", 2, a.insert.block_index, b.insert.block_index);
        s.Text("block_handle", -1, a.insert.block_handle, b.insert.block_handle);
        P3(s, "insertion_point", 10, a.insert.insertion_point, b.insert.insertion_point);
        s.Real("x_scale", 41, a.insert.x_scale, b.insert.x_scale);
        s.Real("y_scale", 42, a.insert.y_scale, b.insert.y_scale);
        s.Real("z_scale", 43, a.insert.z_scale, b.insert.z_scale);
        s.Real("rotation", 50, a.insert.rotation, b.insert.rotation);
        s.Int("column_count", 70, a.insert.column_count, b.insert.column_count);
        s.Int("row_count", 71, a.insert.row_count, b.insert.row_count);
        s.Real("column_spacing", 44, a.insert.column_spacing, b.insert.column_spacing);
        s.Real("row_spacing", 45, a.insert.row_spacing, b.insert.row_spacing);
        break;
    case CDB_ATTDEF:
        P3(s, "insertion_point", 10, a.attdef.insertion_point, b.attdef.insertion_point);
        s.Real("height", 40, a.attdef.height, b.attdef.height);
        s.Text("default_value", 1, a.attdef.default_value, b.attdef.default_value);
        s.Text("prompt", 3, a.attdef.prompt, b.attdef.prompt);
        s.Text("tag", 2, a.attdef.tag, b.attdef.tag);
        s.Int("flags", 70, a.attdef.flags, b.attdef.flags);
        s.Int("field_length", 73, a.attdef.field_length, b.attdef.field_length);
        s.Real("rotation", 50, a.attdef.rotation, b.attdef.rotation);
        s.Real("width_factor", 41, a.attdef.width_factor, b.attdef.width_factor);
        s.Real("oblique_angle", 51, a.attdef.oblique_angle, b.attdef.oblique_angle);
        s.Int("style_index", 7, a.attdef.style_index, b.attdef.style_index);
        s.Int("generation_flags", 71, a.attdef.generation_flags, b.attdef.generation_flags);
        s.Int("horizontal_justification", 72, a.attdef.horizontal_justification,
              b.attdef.horizontal_justification);
        s.Int("vertical_justification", 74, a.attdef.vertical_justification,
              b.attdef.vertical_justification);
        P3(s, "alignment_point", 11, a.attdef.alignment_point, b.attdef.alignment_point);
        s.Text("style_handle", -1, a.attdef.style_handle, b.attdef.style_handle);
        break;
    case CDB_ATTRIB:
        P3(s, "insertion_point", 10, a.attrib.insertion_point, b.attrib.insertion_point);
        s.Real("height", 40, a.attrib.height, b.attrib.height);
        s.Text("value", 1, a.attrib.value, b.attrib.value);
        s.Text("tag", 2, a.attrib.tag, b.attrib.tag);
        s.Int("flags", 70, a.attrib.flags, b.attrib.flags);
        s.Int("field_length", 73, a.attrib.field_length, b.attrib.field_length);
        s.Real("rotation", 50, a.attrib.rotation, b.attrib.rotation);
        s.Real("width_factor", 41, a.attrib.width_factor, b.attrib.width_factor);
        s.Real("oblique_angle", 51, a.attrib.oblique_angle, b.attrib.oblique_angle);
        s.Int("style_index", 7, a.attrib.style_index, b.attrib.style_index);
        s.Int("generation_flags", 71, a.attrib.generation_flags, b.attrib.generation_flags);
        s.Int("horizontal_justification", 72, a.attrib.horizontal_justification,
              b.attrib.horizontal_justification);
        s.Int("vertical_justification", 74, a.attrib.vertical_justification,
              b.attrib.vertical_justification);
        P3(s, "alignment_point", 11, a.attrib.alignment_point, b.attrib.alignment_point);
        s.Text("style_handle", -1, a.attrib.style_handle, b.attrib.style_handle);
        break;
    case CDB_POLYLINE:
        s.Int("polyline_kind", -1, a.polyline.polyline_kind, b.polyline.polyline_kind);
        s.Int("vertices_follow", 66, a.polyline.vertices_follow, b.polyline.vertices_follow);
        P3(s, "origin", 10, a.polyline.origin, b.polyline.origin);
        s.Int("flags", 70, a.polyline.flags, b.polyline.flags);
        s.Real("start_width", 40, a.polyline.start_width, b.polyline.start_width);
        s.Real("end_width", 41, a.polyline.end_width, b.polyline.end_width);
        s.Int("mesh_m_count", 71, a.polyline.mesh_m_count, b.polyline.mesh_m_count);
        s.Int("mesh_n_count", 72, a.polyline.mesh_n_count, b.polyline.mesh_n_count);
        s.Int("smooth_m_density", 73, a.polyline.smooth_m_density, b.polyline.smooth_m_density);
        s.Int("smooth_n_density", 74, a.polyline.smooth_n_density, b.polyline.smooth_n_density);
        s.Int("curve_type", 75, a.polyline.curve_type, b.polyline.curve_type);
        break;
    case CDB_VERTEX:
        P3(s, "location", 10, a.vertex.location, b.vertex.location);
        s.Real("start_width", 40, a.vertex.start_width, b.vertex.start_width);
        s.Real("end_width", 41, a.vertex.end_width, b.vertex.end_width);
        s.Real("bulge", 42, a.vertex.bulge, b.vertex.bulge);
        s.Int("flags", 70, a.vertex.flags, b.vertex.flags);
        s.Real("tangent_direction", 50, a.vertex.tangent_direction, b.vertex.tangent_direction);
        s.Int("polyface_index_1", 71, a.vertex.polyface_index_1, b.vertex.polyface_index_1);
        s.Int("polyface_index_2", 72, a.vertex.polyface_index_2, b.vertex.polyface_index_2);
        s.Int("polyface_index_3", 73, a.vertex.polyface_index_3, b.vertex.polyface_index_3);
        s.Int("polyface_index_4", 74, a.vertex.polyface_index_4, b.vertex.polyface_index_4);
        break;
    case CDB_3DFACE:
        P3(s, "corner_1", 10, a.face.corner_1, b.face.corner_1);
        P3(s, "corner_2", 11, a.face.corner_2, b.face.corner_2);
        P3(s, "corner_3", 12, a.face.corner_3, b.face.corner_3);
        P3(s, "corner_4", 13, a.face.corner_4, b.face.corner_4);
        s.Int("invisible_edges", 70, a.face.invisible_edges, b.face.invisible_edges);
        break;
    case CDB_DIMENSION:
        s.Text("text", 1, a.dimension.text, b.dimension.text);
        s.Int("block_index", 2, a.dimension.block_index, b.dimension.block_index);
        s.Text("block_handle", -1, a.dimension.block_handle, b.dimension.block_handle);
        s.Int("dimstyle_index", 3, a.dimension.dimstyle_index, b.dimension.dimstyle_index);
        s.Text("dimstyle_handle", -1, a.dimension.dimstyle_handle, b.dimension.dimstyle_handle);
        P3(s, "definition_point", 10, a.dimension.definition_point, b.dimension.definition_point);
        P3(s, "text_midpoint", 11, a.dimension.text_midpoint, b.dimension.text_midpoint);
        P3(s, "clone_insertion_point", 12, a.dimension.clone_insertion_point,
           b.dimension.clone_insertion_point);
        P3(s, "definition_point_2", 13, a.dimension.definition_point_2,
           b.dimension.definition_point_2);
        P3(s, "definition_point_3", 14, a.dimension.definition_point_3,
           b.dimension.definition_point_3);
        P3(s, "definition_point_4", 15, a.dimension.definition_point_4,
           b.dimension.definition_point_4);
        P3(s, "arc_definition_point", 16, a.dimension.arc_definition_point,
           b.dimension.arc_definition_point);
        s.Real("leader_length", 40, a.dimension.leader_length, b.dimension.leader_length);
        s.Real("text_rotation", 50, a.dimension.text_rotation, b.dimension.text_rotation);
        s.Real("horizontal_direction", 51, a.dimension.horizontal_direction,
               b.dimension.horizontal_direction);
        s.Real("extension_line_rotation", 52, a.dimension.extension_line_rotation,
               b.dimension.extension_line_rotation);
        s.Real("oblique_angle", 53, a.dimension.oblique_angle, b.dimension.oblique_angle);
        s.Int("dimension_type", 70, a.dimension.dimension_type, b.dimension.dimension_type);
        break;
    case CDB_VIEWPORT: {
        const CDB_VIEWPORT_type &va = a.viewport;
        const CDB_VIEWPORT_type &vb = b.viewport;
        P2(s, "view_center", -1, va.view_center, vb.view_center);
        P2(s, "snap_base", -1, va.snap_base, vb.snap_base);
        P2(s, "snap_spacing", -1, va.snap_spacing, vb.snap_spacing);
        P2(s, "grid_spacing", -1, va.grid_spacing, vb.grid_spacing);
        P3(s, "view_direction", -1, va.view_direction, vb.view_direction);
        P3(s, "view_target", -1, va.view_target, vb.view_target);
        s.Real("view_height", -1, va.view_height, vb.view_height);
        s.Real("aspect_ratio", -1, va.aspect_ratio, vb.aspect_ratio);
        s.Real("lens_length", -1, va.lens_length, vb.lens_length);
        s.Real("front_clip", -1, va.front_clip, vb.front_clip);
        s.Real("back_clip", -1, va.back_clip, vb.back_clip);
        s.Real("snap_angle", -1, va.snap_angle, vb.snap_angle);
        s.Real("twist_angle", -1, va.twist_angle, vb.twist_angle);
        s.Int("vx_index", -1, va.vx_index, vb.vx_index);
        s.Int("viewport_id", 69, va.viewport_id, vb.viewport_id);
        s.Int("view_mode", -1, va.view_mode, vb.view_mode);
        s.Int("circle_zoom", -1, va.circle_zoom, vb.circle_zoom);
        s.Int("fast_zoom", -1, va.fast_zoom, vb.fast_zoom);
        s.Int("ucs_icon", -1, va.ucs_icon, vb.ucs_icon);
        s.Int("snap_mode", -1, va.snap_mode, vb.snap_mode);
        s.Int("grid_mode", -1, va.grid_mode, vb.grid_mode);
        s.Int("snap_style", -1, va.snap_style, vb.snap_style);
        s.Int("snap_isopair", -1, va.snap_isopair, vb.snap_isopair);
        Links(s, va.links, vb.links);
        P3(s, "center", 10, va.center, vb.center);
        s.Real("width", 40, va.width, vb.width);
        s.Real("height", 41, va.height, vb.height);
        s.Int("eed_version", -1, va.eed_version, vb.eed_version);
        s.Data("eed_application", reinterpret_cast<const uint8_t *>(va.eed_application),
               sizeof va.eed_application, reinterpret_cast<const uint8_t *>(vb.eed_application),
               sizeof vb.eed_application);
        s.Int("data_version", -1, va.data_version, vb.data_version);
        s.Int("hidden_in_plot", -1, va.hidden_in_plot, vb.hidden_in_plot);
        const int16_t na = va.frozen_layer_count, nb = vb.frozen_layer_count;
        s.Int("frozen_layer_count", -1, na, nb);
        const int16_t *la = va.frozen_layers;
        const int16_t *lb = vb.frozen_layers;
        for (int i = 0; i < na && i < nb && la && lb; ++i) {
            int16_t x, y;
            std::memcpy(&x, la + i, sizeof x);
            std::memcpy(&y, lb + i, sizeof y);
            s.Int("frozen_layers[" + std::to_string(i) + "]", -1, x, y);
        }
        break;
    }
    default:
        VisitRelease13Kind(a, b, s);
        break;
    }
}

// A block record as the block walk hands it out: the common part stays clear.
void VisitBlockStart(const CDB_STARTBLOCK_ENTITY_type &a, const CDB_STARTBLOCK_ENTITY_type &b,
                     FieldSink &s) {
    VisitCommon(a, b, s);
    s.Text("xref_path", 1, a.xref_path, b.xref_path);
    s.Text("name", 2, a.name, b.name);
    s.Text("name_2", 3, a.name_2, b.name_2);
    s.Int("flags", 70, a.flags, b.flags);
    P3(s, "base_point", 10, a.base_point, b.base_point);
}

void VisitBlockTable(const CDB_BLOCK_TBL &a, const CDB_BLOCK_TBL &b, FieldSink &s) {
    s.Int("flags", 70, a.flags, b.flags);
    s.Text("handle", 5, a.handle, b.handle);
    for (int i = 0; i < 7; ++i)
        Ref(s, "links.refs[" + std::to_string(i) + "]", a.links.refs[i], b.links.refs[i]);
    s.Int("links.ref_count", -1, a.links.ref_count, b.links.ref_count);
    s.Text("name", 2, a.name, b.name);
}

void VisitLayer(const CDB_LAYER_TBL_type &a, const CDB_LAYER_TBL_type &b, FieldSink &s) {
    s.Text("name", 2, a.name, b.name);
    s.Text("handle", 5, a.handle, b.handle);
    s.Int("flags", 70, a.flags, b.flags);
    s.Int("flags_copy", -1, a.flags_copy, b.flags_copy);
    s.Int("color", 62, a.color, b.color);
    s.Int("line_type_index", 6, a.line_type_index, b.line_type_index);
    s.Text("line_type_handle", -1, a.line_type_handle, b.line_type_handle);
    Links(s, a.links, b.links);
}

namespace {

void Reals(FieldSink &s, const std::string &field, int group, const double *a, const double *b,
           int count) {
    for (int i = 0; i < count && a && b; ++i) {
        double x, y;
        std::memcpy(&x, a + i, sizeof x);
        std::memcpy(&y, b + i, sizeof y);
        s.Real(field + "[" + std::to_string(i) + "]", group, x, y);
    }
}

} // namespace

void VisitLtype(const CDB_LTYPE_TBL_type &a, const CDB_LTYPE_TBL_type &b, FieldSink &s) {
    s.Text("name", 2, a.name, b.name);
    s.Text("handle", 5, a.handle, b.handle);
    s.Int("flags", 70, a.flags, b.flags);
    s.Text("description", 3, a.description, b.description);
    s.Int("alignment", 72, a.alignment, b.alignment);
    const int16_t na = a.dash_count, nb = b.dash_count;
    s.Int("dash_count", 73, na, nb);
    s.Real("pattern_length", 40, a.pattern_length, b.pattern_length);
    s.Int("dashes present", -1, a.dashes != nullptr, b.dashes != nullptr);
    Reals(s, "dashes", 49, a.dashes, b.dashes, std::min(na, nb));
    s.Int("complex_types present", -1, a.complex_types != nullptr, b.complex_types != nullptr);
    s.Int("entry_code", -1, a.entry_code, b.entry_code);
    Links(s, a.links, b.links);
}

void VisitStyle(const CDB_STYLE_TBL_type &a, const CDB_STYLE_TBL_type &b, FieldSink &s) {
    s.Text("name", 2, a.name, b.name);
    s.Text("handle", 5, a.handle, b.handle);
    s.Int("flags", 70, a.flags, b.flags);
    s.Real("height", 40, a.height, b.height);
    s.Real("width_factor", 41, a.width_factor, b.width_factor);
    s.Real("oblique_angle", 50, a.oblique_angle, b.oblique_angle);
    s.Int("generation_flags", 71, a.generation_flags, b.generation_flags);
    s.Real("last_height", 42, a.last_height, b.last_height);
    s.Text("font_file", 3, a.font_file, b.font_file);
    s.Text("bigfont_file", 4, a.bigfont_file, b.bigfont_file);
    Links(s, a.links, b.links);
}

void VisitVport(const CDB_VPORT_TBL_type &a, const CDB_VPORT_TBL_type &b, FieldSink &s) {
    s.Text("name", 2, a.name, b.name);
    s.Text("handle", 5, a.handle, b.handle);
    s.Int("flags", 70, a.flags, b.flags);
    P2(s, "lower_left", 10, a.lower_left, b.lower_left);
    P2(s, "upper_right", 11, a.upper_right, b.upper_right);
    P2(s, "view_center", 12, a.view_center, b.view_center);
    P2(s, "snap_base", 13, a.snap_base, b.snap_base);
    P2(s, "snap_spacing", 14, a.snap_spacing, b.snap_spacing);
    P2(s, "grid_spacing", 15, a.grid_spacing, b.grid_spacing);
    P3(s, "view_direction", 16, a.view_direction, b.view_direction);
    P3(s, "view_target", 17, a.view_target, b.view_target);
    s.Real("view_height", 40, a.view_height, b.view_height);
    s.Real("aspect_ratio", 41, a.aspect_ratio, b.aspect_ratio);
    s.Real("lens_length", 42, a.lens_length, b.lens_length);
    s.Real("front_clip", 43, a.front_clip, b.front_clip);
    s.Real("back_clip", 44, a.back_clip, b.back_clip);
    s.Real("snap_angle", 50, a.snap_angle, b.snap_angle);
    s.Real("twist_angle", 51, a.twist_angle, b.twist_angle);
    s.Int("viewport_status", -1, a.viewport_status, b.viewport_status);
    s.Int("viewport_id", -1, a.viewport_id, b.viewport_id);
    s.Int("view_mode", 71, a.view_mode, b.view_mode);
    s.Int("circle_zoom", 72, a.circle_zoom, b.circle_zoom);
    s.Int("fast_zoom", 73, a.fast_zoom, b.fast_zoom);
    s.Int("ucs_icon", 74, a.ucs_icon, b.ucs_icon);
    s.Int("snap_mode", 75, a.snap_mode, b.snap_mode);
    s.Int("grid_mode", 76, a.grid_mode, b.grid_mode);
    s.Int("snap_style", 77, a.snap_style, b.snap_style);
    s.Int("snap_isopair", 78, a.snap_isopair, b.snap_isopair);
    Links(s, a.links, b.links);
}

void VisitView(const CDB_VIEW_TBL_type &a, const CDB_VIEW_TBL_type &b, FieldSink &s) {
    s.Text("name", 2, a.name, b.name);
    s.Text("handle", 5, a.handle, b.handle);
    s.Int("flags", 70, a.flags, b.flags);
    s.Real("height", 40, a.height, b.height);
    s.Real("width", 41, a.width, b.width);
    P2(s, "center", 10, a.center, b.center);
    P3(s, "direction", 11, a.direction, b.direction);
    P3(s, "target", 12, a.target, b.target);
    s.Real("lens_length", 42, a.lens_length, b.lens_length);
    s.Real("front_clip", 43, a.front_clip, b.front_clip);
    s.Real("back_clip", 44, a.back_clip, b.back_clip);
    s.Real("twist_angle", 50, a.twist_angle, b.twist_angle);
    s.Int("view_mode", 71, a.view_mode, b.view_mode);
    Links(s, a.links, b.links);
}

void VisitUcs(const CDB_UCS_TBL_type &a, const CDB_UCS_TBL_type &b, FieldSink &s) {
    s.Text("name", 2, a.name, b.name);
    s.Text("handle", 5, a.handle, b.handle);
    s.Int("flags", 70, a.flags, b.flags);
    P3(s, "origin", 10, a.origin, b.origin);
    P3(s, "x_direction", 11, a.x_direction, b.x_direction);
    P3(s, "y_direction", 12, a.y_direction, b.y_direction);
    Links(s, a.links, b.links);
}

void VisitAppid(const CDB_APPID_TBL_type &a, const CDB_APPID_TBL_type &b, FieldSink &s) {
    s.Text("name", 2, a.name, b.name);
    s.Text("handle", 5, a.handle, b.handle);
    s.Int("flags", 70, a.flags, b.flags);
    Links(s, a.links, b.links);
}

void VisitDimstyle(const CDB_DIMSTYLE_TBL_type &a, const CDB_DIMSTYLE_TBL_type &b, FieldSink &s) {
    s.Text("name", 2, a.name, b.name);
    s.Text("handle", 5, a.handle, b.handle);
    s.Int("flags", 70, a.flags, b.flags);
    s.Text("dimpost", 3, a.dimpost, b.dimpost);
    s.Text("dimapost", 4, a.dimapost, b.dimapost);
    s.Text("dimblk", 5, a.dimblk, b.dimblk);
    s.Text("dimblk1", 6, a.dimblk1, b.dimblk1);
    s.Text("dimblk2", 7, a.dimblk2, b.dimblk2);
    s.Int("entry_code", -1, a.entry_code, b.entry_code);
    s.Real("dimscale", 40, a.dimscale, b.dimscale);
    s.Real("dimasz", 41, a.dimasz, b.dimasz);
    s.Real("dimexo", 42, a.dimexo, b.dimexo);
    s.Real("dimdli", 43, a.dimdli, b.dimdli);
    s.Real("dimexe", 44, a.dimexe, b.dimexe);
    s.Real("dimrnd", 45, a.dimrnd, b.dimrnd);
    s.Real("dimdle", 46, a.dimdle, b.dimdle);
    s.Real("dimtp", 47, a.dimtp, b.dimtp);
    s.Real("dimtm", 48, a.dimtm, b.dimtm);
    s.Real("dimtxt", 140, a.dimtxt, b.dimtxt);
    s.Real("dimcen", 141, a.dimcen, b.dimcen);
    s.Real("dimtsz", 142, a.dimtsz, b.dimtsz);
    s.Real("dimaltf", 143, a.dimaltf, b.dimaltf);
    s.Real("dimlfac", 144, a.dimlfac, b.dimlfac);
    s.Real("dimtvp", 145, a.dimtvp, b.dimtvp);
    s.Real("dimtfac", 146, a.dimtfac, b.dimtfac);
    s.Real("dimgap", 147, a.dimgap, b.dimgap);
    s.Int("dimtol", 71, a.dimtol, b.dimtol);
    s.Int("dimlim", 72, a.dimlim, b.dimlim);
    s.Int("dimtih", 73, a.dimtih, b.dimtih);
    s.Int("dimtoh", 74, a.dimtoh, b.dimtoh);
    s.Int("dimse1", 75, a.dimse1, b.dimse1);
    s.Int("dimse2", 76, a.dimse2, b.dimse2);
    s.Int("dimtad", 77, a.dimtad, b.dimtad);
    s.Int("dimzin", 78, a.dimzin, b.dimzin);
    s.Int("dimalt", 170, a.dimalt, b.dimalt);
    s.Int("dimaltd", 171, a.dimaltd, b.dimaltd);
    s.Int("dimtofl", 172, a.dimtofl, b.dimtofl);
    s.Int("dimsah", 173, a.dimsah, b.dimsah);
    s.Int("dimtix", 174, a.dimtix, b.dimtix);
    s.Int("dimsoxd", 175, a.dimsoxd, b.dimsoxd);
    s.Int("dimclrd", 176, a.dimclrd, b.dimclrd);
    s.Int("dimclre", 177, a.dimclre, b.dimclre);
    s.Int("dimclrt", 178, a.dimclrt, b.dimclrt);
    s.Int("dimunit", -1, a.dimunit, b.dimunit);
    s.Int("dimdec", -1, a.dimdec, b.dimdec);
    s.Int("dimtdec", -1, a.dimtdec, b.dimtdec);
    s.Int("dimaltu", -1, a.dimaltu, b.dimaltu);
    s.Int("dimalttd", -1, a.dimalttd, b.dimalttd);
    s.Text("dimtxsty", -1, a.dimtxsty, b.dimtxsty);
    s.Int("dimaunit", -1, a.dimaunit, b.dimaunit);
    s.Int("dimjust", -1, a.dimjust, b.dimjust);
    s.Int("dimsd1", -1, a.dimsd1, b.dimsd1);
    s.Int("dimsd2", -1, a.dimsd2, b.dimsd2);
    s.Int("dimtolj", -1, a.dimtolj, b.dimtolj);
    s.Int("dimtzin", -1, a.dimtzin, b.dimtzin);
    s.Int("dimaltz", -1, a.dimaltz, b.dimaltz);
    s.Int("dimalttz", -1, a.dimalttz, b.dimalttz);
    s.Int("dimfit", -1, a.dimfit, b.dimfit);
    s.Int("dimupt", -1, a.dimupt, b.dimupt);
    Links(s, a.links, b.links);
}

// The header, field by field. A field that a release 12 DXF fills from a variable of its
// HEADER section is named after the variable ("$EXTMIN"), with the group of its value;
// every other field by its own name.
void VisitHeader(const CDB_HEADER_type &a, const CDB_HEADER_type &b, FieldSink &s) {
    s.Text("$ACADVER", 1, a.acadver, b.acadver);
    s.Real("$ANGBASE", 50, a.angbase, b.angbase);
    s.Int("$ANGDIR", 70, a.angdir, b.angdir);
    s.Int("$ATTDIA", 70, a.attdia, b.attdia);
    s.Int("$ATTMODE", 70, a.attmode, b.attmode);
    s.Int("$ATTREQ", 70, a.attreq, b.attreq);
    s.Int("$AUNITS", 70, a.aunits, b.aunits);
    s.Int("$AUPREC", 70, a.auprec, b.auprec);
    s.Int("axismode", -1, a.axismode, b.axismode);
    P2(s, "axisunit", -1, a.axisunit, b.axisunit);
    s.Int("$BLIPMODE", 70, a.blipmode, b.blipmode);
    s.Int("$CECOLOR", 62, a.cecolor, b.cecolor);
    s.Real("celtscale", -1, a.celtscale, b.celtscale);
    s.Int("$CELTYPE", 6, a.celtype, b.celtype);
    s.Text("hceltype", -1, a.hceltype, b.hceltype);
    s.Real("$CHAMFERA", 40, a.chamfera, b.chamfera);
    s.Real("$CHAMFERB", 40, a.chamferb, b.chamferb);
    s.Real("chamferc", -1, a.chamferc, b.chamferc);
    s.Real("chamferd", -1, a.chamferd, b.chamferd);
    s.Int("$CLAYER", 8, a.clayer, b.clayer);
    s.Text("hclayer", -1, a.hclayer, b.hclayer);
    s.Int("cmljust", -1, a.cmljust, b.cmljust);
    s.Text("hcmlstyle", -1, a.hcmlstyle, b.hcmlstyle);
    s.Int("cmlstyle", -1, a.cmlstyle, b.cmlstyle);
    s.Real("cmlscale", -1, a.cmlscale, b.cmlscale);
    s.Int("$COORDS", 70, a.coords, b.coords);
    s.Int("corrected", -1, a.corrected, b.corrected);
    s.Int("delobj", -1, a.delobj, b.delobj);
    s.Int("$DIMALT", 70, a.dimalt, b.dimalt);
    s.Int("$DIMALTD", 70, a.dimaltd, b.dimaltd);
    s.Int("dimalttd", -1, a.dimalttd, b.dimalttd);
    s.Real("$DIMALTF", 40, a.dimaltf, b.dimaltf);
    s.Int("dimaltu", -1, a.dimaltu, b.dimaltu);
    s.Int("dimaltz", -1, a.dimaltz, b.dimaltz);
    s.Int("dimalttz", -1, a.dimalttz, b.dimalttz);
    s.Text("$DIMAPOST", 1, a.dimapost, b.dimapost);
    s.Int("$DIMASO", 70, a.dimaso, b.dimaso);
    s.Real("$DIMASZ", 40, a.dimasz, b.dimasz);
    s.Text("$DIMBLK", 1, a.dimblk, b.dimblk);
    s.Text("$DIMBLK1", 1, a.dimblk1, b.dimblk1);
    s.Text("$DIMBLK2", 1, a.dimblk2, b.dimblk2);
    s.Real("$DIMCEN", 40, a.dimcen, b.dimcen);
    s.Int("$DIMCLRD", 70, a.dimclrd, b.dimclrd);
    s.Int("$DIMCLRE", 70, a.dimclre, b.dimclre);
    s.Int("$DIMCLRT", 70, a.dimclrt, b.dimclrt);
    s.Int("dimdec", -1, a.dimdec, b.dimdec);
    s.Int("dimtdec", -1, a.dimtdec, b.dimtdec);
    s.Real("$DIMDLE", 40, a.dimdle, b.dimdle);
    s.Real("$DIMDLI", 40, a.dimdli, b.dimdli);
    s.Real("$DIMEXE", 40, a.dimexe, b.dimexe);
    s.Real("$DIMEXO", 40, a.dimexo, b.dimexo);
    s.Int("dimfit", -1, a.dimfit, b.dimfit);
    s.Real("$DIMGAP", 40, a.dimgap, b.dimgap);
    s.Int("dimjust", -1, a.dimjust, b.dimjust);
    s.Real("$DIMLFAC", 40, a.dimlfac, b.dimlfac);
    s.Int("$DIMLIM", 70, a.dimlim, b.dimlim);
    s.Text("$DIMPOST", 1, a.dimpost, b.dimpost);
    s.Real("$DIMRND", 40, a.dimrnd, b.dimrnd);
    s.Int("$DIMSAH", 70, a.dimsah, b.dimsah);
    s.Real("$DIMSCALE", 40, a.dimscale, b.dimscale);
    s.Int("dimsd1", -1, a.dimsd1, b.dimsd1);
    s.Int("dimsd2", -1, a.dimsd2, b.dimsd2);
    s.Int("$DIMSE1", 70, a.dimse1, b.dimse1);
    s.Int("$DIMSE2", 70, a.dimse2, b.dimse2);
    s.Int("$DIMSHO", 70, a.dimsho, b.dimsho);
    s.Int("dimsoh", -1, a.dimsoh, b.dimsoh);
    s.Int("$DIMSOXD", 70, a.dimsoxd, b.dimsoxd);
    s.Int("$DIMSTYLE", 2, a.dimstyle, b.dimstyle);
    s.Text("hdimstyle", -1, a.hdimstyle, b.hdimstyle);
    s.Int("$DIMTAD", 70, a.dimtad, b.dimtad);
    s.Real("$DIMTFAC", 40, a.dimtfac, b.dimtfac);
    s.Int("$DIMTIH", 70, a.dimtih, b.dimtih);
    s.Int("$DIMTIX", 70, a.dimtix, b.dimtix);
    s.Real("$DIMTM", 40, a.dimtm, b.dimtm);
    s.Int("$DIMTOFL", 70, a.dimtofl, b.dimtofl);
    s.Int("$DIMTOH", 70, a.dimtoh, b.dimtoh);
    s.Int("$DIMTOL", 70, a.dimtol, b.dimtol);
    s.Int("dimtolj", -1, a.dimtolj, b.dimtolj);
    s.Real("$DIMTP", 40, a.dimtp, b.dimtp);
    s.Real("$DIMTSZ", 40, a.dimtsz, b.dimtsz);
    s.Real("$DIMTVP", 40, a.dimtvp, b.dimtvp);
    s.Real("$DIMTXT", 40, a.dimtxt, b.dimtxt);
    s.Text("hdimtxsty", -1, a.hdimtxsty, b.hdimtxsty);
    s.Int("dimtxsty", -1, a.dimtxsty, b.dimtxsty);
    s.Int("dimupt", -1, a.dimupt, b.dimupt);
    s.Int("dimunit", -1, a.dimunit, b.dimunit);
    s.Int("dimaunit", -1, a.dimaunit, b.dimaunit);
    s.Int("$DIMZIN", 70, a.dimzin, b.dimzin);
    s.Int("dimtzin", -1, a.dimtzin, b.dimtzin);
    s.Int("dispsilh", -1, a.dispsilh, b.dispsilh);
    s.Int("$DRAGMODE", 70, a.dragmode, b.dragmode);
    s.Text("$DWGCODEPAGE", 3, a.dwgcodepage, b.dwgcodepage);
    s.Real("$ELEVATION", 40, a.elevation, b.elevation);
    P3(s, "$EXTMAX", 10, a.extmax, b.extmax);
    P3(s, "$EXTMIN", 10, a.extmin, b.extmin);
    s.Int("fastzoom", -1, a.fastzoom, b.fastzoom);
    s.Real("$FILLETRAD", 40, a.filletrad, b.filletrad);
    s.Int("$FILLMODE", 70, a.fillmode, b.fillmode);
    s.Int("gridmode", -1, a.gridmode, b.gridmode);
    P2(s, "gridunit", -1, a.gridunit, b.gridunit);
    s.Int("$HANDLING", 70, a.handling, b.handling);
    s.Text("$HANDSEED", 5, a.handseed, b.handseed);
    P3(s, "$INSBASE", 10, a.insbase, b.insbase);
    s.Int("$LIMCHECK", 70, a.limcheck, b.limcheck);
    P2(s, "$LIMMAX", 10, a.limmax, b.limmax);
    P2(s, "$LIMMIN", 10, a.limmin, b.limmin);
    s.Real("$LTSCALE", 40, a.ltscale, b.ltscale);
    s.Int("$LUNITS", 70, a.lunits, b.lunits);
    s.Int("$LUPREC", 70, a.luprec, b.luprec);
    s.Int("$MAXACTVP", 70, a.maxactvp, b.maxactvp);
    s.Text("$MENU", 1, a.menu, b.menu);
    s.Int("$MIRRTEXT", 70, a.mirrtext, b.mirrtext);
    s.Int("$ORTHOMODE", 70, a.orthomode, b.orthomode);
    s.Int("$OSMODE", 70, a.osmode, b.osmode);
    s.Int("$PDMODE", 70, a.pdmode, b.pdmode);
    s.Real("$PDSIZE", 40, a.pdsize, b.pdsize);
    s.Real("$PELEVATION", 40, a.pelevation, b.pelevation);
    P3(s, "$PEXTMAX", 10, a.pextmax, b.pextmax);
    P3(s, "$PEXTMIN", 10, a.pextmin, b.pextmin);
    s.Int("pickstyle", -1, a.pickstyle, b.pickstyle);
    s.Int("$PLIMCHECK", 70, a.plimcheck, b.plimcheck);
    P2(s, "$PLIMMAX", 10, a.plimmax, b.plimmax);
    P2(s, "$PLIMMIN", 10, a.plimmin, b.plimmin);
    s.Int("$PLINEGEN", 70, a.plinegen, b.plinegen);
    s.Real("$PLINEWID", 40, a.plinewid, b.plinewid);
    s.Int("$PSLTSCALE", 70, a.psltscale, b.psltscale);
    s.Int("$PUCSNAME", 2, a.pucsname, b.pucsname);
    s.Text("hpucsname", -1, a.hpucsname, b.hpucsname);
    P3(s, "$PUCSORG", 10, a.pucsorg, b.pucsorg);
    P3(s, "$PUCSXDIR", 10, a.pucsxdir, b.pucsxdir);
    P3(s, "$PUCSYDIR", 10, a.pucsydir, b.pucsydir);
    s.Int("$QTEXTMODE", 70, a.qtextmode, b.qtextmode);
    s.Int("$REGENMODE", 70, a.regenmode, b.regenmode);
    s.Int("saveimages", -1, a.saveimages, b.saveimages);
    s.Int("$SHADEDGE", 70, a.shadedge, b.shadedge);
    s.Int("$SHADEDIF", 70, a.shadedif, b.shadedif);
    s.Real("$SKETCHINC", 40, a.sketchinc, b.sketchinc);
    s.Int("$SKPOLY", 70, a.skpoly, b.skpoly);
    s.Real("snapang", -1, a.snapang, b.snapang);
    P2(s, "snapbase", -1, a.snapbase, b.snapbase);
    s.Int("snapisopair", -1, a.snapisopair, b.snapisopair);
    s.Int("snapmode", -1, a.snapmode, b.snapmode);
    s.Int("snapstyle", -1, a.snapstyle, b.snapstyle);
    P2(s, "snapunit", -1, a.snapunit, b.snapunit);
    s.Int("$SPLFRAME", 70, a.splframe, b.splframe);
    s.Int("$SPLINESEGS", 70, a.splinesegs, b.splinesegs);
    s.Int("$SPLINETYPE", 70, a.splinetype, b.splinetype);
    s.Int("$SURFTAB1", 70, a.surftab1, b.surftab1);
    s.Int("$SURFTAB2", 70, a.surftab2, b.surftab2);
    s.Int("$SURFTYPE", 70, a.surftype, b.surftype);
    s.Int("$SURFU", 70, a.surfu, b.surfu);
    s.Int("$SURFV", 70, a.surfv, b.surfv);
    s.Real("$TDCREATE", 40, a.tdcreate, b.tdcreate);
    s.Real("$TDINDWG", 40, a.tdindwg, b.tdindwg);
    s.Real("$TDUPDATE", 40, a.tdupdate, b.tdupdate);
    s.Real("$TDUSRTIMER", 40, a.tdusrtimer, b.tdusrtimer);
    s.Real("$TEXTSIZE", 40, a.textsize, b.textsize);
    s.Int("$TEXTSTYLE", 7, a.textstyle, b.textstyle);
    s.Text("htextstyle", -1, a.htextstyle, b.htextstyle);
    s.Real("$THICKNESS", 40, a.thickness, b.thickness);
    s.Int("$TILEMODE", 70, a.tilemode, b.tilemode);
    s.Real("$TRACEWID", 40, a.tracewid, b.tracewid);
    s.Int("$UCSNAME", 2, a.ucsname, b.ucsname);
    s.Text("hucsname", -1, a.hucsname, b.hucsname);
    P3(s, "$UCSORG", 10, a.ucsorg, b.ucsorg);
    P3(s, "$UCSXDIR", 10, a.ucsxdir, b.ucsxdir);
    P3(s, "$UCSYDIR", 10, a.ucsydir, b.ucsydir);
    s.Int("$UNITMODE", 70, a.unitmode, b.unitmode);
    s.Int("$USERI1", 70, a.userivar1, b.userivar1);
    s.Int("$USERI2", 70, a.userivar2, b.userivar2);
    s.Int("$USERI3", 70, a.userivar3, b.userivar3);
    s.Int("$USERI4", 70, a.userivar4, b.userivar4);
    s.Int("$USERI5", 70, a.userivar5, b.userivar5);
    s.Real("$USERR1", 40, a.userrvar1, b.userrvar1);
    s.Real("$USERR2", 40, a.userrvar2, b.userrvar2);
    s.Real("$USERR3", 40, a.userrvar3, b.userrvar3);
    s.Real("$USERR4", 40, a.userrvar4, b.userrvar4);
    s.Real("$USERR5", 40, a.userrvar5, b.userrvar5);
    s.Int("$USRTIMER", 70, a.usrtimer, b.usrtimer);
    P2(s, "viewctr", -1, a.viewctr, b.viewctr);
    P3(s, "viewdir", -1, a.viewdir, b.viewdir);
    s.Real("viewsize", -1, a.viewsize, b.viewsize);
    s.Int("$VISRETAIN", 70, a.visretain, b.visretain);
    s.Int("$WORLDVIEW", 70, a.worldview, b.worldview);
    s.Int("$TREEDEPTH", 70, a.treedepth, b.treedepth);
    s.Int("flatland", -1, a.flatland, b.flatland);
    s.Int("cvport", -1, a.cvport, b.cvport);
    P3(s, "$PINSBASE", 10, a.pinsbase, b.pinsbase);
}

// ---------------------------------------------------------------------------
// Everything an opened drawing hands out
// ---------------------------------------------------------------------------

Snapshot::Snapshot(const std::string &path) : path_(path) {
    handle_ = CDBStartFileReading(path.c_str(), nullptr);
    if (handle_ < 0) {
        code_ = CDBGetErrorNumber(CDB_FAIL);
        return;
    }
    Take();
}

Snapshot::Snapshot(int16_t handle, const std::string &label)
    : path_(label), handle_(handle), owned_(false) {
    if (handle_ < 0) {
        code_ = CDBGetErrorNumber(CDB_FAIL);
        return;
    }
    Take();
}

Snapshot::~Snapshot() {
    for (CDB_ENTITY &r : main_)
        FreeCopies(r);
    for (BlockCopy &b : blocks_) {
        FreeCopies(b.start);
        for (CDB_ENTITY &r : b.list)
            FreeCopies(r);
    }
    if (owned_ && handle_ >= 0)
        CDBEndOperation(handle_);
}

void Snapshot::Take() {
    main_ = Walk(-1, &main_end_);
    CDB_STARTBLOCK_ENTITY_type b = NewBlockRecord();
    int16_t status = CDBGetFirstBlock(handle_, &b);
    for (int16_t index = 0; status >= 0 && index < 32767; ++index) {
        blocks_.emplace_back();
        blocks_.back().status = status;
        blocks_.back().start = b;
        if (status == 0)
            blocks_.back().list = Walk(index, &blocks_.back().end);
        b = NewBlockRecord();
        status = CDBGetNextBlock(handle_, &b);
    }
    blocks_end_ = status;
    Table(CDBBlockTableCount, CDBBlockTableGet, &block_table_);
    Table(CDBLayerTableCount, CDBLayerTableGet, &layers_);
    Table(CDBLineTypeTableCount, CDBLineTypeTableGet, &ltypes_);
    Table(CDBStyleTableCount, CDBStyleTableGet, &styles_);
    Table(CDBVportTableCount, CDBVportTableGet, &vports_);
    Table(CDBViewTableCount, CDBViewTableGet, &views_);
    Table(CDBUCSTableCount, CDBUCSTableGet, &ucs_);
    Table(CDBAppidTableCount, CDBAppidTableGet, &appids_);
    Table(CDBDimStyleTableCount, CDBDimStyleTableGet, &dimstyles_);
    std::memset(static_cast<void *>(&header_), 0, sizeof header_);
    header_status_ = CDBGetAllVariables(handle_, &header_);
}

std::vector<CDB_ENTITY> Snapshot::Walk(int16_t block, int32_t *end) {
    std::vector<CDB_ENTITY> list;
    int32_t id = CDBFirstEntity(handle_, block);
    CDB_ENTITY r = NewRecord();
    if (id >= 0)
        id = CDBGetCurrentEntity(handle_, &r);
    while (id >= 0 && list.size() < 40000) {
        list.push_back(r);
        r = NewRecord();
        id = CDBGetNextEntity(handle_, &r);
    }
    *end = id;
    return list;
}

template <typename Record>
void Snapshot::Table(int16_t (*count)(int16_t), int16_t (*get)(int16_t, int16_t, Record *),
                     std::vector<Record> *out) {
    const int16_t n = count(handle_);
    for (int16_t i = 0; i < n; ++i) {
        Record r;
        std::memset(static_cast<void *>(&r), 0, sizeof r);
        const int16_t got = get(handle_, i, &r);
        EXPECT_TRUE(got == 0 || got == CDB_DELETED) << path_ << ": table record " << i;
        out->push_back(r);
    }
}

std::vector<std::pair<std::string, int>> Snapshot::KindCounts() const {
    std::map<std::string, int> counts;
    for (size_t i = 0; i < main_.size(); ++i) {
        const int kind = main_[i].entity_type;
        if (kind == CDB_ENDBLK && i + 1 == main_.size())
            continue; // the end marker of the main list
        ++counts[EntityKindName(kind)];
    }
    for (const BlockCopy &b : blocks_) {
        for (const CDB_ENTITY &r : b.list) {
            if (r.entity_type != CDB_BLOCK && r.entity_type != CDB_ENDBLK)
                ++counts[EntityKindName(r.entity_type)];
        }
    }
    return {counts.begin(), counts.end()};
}

// Where the DXF text of each record stands, for a sink that wants it: the twin test's
// tolerances come from the digits of the file.

// ---------------------------------------------------------------------------
// The comparison
// ---------------------------------------------------------------------------

void FieldSink::Mismatch(const std::string &what) {
    ADD_FAILURE() << drawing_a_ << " against " << drawing_b_ << ": " << what;
}

std::string FieldSink::At(const std::string &field) const {
    return drawing_a_ + " against " + drawing_b_ + ": " + where_ + " " + field;
}

namespace {

template <typename Record, typename Visit>
void CompareTable(const std::string &table, const std::vector<Record> &a,
                  const std::vector<Record> &b, Visit visit, FieldSink &s, Sources &sources) {
    if (a.size() != b.size()) {
        s.Mismatch(table + " table: " + std::to_string(a.size()) + " records against " +
                   std::to_string(b.size()));
        return;
    }
    for (size_t i = 0; i < a.size(); ++i) {
        s.Begin(table + " record " + std::to_string(i), table, 0, nullptr, nullptr,
                static_cast<int>(i));
        sources.TableRecord(table, i);
        visit(a[i], b[i], s);
    }
}

void CompareList(const std::string &where, int block, const std::vector<CDB_ENTITY> &a,
                 const std::vector<CDB_ENTITY> &b, FieldSink &s, Sources &sources) {
    std::string kinds_a, kinds_b;
    for (const CDB_ENTITY &r : a)
        kinds_a += std::string(" ") + EntityKindName(r.entity_type);
    for (const CDB_ENTITY &r : b)
        kinds_b += std::string(" ") + EntityKindName(r.entity_type);
    if (kinds_a != kinds_b) {
        s.Mismatch(where + ": kinds differ:\n " + kinds_a + "\n " + kinds_b);
        return;
    }
    for (size_t i = 0; i < a.size(); ++i) {
        s.Begin(where + " #" + std::to_string(i) + " " + EntityKindName(a[i].entity_type), "ENTITY",
                a[i].entity_type, &a[i], &b[i], static_cast<int>(i));
        sources.Entity(block, i);
        VisitEntity(a[i], b[i], s);
    }
}

} // namespace

void CompareDrawings(const Snapshot &a, const Snapshot &b, FieldSink &s, Sources &sources) {
    s.SetDrawings(a.path(), b.path());
    SCOPED_TRACE(a.path() + " against " + b.path());
    CompareList("main list", -1, a.main_, b.main_, s, sources);
    EXPECT_EQ(a.main_end_, b.main_end_) << "the end of the main list";
    if (a.blocks_.size() != b.blocks_.size()) {
        s.Mismatch("blocks: " + std::to_string(a.blocks_.size()) + " against " +
                   std::to_string(b.blocks_.size()));
    } else {
        for (size_t i = 0; i < a.blocks_.size(); ++i) {
            const char *name = a.blocks_[i].start.name;
            const std::string where =
                "block " + std::to_string(i) + " (" + (name ? name : "no name") + ")";
            EXPECT_EQ(a.blocks_[i].status, b.blocks_[i].status) << where;
            s.Begin(where + " record", "BLOCK", CDB_BLOCK, nullptr, nullptr, static_cast<int>(i));
            sources.BlockStart(i);
            VisitBlockStart(a.blocks_[i].start, b.blocks_[i].start, s);
            CompareList(where, static_cast<int>(i), a.blocks_[i].list, b.blocks_[i].list, s,
                        sources);
            EXPECT_EQ(a.blocks_[i].end, b.blocks_[i].end) << where;
        }
    }
    EXPECT_EQ(a.blocks_end_, b.blocks_end_) << "the end of the block walk";
    CompareTable("BLOCK_TBL", a.block_table_, b.block_table_, VisitBlockTable, s, sources);
    CompareTable("LAYER", a.layers_, b.layers_, VisitLayer, s, sources);
    CompareTable("LTYPE", a.ltypes_, b.ltypes_, VisitLtype, s, sources);
    CompareTable("STYLE", a.styles_, b.styles_, VisitStyle, s, sources);
    CompareTable("VPORT", a.vports_, b.vports_, VisitVport, s, sources);
    CompareTable("VIEW", a.views_, b.views_, VisitView, s, sources);
    CompareTable("UCS", a.ucs_, b.ucs_, VisitUcs, s, sources);
    CompareTable("APPID", a.appids_, b.appids_, VisitAppid, s, sources);
    CompareTable("DIMSTYLE", a.dimstyles_, b.dimstyles_, VisitDimstyle, s, sources);
    EXPECT_EQ(a.header_status_, 0) << a.path() << ": CDBGetAllVariables";
    EXPECT_EQ(b.header_status_, 0) << b.path() << ": CDBGetAllVariables";
    s.Begin("header", "HEADER", 0);
    sources.Header();
    VisitHeader(a.header_, b.header_, s);
}

// ---------------------------------------------------------------------------
// The ready sinks
// ---------------------------------------------------------------------------

void ExactSink::Real(const std::string &field, int, double a, double b) {
    if (!SameBits(a, b))
        ADD_FAILURE() << At(field) << ": " << Digits(a) << " against " << Digits(b);
}

void ExactSink::Int(const std::string &field, int, long a, long b) {
    if (a != b)
        ADD_FAILURE() << At(field) << ": " << a << " against " << b;
}

void ExactSink::Text(const std::string &field, int, const char *a, const char *b) {
    if (Show(a) != Show(b))
        ADD_FAILURE() << At(field) << ": " << Show(a) << " against " << Show(b);
}

void ExactSink::Data(const std::string &field, const uint8_t *a, size_t na, const uint8_t *b,
                     size_t nb) {
    if (Hex(a, na) != Hex(b, nb))
        ADD_FAILURE() << At(field) << ": " << Hex(a, na) << " against " << Hex(b, nb);
}

void DigitsSink::Real(const std::string &field, int, double a, double b) {
    if (!SameToDigits(a, b, digits_))
        ADD_FAILURE() << At(field) << " (to " << digits_ << " digits): " << Digits(a) << " against "
                      << Digits(b);
}

void DigitsSink::Int(const std::string &field, int, long a, long b) {
    if (a != b)
        ADD_FAILURE() << At(field) << ": " << a << " against " << b;
}

void DigitsSink::Text(const std::string &field, int, const char *a, const char *b) {
    if (Show(a) != Show(b))
        ADD_FAILURE() << At(field) << ": " << Show(a) << " against " << Show(b);
}

void DigitsSink::Data(const std::string &field, const uint8_t *a, size_t na, const uint8_t *b,
                      size_t nb) {
    std::vector<EedValue> va, vb;
    if (field != "eed" || !EedValues(a, na, &va) || !EedValues(b, nb, &vb)) {
        if (Hex(a, na) != Hex(b, nb))
            ADD_FAILURE() << At(field) << ": " << Hex(a, na) << " against " << Hex(b, nb);
        return;
    }
    if (va.size() != vb.size()) {
        ADD_FAILURE() << At(field) << ": " << va.size() << " values against " << vb.size() << ": "
                      << Hex(a, na) << " against " << Hex(b, nb);
        return;
    }
    for (size_t i = 0; i < va.size(); ++i) {
        const std::string at = At(field) + " value " + std::to_string(i);
        const std::string bytes_a = Hex(va[i].bytes.data(), va[i].bytes.size());
        const std::string bytes_b = Hex(vb[i].bytes.data(), vb[i].bytes.size());
        if (va[i].code != vb[i].code || bytes_a != bytes_b ||
            va[i].reals.size() != vb[i].reals.size()) {
            ADD_FAILURE() << at << ": code " << va[i].code << " " << bytes_a << " against code "
                          << vb[i].code << " " << bytes_b;
            continue;
        }
        for (size_t k = 0; k < va[i].reals.size(); ++k) {
            if (!SameToDigits(va[i].reals[k], vb[i].reals[k], digits_))
                ADD_FAILURE() << at << " real " << k << " (to " << digits_
                              << " digits): " << Digits(va[i].reals[k]) << " against "
                              << Digits(vb[i].reals[k]);
        }
    }
}

// ---------------------------------------------------------------------------
// The rules of the two writers
// ---------------------------------------------------------------------------

namespace {

// ---- Both ---------------------------------------------------------------------------

// A view variable of the header and the viewport record's field that it is taken from;
// `by_dxf_reader`: the DXF reader takes it from the "*ACTIVE" viewport (the DWG writer
// takes them all). The header keeps the snap angle in radians, the record in degrees.
struct ViewField {
    const char *field;
    double (*value)(const CDB_VPORT_TBL_type &);
    bool by_dxf_reader;
};

using V = const CDB_VPORT_TBL_type &;
const ViewField kViewFields[] = {
    {"viewctr.x", [](V v) { return v.view_center.x; }, true},
    {"viewctr.y", [](V v) { return v.view_center.y; }, true},
    {"viewdir.x", [](V v) { return v.view_direction.x; }, true},
    {"viewdir.y", [](V v) { return v.view_direction.y; }, true},
    {"viewdir.z", [](V v) { return v.view_direction.z; }, true},
    {"viewsize", [](V v) { return v.view_height; }, true},
    {"snapang", [](V v) { return v.snap_angle * 3.141592653589793 / 180.0; }, true},
    {"snapbase.x", [](V v) { return v.snap_base.x; }, true},
    {"snapbase.y", [](V v) { return v.snap_base.y; }, true},
    {"snapmode", [](V v) { return double(v.snap_mode); }, true},
    {"snapstyle", [](V v) { return double(v.snap_style); }, true},
    {"snapisopair", [](V v) { return double(v.snap_isopair); }, true},
    {"snapunit.x", [](V v) { return v.snap_spacing.x; }, false},
    {"snapunit.y", [](V v) { return v.snap_spacing.y; }, false},
    {"gridmode", [](V v) { return double(v.grid_mode); }, false},
    {"gridunit.x", [](V v) { return v.grid_spacing.x; }, false},
    {"gridunit.y", [](V v) { return v.grid_spacing.y; }, false},
    {"fastzoom", [](V v) { return double(v.fast_zoom); }, false},
};

const ViewField *FindViewField(const std::string &field) {
    for (const ViewField &f : kViewFields) {
        if (field == f.field)
            return &f;
    }
    return nullptr;
}

// ---- DWG ----------------------------------------------------------------------------

bool Anonymous(const char *name) {
    return name && name[0] == '*';
}

bool Deleted(int flags) {
    return (flags & 0x80) != 0;
}

class DwgSaveSink : public ExactSink {
public:
    explicit DwgSaveSink(const Snapshot &a) : a_drawing_(a) {
        for (const CDB_VPORT_TBL_type &v : a.vports_) {
            if (!Deleted(v.flags) && v.name && std::strcmp(v.name, "*ACTIVE") == 0)
                actives_.push_back(v);
        }
    }

    void Real(const std::string &field, int group, double a, double b) override {
        if (DeletedRecord()) {
            // A deleted record is saved as zeros: whatever it held reads as 0.
            if (b != 0.0)
                ADD_FAILURE() << At(field) << " (deleted record, saved as zeros): " << b;
            return;
        }
        if (record_ == "HEADER" && ViewVariable(field, a, b))
            return;
        if (record_ == "ENTITY" && a == 0.0 && ZTakesElevation(field)) {
            // A circle's or arc's centre and a vertex's location with a z of 0 take the
            // elevation when they are read.
            ExactSink::Real(field + " (a z of 0 takes the elevation)", group,
                            FieldSink::a_->elevation, b);
            return;
        }
        if (Angle(field) && std::fabs(a - b) <= 4e-15 * std::fabs(a)) {
            // An angle is held in degrees and stored in radians: a value that was given
            // in degrees (not read from a file) may come back a unit of the last place off.
            return;
        }
        ExactSink::Real(field, group, a, b);
    }

    void Int(const std::string &field, int group, long a, long b) override {
        if (DeletedRecord()) {
            // Flags 0, as all else; a deleted block keeps its flags, which the block
            // table's second writing puts back.
            const long want = record_ == "BLOCK_TBL" && field == "flags" ? a : 0;
            if (b != want)
                ADD_FAILURE() << At(field) << " (deleted record, saved as zeros): " << a
                              << " against " << b << ", expected " << want;
            return;
        }
        if (record_ == "HEADER" &&
            ViewVariable(field, static_cast<double>(a), static_cast<double>(b)))
            return;
        ExactSink::Int(field, group, a, b);
    }

    void Text(const std::string &field, int group, const char *a, const char *b) override {
        if (DeletedRecord()) {
            // No name, no text: the zeros of the record.
            if (b && *b)
                ADD_FAILURE() << At(field) << " (deleted record, saved as zeros): " << Show(a)
                              << " against " << Show(b);
            return;
        }
        if (record_ == "BLOCK" && !a && (field == "xref_path" || field == "name_2")) {
            // A block start without a path or second name reads from a DWG as an empty
            // text, never none.
            if (b && *b)
                ADD_FAILURE() << At(field) << " (none: empty): " << Show(b);
            return;
        }
        if ((record_ == "BLOCK" || record_ == "BLOCK_TBL") && field == "name" && Anonymous(a)) {
            // An anonymous block is written under the name it holds ("*D0"); loading
            // appends the count of anonymous blocks before it again ("*D00").
            const std::string want = std::string(a) + std::to_string(AnonymousBefore(index_));
            if (Show(b) != Show(want.c_str()))
                ADD_FAILURE() << At(field) << " (anonymous, numbered again): " << Show(a)
                              << " against " << Show(b) << ", expected " << Show(want.c_str());
            return;
        }
        ExactSink::Text(field, group, a, b);
    }

    void Data(const std::string &field, const uint8_t *a, size_t na, const uint8_t *b,
              size_t nb) override {
        if (DeletedRecord())
            return; // a table record holds no data of its own
        ExactSink::Data(field, a, na, b, nb);
    }

private:
    bool ZTakesElevation(const std::string &field) const {
        return ((kind_ == CDB_CIRCLE || kind_ == CDB_ARC) && field == "center.z") ||
               (kind_ == CDB_VERTEX && field == "location.z");
    }

    // Whether a field holds an angle, in degrees in the record.
    static bool Angle(const std::string &field) {
        static const char *const kAngles[] = {"rotation",
                                              "oblique_angle",
                                              "start_angle",
                                              "end_angle",
                                              "x_axis_angle",
                                              "tangent_direction",
                                              "snap_angle",
                                              "twist_angle",
                                              "text_rotation",
                                              "horizontal_direction",
                                              "extension_line_rotation"};
        for (const char *angle : kAngles) {
            if (field == angle)
                return true;
        }
        return false;
    }

    // Whether the current record is a table record that side a holds deleted.
    bool DeletedRecord() const {
        if (index_ < 0)
            return false;
        const size_t i = static_cast<size_t>(index_);
        const Snapshot &a = a_drawing_;
        auto flags = [&](const auto &table) { return i < table.size() && Deleted(table[i].flags); };
        if (record_ == "BLOCK_TBL")
            return flags(a.block_table_);
        if (record_ == "LAYER")
            return flags(a.layers_);
        if (record_ == "LTYPE")
            return flags(a.ltypes_);
        if (record_ == "STYLE")
            return flags(a.styles_);
        if (record_ == "VPORT")
            return flags(a.vports_);
        if (record_ == "VIEW")
            return flags(a.views_);
        if (record_ == "UCS")
            return flags(a.ucs_);
        if (record_ == "APPID")
            return flags(a.appids_);
        if (record_ == "DIMSTYLE")
            return flags(a.dimstyles_);
        return false;
    }

    // The number of anonymous block records, not deleted, before record `index` of side a's
    // block table: the number that loading appends to its name.
    int AnonymousBefore(int index) const {
        int n = 0;
        const std::vector<CDB_BLOCK_TBL> &table = a_drawing_.block_table_;
        for (int i = 0; i < index && i < static_cast<int>(table.size()); ++i) {
            if (!Deleted(table[static_cast<size_t>(i)].flags) &&
                Anonymous(table[static_cast<size_t>(i)].name))
                ++n;
        }
        return n;
    }

    // A view variable of the header: the saved file holds the value of an "*ACTIVE"
    // viewport. Where the drawing has none, or where the writer leaves a variable alone,
    // the value read first stands. True when `field` is one of them.
    bool ViewVariable(const std::string &field, double a, double b) {
        const ViewField *view = FindViewField(field);
        if (!view)
            return false;
        if (SameBits(a, b))
            return true;
        std::string values;
        for (const CDB_VPORT_TBL_type &v : actives_) {
            const double want = view->value(v);
            // The snap angle passes from degrees to radians: the last bit may differ.
            const double slack = field == "snapang" ? 4e-16 * std::fabs(want) : 0.0;
            if (std::fabs(b - want) <= slack)
                return true;
            values += " " + Digits(want);
        }
        ADD_FAILURE() << At(field) << " (a view variable: the first reading's value or an "
                      << "\"*ACTIVE\" viewport's): " << Digits(a) << " against " << Digits(b)
                      << "; the \"*ACTIVE\" viewports give" << values;
        return true;
    }

    const Snapshot &a_drawing_;
    std::vector<CDB_VPORT_TBL_type> actives_;
};

// ---- DXF ----------------------------------------------------------------------------

constexpr int kWriterDigits = 8;

bool Empty(const char *text) {
    return !text || !*text;
}

// The index that a name finds in a table the way the DXF reader looks it up: the first
// record, not deleted, whose name equals it, case ignored; -1 for none and for "".
template <typename Record> int Lookup(const std::vector<Record> &table, const char *name) {
    if (Empty(name))
        return -1;
    for (size_t i = 0; i < table.size(); ++i) {
        const Record &r = table[i];
        if (r.flags <= 127 && r.name && strcasecmp(r.name, name) == 0)
            return static_cast<int>(i);
    }
    return -1;
}

// The index of a reference after the writer wrote it by name and the reader looked the
// name up: an index outside the table writes an empty name, which finds nothing.
template <typename Record> int ByName(const std::vector<Record> &table, long index) {
    if (index < 0 || index >= static_cast<long>(table.size()))
        return -1;
    return Lookup(table, table[static_cast<size_t>(index)].name);
}

// The kinds whose z groups the reader takes into the elevation (the writer mirrors it:
// the elevation goes into the first point's z).
bool ZToElevation(int kind) {
    switch (kind) {
    case CDB_CIRCLE:
    case CDB_ARC:
    case CDB_TRACE:
    case CDB_SOLID:
    case CDB_TEXT:
    case CDB_SHAPE:
    case CDB_INSERT:
    case CDB_ATTDEF:
    case CDB_ATTRIB:
        return true;
    default:
        return false;
    }
}

bool TextJustified(const CDB_ENTITY &e) {
    return e.text.horizontal_justification != 0 || e.text.vertical_justification != 0;
}

bool AttributeJustified(const CDB_ENTITY &e) {
    if (e.entity_type == CDB_ATTDEF)
        return e.attdef.horizontal_justification != 0 || e.attdef.vertical_justification != 0;
    return e.attrib.horizontal_justification != 0 || e.attrib.vertical_justification != 0;
}

// The value of the last z group that the writer puts out for an entity of a kind that
// reads its z groups into the elevation: the first point's z is the elevation, the
// others' as the record holds them.
double LastZWritten(const CDB_ENTITY &e) {
    switch (e.entity_type) {
    case CDB_TRACE:
    case CDB_SOLID:
        return e.trace.corner_4.z;
    case CDB_TEXT:
        return TextJustified(e) ? e.text.alignment_point.z : e.elevation;
    case CDB_ATTDEF:
        return AttributeJustified(e) ? e.attdef.alignment_point.z : e.elevation;
    case CDB_ATTRIB:
        return AttributeJustified(e) ? e.attrib.alignment_point.z : e.elevation;
    default:
        return e.elevation;
    }
}

// Within the writer's digits, but for the rules of the DXF road. Side a is the drawing
// that was written, side b the file read again.

class DxfSaveSink : public DigitsSink {
public:
    DxfSaveSink(const Snapshot &a, const Snapshot &b, bool binary)
        : DigitsSink(kWriterDigits), a_(a), b_(b), binary_(binary) {}

    void Real(const std::string &field, int group, double a, double b) override {
        double want = a;
        if (EndMarker()) {
            // The end marker of the main list is no entity of the file: each reader makes
            // its own, and nothing of it is written.
        } else if (record_ == "HEADER") {
            if (!HeaderReal(field, a, &want))
                return;
        } else if (record_ == "ENTITY") {
            want = EntityReal(field, a);
        }
        if (SameBits(want, a))
            DigitsSink::Real(field, group, a, b);
        else if (!SameToDigits(want, b, kWriterDigits))
            ADD_FAILURE() << At(field) << " (by rule: " << Digits(want) << "): " << Digits(a)
                          << " against " << Digits(b);
    }

    void Int(const std::string &field, int group, long a, long b) override {
        long want = a;
        if (EndMarker())
            want = a;
        else if (record_ == "HEADER")
            want = HeaderInt(field, a);
        else if (record_ == "ENTITY")
            want = EntityInt(field, a);
        else if (record_ == "LAYER" && field == "line_type_index")
            want = ByName(a_.ltypes_, a); // group 6: the line type by name
        else if (record_ == "VPORT" && (field == "viewport_status" || field == "viewport_id"))
            want = 0; // no group carries them: the reader's record starts cleared
        if (want != a && want != b)
            ADD_FAILURE() << At(field) << " (by rule: " << want << "): " << a << " against " << b;
        else if (want == a)
            DigitsSink::Int(field, group, a, b);
    }

    void Text(const std::string &field, int group, const char *a, const char *b) override {
        if (record_ == "ENTITY" && !EndMarker()) {
            if (field == "handle" && a_.header_.handling != 1) {
                // With $HANDLING off no group 5 is written.
                if (b)
                    ADD_FAILURE() << At(field) << " ($HANDLING " << a_.header_.handling
                                  << ": no group 5): " << Show(b);
                return;
            }
            if (field != "handle" && Empty(a)) {
                // An empty text group leaves no text.
                if (b)
                    ADD_FAILURE() << At(field) << " (an empty text reads as none): " << Show(a)
                                  << " against " << Show(b);
                return;
            }
        }
        if (record_ == "BLOCK" && (field == "xref_path" || field == "name" || field == "name_2") &&
            Empty(a)) {
            // The block start writes no name, path or second name that it has not; read
            // back, an empty one and none are the same.
            if (!Empty(b))
                ADD_FAILURE() << At(field) << " (none written): " << Show(b);
            return;
        }
        if (record_ != "ENTITY" && record_ != "BLOCK" && record_ != "HEADER" && !a) {
            // A table record's text that is null is written as an empty value.
            if (!Empty(b))
                ADD_FAILURE() << At(field) << " (null written as an empty value): " << Show(b);
            return;
        }
        if (record_ == "HEADER" && field == "$DWGCODEPAGE" && Empty(a)) {
            // The reader keeps the name as written; an empty one leaves the code page of
            // number 0, "undefined".
            DigitsSink::Text(field, group, "undefined", b);
            return;
        }
        if (record_ == "HEADER" && field[0] != '$') {
            // A header text that no DXF variable carries.
            if (b)
                ADD_FAILURE() << At(field) << " (no DXF variable: none): " << Show(b);
            return;
        }
        DigitsSink::Text(field, group, a, b);
    }

    void Data(const std::string &field, const uint8_t *a, size_t na, const uint8_t *b,
              size_t nb) override {
        std::vector<uint8_t> cut;
        if (binary_ && field == "eed" && CutChunks(a, na, &cut)) {
            // A chunk (1004) reaches the binary reader as text: cut at its first zero byte,
            // its length byte counting what is kept.
            DigitsSink::Data(field, cut.data(), cut.size(), b, nb);
            return;
        }
        DigitsSink::Data(field, a, na, b, nb);
    }

private:
    const CDB_ENTITY &A() const { return *FieldSink::a_; }

    // The extended data `data` as a binary file brings them back: each chunk cut at its
    // first zero byte. False when the block holds no chunk with a zero byte.
    static bool CutChunks(const uint8_t *data, size_t size, std::vector<uint8_t> *out) {
        std::vector<EedValue> values;
        if (!EedValues(data, size, &values))
            return false;
        bool cut = false;
        for (EedValue &v : values) {
            if (v.code == 4 && !v.bytes.empty()) {
                const auto zero = std::find(v.bytes.begin() + 1, v.bytes.end(), uint8_t(0));
                if (zero != v.bytes.end()) {
                    v.bytes.erase(zero, v.bytes.end());
                    v.bytes[0] = static_cast<uint8_t>(v.bytes.size() - 1);
                    cut = true;
                }
            }
            out->push_back(static_cast<uint8_t>(v.code));
            out->insert(out->end(), v.bytes.begin(), v.bytes.end());
            for (double r : v.reals) {
                uint8_t raw[8];
                std::memcpy(raw, &r, sizeof raw);
                out->insert(out->end(), raw, raw + sizeof raw);
            }
        }
        return cut;
    }

    // Whether the current record is the end marker of the main list.
    bool EndMarker() const {
        return record_ == "ENTITY" && kind_ == CDB_ENDBLK &&
               where_.compare(0, 9, "main list") == 0 &&
               index_ + 1 == static_cast<int>(a_.main_.size());
    }

    // ---- Entities ---------------------------------------------------------------------

    double EntityReal(const std::string &field, double a) {
        const CDB_ENTITY &e = A();
        if (field == "elevation") {
            // The z/elevation mirror: the last z group written wins in the kinds that take
            // their z into the elevation; elsewhere group 38 is written when the
            // elevation is greater than 0.
            if (ZToElevation(kind_))
                return LastZWritten(e);
            if (kind_ == CDB_VERTEX)
                return a; // group 30 carries it, into the z and the elevation
            return a > 0.0 ? a : 0.0;
        }
        if (field == "thickness")
            return a > 0.0 ? a : 0.0; // group 39 only when greater than 0
        const bool z = field.size() > 2 && field.compare(field.size() - 2, 2, ".z") == 0;
        if (z && ZToElevation(kind_) && field.compare(0, 9, "extrusion") != 0) {
            // The z of the first point is the elevation; the reader keeps no z in the
            // points, except ARC's centre, which also gets group 30.
            if (kind_ == CDB_ARC && field == "center.z")
                return e.elevation;
            return 0.0;
        }
        if (kind_ == CDB_VERTEX && field == "location.z")
            return e.elevation; // the writer's mirror, and the reader's group 30
        switch (kind_) {
        case CDB_TEXT:
            if (field.compare(0, 16, "alignment_point.") == 0 && !TextJustified(e))
                return 0.0; // groups 11, 21 only for a justified text
            break;
        case CDB_ATTDEF:
        case CDB_ATTRIB:
            if (field.compare(0, 16, "alignment_point.") == 0 && !AttributeJustified(e))
                return 0.0;
            break;
        case CDB_POLYLINE:
        case CDB_VERTEX:
            if (field == "start_width" || field == "end_width")
                return a > 0.0 ? a : 0.0; // groups 40, 41 only when greater than 0
            break;
        case CDB_DIMENSION:
            if (field == "horizontal_direction" || field == "extension_line_rotation" ||
                field == "oblique_angle")
                return 0.0; // groups 51, 52, 53 are not written
            break;
        default:
            break;
        }
        return a;
    }

    long EntityInt(const std::string &field, long a) {
        const CDB_ENTITY &e = A();
        if (field == "eed_size" && binary_) {
            std::vector<uint8_t> cut; // chunks cut at a zero byte: see Data
            if (CutChunks(e.eed_data, e.eed_data ? e.eed_size : 0, &cut))
                return static_cast<long>(cut.size());
        }
        if (field == "layer_index")
            return ByName(a_.layers_, a); // group 8: the layer by name
        if (field == "line_type_index")
            return a == -1 || a == -2 ? a : ByName(a_.ltypes_, a); // group 6
        switch (kind_) {
        case CDB_TEXT:
        case CDB_ATTDEF:
        case CDB_ATTRIB:
            if (field == "style_index")
                return a == 0 ? 0 : ByName(a_.styles_, a); // group 7 when not 0
            break;
        case CDB_INSERT:
            if (field == "block_index")
                return ByName(a_.block_table_, a); // group 2: the block by name
            break;
        case CDB_DIMENSION:
            if (field == "block_index")
                return ByName(a_.block_table_, a);
            if (field == "dimstyle_index")
                return a == 0 ? 0 : ByName(a_.dimstyles_, a); // group 3 when not 0
            break;
        case CDB_SHAPE:
            if (field == "shape_number" || field == "shape_style_index")
                return ShapeByName(e, field);
            break;
        case CDB_VIEWPORT:
            if (field == "vx_index")
                return 0; // from the DWG's viewport entity header table, which DXF lacks
            break;
        default:
            break;
        }
        return a;
    }

    // Group 2 of a SHAPE is the shape's name, which the reader looks up in the shape
    // files: not found, both numbers are -1.
    long ShapeByName(const CDB_ENTITY &e, const std::string &field) {
        CDB_SHAPE_ENTITY_type shape;
        std::memcpy(static_cast<void *>(&shape), &e, sizeof shape);
        char name[512] = {};
        const bool named = CDBGetShapeNameFromEntity(a_.handle(), &shape, name) >= 0 && name[0];
        if (!named)
            return -1;
        return field == "shape_number" ? e.shape.shape_number : e.shape.shape_style_index;
    }

    // ---- Header -----------------------------------------------------------------------

    // False when the field is not compared.
    bool HeaderReal(const std::string &field, double a, double *want) {
        if (field == "$ANGBASE" && binary_) {
            *want = 0.0; // the binary reader takes header reals from code 40 only
            return true;
        }
        if (field[0] == '$') {
            *want = a;
            return true;
        }
        *want = NotCarried(field);
        return true;
    }

    // A header field that no DXF variable carries: the reader leaves it 0, or, for the
    // view variables it takes from the "*ACTIVE" viewport, gives that viewport's value.
    double NotCarried(const std::string &field) const {
        const ViewField *view = FindViewField(field);
        const int active = Lookup(b_.vports_, "*ACTIVE");
        if (!view || !view->by_dxf_reader || active < 0)
            return 0.0;
        return view->value(b_.vports_[static_cast<size_t>(active)]);
    }

    long HeaderInt(const std::string &field, long a) {
        if (field == "$CLAYER")
            return ByName(a_.layers_, a);
        if (field == "$CELTYPE")
            return a == -1 || a == -2 ? a : ByName(a_.ltypes_, a);
        if (field == "$TEXTSTYLE")
            return ByName(a_.styles_, a);
        if (field == "$DIMSTYLE")
            return a == -1 ? -1 : ByName(a_.dimstyles_, a);
        if (field == "$UCSNAME" || field == "$PUCSNAME")
            return ByName(a_.ucs_, a);
        if (field[0] == '$')
            return a;
        return static_cast<long>(NotCarried(field));
    }

    const Snapshot &a_;
    const Snapshot &b_;
    bool binary_;
};

} // namespace

void CompareDwgSave(const Snapshot &a, const Snapshot &b) {
    DwgSaveSink sink(a);
    CompareDrawings(a, b, sink, sink);
}

void CompareDxfSave(const Snapshot &a, const Snapshot &b, bool binary) {
    DxfSaveSink sink(a, b, binary);
    CompareDrawings(a, b, sink, sink);
}

// ---------------------------------------------------------------------------
// The groups of a written DXF file
// ---------------------------------------------------------------------------

namespace {

struct Group {
    int code = 0;
    std::string text;  // a string, or the ASCII text of a number
    double real = 0.0; // a binary real
    long integer = 0;  // a binary integer
    std::vector<uint8_t> chunk;
};

enum class Value { kString, kReal, kInt16, kInt32, kChunk };

// The value of a group code, as the writer writes it in binary.
Value ValueOf(int code) {
    if ((code >= 10 && code <= 59) || (code >= 140 && code <= 147) ||
        (code >= 210 && code <= 239) || (code >= 1010 && code <= 1059))
        return Value::kReal;
    if ((code >= 60 && code <= 79) || (code >= 170 && code <= 178) ||
        (code >= 1060 && code <= 1070))
        return Value::kInt16;
    if (code == 1071)
        return Value::kInt32;
    if (code == 1004)
        return Value::kChunk;
    return Value::kString;
}

// The groups of an ASCII file, its lines ended by carriage return and line feed.
bool AsciiGroups(const std::vector<uint8_t> &bytes, std::vector<Group> *out) {
    std::vector<std::string> lines;
    std::string line;
    for (size_t i = 0; i < bytes.size(); ++i) {
        if (bytes[i] == '\r' && i + 1 < bytes.size() && bytes[i + 1] == '\n') {
            lines.push_back(line);
            line.clear();
            ++i;
        } else {
            line.push_back(static_cast<char>(bytes[i]));
        }
    }
    if (!line.empty() || lines.size() % 2 != 0)
        return false;
    for (size_t i = 0; i < lines.size(); i += 2) {
        Group g;
        g.code = std::atoi(lines[i].c_str());
        g.text = lines[i + 1];
        out->push_back(g);
    }
    return true;
}

bool Truncated(int code, std::string *error) {
    *error = "the file ends inside group " + std::to_string(code);
    return false;
}

// The groups of a binary file: the 22-byte sentinel, then a code byte (255 and two bytes
// for a code from 1000 up) and the value by the code's type.
bool BinaryGroups(const std::vector<uint8_t> &bytes, std::vector<Group> *out, std::string *error) {
    static const char kSentinel[] = "AutoCAD Binary DXF\r\n\x1a";
    if (bytes.size() < 22 || std::memcmp(bytes.data(), kSentinel, 22) != 0) {
        *error = "no binary sentinel";
        return false;
    }
    size_t at = 22;
    auto need = [&](size_t n) { return at + n <= bytes.size(); };
    while (at < bytes.size()) {
        Group g;
        g.code = bytes[at++];
        if (g.code == 255) {
            if (!need(2))
                return Truncated(g.code, error);
            g.code = bytes[at] | bytes[at + 1] << 8;
            at += 2;
        }
        switch (ValueOf(g.code)) {
        case Value::kString: {
            const size_t end =
                std::find(bytes.begin() + static_cast<long>(at), bytes.end(), 0) - bytes.begin();
            if (end >= bytes.size()) {
                *error = "a string without its end at " + std::to_string(at);
                return false;
            }
            g.text.assign(bytes.begin() + static_cast<long>(at),
                          bytes.begin() + static_cast<long>(end));
            at = end + 1;
            break;
        }
        case Value::kReal:
            if (!need(8))
                return Truncated(g.code, error);
            std::memcpy(&g.real, bytes.data() + at, 8);
            at += 8;
            break;
        case Value::kInt16:
            if (!need(2))
                return Truncated(g.code, error);
            g.integer = static_cast<int16_t>(bytes[at] | bytes[at + 1] << 8);
            at += 2;
            break;
        case Value::kInt32: {
            if (!need(4))
                return Truncated(g.code, error);
            uint32_t v = 0;
            std::memcpy(&v, bytes.data() + at, 4);
            g.integer = static_cast<int32_t>(v);
            at += 4;
            break;
        }
        case Value::kChunk:
            if (!need(1) || !need(1 + size_t(bytes[at])))
                return Truncated(g.code, error);
            g.chunk.assign(bytes.begin() + static_cast<long>(at) + 1,
                           bytes.begin() + static_cast<long>(at) + 1 + bytes[at]);
            at += 1 + size_t(bytes[at]);
            break;
        }
        out->push_back(g);
    }
    return true;
}

} // namespace

std::string CompareDxfForms(const std::string &ascii, const std::string &binary) {
    std::vector<uint8_t> ascii_bytes, binary_bytes;
    if (!ReadWholeFile(ascii, &ascii_bytes) || !ReadWholeFile(binary, &binary_bytes))
        return "cannot read " + ascii + " or " + binary;
    std::vector<Group> ga, gb;
    std::string error;
    if (!AsciiGroups(ascii_bytes, &ga))
        return ascii + ": its lines do not pair up";
    if (!BinaryGroups(binary_bytes, &gb, &error))
        return binary + ": " + error;
    if (ga.size() != gb.size())
        return ascii + " has " + std::to_string(ga.size()) + " groups, " + binary + " " +
               std::to_string(gb.size());
    std::string differences;
    int failures = 0;
    for (size_t i = 0; i < ga.size() && failures < 10; ++i) {
        const Group &x = ga[i], &y = gb[i];
        bool same = x.code == y.code;
        if (same) {
            switch (ValueOf(x.code)) {
            case Value::kString:
                same = x.text == y.text;
                break;
            case Value::kReal:
                same = SameToDigits(std::strtod(x.text.c_str(), nullptr), y.real, kWriterDigits);
                break;
            case Value::kInt16:
            case Value::kInt32:
                same = std::strtol(x.text.c_str(), nullptr, 10) == y.integer;
                break;
            case Value::kChunk:
                same = x.text == Hex(y.chunk.data(), y.chunk.size());
                break;
            }
        }
        if (!same) {
            ++failures;
            differences += "group " + std::to_string(i) + ": code " + std::to_string(x.code) +
                           " \"" + x.text + "\" against code " + std::to_string(y.code) + " \"" +
                           y.text + "\" " + Digits(y.real) + " " + std::to_string(y.integer) + "\n";
        }
    }
    return differences;
}

// ---------------------------------------------------------------------------
// Saving copies
// ---------------------------------------------------------------------------

std::string SaveOpenDrawing(int16_t handle, const std::string &to, SaveForm form) {
    // Written under a name of this process and then renamed, so that a test of another
    // process that reads `to` at the same time finds it whole.
    const std::string part = to + "." + std::to_string(::getpid()) + ".part";
    std::remove(part.c_str());
    const int16_t saved = form == SaveForm::kDwg
                              ? CDBSaveAsDWG(handle, part.c_str())
                              : CDBSaveAsDXF(handle, part.c_str(), form == SaveForm::kBinaryDxf);
    if (saved != 0) {
        std::remove(part.c_str());
        return std::string(form == SaveForm::kDwg ? "CDBSaveAsDWG" : "CDBSaveAsDXF") + " to " + to +
               " gave " + std::to_string(saved) + ", code " +
               std::to_string(CDBGetErrorNumber(handle));
    }
    if (std::rename(part.c_str(), to.c_str()) != 0)
        return "cannot rename " + part + " to " + to;
    return "";
}

std::string SaveCopy(const std::string &from, const std::string &to, SaveForm form) {
    const int16_t h = CDBStartFileReading(from.c_str(), nullptr);
    if (h < 0)
        return from + " does not open: code " + std::to_string(CDBGetErrorNumber(CDB_FAIL));
    const std::string failure = SaveOpenDrawing(h, to, form);
    CDBEndOperation(h);
    return failure;
}

std::string RoundTripFolder() {
    const std::string folder = ::testing::TempDir() + "velko_roundtrip/";
    std::error_code ignored;
    std::filesystem::create_directories(folder, ignored);
    return folder;
}

std::vector<std::string> RoundTripSources(bool with_dxf) {
    std::vector<std::string> sources;
    for (const json::Value *e : CorpusManifestEntries("dwg12/"))
        sources.push_back((*e)["path"].as_string());
    if (with_dxf) {
        for (const json::Value *e : CorpusManifestEntries("dxf12/")) {
            const json::Value *opens = e->find("opens");
            if (!opens || opens->as_bool(true))
                sources.push_back((*e)["path"].as_string());
        }
    }
    return sources;
}

// ---------------------------------------------------------------------------
// Helpers
// ---------------------------------------------------------------------------

std::string Show(const char *text) {
    return text ? "\"" + std::string(text) + "\"" : std::string("(null)");
}

std::string Hex(const uint8_t *p, size_t n) {
    static const char digits[] = "0123456789ABCDEF";
    std::string s;
    for (size_t i = 0; p && i < n; ++i) {
        s += digits[p[i] >> 4];
        s += digits[p[i] & 15];
    }
    return s;
}

std::string Digits(double v) {
    char text[40];
    std::snprintf(text, sizeof text, "%.17g", v);
    return text;
}

bool SameBits(double a, double b) {
    return std::memcmp(&a, &b, sizeof a) == 0;
}

bool SameToDigits(double a, double b, int digits) {
    if (a == b || (std::isnan(a) && std::isnan(b)))
        return true;
    char ta[64], tb[64];
    std::snprintf(ta, sizeof ta, "%.*e", digits - 1, a);
    std::snprintf(tb, sizeof tb, "%.*e", digits - 1, b);
    if (std::strcmp(ta, tb) == 0)
        return true;
    return std::fabs(a - b) <= std::pow(10.0, 1 - digits) * std::max(std::fabs(a), std::fabs(b));
}

bool EedValues(const uint8_t *data, size_t size, std::vector<EedValue> *out) {
    size_t at = 0;
    while (data && at < size) {
        EedValue v;
        v.code = data[at++];
        size_t plain = 0, reals = 0;
        switch (v.code) {
        case 0:
        case 4:
            if (at >= size)
                return false;
            plain = 1 + data[at];
            break;
        case 1:
        case 3:
        case 70:
            plain = 2;
            break;
        case 2:
            plain = 1;
            break;
        case 5:
            plain = 8;
            break;
        case 10:
        case 11:
        case 12:
        case 13:
            reals = 3;
            break;
        case 40:
        case 41:
        case 42:
            reals = 1;
            break;
        case 71:
            plain = 4;
            break;
        default:
            return false;
        }
        if (plain + 8 * reals > size - at)
            return false;
        v.bytes.assign(data + at, data + at + plain);
        at += plain;
        for (size_t k = 0; k < reals; ++k, at += 8) {
            double r;
            std::memcpy(&r, data + at, sizeof r);
            v.reals.push_back(r);
        }
        out->push_back(v);
    }
    return data != nullptr;
}

} // namespace snapshot
} // namespace velko_test
