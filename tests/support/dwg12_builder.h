// Hand-made release 12 ("AC1009") DWG files for the unit tests.
//
// This builder knows the file layout on its own and does not use the library:
// the bytes it produces are an independent reference for the reader and writer
// tests. Everything is little-endian; doubles are IEEE 754.
//
// Angles: every angle a record struct below takes is in RADIANS, the unit
// the file stores. The builder does no conversion, so a test that expects
// 30 degrees in a public record passes 30 * pi / 180 here.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace velko_test {

using Bytes = std::vector<uint8_t>;

// ---------------------------------------------------------------------------
// Little-endian helpers
// ---------------------------------------------------------------------------

// Writes at `offset`, growing the vector with zero bytes if it is too short.
void put_u8(Bytes &b, size_t offset, uint8_t v);
void put_i16(Bytes &b, size_t offset, int16_t v);
void put_u16(Bytes &b, size_t offset, uint16_t v);
void put_i32(Bytes &b, size_t offset, int32_t v);
void put_u32(Bytes &b, size_t offset, uint32_t v);
void put_f64(Bytes &b, size_t offset, double v);
// `size` bytes: the text, cut to `size`, zero-padded. A text of exactly
// `size` characters leaves no terminating zero.
void put_text(Bytes &b, size_t offset, size_t size, const std::string &text);
void put_bytes(Bytes &b, size_t offset, const uint8_t *data, size_t n);

void append_u8(Bytes &b, uint8_t v);
void append_i16(Bytes &b, int16_t v);
void append_u16(Bytes &b, uint16_t v);
void append_i32(Bytes &b, int32_t v);
void append_u32(Bytes &b, uint32_t v);
void append_f64(Bytes &b, double v);
void append_text(Bytes &b, size_t size, const std::string &text);
void append_bytes(Bytes &b, const Bytes &more);
void append_zeros(Bytes &b, size_t n);

uint16_t get_u16(const Bytes &b, size_t offset);
int16_t get_i16(const Bytes &b, size_t offset);
uint32_t get_u32(const Bytes &b, size_t offset);
double get_f64(const Bytes &b, size_t offset);

// ---------------------------------------------------------------------------
// CRC
// ---------------------------------------------------------------------------

// CRC-16, polynomial 0x8005 reflected (0xA001), register starting at `seed`,
// no final inversion. Check value over "123456789" is 0x7E6C. The file stores
// it low byte first.
uint16_t DwgCrc(const uint8_t *data, size_t n, uint16_t seed = 0xC0C1);

// ---------------------------------------------------------------------------
// Constants of the layout
// ---------------------------------------------------------------------------

constexpr size_t kDwg12HeaderSize = 1727;   // 0x6BF
constexpr size_t kDwg12HeaderCrcAt = 0x6BD; // CRC over the bytes before it
constexpr size_t kDwg12SentinelSize = 16;
constexpr size_t kDwg12SectionGap = 32; // zero bytes after a section
constexpr size_t kDwg12TrailerSize = 128;
constexpr size_t kDwg12TailSize = 154;       // tag, length, trailer, position, CRC, 16 zeros
constexpr size_t kDwg12TrailerFromEnd = 150; // trailer starts at file length - 150
constexpr size_t kDwg12EntitiesStart = 1743; // header + sentinel
constexpr size_t kDwg12DescriptorsAt = 28;   // in the trailer
constexpr size_t kDwg12DescriptorSize = 10;

// The 16 bytes written right behind the header block.
extern const std::array<uint8_t, kDwg12SentinelSize> kDwg12Sentinel;

// Table numbers, which are also the order of the tables in the file.
enum Dwg12Table : int {
    kBlockTable = 0,
    kLayerTable = 1,
    kStyleTable = 2,
    kLtypeTable = 3,
    kViewTable = 4,
    kUcsTable = 5,
    kVportTable = 6,
    kAppidTable = 7,
    kDimstyleTable = 8,
    kVxTable = 9,
};
constexpr int kDwg12TableCount = 10;

// Size of one record of table t, CRC included.
constexpr std::array<uint16_t, kDwg12TableCount> kDwg12RecordSize = {45,  41,  198, 191, 153,
                                                                     109, 253, 37,  324, 43};

