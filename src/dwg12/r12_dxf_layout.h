// The groups of every release 12 entity kind and table record in a DXF file, written down
// once as data.
//
// A kind's list holds its groups in the order in which the writer puts them out, each with
// the record field it fills and the condition under which the writer writes it. The reader
// finds a group's entry by its code, whatever order the file has; the writer walks the list.
// The few groups that do not go plainly to one field say so by their value kind (a z that
// goes to the elevation, a name that is looked up in a table, the positional points of
// VIEW and VPORT, the dash lengths of a line type).
//
// Which entity kind has which list is said by the release 12 kind table
// (r12_entity_kinds.h), whose rows point at the lists below; the group 0 name of an entity
// is the kind's DXF name in the registry (records/entity_kinds.h), and the entity lists carry
// none of their own.
#ifndef VELKO_R12_DXF_LAYOUT_H
#define VELKO_R12_DXF_LAYOUT_H

#include "velkow32.h"

#include <cstddef>
#include <cstdint>

// What a group's value is and where it goes.
enum class R12DxfValue : uint8_t {
    kReal,       // a real to a double
    kZElevation, // a z of a two-dimensional kind: to the common elevation, not to the
                 // point; the writer mirrors the first such z from the elevation
    kZBoth,      // a z to the point's z and to the common elevation
    kInt16,      // an integer to an i16
    kByte,       // an integer to a u8
    kText,       // a text to a new heap copy; an empty value leaves the field null
    kTextKept,   // a text to a new heap copy, also when it is empty
    kStyle,      // a text style name: looked up, plus the drawing's style base, to an i16
    kDimstyle,   // a dimension style name: looked up, plus the base, to an i16
    kBlockName,  // a block name, kept in the entity object and looked up when needed
    kShapeName,  // a shape name: the shape tables give shape number and style index
    kNone,       // read past; the writer makes the value itself
    // Table records only
    kName,       // the record's name
    kFlags,      // the record's flags
    kLtypeName,  // a line type name: its index in the line type table
    kAppendText, // a text appended behind the text that the field already holds
    kDash,       // one dash length, appended to the dash array in order of arrival
    kPoint2Next, // x of a point2; the next group's value is its y, whatever its code
    kPoint3Next, // x of a point3; the next two groups' values are its y and z
};

// When the writer writes a group.
enum class R12DxfWhen : uint8_t {
    kAlways,
    kNever,         // read only
    kNotZero,       // the value is not 0
    kNotOne,        // the value is not 1; the reader starts the field at 1 for that reason
    kPositive,      // the value is greater than 0
    kNotNull,       // a text that is not null
    kJustified,     // the text's horizontal or vertical justification is not 0
    kPointNotZero,  // the point that the coordinate belongs to is not 0, 0, 0
    kFlagsOrValue,  // the vertex's flags or the value are not 0
    kStrictNotZero, // always on the original road; for strict readers only when not 0
};

struct R12DxfGroup {
    int16_t code;
    R12DxfValue value;
    R12DxfWhen when;
    uint16_t offset; // byte offset of the field in the record
};

struct R12DxfLayout {
    const char *name; // the group 0 name of a table record: "LAYER", ...; null for an entity
    const R12DxfGroup *groups;
    size_t count;
    // The entry of each code below kDirectCodes: its index + 1, 0 for none.
    const uint8_t *direct;
    static constexpr int kDirectCodes = 180;

    // The entry for `code`, or null.
    const R12DxfGroup *Find(int code) const {
        if (code < 0 || code >= kDirectCodes || direct[code] == 0)
            return nullptr;
        return &groups[direct[code] - 1];
    }
};

// The groups of the entity kinds. Trace and solid share their list, the line's serves the
// code 21 as well, and the block end and the sequence end have no groups beyond the common
// ones.
extern const R12DxfLayout kR12LineGroups;
extern const R12DxfLayout kR12PointGroups;
extern const R12DxfLayout kR12CircleGroups;
extern const R12DxfLayout kR12ShapeGroups;
extern const R12DxfLayout kR12TextGroups;
extern const R12DxfLayout kR12ArcGroups;
extern const R12DxfLayout kR12CornerGroups;
extern const R12DxfLayout kR12BeginBlockGroups;
extern const R12DxfLayout kR12NoGroups;
extern const R12DxfLayout kR12InsertGroups;
extern const R12DxfLayout kR12AttDefGroups;
extern const R12DxfLayout kR12AttribGroups;
extern const R12DxfLayout kR12PolylineGroups;
extern const R12DxfLayout kR12VertexGroups;
extern const R12DxfLayout kR12FaceGroups;
extern const R12DxfLayout kR12DimensionGroups;
extern const R12DxfLayout kR12ViewportGroups;

// The groups of table `t` (the numbers of r12_tables.h), or null for the block table and
// the viewport entity headers, which have no records of their own in a DXF file.
const R12DxfLayout *R12DxfTableLayout(int t);
// The same by the record's DXF name ("LAYER", "LTYPE", ...), or null.
const R12DxfLayout *R12DxfTableLayoutNamed(const char *name);

#endif
