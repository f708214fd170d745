// The block section of release 12: one block per block table record, each read from its
// run of frames, anonymous names, deleted and external blocks, and damaged definitions.
#include "dwg12/r12_loaded_drawing.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

using namespace velko_test;

namespace {

BlockRec Block(const std::string &name, uint32_t offset, uint8_t flags = 0) {
    BlockRec r;
    r.flags = flags;
    r.name = name;
    r.block_offset = offset;
    return r;
}

// The kinds of a block's entities.
std::vector<int> Codes(CModelBlock *block) {
    std::vector<int> codes;
    if (block && block->entities)
        for (int i = 0; i < block->entities->Count(); ++i)
            codes.push_back(block->entities->At(i)->Code());
    return codes;
}

const char *TableName(CR12Drawing &d, int index) {
    CDB_BLOCK_TBL *r = d.GetBlockTable(index);
    return r ? r->name : nullptr;
}

uint32_t Size(const Bytes &b) {
    return static_cast<uint32_t>(b.size());
}

} // namespace

TEST(R12Blocks, ReadsEveryDefinition) {
    Bytes first = Concat({BeginBlockFrame(1, 2, std::nullopt, std::string("ONE")),
                          LineFrame(1, 0, 0, 2, 0, 0), CircleFrame(0, 0, 1), EndBlockFrame()});
    Bytes second = Concat({BeginBlockFrame(3, 4), PointFrame(1, 1, 1), EndBlockFrame()});
    Dwg12FileBuilder b;
    b.Add(Block("ONE", 0)).Add(Block("TWO", Size(first)));
    BuildDrawing(b, LineFrame(0, 0, 0, 1, 1, 1), Concat({first, second}));
    LoadedR12 d(CurrentTestName(), b.bytes());
    ASSERT_TRUE(d.opened());
    ASSERT_EQ(d->TriggerLoading(), 1);
    EXPECT_EQ(d->GetError(), 0);
    ASSERT_EQ(d->Blocks().Count(), 2);

    CModelBlock *one = d->Blocks().At(0);
    EXPECT_EQ(one->code, 12);
    EXPECT_EQ(one->plain, 1);
    EXPECT_STREQ(one->record->name, "ONE");
    EXPECT_EQ(Field(one->record->flags), 0);
    EXPECT_EQ(Field(one->record->base_point.x), 1.0);
    EXPECT_EQ(Field(one->record->base_point.y), 2.0);
    ASSERT_NE(Field(one->record->xref_path), nullptr);
    EXPECT_STREQ(one->record->xref_path, "");
    ASSERT_NE(Field(one->record->name_2), nullptr);
    EXPECT_STREQ(one->record->name_2, "ONE");
    EXPECT_EQ(Field(one->record->entity_type), 12);
    EXPECT_EQ(Codes(one), (std::vector<int>{1, 3, 13}));

    CModelBlock *two = d->Blocks().At(1);
    EXPECT_STREQ(two->record->name, "TWO");
    EXPECT_EQ(Field(two->record->name_2), nullptr); // absent: stays null
    EXPECT_EQ(Codes(two), (std::vector<int>{2, 13}));

    // The main section is untouched by the blocks.
    EXPECT_EQ(d->Entities().Count(), 2);
    EXPECT_EQ(d->LoadBlockSection(), 0); // already read
}

TEST(R12Blocks, EmptyBlockTable) {
    Dwg12FileBuilder b;
    BuildDrawing(b, LineFrame(0, 0, 0, 1, 1, 1));
    LoadedR12 d(CurrentTestName(), b.bytes());
    ASSERT_TRUE(d.opened());
    EXPECT_EQ(d->LoadBlockSection(), 1);
    EXPECT_EQ(d->Blocks().Count(), 0);
}

TEST(R12Blocks, TheFilePositionAndSectionFlagAreRestored) {
    Bytes def = Concat({BeginBlockFrame(), EndBlockFrame()});
    Dwg12FileBuilder b;
    b.Add(Block("B", 0));
    BuildDrawing(b, LineFrame(0, 0, 0, 1, 1, 1), def);
    LoadedR12 d(CurrentTestName(), b.bytes());
    ASSERT_TRUE(d.opened());
    d->File()->SetPosition(77, 0);
    d->File()->in_entity_section = 1;
    EXPECT_EQ(d->LoadBlockSection(), 1);
    EXPECT_EQ(d->File()->GetPosition(), 77);
    EXPECT_EQ(d->File()->in_entity_section, 1);
}

