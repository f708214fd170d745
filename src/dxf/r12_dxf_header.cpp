#include "dxf/r12_dxf_header.h"

#include "dwg12/r12_header.h"
#include "dxf/dxf_stream.h"
#include "io/drawing_file.h"
#include "io/record_field.h"
#include "records/header_vars.h"

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <unordered_map>

namespace {

using T = R12DxfVarType;
using N = R12DxfName;

#define HV(field) static_cast<uint16_t>(offsetof(CDB_HEADER_type, field))

constexpr R12DxfHeaderVariable P3(const char *name, uint16_t offset) {
    return R12DxfHeaderVariable{name, T::kPoint3, 10, offset, N::kImage};
}
constexpr R12DxfHeaderVariable P2(const char *name, uint16_t offset) {
    return R12DxfHeaderVariable{name, T::kPoint2, 10, offset, N::kImage};
}
constexpr R12DxfHeaderVariable R(const char *name, uint16_t offset, int16_t code = 40) {
    return R12DxfHeaderVariable{name, T::kReal, code, offset, N::kImage};
}
constexpr R12DxfHeaderVariable I(const char *name, uint16_t offset, int16_t code = 70) {
    return R12DxfHeaderVariable{name, T::kInt16, code, offset, N::kImage};
}
constexpr R12DxfHeaderVariable B(const char *name, uint16_t offset) {
    return R12DxfHeaderVariable{name, T::kByte, 70, offset, N::kImage};
}
constexpr R12DxfHeaderVariable S(const char *name, int16_t code, uint16_t offset,
                                 R12DxfName name_of = N::kImage) {
    return R12DxfHeaderVariable{name, T::kText, code, offset, name_of};
}

// The variables in the order in which the writer puts them out. A named text's offset is
// the header's index field that the name becomes (the code page: its text field).
constexpr R12DxfHeaderVariable kVariables[] = {
    S("$ACADVER", 1, HV(acadver)),
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
    S("$TEXTSTYLE", 7, HV(textstyle), N::kTextstyle),
    S("$CLAYER", 8, HV(clayer), N::kClayer),
    S("$CELTYPE", 6, HV(celtype), N::kCeltype),
    I("$CECOLOR", HV(cecolor), 62),
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
    B("$DIMTOL", HV(dimtol)),
    B("$DIMLIM", HV(dimlim)),
    B("$DIMTIH", HV(dimtih)),
    B("$DIMTOH", HV(dimtoh)),
    B("$DIMSE1", HV(dimse1)),
    B("$DIMSE2", HV(dimse2)),
    B("$DIMTAD", HV(dimtad)),
    B("$DIMZIN", HV(dimzin)),
    S("$DIMBLK", 1, HV(dimblk)),
    B("$DIMASO", HV(dimaso)),
    B("$DIMSHO", HV(dimsho)),
    S("$DIMPOST", 1, HV(dimpost)),
    S("$DIMAPOST", 1, HV(dimapost)),
    B("$DIMALT", HV(dimalt)),
    B("$DIMALTD", HV(dimaltd)),
    R("$DIMALTF", HV(dimaltf)),
    R("$DIMLFAC", HV(dimlfac)),
    B("$DIMTOFL", HV(dimtofl)),
    R("$DIMTVP", HV(dimtvp)),
    B("$DIMTIX", HV(dimtix)),
    B("$DIMSOXD", HV(dimsoxd)),
    B("$DIMSAH", HV(dimsah)),
    S("$DIMBLK1", 1, HV(dimblk1)),
    S("$DIMBLK2", 1, HV(dimblk2)),
    S("$DIMSTYLE", 2, HV(dimstyle), N::kDimstyle),
    I("$DIMCLRD", HV(dimclrd)),
    I("$DIMCLRE", HV(dimclre)),
    I("$DIMCLRT", HV(dimclrt)),
    R("$DIMTFAC", HV(dimtfac)),
    R("$DIMGAP", HV(dimgap)),
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
    S("$UCSNAME", 2, HV(ucsname), N::kUcsname),
    P3("$UCSORG", HV(ucsorg)),
    P3("$UCSXDIR", HV(ucsxdir)),
    P3("$UCSYDIR", HV(ucsydir)),
    S("$PUCSNAME", 2, HV(pucsname), N::kPucsname),
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
    S("$DWGCODEPAGE", 3, HV(dwgcodepage), N::kDwgcodepage),
};

#undef HV

constexpr size_t kVariableCount = sizeof(kVariables) / sizeof(kVariables[0]);
static_assert(kVariableCount == 136, "the HEADER section of release 12 has 136 variables");

constexpr bool SameText(const char *a, const char *b) {
    while (*a && *a == *b) {
        ++a;
        ++b;
    }
    return *a == *b;
}

// Every name is given once, with its "$", and every value lies inside the record.
constexpr bool VariablesAreSound() {
    for (size_t i = 0; i < kVariableCount; ++i) {
        const R12DxfHeaderVariable &v = kVariables[i];
        if (v.name[0] != '$')
            return false;
        if (size_t(v.offset) + 2 > sizeof(CDB_HEADER_type))
            return false;
        for (size_t j = i + 1; j < kVariableCount; ++j) {
            if (SameText(v.name, kVariables[j].name))
                return false;
        }
    }
    return true;
}
static_assert(VariablesAreSound(), "a HEADER variable is named twice or lies outside the record");

// The variable of a group value: it is compared with every name, exactly and with the
// "$", once per group of the section, so the names are hashed once.
const R12DxfHeaderVariable *FindVariable(std::string_view value) {
    static const std::unordered_map<std::string_view, const R12DxfHeaderVariable *> index = [] {
        std::unordered_map<std::string_view, const R12DxfHeaderVariable *> map;
        map.reserve(kVariableCount);
        for (const R12DxfHeaderVariable &v : kVariables)
            map.emplace(v.name, &v);
        return map;
    }();
    const auto it = index.find(value);
    return it == index.end() ? nullptr : it->second;
}

size_t BoundedLength(const char *text, size_t limit) {
    size_t n = 0;
    while (text && n < limit && text[n] != 0)
        ++n;
    return n;
}

// Copies `text` (null is empty) into `dest` of `room` bytes, cut to fit and terminated.
void CopyCut(char *dest, size_t room, const char *text) {
    if (!dest || room == 0)
        return;
    const size_t n = BoundedLength(text, room - 1);
    if (n > 0)
        std::memcpy(dest, text, n);
    dest[n] = 0;
}

// The text field of the record at `offset`: the pointer stored there (unaligned in the
// packed record).
char *TextField(const CDB_HEADER_type &vars, uint16_t offset) {
    return LoadField<char *>(&vars, offset);
}

// Bytes of the fixed text block that the header keeps for the text at `offset`, as the
// header block's layout gives them; 0 when the layout has no text there.
size_t TextBlockSize(uint16_t offset) {
    const R12Layout layout = CR12Header::Layout();
    for (size_t i = 0; i < layout.count; ++i) {
        const R12Field &f = layout.fields[i];
        if (f.field_offset == offset && f.capacity > 0)
            return f.capacity;
    }
    return 0;
}

char *NameBuffer(R12DxfHeaderNames &names, R12DxfName which) {
    switch (which) {
    case N::kTextstyle:
        return names.textstyle;
    case N::kClayer:
        return names.clayer;
    case N::kCeltype:
        return names.celtype;
    case N::kDimstyle:
        return names.dimstyle;
    case N::kUcsname:
        return names.ucsname;
    case N::kPucsname:
        return names.pucsname;
    case N::kDwgcodepage:
        return names.dwgcodepage;
    default:
        return nullptr;
    }
}

// Reads the value of one variable, whose name was the last group, into the scratch
// record or the names. `value` is the caller's group buffer, free for $ACADVER's group.
void ReadVariable(const R12DxfHeaderVariable &var, CDxfStream &stream, CDrawingFile &input,
                  CR12Header &scratch, R12DxfHeaderNames &names, int16_t &code, char *value) {
    CDB_HEADER_type &vars = scratch.vars;
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
    case T::kByte:
        // A byte variable is cut to its byte when the record goes into the image.
        StoreField(&vars, var.offset, stream.ReadInt());
        return;
    case T::kText:
        break;
    }

