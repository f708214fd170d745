// The checks of release 13 DWG files (CDB_WRITE_REAL_CRCS).
//
// First the computation itself, on files that other programs wrote: every object of the
// corpus's release 13 DWGs, every map section of the original one and its head carry the
// check that r13_checks.h computes. Then the writer: with the option on, every object,
// every map section and the head of a written file carry verifying checks; with it off,
// the fixed FF FF of the original writer and the source's head check stand there. Both
// files read back to the same records.
#include "support/corpus.h"
#include "support/drawing_snapshot.h"
#include "support/r13_written_file.h"

#include "dwg13/r13_checks.h"
#include "dwg13/r13_file_head.h"

#include "interface/test_files.h"

#include "velkow32.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace velko_test {
namespace {

constexpr char kOriginal[] = "dwg13/example_r13.dwg";
constexpr char kRelaid[] = "dwg13/example_r13_relaid.dwg";

// What the checks of one file say.
struct ChecksReport {
    int objects_right = 0;
    int objects_wrong = 0;
    int objects_fixed = 0; // FF FF
    int objects_long = 0;  // a size word with its top bit: not checked
    int sections_right = 0;
    int sections_wrong = 0;
    int sections_fixed = 0;
    bool head_right = false;
    bool map_read = false;
};

uint16_t Low16(const std::vector<uint8_t> &b, size_t at) {
    return uint16_t(b[at] | b[at + 1] << 8);
}

// Reads one modular number of the map; false past `end`.
bool ReadModular(const std::vector<uint8_t> &b, size_t &at, size_t end, int64_t &value,
                 bool is_signed) {
    value = 0;
    int shift = 0;
    while (at < end && shift < 35) {
        const uint8_t byte = b[at++];
        if (byte & 0x80) {
            value |= int64_t(byte & 0x7F) << shift;
            shift += 7;
            continue;
        }
        if (!is_signed) {
            value |= int64_t(byte) << shift;
        } else {
            value |= int64_t(byte & 0x3F) << shift;
            if (byte & 0x40)
                value = -value;
        }
        return true;
    }
    return false;
}

void CheckObject(const std::vector<uint8_t> &b, int64_t offset, ChecksReport &r) {
    if (offset < 0 || size_t(offset) + 4 > b.size())
        return void(++r.objects_wrong);
    const size_t at = size_t(offset);
    const size_t size = Low16(b, at);
    if (size & 0x8000)
        return void(++r.objects_long);
    if (at + size + 4 > b.size())
        return void(++r.objects_wrong);
    const uint16_t stored = Low16(b, at + 2 + size);
    std::vector<uint8_t> object(b.begin() + std::ptrdiff_t(at),
                                b.begin() + std::ptrdiff_t(at + size + 4));
    R13SealObject(object.data(), object.size(), true);
    if (stored == Low16(object, size + 2))
        ++r.objects_right;
    else if (stored == kR13FixedCheck)
        ++r.objects_fixed;
    else
        ++r.objects_wrong;
}

ChecksReport CheckFile(const std::vector<uint8_t> &b) {
    ChecksReport r;
    const size_t head_check = R13HeadCheckAt(b.data(), b.size());
    r.head_right = head_check > 0 && Low16(b, head_check) == R13HeadCheck(b.data(), head_check);
    const size_t map = LongAt(b, R13FileHead::kMapAt);
    const size_t map_end = map + LongAt(b, R13FileHead::kMapSizeAt);
    if (map == 0 || map_end > b.size())
        return r;
    size_t at = map;
    while (at + 2 <= map_end) {
        const size_t size = size_t(b[at]) << 8 | b[at + 1];
        if (size < 2 || at + size + 2 > map_end)
            return r;
        const uint16_t stored = uint16_t(b[at + size] << 8 | b[at + size + 1]);
        if (stored == R13MapSectionCheck(b.data() + at, size))
            ++r.sections_right;
        else if (stored == kR13FixedCheck)
            ++r.sections_fixed;
        else
            ++r.sections_wrong;
        int64_t handle = 0, offset = 0;
        for (size_t p = at + 2; p < at + size;) {
            int64_t dh = 0, doff = 0;
            if (!ReadModular(b, p, at + size, dh, false) ||
                !ReadModular(b, p, at + size, doff, true))
                return r;
            handle += dh;
            offset += doff;
            CheckObject(b, offset, r);
        }
        at += size + 2;
        if (size == 2)
            break;
    }
    r.map_read = at == map_end;
    return r;
}

std::string Describe(const ChecksReport &r) {
    return "objects right " + std::to_string(r.objects_right) + ", wrong " +
           std::to_string(r.objects_wrong) + ", FF FF " + std::to_string(r.objects_fixed) +
           ", long " + std::to_string(r.objects_long) + "; map sections right " +
           std::to_string(r.sections_right) + ", wrong " + std::to_string(r.sections_wrong) +
           ", FF FF " + std::to_string(r.sections_fixed) +
           "; head right: " + (r.head_right ? "yes" : "no");
}

TEST(Release13Checks, TheComputationVerifiesOnTheOriginalFile) {
    VELKO_REQUIRE_CORPUS();
    const ChecksReport r = CheckFile(FileBytes(CorpusPath(kOriginal)));
    EXPECT_TRUE(r.map_read) << Describe(r);
    EXPECT_GT(r.objects_right, 5000) << Describe(r);
    EXPECT_EQ(r.objects_wrong + r.objects_fixed, 0) << Describe(r);
    EXPECT_GE(r.sections_right, 2) << Describe(r);
    EXPECT_EQ(r.sections_wrong + r.sections_fixed, 0) << Describe(r);
    EXPECT_TRUE(r.head_right) << Describe(r);
    RecordProperty("objects_right", r.objects_right);
    RecordProperty("sections_right", r.sections_right);
}

// The re-laid copy keeps the original's objects, checks and all; its new map carries the
// fixed FF FF (the one closing section excepted, whose 01 D0 is right), and its head
// points at new places with the old check.
TEST(Release13Checks, TheComputationVerifiesTheObjectsOfTheRelaidFile) {
    VELKO_REQUIRE_CORPUS();
    const ChecksReport r = CheckFile(FileBytes(CorpusPath(kRelaid)));
    EXPECT_TRUE(r.map_read) << Describe(r);
    EXPECT_GT(r.objects_right, 5000) << Describe(r);
    EXPECT_EQ(r.objects_wrong + r.objects_fixed, 0) << Describe(r);
    EXPECT_EQ(r.sections_wrong, 0) << Describe(r);
    EXPECT_EQ(r.sections_right, 1) << Describe(r);
}

class Release13WrittenChecks : public ::testing::Test {
protected:
    void SetUp() override { before_ = CDBGetWriteOptions(); }
    void TearDown() override { CDBSetWriteOptions(before_); }

