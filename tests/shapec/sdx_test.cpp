// velko sdx: the control-shape index it lays out, byte by byte, and its exit codes.
#include "fonts/shape_file.h"
#include "fonts/shape_index.h"
#include "shapec/shape_compiler.h"
#include "shapec/shapec_test_util.h"

#include <cstring>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

using shapec_test::Outcome;
using shapec_test::ReadBytes;
using shapec_test::ReadSample;
using shapec_test::RunVelko;
using shapec_test::SamplePath;
using shapec_test::ScratchDir;
using velko_shapec::Form;
using velko_shapec::ShapeDef;

namespace {

using Bytes = std::vector<uint8_t>;

const size_t kDirectory = 21; // 19 bytes of text, the count
const size_t kEntry = 38;

std::vector<ShapeDef> Parse(const std::string &text) {
    std::vector<ShapeDef> defs;
    std::string error;
    EXPECT_TRUE(velko_shapec::ParseShapes(text, &defs, &error)) << error;
    return defs;
}

// Reads of the index; a read past the end gives 0 and fails the test.
struct Reader {
    const Bytes &b;
    bool Has(size_t at, size_t n) const {
        bool ok = at <= b.size() && n <= b.size() - at;
        EXPECT_TRUE(ok) << "read of " << n << " at " << at << " in " << b.size();
        return ok;
    }
    int16_t I16(size_t at) const {
        return Has(at, 2) ? static_cast<int16_t>(b[at] | b[at + 1] << 8) : 0;
    }
    uint16_t U16(size_t at) const { return static_cast<uint16_t>(I16(at)); }
    uint32_t U32(size_t at) const {
        return Has(at, 4) ? static_cast<uint32_t>(b[at] | b[at + 1] << 8 | b[at + 2] << 16 |
                                                  static_cast<uint32_t>(b[at + 3]) << 24)
                          : 0;
    }
    double F64(size_t at) const {
        double d = 0;
        if (Has(at, 8))
            std::memcpy(&d, &b[at], 8);
        return d;
    }
    Bytes Slice(size_t at, size_t n) const {
        return Has(at, n) ? Bytes(b.begin() + at, b.begin() + at + n) : Bytes();
    }
    std::string Name(size_t entry) const {
        Bytes raw = Slice(entry, 32);
        return std::string(reinterpret_cast<const char *>(raw.data()),
                           strnlen(reinterpret_cast<const char *>(raw.data()), raw.size()));
    }
};

double WidthOf(const Bytes &data) {
    size_t nul = 0;
    while (nul < data.size() && data[nul] != 0)
        ++nul;
    return nul < data.size() ? ShapeWidth(data.data() + nul + 1, data.size() - nul - 1) : 0;
}

std::string Compile(const ScratchDir &dir, const std::string &source, const std::string &out,
                    const std::string &extra = "") {
    std::string path = dir.File(out);
    EXPECT_EQ(RunVelko("shx compile " + SamplePath(source) + " " + path + extra).status, 0);
    return path;
}

// The index of the four sample files, built once per test.
struct SampleIndex {
    ScratchDir dir;
    std::string strokes, symbols, big, uni, sdx;
    Bytes bytes;
    int status = -1;
    SampleIndex() {
        strokes = Compile(dir, "strokes.shp", "Strokes.shx");
        symbols = Compile(dir, "symbols.shp", "symbols.SHX");
        big = Compile(dir, "bigfont.shp", "bigfont.shx", " --bigfont 081-082");
        uni = Compile(dir, "unifont.shp", "uni", " --unifont");
        sdx = dir.File("VELKO.SDX");
        status =
            RunVelko("sdx " + sdx + " " + strokes + " " + symbols + " " + big + " " + uni).status;
        bytes = ReadBytes(sdx);
    }
};

// Checks a shape file's block against the definitions it came from.
void CheckShapeBlock(const Reader &r, size_t block, const std::vector<ShapeDef> &defs,
                     int16_t max_shape_id, bool widths) {
    EXPECT_EQ(r.I16(block), max_shape_id);
    int16_t m = r.I16(block + 2);
    ASSERT_EQ(m + 1, static_cast<int>(defs.size()));
    size_t expected_record = block + 4 + 4 * defs.size();
    for (size_t i = 0; i < defs.size(); ++i) {
        size_t record = r.U32(block + 4 + 4 * i);
        EXPECT_EQ(record, expected_record) << "records follow one another";
        Bytes data = velko_shapec::ShapeData(defs[i]);
        EXPECT_EQ(r.U16(record), defs[i].number);
        ASSERT_EQ(r.I16(record + 2), static_cast<int16_t>(data.size()));
        EXPECT_DOUBLE_EQ(r.F64(record + 4), widths ? WidthOf(data) : 0.0) << defs[i].name;
        EXPECT_EQ(r.Slice(record + 12, data.size()), data);
        expected_record = record + 12 + data.size();
    }
}

} // namespace

