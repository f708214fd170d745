// Release 13 drawings edited through the flat interface, saved as DWG and read back: what
// the edits made is what the new file holds, with every object closed by its check and the
// map sorted, and the header variables those of the source but for the handle seed.
#include "dwg13/r13_edit_support.h"

#include "dwg13/r13_block.h"
#include "dwg13/r13_file_head.h"
#include "records/entity_kinds.h"
#include "records/header_texts.h"
#include "support/r13_written_file.h"
#include "support/corpus.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <deque>

namespace velko_test {
namespace r13edit {
namespace {

// The edited drawing (three lines in model space, a block DOOR) saved under a new name,
// and the saved file opened again as a second drawing.
class R13SaveAfterEdit : public R13EditTest {
protected:
    void SetUp() override { OpenBytes(EditBytes(3, "DOOR"), "save_edit.dwg"); }
    void TearDown() override {
        for (CDB_ENTITY &e : fetched)
            FreeOwnedTexts(&e);
        if (again >= 0)
            CDBEndOperation(again);
        R13EditTest::TearDown();
    }
    // An entity record the flat interface handed out: its texts are the caller's, freed
    // when the test ends.
    CDB_ENTITY &Fetched(const CDB_ENTITY &e) {
        fetched.push_back(e);
        return fetched.back();
    }
    // Saves and opens the result; false (with a failure noted) when either fails.
    void SaveAndReopen() {
        ASSERT_EQ(CDBSaveAsDWG(h, saved.c_str()), 0) << CDBGetErrorNumber(h);
        again = CDBStartFileReading(saved.c_str(), nullptr);
        ASSERT_GE(again, 0) << CDBGetErrorNumber(-1);
        ASSERT_EQ(CDBGetAutoCADVersion(again), 13);
    }
    CR13Drawing &Again() const {
        return *static_cast<CR13Drawing *>(LookupDrawing(again)->Drawing());
    }
    CDB_ENTITY AgainAt(int16_t block, int position) {
        CDB_ENTITY e;
        std::memset(&e, 0, sizeof e);
        EXPECT_GE(CDBGetEntity(again, CDBPackEntityId(block, uint16_t(position)), &e), 0)
            << "block " << block << " position " << position;
        return Fetched(e);
    }
    // The position of the entity with `handle` in the main list of the saved drawing, -1
    // when it is not there. An entity added to the main list stands behind paper space's
    // end in memory and comes back among the entities of model space.
    int PositionAgain(const std::string &handle) {
        const int count = CDBEntityCount(again, -1);
        for (int i = 0; i < count; ++i)
            if (AgainAt(-1, i).handle == handle)
                return i;
        return -1;
    }
    int16_t BlockIndex(int16_t drawing, const char *name) const {
        CDB_STARTBLOCK_ENTITY_type block;
        for (int16_t i = 0; CDBBlockGet(drawing, i, &block) >= 0; ++i) {
            const bool found = block.name && std::strcmp(block.name, name) == 0;
            // The block walk's copies are the caller's.
            std::free(block.name);
            std::free(block.name_2);
            std::free(block.xref_path);
            if (found)
                return i;
        }
        return -1;
    }

