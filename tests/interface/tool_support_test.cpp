// The tool support calls on open drawings and drawing files: the form, the counts a save
// writes, the progress hooks and the load fraction by handle, the open drawing that CDBNew
// leaves, a free handle, and where a drawing file or an external reference is found.
#include "interface/drawing_table.h"
#include "interface/test_files.h"
#include "interface/tool_support.h"
#include "records/entity_kinds.h"
#include "records/last_error.h"

#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

using tool_support::DrawingForm;
using tool_support::SavedObjects;
using velko_test::TempFile;

namespace {

const std::string kSample = std::string(VELKO_SOURCE_DIR) + "/data/sample.dwg";
// The shipped picture: entities in model space and in a block.
const std::string kPicture = std::string(VELKO_SOURCE_DIR) + "/data/picture.dwg";

// A drawing opened by name, ended when the object goes.
class Open {
public:
    explicit Open(const std::string &name) : handle(CDBStartFileReading(name.c_str(), nullptr)) {}
    ~Open() {
        if (handle >= 0)
            CDBEndOperation(handle);
    }
    Open(const Open &) = delete;
    Open &operator=(const Open &) = delete;
    const int16_t handle;
};

// A handle that was handed out and is free again.
int16_t FreedHandle() {
    const int16_t h = CDBStartFileReading(kSample.c_str(), nullptr);
    EXPECT_GE(h, 0);
    CDBEndOperation(h);
    return h;
}

void AddPoints(int16_t h, int count) {
    for (int i = 0; i < count; ++i) {
        CDB_ENTITY point;
        std::memset(static_cast<void *>(&point), 0, sizeof point);
        ASSERT_EQ(CDBEntityDefault(h, &point, CDB_POINT), 0);
        ASSERT_GE(CDBEntityAdd(h, -1, &point), 0);
    }
}

// What the hooks saw; the hooks have no context, so it lives here.
struct HookLog {
    int16_t drawing = -1;
    int loads = 0;
    int16_t last_entities = 0;
    bool fractions_in_range = true;
    std::vector<int32_t> saved;
};
HookLog g_log;

void OnLoad(int16_t entities, int16_t) {
    ++g_log.loads;
    g_log.last_entities = entities;
    const double f = tool_support::LoadFraction(g_log.drawing);
    g_log.fractions_in_range = g_log.fractions_in_range && f > 0 && f <= 1;
}

void OnSave(int32_t written) {
    g_log.saved.push_back(written);
}

} // namespace

TEST(ToolSupport, KindNamesAreTheLibrarysOwn) {
    for (int kind = -2; kind < 40; ++kind)
        EXPECT_STREQ(tool_support::EntityKindName(kind), EntityKindName(kind)) << kind;
    EXPECT_STREQ(tool_support::EntityKindName(CDB_LINE), "LINE");
    EXPECT_STREQ(tool_support::EntityKindName(9999), "UNKNOWN");
}

TEST(ToolSupport, TheFormOfEachFileADrawingWasReadFrom) {
    TempFile dwg_file("tool_support_form.dwg", velko_test::MinimalDwg12());
    TempFile text("tool_support_text.dxf"), binary("tool_support_binary.dxf");
    {
        Open dwg(dwg_file.path());
        ASSERT_GE(dwg.handle, 0);
        EXPECT_EQ(tool_support::FormOf(dwg.handle), DrawingForm::kDwg);
        ASSERT_EQ(CDBSaveAsDXF(dwg.handle, text.c_str(), 0), 0);
    }
    {
        Open dwg(dwg_file.path());
        ASSERT_EQ(CDBSaveAsDXF(dwg.handle, binary.c_str(), 1), 0);
    }
    Open from_text(text.path()), from_binary(binary.path());
    ASSERT_GE(from_text.handle, 0);
    ASSERT_GE(from_binary.handle, 0);
    EXPECT_EQ(tool_support::FormOf(from_text.handle), DrawingForm::kTextDxf);
    EXPECT_EQ(tool_support::FormOf(from_binary.handle), DrawingForm::kBinaryDxf);
}

TEST(ToolSupport, AFreeHandleHasNothingAndLeavesTheErrorCodeAlone) {
    const int16_t h = FreedHandle();
    const int16_t before = g_LastError;
    SavedObjects counts;
    counts.entities = 7;
    EXPECT_EQ(tool_support::FormOf(h), DrawingForm::kUnknown);
    EXPECT_FALSE(tool_support::CountSavedObjects(h, &counts));
    EXPECT_EQ(counts.entities, 7) << "untouched";
    EXPECT_FALSE(tool_support::SetProgressHooks(h, OnLoad, OnSave));
    EXPECT_EQ(tool_support::LoadFraction(h), -1.0);
    EXPECT_FALSE(tool_support::LoadWholeDrawing(h));
    EXPECT_EQ(tool_support::FormOf(-5), DrawingForm::kUnknown);
    EXPECT_EQ(tool_support::FormOf(CDrawingTable::kSlots), DrawingForm::kUnknown);
    EXPECT_EQ(g_LastError, before);
}

TEST(ToolSupport, TheLowestOpenDrawingIsTheFirstTakenSlot) {
    Open first(kSample), second(kSample);
    ASSERT_GE(first.handle, 0);
    ASSERT_GT(second.handle, first.handle);
    const int16_t lowest = tool_support::LowestOpenDrawing();
    ASSERT_NE(lowest, CDB_FAIL);
    EXPECT_LE(lowest, first.handle);
    EXPECT_TRUE(g_DrawingTable.GetDrawing(lowest));
    for (int16_t h = 0; h < lowest; ++h)
        EXPECT_FALSE(g_DrawingTable.GetDrawing(h)) << h;
}