// Where the header block keeps its 10-byte copy of table t's descriptor
// (u16 record size, i32 count, u32 position).
constexpr std::array<size_t, kDwg12TableCount> kDwg12HeaderDescriptorCopyAt = {
    0x002C, 0x0036, 0x0040, 0x004A, 0x0054, 0x03EF, 0x0500, 0x0512, 0x0522, 0x069F};

// Byte offsets of the header variables in the 1727-byte header block.
// Types are noted where they are not f64: i16, i8, text of n bytes, 2d/3d
// points are consecutive f64s.
namespace hdr {
constexpr size_t acadver = 0x0000; // text 6
constexpr size_t entities_start = 0x0014;
constexpr size_t entities_end = 0x0018;
constexpr size_t blocks_start = 0x001C;
constexpr size_t blocks_size = 0x0020; // top byte 0x40
constexpr size_t extra_start = 0x0024;
constexpr size_t flag28 = 0x0028;   // 0x80000000
constexpr size_t insbase = 0x005E;  // 3d
constexpr size_t plinegen = 0x0076; // i16
constexpr size_t extmin = 0x0078;   // 3d
constexpr size_t extmax = 0x0090;   // 3d
constexpr size_t limmin = 0x00A8;   // 2d
constexpr size_t limmax = 0x00B8;   // 2d
constexpr size_t viewctr = 0x00C8;  // 2d
constexpr size_t viewsize = 0x00E0;
constexpr size_t snapmode = 0x00E8;    // i16
constexpr size_t snapunit = 0x00EA;    // 2d
constexpr size_t snapbase = 0x00FA;    // 2d
constexpr size_t snapang = 0x010A;     // radians
constexpr size_t snapstyle = 0x0112;   // i16
constexpr size_t snapisopair = 0x0114; // i16
constexpr size_t gridmode = 0x0116;    // i16
constexpr size_t gridunit = 0x0118;    // 2d
constexpr size_t orthomode = 0x0128;   // i16
constexpr size_t regenmode = 0x012A;   // i16
constexpr size_t fillmode = 0x012C;    // i16
constexpr size_t qtextmode = 0x012E;   // i16
constexpr size_t dragmode = 0x0130;    // i16
constexpr size_t ltscale = 0x0132;
constexpr size_t textsize = 0x013A;
constexpr size_t tracewid = 0x0142;
constexpr size_t clayer = 0x014A;    // i16
constexpr size_t psltscale = 0x0156; // i16
constexpr size_t treedepth = 0x0158; // i16
constexpr size_t lunits = 0x0164;    // i16
constexpr size_t luprec = 0x0166;    // i16
constexpr size_t axismode = 0x0168;  // i16
constexpr size_t axisunit = 0x016A;  // 2d
constexpr size_t sketchinc = 0x017A;
constexpr size_t filletrad = 0x0182;
constexpr size_t aunits = 0x018A;    // i16
constexpr size_t auprec = 0x018C;    // i16
constexpr size_t textstyle = 0x018E; // i16
constexpr size_t osmode = 0x0190;    // i16
constexpr size_t attmode = 0x0192;   // i16
constexpr size_t menu = 0x0194;      // text 15, first part of the menu name
constexpr size_t dimscale = 0x01A3;
constexpr size_t dimasz = 0x01AB;
constexpr size_t dimexo = 0x01B3;
constexpr size_t dimdli = 0x01BB;
constexpr size_t dimexe = 0x01C3;
constexpr size_t dimtp = 0x01CB;
constexpr size_t dimtm = 0x01D3;
constexpr size_t dimtxt = 0x01DB;
constexpr size_t dimcen = 0x01E3;
constexpr size_t dimtsz = 0x01EB;
constexpr size_t dimtol = 0x01F3;    // i8
constexpr size_t dimlim = 0x01F4;    // i8
constexpr size_t dimtih = 0x01F5;    // i8
constexpr size_t dimtoh = 0x01F6;    // i8
constexpr size_t dimse1 = 0x01F7;    // i8
constexpr size_t dimse2 = 0x01F8;    // i8
constexpr size_t dimtad = 0x01F9;    // i8
constexpr size_t limcheck = 0x01FA;  // i16
constexpr size_t menu_rest = 0x01FC; // text 45, characters 15 to 59 of the menu name
constexpr size_t elevation = 0x0229;
constexpr size_t thickness = 0x0231;
constexpr size_t viewdir = 0x0239;  // 3d
constexpr size_t blipmode = 0x02E3; // i16
constexpr size_t dimzin = 0x02E5;   // i8
constexpr size_t dimrnd = 0x02E6;
constexpr size_t dimdle = 0x02EE;
constexpr size_t dimblk = 0x02F6;  // text 33
constexpr size_t coords = 0x0319;  // i16
constexpr size_t cecolor = 0x031B; // i16
constexpr size_t celtype = 0x031D; // i16, 0x7FFF BYLAYER, 0x7FFE BYBLOCK
constexpr size_t tdcreate = 0x031F;
constexpr size_t tdupdate = 0x0327;
constexpr size_t tdindwg = 0x032F;
constexpr size_t tdusrtimer = 0x0337;
constexpr size_t usrtimer = 0x033F; // i16
constexpr size_t fastzoom = 0x0341; // i16
constexpr size_t skpoly = 0x0343;   // i16
constexpr size_t angbase = 0x0353;  // radians
constexpr size_t angdir = 0x035B;   // i16
constexpr size_t pdmode = 0x035D;   // i16
constexpr size_t pdsize = 0x035F;
constexpr size_t plinewid = 0x0367;
constexpr size_t userivar1 = 0x036F; // i16 x 5, 2 bytes apart
constexpr size_t userrvar1 = 0x0379; // f64 x 5, 8 bytes apart
constexpr size_t dimalt = 0x03A1;    // i8
constexpr size_t dimaltd = 0x03A2;   // i8
constexpr size_t dimaso = 0x03A3;    // i8
constexpr size_t dimsho = 0x03A4;    // i8
constexpr size_t dimpost = 0x03A5;   // text 16
constexpr size_t dimapost = 0x03B5;  // text 16
constexpr size_t dimaltf = 0x03C5;
constexpr size_t dimlfac = 0x03CD;
constexpr size_t splinesegs = 0x03D5; // i16
constexpr size_t splframe = 0x03D7;   // i16
constexpr size_t attreq = 0x03D9;     // i16
constexpr size_t attdia = 0x03DB;     // i16
constexpr size_t chamfera = 0x03DD;
constexpr size_t chamferb = 0x03E5;
constexpr size_t mirrtext = 0x03ED;    // i16
constexpr size_t dwgcodepage = 0x03F9; // i16, index into the code page list
constexpr size_t ucsorg = 0x03FB;      // 3d
constexpr size_t ucsxdir = 0x0413;     // 3d
constexpr size_t ucsydir = 0x042B;     // 3d
constexpr size_t dimtofl = 0x047D;     // i8
constexpr size_t dimblk1 = 0x047E;     // text 33
constexpr size_t dimblk2 = 0x049F;     // text 33
constexpr size_t dimsah = 0x04C0;      // i8
constexpr size_t dimtix = 0x04C1;      // i8
constexpr size_t dimsoxd = 0x04C2;     // i8
constexpr size_t dimtvp = 0x04C3;
constexpr size_t handling = 0x04EC;   // i16
constexpr size_t handseed = 0x04EE;   // 8 raw bytes
constexpr size_t surfu = 0x04F6;      // i16
constexpr size_t surfv = 0x04F8;      // i16
constexpr size_t surftype = 0x04FA;   // i16
constexpr size_t surftab1 = 0x04FC;   // i16
constexpr size_t surftab2 = 0x04FE;   // i16
constexpr size_t flatland = 0x050A;   // i16
constexpr size_t splinetype = 0x050C; // i16
constexpr size_t ucsname = 0x0510;    // i16
constexpr size_t worldview = 0x051C;  // i16
constexpr size_t dimstyle = 0x052C;   // i16
constexpr size_t dimclrd = 0x0531;    // i16
constexpr size_t dimclre = 0x0533;    // i16
constexpr size_t dimclrt = 0x0535;    // i16
constexpr size_t shadedge = 0x0537;   // i16
constexpr size_t shadedif = 0x0539;   // i16
constexpr size_t unitmode = 0x053D;   // i16
constexpr size_t dimtfac = 0x05DF;
constexpr size_t pucsorg = 0x05E7;   // 3d
constexpr size_t pucsxdir = 0x05FF;  // 3d
constexpr size_t pucsydir = 0x0617;  // 3d
constexpr size_t pucsname = 0x062F;  // i16
constexpr size_t tilemode = 0x0631;  // i16
constexpr size_t plimcheck = 0x0633; // i16
constexpr size_t cvport = 0x0635;    // i16
constexpr size_t pextmin = 0x0637;   // 3d
constexpr size_t pextmax = 0x064F;   // 3d
constexpr size_t plimmin = 0x0667;   // 2d
constexpr size_t plimmax = 0x0677;   // 2d
constexpr size_t pinsbase = 0x0687;  // 3d
constexpr size_t maxactvp = 0x06A9;  // i16
constexpr size_t dimgap = 0x06AB;
constexpr size_t pelevation = 0x06B3;
constexpr size_t visretain = 0x06BB; // i16
constexpr size_t crc = 0x06BD;       // u16
} // namespace hdr

