// The geometric kinds of release 13 that release 12 has too, and the kinds with a text
// style; see r13_classic_kinds.h.
#include "dwg13/r13_classic_kinds.h"

#include "dwg13/r13_drawing.h"
#include "dwg13/r13_tables.h"
#include "io/bit_stream.h"
#include "io/bit_writer.h"
#include "io/record_field.h"
#include "records/heap_text.h"

#include <cstdlib>
#include <cstring>

namespace {

#define F(kind, member) R13_FIELD(kind, CDB_ENTITY, member)
#define LAYOUT(list)                                                                               \
    R13Layout {                                                                                    \
        list, sizeof(list) / sizeof(list[0])                                                       \
    }

// ---- The layouts ------------------------------------------------------------------------------

constexpr R13Field kLineFields[] = {
    F(k3BD, line.start_point),
    F(k3BD, line.end_point),
    F(kBD, thickness),
    F(k3BD, extrusion),
};
constexpr R13Field kPointFields[] = {
    F(k3BD, point.location),
    F(kBD, thickness),
    F(k3BD, extrusion),
    F(kBD, point.x_axis_angle),
};
constexpr R13Field kFaceFields[] = {
    F(k3BD, face.corner_1), F(k3BD, face.corner_2),       F(k3BD, face.corner_3),
    F(k3BD, face.corner_4), F(kBS, face.invisible_edges),
};
constexpr R13Field kCircleFields[] = {
    F(k3BD, circle.center),
    F(kBD, circle.radius),
    F(kBD, thickness),
    F(k3BD, extrusion),
};
constexpr R13Field kArcFields[] = {
    F(k3BD, arc.center), F(kBD, arc.radius),         F(kBD, thickness),
    F(k3BD, extrusion),  F(kAngle, arc.start_angle), F(kAngle, arc.end_angle),
};
// The corners are x and y only: their z is the elevation read in front of them.
constexpr R13Field kTraceFields[] = {
    F(kBD, thickness),       F(kBD, elevation),       F(k2RD, trace.corner_1),
    F(k2RD, trace.corner_2), F(k2RD, trace.corner_3), F(k2RD, trace.corner_4),
    F(k3BD, extrusion),
};

// TEXT: the insertion point's z is the elevation in front of it; both justifications are
// BS in the stream and bytes in the record.
constexpr R13Field kTextFields[] = {
    F(kBD, elevation),
    F(k2RD, text.insertion_point),
    F(k2RD, text.alignment_point),
    F(k3BD, extrusion),
    F(kBD, thickness),
    F(kAngle, text.oblique_angle),
    F(kAngle, text.rotation),
    F(kBD, text.height),
    F(kBD, text.width_factor),
    F(kTV, text.text),
    F(kBS, text.generation_flags),
    F(kBS, text.horizontal_justification),
    F(kBS, text.vertical_justification),
};
constexpr R13Field kAttdefFields[] = {
    F(kBD, elevation),
    F(k2RD, attdef.insertion_point),
    F(k2RD, attdef.alignment_point),
    F(k3BD, extrusion),
    F(kBD, thickness),
    F(kAngle, attdef.oblique_angle),
    F(kAngle, attdef.rotation),
    F(kBD, attdef.height),
    F(kBD, attdef.width_factor),
    F(kTV, attdef.default_value),
    F(kBS, attdef.generation_flags),
    F(kBS, attdef.horizontal_justification),
    F(kBS, attdef.vertical_justification),
    F(kTV, attdef.tag),
    F(kBS, attdef.field_length),
    F(kRC, attdef.flags),
    F(kTV, attdef.prompt),
};
// ATTRIB: the points (a step, by data form), then these, then the two angles and the size
// (steps), then the texts.
constexpr R13Field kAttribPlaneFields[] = {
    F(k3BD, extrusion),
    F(kBD, thickness),
};
constexpr R13Field kAttribTailFields[] = {
    F(kTV, attrib.value),
    F(kBS, attrib.generation_flags),
    F(kBS, attrib.horizontal_justification),
    F(kBS, attrib.vertical_justification),
    F(kTV, attrib.tag),
    F(kBS, attrib.field_length),
    F(kRC, attrib.flags),
};
// SHAPE: the 4 flag bits stand where the extrusion's x and y would be in their zero form,
// so only its z is stored.
constexpr R13Field kShapeFields[] = {
    F(k3BD, shape.insertion_point),
    F(kBD, shape.size),
    F(kAngle, shape.rotation),
    F(kBD, shape.x_scale),
    F(kAngle, shape.oblique_angle),
    F(kBD, thickness),
    F(kBS, shape.shape_number),
    R13_BITS(4, CDB_ENTITY, shape.shape_flags),
    F(kBD, extrusion.z),
};
constexpr R13Field kInsertFields[] = {
    F(k3BD, insert.insertion_point), F(kBD, insert.x_scale),       F(kBD, insert.y_scale),
    F(kBD, insert.z_scale),          F(kDegrees, insert.rotation), F(k3BD, extrusion),
    F(kB, insert.attributes_follow),
};
// MINSERT goes on with its grid.
constexpr R13Field kMinsertFields[] = {
    F(kBS, insert.column_count),
    F(kBS, insert.row_count),
    F(kBD, insert.column_spacing),
    F(kBD, insert.row_spacing),
};
constexpr R13Field kInsertHandleFields[] = {R13_HARD_REF(CDB_ENTITY, insert.block_handle)};
constexpr R13Field kViewportFields[] = {
    F(k3BD, viewport.center),
    F(kBD, viewport.width),
    F(kBD, viewport.height),
};

constexpr R13Layout kLine = LAYOUT(kLineFields);
constexpr R13Layout kPoint = LAYOUT(kPointFields);
constexpr R13Layout kFace = LAYOUT(kFaceFields);
constexpr R13Layout kCircle = LAYOUT(kCircleFields);
constexpr R13Layout kArc = LAYOUT(kArcFields);
constexpr R13Layout kTrace = LAYOUT(kTraceFields);
constexpr R13Layout kText = LAYOUT(kTextFields);
constexpr R13Layout kAttdef = LAYOUT(kAttdefFields);
constexpr R13Layout kAttribPlane = LAYOUT(kAttribPlaneFields);
constexpr R13Layout kAttribTail = LAYOUT(kAttribTailFields);
constexpr R13Layout kShape = LAYOUT(kShapeFields);
constexpr R13Layout kInsert = LAYOUT(kInsertFields);
constexpr R13Layout kMinsert = LAYOUT(kMinsertFields);
constexpr R13Layout kInsertHandles = LAYOUT(kInsertHandleFields);
constexpr R13Layout kViewport = LAYOUT(kViewportFields);

#undef F
#undef LAYOUT

// The object types with a form of their own.
constexpr int16_t kArcType = 17;
constexpr int16_t kSolidType = 31;
constexpr int16_t kMinsertType = 8;

// The constants of each kind's size estimate, besides its values.
constexpr uint32_t kLineBits = 20;
constexpr uint32_t kPointBits = 20;
constexpr uint32_t kFaceBits = 26;
constexpr uint32_t kCircleBits = 20;
constexpr uint32_t kArcBits = 24;
constexpr uint32_t kTraceBits = 20;
constexpr uint32_t kTextBits = 40;
constexpr uint32_t kAttributeBits = 50;
constexpr uint32_t kShapeBits = 30;
constexpr uint32_t kInsertBits = 30;
constexpr uint32_t kViewportBits = 20;

// An ATTRIB angle: a value outside 0 to 6.4 radians is taken as 0.
double ClampedAngle(double radians) {
    return radians > 6.4 || radians < 0.0 ? 0.0 : radians;
}

} // namespace

