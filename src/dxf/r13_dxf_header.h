// The HEADER section of a release 13 DXF: its 174 variables, read straight into the
// drawing's CR13Header, and the names of table entries that become handle texts once the
// tables are in.
//
// The variables stand once in a table (R13DxfHeaderVariable): first the 162 that the writer
// puts out, in the writer's order, then the 12 that are only read. Reader and writer walk
// the same table; a variable's row says its group code, its type and the field it fills.
//
// What callers may rely on: the fields that the section may fill are cleared before it is
// read (numbers 0, the fixed text blocks empty, the handle texts null), so a variable the
// file lacks stays zero; the read never stalls (a file that ends inside the section gives
// 0); texts are cut to the room of their fixed blocks.
#ifndef VELKO_R13_DXF_HEADER_H
#define VELKO_R13_DXF_HEADER_H

#include "velkow32.h"

#include <cstddef>
#include <cstdint>
#include <string>

class CDxfStream;
class CDrawingFile;
class CR13Header;

// How a variable's value stands in the file and where it goes.
enum class R13DxfVarType : uint8_t {
    kPoint3,   // three reals, codes 10, 20, 30
    kPoint2,   // two reals, codes 10, 20
    kReal,     // one real (a binary file gives 0.0 unless its code is 40)
    kInt16,    // a 16-bit integer
    kText,     // a text into the fixed text block of the field
    kCodePage, // the code page text, into its fixed block; always "ansi_1252" when written
    kName,     // the name of a table entry: kept, later the handle text of the field
};

// Which table a kName variable names an entry of.
enum class R13DxfNameTable : uint8_t {
    kNone,
    kLtypes,      // $CELTYPE: "BYLAYER" "-1", "BYBLOCK" "0"
    kLayers,      // $CLAYER
    kStyles,      // $TEXTSTYLE, $DIMTXSTY
    kDimstyles,   // $DIMSTYLE: "*UNNAMED" "-1"
    kUcs,         // $UCSNAME, $PUCSNAME
    kMlineStyles, // $CMLSTYLE: resolved when the multiline styles are read
};

struct R13DxfHeaderVariable {
    const char *name; // with its "$"
    R13DxfVarType type;
    int16_t code;    // the group code of the value (the first one of a point)
    uint16_t offset; // the field of CDB_HEADER_type (for kName: the handle text field)
    bool written;    // the writer puts it out (the writer's order is the table's)
    R13DxfNameTable names;
};

// All 174 variables: the 162 written ones in the writer's order, then the 12 read-only.
const R13DxfHeaderVariable *R13DxfHeaderVariables(size_t &count);
// The variable whose name, with its "$", is exactly `value`; null for any other value.
const R13DxfHeaderVariable *FindR13DxfHeaderVariable(const char *value);

// The names that the section gives for table entries, by the handle text field they
// become (the offset of the variable).
struct R13DxfHeaderNames {
    static constexpr size_t kCount = 8;
    struct Entry {
        const R13DxfHeaderVariable *variable = nullptr;
        std::string name;
        bool given = false;
    };
    Entry entries[kCount];
    // The entry of `variable`, made on first use; null when all places are taken.
    Entry *Of(const R13DxfHeaderVariable &variable);
};

// Reads the HEADER section from the group after "HEADER" up to the first group with code
// 0 or the value "SECTION", into `header`, whose fields of the table are cleared first.
// $ACADVER's text also goes to `input.version`. The group that ended the section is left
// in `code` and `value` (kValueSize bytes). 1, or 0 when the file ended inside the section.
int ReadR13DxfHeader(CDxfStream &stream, CDrawingFile &input, CR13Header &header,
                     R13DxfHeaderNames &names, int16_t &code, char *value);

// Finds the handle text of a named table entry: null when the table has no such entry.
struct R13DxfHandleOfName {
    virtual ~R13DxfHandleOfName() = default;
    virtual const char *Handle(R13DxfNameTable table, const char *name) const = 0;
    // The view settings of the viewport record named `name`; false when none is there.
    virtual bool Vport(const char *name, CDB_VPORT_TBL_type &out) const = 0;
};

// Turns the kept names into the header's handle texts -- with `multiline_styles` only the
// multiline style's, which is read behind the tables, else all others: $CELTYPE
// "BYLAYER" "-1" and "BYBLOCK" "0", $DIMSTYLE "*UNNAMED" "-1", an empty $UCSNAME or
// $PUCSNAME an empty text (no coordinate system, as a DWG gives it), any other empty name
// "-1", any other name its handle text (null when the table lacks it). A name the section did not
// give leaves its handle text null.
// FillR13ViewFromActiveViewport: the "*ACTIVE" viewport, when there is one, fills the view
// variables that are still zero: snapang, snapbase, snapisopair, snapmode, snapstyle,
// viewctr, viewdir, viewsize.
void ResolveR13DxfHeaderNames(const R13DxfHeaderNames &names, bool multiline_styles,
                              const R13DxfHandleOfName &lookup, CDB_HEADER_type &vars);
void FillR13ViewFromActiveViewport(const R13DxfHandleOfName &lookup, CDB_HEADER_type &vars);

#endif
