// The HEADER section of a release 13 DXF; see r13_dxf_header.h.
#include "dxf/r13_dxf_header.h"

#include "dwg13/r13_header.h"
#include "dxf/dxf_stream.h"
#include "io/drawing_file.h"
#include "io/record_field.h"
#include "records/header_texts.h"

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <unordered_map>

namespace {

using T = R13DxfVarType;
using NT = R13DxfNameTable;

#define HV(field) static_cast<uint16_t>(offsetof(CDB_HEADER_type, field))

constexpr R13DxfHeaderVariable P3(const char *name, uint16_t offset, bool written = true) {
    return R13DxfHeaderVariable{name, T::kPoint3, 10, offset, written, NT::kNone};
}
constexpr R13DxfHeaderVariable P2(const char *name, uint16_t offset, bool written = true) {
    return R13DxfHeaderVariable{name, T::kPoint2, 10, offset, written, NT::kNone};
}
constexpr R13DxfHeaderVariable R(const char *name, uint16_t offset, int16_t code = 40,
                                 bool written = true) {
    return R13DxfHeaderVariable{name, T::kReal, code, offset, written, NT::kNone};
}
constexpr R13DxfHeaderVariable I(const char *name, uint16_t offset, int16_t code = 70,
                                 bool written = true) {
    return R13DxfHeaderVariable{name, T::kInt16, code, offset, written, NT::kNone};
}
constexpr R13DxfHeaderVariable S(const char *name, int16_t code, uint16_t offset) {
    return R13DxfHeaderVariable{name, T::kText, code, offset, true, NT::kNone};
}
constexpr R13DxfHeaderVariable CP(const char *name, uint16_t offset) {
    return R13DxfHeaderVariable{name, T::kCodePage, 3, offset, true, NT::kNone};
}
constexpr R13DxfHeaderVariable N(const char *name, int16_t code, uint16_t offset, NT table) {
    return R13DxfHeaderVariable{name, T::kName, code, offset, true, table};
}
// The view settings that are read and never written.
constexpr bool kReadOnly = false;

// The written variables in the writer's order, then the read-only ones. A name's offset is
// the handle text field that the name becomes.
constexpr R13DxfHeaderVariable kVariables[] = {
    S("$ACADVER", 1, HV(acadver)),
    CP("$DWGCODEPAGE", HV(dwgcodepage)),
    P3("$INSBASE", HV(insbase)),
    P3("$EXTMIN", HV(extmin)),
    P3("$EXTMAX", HV(extmax)),
    P2("$LIMMIN", HV(limmin)),
    P2("$LIMMAX", HV(limmax)),
    I("$ORTHOMODE", HV(orthomode)),
    I("$REGENMODE", HV(regenmode)),
    I("$FILLMODE", HV(fillmode)),
    I("$QTEXTMODE", HV(qtextmode)),
    I("$MIRRTEXT", HV(mirrtext)),
    I("$DRAGMODE", HV(dragmode)),
    R("$LTSCALE", HV(ltscale)),
    I("$OSMODE", HV(osmode)),
    I("$ATTMODE", HV(attmode)),
    R("$TEXTSIZE", HV(textsize)),
    R("$TRACEWID", HV(tracewid)),
    N("$TEXTSTYLE", 7, HV(htextstyle), NT::kStyles),
    N("$CLAYER", 8, HV(hclayer), NT::kLayers),
    N("$CELTYPE", 6, HV(hceltype), NT::kLtypes),
    I("$CECOLOR", HV(cecolor), 62),
    R("$CELTSCALE", HV(celtscale)),
    I("$DELOBJ", HV(delobj)),
    I("$DISPSILH", HV(dispsilh)),
    R("$DIMSCALE", HV(dimscale)),
    R("$DIMASZ", HV(dimasz)),
    R("$DIMEXO", HV(dimexo)),
    R("$DIMDLI", HV(dimdli)),
    R("$DIMRND", HV(dimrnd)),
    R("$DIMDLE", HV(dimdle)),
    R("$DIMEXE", HV(dimexe)),
    R("$DIMTP", HV(dimtp)),
    R("$DIMTM", HV(dimtm)),
    R("$DIMTXT", HV(dimtxt)),
    R("$DIMCEN", HV(dimcen)),
    R("$DIMTSZ", HV(dimtsz)),
    I("$DIMTOL", HV(dimtol)),
    I("$DIMLIM", HV(dimlim)),
    I("$DIMTIH", HV(dimtih)),
    I("$DIMTOH", HV(dimtoh)),
    I("$DIMSE1", HV(dimse1)),
    I("$DIMSE2", HV(dimse2)),
    I("$DIMTAD", HV(dimtad)),
    I("$DIMZIN", HV(dimzin)),
    S("$DIMBLK", 1, HV(dimblk)),
    I("$DIMASO", HV(dimaso)),
    I("$DIMSHO", HV(dimsho)),
    S("$DIMPOST", 1, HV(dimpost)),
    S("$DIMAPOST", 1, HV(dimapost)),
    I("$DIMALT", HV(dimalt)),
    I("$DIMALTD", HV(dimaltd)),
    R("$DIMALTF", HV(dimaltf)),
    R("$DIMLFAC", HV(dimlfac)),
    I("$DIMTOFL", HV(dimtofl)),
    R("$DIMTVP", HV(dimtvp)),
    I("$DIMTIX", HV(dimtix)),
    I("$DIMSOXD", HV(dimsoxd)),
    I("$DIMSAH", HV(dimsah)),
    S("$DIMBLK1", 1, HV(dimblk1)),
    S("$DIMBLK2", 1, HV(dimblk2)),
    N("$DIMSTYLE", 2, HV(hdimstyle), NT::kDimstyles),
    I("$DIMCLRD", HV(dimclrd)),
    I("$DIMCLRE", HV(dimclre)),
    I("$DIMCLRT", HV(dimclrt)),
    R("$DIMTFAC", HV(dimtfac)),
    R("$DIMGAP", HV(dimgap)),
    I("$DIMJUST", HV(dimjust)),
    I("$DIMSD1", HV(dimsd1)),
    I("$DIMSD2", HV(dimsd2)),
    I("$DIMTOLJ", HV(dimtolj)),
    I("$DIMTZIN", HV(dimtzin)),
    I("$DIMALTZ", HV(dimaltz)),
    I("$DIMALTTZ", HV(dimalttz)),
    I("$DIMFIT", HV(dimfit)),
    I("$DIMUPT", HV(dimupt)),
    I("$DIMUNIT", HV(dimunit)),
    I("$DIMDEC", HV(dimdec)),
    I("$DIMTDEC", HV(dimtdec)),
    I("$DIMALTU", HV(dimaltu)),
    I("$DIMALTTD", HV(dimalttd)),
    N("$DIMTXSTY", 7, HV(hdimtxsty), NT::kStyles),
    I("$DIMAUNIT", HV(dimaunit)),
    I("$LUNITS", HV(lunits)),
    I("$LUPREC", HV(luprec)),
    R("$SKETCHINC", HV(sketchinc)),
    R("$FILLETRAD", HV(filletrad)),
    I("$AUNITS", HV(aunits)),
    I("$AUPREC", HV(auprec)),
    S("$MENU", 1, HV(menu)),
    R("$ELEVATION", HV(elevation)),
    R("$PELEVATION", HV(pelevation)),
    R("$THICKNESS", HV(thickness)),
    I("$LIMCHECK", HV(limcheck)),
    I("$BLIPMODE", HV(blipmode)),
    R("$CHAMFERA", HV(chamfera)),
    R("$CHAMFERB", HV(chamferb)),
    R("$CHAMFERC", HV(chamferc)),
    R("$CHAMFERD", HV(chamferd)),
    I("$SKPOLY", HV(skpoly)),
    R("$TDCREATE", HV(tdcreate)),
    R("$TDUPDATE", HV(tdupdate)),
    R("$TDINDWG", HV(tdindwg)),
    R("$TDUSRTIMER", HV(tdusrtimer)),
    I("$USRTIMER", HV(usrtimer)),
    R("$ANGBASE", HV(angbase), 50),
    I("$ANGDIR", HV(angdir)),
    I("$PDMODE", HV(pdmode)),
    R("$PDSIZE", HV(pdsize)),
    R("$PLINEWID", HV(plinewid)),
    I("$COORDS", HV(coords)),
    I("$SPLFRAME", HV(splframe)),
    I("$SPLINETYPE", HV(splinetype)),
    I("$SPLINESEGS", HV(splinesegs)),
    I("$ATTDIA", HV(attdia)),
    I("$ATTREQ", HV(attreq)),
    I("$HANDLING", HV(handling)),
    S("$HANDSEED", 5, HV(handseed)),
    I("$SURFTAB1", HV(surftab1)),
    I("$SURFTAB2", HV(surftab2)),
    I("$SURFTYPE", HV(surftype)),
    I("$SURFU", HV(surfu)),
    I("$SURFV", HV(surfv)),
    N("$UCSNAME", 2, HV(hucsname), NT::kUcs),
    P3("$UCSORG", HV(ucsorg)),
    P3("$UCSXDIR", HV(ucsxdir)),
    P3("$UCSYDIR", HV(ucsydir)),
    N("$PUCSNAME", 2, HV(hpucsname), NT::kUcs),
    P3("$PUCSORG", HV(pucsorg)),
    P3("$PUCSXDIR", HV(pucsxdir)),
    P3("$PUCSYDIR", HV(pucsydir)),
    I("$USERI1", HV(userivar1)),
    I("$USERI2", HV(userivar2)),
    I("$USERI3", HV(userivar3)),
    I("$USERI4", HV(userivar4)),
    I("$USERI5", HV(userivar5)),
    R("$USERR1", HV(userrvar1)),
    R("$USERR2", HV(userrvar2)),
    R("$USERR3", HV(userrvar3)),
    R("$USERR4", HV(userrvar4)),
    R("$USERR5", HV(userrvar5)),
    I("$WORLDVIEW", HV(worldview)),
    I("$SHADEDGE", HV(shadedge)),
    I("$SHADEDIF", HV(shadedif)),
    I("$TILEMODE", HV(tilemode)),
    I("$MAXACTVP", HV(maxactvp)),
    P3("$PINSBASE", HV(pinsbase)),
    I("$PLIMCHECK", HV(plimcheck)),
    P3("$PEXTMIN", HV(pextmin)),
    P3("$PEXTMAX", HV(pextmax)),
    P2("$PLIMMIN", HV(plimmin)),
    P2("$PLIMMAX", HV(plimmax)),
    I("$UNITMODE", HV(unitmode)),
    I("$VISRETAIN", HV(visretain)),
    I("$PLINEGEN", HV(plinegen)),
    I("$PSLTSCALE", HV(psltscale)),
    I("$TREEDEPTH", HV(treedepth)),
    I("$PICKSTYLE", HV(pickstyle)),
    N("$CMLSTYLE", 2, HV(hcmlstyle), NT::kMlineStyles),
    I("$CMLJUST", HV(cmljust)),
    R("$CMLSCALE", HV(cmlscale)),
    I("$SAVEIMAGES", HV(saveimages)),
    // Read only.
    I("$FASTZOOM", HV(fastzoom), 70, kReadOnly),
    I("$GRIDMODE", HV(gridmode), 70, kReadOnly),
    P2("$GRIDUNIT", HV(gridunit), kReadOnly),
    R("$SNAPANG", HV(snapang), 50, kReadOnly),
    P2("$SNAPBASE", HV(snapbase), kReadOnly),
    I("$SNAPISOPAIR", HV(snapisopair), 70, kReadOnly),
    I("$SNAPMODE", HV(snapmode), 70, kReadOnly),
    I("$SNAPSTYLE", HV(snapstyle), 70, kReadOnly),
    P2("$SNAPUNIT", HV(snapunit), kReadOnly),
    P2("$VIEWCTR", HV(viewctr), kReadOnly),
    P3("$VIEWDIR", HV(viewdir), kReadOnly),
    R("$VIEWSIZE", HV(viewsize), 40, kReadOnly),
};

#undef HV

constexpr size_t kVariableCount = sizeof(kVariables) / sizeof(kVariables[0]);
static_assert(kVariableCount == 174, "the HEADER section of release 13 has 174 variables");

// Every name is given once, with its "$"; every value lies inside the record; the written
// variables come first (162 of them) and the read-only ones behind them.
constexpr bool VariablesAreSound() {
    size_t written = 0;
    for (size_t i = 0; i < kVariableCount; ++i) {
        const R13DxfHeaderVariable &v = kVariables[i];
        if (v.name[0] != '$' || size_t(v.offset) + 2 > sizeof(CDB_HEADER_type))
            return false;
        if (v.written && written != i)
            return false;
        written += v.written ? 1 : 0;
        if ((v.type == T::kName) != (v.names != NT::kNone))
            return false;
        for (size_t j = i + 1; j < kVariableCount; ++j)
            if (std::string_view(v.name) == std::string_view(kVariables[j].name))
                return false;
    }
    return written == 162;
}
static_assert(VariablesAreSound(), "the release 13 HEADER table is out of order");

char *TextField(CDB_HEADER_type &vars, uint16_t offset) {
    return LoadField<char *>(&vars, offset);
}

// Replaces the heap text at `offset` (a handle text of the header) with a copy of `text`;
// null leaves it null.
void SetHandleText(CDB_HEADER_type &vars, uint16_t offset, const char *text) {
    std::free(LoadField<char *>(&vars, offset));
    char *copy = nullptr;
    if (text) {
        const size_t n = std::strlen(text);
        copy = static_cast<char *>(std::malloc(n + 1));
        if (copy)
            std::memcpy(copy, text, n + 1);
    }
    StoreField<char *>(&vars, offset, copy);
}

// Zero, empty or null: what a variable is when the file does not give it.
void ClearVariable(const R13DxfHeaderVariable &var, CDB_HEADER_type &vars) {
    switch (var.type) {
    case T::kPoint3:
        StoreField(&vars, var.offset, CDB_POINT3{0.0, 0.0, 0.0});
        return;
    case T::kPoint2:
        StoreField(&vars, var.offset, CDB_POINT2{0.0, 0.0});
        return;
    case T::kReal:
        StoreField(&vars, var.offset, 0.0);
        return;
    case T::kInt16:
        StoreField<int16_t>(&vars, var.offset, 0);
        return;
    case T::kText:
    case T::kCodePage:
        CopyIntoTextBlock(TextField(vars, var.offset), HeaderTextRoomOf(var.offset), "");
        return;
    case T::kName:
        SetHandleText(vars, var.offset, nullptr);
        return;
    }
}

// Reads the value of one variable, whose name was the last group.
void ReadVariable(const R13DxfHeaderVariable &var, CDxfStream &stream, CDrawingFile &input,
                  CDB_HEADER_type &vars, R13DxfHeaderNames &names) {
    switch (var.type) {
    case T::kPoint3: {
        CDB_POINT3 point{};
        stream.ReadPoint3(&point);
        StoreField(&vars, var.offset, point);
        return;
    }
    case T::kPoint2: {
        CDB_POINT2 point{};
        stream.ReadPoint2(&point);
        StoreField(&vars, var.offset, point);
        return;
    }
    case T::kReal:
        StoreField(&vars, var.offset, stream.ReadReal());
        return;
    case T::kInt16:
        StoreField(&vars, var.offset, stream.ReadInt());
        return;
    case T::kText:
    case T::kCodePage:
    case T::kName:
        break;
    }
    char *text = stream.ReadText();
    const char *value = text ? text : "";
    if (var.type == T::kName) {
        if (R13DxfHeaderNames::Entry *entry = names.Of(var)) {
            entry->name = value;
            entry->given = true;
        }
    } else {
        CopyIntoTextBlock(TextField(vars, var.offset), HeaderTextRoomOf(var.offset), value);
        if (var.offset == offsetof(CDB_HEADER_type, acadver)) {
            const size_t n = strnlen(value, sizeof(input.version));
            for (size_t i = 0; i < sizeof(input.version); ++i)
                input.version[i] = i < n ? value[i] : 0;
        }
    }
    std::free(text);
}

bool IsZero(CDB_POINT2 p) {
    return p.x == 0.0 && p.y == 0.0;
}
bool IsZero(CDB_POINT3 p) {
    return p.x == 0.0 && p.y == 0.0 && p.z == 0.0;
}

} // namespace

