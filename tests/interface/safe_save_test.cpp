// Saves that never destroy a file, for every writer: a save that fails for want of
// permission or of room on the disk leaves the old file byte for byte as it was and no
// other file in its folder; a save that goes through replaces the file, keeps its
// permission bits, and writes through a symbolic link to the file it points at.
#include "support/r13_written_file.h"
#include "support/save_scene.h"

#include "dxf/r13_dxf_write_support.h"
#include "walk/walk_support.h"

#include "velkow32.h"

#include <gtest/gtest.h>

#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace velko_test {
namespace {

const std::vector<uint8_t> kOldContent = [] {
    std::vector<uint8_t> bytes(5000);
    for (size_t i = 0; i < bytes.size(); ++i)
        bytes[i] = uint8_t(i * 7 + 3);
    return bytes;
}();

bool PutFile(const std::string &path, const std::vector<uint8_t> &bytes) {
    FILE *f = std::fopen(path.c_str(), "wb");
    if (!f)
        return false;
    const bool ok = std::fwrite(bytes.data(), 1, bytes.size(), f) == bytes.size();
    return std::fclose(f) == 0 && ok;
}

mode_t ModeOf(const std::string &path) {
    struct stat st;
    return ::stat(path.c_str(), &st) == 0 ? (st.st_mode & 07777) : 0;
}

class SafeSave : public ::testing::TestWithParam<SaveWriter> {
protected:
    SafeSave() : folder("save_target"), source(GetParam().release) {}

    void SetUp() override {
        ASSERT_TRUE(folder.Made());
        ASSERT_GE(source.Handle(), 0);
        name = std::string("drawing") + GetParam().suffix;
        target = folder.File(name);
    }

    // The old file is there, unchanged, and nothing else is.
    void ExpectOldFileAlone() {
        EXPECT_EQ(FileBytes(target), kOldContent);
        EXPECT_EQ(folder.Entries(), std::vector<std::string>({name}));
    }

    int16_t Save() { return SaveWith(GetParam(), source.Handle(), target); }

