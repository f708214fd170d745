#include "dwg13/r13_header.h"

#include "dwg13/r13_fields.h"
#include "io/bit_stream.h"
#include "io/bit_writer.h"
#include "io/drawing_file.h"
#include "records/header_vars.h"

#include <cstdlib>
#include <cstring>
#include <utility>
#include <vector>

namespace {

using H = CDB_HEADER_type;

#define B(member) R13_FIELD(kB, H, member)
#define BS(member) R13_FIELD(kBS, H, member)
#define BD(member) R13_FIELD(kBD, H, member)
#define P3(member) R13_FIELD(k3BD, H, member)
#define P2(member) R13_FIELD(k2RD, H, member)
#define HT(member) R13_FIELD(kHT, H, member)
#define BITS(n, member) R13_BITS(n, H, member)

template <size_t N> constexpr R13Layout LayoutOf(const R13Field (&fields)[N]) {
    return R13Layout{fields, N};
}

// The flags and the three values in front of the tree depth: where the search lands.
constexpr R13Field kFlags[] = {
    B(dimaso),    B(dimsho),    R13_DROP(kB),   B(plinegen),  B(orthomode),  B(regenmode),
    B(fillmode),  B(qtextmode), B(psltscale),   B(limcheck),  B(blipmode),   B(handling),
    B(skpoly),    B(angdir),    B(splframe),    B(attreq),    B(attdia),     B(mirrtext),
    B(worldview), R13_DROP(kB), B(tilemode),    B(plimcheck), B(visretain),  B(delobj),
    B(dispsilh),  R13_DROP(kB), BS(saveimages), BS(dragmode), BS(treedepth),
};

// From the units to the menu, and the times that are not kept.
constexpr R13Field kSettings[] = {
    BS(lunits),
    BS(luprec),
    BS(aunits),
    BS(auprec),
    BS(osmode),
    BS(attmode),
    BS(coords),
    BS(pdmode),
    BS(pickstyle),
    BS(userivar1),
    BS(userivar2),
    BS(userivar3),
    BS(userivar4),
    BS(userivar5),
    BS(splinesegs),
    BS(surfu),
    BS(surfv),
    BS(surftype),
    BS(surftab1),
    BS(surftab2),
    BS(splinetype),
    BS(shadedge),
    BS(shadedif),
    BS(unitmode),
    BS(maxactvp),
    R13_DROP(kBS),
    BS(cmljust),
    R13_DROP(kBS),
    BD(ltscale),
    BD(textsize),
    BD(tracewid),
    BD(sketchinc),
    BD(filletrad),
    BD(thickness),
    BD(angbase),
    BD(pdsize),
    BD(plinewid),
    BD(userrvar1),
    BD(userrvar2),
    BD(userrvar3),
    BD(userrvar4),
    BD(userrvar5),
    BD(chamfera),
    BD(chamferb),
    BD(chamferc),
    BD(chamferd),
    R13_DROP(kBD),
    BD(cmlscale),
    BD(celtscale),
    R13_FIXED_TEXT(H, menu, kHeaderMenuSize),
    // The creation and update times and what stands with them are not kept: those
    // variables keep their defaults.
    R13_SKIP(8, 0),
    R13_DROP_BITS(8),
    R13_DROP_BITS(8),
    R13_DROP_BITS(8),
    R13_DROP_BITS(8),
    R13_DROP_BITS(8),
    R13_DROP_BITS(8),
    R13_DROP_BITS(8),
    R13_DROP_BITS(5),
};

constexpr R13Field kColor[] = {BS(cecolor)};

// Behind the handle seed and the current layer: the other handles of the group, paper
// space, model space and the dimension variables.
constexpr R13Field kRest[] = {
    HT(htextstyle),
    HT(hceltype),
    HT(hdimstyle),
    HT(hcmlstyle),
    // Paper space.
    P3(pinsbase),
    P3(pextmin),
    P3(pextmax),
    P2(plimmin),
    P2(plimmax),
    R13_DROP(kBD),
    P3(pucsorg),
    P3(pucsxdir),
    P3(pucsydir),
    HT(hpucsname),
    // Model space.
    P3(insbase),
    P3(extmin),
    P3(extmax),
    P2(limmin),
    P2(limmax),
    BD(elevation),
    P3(ucsorg),
    P3(ucsxdir),
    P3(ucsydir),
    HT(hucsname),
    // Dimensions: the switches, then the packed small values.
    B(dimtol),
    B(dimlim),
    B(dimtih),
    B(dimtoh),
    B(dimse1),
    B(dimse2),
    B(dimalt),
    B(dimtofl),
    B(dimsoh),
    B(dimtix),
    B(dimsoxd),
    R13_DROP_BITS(2),
    B(dimsah),
    R13_DROP(kB),
    BITS(4, dimaltd),
    R13_DROP_BITS(4),
    BITS(4, dimzin),
    B(dimsd1),
    B(dimsd2),
    R13_DROP_BITS(6),
    BITS(2, dimtolj),
    R13_DROP_BITS(5),
    BITS(4, dimjust),
    R13_DROP_BITS(4),
    BITS(3, dimfit),
    B(dimupt),
    R13_DROP_BITS(4),
    BITS(4, dimtzin),
    R13_DROP_BITS(4),
    BITS(4, dimaltz),
    R13_DROP_BITS(4),
    R13_DROP_BITS(4),
    R13_DROP_BITS(6),
    BITS(2, dimtad),
    BS(dimunit),
    BS(dimaunit),
    BS(dimdec),
    BS(dimtdec),
    BS(dimaltu),
    BS(dimalttd),
    HT(hdimtxsty),
    BD(dimscale),
    BD(dimasz),
    BD(dimexo),
    BD(dimdli),
    BD(dimexe),
    BD(dimrnd),
    BD(dimdle),
    BD(dimtp),
    BD(dimtm),
    BD(dimtxt),
    BD(dimcen),
    BD(dimtsz),
    BD(dimaltf),
    BD(dimlfac),
    BD(dimtvp),
    BD(dimtfac),
    BD(dimgap),
    R13_FIXED_TEXT(H, dimpost, kHeaderDimpostSize),
    R13_FIXED_TEXT(H, dimapost, kHeaderDimapostSize),
    R13_FIXED_TEXT(H, dimblk, kHeaderDimblkSize),
    R13_FIXED_TEXT(H, dimblk1, kHeaderDimblkSize),
    R13_FIXED_TEXT(H, dimblk2, kHeaderDimblkSize),
    BS(dimclrd),
    BS(dimclre),
    BS(dimclrt),
};

// Every field lies inside the record.
template <size_t N> constexpr bool FieldsFitRecord(const R13Field (&fields)[N]) {
    for (size_t i = 0; i < N; ++i) {
        const R13Field &f = fields[i];
        if (f.offset != kR13Dropped && size_t(f.offset) + (f.width ? f.width : 8) > sizeof(H))
            return false;
    }
    return true;
}
static_assert(FieldsFitRecord(kFlags) && FieldsFitRecord(kSettings) && FieldsFitRecord(kColor) &&
                  FieldsFitRecord(kRest),
              "a header field lies outside CDB_HEADER_type");
// The flags block: 26 flags and three values.
static_assert(sizeof kFlags / sizeof kFlags[0] == 29, "the flags block has 29 fields");

#undef B
#undef BS
#undef BD
#undef P3
#undef P2
#undef HT
#undef BITS

// Two pairs of a flag and, by the flag, a dropped double or two dropped bits, with 8 bits
// between them and 5 behind: values the header does not keep. The writer writes both flags
// as 0.
void ReadUnkeptPairs(CBitStream &s) {
    for (int pair = 0; pair < 2; ++pair) {
        if (s.ReadBit())
            s.ReadBitDouble();
        else
            s.Skip(0, 2);
        s.ReadBits(pair == 0 ? 8 : 5);
    }
}

void WriteUnkeptPairs(CBitWriter &w) {
    for (int pair = 0; pair < 2; ++pair) {
        w.WriteBit(0);
        w.WriteBits(0, 2);
        w.WriteBits(0, pair == 0 ? 8 : 5);
    }
}

// Where a search found the tree depth: the end of its value.
struct BitPlace {
    int32_t byte;
    int32_t bit;
    bool operator==(const BitPlace &o) const { return byte == o.byte && bit == o.bit; }
};

// Tries the bits from the position on, one at a time, for a BS of the tree depth. On a
// find the position stands behind it.
bool SearchTreedepth(CBitStream &s) {
    for (int tries = 0; tries < CR13Header::kSearchTries; ++tries) {
        const int32_t byte = s.TellByte();
        const int32_t bit = s.TellBit();
        if (s.ReadBitShort() == CR13Header::kTreedepth)
            return true;
        s.Seek(byte, bit);
        s.Skip(0, 1);
    }
    return false;
}

bool IsText(const char *text, const char *wanted) {
    return text && std::strcmp(text, wanted) == 0;
}

bool IsEmpty(const char *text) {
    return !text || text[0] == '\0';
}

} // namespace