TEST(R12Blocks, DeletedBlockInTheMiddle) {
    Bytes a = Concat({BeginBlockFrame(), LineFrame(1, 0, 0, 0, 0, 0), EndBlockFrame()});
    Bytes c = Concat({BeginBlockFrame(), PointFrame(0, 0, 0), EndBlockFrame()});
    Dwg12FileBuilder b;
    b.Add(Block("A", 0)).Add(Block("GONE", 0, 0x80)).Add(Block("C", Size(a)));
    BuildDrawing(b, Bytes(), Concat({a, c}));
    LoadedR12 d(CurrentTestName(), b.bytes());
    ASSERT_TRUE(d.opened());
    static std::vector<int> counters;
    counters.clear();
    d->progress_callback = [](int16_t, int16_t blocks) { counters.push_back(blocks); };
    ASSERT_EQ(d->TriggerLoading(), 1);
    ASSERT_EQ(d->Blocks().Count(), 3);
    CModelBlock *gone = d->Blocks().At(1);
    EXPECT_EQ(Field(gone->record->flags), 128);
    EXPECT_EQ(gone->entities, nullptr);
    EXPECT_EQ(Field(gone->record->name), nullptr);
    EXPECT_EQ(Codes(d->Blocks().At(0)), (std::vector<int>{1, 13}));
    EXPECT_EQ(Codes(d->Blocks().At(2)), (std::vector<int>{2, 13}));
    // The block numbers count the blocks that are not deleted.
    EXPECT_EQ(counters, (std::vector<int>{0, 0, 1, 1}));
}

TEST(R12Blocks, AnonymousBlocksGetTheirNumbers) {
    Bytes def = Concat({BeginBlockFrame(), EndBlockFrame()});
    Dwg12FileBuilder b;
    b.Add(Block("*U", 0)).Add(Block("PLAIN", Size(def))).Add(Block("*U", 2 * Size(def)));
    b.Add(Block("*D", 3 * Size(def)));
    BuildDrawing(b, Bytes(), Concat({def, def, def, def}));
    LoadedR12 d(CurrentTestName(), b.bytes());
    ASSERT_TRUE(d.opened());
    ASSERT_EQ(d->TriggerLoading(), 1);
    ASSERT_EQ(d->Blocks().Count(), 4);
    EXPECT_STREQ(d->Blocks().At(0)->record->name, "*U0");
    EXPECT_STREQ(d->Blocks().At(1)->record->name, "PLAIN");
    EXPECT_STREQ(d->Blocks().At(2)->record->name, "*U1");
    EXPECT_STREQ(d->Blocks().At(3)->record->name, "*D2");
    // The names in the table change too.
    EXPECT_STREQ(TableName(d.drawing(), 0), "*U0");
    EXPECT_STREQ(TableName(d.drawing(), 2), "*U1");
    EXPECT_STREQ(TableName(d.drawing(), 3), "*D2");
    EXPECT_EQ(d->Table(kR12Blocks).FindByName("*U1"), 2);
    EXPECT_EQ(d->Blocks().FindByName("*D2"), 3);
    EXPECT_EQ(d->Blocks().FindByName("*U"), -2);
}

TEST(R12Blocks, ExternalReferenceBlock) {
    Bytes xref =
        Concat({BeginBlockFrame(0, 0, std::string("C:\\PARTS\\BOLT.DWG")), EndBlockFrame()});
    Dwg12FileBuilder b;
    b.Add(Block("BOLT", 0, 0x04 | 0x40));
    BuildDrawing(b, Bytes(), xref);
    LoadedR12 d(CurrentTestName(), b.bytes());
    ASSERT_TRUE(d.opened());
    ASSERT_EQ(d->TriggerLoading(), 1);
    CModelBlock *block = d->Blocks().At(0);
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(block->plain, 0);
    EXPECT_EQ(Field(block->record->flags), 0x44);
    EXPECT_STREQ(block->record->xref_path, "C:\\PARTS\\BOLT.DWG");
    EXPECT_EQ(Codes(block), (std::vector<int>{13}));
}

