// The stream layouts of the release 13 table records, and the named steps of the records
// whose objects do not fit a plain list of fields.
#include "dwg13/r13_tables.h"

#include "dwg13/r13_record_layout.h"

#include "fonts/shape_table.h"
#include "io/bit_stream.h"
#include "io/bit_writer.h"
#include "records/heap_text.h"
#include "model/base_drawing.h"

#include <cctype>
#include <cstdlib>
#include <cstring>
#include <new>

namespace {

using LayerB = R13Body<CDB_LAYER_TBL_type>;
using LtypeB = R13Body<CDB_LTYPE_TBL_type>;
using StyleB = R13Body<CDB_STYLE_TBL_type>;
using ViewB = R13Body<CDB_VIEW_TBL_type>;
using UcsB = R13Body<CDB_UCS_TBL_type>;
using VportB = R13Body<CDB_VPORT_TBL_type>;

constexpr R13Field kLayerLayout[] = {
    R13_HEAD(LayerB, record.links.link_count),
    // The raw flag byte; the public flags are made from it by ConvertLayerFlags.
    R13_FIELD(kRC, LayerB, record.flags_copy),
    R13_FIELD(kBS, LayerB, record.color),
    R13_LINKS(LayerB),
    R13_HARD_REF(LayerB, record.line_type_handle),
};

// Up to the dash count; the dashes follow as a named step.
constexpr R13Field kLtypeHead[] = {
    R13_HEAD(LtypeB, record.entry_code),        R13_BITS(4, LtypeB, record.flags),
    R13_FIELD(kTV, LtypeB, record.description), R13_FIELD(kBD, LtypeB, record.pattern_length),
    R13_FIELD(kRC, LtypeB, record.alignment),   R13_FIELD(kRC, LtypeB, record.dash_count),
};
// Behind the dashes: the 256 bytes of pattern text, passed over, and the references. The
// style handles of the dashes follow as a named step.
constexpr R13Field kLtypeTail[] = {
    R13_SKIP(256, 0),
    R13_LINKS(LtypeB),
};

// One dash; the record keeps each value in an array of its own.
struct R13Dash {
    double length;
    int16_t complex_type;
    double shape_number;
    double scale;
    double rotation;
    double x_offset;
    double y_offset;
};
constexpr R13Field kDashLayout[] = {
    R13_FIELD(kBD, R13Dash, length),       R13_FIELD(kBS, R13Dash, complex_type),
    R13_FIELD(kRD, R13Dash, shape_number), R13_FIELD(kRD, R13Dash, scale),
    R13_FIELD(kBD, R13Dash, rotation),     R13_FIELD(kBD, R13Dash, x_offset),
    R13_FIELD(kBD, R13Dash, y_offset),
};
// The fewest bits a dash takes: five short doubles, a short BS and two raw doubles.
constexpr int64_t kMinDashBits = 5 * 2 + 2 + 2 * 64;
// ... and the pattern text and the references behind the dashes.
constexpr int64_t kMinLtypeTailBits = 256 * 8 + 3 * 8;

constexpr R13Field kStyleLayout[] = {
    R13_HEAD(StyleB, record.links.link_count),
    R13_BITS(6, StyleB, record.flags),
    R13_FIELD(kBD, StyleB, record.height),
    R13_FIELD(kBD, StyleB, record.width_factor),
    R13_FIELD(kAngle, StyleB, record.oblique_angle),
    R13_FIELD(kRC, StyleB, record.generation_flags),
    R13_FIELD(kBD, StyleB, record.last_height),
    R13_FIELD(kTV, StyleB, record.font_file),
    R13_FIELD(kTV, StyleB, record.bigfont_file),
    R13_LINKS(StyleB),
};

constexpr R13Field kViewLayout[] = {
    R13_HEAD(ViewB, record.links.link_count),
    R13_BITS(6, ViewB, record.flags),
    R13_FIELD(kRD, ViewB, record.height),
    R13_FIELD(kBD, ViewB, record.width),
    R13_FIELD(k2RD, ViewB, record.center),
    R13_FIELD(k3BD, ViewB, record.target),
    R13_FIELD(k3BD, ViewB, record.direction),
    R13_FIELD(kAngle, ViewB, record.twist_angle),
    R13_FIELD(kBD, ViewB, record.lens_length),
    R13_FIELD(kBD, ViewB, record.front_clip),
    R13_FIELD(kBD, ViewB, record.back_clip),
    R13_FIELD(kB, ViewB, record.view_mode),
    R13_SKIP(0, 4),
    R13_LINKS(ViewB),
};

constexpr R13Field kUcsLayout[] = {
    R13_HEAD(UcsB, record.links.link_count),   R13_BITS(4, UcsB, record.flags),
    R13_FIELD(k3BD, UcsB, record.origin),      R13_FIELD(k3BD, UcsB, record.x_direction),
    R13_FIELD(k3BD, UcsB, record.y_direction), R13_LINKS(UcsB),
};

// Up to the view height; the aspect ratio follows as a named step.
constexpr R13Field kVportHead[] = {
    R13_HEAD(VportB, record.links.link_count),
    R13_BITS(6, VportB, record.flags),
    R13_FIELD(kRD, VportB, record.view_height),
};
constexpr R13Field kVportTail[] = {
    R13_FIELD(k2RD, VportB, record.view_center),
    R13_FIELD(k3BD, VportB, record.view_target),
    R13_FIELD(k3BD, VportB, record.view_direction),
    R13_FIELD(kAngle, VportB, record.twist_angle),
    R13_FIELD(kBD, VportB, record.lens_length),
    R13_FIELD(kBD, VportB, record.front_clip),
    R13_FIELD(kBD, VportB, record.back_clip),
    R13_FIELD(kB, VportB, record.view_mode),
    R13_DROP_BITS(3),
    R13_FIELD(k2RD, VportB, record.lower_left),
    R13_FIELD(k2RD, VportB, record.upper_right),
    R13_SKIP(0, 1),
    R13_FIELD(kBS, VportB, record.circle_zoom),
    R13_FIELD(kB, VportB, record.fast_zoom),
    R13_FIELD(kB, VportB, record.ucs_icon),
    R13_FIELD(kB, VportB, record.snap_mode),
    R13_FIELD(kB, VportB, record.grid_mode),
    R13_FIELD(k2RD, VportB, record.grid_spacing),
    R13_FIELD(kB, VportB, record.snap_style),
    R13_FIELD(kB, VportB, record.snap_isopair),
    R13_DROP(kBS),
    R13_FIELD(kAngle, VportB, record.snap_angle),
    R13_FIELD(k2RD, VportB, record.snap_base),
    R13_FIELD(k2RD, VportB, record.snap_spacing),
    R13_LINKS(VportB),
};

constexpr R13Field kAppidLayout[] = {
    R13_HEAD(R13AppidBody, record.links.link_count),
    R13_BITS(4, R13AppidBody, record.flags),
    R13_FIELD(kRC, R13AppidBody, application_code),
    R13_LINKS(R13AppidBody),
};

using DimB = R13DimstyleBody;
// All but the text style reference, which follows as a named step.
constexpr R13Field kDimstyleLayout[] = {
    R13_HEAD(DimB, record.entry_code),
    R13_BITS(4, DimB, record.flags),
    R13_FIELD(kB, DimB, record.dimtol),
    R13_FIELD(kB, DimB, record.dimlim),
    R13_FIELD(kB, DimB, record.dimtih),
    R13_FIELD(kB, DimB, record.dimtoh),
    R13_FIELD(kB, DimB, record.dimse1),
    R13_FIELD(kB, DimB, record.dimse2),
    R13_FIELD(kB, DimB, record.dimalt),
    R13_FIELD(kB, DimB, record.dimtofl),
    R13_FIELD(kB, DimB, record.dimsah),
    R13_FIELD(kB, DimB, record.dimtix),
    R13_FIELD(kB, DimB, record.dimsoxd),
    R13_BITS(8, DimB, record.dimaltd),
    R13_BITS(8, DimB, record.dimzin),
    R13_FIELD(kB, DimB, record.dimsd1),
    R13_FIELD(kB, DimB, record.dimsd2),
    R13_BITS(8, DimB, record.dimtolj),
    R13_DROP_BITS(8),
    R13_BITS(3, DimB, record.dimjust),
    R13_DROP_BITS(2),
    R13_BITS(3, DimB, record.dimfit),
    R13_FIELD(kB, DimB, record.dimupt),
    R13_BITS(8, DimB, record.dimtzin),
    R13_BITS(8, DimB, record.dimaltz),
    R13_BITS(8, DimB, record.dimalttz),
    R13_BITS(8, DimB, record.dimtad),
    R13_FIELD(kBS, DimB, record.dimunit),
    R13_FIELD(kBS, DimB, record.dimaunit),
    R13_FIELD(kBS, DimB, record.dimdec),
    R13_FIELD(kBS, DimB, record.dimtdec),
    R13_FIELD(kBS, DimB, record.dimaltu),
    R13_FIELD(kBS, DimB, record.dimalttd),
    R13_FIELD(kBD, DimB, record.dimscale),
    R13_FIELD(kBD, DimB, record.dimasz),
    R13_FIELD(kBD, DimB, record.dimexo),
    R13_FIELD(kBD, DimB, record.dimdli),
    R13_FIELD(kBD, DimB, record.dimexe),
    R13_FIELD(kBD, DimB, record.dimrnd),
    R13_FIELD(kBD, DimB, record.dimdle),
    R13_FIELD(kBD, DimB, record.dimtp),
    R13_FIELD(kBD, DimB, record.dimtm),
    R13_FIELD(kBD, DimB, record.dimtxt),
    R13_FIELD(kBD, DimB, record.dimcen),
    R13_FIELD(kBD, DimB, record.dimtsz),
    R13_FIELD(kBD, DimB, record.dimaltf),
    R13_FIELD(kBD, DimB, record.dimlfac),
    R13_FIELD(kBD, DimB, record.dimtvp),
    R13_FIELD(kBD, DimB, record.dimtfac),
    R13_FIELD(kBD, DimB, record.dimgap),
    R13_FIELD(kTV, DimB, record.dimpost),
    R13_FIELD(kTV, DimB, record.dimapost),
    R13_FIELD(kTV, DimB, record.dimblk),
    R13_FIELD(kTV, DimB, record.dimblk1),
    R13_FIELD(kTV, DimB, record.dimblk2),
    R13_FIELD(kBS, DimB, record.dimclrd),
    R13_FIELD(kBS, DimB, record.dimclre),
    R13_FIELD(kBS, DimB, record.dimclrt),
    R13_DROP(kB),
    R13_LINKS(DimB),
};

static_assert(R13FieldsFit(kLayerLayout, sizeof(LayerB)), "layer layout");
static_assert(R13FieldsFit(kLtypeHead, sizeof(LtypeB)) && R13FieldsFit(kLtypeTail, sizeof(LtypeB)),
              "line type layouts");
static_assert(R13FieldsFit(kDashLayout, sizeof(R13Dash)), "dash layout");
static_assert(R13FieldsFit(kStyleLayout, sizeof(StyleB)), "style layout");
static_assert(R13FieldsFit(kViewLayout, sizeof(ViewB)), "view layout");
static_assert(R13FieldsFit(kUcsLayout, sizeof(UcsB)), "UCS layout");
static_assert(R13FieldsFit(kVportHead, sizeof(VportB)) && R13FieldsFit(kVportTail, sizeof(VportB)),
              "viewport layouts");
static_assert(R13FieldsFit(kAppidLayout, sizeof(R13AppidBody)), "application name layout");
static_assert(R13FieldsFit(kDimstyleLayout, sizeof(DimB)), "dimension style layout");

} // namespace

