// The HEADER variables of a release 13 DXF: the written variables of the one variable
// table (r13_dxf_header.h), in its order, each as group 9 with its name and its value.
//
// The code page is always written "ansi_1252". $HANDSEED is the header's text as it stands:
// the writer gives out no handles. A name of a table entry comes from the header's index of
// it, through the table's index-to-name lookup; -1 and -2 stand for the names of the line
// type and the dimension style that have no record, and leave the others empty. $UCSNAME
// and $PUCSNAME look their index up in the layer table, which is how this writer has always
// named them. An index that gives no name ends the save.
#include "dwg13/r13_drawing.h"
#include "dwg13/r13_header.h"
#include "dwg13/r13_tables.h"
#include "dxf/dxf_stream.h"
#include "dxf/r13_dxf_header.h"
#include "dxf/r13_dxf_write.h"
#include "io/record_field.h"

#include <cstddef>

namespace {

using T = R13DxfVarType;

// Where a named entry keeps its index, which table names it, and the names of -1 and -2.
struct NamedIndex {
    size_t handle_at; // the variable's offset: its handle text field
    size_t index_at;  // the header's index of the entry
    R13Table table;
    const char *minus_one; // null: an empty value
    const char *minus_two;
};

#define HV(field) offsetof(CDB_HEADER_type, field)
constexpr NamedIndex kNamedIndices[] = {
    {HV(hceltype), HV(celtype), R13Table::kLtypes, "BYLAYER", "BYBLOCK"},
    {HV(hclayer), HV(clayer), R13Table::kLayers, nullptr, nullptr},
    {HV(htextstyle), HV(textstyle), R13Table::kStyles, nullptr, nullptr},
    {HV(hdimtxsty), HV(dimtxsty), R13Table::kStyles, nullptr, nullptr},
    {HV(hdimstyle), HV(dimstyle), R13Table::kDimstyles, "*UNNAMED", nullptr},
    {HV(hcmlstyle), HV(cmlstyle), R13Table::kMlineStyles, nullptr, nullptr},
    // The coordinate systems are looked up among the layers.
    {HV(hucsname), HV(ucsname), R13Table::kLayers, nullptr, nullptr},
    {HV(hpucsname), HV(pucsname), R13Table::kLayers, nullptr, nullptr},
};
#undef HV

const NamedIndex *NamedIndexOf(const R13DxfHeaderVariable &var) {
    for (const NamedIndex &named : kNamedIndices)
        if (named.handle_at == var.offset)
            return &named;
    return nullptr;
}

// The name a named variable writes, or null when its index gives none (the save fails).
const char *NameOfIndex(CR13DxfWriter &writer, const NamedIndex &named,
                        const CDB_HEADER_type &vars) {
    const int16_t index = LoadField<int16_t>(&vars, named.index_at);
    if (index == -1)
        return named.minus_one ? named.minus_one : "";
    if (index == -2 && named.minus_two)
        return named.minus_two;
    if (index == -2)
        return "";
    const char *name = writer.Drawing().Table(named.table).NameAt(index);
    return name && *name ? name : nullptr;
}

int WriteVariable(CR13DxfWriter &writer, const R13DxfHeaderVariable &var,
                  const CDB_HEADER_type &vars) {
    CDxfStream &s = writer.Stream();
    if (!s.WriteText(9, var.name))
        return 0;
    switch (var.type) {
    case T::kPoint3:
        return s.WritePoint3(LoadField<CDB_POINT3>(&vars, var.offset), var.code);
    case T::kPoint2:
        return s.WritePoint2(LoadField<CDB_POINT2>(&vars, var.offset), var.code);
    case T::kReal:
        return s.WriteReal(var.code, LoadField<double>(&vars, var.offset));
    case T::kInt16:
        return s.WriteInt16(var.code, LoadField<int16_t>(&vars, var.offset));
    case T::kText:
        return s.WriteText(var.code, LoadField<char *>(&vars, var.offset));
    case T::kCodePage:
        return s.WriteText(var.code, "ansi_1252");
    case T::kName: {
        const NamedIndex *named = NamedIndexOf(var);
        const char *name = named ? NameOfIndex(writer, *named, vars) : nullptr;
        return name ? s.WriteText(var.code, name) : 0;
    }
    }
    return 0;
}

} // namespace

int WriteR13DxfHeaderVariables(CR13DxfWriter &writer) {
    size_t count = 0;
    const R13DxfHeaderVariable *variables = R13DxfHeaderVariables(count);
    const CDB_HEADER_type &vars = writer.Drawing().Header().vars;
    for (size_t i = 0; i < count; ++i)
        if (variables[i].written && !WriteVariable(writer, variables[i], vars))
            return 0;
    return 1;
}
