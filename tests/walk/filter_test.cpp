// The layer and space filters and CDBCheckEntityFiltering.
#include "walk/walk_support.h"

#include <gtest/gtest.h>

namespace velko_test {
namespace walk {
namespace {

constexpr int16_t kOn = 0;     // layer "0", colour 7
constexpr int16_t kOff = 1;    // layer "OFF", colour -3
constexpr int16_t kFrozen = 2; // layer "FROZEN", colour 5, flags 1

std::vector<LayerRec> FilterLayers() {
    LayerRec off;
    off.name = "OFF";
    off.color = -3;
    LayerRec frozen;
    frozen.name = "FROZEN";
    frozen.color = 5;
    frozen.flags = 1;
    return {off, frozen};
}

// Entities: 0 on, 1 off, 2 frozen, 3 paper space on layer "0", 4 a kind 17 on "OFF".
Bytes FilterDrawing() {
    Bytes main = Join({Line(0, 0, 1, 1, kOn), Line(0, 0, 1, 1, kOff), Line(0, 0, 1, 1, kFrozen),
                       FrameBytes(CDB_CIRCLE, kOn).Space(1).Xy(0, 0).F64(1).Build(), SeqEnd(kOff)});
    return BuildDrawing(main, {}, FilterLayers());
}

class WalkFilter : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_GE(d.handle, 0) << CDBGetErrorNumber(-123);
        for (int i = 0; i < 5; ++i) {
            r[i] = NewRecord();
            ASSERT_EQ(CDBGetEntity(d.handle, CDBPackEntityId(-1, static_cast<uint16_t>(i)), &r[i]),
                      i);
        }
        ASSERT_EQ(Val(r[3].space), 1);
        ASSERT_EQ(Val(r[4].entity_type), CDB_SEQEND);
    }
    // The filter's answer for entity i.
    int16_t Check(int i) { return CDBCheckEntityFiltering(d.handle, &r[i]); }

