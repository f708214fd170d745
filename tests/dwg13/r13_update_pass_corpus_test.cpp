// The update pass on a real drawing: objects appended behind the tables of
// dwg13/example_r13_relaid.dwg (written where its object map stood, the map moved behind
// them and the head's offsets fixed) move and erase its entities, redefine one of its
// blocks, replace its "*ACTIVE" viewports and give model space a new header. Each test
// holds the walk of the changed drawing against the walk of the original.
#include "support/corpus.h"
#include "support/r13_corpus_edit.h"

#include "dwg13/r13_block.h"
#include "dwg13/r13_entity_kinds.h"
#include "dwg13/r13_tables.h"
#include "dwg13/r13_update_pass.h"
#include "records/entity_kinds.h"
#include "io/bit_writer.h"

#include "velkow32.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace velko_test {
namespace {

constexpr char kRelaid[] = "dwg13/example_r13_relaid.dwg";

struct Original {
    std::vector<uint8_t> bytes;
    LoadedR13 loaded;
    int line = -1;
};

bool ReadOriginal(Original &o) {
    if (!ReadWholeFile(CorpusPath(kRelaid), &o.bytes))
        return false;
    o.loaded = LoadR13Bytes(o.bytes, "r13_relaid_original.dwg");
    if (o.loaded.loaded != 1)
        return false;
    const std::vector<int> lines = ReachableEntities(o.loaded.drawing->Entities(), CDB_LINE);
    o.line = lines.empty() ? -1 : lines.front();
    return o.line >= 0;
}

TEST(R13UpdatePassCorpus, ALineMovedBehindTheTablesReplacesTheLineOfItsHandle) {
    VELKO_REQUIRE_CORPUS();
    Original o;
    ASSERT_TRUE(ReadOriginal(o));
    CEntityList &before = o.loaded.drawing->Entities();
    const CDB_ENTITY &line = *before.At(o.line)->GetData();
    std::vector<uint8_t> bytes =
        AppendBehindTables(o.bytes, {LineLike(line, R13HandleNumber(line.handle), 1234.5)});
    LoadedR13 l = LoadR13Bytes(bytes, "r13_relaid_moved.dwg");
    ASSERT_EQ(l.loaded, 1) << l.drawing->LoadFailure();
    CEntityList &after = l.drawing->Entities();
    ASSERT_EQ(after.Count(), before.Count());
    EXPECT_EQ(HandleNumberAt(after, o.line), HandleNumberAt(before, o.line));
    EXPECT_EQ(after.At(o.line)->GetData()->line.end_point.x, 1234.5);
}

TEST(R13UpdatePassCorpus, ALineErasedThroughThePreviousLinkOfTheUpdateBehindIt) {
    VELKO_REQUIRE_CORPUS();
    Original o;
    ASSERT_TRUE(ReadOriginal(o));
    CEntityList &before = o.loaded.drawing->Entities();
    const CDB_ENTITY &line = *before.At(o.line)->GetData();
    const uint32_t erased = R13HandleNumber(line.handle);
    // An update of the handle behind the line whose previous link jumps over it.
    std::vector<uint8_t> bytes = AppendBehindTables(o.bytes, {LineLike(line, erased + 1, 2.0, 2)});
    LoadedR13 l = LoadR13Bytes(bytes, "r13_relaid_erased.dwg");
    ASSERT_EQ(l.loaded, 1) << l.drawing->LoadFailure();
    CEntityList &after = l.drawing->Entities();
    EXPECT_EQ(after.Count(), before.Count() - 1);
    for (int i = 0; i < after.Count(); ++i)
        EXPECT_NE(HandleNumberAt(after, i), erased);
}

// ---- What the walk shows -------------------------------------------------------------------

// One entity of a list as the walk shows it: handle, kind, space, colour and layer.
std::string WalkedEntity(CModelEntity *entity) {
    const CDB_ENTITY &e = *entity->GetData();
    return std::string(e.handle ? e.handle : "") + " kind " + std::to_string(e.entity_type) +
           " space " + std::to_string(e.space) + " colour " + std::to_string(e.color) + " layer " +
           (e.layer_handle ? e.layer_handle : "");
}

std::vector<std::string> WalkOf(CEntityList &list) {
    std::vector<std::string> walked;
    for (int i = 0; i < list.Count(); ++i)
        walked.push_back(WalkedEntity(list.At(i)));
    return walked;
}

bool IsFollower(int16_t kind) {
    return kind == CDB_VERTEX || kind == CDB_ATTRIB || kind == CDB_SEQEND;
}

// The position of the last model space entity of the main list (paper space and the
// closing ENDBLK follow it).
int LastModelEntity(CEntityList &main) {
    int last = -1;
    for (int i = 0; i + 1 < main.Count(); ++i)
        if (main.At(i)->GetData()->space == 0)
            last = i;
    return last;
}

// A model space LINE object like LineLike, with a `next` link (relative) as well.
R13Object LinkedLine(const CDB_ENTITY &like, uint32_t handle, double x, uint32_t previous,
                     uint32_t next) {
    std::unique_ptr<CR13Entity> line(FindR13EntityKind(19)->make(nullptr, 19));
    R13EntityHead head;
    head.Type(19).Handle(handle).Layer(like.layer_handle);
    head.no_links = 0;
    head.previous = previous;
    head.next = next;
    SetEntityHead(*line, head);
    line->GetData()->line.end_point = CDB_POINT3{x, 0.0, 0.0};
    return EntityObjectOf(*line);
}

// A LINE object owned by the block header `header`.
R13Object BlockLine(uint32_t handle, uint32_t header, double x) {
    std::unique_ptr<CR13Entity> line(FindR13EntityKind(19)->make(nullptr, 19));
    SetEntityHead(*line, R13EntityHead{}.Type(19).Handle(handle).InBlock(header));
    line->GetData()->line.end_point = CDB_POINT3{x, 0.0, 0.0};
    return EntityObjectOf(*line);
}

// The handles that the flat walk (CDBNavigate) gives for a file, inserts entered.
std::vector<std::string> NavigatedHandles(const std::vector<uint8_t> &bytes, const char *name) {
    TempFile file(name, bytes);
    std::vector<std::string> handles;
    const int16_t h = CDBStartFileReading(file.c_str(), nullptr);
    EXPECT_GE(h, 0);
    if (h < 0)
        return handles;
    EXPECT_GE(CDBFirstEntity(h, -1), 0);
    CDB_ENTITY entity{};
    for (int guard = 0; guard < 200000 && CDBNavigate(h, &entity) >= 0; ++guard) {
        handles.push_back(entity.handle ? entity.handle : "");
        // The walk hands out copies of the record's texts: they are the caller's.
        FreeOwnedTexts(&entity);
        entity = CDB_ENTITY{};
    }
    CDBEndOperation(h);
    return handles;
}

size_t CountOf(const std::vector<std::string> &handles, const std::string &handle) {
    return static_cast<size_t>(std::count(handles.begin(), handles.end(), handle));
}

// The viewport records as "name handle".
std::vector<std::string> ViewportsOf(CR13Drawing &drawing) {
    CR13Table &table = drawing.Table(R13Table::kVports);
    std::vector<std::string> records;
    for (int i = 0; i < table.records.Count(); ++i)
        records.push_back(std::string(table.NameAt(i) ? table.NameAt(i) : "") + " " +
                          table.HandleAt(i));
    return records;
}

// ---- A polyline erased -----------------------------------------------------------------------

TEST(R13UpdatePassCorpus,
     APolylineErasedThroughTheNextLinkOfTheUpdateInFrontOfItTakesItsFollowers) {
    VELKO_REQUIRE_CORPUS();
    Original o;
    ASSERT_TRUE(ReadOriginal(o));
    CEntityList &before = o.loaded.drawing->Entities();
    const std::vector<int> polylines = ReachableEntities(before, CDB_POLYLINE);
    ASSERT_FALSE(polylines.empty());
    const int polyline = polylines.front();
    ASSERT_GT(polyline, 0);
    const uint32_t erased = HandleNumberAt(before, polyline);
    const CDB_ENTITY &in_front = *before.At(polyline - 1)->GetData();
    const uint32_t updated = R13HandleNumber(in_front.handle);
    // The entity in front holds the handle just below the polyline's: its update's next
    // link of 2 jumps over exactly the polyline.
    ASSERT_EQ(updated + 1, erased);
    // The vertices and the SEQEND behind the polyline, each with a handle of its own far
    // from the polyline's.
    int followers = 0;
    while (IsFollower(before.At(polyline + 1 + followers)->GetData()->entity_type))
        ++followers;
    ASSERT_GE(followers, 2);
    ASSERT_EQ(before.At(polyline + followers)->GetData()->entity_type, CDB_SEQEND);
    EXPECT_NE(HandleNumberAt(before, polyline + followers), erased + 1);

    std::vector<uint8_t> bytes =
        AppendBehindTables(o.bytes, {LinkedLine(in_front, updated, 77.0, 0, 2)});
    LoadedR13 l = LoadR13Bytes(bytes, "r13_relaid_polyline_erased.dwg");
    ASSERT_EQ(l.loaded, 1) << l.drawing->LoadFailure();
    CEntityList &after = l.drawing->Entities();

    // The update replaced the entity in front; the polyline, its vertices and its SEQEND
    // are gone, and nothing else.
    std::vector<std::string> expected = WalkOf(before);
    expected.erase(expected.begin() + polyline, expected.begin() + polyline + 1 + followers);
    std::vector<std::string> walked = WalkOf(after);
    ASSERT_EQ(walked.size(), expected.size());
    EXPECT_EQ(after.At(polyline - 1)->GetData()->entity_type, CDB_LINE);
    EXPECT_EQ(HandleNumberAt(after, polyline - 1), updated);
    EXPECT_EQ(after.At(polyline - 1)->GetData()->line.end_point.x, 77.0);
    walked[polyline - 1] = expected[polyline - 1];
    EXPECT_EQ(walked, expected);
}

// ---- A block redefined -----------------------------------------------------------------------

TEST(R13UpdatePassCorpus, ANewBlockHeaderOfAnInsertedBlockGivesItsInsertsTheNewEntities) {
    VELKO_REQUIRE_CORPUS();
    Original o;
    ASSERT_TRUE(ReadOriginal(o));
    CR13Drawing &original = *o.loaded.drawing;
    CEntityList &main = original.Entities();
    // The block of the first insert of the main list, and how many inserts use it there.
    int block_index = -1;
    size_t inserts = 0;
    for (int i = 0; i < main.Count(); ++i) {
        CModelEntity *entity = main.At(i);
        if (entity->GetData()->entity_type != CDB_INSERT)
            continue;
        const int16_t used = entity->GetResolvedRecord()->insert.block_index;
        if (block_index < 0)
            block_index = used;
        inserts += used == block_index ? 1 : 0;
    }
    ASSERT_GE(block_index, 0);
    auto *block = static_cast<CR13Block *>(original.Blocks().At(block_index));
    ASSERT_TRUE(block && block->start && block->entities->Count() > 1);
    CEntityList &old_chain = *block->entities;
    R13BlockSpec spec;
    spec.name = "NEW_DOOR";
    spec.header_handle = R13HandleNumber(original.Table(R13Table::kBlocks).HandleAt(block_index));
    spec.start_handle = R13HandleNumber(block->start->GetData()->handle);
    spec.end_handle = HandleNumberAt(old_chain, old_chain.Count() - 1);
    spec.entities = {BlockLine(0x7F00, spec.header_handle, 1.0),
                     BlockLine(0x7F01, spec.header_handle, 2.0)};
    R13EntityHead end = R13EntityHead{}.Type(kR13EndBlockType).Handle(spec.end_handle);
    std::vector<uint8_t> bytes = AppendBehindTables(
        o.bytes,
        {BlockHeaderObject(spec),
         BlockStartObject(spec.start_handle, spec.header_handle, "NEW_DOOR"), spec.entities[0],
         spec.entities[1], EntityObject(end.InBlock(spec.header_handle))});
    LoadedR13 l = LoadR13Bytes(bytes, "r13_relaid_block_redefined.dwg");
    ASSERT_EQ(l.loaded, 1) << l.drawing->LoadFailure();
    CR13Drawing &changed = *l.drawing;

    // The block keeps its place in the block list and its table record, takes the new
    // name, and its chain is the new one; the other blocks are as they were.
    CR13Table &blocks = changed.Table(R13Table::kBlocks);
    ASSERT_EQ(blocks.records.Count(), original.Table(R13Table::kBlocks).records.Count());
    ASSERT_EQ(changed.Blocks().Count(), original.Blocks().Count());
    EXPECT_STREQ(blocks.HandleAt(block_index),
                 original.Table(R13Table::kBlocks).HandleAt(block_index));
    EXPECT_STREQ(blocks.NameAt(block_index), "NEW_DOOR");
    CModelBlock *redefined = changed.Blocks().At(block_index);
    EXPECT_STREQ(redefined->record->name, "NEW_DOOR");
    std::vector<uint32_t> chain;
    for (int i = 0; i < redefined->entities->Count(); ++i)
        chain.push_back(HandleNumberAt(*redefined->entities, i));
    EXPECT_EQ(chain, (std::vector<uint32_t>{0x7F00, 0x7F01, spec.end_handle}));
    for (int b = 0; b < changed.Blocks().Count(); ++b) {
        if (b != block_index) {
            EXPECT_EQ(WalkOf(*changed.Blocks().At(b)->entities),
                      WalkOf(*original.Blocks().At(b)->entities))
                << "block " << b;
        }
    }
    // The main list is untouched, its inserts still name the block by its index.
    EXPECT_EQ(WalkOf(changed.Entities()), WalkOf(main));

    // The flat walk enters each insert of the block and gives the new entities, never the
    // old ones.
    const std::vector<std::string> walked_before = NavigatedHandles(o.bytes, "r13_nav_a.dwg");
    const std::vector<std::string> walked_after = NavigatedHandles(bytes, "r13_nav_b.dwg");
    const std::string old_first = old_chain.At(0)->GetData()->handle;
    EXPECT_GE(CountOf(walked_before, old_first), inserts);
    EXPECT_EQ(CountOf(walked_after, old_first), 0u);
    EXPECT_EQ(CountOf(walked_after, "7F00"), CountOf(walked_before, old_first));
    EXPECT_EQ(CountOf(walked_after, "7F01"), CountOf(walked_before, old_first));
}

// ---- New "*ACTIVE" viewports -----------------------------------------------------------------

TEST(R13UpdatePassCorpus, NewActiveViewportsBehindTheViewportControlReplaceTheOldOnes) {
    VELKO_REQUIRE_CORPUS();
    Original o;
    ASSERT_TRUE(ReadOriginal(o));
    CR13Drawing &original = *o.loaded.drawing;
    CR13Table &vports = original.Table(R13Table::kVports);
    ASSERT_GT(vports.records.Count(), 0);
    // The viewport control object as the drawing holds it.
    CBitWriter control;
    vports.WriteHead(control);
    const R13Object control_object(control.Data(), control.Data() + control.TellSize());
    ASSERT_EQ(R13ObjectType(control_object), kR13Vport - 1);
    // One "*ACTIVE" record in front of the control (appended, then removed by it), two
    // behind it.
    std::vector<uint8_t> bytes = AppendBehindTables(
        o.bytes, {TableRecordObject(kR13Vport, 0x7F10, "*ACTIVE"), control_object,
                  TableRecordObject(kR13Vport, 0x7F11, "*ACTIVE"),
                  TableRecordObject(kR13Vport, 0x7F12, "*ACTIVE")});
    LoadedR13 l = LoadR13Bytes(bytes, "r13_relaid_active_viewports.dwg");
    ASSERT_EQ(l.loaded, 1) << l.drawing->LoadFailure();

    std::vector<std::string> expected;
    for (const std::string &record : ViewportsOf(original))
        if (record.compare(0, 8, "*ACTIVE ") != 0)
            expected.push_back(record);
    expected.push_back("*ACTIVE 7F11");
    expected.push_back("*ACTIVE 7F12");
    EXPECT_EQ(ViewportsOf(*l.drawing), expected);
    // The entities and the other tables are as they were.
    EXPECT_EQ(WalkOf(l.drawing->Entities()), WalkOf(original.Entities()));
    EXPECT_EQ(l.drawing->GetLayerTableCount(), original.GetLayerTableCount());
}

// ---- Model space with a new header -----------------------------------------------------------

// The description of a new *MODEL_SPACE header: the drawing's header handle, the first handle
// `first` and the last handle `last`.
R13BlockSpec ModelSpaceHeader(CR13Drawing &drawing, uint32_t first, uint32_t last) {
    R13BlockSpec spec;
    spec.name = kModelSpaceName;
    spec.header_handle = drawing.Table(R13Table::kBlocks).head.model_ref.value;
    spec.start_handle = first;
    // The header takes its last handle from the last of these.
    spec.entities = {OpaqueObject(19, last)};
    return spec;
}

TEST(R13UpdatePassCorpus, AModelSpaceHeaderWithALaterFirstHandleCutsTheChainsHead) {
    VELKO_REQUIRE_CORPUS();
    Original o;
    ASSERT_TRUE(ReadOriginal(o));
    CR13Drawing &original = *o.loaded.drawing;
    CEntityList &before = original.Entities();
    ASSERT_NE(original.Table(R13Table::kBlocks).head.model_ref.value, 0u);
    const int last_model = LastModelEntity(before);
    ASSERT_GT(last_model, 2);
    // The first handle of the third entity: the two in front of it have lower handles.
    const uint32_t first = HandleNumberAt(before, 2);
    ASSERT_LT(HandleNumberAt(before, 0), first);
    ASSERT_LT(HandleNumberAt(before, 1), first);
    const R13BlockSpec spec = ModelSpaceHeader(original, first, HandleNumberAt(before, last_model));
    std::vector<uint8_t> bytes = AppendBehindTables(o.bytes, {BlockHeaderObject(spec)});
    LoadedR13 l = LoadR13Bytes(bytes, "r13_relaid_model_head_cut.dwg");
    ASSERT_EQ(l.loaded, 1) << l.drawing->LoadFailure();
    std::vector<std::string> expected = WalkOf(before);
    expected.erase(expected.begin(), expected.begin() + 2);
    EXPECT_EQ(WalkOf(l.drawing->Entities()), expected);
    EXPECT_EQ(l.drawing->Blocks().Count(), original.Blocks().Count());
}

TEST(R13UpdatePassCorpus, AnEntityAboveTheEndOfANewModelSpaceHeaderJoinsTheSpacesTail) {
    VELKO_REQUIRE_CORPUS();
    Original o;
    ASSERT_TRUE(ReadOriginal(o));
    CR13Drawing &original = *o.loaded.drawing;
    CEntityList &before = original.Entities();
    const int last_model = LastModelEntity(before);
    ASSERT_GE(last_model, 0);
    const uint32_t added = 0x7F20;
    for (int i = 0; i < before.Count(); ++i)
        ASSERT_LT(HandleNumberAt(before, i), added);
    // A first handle below every entity's: nothing is cut from the head.
    const R13BlockSpec spec = ModelSpaceHeader(original, 1, added);
    const CDB_ENTITY &like = *before.At(o.line)->GetData();
    std::vector<uint8_t> bytes =
        AppendBehindTables(o.bytes, {BlockHeaderObject(spec), LineLike(like, added, 42.0)});
    LoadedR13 l = LoadR13Bytes(bytes, "r13_relaid_model_tail.dwg");
    ASSERT_EQ(l.loaded, 1) << l.drawing->LoadFailure();
    CEntityList &after = l.drawing->Entities();
    std::vector<std::string> expected = WalkOf(before);
    ASSERT_EQ(after.Count(), before.Count() + 1);
    expected.insert(expected.begin() + last_model + 1, WalkedEntity(after.At(last_model + 1)));
    EXPECT_EQ(WalkOf(after), expected);
    EXPECT_EQ(HandleNumberAt(after, last_model + 1), added);
    EXPECT_EQ(after.At(last_model + 1)->GetData()->entity_type, CDB_LINE);
    EXPECT_EQ(after.At(last_model + 1)->GetData()->line.end_point.x, 42.0);
}

} // namespace
} // namespace velko_test