CR13Header::CR13Header() {
    std::memset(&vars, 0, sizeof vars);
    texts.Attach(vars);
}

CR13Header::~CR13Header() {
    FreeHandleTexts();
}

void CR13Header::FreeHandleTexts() {
    char **handles[] = {&vars.hclayer,   &vars.htextstyle, &vars.hceltype, &vars.hdimstyle,
                        &vars.hcmlstyle, &vars.hpucsname,  &vars.hucsname, &vars.hdimtxsty};
    for (char **handle : handles) {
        std::free(*handle);
        *handle = nullptr;
    }
}

// The tree depth is looked for where the flags put it. When it is not there, the bits
// behind the flags are searched; a find is taken as the end of the flags block, so the
// reader steps 7 bytes back from it and reads the flags again. A file whose flags and
// three values do not fill exactly those 56 bits is read with flags that are off; that is
// accepted. Without a find the reader goes on behind the flags as they were read.
//
// The bound: when the step back does not meet the tree depth again, the next search may
// come back to a find it made before, and from there the passes would go round forever.
// So a find met a second time ends the reading with false, and so does any find beyond
// kMaxSearchPasses (no sound section needs more than one).
bool CR13Header::ReadFlags(CBitStream &s) {
    std::vector<BitPlace> finds;
    for (;;) {
        ReadR13Fields(s, LayoutOf(kFlags), &vars);
        if (vars.treedepth == kTreedepth)
            return true;
        const BitPlace behind_flags{s.TellByte(), s.TellBit()};
        if (!SearchTreedepth(s)) {
            s.Seek(behind_flags.byte, behind_flags.bit);
            return true;
        }
        const BitPlace found{s.TellByte(), s.TellBit()};
        for (const BitPlace &earlier : finds)
            if (earlier == found)
                return false;
        if (finds.size() >= size_t(kMaxSearchPasses))
            return false;
        finds.push_back(found);
        s.Skip(-7, 0);
    }
}