// ---- Records of one layout -----------------------------------------------------------------

template <typename Body> int CR13PlainRecord<Body>::Decode(CBitStream &stream) {
    ReadR13Fields(stream, layout, &this->body);
    return 1;
}

template <typename Body> void CR13PlainRecord<Body>::Encode(CBitWriter &writer) const {
    WriteR13Fields(writer, layout, &this->body);
}

template class CR13PlainRecord<R13Body<CDB_VIEW_TBL_type>>;
template class CR13PlainRecord<R13Body<CDB_UCS_TBL_type>>;
template class CR13PlainRecord<R13AppidBody>;

// ---- Layer ---------------------------------------------------------------------------------

CR13LayerRecord::CR13LayerRecord(CBaseDrawing *drawing)
    : CR13RecordOf(drawing, kR13Layer, offsetof(CDB_LAYER_TBL_type, flags), 1,
                   offsetof(LayerB, object_bits)) {}

void CR13LayerRecord::ConvertLayerFlags(CDB_LAYER_TBL_type &record) {
    const uint8_t raw = record.flags_copy;
    uint8_t flags = 0;
    if (raw & 0x80)
        flags |= 0x40;
    if (raw & 0x08)
        flags |= 0x01;
    if (raw & 0x01)
        flags |= 0x04;
    record.flags = flags;
    if (raw & 0x04)
        record.color = static_cast<int16_t>(-record.color);
}

