// Helpers of the walk tests: entity frames of release 12 made by hand (a fluent face on
// the frame maker of dwg12/r12_frame_bytes.h), small drawings built from them, an opened
// drawing that closes itself, and the freeing of the texts that a list mode record hands
// to its caller.
//
// A frame: code u8, flags u8, length i16 (the whole frame, CRC included), layer i16,
// options_1 u8, options_2 u8, the common fields that the flags announce, the kind's
// fields, and a 2-byte CRC.
#pragma once

#include "support/dwg12_builder.h"
#include "support/owned_texts.h"

#include "velkow32.h"

#include <cstdint>
#include <array>
#include <string>
#include <vector>

namespace velko_test {
namespace walk {

class FrameBytes {
public:
    explicit FrameBytes(uint8_t code, int16_t layer = 0) : code_(code), layer_(layer) {}

    // Raw bits of the frame's flags byte (ORed in).
    FrameBytes &Flags(uint8_t bits);
    FrameBytes &Options(uint8_t options_1, uint8_t options_2 = 0);
    FrameBytes &Color(uint8_t color);
    FrameBytes &LineType(int16_t index);
    // Only for kinds other than 1, 2, 21, 22 (for those the bit means 2D).
    FrameBytes &Elevation(double z);
    FrameBytes &Thickness(double t);
    FrameBytes &Handle(const Bytes &bytes);
    FrameBytes &Eed(const Bytes &block);
    FrameBytes &Space(int16_t space);

    // The kind's fields, in file order.
    FrameBytes &U8(uint8_t v);
    FrameBytes &I16(int16_t v);
    FrameBytes &I32(int32_t v);
    FrameBytes &F64(double v);
    FrameBytes &Xy(double x, double y);
    FrameBytes &Xyz(double x, double y, double z);
    // i16 length, then the characters.
    FrameBytes &Text(const std::string &text);

    Bytes Build() const;

private:
    uint8_t code_;
    int16_t layer_;
    uint8_t flags_ = 0;
    uint8_t options_1_ = 0;
    uint8_t options_2_ = 0;
    int color_ = -1;
    int line_type_ = -100000;
    bool has_elevation_ = false;
    double elevation_ = 0;
    bool has_thickness_ = false;
    double thickness_ = 0;
    bool has_handle_ = false;
    Bytes handle_;
    bool has_eed_ = false;
    Bytes eed_;
    int16_t space_ = 0;
    Bytes body_;
};

// Frames of the common kinds, 2D.
Bytes Line(double x1, double y1, double x2, double y2, int16_t layer = 0);
Bytes Circle(double x, double y, double radius, int16_t layer = 0);
Bytes Text(double x, double y, double height, const std::string &text, int16_t layer = 0);
// A polyline head; its vertices follow.
Bytes Polyline(int16_t layer = 0);
Bytes Vertex(double x, double y, int16_t layer = 0);
Bytes SeqEnd(int16_t layer = 0);
Bytes Insert(int16_t block, double x, double y, int16_t layer = 0, bool attributes = false);
Bytes Attrib(double x, double y, const std::string &value, const std::string &tag,
             int16_t layer = 0);
Bytes BlockBegin(double x = 0, double y = 0);
Bytes BlockEnd();
// A viewport without extended data.
Bytes Viewport(double x, double y, double width, double height, int16_t id);

Bytes Join(const std::vector<Bytes> &parts);

// One block definition of a drawing: its table record and its frames (a kind 12 frame,
// the entities, a kind 13 frame; `frames` empty for a deleted record).
struct BlockDef {
    std::string name;
    uint8_t flags = 0;
    Bytes frames;
};

// A drawing with the minimal tables, the layers given after layer "0", the main entity
// section and the blocks.
Bytes BuildDrawing(const Bytes &entities, const std::vector<BlockDef> &blocks = {},
                   const std::vector<LayerRec> &more_layers = {});

// A drawing opened through the flat interface from a temporary file, closed at the end.
class OpenDrawing {
public:
    OpenDrawing(const std::string &name, const Bytes &bytes);
    explicit OpenDrawing(const std::string &path); // an existing file
    ~OpenDrawing();
    OpenDrawing(const OpenDrawing &) = delete;
    OpenDrawing &operator=(const OpenDrawing &) = delete;

    int16_t handle = -123;
    std::string path;

private:
    bool temporary_ = false;
};

// A record cleared to zero.
CDB_ENTITY NewRecord();
CDB_STARTBLOCK_ENTITY_type NewBlockRecord();

// The kinds of the main walk with CDBGetNextEntity from CDBFirstEntity(block).
std::vector<int> WalkKinds(int16_t h, int16_t block);

// The returned value, copied out of a packed record field for the assertion macros.
template <typename T> T Val(T value) {
    return value;
}

} // namespace walk
} // namespace velko_test
