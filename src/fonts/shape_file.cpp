// Loading compiled shape files (shapes 1.0 and 1.1, unifont, big font) and the shape
// interpreter that measures a shape's width.
#include "fonts/shape_file.h"

#include "interface/drawing_file.h"

#include <cctype>
#include <cmath>
#include <cstring>

const char CShapeFile::kShapes11Header[] = "AutoCAD-86 shapes 1.1";
const char CShapeFile::kShapes10Header[] = "AutoCAD-86 shapes 1.0";
const char CShapeFile::kUnifontHeader[] = "AutoCAD-86 unifont 1.";
const char CShapeFile::kBigFontPrefix[] = "AutoCAD-86 bigfont 1.";
const char CShapeFile::kBigFontHeader[] = "AutoCAD-86 bigfont 1.0";

namespace {

constexpr double kPi = 3.14159265358979323846;

uint16_t U16(const uint8_t *p) {
    return static_cast<uint16_t>(p[0] | (p[1] << 8));
}
int16_t I16(const uint8_t *p) {
    return static_cast<int16_t>(U16(p));
}
uint32_t U32(const uint8_t *p) {
    return static_cast<uint32_t>(p[0]) | (static_cast<uint32_t>(p[1]) << 8) |
           (static_cast<uint32_t>(p[2]) << 16) | (static_cast<uint32_t>(p[3]) << 24);
}

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
    uint8_t count_bytes[2];
    if (!ReadShapeBytes(file, CShapeFile::kShapesCountOffset, count_bytes, 2))
        return false;
    int16_t count = I16(count_bytes);
    if (count < 0)
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
    for (size_t i = 0; i < rows.size(); ++i) {
        rows[i].number = U16(&directory[i * 4]);
        rows[i].length = I16(&directory[i * 4 + 2]);
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
    uint8_t count_bytes[2];
    if (!ReadShapeBytes(file, CShapeFile::kUnifontCountOffset, count_bytes, 2))
        return false;
    int16_t count = I16(count_bytes);
    if (count < 0)
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
        rows[i].number = U16(head);
        rows[i].length = I16(head + 2);
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

std::unique_ptr<CShapeFile> CShapeFile::Load(const std::string &path) {
    CDrawingFile file;
    if (!file.Open(path.c_str(), CDB_OPEN_READ))
        return nullptr;
    // The first line, compared byte for byte over 21 bytes.
    char header[kHeaderBytes + 1] = {};
    if (!ReadShapeBytes(file, 0, header, kHeaderBytes))
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
    if (!file.Open(path.c_str(), CDB_OPEN_READ))
        return nullptr;
    // 23 bytes are read; the 22 of the header text are compared, the line end is not.
    char header[kBigFontHeaderBytes + 1] = {};
    if (!ReadShapeBytes(file, 0, header, kBigFontHeaderBytes))
        return nullptr;
    if (std::memcmp(header, kBigFontHeader, sizeof kBigFontHeader - 1) != 0)
        return nullptr;
    uint8_t counts[4];
    if (!ReadShapeBytes(file, kBigFontCountOffset, counts, 4))
        return nullptr;
    int16_t shape_count = I16(counts);
    int16_t range_count = I16(counts + 2);
    if (shape_count < 0 || range_count < 0)
        return nullptr;
    const uint32_t ranges_offset = kBigFontRangeCountOffset + 2;
    const uint64_t ranges_size = uint64_t(range_count) * 2;
    const uint64_t shapes_size = uint64_t(shape_count) * 8;
    if (ranges_offset + ranges_size + shapes_size > file.Length())
        return nullptr;
    std::vector<uint8_t> bytes(static_cast<size_t>(ranges_size + shapes_size));
    if (!ReadShapeBytes(file, ranges_offset, bytes.data(), static_cast<uint32_t>(bytes.size())))
        return nullptr;
    auto font = std::make_unique<BigFont>();
    font->file_name = path;
    font->ranges.resize(static_cast<size_t>(range_count));
    for (size_t i = 0; i < font->ranges.size(); ++i) {
        font->ranges[i].low = bytes[i * 2];
        font->ranges[i].high = bytes[i * 2 + 1];
    }
    const uint8_t *p = bytes.data() + ranges_size;
    font->shapes.resize(static_cast<size_t>(shape_count));
    for (size_t i = 0; i < font->shapes.size(); ++i, p += 8) {
        font->shapes[i].shape_id = U16(p);
        font->shapes[i].data_length = U16(p + 2);
        font->shapes[i].data_offset = U32(p + 4);
    }
    return font;
}

bool ReadBigFontShape(const BigFont &font, size_t index, std::vector<uint8_t> *data) {
    if (!data || index >= font.shapes.size())
        return false;
    const BigFont::Shape &shape = font.shapes[index];
    CDrawingFile file;
    if (!file.Open(font.file_name.c_str(), CDB_OPEN_READ))
        return false;
    if (shape.data_offset > file.Length() || shape.data_length > file.Length() - shape.data_offset)
        return false;
    data->assign(shape.data_length, 0);
    return ReadShapeBytes(file, shape.data_offset, data->data(), shape.data_length);
}

// ---- The shape interpreter ------------------------------------------------------------
//
// The walk draws nothing; it keeps the pen, the scale, a stack of four pen positions and
// the width, which grows to the pen's x after each command. Read literally, an arc counts
// with its end point only (ArcReach::kEndPoint, what the loader stores); ArcReach::kWholeArc
// also counts the arc's rightmost point where it passes angle 0. Each displacement of a
// code 9 and each arc of a code 13 counts on its own.
//
// Code 14 leaves a skip pending: the next movement (a vector, or code 8 to 13, a 9 or 13
// with all its parts) is passed over whole, the pen staying where it was, so that a move
// meant for vertical text shifts nothing of the horizontal width. Pen up and pen down
// clear a pending skip; the other codes leave it pending.
//
// A fractional arc (code 11) starts in octant S at start offset x 45/256 degrees, and ends
// in the C-th octant counted from S in its direction (S + C - 1, or S - C + 1 clockwise) at
// end offset x 45/256 degrees: the arc of 55 to 95 degrees is 11,(56,28,0,3,012).
//
// The walk ends at code 0, at the end of the codes, at a command whose operands the codes
// don't hold, at a fifth push and at a pop of an empty stack.

namespace {

// The 16 directions of a vector byte, in units of its length.
constexpr double kDirections[16][2] = {
    {1, 0},  {1, 0.5},   {1, 1},   {0.5, 1},   {0, 1},  {-0.5, 1}, {-1, 1}, {-1, 0.5},
    {-1, 0}, {-1, -0.5}, {-1, -1}, {-0.5, -1}, {0, -1}, {0.5, -1}, {1, -1}, {1, -0.5},
};

// Cosine and sine of octant k (k x 45 degrees), exact at the axes.
constexpr double kHalfRoot2 = 0.70710678118654752440;
constexpr double kOctantCos[8] = {1, kHalfRoot2, 0, -kHalfRoot2, -1, -kHalfRoot2, 0, kHalfRoot2};
constexpr double kOctantSin[8] = {0, kHalfRoot2, 1, kHalfRoot2, 0, -kHalfRoot2, -1, -kHalfRoot2};

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

class Interpreter {
public:
    Interpreter(const uint8_t *codes, size_t length, ArcReach reach)
        : codes(codes), length(codes ? length : 0), reach(reach) {}

    double Run() {
        while (pos < length) {
            uint8_t code = codes[pos++];
            if (code == 0)
                break;
            if (!Command(code))
                break;
            Grow(x);
        }
        return width;
    }

private:
    // Takes `n` operand bytes; false when the codes end before them.
    bool Take(size_t n, const uint8_t **out) {
        if (length - pos < n)
            return false;
        *out = codes + pos;
        pos += n;
        return true;
    }

    void Grow(double value) {
        if (value > width)
            width = value;
    }

    // A straight move by (dx, dy), already scaled. A pending skip passes it over.
    void Move(double dx, double dy) {
        if (skipping)
            return;
        x += dx;
        y += dy;
        Grow(x);
    }

    // An arc about (cx, cy) of radius r from angle `start` sweeping `sweep`, ending at
    // (ex, ey). The end point always counts; the whole arc counts when asked for.
    void Arc(double cx, double r, double start, double sweep, double ex, double ey) {
        if (skipping)
            return;
        if (reach == ArcReach::kWholeArc && r > 0 && PassesAngleZero(start, sweep))
            Grow(cx + r);
        x = ex;
        y = ey;
        Grow(x);
    }

    void OctantArc(uint8_t radius_byte, uint8_t spec) {
        const double r = radius_byte * scale;
        const bool clockwise = (spec & 0x80) != 0;
        const int start = (spec >> 4) & 7;
        int count = spec & 7;
        if (count == 0)
            count = 8;
        const int end = ((clockwise ? start - count : start + count) % 8 + 8) % 8;
        const double cx = x - r * kOctantCos[start];
        const double cy = y - r * kOctantSin[start];
        const double sweep = (clockwise ? -count : count) * kPi / 4;
        Arc(cx, r, start * kPi / 4, sweep, cx + r * kOctantCos[end], cy + r * kOctantSin[end]);
    }

    // The arc starts in octant S, offset by start_offset x 45/256 degrees, and ends in the
    // C-th octant counted from S in its direction, offset by end_offset x 45/256 degrees.
    void FractionalArc(const uint8_t *op) {
        const double r = (op[2] * 256 + op[3]) * scale;
        const uint8_t spec = op[4];
        const bool clockwise = (spec & 0x80) != 0;
        const int start_octant = (spec >> 4) & 7;
        int count = spec & 7;
        if (count == 0)
            count = 8;
        const int end_octant = clockwise ? start_octant - (count - 1) : start_octant + (count - 1);
        const double start_deg = start_octant * 45.0 + op[0] * 45.0 / 256.0;
        const double end_deg = end_octant * 45.0 + op[1] * 45.0 / 256.0;
        double sweep_deg = std::fmod(clockwise ? start_deg - end_deg : end_deg - start_deg, 360.0);
        if (sweep_deg < 0)
            sweep_deg += 360.0;
        if (clockwise)
            sweep_deg = -sweep_deg;
        const double start = start_deg * kPi / 180.0;
        const double end = start + sweep_deg * kPi / 180.0;
        const double cx = x - r * std::cos(start);
        const double cy = y - r * std::sin(start);
        Arc(cx, r, start, sweep_deg * kPi / 180.0, cx + r * std::cos(end), cy + r * std::sin(end));
    }

    // An arc to (dx, dy) whose bulge, over 127, is the tangent of a quarter of its angle.
    void BulgeArc(int8_t dx_byte, int8_t dy_byte, int8_t bulge) {
        const double dx = dx_byte * scale;
        const double dy = dy_byte * scale;
        const double chord = std::hypot(dx, dy);
        if (bulge == 0 || chord == 0) {
            Move(dx, dy);
            return;
        }
        const double angle = 4 * std::atan(bulge / 127.0);
        // The centre lies off the chord's midpoint, to the left for a counter-clockwise
        // arc of less than half a circle.
        const double along = (chord / 2) / std::tan(angle / 2);
        const double cx = x + dx / 2 - dy / chord * along;
        const double cy = y + dy / 2 + dx / chord * along;
        const double r = std::hypot(x - cx, y - cy);
        const double start = std::atan2(y - cy, x - cx);
        Arc(cx, r, start, angle, x + dx, y + dy);
    }

    // One command behind its code; false when the walk ends.
    bool Command(uint8_t code) {
        const uint8_t *op = nullptr;
        if (code > 14) {
            const double *d = kDirections[code & 0x0F];
            const double n = (code >> 4) * scale;
            Move(d[0] * n, d[1] * n);
            skipping = false;
            return true;
        }
        switch (code) {
        case 1:
        case 2:
            skipping = false;
            return true;
        case 3:
            if (!Take(1, &op))
                return false;
            // A divisor of 0 would leave no scale at all: the scale stays.
            if (op[0] != 0)
                scale /= op[0];
            return true;
        case 4:
            if (!Take(1, &op))
                return false;
            scale *= op[0];
            return true;
        case 5:
            if (depth == 4)
                return false;
            stack[depth][0] = x;
            stack[depth][1] = y;
            ++depth;
            return true;
        case 6:
            if (depth == 0)
                return false;
            --depth;
            x = stack[depth][0];
            y = stack[depth][1];
            return true;
        case 7:
            return Take(1, &op);
        case 8:
            if (!Take(2, &op))
                return false;
            Move(int8_t(op[0]) * scale, int8_t(op[1]) * scale);
            skipping = false;
            return true;
        case 9:
            for (;;) {
                if (!Take(2, &op))
                    return false;
                if (op[0] == 0 && op[1] == 0)
                    break;
                Move(int8_t(op[0]) * scale, int8_t(op[1]) * scale);
            }
            skipping = false;
            return true;
        case 10:
            if (!Take(2, &op))
                return false;
            OctantArc(op[0], op[1]);
            skipping = false;
            return true;
        case 11:
            if (!Take(5, &op))
                return false;
            FractionalArc(op);
            skipping = false;
            return true;
        case 12:
            if (!Take(3, &op))
                return false;
            BulgeArc(int8_t(op[0]), int8_t(op[1]), int8_t(op[2]));
            skipping = false;
            return true;
        case 13:
            for (;;) {
                if (!Take(2, &op))
                    return false;
                if (op[0] == 0 && op[1] == 0)
                    break;
                const int8_t dx = int8_t(op[0]), dy = int8_t(op[1]);
                if (!Take(1, &op))
                    return false;
                BulgeArc(dx, dy, int8_t(op[0]));
            }
            skipping = false;
            return true;
        case 14:
            skipping = true;
            return true;
        default:
            return true;
        }
    }

    const uint8_t *codes;
    size_t length;
    ArcReach reach;
    size_t pos = 0;
    double x = 0, y = 0;
    double scale = 1.0;
    double width = 0;
    double stack[4][2] = {};
    int depth = 0;
    bool skipping = false;
};

} // namespace

double ShapeWidth(const uint8_t *codes, size_t length) {
    return ShapeWidth(codes, length, ArcReach::kEndPoint);
}

double ShapeWidth(const uint8_t *codes, size_t length, ArcReach reach) {
    return Interpreter(codes, length, reach).Run();
}
