// The DXF groups of the release 13 table records as data; see r13_dxf_record_layout.h.
#include "dwg13/r13_dxf_record_layout.h"

#include "dwg13/r13_tables.h"
#include "velkow32.h"

#include <cstring>

namespace {

using V = R13DxfRecordValue;

// The records whose release 12 groups say it all: the handle is their one addition.
#define HANDLE(record)                                                                             \
    { 5, V::kHandle, static_cast<uint16_t>(offsetof(record, handle)) }

constexpr R13DxfRecordGroup kVport[] = {HANDLE(CDB_VPORT_TBL_type)};
constexpr R13DxfRecordGroup kStyle[] = {HANDLE(CDB_STYLE_TBL_type)};
constexpr R13DxfRecordGroup kView[] = {HANDLE(CDB_VIEW_TBL_type)};
constexpr R13DxfRecordGroup kUcs[] = {HANDLE(CDB_UCS_TBL_type)};
constexpr R13DxfRecordGroup kAppid[] = {HANDLE(CDB_APPID_TBL_type)};

// A layer names its line type by handle, where release 12 keeps an index.
constexpr R13DxfRecordGroup kLayer[] = {
    HANDLE(CDB_LAYER_TBL_type),
    {6, V::kLtypeHandle, static_cast<uint16_t>(offsetof(CDB_LAYER_TBL_type, line_type_handle))},
};

// The shape flags of each dash stand behind its length.
constexpr R13DxfRecordGroup kLtype[] = {
    HANDLE(CDB_LTYPE_TBL_type),
    {74, V::kShapeFlag, static_cast<uint16_t>(offsetof(CDB_LTYPE_TBL_type, complex_types)), 49},
};

#undef HANDLE

// The dimension style keeps its handle under 105, so that 5 stays its DIMBLK text.
#define D(member) static_cast<uint16_t>(offsetof(CDB_DIMSTYLE_TBL_type, member))
constexpr R13DxfRecordGroup kDimstyle[] = {
    {105, V::kHandle, D(handle)},     {270, V::kInt16, D(dimunit)},  {271, V::kInt16, D(dimdec)},
    {272, V::kInt16, D(dimtdec)},     {273, V::kInt16, D(dimaltu)},  {274, V::kInt16, D(dimalttd)},
    {340, V::kTextKept, D(dimtxsty)}, {275, V::kInt16, D(dimaunit)}, {280, V::kInt16, D(dimjust)},
    {281, V::kInt16, D(dimsd1)},      {282, V::kInt16, D(dimsd2)},   {283, V::kInt16, D(dimtolj)},
    {284, V::kInt16, D(dimtzin)},     {285, V::kInt16, D(dimaltz)},  {286, V::kInt16, D(dimalttz)},
    {287, V::kInt16, D(dimfit)},      {288, V::kInt16, D(dimupt)},
};
#undef D

// Only the name follows the markers of a block record.
#define B(member) static_cast<uint16_t>(offsetof(CDB_BLOCK_TBL, member))
constexpr R13DxfRecordGroup kBlockRecord[] = {
    {5, V::kHandle, B(handle)},
    {2, V::kName, B(name)},
    {70, V::kFlags, B(flags)},
};
#undef B

// The multiline style of the OBJECTS section. 62 is the fill colour outside the element
// list and an element's colour inside it; 6 closes an element.
#define M(member) static_cast<uint16_t>(offsetof(CDB_MLINESTYLE_TBL_type, member))
#define EL(member) static_cast<uint16_t>(offsetof(CDB_MLINESTYLE_ELEMENT, member))
constexpr R13DxfRecordGroup kMlineStyle[] = {
    {5, V::kHandle, M(handle)},
    {102, V::kReactors, 0},
    {2, V::kName, M(name)},
    {70, V::kFlags, M(flags)},
    {3, V::kTextKept, M(description)},
    {62, V::kFillColor, M(fill_color)},
    {51, V::kReal, M(start_angle)},
    {52, V::kReal, M(end_angle)},
    {71, V::kElementCount, M(element_count)},
    {49, V::kElementReal, EL(offset)},
    {62, V::kElementColor, EL(color), 49},
    {6, V::kElementLtype, EL(line_type_index), 62},
};
#undef EL
#undef M

#define KIND(name, type, marker, release12, groups)                                                \
    R13DxfRecordKind {                                                                             \
        name, type, marker, release12, groups, sizeof(groups) / sizeof(groups[0])                  \
    }

const R13DxfRecordKind kKinds[] = {
    KIND("VPORT", kR13Vport, "AcDbViewportTableRecord", true, kVport),
    KIND("LTYPE", kR13Ltype, "AcDbLinetypeTableRecord", true, kLtype),
    KIND("LAYER", kR13Layer, "AcDbLayerTableRecord", true, kLayer),
    KIND("STYLE", kR13Style, "AcDbTextStyleTableRecord", true, kStyle),
    KIND("VIEW", kR13View, "AcDbViewTableRecord", true, kView),
    KIND("UCS", kR13Ucs, "AcDbUCSTableRecord", true, kUcs),
    KIND("APPID", kR13Appid, "AcDbRegAppTableRecord", true, kAppid),
    KIND("DIMSTYLE", kR13Dimstyle, "AcDbDimStyleTableRecord", true, kDimstyle),
    KIND("BLOCK_RECORD", kR13BlockHeader, "AcDbBlockTableRecord", false, kBlockRecord),
};
// Not a table record of the TABLES section: found by its type only.
const R13DxfRecordKind kMlineStyleKind =
    KIND("MLINESTYLE", kR13MlineStyle, "AcDbMlineStyle", false, kMlineStyle);

#undef KIND

} // namespace

const R13DxfRecordKind *FindR13DxfRecordKind(const char *name) {
    if (!name)
        return nullptr;
    for (const R13DxfRecordKind &kind : kKinds)
        if (std::strcmp(kind.name, name) == 0)
            return &kind;
    return nullptr;
}

const R13DxfRecordKind *R13DxfRecordKindOfType(int record_type) {
    if (record_type == kR13MlineStyle)
        return &kMlineStyleKind;
    for (const R13DxfRecordKind &kind : kKinds)
        if (kind.record_type == record_type)
            return &kind;
    return nullptr;
}
