// The tool support calls on release 13 drawings of the corpus: the form of the file, the
// whole load, the counts a DWG save writes, the open with hooks set before the load (a
// release 13 drawing is read whole while it opens) and the save hook's count.
#include "interface/test_files.h"
#include "interface/tool_support.h"
#include "support/corpus.h"

#include "velkow32.h"

#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <vector>

using tool_support::DrawingForm;
using tool_support::SavedObjects;
using velko_test::CorpusPath;
using velko_test::TempFile;

namespace {

const char kRelaid[] = "dwg13/example_r13_relaid.dwg";
constexpr int32_t kSaveStep = 1024;

class Open {
public:
    explicit Open(const std::string &name) : handle(CDBStartFileReading(name.c_str(), nullptr)) {}
    explicit Open(int16_t opened) : handle(opened) {}
    ~Open() {
        if (handle >= 0)
            CDBEndOperation(handle);
    }
    Open(const Open &) = delete;
    Open &operator=(const Open &) = delete;
    const int16_t handle;
};

// What the hooks saw; the hooks have no context, so it lives here.
struct HookLog {
    int loads = 0;
    int16_t last_entities = 0;
    double first_fraction = -2, last_fraction = -2;
    bool fractions_in_range = true;
    std::vector<int32_t> saved;
};
HookLog g_log;

void OnLoad(int16_t entities, int16_t) {
    ++g_log.loads;
    g_log.last_entities = entities;
    const double f = tool_support::OpeningLoadFraction();
    if (g_log.first_fraction == -2)
        g_log.first_fraction = f;
    g_log.last_fraction = f;
    g_log.fractions_in_range = g_log.fractions_in_range && f > 0 && f <= 1;
}

void OnSave(int32_t written) {
    g_log.saved.push_back(written);
}

void AddPoints(int16_t h, int count) {
    for (int i = 0; i < count; ++i) {
        CDB_ENTITY point;
        std::memset(static_cast<void *>(&point), 0, sizeof point);
        ASSERT_EQ(CDBEntityDefault(h, &point, CDB_POINT), 0);
        point.point.location = CDB_POINT3{double(i), 1.0, 0.0};
        ASSERT_GE(CDBEntityAdd(h, -1, &point), 0) << CDBGetErrorNumber(h);
    }
}

// The save hook's calls for a drawing that writes `objects` objects: one at every step.
std::vector<int32_t> StepsUpTo(long objects) {
    std::vector<int32_t> steps;
    for (int32_t n = kSaveStep; n <= objects; n += kSaveStep)
        steps.push_back(n);
    return steps;
}

} // namespace

TEST(ToolSupportRelease13, TheFormOfEachFileARelease13DrawingWasReadFrom) {
    VELKO_REQUIRE_CORPUS();
    Open dwg(CorpusPath(kRelaid));
    Open text(CorpusPath("dxf13/small_r13.dxf"));
    Open binary(CorpusPath("dxf13/bin_dxf_r13.dxf"));
    ASSERT_GE(dwg.handle, 0);
    ASSERT_GE(text.handle, 0);
    ASSERT_GE(binary.handle, 0);
    EXPECT_EQ(tool_support::FormOf(dwg.handle), DrawingForm::kDwg);
    EXPECT_EQ(tool_support::FormOf(text.handle), DrawingForm::kTextDxf);
    EXPECT_EQ(tool_support::FormOf(binary.handle), DrawingForm::kBinaryDxf);
}

TEST(ToolSupportRelease13, TheCountsAreWhatASaveWritesAndFollowEdits) {
    VELKO_REQUIRE_CORPUS();
    Open d(CorpusPath(kRelaid));
    ASSERT_GE(d.handle, 0);
    ASSERT_TRUE(tool_support::LoadWholeDrawing(d.handle));
    SavedObjects before;
    ASSERT_TRUE(tool_support::CountSavedObjects(d.handle, &before));
    EXPECT_GT(before.entities, 0);
    EXPECT_EQ(before.blocks, CDBBlockTableCount(d.handle));
    // Every record of the public tables but the multiline styles (carried, not counted),
    // and the headers of the two spaces, which no public table shows.
    const long records = CDBBlockTableCount(d.handle) + CDBLayerTableCount(d.handle) +
                         CDBLineTypeTableCount(d.handle) + CDBStyleTableCount(d.handle) +
                         CDBVportTableCount(d.handle) + CDBViewTableCount(d.handle) +
                         CDBUCSTableCount(d.handle) + CDBAppidTableCount(d.handle) +
                         CDBDimStyleTableCount(d.handle);
    EXPECT_GE(before.table_records, records);

    AddPoints(d.handle, 3);
    SavedObjects after;
    ASSERT_TRUE(tool_support::CountSavedObjects(d.handle, &after));
    EXPECT_EQ(after.entities, before.entities + 3);
    EXPECT_EQ(after.blocks, before.blocks);
    EXPECT_EQ(after.table_records, before.table_records);
}

