// The release-neutral model on its own: a drawing class with no file behind it fills the
// lists, and the walk, the block walk, the viewport chain, the table read-out and the
// deleting of entities answer as they do for a drawing read from a file.
#include "model/list_drawing.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

// An entity that copies its record out as it is.
class PlainEntity : public CModelEntity {
public:
    explicit PlainEntity(int16_t code) : CModelEntity(code) {}
    void GetRecord(CDB_ENTITY *out) override { std::memcpy(out, record, sizeof *record); }
    void SetRecord(const CDB_ENTITY *in) override { std::memcpy(record, in, sizeof *record); }
};

class ViewportEntity : public PlainEntity {
public:
    ViewportEntity() : PlainEntity(CDB_VIEWPORT) {}
    CViewportLink *ViewportLink() override { return &link; }
    CViewportLink link{this};
};

class LayerRecord : public CTableRecord {
public:
    explicit LayerRecord(const char *name) {
        std::strncpy(name_, name, sizeof name_ - 1);
        record_.name = name_;
    }
    int CompareName(const char *name) const override { return std::strcmp(name_, name) == 0; }
    void GetName(char *buffer) const override { std::strcpy(buffer, name_); }
    void *GetRecord() override { return &record_; }
    uint8_t Flags() const override { return record_.flags; }
    const char *FullName() const override { return name_; }

private:
    char name_[32] = {};
    CDB_LAYER_TBL_type record_{};
};

// A drawing whose "load" puts: a line, a viewport and an end into the main list; one
// block with a circle and its end; two layers.
class MemoryDrawing : public CListDrawing {
public:
    MemoryDrawing() : CListDrawing(0) {}
    int TriggerLoading() override {
        if (loaded)
            return 1;
        loaded = true;
        KeepEntity(&entities, new PlainEntity(CDB_LINE), false, false);
        KeepEntity(&entities, new ViewportEntity, false, false);
        KeepEntity(&entities, new PlainEntity(CDB_ENDBLK), false, false);
        auto *block = new CModelBlock;
        block->entities = std::make_unique<CEntityList>();
        KeepEntity(block->entities.get(), new PlainEntity(CDB_CIRCLE), true, false);
        KeepEntity(block->entities.get(), new PlainEntity(CDB_ENDBLK), true, false);
        blocks.Add(block);
        layers.Add(new LayerRecord("0"));
        layers.Add(new LayerRecord("WALLS"));
        RewindCursors();
        return 1;
    }

protected:
    CModelEntity *MakeEntity(int16_t kind) override {
        if (kind == CDB_VIEWPORT)
            return new ViewportEntity;
        return kind == CDB_LINE || kind == CDB_CIRCLE ? new PlainEntity(kind) : nullptr;
    }
    CTableList *PublicTable(TableBase which) override {
        return which == TableBase::kLayers ? &layers : nullptr;
    }

private:
    bool loaded = false;
    CTableList layers{1};
};

int16_t KindAt(MemoryDrawing &d, int32_t id) {
    CDB_ENTITY record;
    std::memset(&record, 0, sizeof record);
    if (d.GetEntity(id, &record) < 0)
        return -1;
    return record.entity_type;
}

} // namespace

TEST(ListDrawing, WalksTheMainListAndABlock) {
    MemoryDrawing d;
    EXPECT_EQ(d.EntityCount(-1), 3);
    EXPECT_EQ(d.EntityCount(0), 2);
    int32_t id = d.FirstEntity(-1);
    ASSERT_GE(id, 0);
    EXPECT_EQ(KindAt(d, id), CDB_LINE);
    id = d.NextEntity();
    EXPECT_EQ(KindAt(d, id), CDB_VIEWPORT);
    d.NextEntity();
    EXPECT_EQ(d.NextEntity(), CDB_END_OF_WALK);
    id = d.FirstEntity(0);
    EXPECT_EQ(KindAt(d, id), CDB_CIRCLE);
    EXPECT_EQ(d.GotoEntity(CDBPackEntityId(-1, 2)), 2);
    CDB_ENTITY record;
    EXPECT_EQ(d.GetCurrentEntity(&record), CDBPackEntityId(-1, 2));
    EXPECT_EQ(record.entity_type, CDB_ENDBLK);
}

TEST(ListDrawing, AnUnknownBlockIsReported) {
    MemoryDrawing d;
    EXPECT_EQ(d.EntityCount(5), CDB_FAIL);
    EXPECT_EQ(d.GetError(), CDB_ERR_BLOCK_NOT_FOUND);
    EXPECT_EQ(d.FirstEntity(5), CDB_END_OF_WALK);
}

