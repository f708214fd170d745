// The kinds of release 13 whose data are plain runs of fields: ELLIPSE, RAY, XLINE, MTEXT,
// TOLERANCE, and the unknown kind; with the helpers that every new kind uses.
#include "dwg13/r13_new_kinds.h"

#include "dwg13/r13_drawing.h"
#include "io/bit_stream.h"
#include "io/bit_writer.h"
#include "io/record_field.h"

#include <cstdlib>
#include <cstring>
#include <iterator>

namespace {

#define LAYOUT(list)                                                                               \
    R13Layout {                                                                                    \
        list, std::size(list)                                                                      \
    }
#define F(kind, member) R13_FIELD(kind, CDB_ENTITY, member)

// ---- Layouts ------------------------------------------------------------------------------

constexpr R13Field kEllipseFields[] = {
    F(k3BD, ellipse.center),    F(k3BD, ellipse.major_axis),     F(k3BD, extrusion),
    F(kBD, ellipse.axis_ratio), F(kBD, ellipse.start_parameter), F(kBD, ellipse.end_parameter),
};
constexpr R13Field kRayFields[] = {F(k3BD, ray.base_point), F(k3BD, ray.direction)};
constexpr R13Field kMtextFields[] = {
    F(k3BD, mtext.insertion_point),
    F(k3BD, extrusion),
    F(k3BD, mtext.x_axis_direction),
    F(kBD, mtext.width),
    F(kBD, mtext.height),
    F(kBS, mtext.attachment_point),
    F(kBS, mtext.drawing_direction),
    F(kBD, mtext.line_spacing),
    F(kBD, mtext.line_spacing_extra),
    F(kTV, mtext.text),
};
constexpr R13Field kMtextHandles[] = {R13_HARD_REF(CDB_ENTITY, mtext.style_handle)};
// The frame's sizes (a dropped BS, the height and the gap) stand in front of these.
constexpr R13Field kToleranceFields[] = {
    F(k3BD, tolerance.insertion_point),
    F(k3BD, tolerance.x_axis_direction),
    F(k3BD, tolerance.normal),
    F(kTV, tolerance.text),
};
constexpr R13Field kToleranceHandles[] = {R13_HARD_REF(CDB_ENTITY, tolerance.dimstyle_handle)};

} // namespace

// ---- Helpers ------------------------------------------------------------------------------

// ---- ELLIPSE ------------------------------------------------------------------------------

CR13Ellipse::CR13Ellipse(CR13Drawing *owner) : CR13Entity(owner, CDB_ELLIPSE) {
    file_type = 35;
}

int CR13Ellipse::ReadBody(CBitStream &stream) {
    ReadR13Fields(stream, LAYOUT(kEllipseFields), record);
    record->elevation = record->ellipse.center.z;
    return 1;
}

void CR13Ellipse::WriteBody(CBitWriter &writer) const {
    WriteR13Fields(writer, LAYOUT(kEllipseFields), record);
}

uint32_t CR13Ellipse::KindBits() const {
    return R13LayoutBits(LAYOUT(kEllipseFields), record);
}

// ---- RAY and XLINE ------------------------------------------------------------------------

CR13Ray::CR13Ray(CR13Drawing *owner, int16_t type)
    : CR13Entity(owner, type == 41 ? CDB_XLINE : CDB_RAY) {
    file_type = type;
}

int CR13Ray::ReadBody(CBitStream &stream) {
    ReadR13Fields(stream, LAYOUT(kRayFields), record);
    return 1;
}

void CR13Ray::WriteBody(CBitWriter &writer) const {
    WriteR13Fields(writer, LAYOUT(kRayFields), record);
}

uint32_t CR13Ray::KindBits() const {
    return R13LayoutBits(LAYOUT(kRayFields), record);
}

// ---- MTEXT --------------------------------------------------------------------------------

CR13Mtext::CR13Mtext(CR13Drawing *owner) : CR13Entity(owner, CDB_MTEXT) {
    file_type = 44;
}

int CR13Mtext::ReadBody(CBitStream &stream) {
    ReadR13Fields(stream, LAYOUT(kMtextFields), record);
    record->elevation = record->mtext.insertion_point.z;
    record->mtext.normal = record->extrusion;
    return 1;
}

void CR13Mtext::WriteBody(CBitWriter &writer) const {
    WriteR13Fields(writer, LAYOUT(kMtextFields), record);
}

void CR13Mtext::ReadKindHandles(CBitStream &stream) {
    ReadR13Fields(stream, LAYOUT(kMtextHandles), record);
}

void CR13Mtext::WriteKindHandles(CBitWriter &writer) const {
    WriteR13Fields(writer, LAYOUT(kMtextHandles), record);
}

uint32_t CR13Mtext::KindBits() const {
    return R13LayoutBits(LAYOUT(kMtextFields), record) +
           R13LayoutBits(LAYOUT(kMtextHandles), record);
}

void CR13Mtext::ResolveKind() {
    style_index = drawing->ResolvedIndex(TableBase::kStyles, record->mtext.style_handle);
}

// ---- TOLERANCE ----------------------------------------------------------------------------

CR13Tolerance::CR13Tolerance(CR13Drawing *owner) : CR13Entity(owner, CDB_TOLERANCE) {
    file_type = 46;
}

int CR13Tolerance::ReadBody(CBitStream &stream) {
    // The frame's sizes: a short that is dropped, the height and the gap.
    stream.ReadBitShort();
    height = stream.ReadBitDouble();
    gap = stream.ReadBitDouble();
    ReadR13Fields(stream, LAYOUT(kToleranceFields), record);
    return 1;
}

void CR13Tolerance::WriteBody(CBitWriter &writer) const {
    writer.WriteBitShort(0);
    writer.WriteBitDouble(height);
    writer.WriteBitDouble(gap);
    WriteR13Fields(writer, LAYOUT(kToleranceFields), record);
}

void CR13Tolerance::ReadKindHandles(CBitStream &stream) {
    ReadR13Fields(stream, LAYOUT(kToleranceHandles), record);
}

void CR13Tolerance::WriteKindHandles(CBitWriter &writer) const {
    WriteR13Fields(writer, LAYOUT(kToleranceHandles), record);
}

uint32_t CR13Tolerance::KindBits() const {
    return R13DoubleBits(height) + R13DoubleBits(gap) +
           R13LayoutBits(LAYOUT(kToleranceFields), record) +
           R13LayoutBits(LAYOUT(kToleranceHandles), record);
}

void CR13Tolerance::ResolveKind() {
    record->tolerance.dimstyle_index =
        drawing->ResolvedIndex(TableBase::kDimstyles, record->tolerance.dimstyle_handle);
}

// ---- The unknown kind ---------------------------------------------------------------------

CR13Unknown::CR13Unknown(CR13Drawing *owner, int16_t kind) : CR13Entity(owner, kind) {}

int CR13Unknown::ReadDWG(CBitStream &stream) {
    if (!record || ReadCommon(stream) != 1)
        return 0;
    data_as_read.Take(stream);
    record->entity_type = code;
    return 1;
}

void CR13Unknown::SetRecord(const CDB_ENTITY *in) {
    data_as_read.Clear();
    CR13Entity::SetRecord(in);
}

bool CR13Unknown::WriteDataAsRead(CBitWriter &writer) const {
    if (data_as_read.Empty())
        return false;
    data_as_read.Put(writer);
    return true;
}
