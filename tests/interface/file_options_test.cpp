// The reading and writing options beyond the original interface: process-wide, off at the
// start, replaced as a whole, and reported per drawing as the tolerant roads its reading took.
#include "interface/test_files.h"

#include "velkow32.h"

#include <gtest/gtest.h>

namespace velko_test {
namespace {

// Restores the options in force before a test.
class FileOptions : public testing::Test {
protected:
    void SetUp() override {
        read_before_ = CDBGetReadOptions();
        write_before_ = CDBGetWriteOptions();
    }
    void TearDown() override {
        CDBSetReadOptions(read_before_);
        CDBSetWriteOptions(write_before_);
    }

private:
    int32_t read_before_ = 0;
    int32_t write_before_ = 0;
};

TEST_F(FileOptions, BothSetsStartEmptySoThatTheOriginalBehaviourIsTheDefault) {
    EXPECT_EQ(CDBGetReadOptions(), 0);
    EXPECT_EQ(CDBGetWriteOptions(), 0);
}

TEST_F(FileOptions, SettingReplacesTheWholeSetAndReturnsTheOneBefore) {
    EXPECT_EQ(CDBSetReadOptions(CDB_READ_COMMENTS), 0);
    EXPECT_EQ(CDBSetReadOptions(CDB_READ_LONG_NAMES | CDB_READ_FULL_BINARY_CODES),
              CDB_READ_COMMENTS);
    EXPECT_EQ(CDBGetReadOptions(), CDB_READ_LONG_NAMES | CDB_READ_FULL_BINARY_CODES);
    EXPECT_EQ(CDBSetWriteOptions(CDB_WRITE_INTEROPERABLE), 0);
    EXPECT_EQ(CDBSetWriteOptions(CDB_WRITE_REAL_CRCS), CDB_WRITE_INTEROPERABLE);
    EXPECT_EQ(CDBGetWriteOptions(), CDB_WRITE_REAL_CRCS);
}

TEST_F(FileOptions, TheAllBitsAreEveryOptionAndUnknownBitsAreDropped) {
    EXPECT_EQ(CDB_READ_TOLERANT, CDB_READ_ANY_OBJECT_ORDER | CDB_READ_FULL_BINARY_CODES |
                                     CDB_READ_COMMENTS | CDB_READ_LONG_NAMES |
                                     CDB_READ_OBJECT_HEADS);
    EXPECT_EQ(CDB_WRITE_INTEROPERABLE,
              CDB_WRITE_SECTION_MARKS | CDB_WRITE_REAL_CRCS | CDB_WRITE_STRICT_DXF);
    CDBSetReadOptions(-1);
    EXPECT_EQ(CDBGetReadOptions(), CDB_READ_TOLERANT);
    CDBSetWriteOptions(-1);
    EXPECT_EQ(CDBGetWriteOptions(), CDB_WRITE_INTEROPERABLE);
}

TEST_F(FileOptions, ADrawingThatNeedsNoToleranceReportsNoRoadTaken) {
    TempFile file("file_options_plain.dwg", MinimalDwg12());
    CDBSetReadOptions(CDB_READ_TOLERANT);
    const int16_t h = CDBStartFileReading(file.c_str(), nullptr);
    ASSERT_GE(h, 0);
    CDBEntityCount(h, -1);
    EXPECT_EQ(CDBGetTolerantReads(h), 0);
    CDBEndOperation(h);
}

TEST_F(FileOptions, TolerantReadsOfAHandleThatIsNotOpenFail) {
    EXPECT_EQ(CDBGetTolerantReads(-1), CDB_FAIL);
    EXPECT_EQ(CDBGetTolerantReads(200), CDB_FAIL);
}

} // namespace
} // namespace velko_test
