#include "walk/walk_support.h"

#include "dwg12/r12_frame_bytes.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

namespace velko_test {
namespace walk {

FrameBytes &FrameBytes::Flags(uint8_t bits) {
    flags_ |= bits;
    return *this;
}
FrameBytes &FrameBytes::Options(uint8_t options_1, uint8_t options_2) {
    options_1_ = options_1;
    options_2_ = options_2;
    return *this;
}
FrameBytes &FrameBytes::Color(uint8_t color) {
    color_ = color;
    return *this;
}
FrameBytes &FrameBytes::LineType(int16_t index) {
    line_type_ = index;
    return *this;
}
FrameBytes &FrameBytes::Elevation(double z) {
    has_elevation_ = true;
    elevation_ = z;
    return *this;
}
FrameBytes &FrameBytes::Thickness(double t) {
    has_thickness_ = true;
    thickness_ = t;
    return *this;
}
FrameBytes &FrameBytes::Handle(const Bytes &bytes) {
    has_handle_ = true;
    handle_ = bytes;
    return *this;
}
FrameBytes &FrameBytes::Eed(const Bytes &block) {
    has_eed_ = true;
    eed_ = block;
    return *this;
}
FrameBytes &FrameBytes::Space(int16_t space) {
    space_ = space;
    return *this;
}
FrameBytes &FrameBytes::U8(uint8_t v) {
    append_u8(body_, v);
    return *this;
}
FrameBytes &FrameBytes::I16(int16_t v) {
    append_i16(body_, v);
    return *this;
}
FrameBytes &FrameBytes::I32(int32_t v) {
    append_i32(body_, v);
    return *this;
}
FrameBytes &FrameBytes::F64(double v) {
    append_f64(body_, v);
    return *this;
}
FrameBytes &FrameBytes::Xy(double x, double y) {
    return F64(x).F64(y);
}
FrameBytes &FrameBytes::Xyz(double x, double y, double z) {
    return F64(x).F64(y).F64(z);
}
FrameBytes &FrameBytes::Text(const std::string &text) {
    append_i16(body_, static_cast<int16_t>(text.size()));
    body_.insert(body_.end(), text.begin(), text.end());
    return *this;
}

// The frame goes through the shared frame maker of the release 12 tests.
Bytes FrameBytes::Build() const {
    FrameSpec f(code_);
    f.flags = flags_;
    f.layer = layer_;
    f.options_1 = options_1_;
    f.options_2 = options_2_;
    if (has_eed_)
        f.common.eed = eed_;
    if (color_ >= 0)
        f.common.color = static_cast<uint8_t>(color_);
    if (line_type_ != -100000)
        f.common.ltype = static_cast<int16_t>(line_type_);
    if (has_elevation_)
        f.common.elevation = elevation_;
    if (has_thickness_)
        f.common.thickness = thickness_;
    if (has_handle_)
        f.common.handle = handle_;
    if (space_ != 0)
        f.common.space = space_;
    f.body = body_;
    return MakeFrame(f);
}

Bytes Line(double x1, double y1, double x2, double y2, int16_t layer) {
    // Flag 0x04 of a line: two-dimensional coordinates.
    return FrameBytes(CDB_LINE, layer).Flags(0x04).Xy(x1, y1).Xy(x2, y2).Build();
}
Bytes Circle(double x, double y, double radius, int16_t layer) {
    return FrameBytes(CDB_CIRCLE, layer).Xy(x, y).F64(radius).Build();
}
Bytes Text(double x, double y, double height, const std::string &text, int16_t layer) {
    return FrameBytes(CDB_TEXT, layer).Xy(x, y).F64(height).Text(text).Build();
}
Bytes Polyline(int16_t layer) {
    // Flag 0x80: vertices follow.
    return FrameBytes(CDB_POLYLINE, layer).Flags(0x80).Build();
}
Bytes Vertex(double x, double y, int16_t layer) {
    return FrameBytes(CDB_VERTEX, layer).Xy(x, y).Build();
}
Bytes SeqEnd(int16_t layer) {
    return FrameBytes(CDB_SEQEND, layer).I32(0).Build();
}
Bytes Insert(int16_t block, double x, double y, int16_t layer, bool attributes) {
    FrameBytes f(CDB_INSERT, layer);
    if (attributes)
        f.Flags(0x80);
    return f.I16(block).Xy(x, y).Build();
}
Bytes Attrib(double x, double y, const std::string &value, const std::string &tag, int16_t layer) {
    return FrameBytes(CDB_ATTRIB, layer).Xy(x, y).F64(0.2).Text(value).Text(tag).U8(0).Build();
}
Bytes BlockBegin(double x, double y) {
    return FrameBytes(CDB_BLOCK).Xy(x, y).Build();
}
Bytes BlockEnd() {
    return FrameBytes(CDB_ENDBLK).Build();
}
Bytes Viewport(double x, double y, double width, double height, int16_t id) {
    return FrameBytes(CDB_VIEWPORT).Xyz(x, y, 0).F64(width).F64(height).I16(id).Build();
}

Bytes Join(const std::vector<Bytes> &parts) {
    Bytes out;
    for (const Bytes &p : parts)
        append_bytes(out, p);
    return out;
}

Bytes BuildDrawing(const Bytes &entities, const std::vector<BlockDef> &blocks,
                   const std::vector<LayerRec> &more_layers) {
    Dwg12FileBuilder b;
    b.AddMinimalTables();
    for (const LayerRec &layer : more_layers)
        b.Add(layer);
    b.SetEntities(entities);
    Bytes section;
    for (const BlockDef &def : blocks) {
        BlockRec rec;
        rec.flags = def.flags;
        rec.name = def.name;
        rec.block_offset = static_cast<uint32_t>(section.size());
        b.Add(rec);
        append_bytes(section, def.frames);
    }
    b.SetBlocks(section);
    return b.Build();
}

namespace {
std::string TempPathFor(const std::string &name) {
    return ::testing::TempDir() + "velko_walk_" + std::to_string(::getpid()) + "_" + name;
}
} // namespace

OpenDrawing::OpenDrawing(const std::string &name, const Bytes &bytes)
    : path(TempPathFor(name)), temporary_(true) {
    EXPECT_TRUE(WriteFile(path, bytes)) << path;
    handle = CDBStartFileReading(path.c_str(), nullptr);
}

OpenDrawing::OpenDrawing(const std::string &existing) : path(existing) {
    handle = CDBStartFileReading(path.c_str(), nullptr);
}

OpenDrawing::~OpenDrawing() {
    if (handle >= 0)
        CDBEndOperation(handle);
    if (temporary_)
        std::remove(path.c_str());
}

CDB_ENTITY NewRecord() {
    CDB_ENTITY r;
    std::memset(static_cast<void *>(&r), 0, sizeof r);
    return r;
}

CDB_STARTBLOCK_ENTITY_type NewBlockRecord() {
    CDB_STARTBLOCK_ENTITY_type r;
    std::memset(static_cast<void *>(&r), 0, sizeof r);
    return r;
}

std::vector<int> WalkKinds(int16_t h, int16_t block) {
    std::vector<int> kinds;
    if (CDBFirstEntity(h, block) < 0)
        return kinds;
    CDB_ENTITY r = NewRecord();
    if (CDBGetCurrentEntity(h, &r) < 0)
        return kinds;
    kinds.push_back(r.entity_type);
    FreeCopies(r);
    for (int guard = 0; guard < 100000; ++guard) {
        r = NewRecord();
        if (CDBGetNextEntity(h, &r) < 0)
            break;
        kinds.push_back(r.entity_type);
        FreeCopies(r);
    }
    return kinds;
}

} // namespace walk
} // namespace velko_test
