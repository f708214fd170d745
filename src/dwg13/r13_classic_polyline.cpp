// VERTEX and POLYLINE of release 13: a polyline's object type gives its form, and the
// vertices behind it take its extrusion and elevation through the drawing.
#include "dwg13/r13_classic_kinds.h"

#include "dwg13/r13_drawing.h"
#include "io/bit_stream.h"
#include "io/bit_writer.h"

#include <cstring>

namespace {

#define F(kind, member) R13_FIELD(kind, CDB_ENTITY, member)
#define LAYOUT(list)                                                                               \
    R13Layout {                                                                                    \
        list, sizeof(list) / sizeof(list[0])                                                       \
    }

// ---- VERTEX ---------------------------------------------------------------------------------

constexpr int16_t kVertex2D = 10;
constexpr int16_t kVertex3D = 11;
constexpr int16_t kVertexMesh = 12;
constexpr int16_t kVertexFaceCorner = 13;
constexpr int16_t kVertexFace = 14;

// Type 10: the end width stands in the stream only when the start width is 0 or above.
constexpr R13Field kVertex2DHeadFields[] = {
    F(kRC, vertex.flags),
    F(k3BD, vertex.location),
    F(kBD, vertex.start_width),
};
constexpr R13Field kVertex2DTailFields[] = {
    F(kBD, vertex.bulge),
    F(kAngle, vertex.tangent_direction),
};
// Types 11 to 13: a flag byte and the location; the flags then say the form.
constexpr R13Field kVertexPlainFields[] = {
    F(kRC, vertex.flags),
    F(k3BD, vertex.location),
};
constexpr R13Field kVertexFaceFields[] = {
    F(kBS, vertex.polyface_index_1),
    F(kBS, vertex.polyface_index_2),
    F(kBS, vertex.polyface_index_3),
    F(kBS, vertex.polyface_index_4),
};

constexpr R13Layout kVertex2DHead = LAYOUT(kVertex2DHeadFields);
constexpr R13Layout kVertex2DTail = LAYOUT(kVertex2DTailFields);
constexpr R13Layout kVertexPlain = LAYOUT(kVertexPlainFields);
constexpr R13Layout kVertexFaceIndices = LAYOUT(kVertexFaceFields);

constexpr uint32_t kVertexBits = 20;

// ---- POLYLINE -------------------------------------------------------------------------------

constexpr int16_t kPolyline2D = 15;
constexpr int16_t kPolyline3D = 16;
constexpr int16_t kPolyface = 29;
constexpr int16_t kPolygonMesh = 30;

constexpr R13Field kPolyline2DFields[] = {
    F(kBS, polyline.flags),     F(kBS, polyline.curve_type), F(kBD, polyline.start_width),
    F(kBD, polyline.end_width), F(kBD, thickness),           F(kBD, elevation),
    F(k3BD, extrusion),
};
constexpr R13Field kPolyfaceFields[] = {
    F(kBS, polyline.mesh_m_count),
    F(kBS, polyline.mesh_n_count),
};
constexpr R13Field kPolygonMeshFields[] = {
    F(kBS, polyline.flags),
    F(kBS, polyline.curve_type),
    F(kBS, polyline.mesh_m_count),
    F(kBS, polyline.mesh_n_count),
    F(kBS, polyline.smooth_m_density),
    F(kBS, polyline.smooth_n_density),
};

constexpr R13Layout kPolyline2DLayout = LAYOUT(kPolyline2DFields);
// A 3D polyline's data is two bytes that the record has no place for: named steps.
constexpr R13Layout kPolyline3DLayout = {nullptr, 0};
constexpr R13Layout kPolyfaceLayout = LAYOUT(kPolyfaceFields);
constexpr R13Layout kPolygonMeshLayout = LAYOUT(kPolygonMeshFields);

constexpr uint32_t kPolylineBits = 20;

#undef F
#undef LAYOUT

// The layout of a polyline form, null for a type that is none.
const R13Layout *PolylineLayout(int16_t type) {
    switch (type) {
    case kPolyline2D:
        return &kPolyline2DLayout;
    case kPolyline3D:
        return &kPolyline3DLayout;
    case kPolyface:
        return &kPolyfaceLayout;
    case kPolygonMesh:
        return &kPolygonMeshLayout;
    default:
        return nullptr;
    }
}

// A face index of -1 goes out in the long form of a BS (bits 0 0 and two bytes), not in
// the short form of a BS that the value would otherwise take.
void WriteFaceIndex(CBitWriter &writer, int16_t index) {
    if (index != -1) {
        writer.WriteBitShort(index);
        return;
    }
    writer.WriteBits(0, 2);
    writer.WriteByte(0xFF);
    writer.WriteByte(0xFF);
}

} // namespace

// ---- VERTEX ---------------------------------------------------------------------------------

CR13Vertex::CR13Vertex(CR13Drawing *owner, int16_t type) : CR13Entity(owner, CDB_VERTEX) {
    file_type = type;
}

