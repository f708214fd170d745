// The sequence check of added entities: polylines take vertices up to their sequence end,
// inserts take attributes, and nothing else may break into a polyline's run.
#include "edit/edit_support.h"

#include <gtest/gtest.h>

#include <vector>

namespace velko_test {
namespace edit {
namespace {

class EntitySequence : public ::testing::Test {
protected:
    EntitySequence() : drawing("sequence.dwg", FiveEntityDrawing()) {}
    void SetUp() override { ASSERT_GE(drawing.handle, 0); }
    int16_t h() const { return drawing.handle; }

    // Adds a default entity of the kind to the main list (or to `block`).
    int32_t Add(int16_t kind, int16_t block = -1) {
        CDB_ENTITY r;
        CDBEntityDefault(h(), &r, kind);
        r.entity_type = kind;
        return CDBEntityAdd(h(), block, &r);
    }
    int16_t Code() { return CDBGetErrorNumber(h()); }

    // The kinds added behind the main list's end sentinel.
    std::vector<int> Added() {
        std::vector<int> kinds = ListKinds(h(), -1);
        return std::vector<int>(kinds.begin() + 6, kinds.end());
    }

    walk::OpenDrawing drawing;
};

TEST_F(EntitySequence, AnInsertTakesItsAttributesUpToTheSequenceEnd) {
    EXPECT_GE(Add(CDB_INSERT), 0);
    EXPECT_GE(Add(CDB_ATTRIB), 0);
    EXPECT_GE(Add(CDB_ATTRIB), 0);
    EXPECT_GE(Add(CDB_SEQEND), 0);
    EXPECT_EQ(Code(), 0);
    EXPECT_EQ(Added(), std::vector<int>({CDB_INSERT, CDB_ATTRIB, CDB_ATTRIB, CDB_SEQEND}));
    // The sequence is closed: a further attribute is out of turn.
    EXPECT_EQ(Add(CDB_ATTRIB), CDB_FAIL);
    EXPECT_EQ(Code(), CDB_ERR_WRONG_SEQUENCE);
}

TEST_F(EntitySequence, APolylineTakesItsVerticesUpToTheSequenceEnd) {
    EXPECT_GE(Add(CDB_POLYLINE), 0);
    EXPECT_GE(Add(CDB_VERTEX), 0);
    EXPECT_GE(Add(CDB_VERTEX), 0);
    EXPECT_GE(Add(CDB_SEQEND), 0);
    EXPECT_GE(Add(CDB_LINE), 0);
    EXPECT_EQ(Added(),
              std::vector<int>({CDB_POLYLINE, CDB_VERTEX, CDB_VERTEX, CDB_SEQEND, CDB_LINE}));
}

TEST_F(EntitySequence, AVertexWithoutAPolylineIsOutOfTurn) {
    EXPECT_EQ(Add(CDB_VERTEX), CDB_FAIL);
    EXPECT_EQ(Code(), CDB_ERR_WRONG_SEQUENCE);
    EXPECT_TRUE(Added().empty());
}

TEST_F(EntitySequence, APlainEntityInsideAPolylinesRunIsOutOfTurnUntilItsEnd) {
    EXPECT_GE(Add(CDB_POLYLINE), 0);
    EXPECT_GE(Add(CDB_VERTEX), 0);
    EXPECT_EQ(Add(CDB_LINE), CDB_FAIL);
    EXPECT_EQ(Code(), CDB_ERR_WRONG_SEQUENCE);
    EXPECT_EQ(Add(CDB_CIRCLE), CDB_FAIL);
    EXPECT_GE(Add(CDB_SEQEND), 0);
    EXPECT_GE(Add(CDB_LINE), 0);
    EXPECT_EQ(Added(), std::vector<int>({CDB_POLYLINE, CDB_VERTEX, CDB_SEQEND, CDB_LINE}));
}

TEST_F(EntitySequence, ANestedPolylineIsOutOfTurn) {
    EXPECT_GE(Add(CDB_POLYLINE), 0);
    EXPECT_EQ(Add(CDB_POLYLINE), CDB_FAIL);
    EXPECT_EQ(Code(), CDB_ERR_WRONG_SEQUENCE);
}

TEST_F(EntitySequence, AnAttributeWithoutAnInsertIsOutOfTurn) {
    EXPECT_EQ(Add(CDB_ATTRIB), CDB_FAIL);
    EXPECT_EQ(Code(), CDB_ERR_WRONG_SEQUENCE);
}

TEST_F(EntitySequence, ASequenceEndWithNothingOpenIsRefusedWithNoCode) {
    EXPECT_EQ(Add(CDB_VERTEX), CDB_FAIL);
    ASSERT_EQ(Code(), CDB_ERR_WRONG_SEQUENCE);
    EXPECT_EQ(Add(CDB_SEQEND), CDB_FAIL);
    EXPECT_EQ(Code(), 0);
    EXPECT_TRUE(Added().empty());
}

TEST_F(EntitySequence, AnInsertWithoutAttributesNeedsNoSequenceEnd) {
    EXPECT_GE(Add(CDB_INSERT), 0);
    EXPECT_GE(Add(CDB_LINE), 0);
    // The line closed the insert.
    EXPECT_EQ(Add(CDB_ATTRIB), CDB_FAIL);
    EXPECT_EQ(Add(CDB_SEQEND), CDB_FAIL);
    EXPECT_EQ(Added(), std::vector<int>({CDB_INSERT, CDB_LINE}));
}

TEST_F(EntitySequence, AnInsertInAPolylinesRunIsAccepted) {
    EXPECT_GE(Add(CDB_POLYLINE), 0);
    EXPECT_GE(Add(CDB_VERTEX), 0);
    EXPECT_GE(Add(CDB_INSERT), 0);
    EXPECT_GE(Add(CDB_ATTRIB), 0);
    EXPECT_GE(Add(CDB_VERTEX), 0);
    // One sequence end closes both.
    EXPECT_GE(Add(CDB_SEQEND), 0);
    EXPECT_EQ(Add(CDB_ATTRIB), CDB_FAIL);
    EXPECT_EQ(Add(CDB_VERTEX), CDB_FAIL);
    EXPECT_GE(Add(CDB_LINE), 0);
}

TEST_F(EntitySequence, ARefusedAddLeavesTheStateMoved) {
    // The insert passes the check and then fails for its block: the insert is open all
    // the same, and an attribute goes in.
    EXPECT_EQ(Add(CDB_INSERT, 42), CDB_FAIL);
    EXPECT_EQ(Code(), CDB_ERR_BLOCK_NOT_FOUND);
    EXPECT_GE(Add(CDB_ATTRIB), 0);
    // The same with a polyline: the run is open and a line is out of turn.
    EXPECT_EQ(Add(CDB_POLYLINE, 42), CDB_FAIL);
    EXPECT_EQ(Add(CDB_LINE), CDB_FAIL);
    EXPECT_EQ(Code(), CDB_ERR_WRONG_SEQUENCE);
    EXPECT_GE(Add(CDB_SEQEND), 0);
    EXPECT_EQ(Added(), std::vector<int>({CDB_ATTRIB, CDB_SEQEND}));
}

TEST_F(EntitySequence, TheStateRunsAcrossLists) {
    EXPECT_GE(Add(CDB_POLYLINE), 0);
    EXPECT_EQ(Add(CDB_LINE, 0), CDB_FAIL);
    EXPECT_GE(Add(CDB_VERTEX, 0), 0);
    EXPECT_GE(Add(CDB_SEQEND, 0), 0);
    EXPECT_EQ(ListKinds(h(), 0), std::vector<int>({CDB_LINE, CDB_VERTEX, CDB_SEQEND, CDB_ENDBLK}));
}

TEST(EntitySequenceDrawings, EachDrawingKeepsItsOwnState) {
    walk::OpenDrawing a("sequence_a.dwg", FiveEntityDrawing());
    walk::OpenDrawing b("sequence_b.dwg", FiveEntityDrawing());
    ASSERT_GE(a.handle, 0);
    ASSERT_GE(b.handle, 0);
    CDB_ENTITY polyline;
    CDBEntityDefault(a.handle, &polyline, CDB_POLYLINE);
    EXPECT_GE(CDBEntityAdd(a.handle, -1, &polyline), 0);
    CDB_ENTITY line;
    CDBEntityDefault(b.handle, &line, CDB_LINE);
    EXPECT_GE(CDBEntityAdd(b.handle, -1, &line), 0);
    EXPECT_EQ(CDBEntityAdd(a.handle, -1, &line), CDB_FAIL);
}

} // namespace
} // namespace edit
} // namespace velko_test