TEST(ToolSupport, CountsFollowWhatTheDrawingHolds) {
    Open d(kPicture);
    ASSERT_GE(d.handle, 0);
    ASSERT_TRUE(tool_support::LoadWholeDrawing(d.handle));
    SavedObjects before;
    ASSERT_TRUE(tool_support::CountSavedObjects(d.handle, &before));
    EXPECT_GT(before.entities, 0);
    EXPECT_EQ(before.blocks, CDBBlockTableCount(d.handle));
    EXPECT_GT(before.table_records, 0);
    EXPECT_EQ(before.Objects(), before.entities + before.table_records);

    AddPoints(d.handle, 3);
    CDB_LAYER_TBL_type layer;
    CDBLayerTableDefault(&layer);
    char name[] = "TOOLSUPPORT";
    layer.name = name;
    ASSERT_GE(CDBLayerTableAdd(d.handle, &layer), 0);
    SavedObjects after;
    ASSERT_TRUE(tool_support::CountSavedObjects(d.handle, &after));
    EXPECT_EQ(after.entities, before.entities + 3);
    EXPECT_EQ(after.blocks, before.blocks);
    EXPECT_EQ(after.table_records, before.table_records + 1);
}

TEST(ToolSupport, TheLoadHookCountsTheEntitiesReadAndTheFractionIsInRange) {
    Open d(kPicture);
    ASSERT_GE(d.handle, 0);
    g_log = HookLog();
    g_log.drawing = d.handle;
    ASSERT_TRUE(tool_support::SetProgressHooks(d.handle, OnLoad, OnSave));
    ASSERT_TRUE(tool_support::LoadWholeDrawing(d.handle));
    EXPECT_GT(g_log.loads, CDBEntityCount(d.handle, -1) / 2);
    EXPECT_EQ(g_log.last_entities, g_log.loads);
    EXPECT_TRUE(g_log.fractions_in_range);
    ASSERT_TRUE(tool_support::SetProgressHooks(d.handle, nullptr, nullptr));
    EXPECT_TRUE(tool_support::LoadWholeDrawing(d.handle)) << "loading again has nothing to do";
}

TEST(ToolSupport, TheSaveHookCountsObjectsWrittenAndCanBeTakenAway) {
    Open d(kSample);
    ASSERT_GE(d.handle, 0);
    ASSERT_TRUE(tool_support::LoadWholeDrawing(d.handle));
    AddPoints(d.handle, 1100);
    g_log = HookLog();
    ASSERT_TRUE(tool_support::SetProgressHooks(d.handle, nullptr, OnSave));
    TempFile out("tool_support_saved.dwg");
    ASSERT_EQ(CDBSaveAsDWG(d.handle, out.c_str()), 0);
    EXPECT_EQ(g_log.saved, std::vector<int32_t>{1024});

    ASSERT_TRUE(tool_support::SetProgressHooks(d.handle, nullptr, nullptr));
    g_log.saved.clear();
    ASSERT_EQ(CDBSaveAsDWG(d.handle, out.c_str()), 0);
    EXPECT_TRUE(g_log.saved.empty());
}

TEST(ToolSupport, TheLoadFractionIsThePositionInTheFile) {
    Open d(kSample);
    ASSERT_GE(d.handle, 0);
    const double f = tool_support::LoadFraction(d.handle);
    EXPECT_GE(f, 0.0);
    EXPECT_LE(f, 1.0);
}

TEST(ToolSupport, ADrawingFileIsFoundWhateverTheCaseAndSeparator) {
    const std::string top = ::testing::TempDir() + "velko_" + std::to_string(::getpid()) + "_Tool";
    ASSERT_EQ(::mkdir(top.c_str(), 0700), 0);
    ASSERT_EQ(::mkdir((top + "/Sub").c_str(), 0700), 0);
    {
        const std::string file = top + "/Sub/Host.DWG";
        std::FILE *f = std::fopen(file.c_str(), "wb");
        ASSERT_TRUE(f);
        std::fclose(f);
        const std::string lower_top = top.substr(0, top.size() - 4) + "tool";
        EXPECT_TRUE(tool_support::DrawingFileExists(file));
        EXPECT_TRUE(tool_support::DrawingFileExists(lower_top + "\\SUB\\host.dwg"));
        EXPECT_FALSE(tool_support::DrawingFileExists(top + "/Sub")) << "a folder is no file";
        EXPECT_FALSE(tool_support::DrawingFileExists(top + "/Sub/Other.dwg"));
        EXPECT_FALSE(tool_support::DrawingFileExists(""));
        std::remove(file.c_str());
    }
    ::rmdir((top + "/Sub").c_str());
    ::rmdir(top.c_str());
}

TEST(ToolSupport, AnExternalReferenceIsLookedForAsStoredThenBesideItsHost) {
    using Paths = std::vector<std::string>;
    EXPECT_EQ(tool_support::XrefCandidatePaths("/plans/host.dwg", "c:\\parts\\wheel"),
              (Paths{"c:\\parts\\wheel.dwg", "/plans/wheel.dwg"}));
    EXPECT_EQ(tool_support::XrefCandidatePaths("/plans/host.dwg", "parts/Wheel.DWG"),
              (Paths{"parts/Wheel.DWG", "/plans/Wheel.DWG"}));
    EXPECT_EQ(tool_support::XrefCandidatePaths("host.dwg", "wheel"),
              (Paths{"wheel.dwg", "./wheel.dwg"}));
}