TEST(R12Blocks, MissingBlockStartFrameIsReportedAndTheOthersAreRead) {
    Bytes broken = Concat({LineFrame(5, 0, 0, 0, 0, 0), EndBlockFrame()});
    Bytes good = Concat({BeginBlockFrame(7, 8), PointFrame(0, 0, 0), EndBlockFrame()});
    Dwg12FileBuilder b;
    b.Add(Block("BROKEN", 0)).Add(Block("GOOD", Size(broken)));
    BuildDrawing(b, Bytes(), Concat({broken, good}));
    LoadedR12 d(CurrentTestName(), b.bytes());
    ASSERT_TRUE(d.opened());
    ASSERT_EQ(d->TriggerLoading(), 1);
    EXPECT_EQ(d->GetError(), -408);
    ASSERT_EQ(d->Blocks().Count(), 2);
    // The reading goes on with the temporary's empty record: the line is the block's.
    CModelBlock *first = d->Blocks().At(0);
    EXPECT_STREQ(first->record->name, "BROKEN");
    EXPECT_EQ(Codes(first), (std::vector<int>{1, 13}));
    CModelBlock *second = d->Blocks().At(1);
    EXPECT_EQ(Field(second->record->base_point.x), 7.0);
    EXPECT_EQ(Codes(second), (std::vector<int>{2, 13}));
}

TEST(R12Blocks, DefinitionWithoutEndFrameEndsAtTheFileEnd) {
    // No kind 13 frame: the block takes the frames behind it until a peek fails.
    Bytes def = Concat({BeginBlockFrame(), LineFrame(1, 0, 0, 0, 0, 0)});
    Dwg12FileBuilder b;
    b.Add(Block("OPEN", 0));
    b.SetGapAfterBlocks(0);
    BuildDrawing(b, Bytes(), def);
    LoadedR12 d(CurrentTestName(), b.bytes());
    ASSERT_TRUE(d.opened());
    ASSERT_EQ(d->TriggerLoading(), 1);
    CModelBlock *block = d->Blocks().At(0);
    ASSERT_NE(block, nullptr);
    ASSERT_GE(block->entities->Count(), 1);
    EXPECT_EQ(block->entities->At(0)->Code(), 1);
}

TEST(R12Blocks, Code21FrameEndsTheDefinition) {
    FrameSpec line3d(21);
    line3d.body = FrameBody().XYZ(0, 0, 0).XYZ(1, 1, 1).bytes();
    Bytes def = Concat({BeginBlockFrame(), LineFrame(1, 0, 0, 0, 0, 0), MakeFrame(line3d),
                        LineFrame(2, 0, 0, 0, 0, 0), EndBlockFrame()});
    Bytes next = Concat({BeginBlockFrame(), PointFrame(0, 0, 0), EndBlockFrame()});
    Dwg12FileBuilder b;
    b.Add(Block("A", 0)).Add(Block("B", Size(def)));
    BuildDrawing(b, Bytes(), Concat({def, next}));
    LoadedR12 d(CurrentTestName(), b.bytes());
    ASSERT_TRUE(d.opened());
    ASSERT_EQ(d->TriggerLoading(), 1);
    // The code 21 frame cannot be read and the position does not move: the block ends.
    EXPECT_EQ(Codes(d->Blocks().At(0)), (std::vector<int>{1, 21}));
    EXPECT_EQ(Codes(d->Blocks().At(1)), (std::vector<int>{2, 13}));
}

TEST(R12Blocks, UnknownCodeEndsTheDefinition) {
    FrameSpec unknown(6);
    unknown.body = FrameBody().XY(0, 0).bytes();
    Bytes def = Concat(
        {BeginBlockFrame(), LineFrame(1, 0, 0, 0, 0, 0), MakeFrame(unknown), EndBlockFrame()});
    Dwg12FileBuilder b;
    b.Add(Block("A", 0));
    BuildDrawing(b, Bytes(), def);
    LoadedR12 d(CurrentTestName(), b.bytes());
    ASSERT_TRUE(d.opened());
    ASSERT_EQ(d->TriggerLoading(), 1);
    EXPECT_EQ(Codes(d->Blocks().At(0)), (std::vector<int>{1}));
}

