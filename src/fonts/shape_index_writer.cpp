// Writing the control-shape index: the directory, and one block a font.
#include "fonts/shape_index_writer.h"

#include "fonts/shape_file.h"
#include "fonts/shape_index.h"
#include "io/byte_writer.h"

#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>

namespace {

static_assert(CShapeIndexWriter::kLongestName == CShapeIndex::kNameSize - 1,
              "a name and its terminator fill the name of an entry");

// The largest data of one shape that a record's i16 length holds.
constexpr size_t kLongestShapeData = 32767;
// The most records of a shape file's block: its last index is an i16.
constexpr size_t kMostRecords = 32768;
// The most shapes, and the most escape ranges, of a big font's block: i16 counts.
constexpr size_t kMostBigFontItems = 32767;

bool ReadFile(const std::string &path, std::vector<uint8_t> *bytes) {
    std::ifstream in(path, std::ios::binary);
    if (!in)
        return false;
    bytes->assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    return true;
}

// One shape record: number, length, width, data (name, NUL, codes).
void PutRecord(ByteWriter &out, uint16_t number, const std::vector<uint8_t> &data,
               bool with_width) {
    out.U16(number);
    out.U16(static_cast<uint16_t>(data.size()));
    double width = 0;
    if (with_width) {
        size_t nul = 0;
        while (nul < data.size() && data[nul] != 0)
            ++nul;
        if (nul < data.size())
            width = ShapeWidth(data.data() + nul + 1, data.size() - nul - 1);
    }
    out.F64(width);
    out.Bytes(data.data(), data.size());
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
    if (records.size() > kMostRecords)
        return false;
    for (const Record &r : records)
        if (r.data->size() > kLongestShapeData)
            return false;
    // Unifont shapes carry no width, as when the file itself is loaded.
    bool with_width = file.form != CShapeFile::Form::kUnifont;

    ByteWriter writer(out);
    writer.U16(static_cast<uint16_t>(file.max_shape_id));
    writer.U16(static_cast<uint16_t>(static_cast<int16_t>(records.size()) - 1));
    size_t offsets = out.size();
    out.resize(offsets + 4 * records.size(), 0);
    for (size_t i = 0; i < records.size(); ++i) {
        writer.WriteAt(offsets + 4 * i, static_cast<uint32_t>(out.size()));
        PutRecord(writer, records[i].number, *records[i].data, with_width);
    }
    return true;
}

// The block of a big font: shape count, range count, ranges, 8 bytes a shape with data
// offsets into the index, then the data, copied from the font file.
bool PutBigFontBlock(std::vector<uint8_t> &out, const BigFont &font,
                     const std::vector<uint8_t> &file) {
    if (font.shapes.size() > kMostBigFontItems || font.ranges.size() > kMostBigFontItems)
        return false;
    ByteWriter writer(out);
    writer.U16(static_cast<uint16_t>(font.shapes.size()));
    writer.U16(static_cast<uint16_t>(font.ranges.size()));
    for (const BigFont::Range &r : font.ranges) {
        writer.U8(r.low);
        writer.U8(r.high);
    }
    size_t directory = out.size();
    out.resize(directory + 8 * font.shapes.size(), 0);
    for (size_t i = 0; i < font.shapes.size(); ++i) {
        const BigFont::Shape &s = font.shapes[i];
        size_t from = s.data_offset;
        if (from > file.size() || s.data_length > file.size() - from)
            return false;
        size_t row = directory + 8 * i;
        writer.WriteAt(row, s.shape_id);
        writer.WriteAt(row + 2, s.data_length);
        writer.WriteAt(row + 4, static_cast<uint32_t>(out.size()));
        writer.Bytes(file.data() + from, s.data_length);
    }
    return true;
}

} // namespace

CShapeIndexWriter::CShapeIndexWriter(size_t font_count) : font_count(font_count) {
    out.assign(CShapeIndex::kSignature, CShapeIndex::kSignature + CShapeIndex::kSignatureLength);
    ByteWriter(out).U16(static_cast<uint16_t>(font_count));
    out.resize(CShapeIndex::kDirectoryOffset + CShapeIndex::kEntrySize * font_count, 0);
}

bool CShapeIndexWriter::NameFits(const std::string &name) {
    return !name.empty() && name.size() <= kLongestName;
}

CShapeIndexWriter::Added CShapeIndexWriter::Add(const std::string &name, const std::string &path) {
    if (added >= font_count || !NameFits(name))
        return Added::kTooLarge;
    const size_t block = out.size();
    bool ok = false;
    int16_t kind = CShapeIndex::kShapeFileKind;
    if (std::unique_ptr<CShapeFile> file = CShapeFile::Load(path)) {
        ok = PutShapeFileBlock(out, *file);
    } else if (std::unique_ptr<BigFont> font = CShapeFile::LoadBigFont(path)) {
        kind = CShapeIndex::kBigFontKind;
        std::vector<uint8_t> bytes;
        ok = ReadFile(path, &bytes) && PutBigFontBlock(out, *font, bytes);
    } else {
        return Added::kUnreadable;
    }
    if (!ok || out.size() > 0xFFFFFFFFu) {
        out.resize(block);
        return Added::kTooLarge;
    }
    const size_t entry = CShapeIndex::kDirectoryOffset + CShapeIndex::kEntrySize * added++;
    std::memcpy(&out[entry], name.data(), name.size());
    ByteWriter writer(out);
    writer.WriteAt(entry + CShapeIndex::kNameSize, kind);
    writer.WriteAt(entry + CShapeIndex::kNameSize + 2, static_cast<uint32_t>(block));
    return Added::kAdded;
}