    if (var.offset == offsetof(CDB_HEADER_type, acadver)) {
        // The version takes one more group, and only a group 1 counts.
        if (!stream.ReadGroup(&code, value) || code != 1)
            return;
        const size_t n = BoundedLength(value, sizeof(input.version));
        for (size_t i = 0; i < sizeof(input.version); ++i)
            input.version[i] = i < n ? value[i] : 0;
        CopyCut(TextField(vars, var.offset), TextBlockSize(var.offset), value);
        return;
    }

    char *text = stream.ReadText();
    if (var.name_of == N::kImage)
        CopyCut(TextField(vars, var.offset), TextBlockSize(var.offset), text);
    else
        CopyCut(NameBuffer(names, var.name_of), sizeof(names.textstyle), text);
    std::free(text);
}

// Points are taken by value: the record is packed.
bool IsZero(CDB_POINT2 p) {
    return p.x == 0.0 && p.y == 0.0;
}
bool IsZero(CDB_POINT3 p) {
    return p.x == 0.0 && p.y == 0.0 && p.z == 0.0;
}

int16_t Index(int index) {
    return static_cast<int16_t>(index);
}

} // namespace

const R12DxfHeaderVariable *R12DxfHeaderVariables(size_t &count) {
    count = kVariableCount;
    return kVariables;
}

