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

bool IsPlainDouble(double value) {
    return value == 0.0 || value == 1.0;
}

uint32_t DoubleBits(double value) {
    return IsPlainDouble(value) ? 0 : 64;
}

uint32_t TextBits(const char *text) {
    return text ? 8u * static_cast<uint32_t>(std::strlen(text)) : 0;
}

// The texts of `layout` in `record` are freed and nulled, so that a read may take them.
void FreeLayoutTexts(const R13Layout &layout, void *record) {
    for (size_t i = 0; i < layout.count; ++i) {
        const R13Field &f = layout.fields[i];
        if ((f.kind == R13Kind::kTV || f.kind == R13Kind::kHT) && f.offset != kR13Dropped) {
            std::free(LoadField<char *>(record, f.offset));
            StoreField<char *>(record, f.offset, nullptr);
        }
    }
}

// Reads `layout` into a record whose texts of the layout are first given up.
void ReadFresh(CBitStream &stream, const R13Layout &layout, CDB_ENTITY *record) {
    FreeLayoutTexts(layout, record);
    ReadR13Fields(stream, layout, record);
}

// The index of `handle` in the public table `which` plus the drawing's base.
int16_t ResolvedIndex(CR13Drawing &drawing, TableBase which, const char *handle) {
    return static_cast<int16_t>(drawing.IndexOfHandle(which, handle) + drawing.Base(which));
}

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
constexpr R13Field kMtextHandles[] = {F(kHT, mtext.style_handle)};
// The frame's sizes (a dropped BS, the height and the gap) stand in front of these.
constexpr R13Field kToleranceFields[] = {
    F(k3BD, tolerance.insertion_point),
    F(k3BD, tolerance.x_axis_direction),
    F(k3BD, tolerance.normal),
    F(kTV, tolerance.text),
};
constexpr R13Field kToleranceHandles[] = {F(kHT, tolerance.dimstyle_handle)};

} // namespace

// ---- Helpers ------------------------------------------------------------------------------

int64_t R13BitsLeft(const CBitStream &stream) {
    if (stream.Overrun())
        return 0;
    const int64_t left = (int64_t(stream.Size()) - stream.TellByte()) * 8 - stream.TellBit();
    return left > 0 ? left : 0;
}

uint32_t R13LayoutBits(const R13Layout &layout, const void *record) {
    uint32_t bits = 0;
    for (size_t i = 0; i < layout.count; ++i) {
        const R13Field &f = layout.fields[i];
        if (f.offset == kR13Dropped)
            continue;
        switch (f.kind) {
        case R13Kind::kRD:
        case R13Kind::kBD:
        case R13Kind::kAngle:
        case R13Kind::kDegrees:
            bits += DoubleBits(LoadField<double>(record, f.offset));
            break;
        case R13Kind::k3BD: {
            const CDB_POINT3 p = LoadField<CDB_POINT3>(record, f.offset);
            bits += DoubleBits(p.x) + DoubleBits(p.y) + DoubleBits(p.z);
            break;
        }
        case R13Kind::k2RD: {
            const CDB_POINT2 p = LoadField<CDB_POINT2>(record, f.offset);
            bits += DoubleBits(p.x) + DoubleBits(p.y);
            break;
        }
        case R13Kind::kTV:
            bits += TextBits(LoadField<char *>(record, f.offset));
            break;
        case R13Kind::kHT:
            bits += R13HandleTextBits(LoadField<char *>(record, f.offset));
            break;
        default:
            break;
        }
    }
    return bits;
}

uint32_t R13HandleTextBits(const char *text) {
    if (!text || !*text)
        return 0;
    return 8u * static_cast<uint32_t>((std::strlen(text) - 1) / 2);
}

void R13WritePrefixedLong(CBitWriter &writer, uint32_t value) {
    int count = 1;
    if (value > 0xFFFFFFu)
        count = 4;
    else if (value > 0xFFFFu)
        count = 3;
    else if (value > 0xFFu)
        count = 2;
    writer.WriteBits(count == 4 ? 0u : static_cast<uint32_t>(count), 2);
    for (int i = 0; i < count; ++i)
        writer.WriteByte(static_cast<uint8_t>(value >> (8 * i)));
}

// ---- ELLIPSE ------------------------------------------------------------------------------

CR13Ellipse::CR13Ellipse(CR13Drawing *owner) : CR13Entity(owner, CDB_ELLIPSE) {
    file_type = 35;
}

int CR13Ellipse::ReadBody(CBitStream &stream) {
    ReadFresh(stream, LAYOUT(kEllipseFields), record);
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
    ReadFresh(stream, LAYOUT(kRayFields), record);
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
    ReadFresh(stream, LAYOUT(kMtextFields), record);
    record->elevation = record->mtext.insertion_point.z;
    record->mtext.normal = record->extrusion;
    return 1;
}

void CR13Mtext::WriteBody(CBitWriter &writer) const {
    WriteR13Fields(writer, LAYOUT(kMtextFields), record);
}

void CR13Mtext::ReadKindHandles(CBitStream &stream) {
    ReadFresh(stream, LAYOUT(kMtextHandles), record);
}

void CR13Mtext::WriteKindHandles(CBitWriter &writer) const {
    WriteR13Fields(writer, LAYOUT(kMtextHandles), record);
}

uint32_t CR13Mtext::KindBits() const {
    return R13LayoutBits(LAYOUT(kMtextFields), record) +
           R13LayoutBits(LAYOUT(kMtextHandles), record);
}

void CR13Mtext::ResolveKind() {
    style_index = ResolvedIndex(*drawing, TableBase::kStyles, record->mtext.style_handle);
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
    ReadFresh(stream, LAYOUT(kToleranceFields), record);
    return 1;
}

void CR13Tolerance::WriteBody(CBitWriter &writer) const {
    writer.WriteBitShort(0);
    writer.WriteBitDouble(height);
    writer.WriteBitDouble(gap);
    WriteR13Fields(writer, LAYOUT(kToleranceFields), record);
}

void CR13Tolerance::ReadKindHandles(CBitStream &stream) {
    ReadFresh(stream, LAYOUT(kToleranceHandles), record);
}

void CR13Tolerance::WriteKindHandles(CBitWriter &writer) const {
    WriteR13Fields(writer, LAYOUT(kToleranceHandles), record);
}

uint32_t CR13Tolerance::KindBits() const {
    return DoubleBits(height) + DoubleBits(gap) + R13LayoutBits(LAYOUT(kToleranceFields), record) +
           R13LayoutBits(LAYOUT(kToleranceHandles), record);
}

void CR13Tolerance::ResolveKind() {
    record->tolerance.dimstyle_index =
        ResolvedIndex(*drawing, TableBase::kDimstyles, record->tolerance.dimstyle_handle);
}

// ---- The unknown kind ---------------------------------------------------------------------

CR13Unknown::CR13Unknown(CR13Drawing *owner, int16_t kind) : CR13Entity(owner, kind) {}

int CR13Unknown::ReadDWG(CBitStream &stream) {
    if (!record || ReadCommon(stream) != 1)
        return 0;
    record->entity_type = code;
    return 1;
}
