// Round trips of release 12 DWG drawings through the library's own DWG writer.
//
// Every release 12 DWG of the corpus that opens is read, saved with CDBSaveAsDWG and read
// again: every table, every block and every entity must come back record for record and
// field for field, exactly. Three differences are allowed, each by a rule of the writer
// or the reader, and named where CompareDwgSave (support/drawing_snapshot) applies it:
//
//  - A deleted table record is written as a record of zeros: it comes back in its place
//    with flags 0 and no name (a deleted block's record keeps its flags).
//  - An anonymous block ("*D0") is written under the name it holds, and loading appends
//    its number once more: it comes back as "*D00".
//  - The header's view variables are written from the "*ACTIVE" viewport.
//
// A second save of the saved file gives the same bytes, and every CRC of every saved file
// is right (support/dwg12_crc_walk.h).
#include "support/corpus.h"
#include "support/drawing_snapshot.h"
#include "support/bitwise_crc.h"
#include "support/dwg12_builder.h"
#include "support/dwg12_crc_walk.h"
#include "walk/walk_support.h"

#include "velkow32.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace velko_test {
namespace {

using snapshot::CompareDrawings;
using snapshot::RoundTripFolder;
using snapshot::SaveCopy;
using snapshot::SaveForm;
using snapshot::Show;
using snapshot::Snapshot;

bool Anonymous(const char *name) {
    return name && name[0] == '*';
}

bool Deleted(int flags) {
    return (flags & 0x80) != 0;
}

std::vector<std::string> Cases() {
    std::vector<std::string> cases = snapshot::RoundTripSources(false);
    if (cases.empty())
        cases.push_back(""); // stand-in: reports the missing corpus
    return cases;
}

class Dwg12RoundTrip : public testing::TestWithParam<std::string> {
protected:
    void SetUp() override {
        VELKO_REQUIRE_CORPUS();
        ASSERT_FALSE(GetParam().empty()) << "the manifest lists no dwg12 drawing";
        source_ = CorpusPath(GetParam());
        stem_ = RoundTripFolder() + TestNameFor(GetParam());
    }

    // Reads a written file whole.
    static std::vector<uint8_t> FileBytes(const std::string &path) {
        std::vector<uint8_t> bytes;
        EXPECT_TRUE(ReadWholeFile(path, &bytes)) << path;
        return bytes;
    }

    // Every CRC of a saved file.
    static void ExpectCrcs(const std::string &path) {
        const Dwg12CrcReport report = WalkDwg12Crcs(FileBytes(path));
        EXPECT_TRUE(report.ok()) << path << ":\n" << report.Describe();
        EXPECT_TRUE(report.header_checked && report.tail_checked) << path;
    }

