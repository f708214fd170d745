#include "dwg12/r12_tables.h"

#include "fonts/shape_table.h"
#include "io/byte_order.h"
#include "io/drawing_file.h"
#include "io/record_field.h"
#include "model/base_drawing.h"

#include <cctype>
#include <cstdlib>
#include <cstring>

namespace {

using K = R12Kind;

constexpr R12Field F(size_t at, R12Kind kind, size_t field, size_t size) {
    return R12Field{static_cast<uint16_t>(at), kind, static_cast<uint16_t>(field),
                    static_cast<uint16_t>(size), 0};
}

#define BLK(field) offsetof(R12BlockBody, field)
#define LAY(field) offsetof(CDB_LAYER_TBL_type, field)
#define STY(field) offsetof(CDB_STYLE_TBL_type, field)
#define LTY(field) offsetof(CDB_LTYPE_TBL_type, field)
#define VIE(field) offsetof(CDB_VIEW_TBL_type, field)
#define UCS(field) offsetof(CDB_UCS_TBL_type, field)
#define VPO(field) offsetof(CDB_VPORT_TBL_type, field)
#define DIM(field) offsetof(CDB_DIMSTYLE_TBL_type, field)

// Block, 45 bytes. The 4 bytes at 39 are not read.
constexpr R12Field kBlockLayout[] = {
    F(35, K::kU24, BLK(block_offset), 4),
};

// Layer, 41 bytes.
constexpr R12Field kLayerLayout[] = {
    F(35, K::kI16, LAY(color), 2),
    F(37, K::kI16, LAY(line_type_index), 2),
};

// Text style, 198 bytes.
constexpr R12Field kStyleLayout[] = {
    F(35, K::kReal, STY(height), 8),         F(43, K::kReal, STY(width_factor), 8),
    F(51, K::kAngle, STY(oblique_angle), 8), F(59, K::kByte, STY(generation_flags), 1),
    F(60, K::kReal, STY(last_height), 8),    F(68, K::kText, STY(font_file), 64),
    F(132, K::kText, STY(bigfont_file), 64),
};

// Line type, 191 bytes. Room for 12 dash lengths; `dash_count` says how many count.
constexpr R12Field kLtypeLayout[] = {
    F(35, K::kText, LTY(description), 48),
    F(83, K::kU8, LTY(alignment), 1),
    F(84, K::kU8, LTY(dash_count), 1),
    F(85, K::kReal, LTY(pattern_length), 8),
    F(93, K::kDashes, LTY(dashes), kR12MaxStoredDashes * 8),
};

// View, 153 bytes. The 2 bytes at 91 are not read.
constexpr R12Field kViewLayout[] = {
    F(35, K::kReal, VIE(height), 8),        F(43, K::kReal, VIE(center), 16),
    F(59, K::kReal, VIE(width), 8),         F(67, K::kReal, VIE(direction), 24),
    F(93, K::kReal, VIE(target), 24),       F(117, K::kReal, VIE(lens_length), 8),
    F(125, K::kAngle, VIE(twist_angle), 8), F(133, K::kReal, VIE(front_clip), 8),
    F(141, K::kReal, VIE(back_clip), 8),    F(149, K::kI16, VIE(view_mode), 2),
};

// User coordinate system, 109 bytes.
constexpr R12Field kUcsLayout[] = {
    F(35, K::kReal, UCS(origin), 24),
    F(59, K::kReal, UCS(x_direction), 24),
    F(83, K::kReal, UCS(y_direction), 24),
};

// Viewport, 253 bytes.
constexpr R12Field kVportLayout[] = {
    F(35, K::kReal, VPO(lower_left), 16),    F(51, K::kReal, VPO(upper_right), 16),
    F(67, K::kReal, VPO(view_target), 24),   F(91, K::kReal, VPO(view_direction), 24),
    F(115, K::kAngle, VPO(twist_angle), 8),  F(123, K::kReal, VPO(view_height), 8),
    F(131, K::kReal, VPO(view_center), 16),  F(147, K::kReal, VPO(aspect_ratio), 8),
    F(155, K::kReal, VPO(lens_length), 8),   F(163, K::kReal, VPO(front_clip), 8),
    F(171, K::kReal, VPO(back_clip), 8),     F(179, K::kI16, VPO(view_mode), 2),
    F(181, K::kI16, VPO(circle_zoom), 2),    F(183, K::kI16, VPO(fast_zoom), 2),
    F(185, K::kI16, VPO(ucs_icon), 2),       F(187, K::kI16, VPO(snap_mode), 2),
    F(189, K::kI16, VPO(grid_mode), 2),      F(191, K::kI16, VPO(snap_style), 2),
    F(193, K::kI16, VPO(snap_isopair), 2),   F(195, K::kAngle, VPO(snap_angle), 8),
    F(203, K::kReal, VPO(snap_base), 16),    F(219, K::kReal, VPO(snap_spacing), 16),
    F(235, K::kReal, VPO(grid_spacing), 16),
};

// Dimension style, 324 bytes. The one-byte switches are signed, as in the header.
constexpr R12Field kDimstyleLayout[] = {
    F(35, K::kReal, DIM(dimscale), 8),   F(43, K::kReal, DIM(dimasz), 8),
    F(51, K::kReal, DIM(dimexo), 8),     F(59, K::kReal, DIM(dimdli), 8),
    F(67, K::kReal, DIM(dimexe), 8),     F(75, K::kReal, DIM(dimrnd), 8),
    F(83, K::kReal, DIM(dimdle), 8),     F(91, K::kReal, DIM(dimtp), 8),
    F(99, K::kReal, DIM(dimtm), 8),      F(107, K::kReal, DIM(dimtxt), 8),
    F(115, K::kReal, DIM(dimcen), 8),    F(123, K::kReal, DIM(dimtsz), 8),
    F(131, K::kReal, DIM(dimaltf), 8),   F(139, K::kReal, DIM(dimlfac), 8),
    F(147, K::kReal, DIM(dimtvp), 8),    F(155, K::kI8, DIM(dimtol), 1),
    F(156, K::kI8, DIM(dimlim), 1),      F(157, K::kI8, DIM(dimtih), 1),
    F(158, K::kI8, DIM(dimtoh), 1),      F(159, K::kI8, DIM(dimse1), 1),
    F(160, K::kI8, DIM(dimse2), 1),      F(161, K::kI8, DIM(dimtad), 1),
    F(162, K::kI8, DIM(dimzin), 1),      F(163, K::kI8, DIM(dimalt), 1),
    F(164, K::kI8, DIM(dimaltd), 1),     F(165, K::kI8, DIM(dimtofl), 1),
    F(166, K::kI8, DIM(dimsah), 1),      F(167, K::kI8, DIM(dimtix), 1),
    F(168, K::kI8, DIM(dimsoxd), 1),     F(169, K::kText, DIM(dimpost), 16),
    F(185, K::kText, DIM(dimapost), 16), F(201, K::kText, DIM(dimblk), 33),
    F(234, K::kText, DIM(dimblk1), 33),  F(267, K::kText, DIM(dimblk2), 33),
    F(300, K::kI16, DIM(dimclrd), 2),    F(302, K::kI16, DIM(dimclre), 2),
    F(304, K::kI16, DIM(dimclrt), 2),    F(306, K::kReal, DIM(dimtfac), 8),
    F(314, K::kReal, DIM(dimgap), 8),
};

#undef BLK
#undef LAY
#undef STY
#undef LTY
#undef VIE
#undef UCS
#undef VPO
#undef DIM

struct TableShape {
    int record_size;
    R12Layout layout;
    size_t body_size; // of the body the layout addresses
};

template <size_t N> constexpr R12Layout L(const R12Field (&fields)[N]) {
    return R12Layout{fields, N};
}

constexpr TableShape kTables[10] = {
    {45, L(kBlockLayout), sizeof(R12BlockBody)},
    {41, L(kLayerLayout), sizeof(CDB_LAYER_TBL_type)},
    {198, L(kStyleLayout), sizeof(CDB_STYLE_TBL_type)},
    {191, L(kLtypeLayout), sizeof(CDB_LTYPE_TBL_type)},
    {153, L(kViewLayout), sizeof(CDB_VIEW_TBL_type)},
    {109, L(kUcsLayout), sizeof(CDB_UCS_TBL_type)},
    {253, L(kVportLayout), sizeof(CDB_VPORT_TBL_type)},
    {37, R12Layout{nullptr, 0}, sizeof(CDB_APPID_TBL_type)},
    {324, L(kDimstyleLayout), sizeof(CDB_DIMSTYLE_TBL_type)},
    {43, R12Layout{nullptr, 0}, sizeof(R12VxBody)},
};

// Bytes a field takes in the record it goes to.
constexpr size_t FieldWidth(const R12Field &f) {
    switch (f.kind) {
    case R12Kind::kReal:
        return f.size;
    case R12Kind::kAngle:
        return 8;
    case R12Kind::kByte:
        return 1;
    case R12Kind::kU24:
        return 4;
    case R12Kind::kText:
    case R12Kind::kDashes:
        return sizeof(void *);
    default:
        return 2;
    }
}

// Every body field lies between the opening and the CRC, in rising order, and within the
// body it addresses.
constexpr bool LayoutsAreSound() {
    for (const TableShape &t : kTables) {
        if (t.record_size <= 0 || size_t(t.record_size) > kR12MaxRecordSize)
            return false;
        size_t end = kR12BodyAt;
        for (size_t i = 0; i < t.layout.count; ++i) {
            const R12Field &f = t.layout.fields[i];
            if (f.file_offset < end || f.size == 0)
                return false;
            end = size_t(f.file_offset) + f.size;
            if (end + kR12CrcSize > size_t(t.record_size))
                return false;
            const size_t width = FieldWidth(f);
            if (size_t(f.field_offset) + width > t.body_size)
                return false;
        }
    }
    return true;
}
static_assert(LayoutsAreSound(), "a table layout is out of order or out of bounds");
static_assert(kR12MaxStoredDashes * 8 + 93 + kR12CrcSize <= 191, "dashes fit the record");

// A zero-filled heap block of `room` bytes holding up to `count` bytes of `src`; null
// when the text is empty or the allocation fails.
char *CopyTextBlock(const uint8_t *src, size_t count, size_t room) {
    if (count == 0 || src[0] == 0)
        return nullptr;
    char *block = static_cast<char *>(std::calloc(room, 1));
    if (!block)
        return nullptr;
    size_t n = 0;
    while (n < count && n + 1 < room && src[n] != 0) {
        block[n] = static_cast<char>(src[n]);
        ++n;
    }
    return block;
}

} // namespace