int CR13Vertex::ReadBody(CBitStream &stream) {
    CDB_VERTEX_type &v = record->vertex;
    v.polyface_index_1 = v.polyface_index_2 = v.polyface_index_3 = v.polyface_index_4 = -1;
    switch (file_type) {
    case kVertex2D:
        ReadR13Fields(stream, kVertex2DHead, record);
        // A negative start width is also the end width, sign and all.
        v.end_width = v.start_width >= 0.0 ? stream.ReadBitDouble() : v.start_width;
        ReadR13Fields(stream, kVertex2DTail, record);
        break;
    case kVertex3D:
    case kVertexMesh:
    case kVertexFaceCorner:
        ReadR13Fields(stream, kVertexPlain, record);
        stream_flags = static_cast<uint8_t>(v.flags);
        if (file_type == kVertex3D)
            v.flags = static_cast<int16_t>(v.flags | 0x20);
        else if (file_type == kVertexMesh)
            v.flags = static_cast<int16_t>(v.flags | 0x40);
        else
            v.flags = static_cast<int16_t>(v.flags & 0xC0);
        given_flags = v.flags;
        break;
    case kVertexFace:
        ReadR13Fields(stream, kVertexFaceIndices, record);
        v.flags = 0x80;
        break;
    default:
        return 0;
    }
    record->elevation = v.location.z;
    stream_z = given_z = v.location.z;
    if (drawing) {
        record->extrusion = drawing->PolylineExtrusion();
        if (file_type == kVertex2D || file_type == kVertexFace)
            record->elevation = v.location.z = given_z = drawing->PolylineElevation();
    }
    return 1;
}

void CR13Vertex::WriteBody(CBitWriter &writer) const {
    const CDB_VERTEX_type &v = record->vertex;
    switch (file_type) {
    case kVertex2D: {
        // The z the file gave goes back while the record keeps the polyline's elevation.
        CDB_ENTITY out;
        std::memcpy(static_cast<void *>(&out), record, sizeof out);
        if (std::memcmp(&v.location.z, &given_z, sizeof given_z) == 0)
            out.vertex.location.z = stream_z;
        WriteR13Fields(writer, kVertex2DHead, &out);
        if (v.start_width >= 0.0)
            writer.WriteBitDouble(v.end_width);
        WriteR13Fields(writer, kVertex2DTail, record);
        break;
    }
    case kVertexFace:
        for (int16_t index :
             {v.polyface_index_1, v.polyface_index_2, v.polyface_index_3, v.polyface_index_4})
            WriteFaceIndex(writer, index);
        break;
    default: {
        // The flag byte the file gave goes back while the record keeps the flags made of it.
        CDB_ENTITY out;
        std::memcpy(static_cast<void *>(&out), record, sizeof out);
        if (v.flags == given_flags)
            out.vertex.flags = stream_flags;
        WriteR13Fields(writer, kVertexPlain, &out);
        break;
    }
    }
}

uint32_t CR13Vertex::KindBits() const {
    switch (file_type) {
    case kVertex2D:
        return kVertexBits + R13LayoutBits(kVertex2DHead, record) +
               R13DoubleBits(record->vertex.end_width) + R13LayoutBits(kVertex2DTail, record);
    case kVertexFace:
        return kVertexBits;
    default:
        return kVertexBits + R13LayoutBits(kVertexPlain, record);
    }
}

// ---- POLYLINE -------------------------------------------------------------------------------

CR13Polyline::CR13Polyline(CR13Drawing *owner, int16_t type) : CR13Entity(owner, CDB_POLYLINE) {
    file_type = type;
}

int CR13Polyline::ReadBody(CBitStream &stream) {
    const R13Layout *layout = PolylineLayout(file_type);
    if (!layout)
        return 0;
    CDB_POLYLINE_type &p = record->polyline;
    ReadR13Fields(stream, *layout, record);
    if (file_type == kPolyline3D)
        for (uint8_t &byte : form_bytes)
            byte = stream.ReadByte();
    p.vertices_follow = 1;
    switch (file_type) {
    case kPolyline2D:
        p.origin.x = p.origin.y = 0.0;
        break;
    case kPolyline3D:
        p.flags = 8;
        // The tolerant road (CDB_READ_OBJECT_HEADS): the second of the two bytes holds
        // the closed flag, which the original reading leaves there.
        if (drawing && drawing->ReadsTolerantly(CDB_READ_OBJECT_HEADS) && (form_bytes[1] & 1)) {
            p.flags |= 1;
            drawing->NoteTolerantRead(CDB_READ_OBJECT_HEADS);
        }
        break;
    case kPolyface:
        p.flags = 0x40;
        break;
    default:
        stream_flags = p.flags;
        p.flags = given_flags = static_cast<int16_t>(p.flags | 0x10);
        break;
    }
    if (drawing)
        drawing->SetPolylinePlane(record->extrusion, record->elevation);
    // The trailer is read as that of a polyline of release 12's code; the kind comes after.
    record->entity_type = kPolyline2D;
    return 1;
}

void CR13Polyline::WriteBody(CBitWriter &writer) const {
    const R13Layout *layout = PolylineLayout(file_type);
    if (layout && file_type == kPolygonMesh && record->polyline.flags == given_flags) {
        // The flags the file gave go back while the record keeps the mesh flag made of them.
        CDB_ENTITY out;
        std::memcpy(static_cast<void *>(&out), record, sizeof out);
        out.polyline.flags = stream_flags;
        WriteR13Fields(writer, *layout, &out);
    } else if (layout) {
        WriteR13Fields(writer, *layout, record);
    }
    if (file_type == kPolyline3D)
        for (uint8_t byte : form_bytes)
            writer.WriteByte(byte);
}

void CR13Polyline::WriteKindHandles(CBitWriter &writer) const {
    writer.WriteHandle(first_vertex);
    writer.WriteHandle(last_vertex);
    writer.WriteHandle(seq_end);
}

uint32_t CR13Polyline::KindBits() const {
    const R13Layout *layout = PolylineLayout(file_type);
    return kPolylineBits + (layout ? R13LayoutBits(*layout, record) : 0u);
}