    std::string source_;
    std::string stem_;
};

TEST_P(Dwg12RoundTrip, SavedDrawingReadsBackRecordForRecord) {
    Snapshot a(source_);
    if (!a.opened())
        GTEST_SKIP() << GetParam() << " does not open (code " << a.code() << ")";
    const std::string saved = stem_ + ".saved.dwg";
    ASSERT_EQ(SaveCopy(source_, saved, SaveForm::kDwg), "");
    Snapshot b(saved);
    ASSERT_TRUE(b.opened()) << saved << " does not open: code " << b.code();
    snapshot::CompareDwgSave(a, b);
    ExpectCrcs(saved);
}

TEST_P(Dwg12RoundTrip, EveryCrcOfTheSavedFileIsRight) {
    Snapshot a(source_);
    if (!a.opened())
        GTEST_SKIP() << GetParam() << " does not open (code " << a.code() << ")";
    const std::string saved = stem_ + ".crc.dwg";
    ASSERT_EQ(SaveCopy(source_, saved, SaveForm::kDwg), "");
    const Dwg12CrcReport report = WalkDwg12Crcs(FileBytes(saved));
    EXPECT_TRUE(report.ok()) << saved << ":\n" << report.Describe();
    // Everything that the drawing holds was walked: each entity of the main list but
    // its end marker, each block's list with its start, each record of the ten tables.
    size_t block_frames = 0;
    for (const auto &block : a.blocks_)
        block_frames += block.status == 0 ? block.list.size() + 1 : 0;
    EXPECT_EQ(static_cast<size_t>(report.entity_frames), a.main_.size() - 1);
    EXPECT_EQ(static_cast<size_t>(report.block_frames), block_frames);
    EXPECT_GE(static_cast<size_t>(report.table_records),
              a.layers_.size() + a.ltypes_.size() + a.styles_.size() + a.vports_.size() +
                  a.block_table_.size() + a.appids_.size());
    RecordProperty("entity_frames", report.entity_frames);
    RecordProperty("block_frames", report.block_frames);
    RecordProperty("table_records", report.table_records);
}

// Saving the saved file again gives it byte for byte. Loading numbers an anonymous block
// once more at each reading ("*D0", "*D00", "*D000"), so a drawing with one is held to
// the rule on the second reading's names instead: the same drawing saved twice from
// memory gives the same bytes, and the second generation differs from the first only
// where those names stand.
TEST_P(Dwg12RoundTrip, SecondSaveOfTheSavedFileGivesTheSameBytes) {
    Snapshot a(source_);
    if (!a.opened())
        GTEST_SKIP() << GetParam() << " does not open (code " << a.code() << ")";
    const std::string first = stem_ + ".first.dwg";
    const std::string second = stem_ + ".second.dwg";
    const std::string again = stem_ + ".again.dwg";
    ASSERT_EQ(SaveCopy(source_, first, SaveForm::kDwg), "");
    ASSERT_EQ(SaveCopy(first, second, SaveForm::kDwg), "");
    ExpectCrcs(second);

    bool anonymous = false;
    for (const CDB_BLOCK_TBL &r : a.block_table_)
        anonymous |= !Deleted(r.flags) && Anonymous(r.name);
    if (!anonymous) {
        EXPECT_TRUE(FileBytes(first) == FileBytes(second))
            << first << " and " << second << " differ";
    } else {
        // The same drawing from memory, twice.
        const int16_t h = CDBStartFileReading(first.c_str(), nullptr);
        ASSERT_GE(h, 0);
        EXPECT_EQ(snapshot::SaveOpenDrawing(h, second, SaveForm::kDwg), "");
        EXPECT_EQ(snapshot::SaveOpenDrawing(h, again, SaveForm::kDwg), "");
        CDBEndOperation(h);
        EXPECT_TRUE(FileBytes(second) == FileBytes(again))
            << second << " and " << again << " differ";
        Snapshot b(first);
        Snapshot c(second);
        ASSERT_TRUE(b.opened() && c.opened());
        snapshot::CompareDwgSave(b, c);
    }
}

INSTANTIATE_TEST_SUITE_P(Corpus, Dwg12RoundTrip, testing::ValuesIn(Cases()),
                         [](const testing::TestParamInfo<std::string> &info) {
                             return info.param.empty() ? std::string("no_corpus")
                                                       : TestNameFor(info.param);
                         });

// ---- The frame of a saved file, item by item -----------------------------------------

// A corpus drawing, with a layer added and deleted, saved as DWG: its bytes.
class Dwg12SavedFile : public testing::Test {
protected:
    void SetUp() override {
        VELKO_REQUIRE_CORPUS();
        const std::string saved = RoundTripFolder() + "frame_3DFACE1.dwg";
        const int16_t h = CDBStartFileReading(CorpusPath("dwg12/3DFACE1.DWG").c_str(), nullptr);
        ASSERT_GE(h, 0);
        char name[32] = "VELKO_GONE";
        CDB_LAYER_TBL_type layer;
        std::memset(static_cast<void *>(&layer), 0, sizeof layer);
        CDBLayerTableDefault(&layer);
        layer.name = name;
        deleted_layer_ = CDBLayerTableAdd(h, &layer);
        const int16_t deleted = CDBLayerTableDelete(h, deleted_layer_);
        const std::string failure = snapshot::SaveOpenDrawing(h, saved, SaveForm::kDwg);
        CDBEndOperation(h);
        ASSERT_GE(deleted_layer_, 0);
        ASSERT_EQ(deleted, 0);
        ASSERT_EQ(failure, "");
        ASSERT_TRUE(ReadWholeFile(saved, &bytes_));
        ASSERT_GT(bytes_.size(), 1727u + 154u);
        trailer_ = bytes_.size() - 150;
    }
    uint32_t U32(size_t at) const { return get_u32(bytes_, at); }

