// Opening and closing drawings, the handle table and file recognition.
#include "dwg12/r12_drawing.h"
#include "interface/test_files.h"
#include "support/dwg12_builder.h"
#include "velkow32.h"

#include <cstring>
#include <gtest/gtest.h>
#include <vector>

using velko_test::Bytes;
using velko_test::Dwg12FileBuilder;
using velko_test::TempFile;

namespace {

std::vector<uint8_t> Text(const char *text) {
    return std::vector<uint8_t>(text, text + strlen(text));
}

} // namespace

TEST(OpenDrawing, MinimalDwgOpensAndCloses) {
    TempFile file("minimal.dwg", velko_test::MinimalDwg12());
    int16_t h = CDBStartFileReading(file.c_str(), nullptr);
    ASSERT_GE(h, 0);
    EXPECT_EQ(CDBGetErrorNumber(h), 0);
    EXPECT_EQ(CDBGetAutoCADVersion(h), 12);
    char name[4096] = {};
    EXPECT_EQ(CDBGetDrawingFileName(h, name), 0);
    EXPECT_STREQ(name, file.c_str());
    EXPECT_EQ(CDBGetDrawingFileName(h, nullptr), CDB_FAIL);
    EXPECT_EQ(CDBEndOperation(h), 0);
}

TEST(OpenDrawing, HandlesAreTheLowestFreeSlots) {
    TempFile file("slots.dwg", velko_test::MinimalDwg12());
    int16_t a = CDBStartFileReading(file.c_str(), nullptr);
    int16_t b = CDBStartFileReading(file.c_str(), nullptr);
    ASSERT_GE(a, 0);
    ASSERT_EQ(b, a + 1);
    EXPECT_EQ(CDBEndOperation(a), 0);
    int16_t c = CDBStartFileReading(file.c_str(), nullptr);
    EXPECT_EQ(c, a) << "a freed number is issued again";
    CDBEndOperation(b);
    CDBEndOperation(c);
}

TEST(OpenDrawing, The257thDwgDrawingFallsToTheDxfRoadAndEndsInvalidFile) {
    TempFile file("many.dwg", velko_test::MinimalDwg12());
    std::vector<int16_t> handles;
    for (;;) {
        int16_t h = CDBStartFileReading(file.c_str(), nullptr);
        if (h < 0)
            break;
        handles.push_back(h);
        ASSERT_LE(handles.size(), 256u);
    }
    EXPECT_EQ(handles.size(), 256u);
    EXPECT_EQ(CDBGetErrorNumber(CDB_FAIL), CDB_ERR_INVALID_FILE);
    for (int16_t h : handles)
        EXPECT_EQ(CDBEndOperation(h), 0);
}

TEST(OpenDrawing, BadHandlesGiveFailureAndInvalidDrawingHandle) {
    for (int16_t h : {int16_t(256), int16_t(-1), int16_t(-123), int16_t(255)}) {
        EXPECT_EQ(CDBLayerTableCount(h), CDB_FAIL) << h;
        EXPECT_EQ(CDBGetErrorNumber(CDB_FAIL), CDB_ERR_INVALID_DRAWING_HANDLE) << h;
        EXPECT_EQ(CDBGetAutoCADVersion(h), CDB_FAIL);
    }
}

TEST(OpenDrawing, EmptyFileFailsAsDwgThenAsDxf) {
    TempFile file("empty.dwg", std::vector<uint8_t>{});
    EXPECT_EQ(CDBStartFileReading(file.c_str(), nullptr), CDB_FAIL);
    EXPECT_EQ(CDBGetErrorNumber(CDB_FAIL), CDB_ERR_INVALID_FILE);
    // The DWG attempt alone reports the failed read of the version bytes.
    CLibDrawing lib(0);
    EXPECT_EQ(lib.OpenDWGFile(file.c_str(), CDB_OPEN_READ, nullptr), 0);
    EXPECT_EQ(lib.GetError(), CDB_ERR_FILE_READ);
}

TEST(OpenDrawing, UnknownAc10ReleaseIsVersionMismatchWithoutDxfAttempt) {
    Bytes bytes = Text("AC1014");
    bytes.resize(4000, 0);
    TempFile file("r14.dwg", bytes);
    EXPECT_EQ(CDBStartFileReading(file.c_str(), nullptr), CDB_FAIL);
    EXPECT_EQ(CDBGetErrorNumber(CDB_FAIL), CDB_ERR_VERSION_MISMATCH);
}

