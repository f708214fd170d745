// Round trips of release 12 drawings through the library's own DXF writer.
//
// Every release 12 DWG of the corpus, and every release 12 DXF that opens, is read, saved
// with CDBSaveAsDXF as ASCII and as binary, and read again. The two drawings must agree
// within the 8 significant digits of the writer, except where the DXF road differs by
// design; each such rule is named where CompareDxfSave (support/drawing_snapshot) applies it:
//
//  - the z of two-dimensional kinds: the writer puts the elevation into the first point's
//    z, the reader takes every z of those kinds into the elevation;
//  - fields that the writer leaves out when they hold a default (a negative elevation,
//    thickness or width, an unjustified text's alignment point, style 0, ...);
//  - references written by name and looked up again (layer, line type, style, dimension
//    style, block, the header's names);
//  - empty texts, which the reader keeps as none;
//  - group 68 of a VIEWPORT, which no field holds, and the dimension's angles 51 to 53,
//    which the writer does not write;
//  - the header fields that no DXF variable carries, and the view variables, which the
//    reader takes from the "*ACTIVE" viewport;
//  - in a binary file: $ANGBASE, which the binary reader takes from code 40 only, the
//    dimension style groups 140 to 178, which a release 12 binary file cannot carry, and
//    a chunk of extended data, which reaches the reader cut at its first zero byte.
//
// A DXF drawing also goes DXF -> DWG -> DXF. And a saved file saved again gives the same
// bytes. The files stay in the round-trip folder, where the outside reader's test finds
// them.
#include "support/corpus.h"
#include "support/drawing_snapshot.h"
#include "support/dwg12_crc_walk.h"
#include "support/dxf_text.h"
#include "support/scoped_options.h"

#include "velkow32.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

namespace velko_test {
namespace {

using snapshot::CompareDrawings;
using snapshot::RoundTripFolder;
using snapshot::SaveCopy;
using snapshot::SaveForm;
using snapshot::Snapshot;

// The writer's precision: every real of an ASCII file has at most 8 significant digits.
constexpr int kWriterDigits = 8;

std::vector<uint8_t> FileBytes(const std::string &path) {
    std::vector<uint8_t> bytes;
    EXPECT_TRUE(ReadWholeFile(path, &bytes)) << path;
    return bytes;
}

std::vector<std::string> Cases() {
    std::vector<std::string> cases = snapshot::RoundTripSources(true);
    if (cases.empty())
        cases.push_back("");
    return cases;
}

class Dxf12RoundTrip : public testing::TestWithParam<std::string> {
protected:
    void SetUp() override {
        VELKO_REQUIRE_CORPUS();
        ASSERT_FALSE(GetParam().empty()) << "the manifest lists no release 12 drawing";
        source_ = CorpusPath(GetParam());
        stem_ = RoundTripFolder() + TestNameFor(GetParam());
    }

    // Saves the source in `form` to `path` and compares what reads back.
    void RoundTrip(SaveForm form, const std::string &path) {
        Snapshot a(source_);
        if (!a.opened())
            GTEST_SKIP() << GetParam() << " does not open (code " << a.code() << ")";
        ASSERT_EQ(SaveCopy(source_, path, form), "");
        Snapshot b(path);
        ASSERT_TRUE(b.opened()) << path << " does not open: code " << b.code();
        snapshot::CompareDxfSave(a, b, form == SaveForm::kBinaryDxf);
    }

    // Whether the source holds dimension style records.
    bool HasDimensionStyles() {
        Snapshot a(source_);
        return a.opened() && !a.dimstyles_.empty();
    }