TEST(ToolSupportRelease13, HooksSetAtTheOpenHearTheWholeLoad) {
    VELKO_REQUIRE_CORPUS();
    g_log = HookLog();
    Open d(tool_support::StartReadingWithHooks(CorpusPath(kRelaid).c_str(), OnLoad, OnSave));
    ASSERT_GE(d.handle, 0);
    EXPECT_EQ(tool_support::OpeningLoadFraction(), -1.0) << "the open is over";
    SavedObjects counts;
    ASSERT_TRUE(tool_support::CountSavedObjects(d.handle, &counts));
    // Every entity read is heard, those of the blocks and each ENDBLK as well.
    EXPECT_GE(g_log.loads, counts.entities);
    EXPECT_EQ(g_log.last_entities, g_log.loads);
    EXPECT_TRUE(g_log.fractions_in_range);
    EXPECT_LE(g_log.first_fraction, g_log.last_fraction);
    EXPECT_EQ(tool_support::FormOf(d.handle), DrawingForm::kDwg);
}

TEST(ToolSupportRelease13, AFailedOpenWithHooksGivesTheOpensCode) {
    TempFile bad("tool_support_r13_bad.dwg", std::string("AC1099") + std::string(400, '\0'));
    g_log = HookLog();
    EXPECT_EQ(tool_support::StartReadingWithHooks(bad.c_str(), OnLoad, OnSave), CDB_FAIL);
    EXPECT_EQ(CDBGetErrorNumber(CDB_FAIL), CDB_ERR_VERSION_MISMATCH);
    EXPECT_EQ(g_log.loads, 0);
    EXPECT_EQ(tool_support::OpeningLoadFraction(), -1.0);
}

TEST(ToolSupportRelease13, TheSaveHookCountsWhatCountSavedObjectsSays) {
    VELKO_REQUIRE_CORPUS();
    Open d(CorpusPath(kRelaid));
    ASSERT_GE(d.handle, 0);
    // Enough objects for more than one step, wherever the drawing's own count falls.
    AddPoints(d.handle, 2 * kSaveStep + 100);
    SavedObjects counts;
    ASSERT_TRUE(tool_support::CountSavedObjects(d.handle, &counts));
    g_log = HookLog();
    ASSERT_TRUE(tool_support::SetProgressHooks(d.handle, nullptr, OnSave));
    TempFile out("tool_support_r13_saved.dwg");
    ASSERT_EQ(CDBSaveAsDWG(d.handle, out.c_str()), 0) << CDBGetErrorNumber(d.handle);
    EXPECT_EQ(g_log.saved, StepsUpTo(counts.Objects()));

    // A second save counts from 0 again; with the hook taken away nothing is heard.
    g_log.saved.clear();
    ASSERT_EQ(CDBSaveAsDWG(d.handle, out.c_str()), 0);
    EXPECT_EQ(g_log.saved, StepsUpTo(counts.Objects()));
    ASSERT_TRUE(tool_support::SetProgressHooks(d.handle, nullptr, nullptr));
    g_log.saved.clear();
    ASSERT_EQ(CDBSaveAsDWG(d.handle, out.c_str()), 0);
    EXPECT_TRUE(g_log.saved.empty());
}

TEST(ToolSupportRelease13, TheReleaseOfAFileIsJudgedWithoutLoadingIt) {
    EXPECT_EQ(tool_support::FileRelease(std::string(VELKO_SOURCE_DIR) + "/data/sample.dwg"), 12);
    TempFile bad("tool_support_release_bad.dwg", std::string("AC1099") + std::string(400, '\0'));
    EXPECT_EQ(tool_support::FileRelease(bad.path()), 0);
    EXPECT_EQ(tool_support::FileRelease("/nonexistent/drawing.dwg"), 0);
    VELKO_REQUIRE_CORPUS();
    EXPECT_EQ(tool_support::FileRelease(CorpusPath(kRelaid)), 13);
    // Binary ones too, whose version text stands behind bytes of 0.
    for (const char *dxf : {"dxf13/example_r13.dxf", "dxf13/bin_dxf_r13.dxf", "dxf13/uc.r13b.dxf"})
        EXPECT_EQ(tool_support::FileRelease(CorpusPath(dxf)), 13) << dxf;
}
