// Hand-made release 12 DWG files for the unit tests. See dwg12_builder.h.
#include "support/dwg12_builder.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <stdexcept>

namespace velko_test {

// ---------------------------------------------------------------------------
// Little-endian helpers
// ---------------------------------------------------------------------------

namespace {

void Grow(Bytes &b, size_t end) {
    if (b.size() < end)
        b.resize(end, 0);
}

void PutLE(Bytes &b, size_t offset, uint64_t v, size_t n) {
    Grow(b, offset + n);
    for (size_t i = 0; i < n; ++i)
        b[offset + i] = static_cast<uint8_t>(v >> (8 * i));
}

uint64_t GetLE(const Bytes &b, size_t offset, size_t n) {
    if (offset + n > b.size())
        throw std::out_of_range("dwg12 builder: read past the end");
    uint64_t v = 0;
    for (size_t i = 0; i < n; ++i)
        v |= static_cast<uint64_t>(b[offset + i]) << (8 * i);
    return v;
}

uint64_t DoubleBits(double v) {
    uint64_t bits;
    static_assert(sizeof bits == sizeof v, "double must be 64 bits");
    std::memcpy(&bits, &v, sizeof bits);
    return bits;
}

} // namespace

void put_u8(Bytes &b, size_t offset, uint8_t v) {
    PutLE(b, offset, v, 1);
}
void put_i16(Bytes &b, size_t offset, int16_t v) {
    PutLE(b, offset, static_cast<uint16_t>(v), 2);
}
void put_u16(Bytes &b, size_t offset, uint16_t v) {
    PutLE(b, offset, v, 2);
}
void put_i32(Bytes &b, size_t offset, int32_t v) {
    PutLE(b, offset, static_cast<uint32_t>(v), 4);
}
void put_u32(Bytes &b, size_t offset, uint32_t v) {
    PutLE(b, offset, v, 4);
}
void put_f64(Bytes &b, size_t offset, double v) {
    PutLE(b, offset, DoubleBits(v), 8);
}

void put_text(Bytes &b, size_t offset, size_t size, const std::string &text) {
    Grow(b, offset + size);
    std::fill(b.begin() + offset, b.begin() + offset + size, 0);
    std::copy_n(text.begin(), std::min(size, text.size()), b.begin() + offset);
}

void put_bytes(Bytes &b, size_t offset, const uint8_t *data, size_t n) {
    Grow(b, offset + n);
    std::copy_n(data, n, b.begin() + offset);
}

void append_u8(Bytes &b, uint8_t v) {
    put_u8(b, b.size(), v);
}
void append_i16(Bytes &b, int16_t v) {
    put_i16(b, b.size(), v);
}
void append_u16(Bytes &b, uint16_t v) {
    put_u16(b, b.size(), v);
}
void append_i32(Bytes &b, int32_t v) {
    put_i32(b, b.size(), v);
}
void append_u32(Bytes &b, uint32_t v) {
    put_u32(b, b.size(), v);
}
void append_f64(Bytes &b, double v) {
    put_f64(b, b.size(), v);
}
void append_text(Bytes &b, size_t size, const std::string &text) {
    put_text(b, b.size(), size, text);
}
void append_bytes(Bytes &b, const Bytes &more) {
    b.insert(b.end(), more.begin(), more.end());
}
void append_zeros(Bytes &b, size_t n) {
    b.resize(b.size() + n, 0);
}

uint16_t get_u16(const Bytes &b, size_t offset) {
    return static_cast<uint16_t>(GetLE(b, offset, 2));
}
int16_t get_i16(const Bytes &b, size_t offset) {
    return static_cast<int16_t>(get_u16(b, offset));
}
uint32_t get_u32(const Bytes &b, size_t offset) {
    return static_cast<uint32_t>(GetLE(b, offset, 4));
}
double get_f64(const Bytes &b, size_t offset) {
    uint64_t bits = GetLE(b, offset, 8);
    double v;
    std::memcpy(&v, &bits, sizeof v);
    return v;
}

// ---------------------------------------------------------------------------
// CRC
// ---------------------------------------------------------------------------

uint16_t DwgCrc(const uint8_t *data, size_t n, uint16_t seed) {
    uint16_t reg = seed;
    for (size_t i = 0; i < n; ++i) {
        reg ^= data[i];
        for (int bit = 0; bit < 8; ++bit)
            reg = (reg & 1) ? static_cast<uint16_t>((reg >> 1) ^ 0xA001)
                            : static_cast<uint16_t>(reg >> 1);
    }
    return reg;
}

const std::array<uint8_t, kDwg12SentinelSize> kDwg12Sentinel = {
    0xC4, 0x6E, 0x68, 0x54, 0xF8, 0x6E, 0x33, 0x30, 0x63, 0x3E, 0xC1, 0x85, 0x2A, 0xDC, 0x94, 0x01};

// ---------------------------------------------------------------------------
// Header block
// ---------------------------------------------------------------------------

Dwg12HeaderBlock::Dwg12HeaderBlock() {
    data_.fill(0);
    SetText(hdr::acadver, 6, "AC1009");
}

void Dwg12HeaderBlock::Check(size_t offset, size_t n) const {
    if (offset + n > data_.size())
        throw std::out_of_range("dwg12 header block: field past 1727 bytes");
}

namespace {
void PutArray(std::array<uint8_t, kDwg12HeaderSize> &a, size_t offset, uint64_t v, size_t n) {
    for (size_t i = 0; i < n; ++i)
        a[offset + i] = static_cast<uint8_t>(v >> (8 * i));
}
uint64_t GetArray(const std::array<uint8_t, kDwg12HeaderSize> &a, size_t offset, size_t n) {
    uint64_t v = 0;
    for (size_t i = 0; i < n; ++i)
        v |= static_cast<uint64_t>(a[offset + i]) << (8 * i);
    return v;
}
} // namespace

void Dwg12HeaderBlock::SetI8(size_t offset, int8_t v) {
    SetU8(offset, static_cast<uint8_t>(v));
}
void Dwg12HeaderBlock::SetU8(size_t offset, uint8_t v) {
    Check(offset, 1);
    data_[offset] = v;
}
void Dwg12HeaderBlock::SetI16(size_t offset, int16_t v) {
    SetU16(offset, static_cast<uint16_t>(v));
}
void Dwg12HeaderBlock::SetU16(size_t offset, uint16_t v) {
    Check(offset, 2);
    PutArray(data_, offset, v, 2);
}
void Dwg12HeaderBlock::SetI32(size_t offset, int32_t v) {
    SetU32(offset, static_cast<uint32_t>(v));
}
void Dwg12HeaderBlock::SetU32(size_t offset, uint32_t v) {
    Check(offset, 4);
    PutArray(data_, offset, v, 4);
}
void Dwg12HeaderBlock::SetF64(size_t offset, double v) {
    Check(offset, 8);
    PutArray(data_, offset, DoubleBits(v), 8);
}
void Dwg12HeaderBlock::SetPoint2(size_t offset, double x, double y) {
    SetF64(offset, x);
    SetF64(offset + 8, y);
}
void Dwg12HeaderBlock::SetPoint3(size_t offset, double x, double y, double z) {
    SetF64(offset, x);
    SetF64(offset + 8, y);
    SetF64(offset + 16, z);
}
void Dwg12HeaderBlock::SetText(size_t offset, size_t size, const std::string &text) {
    Check(offset, size);
    std::fill_n(data_.begin() + offset, size, 0);
    std::copy_n(text.begin(), std::min(size, text.size()), data_.begin() + offset);
}
void Dwg12HeaderBlock::SetBytes(size_t offset, const uint8_t *data, size_t n) {
    Check(offset, n);
    std::copy_n(data, n, data_.begin() + offset);
}
void Dwg12HeaderBlock::SetBytes(size_t offset, const Bytes &data) {
    SetBytes(offset, data.data(), data.size());
}

int16_t Dwg12HeaderBlock::GetI16(size_t offset) const {
    Check(offset, 2);
    return static_cast<int16_t>(GetArray(data_, offset, 2));
}
uint32_t Dwg12HeaderBlock::GetU32(size_t offset) const {
    Check(offset, 4);
    return static_cast<uint32_t>(GetArray(data_, offset, 4));
}
double Dwg12HeaderBlock::GetF64(size_t offset) const {
    Check(offset, 8);
    uint64_t bits = GetArray(data_, offset, 8);
    double v;
    std::memcpy(&v, &bits, sizeof v);
    return v;
}

void Dwg12HeaderBlock::SetMenu(const std::string &name) {
    SetText(hdr::menu, 15, name.substr(0, std::min<size_t>(15, name.size())));
    SetText(hdr::menu_rest, 45, name.size() > 15 ? name.substr(15) : std::string());
}

void Dwg12HeaderBlock::SetHandseed(const std::array<uint8_t, 8> &seed) {
    SetBytes(hdr::handseed, seed.data(), seed.size());
}

void Dwg12HeaderBlock::SetDescriptorCopy(int t, uint16_t record_size, int32_t count,
                                         uint32_t position) {
    size_t at = kDwg12HeaderDescriptorCopyAt.at(static_cast<size_t>(t));
    SetU16(at, record_size);
    SetI32(at + 2, count);
    SetU32(at + 6, position);
}

void Dwg12HeaderBlock::SealCrc() {
    SetU16(hdr::crc, DwgCrc(data_.data(), hdr::crc));
}

Dwg12HeaderBlock Dwg12HeaderBlock::Defaults() {
    using namespace hdr;
    Dwg12HeaderBlock h;
    h.SetPoint3(insbase, 0, 0, 0);
    h.SetPoint3(extmin, 0, 0, 0);
    h.SetPoint3(extmax, 12, 9, 0);
    h.SetPoint2(limmin, 0, 0);
    h.SetPoint2(limmax, 12, 9);
    h.SetPoint2(viewctr, 6, 4.5);
    h.SetF64(viewsize, 9);
    h.SetPoint2(snapunit, 1, 1);
    h.SetPoint2(snapbase, 0, 0);
    h.SetPoint2(gridunit, 0, 0);
    h.SetI16(regenmode, 1);
    h.SetI16(fillmode, 1);
    h.SetI16(dragmode, 2);
    h.SetF64(ltscale, 1);
    h.SetF64(textsize, 0.2);
    h.SetF64(tracewid, 0.05);
    h.SetI16(clayer, 0);
    h.SetI16(treedepth, 3020);
    h.SetI16(lunits, 2);
    h.SetI16(luprec, 4);
    h.SetF64(sketchinc, 0.1);
    h.SetI16(attmode, 1);
    h.SetMenu("acad");
    h.SetF64(dimscale, 1);
    h.SetF64(dimasz, 0.18);
    h.SetF64(dimexo, 0.0625);
    h.SetF64(dimdli, 0.38);
    h.SetF64(dimexe, 0.18);
    h.SetF64(dimtxt, 0.18);
    h.SetF64(dimcen, 0.09);
    h.SetI8(dimtih, 1);
    h.SetI8(dimtoh, 1);
    h.SetPoint3(viewdir, 0, 0, 1);
    h.SetI16(blipmode, 1);
    h.SetI16(cecolor, 256);
    h.SetI16(celtype, 0x7FFF);
    h.SetI16(usrtimer, 1);
    h.SetI16(fastzoom, 1);
    h.SetI8(dimaltd, 2);
    h.SetI8(dimaso, 1);
    h.SetI8(dimsho, 1);
    h.SetF64(dimaltf, 25.4);
    h.SetF64(dimlfac, 1);
    h.SetI16(splinesegs, 8);
    h.SetI16(attreq, 1);
    h.SetI16(mirrtext, 1);
    h.SetI16(dwgcodepage, 0);
    h.SetPoint3(ucsorg, 0, 0, 0);
    h.SetPoint3(ucsxdir, 1, 0, 0);
    h.SetPoint3(ucsydir, 0, 1, 0);
    h.SetI16(handling, 0);
    h.SetHandseed({0, 0, 0, 0, 0, 0, 0, 0});
    h.SetI16(surfu, 6);
    h.SetI16(surfv, 6);
    h.SetI16(surftype, 6);
    h.SetI16(surftab1, 6);
    h.SetI16(surftab2, 6);
    h.SetI16(splinetype, 6);
    h.SetI16(ucsname, -1);
    h.SetI16(worldview, 1);
    h.SetI16(dimstyle, -1);
    h.SetI16(shadedge, 3);
    h.SetI16(shadedif, 70);
    h.SetF64(dimtfac, 1);
    h.SetPoint3(pucsxdir, 1, 0, 0);
    h.SetPoint3(pucsydir, 0, 1, 0);
    h.SetI16(pucsname, -1);
    h.SetI16(tilemode, 1);
    h.SetPoint3(pextmin, 0, 0, 0);
    h.SetPoint3(pextmax, 12, 9, 0);
    h.SetPoint2(plimmax, 12, 9);
    h.SetI16(maxactvp, 16);
    h.SetF64(dimgap, 0.09);
    return h;
}

// ---------------------------------------------------------------------------
// Table records
// ---------------------------------------------------------------------------

namespace {

Bytes Opening(int table, uint8_t flags, const std::string &name, uint16_t after_name) {
    Bytes b(kDwg12RecordSize[static_cast<size_t>(table)], 0);
    put_u8(b, 0, flags);
    put_text(b, 1, 32, name);
    put_u16(b, 33, after_name);
    return b;
}

void PutPoints(Bytes &b, size_t offset, const double *p, size_t n) {
    for (size_t i = 0; i < n; ++i)
        put_f64(b, offset + 8 * i, p[i]);
}

Bytes Sealed(Bytes b) {
    SealRecord(b);
    return b;
}

} // namespace

void SealRecord(Bytes &record) {
    if (record.size() < 2)
        throw std::invalid_argument("dwg12 builder: record too short for a CRC");
    size_t n = record.size() - 2;
    put_u16(record, n, DwgCrc(record.data(), n));
}

Bytes MakeBlockRecord(const BlockRec &r) {
    Bytes b = Opening(kBlockTable, r.flags, r.name, r.after_name);
    put_u32(b, 35,
            (r.block_offset & 0x00FFFFFFu) | (static_cast<uint32_t>(r.offset_top_byte) << 24));
    put_u32(b, 39, r.unused39);
    return Sealed(std::move(b));
}

Bytes MakeLayerRecord(const LayerRec &r) {
    Bytes b = Opening(kLayerTable, r.flags, r.name, r.after_name);
    put_i16(b, 35, r.color);
    put_i16(b, 37, r.ltype);
    return Sealed(std::move(b));
}

Bytes MakeStyleRecord(const StyleRec &r) {
    Bytes b = Opening(kStyleTable, r.flags, r.name, r.after_name);
    put_f64(b, 35, r.height);
    put_f64(b, 43, r.width_factor);
    put_f64(b, 51, r.oblique_angle);
    put_u8(b, 59, r.generation_flags);
    put_f64(b, 60, r.last_height);
    put_text(b, 68, 64, r.font_file);
    put_text(b, 132, 64, r.bigfont_file);
    return Sealed(std::move(b));
}

Bytes MakeLtypeRecord(const LtypeRec &r) {
    Bytes b = Opening(kLtypeTable, r.flags, r.name, r.after_name);
    put_text(b, 35, 48, r.description);
    put_u8(b, 83, r.alignment);
    int count = r.dash_count < 0 ? static_cast<int>(r.dashes.size()) : r.dash_count;
    put_u8(b, 84, static_cast<uint8_t>(count));
    put_f64(b, 85, r.pattern_length);
    for (size_t i = 0; i < r.dashes.size() && i < 12; ++i)
        put_f64(b, 93 + 8 * i, r.dashes[i]);
    return Sealed(std::move(b));
}

Bytes MakeViewRecord(const ViewRec &r) {
    Bytes b = Opening(kViewTable, r.flags, r.name, r.after_name);
    put_f64(b, 35, r.height);
    PutPoints(b, 43, r.center, 2);
    put_f64(b, 59, r.width);
    PutPoints(b, 67, r.direction, 3);
    put_u16(b, 91, r.unused91);
    PutPoints(b, 93, r.target, 3);
    put_f64(b, 117, r.lens_length);
    put_f64(b, 125, r.twist_angle);
    put_f64(b, 133, r.front_clip);
    put_f64(b, 141, r.back_clip);
    put_i16(b, 149, r.view_mode);
    return Sealed(std::move(b));
}

Bytes MakeUcsRecord(const UcsRec &r) {
    Bytes b = Opening(kUcsTable, r.flags, r.name, r.after_name);
    PutPoints(b, 35, r.origin, 3);
    PutPoints(b, 59, r.x_direction, 3);
    PutPoints(b, 83, r.y_direction, 3);
    return Sealed(std::move(b));
}

Bytes MakeVportRecord(const VportRec &r) {
    Bytes b = Opening(kVportTable, r.flags, r.name, r.after_name);
    PutPoints(b, 35, r.lower_left, 2);
    PutPoints(b, 51, r.upper_right, 2);
    PutPoints(b, 67, r.view_target, 3);
    PutPoints(b, 91, r.view_direction, 3);
    put_f64(b, 115, r.twist_angle);
    put_f64(b, 123, r.view_height);
    PutPoints(b, 131, r.view_center, 2);
    put_f64(b, 147, r.aspect_ratio);
    put_f64(b, 155, r.lens_length);
    put_f64(b, 163, r.front_clip);
    put_f64(b, 171, r.back_clip);
    const int16_t modes[8] = {r.view_mode, r.circle_zoom, r.fast_zoom,  r.ucs_icon,
                              r.snap_mode, r.grid_mode,   r.snap_style, r.snap_isopair};
    for (size_t i = 0; i < 8; ++i)
        put_i16(b, 179 + 2 * i, modes[i]);
    put_f64(b, 195, r.snap_angle);
    PutPoints(b, 203, r.snap_base, 2);
    PutPoints(b, 219, r.snap_spacing, 2);
    PutPoints(b, 235, r.grid_spacing, 2);
    return Sealed(std::move(b));
}

Bytes MakeAppidRecord(const AppidRec &r) {
    return Sealed(Opening(kAppidTable, r.flags, r.name, r.after_name));
}

Bytes MakeDimstyleRecord(const DimstyleRec &r) {
    Bytes b = Opening(kDimstyleTable, r.flags, r.name, r.after_name);
    const double reals[15] = {r.dimscale, r.dimasz, r.dimexo,  r.dimdli,  r.dimexe,
                              r.dimrnd,   r.dimdle, r.dimtp,   r.dimtm,   r.dimtxt,
                              r.dimcen,   r.dimtsz, r.dimaltf, r.dimlfac, r.dimtvp};
    PutPoints(b, 35, reals, 15);
    const int8_t small[14] = {r.dimtol,  r.dimlim, r.dimtih, r.dimtoh, r.dimse1,
                              r.dimse2,  r.dimtad, r.dimzin, r.dimalt, r.dimaltd,
                              r.dimtofl, r.dimsah, r.dimtix, r.dimsoxd};
    for (size_t i = 0; i < 14; ++i)
        put_u8(b, 155 + i, static_cast<uint8_t>(small[i]));
    put_text(b, 169, 16, r.dimpost);
    put_text(b, 185, 16, r.dimapost);
    put_text(b, 201, 33, r.dimblk);
    put_text(b, 234, 33, r.dimblk1);
    put_text(b, 267, 33, r.dimblk2);
    put_i16(b, 300, r.dimclrd);
    put_i16(b, 302, r.dimclre);
    put_i16(b, 304, r.dimclrt);
    put_f64(b, 306, r.dimtfac);
    put_f64(b, 314, r.dimgap);
    return Sealed(std::move(b));
}

Bytes MakeVxRecord(const VxRec &r) {
    Bytes b = Opening(kVxTable, r.flags, r.name, r.after_name);
    put_u32(b, 35, r.entity_ref);
    put_u16(b, 39, r.vx_index);
    return Sealed(std::move(b));
}

Bytes MakeZeroRecord(int table, uint8_t flags) {
    Bytes b(kDwg12RecordSize.at(static_cast<size_t>(table)), 0);
    b[0] = flags;
    return Sealed(std::move(b));
}

// ---------------------------------------------------------------------------
// Whole file
// ---------------------------------------------------------------------------

Dwg12FileBuilder::Dwg12FileBuilder() : header_(Dwg12HeaderBlock::Defaults()) {}

Dwg12FileBuilder &Dwg12FileBuilder::AddMinimalTables() {
    Add(LayerRec{});
    Add(StyleRec{});
    LtypeRec continuous;
    continuous.flags = 0x40;
    Add(continuous);
    Add(VportRec{});
    AppidRec acad;
    acad.flags = 0x40;
    Add(acad);
    return *this;
}

std::vector<Bytes> &Dwg12FileBuilder::records(int t) {
    return tables_.at(static_cast<size_t>(t));
}

Dwg12FileBuilder &Dwg12FileBuilder::AddRecord(int t, Bytes record) {
    records(t).push_back(std::move(record));
    return *this;
}

void Dwg12FileBuilder::OverrideDescriptor(int t, uint16_t record_size, int16_t count,
                                          uint32_t position) {
    Override &o = overrides_.at(static_cast<size_t>(t));
    o.has_rest = true;
    o.record_size = record_size;
    o.count = count;
    o.position = position;
}

void Dwg12FileBuilder::OverrideDescriptorId(int t, uint16_t table_id) {
    Override &o = overrides_.at(static_cast<size_t>(t));
    o.has_id = true;
    o.table_id = table_id;
}

void Dwg12FileBuilder::ClearOverrides() {
    overrides_.fill(Override{});
}

Dwg12Layout Dwg12FileBuilder::ComputeLayout() const {
    Dwg12Layout l;
    size_t pos = kDwg12HeaderSize + kDwg12SentinelSize;
    l.entities_start = static_cast<uint32_t>(pos);
    pos += entities_.size();
    l.entities_end = static_cast<uint32_t>(pos);
    pos += kDwg12SectionGap;
    for (size_t t = 0; t < kDwg12TableCount; ++t) {
        l.table_start[t] = static_cast<uint32_t>(pos);
        Dwg12Descriptor &d = l.tables[t];
        d.table_id = static_cast<uint16_t>(t);
        d.record_size = kDwg12RecordSize[t];
        d.count = static_cast<int16_t>(tables_[t].size());
        d.position = static_cast<uint32_t>(pos);
        const Override &o = overrides_[t];
        if (o.has_id)
            d.table_id = o.table_id;
        if (o.has_rest) {
            d.record_size = o.record_size;
            d.count = o.count;
            d.position = o.position;
        }
        for (const Bytes &r : tables_[t])
            pos += r.size();
        pos += kDwg12SectionGap;
    }
    l.blocks_start = static_cast<uint32_t>(pos);
    l.blocks_size = static_cast<uint32_t>(blocks_.size());
    pos += blocks_.size() + gap_after_blocks_;
    l.extra_start = static_cast<uint32_t>(pos);
    pos += extra_.size() + gap_before_tail_;
    l.trailer_reserved = trailer_reserved_;
    l.tail_start = static_cast<uint32_t>(pos);
    l.trailer_start = static_cast<uint32_t>(pos + 4);
    l.file_size = static_cast<uint32_t>(pos + kDwg12TailSize);
    return l;
}

Bytes Dwg12FileBuilder::MakeTrailer(const Dwg12Layout &l) {
    Bytes t;
    append_u32(t, l.entities_start);
    append_u32(t, l.entities_end);
    append_u32(t, l.blocks_start);
    append_u32(t, l.extra_start);
    t.insert(t.end(), l.trailer_reserved.begin(), l.trailer_reserved.end());
    append_u16(t, 10);
    for (const Dwg12Descriptor &d : l.tables) {
        append_u16(t, d.table_id);
        append_u16(t, d.record_size);
        append_i16(t, d.count);
        append_u32(t, d.position);
    }
    return t; // 28 + 100 = 128 bytes
}

Bytes Dwg12FileBuilder::Build() {
    layout_ = ComputeLayout();
    const Dwg12Layout &l = layout_;

    Dwg12HeaderBlock head = header_;
    if (header_copies_) {
        head.SetU32(hdr::entities_start, l.entities_start);
        head.SetU32(hdr::entities_end, l.entities_end);
        head.SetU32(hdr::blocks_start, l.blocks_start);
        head.SetU32(hdr::blocks_size, (l.blocks_size & 0x00FFFFFFu) | 0x40000000u);
        head.SetU32(hdr::extra_start, l.extra_start);
        head.SetU32(hdr::flag28, 0x80000000u);
        for (int t = 0; t < kDwg12TableCount; ++t) {
            const Dwg12Descriptor &d = l.tables[static_cast<size_t>(t)];
            head.SetDescriptorCopy(t, d.record_size, d.count, d.position);
        }
    }
    head.SealCrc();

    Bytes out;
    out.reserve(l.file_size);
    out.insert(out.end(), head.data().begin(), head.data().end());
    out.insert(out.end(), kDwg12Sentinel.begin(), kDwg12Sentinel.end());
    append_bytes(out, entities_);
    append_zeros(out, kDwg12SectionGap);
    for (const auto &table : tables_) {
        for (const Bytes &r : table)
            append_bytes(out, r);
        append_zeros(out, kDwg12SectionGap);
    }
    append_bytes(out, blocks_);
    append_zeros(out, gap_after_blocks_);
    append_bytes(out, extra_);
    append_zeros(out, gap_before_tail_);

    Bytes tail;
    append_u16(tail, 0x10);
    append_u16(tail, 0x8A);
    append_bytes(tail, MakeTrailer(l));
    append_u32(tail, l.tail_start - 16);
    append_u16(tail, DwgCrc(tail.data(), tail.size()));
    append_zeros(tail, 16);
    append_bytes(out, tail);

    if (out.size() != l.file_size)
        throw std::logic_error("dwg12 builder: layout and output disagree");
    built_ = out;
    return out;
}

// ---------------------------------------------------------------------------
// Files
// ---------------------------------------------------------------------------

bool WriteFile(const std::string &path, const Bytes &bytes) {
    std::FILE *f = std::fopen(path.c_str(), "wb");
    if (!f)
        return false;
    bool ok = bytes.empty() || std::fwrite(bytes.data(), 1, bytes.size(), f) == bytes.size();
    ok = (std::fclose(f) == 0) && ok;
    return ok;
}

Bytes ReadFile(const std::string &path) {
    Bytes out;
    std::FILE *f = std::fopen(path.c_str(), "rb");
    if (!f)
        return out;
    uint8_t buf[4096];
    size_t n;
    while ((n = std::fread(buf, 1, sizeof buf, f)) > 0)
        out.insert(out.end(), buf, buf + n);
    std::fclose(f);
    return out;
}

} // namespace velko_test