TEST(OpenDrawing, Release13DwgThatDoesNotLoadGoesOnToTheDxfAttempt) {
    // The version opens the file as release 13; its object area (at offset 0, as the zeros
    // of its head say) does not begin with the block control, so the load fails without a
    // code that stops the open, and the DXF attempt refuses the file.
    Bytes bytes = Text("AC1012");
    bytes.resize(4000, 0);
    TempFile file("r13.dwg", bytes);
    EXPECT_EQ(CDBStartFileReading(file.c_str(), nullptr), CDB_FAIL);
    EXPECT_EQ(CDBGetErrorNumber(CDB_FAIL), CDB_ERR_INVALID_FILE);
    CLibDrawing lib(0);
    EXPECT_EQ(lib.OpenDWGFile(file.c_str(), CDB_OPEN_READ, nullptr), 1);
    EXPECT_EQ(lib.LoadDWG(), 0);
}

TEST(OpenDrawing, LowerCaseVersionIsNoDwgAndNoDxf) {
    Bytes bytes = velko_test::MinimalDwg12();
    std::memcpy(bytes.data(), "ac1009", 6);
    TempFile file("lower.dwg", bytes);
    CLibDrawing lib(0);
    EXPECT_EQ(lib.OpenDWGFile(file.c_str(), CDB_OPEN_READ, nullptr), 0);
    EXPECT_EQ(lib.GetError(), CDB_ERR_INVALID_FILE);
    EXPECT_EQ(CDBStartFileReading(file.c_str(), nullptr), CDB_FAIL);
    EXPECT_EQ(CDBGetErrorNumber(CDB_FAIL), CDB_ERR_INVALID_FILE);
}

TEST(OpenDrawing, DxfTextIsRefusedAsInvalidFileUntilDxfReadingExists) {
    TempFile file("r12.dxf", std::string("0\nSECTION\n2\nHEADER\n9\n$ACADVER\n1\nAC1009\n0\n"
                                         "ENDSEC\n0\nEOF\n"));
    EXPECT_EQ(CDBStartFileReading(file.c_str(), nullptr), CDB_FAIL);
    EXPECT_EQ(CDBGetErrorNumber(CDB_FAIL), CDB_ERR_INVALID_FILE);
}

TEST(OpenDrawing, MissingFileIsErrorOpeningFile) {
    CLibDrawing lib(0);
    EXPECT_EQ(lib.OpenDWGFile("/nonexistent/dir/x.dwg", CDB_OPEN_READ, nullptr), 0);
    EXPECT_EQ(lib.GetError(), CDB_ERR_OPENING_FILE);
    EXPECT_EQ(CDBStartFileReading("/nonexistent/dir/x.dwg", nullptr), CDB_FAIL);
    EXPECT_NE(CDBGetErrorNumber(CDB_FAIL), 0);
}

TEST(OpenDrawing, EndOperationTwiceGivesInvalidDrawingHandle) {
    TempFile file("twice.dwg", velko_test::MinimalDwg12());
    int16_t h = CDBStartFileReading(file.c_str(), nullptr);
    ASSERT_GE(h, 0);
    EXPECT_EQ(CDBEndOperation(h), 0);
    EXPECT_EQ(CDBEndOperation(h), CDB_FAIL);
    EXPECT_EQ(CDBGetErrorNumber(CDB_FAIL), CDB_ERR_INVALID_DRAWING_HANDLE);
}

TEST(OpenDrawing, NewFromMissingTemplateFails) {
    EXPECT_EQ(CDBNew("/nonexistent/template.dwg", "out.dwg"), CDB_FAIL);
}

TEST(OpenDrawing, PathsResolveBackslashesAndCaseInsensitively) {
    TempFile file("MixedCase.DWG", velko_test::MinimalDwg12());
    std::string dos = file.path();
    for (char &c : dos)
        if (c == '/')
            c = '\\';
    std::string upper = file.path();
    size_t slash = upper.rfind('/');
    for (size_t i = slash + 1; i < upper.size(); ++i)
        upper[i] = static_cast<char>(toupper(static_cast<unsigned char>(upper[i])));
    for (const std::string &name : {dos, upper}) {
        int16_t h = CDBStartFileReading(name.c_str(), nullptr);
        ASSERT_GE(h, 0) << name;
        CDBEndOperation(h);
    }
}

// ---- Recognition without opening ------------------------------------------------------

TEST(FileInfo, DwgRelease12) {
    TempFile file("info.dwg", velko_test::MinimalDwg12());
    CDB_FILE_INFO info;
    memset(&info, 0, sizeof info);
    ASSERT_EQ(CDBGetDrawingFileInfo(file.c_str(), &info), 0);
    EXPECT_EQ(info.file_kind, CDB_FILE_DWG);
    EXPECT_EQ(info.release, CDB_RELEASE_12);
    EXPECT_STREQ(info.version, "AC1009");
}