int CR13LayerRecord::Decode(CBitStream &stream) {
    ReadR13Fields(stream, R13LayoutOf(kLayerLayout), &body);
    ConvertLayerFlags(body.record);
    return 1;
}

// The raw flag byte and the colour go out as the record holds them.
void CR13LayerRecord::Encode(CBitWriter &writer) const {
    WriteR13Fields(writer, R13LayoutOf(kLayerLayout), &body);
}

void CR13LayerRecord::DuplicateOwned() {
    DuplicateTexts(R13LayoutOf(kLayerLayout));
}

void CR13LayerRecord::ReleaseOwned() {
    ReleaseTexts(R13LayoutOf(kLayerLayout));
}

// ---- Line type -----------------------------------------------------------------------------

CR13LtypeRecord::CR13LtypeRecord(CBaseDrawing *drawing)
    : CR13RecordOf(drawing, kR13Ltype, offsetof(CDB_LTYPE_TBL_type, flags), 1,
                   offsetof(LtypeB, object_bits)) {}

int CR13LtypeRecord::Decode(CBitStream &stream) {
    ReadR13Fields(stream, R13LayoutOf(kLtypeHead), &body);
    if (!ReadDashes(stream))
        return 0;
    ReadR13Fields(stream, R13LayoutOf(kLtypeTail), &body);
    CDB_LTYPE_TBL_type &r = body.record;
    for (int16_t i = 0; i < r.dash_count; ++i)
        stream.ReadHandle(r.style_handles[i]);
    return 1;
}