// ---- The kinds that are one layout -------------------------------------------------------------

CR13LayoutEntity::CR13LayoutEntity(CR13Drawing *owner, int16_t kind, int16_t type,
                                   const R13Layout &fields, uint32_t constant)
    : CR13Entity(owner, kind), layout(fields), constant_bits(constant) {
    file_type = type;
}

int CR13LayoutEntity::ReadBody(CBitStream &stream) {
    ReadR13Fields(stream, layout, record);
    return 1;
}

void CR13LayoutEntity::WriteBody(CBitWriter &writer) const {
    WriteR13Fields(writer, layout, record);
}

uint32_t CR13LayoutEntity::KindBits() const {
    return constant_bits + R13LayoutBits(layout, record);
}

CR13Entity *MakeR13Line(CR13Drawing *drawing, int16_t type) {
    return new CR13LayoutEntity(drawing, CDB_LINE, type, kLine, kLineBits);
}
CR13Entity *MakeR13Point(CR13Drawing *drawing, int16_t type) {
    return new CR13LayoutEntity(drawing, CDB_POINT, type, kPoint, kPointBits);
}
CR13Entity *MakeR13Face(CR13Drawing *drawing, int16_t type) {
    return new CR13LayoutEntity(drawing, CDB_3DFACE, type, kFace, kFaceBits);
}

