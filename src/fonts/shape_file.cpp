// Loading compiled shape files (shapes 1.0 and 1.1, unifont, big font), and the width of a
// shape as the shape interpreter measures it.
#include "fonts/shape_file.h"

#include "fonts/shape_interpreter.h"

#include "io/byte_reader.h"
#include "io/drawing_file.h"
#include "records/angles.h"

#include <cctype>
#include <cmath>
#include <cstring>

const char CShapeFile::kShapes11Header[] = "AutoCAD-86 shapes 1.1";
const char CShapeFile::kShapes10Header[] = "AutoCAD-86 shapes 1.0";
const char CShapeFile::kUnifontHeader[] = "AutoCAD-86 unifont 1.";
const char CShapeFile::kBigFontPrefix[] = "AutoCAD-86 bigfont 1.";
const char CShapeFile::kBigFontHeader[] = "AutoCAD-86 bigfont 1.0";

namespace {

std::string Upper(const std::string &text) {
    std::string out(text);
    for (char &c : out)
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return out;
}

// One row of the scratch directory: shape number, data length, file offset of the data.
// Numbers are taken unsigned, so that the code points of a unifont from 0x8000 up sort
// last and land among the extra shapes; no number is negative.
struct Row {
    uint16_t number = 0;
    int16_t length = 0;
    uint32_t offset = 0;
};

// The selection sort of a unifont's directory: the smallest remaining number is swapped
// into place, row by row.
void SelectionSort(std::vector<Row> &rows) {
    for (size_t i = 0; i + 1 < rows.size(); ++i) {
        size_t least = i;
        for (size_t j = i + 1; j < rows.size(); ++j)
            if (rows[j].number < rows[least].number)
                least = j;
        if (least != i)
            std::swap(rows[i], rows[least]);
    }
}

// Reads each shape of the directory and fills the direct table and the extra shapes.
bool ReadShapes(CDrawingFile &file, const std::vector<Row> &rows, CShapeFile &font) {
    int max_id = -1;
    for (const Row &row : rows)
        if (row.number > max_id)
            max_id = row.number;
    if (max_id > 255)
        max_id = 255;
    font.max_shape_id = static_cast<int16_t>(max_id);
    font.shapes.assign(static_cast<size_t>(max_id + 1), ShapeEntry());
    font.extra_shapes.clear();
    const bool measure = font.form != CShapeFile::Form::kUnifont;

    bool to_extras = false;
    for (size_t i = 0; i < rows.size(); ++i) {
        const Row &row = rows[i];
        // From the first number of 256 or above on, every shape goes to the extra shapes.
        if (row.number >= 256)
            to_extras = true;
        if (uint64_t(row.offset) + static_cast<uint64_t>(row.length) > file.Length())
            return false;
        std::vector<uint8_t> data(static_cast<size_t>(row.length));
        if (!ReadShapeBytes(file, row.offset, data.data(), static_cast<uint32_t>(row.length)))
            return false;
        size_t code_length = 0;
        const uint8_t *codes = ShapeCodes(data, &code_length);
        if (i == 0 && code_length > 0) {
            int8_t above = static_cast<int8_t>(codes[0]);
            font.above = above != 0 ? above : 1.0;
        }
        double width = measure ? ShapeWidth(codes, code_length) : 0.0;
        if (!to_extras) {
            ShapeEntry &entry = font.shapes[row.number];
            entry.data_length = row.length;
            entry.width = width;
            entry.data = std::move(data);
        } else {
            ExtraShape extra;
            extra.shape_id = row.number;
            extra.data_length = row.length;
            extra.width = width;
            extra.data = std::move(data);
            font.extra_shapes.push_back(std::move(extra));
        }
    }
    return true;
}

// Shapes 1.0 and 1.1: a count, a directory of number and length, then the data in
// directory order.
bool LoadShapes(CDrawingFile &file, CShapeFile &font) {
    int16_t count = 0;
    if (!ReadShapeValues(file, CShapeFile::kShapesCountOffset, count) || count < 0)
        return false;
    const uint64_t directory_size = uint64_t(count) * 4;
    if (CShapeFile::kShapesDirectoryOffset + directory_size > file.Length())
        return false;
    std::vector<uint8_t> directory(static_cast<size_t>(directory_size));
    if (!ReadShapeBytes(file, CShapeFile::kShapesDirectoryOffset, directory.data(),
                        static_cast<uint32_t>(directory_size)))
        return false;
    std::vector<Row> rows(static_cast<size_t>(count));
    uint64_t offset = CShapeFile::kShapesDirectoryOffset + directory_size;
    ByteReader entries(directory.data(), directory.size());
    for (size_t i = 0; i < rows.size(); ++i) {
        entries.U16(rows[i].number);
        entries.I16(rows[i].length);
        if (rows[i].length < 0 || offset > file.Length())
            return false;
        rows[i].offset = static_cast<uint32_t>(offset);
        offset += static_cast<uint64_t>(rows[i].length);
    }
    font.data_offset = static_cast<uint32_t>(CShapeFile::kShapesDirectoryOffset + directory_size);
    return ReadShapes(file, rows, font);
}

// Unifont: a count and then each shape inline, number and length before its data. The walk
// learns the offsets, the sort puts the directory in order of numbers.
bool LoadUnifont(CDrawingFile &file, CShapeFile &font) {
    int16_t count = 0;
    if (!ReadShapeValues(file, CShapeFile::kUnifontCountOffset, count) || count < 0)
        return false;
    // Every shape takes at least its four bytes of number and length.
    if (CShapeFile::kUnifontShapesOffset + uint64_t(count) * 4 > file.Length())
        return false;
    std::vector<Row> rows(static_cast<size_t>(count));
    uint64_t position = CShapeFile::kUnifontShapesOffset;
    for (size_t i = 0; i < rows.size(); ++i) {
        uint8_t head[4];
        if (position > file.Length() ||
            !ReadShapeBytes(file, static_cast<uint32_t>(position), head, 4))
            return false;
        ByteReader fields(head, sizeof head);
        fields.U16(rows[i].number);
        fields.I16(rows[i].length);
        if (rows[i].length < 0)
            return false;
        rows[i].offset = static_cast<uint32_t>(position + 4);
        position += 4 + static_cast<uint64_t>(rows[i].length);
        if (position > file.Length())
            return false;
    }
    font.data_offset = rows.empty() ? CShapeFile::kUnifontShapesOffset + 4 : rows[0].offset;
    SelectionSort(rows);
    return ReadShapes(file, rows, font);
}

// Opens `path` and reads its first `size` bytes, the header line, into `header`.
bool OpenWithHeader(CDrawingFile &file, const std::string &path, char *header, uint32_t size) {
    return file.Open(path.c_str(), kDrawingFileRead) && ReadShapeBytes(file, 0, header, size);
}

} // namespace