// ---------------------------------------------------------------------------
// Header block
// ---------------------------------------------------------------------------

// The 1727-byte header block. A fresh one holds "AC1009" and zeros.
class Dwg12HeaderBlock {
public:
    Dwg12HeaderBlock();

    // A header with the values of a new, empty drawing of 12 x 9 units:
    // insbase 0,0,0; extmin 0,0,0 / extmax 12,9,0; limits 0,0 - 12,9;
    // viewctr 6,4.5; viewsize 9; snapunit 1,1; ltscale 1; textsize 0.2;
    // treedepth 3020; the dimension defaults (dimscale 1, dimasz 0.18, ...);
    // menu "acad"; dwgcodepage 0; handling 0 and a handseed of zeros;
    // cecolor 256 and celtype 0x7FFF (both BYLAYER); dimstyle, ucsname and
    // pucsname -1.
    static Dwg12HeaderBlock Defaults();

    void SetI8(size_t offset, int8_t v);
    void SetU8(size_t offset, uint8_t v);
    void SetI16(size_t offset, int16_t v);
    void SetU16(size_t offset, uint16_t v);
    void SetI32(size_t offset, int32_t v);
    void SetU32(size_t offset, uint32_t v);
    void SetF64(size_t offset, double v);
    void SetPoint2(size_t offset, double x, double y);
    void SetPoint3(size_t offset, double x, double y, double z);
    void SetText(size_t offset, size_t size, const std::string &text);
    void SetBytes(size_t offset, const uint8_t *data, size_t n);
    void SetBytes(size_t offset, const Bytes &data);