// The dash arrays, all allocated at `dash_count` once the count is known to fit the rest of
// the object; then the values of each dash.
int CR13LtypeRecord::ReadDashes(CBitStream &stream) {
    CDB_LTYPE_TBL_type &r = body.record;
    const size_t n = static_cast<size_t>(r.dash_count);
    if (n == 0)
        return 1;
    if (int64_t(n) * (kMinDashBits + 8) + kMinLtypeTailBits > R13BitsLeft(stream))
        return 0;
    r.dashes = R13NewArray<double>(n);
    r.complex_types = R13NewArray<int16_t>(n);
    r.style_handles = R13NewArray<CHandleRef>(n);
    r.shape_numbers = R13NewArray<double>(n);
    r.scales = R13NewArray<double>(n);
    r.rotations = R13NewArray<double>(n);
    r.x_offsets = R13NewArray<double>(n);
    r.y_offsets = R13NewArray<double>(n);
    if (!r.dashes || !r.complex_types || !r.style_handles || !r.shape_numbers || !r.scales ||
        !r.rotations || !r.x_offsets || !r.y_offsets)
        return 0;
    for (size_t i = 0; i < n; ++i) {
        R13Dash dash{};
        ReadR13Fields(stream, R13LayoutOf(kDashLayout), &dash);
        r.dashes[i] = dash.length;
        r.complex_types[i] = dash.complex_type;
        r.shape_numbers[i] = dash.shape_number;
        r.scales[i] = dash.scale;
        r.rotations[i] = dash.rotation;
        r.x_offsets[i] = dash.x_offset;
        r.y_offsets[i] = dash.y_offset;
    }
    return 1;
}

void CR13LtypeRecord::WriteDashes(CBitWriter &writer) const {
    const CDB_LTYPE_TBL_type &r = body.record;
    for (int16_t i = 0; i < r.dash_count; ++i) {
        auto at = [i](const double *array) { return array ? array[i] : 0.0; };
        R13Dash dash{};
        dash.length = at(r.dashes);
        dash.complex_type = r.complex_types ? r.complex_types[i] : int16_t(0);
        dash.shape_number = at(r.shape_numbers);
        dash.scale = at(r.scales);
        dash.rotation = at(r.rotations);
        dash.x_offset = at(r.x_offsets);
        dash.y_offset = at(r.y_offsets);
        WriteR13Fields(writer, R13LayoutOf(kDashLayout), &dash);
    }
}

const char *CR13LtypeRecord::PassedFormLimit() const {
    constexpr int16_t kMaxDashes = 255;
    return body.record.dash_count > kMaxDashes ? "release 13 DWG: a line type of at most 255 dashes"
                                               : nullptr;
}

void CR13LtypeRecord::Encode(CBitWriter &writer) const {
    WriteR13Fields(writer, R13LayoutOf(kLtypeHead), &body);
    WriteDashes(writer);
    WriteR13Fields(writer, R13LayoutOf(kLtypeTail), &body);
    const CDB_LTYPE_TBL_type &r = body.record;
    for (int16_t i = 0; i < r.dash_count; ++i)
        writer.WriteHandle(r.style_handles ? r.style_handles[i] : CHandleRef{});
}

