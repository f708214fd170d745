// Setting header variables of a release 12 drawing, one by name or all at once.
#include "edit/edit_support.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace velko_test {
namespace edit {
namespace {

class VariableEdit : public ::testing::Test {
protected:
    VariableEdit() : drawing("variables.dwg", FiveEntityDrawing()) {}
    void SetUp() override {
        ASSERT_GE(drawing.handle, 0);
        std::memset(&value, 0, sizeof value);
    }
    int16_t h() const { return drawing.handle; }

    CDB_HEADER_type All() {
        CDB_HEADER_type header;
        EXPECT_EQ(CDBGetAllVariables(h(), &header), 0);
        return header;
    }
    CDB_VAR_VALUE_type Get(const char *name) {
        CDB_VAR_VALUE_type v;
        std::memset(&v, 0, sizeof v);
        CDBGetVariableValue(h(), name, &v);
        return v;
    }
    void SetText(const char *name, const std::string &text) {
        std::memset(&value, 0, sizeof value);
        std::strncpy(value.text, text.c_str(), sizeof value.text - 1);
        EXPECT_EQ(CDBSetVariableValue(h(), name, &value), 0) << name;
    }

    walk::OpenDrawing drawing;
    CDB_VAR_VALUE_type value;
};

TEST_F(VariableEdit, AnIntegerVariable) {
    value.int_value = 1;
    EXPECT_EQ(CDBSetVariableValue(h(), "ANGDIR", &value), 0);
    EXPECT_EQ(Get("angdir").int_value, 1);
    EXPECT_EQ(+All().angdir, 1);
}

TEST_F(VariableEdit, ARealVariable) {
    value.real_value = 2.5;
    EXPECT_EQ(CDBSetVariableValue(h(), "ltscale", &value), 0);
    EXPECT_EQ(+All().ltscale, 2.5);
}

TEST_F(VariableEdit, PointVariablesOfTwoAndThreeDoubles) {
    value.point2_value = CDB_POINT2{420.0, 297.0};
    EXPECT_EQ(CDBSetVariableValue(h(), "limmax", &value), 0);
    value.point3_value = CDB_POINT3{-1.0, -2.0, -3.0};
    EXPECT_EQ(CDBSetVariableValue(h(), "extmin", &value), 0);
    const CDB_HEADER_type header = All();
    EXPECT_EQ(+header.limmax.x, 420.0);
    EXPECT_EQ(+header.limmax.y, 297.0);
    EXPECT_EQ(+header.extmin.x, -1.0);
    EXPECT_EQ(+header.extmin.z, -3.0);
}

TEST_F(VariableEdit, ATextVariableGoesIntoTheHeadersOwnBlock) {
    char *before = All().menu;
    SetText("menu", "mymenu");
    EXPECT_STREQ(Get("menu").text, "mymenu");
    EXPECT_EQ(All().menu, before);
    EXPECT_STREQ(+All().menu, "mymenu");
}

TEST_F(VariableEdit, ATextTooLongIsCutToItsBlock) {
    SetText("menu", std::string(63, 'm'));
    EXPECT_EQ(std::strlen(All().menu), 59u);
    SetText("acadver", "AC1009-and-more");
    EXPECT_STREQ(+All().acadver, "AC1009");
    SetText("dimpost", std::string(40, 'p'));
    EXPECT_EQ(std::string(All().dimpost), std::string(15, 'p'));
    SetText("dimblk", std::string(40, 'b'));
    EXPECT_EQ(std::string(All().dimblk), std::string(32, 'b'));
    SetText("handseed", std::string(40, '7'));
    EXPECT_EQ(std::string(All().handseed), std::string(29, '7'));
    SetText("dwgcodepage", "dos850");
    EXPECT_STREQ(+All().dwgcodepage, "dos850");
}

TEST_F(VariableEdit, AnUnknownNameChangesNothing) {
    const CDB_HEADER_type before = All();
    value.int_value = 77;
    EXPECT_EQ(CDBSetVariableValue(h(), "nosuchvar", &value), 0);
    EXPECT_EQ(CDBSetVariableValue(h(), "$ANGDIR", &value), 0);
    // Names of release 13 only are unknown here.
    EXPECT_EQ(CDBSetVariableValue(h(), "hclayer", &value), 0);
    EXPECT_EQ(CDBSetVariableValue(h(), "dimunit", &value), 0);
    const CDB_HEADER_type after = All();
    EXPECT_EQ(std::memcmp(&before, &after, sizeof before), 0);
}

TEST_F(VariableEdit, RealUserVariablesSetTheIntegerFields) {
    const double real_before = All().userrvar1;
    value.int_value = 12;
    EXPECT_EQ(CDBSetVariableValue(h(), "userrvar1", &value), 0);
    EXPECT_EQ(+All().userivar1, 12);
    EXPECT_EQ(+All().userrvar1, real_before);
}

TEST_F(VariableEdit, DimaszTakesADouble) {
    value.real_value = 0.3;
    EXPECT_EQ(CDBSetVariableValue(h(), "dimasz", &value), 0);
    EXPECT_EQ(+All().dimasz, 0.3);
}

TEST_F(VariableEdit, TheCodeIsClearedAndNullArgumentsFail) {
    CDB_ENTITY vertex;
    CDBEntityDefault(h(), &vertex, CDB_VERTEX);
    ASSERT_EQ(CDBEntityAdd(h(), -1, &vertex), CDB_FAIL);
    ASSERT_EQ(CDBGetErrorNumber(h()), CDB_ERR_WRONG_SEQUENCE);
    value.int_value = 1;
    EXPECT_EQ(CDBSetVariableValue(h(), "angdir", &value), 0);
    EXPECT_EQ(CDBGetErrorNumber(h()), 0);
    EXPECT_EQ(CDBSetVariableValue(h(), "angdir", nullptr), CDB_FAIL);
    EXPECT_EQ(CDBGetErrorNumber(h()), CDB_ERR_INVALID_PARAMETER);
    EXPECT_EQ(CDBSetVariableValue(h(), nullptr, &value), CDB_FAIL);
    EXPECT_EQ(CDBSetVariableValue(200, "angdir", &value), CDB_FAIL);
    EXPECT_EQ(CDBGetErrorNumber(200), CDB_ERR_INVALID_DRAWING_HANDLE);
}

// ---- All at once ----------------------------------------------------------------------------

TEST_F(VariableEdit, SetAllTakesTheValuesAndCopiesTheCallersTexts) {
    const CDB_HEADER_type own = All();
    CDB_HEADER_type header = own;
    char menu[80];
    std::memset(menu, 'x', sizeof menu - 1);
    menu[sizeof menu - 1] = '\0';
    char seed[] = "4711";
    char dimblk[] = "DOT";
    char handle[] = "1A";
    header.menu = menu;
    header.handseed = seed;
    header.dimblk = dimblk;
    header.dimblk1 = nullptr;
    header.hclayer = handle;
    header.ltscale = 3.0;
    header.angdir = 1;
    header.limmax = CDB_POINT2{100.0, 50.0};
    header.userrvar2 = 6.5;
    EXPECT_EQ(CDBSetAllVariables(h(), &header), 0);

    // The caller's texts may go now.
    std::memset(menu, 0, sizeof menu);
    std::strcpy(seed, "0");
    std::strcpy(dimblk, "?");

    const CDB_HEADER_type after = All();
    EXPECT_EQ(after.menu, own.menu);
    EXPECT_EQ(after.handseed, own.handseed);
    EXPECT_EQ(after.dimblk, own.dimblk);
    EXPECT_EQ(after.dimblk1, own.dimblk1);
    EXPECT_EQ(std::string(after.menu), std::string(59, 'x'));
    EXPECT_STREQ(+after.handseed, "4711");
    EXPECT_STREQ(+after.dimblk, "DOT");
    EXPECT_STREQ(+after.dimblk1, "");
    EXPECT_EQ(+after.hclayer, nullptr);
    EXPECT_EQ(+after.ltscale, 3.0);
    EXPECT_EQ(+after.angdir, 1);
    EXPECT_EQ(+after.limmax.x, 100.0);
    EXPECT_EQ(+after.userrvar2, 6.5);
}

TEST_F(VariableEdit, SetAllWithTheHeadersOwnRecordChangesNothing) {
    CDB_HEADER_type header = All();
    const std::string menu = header.menu;
    const std::string version = header.acadver;
    EXPECT_EQ(CDBSetAllVariables(h(), &header), 0);
    const CDB_HEADER_type after = All();
    EXPECT_EQ(std::memcmp(&header, &after, sizeof header), 0);
    EXPECT_EQ(std::string(after.menu), menu);
    EXPECT_EQ(std::string(after.acadver), version);
}

TEST_F(VariableEdit, SetAllWithoutARecordFails) {
    EXPECT_EQ(CDBSetAllVariables(h(), nullptr), CDB_FAIL);
    EXPECT_EQ(CDBGetErrorNumber(h()), CDB_ERR_INVALID_PARAMETER);
    CDB_HEADER_type header = All();
    EXPECT_EQ(CDBSetAllVariables(200, &header), CDB_FAIL);
}

} // namespace
} // namespace edit
} // namespace velko_test
