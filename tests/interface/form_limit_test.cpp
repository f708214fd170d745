// Writers that refuse what their file form cannot hold: a drawing just past a limit is
// refused with CDB_ERR_FORM_LIMIT (the old file kept, no other file left), and one at the
// limit is saved and reads back whole.
#include "support/r13_written_file.h"
#include "support/save_scene.h"

#include "dxf/r13_dxf_write_support.h"
#include "edit/edit_support.h"
#include "interface/tool_support.h"
#include "walk/walk_support.h"

#include "dwg12/r12_drawing.h"

#include "velkow32.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace velko_test {
namespace {

// The size of the block section as the header of a release 12 DWG tells it.
uint32_t BlockSectionSize(const std::vector<uint8_t> &file) {
    constexpr size_t kAt = 0x20;
    if (file.size() < kAt + 4)
        return 0;
    uint32_t v = 0;
    std::memcpy(&v, file.data() + kAt, 4);
    return v & 0x00FFFFFFu;
}

int16_t AddText(int16_t h, int16_t block, std::string &text) {
    CDB_ENTITY r;
    CDBEntityDefault(h, &r, CDB_TEXT);
    r.text.text = &text[0];
    return int16_t(CDBEntityAdd(h, block, &r) < 0 ? CDB_FAIL : 0);
}

// Expects a refusal for a limit of the form that left `target` as `before` and its folder
// with `entries`.
void ExpectRefused(int16_t saved, int16_t h, const std::string &target,
                   const std::vector<uint8_t> &before, const ScratchFolder &folder,
                   const std::vector<std::string> &entries) {
    EXPECT_EQ(saved, CDB_FAIL);
    EXPECT_EQ(CDBGetErrorNumber(h), CDB_ERR_FORM_LIMIT);
    EXPECT_FALSE(tool_support::FormLimitOf(h).empty());
    EXPECT_TRUE(FileBytes(target) == before) << "the old file stays as it was";
    EXPECT_EQ(folder.Entries(), entries);
}

// ---- Release 12 DWG: the block section ---------------------------------------------------

// Texts long in the file fill block 0 up to the limit with a few hundred entities.
constexpr size_t kLongText = 30000;
constexpr uint32_t kMaxBlocks = 0x00FFFFFFu;

TEST(FormLimit, Release12DwgBlockSectionAtTheLimitIsSavedAndOnePastItIsRefused) {
    OpenSource source(12);
    const int16_t h = source.Handle();
    ASSERT_GE(h, 0);
    ScratchFolder folder("form_limit_blocks");
    const std::string target = folder.File("blocks.dwg");
    std::string text(kLongText, 'x');

    // Two saves tell what one text adds to the section, and what the section holds besides.
    ASSERT_EQ(AddText(h, 0, text), 0);
    ASSERT_EQ(CDBSaveAsDWG(h, target.c_str()), 0);
    const uint32_t one = BlockSectionSize(FileBytes(target));
    ASSERT_EQ(AddText(h, 0, text), 0);
    ASSERT_EQ(CDBSaveAsDWG(h, target.c_str()), 0);
    const uint32_t two = BlockSectionSize(FileBytes(target));
    const uint32_t per_text = two - one;
    ASSERT_GT(per_text, kLongText);
    const uint32_t frame_beside_text = per_text - uint32_t(kLongText);

    // Up to the limit, the last text made to end exactly at it.
    uint32_t size = two;
    int texts = 2;
    while (size + per_text <= kMaxBlocks) {
        ASSERT_EQ(AddText(h, 0, text), 0);
        size += per_text;
        ++texts;
    }
    const uint32_t rest = kMaxBlocks - size;
    if (rest > frame_beside_text) {
        std::string last(rest - frame_beside_text, 'y');
        ASSERT_EQ(AddText(h, 0, last), 0);
        size += rest;
        ++texts;
    }
    ASSERT_EQ(CDBSaveAsDWG(h, target.c_str()), 0);
    const std::vector<uint8_t> at_limit = FileBytes(target);
    EXPECT_EQ(BlockSectionSize(at_limit), size);
    EXPECT_GT(size, kMaxBlocks - frame_beside_text);

    // One text more is refused, and the file at the limit stays.
    std::string small("z");
    ASSERT_EQ(AddText(h, 0, small), 0);
    ExpectRefused(CDBSaveAsDWG(h, target.c_str()), h, target, at_limit, folder, {"blocks.dwg"});

    // The file at the limit reads back whole: the line of block 0, every text, the end.
    const int16_t back = CDBStartFileReading(target.c_str(), nullptr);
    ASSERT_GE(back, 0);
    const std::vector<int> kinds = edit::ListKinds(back, 0);
    CDBEndOperation(back);
    ASSERT_EQ(kinds.size(), size_t(texts) + 2);
    EXPECT_EQ(kinds.front(), CDB_LINE);
    EXPECT_EQ(kinds.back(), CDB_ENDBLK);
}

// ---- Release 12: table counts --------------------------------------------------------------

// Layers added until the table holds `count` records. Their names begin with "*", which
// an add takes without looking for the name among the records there.
void FillLayers(int16_t h, int count) {
    CR12Drawing *drawing = edit::R12(h);
    ASSERT_NE(drawing, nullptr);
    CR12TableList &layers = drawing->Table(kR12Layers);
    CDB_LAYER_TBL_type r;
    CDBLayerTableDefault(&r);
    while (layers.Count() < count) {
        std::string name = "*L" + std::to_string(layers.Count());
        r.name = &name[0];
        ASSERT_GE(CDBLayerTableAdd(h, &r), 0) << layers.Count();
    }
}

// One drawing filled once for the three writers of release 12.
TEST(FormLimit, Release12TableAtTheLimitIsSavedAndOnePastItIsRefusedByEveryWriter) {
    OpenSource source(12);
    const int16_t h = source.Handle();
    ASSERT_GE(h, 0);
    CR12Drawing *drawing = edit::R12(h);
    ASSERT_NE(drawing, nullptr);
    ScratchFolder folder("form_limit_tables");
    std::vector<SaveWriter> writers;
    for (const SaveWriter &writer : AllSaveWriters())
        if (writer.release == 12)
            writers.push_back(writer);
    const auto name = [](const SaveWriter &writer) {
        return std::string(writer.name) + writer.suffix;
    };
    FillLayers(h, 32767);
    std::vector<std::vector<uint8_t>> at_limit;
    std::vector<std::string> entries;
    for (const SaveWriter &writer : writers) {
        SCOPED_TRACE(writer.name);
        const std::string target = folder.File(name(writer));
        ASSERT_EQ(SaveWith(writer, h, target), 0);
        at_limit.push_back(FileBytes(target));
        entries.push_back(name(writer));
        const int16_t back = CDBStartFileReading(target.c_str(), nullptr);
        ASSERT_GE(back, 0);
        EXPECT_EQ(CDBLayerTableCount(back), 32767);
        EXPECT_EQ(CDBLayerTableFind(back, "*L32766"), 32766);
        CDBEndOperation(back);
    }
    std::sort(entries.begin(), entries.end());
    // Past the count that CDBLayerTableAdd can still give an index for.
    CDB_LAYER_TBL_type r;
    CDBLayerTableDefault(&r);
    std::string extra = "PAST";
    r.name = &extra[0];
    CDBLayerTableAdd(h, &r);
    ASSERT_EQ(drawing->Table(kR12Layers).Count(), 32768);
    for (size_t i = 0; i < writers.size(); ++i) {
        SCOPED_TRACE(writers[i].name);
        const std::string target = folder.File(name(writers[i]));
        ExpectRefused(SaveWith(writers[i], h, target), h, target, at_limit[i], folder, entries);
    }
}

// ---- Release 12 DWG: the dashes of a line type ---------------------------------------------

// A line type of `count` dashes added to the drawing under `h`.
void AddLineType(int16_t h, const char *name, int count) {
    CDB_LTYPE_TBL_type r;
    CDBLineTypeTableDefault(&r);
    // The default's blocks are the caller's.
    std::free(r.dashes);
    std::vector<double> dashes(size_t(count), 0.25);
    std::string text = name;
    r.name = &text[0];
    r.dash_count = int16_t(count);
    r.dashes = dashes.data();
    const int16_t added = CDBLineTypeTableAdd(h, &r);
    std::free(r.description);
    ASSERT_GE(added, 0);
}

// The dash count of the line type `name` in the drawing in `path`; -1 when it cannot be read.
int DashesIn(const std::string &path, const char *name) {
    const int16_t back = CDBStartFileReading(path.c_str(), nullptr);
    if (back < 0)
        return -1;
    CDB_LTYPE_TBL_type r;
    const int16_t index = CDBLineTypeTableFind(back, name);
    const int count = CDBLineTypeTableGet(back, index, &r) == 0 ? r.dash_count : -1;
    CDBEndOperation(back);
    return count;
}

TEST(FormLimit, Release12DwgLineTypeOf12DashesIsSavedAndOneOf13IsRefused) {
    OpenSource source(12);
    const int16_t h = source.Handle();
    ASSERT_GE(h, 0);
    ScratchFolder folder("form_limit_dashes");
    const std::string target = folder.File("dashes.dwg");
    AddLineType(h, "TWELVE", 12);
    ASSERT_EQ(CDBSaveAsDWG(h, target.c_str()), 0);
    const std::vector<uint8_t> saved = FileBytes(target);
    EXPECT_EQ(DashesIn(target, "TWELVE"), 12);
    AddLineType(h, "THIRTEEN", 13);
    ExpectRefused(CDBSaveAsDWG(h, target.c_str()), h, target, saved, folder, {"dashes.dwg"});
}

TEST(FormLimit, Release13DwgLineTypeOf255DashesIsSavedAndOneOf256IsRefused) {
    OpenSource source(13);
    const int16_t h = source.Handle();
    ASSERT_GE(h, 0);
    ScratchFolder folder("form_limit_r13_dashes");
    const std::string target = folder.File("dashes.dwg");
    AddLineType(h, "MANY", 255);
    ASSERT_EQ(CDBSaveAsDWG(h, target.c_str()), 0);
    const std::vector<uint8_t> saved = FileBytes(target);
    EXPECT_EQ(DashesIn(target, "MANY"), 255);
    AddLineType(h, "TOOMANY", 256);
    ExpectRefused(CDBSaveAsDWG(h, target.c_str()), h, target, saved, folder, {"dashes.dwg"});
}

// ---- Release 13: table counts ------------------------------------------------------------

TEST(FormLimit, Release13TablePastItsCountIsRefusedByTheDxfWriterAndItsControlByTheDwgWriter) {
    OpenSource source(13);
    const int16_t h = source.Handle();
    ASSERT_GE(h, 0);
    ScratchFolder folder("form_limit_r13_tables");
    CDB_LAYER_TBL_type r;
    CDBLayerTableDefault(&r);
    while (CDBLayerTableCount(h) >= 0 && CDBLayerTableCount(h) < 32767) {
        std::string name = "*L" + std::to_string(CDBLayerTableCount(h));
        r.name = &name[0];
        ASSERT_GE(CDBLayerTableAdd(h, &r), 0);
    }
    const std::string dxf = folder.File("tables.dxf");
    ASSERT_EQ(CDBSaveAsDXF(h, dxf.c_str(), 0), 0);
    const std::vector<uint8_t> at_limit = FileBytes(dxf);
    {
        const int16_t back = CDBStartFileReading(dxf.c_str(), nullptr);
        ASSERT_GE(back, 0);
        EXPECT_EQ(CDBLayerTableCount(back), 32767);
        CDBEndOperation(back);
    }
    // The layer control of a DWG lists every layer in one object, far past its size.
    const std::string dwg = folder.File("tables.dwg");
    ExpectRefused(CDBSaveAsDWG(h, dwg.c_str()), h, dwg, {}, folder, {"tables.dxf"});
    std::string name = "*PAST";
    r.name = &name[0];
    CDBLayerTableAdd(h, &r);
    ExpectRefused(CDBSaveAsDXF(h, dxf.c_str(), 0), h, dxf, at_limit, folder, {"tables.dxf"});
}

// ---- Release 12 DWG: the size of an entity record ------------------------------------------

TEST(FormLimit, Release12DwgEntityRecordPast32767BytesIsRefused) {
    OpenSource source(12);
    const int16_t h = source.Handle();
    ASSERT_GE(h, 0);
    ScratchFolder folder("form_limit_record");
    const std::string target = folder.File("record.dwg");
    std::string text(32700, 'x');
    ASSERT_EQ(AddText(h, -1, text), 0);
    ASSERT_EQ(CDBSaveAsDWG(h, target.c_str()), 0);
    const std::vector<uint8_t> saved = FileBytes(target);
    std::string longer(32767, 'x');
    ASSERT_EQ(AddText(h, -1, longer), 0);
    ExpectRefused(CDBSaveAsDWG(h, target.c_str()), h, target, saved, folder, {"record.dwg"});
}

// ---- ASCII DXF: a text value is one line ---------------------------------------------------

TEST(FormLimit, AsciiDxfRefusesATextWithALineBreakAndBinaryDxfTakesIt) {
    for (const SaveWriter &writer : AllSaveWriters()) {
        if (writer.dwg || writer.release != 12)
            continue;
        SCOPED_TRACE(writer.name);
        OpenSource source(12);
        const int16_t h = source.Handle();
        ASSERT_GE(h, 0);
        ScratchFolder folder("form_limit_line_break");
        const std::string target = folder.File("text.dxf");
        ASSERT_EQ(SaveWith(writer, h, target), 0);
        const std::vector<uint8_t> before = FileBytes(target);
        std::string broken = "first\nsecond";
        ASSERT_EQ(AddText(h, -1, broken), 0);
        if (writer.binary) {
            EXPECT_EQ(SaveWith(writer, h, target), 0);
        } else {
            ExpectRefused(SaveWith(writer, h, target), h, target, before, folder, {"text.dxf"});
        }
    }
}

// ---- Release 13 DWG: the size of an object -------------------------------------------------

// The control points of the first SPLINE of the main list; -1 when there is none.
int SplinePoints(int16_t h) {
    const int16_t count = CDBEntityCount(h, -1);
    for (int16_t i = 0; i < count; ++i) {
        CDB_ENTITY record = walk::NewRecord();
        if (CDBGetEntity(h, CDBPackEntityId(-1, uint16_t(i)), &record) < 0)
            break;
        const bool spline = record.entity_type == CDB_SPLINE;
        const int points = spline ? record.spline.control_point_count : -1;
        walk::FreeCopies(record);
        if (spline)
            return points;
    }
    return -1;
}

TEST(FormLimit, Release13DwgObjectPast32767BytesIsRefusedAndOneBelowReadsBack) {
    ScratchFolder folder("form_limit_object");
    const std::string target = folder.File("object.dwg");
    constexpr int kFits = 1200;
    constexpr int kTooMany = 1400;
    {
        OpenSource fits(13, SplineR13Dxf(kFits));
        ASSERT_GE(fits.Handle(), 0);
        ASSERT_EQ(CDBSaveAsDWG(fits.Handle(), target.c_str()), 0);
    }
    const std::vector<uint8_t> saved = FileBytes(target);
    {
        const int16_t back = CDBStartFileReading(target.c_str(), nullptr);
        ASSERT_GE(back, 0);
        EXPECT_EQ(SplinePoints(back), kFits);
        CDBEndOperation(back);
    }
    OpenSource past(13, SplineR13Dxf(kTooMany));
    ASSERT_GE(past.Handle(), 0);
    ExpectRefused(CDBSaveAsDWG(past.Handle(), target.c_str()), past.Handle(), target, saved, folder,
                  {"object.dwg"});
}

} // namespace
} // namespace velko_test
