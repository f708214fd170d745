// The control-shape index VELKO.SDX: where it is looked for, its first text, its directory,
// the blocks of shape files and big fonts, and how the shape table falls back on it.
#include "fonts/shape_index.h"
#include "fonts/shape_table.h"
#include "fonts/shx_bytes.h"

#include <gtest/gtest.h>
#include <string>

namespace {

using shx_test::Bytes;
using shx_test::IndexDirectories;
using shx_test::ScratchDir;
using shx_test::SdxFont;
using shx_test::Shape;

SdxFont ShapeFont(const std::string &name, const std::string &tag) {
    return SdxFont{name, -1, 66, {shx_test::FontInfo(name, 7), {65, tag, {0x40, 0}, 4.0}}, {}};
}

SdxFont BigFontEntry(const std::string &name) {
    SdxFont big;
    big.name = name;
    big.kind = -2;
    big.ranges = {{0x81, 0x9F}};
    big.shapes = {{0x8140, "", {0x40, 0}}};
    return big;
}

TEST(ShapeIndex, TheUsualDirectories) {
    ResetShapeIndexDirectoriesForTesting();
    std::vector<std::string> directories = ShapeIndexDirectories();
    ASSERT_EQ(directories.size(), 2u);
    EXPECT_EQ(directories[1], "/usr/share/velkow32");
    const std::string tail = "/share/velkow32";
    ASSERT_GE(directories[0].size(), tail.size());
    EXPECT_EQ(directories[0].substr(directories[0].size() - tail.size()), tail);
    {
        IndexDirectories other({"/nowhere"});
        EXPECT_EQ(ShapeIndexDirectories(), std::vector<std::string>{"/nowhere"});
    }
    EXPECT_EQ(ShapeIndexDirectories(), directories);
}

TEST(ShapeIndex, OpensFromTheFirstDirectoryThatHoldsIt) {
    ScratchDir empty("sdxempty"), first("sdxfirst"), second("sdxsecond");
    first.Write("VELKO.SDX", shx_test::Sdx({ShapeFont("ROMANS", "FIRST")}));
    second.Write("VELKO.SDX", shx_test::Sdx({ShapeFont("ROMANS", "SECOND")}));
    {
        IndexDirectories dirs({empty.path(), second.path(), first.path()});
        CShapeIndex index;
        ASSERT_EQ(index.Open(), 1);
        EXPECT_TRUE(index.Usable());
        EXPECT_EQ(index.Path(), second.File("VELKO.SDX"));
    }
    {
        IndexDirectories dirs({first.path(), second.path()});
        CShapeIndex index;
        ASSERT_EQ(index.Open(), 1);
        EXPECT_EQ(index.Path(), first.File("VELKO.SDX"));
    }
    {
        IndexDirectories dirs({empty.path()});
        CShapeIndex index;
        EXPECT_EQ(index.Open(), 0);
        EXPECT_FALSE(index.Usable());
        EXPECT_EQ(index.Lookup("ROMANS"), 0);
        EXPECT_EQ(index.LoadShapeFile(0), nullptr);
    }
}

TEST(ShapeIndex, FileNameInAnotherCaseIsFound) {
    ScratchDir dir("sdxcase");
    dir.Write("velko.sdx", shx_test::Sdx({ShapeFont("ROMANS", "LOWER")}));
    IndexDirectories dirs({dir.path()});
    CShapeIndex index;
    EXPECT_EQ(index.Open(), 1);
}

TEST(ShapeIndex, DirectoryKeptInMemory) {
    ScratchDir dir("sdxdir");
    std::string path =
        dir.Write("VELKO.SDX", shx_test::Sdx({ShapeFont("ROMANS", "R"), BigFontEntry("KANJI"),
                                              ShapeFont(std::string(32, 'L'), "LONG")}));
    CShapeIndex index;
    ASSERT_EQ(index.Open(path), 1);
    ASSERT_EQ(index.Entries().size(), 3u);
    EXPECT_STREQ(index.Entries()[0].name, "ROMANS");
    EXPECT_EQ(index.Entries()[0].kind, -1);
    EXPECT_EQ(index.Entries()[0].offset, 19u + 2 + 3 * 38);
    EXPECT_EQ(index.Entries()[1].kind, -2);
    // A name of all 32 bytes has no NUL in the file and still reads whole.
    EXPECT_EQ(std::string(index.Entries()[2].name), std::string(32, 'L'));
    EXPECT_EQ(index.Lookup(std::string(32, 'L').c_str()), 3);
    EXPECT_EQ(index.Lookup(std::string(33, 'L').c_str()), 0);
}

TEST(ShapeIndex, LowerCaseNameIsFound) {
    ScratchDir dir("sdxlower");
    std::string path = dir.Write(
        "VELKO.SDX", shx_test::Sdx({ShapeFont("ROMANS", "R"), ShapeFont("SIMPLEX", "S")}));
    CShapeIndex index;
    ASSERT_EQ(index.Open(path), 1);
    EXPECT_EQ(index.Lookup("simplex"), 2);
    EXPECT_EQ(index.Lookup("Romans"), 1);
    EXPECT_EQ(index.Lookup("ROMANS.SHX"), 0);
    EXPECT_EQ(index.Lookup("ROMAN"), 0);
    EXPECT_EQ(index.Lookup(""), 0);
    EXPECT_EQ(index.Lookup(nullptr), 0);
}

TEST(ShapeIndex, LowerCaseFontNameFoundThroughTheTable) {
    ScratchDir dir("sdxlowertable"), disk("sdxlowerdisk");
    dir.Write("VELKO.SDX", shx_test::Sdx({ShapeFont("ROMANS", "R")}));
    IndexDirectories dirs({dir.path()});
    CShapeTable table;
    table.SetLocation(disk.File("DRAW.DWG").c_str(), nullptr);
    EXPECT_EQ(table.LoadFont("romans.shx"), 1);
}

TEST(ShapeIndex, ShapeFileBlock) {
    ScratchDir dir("sdxblock");
    SdxFont font{"ROMANS",
                 -1,
                 100,
                 {shx_test::FontInfo("ROMANS", 0),
                  {65, "A", {0x40, 0}, 4.5},
                  {150, "OUTSIDE", {0x10, 0}, 1.0},
                  {256, "STOP", {0x10, 0}, 1.0},
                  {66, "AFTERSTOP", {0x10, 0}, 1.0}},
                 {}};
    std::string path = dir.Write("VELKO.SDX", shx_test::Sdx({font}));
    CShapeIndex index;
    ASSERT_EQ(index.Open(path), 1);
    std::unique_ptr<CShapeFile> file = index.LoadShapeFile(0);
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(file->file_name, "ROMANS");
    EXPECT_EQ(file->max_shape_id, 100);
    EXPECT_EQ(file->shapes.size(), 101u);
    // Widths come from the records, not from the interpreter.
    EXPECT_EQ(file->shapes[65].width, 4.5);
    EXPECT_EQ(file->shapes[65].data_length, 4);
    EXPECT_EQ(file->shapes[0].data_length, 11);
    // above 0 becomes 1.0.
    EXPECT_EQ(file->above, 1.0);
    // 150 has no room in a table of 101 entries; 256 ends the walk, so 66 is not read.
    EXPECT_EQ(file->shapes[66].data_length, 0);
    EXPECT_TRUE(file->extra_shapes.empty());
}

TEST(ShapeIndex, DirectTableHeldTo256Entries) {
    ScratchDir dir("sdx256");
    SdxFont font{"BIG", -1, 30000, {{255, "LAST", {0x10, 0}, 1.0}}, {}};
    std::string path = dir.Write("VELKO.SDX", shx_test::Sdx({font}));
    CShapeIndex index;
    ASSERT_EQ(index.Open(path), 1);
    std::unique_ptr<CShapeFile> file = index.LoadShapeFile(0);
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(file->max_shape_id, 255);
    EXPECT_EQ(file->shapes.size(), 256u);
    EXPECT_EQ(file->shapes[255].data_length, 7);
}

TEST(ShapeIndex, KindMinusTwoCannotBeAPrimaryFont) {
    ScratchDir dir("sdxkind"), disk("sdxkinddisk");
    std::string path = dir.Write("VELKO.SDX", shx_test::Sdx({BigFontEntry("KANJI")}));
    {
        CShapeIndex index;
        ASSERT_EQ(index.Open(path), 1);
        EXPECT_EQ(index.Lookup("KANJI"), 1);
        EXPECT_EQ(index.LoadShapeFile(0), nullptr);
        std::unique_ptr<BigFont> big = index.LoadBigFont(0);
        ASSERT_NE(big, nullptr);
        EXPECT_EQ(big->file_name, path);
        ASSERT_EQ(big->shapes.size(), 1u);
        std::vector<uint8_t> data;
        ASSERT_TRUE(ReadBigFontShape(*big, 0, &data));
        EXPECT_EQ(data, (std::vector<uint8_t>{0, 0x40, 0}));
        // Nor is a shape file a big font, and indexes outside the directory fail.
        EXPECT_EQ(index.LoadBigFont(1), nullptr);
        EXPECT_EQ(index.LoadShapeFile(-1), nullptr);
    }
    IndexDirectories dirs({dir.path()});
    CShapeTable table;
    table.SetLocation(disk.File("DRAW.DWG").c_str(), nullptr);
    EXPECT_EQ(table.LoadFont("KANJI.SHX"), 0);
    EXPECT_EQ(table.Count(), 0);
}

TEST(ShapeIndex, ForeignFirstLineLeavesTheIndexUnusedButDiskFontsLoad) {
    ScratchDir dir("sdxforeign"), disk("sdxforeigndisk");
    Bytes bytes = shx_test::Sdx({ShapeFont("ROMANS", "R")});
    bytes[0] = 'W'; // "WORV Control Shapes"
    dir.Write("VELKO.SDX", bytes);
    disk.Write("SIMPLEX.SHX", shx_test::Shx({{65, "DISK", {0x10, 0}}}));
    IndexDirectories dirs({dir.path()});
    CShapeTable table;
    EXPECT_TRUE(table.IndexUnavailable());
    EXPECT_FALSE(table.Index().Usable());
    EXPECT_EQ(table.Index().Lookup("ROMANS"), 0);
    table.SetLocation(disk.File("DRAW.DWG").c_str(), nullptr);
    EXPECT_EQ(table.LoadFont("ROMANS.SHX"), 0);
    EXPECT_EQ(table.LoadFont("SIMPLEX.SHX"), 1);
    EXPECT_EQ(table.LastSlot(), 0);
}

TEST(ShapeIndex, ForeignFileInTheFirstDirectoryIsNotPassedOver) {
    ScratchDir first("sdxforeign1"), second("sdxforeign2");
    Bytes bytes = shx_test::Sdx({ShapeFont("ROMANS", "R")});
    second.Write("VELKO.SDX", bytes);
    bytes[18] = 'Z';
    first.Write("VELKO.SDX", bytes);
    IndexDirectories dirs({first.path(), second.path()});
    CShapeIndex index;
    EXPECT_EQ(index.Open(), 0);
    EXPECT_FALSE(index.Usable());
}

TEST(ShapeIndex, CountHeldAgainstTheFile) {
    ScratchDir dir("sdxcount");
    Bytes bytes = shx_test::Sdx({ShapeFont("ROMANS", "R")});
    shx_test::Set16(bytes, 19, 2000);
    CShapeIndex index;
    EXPECT_EQ(index.Open(dir.Write("big.sdx", bytes)), 0);
    shx_test::Set16(bytes, 19, 0xFFFF);
    EXPECT_EQ(index.Open(dir.Write("neg.sdx", bytes)), 0);
    shx_test::Set16(bytes, 19, 0);
    EXPECT_EQ(index.Open(dir.Write("zero.sdx", bytes)), 1);
    EXPECT_EQ(index.Lookup("ROMANS"), 0);
    EXPECT_EQ(index.Open(dir.Write("short.sdx", Bytes(bytes.begin(), bytes.begin() + 20))), 0);
}

TEST(ShapeIndex, DamagedBlocksFail) {
    ScratchDir dir("sdxdamage");
    Bytes bytes = shx_test::Sdx({ShapeFont("ROMANS", "R"), BigFontEntry("KANJI")});
    const size_t block = 19 + 2 + 2 * 38;
    Bytes offsets_too_many = bytes;
    shx_test::Set16(offsets_too_many, block + 2, 30000); // M
    CShapeIndex index;
    ASSERT_EQ(index.Open(dir.Write("m.sdx", offsets_too_many)), 1);
    EXPECT_EQ(index.LoadShapeFile(0), nullptr);
    // A record offset past the end.
    Bytes record_outside = bytes;
    shx_test::Set32(record_outside, block + 4, 0xFFFFFF00u);
    ASSERT_EQ(index.Open(dir.Write("r.sdx", record_outside)), 1);
    EXPECT_EQ(index.LoadShapeFile(0), nullptr);
    // A block offset past the end, for both kinds.
    Bytes block_outside = bytes;
    shx_test::Set32(block_outside, 21 + 34, 0x7FFFFFFFu);
    shx_test::Set32(block_outside, 21 + 38 + 34, 0x7FFFFFFFu);
    ASSERT_EQ(index.Open(dir.Write("b.sdx", block_outside)), 1);
    EXPECT_EQ(index.LoadShapeFile(0), nullptr);
    EXPECT_EQ(index.LoadBigFont(1), nullptr);
}

TEST(ShapeIndex, NoIndexAnywhere) {
    ScratchDir dir("sdxnone");
    IndexDirectories dirs({dir.path(), dir.File("missing")});
    CShapeTable table;
    EXPECT_TRUE(table.IndexUnavailable());
}

} // namespace
