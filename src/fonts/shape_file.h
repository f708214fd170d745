// One compiled shape file (SHX) in memory: its shapes by number, with their names, byte
// codes and widths, and the big font attached to it.
#ifndef VELKO_SHAPE_FILE_H
#define VELKO_SHAPE_FILE_H

#include "io/byte_reader.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

class CDrawingFile;

// A shape of the direct table (numbers 0 to max_shape_id). `data` holds the name, a NUL
// and the byte codes; a number the file does not define has length 0 and no data.
struct ShapeEntry {
    int16_t data_length = 0;
    double width = 0;
    std::vector<uint8_t> data;
};

// A shape numbered 256 or above, kept in file order.
struct ExtraShape {
    uint16_t shape_id = 0;
    int16_t data_length = 0;
    double width = 0;
    std::vector<uint8_t> data;
};

// A big font: escape ranges for two-byte text and a directory of shapes whose data stay
// in the file and are read on demand.
struct BigFont {
    struct Range {
        uint8_t low = 0, high = 0;
    };
    struct Shape {
        uint16_t shape_id = 0;
        uint16_t data_length = 0;
        uint32_t data_offset = 0;
    };
    // The file the data are read from: the big font's own file, or the index file for a
    // big font that came from the index.
    std::string file_name;
    std::vector<Range> ranges;
    std::vector<Shape> shapes;

    // Whether `lead_byte` opens a two-byte code: it lies in one of the escape ranges.
    bool IsLeadByte(uint8_t lead_byte) const;
};

class CShapeFile {
public:
    enum class Form { kShapes10, kShapes11, kUnifont };

    // Loads a shape file (shapes 1.0, 1.1 or unifont) from disk; null when it cannot be
    // opened, is of another form (a big font included) or is damaged.
    static std::unique_ptr<CShapeFile> Load(const std::string &path);
    // Loads a big font from disk; null on failure.
    static std::unique_ptr<BigFont> LoadBigFont(const std::string &path);

    // The header line of each form as the loader compares it: the first 21 bytes of a shape
    // file, and the 22 bytes of text of a big font's line (23 bytes are read).
    static constexpr size_t kHeaderBytes = 21;
    static constexpr size_t kBigFontHeaderBytes = 23;
    static const char kShapes11Header[];
    static const char kShapes10Header[];
    static const char kUnifontHeader[];
    static const char kBigFontPrefix[];
    static const char kBigFontHeader[];

    // The offsets of a shapes 1.0/1.1 file: the shape count and the directory behind it.
    static constexpr uint32_t kShapesCountOffset = 0x1C;
    static constexpr uint32_t kShapesDirectoryOffset = 0x1E;
    // The offsets of a unifont: the shape count and the first inline shape.
    static constexpr uint32_t kUnifontCountOffset = 0x19;
    static constexpr uint32_t kUnifontShapesOffset = 0x1B;
    // The offsets of a big font: the shape count and the escape range count.
    static constexpr uint32_t kBigFontCountOffset = 0x1B;
    static constexpr uint32_t kBigFontRangeCountOffset = 0x1D;

    // The entry of a shape number in the direct table; null for a number outside 0 to
    // max_shape_id.
    const ShapeEntry *Entry(int number) const;
    // The byte codes behind the name of shape `number` of the direct table, into `codes`
    // (the subshape lookup of the stroke walk): false, `codes` untouched, when the file has
    // no such shape or its data hold no codes.
    bool CodesOf(int number, std::vector<uint8_t> *codes) const;

    // Full path, upper case; for a font from the index, its name there.
    std::string file_name;
    Form form = Form::kShapes11;
    // Highest shape number in the directory, held to 255; -1 for an empty directory.
    int16_t max_shape_id = -1;
    uint32_t data_offset = 0;
    // The byte behind the first shape's name, as a signed value; 1.0 when it is 0 or
    // missing.
    double above = 1.0;
    std::vector<ShapeEntry> shapes;
    std::vector<ExtraShape> extra_shapes;
    std::unique_ptr<BigFont> big_font;
};

// The byte codes behind the name in a shape's data (name, NUL, codes). When the data hold
// no NUL there are no codes, and `length` is 0.
const uint8_t *ShapeCodes(const std::vector<uint8_t> &data, size_t *length);
// The length of the name at the start of a shape's data, without the NUL.
size_t ShapeNameLength(const std::vector<uint8_t> &data);

// Reads the data of shape `index` of a big font from its file; false when the file can't be
// opened or the data lie outside it.
bool ReadBigFontShape(const BigFont &font, size_t index, std::vector<uint8_t> *data);

// Reads the tables of a big font that start at `offset` of `file`: the shape count and the
// range count (i16 each), the escape ranges (low and high byte each), then a row of 8
// bytes a shape (number, data length, data offset). The shapes' data stay in the file named
// `file_name`. Null when a count is negative or the tables do not fit in the file.
std::unique_ptr<BigFont> ReadBigFontTables(CDrawingFile &file, uint32_t offset,
                                           const std::string &file_name);

// Reads exactly `size` bytes at `offset`; false when the file ends before them.
bool ReadShapeBytes(CDrawingFile &file, uint32_t offset, void *dest, uint32_t size);

// Reads the little-endian values that stand one behind the other from `offset` on; false,
// with the values not all set, when the file ends before them.
template <typename... Values>
bool ReadShapeValues(CDrawingFile &file, uint32_t offset, Values &...values) {
    uint8_t bytes[(sizeof(Values) + ...)];
    if (!ReadShapeBytes(file, offset, bytes, sizeof bytes))
        return false;
    ByteReader fields(bytes, sizeof bytes);
    return (fields.Read(values) && ...);
}

// How far the width follows an arc.
enum class ArcReach {
    // The pen's x after each command counts, so an arc counts with its end point only.
    kEndPoint,
    // Every point of an arc counts: where it crosses angle 0, its centre's x plus radius.
    kWholeArc,
};

// The width of a shape's byte codes: the largest x the pen reaches, in the units of the
// codes, as the shape interpreter walks them without drawing. `ShapeWidth(codes, length)`
// is what the loader stores: the pen's x after each command.
double ShapeWidth(const uint8_t *codes, size_t length);
double ShapeWidth(const uint8_t *codes, size_t length, ArcReach reach);

#endif