int R12RecordSize(int t) {
    return t >= 0 && t < 10 ? kTables[t].record_size : 0;
}

R12Layout R12RecordLayout(int t) {
    return t >= 0 && t < 10 ? kTables[t].layout : R12Layout{nullptr, 0};
}

std::string R12StyleFontName(const char *font_file) {
    if (!font_file)
        return "TXT.SHX";
    const char *base = font_file;
    for (const char *p = font_file; *p; ++p)
        if (*p == '\\' || *p == '/')
            base = p + 1;
    std::string name(base);
    if (name.find('.') == std::string::npos)
        name += ".shx";
    for (char &c : name)
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return name;
}

// ---- CR12LayoutRecord ---------------------------------------------------------------------

CR12LayoutRecord::CR12LayoutRecord(CBaseDrawing *drawing, int16_t table, void *body,
                                   size_t body_size, size_t name_offset, size_t flags_offset)
    : CR12TableRecord(drawing), table(table), body(static_cast<uint8_t *>(body)),
      body_size(body_size), name_offset(name_offset), flags_offset(flags_offset) {}

char *CR12LayoutRecord::NameField() const {
    return LoadField<char *>(body, name_offset);
}

void CR12LayoutRecord::SetNameField(char *name) {
    StoreField<char *>(body, name_offset, name);
}