TEST(VelkoSdx, HeaderAndDirectory) {
    SampleIndex index;
    ASSERT_TRUE(index.dir.ok());
    ASSERT_EQ(index.status, 0);
    Reader r{index.bytes};
    EXPECT_EQ(std::string(index.bytes.begin(), index.bytes.begin() + 19), "MORV Control Shapes");
    ASSERT_EQ(r.I16(19), 4);
    const char *names[] = {"STROKES", "SYMBOLS", "BIGFONT", "UNI"};
    const int16_t kinds[] = {-1, -1, -2, -1};
    uint32_t previous = 0;
    for (size_t i = 0; i < 4; ++i) {
        size_t entry = kDirectory + kEntry * i;
        EXPECT_EQ(r.Name(entry), names[i]);
        Bytes name = r.Slice(entry, 32);
        for (size_t k = std::strlen(names[i]); k < name.size(); ++k)
            EXPECT_EQ(name[k], 0) << "NUL-filled name of " << names[i];
        EXPECT_EQ(r.I16(entry + 32), kinds[i]) << names[i];
        uint32_t block = r.U32(entry + 34);
        if (i == 0) {
            EXPECT_EQ(block, kDirectory + kEntry * 4) << "the first block follows the directory";
        }
        EXPECT_GT(block, previous);
        EXPECT_LT(block, index.bytes.size());
        previous = block;
    }
}

TEST(VelkoSdx, ShapeFileBlocks) {
    SampleIndex index;
    ASSERT_EQ(index.status, 0);
    Reader r{index.bytes};
    std::vector<ShapeDef> strokes = Parse(ReadSample("strokes.shp"));
    CheckShapeBlock(r, r.U32(kDirectory + 34), strokes, 67, true);
    // The shape numbered 300 comes last, behind the direct table's shapes; it holds
    // max_shape_id at 255.
    std::vector<ShapeDef> symbols = Parse(ReadSample("symbols.shp"));
    CheckShapeBlock(r, r.U32(kDirectory + kEntry + 34), symbols, 255, true);
    // A unifont's shapes carry no width, as when the file itself is loaded.
    std::vector<ShapeDef> uni = Parse(ReadSample("unifont.shp"));
    CheckShapeBlock(r, r.U32(kDirectory + 3 * kEntry + 34), uni, 255, false);
}

TEST(VelkoSdx, WidthsAreThoseOfTheLoader) {
    SampleIndex index;
    ASSERT_EQ(index.status, 0);
    Reader r{index.bytes};
    std::unique_ptr<CShapeFile> file = CShapeFile::Load(index.strokes);
    ASSERT_TRUE(file);
    size_t block = r.U32(kDirectory + 34);
    int16_t m = r.I16(block + 2);
    for (int i = 0; i <= m; ++i) {
        size_t record = r.U32(block + 4 + 4 * static_cast<size_t>(i));
        uint16_t number = r.U16(record);
        ASSERT_LT(number, file->shapes.size());
        EXPECT_DOUBLE_EQ(r.F64(record + 4), file->shapes[number].width) << number;
    }
}

TEST(VelkoSdx, BigFontBlock) {
    SampleIndex index;
    ASSERT_EQ(index.status, 0);
    Reader r{index.bytes};
    std::vector<ShapeDef> defs = Parse(ReadSample("bigfont.shp"));
    size_t block = r.U32(kDirectory + 2 * kEntry + 34);
    ASSERT_EQ(r.I16(block), static_cast<int16_t>(defs.size()));
    ASSERT_EQ(r.I16(block + 2), 1);
    EXPECT_EQ(r.Slice(block + 4, 2), (Bytes{0x81, 0x82}));
    size_t rows = block + 6;
    size_t expected_data = rows + 8 * defs.size();
    for (size_t i = 0; i < defs.size(); ++i) {
        Bytes data = velko_shapec::ShapeData(defs[i]);
        size_t row = rows + 8 * i;
        EXPECT_EQ(r.U16(row), defs[i].number);
        ASSERT_EQ(r.U16(row + 2), data.size());
        uint32_t offset = r.U32(row + 4);
        EXPECT_EQ(offset, expected_data);
        EXPECT_EQ(r.Slice(offset, data.size()), data) << "data offsets are into the index";
        expected_data = offset + data.size();
    }
    // The big font's block ends where the next one starts.
    EXPECT_EQ(r.U32(kDirectory + 3 * kEntry + 34), expected_data);
}