namespace {

// A malloc copy of `count` elements of `source`; null for a null source or no elements.
template <typename T> T *DuplicateArray(const T *source, int count) {
    if (!source || count <= 0)
        return nullptr;
    const size_t bytes = sizeof(T) * static_cast<size_t>(count);
    T *copy = static_cast<T *>(std::malloc(bytes));
    if (copy)
        std::memcpy(copy, source, bytes);
    return copy;
}

} // namespace

void CR13LtypeRecord::DuplicateOwned() {
    DuplicateTexts(R13LayoutOf(kLtypeHead));
    CDB_LTYPE_TBL_type &r = body.record;
    const int n = r.dash_count;
    r.dashes = DuplicateArray(r.dashes, n);
    r.complex_types = DuplicateArray(r.complex_types, n);
    r.shape_numbers = DuplicateArray(r.shape_numbers, n);
    r.scales = DuplicateArray(r.scales, n);
    r.rotations = DuplicateArray(r.rotations, n);
    r.x_offsets = DuplicateArray(r.x_offsets, n);
    r.y_offsets = DuplicateArray(r.y_offsets, n);
    r.style_handles = DuplicateArray(r.style_handles, n);
}

void CR13LtypeRecord::ReleaseOwned() {
    ReleaseTexts(R13LayoutOf(kLtypeHead));
    CDB_LTYPE_TBL_type &r = body.record;
    std::free(r.dashes);
    std::free(r.complex_types);
    std::free(r.style_handles);
    std::free(r.shape_numbers);
    std::free(r.scales);
    std::free(r.rotations);
    std::free(r.x_offsets);
    std::free(r.y_offsets);
    r.dashes = r.shape_numbers = r.scales = r.rotations = r.x_offsets = r.y_offsets = nullptr;
    r.complex_types = nullptr;
    r.style_handles = nullptr;
}

// ---- Text style ----------------------------------------------------------------------------

CR13StyleRecord::CR13StyleRecord(CBaseDrawing *drawing)
    : CR13RecordOf(drawing, kR13Style, offsetof(CDB_STYLE_TBL_type, flags), 1,
                   offsetof(StyleB, object_bits)) {}

void CR13StyleRecord::ReadFrameStart(CBitStream &stream) {
    stream.Skip(2, 2);
    stream.ReadByte();
}

int CR13StyleRecord::Decode(CBitStream &stream) {
    ReadR13Fields(stream, R13LayoutOf(kStyleLayout), &body);
    return 1;
}

void CR13StyleRecord::Encode(CBitWriter &writer) const {
    WriteR13Fields(writer, R13LayoutOf(kStyleLayout), &body);
}

void CR13StyleRecord::ReleaseOwned() {
    ReleaseTexts(R13LayoutOf(kStyleLayout));
}

void CR13StyleRecord::DuplicateOwned() {
    DuplicateTexts(R13LayoutOf(kStyleLayout));
}

std::string CR13StyleRecord::FontName(const char *font_file) {
    if (!font_file || !*font_file)
        return std::string();
    const char *base = font_file;
    for (const char *p = font_file; *p; ++p)
        if (*p == '\\' || *p == '/' || *p == ':')
            base = p + 1;
    std::string name(base);
    if (name.find('.') == std::string::npos)
        name += ".shx";
    for (char &c : name)
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return name;
}

int CR13StyleRecord::AttachFont(const CR13StyleRecord *known) {
    if (known) {
        const char *was = known->Rec().font_file;
        const char *now = body.record.font_file;
        if (std::strcmp(was ? was : "", now ? now : "") == 0) {
            shape_index = known->shape_index;
            return shape_index >= 0 ? 1 : 0;
        }
    }
    return LoadFont();
}

int CR13StyleRecord::LoadFont() {
    shape_index = -1;
    CShapeTable *shapes = drawing ? drawing->ShapeTable() : nullptr;
    if (!shapes)
        return 0;
    const std::string font = FontName(body.record.font_file);
    const std::string big_font = FontName(body.record.bigfont_file);
    if (!shapes->LoadFont(font.c_str(), big_font.empty() ? nullptr : big_font.c_str()) &&
        !shapes->LoadFont("TXT.SHX", nullptr))
        return 0;
    shape_index = shapes->LastSlot();
    return 1;
}

// ---- Viewport ------------------------------------------------------------------------------

