// Saving release 13 drawings as DWG: the layout of the written file (head, header variables,
// classes, object checks, the map's end), the handle seed, anonymous block names, the
// sequence checks, and saving under the drawing's own name.
#include "support/r13_written_file.h"
#include "support/dwg13_builder.h"
#include "support/r13_corpus_edit.h"

#include "dwg13/r13_classic_kinds.h"
#include "dwg13/r13_drawing.h"
#include "dwg13/r13_entity_kinds.h"
#include "dwg13/r13_header.h"
#include "dwg13/r13_object_map.h"
#include "dwg13/r13_tables.h"
#include "io/bit_stream.h"
#include "records/header_texts.h"

#include "interface/test_files.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <fstream>

namespace velko_test {
namespace {

// A sound drawing with a line in model space and classes bytes of its own.
Dwg13Builder &WithLine(Dwg13Builder &b) {
    const R13EntityKind *kind = FindR13EntityKind(19);
    std::unique_ptr<CR13Entity> line(kind->make(nullptr, 19));
    SetEntityHead(*line, R13EntityHead{}.Type(19).Handle(0x40));
    line->GetData()->line.end_point = CDB_POINT3{1, 2, 0};
    b.Space(kModelSpaceName)->entities.push_back(EntityObjectOf(*line));
    b.classes = {1, 2, 3, 4, 5, 6, 7, 8, 9};
    return b;
}

struct Saved {
    LoadedR13 source;
    std::vector<uint8_t> before;
    std::unique_ptr<TempFile> out;
    short result = 0;
};

Saved SaveBuilt(Dwg13Builder &b, const char *name,
                const std::function<void(CR13Drawing &)> &edit = {}) {
    Saved s;
    s.before = b.Build();
    s.source = LoadR13Bytes(s.before, name);
    s.out = std::make_unique<TempFile>(std::string("out_") + name);
    if (s.source.loaded == 1) {
        if (edit)
            edit(*s.source.drawing);
        s.result = s.source.drawing->SaveAsDWG(s.out->c_str());
    }
    return s;
}

TEST(Release13DwgSave, ASaveWithNoEditsKeepsTheHeadTheClassesAndTheHeaderBytes) {
    Dwg13Builder b;
    Saved s = SaveBuilt(WithLine(b), "keep.dwg");
    ASSERT_EQ(s.source.loaded, 1);
    ASSERT_EQ(s.result, 0);
    const std::vector<uint8_t> after = FileBytes(s.out->path());
    const uint32_t head_size = LongAt(s.before, R13FileHead::kHeaderAt);
    ASSERT_EQ(LongAt(after, R13FileHead::kHeaderAt), head_size);
    // The head but for the records that the save moves.
    for (size_t i = 0; i < head_size; ++i) {
        const bool moved = (i >= 13 && i < 17) || (i >= 35 && i < 43) || (i >= 44 && i < 52) ||
                           (i >= 53 && i < 57);
        if (!moved) {
            EXPECT_EQ(after[i], s.before[i]) << "head byte " << i;
        }
    }
    EXPECT_EQ(SectionAt(after, R13FileHead::kClassesAt),
              SectionAt(s.before, R13FileHead::kClassesAt));
    EXPECT_EQ(SectionAt(after, R13FileHead::kHeaderAt),
              SectionAt(s.before, R13FileHead::kHeaderAt));
}

TEST(Release13DwgSave, ASeedOneByteLongerShiftsTheRestOfTheHeaderByEightBits) {
    Dwg13Builder b;
    Saved s = SaveBuilt(WithLine(b), "seed.dwg", [](CR13Drawing &d) {
        CopyIntoTextBlock(d.Header().vars.handseed, kHeaderHandseedSize, "10000");
    });
    ASSERT_EQ(s.result, 0);
    const std::vector<uint8_t> after = FileBytes(s.out->path());
    const std::vector<uint8_t> old_header = SectionAt(s.before, R13FileHead::kHeaderAt);
    const std::vector<uint8_t> new_header = SectionAt(after, R13FileHead::kHeaderAt);
    ASSERT_EQ(new_header.size(), old_header.size() + 1);
    // Behind the seed everything stands one whole byte later.
    const int32_t behind_seed = s.source.drawing->Header().seed_byte + 4;
    for (size_t i = size_t(behind_seed); i < old_header.size(); ++i)
        EXPECT_EQ(new_header[i + 1], old_header[i]) << "header byte " << i;
    // And it reads back with the new seed and the old variables.
    LoadedR13 again = LoadR13Bytes(after, "seed_again.dwg");
    ASSERT_EQ(again.loaded, 1);
    EXPECT_STREQ(again.drawing->Header().vars.handseed, "10000");
    EXPECT_STREQ(again.drawing->Header().vars.hclayer, "10");
}

TEST(Release13DwgSave, EveryObjectEndsInFFFFAndTheMapEndsIn0002_01D0) {
    Dwg13Builder b;
    Saved s = SaveBuilt(WithLine(b), "checks.dwg");
    ASSERT_EQ(s.result, 0);
    const std::vector<uint8_t> after = FileBytes(s.out->path());
    const std::vector<uint8_t> map = SectionAt(after, R13FileHead::kMapAt);
    ASSERT_GE(map.size(), 4u);
    EXPECT_EQ(std::vector<uint8_t>(map.end() - 4, map.end()),
              (std::vector<uint8_t>{0x00, 0x02, 0x01, 0xD0}));
    const std::vector<ObjectMapEntry> entries = MapEntriesOf(s.out->path());
    ASSERT_GT(entries.size(), 10u);
    EXPECT_EQ(ObjectChecksProblem(after, entries), "");
}

TEST(Release13DwgSave, ASavedDrawingReadsBackWithItsLineAndTables) {
    Dwg13Builder b;
    Saved s = SaveBuilt(WithLine(b), "back.dwg");
    ASSERT_EQ(s.result, 0);
    LoadedR13 again = LoadR13Bytes(FileBytes(s.out->path()), "back_again.dwg");
    ASSERT_EQ(again.loaded, 1) << again.drawing->LoadFailure();
    CEntityList &main = again.drawing->Entities();
    ASSERT_GE(main.Count(), 1);
    EXPECT_STREQ(main.At(0)->GetData()->handle, "40");
    EXPECT_EQ(main.At(0)->GetData()->line.end_point.y, 2.0);
    EXPECT_EQ(again.drawing->Table(R13Table::kLayers).records.Count(),
              s.source.drawing->Table(R13Table::kLayers).records.Count());
    EXPECT_EQ(again.drawing->Table(R13Table::kMlineStyles).records.Count(), 1);
    // The drawing that saved now reads from the new file, and saves again from it.
    EXPECT_STREQ(s.source.drawing->GetFileName(), s.out->c_str());
    TempFile second("second.dwg");
    EXPECT_EQ(s.source.drawing->SaveAsDWG(second.c_str()), 0);
    EXPECT_EQ(FileBytes(second.path()), FileBytes(s.out->path()));
}

TEST(Release13DwgSave, AnAnonymousU3BlockIsWrittenAsUWithTheValue200) {
    Dwg13Builder b;
    R13BlockSpec block;
    block.name = "*U3";
    block.header_handle = 0x50;
    block.start_handle = 0x51;
    block.end_handle = 0x52;
    b.blocks.insert(b.blocks.begin(), block);
    Saved s = SaveBuilt(WithLine(b), "anon.dwg");
    ASSERT_EQ(s.source.loaded, 1) << s.source.drawing->LoadFailure();
    ASSERT_EQ(s.result, 0);
    const std::vector<uint8_t> after = FileBytes(s.out->path());
    int32_t at = -1;
    for (const ObjectMapEntry &e : MapEntriesOf(s.out->path()))
        if (e.handle == 0x50)
            at = e.offset;
    ASSERT_GT(at, 0);
    CBitStream stream(after.data() + at);
    stream.Skip(2, 0);
    EXPECT_EQ(stream.ReadBitShort(), kR13BlockHeader);
    stream.ReadBits(4);
    std::free(stream.ReadHandleText());
    stream.ReadRawLong();
    stream.ReadBits(4);
    char *name = stream.ReadText();
    EXPECT_STREQ(name, "*U");
    std::free(name);
    EXPECT_EQ(stream.ReadBits(8), 200u);
}

TEST(Release13DwgSave, APolylineFollowedByANonVertexFailsTheSaveWithWrongSequence) {
    Dwg13Builder b;
    WithLine(b);
    const R13EntityKind *kind = FindR13EntityKind(15);
    std::unique_ptr<CR13Entity> polyline(kind->make(nullptr, 15));
    SetEntityHead(*polyline, R13EntityHead{}.Type(15).Handle(0x3F));
    auto &entities = b.Space(kModelSpaceName)->entities;
    entities.insert(entities.begin(), EntityObjectOf(*polyline));
    TempFile keep("keep_old.dwg", std::vector<uint8_t>{'o', 'l', 'd'});
    Saved s;
    s.before = b.Build();
    s.source = LoadR13Bytes(s.before, "poly.dwg");
    ASSERT_EQ(s.source.loaded, 1) << s.source.drawing->LoadFailure();
    EXPECT_EQ(s.source.drawing->SaveAsDWG(keep.c_str()), CDB_FAIL);
    EXPECT_EQ(s.source.drawing->GetError(), CDB_ERR_WRONG_SEQUENCE);
    // A failed save leaves the file of that name as it was.
    EXPECT_EQ(FileBytes(keep.path()), (std::vector<uint8_t>{'o', 'l', 'd'}));
}

TEST(Release13DwgSave, AFileWithThreeSectionRecordsHasNoTrailingSectionToRewrite) {
    Dwg13Builder b;
    WithLine(b);
    b.record_count = 3;
    b.write_trailing_section = false;
    Saved s = SaveBuilt(b, "three.dwg");
    ASSERT_EQ(s.source.loaded, 1) << s.source.drawing->LoadFailure();
    ASSERT_EQ(s.result, 0);
    const std::vector<uint8_t> after = FileBytes(s.out->path());
    EXPECT_EQ(after[R13FileHead::kRecordCountAt], 3);
    // The map is the last thing in the file.
    EXPECT_EQ(LongAt(after, R13FileHead::kMapAt) + LongAt(after, R13FileHead::kMapSizeAt),
              after.size());
    LoadedR13 again = LoadR13Bytes(after, "three_again.dwg");
    EXPECT_EQ(again.loaded, 1) << again.drawing->LoadFailure();
}

TEST(Release13DwgSave, ASaveUnderTheDrawingsOwnNameReplacesTheFileWhenComplete) {
    Dwg13Builder b;
    const std::vector<uint8_t> bytes = WithLine(b).Build();
    LoadedR13 l = LoadR13Bytes(bytes, "own.dwg");
    ASSERT_EQ(l.loaded, 1);
    CopyIntoTextBlock(l.drawing->Header().vars.handseed, kHeaderHandseedSize, "200");
    EXPECT_EQ(l.drawing->Save(), 0);
    LoadedR13 again = LoadR13Bytes(FileBytes(l.file->path()), "own_again.dwg");
    ASSERT_EQ(again.loaded, 1) << again.drawing->LoadFailure();
    EXPECT_STREQ(again.drawing->Header().vars.handseed, "200");
    EXPECT_FALSE(std::ifstream(l.file->path() + ".part").good());
}

} // namespace
} // namespace velko_test