    std::string source_;
    std::string stem_;
};

TEST_P(Dxf12RoundTrip, AsciiFileReadsBackWithinTheWritersDigits) {
    RoundTrip(SaveForm::kAsciiDxf, stem_ + ".ascii.dxf");
}

TEST_P(Dxf12RoundTrip, BinaryFileReadsBackWithinTheWritersDigits) {
    if (HasDimensionStyles())
        GTEST_SKIP() << "dimension style records: see BinaryFileWithDimensionStylesDoesNotReadBack";
    RoundTrip(SaveForm::kBinaryDxf, stem_ + ".binary.dxf");
}

// A DIMSTYLE record is written with its groups 140 to 147 and 170 to 178, to which the
// release 12 binary reader gives no value: it takes the value's bytes for the next
// groups, and the rest of the file reads out of step. The binary file of such a drawing
// is written whole (BinaryFileHoldsTheGroupsOfTheAsciiFile) but does not read back as the
// drawing: its reading only has to end.
TEST_P(Dxf12RoundTrip, BinaryFileWithDimensionStylesDoesNotReadBack) {
    if (!HasDimensionStyles())
        GTEST_SKIP() << "no dimension style record";
    const std::string path = stem_ + ".binary.dxf";
    ASSERT_EQ(SaveCopy(source_, path, SaveForm::kBinaryDxf), "");
    Snapshot b(path);
    RecordProperty("reads_back", b.opened() ? "opened" : std::to_string(b.code()));
    if (!b.opened()) {
        EXPECT_NE(b.code(), 0) << path << ": refused without a reason";
    }
}

// With the full code table of binary release 12 files (a read option), the binary file of a
// drawing with dimension styles reads back as the drawing, by the same rules as one without;
// so do the binary files of the corpus, which open only on that road.
TEST_P(Dxf12RoundTrip, BinaryFileWithDimensionStylesReadsBackOnTheFullCodeTable) {
    ScopedReadOptions options(CDB_READ_FULL_BINARY_CODES);
    if (!HasDimensionStyles())
        GTEST_SKIP() << "no dimension style record";
    RoundTrip(SaveForm::kBinaryDxf, stem_ + ".full_codes.binary.dxf");
}

// DXF -> DWG -> DXF: a drawing saved as DWG (every CRC of it right), read, and saved as
// DXF again reads back as the DWG drawing did, by the rules of the DXF road. (The DWG
// leg has rules of its own for a drawing that came from DXF: a colour of 256, a
// polyline's origin, anonymous names, an empty viewport table; those are the DWG
// reader's, and this test holds the DXF leg.)
TEST_P(Dxf12RoundTrip, DxfThroughDwgReadsBackWithinTheWritersDigits) {
    const std::string dwg = stem_ + ".via.dwg";
    const std::string dxf = stem_ + ".via_dwg.dxf";
    {
        Snapshot a(source_);
        if (!a.opened())
            GTEST_SKIP() << GetParam() << " does not open (code " << a.code() << ")";
    }
    ASSERT_EQ(SaveCopy(source_, dwg, SaveForm::kDwg), "");
    const Dwg12CrcReport crcs = WalkDwg12Crcs(FileBytes(dwg));
    EXPECT_TRUE(crcs.ok()) << dwg << ":\n" << crcs.Describe();
    Snapshot c(dwg);
    ASSERT_TRUE(c.opened()) << dwg << " does not open: code " << c.code();
    ASSERT_EQ(SaveCopy(dwg, dxf, SaveForm::kAsciiDxf), "");
    Snapshot e(dxf);
    ASSERT_TRUE(e.opened()) << dxf << " does not open: code " << e.code();
    snapshot::CompareDxfSave(c, e, false);
}

// Binary and ASCII of the same drawing hold the same groups in the same order, the
// binary reals within the ASCII file's digits. This holds also where the library's own
// release 12 binary reader cannot read the file back (the dimension style groups).
TEST_P(Dxf12RoundTrip, BinaryFileHoldsTheGroupsOfTheAsciiFile) {
    const std::string ascii = stem_ + ".pair.dxf";
    const std::string binary = stem_ + ".pair.binary.dxf";
    {
        Snapshot a(source_);
        if (!a.opened())
            GTEST_SKIP() << GetParam() << " does not open (code " << a.code() << ")";
    }
    ASSERT_EQ(SaveCopy(source_, ascii, SaveForm::kAsciiDxf), "");
    ASSERT_EQ(SaveCopy(source_, binary, SaveForm::kBinaryDxf), "");
    EXPECT_EQ(snapshot::CompareDxfForms(ascii, binary), "");
}

// A saved file, read and saved again in the same form, gives the same bytes. The first
// save of a drawing is where the rules of the DXF road apply (and, in binary, where the
// reader's 12 digits take the last bits of a real, and $ANGBASE goes); a file that the
// writer made, read and saved, is saved again byte for byte.
TEST_P(Dxf12RoundTrip, SecondSaveOfTheSavedFileGivesTheSameBytes) {
    {
        Snapshot a(source_);
        if (!a.opened())
            GTEST_SKIP() << GetParam() << " does not open (code " << a.code() << ")";
    }
    for (SaveForm form : {SaveForm::kAsciiDxf, SaveForm::kBinaryDxf}) {
        if (form == SaveForm::kBinaryDxf && HasDimensionStyles())
            continue; // does not read back: BinaryFileWithDimensionStylesDoesNotReadBack
        const std::string kind = form == SaveForm::kAsciiDxf ? "ascii" : "binary";
        const std::string first = stem_ + ".first." + kind + ".dxf";
        const std::string saved = stem_ + ".saved." + kind + ".dxf";
        const std::string again = stem_ + ".again." + kind + ".dxf";
        ASSERT_EQ(SaveCopy(source_, first, form), "");
        ASSERT_EQ(SaveCopy(first, saved, form), "");
        ASSERT_EQ(SaveCopy(saved, again, form), "");
        EXPECT_TRUE(FileBytes(saved) == FileBytes(again)) << saved << " and " << again << " differ";
    }
}

INSTANTIATE_TEST_SUITE_P(Corpus, Dxf12RoundTrip, testing::ValuesIn(Cases()),
                         [](const testing::TestParamInfo<std::string> &info) {
                             return info.param.empty() ? std::string("no_corpus")
                                                       : TestNameFor(info.param);
                         });

// ---- The rules on hand-made drawings -----------------------------------------------

// A drawing with one LINE whose extended data hold a chunk with a zero byte, saved as
// binary DXF: the chunk comes back cut at that byte, which the comparison takes as the
// rule of the binary reader.
TEST(Dxf12RoundTripRules, ChunkWithAZeroByteComesBackCutFromABinaryFile) {
    DxfText text;
    text.MinimalHeader()
        .Section("TABLES")
        .Table("APPID", 1)
        .G(0, "APPID")
        .G(2, "ACAD")
        .G(70, 0)
        .EndTable()
        .Table("LAYER", 1)
        .Layer("0")
        .EndTable()
        .EndSection()
        .Section("ENTITIES")
        .G(0, "LINE")
        .G(8, "0")
        .G(10, 1.0)
        .G(20, 2.0)
        .G(30, 0.0)
        .G(11, 3.0)
        .G(21, 4.0)
        .G(31, 0.0)
        .G(1001, "ACAD")
        .G(1004, "7F00FF")
        .G(1070, 5)
        .EndSection()
        .Eof();
    const std::string source = RoundTripFolder() + "rules_chunk.dxf";
    const std::string ascii = text.Ascii();
    ASSERT_TRUE(
        WriteWholeFile(source, reinterpret_cast<const uint8_t *>(ascii.data()), ascii.size()));
    const std::string binary = RoundTripFolder() + "rules_chunk.binary.dxf";
    ASSERT_EQ(SaveCopy(source, binary, SaveForm::kBinaryDxf), "");
    Snapshot a(source);
    Snapshot b(binary);
    ASSERT_TRUE(a.opened()) << a.code();
    ASSERT_TRUE(b.opened()) << b.code();
    ASSERT_FALSE(b.main_.empty());
    std::vector<snapshot::EedValue> values;
    ASSERT_TRUE(snapshot::EedValues(b.main_[0].eed_data, b.main_[0].eed_size, &values));
    ASSERT_EQ(values.size(), 3u);
    EXPECT_EQ(snapshot::Hex(values[1].bytes.data(), values[1].bytes.size()), "017F")
        << "one byte kept, the length byte counting it";
    snapshot::CompareDxfSave(a, b, true);
}

} // namespace
} // namespace velko_test