int CR13Header::Read(CBitStream &s) {
    FreeHandleTexts();
    if (!ReadFlags(s))
        return 0;
    ReadR13Fields(s, LayoutOf(kSettings), &vars);
    ReadUnkeptPairs(s);
    ReadR13Fields(s, LayoutOf(kColor), &vars);
    // The writer of a save puts the new handle seed here.
    seed_byte = s.TellByte();
    seed_bit = s.TellBit();
    // The seed goes into its fixed block; the current layer is a handle text. Both keep
    // their reference codes, unlike the handles behind them.
    handseed_code = static_cast<uint8_t>(s.ReadBits(4));
    char *seed = s.ReadHandleText();
    CopyIntoTextBlock(vars.handseed, kHeaderHandseedSize, seed);
    std::free(seed);
    hclayer_code = static_cast<uint8_t>(s.ReadBits(4));
    vars.hclayer = s.ReadHandleText();
    ReadR13Fields(s, LayoutOf(kRest), &vars);
    SetTextsWithoutFile();
    return 1;
}

void CR13Header::Write(CBitWriter &w) const {
    WriteR13Fields(w, LayoutOf(kFlags), &vars);
    WriteR13Fields(w, LayoutOf(kSettings), &vars);
    WriteUnkeptPairs(w);
    WriteR13Fields(w, LayoutOf(kColor), &vars);
    w.WriteBits(handseed_code, 4);
    w.WriteHandleText(vars.handseed);
    w.WriteBits(hclayer_code, 4);
    w.WriteHandleText(vars.hclayer);
    WriteR13Fields(w, LayoutOf(kRest), &vars);
}

