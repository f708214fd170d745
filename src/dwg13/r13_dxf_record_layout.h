// The DXF groups of the release 13 table records and of the multiline style, written down
// once as data for the reader and the writer.
//
// A record of release 13 carries the groups of its release 12 namesake (the release 12
// record description of the same name, which the DXF code joins in), and on top of them
// the groups listed here: its handle, its subclass marker and what release 13 added or
// reads otherwise. A group listed here wins over a release 12 group of the same code (the
// dimension style's group 5 is its DIMBLK text, as in release 12, because its handle
// stands under 105). The lists hold the groups in the order in which the writer puts them
// out behind the release 12 groups; `anchor` names the release 12 group that a repeated
// group follows (the shape flags of a line type stand behind each dash length).
//
// The BLOCK_RECORD and the multiline style have no release 12 namesake: their lists are
// whole.
#ifndef VELKO_R13_DXF_RECORD_LAYOUT_H
#define VELKO_R13_DXF_RECORD_LAYOUT_H

#include <cstddef>
#include <cstdint>

// What a group's value is and where it goes.
enum class R13DxfRecordValue : uint8_t {
    kHandle,       // the record's handle text
    kName,         // the record's name
    kFlags,        // the record's flags (i16 in the multiline style, u8 elsewhere)
    kReal,         // a real to a double
    kInt16,        // an integer to an i16
    kTextKept,     // a text to a new heap copy, also when it is empty
    kLtypeHandle,  // a line type name: "BYBLOCK" "0", "BYLAYER" "-1", else its handle text
    kShapeFlag,    // the shape flags of one dash, in order of arrival
    kElementCount, // the multiline style's element count: the elements are allocated
    kElementReal,  // the offset of the element being read
    kElementColor, // the colour of the element being read
    kElementLtype, // the line type of the element being read; it closes the element
    kFillColor,    // the multiline style's fill colour (a 62 outside the element list)
    kReactors,     // 102: a reactor block opens or closes; 330 inside it is passed over
};

struct R13DxfRecordGroup {
    int16_t code;
    R13DxfRecordValue value;
    uint16_t offset;    // byte offset of the field in the public record
    int16_t anchor = 0; // the group this one follows in the writer's list, 0 for none
};

struct R13DxfRecordKind {
    const char *name;      // the group 0 name: "LAYER", ...
    int16_t record_type;   // the object type of the record (R13RecordType)
    const char *marker;    // the second subclass marker, behind "AcDbSymbolTableRecord"
    bool release12_groups; // the groups of the release 12 record of the same name apply
    const R13DxfRecordGroup *groups;
    size_t count;

    // The entry for `code` among the groups of release 13, or null.
    const R13DxfRecordGroup *Find(int code) const {
        for (size_t i = 0; i < count; ++i)
            if (groups[i].code == code)
                return &groups[i];
        return nullptr;
    }
};

// The record kinds of a TABLES section by group 0 name ("LAYER", "STYLE", "LTYPE", "VIEW",
// "UCS", "VPORT", "APPID", "DIMSTYLE", "BLOCK_RECORD"), or null.
const R13DxfRecordKind *FindR13DxfRecordKind(const char *name);
// The description of the record type `record_type`, the multiline style's included; null
// for a type without one.
const R13DxfRecordKind *R13DxfRecordKindOfType(int record_type);

// The marker every table record opens with.
constexpr const char *kR13SymbolTableRecordMarker = "AcDbSymbolTableRecord";
// The marker of a table's control record.
constexpr const char *kR13SymbolTableMarker = "AcDbSymbolTable";

#endif