TEST(ListDrawing, TheBlockWalkHandsOutCopies) {
    MemoryDrawing d;
    d.TriggerLoading();
    d.Blocks().At(0)->record->name = static_cast<char *>(std::calloc(8, 1));
    std::strcpy(d.Blocks().At(0)->record->name, "DOOR");
    CDB_STARTBLOCK_ENTITY_type block;
    ASSERT_EQ(d.GetFirstBlock(&block), CDB_OK);
    ASSERT_NE(block.name, nullptr);
    EXPECT_STREQ(block.name, "DOOR");
    EXPECT_NE(block.name, d.Blocks().At(0)->record->name);
    std::free(block.name);
    EXPECT_EQ(d.GetNextBlock(&block), CDB_END_OF_BLOCKS);
}

TEST(ListDrawing, TheViewportChainFollowsTheLists) {
    MemoryDrawing d;
    CDB_ENTITY record;
    ASSERT_EQ(d.GetFirstViewport(&record), 1);
    EXPECT_EQ(record.entity_type, CDB_VIEWPORT);
    EXPECT_EQ(d.GetNextViewport(&record), 0);
    // A deleted viewport leaves the chain and is kept aside.
    ASSERT_EQ(d.EntityDelete(CDBPackEntityId(-1, 1)), 1);
    EXPECT_EQ(d.GetFirstViewport(&record), 0);
    ASSERT_EQ(d.RemovedEntities().size(), 1u);
    EXPECT_EQ(d.RemovedEntities()[0]->Code(), CDB_VIEWPORT);
    EXPECT_EQ(d.EntityCount(-1), 2);
}

TEST(ListDrawing, TablesAreReadOutThroughTheClassLists) {
    MemoryDrawing d;
    d.TriggerLoading();
    EXPECT_EQ(d.GetLayerTableCount(), 2);
    ASSERT_NE(d.GetLayerTable(1), nullptr);
    EXPECT_STREQ(d.GetLayerTable(1)->name, "WALLS");
    EXPECT_EQ(d.GetLayerTable(2), nullptr);
    // A table the class does not keep.
    EXPECT_EQ(d.GetStyleTableCount(), CDB_FAIL);
    EXPECT_EQ(d.GetStyleTable(0), nullptr);
}

TEST(ListDrawing, ProgressCountsTheKeptEntities) {
    static int calls = 0;
    calls = 0;
    MemoryDrawing d;
    d.progress_callback = [](int16_t, int16_t) { ++calls; };
    d.TriggerLoading();
    EXPECT_EQ(calls, 5);
}

TEST(ListDrawing, AddedEntitiesGoBeforeABlocksEndAndViewportsJoinTheChain) {
    MemoryDrawing d;
    CDB_ENTITY record;
    d.EntityDefault(&record, CDB_LINE);
    EXPECT_EQ(d.EntityAdd(0, &record), 1);
    EXPECT_EQ(KindAt(d, CDBPackEntityId(0, 1)), CDB_LINE);
    EXPECT_EQ(KindAt(d, CDBPackEntityId(0, 2)), CDB_ENDBLK);
    d.EntityDefault(&record, CDB_VIEWPORT);
    EXPECT_EQ(d.EntityAdd(-1, &record), 3);
    d.GetFirstViewport(nullptr);
    EXPECT_EQ(d.GetNextViewport(nullptr), 1);
    // A kind without a class is refused.
    d.EntityDefault(&record, CDB_LINE);
    record.entity_type = CDB_TEXT;
    EXPECT_EQ(d.EntityModify(CDBPackEntityId(-1, 0), &record), CDB_FAIL);
    EXPECT_EQ(d.GetError(), CDB_ERR_INVALID_ENTITY_CODE);
}

TEST(TableList, FindsNamesIgnoringCase) {
    CTableList list(1);
    list.Add(new LayerRecord("Walls"));
    list.Add(new LayerRecord("DOORS"));
    EXPECT_EQ(list.FindNoCase("doors"), 1);
    EXPECT_EQ(list.FindNoCase("WALLS"), 0);
    EXPECT_EQ(list.FindByName("walls"), -1);
    EXPECT_EQ(list.FindNoCase("windows"), -1);
}

TEST(DrawingBases, NamedSlotsStartAtZero) {
    MemoryDrawing d;
    EXPECT_EQ(d.Base(TableBase::kLayers), 0);
    d.SetBase(TableBase::kLtypes, 7);
    EXPECT_EQ(d.Base(TableBase::kLtypes), 7);
    EXPECT_EQ(d.Base(TableBase::kLayers), 0);
}
