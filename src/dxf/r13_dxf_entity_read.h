// One release 13 entity being read from a DXF file: what CR13Entity::ReadDXF runs once the
// name has been accepted.
//
// The groups of the entity are taken by their codes: the common groups first
// (kR13CommonDxfGroups), then the kind's list (R13DxfLayoutOf), the extended data by the
// collector in its release 13 form. A group that neither list names is passed over, which is
// what becomes of 102, 330 and 360. The arrays of SPLINE, LEADER and MLINE are filled by
// running counters, one per coordinate: a value beyond its array's count is dropped, and a
// count that comes again once its array exists is dropped too.
//
// Counts from the file are held against the file before anything is allocated: the entity's
// arrays together hold at most as many items as the rest of the file has groups for (and an
// OLE frame at most as many bytes as the rest of the file has), and a count above that is
// lowered to it, the record's count saying what was allocated.
//
// Private to src/dxf.
#ifndef VELKO_R13_DXF_ENTITY_READ_H
#define VELKO_R13_DXF_ENTITY_READ_H

#include "dwg13/r13_dxf_layout.h"

#include <cstddef>
#include <cstdint>

class CDxfStream;
class CR13Drawing;
class CR13DxfReader;
class CR13Entity;

// How many items (or bytes) the rest of the file can still fill.
class R13DxfBudget {
public:
    explicit R13DxfBudget(int64_t bytes_left) : bytes_(bytes_left > 0 ? bytes_left : 0) {}
    // The count to allocate for `wanted` items that take at least `bytes_each` bytes of the
    // file each: `wanted`, or less when the file cannot hold them; the bytes are spent. 0
    // for a count below 1.
    int32_t Take(int32_t wanted, int32_t bytes_each);
    // Whether `count` items of `bytes_each` fit; spent when they do.
    bool TakeAll(int32_t count, int32_t bytes_each);

private:
    int64_t bytes_;
};

class R13DxfEntityRead {
public:
    R13DxfEntityRead(CR13DxfReader &reader, CR13Entity &entity, const R13DxfLayout &layout);

    // Reads the groups behind the name up to the next group 0, whose value is left in
    // `value` (a buffer of CDxfStream::kValueSize bytes). 1, or -1 when the file ends first.
    int Run(char *value);

private:
    // The fields that the writer leaves out at a default start at it.
    void StartDefaults();
    // One group below 1000.
    void Take(int16_t code, const char *value);
    void TakeValue(const R13DxfGroup &g, const char *value);
    // The quirks of the kinds (r13_dxf_entity_arrays.cpp).
    void TakeArrayValue(const R13DxfGroup &g, const char *value);
    void TakeSpline(const R13DxfGroup &g, const char *value);
    void TakeLeader(const R13DxfGroup &g, const char *value);
    void TakeMline(const R13DxfGroup &g, const char *value);
    void TakeMlineLine(const R13DxfGroup &g, const char *value);
    // The lines of the vertex being read, allocated at their first use; null when there is
    // no such vertex or the file cannot hold them.
    CDB_MLINE_LINE *CurrentLines();
    void AppendText(uint16_t offset, const char *value, bool line_end);
    void TakeOleChunk(const char *value);
    // A group 100: the vertex's mesh markers.
    void TakeMarker(const char *value);
    // The extended data run that begins with `code`, `value`; leaves the next group there.
    void TakeExtendedData(int16_t &code, char *value);
    // The steps that follow the last group, by kind.
    void Finish();
    // The style STANDARD for a kind that names its text style by group 7 and met none.
    void TakeDefaultTextStyle();
    static constexpr char kDefaultTextStyle[] = "STANDARD";

    CR13DxfReader &reader_;
    CDxfStream &stream_;
    CR13Entity &entity_;
    CR13Drawing &drawing_;
    CDB_ENTITY *record_;
    const R13DxfLayout &layout_;
    R13DxfBudget budget_;
    // The running counters: knots; control points x, y, z, weight; fit points x, y, z;
    // leader vertices x, y, z.
    int32_t knot_at_ = 0;
    int32_t control_at_[4] = {};
    int32_t fit_at_[3] = {};
    int32_t vertex_at_[3] = {};
    // MLINE: the vertex and the line being read (-1 before the first), the parameters.
    int32_t mline_vertex_ = -1;
    int32_t mline_line_ = -1;
    int32_t segment_at_ = 0;
    int32_t fill_at_ = 0;
    // MTEXT and the modeler kinds: the length of the joined text and the size of its block.
    size_t text_length_ = 0;
    size_t text_capacity_ = 0;
    // OLE frame: the bytes of data filled so far.
    int32_t ole_at_ = 0;
    bool mesh_marker_ = false;
    // Whether the entity gave its own extrusion (210 to 230) and elevation (38).
    bool own_extrusion_ = false;
    bool own_elevation_ = false;
    // Whether group 7 named a text style, found in the table or not.
    bool style_named_ = false;
};

#endif
