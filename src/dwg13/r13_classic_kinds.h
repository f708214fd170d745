// The entity kinds that release 13 shares with release 12: text, attributes, inserts,
// polylines and their vertices, arcs, circles, lines, dimensions, points, faces, solids,
// traces, shapes and viewports.
//
// Each class describes its data between the common head and the handle trailer as R13Field
// layouts (one list read by ReadBody and written by WriteBody), with named steps for what a
// field cannot say: a value that decides which fields follow, a flag that is forced, a
// coordinate that is copied. The handles of a kind (text style, block, dimension style,
// attribute links) follow the trailer and are resolved to table indices, plus the drawing's
// base, on the first request for the record.
//
// Where a kind has several object types (INSERT 7 and 8, VERTEX 10 to 14, POLYLINE 15, 16,
// 29 and 30, DIMENSION 20 to 26), the form is the object's file type (FileType()): the
// reader keeps it and the writer writes the object as that type again.
//
// Callers may rely on: a body that the stream cannot hold reads as zeros (the bit reader
// never reads outside its buffer) and a body that names an impossible form fails with 0;
// nothing is allocated from a count read from the object.
#ifndef VELKO_R13_CLASSIC_KINDS_H
#define VELKO_R13_CLASSIC_KINDS_H

#include "dwg13/r13_entity.h"
#include "dwg13/r13_fields.h"
#include "model/viewport_chain.h"

#include <cstdint>
#include <string>

// Gives `handle` (a heap text or null) the handle of the block named `name` when it has none
// yet and the name is known to the drawing's block table.
void R13FindBlockHandle(CR13Drawing &drawing, const std::string &name, char *&handle);

// A kind whose data is one layout and nothing else: LINE, POINT, 3DFACE.
class CR13LayoutEntity : public CR13Entity {
public:
    CR13LayoutEntity(CR13Drawing *drawing, int16_t code, int16_t type, const R13Layout &layout,
                     uint32_t constant_bits);

protected:
    int ReadBody(CBitStream &stream) override;
    void WriteBody(CBitWriter &writer) const override;
    uint32_t KindBits() const override;

private:
    const R13Layout &layout;
    uint32_t constant_bits;
};

// CIRCLE (18) and ARC (17): the elevation is the centre's z.
class CR13Circle : public CR13Entity {
public:
    CR13Circle(CR13Drawing *drawing, int16_t type);

protected:
    int ReadBody(CBitStream &stream) override;
    void WriteBody(CBitWriter &writer) const override;
    uint32_t KindBits() const override;
};

// SOLID (31) and TRACE (32): the corners are points of the plane at the elevation.
class CR13Trace : public CR13Entity {
public:
    CR13Trace(CR13Drawing *drawing, int16_t type);

protected:
    int ReadBody(CBitStream &stream) override;
    void WriteBody(CBitWriter &writer) const override;
    uint32_t KindBits() const override;
};

// A kind with a text style: TEXT (1), ATTDEF (3), ATTRIB (2) and SHAPE (33) share the
// reading, writing and resolving of the style handle behind the trailer.
class CR13StyledEntity : public CR13Entity {
public:
    CR13StyledEntity(CR13Drawing *drawing, int16_t code, int16_t type, uint16_t handle_offset,
                     uint16_t index_offset);

protected:
    void ReadKindHandles(CBitStream &stream) override;
    void WriteKindHandles(CBitWriter &writer) const override;
    void ResolveKind() override;

private:
    uint16_t handle_offset;
    uint16_t index_offset;
};

class CR13Text : public CR13StyledEntity {
public:
    explicit CR13Text(CR13Drawing *drawing);

protected:
    int ReadBody(CBitStream &stream) override;
    void WriteBody(CBitWriter &writer) const override;
    uint32_t KindBits() const override;
};

class CR13Attdef : public CR13StyledEntity {
public:
    explicit CR13Attdef(CR13Drawing *drawing);

protected:
    int ReadBody(CBitStream &stream) override;
    void WriteBody(CBitWriter &writer) const override;
    uint32_t KindBits() const override;
};

class CR13Attrib : public CR13StyledEntity {
public:
    explicit CR13Attrib(CR13Drawing *drawing);

    // How the two points are stored (2 bits): 0 with the insertion's z, 2 without a z, 1
    // the short form whose points share their y and have z 1.0, 3 no points. A new
    // attribute keeps its insertion point whole.
    int32_t data_form = 0;

protected:
    int ReadBody(CBitStream &stream) override;
    void WriteBody(CBitWriter &writer) const override;
    uint32_t KindBits() const override;

private:
    void ReadPoints(CBitStream &stream);
    void WritePoints(CBitWriter &writer) const;
    // Height and width factor, and the repair of a file that has one more double in front.
    void ReadSize(CBitStream &stream);
    void WriteSize(CBitWriter &writer) const;
};

class CR13Shape : public CR13StyledEntity {
public:
    explicit CR13Shape(CR13Drawing *drawing);

    // A shape that the style's shape table does not know gives the style index and the
    // shape number -1.
    void GetRecord(CDB_ENTITY *out) override;

protected:
    int ReadBody(CBitStream &stream) override;
    void WriteBody(CBitWriter &writer) const override;
    uint32_t KindBits() const override;
};

// INSERT (7) and MINSERT (8).
class CR13Insert : public CR13Entity {
public:
    CR13Insert(CR13Drawing *drawing, int16_t type);

    // The attributes and their sequence end, when attributes_follow.
    CHandleRef first_attribute{};
    CHandleRef last_attribute{};
    CHandleRef sequence_end{};
    // The block's name as a DXF file gave it: the block handle is looked up by it when the
    // record is resolved and the handle is still unknown.
    std::string block_name;

protected:
    int ReadBody(CBitStream &stream) override;
    void WriteBody(CBitWriter &writer) const override;
    void ReadKindHandles(CBitStream &stream) override;
    void WriteKindHandles(CBitWriter &writer) const override;
    uint32_t KindBits() const override;
    void ResolveKind() override;
};