const R13DxfHeaderVariable *R13DxfHeaderVariables(size_t &count) {
    count = kVariableCount;
    return kVariables;
}

const R13DxfHeaderVariable *FindR13DxfHeaderVariable(const char *value) {
    static const std::unordered_map<std::string_view, const R13DxfHeaderVariable *> index = [] {
        std::unordered_map<std::string_view, const R13DxfHeaderVariable *> map;
        map.reserve(kVariableCount);
        for (const R13DxfHeaderVariable &v : kVariables)
            map.emplace(v.name, &v);
        return map;
    }();
    if (!value)
        return nullptr;
    const auto it = index.find(std::string_view(value, strnlen(value, CDxfStream::kValueSize)));
    return it == index.end() ? nullptr : it->second;
}

R13DxfHeaderNames::Entry *R13DxfHeaderNames::Of(const R13DxfHeaderVariable &variable) {
    for (Entry &entry : entries) {
        if (entry.variable == &variable)
            return &entry;
        if (!entry.variable) {
            entry.variable = &variable;
            return &entry;
        }
    }
    return nullptr;
}

int ReadR13DxfHeader(CDxfStream &stream, CDrawingFile &input, CR13Header &header,
                     R13DxfHeaderNames &names, int16_t &code, char *value) {
    CDB_HEADER_type &vars = header.vars;
    for (const R13DxfHeaderVariable &var : kVariables)
        ClearVariable(var, vars);
    if (!value || !stream.ReadGroup(&code, value) || stream.AtEnd())
        return 0;
    for (;;) {
        if (code == 0 || std::strcmp(value, "SECTION") == 0)
            return 1;
        if (const R13DxfHeaderVariable *var = FindR13DxfHeaderVariable(value)) {
            ReadVariable(*var, stream, input, vars, names);
            if (stream.AtEnd())
                return 0;
        }
        if (!stream.ReadGroup(&code, value) || stream.AtEnd())
            return 0;
    }
}