    ScratchFolder folder;
    OpenSource source;
    std::string name;
    std::string target;
};

TEST_P(SafeSave, InAFolderWithoutWritePermissionFailsAndKeepsTheOldFile) {
    ASSERT_TRUE(PutFile(target, kOldContent));
    ASSERT_EQ(::chmod(folder.Path().c_str(), 0555), 0);
    const ChildResult r = RunInChild({true, 0}, source.Handle(), [&] { return Save(); });
    ASSERT_TRUE(r.ended) << r.failure;
    EXPECT_EQ(r.saved, CDB_FAIL);
    EXPECT_EQ(r.code, CDB_ERR_OPENING_FILE);
    ExpectOldFileAlone();
}

TEST_P(SafeSave, OnAFullDiskFailsAndKeepsTheOldFile) {
    ASSERT_TRUE(PutFile(target, kOldContent));
    const ChildResult r = RunInChild({false, 300}, source.Handle(), [&] { return Save(); });
    ASSERT_TRUE(r.ended) << r.failure;
    EXPECT_EQ(r.saved, CDB_FAIL);
    ExpectOldFileAlone();
}

TEST_P(SafeSave, OverAReadOnlyFileFailsAndKeepsIt) {
    ASSERT_TRUE(PutFile(target, kOldContent));
    ASSERT_EQ(::chmod(target.c_str(), 0444), 0);
    ASSERT_EQ(::chmod(folder.Path().c_str(), 0777), 0);
    const ChildResult r = RunInChild({true, 0}, source.Handle(), [&] { return Save(); });
    ASSERT_TRUE(r.ended) << r.failure;
    EXPECT_EQ(r.saved, CDB_FAIL);
    EXPECT_EQ(r.code, CDB_ERR_OPENING_FILE);
    ExpectOldFileAlone();
    EXPECT_EQ(ModeOf(target), mode_t(0444));
}

TEST_P(SafeSave, ThatGoesThroughReplacesTheFileAndKeepsItsPermissionBits) {
    ASSERT_TRUE(PutFile(target, kOldContent));
    ASSERT_EQ(::chmod(target.c_str(), 0640), 0);
    ASSERT_EQ(Save(), 0);
    EXPECT_NE(FileBytes(target), kOldContent);
    EXPECT_EQ(ModeOf(target), mode_t(0640));
    EXPECT_EQ(folder.Entries(), std::vector<std::string>({name}));
    // What was written reads back (but the release 13 binary DXF, which this library's
    // readers do not take back).
    if (GetParam().release == 13 && GetParam().binary)
        return;
    const int16_t again = CDBStartFileReading(target.c_str(), nullptr);
    EXPECT_GE(again, 0);
    if (again >= 0)
        CDBEndOperation(again);
}

TEST_P(SafeSave, OfANewFileGivesItTheBitsOfTheUmask) {
    const mode_t mask = ::umask(027);
    const int16_t saved = Save();
    ::umask(mask);
    ASSERT_EQ(saved, 0);
    EXPECT_EQ(ModeOf(target), mode_t(0640));
    EXPECT_EQ(folder.Entries(), std::vector<std::string>({name}));
}

TEST_P(SafeSave, ThroughASymbolicLinkReplacesTheFileItPointsAt) {
    const std::string real = folder.File(std::string("real") + GetParam().suffix);
    ASSERT_TRUE(PutFile(real, kOldContent));
    ASSERT_EQ(::symlink(("real" + std::string(GetParam().suffix)).c_str(), target.c_str()), 0);
    ASSERT_EQ(Save(), 0);
    struct stat st;
    ASSERT_EQ(::lstat(target.c_str(), &st), 0);
    EXPECT_TRUE(S_ISLNK(st.st_mode)) << "the link stays a link";
    EXPECT_NE(FileBytes(real), kOldContent);
    EXPECT_EQ(folder.Entries(),
              std::vector<std::string>({name, "real" + std::string(GetParam().suffix)}));
}

TEST_P(SafeSave, InAFolderThatDoesNotExistFailsWith401) {
    const std::string missing = folder.File("missing/") + name;
    EXPECT_EQ(SaveWith(GetParam(), source.Handle(), missing), CDB_FAIL);
    EXPECT_EQ(CDBGetErrorNumber(source.Handle()), CDB_ERR_OPENING_FILE);
    EXPECT_TRUE(folder.Entries().empty());
}

INSTANTIATE_TEST_SUITE_P(EveryWriter, SafeSave, ::testing::ValuesIn(AllSaveWriters()),
                         [](const ::testing::TestParamInfo<SaveWriter> &info) {
                             return std::string(info.param.name);
                         });

std::vector<uint8_t> BytesOfText(const std::string &text) {
    return std::vector<uint8_t>(text.begin(), text.end());
}

// ---- Saves under the drawing's own name ---------------------------------------------------

// The entity kinds of the main list of the drawing in `path`.
std::vector<int> MainKinds(const std::string &path) {
    std::vector<int> kinds;
    const int16_t h = CDBStartFileReading(path.c_str(), nullptr);
    if (h < 0)
        return kinds;
    const int16_t count = CDBEntityCount(h, -1);
    for (int16_t i = 0; i < count; ++i) {
        CDB_ENTITY record = walk::NewRecord();
        if (CDBGetEntity(h, CDBPackEntityId(-1, uint16_t(i)), &record) < 0)
            break;
        kinds.push_back(record.entity_type);
        walk::FreeCopies(record);
    }
    CDBEndOperation(h);
    return kinds;
}

// A release 13 DXF copies the tail of its input into the new file: the input is still the
// old file while the new one is written under its name.
TEST(SafeSaveOwnName, Release13DxfSavedUnderItsOwnNameKeepsItsTail) {
    OpenSource source(13, BytesOfText(SmallR13Dxf([](DxfText &d) {
                                          d.G(0, "LINE")
                                              .G(5, "50")
                                              .G(100, "AcDbEntity")
                                              .G(8, "0")
                                              .G(100, "AcDbLine")
                                              .G(10, 1.0)
                                              .G(20, 2.0)
                                              .G(30, 0.0)
                                              .G(11, 3.0)
                                              .G(21, 4.0)
                                              .G(31, 0.0);
                                      }).Ascii()));
    ASSERT_GE(source.Handle(), 0);
    const std::vector<int> before = MainKinds(source.Path());
    ASSERT_FALSE(before.empty());
    const std::string old_text = WholeFile(source.Path());
    ASSERT_EQ(CDBSaveAsDXF(source.Handle(), source.Path().c_str(), 0), 0);
    const std::string new_text = WholeFile(source.Path());
    EXPECT_NE(new_text.find("OBJECTS"), std::string::npos);
    EXPECT_EQ(new_text.substr(new_text.rfind("OBJECTS")),
              old_text.substr(old_text.rfind("OBJECTS")));
    EXPECT_EQ(MainKinds(source.Path()), before);
}

// ---- Saves the writer refuses ----------------------------------------------------------------

// A refused save of the drawing under `h` by each writer in `writers` to a file that
// exists: the old file stays, and no other file is left.
void ExpectRefusalKeepsTheOldFile(int16_t h, const std::vector<SaveWriter> &writers, int16_t code) {
    for (const SaveWriter &writer : writers) {
        SCOPED_TRACE(writer.name);
        ScratchFolder folder("save_refused");
        const std::string name = std::string("drawing") + writer.suffix;
        ASSERT_TRUE(PutFile(folder.File(name), kOldContent));
        EXPECT_EQ(SaveWith(writer, h, folder.File(name)), CDB_FAIL);
        EXPECT_EQ(CDBGetErrorNumber(h), code);
        EXPECT_EQ(FileBytes(folder.File(name)), kOldContent);
        EXPECT_EQ(folder.Entries(), std::vector<std::string>({name}));
    }
}

TEST(SafeSaveRefused, Release13DxfStoppedByA3dSolidKeepsTheOldFile) {
    OpenSource source(13, BytesOfText(SmallR13Dxf([](DxfText &d) {
                                          d.G(0, "3DSOLID")
                                              .G(5, "5A")
                                              .G(100, "AcDbEntity")
                                              .G(8, "0")
                                              .G(100, "AcDbModelerGeometry")
                                              .G(70, 1)
                                              .G(1, "data");
                                      }).Ascii()));
    ASSERT_GE(source.Handle(), 0);
    ExpectRefusalKeepsTheOldFile(source.Handle(), {AllSaveWriters()[4], AllSaveWriters()[5]}, 0);
}

TEST(SafeSaveRefused, Release13DwgOfABrokenPolylineSequenceKeepsTheOldFile) {
    // A polyline followed by a line, where its vertices and its end belong.
    OpenSource source(13, BytesOfText(SmallR13Dxf([](DxfText &d) {
                                          d.G(0, "POLYLINE")
                                              .G(5, "5C")
                                              .G(100, "AcDbEntity")
                                              .G(8, "0")
                                              .G(100, "AcDb2dPolyline")
                                              .G(66, 1)
                                              .G(0, "LINE")
                                              .G(5, "5D")
                                              .G(100, "AcDbEntity")
                                              .G(8, "0")
                                              .G(100, "AcDbLine")
                                              .G(10, 0.0)
                                              .G(20, 0.0)
                                              .G(30, 0.0)
                                              .G(11, 1.0)
                                              .G(21, 1.0)
                                              .G(31, 0.0);
                                      }).Ascii()));
    ASSERT_GE(source.Handle(), 0);
    ExpectRefusalKeepsTheOldFile(source.Handle(), {AllSaveWriters()[3]}, CDB_ERR_WRONG_SEQUENCE);
}

} // namespace
} // namespace velko_test
