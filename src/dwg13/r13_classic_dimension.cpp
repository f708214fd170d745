// DIMENSION of release 13: seven forms, one object type each, sharing a head; the points
// of each form stand in an order of their own.
#include "dwg13/r13_classic_kinds.h"

#include "dwg13/r13_drawing.h"
#include "io/bit_stream.h"
#include "io/bit_writer.h"

namespace {

#define F(kind, member) R13_FIELD(kind, CDB_ENTITY, member)
#define LAYOUT(list)                                                                               \
    R13Layout {                                                                                    \
        list, sizeof(list) / sizeof(list[0])                                                       \
    }

constexpr int16_t kOrdinate = 20;
constexpr int16_t kLinear = 21;
constexpr int16_t kAligned = 22;
constexpr int16_t kAngular3Point = 23;
constexpr int16_t kAngular2Line = 24;
constexpr int16_t kRadius = 25;
constexpr int16_t kDiameter = 26;

// The head, in three runs: the flag byte and the reserved byte stand between them.
constexpr R13Field kHeadFields[] = {
    F(k3BD, extrusion),
    F(k2RD, dimension.text_midpoint),
    F(kBD, dimension.text_midpoint.z),
};
constexpr R13Field kTextFields[] = {
    F(kTV, dimension.text),
    F(kDegrees, dimension.text_rotation),
    F(kDegrees, dimension.horizontal_direction),
};
// The clone's insertion point is x and y only.
constexpr R13Field kCloneFields[] = {F(k2RD, dimension.clone_insertion_point)};

// The three points of the ordinate and the angular 3 point forms: with the flags 3 the
// definition point comes first, otherwise last.
constexpr R13Field kFirstPointFields[] = {
    F(k3BD, dimension.definition_point),
    F(k3BD, dimension.definition_point_2),
    F(k3BD, dimension.definition_point_3),
};
constexpr R13Field kLastPointFields[] = {
    F(k3BD, dimension.definition_point_2),
    F(k3BD, dimension.definition_point_3),
    F(k3BD, dimension.definition_point),
};
constexpr R13Field kLinearFields[] = {
    F(k3BD, dimension.definition_point_2),
    F(k3BD, dimension.definition_point_3),
    F(k3BD, dimension.definition_point),
    F(kDegrees, dimension.oblique_angle),
    F(kDegrees, dimension.extension_line_rotation),
};
// The aligned form's last double has no place in the record: a named step behind these.
constexpr R13Field kAlignedFields[] = {
    F(k3BD, dimension.definition_point_2),
    F(k3BD, dimension.definition_point_3),
    F(k3BD, dimension.definition_point),
};
constexpr R13Field kFourthPointFields[] = {F(k3BD, dimension.definition_point_4)};
// The arc definition point is x and y only.
constexpr R13Field kAngular2LineFields[] = {
    F(k2RD, dimension.arc_definition_point), F(k3BD, dimension.definition_point_2),
    F(k3BD, dimension.definition_point_3),   F(k3BD, dimension.definition_point_4),
    F(k3BD, dimension.definition_point),
};
constexpr R13Field kRadiusFields[] = {
    F(k3BD, dimension.definition_point),
    F(k3BD, dimension.definition_point_4),
    F(kBD, dimension.leader_length),
};
constexpr R13Field kDiameterFields[] = {
    F(k3BD, dimension.definition_point_4),
    F(k3BD, dimension.definition_point),
    F(kBD, dimension.leader_length),
};
constexpr R13Field kHandleFields[] = {
    R13_HARD_REF(CDB_ENTITY, dimension.dimstyle_handle),
    R13_HARD_REF(CDB_ENTITY, dimension.block_handle),
};

constexpr R13Layout kHead = LAYOUT(kHeadFields);
constexpr R13Layout kText = LAYOUT(kTextFields);
constexpr R13Layout kClone = LAYOUT(kCloneFields);
constexpr R13Layout kFirstPoint = LAYOUT(kFirstPointFields);
constexpr R13Layout kLastPoint = LAYOUT(kLastPointFields);
constexpr R13Layout kLinearLayout = LAYOUT(kLinearFields);
constexpr R13Layout kAlignedLayout = LAYOUT(kAlignedFields);
constexpr R13Layout kFourthPoint = LAYOUT(kFourthPointFields);
constexpr R13Layout kAngular2LineLayout = LAYOUT(kAngular2LineFields);
constexpr R13Layout kRadiusLayout = LAYOUT(kRadiusFields);
constexpr R13Layout kDiameterLayout = LAYOUT(kDiameterFields);
constexpr R13Layout kHandles = LAYOUT(kHandleFields);

#undef F
#undef LAYOUT

constexpr uint8_t kDefinitionPointFirst = 3;
// The writer's value for a reserved byte of 0.
constexpr uint8_t kReservedByteDefault = 0x56;
constexpr uint32_t kDimensionBits = 60;

} // namespace