const R12DxfHeaderVariable *FindR12DxfHeaderVariable(const char *value) {
    if (!value)
        return nullptr;
    return FindVariable(std::string_view(value, BoundedLength(value, CDxfStream::kValueSize)));
}

int ReadR12DxfHeader(CDxfStream &stream, CDrawingFile &input, CR12Header &header,
                     R12DxfHeaderNames &names, int16_t &code, char *value) {
    std::memset(&names, 0, sizeof(names));
    CopyCut(names.active, sizeof(names.active), "*ACTIVE");

    // The variables are gathered in a record of their own and put into a cleared image by
    // the header block's encoder, so that the image is what a DWG would hold. A cleared
    // image holds code page 0; the record starts with that code page's text to keep it.
    CR12Header scratch;
    CodePageText(0, scratch.vars.dwgcodepage, kHeaderCodePageSize);

    int result = 1;
    if (!value || !stream.ReadGroup(&code, value) || stream.AtEnd())
        result = 0;
    while (result) {
        if (code == 0 || std::strcmp(value, "SECTION") == 0)
            break;
        if (const R12DxfHeaderVariable *var = FindR12DxfHeaderVariable(value)) {
            ReadVariable(*var, stream, input, scratch, names, code, value);
            if (stream.AtEnd()) {
                result = 0;
                break;
            }
        }
        if (!stream.ReadGroup(&code, value) || stream.AtEnd())
            result = 0;
    }

    uint8_t image[CR12Header::kBlockSize] = {};
    scratch.Encode(image);
    header.Decode(image);
    // The code page stays as the file names it when it gave a name, known or not.
    if (names.dwgcodepage[0] != 0)
        CopyCut(header.vars.dwgcodepage, kHeaderCodePageSize, names.dwgcodepage);
    return result;
}

