// Hand-made entity frames of release 12 DWG files, for the entity, block and walk tests.
//
// Like the file builder (support/dwg12_builder.h) these helpers know the frame layout on
// their own and do not use the library. A frame is an 8-byte head (code, flags, i16
// length, i16 layer, options_1, options_2), the common fields, the kind's fields and a CRC
// over all bytes before it. All values little-endian; angles are given in RADIANS, as the
// file stores them.
//
// Typical use:
//
//   FrameSpec line{1};                        // code 1
//   line.common.color = 3;                    // sets flags bit 0x01 and writes the byte
//   line.body = FrameBody().XYZ(1, 2, 3).XYZ(4, 5, 6).bytes();
//   Bytes section = Concat({MakeFrame(line), MakeFrame(FrameSpec{13})});
//   Dwg12FileBuilder b; b.AddMinimalTables(); b.SetEntities(section); b.Build();
#pragma once

#include "support/dwg12_builder.h"

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <vector>

namespace velko_test {

// The kind's fields of a frame, written in order.
class FrameBody {
public:
    FrameBody &U8(uint8_t v) {
        append_u8(b_, v);
        return *this;
    }
    FrameBody &I16(int16_t v) {
        append_i16(b_, v);
        return *this;
    }
    FrameBody &U16(uint16_t v) {
        append_u16(b_, v);
        return *this;
    }
    FrameBody &I32(int32_t v) {
        append_i32(b_, v);
        return *this;
    }
    FrameBody &F64(double v) {
        append_f64(b_, v);
        return *this;
    }
    FrameBody &XY(double x, double y) { return F64(x).F64(y); }
    FrameBody &XYZ(double x, double y, double z) { return F64(x).F64(y).F64(z); }
    // A text of a frame: i16 length, then the characters, no terminator.
    FrameBody &Text(const std::string &s) {
        append_i16(b_, static_cast<int16_t>(s.size()));
        b_.insert(b_.end(), s.begin(), s.end());
        return *this;
    }
    FrameBody &Raw(const Bytes &more) {
        b_.insert(b_.end(), more.begin(), more.end());
        return *this;
    }
    const Bytes &bytes() const { return b_; }

private:
    Bytes b_;
};

// The common fields. Each one that is set is written, in the order of the file, and sets
// its presence bit: colour 0x01, line type 0x02, elevation 0x04, thickness 0x08, handle
// 0x20; extended data and paper space set 0x40 and the extension byte's 0x02 and 0x04.
// For kinds 1, 2, 21 and 22 bit 0x04 means two-dimensional coordinates, not an
// elevation: there an elevation that is set only sets the bit and writes nothing.
// An optional run of bytes. std::optional<std::vector> trips a false "may be used
// uninitialized" warning of g++ 12 in sanitizer builds; this plain pair does not.
struct OptionalBytes {
    OptionalBytes() = default;
    OptionalBytes(Bytes bytes) : set(true), value(std::move(bytes)) {}
    OptionalBytes &operator=(Bytes bytes) {
        set = true;
        value = std::move(bytes);
        return *this;
    }
    explicit operator bool() const { return set; }
    const Bytes &operator*() const { return value; }
    const Bytes *operator->() const { return &value; }