bool ReadShapeBytes(CDrawingFile &file, uint32_t offset, void *dest, uint32_t size) {
    if (size == 0)
        return true;
    if (!dest || offset > file.Length() || size > file.Length() - offset)
        return false;
    file.SetPosition(static_cast<int32_t>(offset), 0);
    int32_t before = file.GetPosition();
    if (!file.Read(dest, size))
        return false;
    return static_cast<uint32_t>(file.GetPosition() - before) == size;
}

const uint8_t *ShapeCodes(const std::vector<uint8_t> &data, size_t *length) {
    size_t name = ShapeNameLength(data);
    if (name >= data.size()) {
        if (length)
            *length = 0;
        return nullptr;
    }
    if (length)
        *length = data.size() - name - 1;
    return data.data() + name + 1;
}

size_t ShapeNameLength(const std::vector<uint8_t> &data) {
    const void *nul = data.empty() ? nullptr : std::memchr(data.data(), 0, data.size());
    return nul ? static_cast<size_t>(static_cast<const uint8_t *>(nul) - data.data()) : data.size();
}

bool BigFont::IsLeadByte(uint8_t lead_byte) const {
    for (const Range &range : ranges)
        if (lead_byte >= range.low && lead_byte <= range.high)
            return true;
    return false;
}

const ShapeEntry *CShapeFile::Entry(int number) const {
    if (number < 0 || number > max_shape_id || size_t(number) >= shapes.size())
        return nullptr;
    return &shapes[static_cast<size_t>(number)];
}

bool CShapeFile::CodesOf(int number, std::vector<uint8_t> *codes) const {
    const ShapeEntry *entry = Entry(number);
    size_t length = 0;
    const uint8_t *bytes = entry ? ShapeCodes(entry->data, &length) : nullptr;
    if (!bytes)
        return false;
    codes->assign(bytes, bytes + length);
    return true;
}

std::unique_ptr<CShapeFile> CShapeFile::Load(const std::string &path) {
    CDrawingFile file;
    // The first line, compared byte for byte over 21 bytes.
    char header[kHeaderBytes + 1] = {};
    if (!OpenWithHeader(file, path, header, kHeaderBytes))
        return nullptr;
    auto font = std::make_unique<CShapeFile>();
    if (std::memcmp(header, kShapes11Header, kHeaderBytes) == 0)
        font->form = Form::kShapes11;
    else if (std::memcmp(header, kShapes10Header, kHeaderBytes) == 0)
        font->form = Form::kShapes10;
    else if (std::memcmp(header, kUnifontHeader, kHeaderBytes) == 0)
        font->form = Form::kUnifont;
    else
        return nullptr; // a big font, or no shape file at all
    font->file_name = Upper(path);
    bool ok = font->form == Form::kUnifont ? LoadUnifont(file, *font) : LoadShapes(file, *font);
    if (!ok)
        return nullptr;
    return font;
}