void CR12LayoutRecord::SetFlagsField(uint8_t flags) {
    body[flags_offset] = flags;
}

int CR12TableRecord::ReadDXF(R12DxfRecordContext &, char *) {
    return 0;
}

int CR12TableRecord::EncodeDWG(uint8_t *) const {
    return 0;
}

int CR12TableRecord::WriteDXF(R12DxfWriteContext &) const {
    return 0;
}

const char *CR12LayoutRecord::Name() const {
    return NameField();
}

uint8_t CR12LayoutRecord::Flags() const {
    return body[flags_offset];
}

short CR12LayoutRecord::GetFileSize() const {
    return static_cast<short>(R12RecordSize(table));
}

int CR12LayoutRecord::CompareName(const char *name) const {
    const char *own = NameField();
    if (!name || !own || (Flags() & kR12DeletedFlag))
        return 0;
    return std::strcmp(own, name) == 0 ? 1 : 0;
}

void CR12LayoutRecord::GetName(char *buffer) const {
    if (!buffer)
        return;
    const char *own = NameField();
    size_t n = 0;
    if (own && !(Flags() & kR12DeletedFlag))
        while (n + 1 < kR12NameBufferSize && own[n] != 0) {
            buffer[n] = own[n];
            ++n;
        }
    buffer[n] = 0;
}