    int16_t GetI16(size_t offset) const;
    uint32_t GetU32(size_t offset) const;
    double GetF64(size_t offset) const;

    // The menu name goes in two pieces: 15 bytes at 0x194, 45 at 0x1FC.
    void SetMenu(const std::string &name);
    // The 8 raw bytes at 0x4EE, first byte first.
    void SetHandseed(const std::array<uint8_t, 8> &seed);
    // 10-byte descriptor copy of table t: u16 size, i32 count, u32 position.
    void SetDescriptorCopy(int t, uint16_t record_size, int32_t count, uint32_t position);
    // Puts DwgCrc over the first 0x6BD bytes at 0x6BD.
    void SealCrc();

    const std::array<uint8_t, kDwg12HeaderSize> &data() const { return data_; }
    std::array<uint8_t, kDwg12HeaderSize> &data() { return data_; }
    size_t size() const { return data_.size(); }

private:
    void Check(size_t offset, size_t n) const;
    std::array<uint8_t, kDwg12HeaderSize> data_;
};

// ---------------------------------------------------------------------------
// Table records
// ---------------------------------------------------------------------------

// Every record opens with flags (bit 0x80: deleted), a 32-byte zero-padded
// name and 2 bytes the reader skips (`after_name`; real drawings often hold
// 0xFFFF there). Each record ends with DwgCrc over the bytes before it.
// All fields are written as given, also for a deleted record.

