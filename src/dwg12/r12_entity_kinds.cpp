// The rows of the release 12 kind table; see r12_entity_kinds.h.
#include "dwg12/r12_entity_kinds.h"

#include "dwg12/r12_dxf_layout.h"
#include "dwg12/r12_entities.h"
#include "dwg12/r12_entity_layout.h"

#include <iterator>
#include <cstring>
#include <vector>

namespace {

template <typename Class> CR12Entity *Make(CR12Drawing *drawing, int16_t) {
    return new Class(drawing);
}

// The line's class stands for two codes.
CR12Entity *MakeLine(CR12Drawing *drawing, int16_t code) {
    return new CR12Line(drawing, code);
}

using D = R12DxfDispatch;

// clang-format off
constexpr R12EntityKind kKinds[] = {
//   code           factory               DWG frame             DXF groups             DXF dispatch
    {CDB_LINE,      MakeLine,             &kR12LineFrame,       &kR12LineGroups,       D::kByName},
    {CDB_POINT,     Make<CR12Point>,      &kR12PointFrame,      &kR12PointGroups,      D::kByName},
    {CDB_CIRCLE,    Make<CR12Circle>,     &kR12CircleFrame,     &kR12CircleGroups,     D::kByName},
    {CDB_SHAPE,     Make<CR12Shape>,      &kR12ShapeFrame,      &kR12ShapeGroups,      D::kByName},
    {CDB_TEXT,      Make<CR12Text>,       &kR12TextFrame,       &kR12TextGroups,       D::kByName},
    {CDB_ARC,       Make<CR12Arc>,        &kR12ArcFrame,        &kR12ArcGroups,        D::kByName},
    {CDB_TRACE,     Make<CR12Trace>,      &kR12TraceFrame,      &kR12CornerGroups,     D::kByName},
    {CDB_SOLID,     Make<CR12Solid>,      &kR12SolidFrame,      &kR12CornerGroups,     D::kByName},
    {CDB_BLOCK,     Make<CR12BeginBlock>, &kR12BeginBlockFrame, &kR12BeginBlockGroups, D::kBlockFrame},
    {CDB_ENDBLK,    Make<CR12EndBlock>,   &kR12EndBlockFrame,   &kR12NoGroups,         D::kBlockFrame},
    {CDB_INSERT,    Make<CR12Insert>,     &kR12InsertFrame,     &kR12InsertGroups,     D::kByName},
    {CDB_ATTDEF,    Make<CR12AttDef>,     &kR12AttDefFrame,     &kR12AttDefGroups,     D::kByName},
    {CDB_ATTRIB,    Make<CR12Attrib>,     &kR12AttribFrame,     &kR12AttribGroups,     D::kByName},
    {CDB_SEQEND,    Make<CR12SeqEnd>,     &kR12SeqEndFrame,     &kR12NoGroups,         D::kByName},
    {CDB_POLYLINE,  Make<CR12Polyline>,   &kR12PolylineFrame,   &kR12PolylineGroups,   D::kByName},
    {CDB_VERTEX,    Make<CR12Vertex>,     &kR12VertexFrame,     &kR12VertexGroups,     D::kByName},
    {CDB_3DLINE,    MakeLine,             &kR12LineFrame,       &kR12LineGroups,       D::kBlocksAlias},
    {CDB_3DFACE,    Make<CR12Face>,       &kR12FaceFrame,       &kR12FaceGroups,       D::kByName},
    {CDB_DIMENSION, Make<CR12Dimension>,  &kR12DimensionFrame,  &kR12DimensionGroups,  D::kByName},
    {CDB_VIEWPORT,  Make<CR12Viewport>,   &kR12ViewportFrame,   &kR12ViewportGroups,   D::kByName},
};
// clang-format on

static_assert(CodesAscend(kKinds), "the kinds stand in ascending order of code, each once");

// The direct index of every release 12 code.
constexpr CodeIndex<CDB_VIEWPORT + 1> kIndex = MakeCodeIndex<CDB_VIEWPORT + 1>(kKinds);

// One name that the DXF reader dispatches, and where to.
struct DispatchName {
    const char *name;
    int code;
    bool blocks_only;
};

// The names of the dispatch, gathered once from the rows.
std::vector<DispatchName> GatherDispatchNames() {
    std::vector<DispatchName> names;
    for (const R12EntityKind &kind : AllR12EntityKinds()) {
        const EntityKind &facts = kind.Facts();
        if (kind.dispatch == D::kByName) {
            names.push_back({facts.dxf_name, kind.code, false});
        } else if (kind.dispatch == D::kBlocksAlias) {
            // To the kind whose name the alias is written with.
            for (const R12EntityKind &target : AllR12EntityKinds())
                if (target.dispatch == D::kByName &&
                    std::strcmp(target.Facts().dxf_name, facts.dxf_name) == 0)
                    names.push_back({facts.name, target.code, true});
        }
    }
    return names;
}

} // namespace

R12EntityKindRange AllR12EntityKinds() {
    return {std::begin(kKinds), std::end(kKinds)};
}

const R12EntityKind *FindR12EntityKind(int code) {
    return FindRowByCode(kKinds, kIndex, code);
}

CR12Entity *MakeR12Entity(CR12Drawing *drawing, int code) {
    const R12EntityKind *kind = FindR12EntityKind(code);
    return kind ? kind->make(drawing, static_cast<int16_t>(code)) : nullptr;
}

const R12EntityLayout *R12EntityLayoutFor(int code) {
    const R12EntityKind *kind = FindR12EntityKind(code);
    return kind ? kind->frame : nullptr;
}

int R12DxfEntityKind(const char *name, bool in_blocks) {
    static const std::vector<DispatchName> kNames = GatherDispatchNames();
    if (!name || !*name)
        return 0;
    for (const DispatchName &d : kNames)
        if (d.name[0] == name[0] && (in_blocks || !d.blocks_only) && std::strcmp(d.name, name) == 0)
            return d.code;
    return 0;
}