void CR12LayoutRecord::ReleaseBlocks() {
    std::free(NameField());
    SetNameField(nullptr);
    R12Layout layout = R12RecordLayout(table);
    for (size_t i = 0; i < layout.count; ++i) {
        const R12Field &f = layout.fields[i];
        if (f.kind != R12Kind::kText && f.kind != R12Kind::kDashes)
            continue;
        std::free(LoadField<void *>(body, f.field_offset));
        StoreField<void *>(body, f.field_offset, nullptr);
    }
}

void CR12LayoutRecord::Clear() {
    ReleaseBlocks();
    std::memset(body, 0, body_size);
}

int CR12LayoutRecord::Read(CDrawingFile &file) {
    size_t size = static_cast<size_t>(GetFileSize());
    uint8_t scratch[kR12MaxRecordSize] = {};
    if (size == 0 || size > sizeof(scratch))
        return 0;
    if (!file.Read(scratch, static_cast<uint32_t>(size)))
        return 0;
    return Decode(scratch, size);
}

int CR12LayoutRecord::AfterDecode(const uint8_t *, size_t) {
    return 1;
}

int CR12LayoutRecord::Decode(const uint8_t *bytes, size_t size) {
    Clear();
    // Bytes beyond `size` read as zero: work on a full-size copy.
    const size_t record_size = static_cast<size_t>(R12RecordSize(table));
    uint8_t record[kR12MaxRecordSize] = {};
    if (bytes)
        std::memcpy(record, bytes, size < record_size ? size : record_size);

    body[flags_offset] = record[kR12FlagsAt];
    if (record[kR12FlagsAt] & kR12DeletedFlag)
        return 0;
    SetNameField(CopyTextBlock(record + kR12NameAt, kR12NameSize, kR12NameBlockSize));

    R12Layout layout = R12RecordLayout(table);
    for (size_t i = 0; i < layout.count; ++i) {
        const R12Field &f = layout.fields[i];
        if (R12DecodePlainField(f, record, record_size, body))
            continue;
        if (size_t(f.file_offset) + f.size > record_size)
            continue;
        const uint8_t *src = record + f.file_offset;
        switch (f.kind) {
        case R12Kind::kText:
            StoreField<char *>(body, f.field_offset, CopyTextBlock(src, f.size, f.size + 1u));
            break;
        case R12Kind::kDashes: {
            // dash_count is one byte in the file, so up to 255 dashes may be announced;
            // the record has room for 12 lengths, and the others stay 0.
            int16_t count = LoadField<int16_t>(body, offsetof(CDB_LTYPE_TBL_type, dash_count));
            if (count <= 0)
                break;
            double *dashes = static_cast<double *>(std::calloc(size_t(count), sizeof(double)));
            if (!dashes)
                break;
            size_t stored = f.size / 8;
            for (size_t d = 0; d < size_t(count) && d < stored; ++d)
                ReadValueAt(record, record_size, f.file_offset + d * 8, dashes[d]);
            StoreField<double *>(body, f.field_offset, dashes);
            break;
        }
        default:
            break;
        }
    }
    return AfterDecode(record, record_size);
}

// ---- Classes with a step of their own -------------------------------------------------------

int CR12BlockRecord::AfterDecode(const uint8_t *, size_t) {
    const char *name = Name();
    if (name)
        std::strncpy(body.name_in_place, name, sizeof(body.name_in_place) - 1);
    return 1;
}

int CR12StyleRecord::AfterDecode(const uint8_t *, size_t) {
    return LoadFont();
}

int CR12StyleRecord::LoadFont() {
    shape_index = -1;
    CShapeTable *shapes = drawing ? drawing->ShapeTable() : nullptr;
    if (!shapes)
        return 0;
    // The table looks beside the drawing, along its search path and in the index. The big
    // font, when the style names one, comes with the font; the fall-back has none.
    std::string font = R12StyleFontName(body.record.font_file);
    const char *big_font = body.record.bigfont_file;
    if (!shapes->LoadFont(font.c_str(), big_font && *big_font ? big_font : nullptr) &&
        !shapes->LoadFont("TXT.SHX", nullptr))
        return 0;
    shape_index = shapes->LastSlot();
    return 1;
}