TEST(FileInfo, TextAndBinaryDxfAndOtherReleases) {
    TempFile text("info.dxf",
                  std::string("  0\nSECTION\n  2\nHEADER\n  9\n$ACADVER\n  1\nAC1012\n"));
    CDB_FILE_INFO info;
    ASSERT_EQ(CDBGetDrawingFileInfo(text.c_str(), &info), 0);
    EXPECT_EQ(info.file_kind, CDB_FILE_TEXT_DXF);
    EXPECT_EQ(info.release, CDB_RELEASE_13);
    EXPECT_STREQ(info.version, "AC1012");

    // A binary DXF keeps its version behind the zero byte of its opening sentinel, where
    // the search for "AC10", which reads the bytes as one zero-terminated text, never looks.
    std::string binary("AutoCAD Binary DXF\r\n\x1a", 21);
    binary += std::string("\0\0SECTION\0\x02HEADER\0\x09$ACADVER\0\x01"
                          "AC1009\0",
                          37);
    TempFile bin("info_bin.dxf", binary);
    EXPECT_EQ(CDBGetDrawingFileInfo(bin.c_str(), &info), CDB_FAIL);
    EXPECT_STREQ(info.version, "Invalid DrawingFile.");
    // Only when the text runs on to a version is the file counted as binary DXF.
    TempFile marked("info_marked.dxf", std::string("AutoCAD Binary DXF AC1009"));
    ASSERT_EQ(CDBGetDrawingFileInfo(marked.c_str(), &info), 0);
    EXPECT_EQ(info.file_kind, CDB_FILE_BINARY_DXF);
    EXPECT_EQ(info.release, CDB_RELEASE_12);

    TempFile other("info_r14.dwg", std::string("AC1014xxxxxxxx"));
    ASSERT_EQ(CDBGetDrawingFileInfo(other.c_str(), &info), 0);
    EXPECT_EQ(info.file_kind, CDB_FILE_DWG);
    EXPECT_EQ(info.release, CDB_RELEASE_OTHER);
    EXPECT_STREQ(info.version, "AC1014");
}

TEST(FileInfo, VersionBehindTheFirst256BytesCountsAsInvalid) {
    std::string text(300, ' ');
    text += "AC1009";
    TempFile file("late.dxf", text);
    CDB_FILE_INFO info;
    EXPECT_EQ(CDBGetDrawingFileInfo(file.c_str(), &info), CDB_FAIL);
    EXPECT_STREQ(info.version, "Invalid DrawingFile.");
    EXPECT_EQ(CDBGetErrorNumber(CDB_FAIL), CDB_ERR_INVALID_FILE);

    std::string hidden("abc\0AC1009", 10);
    TempFile zero("zero.dxf", hidden);
    EXPECT_EQ(CDBGetDrawingFileInfo(zero.c_str(), &info), CDB_FAIL);
}

TEST(FileInfo, MissingFileIsInvalidFile) {
    CDB_FILE_INFO info;
    EXPECT_EQ(CDBGetDrawingFileInfo("/nonexistent/file.dwg", &info), CDB_FAIL);
    EXPECT_EQ(CDBGetErrorNumber(CDB_FAIL), CDB_ERR_INVALID_FILE);
}

// ---- The release 12 open --------------------------------------------------------------

TEST(OpenDwg12, FileOf149BytesIsInvalidFile) {
    Bytes bytes = Text("AC1009");
    bytes.resize(149, 0);
    TempFile file("149.dwg", bytes);
    EXPECT_EQ(CDBStartFileReading(file.c_str(), nullptr), CDB_FAIL);
    EXPECT_EQ(CDBGetErrorNumber(CDB_FAIL), CDB_ERR_INVALID_FILE);
}

TEST(OpenDwg12, FileOf150BytesOpens) {
    Bytes bytes = Text("AC1009");
    bytes.resize(150, 0);
    TempFile file("150.dwg", bytes);
    CLibDrawing lib(0);
    EXPECT_EQ(lib.OpenDWGFile(file.c_str(), CDB_OPEN_READ, nullptr), 1);
    EXPECT_EQ(lib.GetError(), 0);
}

TEST(OpenDwg12, EmptyFileOpenedDirectlyIsAccepted) {
    TempFile file("direct_empty.dwg", std::vector<uint8_t>{});
    CLibDrawing lib(0);
    // Through the façade the sniff refuses an empty file ...
    EXPECT_EQ(lib.OpenDWGFile(file.c_str(), CDB_OPEN_READ, nullptr), 0);
    // ... but the drawing's own open accepts it: a new file has no header to check.
    CR12Drawing drawing(nullptr, 0);
    EXPECT_EQ(drawing.OpenDWG(file.c_str(), CDB_OPEN_READ), 1);
    EXPECT_EQ(drawing.OpenDWG(file.c_str(), CDB_OPEN_READ), 0);
    EXPECT_EQ(drawing.GetError(), CDB_ERR_FILE_ALREADY_OPEN);
    EXPECT_EQ(drawing.CloseDWGFile(), 1);
    EXPECT_EQ(drawing.CloseDWGFile(), 0);
    EXPECT_EQ(drawing.GetError(), CDB_ERR_FILE_NOT_OPEN);
}