    OpenDrawing d{"filter.dwg", FilterDrawing()};
    CDB_ENTITY r[5];
};

TEST_F(WalkFilter, NoFilterShowsEverything) {
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(Check(i), 240) << i;
}

TEST_F(WalkFilter, LayerBitOneHidesLayersThatAreOff) {
    EXPECT_EQ(CDBLayerFilter(d.handle, 1), 1);
    EXPECT_EQ(Check(0), 240);
    EXPECT_EQ(Check(1), 15);
    EXPECT_EQ(Check(2), 240);
    EXPECT_EQ(Check(3), 240);
}

TEST_F(WalkFilter, LayerBitTwoHidesLayersThatAreOn) {
    EXPECT_EQ(CDBLayerFilter(d.handle, 2), 1);
    EXPECT_EQ(Check(0), 15);
    EXPECT_EQ(Check(1), 240);
    EXPECT_EQ(Check(2), 15);
    EXPECT_EQ(Check(3), 15);
}

TEST_F(WalkFilter, LayerBitFourHidesFrozenLayers) {
    EXPECT_EQ(CDBLayerFilter(d.handle, 4), 1);
    EXPECT_EQ(Check(0), 240);
    EXPECT_EQ(Check(1), 240);
    EXPECT_EQ(Check(2), 15);
}

TEST_F(WalkFilter, LayerFilterThreeHidesAllButKind17) {
    EXPECT_EQ(CDBLayerFilter(d.handle, 3), 1);
    for (int i = 0; i < 4; ++i)
        EXPECT_EQ(Check(i), 15) << i;
    EXPECT_EQ(Check(4), 240) << "a kind 17 never counts as layer-filtered";
    // So does every entity of the main walk, the sentinel included.
    ASSERT_EQ(CDBFirstEntity(d.handle, -1), 0x40000000);
    CDB_ENTITY e = NewRecord();
    for (int32_t id = CDBGetCurrentEntity(d.handle, &e); id >= 0;
         id = CDBGetNextEntity(d.handle, &e)) {
        EXPECT_EQ(CDBCheckEntityFiltering(d.handle, &e), e.entity_type == CDB_SEQEND ? 240 : 15)
            << "kind " << e.entity_type;
        FreeCopies(e);
    }
}

TEST_F(WalkFilter, Kind17ShowsUnlessTheSpaceFilterHidesIt) {
    EXPECT_EQ(CDBLayerFilter(d.handle, 7), 1);
    EXPECT_EQ(Check(4), 240);
    EXPECT_EQ(CDBSpaceFilter(d.handle, 2), 1); // hides model space
    EXPECT_EQ(Check(4), 15);
    CDB_ENTITY paper = r[4];
    paper.space = 1;
    EXPECT_EQ(CDBCheckEntityFiltering(d.handle, &paper), 240);
    EXPECT_EQ(CDBSpaceFilter(d.handle, 1), 1); // and paper space
    EXPECT_EQ(CDBCheckEntityFiltering(d.handle, &paper), 15);
}

TEST_F(WalkFilter, SpaceBits) {
    EXPECT_EQ(CDBSpaceFilter(d.handle, 1), 1);
    EXPECT_EQ(Check(0), 240);
    EXPECT_EQ(Check(3), 15);
    EXPECT_EQ(CDBResetFilter(d.handle), 1);
    EXPECT_EQ(CDBSpaceFilter(d.handle, 2), 1);
    EXPECT_EQ(Check(0), 15);
    EXPECT_EQ(Check(3), 240);
}

TEST_F(WalkFilter, ResetFilterClearsTheSpaceFilterOnly) {
    EXPECT_EQ(CDBLayerFilter(d.handle, 1), 1);
    EXPECT_EQ(CDBSpaceFilter(d.handle, 1), 1);
    EXPECT_EQ(Check(1), 15);
    EXPECT_EQ(Check(3), 15);
    EXPECT_EQ(CDBResetFilter(d.handle), 1);
    EXPECT_EQ(Check(1), 15) << "entities of off layers stay hidden";
    EXPECT_EQ(Check(3), 240) << "paper space entities show again";
}

TEST_F(WalkFilter, BitsAccumulate) {
    EXPECT_EQ(CDBLayerFilter(d.handle, 1), 1);
    EXPECT_EQ(CDBLayerFilter(d.handle, 4), 1);
    EXPECT_EQ(Check(1), 15);
    EXPECT_EQ(Check(2), 15);
    EXPECT_EQ(Check(0), 240);
    EXPECT_EQ(CDBLayerFilter(d.handle, 0), 1); // bits never go by these calls
    EXPECT_EQ(Check(1), 15);
}

TEST_F(WalkFilter, ALayerOutsideTheTableIsNotFiltered) {
    EXPECT_EQ(CDBLayerFilter(d.handle, 3), 1);
    CDB_ENTITY e = r[0];
    e.layer_index = 99;
    EXPECT_EQ(CDBCheckEntityFiltering(d.handle, &e), 240);
    e.layer_index = -4;
    EXPECT_EQ(CDBCheckEntityFiltering(d.handle, &e), 240);
}

TEST(WalkFilterBadHandle, FailsWithInvalidDrawingHandle) {
    CDB_ENTITY e = NewRecord();
    EXPECT_EQ(CDBLayerFilter(300, 1), CDB_FAIL);
    EXPECT_EQ(CDBGetErrorNumber(-123), CDB_ERR_INVALID_DRAWING_HANDLE);
    EXPECT_EQ(CDBSpaceFilter(-1, 1), CDB_FAIL);
    EXPECT_EQ(CDBResetFilter(256), CDB_FAIL);
    EXPECT_EQ(CDBCheckEntityFiltering(256, &e), CDB_FAIL);
}

} // namespace
} // namespace walk
} // namespace velko_test