int ResolveR12DxfHeaderNames(const R12DxfHeaderNames &names, const R12DxfNameLookup &lookup,
                             CDB_HEADER_type &vars) {
    if (std::strcmp(names.celtype, "BYLAYER") == 0)
        vars.celtype = -1;
    else if (std::strcmp(names.celtype, "BYBLOCK") == 0)
        vars.celtype = -2;
    else
        vars.celtype = Index(lookup.Ltype(names.celtype));

    vars.clayer = names.clayer[0] == 0 ? int16_t(-1) : Index(lookup.Layer(names.clayer));

    if (std::strcmp(names.dimstyle, "*UNNAMED") == 0)
        vars.dimstyle = -1;
    else
        vars.dimstyle = Index(lookup.Dimstyle(names.dimstyle));

    vars.ucsname = names.ucsname[0] == 0 ? int16_t(-1) : Index(lookup.Ucs(names.ucsname));
    vars.pucsname = names.pucsname[0] == 0 ? int16_t(-1) : Index(lookup.Ucs(names.pucsname));
    vars.textstyle = names.textstyle[0] == 0 ? int16_t(-1) : Index(lookup.Style(names.textstyle));

    // The active viewport's view settings, for the view variables the header left zero.
    CDB_VPORT_TBL_type vport;
    std::memset(&vport, 0, sizeof(vport));
    if (!lookup.Vport(names.active, vport))
        return 1;
    if (vars.snapang == 0.0)
        vars.snapang = R12AngleToFile(vport.snap_angle);
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
    return 1;
}

// ---- Writing ------------------------------------------------------------------------------

namespace {

// The text of a text variable: its own text, or the name of the table entry its index
// field names.
const char *VariableText(const R12DxfHeaderVariable &var, const CDB_HEADER_type &vars,
                         const R12DxfRecordNames &names) {
    if (var.name_of == N::kImage || var.name_of == N::kDwgcodepage)
        return TextField(vars, var.offset);
    const int16_t index = LoadField<int16_t>(&vars, var.offset);
    switch (var.name_of) {
    case N::kCeltype:
        if (index == -1)
            return "BYLAYER";
        if (index == -2)
            return "BYBLOCK";
        return names.Ltype(index);
    case N::kClayer:
        return names.Layer(index);
    case N::kDimstyle:
        return index == -1 ? "*UNNAMED" : names.Dimstyle(index);
    case N::kTextstyle:
        return index == -1 ? "" : names.Style(index);
    case N::kUcsname:
    case N::kPucsname:
        return index == -1 ? "" : names.Ucs(index);
    default:
        return nullptr;
    }
}

// The code page that the strict road writes for a drawing that has none.
constexpr const char *kStrictDefaultCodePage = "ANSI_1252";

int WriteVariable(CDxfStream &stream, const R12DxfHeaderVariable &var, const CDB_HEADER_type &vars,
                  const R12DxfRecordNames &names, bool strict) {
    switch (var.type) {
    case T::kPoint3:
        return stream.WritePoint3(LoadField<CDB_POINT3>(&vars, var.offset), var.code);
    case T::kPoint2:
        return stream.WritePoint2(LoadField<CDB_POINT2>(&vars, var.offset), var.code);
    case T::kReal:
        return stream.WriteReal(var.code, LoadField<double>(&vars, var.offset));
    case T::kInt16:
    case T::kByte:
        return stream.WriteInt16(var.code, LoadField<int16_t>(&vars, var.offset));
    case T::kText: {
        const char *text = VariableText(var, vars, names);
        if (strict && var.name_of == N::kDwgcodepage && (!text || text[0] == 0))
            text = kStrictDefaultCodePage;
        return stream.WriteText(var.code, text);
    }
    }
    return 0;
}

} // namespace

int WriteR12DxfHeader(CDxfStream &stream, const CDB_HEADER_type &vars,
                      const R12DxfRecordNames &names, bool strict) {
    for (const R12DxfHeaderVariable &var : kVariables) {
        if (!stream.WriteText(9, var.name) || !WriteVariable(stream, var, vars, names, strict))
            return 0;
    }
    return 1;
}