std::unique_ptr<BigFont> CShapeFile::LoadBigFont(const std::string &path) {
    CDrawingFile file;
    // 23 bytes are read; the 22 of the header text are compared, the line end is not.
    char header[kBigFontHeaderBytes + 1] = {};
    if (!OpenWithHeader(file, path, header, kBigFontHeaderBytes))
        return nullptr;
    if (std::memcmp(header, kBigFontHeader, sizeof kBigFontHeader - 1) != 0)
        return nullptr;
    static_assert(kBigFontRangeCountOffset == kBigFontCountOffset + 2,
                  "the range count follows the shape count");
    return ReadBigFontTables(file, kBigFontCountOffset, path);
}

std::unique_ptr<BigFont> ReadBigFontTables(CDrawingFile &file, uint32_t offset,
                                           const std::string &file_name) {
    int16_t shape_count = 0;
    int16_t range_count = 0;
    if (!ReadShapeValues(file, offset, shape_count, range_count) || shape_count < 0 ||
        range_count < 0)
        return nullptr;
    const uint64_t ranges_offset = uint64_t(offset) + 4;
    const uint64_t ranges_size = uint64_t(range_count) * 2;
    const uint64_t shapes_size = uint64_t(shape_count) * 8;
    if (ranges_offset + ranges_size + shapes_size > file.Length())
        return nullptr;
    std::vector<uint8_t> bytes(static_cast<size_t>(ranges_size + shapes_size));
    if (!ReadShapeBytes(file, static_cast<uint32_t>(ranges_offset), bytes.data(),
                        static_cast<uint32_t>(bytes.size())))
        return nullptr;
    auto font = std::make_unique<BigFont>();
    font->file_name = file_name;
    font->ranges.resize(static_cast<size_t>(range_count));
    for (size_t i = 0; i < font->ranges.size(); ++i) {
        font->ranges[i].low = bytes[i * 2];
        font->ranges[i].high = bytes[i * 2 + 1];
    }
    ByteReader entries(bytes.data() + ranges_size, static_cast<size_t>(shapes_size));
    font->shapes.resize(static_cast<size_t>(shape_count));
    for (auto &shape : font->shapes) {
        uint16_t id = 0;
        uint16_t length = 0;
        uint32_t offset_in_file = 0;
        entries.U16(id);
        entries.U16(length);
        entries.U32(offset_in_file);
        shape.shape_id = id;
        shape.data_length = length;
        shape.data_offset = offset_in_file;
    }
    return font;
}

bool ReadBigFontShape(const BigFont &font, size_t index, std::vector<uint8_t> *data) {
    if (!data || index >= font.shapes.size())
        return false;
    const BigFont::Shape &shape = font.shapes[index];
    CDrawingFile file;
    if (!file.Open(font.file_name.c_str(), kDrawingFileRead))
        return false;
    if (shape.data_offset > file.Length() || shape.data_length > file.Length() - shape.data_offset)
        return false;
    data->assign(shape.data_length, 0);
    return ReadShapeBytes(file, shape.data_offset, data->data(), shape.data_length);
}

// ---- The width --------------------------------------------------------------------------
//
// The width listens to the shape interpreter, which draws nothing for it: it grows to the
// pen's x after each command and after each part of a code 9 or 13. Read literally, an arc
// counts with its end point only (ArcReach::kEndPoint, what the loader stores);
// ArcReach::kWholeArc also counts the arc's rightmost point where it passes angle 0.
// Subshapes are not followed, and code 14's skip lasts until a movement.

namespace {

double NormalAngle(double angle) {
    double a = std::fmod(angle, 2 * kPi);
    if (a < 0)
        a += 2 * kPi;
    return a;
}

// Whether an arc that starts at `start` and sweeps `sweep` (radians, positive
// counter-clockwise) passes angle 0, where its x is largest.
bool PassesAngleZero(double start, double sweep) {
    const double eps = 1e-12;
    if (std::fabs(sweep) >= 2 * kPi - eps)
        return true;
    double a = NormalAngle(start);
    if (a < eps || a > 2 * kPi - eps)
        return true;
    return sweep > 0 ? a + sweep >= 2 * kPi - eps : a + sweep <= eps;
}

class WidthListener : public ShapePenListener {
public:
    explicit WidthListener(ArcReach reach) : reach(reach) {}

    void Moved(ShapePoint, ShapePoint to, bool) override { Grow(to.x); }
    void Arced(const ShapeArc &arc, bool) override {
        if (reach == ArcReach::kWholeArc && arc.radius > 0 && PassesAngleZero(arc.start, arc.sweep))
            Grow(arc.centre.x + arc.radius);
        Grow(arc.to.x);
    }
    void CommandDone(const ShapePenState &state) override { Grow(state.x); }

    double width = 0;

private:
    void Grow(double value) {
        if (value > width)
            width = value;
    }
    ArcReach reach;
};

} // namespace

double ShapeWidth(const uint8_t *codes, size_t length) {
    return ShapeWidth(codes, length, ArcReach::kEndPoint);
}

double ShapeWidth(const uint8_t *codes, size_t length, ArcReach reach) {
    WidthListener listener(reach);
    ShapeInterpreter(codes, length, listener, ShapeSkip::kUntilMovement).Run();
    return listener.width;
}
