// The DXF groups of the release 12 kinds and table records as data; see r12_dxf_layout.h.
#include "dwg12/r12_dxf_layout.h"

#include "dwg12/r12_tables.h"

#include <array>
#include <cstring>

namespace {

using V = R12DxfValue;
using W = R12DxfWhen;
using Direct = std::array<uint8_t, R12DxfLayout::kDirectCodes>;

constexpr W A = W::kAlways;

#define E(member) static_cast<uint16_t>(offsetof(CDB_ENTITY, member))

// A point of three reals under code, code + 10, code + 20.
#define XYZ(code, member, when)                                                                    \
    {code, V::kReal, when, E(member.x)}, {code + 10, V::kReal, when, E(member.y)}, {               \
        code + 20, V::kReal, when, E(member.z)                                                     \
    }
// A point whose z goes to the elevation (two-dimensional kinds).
#define XYE(code, member, when)                                                                    \
    {code, V::kReal, when, E(member.x)}, {code + 10, V::kReal, when, E(member.y)}, {               \
        code + 20, V::kZElevation, when, E(member.z)                                               \
    }

// ---- Entities -----------------------------------------------------------------------------

constexpr R12DxfGroup kLine[] = {
    XYZ(10, line.start_point, A),
    XYZ(11, line.end_point, A),
};

constexpr R12DxfGroup kPoint[] = {
    XYZ(10, point.location, A),
    {50, V::kReal, W::kNotZero, E(point.x_axis_angle)},
};

constexpr R12DxfGroup kCircle[] = {
    XYE(10, circle.center, A),
    {40, V::kReal, A, E(circle.radius)},
};

// The arc keeps its z in the centre as well as in the elevation.
constexpr R12DxfGroup kArc[] = {
    {10, V::kReal, A, E(arc.center.x)},    {20, V::kReal, A, E(arc.center.y)},
    {30, V::kZBoth, A, E(arc.center.z)},   {40, V::kReal, A, E(arc.radius)},
    {50, V::kReal, A, E(arc.start_angle)}, {51, V::kReal, A, E(arc.end_angle)},
};

// Trace and solid.
constexpr R12DxfGroup kCorners[] = {
    XYE(10, trace.corner_1, A),
    XYE(11, trace.corner_2, A),
    XYE(12, trace.corner_3, A),
    XYE(13, trace.corner_4, A),
};

constexpr R12DxfGroup kText[] = {
    XYE(10, text.insertion_point, A),
    {40, V::kReal, A, E(text.height)},
    {1, V::kText, A, E(text.text)},
    {50, V::kReal, W::kNotZero, E(text.rotation)},
    {41, V::kReal, W::kNotOne, E(text.width_factor)},
    {51, V::kReal, W::kNotZero, E(text.oblique_angle)},
    {7, V::kStyle, W::kNotZero, E(text.style_index)},
    {71, V::kInt16, W::kNotZero, E(text.generation_flags)},
    {72, V::kByte, W::kNotZero, E(text.horizontal_justification)},
    XYE(11, text.alignment_point, W::kJustified),
    {73, V::kByte, W::kNotZero, E(text.vertical_justification)},
};

constexpr R12DxfGroup kShape[] = {
    XYE(10, shape.insertion_point, A),
    {40, V::kReal, A, E(shape.size)},
    {2, V::kShapeName, A, E(shape.shape_number)},
    {50, V::kReal, W::kNotZero, E(shape.rotation)},
    {41, V::kReal, W::kNotOne, E(shape.x_scale)},
    {51, V::kReal, W::kNotZero, E(shape.oblique_angle)},
};

// The block start: its z goes to the elevation, its names are kept also when empty.
constexpr R12DxfGroup kBeginBlock[] = {
    {2, V::kTextKept, W::kNotNull, E(block.name)},
    {70, V::kInt16, A, E(block.flags)},
    XYE(10, block.base_point, A),
    {1, V::kTextKept, W::kNotNull, E(block.xref_path)},
    {3, V::kTextKept, W::kNotNull, E(block.name_2)},
};

constexpr R12DxfGroup kInsert[] = {
    {66, V::kInt16, W::kNotZero, E(insert.attributes_follow)},
    {2, V::kBlockName, A, E(insert.block_index)},
    XYE(10, insert.insertion_point, A),
    {41, V::kReal, W::kNotOne, E(insert.x_scale)},
    {42, V::kReal, W::kNotOne, E(insert.y_scale)},
    {50, V::kReal, W::kNotZero, E(insert.rotation)},
    {43, V::kReal, W::kNotOne, E(insert.z_scale)},
    {70, V::kInt16, W::kNotOne, E(insert.column_count)},
    {71, V::kInt16, W::kNotOne, E(insert.row_count)},
    {44, V::kReal, W::kNotZero, E(insert.column_spacing)},
    {45, V::kReal, W::kNotZero, E(insert.row_spacing)},
};

constexpr R12DxfGroup kAttDef[] = {
    XYE(10, attdef.insertion_point, A),
    {40, V::kReal, A, E(attdef.height)},
    {1, V::kText, A, E(attdef.default_value)},
    {3, V::kText, A, E(attdef.prompt)},
    {2, V::kText, A, E(attdef.tag)},
    {70, V::kInt16, A, E(attdef.flags)},
    {73, V::kInt16, W::kNotZero, E(attdef.field_length)},
    {50, V::kReal, W::kNotZero, E(attdef.rotation)},
    {41, V::kReal, W::kNotOne, E(attdef.width_factor)},
    {51, V::kReal, W::kNotZero, E(attdef.oblique_angle)},
    {7, V::kStyle, W::kNotZero, E(attdef.style_index)},
    {71, V::kInt16, W::kNotZero, E(attdef.generation_flags)},
    {72, V::kInt16, W::kNotZero, E(attdef.horizontal_justification)},
    {74, V::kInt16, W::kNotZero, E(attdef.vertical_justification)},
    XYE(11, attdef.alignment_point, W::kJustified),
};

constexpr R12DxfGroup kAttrib[] = {
    XYE(10, attrib.insertion_point, A),
    {40, V::kReal, A, E(attrib.height)},
    {1, V::kText, A, E(attrib.value)},
    {2, V::kText, A, E(attrib.tag)},
    {70, V::kInt16, A, E(attrib.flags)},
    {73, V::kInt16, W::kNotZero, E(attrib.field_length)},
    {50, V::kReal, W::kNotZero, E(attrib.rotation)},
    {41, V::kReal, W::kNotOne, E(attrib.width_factor)},
    {51, V::kReal, W::kNotZero, E(attrib.oblique_angle)},
    {7, V::kStyle, W::kNotZero, E(attrib.style_index)},
    {71, V::kInt16, W::kNotZero, E(attrib.generation_flags)},
    {72, V::kInt16, W::kNotZero, E(attrib.horizontal_justification)},
    {74, V::kInt16, W::kNotZero, E(attrib.vertical_justification)},
    XYE(11, attrib.alignment_point, W::kJustified),
};

// The tests of 72 and 75 let every value through: they are always written.
constexpr R12DxfGroup kPolyline[] = {
    {66, V::kInt16, A, E(polyline.vertices_follow)},
    XYZ(10, polyline.origin, A),
    {70, V::kInt16, W::kNotZero, E(polyline.flags)},
    {40, V::kReal, W::kPositive, E(polyline.start_width)},
    {41, V::kReal, W::kPositive, E(polyline.end_width)},
    {71, V::kInt16, W::kNotZero, E(polyline.mesh_m_count)},
    {72, V::kInt16, A, E(polyline.mesh_n_count)},
    {73, V::kInt16, W::kNotZero, E(polyline.smooth_m_density)},
    {74, V::kInt16, W::kNotZero, E(polyline.smooth_n_density)},
    {75, V::kInt16, A, E(polyline.curve_type)},
};

// The vertex keeps its z in the location as well as in the elevation.
constexpr R12DxfGroup kVertex[] = {
    {10, V::kReal, A, E(vertex.location.x)},
    {20, V::kReal, A, E(vertex.location.y)},
    {30, V::kZBoth, A, E(vertex.location.z)},
    {40, V::kReal, W::kPositive, E(vertex.start_width)},
    {41, V::kReal, W::kPositive, E(vertex.end_width)},
    {42, V::kReal, W::kNotZero, E(vertex.bulge)},
    {70, V::kInt16, W::kNotZero, E(vertex.flags)},
    {50, V::kReal, W::kFlagsOrValue, E(vertex.tangent_direction)},
    {71, V::kInt16, W::kNotZero, E(vertex.polyface_index_1)},
    {72, V::kInt16, W::kNotZero, E(vertex.polyface_index_2)},
    {73, V::kInt16, W::kStrictNotZero, E(vertex.polyface_index_3)},
    {74, V::kInt16, W::kNotZero, E(vertex.polyface_index_4)},
};

constexpr R12DxfGroup kFace[] = {
    XYZ(10, face.corner_1, A),
    XYZ(11, face.corner_2, A),
    XYZ(12, face.corner_3, A),
    XYZ(13, face.corner_4, A),
    {70, V::kInt16, W::kNotZero, E(face.invisible_edges)},
};

// The view of a viewport stands in its extended data; group 68 has no field of its own.
constexpr R12DxfGroup kViewport[] = {
    {68, V::kNone, A, 0},
    XYZ(10, viewport.center, A),
    {40, V::kReal, A, E(viewport.width)},
    {41, V::kReal, A, E(viewport.height)},
    {69, V::kInt16, A, E(viewport.viewport_id)},
};

// 51, 52 and 53 are read but not written.
constexpr R12DxfGroup kDimension[] = {
    {2, V::kBlockName, A, E(dimension.block_index)},
    {3, V::kDimstyle, W::kNotZero, E(dimension.dimstyle_index)},
    XYZ(10, dimension.definition_point, W::kPointNotZero),
    XYZ(11, dimension.text_midpoint, W::kPointNotZero),
    XYZ(12, dimension.clone_insertion_point, W::kPointNotZero),
    {70, V::kInt16, W::kNotZero, E(dimension.dimension_type)},
    {1, V::kText, W::kNotNull, E(dimension.text)},
    XYZ(13, dimension.definition_point_2, W::kPointNotZero),
    XYZ(14, dimension.definition_point_3, W::kPointNotZero),
    XYZ(15, dimension.definition_point_4, W::kPointNotZero),
    XYZ(16, dimension.arc_definition_point, W::kPointNotZero),
    {40, V::kReal, W::kNotZero, E(dimension.leader_length)},
    {50, V::kReal, W::kNotZero, E(dimension.text_rotation)},
    {51, V::kReal, W::kNever, E(dimension.horizontal_direction)},
    {52, V::kReal, W::kNever, E(dimension.extension_line_rotation)},
    {53, V::kReal, W::kNever, E(dimension.oblique_angle)},
};

#undef XYZ
#undef XYE
#undef E

// ---- Table records ------------------------------------------------------------------------

#define L(member) static_cast<uint16_t>(offsetof(CDB_LAYER_TBL_type, member))
constexpr R12DxfGroup kLayer[] = {
    {2, V::kName, A, L(name)},
    {70, V::kFlags, A, L(flags)},
    {62, V::kInt16, A, L(color)},
    {6, V::kLtypeName, A, L(line_type_index)},
};
#undef L

#define L(member) static_cast<uint16_t>(offsetof(CDB_LTYPE_TBL_type, member))
constexpr R12DxfGroup kLtype[] = {
    {2, V::kName, A, L(name)},
    {70, V::kFlags, A, L(flags)},
    {3, V::kTextKept, A, L(description)},
    {72, V::kInt16, A, L(alignment)},
    {73, V::kInt16, A, L(dash_count)},
    {40, V::kReal, A, L(pattern_length)},
    {49, V::kDash, A, L(dashes)},
};
#undef L

// The big font's name is appended directly behind the font file's text.
#define L(member) static_cast<uint16_t>(offsetof(CDB_STYLE_TBL_type, member))
constexpr R12DxfGroup kStyle[] = {
    {2, V::kName, A, L(name)},
    {70, V::kFlags, A, L(flags)},
    {40, V::kReal, A, L(height)},
    {41, V::kReal, A, L(width_factor)},
    {50, V::kReal, A, L(oblique_angle)},
    {71, V::kByte, A, L(generation_flags)},
    {42, V::kReal, A, L(last_height)},
    {3, V::kTextKept, A, L(font_file)},
    {4, V::kAppendText, A, L(font_file)},
};
#undef L

// The points of a view are read by position: the groups behind 10, 11 and 12 are taken as
// their further coordinates, whatever their codes.
#define L(member) static_cast<uint16_t>(offsetof(CDB_VIEW_TBL_type, member))
constexpr R12DxfGroup kView[] = {
    {2, V::kName, A, L(name)},          {70, V::kFlags, A, L(flags)},
    {40, V::kReal, A, L(height)},       {10, V::kPoint2Next, A, L(center)},
    {41, V::kReal, A, L(width)},        {11, V::kPoint3Next, A, L(direction)},
    {12, V::kPoint3Next, A, L(target)}, {42, V::kReal, A, L(lens_length)},
    {43, V::kReal, A, L(front_clip)},   {44, V::kReal, A, L(back_clip)},
    {50, V::kReal, A, L(twist_angle)},  {71, V::kInt16, A, L(view_mode)},
};
#undef L

#define L(member) static_cast<uint16_t>(offsetof(CDB_UCS_TBL_type, member))
constexpr R12DxfGroup kUcs[] = {
    {2, V::kName, A, L(name)},           {70, V::kFlags, A, L(flags)},
    {10, V::kReal, A, L(origin.x)},      {20, V::kReal, A, L(origin.y)},
    {30, V::kReal, A, L(origin.z)},      {11, V::kReal, A, L(x_direction.x)},
    {21, V::kReal, A, L(x_direction.y)}, {31, V::kReal, A, L(x_direction.z)},
    {12, V::kReal, A, L(y_direction.x)}, {22, V::kReal, A, L(y_direction.y)},
    {32, V::kReal, A, L(y_direction.z)},
};
#undef L

// Like a view, a viewport reads its points by position.
#define L(member) static_cast<uint16_t>(offsetof(CDB_VPORT_TBL_type, member))
constexpr R12DxfGroup kVport[] = {
    {2, V::kName, A, L(name)},
    {70, V::kFlags, A, L(flags)},
    {10, V::kPoint2Next, A, L(lower_left)},
    {11, V::kPoint2Next, A, L(upper_right)},
    {12, V::kPoint2Next, A, L(view_center)},
    {13, V::kPoint2Next, A, L(snap_base)},
    {14, V::kPoint2Next, A, L(snap_spacing)},
    {15, V::kPoint2Next, A, L(grid_spacing)},
    {16, V::kPoint3Next, A, L(view_direction)},
    {17, V::kPoint3Next, A, L(view_target)},
    {40, V::kReal, A, L(view_height)},
    {41, V::kReal, A, L(aspect_ratio)},
    {42, V::kReal, A, L(lens_length)},
    {43, V::kReal, A, L(front_clip)},
    {44, V::kReal, A, L(back_clip)},
    {50, V::kReal, A, L(snap_angle)},
    {51, V::kReal, A, L(twist_angle)},
    {71, V::kInt16, A, L(view_mode)},
    {72, V::kInt16, A, L(circle_zoom)},
    {73, V::kInt16, A, L(fast_zoom)},
    {74, V::kInt16, A, L(ucs_icon)},
    {75, V::kInt16, A, L(snap_mode)},
    {76, V::kInt16, A, L(grid_mode)},
    {77, V::kInt16, A, L(snap_style)},
    {78, V::kInt16, A, L(snap_isopair)},
};
#undef L

#define L(member) static_cast<uint16_t>(offsetof(CDB_APPID_TBL_type, member))
constexpr R12DxfGroup kAppid[] = {
    {2, V::kName, A, L(name)},
    {70, V::kFlags, A, L(flags)},
};
#undef L

#define L(member) static_cast<uint16_t>(offsetof(CDB_DIMSTYLE_TBL_type, member))
#define R(code, member)                                                                            \
    { code, V::kReal, A, L(member) }
#define I(code, member)                                                                            \
    { code, V::kInt16, A, L(member) }
#define T(code, member)                                                                            \
    { code, V::kTextKept, A, L(member) }
constexpr R12DxfGroup kDimstyle[] = {
    {2, V::kName, A, L(name)},
    {70, V::kFlags, A, L(flags)},
    T(3, dimpost),
    T(4, dimapost),
    T(5, dimblk),
    T(6, dimblk1),
    T(7, dimblk2),
    R(40, dimscale),
    R(41, dimasz),
    R(42, dimexo),
    R(43, dimdli),
    R(44, dimexe),
    R(45, dimrnd),
    R(46, dimdle),
    R(47, dimtp),
    R(48, dimtm),
    R(140, dimtxt),
    R(141, dimcen),
    R(142, dimtsz),
    R(143, dimaltf),
    R(144, dimlfac),
    R(145, dimtvp),
    R(146, dimtfac),
    R(147, dimgap),
    I(71, dimtol),
    I(72, dimlim),
    I(73, dimtih),
    I(74, dimtoh),
    I(75, dimse1),
    I(76, dimse2),
    I(77, dimtad),
    I(78, dimzin),
    I(170, dimalt),
    I(171, dimaltd),
    I(172, dimtofl),
    I(173, dimsah),
    I(174, dimtix),
    I(175, dimsoxd),
    I(176, dimclrd),
    I(177, dimclre),
    I(178, dimclrt),
};
#undef T
#undef I
#undef R
#undef L

// ---- The direct index of each layout ------------------------------------------------------

template <size_t N> constexpr Direct DirectOf(const R12DxfGroup (&groups)[N]) {
    static_assert(N < 255, "a layout's entries are numbered in one byte");
    Direct direct{};
    for (size_t i = 0; i < N; ++i)
        if (groups[i].code >= 0 && groups[i].code < R12DxfLayout::kDirectCodes)
            direct[size_t(groups[i].code)] = static_cast<uint8_t>(i + 1);
    return direct;
}

// Every code stands once in its layout, and below the direct range.
template <size_t N> constexpr bool CodesAreUnique(const R12DxfGroup (&groups)[N]) {
    for (size_t i = 0; i < N; ++i) {
        if (groups[i].code < 0 || groups[i].code >= R12DxfLayout::kDirectCodes)
            return false;
        for (size_t j = i + 1; j < N; ++j)
            if (groups[i].code == groups[j].code)
                return false;
    }
    return true;
}

#define LAYOUT(var, name, groups)                                                                  \
    static_assert(CodesAreUnique(groups), "a code stands twice in " #groups);                      \
    constexpr Direct var##Direct = DirectOf(groups);                                               \
    const R12DxfLayout var = {name, groups, sizeof(groups) / sizeof(groups[0]), var##Direct.data()}

LAYOUT(kLayerLayout, "LAYER", kLayer);
LAYOUT(kLtypeLayout, "LTYPE", kLtype);
LAYOUT(kStyleLayout, "STYLE", kStyle);
LAYOUT(kViewLayout, "VIEW", kView);
LAYOUT(kUcsLayout, "UCS", kUcs);
LAYOUT(kVportLayout, "VPORT", kVport);
LAYOUT(kAppidLayout, "APPID", kAppid);
LAYOUT(kDimstyleLayout, "DIMSTYLE", kDimstyle);

constexpr Direct kNoDirect{};

} // namespace

// The entities' lists; their group 0 names are the kinds'.
LAYOUT(kR12LineGroups, nullptr, kLine);
LAYOUT(kR12PointGroups, nullptr, kPoint);
LAYOUT(kR12CircleGroups, nullptr, kCircle);
LAYOUT(kR12ShapeGroups, nullptr, kShape);
LAYOUT(kR12TextGroups, nullptr, kText);
LAYOUT(kR12ArcGroups, nullptr, kArc);
LAYOUT(kR12CornerGroups, nullptr, kCorners);
LAYOUT(kR12BeginBlockGroups, nullptr, kBeginBlock);
LAYOUT(kR12InsertGroups, nullptr, kInsert);
LAYOUT(kR12AttDefGroups, nullptr, kAttDef);
LAYOUT(kR12AttribGroups, nullptr, kAttrib);
LAYOUT(kR12PolylineGroups, nullptr, kPolyline);
LAYOUT(kR12VertexGroups, nullptr, kVertex);
LAYOUT(kR12FaceGroups, nullptr, kFace);
LAYOUT(kR12DimensionGroups, nullptr, kDimension);
LAYOUT(kR12ViewportGroups, nullptr, kViewport);
#undef LAYOUT

// The kinds with nothing beyond the common groups.
const R12DxfLayout kR12NoGroups = {nullptr, nullptr, 0, kNoDirect.data()};

const R12DxfLayout *R12DxfTableLayout(int t) {
    switch (t) {
    case kR12Layers:
        return &kLayerLayout;
    case kR12Ltypes:
        return &kLtypeLayout;
    case kR12Styles:
        return &kStyleLayout;
    case kR12Views:
        return &kViewLayout;
    case kR12Ucs:
        return &kUcsLayout;
    case kR12Vports:
        return &kVportLayout;
    case kR12Appids:
        return &kAppidLayout;
    case kR12Dimstyles:
        return &kDimstyleLayout;
    default:
        return nullptr;
    }
}

const R12DxfLayout *R12DxfTableLayoutNamed(const char *name) {
    for (int t = kR12Blocks; t <= kR12VxHeaders; ++t) {
        const R12DxfLayout *layout = R12DxfTableLayout(t);
        if (layout && name && std::strcmp(layout->name, name) == 0)
            return layout;
    }
    return nullptr;
}
