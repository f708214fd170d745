// Saving the corpus's release 13 DWG with no edits: it reads back with every record equal,
// and the written file keeps the head, the classes and the header bytes of its source.
#include "support/corpus.h"
#include "support/drawing_snapshot.h"

#include "dwg13/r13_file_head.h"
#include "dwg13/r13_object_map.h"
#include "io/drawing_file.h"

#include "interface/test_files.h"

#include "velkow32.h"

#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <iterator>

namespace velko_test {
namespace {

constexpr char kRelaid[] = "dwg13/example_r13_relaid.dwg";

std::vector<uint8_t> Bytes(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    return std::vector<uint8_t>(std::istreambuf_iterator<char>(in), {});
}

uint32_t Long(const std::vector<uint8_t> &b, size_t at) {
    return at + 4 <= b.size() ? uint32_t(b[at]) | uint32_t(b[at + 1]) << 8 |
                                    uint32_t(b[at + 2]) << 16 | uint32_t(b[at + 3]) << 24
                              : 0u;
}

std::vector<uint8_t> Section(const std::vector<uint8_t> &b, size_t offset_at) {
    const uint32_t at = Long(b, offset_at), size = Long(b, offset_at + 4);
    if (uint64_t(at) + size > b.size())
        return {};
    return std::vector<uint8_t>(b.begin() + at, b.begin() + at + size);
}

class Release13CorpusSave : public ::testing::Test {
protected:
    void SetUp() override {
        VELKO_REQUIRE_CORPUS();
        source_path = CorpusPath(kRelaid);
        source = std::make_unique<snapshot::Snapshot>(source_path);
        ASSERT_TRUE(source->opened());
        ASSERT_EQ(CDBSaveAsDWG(source->handle(), out.c_str()), 0)
            << "error " << CDBGetErrorNumber(source->handle());
    }

    std::string source_path;
    TempFile out{"relaid_saved.dwg"};
    std::unique_ptr<snapshot::Snapshot> source;
};

// Exact equality but for what the writer changes by design:
// - angles go back through a shorter pi than the reader's: equal to 12 digits;
// - a block record's flag byte goes out as 0xC0 (200 for "*D" and "*U" blocks);
// - a handle reference goes out with the bytes of its value up to the first zero byte,
//   so a value with a zero byte inside reads back cut (the links "next" and
//   "dictionary" of a few entities).
class SaveSink : public snapshot::ExactSink {
public:
    void Real(const std::string &field, int group, double a, double b) override {
        if (IsAngle(field) && std::fabs(a - b) <= 1e-12 * std::fmax(std::fabs(a), 1.0))
            return;
        ExactSink::Real(field, group, a, b);
    }
    void Int(const std::string &field, int group, long a, long b) override {
        if (record_ == "BLOCK_TBL" && field == "flags")
            return;
        if (field == "next.value" || field == "dictionary.value" || field == "previous.value")
            return;
        ExactSink::Int(field, group, a, b);
    }

private:
    static bool IsAngle(const std::string &field) {
        return field.find("rotation") != std::string::npos ||
               field.find("direction") != std::string::npos ||
               field.find("angle") != std::string::npos;
    }
};

TEST_F(Release13CorpusSave, ReadsBackWithEveryRecordEqualButForTheNamedDifferences) {
    snapshot::Snapshot saved(out.path());
    ASSERT_TRUE(saved.opened()) << "code " << saved.code();
    SaveSink sink;
    snapshot::CompareDrawings(*source, saved, sink, sink);
}

TEST_F(Release13CorpusSave, KeepsTheHeadTheClassesAndTheHeaderBytes) {
    const std::vector<uint8_t> before = Bytes(source_path);
    const std::vector<uint8_t> after = Bytes(out.path());
    const uint32_t head_size = Long(before, R13FileHead::kHeaderAt);
    ASSERT_EQ(Long(after, R13FileHead::kHeaderAt), head_size);
    for (size_t i = 0; i < head_size; ++i) {
        const bool moved = (i >= 13 && i < 17) || (i >= 35 && i < 43) || (i >= 44 && i < 52) ||
                           (i >= 53 && i < 57);
        if (!moved) {
            EXPECT_EQ(after[i], before[i]) << "head byte " << i;
        }
    }
    EXPECT_EQ(Section(after, R13FileHead::kClassesAt), Section(before, R13FileHead::kClassesAt));
    EXPECT_EQ(Section(after, R13FileHead::kHeaderAt), Section(before, R13FileHead::kHeaderAt));
}

TEST_F(Release13CorpusSave, EveryObjectEndsInFFFFAndTheMapEndsIn0002_01D0) {
    const std::vector<uint8_t> after = Bytes(out.path());
    const std::vector<uint8_t> map = Section(after, R13FileHead::kMapAt);
    ASSERT_GE(map.size(), 4u);
    EXPECT_EQ(std::vector<uint8_t>(map.end() - 4, map.end()),
              (std::vector<uint8_t>{0x00, 0x02, 0x01, 0xD0}));
    CDrawingFile file;
    CObjectMap objects;
    ASSERT_TRUE(file.Open(out.c_str(), kDrawingFileRead));
    ASSERT_EQ(objects.Read(file), 1);
    file.Close();
    ASSERT_GT(objects.Count(), 100u);
    for (const ObjectMapEntry &e : objects.Entries()) {
        const size_t at = size_t(e.offset);
        ASSERT_LT(at + 4, after.size());
        const size_t size = after[at] | after[at + 1] << 8;
        ASSERT_LE(at + size + 4, after.size());
        EXPECT_EQ(after[at + 2 + size], 0xFF) << "object " << std::hex << e.handle;
        EXPECT_EQ(after[at + 3 + size], 0xFF) << "object " << std::hex << e.handle;
    }
}

} // namespace
} // namespace velko_test
