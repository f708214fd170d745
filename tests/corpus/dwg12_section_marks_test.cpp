// The marks around the sections of a release 12 DWG (CDB_WRITE_SECTION_MARKS).
//
// Every release 12 drawing of the corpus that opens (each DWG, each DXF that opens) is
// saved as DWG twice: with the marks and without them. The marked file carries, around
// each of its sections, the same 16 bytes that the corpus originals carry around theirs;
// the plain file has zeros there, as the original writer had; and the two read back to
// the same records, field by field. Apart from the marks, the marked file differs from the
// plain one only by the 32 bytes that close the empty extra area and open the tail record,
// and by what the tail record says of its own place (its position and its CRC).
#include "support/corpus.h"
#include "support/drawing_snapshot.h"
#include "support/dwg12_builder.h"

#include "velkow32.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace velko_test {
namespace {

using snapshot::SaveCopy;
using snapshot::SaveForm;
using snapshot::Snapshot;

constexpr size_t kMark = 16;
constexpr size_t kTail = 154;
constexpr size_t kTrailerFromEnd = 150;

// Where each section of a DWG begins and ends, in file order: entities, the ten tables,
// the blocks, the extra area, the tail record. The positions come from the trailer and
// the header block; a mark stands in front of `begin` and behind `end`.
struct Section {
    size_t begin = 0;
    size_t end = 0;
};

std::vector<Section> SectionsOf(const std::vector<uint8_t> &b) {
    std::vector<Section> out;
    if (b.size() < 1727 + kTail)
        return out;
    const size_t trailer = b.size() - kTrailerFromEnd;
    out.push_back({get_u32(b, trailer), get_u32(b, trailer + 4)});
    for (size_t t = 0; t < 10; ++t) {
        const size_t at = trailer + 28 + 10 * t;
        const size_t position = get_u32(b, at + 6);
        out.push_back({position, position + size_t(get_u16(b, at + 2)) *
                                                size_t(uint16_t(get_i16(b, at + 4)))});
    }
    const size_t blocks = get_u32(b, trailer + 8);
    out.push_back({blocks, blocks + (get_u32(b, 0x20) & 0x00FFFFFFu)});
    const size_t extra = get_u32(b, trailer + 12);
    const size_t tail = b.size() - kTail;
    // The extra area holds nothing: it ends where it begins.
    out.push_back({extra, extra});
    out.push_back({tail, b.size() - kMark});
    return out;
}

// The 16 bytes at `at`, as hexadecimal text ("" out of range).
std::string MarkAt(const std::vector<uint8_t> &b, size_t at) {
    static const char kDigits[] = "0123456789abcdef";
    if (at > b.size() || b.size() - at < kMark)
        return "";
    std::string text;
    for (size_t i = 0; i < kMark; ++i) {
        text += kDigits[b[at + i] >> 4];
        text += kDigits[b[at + i] & 15];
    }
    return text;
}

// The marks around every section: begin and end, section after section.
std::vector<std::string> MarksOf(const std::vector<uint8_t> &b) {
    std::vector<std::string> marks;
    for (const Section &s : SectionsOf(b)) {
        marks.push_back(s.begin >= kMark ? MarkAt(b, s.begin - kMark) : "");
        marks.push_back(MarkAt(b, s.end));
    }
    return marks;
}

std::vector<uint8_t> Bytes(const std::string &path) {
    std::vector<uint8_t> bytes;
    EXPECT_TRUE(ReadWholeFile(path, &bytes)) << path;
    return bytes;
}

// The marks of the corpus originals: the same in every release 12 DWG of the corpus.
const std::vector<std::string> &CorpusMarks() {
    static const std::vector<std::string> marks = [] {
        std::vector<std::string> first;
        for (const std::string &source : snapshot::RoundTripSources(false)) {
            const std::vector<std::string> these = MarksOf(Bytes(CorpusPath(source)));
            EXPECT_EQ(these.size(), 28u) << source;
            if (first.empty())
                first = these;
            EXPECT_EQ(these, first) << source << " carries other marks";
        }
        return first;
    }();
    return marks;
}

std::vector<std::string> Cases() {
    std::vector<std::string> cases = snapshot::RoundTripSources(true);
    if (cases.empty())
        cases.push_back("");
    return cases;
}

class Dwg12SectionMarks : public testing::TestWithParam<std::string> {
protected:
    void SetUp() override {
        VELKO_REQUIRE_CORPUS();
        ASSERT_FALSE(GetParam().empty()) << "the manifest lists no release 12 drawing";
        before_ = CDBGetWriteOptions();
        source_ = CorpusPath(GetParam());
        stem_ = snapshot::RoundTripFolder() + TestNameFor(GetParam());
    }
    void TearDown() override { CDBSetWriteOptions(before_); }

