// velko sdx: builds a control-shape index (SDX) that holds several shape files and big
// fonts, for the shape table to fall back on when a drawing's font is nowhere on disk.
//
// Layout: the text "MORV Control Shapes" (no terminator), the entry count (i16), 38-byte
// entries (32-byte upper-case NUL-filled name, kind i16: -1 shape file, -2 big font, block
// offset u32), then the blocks in entry order.
#include "commands.h"
#include "fonts/shape_file.h"

#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace {

const char kSignature[] = "MORV Control Shapes";
const size_t kSignatureLength = sizeof kSignature - 1; // 19
const size_t kEntrySize = 38;
const size_t kNameSize = 32;
const int16_t kKindShapeFile = -1;
const int16_t kKindBigFont = -2;

int Usage() {
    std::fprintf(stderr, "usage: velko sdx OUT.SDX FILE.SHX...\n");
    return 2;
}

void Put16(std::vector<uint8_t> &out, uint32_t v) {
    out.push_back(static_cast<uint8_t>(v & 0xFF));
    out.push_back(static_cast<uint8_t>((v >> 8) & 0xFF));
}

void Set32(std::vector<uint8_t> &out, size_t at, uint32_t v) {
    for (int i = 0; i < 4; ++i)
        out[at + i] = static_cast<uint8_t>((v >> (8 * i)) & 0xFF);
}

void PutDouble(std::vector<uint8_t> &out, double d) {
    uint64_t bits = 0;
    std::memcpy(&bits, &d, sizeof bits);
    for (int i = 0; i < 8; ++i)
        out.push_back(static_cast<uint8_t>((bits >> (8 * i)) & 0xFF));
}

// The index name of a file: its base name without the extension, upper-cased.
std::string FontName(const std::string &path) {
    size_t slash = path.find_last_of("/\\");
    std::string base = slash == std::string::npos ? path : path.substr(slash + 1);
    size_t dot = base.rfind('.');
    if (dot != std::string::npos)
        base.erase(dot);
    for (char &c : base)
        if (c >= 'a' && c <= 'z')
            c = static_cast<char>(c - 'a' + 'A');
    return base;
}

bool ReadFile(const std::string &path, std::vector<uint8_t> *bytes) {
    std::ifstream in(path, std::ios::binary);
    if (!in)
        return false;
    bytes->assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    return true;
}

// One shape record: number, length, width, data.
void PutRecord(std::vector<uint8_t> &out, uint16_t number, const std::vector<uint8_t> &data,
               bool with_width) {
    Put16(out, number);
    Put16(out, static_cast<uint32_t>(data.size()));
    double width = 0;
    if (with_width) {
        size_t nul = 0;
        while (nul < data.size() && data[nul] != 0)
            ++nul;
        if (nul < data.size())
            width = ShapeWidth(data.data() + nul + 1, data.size() - nul - 1);
    }
    PutDouble(out, width);
    out.insert(out.end(), data.begin(), data.end());
}

// The block of a shape file: max_shape_id, M, M + 1 record offsets, the records. The
// records are the direct table's shapes by number, then the shapes from 256 up, whose
// numbers end a reader's walk.
bool PutShapeFileBlock(std::vector<uint8_t> &out, const CShapeFile &file) {
    struct Record {
        uint16_t number;
        const std::vector<uint8_t> *data;
    };
    std::vector<Record> records;
    for (size_t n = 0; n < file.shapes.size() && n < 256; ++n)
        if (!file.shapes[n].data.empty())
            records.push_back({static_cast<uint16_t>(n), &file.shapes[n].data});
    for (const ExtraShape &extra : file.extra_shapes)
        records.push_back({extra.shape_id, &extra.data});
    if (records.size() > 32768)
        return false;
    for (const Record &r : records)
        if (r.data->size() > 32767)
            return false;
    // Unifont shapes carry no width, as when the file itself is loaded.
    bool with_width = file.form != CShapeFile::Form::kUnifont;

    Put16(out, static_cast<uint16_t>(file.max_shape_id));
    Put16(out, static_cast<uint16_t>(static_cast<int16_t>(records.size()) - 1));
    size_t offsets = out.size();
    out.resize(offsets + 4 * records.size(), 0);
    for (size_t i = 0; i < records.size(); ++i) {
        Set32(out, offsets + 4 * i, static_cast<uint32_t>(out.size()));
        PutRecord(out, records[i].number, *records[i].data, with_width);
    }
    return true;
}