void CR13Header::SetTextsWithoutFile() {
    CopyIntoTextBlock(vars.acadver, kHeaderAcadverSize, "AC1012");
    // The code page is not read from the file; the text says so, in the spelling that
    // callers of this library know.
    CopyIntoTextBlock(vars.dwgcodepage, kHeaderCodePageSize, "Not implimented");
}

namespace {

int32_t ReadI32(CDrawingFile &file, bool &ok) {
    uint8_t bytes[4] = {};
    const int32_t before = file.GetPosition();
    ok = ok && file.Read(bytes, 4) && file.GetPosition() - before == 4;
    return static_cast<int32_t>(uint32_t(bytes[0]) | uint32_t(bytes[1]) << 8 |
                                uint32_t(bytes[2]) << 16 | uint32_t(bytes[3]) << 24);
}

} // namespace

int CR13Header::ReadHeader(CDrawingFile &file) {
    const int32_t kept = file.GetPosition();
    bool ok = file.SetPosition(kPlaceInHead, 0) == 1;
    const int32_t offset = ReadI32(file, ok);
    int32_t size = ReadI32(file, ok);
    if (!ok) {
        file.SetPosition(kept, 0);
        return 0;
    }
    // The section holds no more than the file behind its offset.
    const int64_t behind = offset >= 0 ? int64_t(file.Length()) - offset : 0;
    if (size < 0 || behind <= 0)
        size = 0;
    else if (size > behind)
        size = static_cast<int32_t>(behind);
    std::vector<uint8_t> section(static_cast<size_t>(size));
    if (size > 0) {
        file.SetPosition(offset, 0);
        file.Read(section.data(), static_cast<uint32_t>(size));
    }
    CBitStream stream(section.data(), size);
    const int result = Read(stream);
    file.SetPosition(kept, 0);
    return result;
}

short CR13Header::GetVariable(const char *name, CDB_VAR_VALUE_type *value) const {
    return GetHeaderVariable(vars, HeaderRelease::R13, name, value);
}

short CR13Header::SetVariable(const char *name, const CDB_VAR_VALUE_type &value) {
    return SetHeaderVariable(vars, HeaderRelease::R13, name, value, HeaderTextRoomOf);
}

void CR13Header::ResolveIndices(const R13HandleLookup &lookup) {
    auto index = [&lookup](TableBase table, const char *handle) {
        return static_cast<int16_t>(lookup ? lookup(table, handle ? handle : "") : -1);
    };
    // Line type and layer know BYLAYER and BYBLOCK.
    auto with_by_values = [&index](TableBase table, const char *handle) -> int16_t {
        if (IsText(handle, "-1"))
            return -1;
        if (IsText(handle, "0"))
            return 0;
        return index(table, handle);
    };
    // A reference that may be absent.
    auto optional = [&index](TableBase table, const char *handle) -> int16_t {
        return IsEmpty(handle) ? int16_t(-1) : index(table, handle);
    };
    vars.celtype = with_by_values(TableBase::kLtypes, vars.hceltype);
    vars.clayer = with_by_values(TableBase::kLayers, vars.hclayer);
    if (IsText(vars.hdimstyle, "-1"))
        vars.dimstyle = -1;
    else if (IsText(vars.hdimstyle, "0"))
        vars.celtype = 0; // the line type, not the style: files are read so
    else
        vars.dimstyle = index(TableBase::kDimstyles, vars.hdimstyle);
    vars.ucsname = optional(TableBase::kUcs, vars.hucsname);
    vars.pucsname = optional(TableBase::kUcs, vars.hpucsname);
    vars.textstyle = optional(TableBase::kStyles, vars.htextstyle);
    vars.dimtxsty = optional(TableBase::kStyles, vars.hdimtxsty);
    vars.cmlstyle = optional(TableBase::kMlineStyles, vars.hcmlstyle);
}
