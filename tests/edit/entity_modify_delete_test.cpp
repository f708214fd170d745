// Replacing and removing entities of a release 12 drawing, and what that does to the
// positions, the cursor and the chain of viewports.
#include "edit/edit_support.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

namespace velko_test {
namespace edit {
namespace {

using walk::Val;

// Main list: line, line, line, circle, text, the end sentinel. Block 0: a line, its end.
class EntityEdit : public ::testing::Test {
protected:
    EntityEdit() : drawing("entity_edit.dwg", FiveEntityDrawing()) {}
    void SetUp() override { ASSERT_GE(drawing.handle, 0); }
    int16_t h() const { return drawing.handle; }

    static int32_t Main(uint16_t position) { return CDBPackEntityId(-1, position); }

    CDB_ENTITY Default(int16_t kind) {
        CDB_ENTITY r;
        CDBEntityDefault(h(), &r, kind);
        return r;
    }

    // The centres of the viewports, in the order of the drawing's viewport walk.
    std::vector<double> ViewportChain() {
        std::vector<double> centres;
        CDB_ENTITY r = walk::NewRecord();
        for (int result = CDBGetFirstViewport(h(), &r); result == 0;
             result = CDBGetNextViewport(h(), &r))
            centres.push_back(r.viewport.center.x);
        return centres;
    }