    TempFile saved{"save_edit_out.dwg"};
    int16_t again = -1;
    std::deque<CDB_ENTITY> fetched;
};

TEST_F(R13SaveAfterEdit, AnAddedLineIsReadBackBehindTheOthersWithItsNewHandle) {
    CDB_ENTITY line = Line(9.0);
    line.line.start_point = CDB_POINT3{1.0, 2.0, 3.0};
    const int32_t position = CDBEntityAdd(h, -1, &line);
    // Behind the three lines and paper space's end.
    ASSERT_EQ(position, 4);
    const std::string handle = EntityAt(-1, position)->handle;
    const std::string seed = Seed();
    SaveAndReopen();
    ASSERT_EQ(CDBEntityCount(again, -1), CDBEntityCount(h, -1));
    ASSERT_EQ(PositionAgain(handle), 3);
    EXPECT_EQ(AgainAt(-1, 4).entity_type, CDB_ENDBLK);
    const CDB_ENTITY read = AgainAt(-1, 3);
    EXPECT_EQ(read.entity_type, CDB_LINE);
    EXPECT_STREQ(read.handle, handle.c_str());
    EXPECT_EQ(read.line.start_point.z, 3.0);
    EXPECT_EQ(read.line.end_point.x, 9.0);
    // The seed saved is the one the edit left.
    EXPECT_STREQ(Again().GetAllVars()->handseed, seed.c_str());
}

TEST_F(R13SaveAfterEdit, AModifiedCircleKeepsItsHandleAndTakesItsNewRadius) {
    CDB_ENTITY circle = Kind(CDB_CIRCLE);
    circle.circle.radius = 2.0;
    const int32_t position = CDBEntityAdd(h, -1, &circle);
    ASSERT_GE(position, 0) << CDBGetErrorNumber(h);
    CDB_ENTITY read;
    ASSERT_GE(CDBGetEntity(h, CDBPackEntityId(-1, uint16_t(position)), &read), 0);
    Fetched(read);
    const std::string handle = read.handle;
    read.circle.radius = 7.5;
    read.circle.center = CDB_POINT3{4.0, 5.0, 0.0};
    ASSERT_GE(CDBEntityModify(h, CDBPackEntityId(-1, uint16_t(position)), &read), 0);
    SaveAndReopen();
    const CDB_ENTITY back = AgainAt(-1, PositionAgain(handle));
    EXPECT_EQ(back.entity_type, CDB_CIRCLE);
    EXPECT_STREQ(back.handle, handle.c_str());
    EXPECT_EQ(back.circle.radius, 7.5);
    EXPECT_EQ(back.circle.center.y, 5.0);
}

TEST_F(R13SaveAfterEdit, ADeletedEntityIsGoneFromTheFileAndItsMap) {
    const std::string gone = EntityAt(-1, 0)->handle;
    const std::string next = EntityAt(-1, 1)->handle;
    ASSERT_GE(CDBEntityDelete(h, CDBPackEntityId(-1, 0)), 0);
    SaveAndReopen();
    EXPECT_EQ(CDBEntityCount(again, -1), CDBEntityCount(h, -1));
    EXPECT_STREQ(AgainAt(-1, 0).handle, next.c_str());
    EXPECT_EQ(Again().ObjectMap().GetOffset(R13HandleValue(gone.c_str())), 0);
}

TEST_F(R13SaveAfterEdit, AnAddedLayerIsReadBackAndTakesTheEntityThatUsesIt) {
    // A seed without a zero byte: the control's reference to the record goes out whole.
    CopyIntoTextBlock(D().Header().vars.handseed, kHeaderHandseedSize, "123");
    CDB_LAYER_TBL_type layer;
    CDBLayerTableDefault(&layer);
    char name[] = "walls";
    layer.name = name;
    layer.color = 3;
    const int16_t index = CDBLayerTableAdd(h, &layer);
    ASSERT_GE(index, 0) << CDBGetErrorNumber(h);
    CDB_ENTITY line = Line(4.0, index);
    const int32_t position = CDBEntityAdd(h, -1, &line);
    ASSERT_GE(position, 0) << CDBGetErrorNumber(h);
    const std::string handle = EntityAt(-1, position)->handle;
    SaveAndReopen();
    ASSERT_EQ(CDBLayerTableCount(again), CDBLayerTableCount(h));
    CDB_LAYER_TBL_type back;
    ASSERT_EQ(CDBLayerTableGet(again, index, &back), 0);
    EXPECT_STREQ(back.name, "WALLS");
    EXPECT_EQ(back.color, 3);
    EXPECT_EQ(AgainAt(-1, PositionAgain(handle)).layer_index, index);
    // The layer control lists the new record once.
    const CR13Table &layers = Again().Table(R13Table::kLayers);
    const uint32_t record =
        R13HandleValue(D().Table(R13Table::kLayers).RecordAt(index)->RecordHandle());
    int listed = 0;
    for (const CHandleRef &entry : layers.head.entries)
        listed += entry.value == record;
    EXPECT_EQ(listed, 1);
}

TEST_F(R13SaveAfterEdit, AControlReferenceWithAZeroLowByteIsCutLikeEveryWrittenReference) {
    // The builder's seed is 100: the control lists the new layer by a reference whose
    // lowest byte is zero, and the writer cuts a reference at its first zero byte.
    CDB_LAYER_TBL_type layer;
    CDBLayerTableDefault(&layer);
    char name[] = "CUT";
    layer.name = name;
    const int16_t index = CDBLayerTableAdd(h, &layer);
    ASSERT_GE(index, 0);
    ASSERT_STREQ(D().Table(R13Table::kLayers).RecordAt(index)->RecordHandle(), "100");
    SaveAndReopen();
    const CR13Table &layers = Again().Table(R13Table::kLayers);
    ASSERT_FALSE(layers.head.entries.empty());
    EXPECT_EQ(layers.head.entries.back().value, 0u);
    // The record itself is read back all the same: the reader takes records in file order.
    CDB_LAYER_TBL_type back;
    ASSERT_EQ(CDBLayerTableGet(again, index, &back), 0);
    EXPECT_STREQ(back.name, "CUT");
    EXPECT_STREQ(back.handle, "100");
}

TEST_F(R13SaveAfterEdit, ADeletedLayerKeepsItsPlaceAndIsWrittenWithTheRawFlagsItHad) {
    CDB_LAYER_TBL_type layer;
    CDBLayerTableDefault(&layer);
    char first[] = "FIRST", second[] = "SECOND";
    layer.name = first;
    const int16_t a = CDBLayerTableAdd(h, &layer);
    layer.name = second;
    const int16_t b = CDBLayerTableAdd(h, &layer);
    ASSERT_GE(a, 0);
    ASSERT_EQ(b, a + 1);
    ASSERT_GE(CDBLayerTableDelete(h, a), 0);
    SaveAndReopen();
    CDB_LAYER_TBL_type back;
    ASSERT_EQ(CDBLayerTableGet(again, b, &back), 0);
    EXPECT_STREQ(back.name, "SECOND");
    // The mark of the deletion lives in the record's flags, but a layer goes out with the
    // raw flag byte it was read or made with: in the file the layer is as it was.
    CDB_LAYER_TBL_type deleted;
    ASSERT_EQ(CDBLayerTableGet(h, a, &deleted), 0);
    EXPECT_EQ(deleted.flags & 0x80, 0x80);
    ASSERT_EQ(CDBLayerTableGet(again, a, &deleted), 0);
    EXPECT_STREQ(deleted.name, "FIRST");
    EXPECT_EQ(deleted.flags & 0x80, 0);
}

TEST_F(R13SaveAfterEdit, ANewBlockWithTwoEntitiesIsReadBackAndInserted) {
    CDB_STARTBLOCK_ENTITY_type block;
    CDBBlockDefault(h, &block);
    char name[] = "window";
    block.name = name;
    block.base_point = CDB_POINT3{1.0, 2.0, 0.0};
    const int16_t index = CDBBlockAdd(h, &block);
    ASSERT_GE(index, 0) << CDBGetErrorNumber(h);
    CDB_ENTITY line = Line(6.0);
    ASSERT_GE(CDBEntityAdd(h, index, &line), 0) << CDBGetErrorNumber(h);
    CDB_ENTITY circle = Kind(CDB_CIRCLE);
    circle.circle.radius = 0.5;
    ASSERT_GE(CDBEntityAdd(h, index, &circle), 0) << CDBGetErrorNumber(h);
    CDB_ENTITY insert = Kind(CDB_INSERT);
    insert.insert.block_index = index;
    insert.insert.insertion_point = CDB_POINT3{10.0, 20.0, 0.0};
    const int32_t position = CDBEntityAdd(h, -1, &insert);
    ASSERT_GE(position, 0) << CDBGetErrorNumber(h);
    const std::string handle = EntityAt(-1, position)->handle;
    SaveAndReopen();

    const int16_t back = BlockIndex(again, "WINDOW");
    ASSERT_GE(back, 0);
    ASSERT_EQ(CDBEntityCount(again, back), 3);
    EXPECT_EQ(AgainAt(back, 0).entity_type, CDB_LINE);
    EXPECT_EQ(AgainAt(back, 0).line.end_point.x, 6.0);
    EXPECT_EQ(AgainAt(back, 1).entity_type, CDB_CIRCLE);
    EXPECT_EQ(AgainAt(back, 1).circle.radius, 0.5);
    EXPECT_EQ(AgainAt(back, 2).entity_type, CDB_ENDBLK);
    CDB_STARTBLOCK_ENTITY_type start;
    ASSERT_GE(CDBBlockGet(again, back, &start), 0);
    EXPECT_EQ(start.base_point.y, 2.0);
    std::free(start.name);
    std::free(start.name_2);
    std::free(start.xref_path);

    const CDB_ENTITY placed = AgainAt(-1, PositionAgain(handle));
    EXPECT_EQ(placed.entity_type, CDB_INSERT);
    EXPECT_EQ(placed.insert.block_index, back);
    EXPECT_EQ(placed.insert.insertion_point.y, 20.0);
}

TEST_F(R13SaveAfterEdit, AVariableSetInMemoryDoesNotReachTheFileButTheSeedDoes) {
    CDB_VAR_VALUE_type before, value;
    ASSERT_GE(CDBGetVariableValue(h, "LTSCALE", &before), 0);
    value.real_value = before.real_value * 4.0 + 1.0;
    ASSERT_GE(CDBSetVariableValue(h, "LTSCALE", &value), 0);
    CDB_ENTITY line = Line(2.0);
    ASSERT_GE(CDBEntityAdd(h, -1, &line), 0);
    const std::string seed = Seed();
    SaveAndReopen();
    CDB_VAR_VALUE_type back;
    ASSERT_GE(CDBGetVariableValue(again, "LTSCALE", &back), 0);
    EXPECT_EQ(back.real_value, before.real_value);
    EXPECT_STREQ(Again().GetAllVars()->handseed, seed.c_str());
}

TEST_F(R13SaveAfterEdit, EveryObjectOfTheEditedFileEndsInItsCheckAndTheMapIsSorted) {
    CDB_ENTITY line = Line(9.0);
    ASSERT_GE(CDBEntityAdd(h, -1, &line), 0);
    ASSERT_GE(CDBEntityDelete(h, CDBPackEntityId(-1, 1)), 0);
    SaveAndReopen();
    const std::vector<uint8_t> bytes = FileBytes(saved.path());
    const auto &entries = Again().ObjectMap().Entries();
    ASSERT_GT(entries.size(), 10u);
    for (size_t i = 1; i < entries.size(); ++i)
        EXPECT_LT(entries[i - 1].handle, entries[i].handle);
    EXPECT_EQ(ObjectChecksProblem(bytes, entries), "");
}

TEST_F(R13SaveAfterEdit, TheSavedDrawingIsEditedAndSavedAgain) {
    CDB_ENTITY line = Line(9.0);
    ASSERT_GE(CDBEntityAdd(h, -1, &line), 0);
    SaveAndReopen();
    CDB_ENTITY more = Line(11.0);
    const int32_t position = CDBEntityAdd(again, -1, &more);
    ASSERT_GE(position, 0) << CDBGetErrorNumber(again);
    const std::string handle = Again().Entities().At(position)->GetData()->handle;
    TempFile second("save_edit_second.dwg");
    ASSERT_EQ(CDBSaveAsDWG(again, second.c_str()), 0) << CDBGetErrorNumber(again);
    const int16_t third = CDBStartFileReading(second.c_str(), nullptr);
    ASSERT_GE(third, 0);
    EXPECT_EQ(CDBEntityCount(third, -1), CDBEntityCount(again, -1));
    bool found = false;
    for (int i = 0; i < CDBEntityCount(third, -1); ++i) {
        CDB_ENTITY read;
        ASSERT_GE(CDBGetEntity(third, CDBPackEntityId(-1, uint16_t(i)), &read), 0);
        Fetched(read);
        if (read.handle == handle) {
            found = true;
            EXPECT_EQ(read.line.end_point.x, 11.0);
        }
    }
    EXPECT_TRUE(found);
    CDBEndOperation(third);
}

// The corpus's relaid DWG with one edit of each kind, saved and read back.
class R13CorpusSaveAfterEdit : public R13SaveAfterEdit {
protected:
    void SetUp() override {
        if (!CorpusAvailable())
            GTEST_SKIP() << CorpusMissingReason();
        OpenPath(CorpusPath("dwg13/example_r13_relaid.dwg"));
    }
};

TEST_F(R13CorpusSaveAfterEdit, EveryKindOfEditIsReadBackFromTheSavedFile) {
    CDB_LAYER_TBL_type layer;
    CDBLayerTableDefault(&layer);
    char layer_name[] = "edited";
    layer.name = layer_name;
    layer.color = 5;
    const int16_t layer_index = CDBLayerTableAdd(h, &layer);
    ASSERT_GE(layer_index, 0) << CDBGetErrorNumber(h);

    CDB_STARTBLOCK_ENTITY_type block;
    CDBBlockDefault(h, &block);
    char block_name[] = "edited_block";
    block.name = block_name;
    const int16_t block_index = CDBBlockAdd(h, &block);
    ASSERT_GE(block_index, 0) << CDBGetErrorNumber(h);
    CDB_ENTITY inner = Line(3.0, layer_index);
    ASSERT_GE(CDBEntityAdd(h, block_index, &inner), 0) << CDBGetErrorNumber(h);
    CDB_ENTITY ring = Kind(CDB_CIRCLE);
    ring.circle.radius = 1.25;
    ASSERT_GE(CDBEntityAdd(h, block_index, &ring), 0) << CDBGetErrorNumber(h);

    const std::string deleted = EntityAt(-1, 0)->handle;
    ASSERT_EQ(CDBEntityDelete(h, CDBPackEntityId(-1, 0)), 1);

    CDB_ENTITY line = Line(8.0, layer_index);
    const int32_t line_at = CDBEntityAdd(h, -1, &line);
    ASSERT_GE(line_at, 0) << CDBGetErrorNumber(h);
    CDB_ENTITY circle = Kind(CDB_CIRCLE);
    circle.circle.radius = 2.0;
    const int32_t circle_at = CDBEntityAdd(h, -1, &circle);
    ASSERT_GE(circle_at, 0) << CDBGetErrorNumber(h);
    CDB_ENTITY changed;
    ASSERT_GE(CDBGetEntity(h, CDBPackEntityId(-1, uint16_t(circle_at)), &changed), 0);
    Fetched(changed);
    changed.circle.radius = 4.5;
    ASSERT_GE(CDBEntityModify(h, CDBPackEntityId(-1, uint16_t(circle_at)), &changed), 0);
    CDB_ENTITY insert = Kind(CDB_INSERT);
    insert.insert.block_index = block_index;
    const int32_t insert_at = CDBEntityAdd(h, -1, &insert);
    ASSERT_GE(insert_at, 0) << CDBGetErrorNumber(h);
    const std::string line_handle = EntityAt(-1, line_at)->handle;
    const std::string circle_handle = EntityAt(-1, circle_at)->handle;
    const std::string insert_handle = EntityAt(-1, insert_at)->handle;
    SaveAndReopen();

    EXPECT_EQ(CDBEntityCount(again, -1), CDBEntityCount(h, -1));
    EXPECT_EQ(PositionAgain(deleted), -1);
    const int16_t back_layer = CDBLayerTableFind(again, "EDITED");
    EXPECT_EQ(back_layer, layer_index);
    ASSERT_GE(PositionAgain(line_handle), 0);
    const CDB_ENTITY back_line = AgainAt(-1, PositionAgain(line_handle));
    EXPECT_EQ(back_line.layer_index, layer_index);
    EXPECT_EQ(back_line.line.end_point.x, 8.0);
    ASSERT_GE(PositionAgain(circle_handle), 0);
    EXPECT_EQ(AgainAt(-1, PositionAgain(circle_handle)).circle.radius, 4.5);
    const int16_t back_block = BlockIndex(again, "EDITED_BLOCK");
    ASSERT_GE(back_block, 0);
    ASSERT_EQ(CDBEntityCount(again, back_block), 3);
    EXPECT_EQ(AgainAt(back_block, 0).layer_index, layer_index);
    EXPECT_EQ(AgainAt(back_block, 1).circle.radius, 1.25);
    ASSERT_GE(PositionAgain(insert_handle), 0);
    EXPECT_EQ(AgainAt(-1, PositionAgain(insert_handle)).insert.block_index, back_block);
    // Every entity of the source that the edits left is read back, of its kind.
    for (int i = 0; i < CDBEntityCount(h, -1); ++i) {
        const CDB_ENTITY *mine = EntityAt(-1, i);
        const int at = PositionAgain(mine->handle);
        ASSERT_GE(at, 0) << mine->handle;
        EXPECT_EQ(AgainAt(-1, at).entity_type, mine->entity_type) << mine->handle;
    }
}

} // namespace
} // namespace r13edit
} // namespace velko_test