// VERTEX (10 to 14).
class CR13Vertex : public CR13Entity {
public:
    CR13Vertex(CR13Drawing *drawing, int16_t type);

    // A 2D vertex's record takes its polyline's elevation as z: the z of the file and the
    // z given are kept, and the writer puts the file's back while the record's z is still
    // the one given.
    double stream_z = 0.0;
    double given_z = 0.0;
    // The flag byte of types 11 to 13 as the file gave it, and the flags the record was
    // given from it (-1: none, a new vertex): the writer puts the file's byte back while the
    // record's flags are still the ones given.
    uint8_t stream_flags = 0;
    int16_t given_flags = -1;

protected:
    int ReadBody(CBitStream &stream) override;
    void WriteBody(CBitWriter &writer) const override;
    uint32_t KindBits() const override;
};

// POLYLINE (15, 16, 29, 30). Reading one stores its extrusion and elevation in the drawing
// for the vertices behind it.
class CR13Polyline : public CR13Entity {
public:
    CR13Polyline(CR13Drawing *drawing, int16_t type);

    // The vertex run behind the polyline; the save sets them, the writer puts them out
    // behind the trailer (the reader does not read them).
    CHandleRef first_vertex{};
    CHandleRef last_vertex{};
    CHandleRef seq_end{};
    // A 3D polyline's two bytes of data (its curve flags), which the record has no place
    // for: kept as read, 0 for a new polyline.
    uint8_t form_bytes[2] = {};
    // A polygon mesh's flags as the file gave them, and the flags the record was given from
    // them (-1: none, a new polyline).
    int16_t stream_flags = 0;
    int16_t given_flags = -1;

protected:
    int ReadBody(CBitStream &stream) override;
    void WriteBody(CBitWriter &writer) const override;
    void WriteKindHandles(CBitWriter &writer) const override;
    uint32_t KindBits() const override;
};

// DIMENSION (20 to 26).
class CR13Dimension : public CR13Entity {
public:
    CR13Dimension(CR13Drawing *drawing, int16_t type);

    // The values that the record has no field for.
    uint8_t dim_flags = 0;
    uint8_t reserved_byte = 0;
    uint8_t ordinate_flag = 0;
    // The aligned form's last double (its extension lines' oblique angle in radians).
    double aligned_last = 0.0;
    // The block's name as a DXF file gave it: the block handle is looked up by it when the
    // record is resolved and the handle is still unknown.
    std::string block_name;

    // Whether the three points of the ordinate and the angular 3 point forms start with
    // the definition point.
    bool DefinitionPointFirst() const;

protected:
    int ReadBody(CBitStream &stream) override;
    void WriteBody(CBitWriter &writer) const override;
    void ReadKindHandles(CBitStream &stream) override;
    void WriteKindHandles(CBitWriter &writer) const override;
    uint32_t KindBits() const override;
    void ResolveKind() override;

private:
    // The layout of the points of this form.
    const R13Layout &FormLayout() const;
};

// The dimension_type that each form stores.
constexpr int16_t kDimOrdinateX = 0x26;
constexpr int16_t kDimOrdinateY = 0x66;
constexpr int16_t kDimLinear = 0x20;
constexpr int16_t kDimAligned = 0x21;
constexpr int16_t kDimAngular3Point = 0x25;
constexpr int16_t kDimAngular2Line = 0xA2;
constexpr int16_t kDimRadius = 0x24;
constexpr int16_t kDimDiameter = 0x23;

// VIEWPORT (34): an entity of the drawing's viewport chain.
class CR13Viewport : public CR13Entity {
public:
    explicit CR13Viewport(CR13Drawing *drawing);

    CViewportLink *ViewportLink() override { return &link; }
    // The reference behind the trailer, kept as read.
    CHandleRef frozen_layer_list{};

protected:
    int ReadBody(CBitStream &stream) override;
    void WriteBody(CBitWriter &writer) const override;
    void ReadKindHandles(CBitStream &stream) override;
    void WriteKindHandles(CBitWriter &writer) const override;
    uint32_t KindBits() const override;

private:
    CViewportLink link{this};
};

// The factories of the kind table (r13_entity_kinds.cpp): the object of file type `type`.
CR13Entity *MakeR13Text(CR13Drawing *drawing, int16_t type);
CR13Entity *MakeR13Attrib(CR13Drawing *drawing, int16_t type);
CR13Entity *MakeR13Attdef(CR13Drawing *drawing, int16_t type);
CR13Entity *MakeR13Insert(CR13Drawing *drawing, int16_t type);
CR13Entity *MakeR13Vertex(CR13Drawing *drawing, int16_t type);
CR13Entity *MakeR13Polyline(CR13Drawing *drawing, int16_t type);
CR13Entity *MakeR13Circle(CR13Drawing *drawing, int16_t type); // CIRCLE and ARC
CR13Entity *MakeR13Line(CR13Drawing *drawing, int16_t type);
CR13Entity *MakeR13Dimension(CR13Drawing *drawing, int16_t type);
CR13Entity *MakeR13Point(CR13Drawing *drawing, int16_t type);
CR13Entity *MakeR13Face(CR13Drawing *drawing, int16_t type);
CR13Entity *MakeR13Trace(CR13Drawing *drawing, int16_t type); // SOLID and TRACE
CR13Entity *MakeR13Shape(CR13Drawing *drawing, int16_t type);
CR13Entity *MakeR13Viewport(CR13Drawing *drawing, int16_t type);

#endif