// ---- CIRCLE and ARC -----------------------------------------------------------------------

CR13Circle::CR13Circle(CR13Drawing *owner, int16_t type)
    : CR13Entity(owner, type == kArcType ? CDB_ARC : CDB_CIRCLE) {
    file_type = type;
}

int CR13Circle::ReadBody(CBitStream &stream) {
    ReadR13Fields(stream, file_type == kArcType ? kArc : kCircle, record);
    record->elevation = record->circle.center.z;
    return 1;
}

void CR13Circle::WriteBody(CBitWriter &writer) const {
    WriteR13Fields(writer, file_type == kArcType ? kArc : kCircle, record);
}

uint32_t CR13Circle::KindBits() const {
    return file_type == kArcType ? kArcBits + R13LayoutBits(kArc, record)
                                 : kCircleBits + R13LayoutBits(kCircle, record);
}

// ---- SOLID and TRACE ------------------------------------------------------------------------

CR13Trace::CR13Trace(CR13Drawing *owner, int16_t type)
    : CR13Entity(owner, type == kSolidType ? CDB_SOLID : CDB_TRACE) {
    file_type = type;
}

int CR13Trace::ReadBody(CBitStream &stream) {
    ReadR13Fields(stream, kTrace, record);
    CDB_TRACE_type &t = record->trace;
    t.corner_1.z = t.corner_2.z = t.corner_3.z = t.corner_4.z = record->elevation;
    return 1;
}

void CR13Trace::WriteBody(CBitWriter &writer) const {
    WriteR13Fields(writer, kTrace, record);
}

uint32_t CR13Trace::KindBits() const {
    return kTraceBits + R13LayoutBits(kTrace, record);
}

// ---- The kinds with a text style --------------------------------------------------------------

CR13StyledEntity::CR13StyledEntity(CR13Drawing *owner, int16_t kind, int16_t type,
                                   uint16_t handle_at, uint16_t index_at)
    : CR13Entity(owner, kind), handle_offset(handle_at), index_offset(index_at) {
    file_type = type;
}

void CR13StyledEntity::ReadKindHandles(CBitStream &stream) {
    std::free(LoadField<char *>(record, handle_offset));
    stream.ReadBits(4);
    StoreField<char *>(record, handle_offset, stream.ReadHandleText());
}

void CR13StyledEntity::WriteKindHandles(CBitWriter &writer) const {
    writer.WriteBits(0, 4);
    writer.WriteHandleText(LoadField<char *>(record, handle_offset));
}

void CR13StyledEntity::ResolveKind() {
    const char *style = LoadField<char *>(record, handle_offset);
    StoreField<int16_t>(record, index_offset, drawing->ResolvedIndex(TableBase::kStyles, style));
}

#define AT(member) static_cast<uint16_t>(offsetof(CDB_ENTITY, member))