    std::vector<uint8_t> bytes_;
    size_t trailer_ = 0;
    int16_t deleted_layer_ = -1;
};

TEST_F(Dwg12SavedFile, SentinelStandsAtOffset1727) {
    EXPECT_TRUE(std::equal(kDwg12Sentinel.begin(), kDwg12Sentinel.end(), bytes_.begin() + 1727));
    EXPECT_EQ(U32(trailer_), 1743u) << "the entity section follows the sentinel";
}

TEST_F(Dwg12SavedFile, ThirtyTwoZeroBytesFollowTheLastTableAndTheBlockArea) {
    size_t last_table_end = 0;
    for (int t = 0; t < 10; ++t) {
        const size_t d = trailer_ + 28 + 10 * static_cast<size_t>(t);
        const size_t end = U32(d + 6) + size_t(get_u16(bytes_, d + 2)) * get_i16(bytes_, d + 4);
        last_table_end = std::max(last_table_end, end);
    }
    const size_t extra_start = U32(trailer_ + 12);
    ASSERT_LE(last_table_end + 32, bytes_.size());
    ASSERT_GE(extra_start, 32u);
    for (size_t i = 0; i < 32; ++i) {
        EXPECT_EQ(bytes_[last_table_end + i], 0) << "after the last table, byte " << i;
        EXPECT_EQ(bytes_[extra_start - 32 + i], 0) << "after the block area, byte " << i;
    }
}

TEST_F(Dwg12SavedFile, DeletedTableRecordIsSavedAsZerosWithACrc) {
    const size_t d = trailer_ + 28 + 10 * kLayerTable;
    const size_t size = get_u16(bytes_, d + 2), position = U32(d + 6);
    ASSERT_GT(get_i16(bytes_, d + 4), deleted_layer_) << "the record keeps its place";
    const size_t at = position + static_cast<size_t>(deleted_layer_) * size;
    ASSERT_LE(at + size, bytes_.size());
    EXPECT_TRUE(std::all_of(bytes_.begin() + static_cast<long>(at),
                            bytes_.begin() + static_cast<long>(at + size - 2),
                            [](uint8_t byte) { return byte == 0; }));
    EXPECT_EQ(StoredCrc(bytes_.data() + at + size - 2),
              BitwiseDwgCrc(bytes_.data() + at, size - 2));
}

TEST_F(Dwg12SavedFile, HeaderCrcCoversThePatchedValues) {
    // The patched values are there: the section positions of the trailer.
    EXPECT_EQ(U32(0x14), U32(trailer_));
    EXPECT_EQ(U32(0x18), U32(trailer_ + 4));
    EXPECT_EQ(U32(0x1C), U32(trailer_ + 8));
    EXPECT_EQ(U32(0x24), U32(trailer_ + 12));
    EXPECT_EQ(StoredCrc(bytes_.data() + 0x6BD), BitwiseDwgCrc(bytes_.data(), 0x6BD));
}

TEST_F(Dwg12SavedFile, TrailerHasZerosAt16To25AndTenAt26) {
    for (size_t i = 16; i < 26; ++i)
        EXPECT_EQ(bytes_[trailer_ + i], 0) << "trailer byte " << i;
    EXPECT_EQ(get_u16(bytes_, trailer_ + 26), 10);
}

// ---- The CRC walk itself, on hand-made files ------------------------------------------

// A small drawing laid out as the writer lays one out: two entities, one block of two
// frames whose record points at it, the minimal tables.
std::vector<uint8_t> HandMadeDrawing() {
    Dwg12FileBuilder b;
    b.AddMinimalTables();
    b.SetEntities(walk::Join({walk::Line(0, 0, 1, 1), walk::Circle(2, 2, 1)}));
    BlockRec block;
    block.name = "B1";
    block.block_offset = 0;
    block.offset_top_byte = 0x40;
    b.Add(block);
    b.SetBlocks(walk::Join({walk::BlockBegin(), walk::BlockEnd()}));
    return b.Build();
}

bool Mentions(const Dwg12CrcReport &report, const std::string &what) {
    for (const std::string &p : report.problems) {
        if (p.find(what) != std::string::npos)
            return true;
    }
    return false;
}

TEST(Dwg12CrcWalk, HandMadeDrawingPassesEveryCheck) {
    const Dwg12CrcReport report = WalkDwg12Crcs(HandMadeDrawing());
    EXPECT_TRUE(report.ok()) << report.Describe();
    EXPECT_EQ(report.entity_frames, 2);
    EXPECT_EQ(report.block_frames, 2);
    EXPECT_EQ(report.table_records, 6); // block, layer, style, line type, viewport, appid
    EXPECT_TRUE(report.header_checked);
    EXPECT_TRUE(report.tail_checked);
}

TEST(Dwg12CrcWalk, WrongEntityFrameCrcIsNamed) {
    std::vector<uint8_t> file = HandMadeDrawing();
    const Dwg12CrcReport good = WalkDwg12Crcs(file);
    // A byte of the second frame's body.
    const size_t second =
        good.layout.entities_start + get_u16(file, good.layout.entities_start + 2);
    file[second + 9] ^= 0x01;
    const Dwg12CrcReport report = WalkDwg12Crcs(file);
    EXPECT_FALSE(report.ok());
    ASSERT_EQ(report.problems.size(), 1u) << report.Describe();
    EXPECT_TRUE(Mentions(report, "entity section frame 1 (code 3)")) << report.Describe();
}

TEST(Dwg12CrcWalk, WrongBlockFrameTableRecordHeaderAndTailCrcsAreNamed) {
    const std::vector<uint8_t> original = HandMadeDrawing();
    const Dwg12CrcReport good = WalkDwg12Crcs(original);
    ASSERT_TRUE(good.ok()) << good.Describe();
    struct Damage {
        size_t at;
        const char *named;
    } damages[] = {
        {good.layout.blocks_start + 8, "block section frame 0 (code 12)"},
        {good.layout.tables[kLayerTable].position + 1, "table 1 record 0"},
        {0x5E, "the header block"},
        {original.size() - 154 + 4 + 40, "the tail record"},
    };
    for (const Damage &d : damages) {
        std::vector<uint8_t> file = original;
        file[d.at] ^= 0x10;
        const Dwg12CrcReport report = WalkDwg12Crcs(file);
        EXPECT_TRUE(Mentions(report, d.named)) << d.named << ":\n" << report.Describe();
    }
}

TEST(Dwg12CrcWalk, BrokenFrameOfTheFileIsNamed) {
    const std::vector<uint8_t> original = HandMadeDrawing();
    const Dwg12CrcReport good = WalkDwg12Crcs(original);
    {
        // A frame length that runs past its section.
        std::vector<uint8_t> file = original;
        put_u16(file, good.layout.entities_start + 2, 0x7000);
        EXPECT_TRUE(Mentions(WalkDwg12Crcs(file), "a frame of length"));
    }
    {
        // The header's copy of entities_end.
        std::vector<uint8_t> file = original;
        put_u32(file, 0x18, 1);
        Dwg12HeaderBlock head;
        std::copy(file.begin(), file.begin() + kDwg12HeaderSize, head.data().begin());
        head.SealCrc();
        std::copy(head.data().begin(), head.data().end(), file.begin());
        const Dwg12CrcReport report = WalkDwg12Crcs(file);
        EXPECT_TRUE(Mentions(report, "copy of entities_end")) << report.Describe();
        EXPECT_FALSE(Mentions(report, "the header block")) << report.Describe();
    }
    {
        // A block record that points into the middle of a frame.
        std::vector<uint8_t> file = original;
        BlockRec block;
        block.name = "B1";
        block.block_offset = 3;
        block.offset_top_byte = 0x40;
        const std::vector<uint8_t> record = MakeBlockRecord(block);
        std::copy(record.begin(), record.end(),
                  file.begin() + good.layout.tables[kBlockTable].position);
        const Dwg12CrcReport report = WalkDwg12Crcs(file);
        EXPECT_TRUE(Mentions(report, "no block start frame")) << report.Describe();
    }
    {
        // Bytes in a gap.
        std::vector<uint8_t> file = original;
        file[good.layout.entities_end + 5] = 1;
        EXPECT_TRUE(Mentions(WalkDwg12Crcs(file), "after the entity section"));
    }
}

TEST(Dwg12CrcWalk, ShortOrRandomBytesEndTheWalkWithoutHarm) {
    for (size_t n : {0u, 1u, 1727u, 1880u, 1881u, 4000u}) {
        std::vector<uint8_t> file(n, 0xFF);
        const Dwg12CrcReport report = WalkDwg12Crcs(file);
        EXPECT_FALSE(report.ok()) << n << " bytes";
    }
    std::vector<uint8_t> original = HandMadeDrawing();
    uint32_t state = 12345;
    for (int round = 0; round < 200; ++round) {
        std::vector<uint8_t> file = original;
        for (int k = 0; k < 8; ++k) {
            state = state * 1103515245u + 12345u;
            file[(state >> 8) % file.size()] = static_cast<uint8_t>(state >> 24);
        }
        WalkDwg12Crcs(file); // only its end is asked for
    }
}

} // namespace
} // namespace velko_test