    // Saves the source as DWG with `options`: the path of the copy, "" when it failed.
    std::string Save(int32_t options, const std::string &suffix) {
        CDBSetWriteOptions(options);
        const std::string path = stem_ + suffix;
        const std::string failure = SaveCopy(source_, path, SaveForm::kDwg);
        CDBSetWriteOptions(before_);
        EXPECT_EQ(failure, "") << path;
        return failure.empty() ? path : "";
    }

    int32_t before_ = 0;
    std::string source_;
    std::string stem_;
};

TEST_P(Dwg12SectionMarks, MarkedFileCarriesTheMarksOfRealFilesAndReadsBackEqual) {
    Snapshot a(source_);
    if (!a.opened())
        GTEST_SKIP() << GetParam() << " does not open (code " << a.code() << ")";
    const std::string plain = Save(0, ".plain.dwg");
    const std::string marked = Save(CDB_WRITE_SECTION_MARKS, ".marked.dwg");
    ASSERT_FALSE(plain.empty() || marked.empty());
    const std::vector<std::string> &expected = CorpusMarks();
    ASSERT_EQ(expected.size(), 28u);
    EXPECT_EQ(MarksOf(Bytes(marked)), expected) << marked;

    Snapshot b(plain);
    Snapshot c(marked);
    ASSERT_TRUE(b.opened()) << plain << ": code " << b.code();
    ASSERT_TRUE(c.opened()) << marked << ": code " << c.code();
    snapshot::ExactSink sink;
    snapshot::CompareDrawings(b, c, sink, sink);
    if (GetParam().find("dwg12/") == 0)
        snapshot::CompareDwgSave(a, c);
}

TEST_P(Dwg12SectionMarks, PlainFileKeepsZerosAndDiffersOnlyByTheMarks) {
    Snapshot a(source_);
    if (!a.opened())
        GTEST_SKIP() << GetParam() << " does not open (code " << a.code() << ")";
    const std::string plain = Save(0, ".plain.dwg");
    const std::string marked = Save(CDB_WRITE_SECTION_MARKS, ".marked.dwg");
    ASSERT_FALSE(plain.empty() || marked.empty());
    const std::vector<uint8_t> p = Bytes(plain);
    std::vector<uint8_t> m = Bytes(marked);

    // Zeros wherever a mark could stand, but for the entity section's begin mark, which
    // both roads write behind the header block.
    const std::vector<Section> sections = SectionsOf(p);
    ASSERT_EQ(sections.size(), 14u);
    const std::string zeros(4 * kMark, '0'); // 32 bytes as hexadecimal text
    for (size_t s = 0; s + 2 < sections.size(); ++s)
        EXPECT_EQ(MarkAt(p, sections[s].end) + MarkAt(p, sections[s].end + kMark), zeros)
            << plain << ": behind section " << s;
    EXPECT_EQ(MarkAt(p, p.size() - kMark), zeros.substr(2 * kMark)) << plain;
    EXPECT_EQ(sections[12].begin, p.size() - kTail) << "no bytes between extra area and tail";

    // The marked file with its marks zeroed and the 32 bytes in front of the tail taken
    // out is the plain file, but for the tail's own position and CRC.
    ASSERT_EQ(m.size(), p.size() + 2 * kMark);
    const std::vector<Section> marked_sections = SectionsOf(m);
    for (size_t s = 0; s + 2 < marked_sections.size(); ++s)
        std::memset(m.data() + marked_sections[s].end, 0, 2 * kMark);
    const size_t extra = marked_sections[12].begin;
    m.erase(m.begin() + std::ptrdiff_t(extra), m.begin() + std::ptrdiff_t(extra + 2 * kMark));
    std::memset(m.data() + m.size() - kMark, 0, kMark);
    const size_t tail = p.size() - kTail;
    for (size_t at : {tail + 132, tail + 133, tail + 134, tail + 135, tail + 136, tail + 137})
        m[at] = p[at];
    EXPECT_TRUE(m == p) << marked << " differs from " << plain << " beyond the marks";
    EXPECT_EQ(get_u32(Bytes(marked), tail + 2 * kMark + 132), uint32_t(tail + 2 * kMark - 16))
        << "the tail record tells the place of its begin mark";
}

INSTANTIATE_TEST_SUITE_P(Corpus, Dwg12SectionMarks, testing::ValuesIn(Cases()),
                         [](const testing::TestParamInfo<std::string> &info) {
                             return info.param.empty() ? std::string("no_corpus")
                                                       : TestNameFor(info.param);
                         });

} // namespace
} // namespace velko_test