    // Opens `source`, saves it as `out` with `options`: "" or what failed.
    std::string Save(const std::string &source, const TempFile &out, int32_t options) {
        CDBSetWriteOptions(options);
        const std::string failure =
            snapshot::SaveCopy(source, out.path(), snapshot::SaveForm::kDwg);
        CDBSetWriteOptions(before_);
        return failure;
    }

    int32_t before_ = 0;
};

TEST_F(Release13WrittenChecks, OnTheCheckedRoadEveryCheckVerifiesAndTheFileReadsBackEqual) {
    VELKO_REQUIRE_CORPUS();
    const std::string source = CorpusPath(kRelaid);
    TempFile plain("checks_plain.dwg");
    TempFile real("checks_real.dwg");
    ASSERT_EQ(Save(source, plain, 0), "");
    ASSERT_EQ(Save(source, real, CDB_WRITE_REAL_CRCS), "");

    const ChecksReport r = CheckFile(FileBytes(real.path()));
    EXPECT_TRUE(r.map_read) << Describe(r);
    EXPECT_GT(r.objects_right, 5000) << Describe(r);
    EXPECT_EQ(r.objects_wrong + r.objects_fixed, 0) << Describe(r);
    EXPECT_GE(r.sections_right, 2) << Describe(r);
    EXPECT_EQ(r.sections_wrong + r.sections_fixed, 0) << Describe(r);
    EXPECT_TRUE(r.head_right) << Describe(r);

    snapshot::Snapshot a(plain.path());
    snapshot::Snapshot b(real.path());
    ASSERT_TRUE(a.opened() && b.opened()) << a.code() << " " << b.code();
    snapshot::ExactSink sink;
    snapshot::CompareDrawings(a, b, sink, sink);
}

TEST_F(Release13WrittenChecks, OnTheOriginalRoadTheChecksAreFixedAndTheHeadKeepsItsCheck) {
    VELKO_REQUIRE_CORPUS();
    const std::string source = CorpusPath(kRelaid);
    TempFile plain("checks_fixed.dwg");
    ASSERT_EQ(Save(source, plain, 0), "");
    const std::vector<uint8_t> bytes = FileBytes(plain.path());
    const ChecksReport r = CheckFile(bytes);
    EXPECT_TRUE(r.map_read) << Describe(r);
    EXPECT_EQ(r.objects_right + r.objects_wrong, 0) << Describe(r);
    EXPECT_GT(r.objects_fixed, 5000) << Describe(r);
    EXPECT_EQ(r.sections_wrong, 0) << Describe(r);
    EXPECT_EQ(r.sections_right, 1) << "the closing section only: " << Describe(r);
    const std::vector<uint8_t> original = FileBytes(source);
    const size_t at = R13HeadCheckAt(original.data(), original.size());
    ASSERT_GT(at, 0u);
    EXPECT_EQ(Low16(bytes, at), Low16(original, at));
}

// The header variables section of a real file is framed: its check follows its size and
// data. An added entity moves the handle seed: the original road leaves the source's check
// (stale now), the checked road puts the right one.
bool HeaderSectionChecks(const std::vector<uint8_t> &b) {
    const std::vector<uint8_t> section = SectionAt(b, R13FileHead::kHeaderAt);
    if (section.size() < 38)
        return false;
    const size_t data = LongAt(section, 16);
    if (data + 38 != section.size())
        return false;
    std::vector<uint8_t> copy = section;
    R13SealFramedSection(copy.data(), copy.size(), kR13HeaderBeginMark);
    return copy == section;
}

TEST_F(Release13WrittenChecks, TheHeaderSectionCheckFollowsTheNewSeedOnTheCheckedRoadOnly) {
    VELKO_REQUIRE_CORPUS();
    const std::string source = CorpusPath(kRelaid);
    EXPECT_TRUE(HeaderSectionChecks(FileBytes(source)));
    TempFile plain("checks_seed_plain.dwg");
    TempFile real("checks_seed_real.dwg");
    const int16_t h = CDBStartFileReading(source.c_str(), nullptr);
    ASSERT_GE(h, 0);
    CDB_ENTITY line;
    std::memset(static_cast<void *>(&line), 0, sizeof line);
    ASSERT_EQ(CDBEntityDefault(h, &line, CDB_LINE), 0);
    line.line.end_point = CDB_POINT3{4.0, 5.0, 0.0};
    ASSERT_GE(CDBEntityAdd(h, -1, &line), 0) << CDBGetErrorNumber(h);
    CDBSetWriteOptions(0);
    EXPECT_EQ(snapshot::SaveOpenDrawing(h, plain.path(), snapshot::SaveForm::kDwg), "");
    CDBSetWriteOptions(CDB_WRITE_REAL_CRCS);
    EXPECT_EQ(snapshot::SaveOpenDrawing(h, real.path(), snapshot::SaveForm::kDwg), "");
    CDBSetWriteOptions(before_);
    CDBEndOperation(h);
    EXPECT_FALSE(HeaderSectionChecks(FileBytes(plain.path())));
    EXPECT_TRUE(HeaderSectionChecks(FileBytes(real.path())));
    const ChecksReport r = CheckFile(FileBytes(real.path()));
    EXPECT_EQ(r.objects_wrong + r.objects_fixed, 0) << Describe(r);
    EXPECT_TRUE(r.head_right) << Describe(r);
}

// A drawing without a source file (read from DXF) gets a head of its own: checked too.
TEST_F(Release13WrittenChecks, ADrawingReadFromDxfIsWrittenWithVerifyingChecks) {
    VELKO_REQUIRE_CORPUS();
    TempFile real("checks_from_dxf.dwg");
    ASSERT_EQ(Save(CorpusPath("dxf13/example_r13.dxf"), real, CDB_WRITE_REAL_CRCS), "");
    const ChecksReport r = CheckFile(FileBytes(real.path()));
    EXPECT_TRUE(r.map_read) << Describe(r);
    EXPECT_GT(r.objects_right, 10) << Describe(r);
    EXPECT_EQ(r.objects_wrong + r.objects_fixed, 0) << Describe(r);
    EXPECT_EQ(r.sections_wrong + r.sections_fixed, 0) << Describe(r);
    EXPECT_TRUE(r.head_right) << Describe(r);
    snapshot::Snapshot b(real.path());
    EXPECT_TRUE(b.opened()) << b.code();
}

} // namespace
} // namespace velko_test