CR13Dimension::CR13Dimension(CR13Drawing *owner, int16_t type) : CR13Entity(owner, CDB_DIMENSION) {
    file_type = type;
}

const R13Layout &CR13Dimension::FormLayout() const {
    switch (file_type) {
    case kLinear:
        return kLinearLayout;
    case kAligned:
        return kAlignedLayout;
    case kAngular2Line:
        return kAngular2LineLayout;
    case kRadius:
        return kRadiusLayout;
    case kDiameter:
        return kDiameterLayout;
    default: // ordinate and angular 3 point
        return DefinitionPointFirst() ? kFirstPoint : kLastPoint;
    }
}

bool CR13Dimension::DefinitionPointFirst() const {
    // The tolerant road (CDB_READ_OBJECT_HEADS): an ordinate dimension's order is told by
    // the low two bits of its flags alone; the original reading asks for the flags 3.
    if (file_type == kOrdinate && drawing && drawing->ReadsTolerantly(CDB_READ_OBJECT_HEADS))
        return (dim_flags & kDefinitionPointFirst) == kDefinitionPointFirst;
    return dim_flags == kDefinitionPointFirst;
}

int CR13Dimension::ReadBody(CBitStream &stream) {
    if (file_type < kOrdinate || file_type > kDiameter)
        return 0;
    CDB_DIMENSION_type &d = record->dimension;
    ReadR13Fields(stream, kHead, record);
    dim_flags = stream.ReadByte();
    ReadR13Fields(stream, kText, record);
    reserved_byte = stream.ReadByte();
    ReadR13Fields(stream, kClone, record);
    d.clone_insertion_point.z = 0.0;
    d.arc_definition_point = CDB_POINT3{0.0, 0.0, 0.0};
    ReadR13Fields(stream, FormLayout(), record);
    if (file_type == kOrdinate && DefinitionPointFirst() && dim_flags != kDefinitionPointFirst)
        drawing->NoteTolerantRead(CDB_READ_OBJECT_HEADS);
    switch (file_type) {
    case kOrdinate:
        ordinate_flag = stream.ReadByte();
        d.dimension_type = ordinate_flag == 0 ? kDimOrdinateX : kDimOrdinateY;
        break;
    case kLinear:
        d.dimension_type = kDimLinear;
        break;
    case kAligned:
        aligned_last = stream.ReadBitDouble();
        d.dimension_type = kDimAligned;
        break;
    case kAngular3Point:
        ReadR13Fields(stream, kFourthPoint, record);
        d.dimension_type = kDimAngular3Point;
        break;
    case kAngular2Line:
        d.dimension_type = kDimAngular2Line;
        break;
    case kRadius:
        d.dimension_type = kDimRadius;
        break;
    default:
        d.dimension_type = kDimDiameter;
        break;
    }
    return 1;
}

void CR13Dimension::WriteBody(CBitWriter &writer) const {
    WriteR13Fields(writer, kHead, record);
    writer.WriteByte(dim_flags);
    WriteR13Fields(writer, kText, record);
    writer.WriteByte(reserved_byte == 0 ? kReservedByteDefault : reserved_byte);
    WriteR13Fields(writer, kClone, record);
    WriteR13Fields(writer, FormLayout(), record);
    if (file_type == kOrdinate)
        writer.WriteByte(ordinate_flag);
    else if (file_type == kAligned)
        writer.WriteBitDouble(aligned_last);
    else if (file_type == kAngular3Point)
        WriteR13Fields(writer, kFourthPoint, record);
}

void CR13Dimension::ReadKindHandles(CBitStream &stream) {
    ReadR13Fields(stream, kHandles, record);
}

void CR13Dimension::WriteKindHandles(CBitWriter &writer) const {
    WriteR13Fields(writer, kHandles, record);
}

uint32_t CR13Dimension::KindBits() const {
    uint32_t bits = kDimensionBits + R13LayoutBits(kHead, record) + R13LayoutBits(kText, record) +
                    R13LayoutBits(kClone, record) + R13LayoutBits(FormLayout(), record);
    if (file_type == kAngular3Point)
        bits += R13LayoutBits(kFourthPoint, record);
    if (file_type == kAligned)
        bits += R13DoubleBits(aligned_last);
    return bits;
}

void CR13Dimension::ResolveKind() {
    CDB_DIMENSION_type &d = record->dimension;
    R13FindBlockHandle(*drawing, block_name, d.block_handle);
    d.block_index = drawing->ResolvedIndex(TableBase::kBlocks, d.block_handle);
    d.dimstyle_index = drawing->ResolvedIndex(TableBase::kDimstyles, d.dimstyle_handle);
}
