// The extended data cursor over the release 13 coding: applications by a marker and a
// handle, layers by 8-byte handles, strings with a code page.
#include "records/eed_cursor.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace {

// Applications "12" and "13" are indices 4 and 5; layer "10" is index 2.
class StubResolver : public EedHandleResolver {
public:
    int16_t ApplicationIndex(const char *handle) const override {
        return std::string(handle) == "12" ? 4 : std::string(handle) == "13" ? 5 : -1;
    }
    int16_t LayerIndex(const char *handle) const override {
        return std::string(handle) == "10" ? 2 : -1;
    }
};

const StubResolver kResolver;

CDB_EED_type Cursor(std::vector<uint8_t> &bytes) {
    CDB_EED_type cursor{};
    cursor.data = bytes.data();
    cursor.size = static_cast<uint16_t>(bytes.size());
    cursor.position = 0;
    return cursor;
}

TEST(R13EedCursor, NoDataGivesNoApplicationAndNoValue) {
    CDB_EED_type cursor{};
    CDB_EED_VALUES value;
    EXPECT_EQ(EedFirstAppid(&cursor, &kResolver), -6);
    EXPECT_EQ(EedFirstValue(&cursor, &value, &kResolver), -6);
}

TEST(R13EedCursor, TheMarkerGivesCodeOneAndTheApplicationsIndex) {
    std::vector<uint8_t> bytes = {0x51, 0x12, 70, 7, 0, 0x51, 0x13, 70, 8, 0};
    CDB_EED_type cursor = Cursor(bytes);
    EXPECT_EQ(EedFirstAppid(&cursor, &kResolver), 4);
    EXPECT_EQ(EedNextAppid(&cursor, &kResolver), 5);
    CDB_EED_VALUES value;
    EXPECT_EQ(EedNextValue(&cursor, &value, &kResolver), 70);
    EXPECT_EQ(+value.short_value, 8);
    EXPECT_EQ(EedNextAppid(&cursor, &kResolver), -6);
}

TEST(R13EedCursor, AStringOfLengthZeroIsEmpty) {
    std::vector<uint8_t> bytes = {0x51, 0x12, 0, 0, 0xB0, 0x04, 70, 1, 0};
    CDB_EED_type cursor = Cursor(bytes);
    CDB_EED_VALUES value;
    EXPECT_EQ(EedFirstValue(&cursor, &value, &kResolver), 1);
    std::memset(value.text, 'x', sizeof value.text);
    EXPECT_EQ(EedNextValue(&cursor, &value, &kResolver), 0);
    EXPECT_STREQ(value.text, "");
    EXPECT_EQ(EedNextValue(&cursor, &value, &kResolver), 70);
}

TEST(R13EedCursor, AStringSkipsItsCodePage) {
    std::vector<uint8_t> bytes = {0x51, 0x12, 0, 3, 0xB0, 0x04, 'a', 'b', 'c'};
    CDB_EED_type cursor = Cursor(bytes);
    CDB_EED_VALUES value;
    EedFirstValue(&cursor, &value, &kResolver);
    EXPECT_EQ(EedNextValue(&cursor, &value, &kResolver), 0);
    EXPECT_STREQ(value.text, "abc");
}

TEST(R13EedCursor, BracesShortsAndLongs) {
    std::vector<uint8_t> bytes = {0x51, 0x12, 2, 0, 2, 1, 70, 0xFE, 0xFF, 71, 1, 2, 0, 0};
    CDB_EED_type cursor = Cursor(bytes);
    CDB_EED_VALUES value;
    EedFirstValue(&cursor, &value, &kResolver);
    EXPECT_EQ(EedNextValue(&cursor, &value, &kResolver), 2);
    EXPECT_EQ(+value.short_value, 0);
    EXPECT_EQ(EedNextValue(&cursor, &value, &kResolver), 2);
    EXPECT_EQ(+value.short_value, 1);
    EXPECT_EQ(EedNextValue(&cursor, &value, &kResolver), 70);
    EXPECT_EQ(+value.short_value, -2);
    EXPECT_EQ(EedNextValue(&cursor, &value, &kResolver), 71);
    EXPECT_EQ(+value.long_value, 0x0201);
}

TEST(R13EedCursor, ALayerHandleGivesTheLayersIndex) {
    std::vector<uint8_t> bytes = {0x51, 0x12, 3, 0, 0, 0, 0, 0, 0, 0, 0x10};
    CDB_EED_type cursor = Cursor(bytes);
    CDB_EED_VALUES value;
    EedFirstValue(&cursor, &value, &kResolver);
    EXPECT_EQ(EedNextValue(&cursor, &value, &kResolver), 3);
    EXPECT_EQ(+value.short_value, 2);
}

TEST(R13EedCursor, AHandleIsGivenAsText) {
    std::vector<uint8_t> bytes = {0x51, 0x12, 5, 0, 0, 0, 0, 0, 0, 0x01, 0xAB};
    CDB_EED_type cursor = Cursor(bytes);
    CDB_EED_VALUES value;
    EedFirstValue(&cursor, &value, &kResolver);
    EXPECT_EQ(EedNextValue(&cursor, &value, &kResolver), 5);
    EXPECT_STREQ(value.text, "1AB");
}

TEST(R13EedCursor, AHandleCutShortByTheBlockEndsTheWalk) {
    std::vector<uint8_t> bytes = {0x54, 0x12, 0x34};
    CDB_EED_type cursor = Cursor(bytes);
    CDB_EED_VALUES value;
    EXPECT_EQ(EedFirstValue(&cursor, &value, &kResolver), -6);
    EXPECT_EQ(cursor.position, 0);
}

} // namespace
