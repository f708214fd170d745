#include "records/header_vars.h"

#include "io/record_field.h"

#include <cstring>

namespace {

// How a variable stands in CDB_HEADER_type, and so how many bytes its value takes.
enum class Storage : unsigned char { I16, F64, PT2, PT3, TXT };

struct HeaderVar {
    const char *name;
    size_t offset;   // offset of the field in CDB_HEADER_type
    Storage storage; // what the field holds
    short code_r12;  // type code answered in release 12; 0: the release has no such name
    short code_r13;  // type code answered in release 13
};

#define ROW(name, storage, c12, c13)                                                               \
    { #name, offsetof(CDB_HEADER_type, name), Storage::storage, c12, c13 }
#define I16(name) ROW(name, I16, CDB_VAR_INT16, CDB_VAR_INT16)
#define F64(name) ROW(name, F64, CDB_VAR_REAL, CDB_VAR_REAL)
#define PT2(name) ROW(name, PT2, CDB_VAR_POINT2, CDB_VAR_POINT2)
#define PT3(name) ROW(name, PT3, CDB_VAR_POINT3, CDB_VAR_POINT3)
#define TXT(name) ROW(name, TXT, CDB_VAR_TEXT, CDB_VAR_TEXT)
#define I16_13(name) ROW(name, I16, 0, CDB_VAR_INT16)
#define F64_13(name) ROW(name, F64, 0, CDB_VAR_REAL)
#define HDL_13(name) ROW(name, TXT, 0, CDB_VAR_HANDLE)
// The real user variables answer as integers and read the integer fields of the same
// number; the doubles behind them are reached only through the whole record.
#define USER_REAL(name, field)                                                                     \
    { #name, offsetof(CDB_HEADER_type, field), Storage::I16, CDB_VAR_INT16, CDB_VAR_INT16 }

// The chain of names, in lookup order. The first name that matches wins.
// clang-format off
const HeaderVar kHeaderVars[] = {
    TXT(acadver),
    ROW(angbase, F64, 4, 7), // a double, answered as text in release 13
    I16(angdir),
    I16(attdia),
    I16(attmode),
    I16(attreq),
    I16(aunits),
    I16(auprec),
    I16(axismode),
    PT2(axisunit),
    I16(blipmode),
    I16(cecolor),
    F64_13(celtscale),
    I16(celtype),
    HDL_13(hceltype),
    F64(chamfera),
    F64(chamferb),
    F64_13(chamferc),
    F64_13(chamferd),
    I16(clayer),
    HDL_13(hclayer),
    I16_13(cmljust),
    HDL_13(hcmlstyle),
    I16_13(cmlstyle),
    F64_13(cmlscale),
    I16(coords),
    I16_13(corrected),
    I16_13(delobj),
    I16(dimalt),
    I16(dimaltd),
    I16_13(dimalttd),
    F64(dimaltf),
    I16_13(dimaltu),
    I16_13(dimaltz),
    I16_13(dimalttz),
    TXT(dimapost),
    I16(dimaso),
    ROW(dimasz, F64, 2, 4), // a double, answered as an integer in release 12
    TXT(dimblk),
    TXT(dimblk1),
    TXT(dimblk2),
    F64(dimcen),
    I16(dimclrd),
    I16(dimclre),
    I16(dimclrt),
    I16_13(dimdec),
    I16_13(dimtdec),
    F64(dimdle),
    F64(dimdli),
    F64(dimexe),
    F64(dimexo),
    I16_13(dimfit),
    F64(dimgap),
    I16_13(dimjust),
    F64(dimlfac),
    I16(dimlim),
    TXT(dimpost),
    F64(dimrnd),
    I16(dimsah),
    F64(dimscale),
    I16_13(dimsd1),
    I16_13(dimsd2),
    I16(dimse1),
    I16(dimse2),
    I16(dimsho),
    I16_13(dimsoh),
    I16(dimsoxd),
    I16(dimstyle),
    HDL_13(hdimstyle),
    I16(dimtad),
    F64(dimtfac),
    I16(dimtih),
    I16(dimtix),
    F64(dimtm),
    I16(dimtofl),
    I16(dimtoh),
    I16(dimtol),
    I16_13(dimtolj),
    F64(dimtp),
    F64(dimtsz),
    F64(dimtvp),
    F64(dimtxt),
    HDL_13(hdimtxsty),
    I16_13(dimtxsty),
    I16_13(dimupt),
    I16_13(dimunit),
    I16_13(dimaunit),
    I16(dimzin),
    I16_13(dimtzin),
    I16_13(dispsilh),
    I16(dragmode),
    TXT(dwgcodepage),
    F64(elevation),
    PT3(extmax),
    PT3(extmin),
    I16(fastzoom),
    F64(filletrad),
    I16(fillmode),
    I16(gridmode),
    PT2(gridunit),
    I16(handling),
    ROW(handseed, TXT, 7, 8),
    PT3(insbase),
    I16(limcheck),
    PT2(limmax),
    PT2(limmin),
    F64(ltscale),
    I16(lunits),
    I16(luprec),
    I16(maxactvp),
    TXT(menu),
    I16(mirrtext),
    I16(orthomode),
    I16(osmode),
    I16(pdmode),
    F64(pdsize),
    F64(pelevation),
    PT3(pextmax),
    PT3(pextmin),
    I16_13(pickstyle),
    I16(plimcheck),
    PT2(plimmax),
    PT2(plimmin),
    I16(plinegen),
    F64(plinewid),
    I16(psltscale),
    I16(pucsname),
    HDL_13(hpucsname),
    PT3(pucsorg),
    PT3(pucsxdir),
    PT3(pucsydir),
    I16(qtextmode),
    I16(regenmode),
    I16_13(saveimages),
    I16(shadedge),
    I16(shadedif),
    F64(sketchinc),
    I16(skpoly),
    F64(snapang),
    PT2(snapbase),
    I16(snapisopair),
    I16(snapmode),
    I16(snapstyle),
    PT2(snapunit),
    I16(splframe),
    I16(splinesegs),
    I16(splinetype),
    I16(surftab1),
    I16(surftab2),
    I16(surftype),
    I16(surfu),
    I16(surfv),
    F64(tdcreate),
    F64(tdindwg),
    F64(tdupdate),
    F64(tdusrtimer),
    F64(textsize),
    I16(textstyle),
    HDL_13(htextstyle),
    F64(thickness),
    I16(tilemode),
    F64(tracewid),
    I16(ucsname),
    HDL_13(hucsname),
    PT3(ucsorg),
    PT3(ucsxdir),
    PT3(ucsydir),
    I16(unitmode),
    I16(userivar1),
    USER_REAL(userrvar1, userivar1),
    I16(userivar2),
    USER_REAL(userrvar2, userivar2),
    I16(userivar3),
    USER_REAL(userrvar3, userivar3),
    I16(userivar4),
    USER_REAL(userrvar4, userivar4),
    I16(userivar5),
    USER_REAL(userrvar5, userivar5),
    I16(usrtimer),
    PT2(viewctr),
    PT3(viewdir),
    F64(viewsize),
    I16(visretain),
    I16(treedepth),
    I16(worldview),
    I16(flatland),
    I16(cvport),
    PT3(pinsbase),
};
// clang-format on

#undef ROW
#undef I16
#undef F64
#undef PT2
#undef PT3
#undef TXT
#undef I16_13
#undef F64_13
#undef HDL_13
#undef USER_REAL

constexpr size_t kHeaderVarCount = sizeof kHeaderVars / sizeof kHeaderVars[0];
static_assert(kHeaderVarCount == 188, "the release 13 chain knows 188 names");

// The largest text a CDB_VAR_VALUE_type takes, terminator included.
constexpr size_t kValueTextSize = sizeof(static_cast<CDB_VAR_VALUE_type *>(nullptr)->text);

char Lower(char c) {
    return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
}

bool SameNameIgnoringCase(const char *a, const char *b) {
    for (;; ++a, ++b) {
        if (Lower(*a) != Lower(*b))
            return false;
        if (*a == '\0')
            return true;
    }
}

short CodeIn(const HeaderVar &var, HeaderRelease release) {
    return release == HeaderRelease::R12 ? var.code_r12 : var.code_r13;
}

void CopyValue(const CDB_HEADER_type &header, const HeaderVar &var, CDB_VAR_VALUE_type *value) {
    switch (var.storage) {
    case Storage::I16:
        value->int_value = LoadField<int16_t>(&header, var.offset);
        break;
    case Storage::F64:
        value->real_value = LoadField<double>(&header, var.offset);
        break;
    case Storage::PT2:
        value->point2_value = LoadField<CDB_POINT2>(&header, var.offset);
        break;
    case Storage::PT3:
        value->point3_value = LoadField<CDB_POINT3>(&header, var.offset);
        break;
    case Storage::TXT: {
        const char *text = LoadField<const char *>(&header, var.offset);
        if (!text)
            text = "";
        size_t length = 0;
        while (length + 1 < kValueTextSize && text[length] != '\0')
            ++length;
        std::memcpy(value->text, text, length);
        value->text[length] = '\0';
        break;
    }
    }
}

// The code pages a drawing names, by their number in the files.
const char *const kCodePages[] = {
    "undefined", "ascii",     "iso8859-1", "iso8859-2", "iso8859-3", "iso8859-4",
    "iso8859-5", "iso8859-6", "iso8859-7", "iso8859-8", "iso8859-9", "dos437",
    "dos850",    "dos852",    "dos855",    "dos857",    "dos860",    "dos861",
    "dos863",    "dos864",    "dos865",    "dos869",    "dos932",    "mac-roman",
};
constexpr int kCodePageCount = static_cast<int>(sizeof kCodePages / sizeof kCodePages[0]);
static_assert(kCodePageCount == 24, "the code page table has 24 rows");

} // namespace

namespace {
// The first variable of the release's chain of that name, or null.
const HeaderVar *FindVariable(HeaderRelease release, const char *name) {
    if (!name)
        return nullptr;
    for (const HeaderVar &var : kHeaderVars)
        if (CodeIn(var, release) != CDB_VAR_UNKNOWN && SameNameIgnoringCase(var.name, name))
            return &var;
    return nullptr;
}
} // namespace

short GetHeaderVariable(const CDB_HEADER_type &header, HeaderRelease release, const char *name,
                        CDB_VAR_VALUE_type *value) {
    const HeaderVar *var = FindVariable(release, name);
    if (!var)
        return CDB_VAR_UNKNOWN;
    if (value)
        CopyValue(header, *var, value);
    return CodeIn(*var, release);
}

namespace {

void StoreValue(CDB_HEADER_type &header, const HeaderVar &var, const CDB_VAR_VALUE_type &value,
                HeaderTextRoom room) {
    switch (var.storage) {
    case Storage::I16:
        StoreField(&header, var.offset, value.int_value);
        break;
    case Storage::F64:
        StoreField(&header, var.offset, value.real_value);
        break;
    case Storage::PT2:
        StoreField(&header, var.offset, value.point2_value);
        break;
    case Storage::PT3:
        StoreField(&header, var.offset, value.point3_value);
        break;
    case Storage::TXT: {
        char *block = LoadField<char *>(&header, var.offset);
        const size_t size = room ? room(var.offset) : 0;
        if (!block || size == 0)
            break;
        const size_t length = strnlen(value.text, sizeof value.text);
        const size_t kept = length < size ? length : size - 1;
        std::memmove(block, value.text, kept);
        block[kept] = '\0';
        break;
    }
    }
}

} // namespace

short SetHeaderVariable(CDB_HEADER_type &header, HeaderRelease release, const char *name,
                        const CDB_VAR_VALUE_type &value, HeaderTextRoom room) {
    const HeaderVar *var = FindVariable(release, name);
    if (!var)
        return CDB_VAR_UNKNOWN;
    StoreValue(header, *var, value, room);
    return CodeIn(*var, release);
}

int HeaderVariableCount(HeaderRelease release) {
    int count = 0;
    for (const HeaderVar &var : kHeaderVars)
        if (CodeIn(var, release) != CDB_VAR_UNKNOWN)
            ++count;
    return count;
}

int CodePageText(int number, char *buffer, size_t size) {
    if (number < 0 || number >= kCodePageCount || !buffer || size == 0)
        return 0;
    const char *text = kCodePages[number];
    size_t length = std::strlen(text);
    if (length >= size)
        length = size - 1;
    std::memcpy(buffer, text, length);
    buffer[length] = '\0';
    return 1;
}

int CodePageNumber(const char *text, int16_t &number) {
    if (!text)
        return 0;
    for (int i = 0; i < kCodePageCount; ++i) {
        if (SameNameIgnoringCase(kCodePages[i], text)) {
            number = static_cast<int16_t>(i);
            return 1;
        }
    }
    return 0;
}