struct BlockRec { // 45 bytes
    uint8_t flags = 0;
    std::string name = "BLOCK";
    uint16_t after_name = 0;
    uint32_t block_offset = 0;   // relative to blocks_start, low 24 bits
    uint8_t offset_top_byte = 0; // stored in the top byte of the offset
    uint32_t unused39 = 0;       // bytes 39..42
};

struct LayerRec { // 41 bytes
    uint8_t flags = 0;
    std::string name = "0";
    uint16_t after_name = 0;
    int16_t color = 7;
    int16_t ltype = 0; // line type index
};

struct StyleRec { // 198 bytes
    uint8_t flags = 0;
    std::string name = "STANDARD";
    uint16_t after_name = 0;
    double height = 0.0;
    double width_factor = 1.0;
    double oblique_angle = 0.0; // radians
    uint8_t generation_flags = 0;
    double last_height = 0.2;
    std::string font_file = "txt";
    std::string bigfont_file;
};

struct LtypeRec { // 191 bytes
    uint8_t flags = 0;
    std::string name = "CONTINUOUS";
    uint16_t after_name = 0;
    std::string description = "Solid line";
    uint8_t alignment = 65; // 'A'
    // Stored dash count; -1 means dashes.size(). May exceed 12 for tests:
    // only the first 12 dashes have room in the record.
    int dash_count = -1;
    double pattern_length = 0.0;
    std::vector<double> dashes;
};

struct ViewRec { // 153 bytes
    uint8_t flags = 0;
    std::string name = "VIEW";
    uint16_t after_name = 0;
    double height = 9.0;
    double center[2] = {6.0, 4.5};
    double width = 12.0;
    double direction[3] = {0.0, 0.0, 1.0};
    uint16_t unused91 = 0;
    double target[3] = {0.0, 0.0, 0.0};
    double lens_length = 50.0;
    double twist_angle = 0.0; // radians
    double front_clip = 0.0;
    double back_clip = 0.0;
    int16_t view_mode = 0;
};

struct UcsRec { // 109 bytes
    uint8_t flags = 0;
    std::string name = "UCS";
    uint16_t after_name = 0;
    double origin[3] = {0.0, 0.0, 0.0};
    double x_direction[3] = {1.0, 0.0, 0.0};
    double y_direction[3] = {0.0, 1.0, 0.0};
};

struct VportRec { // 253 bytes
    uint8_t flags = 0;
    std::string name = "*ACTIVE";
    uint16_t after_name = 0;
    double lower_left[2] = {0.0, 0.0};
    double upper_right[2] = {1.0, 1.0};
    double view_target[3] = {0.0, 0.0, 0.0};
    double view_direction[3] = {0.0, 0.0, 1.0};
    double twist_angle = 0.0; // radians
    double view_height = 9.0;
    double view_center[2] = {6.0, 4.5};
    double aspect_ratio = 12.0 / 9.0;
    double lens_length = 50.0;
    double front_clip = 0.0;
    double back_clip = 0.0;
    int16_t view_mode = 0;
    int16_t circle_zoom = 100;
    int16_t fast_zoom = 1;
    int16_t ucs_icon = 1;
    int16_t snap_mode = 0;
    int16_t grid_mode = 0;
    int16_t snap_style = 0;
    int16_t snap_isopair = 0;
    double snap_angle = 0.0; // radians
    double snap_base[2] = {0.0, 0.0};
    double snap_spacing[2] = {1.0, 1.0};
    double grid_spacing[2] = {0.0, 0.0};
};

struct AppidRec { // 37 bytes
    uint8_t flags = 0;
    std::string name = "ACAD";
    uint16_t after_name = 0;
};

