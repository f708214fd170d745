// Saving the corpus's release 13 DWG with no edits: it reads back with every record equal,
// and the written file keeps the head, the classes and the header bytes of its source.
#include "support/r13_written_file.h"
#include "support/corpus.h"
#include "support/drawing_snapshot.h"

#include "dwg13/r13_file_head.h"
#include "dwg13/r13_object_map.h"

#include "interface/test_files.h"

#include "velkow32.h"

#include <gtest/gtest.h>

#include <cmath>

namespace velko_test {
namespace {

constexpr char kRelaid[] = "dwg13/example_r13_relaid.dwg";

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
    const std::vector<uint8_t> before = FileBytes(source_path);
    const std::vector<uint8_t> after = FileBytes(out.path());
    const uint32_t head_size = LongAt(before, R13FileHead::kHeaderAt);
    ASSERT_EQ(LongAt(after, R13FileHead::kHeaderAt), head_size);
    for (size_t i = 0; i < head_size; ++i) {
        const bool moved = (i >= 13 && i < 17) || (i >= 35 && i < 43) || (i >= 44 && i < 52) ||
                           (i >= 53 && i < 57);
        if (!moved) {
            EXPECT_EQ(after[i], before[i]) << "head byte " << i;
        }
    }
    EXPECT_EQ(SectionAt(after, R13FileHead::kClassesAt),
              SectionAt(before, R13FileHead::kClassesAt));
    EXPECT_EQ(SectionAt(after, R13FileHead::kHeaderAt), SectionAt(before, R13FileHead::kHeaderAt));
}

TEST_F(Release13CorpusSave, EveryObjectEndsInFFFFAndTheMapEndsIn0002_01D0) {
    const std::vector<uint8_t> after = FileBytes(out.path());
    const std::vector<uint8_t> map = SectionAt(after, R13FileHead::kMapAt);
    ASSERT_GE(map.size(), 4u);
    EXPECT_EQ(std::vector<uint8_t>(map.end() - 4, map.end()),
              (std::vector<uint8_t>{0x00, 0x02, 0x01, 0xD0}));
    const std::vector<ObjectMapEntry> entries = MapEntriesOf(out.path());
    ASSERT_GT(entries.size(), 100u);
    EXPECT_EQ(ObjectChecksProblem(after, entries), "");
}

} // namespace
} // namespace velko_test