int CR12VxHeaderRecord::Decode(const uint8_t *bytes, size_t size) {
    int result = CR12LayoutRecord::Decode(bytes, size);
    std::memset(body.record.raw, 0, sizeof(body.record.raw));
    if (bytes)
        std::memcpy(body.record.raw, bytes,
                    size < sizeof(body.record.raw) ? size : sizeof(body.record.raw));
    body.record.raw[38] = 0;
    return result;
}

// ---- Factories and accessors ----------------------------------------------------------------

CR12TableRecord *MakeR12TableRecord(CBaseDrawing *drawing, int t) {
    switch (t) {
    case kR12Blocks:
        return new CR12BlockRecord(drawing);
    case kR12Layers:
        return new CR12LayerRecord(drawing);
    case kR12Styles:
        return new CR12StyleRecord(drawing);
    case kR12Ltypes:
        return new CR12LtypeRecord(drawing);
    case kR12Views:
        return new CR12ViewRecord(drawing);
    case kR12Ucs:
        return new CR12UcsRecord(drawing);
    case kR12Vports:
        return new CR12VportRecord(drawing);
    case kR12Appids:
        return new CR12AppidRecord(drawing);
    case kR12Dimstyles:
        return new CR12DimstyleRecord(drawing);
    case kR12VxHeaders:
        return new CR12VxHeaderRecord(drawing);
    default:
        return nullptr;
    }
}

namespace {
enum class ViewValue : uint8_t { kPoint2, kPoint3, kReal, kInt16, kAngle };
struct ViewVariable {
    size_t header_offset;
    size_t vport_offset;
    ViewValue value;
};
#define VIEW(header_field, vport_field, value)                                                     \
    {                                                                                              \
        offsetof(CDB_HEADER_type, header_field), offsetof(CDB_VPORT_TBL_type, vport_field),        \
            ViewValue::value                                                                       \
    }
constexpr ViewVariable kViewVariables[] = {
    VIEW(viewctr, view_center, kPoint2),     VIEW(viewsize, view_height, kReal),
    VIEW(viewdir, view_direction, kPoint3),  VIEW(snapmode, snap_mode, kInt16),
    VIEW(snapunit, snap_spacing, kPoint2),   VIEW(snapbase, snap_base, kPoint2),
    VIEW(snapang, snap_angle, kAngle),       VIEW(snapstyle, snap_style, kInt16),
    VIEW(snapisopair, snap_isopair, kInt16), VIEW(gridmode, grid_mode, kInt16),
    VIEW(gridunit, grid_spacing, kPoint2),   VIEW(fastzoom, fast_zoom, kInt16),
};
#undef VIEW

size_t ViewValueSize(ViewValue value) {
    switch (value) {
    case ViewValue::kPoint2:
        return sizeof(CDB_POINT2);
    case ViewValue::kPoint3:
        return sizeof(CDB_POINT3);
    case ViewValue::kInt16:
        return sizeof(int16_t);
    default:
        return sizeof(double);
    }
}

// Copies each view value from `from` to `to`; `to_degrees` says which way an angle goes.
void CopyView(const uint8_t *from, bool from_header, uint8_t *to, bool to_degrees) {
    for (const ViewVariable &v : kViewVariables) {
        const size_t source = from_header ? v.header_offset : v.vport_offset;
        const size_t target = from_header ? v.vport_offset : v.header_offset;
        if (v.value == ViewValue::kAngle) {
            const double angle = LoadField<double>(from, source);
            StoreField<double>(to, target,
                               to_degrees ? RadiansToDegrees(angle) : R12AngleToFile(angle));
        } else {
            std::memcpy(to + target, from + source, ViewValueSize(v.value));
        }
    }
}
} // namespace

void R12ViewFromHeader(const CDB_HEADER_type &header, CDB_VPORT_TBL_type &vport) {
    CopyView(reinterpret_cast<const uint8_t *>(&header), true, reinterpret_cast<uint8_t *>(&vport),
             true);
}

void R12ViewIntoHeader(const CDB_VPORT_TBL_type &vport, CDB_HEADER_type &header) {
    CopyView(reinterpret_cast<const uint8_t *>(&vport), false, reinterpret_cast<uint8_t *>(&header),
             false);
}