CR13VportRecord::CR13VportRecord(CBaseDrawing *drawing)
    : CR13RecordOf(drawing, kR13Vport, offsetof(CDB_VPORT_TBL_type, flags), 1,
                   offsetof(VportB, object_bits)) {}

// Between the view height and the view centre the object holds the view width, and only
// when the height is not 0: the record keeps it as the aspect ratio, width over height.
int CR13VportRecord::Decode(CBitStream &stream) {
    ReadR13Fields(stream, R13LayoutOf(kVportHead), &body);
    CDB_VPORT_TBL_type &r = body.record;
    if (r.view_height != 0.0)
        r.aspect_ratio = stream.ReadBitDouble() / r.view_height;
    ReadR13Fields(stream, R13LayoutOf(kVportTail), &body);
    return 1;
}

void CR13VportRecord::Encode(CBitWriter &writer) const {
    WriteR13Fields(writer, R13LayoutOf(kVportHead), &body);
    const CDB_VPORT_TBL_type &r = body.record;
    if (r.view_height != 0.0)
        writer.WriteBitDouble(r.aspect_ratio * r.view_height);
    WriteR13Fields(writer, R13LayoutOf(kVportTail), &body);
}

void CR13VportRecord::ReleaseOwned() {
    ReleaseTexts(R13LayoutOf(kVportHead));
}

void CR13VportRecord::DuplicateOwned() {
    DuplicateTexts(R13LayoutOf(kVportHead));
}

// ---- Dimension style -----------------------------------------------------------------------

CR13DimstyleRecord::CR13DimstyleRecord(CBaseDrawing *drawing)
    : CR13RecordOf(drawing, kR13Dimstyle, offsetof(CDB_DIMSTYLE_TBL_type, flags), 1,
                   offsetof(DimB, object_bits)) {}

// The text style reference closes the object; the record keeps its value as handle text in
// `dimtxsty` and its code beside the record.
int CR13DimstyleRecord::Decode(CBitStream &stream) {
    ReadR13Fields(stream, R13LayoutOf(kDimstyleLayout), &body);
    CHandleRef ref{};
    stream.ReadHandle(ref);
    body.text_style_code = ref.code;
    body.record.dimtxsty = R13NewHandleText(ref.value);
    return 1;
}

void CR13DimstyleRecord::Encode(CBitWriter &writer) const {
    WriteR13Fields(writer, R13LayoutOf(kDimstyleLayout), &body);
    CHandleRef ref{body.text_style_code, R13HandleValue(body.record.dimtxsty)};
    writer.WriteHandle(ref);
}

void CR13DimstyleRecord::ReleaseOwned() {
    ReleaseTexts(R13LayoutOf(kDimstyleLayout));
    std::free(body.record.dimtxsty);
    body.record.dimtxsty = nullptr;
}

void CR13DimstyleRecord::DuplicateOwned() {
    DuplicateTexts(R13LayoutOf(kDimstyleLayout));
    body.record.dimtxsty = DuplicateText(body.record.dimtxsty);
}

// ---- Factory -------------------------------------------------------------------------------

CR13TableRecord *MakeR13TableRecord(CBaseDrawing *drawing, int16_t record_type) {
    switch (record_type) {
    case kR13BlockHeader:
        return new (std::nothrow) CR13BlockRecord(drawing);
    case kR13Layer:
        return new (std::nothrow) CR13LayerRecord(drawing);
    case kR13Style:
        return new (std::nothrow) CR13StyleRecord(drawing);
    case kR13Ltype:
        return new (std::nothrow) CR13LtypeRecord(drawing);
    case kR13View:
        return new (std::nothrow) CR13ViewRecord(drawing, kR13View, R13LayoutOf(kViewLayout));
    case kR13Ucs:
        return new (std::nothrow) CR13UcsRecord(drawing, kR13Ucs, R13LayoutOf(kUcsLayout));
    case kR13Vport:
        return new (std::nothrow) CR13VportRecord(drawing);
    case kR13Appid:
        return new (std::nothrow) CR13AppidRecord(drawing, kR13Appid, R13LayoutOf(kAppidLayout));
    case kR13Dimstyle:
        return new (std::nothrow) CR13DimstyleRecord(drawing);
    case kR13VpEntHdr:
        return new (std::nothrow) CR13VpEntHdrRecord(drawing);
    case kR13MlineStyle:
        return new (std::nothrow) CR13MlineStyleRecord(drawing);
    default:
        return nullptr;
    }
}