CR13Text::CR13Text(CR13Drawing *owner)
    : CR13StyledEntity(owner, CDB_TEXT, 1, AT(text.style_handle), AT(text.style_index)) {}

int CR13Text::ReadBody(CBitStream &stream) {
    ReadR13Fields(stream, kText, record);
    record->text.insertion_point.z = record->elevation;
    record->text.alignment_point.z = 0.0;
    return 1;
}

void CR13Text::WriteBody(CBitWriter &writer) const {
    WriteR13Fields(writer, kText, record);
}

uint32_t CR13Text::KindBits() const {
    return kTextBits + R13LayoutBits(kText, record);
}

CR13Attdef::CR13Attdef(CR13Drawing *owner)
    : CR13StyledEntity(owner, CDB_ATTDEF, 3, AT(attdef.style_handle), AT(attdef.style_index)) {}

int CR13Attdef::ReadBody(CBitStream &stream) {
    ReadR13Fields(stream, kAttdef, record);
    record->attdef.insertion_point.z = record->elevation;
    record->attdef.alignment_point.z = 0.0;
    return 1;
}

void CR13Attdef::WriteBody(CBitWriter &writer) const {
    WriteR13Fields(writer, kAttdef, record);
}

uint32_t CR13Attdef::KindBits() const {
    return kAttributeBits + R13LayoutBits(kAttdef, record);
}

// ---- ATTRIB ---------------------------------------------------------------------------------

CR13Attrib::CR13Attrib(CR13Drawing *owner)
    : CR13StyledEntity(owner, CDB_ATTRIB, 2, AT(attrib.style_handle), AT(attrib.style_index)) {}

int CR13Attrib::ReadBody(CBitStream &stream) {
    data_form = static_cast<int32_t>(stream.ReadBits(2));
    ReadPoints(stream);
    ReadR13Fields(stream, kAttribPlane, record);
    record->attrib.oblique_angle = R13ToDegrees(ClampedAngle(stream.ReadBitDouble()));
    record->attrib.rotation = R13ToDegrees(ClampedAngle(stream.ReadBitDouble()));
    ReadSize(stream);
    ReadR13Fields(stream, kAttribTail, record);
    return 1;
}

void CR13Attrib::ReadPoints(CBitStream &stream) {
    CDB_POINT3 &at = record->attrib.insertion_point;
    CDB_POINT3 &align = record->attrib.alignment_point;
    switch (data_form) {
    case 0:
        at.z = stream.ReadRawDouble();
        at.x = stream.ReadRawDouble();
        at.y = stream.ReadRawDouble();
        align.x = stream.ReadRawDouble();
        align.y = stream.ReadRawDouble();
        align.z = at.z;
        break;
    case 2:
        at.x = stream.ReadRawDouble();
        at.y = stream.ReadRawDouble();
        align.x = stream.ReadRawDouble();
        align.y = stream.ReadRawDouble();
        at.z = align.z = 0.0;
        break;
    case 1:
        // The short form: the alignment point shares the insertion's y.
        at.x = stream.ReadRawDouble();
        at.y = stream.ReadRawDouble();
        align.y = at.y;
        align.x = stream.ReadRawDouble();
        at.z = align.z = 1.0;
        break;
    default:
        break;
    }
}

void CR13Attrib::ReadSize(CBitStream &stream) {
    const int32_t byte = stream.TellByte();
    const int32_t bit = stream.TellBit();
    record->attrib.height = stream.ReadBitDouble();
    record->attrib.width_factor = stream.ReadBitDouble();
    if (record->attrib.height > 0.0 && record->attrib.width_factor != 0.0)
        return;
    // A file with one more double in front of the two: pass it over and read them again.
    stream.Seek(byte, bit);
    stream.ReadRawDouble();
    record->attrib.height = stream.ReadBitDouble();
    record->attrib.width_factor = stream.ReadBitDouble();
}

