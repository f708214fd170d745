// The entity classes of the kinds that release 13 brought: ELLIPSE, SPLINE, REGION, 3DSOLID,
// BODY, RAY, XLINE, MTEXT, LEADER, TOLERANCE, MLINE, the OLE frame, and the unknown kind that
// only editing makes.
//
// Each class decodes the kind's data between the common head and the trailer of CR13Entity
// and writes it back the same way. The plain runs of fields are R13Field layouts (one list
// serves reading and writing); what does not fit a field is a named step of the class.
//
// What callers may rely on:
// - every count read from an object (knots, points, vertices, lines, parameters, chunk
//   lengths, data sizes) is held against what is left of the object before anything is
//   allocated: a count that cannot fit fails the decode (ReadDWG gives 0), and so does a
//   negative one;
// - the arrays a record points at belong to the object and are freed by its destructor,
//   except in view mode, where the record has gone to the application;
// - SetRecord treats the caller's arrays by kind: SPLINE copies them (null for a count of
//   0); LEADER, MTEXT and TOLERANCE copy their texts and a LEADER takes the caller's vertex
//   block as it is; MLINE, OLE frame and the modeler kinds take over the caller's blocks,
//   which must be heap blocks (malloc) that the object then frees.
#ifndef VELKO_R13_NEW_KINDS_H
#define VELKO_R13_NEW_KINDS_H

#include "dwg13/r13_entity.h"
#include "dwg13/r13_fields.h"

#include <cstdint>

// ---- Helpers of the kinds' decoders -------------------------------------------------------

// ---- The kinds of plain fields ------------------------------------------------------------

// ELLIPSE (35): centre, major axis, extrusion, ratio and the two parameters. The centre's z
// is the elevation.
class CR13Ellipse : public CR13Entity {
public:
    explicit CR13Ellipse(CR13Drawing *drawing);

protected:
    int ReadBody(CBitStream &stream) override;
    void WriteBody(CBitWriter &writer) const override;
    uint32_t KindBits() const override;
};

// RAY (40) and XLINE (41): base point and direction; one layout, two public kinds.
class CR13Ray : public CR13Entity {
public:
    // `type` is 40 (RAY) or 41 (XLINE).
    CR13Ray(CR13Drawing *drawing, int16_t type);

protected:
    int ReadBody(CBitStream &stream) override;
    void WriteBody(CBitWriter &writer) const override;
    uint32_t KindBits() const override;
};

class CR13Xline : public CR13Ray {
public:
    explicit CR13Xline(CR13Drawing *drawing) : CR13Ray(drawing, 41) {}
};

// MTEXT (44). The extrusion read is also the record's normal; the text style is a handle
// behind the trailer, resolved to StyleIndex (the record has no field for it).
class CR13Mtext : public CR13Entity {
public:
    explicit CR13Mtext(CR13Drawing *drawing);
    // The text style's index plus the drawing's base, once the record was resolved.
    int16_t StyleIndex() const { return style_index; }

protected:
    int ReadBody(CBitStream &stream) override;
    void WriteBody(CBitWriter &writer) const override;
    void ReadKindHandles(CBitStream &stream) override;
    void WriteKindHandles(CBitWriter &writer) const override;
    uint32_t KindBits() const override;
    void ResolveKind() override;

private:
    int16_t style_index = -1;
};

// TOLERANCE (46). The height and the gap in front of the frame's points are kept here: the
// record has no place for them.
class CR13Tolerance : public CR13Entity {
public:
    explicit CR13Tolerance(CR13Drawing *drawing);

    double height = 0.0;
    double gap = 0.0;

protected:
    int ReadBody(CBitStream &stream) override;
    void WriteBody(CBitWriter &writer) const override;
    void ReadKindHandles(CBitStream &stream) override;
    void WriteKindHandles(CBitWriter &writer) const override;
    uint32_t KindBits() const override;
    void ResolveKind() override;
};

// The kind that editing makes for a public kind without a class of its own: its object
// holds the common head and nothing else. `code` is the public kind it stands for.
class CR13Unknown : public CR13Entity {
public:
    CR13Unknown(CR13Drawing *drawing, int16_t code);
    // The common head alone: 1, or 0 when it failed. The rest of the object is kept as read
    // and written back unchanged until a record is set.
    int ReadDWG(CBitStream &stream) override;
    void SetRecord(const CDB_ENTITY *in) override;

protected:
    bool WriteDataAsRead(CBitWriter &writer) const override;

private:
    CR13KeptBits data_as_read;
};

// ---- The kinds with arrays ----------------------------------------------------------------

// SPLINE (36). Two scenarios: 2 by fit points, 1 by knots and control points; the decode
// fails for any other. The scenario and whether the control points carry weights are kept
// here for the writer, which writes the scenario as it stands, with the layout of scenario
// 2 for 2 and of scenario 1 for any other; a new spline (scenario 0) takes its scenario from
// its record (fit points and no knots: 2).
class CR13Spline : public CR13Entity {
public:
    explicit CR13Spline(CR13Drawing *drawing);
    ~CR13Spline() override;
    // The caller's arrays are copied (knots, control and fit points), each null for a count
    // of 0.
    void SetRecord(const CDB_ENTITY *in) override;