TEST(R12Blocks, SharedOffsetsStayBounded) {
    // A damaged table: every record points at one definition without an end frame, whose
    // last frame jumps back to its start. The reader's allowance ends it all quickly.
    Dwg12FileBuilder b;
    for (int i = 0; i < 200; ++i)
        b.Add(Block("B" + std::to_string(i), 0));
    BuildDrawing(b, Bytes(), Concat({BeginBlockFrame(), LineFrame(1, 0, 0, 0, 0, 0)}));
    const uint32_t start = b.layout().blocks_start;
    BuildDrawing(b, Bytes(),
                 Concat({BeginBlockFrame(), LineFrame(1, 0, 0, 0, 0, 0), MakeJumpFrame(start)}));
    LoadedR12 d(CurrentTestName(), b.bytes());
    ASSERT_TRUE(d.opened());
    ASSERT_EQ(d->TriggerLoading(), 1);
    ASSERT_EQ(d->Blocks().Count(), 200);
    int total = 0;
    for (int i = 0; i < 200; ++i)
        total += d->Blocks().At(i)->entities->Count();
    EXPECT_LT(total, static_cast<int>(b.bytes().size()));
}

TEST(R12Blocks, ViewportInABlockJoinsTheChain) {
    FrameSpec viewport(24);
    viewport.body = FrameBody().XYZ(1, 2, 0).F64(3).F64(4).I16(5).bytes();
    Bytes def = Concat({BeginBlockFrame(), MakeFrame(viewport), EndBlockFrame()});
    Dwg12FileBuilder b;
    b.Add(Block("V", 0));
    BuildDrawing(b, Bytes(), def);
    LoadedR12 d(CurrentTestName(), b.bytes());
    ASSERT_TRUE(d.opened());
    ASSERT_EQ(d->TriggerLoading(), 1);
    ASSERT_NE(d->Viewports().Head(), nullptr);
    EXPECT_EQ(d->Viewports().Head(), d->Blocks().At(0)->entities->At(0));
}

namespace {

class BlockRecorder : public CLibDrawing {
public:
    BlockRecorder() : CLibDrawing(1) {}
    void EntityCall(void *record) override {
        entities.push_back(static_cast<CDB_ENTITY *>(record)->entity_type);
    }
    void BlockCall(void *record) override {
        blocks.push_back(static_cast<CDB_ENTITY *>(record)->entity_type);
    }
    std::vector<int> entities, blocks;
};

} // namespace

TEST(R12Blocks, ViewModeHandsOutPlainBlocksOnly) {
    Bytes plain = Concat({BeginBlockFrame(), LineFrame(1, 0, 0, 0, 0, 0), EndBlockFrame()});
    Bytes xref =
        Concat({BeginBlockFrame(0, 0, std::string("X.DWG")), PointFrame(0, 0, 0), EndBlockFrame()});
    Dwg12FileBuilder b;
    b.Add(Block("P", 0)).Add(Block("X", Size(plain), 0x04));
    BuildDrawing(b, CircleFrame(0, 0, 1), Concat({plain, xref}));
    BlockRecorder lib;
    LoadedR12 d(CurrentTestName(), b.bytes(), 1, &lib);
    ASSERT_TRUE(d.opened());
    ASSERT_EQ(d->TriggerLoading(), 1);
    EXPECT_EQ(lib.entities, (std::vector<int>{3}));
    EXPECT_EQ(lib.blocks, (std::vector<int>{1, 13}));
    ASSERT_EQ(d->Blocks().Count(), 2);
    // No lists are kept in view mode; the records still are.
    EXPECT_EQ(d->Blocks().At(0)->entities, nullptr);
    EXPECT_STREQ(d->Blocks().At(1)->record->xref_path, "X.DWG");
    EXPECT_EQ(d->Blocks().At(1)->plain, 0);
}

TEST(R12Blocks, BlockListOperations) {
    CBlockList list;
    EXPECT_EQ(list.First(), nullptr);
    EXPECT_EQ(list.Last(), nullptr);
    auto *a = new CModelBlock();
    auto *c = new CModelBlock();
    EXPECT_EQ(list.Add(a), 0);
    EXPECT_EQ(list.Add(c), 1);
    EXPECT_EQ(list.Cursor(), 1);
    EXPECT_EQ(list.First(), a);
    EXPECT_EQ(list.Current(), a);
    EXPECT_EQ(list.Next(), c);
    EXPECT_EQ(list.Next(), nullptr);
    EXPECT_EQ(list.Last(), c);
    EXPECT_EQ(list.At(2), nullptr);
    EXPECT_EQ(list.Remove(5), 0);
    EXPECT_EQ(list.Remove(0), 1);
    EXPECT_EQ(list.Count(), 1);
    EXPECT_EQ(list.NextAnonymousNumber(), 0);
    EXPECT_EQ(list.NextAnonymousNumber(), 1);
}
