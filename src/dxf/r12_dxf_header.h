// The HEADER section of a release 12 DXF: its variables, read into the same 1727-byte
// image that a DWG holds and decoded by the DWG decoder, and the names that become table
// indices once the tables are in.
//
// The variables stand once in a table (R12DxfHeaderVariable), in the fixed order in which
// the writer puts them out; the reader compares names against the same table.
#ifndef VELKO_R12_DXF_HEADER_H
#define VELKO_R12_DXF_HEADER_H

#include "velkow32.h"

#include <cstddef>
#include <cstdint>

class CDxfStream;
class CDrawingFile;
class CR12Header;

// How a variable's value stands in the file and in the image.
enum class R12DxfVarType : uint8_t {
    kPoint3, // three reals, codes 10, 20, 30
    kPoint2, // two reals, codes 10, 20
    kReal,   // one real, code 40 (ANGBASE: code 50)
    kInt16,  // a 16-bit integer, code 70 (CECOLOR: code 62)
    kByte,   // an integer kept in one byte of the image, code 70
    kText,   // a text, under the code that the table gives
};

// Which of the named text fields of the reader a text variable goes to; kImage for the
// texts that go straight into the image (ACADVER, DIMBLK, DIMPOST, DIMAPOST, DIMBLK1,
// DIMBLK2, MENU, HANDSEED).
enum class R12DxfName : uint8_t {
    kImage,
    kTextstyle,
    kClayer,
    kCeltype,
    kDimstyle,
    kUcsname,
    kPucsname,
    kDwgcodepage,
};

struct R12DxfHeaderVariable {
    const char *name; // with its "$": "$ACADVER"
    R12DxfVarType type;
    int16_t code;       // the group code of the value (the first one of a point)
    uint16_t offset;    // the field of CDB_HEADER_type that the variable fills
    R12DxfName name_of; // for kText: where the text goes
};

// The 136 variables in the writer's order.
const R12DxfHeaderVariable *R12DxfHeaderVariables(size_t &count);

// The variable whose name, with its "$", is exactly `value`; null for any other value.
const R12DxfHeaderVariable *FindR12DxfHeaderVariable(const char *value);

// The texts that the HEADER section gives by name, kept until the tables are read. Each
// holds at most 255 characters. `active` holds the literal "*ACTIVE".
struct R12DxfHeaderNames {
    char textstyle[256];
    char clayer[256];
    char celtype[256];
    char dimstyle[256];
    char ucsname[256];
    char pucsname[256];
    char dwgcodepage[256];
    char active[256];
};

// Reads the HEADER section from the group after "HEADER" up to the first group with code
// 0 or the value "SECTION", into a cleared image, which is then decoded into `header`
// (CR12Header::Decode). `names` is cleared and filled with the named texts; `active` gets
// "*ACTIVE". $ACADVER's value, when its code is 1, also goes to `input.version`. A code
// page text replaces the decoded `dwgcodepage` when not empty. The group that ended the
// section is left in `code` and `value` (kValueSize bytes). Returns 1, or 0 when the file
// ended inside the section (the stream's AtEnd()).
int ReadR12DxfHeader(CDxfStream &stream, CDrawingFile &input, CR12Header &header,
                     R12DxfHeaderNames &names, int16_t &code, char *value);

// Looks a name up in one of the drawing's tables, the DXF way: first match in table
// order, case ignored, deleted records skipped; -1 when none.
struct R12DxfNameLookup {
    virtual ~R12DxfNameLookup() = default;
    virtual int Layer(const char *name) const = 0;
    virtual int Ltype(const char *name) const = 0;
    virtual int Style(const char *name) const = 0;
    virtual int Dimstyle(const char *name) const = 0;
    virtual int Ucs(const char *name) const = 0;
    // The view settings of the viewport record named `name`; false when none is there.
    virtual bool Vport(const char *name, CDB_VPORT_TBL_type &out) const = 0;
};

// Turns the kept names into the header's indices: celtype ("BYLAYER" -1, "BYBLOCK" -2,
// otherwise the line type), clayer, dimstyle ("*UNNAMED" -1), ucsname, pucsname,
// textstyle (an empty name -1). Then, when the viewport named in `names.active` exists,
// its view settings fill the header's view variables that are still zero: snapang (in
// radians, as the header keeps it), snapbase, snapisopair, snapmode, snapstyle, viewctr,
// viewdir, viewsize. Returns 1.
int ResolveR12DxfHeaderNames(const R12DxfHeaderNames &names, const R12DxfNameLookup &lookup,
                             CDB_HEADER_type &vars);

// The names of table records by index, for the writer: null when the table has no record
// at that index or the record has no name.
struct R12DxfRecordNames {
    virtual ~R12DxfRecordNames() = default;
    virtual const char *Layer(int index) const = 0;
    virtual const char *Ltype(int index) const = 0;
    virtual const char *Style(int index) const = 0;
    virtual const char *Dimstyle(int index) const = 0;
    virtual const char *Ucs(int index) const = 0;
};

// Writes the HEADER variables, all 136 in their fixed order, none left out: group 9 with
// the name, then the value under the variable's code (a point as its two or three
// coordinates under 10, 20, 30). The variables that name a table entry are written by
// name: $CELTYPE -1 "BYLAYER", -2 "BYBLOCK"; $DIMSTYLE -1 "*UNNAMED"; $TEXTSTYLE,
// $UCSNAME, $PUCSNAME -1 an empty value; otherwise, and for $CLAYER, the record's name (an
// empty value when there is none). 1, or 0 when the stream refuses a group. With `strict`
// (CDB_WRITE_STRICT_DXF), a drawing without a code page gets $DWGCODEPAGE "ANSI_1252",
// since strict readers refuse an empty one; otherwise the value is written as it stands.
int WriteR12DxfHeader(CDxfStream &stream, const CDB_HEADER_type &vars,
                      const R12DxfRecordNames &names, bool strict = false);

#endif
