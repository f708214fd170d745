// Release 12 entities writing their DXF groups: group 0, the common groups, the kind's
// groups by the same layout (r12_dxf_layout.h) that the reader goes by, each under the
// layout's condition, and the extended data.
#include "dwg12/r12_drawing.h"
#include "dxf/dxf_eed.h"
#include "dxf/dxf_stream.h"
#include "dwg12/r12_dxf_layout.h"
#include "dwg12/r12_entity_kinds.h"
#include "dxf/r12_dxf_write.h"
#include "fonts/shape_table.h"
#include "io/record_field.h"

#include <cstdint>
#include <cstring>
#include <vector>

namespace {

using V = R12DxfValue;
using W = R12DxfWhen;

// A z group that the reader stores in the elevation (and, for kZBoth, in the point too).
bool FoldsIntoElevation(const R12DxfGroup &g) {
    return g.value == V::kZElevation || g.value == V::kZBoth;
}

// The first z group that the reader takes for the elevation, or null for a kind that keeps
// its z groups in its points. The circle, arc, trace, solid, text, shape, insert,
// attribute definition, attribute and vertex have one, and the block start too, whose z
// both readers keep in the elevation.
const R12DxfGroup *FirstFoldedZ(const R12DxfLayout &layout) {
    for (size_t i = 0; i < layout.count; ++i)
        if (FoldsIntoElevation(layout.groups[i]))
            return &layout.groups[i];
    return nullptr;
}

// The group's field as a number, for the conditions.
double Number(const R12DxfGroup &g, const CDB_ENTITY &r) {
    switch (g.value) {
    case V::kReal:
    case V::kZElevation:
    case V::kZBoth:
        return LoadField<double>(&r, g.offset);
    case V::kInt16:
    case V::kStyle:
    case V::kDimstyle:
    case V::kBlockName:
    case V::kShapeName:
        return LoadField<int16_t>(&r, g.offset);
    case V::kByte:
        return LoadField<uint8_t>(&r, g.offset);
    default:
        return 0.0;
    }
}

// A text whose alignment point counts: its horizontal or vertical justification is set.
bool IsJustified(const CDB_ENTITY &r, int code) {
    switch (code) {
    case CDB_TEXT:
        return r.text.horizontal_justification != 0 || r.text.vertical_justification != 0;
    case CDB_ATTDEF:
        return r.attdef.horizontal_justification != 0 || r.attdef.vertical_justification != 0;
    case CDB_ATTRIB:
        return r.attrib.horizontal_justification != 0 || r.attrib.vertical_justification != 0;
    default:
        return true;
    }
}

// The point that a coordinate group belongs to is not 0, 0, 0. Codes 10 to 16 are the x,
// 20 to 26 the y and 30 to 36 the z of a point whose x field opens it.
bool PointIsSet(const R12DxfGroup &g, const CDB_ENTITY &r) {
    const size_t axis = size_t(g.code / 10 - 1);
    const CDB_POINT3 p = LoadField<CDB_POINT3>(&r, g.offset - 8 * axis);
    return p.x != 0.0 || p.y != 0.0 || p.z != 0.0;
}

bool ShouldWrite(const R12DxfGroup &g, const CDB_ENTITY &r, int code, bool strict) {
    switch (g.when) {
    case W::kAlways:
        return true;
    case W::kNever:
        return false;
    case W::kNotZero:
        return Number(g, r) != 0.0;
    case W::kNotOne:
        return Number(g, r) != 1.0;
    case W::kPositive:
        return Number(g, r) > 0.0;
    case W::kNotNull:
        return LoadField<char *>(&r, g.offset) != nullptr;
    case W::kJustified:
        return IsJustified(r, code);
    case W::kPointNotZero:
        return PointIsSet(g, r);
    case W::kFlagsOrValue:
        return r.vertex.flags != 0 || Number(g, r) != 0.0;
    case W::kStrictNotZero:
        // A strict reader refuses a vertex's group 73 that carries nothing.
        return !strict || Number(g, r) != 0.0;
    }
    return false;
}

// Group 2 of a shape: the shape's name from the shape tables, empty when they lack it.
int WriteShapeName(R12DxfWriteContext &c, int16_t code, const CDB_ENTITY &r) {
    char name[CDxfStream::kValueSize];
    name[0] = 0;
    const CShapeTable *shapes = c.drawing.ShapeTable();
    const char *found = nullptr;
    size_t length = 0;
    if (shapes &&
        shapes->ShapeName(r.shape.shape_style_index, r.shape.shape_number, &found, &length) > 0 &&
        found) {
        // A value line holds at most what the reader takes.
        const size_t n = length < sizeof name - 3 ? length : sizeof name - 3;
        std::memcpy(name, found, n);
        name[n] = 0;
    }
    return c.stream.WriteText(code, name);
}

// One group of the kind's layout. `made` is the value of a group that has no field (the
// viewport's group 68).
int WriteKindGroup(R12DxfWriteContext &c, const R12DxfGroup &g, const CDB_ENTITY &r, int16_t made) {
    CDxfStream &s = c.stream;
    switch (g.value) {
    case V::kReal:
    case V::kZElevation:
    case V::kZBoth:
        return s.WriteReal(g.code, LoadField<double>(&r, g.offset));
    case V::kInt16:
        return s.WriteInt16(g.code, LoadField<int16_t>(&r, g.offset));
    case V::kByte:
        return s.WriteInt16(g.code, LoadField<uint8_t>(&r, g.offset));
    case V::kText:
    case V::kTextKept:
        return s.WriteText(g.code, LoadField<char *>(&r, g.offset));
    case V::kStyle: {
        // The style is written only when its name is found.
        const char *name = c.Style(LoadField<int16_t>(&r, g.offset));
        return name ? s.WriteName(g.code, name) : 1;
    }
    case V::kDimstyle:
        return s.WriteName(g.code, c.Dimstyle(LoadField<int16_t>(&r, g.offset)));
    case V::kBlockName:
        return s.WriteName(g.code, c.Block(LoadField<int16_t>(&r, g.offset)));
    case V::kShapeName:
        return WriteShapeName(c, g.code, r);
    case V::kNone:
        return s.WriteInt16(g.code, made);
    default:
        return 1;
    }
}

// The common groups, each left out as the comparisons say. The elevation and thickness
// are written only when greater than 0: a negative one is not written at all.
int WriteCommonDxf(R12DxfWriteContext &c, const CDB_ENTITY &r) {
    CDxfStream &s = c.stream;
    if (!s.WriteName(8, c.Layer(r.layer_index)))
        return 0;
    if (r.line_type_index != -1 &&
        !s.WriteName(6, r.line_type_index == -2 ? "BYBLOCK" : c.Ltype(r.line_type_index)))
        return 0;
    if (r.color != -1 && !s.WriteInt16(62, r.color))
        return 0;
    if (c.drawing.Header().vars.handling == 1 && r.handle && !s.WriteText(5, r.handle))
        return 0;
    if (r.elevation > 0 && !s.WriteReal(38, r.elevation))
        return 0;
    if (r.thickness > 0 && !s.WriteReal(39, r.thickness))
        return 0;
    if (r.space != 0 && !s.WriteInt16(67, r.space))
        return 0;
    const CDB_POINT3 extrusion = r.extrusion;
    if ((extrusion.x != 0.0 || extrusion.y != 0.0 || extrusion.z != 1.0) &&
        !s.WritePoint3(extrusion, 210))
        return 0;
    return 1;
}

// The whole entity of kind `code` from `given`.
int WriteEntityDxf(R12DxfWriteContext &c, int code, const CDB_ENTITY &given, int16_t made) {
    const R12EntityKind *kind = FindR12EntityKind(code);
    if (!kind)
        return 1;
    const R12DxfLayout *layout = kind->groups;
    // The mirror of the reader's rule: where the reader takes the z groups for the
    // elevation, the writer works on a copy whose first point has the elevation as its z
    // and whose elevation is cleared, so that no group 38 is written. Further z groups
    // (the other corners, an alignment point) are written as the record holds them.
    const CDB_ENTITY *record = &given;
    CDB_ENTITY mirrored;
    if (const R12DxfGroup *z = FirstFoldedZ(*layout)) {
        std::memcpy(static_cast<void *>(&mirrored), &given, sizeof mirrored);
        StoreField<double>(&mirrored, z->offset, given.elevation);
        mirrored.elevation = 0.0;
        record = &mirrored;
    }

    if (!c.stream.WriteText(0, kind->Facts().dxf_name) || !WriteCommonDxf(c, *record))
        return 0;
    for (size_t i = 0; i < layout->count; ++i) {
        const R12DxfGroup &g = layout->groups[i];
        if (ShouldWrite(g, *record, code, c.strict) && !WriteKindGroup(c, g, *record, made))
            return 0;
    }

    // A viewport's settings stand in its "MVIEW" data, built anew from its fields; what
    // else its stored block holds is not written.
    if (code == CDB_VIEWPORT) {
        const std::vector<uint8_t> mview = R12PackMview(record->viewport);
        return WriteEedDxf(c.stream, mview.data(), mview.size(), c);
    }
    if (record->eed_size != 0)
        return WriteEedDxf(c.stream, record->eed_data, record->eed_size, c);
    return 1;
}

// Group 68 of a viewport has no field of its own: the writer gives the viewport's place in
// the drawing's chain of viewports, counted from 1, and 1 for one that is not in the chain.
int16_t ViewportNumber(CR12Drawing &drawing, const CR12Entity *entity) {
    int16_t number = 1;
    for (const CViewportLink *v = drawing.Viewports().HeadLink(); v && number < INT16_MAX;
         v = v->next, ++number)
        if (v->entity == entity)
            return number;
    return 1;
}

} // namespace

int CR12Entity::WriteDXF(R12DxfWriteContext &context) {
    // An insert or a dimension finds its block from the kept name first.
    const CDB_ENTITY *resolved = GetResolvedRecord();
    if (!resolved)
        return 1;
    const int16_t made = code == CDB_VIEWPORT ? ViewportNumber(context.drawing, this) : 0;
    return WriteEntityDxf(context, code, *resolved, made);
}

int WriteBlockStartDxf(R12DxfWriteContext &context, const CDB_STARTBLOCK_ENTITY_type &start,
                       const char *name, int16_t flags) {
    static_assert(offsetof(CDB_ENTITY, block) == offsetof(CDB_STARTBLOCK_ENTITY_type, xref_path),
                  "a block start record is the common part and the block part");
    CDB_ENTITY record;
    std::memset(static_cast<void *>(&record), 0, sizeof record);
    std::memcpy(static_cast<void *>(&record), &start, sizeof start);
    record.entity_type = CDB_BLOCK;
    record.block.name = const_cast<char *>(name);
    record.block.flags = flags;
    return WriteEntityDxf(context, CDB_BLOCK, record, 0);
}
