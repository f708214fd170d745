// The walk of release 13 drawings made by the test builder, through the flat interface:
// view preparation, the paper space flag, the viewport walk, entity ids and counts, the
// layer and space filters.
#include "support/dwg13_builder.h"

#include "interface/test_files.h"

#include "dwg13/r13_drawing.h"
#include "dwg13/r13_entity_kinds.h"
#include "dwg13/r13_test_objects.h"

#include "velkow32.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace velko_test {
namespace {

using Builder = Dwg13Builder;

R13Object Line(const R13EntityHead &head) {
    const R13EntityKind *kind = FindR13EntityKind(19);
    std::unique_ptr<CR13Entity> line(kind->make(nullptr, 19));
    SetEntityHead(*line, R13EntityHead(head).Type(19));
    return EntityObjectOf(*line);
}

// A drawing loaded directly, without a façade.
struct Loaded {
    explicit Loaded(const std::vector<uint8_t> &bytes) : file("r13_walk_direct.dwg", bytes) {
        EXPECT_EQ(drawing.OpenDWG(file.c_str(), CDB_OPEN_READ), 1);
        EXPECT_EQ(drawing.LoadDWG(), 1) << drawing.LoadFailure();
    }
    TempFile file;
    CR13Drawing drawing{nullptr, 0};
};

// Opens a built drawing through the flat interface.
class R13Walk : public ::testing::Test {
protected:
    void Open(Builder &b) {
        file = std::make_unique<TempFile>("r13_walk.dwg", b.Build());
        h = CDBStartFileReading(file->c_str(), nullptr);
        ASSERT_GE(h, 0) << CDBGetErrorNumber(-1);
    }
    void TearDown() override {
        if (h >= 0)
            CDBEndOperation(h);
    }
    std::unique_ptr<TempFile> file;
    int16_t h = -1;
};

TEST(R13WalkDirect, PrepareForViewOnADrawingWithoutEntitiesGivesOne) {
    Builder b;
    Loaded loaded(b.Build());
    EXPECT_EQ(loaded.drawing.PrepareForView(), 1);
}

TEST(R13WalkDirect, PaperSpaceEntityMakesIsAnyPaperSpaceOne) {
    Builder b;
    b.Space(kPaperSpaceName)->entities.push_back(Line(R13EntityHead{}.Handle(0x40).InPaperSpace()));
    Loaded loaded(b.Build());
    EXPECT_EQ(loaded.drawing.IsAnyPaperSpace(), 1);
}

TEST_F(R13Walk, FirstViewportWithoutViewportsGivesMinus133) {
    Builder b;
    Open(b);
    CDB_ENTITY entity{};
    EXPECT_EQ(CDBGetFirstViewport(h, &entity), -133);
}

TEST_F(R13Walk, NextViewportAfterTheLastGivesMinus133) {
    Builder b;
    const R13EntityKind *kind = FindR13EntityKind(34);
    std::unique_ptr<CR13Entity> viewport(kind->make(nullptr, 34));
    SetEntityHead(*viewport, R13EntityHead{}.Type(34).Handle(0x40).InPaperSpace());
    b.Space(kPaperSpaceName)->entities.push_back(EntityObjectOf(*viewport));
    Open(b);
    CDB_ENTITY entity{};
    ASSERT_EQ(CDBGetFirstViewport(h, &entity), 0);
    EXPECT_EQ(+entity.entity_type, CDB_VIEWPORT);
    EXPECT_EQ(CDBGetNextViewport(h, &entity), -133);
}

// Model space: two lines on layer "0"; a block "DOOR" with one line; paper space: a line.
void AddWalkedEntities(Builder &b) {
    auto &model = b.Space(kModelSpaceName)->entities;
    model.push_back(Line(R13EntityHead{}.Handle(0x40)));
    model.push_back(Line(R13EntityHead{}.Handle(0x41)));
    b.Space(kPaperSpaceName)->entities.push_back(Line(R13EntityHead{}.Handle(0x42).InPaperSpace()));
    R13BlockSpec door;
    door.name = "DOOR";
    door.header_handle = 0x50;
    door.start_handle = 0x51;
    door.end_handle = 0x52;
    door.entities.push_back(Line(R13EntityHead{}.Handle(0x53).InBlock(0x50)));
    b.blocks.push_back(door);
}

TEST_F(R13Walk, EntityIdsOfTheMainListAndOfABlockLeadBackToTheirEntities) {
    Builder b;
    AddWalkedEntities(b);
    Open(b);
    const int32_t first = CDBFirstEntity(h, -1);
    ASSERT_GE(first, 0);
    const int32_t second = CDBNextEntity(h);
    ASSERT_GE(second, 0);
    EXPECT_NE(first, second);
    CDB_ENTITY entity{};
    // GetEntity gives the position and leaves the cursor where it is.
    ASSERT_EQ(CDBGetEntity(h, second, &entity), 1);
    EXPECT_EQ(std::string(entity.handle), "41");
    ASSERT_EQ(CDBGotoEntity(h, first), 0);
    ASSERT_GE(CDBGetCurrentEntity(h, &entity), 0);
    EXPECT_EQ(std::string(entity.handle), "40");

    const int16_t door = CDBBlockTableFind(h, "DOOR");
    ASSERT_GE(door, 0);
    const int32_t in_block = CDBFirstEntity(h, door);
    ASSERT_GE(in_block, 0);
    ASSERT_EQ(CDBGetEntity(h, in_block, &entity), 0);
    EXPECT_EQ(std::string(entity.handle), "53");
    // The block's line and its ENDBLK.
    EXPECT_EQ(CDBEntityCount(h, door), 2);
}

TEST_F(R13Walk, SpaceFilterHidesPaperSpaceEntities) {
    Builder b;
    AddWalkedEntities(b);
    Open(b);
    CDB_ENTITY entity{};
    ASSERT_GE(CDBFirstEntity(h, -1), 0);
    ASSERT_GE(CDBGetCurrentEntity(h, &entity), 0);
    EXPECT_EQ(CDBCheckEntityFiltering(h, &entity), 240);
    entity.space = 1;
    ASSERT_EQ(CDBSpaceFilter(h, 1), 1);
    EXPECT_EQ(CDBCheckEntityFiltering(h, &entity), 15);
}

TEST_F(R13Walk, LayerWithNegativeColourIsFilteredOut) {
    Builder b;
    b.tables[Builder::kLayerTable].records.push_back(LayerObject(0x30, "OFF", -3));
    b.Space(kModelSpaceName)->entities.push_back(Line(R13EntityHead{}.Handle(0x40).Layer("30")));
    Open(b);
    CDB_ENTITY entity{};
    ASSERT_GE(CDBFirstEntity(h, -1), 0);
    ASSERT_GE(CDBGetCurrentEntity(h, &entity), 0);
    EXPECT_EQ(+entity.layer_index, CDBLayerTableFind(h, "OFF"));
    EXPECT_EQ(CDBCheckEntityFiltering(h, &entity), 240);
    ASSERT_EQ(CDBLayerFilter(h, 1), 1);
    EXPECT_EQ(CDBCheckEntityFiltering(h, &entity), 15);
}

TEST_F(R13Walk, NavigateEntersAnInsertedBlockAndComesBack) {
    Builder b;
    AddWalkedEntities(b);
    // Between the two model space lines an insert of DOOR.
    const R13EntityKind *kind = FindR13EntityKind(7);
    std::unique_ptr<CR13Entity> insert(kind->make(nullptr, 7));
    SetEntityHead(*insert, R13EntityHead{}.Type(7).Handle(0x44));
    insert->GetData()->insert.block_handle = Dup("50");
    insert->GetData()->insert.x_scale = 1.0;
    auto &model = b.Space(kModelSpaceName)->entities;
    model.insert(model.begin() + 1, EntityObjectOf(*insert));
    Open(b);
    ASSERT_GE(CDBFirstEntity(h, -1), 0);
    std::vector<std::string> handles;
    CDB_ENTITY entity{};
    for (int guard = 0; guard < 20 && CDBNavigate(h, &entity) >= 0; ++guard)
        handles.push_back(entity.handle ? entity.handle : "");
    EXPECT_EQ(handles, (std::vector<std::string>{"40", "53", "41", "42"}));
}

TEST_F(R13Walk, NavigateWithTheSpaceFilterSkipsPaperSpace) {
    Builder b;
    AddWalkedEntities(b);
    Open(b);
    ASSERT_EQ(CDBSpaceFilter(h, 1), 1);
    ASSERT_GE(CDBFirstEntity(h, -1), 0);
    std::vector<std::string> handles;
    CDB_ENTITY entity{};
    for (int guard = 0; guard < 20 && CDBNavigate(h, &entity) >= 0; ++guard)
        handles.push_back(entity.handle ? entity.handle : "");
    EXPECT_EQ(handles, (std::vector<std::string>{"40", "41"}));
}

// The first entity of the main list, read through the flat walk.
CDB_ENTITY FirstOf(int16_t h) {
    CDB_ENTITY entity{};
    EXPECT_GE(CDBFirstEntity(h, -1), 0);
    EXPECT_GE(CDBGetCurrentEntity(h, &entity), 0);
    return entity;
}

TEST_F(R13Walk, EntityWithoutExtendedDataGivesEndFromFirstAppidAndFirstValue) {
    Builder b;
    b.Space(kModelSpaceName)->entities.push_back(Line(R13EntityHead{}.Handle(0x40)));
    Open(b);
    CDB_ENTITY entity = FirstOf(h);
    EXPECT_EQ(+entity.eed_size, 0);
    CDB_EED_type cursor{};
    ASSERT_EQ(CDBGetEED(h, &entity, &cursor), 0);
    CDB_EED_VALUES value{};
    EXPECT_EQ(CDBEEDGetFirstAppid(h, &cursor), -6);
    EXPECT_EQ(CDBEEDGetFirstValue(h, &cursor, &value), -6);
}

TEST_F(R13Walk, EmptyStringBraceAndLongOfExtendedDataComeOutAsCoded) {
    Builder b;
    std::vector<uint8_t> values;
    PutEedString(values, "");
    values.push_back(2); // a closing brace
    values.push_back(1);
    values.push_back(71);
    for (uint8_t byte : {0x78, 0x56, 0x34, 0x12})
        values.push_back(byte);
    b.Space(kModelSpaceName)
        ->entities.push_back(Line(R13EntityHead{}.Handle(0x40).Eed(Eed13(0x12, values))));
    Open(b);
    CDB_ENTITY entity = FirstOf(h);
    CDB_EED_type cursor{};
    ASSERT_EQ(CDBGetEED(h, &entity, &cursor), 0);
    CDB_EED_VALUES value{};
    EXPECT_EQ(CDBEEDGetFirstValue(h, &cursor, &value), 1);
    ASSERT_EQ(CDBEEDGetNextValue(h, &cursor, &value), 0);
    EXPECT_STREQ(value.text, "");
    ASSERT_EQ(CDBEEDGetNextValue(h, &cursor, &value), 2);
    EXPECT_EQ(+value.short_value, 1);
    ASSERT_EQ(CDBEEDGetNextValue(h, &cursor, &value), 71);
    EXPECT_EQ(+value.long_value, 0x12345678);
    EXPECT_EQ(CDBEEDGetNextValue(h, &cursor, &value), -6);
}

} // namespace
} // namespace velko_test
