// Release 13 entities written to a DXF file by the group lists the reader goes by
// (r13_dxf_layout.h): the common list, then the kind's list, each group that its condition
// lets through, the markers, the extrusion triple and the extended data at their places, and
// the arrays of SPLINE, LEADER and MLINE item by item.
//
// The quirks stand in the lists as data (no 210 for LINE, CIRCLE, TRACE, 3DFACE, XLINE and
// RAY, no extended data for ELLIPSE and POINT, the vertex markers by the point, the forms of
// DIMENSION by group 70); what is left here as a named step: the kinds without a writer
// (3DSOLID, BODY, REGION, OLEFRAME) end the save, and a main list ends at its kind 13.
#include "dwg13/r13_classic_kinds.h"
#include "dwg13/r13_drawing.h"
#include "dwg13/r13_dxf_layout.h"
#include "dwg13/r13_entity.h"
#include "dwg13/r13_tables.h"
#include "dxf/dxf_stream.h"
#include "dxf/r13_dxf_write.h"
#include "io/record_field.h"
#include "model/viewport_chain.h"
#include "records/entity_kinds.h"

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace {

using V = R13DxfValue;
using W = R13DxfWhen;
using F = R13DxfForm;

bool IsPoint(const CDB_POINT3 &p, double x, double y, double z) {
    return p.x == x && p.y == y && p.z == z;
}

// The kinds that have no DXF writer of this release.
bool HasNoWriter(int code) {
    return code == CDB_3DSOLID || code == CDB_BODY || code == CDB_REGION || code == CDB_OLEFRAME;
}

// Whether a DIMENSION of type `type` (its group 70) has the groups of `form`.
bool FormHolds(F form, int16_t type) {
    switch (form) {
    case F::kAny:
        return true;
    case F::kLinearOrAligned:
        return type == 32 || type == 33;
    case F::kLinear:
        return type == 32;
    case F::kDiameter:
        return type == 35;
    case F::kRadius:
        return type == 36;
    case F::kAngular:
        return type == 34 || type == 37 || type == 162 || type == 165;
    case F::kOrdinate:
        return type == 38 || type == 102;
    }
    return false;
}

class EntityWrite {
public:
    EntityWrite(CR13DxfWriter &writer, const CR13Entity &entity, const CDB_ENTITY &record)
        : w_(writer), s_(writer.Stream()), entity_(entity), r_(record) {}

    // Every group of `layout` that its condition lets through, in the list's order.
    int Walk(const R13DxfLayout &layout) {
        for (size_t i = 0; i < layout.count; ++i) {
            const R13DxfGroup &g = layout.groups[i];
            if (g.when == W::kEachItem) {
                size_t end = i;
                while (end < layout.count && layout.groups[end].when == W::kEachItem)
                    ++end;
                if (!Items(layout.groups + i, layout.groups + end))
                    return 0;
                i = end - 1;
                continue;
            }
            if (Holds(g) && !Write(g))
                return 0;
        }
        return 1;
    }

private:
    // The point that a coordinate entry (x at 1n, y at 2n, z at 3n) belongs to.
    CDB_POINT3 PointOf(const R13DxfGroup &g) const {
        const int axis = g.code / 10 - 1;
        return LoadField<CDB_POINT3>(&r_, g.offset - 8 * size_t(axis > 0 ? axis : 0));
    }

    double Number(const R13DxfGroup &g) const {
        switch (g.value) {
        case V::kReal:
        case V::kZBoth:
            return LoadField<double>(&r_, g.offset);
        case V::kUInt16:
            return LoadField<uint16_t>(&r_, g.offset);
        case V::kByte:
            return LoadField<uint8_t>(&r_, g.offset);
        default:
            return LoadField<int16_t>(&r_, g.offset);
        }
    }

    const char *Text(const R13DxfGroup &g) const { return LoadField<char *>(&r_, g.offset); }

    bool Holds(const R13DxfGroup &g) const {
        if (g.form != F::kAny && !FormHolds(g.form, r_.dimension.dimension_type))
            return false;
        switch (g.when) {
        case W::kAlways:
            return true;
        case W::kNever:
        case W::kEachItem:
            return false;
        case W::kPositive:
            return Number(g) > 0;
        case W::kNotZero:
            return Number(g) != 0;
        case W::kIsOne:
            return Number(g) == 1;
        case W::kNotOne:
            return Number(g) != 1;
        case W::kNotThree:
            return Number(g) != 3;
        case W::kNotMinusOne:
            return Number(g) != -1;
        case W::kNotUnitX:
            return !IsPoint(PointOf(g), 1, 0, 0);
        case W::kNotByLayer: {
            const char *handle = Text(g);
            return handle && std::strcmp(handle, "-1") != 0;
        }
        case W::kNotNull:
            return Text(g) != nullptr;
        case W::kPointNotZero:
            return !IsPoint(PointOf(g), 0, 0, 0);
        case W::kDefinitionPoint: {
            const int16_t type = r_.dimension.dimension_type;
            return type == 38 || type == 102 || !IsPoint(PointOf(g), 0, 0, 0);
        }
        case W::kStyleSet: {
            const char *handle = Text(g);
            return handle && *handle;
        }
        case W::kExtrusionNotUnit:
            return !IsPoint(r_.extrusion, 0, 0, 1);
        case W::kHasExtendedData:
            return r_.eed_data && r_.eed_size > 0;
        case W::kPolyline2D:
            return r_.polyline.flags != 8;
        case W::kPolyline3D:
            return r_.polyline.flags == 8;
        case W::kVertexAtOrigin:
            return IsPoint(r_.vertex.location, 0, 0, 0);
        case W::kVertexOffOrigin:
            return !IsPoint(r_.vertex.location, 0, 0, 0);
        }
        return false;
    }

    int Write(const R13DxfGroup &g) {
        switch (g.value) {
        case V::kMarker:
            return s_.WriteText(100, g.marker);
        case V::kExtrusion:
            return s_.WritePoint3(r_.extrusion, 210);
        case V::kExtendedData:
            return w_.WriteExtendedData(r_.eed_data, r_.eed_size);
        case V::kReal:
        case V::kZBoth:
            return s_.WriteReal(g.code, LoadField<double>(&r_, g.offset));
        case V::kText:
        case V::kTextKept:
        case V::kHandle:
        case V::kJoinedText:
            return s_.WriteText(g.code, Text(g));
        case V::kLayerName:
            return s_.WriteText(g.code, w_.NameOfHandle(R13Table::kLayers, Text(g)));
        case V::kLineTypeName:
            return s_.WriteText(g.code, w_.LineTypeName(Text(g)));
        case V::kTextStyle:
            return s_.WriteText(g.code, w_.NameOfHandle(R13Table::kStyles, Text(g)));
        case V::kDimstyle:
            return s_.WriteText(g.code, w_.NameOfHandle(R13Table::kDimstyles, Text(g)));
        case V::kMlineStyle:
            return s_.WriteText(g.code, w_.NameOfHandle(R13Table::kMlineStyles, Text(g)));
        case V::kBlockName:
            return s_.WriteText(g.code, BlockName(Text(g)));
        case V::kShapeName:
            return s_.WriteText(g.code, ShapeName().c_str());
        case V::kNone:
            // The viewport's status, which its group list keeps no field for.
            return s_.WriteInt16(g.code, entity_.Code() == CDB_VIEWPORT ? ViewportNumber() : 0);
        case V::kMeshMarker:
            return 1;
        default:
            // Integers and the counts of the arrays.
            return s_.WriteInt16(g.code, static_cast<int16_t>(Number(g)));
        }
    }

    // Group 68 of a viewport: its place in the drawing's chain of viewports, counted from 1,
    // and 1 for one that is not in the chain.
    int16_t ViewportNumber() const {
        int16_t number = 1;
        for (const CViewportLink *v = w_.Drawing().Viewports().HeadLink(); v && number < INT16_MAX;
             v = v->next, ++number)
            if (v->entity == &entity_)
                return number;
        return 1;
    }

    // The block's name by its handle; the name a DXF gave when the table lacks the handle.
    const char *BlockName(const char *handle) const {
        const char *name = w_.NameOfHandle(R13Table::kBlocks, handle);
        if (*name)
            return name;
        if (const auto *insert = dynamic_cast<const CR13Insert *>(&entity_))
            return insert->block_name.c_str();
        if (const auto *dimension = dynamic_cast<const CR13Dimension *>(&entity_))
            return dimension->block_name.c_str();
        return name;
    }

    // The shape's name from the font of its text style; empty when the font lacks it.
    std::string ShapeName() const {
        const auto *style = dynamic_cast<const CR13StyleRecord *>(
            w_.Drawing().Table(R13Table::kStyles).FindByHandle(r_.shape.style_handle));
        if (!style || style->ShapeIndex() < 0)
            return std::string();
        CR13Drawing &d = w_.Drawing();
        const short length =
            d.GetShapeName(static_cast<short>(style->ShapeIndex()), r_.shape.shape_number, nullptr);
        if (length <= 0)
            return std::string();
        std::vector<char> buffer(static_cast<size_t>(length) + 1024, 0);
        d.GetShapeName(static_cast<short>(style->ShapeIndex()), r_.shape.shape_number,
                       buffer.data());
        return std::string(buffer.data());
    }

    // The groups of one array item: each entry's value at `item` plus its offset.
    int ItemGroups(const R13DxfGroup *first, const R13DxfGroup *end, const uint8_t *item) {
        for (const R13DxfGroup *g = first; g != end; ++g)
            if (!s_.WriteReal(g->code, LoadField<double>(item, g->offset)))
                return 0;
        return 1;
    }

    // A run of entries of one array, item after item: `count` items of `size` bytes.
    int Array(const R13DxfGroup *first, const R13DxfGroup *end, const void *items, int count,
              size_t size) {
        const auto *bytes = static_cast<const uint8_t *>(items);
        for (int k = 0; bytes && k < count; ++k)
            if (!ItemGroups(first, end, bytes + size_t(k) * size))
                return 0;
        return 1;
    }

    // The entries [first, end) that are all kEachItem: split into the arrays they walk.
    int Items(const R13DxfGroup *first, const R13DxfGroup *end) {
        if (first->value == V::kMlineVertexStart)
            return MlineVertices(first, end);
        while (first != end) {
            const R13DxfGroup *run = first;
            while (run != end && run->value == first->value)
                ++run;
            if (!OneArray(first, run))
                return 0;
            first = run;
        }
        return 1;
    }

    int OneArray(const R13DxfGroup *first, const R13DxfGroup *end) {
        const CDB_SPLINE_type &spline = r_.spline;
        switch (first->value) {
        case V::kSplineKnot:
            return Array(first, end, spline.knots, spline.knot_count, sizeof(double));
        case V::kSplineControl:
            return Array(first, end, spline.control_points, spline.control_point_count,
                         sizeof(CDB_SPLINE_CONTROL_POINT));
        case V::kSplineFit:
            return Array(first, end, spline.fit_points, spline.fit_point_count, sizeof(CDB_POINT3));
        case V::kLeaderVertex:
            return Array(first, end, r_.leader.vertices, r_.leader.vertex_count,
                         sizeof(CDB_POINT3));
        default:
            return 1;
        }
    }

    // Per vertex its points, then per line its segment and fill parameters with counts.
    int MlineVertices(const R13DxfGroup *first, const R13DxfGroup *end) {
        const CDB_MLINE_type &mline = r_.mline;
        for (int v = 0; mline.vertices && v < mline.vertex_count; ++v) {
            const CDB_MLINE_VERTEX &vertex = mline.vertices[v];
            const R13DxfGroup *g = first;
            const R13DxfGroup *points = g;
            while (g != end &&
                   (g->value == V::kMlineVertexStart || g->value == V::kMlineVertexPoint))
                ++g;
            if (!ItemGroups(points, g, reinterpret_cast<const uint8_t *>(&vertex)))
                return 0;
            for (int l = 0; vertex.lines && l < mline.line_count; ++l)
                if (!MlineLine(g, end, vertex.lines[l]))
                    return 0;
        }
        return 1;
    }

    int MlineLine(const R13DxfGroup *first, const R13DxfGroup *end, const CDB_MLINE_LINE &line) {
        for (const R13DxfGroup *g = first; g != end; ++g) {
            int written = 1;
            switch (g->value) {
            case V::kMlineSegmentCount:
                written = s_.WriteInt16(g->code, line.segment_parameter_count);
                break;
            case V::kMlineSegment:
                for (int p = 0;
                     written && line.segment_parameters && p < line.segment_parameter_count; ++p)
                    written = s_.WriteReal(g->code, line.segment_parameters[p]);
                break;
            case V::kMlineFillCount:
                written = s_.WriteInt16(g->code, line.fill_parameter_count);
                break;
            case V::kMlineFill:
                for (int p = 0; written && line.fill_parameters && p < line.fill_parameter_count;
                     ++p)
                    written = s_.WriteReal(g->code, line.fill_parameters[p]);
                break;
            default:
                break;
            }
            if (!written)
                return 0;
        }
        return 1;
    }

    CR13DxfWriter &w_;
    CDxfStream &s_;
    const CR13Entity &entity_;
    const CDB_ENTITY &r_;
};

} // namespace