void CR13Attrib::WriteBody(CBitWriter &writer) const {
    writer.WriteBits(static_cast<uint32_t>(data_form) & 3u, 2);
    WritePoints(writer);
    WriteR13Fields(writer, kAttribPlane, record);
    writer.WriteBitDouble(R13ToRadians(record->attrib.oblique_angle));
    writer.WriteBitDouble(R13ToRadians(record->attrib.rotation));
    WriteSize(writer);
    WriteR13Fields(writer, kAttribTail, record);
}

void CR13Attrib::WritePoints(CBitWriter &writer) const {
    const CDB_POINT3 &at = record->attrib.insertion_point;
    const CDB_POINT3 &align = record->attrib.alignment_point;
    switch (data_form & 3) {
    case 0:
        writer.WriteRawDouble(at.z);
        [[fallthrough]];
    case 2:
        writer.WriteRawDouble(at.x);
        writer.WriteRawDouble(at.y);
        writer.WriteRawDouble(align.x);
        writer.WriteRawDouble(align.y);
        break;
    case 1:
        writer.WriteRawDouble(at.x);
        writer.WriteRawDouble(at.y);
        writer.WriteRawDouble(align.x);
        break;
    default:
        break;
    }
}

void CR13Attrib::WriteSize(CBitWriter &writer) const {
    // The reader passes over one double in front of a size it finds empty: give it one.
    if (record->attrib.height <= 0.0 || record->attrib.width_factor == 0.0)
        writer.WriteRawDouble(0.0);
    writer.WriteBitDouble(record->attrib.height);
    writer.WriteBitDouble(record->attrib.width_factor);
}

uint32_t CR13Attrib::KindBits() const {
    const CDB_ATTRIB_type &a = record->attrib;
    uint32_t bits =
        kAttributeBits + R13LayoutBits(kAttribPlane, record) + R13LayoutBits(kAttribTail, record);
    for (double v : {a.insertion_point.x, a.insertion_point.y, a.alignment_point.x,
                     a.alignment_point.y, a.oblique_angle, a.rotation, a.height, a.width_factor})
        bits += R13DoubleBits(v);
    return bits;
}

// ---- SHAPE ----------------------------------------------------------------------------------

CR13Shape::CR13Shape(CR13Drawing *owner)
    : CR13StyledEntity(owner, CDB_SHAPE, 33, AT(shape.style_handle), AT(shape.shape_style_index)) {}

#undef AT

int CR13Shape::ReadBody(CBitStream &stream) {
    ReadR13Fields(stream, kShape, record);
    record->elevation = record->shape.insertion_point.z;
    record->extrusion.x = 0.0;
    record->extrusion.y = 0.0;
    return 1;
}

void CR13Shape::WriteBody(CBitWriter &writer) const {
    WriteR13Fields(writer, kShape, record);
}

uint32_t CR13Shape::KindBits() const {
    return kShapeBits + R13LayoutBits(kShape, record);
}

void CR13Shape::GetRecord(CDB_ENTITY *out) {
    GetResolvedRecord();
    if (record && drawing &&
        drawing->GetShapeName(record->shape.shape_style_index, record->shape.shape_number,
                              nullptr) == CDB_FAIL) {
        record->shape.shape_style_index = -1;
        record->shape.shape_number = -1;
    }
    CR13Entity::GetRecord(out);
}

// ---- INSERT and MINSERT -----------------------------------------------------------------------

CR13Insert::CR13Insert(CR13Drawing *owner, int16_t type) : CR13Entity(owner, CDB_INSERT) {
    file_type = type;
}

int CR13Insert::ReadBody(CBitStream &stream) {
    ReadR13Fields(stream, kInsert, record);
    record->elevation = record->insert.insertion_point.z;
    if (file_type == kMinsertType) {
        ReadR13Fields(stream, kMinsert, record);
    } else {
        record->insert.column_count = record->insert.row_count = 1;
        record->insert.column_spacing = record->insert.row_spacing = 0.0;
    }
    return 1;
}