struct DimstyleRec { // 324 bytes
    uint8_t flags = 0;
    std::string name = "STANDARD";
    uint16_t after_name = 0;
    double dimscale = 1.0, dimasz = 0.18, dimexo = 0.0625, dimdli = 0.38, dimexe = 0.18;
    double dimrnd = 0.0, dimdle = 0.0, dimtp = 0.0, dimtm = 0.0, dimtxt = 0.18;
    double dimcen = 0.09, dimtsz = 0.0, dimaltf = 25.4, dimlfac = 1.0, dimtvp = 0.0;
    int8_t dimtol = 0, dimlim = 0, dimtih = 1, dimtoh = 1, dimse1 = 0, dimse2 = 0, dimtad = 0;
    int8_t dimzin = 0, dimalt = 0, dimaltd = 2, dimtofl = 0, dimsah = 0, dimtix = 0, dimsoxd = 0;
    std::string dimpost, dimapost, dimblk, dimblk1, dimblk2;
    int16_t dimclrd = 0, dimclre = 0, dimclrt = 0;
    double dimtfac = 1.0;
    double dimgap = 0.09;
};

struct VxRec { // 43 bytes
    uint8_t flags = 0x40;
    std::string name;
    uint16_t after_name = 0;
    uint32_t entity_ref = 0; // bytes 35..38; the reader clears byte 38
    uint16_t vx_index = 0;   // u16 at 39, handed to a viewport entity
};

// Each returns exactly kDwg12RecordSize[t] bytes, CRC in the last two.
Bytes MakeBlockRecord(const BlockRec &r);
Bytes MakeLayerRecord(const LayerRec &r);
Bytes MakeStyleRecord(const StyleRec &r);
Bytes MakeLtypeRecord(const LtypeRec &r);
Bytes MakeViewRecord(const ViewRec &r);
Bytes MakeUcsRecord(const UcsRec &r);
Bytes MakeVportRecord(const VportRec &r);
Bytes MakeAppidRecord(const AppidRec &r);
Bytes MakeDimstyleRecord(const DimstyleRec &r);
Bytes MakeVxRecord(const VxRec &r);

// A deleted record the way the library's own writer leaves one: all zeros
// (flags too) and the CRC of that. `flags` lets a test set 0x80 anyway.
Bytes MakeZeroRecord(int table, uint8_t flags = 0);

// Recomputes the CRC in the last two bytes of a record (or any CRC-closed
// block) after a test has changed it.
void SealRecord(Bytes &record);

// ---------------------------------------------------------------------------
// Whole file
// ---------------------------------------------------------------------------

struct Dwg12Descriptor {
    uint16_t table_id = 0;
    uint16_t record_size = 0;
    int16_t count = 0;
    uint32_t position = 0;
};

// Positions of everything in a built file.
struct Dwg12Layout {
    uint32_t entities_start = 0;
    uint32_t entities_end = 0;
    std::array<Dwg12Descriptor, kDwg12TableCount> tables{}; // as written to the trailer
    std::array<uint32_t, kDwg12TableCount> table_start{};   // where the records really are
    uint32_t blocks_start = 0;
    uint32_t blocks_size = 0;
    uint32_t extra_start = 0;
    std::array<uint8_t, 10> trailer_reserved{}; // trailer bytes 16..25
    uint32_t tail_start = 0;                    // file size - 154
    uint32_t trailer_start = 0;                 // file size - 150
    uint32_t file_size = 0;
};

// Lays out: header block, sentinel, entity section, 32 zeros, the ten tables
// in table order each followed by 32 zeros, block section, a gap (32 zeros by
// default, as the library writes), extra area, an optional gap (0 by default;
// AutoCAD's files have 32 bytes there), and the 154-byte tail record.
class Dwg12FileBuilder {
public:
    Dwg12FileBuilder(); // header = Dwg12HeaderBlock::Defaults(), everything else empty

    // Adds what an empty drawing of AutoCAD holds: layer "0", style
    // "STANDARD", line type "CONTINUOUS", viewport "*ACTIVE", appid "ACAD".
    Dwg12FileBuilder &AddMinimalTables();

    Dwg12HeaderBlock &header() { return header_; }
    const Dwg12HeaderBlock &header() const { return header_; }

    Bytes &entities() { return entities_; }
    void SetEntities(Bytes b) { entities_ = std::move(b); }
    Bytes &blocks() { return blocks_; }
    void SetBlocks(Bytes b) { blocks_ = std::move(b); }
    Bytes &extra() { return extra_; }
    void SetExtra(Bytes b) { extra_ = std::move(b); }