int CR13Entity::WriteCommonDxf(CR13DxfWriter &writer) const {
    if (!record)
        return 0;
    return EntityWrite(writer, *this, *record).Walk(kR13CommonDxfGroups);
}

int CR13Entity::WriteDXF(CR13DxfWriter &writer) const {
    const EntityKind *kind = FindEntityKind(code);
    const R13DxfLayout *layout = R13DxfLayoutOf(code);
    if (!record || !kind || !layout || HasNoWriter(code)) {
        writer.StopAt(kind ? kind->dxf_name : "UNKNOWN", record ? record->handle : nullptr);
        return 0;
    }
    if (!writer.Stream().WriteText(0, kind->dxf_name))
        return 0;
    // The block start and end carry the common groups in their own lists and order.
    const bool own_common = code == CDB_BLOCK || code == CDB_ENDBLK;
    if (!own_common && !WriteCommonDxf(writer))
        return 0;
    return EntityWrite(writer, *this, *record).Walk(*layout);
}

int WriteR13DxfEntityList(CR13DxfWriter &writer, const CEntityList &list) {
    for (int i = 0; i < list.Count(); ++i) {
        const auto *entity = static_cast<const CR13Entity *>(list.At(i));
        if (!entity)
            continue;
        if (entity->Code() == CDB_ENDBLK)
            return 1;
        if (!entity->WriteDXF(writer))
            return 0;
    }
    return 1;
}