void CR13Insert::WriteBody(CBitWriter &writer) const {
    WriteR13Fields(writer, kInsert, record);
    if (file_type == kMinsertType)
        WriteR13Fields(writer, kMinsert, record);
}

void CR13Insert::ReadKindHandles(CBitStream &stream) {
    ReadR13Fields(stream, kInsertHandles, record);
    if (record->insert.attributes_follow) {
        stream.ReadHandle(first_attribute);
        stream.ReadHandle(last_attribute);
        stream.ReadHandle(sequence_end);
    }
}

void CR13Insert::WriteKindHandles(CBitWriter &writer) const {
    WriteR13Fields(writer, kInsertHandles, record);
    if (record->insert.attributes_follow) {
        writer.WriteHandle(first_attribute);
        writer.WriteHandle(last_attribute);
        writer.WriteHandle(sequence_end);
    }
}

uint32_t CR13Insert::KindBits() const {
    uint32_t bits = kInsertBits + R13LayoutBits(kInsert, record);
    if (file_type == kMinsertType)
        bits += R13LayoutBits(kMinsert, record);
    return bits;
}

void R13FindBlockHandle(CR13Drawing &drawing, const std::string &name, char *&handle) {
    if (handle || name.empty())
        return;
    handle = DuplicateText(drawing.Table(R13Table::kBlocks).HandleOfName(name.c_str()));
}

void CR13Insert::ResolveKind() {
    R13FindBlockHandle(*drawing, block_name, record->insert.block_handle);
    record->insert.block_index =
        drawing->ResolvedIndex(TableBase::kBlocks, record->insert.block_handle);
}

// ---- VIEWPORT -------------------------------------------------------------------------------

CR13Viewport::CR13Viewport(CR13Drawing *owner) : CR13Entity(owner, CDB_VIEWPORT) {
    file_type = 34;
}

int CR13Viewport::ReadBody(CBitStream &stream) {
    ReadR13Fields(stream, kViewport, record);
    return 1;
}

void CR13Viewport::WriteBody(CBitWriter &writer) const {
    WriteR13Fields(writer, kViewport, record);
}

void CR13Viewport::ReadKindHandles(CBitStream &stream) {
    stream.ReadHandle(frozen_layer_list);
}

void CR13Viewport::WriteKindHandles(CBitWriter &writer) const {
    writer.WriteHandle(frozen_layer_list);
}

uint32_t CR13Viewport::KindBits() const {
    return kViewportBits + R13LayoutBits(kViewport, record);
}

// ---- The factories ----------------------------------------------------------------------------

CR13Entity *MakeR13Text(CR13Drawing *drawing, int16_t) {
    return new CR13Text(drawing);
}
CR13Entity *MakeR13Attrib(CR13Drawing *drawing, int16_t) {
    return new CR13Attrib(drawing);
}
CR13Entity *MakeR13Attdef(CR13Drawing *drawing, int16_t) {
    return new CR13Attdef(drawing);
}
CR13Entity *MakeR13Insert(CR13Drawing *drawing, int16_t type) {
    return new CR13Insert(drawing, type);
}
CR13Entity *MakeR13Vertex(CR13Drawing *drawing, int16_t type) {
    return new CR13Vertex(drawing, type);
}
CR13Entity *MakeR13Polyline(CR13Drawing *drawing, int16_t type) {
    return new CR13Polyline(drawing, type);
}
CR13Entity *MakeR13Circle(CR13Drawing *drawing, int16_t type) {
    return new CR13Circle(drawing, type);
}
CR13Entity *MakeR13Dimension(CR13Drawing *drawing, int16_t type) {
    return new CR13Dimension(drawing, type);
}
CR13Entity *MakeR13Trace(CR13Drawing *drawing, int16_t type) {
    return new CR13Trace(drawing, type);
}
CR13Entity *MakeR13Shape(CR13Drawing *drawing, int16_t) {
    return new CR13Shape(drawing);
}
CR13Entity *MakeR13Viewport(CR13Drawing *drawing, int16_t) {
    return new CR13Viewport(drawing);
}