    int16_t scenario = 0;
    int16_t weighted = 0;
    // What the record has no place for, kept as read for the writer: the 5-bit selectors in
    // front of the scenario and of the degree, and the 3 flag bits in front of the
    // tolerances of scenario 1 (all 0 for a new spline).
    uint8_t scenario_selector = 0;
    uint8_t degree_selector = 0;
    uint8_t control_flags = 0;

protected:
    int ReadBody(CBitStream &stream) override;
    void WriteBody(CBitWriter &writer) const override;
    uint32_t KindBits() const override;

private:
    int ReadFitPoints(CBitStream &stream);
    int ReadControlPoints(CBitStream &stream);
    int16_t ScenarioToWrite() const;
    void FreeArrays();
};

// MLINE (47): vertices, each with its lines, each with two arrays of parameters. A count
// of vertices or lines below 1 fails the decode.
class CR13Mline : public CR13Entity {
public:
    explicit CR13Mline(CR13Drawing *drawing);
    ~CR13Mline() override;
    // A plain copy: the object takes over the caller's blocks.
    void SetRecord(const CDB_ENTITY *in) override;

protected:
    int ReadBody(CBitStream &stream) override;
    void WriteBody(CBitWriter &writer) const override;
    void ReadKindHandles(CBitStream &stream) override;
    void WriteKindHandles(CBitWriter &writer) const override;
    uint32_t KindBits() const override;
    void ResolveKind() override;

private:
    int ReadVertices(CBitStream &stream);
    static int ReadParameters(CBitStream &stream, int16_t &count, double *&values);
    void FreeArrays();
};

// LEADER (45). A leader of no vertices ends its object there: neither the trailer nor its
// own handles are read. GetRecord looks in the extended data for the item of the
// application "ACAD" that carries the leader's dimension variables.
class CR13Leader : public CR13Entity {
public:
    explicit CR13Leader(CR13Drawing *drawing);
    ~CR13Leader() override;
    int ReadDWG(CBitStream &stream) override;
    void GetRecord(CDB_ENTITY *out) override;
    // The texts are copied; the vertex block stays the caller's pointer, taken over.
    void SetRecord(const CDB_ENTITY *in) override;

    // Where the values of the "ACAD" item begin in eed_data, -1 when there is none; set by
    // GetRecord.
    int32_t AcadItemPosition() const { return acad_item_position; }

protected:
    int ReadBody(CBitStream &stream) override;
    void WriteBody(CBitWriter &writer) const override;
    void ReadKindHandles(CBitStream &stream) override;
    void WriteKindHandles(CBitWriter &writer) const override;
    uint32_t KindBits() const override;
    void ResolveKind() override;

private:
    void FindAcadItem();
    void FreeArrays();
    int32_t acad_item_position = -1;
};

// ---- The kinds of opaque data ---------------------------------------------------------------

// REGION (37), 3DSOLID (38) and BODY (39): the modeler's data chunks copied as they stand.
// The object has no trailer of its own: the layer handle is "F" and the line type "-1".
class CR13Modeler : public CR13Entity {
public:
    ~CR13Modeler() override;
    int ReadDWG(CBitStream &stream) override;
    // A plain copy: the object takes over the caller's data block.
    void SetRecord(const CDB_ENTITY *in) override;
    // The bytes of data read (behind them stands the terminating zero).
    uint32_t DataLength() const { return data_length; }

protected:
    CR13Modeler(CR13Drawing *drawing, int16_t code, int16_t type);
    void WriteBody(CBitWriter &writer) const override;
    // The object's data as read, while its data block is the one read and no record was
    // set: the chunks are copied, not cut again.
    bool WriteDataAsRead(CBitWriter &writer) const override;
    // The record's data pointer of the kind (3DSOLID's part has a field in front).
    uint8_t *DataPointer() const;
    void SetDataPointer(uint8_t *data);

private:
    int ReadChunks(CBitStream &stream);
    uint32_t data_length = 0;
    CR13KeptBits data_as_read;
};

class CR13Region : public CR13Modeler {
public:
    explicit CR13Region(CR13Drawing *drawing);
};
class CR13Solid3D : public CR13Modeler {
public:
    explicit CR13Solid3D(CR13Drawing *drawing);
};
class CR13Body : public CR13Modeler {
public:
    explicit CR13Body(CR13Drawing *drawing);
};

// The OLE frame (500): 73 bytes and 5 bits passed over, the version, and the data block.
// The object's data is kept as read and written back unchanged until a record is set.
class CR13Ole : public CR13Entity {
public:
    explicit CR13Ole(CR13Drawing *drawing);
    ~CR13Ole() override;
    // A plain copy: the object takes over the caller's data block.
    void SetRecord(const CDB_ENTITY *in) override;

protected:
    int ReadBody(CBitStream &stream) override;
    void WriteBody(CBitWriter &writer) const override;
    bool WriteDataAsRead(CBitWriter &writer) const override;
    uint32_t KindBits() const override;

private:
    CR13KeptBits data_as_read;
};

#endif