// The block of a big font: shape count, range count, ranges, 8 bytes a shape with data
// offsets into the index, then the data, copied from the font file.
bool PutBigFontBlock(std::vector<uint8_t> &out, const BigFont &font,
                     const std::vector<uint8_t> &file) {
    if (font.shapes.size() > 32767 || font.ranges.size() > 32767)
        return false;
    Put16(out, static_cast<uint32_t>(font.shapes.size()));
    Put16(out, static_cast<uint32_t>(font.ranges.size()));
    for (const BigFont::Range &r : font.ranges) {
        out.push_back(r.low);
        out.push_back(r.high);
    }
    size_t directory = out.size();
    out.resize(directory + 8 * font.shapes.size(), 0);
    for (size_t i = 0; i < font.shapes.size(); ++i) {
        const BigFont::Shape &s = font.shapes[i];
        size_t from = s.data_offset;
        if (from > file.size() || s.data_length > file.size() - from)
            return false;
        size_t row = directory + 8 * i;
        out[row] = static_cast<uint8_t>(s.shape_id & 0xFF);
        out[row + 1] = static_cast<uint8_t>(s.shape_id >> 8);
        out[row + 2] = static_cast<uint8_t>(s.data_length & 0xFF);
        out[row + 3] = static_cast<uint8_t>(s.data_length >> 8);
        Set32(out, row + 4, static_cast<uint32_t>(out.size()));
        out.insert(out.end(), file.begin() + static_cast<std::ptrdiff_t>(from),
                   file.begin() + static_cast<std::ptrdiff_t>(from + s.data_length));
    }
    return true;
}

} // namespace

int RunSdx(int argc, char **argv) {
    if (argc < 2)
        return Usage();
    for (int i = 0; i < argc; ++i)
        if (argv[i][0] == '-' && argv[i][1] != '\0') {
            std::fprintf(stderr, "velko: unknown option '%s'\n", argv[i]);
            return Usage();
        }
    const char *out_path = argv[0];
    int count = argc - 1;
    if (count > 32767)
        return Usage();

    std::vector<std::string> names;
    std::set<std::string> seen;
    for (int i = 1; i < argc; ++i) {
        std::string name = FontName(argv[i]);
        if (name.empty() || name.size() > kNameSize - 1) {
            std::fprintf(stderr, "velko: %s: the font name must have 1 to %zu characters\n",
                         argv[i], kNameSize - 1);
            return 2;
        }
        if (!seen.insert(name).second) {
            std::fprintf(stderr, "velko: %s: a second font named %s\n", argv[i], name.c_str());
            return 2;
        }
        names.push_back(name);
    }

    std::vector<uint8_t> out(kSignature, kSignature + kSignatureLength);
    Put16(out, static_cast<uint32_t>(count));
    size_t directory = out.size();
    out.resize(directory + kEntrySize * static_cast<size_t>(count), 0);

    for (int i = 0; i < count; ++i) {
        const char *path = argv[i + 1];
        size_t entry = directory + kEntrySize * static_cast<size_t>(i);
        std::memcpy(&out[entry], names[i].data(), names[i].size());
        size_t block = out.size();
        bool ok = false;
        int16_t kind = kKindShapeFile;
        if (std::unique_ptr<CShapeFile> file = CShapeFile::Load(path)) {
            ok = PutShapeFileBlock(out, *file);
        } else if (std::unique_ptr<BigFont> font = CShapeFile::LoadBigFont(path)) {
            kind = kKindBigFont;
            std::vector<uint8_t> bytes;
            ok = ReadFile(path, &bytes) && PutBigFontBlock(out, *font, bytes);
        } else {
            std::fprintf(stderr, "velko: %s: cannot be read as a shape file or big font\n", path);
            return 1;
        }
        if (!ok || out.size() > 0xFFFFFFFFu) {
            std::fprintf(stderr, "velko: %s: does not fit in an index\n", path);
            return 1;
        }
        out[entry + kNameSize] = static_cast<uint8_t>(static_cast<uint16_t>(kind) & 0xFF);
        out[entry + kNameSize + 1] = static_cast<uint8_t>(static_cast<uint16_t>(kind) >> 8);
        Set32(out, entry + kNameSize + 2, static_cast<uint32_t>(block));
    }

    std::ofstream file(out_path, std::ios::binary | std::ios::trunc);
    if (!file ||
        !file.write(reinterpret_cast<const char *>(out.data()),
                    static_cast<std::streamsize>(out.size())) ||
        !file.flush()) {
        std::fprintf(stderr, "velko: %s: cannot be written\n", out_path);
        return 1;
    }
    std::printf("%s: %d font%s, %zu bytes\n", out_path, count, count == 1 ? "" : "s", out.size());
    return 0;
}
