// Error codes and messages.
#include "interface/test_files.h"
#include "velkow32.h"

#include <cstring>
#include <gtest/gtest.h>

using velko_test::TempFile;

namespace {
std::string Message(int16_t code) {
    char buffer[128];
    memset(buffer, 0, sizeof buffer);
    EXPECT_EQ(CDBGetErrorMessage(code, buffer, 100), 0);
    return buffer;
}
} // namespace

TEST(ErrorMessages, EveryCodeHasItsText) {
    EXPECT_EQ(Message(0), "No Error.");
    EXPECT_EQ(Message(-400), "File Already Open.");
    EXPECT_EQ(Message(-405), "Invalid File.");
    EXPECT_EQ(Message(-408), "Drawing File Corrupted.");
    EXPECT_EQ(Message(-421), "Invalid Prameter(s).");
    EXPECT_EQ(Message(-422), "Invalid Drawing Handle.");
    EXPECT_EQ(Message(-431), "The entity's dimension style index is invalid.");
    EXPECT_EQ(Message(-432), "The entity's mline style index is invalid.");
}

TEST(ErrorMessages, GapsAndOtherValuesAreInvalidErrorCode) {
    for (int16_t code : {1, -1, -399, -413, -423, -424, -433, 400})
        EXPECT_EQ(Message(code), "Invalid Error Code") << code;
}

TEST(ErrorMessages, ShortSizeCutsWithoutTerminator) {
    char buffer[16];
    memset(buffer, 'x', sizeof buffer);
    CDBGetErrorMessage(0, buffer, 5);
    EXPECT_EQ(std::string(buffer, 6), "No Erx");
    memset(buffer, 'x', sizeof buffer);
    CDBGetErrorMessage(0, buffer, 9);
    EXPECT_STREQ(buffer, "No Error.");
}

TEST(ErrorMessages, ReadAndPlainNamesAreOneService) {
    char a[64] = {}, b[64] = {};
    CDBGetReadErrorMessage(-404, a, 60);
    CDBGetErrorMessage(-404, b, 60);
    EXPECT_STREQ(a, b);
    EXPECT_EQ(CDBGetReadErrorNumber(200), CDBGetErrorNumber(200));
    EXPECT_EQ(CDBGetError(200, a, 60), CDBGetReadError(200, b, 60));
    EXPECT_STREQ(a, b);
}

TEST(ErrorNumbers, NeverIssuedHandleWithoutFailureIsInvalidDrawingHandle) {
    TempFile file("clear.dwg", velko_test::MinimalDwg12());
    int16_t h = CDBStartFileReading(file.c_str(), nullptr); // leaves the global code 0
    ASSERT_GE(h, 0);
    EXPECT_EQ(CDBGetErrorNumber(250), CDB_ERR_INVALID_DRAWING_HANDLE);
    // Reading the code stored nothing: a good handle still reads 0, and the global
    // code is still 0, so the unknown handle still reads as -422.
    EXPECT_EQ(CDBGetErrorNumber(250), CDB_ERR_INVALID_DRAWING_HANDLE);
    EXPECT_EQ(CDBGetErrorNumber(h), 0);
    CDBEndOperation(h);
}

TEST(ErrorNumbers, FailedOpenIsReadThroughTheFailureValue) {
    TempFile file("r14.dwg", std::string("AC1014") + std::string(300, '\0'));
    EXPECT_EQ(CDBStartFileReading(file.c_str(), nullptr), CDB_FAIL);
    EXPECT_EQ(CDBGetErrorNumber(CDB_FAIL), CDB_ERR_VERSION_MISMATCH);
    char text[64] = {};
    EXPECT_EQ(CDBGetError(CDB_FAIL, text, 60), CDB_ERR_VERSION_MISMATCH);
    EXPECT_STREQ(text, "Version Mismatch.");
}

TEST(ErrorNumbers, GoodHandleCallWipesTheReasonOfAFailedOpen) {
    TempFile good("good.dwg", velko_test::MinimalDwg12());
    int16_t h = CDBStartFileReading(good.c_str(), nullptr);
    ASSERT_GE(h, 0);
    TempFile bad("bad.dwg", std::string("AC1099") + std::string(300, '\0'));
    EXPECT_EQ(CDBStartFileReading(bad.c_str(), nullptr), CDB_FAIL);
    EXPECT_EQ(CDBGetErrorNumber(CDB_FAIL), CDB_ERR_VERSION_MISMATCH);
    CDBLayerTableCount(h);
    EXPECT_EQ(CDBGetErrorNumber(CDB_FAIL), CDB_ERR_INVALID_DRAWING_HANDLE);
    CDBEndOperation(h);
}

TEST(ErrorNumbers, FacadeCodeIsHiddenBehindTheDrawingsCode) {
    TempFile file("asym.dwg", velko_test::MinimalDwg12());
    int16_t h = CDBStartFileReading(file.c_str(), nullptr);
    ASSERT_GE(h, 0);
    EXPECT_EQ(CDBLayerTableFind(h, "NO SUCH LAYER"), CDB_FAIL);
    EXPECT_EQ(CDBGetErrorNumber(h), 0) << "the façade's -414 is not what the caller reads";
    CDBEndOperation(h);
}