bool R12IsViewVariable(size_t header_offset) {
    for (const ViewVariable &v : kViewVariables)
        if (v.header_offset == header_offset)
            return true;
    return false;
}

CR12TableRecord *MakeR12ActiveVport(CBaseDrawing *drawing, const CDB_HEADER_type &header) {
    auto *vport = new CR12VportRecord(drawing);
    CDB_VPORT_TBL_type &r = vport->GetTypedRecord();
    static const char kActive[] = "*ACTIVE";
    char *name = static_cast<char *>(std::calloc(kR12NameBlockSize, 1));
    if (name)
        std::memcpy(name, kActive, sizeof(kActive));
    r.name = name;
    r.flags = 0x40;
    r.lower_left = CDB_POINT2{0.0, 0.0};
    r.upper_right = CDB_POINT2{1.0, 1.0};
    R12ViewFromHeader(header, r);
    r.view_target = CDB_POINT3{0.0, 0.0, 0.0};
    // The header carries nothing for these: they take the viewport record's defaults.
    r.aspect_ratio = 1.377111;
    r.lens_length = 50.0;
    r.front_clip = 0.0;
    r.back_clip = 0.0;
    r.twist_angle = 0.0;
    r.viewport_status = 2;
    r.viewport_id = 5699;
    r.view_mode = 0;
    r.circle_zoom = 100;
    r.ucs_icon = 1;
    vport->table_id = kR12Vports;
    return vport;
}

const uint8_t *R12VxRaw(const CR12TableRecord *record) {
    auto *vx = dynamic_cast<const CR12VxHeaderRecord *>(record);
    return vx ? vx->Raw() : nullptr;
}

uint32_t R12BlockOffset(const CR12TableRecord *record) {
    auto *block = dynamic_cast<const CR12BlockRecord *>(record);
    return block ? block->BlockOffset() : 0;
}

int R12StyleShapeIndex(const CR12TableRecord *record) {
    auto *style = dynamic_cast<const CR12StyleRecord *>(record);
    return style ? style->ShapeIndex() : -1;
}

// ---- Loading one table ----------------------------------------------------------------------

int LoadR12Table(CBaseDrawing *drawing, CDrawingFile &file, CR12TableList &list,
                 const uint8_t descriptor[kR12DescriptorSize],
                 const CDB_HEADER_type *header_for_default_vport) {
    if (!file.IsOpen() || list.Count() != 0 || !descriptor)
        return 0;
    const int t = list.TableNumber();
    const int record_size = R12RecordSize(t);
    if (record_size == 0)
        return 0;

    int16_t table_id = 0;
    int16_t count = 0;
    uint32_t position = 0;
    ReadValueAt(descriptor, kR12DescriptorSize, 0, table_id);
    ReadValueAt(descriptor, kR12DescriptorSize, 4, count);
    ReadValueAt(descriptor, kR12DescriptorSize, 6, position);
    const int32_t saved = file.GetPosition();
    const int64_t length = file.Length();
    // Only the records that begin inside the file get a slot (the last one may be cut
    // short, its missing bytes read as zero): a count past the end makes no empty slots.
    const int64_t room = length > int64_t(position)
                             ? (length - int64_t(position) + record_size - 1) / record_size
                             : 0;
    const int slots = count < room ? count : static_cast<int>(room);

    for (int i = 0; i < slots; ++i) {
        CR12TableRecord *record = MakeR12TableRecord(drawing, t);
        record->table_id = table_id;
        int result = 0;
        // Each record is read at its own place, so that one that fails to read does not
        // shift the ones behind it. A record that cannot be read stays an empty slot.
        const int64_t at = int64_t(position) + int64_t(i) * record_size;
        if (at < length && at <= INT32_MAX && file.SetPosition(static_cast<int32_t>(at), 0))
            result = record->Read(file);
        if (t == kR12Vports && result == 0) {
            delete record;
            continue;
        }
        list.Add(record);
    }

    if (t == kR12Vports && count == 0) {
        CDB_HEADER_type zero;
        std::memset(&zero, 0, sizeof(zero));
        CR12TableRecord *active = MakeR12ActiveVport(
            drawing, header_for_default_vport ? *header_for_default_vport : zero);
        active->table_id = table_id;
        list.Add(active);
    }

    file.SetPosition(saved, 0);
    return 1;
}