    bool set = false;
    Bytes value;
};

struct FrameCommon {
    OptionalBytes eed; // written as u16 size and the bytes
    std::optional<uint8_t> color;
    std::optional<int16_t> ltype;
    std::optional<double> elevation;
    std::optional<double> thickness;
    OptionalBytes handle; // written as u8 length and the bytes
    std::optional<int16_t> space;
    // An extension byte to write even without extended data or paper space (its bits as
    // given; 0x02 and 0x04 are added for what is set above).
    std::optional<uint8_t> extension;
};

struct FrameSpec {
    explicit FrameSpec(uint8_t kind = 1) : code(kind) {}
    uint8_t code;
    uint8_t flags = 0; // further flags bits (0x04 for a 2D line, 0x80 for what follows)
    int16_t layer = 0;
    uint8_t options_1 = 0;
    uint8_t options_2 = 0;
    FrameCommon common;
    Bytes body;                    // the kind's fields
    std::optional<int16_t> length; // written instead of the true length
};

inline bool FrameIsFlatKind(uint8_t code) {
    return code == 1 || code == 2 || code == 21 || code == 22;
}

// Appends the CRC of all bytes so far: the frame is complete.
inline void SealFrame(Bytes &frame) {
    append_u16(frame, DwgCrc(frame.data(), frame.size()));
}

inline Bytes MakeFrame(const FrameSpec &f) {
    const FrameCommon &c = f.common;
    uint8_t flags = f.flags;
    uint8_t extension = c.extension.value_or(0);
    if (c.eed)
        extension |= 0x02;
    if (c.space)
        extension |= 0x04;
    const bool has_extension = c.extension || c.eed || c.space;
    if (has_extension)
        flags |= 0x40;
    if (c.color)
        flags |= 0x01;
    if (c.ltype)
        flags |= 0x02;
    if (c.elevation)
        flags |= 0x04;
    if (c.thickness)
        flags |= 0x08;
    if (c.handle)
        flags |= 0x20;

    Bytes b;
    append_u8(b, f.code);
    append_u8(b, flags);
    append_i16(b, 0); // length, below
    append_i16(b, f.layer);
    append_u8(b, f.options_1);
    append_u8(b, f.options_2);
    if (has_extension)
        append_u8(b, extension);
    if (c.eed) {
        append_u16(b, static_cast<uint16_t>(c.eed->size()));
        append_bytes(b, *c.eed);
    }
    if (c.color)
        append_u8(b, *c.color);
    if (c.ltype)
        append_i16(b, *c.ltype);
    if (c.elevation && !FrameIsFlatKind(f.code))
        append_f64(b, *c.elevation);
    if (c.thickness)
        append_f64(b, *c.thickness);
    if (c.handle) {
        append_u8(b, static_cast<uint8_t>(c.handle->size()));
        append_bytes(b, *c.handle);
    }
    if (c.space)
        append_i16(b, *c.space);
    append_bytes(b, f.body);
    put_i16(b, 2, f.length.value_or(static_cast<int16_t>(b.size() + 2)));
    SealFrame(b);
    return b;
}

// A frame from its parts: `body` holds the common fields and the kind's fields as they
// stand in the file; the length and the CRC are added.
inline Bytes MakeRawFrame(uint8_t code, uint8_t flags, int16_t layer, uint8_t options_1,
                          uint8_t options_2, const Bytes &body) {
    FrameSpec f(code);
    f.flags = flags;
    f.layer = layer;
    f.options_1 = options_1;
    f.options_2 = options_2;
    f.body = body;
    return MakeFrame(f);
}

// The same frame marked as erased (bit 0x80 of the code).
inline Bytes Erased(Bytes frame) {
    if (!frame.empty()) {
        frame[0] |= 0x80;
        frame.resize(frame.size() - 2);
        SealFrame(frame);
    }
    return frame;
}

// A jump to an absolute file position (the u32 at offset 4).
inline Bytes MakeJumpFrame(uint32_t target) {
    Bytes b;
    append_u8(b, 18);
    append_u8(b, 0);
    append_i16(b, 10);
    append_u32(b, target);
    SealFrame(b);
    return b;
}

// A jump to the extra area's start plus `offset` (options_2 bit 0x80, i16 at offset 4).
inline Bytes MakeRelativeJumpFrame(int16_t offset) {
    Bytes b;
    append_u8(b, 18);
    append_u8(b, 0);
    append_i16(b, 10);
    append_i16(b, offset);
    append_u8(b, 0);
    append_u8(b, 0x80);
    SealFrame(b);
    return b;
}

inline Bytes Concat(std::initializer_list<Bytes> parts) {
    Bytes all;
    for (const Bytes &p : parts)
        all.insert(all.end(), p.begin(), p.end());
    return all;
}

// Frames that most tests need.
inline Bytes EndBlockFrame() {
    return MakeFrame(FrameSpec(13));
}

// A block start frame (code 12) with its base point and, when given, its xref path
// (options_1 0x02) and second name (options_1 0x04).
inline Bytes BeginBlockFrame(double x = 0.0, double y = 0.0,
                             std::optional<std::string> xref_path = std::nullopt,
                             std::optional<std::string> name_2 = std::nullopt) {
    FrameSpec f(12);
    FrameBody body;
    body.XY(x, y);
    if (xref_path) {
        f.options_1 |= 0x02;
        body.Text(*xref_path);
    }
    if (name_2) {
        f.options_1 |= 0x04;
        body.Text(*name_2);
    }
    f.body = body.bytes();
    return MakeFrame(f);
}

// A three-dimensional line (flags bit 0x04 clear).
inline Bytes LineFrame(double x1, double y1, double z1, double x2, double y2, double z2,
                       int16_t layer = 0) {
    FrameSpec f(1);
    f.layer = layer;
    f.body = FrameBody().XYZ(x1, y1, z1).XYZ(x2, y2, z2).bytes();
    return MakeFrame(f);
}

// A point in three dimensions.
inline Bytes PointFrame(double x, double y, double z) {
    FrameSpec f(2);
    f.body = FrameBody().XYZ(x, y, z).bytes();
    return MakeFrame(f);
}

// A circle (its z comes from the elevation, when one is given).
inline Bytes CircleFrame(double x, double y, double radius,
                         std::optional<double> elevation = std::nullopt) {
    FrameSpec f(3);
    f.common.elevation = elevation;
    f.body = FrameBody().XY(x, y).F64(radius).bytes();
    return MakeFrame(f);
}

// The "MVIEW" extended data of a viewport as a writer lays it out: every value behind
// its code byte (the DXF group less 1000).
struct MviewData {
    int16_t application = 0; // the application index (eed_version)
    std::string name = "MVIEW";
    int16_t data_version = 16;
    double target[3] = {0.0, 0.0, 0.0};
    double direction[3] = {0.0, 0.0, 1.0};
    double twist = 0.0; // radians
    double view_height = 9.0;
    double center[2] = {6.0, 4.5};
    double lens = 50.0, front = 0.0, back = 0.0;
    int16_t modes[8] = {0, 100, 1, 1, 0, 0, 0, 0}; // view mode ... snap isopair
    double snap_angle = 0.0;                       // radians
    double snap_base[2] = {0.0, 0.0};
    double snap_spacing[2] = {1.0, 1.0};
    double grid_spacing[2] = {0.0, 0.0};
    int16_t hidden_in_plot = 0;
    std::vector<int16_t> frozen_layers;
};

inline Bytes MakeMviewData(const MviewData &m) {
    Bytes b;
    auto code = [&b](uint8_t c) { append_u8(b, c); };
    code(1);
    append_i16(b, m.application);
    code(0);
    append_u8(b, static_cast<uint8_t>(m.name.size()));
    b.insert(b.end(), m.name.begin(), m.name.end());
    code(2);
    append_u8(b, 0);
    code(70);
    append_i16(b, m.data_version);
    code(10);
    for (double v : m.target)
        append_f64(b, v);
    code(10);
    for (double v : m.direction)
        append_f64(b, v);
    for (double v : {m.twist, m.view_height, m.center[0], m.center[1], m.lens, m.front, m.back}) {
        code(40);
        append_f64(b, v);
    }
    for (int16_t v : m.modes) {
        code(70);
        append_i16(b, v);
    }
    for (double v : {m.snap_angle, m.snap_base[0], m.snap_base[1], m.snap_spacing[0],
                     m.snap_spacing[1], m.grid_spacing[0], m.grid_spacing[1]}) {
        code(40);
        append_f64(b, v);
    }
    code(70);
    append_i16(b, m.hidden_in_plot);
    code(2);
    append_u8(b, 0);
    for (int16_t layer : m.frozen_layers) {
        code(3);
        append_i16(b, layer);
    }
    code(2);
    append_u8(b, 1);
    code(2);
    append_u8(b, 1);
    return b;
}

} // namespace velko_test