    // Raw records of table t; any size is accepted, the descriptor's
    // record_size stays the table's constant unless overridden.
    std::vector<Bytes> &records(int t);
    Dwg12FileBuilder &AddRecord(int t, Bytes record);

    Dwg12FileBuilder &Add(const BlockRec &r) { return AddRecord(kBlockTable, MakeBlockRecord(r)); }
    Dwg12FileBuilder &Add(const LayerRec &r) { return AddRecord(kLayerTable, MakeLayerRecord(r)); }
    Dwg12FileBuilder &Add(const StyleRec &r) { return AddRecord(kStyleTable, MakeStyleRecord(r)); }
    Dwg12FileBuilder &Add(const LtypeRec &r) { return AddRecord(kLtypeTable, MakeLtypeRecord(r)); }
    Dwg12FileBuilder &Add(const ViewRec &r) { return AddRecord(kViewTable, MakeViewRecord(r)); }
    Dwg12FileBuilder &Add(const UcsRec &r) { return AddRecord(kUcsTable, MakeUcsRecord(r)); }
    Dwg12FileBuilder &Add(const VportRec &r) { return AddRecord(kVportTable, MakeVportRecord(r)); }
    Dwg12FileBuilder &Add(const AppidRec &r) { return AddRecord(kAppidTable, MakeAppidRecord(r)); }
    Dwg12FileBuilder &Add(const DimstyleRec &r) {
        return AddRecord(kDimstyleTable, MakeDimstyleRecord(r));
    }
    Dwg12FileBuilder &Add(const VxRec &r) { return AddRecord(kVxTable, MakeVxRecord(r)); }

    // Replaces what the trailer says of table t (the records are still laid
    // out where they would be). Lets a test point a table past the end.
    void OverrideDescriptor(int t, uint16_t record_size, int16_t count, uint32_t position);
    // The table_id is t by default; AutoCAD's files number them otherwise.
    void OverrideDescriptorId(int t, uint16_t table_id);
    void ClearOverrides();

    // Trailer bytes 16..25, zero by default. AutoCAD puts the handling flag
    // (u16) and the 8 handseed bytes there when handles are on.
    void SetTrailerReserved(const std::array<uint8_t, 10> &bytes) { trailer_reserved_ = bytes; }

    void SetGapAfterBlocks(size_t n) { gap_after_blocks_ = n; }
    void SetGapBeforeTail(size_t n) { gap_before_tail_ = n; }
    // Whether Build() writes the trailer values and descriptor copies into the
    // header block (on by default). The header CRC is always renewed.
    void SetHeaderCopies(bool on) { header_copies_ = on; }

    // Positions the current contents would get; Build() uses the same.
    Dwg12Layout ComputeLayout() const;

    // Builds the file. The header block in this builder is left as it was;
    // the copy in the file gets the trailer copies and its CRC.
    Bytes Build();
    // The result of the last Build() and its layout.
    const Bytes &bytes() const { return built_; }
    const Dwg12Layout &layout() const { return layout_; }

    // The 128-byte trailer for a layout.
    static Bytes MakeTrailer(const Dwg12Layout &layout);

private:
    struct Override {
        bool has_id = false;
        uint16_t table_id = 0;
        bool has_rest = false;
        uint16_t record_size = 0;
        int16_t count = 0;
        uint32_t position = 0;
    };

    Dwg12HeaderBlock header_;
    Bytes entities_;
    std::array<std::vector<Bytes>, kDwg12TableCount> tables_;
    Bytes blocks_;
    Bytes extra_;
    std::array<Override, kDwg12TableCount> overrides_;
    std::array<uint8_t, 10> trailer_reserved_{};
    size_t gap_after_blocks_ = kDwg12SectionGap;
    size_t gap_before_tail_ = 0;
    bool header_copies_ = true;
    Bytes built_;
    Dwg12Layout layout_;
};

// Writes the bytes to a file; true on success.
bool WriteFile(const std::string &path, const Bytes &bytes);
// Reads a whole file; empty on failure.
Bytes ReadFile(const std::string &path);

} // namespace velko_test