    walk::OpenDrawing drawing;
};

// ---- Modify ---------------------------------------------------------------------------------

TEST_F(EntityEdit, ModifyMayChangeTheKind) {
    CDB_ENTITY circle = Default(CDB_CIRCLE);
    circle.circle.radius = 9.0;
    EXPECT_EQ(CDBEntityModify(h(), Main(1), &circle), 1);
    EXPECT_EQ(ListKinds(h(), -1),
              std::vector<int>({CDB_LINE, CDB_CIRCLE, CDB_LINE, CDB_CIRCLE, CDB_TEXT, CDB_ENDBLK}));
    CDB_ENTITY read = walk::NewRecord();
    ASSERT_EQ(CDBGetEntity(h(), Main(1), &read), 1);
    EXPECT_EQ(Val(read.circle.radius), 9.0);
    ExpectSameEntity(circle, read);
}

TEST_F(EntityEdit, ModifyMakesNoSequenceCheck) {
    CDB_ENTITY attribute = Default(CDB_ATTRIB);
    EXPECT_EQ(CDBEntityModify(h(), Main(0), &attribute), 1);
    CDB_ENTITY vertex = Default(CDB_VERTEX);
    EXPECT_EQ(CDBEntityModify(h(), Main(2), &vertex), 1);
    EXPECT_EQ(CDBGetErrorNumber(h()), 0);
    // Nor does it move the sequence state: a plain entity still goes in.
    CDB_ENTITY line = Default(CDB_LINE);
    EXPECT_GE(CDBEntityAdd(h(), -1, &line), 0);
}

TEST_F(EntityEdit, ModifyInABlock) {
    CDB_ENTITY text = Default(CDB_TEXT);
    EXPECT_EQ(CDBEntityModify(h(), CDBPackEntityId(0, 0), &text), 1);
    EXPECT_EQ(ListKinds(h(), 0), std::vector<int>({CDB_TEXT, CDB_ENDBLK}));
}

TEST_F(EntityEdit, ModifyPastTheEndFindsNothing) {
    CDB_ENTITY line = Default(CDB_LINE);
    EXPECT_EQ(CDBEntityModify(h(), Main(6), &line), 0);
    EXPECT_EQ(CDBEntityModify(h(), CDBPackEntityId(0, 2), &line), 0);
    EXPECT_EQ(CDBEntityCount(h(), -1), 6);
}

TEST_F(EntityEdit, ModifyInABlockThatDoesNotExistGivesBlockNotFound) {
    CDB_ENTITY line = Default(CDB_LINE);
    EXPECT_EQ(CDBEntityModify(h(), CDBPackEntityId(5, 0), &line), CDB_FAIL);
    EXPECT_EQ(CDBGetErrorNumber(h()), CDB_ERR_BLOCK_NOT_FOUND);
}

TEST_F(EntityEdit, ModifyWithAKindWithoutAClassOrNoRecordFails) {
    CDB_ENTITY r = Default(CDB_LINE);
    r.entity_type = 5;
    EXPECT_EQ(CDBEntityModify(h(), Main(0), &r), CDB_FAIL);
    EXPECT_EQ(CDBGetErrorNumber(h()), CDB_ERR_INVALID_ENTITY_CODE);
    EXPECT_EQ(CDBEntityModify(h(), Main(0), nullptr), CDB_FAIL);
    EXPECT_EQ(CDBEntityModify(200, Main(0), &r), CDB_FAIL);
    EXPECT_EQ(ListKinds(h(), -1)[0], CDB_LINE);
}

TEST_F(EntityEdit, ModifyWithTheRecordReadOutOfTheSameEntity) {
    // The record read out shares the handle and extended data of the entity it replaces.
    CDB_ENTITY read = walk::NewRecord();
    ASSERT_EQ(CDBGetEntity(h(), Main(4), &read), 4);
    read.text.height = 2.0;
    EXPECT_EQ(CDBEntityModify(h(), Main(4), &read), 1);
    walk::FreeCopies(read);
    CDB_ENTITY again = walk::NewRecord();
    ASSERT_EQ(CDBGetEntity(h(), Main(4), &again), 4);
    EXPECT_STREQ(+again.text.text, "HELLO");
    EXPECT_EQ(Val(again.text.height), 2.0);
    walk::FreeCopies(again);
}

// ---- Delete ---------------------------------------------------------------------------------

TEST_F(EntityEdit, DeletingPositionThreeMovesPositionFourToThree) {
    EXPECT_EQ(CDBEntityDelete(h(), Main(3)), 1);
    EXPECT_EQ(CDBEntityCount(h(), -1), 5);
    EXPECT_EQ(ListKinds(h(), -1),
              std::vector<int>({CDB_LINE, CDB_LINE, CDB_LINE, CDB_TEXT, CDB_ENDBLK}));
}

TEST_F(EntityEdit, TheDeletedEntityIsKeptAliveByTheDrawing) {
    CR12Drawing *d = R12(h());
    ASSERT_NE(d, nullptr);
    ASSERT_EQ(CDBFirstEntity(h(), -1), Main(0));
    CModelEntity *circle = d->Entities().At(3);
    ASSERT_NE(circle, nullptr);
    EXPECT_EQ(CDBEntityDelete(h(), Main(3)), 1);
    ASSERT_EQ(d->RemovedEntities().size(), 1u);
    EXPECT_EQ(d->RemovedEntities()[0].get(), circle);
    EXPECT_EQ(Val(circle->GetData()->circle.radius), 2.5);
}

TEST_F(EntityEdit, DeleteInABlock) {
    EXPECT_EQ(CDBEntityDelete(h(), CDBPackEntityId(0, 0)), 1);
    EXPECT_EQ(ListKinds(h(), 0), std::vector<int>({CDB_ENDBLK}));
}

TEST_F(EntityEdit, DeletePastTheEndFindsNothing) {
    EXPECT_EQ(CDBEntityDelete(h(), Main(6)), 0);
    EXPECT_EQ(CDBEntityDelete(h(), CDBPackEntityId(0, 2)), 0);
    EXPECT_EQ(CDBEntityCount(h(), -1), 6);
}

TEST_F(EntityEdit, DeleteInABlockThatDoesNotExistGivesBlockNotFound) {
    EXPECT_EQ(CDBEntityDelete(h(), CDBPackEntityId(3, 0)), CDB_FAIL);
    EXPECT_EQ(CDBGetErrorNumber(h()), CDB_ERR_BLOCK_NOT_FOUND);
    EXPECT_EQ(CDBEntityDelete(200, Main(0)), CDB_FAIL);
}

TEST_F(EntityEdit, DeleteCurrentLeavesTheCursorOnTheNextEntity) {
    ASSERT_EQ(CDBGotoEntity(h(), Main(3)), 3);
    EXPECT_EQ(CDBEntityDeleteCurrent(h()), 1);
    CDB_ENTITY read = walk::NewRecord();
    EXPECT_EQ(CDBGetCurrentEntity(h(), &read), Main(3));
    EXPECT_EQ(Val(read.entity_type), CDB_TEXT);
    walk::FreeCopies(read);
    EXPECT_EQ(CDBEntityCount(h(), -1), 5);
}

TEST_F(EntityEdit, DeleteCurrentInABlock) {
    ASSERT_EQ(CDBFirstEntity(h(), 0), CDBPackEntityId(0, 0));
    EXPECT_EQ(CDBEntityDeleteCurrent(h()), 1);
    CDB_ENTITY read = walk::NewRecord();
    EXPECT_EQ(CDBGetCurrentEntity(h(), &read), CDBPackEntityId(0, 0));
    EXPECT_EQ(Val(read.entity_type), CDB_ENDBLK);
}

TEST_F(EntityEdit, DeleteCurrentPastTheEndFindsNothing) {
    ASSERT_EQ(CDBFirstEntity(h(), -1), Main(0));
    while (CDBNextEntity(h()) >= 0) {
    }
    EXPECT_EQ(CDBEntityDeleteCurrent(h()), 0);
    EXPECT_EQ(CDBEntityCount(h(), -1), 6);
}

TEST_F(EntityEdit, DeleteCurrentOnADeletedBlockWithoutAList) {
    ASSERT_EQ(CDBBlockDelete(h(), 0), 0);
    EXPECT_EQ(CDBFirstEntity(h(), 0), CDB_END_OF_WALK);
    EXPECT_EQ(CDBEntityDeleteCurrent(h()), CDB_FAIL);
    EXPECT_EQ(CDBGetErrorNumber(h()), CDB_ERR_BLOCK_NOT_FOUND);
}

// ---- Viewports ------------------------------------------------------------------------------

TEST_F(EntityEdit, AnAddedViewportJoinsTheViewportWalk) {
    EXPECT_TRUE(ViewportChain().empty());
    CDB_ENTITY a = Default(CDB_VIEWPORT);
    a.viewport.center.x = 1.0;
    CDB_ENTITY b = Default(CDB_VIEWPORT);
    b.viewport.center.x = 2.0;
    ASSERT_GE(CDBEntityAdd(h(), -1, &a), 0);
    ASSERT_GE(CDBEntityAdd(h(), 0, &b), 0);
    EXPECT_EQ(ViewportChain(), std::vector<double>({1.0, 2.0}));
}

TEST_F(EntityEdit, ADeletedViewportLeavesTheViewportWalk) {
    CDB_ENTITY a = Default(CDB_VIEWPORT);
    a.viewport.center.x = 1.0;
    CDB_ENTITY b = Default(CDB_VIEWPORT);
    b.viewport.center.x = 2.0;
    const int32_t first = CDBEntityAdd(h(), -1, &a);
    ASSERT_GE(CDBEntityAdd(h(), -1, &b), 0);
    EXPECT_EQ(CDBEntityDelete(h(), Main(static_cast<uint16_t>(first))), 1);
    EXPECT_EQ(ViewportChain(), std::vector<double>({2.0}));
}

TEST_F(EntityEdit, AReplacedViewportGivesItsPlaceInTheWalkToTheNewOne) {
    CDB_ENTITY r = Default(CDB_VIEWPORT);
    int32_t positions[3];
    for (int i = 0; i < 3; ++i) {
        r.viewport.center.x = i + 1.0;
        positions[i] = CDBEntityAdd(h(), -1, &r);
        ASSERT_GE(positions[i], 0);
    }
    r.viewport.center.x = 20.0;
    EXPECT_EQ(CDBEntityModify(h(), Main(static_cast<uint16_t>(positions[1])), &r), 1);
    EXPECT_EQ(ViewportChain(), std::vector<double>({1.0, 20.0, 3.0}));
    // A viewport that becomes a line leaves the walk; a line that becomes a viewport
    // joins it at its end.
    CDB_ENTITY line = Default(CDB_LINE);
    EXPECT_EQ(CDBEntityModify(h(), Main(static_cast<uint16_t>(positions[0])), &line), 1);
    r.viewport.center.x = 40.0;
    EXPECT_EQ(CDBEntityModify(h(), Main(1), &r), 1);
    EXPECT_EQ(ViewportChain(), std::vector<double>({20.0, 3.0, 40.0}));
}

TEST_F(EntityEdit, AViewportKeepsACopyOfItsFrozenLayers) {
    CDB_ENTITY r = Default(CDB_VIEWPORT);
    int16_t frozen[3] = {0, 4, 2};
    r.viewport.frozen_layers = frozen;
    r.viewport.frozen_layer_count = 3;
    const int32_t position = CDBEntityAdd(h(), -1, &r);
    ASSERT_GE(position, 0);
    frozen[1] = 99;
    CDB_ENTITY read = walk::NewRecord();
    ASSERT_EQ(CDBGetEntity(h(), Main(static_cast<uint16_t>(position)), &read), position);
    ASSERT_EQ(Val(read.viewport.frozen_layer_count), 3);
    EXPECT_EQ(read.viewport.frozen_layers[1], 4);
    // A count without an array is no list.
    r.viewport.frozen_layers = nullptr;
    EXPECT_EQ(CDBEntityModify(h(), Main(static_cast<uint16_t>(position)), &r), 1);
    ASSERT_EQ(CDBGetEntity(h(), Main(static_cast<uint16_t>(position)), &read), position);
    EXPECT_EQ(Val(read.viewport.frozen_layer_count), 0);
    EXPECT_EQ(+read.viewport.frozen_layers, nullptr);
}

} // namespace
} // namespace edit
} // namespace velko_test
