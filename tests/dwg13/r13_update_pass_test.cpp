// The update pass of the release 13 load: the patch and the cuts on chains of plain
// entities, and whole drawings whose objects behind the tables update what the first
// passes read.
#include "support/dwg13_builder.h"

#include "interface/test_files.h"

#include "dwg13/r13_block.h"
#include "dwg13/r13_drawing.h"
#include "dwg13/r13_entity_kinds.h"
#include "dwg13/r13_tables.h"
#include "dwg13/r13_update_pass.h"
#include "io/bit_stream.h"
#include "io/bit_writer.h"
#include "records/heap_text.h"

#include "velkow32.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace velko_test {
namespace {

// ---- Chains of plain entities -----------------------------------------------------------------

// A plain entity of the public kind `kind` (file type `type`) with the handle `handle`.
CR13Entity *Plain(uint32_t handle, int16_t kind = CDB_LINE, int16_t type = 19) {
    auto *entity = new CR13PlainEntity(nullptr, kind, type, 0);
    entity->SetFileType(type);
    entity->GetData()->handle = DuplicateText(R13HandleText(handle).c_str());
    return entity;
}

// A chain of LINE-kind entities with the given handles.
void Fill(CEntityList &chain, const std::vector<uint32_t> &handles) {
    for (uint32_t handle : handles)
        chain.Append(Plain(handle));
}

std::vector<uint32_t> HandlesOf(CEntityList &chain) {
    std::vector<uint32_t> handles;
    for (int i = 0; i < chain.Count(); ++i)
        handles.push_back(R13HandleNumber(chain.At(i)->GetData()->handle));
    return handles;
}

// A polyline at `handle` with two vertices and its SEQEND behind it.
void AppendPolyline(CEntityList &chain, uint32_t handle) {
    chain.Append(Plain(handle, CDB_POLYLINE, 15));
    chain.Append(Plain(handle + 1, CDB_VERTEX, 10));
    chain.Append(Plain(handle + 2, CDB_VERTEX, 10));
    chain.Append(Plain(handle + 3, CDB_SEQEND, kR13SeqEndType));
}

TEST(R13ChainPatch, AnUpdateWithPreviousOffsetThreeOnHandle20Erases1EAnd1F) {
    CEntityList chain;
    Fill(chain, {0x1C, 0x1D, 0x1E, 0x1F, 0x20, 0x21});
    CR13ChainPatch patch(chain);
    patch.AddErased(0x20, "3", nullptr);
    EXPECT_EQ(patch.ErasedHandles(), (std::vector<uint32_t>{0x1F, 0x1E}));
    patch.Apply();
    EXPECT_EQ(HandlesOf(chain), (std::vector<uint32_t>{0x1C, 0x1D, 0x20, 0x21}));
}

TEST(R13ChainPatch, AnUpdateWithNextOffsetThreeOnHandle20Erases21And22) {
    CEntityList chain;
    Fill(chain, {0x1F, 0x20, 0x21, 0x22, 0x23});
    CR13ChainPatch patch(chain);
    patch.AddErased(0x20, nullptr, "3");
    EXPECT_EQ(patch.ErasedHandles(), (std::vector<uint32_t>{0x21, 0x22}));
    patch.Apply();
    EXPECT_EQ(HandlesOf(chain), (std::vector<uint32_t>{0x1F, 0x20, 0x23}));
}

TEST(R13ChainPatch, TheLinksOfADecodedEntityGiveTheErasedHandles) {
    R13EntityHead head = R13EntityHead{}.Handle(0x20);
    head.no_links = 0;
    head.previous = 3;
    head.next = 3;
    R13Object object = EntityObject(head);
    CR13PlainEntity entity(nullptr, CDB_SEQEND, kR13SeqEndType, 0);
    CBitStream stream(object.data());
    ASSERT_EQ(entity.ReadDWG(stream), 1);
    CEntityList chain;
    CR13ChainPatch patch(chain);
    patch.AddErased(entity);
    EXPECT_EQ(patch.ErasedHandles(), (std::vector<uint32_t>{0x1F, 0x1E, 0x21, 0x22}));
}

TEST(R13ChainPatch, ALinkOfOneNoneOrBeyondTheLongestLinkErasesNothing) {
    CEntityList chain;
    CR13ChainPatch patch(chain);
    patch.AddErased(0x20, "1", "1");
    patch.AddErased(0x20, nullptr, "");
    patch.AddErased(0x20, "1000001", "1000001");
    EXPECT_TRUE(patch.ErasedHandles().empty());
}

TEST(R13ChainPatch, APreviousLinkReachingBelowHandleZeroErasesNothing) {
    CEntityList chain;
    CR13ChainPatch patch(chain);
    patch.AddErased(0x3, "5", nullptr); // four handles below 3: not below the handle
    EXPECT_TRUE(patch.ErasedHandles().empty());
}

TEST(R13ChainPatch, APolylineErasedByAPatchTakesItsVerticesAndSeqendAlong) {
    CEntityList chain;
    Fill(chain, {0x10});
    AppendPolyline(chain, 0x20);
    Fill(chain, {0x30});
    CR13ChainPatch patch(chain);
    patch.AddErasedHandle(0x20);
    patch.Apply();
    EXPECT_EQ(HandlesOf(chain), (std::vector<uint32_t>{0x10, 0x30}));
}

TEST(R13ChainPatch, AnUpdatedEntityReplacesTheEntityOfItsHandleInPlace) {
    CEntityList chain;
    Fill(chain, {0x10, 0x11, 0x12});
    CR13ChainPatch patch(chain);
    CR13Entity *update = Plain(0x11);
    update->GetData()->color = 5;
    patch.AddUpdated(update);
    patch.AddUpdated(Plain(0x99)); // no entity has it: dropped
    patch.Apply();
    EXPECT_EQ(HandlesOf(chain), (std::vector<uint32_t>{0x10, 0x11, 0x12}));
    EXPECT_EQ(chain.At(1), update);
    EXPECT_EQ(patch.Size(), 0u);
}

TEST(R13ChainPatch, TheLastOfSeveralUpdatesOfOneHandleWins) {
    CEntityList chain;
    Fill(chain, {0x10, 0x11});
    CR13ChainPatch patch(chain);
    patch.AddUpdated(Plain(0x11));
    CR13Entity *later = Plain(0x11);
    patch.AddUpdated(later);
    patch.AddUpdated(Plain(0x10));
    patch.Apply();
    EXPECT_EQ(chain.At(1), later);
}

TEST(R13ChainPatch, AnErasedHandleWinsOverAnUpdateOfIt) {
    CEntityList chain;
    Fill(chain, {0x10, 0x11});
    CR13ChainPatch patch(chain);
    patch.AddUpdated(Plain(0x11));
    patch.AddErasedHandle(0x11);
    patch.Apply();
    EXPECT_EQ(HandlesOf(chain), (std::vector<uint32_t>{0x10}));
}

TEST(R13ChainPatch, AtTheBatchSizeThePatchIsAppliedAndEmptied) {
    CEntityList chain;
    Fill(chain, {0x5, 0x6, CR13ChainPatch::kBatch + 100});
    CR13ChainPatch patch(chain);
    for (uint32_t handle = 1; handle < CR13ChainPatch::kBatch; ++handle)
        patch.AddErasedHandle(handle);
    EXPECT_EQ(chain.Count(), 3);
    patch.AddErasedHandle(CR13ChainPatch::kBatch);
    EXPECT_EQ(patch.Size(), 0u);
    EXPECT_EQ(HandlesOf(chain), (std::vector<uint32_t>{CR13ChainPatch::kBatch + 100}));
}

TEST(R13ChainPatch, AFarNextLinkIsAppliedInBatchesWithoutGrowingPastOne) {
    CEntityList chain;
    Fill(chain, {0x1, 0x2, 0x9000});
    CR13ChainPatch patch(chain);
    patch.AddErased(0x1, nullptr, "1000000");
    EXPECT_LT(patch.Size(), CR13ChainPatch::kBatch);
    patch.Apply();
    EXPECT_EQ(HandlesOf(chain), (std::vector<uint32_t>{0x1}));
}

// ---- The cuts ---------------------------------------------------------------------------------

TEST(R13Cuts, CutBehindRemovesTheEntitiesAboveTheSavedEndFromTheTail) {
    CEntityList chain;
    Fill(chain, {0x10, 0x11, 0x30, 0x31});
    CutBehind(chain, 0x11);
    EXPECT_EQ(HandlesOf(chain), (std::vector<uint32_t>{0x10, 0x11}));
}

TEST(R13Cuts, CutBehindStopsAtTheFirstEntityAtOrBelowTheSavedEnd) {
    CEntityList chain;
    Fill(chain, {0x30, 0x10, 0x31});
    CutBehind(chain, 0x20);
    EXPECT_EQ(HandlesOf(chain), (std::vector<uint32_t>{0x30, 0x10}));
}

TEST(R13Cuts, CutBehindTakesAPolylineWithItsVerticesAndSeqend) {
    CEntityList chain;
    Fill(chain, {0x10});
    AppendPolyline(chain, 0x30);
    CutBehind(chain, 0x20);
    EXPECT_EQ(HandlesOf(chain), (std::vector<uint32_t>{0x10}));
}

TEST(R13Cuts, AVertexInTheListOnItsOwnDoesNotCauseARemovalWalkingBackFromTheTail) {
    CEntityList chain;
    Fill(chain, {0x10});
    chain.Append(Plain(0x30, CDB_VERTEX, 10));
    CutBehind(chain, 0x20);
    EXPECT_EQ(HandlesOf(chain), (std::vector<uint32_t>{0x10, 0x30}));

    // Nor does a SEQEND, and the walk goes on in front of it.
    CEntityList second;
    Fill(second, {0x10, 0x31});
    second.Append(Plain(0x32, CDB_SEQEND, kR13SeqEndType));
    CutBehind(second, 0x20);
    EXPECT_EQ(HandlesOf(second), (std::vector<uint32_t>{0x10, 0x32}));
}

TEST(R13Cuts, CutBeforeRemovesTheEntitiesBelowTheFirstHandleFromTheHead) {
    CEntityList chain;
    Fill(chain, {0x05, 0x06, 0x10, 0x11});
    CutBefore(chain, 0x10);
    EXPECT_EQ(HandlesOf(chain), (std::vector<uint32_t>{0x10, 0x11}));
}

// ---- Whole drawings ---------------------------------------------------------------------------

using Builder = Dwg13Builder;

struct Loaded {
    std::unique_ptr<TempFile> file;
    std::unique_ptr<CR13Drawing> drawing;
    int loaded = 0;
};

Loaded LoadBytes(const std::vector<uint8_t> &bytes) {
    Loaded l;
    l.file = std::make_unique<TempFile>("r13_update_pass.dwg", bytes);
    l.drawing = std::make_unique<CR13Drawing>(nullptr, 0);
    if (l.drawing->OpenDWG(l.file->c_str(), CDB_OPEN_READ) == 1)
        l.loaded = l.drawing->LoadDWG();
    return l;
}

Loaded Load(Builder &b) {
    return LoadBytes(b.Build());
}

// The handles of the main list without the ENDBLK that closes it (which must be there).
// The main list holds model space, then paper space, then the ENDBLK that closes it. The
// handles of the entities of model space (space 0) before that ENDBLK.
std::vector<uint32_t> HandlesOf(CListDrawing &drawing) {
    CEntityList &main = drawing.Entities();
    CModelEntity *last = main.At(main.Count() - 1);
    EXPECT_TRUE(last && last->GetData()->entity_type == CDB_ENDBLK);
    std::vector<uint32_t> handles;
    for (int i = 0; i + 1 < main.Count(); ++i)
        if (main.At(i)->GetData()->space == 0)
            handles.push_back(R13HandleNumber(main.At(i)->GetData()->handle));
    return handles;
}

// The handles of paper space (space 1) in the main list, and of the ENDBLK that closes it.
std::vector<uint32_t> PaperHandlesOf(CListDrawing &drawing) {
    CEntityList &main = drawing.Entities();
    std::vector<uint32_t> handles;
    for (int i = 0; i + 1 < main.Count(); ++i)
        if (main.At(i)->GetData()->space == 1)
            handles.push_back(R13HandleNumber(main.At(i)->GetData()->handle));
    if (main.Count() > 0)
        handles.push_back(R13HandleNumber(main.At(main.Count() - 1)->GetData()->handle));
    return handles;
}

R13Object Seqend(uint32_t handle, int16_t color = 256) {
    R13EntityHead head = R13EntityHead{}.Handle(handle);
    head.color = color;
    return EntityObject(head);
}

// A builder whose model space holds SEQEND objects 0x40 and 0x41 (its last handle 0x41).
void TwoInModelSpace(Builder &b) {
    b.Space(kModelSpaceName)->entities = {Seqend(0x40), Seqend(0x41)};
}

TEST(R13UpdatePass, WithoutObjectsBehindTheTablesTheSpacesBecomeTheLists) {
    Builder b;
    TwoInModelSpace(b);
    Loaded l = Load(b);
    ASSERT_EQ(l.loaded, 1) << l.drawing->LoadFailure();
    EXPECT_EQ(HandlesOf(*l.drawing), (std::vector<uint32_t>{0x40, 0x41}));
    // Model space's ENDBLK goes; paper space's closes the main list behind both spaces.
    EXPECT_EQ(HandlesOf(l.drawing->Entities()), (std::vector<uint32_t>{0x40, 0x41, 0x25}));
    // The two space blocks are gone.
    EXPECT_EQ(PaperHandlesOf(*l.drawing), (std::vector<uint32_t>{0x25}));
    EXPECT_EQ(l.drawing->Blocks().Count(), 0);
}

// A SEQEND is never cut on its own: appended behind the space's end, it stays.
TEST(R13UpdatePass, ASeqendAboveTheSpacesEndIsAppendedAndStays) {
    Builder b;
    TwoInModelSpace(b);
    R13EntityHead paper = R13EntityHead{}.Handle(0x51).InPaperSpace();
    b.objects_behind = {Seqend(0x50), EntityObject(paper)};
    Loaded l = Load(b);
    ASSERT_EQ(l.loaded, 1) << l.drawing->LoadFailure();
    EXPECT_EQ(HandlesOf(*l.drawing), (std::vector<uint32_t>{0x40, 0x41, 0x50}));
    EXPECT_EQ(PaperHandlesOf(*l.drawing), (std::vector<uint32_t>{0x51, 0x25}));
}

TEST(R13UpdatePass, AnUpdateOfAKnownEntityReplacesIt) {
    Builder b;
    TwoInModelSpace(b);
    b.objects_behind = {Seqend(0x40, 5)};
    Loaded l = Load(b);
    ASSERT_EQ(l.loaded, 1) << l.drawing->LoadFailure();
    EXPECT_EQ(HandlesOf(*l.drawing), (std::vector<uint32_t>{0x40, 0x41}));
    EXPECT_EQ(l.drawing->Entities().At(0)->GetData()->color, 5);
}

TEST(R13UpdatePass, AMapOffsetOfZeroInTheHeadEndsTheUpdatePassAtOnce) {
    Builder b;
    TwoInModelSpace(b);
    b.objects_behind = {Seqend(0x50)};
    std::vector<uint8_t> bytes = b.Build();
    for (size_t i = 44; i < 48; ++i)
        bytes[i] = 0;
    Loaded l = LoadBytes(bytes);
    ASSERT_EQ(l.loaded, 1) << l.drawing->LoadFailure();
    EXPECT_EQ(HandlesOf(*l.drawing), (std::vector<uint32_t>{0x40, 0x41}));
}

TEST(R13UpdatePass, AnEntityThatFailsToDecodeEndsTheLoadWithZero) {
    Builder b;
    // Extended data that opens with a byte that is no application marker.
    CBitWriter w;
    R13BeginObject(w, kR13SeqEndType);
    w.WriteBits(0, 4);
    w.WriteHandleText("50");
    w.WriteBitShort(2);
    w.WriteByte(0x40);
    w.WriteByte(0);
    w.WriteByte(0);
    w.WriteBitShort(0);
    R13EndObject(w);
    b.objects_behind = {R13Object(w.Data(), w.Data() + w.TellSize())};
    Loaded l = Load(b);
    EXPECT_EQ(l.loaded, 0);
}

TEST(R13UpdatePass, ANewBlockHeaderReplacesTheKnownOneWithAFreshChain) {
    Builder b;
    R13BlockSpec block;
    block.name = "OLD";
    block.header_handle = 0x50;
    block.start_handle = 0x51;
    block.end_handle = 0x52;
    block.entities = {EntityObject(R13EntityHead{}.Handle(0x53).InBlock(0x50))};
    b.blocks.push_back(block);
    R13BlockSpec renamed = block;
    renamed.name = "NEW";
    renamed.entities = {EntityObject(R13EntityHead{}.Handle(0x60).InBlock(0x50))};
    b.objects_behind = {BlockHeaderObject(renamed), BlockStartObject(0x51, 0x50, "NEW"),
                        renamed.entities[0],
                        EntityObject(R13EntityHead{}.Type(5).Handle(0x52).InBlock(0x50))};
    Loaded l = Load(b);
    ASSERT_EQ(l.loaded, 1) << l.drawing->LoadFailure();
    ASSERT_EQ(l.drawing->GetBlockTableCount(), 1);
    EXPECT_STREQ(l.drawing->Table(R13Table::kBlocks).NameAt(0), "NEW");
    ASSERT_EQ(l.drawing->Blocks().Count(), 1);
    CModelBlock *loaded = l.drawing->Blocks().At(0);
    EXPECT_STREQ(loaded->record->name, "NEW");
    EXPECT_EQ(HandlesOf(*loaded->entities), (std::vector<uint32_t>{0x60, 0x52}));
}

TEST(R13UpdatePass, ABlockHeaderOfAnUnknownHandleAddsABlock) {
    Builder b;
    R13BlockSpec block;
    block.name = "ADDED";
    block.header_handle = 0x70;
    block.start_handle = 0x71;
    block.end_handle = 0x72;
    block.entities = {EntityObject(R13EntityHead{}.Handle(0x73).InBlock(0x70))};
    b.objects_behind = {BlockHeaderObject(block), BlockStartObject(0x71, 0x70, "ADDED"),
                        block.entities[0],
                        EntityObject(R13EntityHead{}.Type(5).Handle(0x72).InBlock(0x70))};
    Loaded l = Load(b);
    ASSERT_EQ(l.loaded, 1) << l.drawing->LoadFailure();
    ASSERT_EQ(l.drawing->GetBlockTableCount(), 1);
    ASSERT_EQ(l.drawing->Blocks().Count(), 1);
    EXPECT_STREQ(l.drawing->Blocks().At(0)->record->name, "ADDED");
    EXPECT_EQ(HandlesOf(*l.drawing->Blocks().At(0)->entities), (std::vector<uint32_t>{0x73, 0x72}));
}

// A LINE object with the head `head` (its type and handle set here) ending at x = `x`.
R13Object Line(uint32_t handle, R13EntityHead head = {}, double x = 1.0) {
    std::unique_ptr<CR13Entity> line(FindR13EntityKind(19)->make(nullptr, 19));
    SetEntityHead(*line, head.Type(19).Handle(handle));
    line->GetData()->line.end_point = CDB_POINT3{x, 0.0, 0.0};
    return EntityObjectOf(*line);
}

// A builder whose model space holds the lines `handles`.
void LinesInModelSpace(Builder &b, const std::vector<uint32_t> &handles) {
    b.Space(kModelSpaceName)->entities.clear();
    for (uint32_t handle : handles)
        b.Space(kModelSpaceName)->entities.push_back(Line(handle));
}

TEST(R13UpdatePass, AnUpdateWhoseLinksJumpOverHandlesErasesTheEntitiesInTheGap) {
    Builder b;
    LinesInModelSpace(b, {0x40, 0x41, 0x42, 0x43, 0x44, 0x45, 0x46});
    R13EntityHead head;
    head.no_links = 0;
    head.previous = 3; // 0x42 and 0x41 were erased
    head.next = 2;     // and 0x44
    b.objects_behind = {Line(0x43, head, 7.0)};
    Loaded l = Load(b);
    ASSERT_EQ(l.loaded, 1) << l.drawing->LoadFailure();
    EXPECT_EQ(HandlesOf(*l.drawing), (std::vector<uint32_t>{0x40, 0x43, 0x45, 0x46}));
    EXPECT_EQ(l.drawing->Entities().At(1)->GetData()->line.end_point.x, 7.0);
}

TEST(R13UpdatePass, AnEntityAboveTheSpacesEndIsAppended) {
    Builder b;
    LinesInModelSpace(b, {0x40, 0x41});
    R13BlockSpec model = *b.Space(kModelSpaceName);
    model.entities.push_back(Line(0x50)); // the space's new header ends at 0x50
    b.objects_behind = {BlockHeaderObject(model), Line(0x50, R13EntityHead{}, 5.0)};
    Loaded l = Load(b);
    ASSERT_EQ(l.loaded, 1) << l.drawing->LoadFailure();
    EXPECT_EQ(HandlesOf(*l.drawing), (std::vector<uint32_t>{0x40, 0x41, 0x50}));
    EXPECT_EQ(l.drawing->Entities().At(2)->GetData()->line.end_point.x, 5.0);
}

TEST(R13UpdatePass, AnEntityAboveTheSpacesEndWithoutANewHeaderIsCutAtTheEnd) {
    Builder b;
    LinesInModelSpace(b, {0x40, 0x41});
    b.objects_behind = {Line(0x50)};
    Loaded l = Load(b);
    ASSERT_EQ(l.loaded, 1) << l.drawing->LoadFailure();
    EXPECT_EQ(HandlesOf(*l.drawing), (std::vector<uint32_t>{0x40, 0x41}));
}

TEST(R13UpdatePass, AMovedLineReplacesTheLineOfItsHandle) {
    Builder b;
    LinesInModelSpace(b, {0x40, 0x41});
    b.objects_behind = {Line(0x40, R13EntityHead{}, 9.0)};
    Loaded l = Load(b);
    ASSERT_EQ(l.loaded, 1) << l.drawing->LoadFailure();
    EXPECT_EQ(HandlesOf(*l.drawing), (std::vector<uint32_t>{0x40, 0x41}));
    EXPECT_EQ(l.drawing->Entities().At(0)->GetData()->line.end_point.x, 9.0);
}

TEST(R13UpdatePass, ABlockHeaderOfASpaceTakesNewFirstAndLastHandles) {
    Builder b;
    LinesInModelSpace(b, {0x40, 0x41});
    R13BlockSpec model = *b.Space(kModelSpaceName);
    model.entities = {Line(0x40)}; // the space now ends at 0x40
    // 0x50 is appended, then cut behind the old end (0x41) by the header; the end of the
    // pass cuts behind the new end.
    b.objects_behind = {Line(0x50), BlockHeaderObject(model)};
    Loaded l = Load(b);
    ASSERT_EQ(l.loaded, 1) << l.drawing->LoadFailure();
    EXPECT_EQ(HandlesOf(*l.drawing), (std::vector<uint32_t>{0x40}));
}

TEST(R13UpdatePass, ALineAboveTheSavedEndAfterTheSpacesHeaderIsCutAtTheEnd) {
    Builder b;
    LinesInModelSpace(b, {0x40, 0x41});
    R13BlockSpec model = *b.Space(kModelSpaceName);
    b.objects_behind = {BlockHeaderObject(model), Line(0x50)};
    Loaded l = Load(b);
    ASSERT_EQ(l.loaded, 1) << l.drawing->LoadFailure();
    // The header says the space ends at 0x41: what lies behind it goes.
    EXPECT_EQ(HandlesOf(*l.drawing), (std::vector<uint32_t>{0x40, 0x41}));
}

TEST(R13UpdatePass, ABlockHeaderOfASpaceWithALaterFirstHandleCutsTheChainsHead) {
    Builder b;
    TwoInModelSpace(b);
    R13BlockSpec model = *b.Space(kModelSpaceName);
    model.start_handle = 0x41;
    b.objects_behind = {BlockHeaderObject(model)};
    Loaded l = Load(b);
    ASSERT_EQ(l.loaded, 1) << l.drawing->LoadFailure();
    EXPECT_EQ(HandlesOf(*l.drawing), (std::vector<uint32_t>{0x41}));
}

TEST(R13UpdatePass, NewActiveViewportsRemoveTheOldOnes) {
    Builder b;
    auto &vports = b.tables[Builder::kVportTable].records;
    vports.push_back(TableRecordObject(kR13Vport, 0x30, "*ACTIVE"));
    vports.push_back(TableRecordObject(kR13Vport, 0x31, "OTHER"));
    vports.push_back(TableRecordObject(kR13Vport, 0x32, "*ACTIVE"));
    b.objects_behind = {OpaqueObject(kR13Vport - 1, 0x07),
                        TableRecordObject(kR13Vport, 0x60, "*ACTIVE")};
    Loaded l = Load(b);
    ASSERT_EQ(l.loaded, 1) << l.drawing->LoadFailure();
    CR13Table &table = l.drawing->Table(R13Table::kVports);
    ASSERT_EQ(table.records.Count(), 2);
    EXPECT_STREQ(table.NameAt(0), "OTHER");
    EXPECT_STREQ(table.HandleAt(1), "60");
}

TEST(R13UpdatePass, ATableRecordIsUpdatedInPlace) {
    Builder b;
    auto &layers = b.tables[Builder::kLayerTable].records;
    layers.push_back(LayerObject(0x30, "WALLS", 3));
    layers.push_back(LayerObject(0x31, "DOORS", 4));
    b.objects_behind = {LayerObject(0x30, "WALLS", 5), LayerObject(0x32, "ADDED", 6)};
    Loaded l = Load(b);
    ASSERT_EQ(l.loaded, 1) << l.drawing->LoadFailure();
    ASSERT_EQ(l.drawing->GetLayerTableCount(), 4);
    EXPECT_STREQ(l.drawing->GetLayerTable(1)->name, "WALLS");
    EXPECT_EQ(+l.drawing->GetLayerTable(1)->color, 5);
    EXPECT_STREQ(l.drawing->GetLayerTable(2)->name, "DOORS");
    EXPECT_STREQ(l.drawing->GetLayerTable(3)->name, "ADDED");
}

TEST(R13UpdatePass, AnEndblkWithoutACurrentBlockIsDropped) {
    Builder b;
    b.objects_behind = {EntityObject(R13EntityHead{}.Type(5).Handle(0x90).InBlock(0x20))};
    Loaded l = Load(b);
    ASSERT_EQ(l.loaded, 1) << l.drawing->LoadFailure();
    EXPECT_EQ(HandlesOf(*l.drawing), std::vector<uint32_t>{});
    EXPECT_EQ(PaperHandlesOf(*l.drawing), (std::vector<uint32_t>{0x25}));
}

TEST(R13UpdatePass, TheViewFlagIsPutBackAfterTheLoad) {
    Builder b;
    TwoInModelSpace(b);
    b.objects_behind = {Seqend(0x50)};
    TempFile file("r13_update_view.dwg", b.Build());
    CR13Drawing drawing(nullptr, 1);
    ASSERT_EQ(drawing.OpenDWG(file.c_str(), CDB_OPEN_READ), 1);
    ASSERT_EQ(drawing.LoadDWG(), 1) << drawing.LoadFailure();
    EXPECT_EQ(drawing.ViewFlag(), 1);
    EXPECT_EQ(HandlesOf(drawing), (std::vector<uint32_t>{0x40, 0x41, 0x50}));
}

} // namespace
} // namespace velko_test

namespace velko_test {
namespace {

TEST(R13UpdatePass, AFurtherBlockUnderASpacesNameLeavesTheBlockListOneToOneWithTheTable) {
    Builder b;
    R13BlockSpec second;
    second.name = kPaperSpaceName;
    second.header_handle = 0x50;
    second.start_handle = 0x51;
    second.end_handle = 0x52;
    second.entities = {EntityObject(R13EntityHead{}.Handle(0x53).InPaperSpace())};
    b.blocks.push_back(second);
    R13BlockSpec door;
    door.name = "DOOR";
    door.header_handle = 0x60;
    door.start_handle = 0x61;
    door.end_handle = 0x62;
    b.blocks.push_back(door);
    Loaded l = Load(b);
    ASSERT_EQ(l.loaded, 1) << l.drawing->LoadFailure();
    ASSERT_EQ(l.drawing->GetBlockTableCount(), 1);
    ASSERT_EQ(l.drawing->Blocks().Count(), 1);
    EXPECT_STREQ(l.drawing->Blocks().At(0)->record->name, "DOOR");
    // The first block under the name is the space.
    EXPECT_EQ(PaperHandlesOf(*l.drawing), (std::vector<uint32_t>{0x25}));
}

} // namespace
} // namespace velko_test