void ResolveR13DxfHeaderNames(const R13DxfHeaderNames &names, bool multiline_styles,
                              const R13DxfHandleOfName &lookup, CDB_HEADER_type &vars) {
    for (const R13DxfHeaderNames::Entry &entry : names.entries) {
        const R13DxfHeaderVariable *var = entry.variable;
        if (!var || !entry.given || (var->names == NT::kMlineStyles) != multiline_styles)
            continue;
        const std::string &name = entry.name;
        const char *handle = nullptr;
        if (name.empty())
            // No named coordinate system is an empty reference, as a DWG reads it; the
            // others mark an empty name "-1".
            handle = var->names == NT::kUcs ? "" : "-1";
        else if (var->names == NT::kLtypes && name == "BYLAYER")
            handle = "-1";
        else if (var->names == NT::kLtypes && name == "BYBLOCK")
            handle = "0";
        else if (var->names == NT::kDimstyles && name == "*UNNAMED")
            handle = "-1";
        else
            handle = lookup.Handle(var->names, name.c_str());
        SetHandleText(vars, var->offset, handle);
    }
}

void FillR13ViewFromActiveViewport(const R13DxfHandleOfName &lookup, CDB_HEADER_type &vars) {
    CDB_VPORT_TBL_type vport;
    std::memset(&vport, 0, sizeof(vport));
    if (!lookup.Vport("*ACTIVE", vport))
        return;
    if (vars.snapang == 0.0)
        vars.snapang = vport.snap_angle;
    if (IsZero(vars.snapbase))
        vars.snapbase = vport.snap_base;
    if (vars.snapisopair == 0)
        vars.snapisopair = vport.snap_isopair;
    if (vars.snapmode == 0)
        vars.snapmode = vport.snap_mode;
    if (vars.snapstyle == 0)
        vars.snapstyle = vport.snap_style;
    if (IsZero(vars.viewctr))
        vars.viewctr = vport.view_center;
    if (IsZero(vars.viewdir))
        vars.viewdir = vport.view_direction;
    if (vars.viewsize == 0.0)
        vars.viewsize = vport.view_height;
}