TEST(VelkoSdx, TheLibrarysIndexReaderFindsWhatWasBuilt) {
    SampleIndex index;
    ASSERT_EQ(index.status, 0);
    CShapeIndex reader;
    ASSERT_EQ(reader.Open(index.sdx), 1);
    ASSERT_EQ(reader.Entries().size(), 4u);
    EXPECT_EQ(reader.Lookup("strokes"), 1);
    EXPECT_EQ(reader.Lookup("BIGFONT"), 3);
    EXPECT_EQ(reader.Lookup("uni"), 4);

    std::unique_ptr<CShapeFile> from_index = reader.LoadShapeFile(0);
    std::unique_ptr<CShapeFile> from_disk = CShapeFile::Load(index.strokes);
    ASSERT_TRUE(from_index);
    ASSERT_TRUE(from_disk);
    EXPECT_EQ(from_index->max_shape_id, from_disk->max_shape_id);
    ASSERT_EQ(from_index->shapes.size(), from_disk->shapes.size());
    for (size_t n = 0; n < from_disk->shapes.size(); ++n) {
        EXPECT_EQ(from_index->shapes[n].data, from_disk->shapes[n].data) << n;
        EXPECT_DOUBLE_EQ(from_index->shapes[n].width, from_disk->shapes[n].width) << n;
    }

    EXPECT_FALSE(reader.LoadShapeFile(2));
    std::unique_ptr<BigFont> big = reader.LoadBigFont(2);
    ASSERT_TRUE(big);
    ASSERT_EQ(big->ranges.size(), 1u);
    EXPECT_EQ(big->ranges[0].low, 0x81);
    std::vector<ShapeDef> defs = Parse(ReadSample("bigfont.shp"));
    ASSERT_EQ(big->shapes.size(), defs.size());
    Reader r{index.bytes};
    for (size_t i = 0; i < defs.size(); ++i) {
        Bytes data = velko_shapec::ShapeData(defs[i]);
        EXPECT_EQ(big->shapes[i].shape_id, defs[i].number);
        ASSERT_EQ(big->shapes[i].data_length, data.size());
        EXPECT_EQ(r.Slice(big->shapes[i].data_offset, data.size()), data);
    }
}

TEST(VelkoSdx, NameLengthAndDuplicates) {
    ScratchDir dir;
    ASSERT_TRUE(dir.ok());
    std::string base31(31, 'a');
    std::string fit = Compile(dir, "symbols.shp", base31 + ".shx");
    std::string too_long = Compile(dir, "symbols.shp", base31 + "b.shx");
    std::string sdx = dir.File("OUT.SDX");
    ASSERT_EQ(RunVelko("sdx " + sdx + " " + fit).status, 0);
    Bytes bytes = ReadBytes(sdx);
    Reader r{bytes};
    EXPECT_EQ(r.Name(kDirectory), std::string(31, 'A'));
    EXPECT_EQ(r.Slice(kDirectory + 31, 1), (Bytes{0}));

    Outcome o = RunVelko("sdx " + dir.File("LONG.SDX") + " " + too_long, true);
    EXPECT_EQ(o.status, 2);
    EXPECT_NE(o.out.find("1 to 31 characters"), std::string::npos) << o.out;
    EXPECT_TRUE(ReadBytes(dir.File("LONG.SDX")).empty());

    std::string again = Compile(dir, "symbols.shp", "AAAAAAAAAAAAAAAAAAAAAAAAAAAAAAA.SHP");
    EXPECT_EQ(RunVelko("sdx " + dir.File("TWICE.SDX") + " " + fit + " " + again).status, 2);
}

TEST(VelkoSdx, ExitCodes) {
    ScratchDir dir;
    ASSERT_TRUE(dir.ok());
    std::string shx = Compile(dir, "strokes.shp", "STROKES.SHX");
    std::string sdx = dir.File("OUT.SDX");
    EXPECT_EQ(RunVelko("sdx").status, 2);
    EXPECT_EQ(RunVelko("sdx " + sdx).status, 2);
    EXPECT_EQ(RunVelko("sdx " + sdx + " --frob " + shx).status, 2);
    EXPECT_EQ(RunVelko("sdx --help").status, 0);
    EXPECT_EQ(RunVelko("sdx " + sdx + " " + dir.File("MISSING.SHX")).status, 1);
    // The text form is no compiled file.
    EXPECT_EQ(RunVelko("sdx " + sdx + " " + SamplePath("strokes.shp")).status, 1);
    EXPECT_EQ(RunVelko("sdx " + dir.File("no/such/folder/OUT.SDX") + " " + shx).status, 1);
    EXPECT_TRUE(ReadBytes(sdx).empty());
    Outcome o = RunVelko("sdx " + sdx + " " + shx);
    EXPECT_EQ(o.status, 0);
    EXPECT_NE(o.out.find(": 1 font,"), std::string::npos) << o.out;
    EXPECT_FALSE(ReadBytes(sdx).empty());
}
