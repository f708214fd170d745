// Release 13 DWG objects in another writer's order: dwg13/example_r13.dwg lays its objects
// out by kind (the controls first, the entities far behind the tables), while its twin
// example_r13_relaid.dwg holds the same objects in the order that the reader walks.
//
// With CDB_READ_ANY_OBJECT_ORDER off the original refusal stays. With it on, the reader
// finds the objects through the object map and the blocks' chains, and the drawing gives
// exactly the records of its twin read with the option on too: every table, the header,
// the main list and every block, field by field and bit for bit. No difference remains,
// so none is named. The twin, whose order the reader walks anyway, takes no tolerant road.
#include "support/corpus.h"
#include "support/drawing_snapshot.h"
#include "support/scoped_options.h"

#include "velkow32.h"

#include <gtest/gtest.h>

namespace velko_test {
namespace r13_any_object_order {
namespace {

constexpr char kOtherOrder[] = "dwg13/example_r13.dwg";
constexpr char kRelaid[] = "dwg13/example_r13_relaid.dwg";

TEST(R13AnyObjectOrder, OptionOffKeepsTheRefusal) {
    VELKO_REQUIRE_CORPUS();
    ScopedReadOptions options(0);
    const int16_t h = CDBStartFileReading(CorpusPath(kOtherOrder).c_str(), nullptr);
    EXPECT_EQ(h, CDB_FAIL);
    EXPECT_EQ(CDBGetErrorNumber(h), CDB_ERR_INVALID_FILE);
}

TEST(R13AnyObjectOrder, OptionOnOpensAndNotesTheRoad) {
    VELKO_REQUIRE_CORPUS();
    ScopedReadOptions options(CDB_READ_ANY_OBJECT_ORDER);
    snapshot::Snapshot drawing(CorpusPath(kOtherOrder));
    ASSERT_TRUE(drawing.opened()) << drawing.code();
    EXPECT_EQ(CDBGetTolerantReads(drawing.handle()), CDB_READ_ANY_OBJECT_ORDER);
    EXPECT_GT(drawing.main_.size(), 1000u);
    EXPECT_EQ(drawing.blocks_.size(), 15u);
}

TEST(R13AnyObjectOrder, TwinInTheReadersOrderTakesNoRoad) {
    VELKO_REQUIRE_CORPUS();
    ScopedReadOptions options(CDB_READ_TOLERANT);
    snapshot::Snapshot drawing(CorpusPath(kRelaid));
    ASSERT_TRUE(drawing.opened()) << drawing.code();
    EXPECT_EQ(CDBGetTolerantReads(drawing.handle()) & CDB_READ_ANY_OBJECT_ORDER, 0);
}

TEST(R13AnyObjectOrder, GivesTheRecordsOfItsRelaidTwin) {
    VELKO_REQUIRE_CORPUS();
    ScopedReadOptions options(CDB_READ_ANY_OBJECT_ORDER);
    snapshot::Snapshot other(CorpusPath(kOtherOrder));
    snapshot::Snapshot relaid(CorpusPath(kRelaid));
    ASSERT_TRUE(other.opened()) << other.code();
    ASSERT_TRUE(relaid.opened()) << relaid.code();
    ASSERT_EQ(other.main_.size(), relaid.main_.size());
    snapshot::ExactSink sink;
    sink.SetDrawings(kOtherOrder, kRelaid);
    snapshot::CompareDrawings(other, relaid, sink);
}

// The same with every tolerant road on: the object heads read tolerantly in both files.
TEST(R13AnyObjectOrder, GivesTheRecordsOfItsRelaidTwinWithEveryRoadOn) {
    VELKO_REQUIRE_CORPUS();
    ScopedReadOptions options(CDB_READ_TOLERANT);
    snapshot::Snapshot other(CorpusPath(kOtherOrder));
    snapshot::Snapshot relaid(CorpusPath(kRelaid));
    ASSERT_TRUE(other.opened()) << other.code();
    ASSERT_TRUE(relaid.opened()) << relaid.code();
    EXPECT_EQ(CDBGetTolerantReads(other.handle()),
              CDB_READ_ANY_OBJECT_ORDER | CDB_READ_OBJECT_HEADS);
    ASSERT_EQ(other.main_.size(), relaid.main_.size());
    snapshot::ExactSink sink;
    sink.SetDrawings(kOtherOrder, kRelaid);
    snapshot::CompareDrawings(other, relaid, sink);
}

} // namespace
} // namespace r13_any_object_order
} // namespace velko_test
