// Saving a release 12 drawing as DWG: the file's layout, its CRCs (checked by the tests'
// own bitwise CRC), and drawings read back equal to what was saved.
#include "dwg12/r12_entity_layout.h"
#include "dwg12/r12_header.h"
#include "dwg12/r12_loaded_drawing.h"
#include "support/bitwise_crc.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

using namespace velko_test;

namespace {

const std::string kSample = std::string(VELKO_SOURCE_DIR) + "/data/sample.dwg";

constexpr size_t kTail = 154;
constexpr size_t kTrailerFromEnd = 150;

// The drawing of a file, read whole.
std::unique_ptr<CR12Drawing> OpenDrawing(const std::string &path) {
    auto d = std::make_unique<CR12Drawing>(nullptr, 0);
    EXPECT_EQ(d->OpenDWG(path.c_str(), CDB_OPEN_READ), 1) << path;
    EXPECT_EQ(d->LoadDWG(), 1) << path;
    EXPECT_EQ(d->TriggerLoading(), 1) << path;
    return d;
}

int g_file_number = 0;

// A place for a saved file, removed at the end of the test.
std::unique_ptr<TempFile> OutFile() {
    return std::make_unique<TempFile>(CurrentTestName() + "_" + std::to_string(++g_file_number) +
                                      ".dwg");
}

// ---- Reading the saved bytes -------------------------------------------------------------

struct FileLayout {
    uint32_t entities_start = 0, entities_end = 0, blocks_start = 0, extra_start = 0;
    struct Table {
        uint16_t id = 0, record_size = 0;
        int16_t count = 0;
        uint32_t position = 0;
    } tables[10];
    uint32_t blocks_size = 0; // from the header block
};

FileLayout LayoutOf(const Bytes &file) {
    FileLayout l;
    const size_t t = file.size() - kTrailerFromEnd;
    l.entities_start = get_u32(file, t + 0);
    l.entities_end = get_u32(file, t + 4);
    l.blocks_start = get_u32(file, t + 8);
    l.extra_start = get_u32(file, t + 12);
    for (size_t i = 0; i < 10; ++i) {
        const size_t d = t + 28 + 10 * i;
        l.tables[i].id = get_u16(file, d);
        l.tables[i].record_size = get_u16(file, d + 2);
        l.tables[i].count = get_i16(file, d + 4);
        l.tables[i].position = get_u32(file, d + 6);
    }
    l.blocks_size = get_u32(file, 0x20) & 0x00FFFFFFu;
    return l;
}

// Checks the CRC of every frame from `start` to `end`, which must hold whole frames; the
// frame codes, in order.
std::vector<int> CheckFrames(const Bytes &file, size_t start, size_t end) {
    std::vector<int> codes;
    size_t at = start;
    while (at < end) {
        const size_t length = get_u16(file, at + 2);
        EXPECT_GE(length, 10u) << "frame at " << at;
        EXPECT_LE(at + length, end) << "frame at " << at;
        if (length < 10 || at + length > end)
            break;
        EXPECT_EQ(StoredCrc(&file[at + length - 2]), BitwiseDwgCrc(&file[at], length - 2))
            << "frame at " << at;
        codes.push_back(file[at]);
        at += length;
    }
    EXPECT_EQ(at, end);
    return codes;
}

// Checks every CRC of a saved file: the header, each table record, each entity frame of
// the entity and block sections, the tail record.
void ExpectEveryCrc(const Bytes &file) {
    ASSERT_GT(file.size(), 1727u + 16u + kTail);
    EXPECT_EQ(StoredCrc(&file[0x6BD]), BitwiseDwgCrc(file.data(), 0x6BD)) << "header";
    const size_t tail = file.size() - kTail;
    EXPECT_EQ(StoredCrc(&file[tail + 136]), BitwiseDwgCrc(&file[tail], 136)) << "tail";
    const FileLayout l = LayoutOf(file);
    for (int t = 0; t < 10; ++t) {
        const auto &table = l.tables[t];
        for (int i = 0; i < table.count; ++i) {
            const size_t at = table.position + size_t(i) * table.record_size;
            ASSERT_LE(at + table.record_size, file.size());
            EXPECT_EQ(StoredCrc(&file[at + table.record_size - 2]),
                      BitwiseDwgCrc(&file[at], table.record_size - 2u))
                << "table " << t << " record " << i;
        }
    }
    CheckFrames(file, l.entities_start, l.entities_end);
    CheckFrames(file, l.blocks_start, l.blocks_start + l.blocks_size);
}

// ---- Comparing drawings -------------------------------------------------------------------

Bytes HeaderBlock(CR12Drawing &d) {
    Bytes block(1727, 0);
    d.Header().Encode(block.data());
    return block;
}

Bytes RecordBytes(const CR12TableRecord *record) {
    Bytes block(size_t(record->GetFileSize()), 0);
    record->EncodeDWG(block.data());
    return block;
}

Bytes FrameOf(CR12Entity *entity) {
    std::vector<uint8_t> frame;
    EXPECT_EQ(entity->EncodeDWG(frame), 1);
    return frame;
}

std::vector<CR12Entity *> MainEntities(CR12Drawing &d) {
    std::vector<CR12Entity *> list;
    for (int i = 0; i < d.Entities().Count(); ++i)
        if (d.Entities().At(i)->Code() != CDB_ENDBLK)
            list.push_back(R12EntityAt(d.Entities(), i));
    return list;
}

void ExpectSameList(CEntityList *a, CEntityList *b, const std::string &where) {
    ASSERT_EQ(!a, !b) << where;
    if (!a)
        return;
    ASSERT_EQ(a->Count(), b->Count()) << where;
    for (int i = 0; i < a->Count(); ++i)
        EXPECT_EQ(FrameOf(R12EntityAt(*a, i)), FrameOf(R12EntityAt(*b, i)))
            << where << " entity " << i;
}

// `b` was read from the save of `a`: the same header (but for the positions and the view
// that the active viewport gives), the same table records (a block's name as reading makes
// it: an anonymous name gets its number once more), the same entities and blocks.
void ExpectSameDrawing(CR12Drawing &a, CR12Drawing &b, bool view_from_vport = true) {
    Bytes ha = HeaderBlock(a), hb = HeaderBlock(b);
    for (size_t i = 0x14; i < 0x5E; ++i)
        ha[i] = hb[i] = 0;
    if (view_from_vport) {
        const std::pair<size_t, size_t> view[] = {
            {0xC8, 0xD8}, {0xE0, 0x128}, {0x239, 0x251}, {0x341, 0x343}};
        for (auto range : view)
            for (size_t i = range.first; i < range.second; ++i)
                ha[i] = hb[i] = 0;
    }
    EXPECT_EQ(ha, hb) << "header";

    int anonymous = 0;
    for (int t = 0; t < 10; ++t) {
        CR12TableList &ta = a.Table(t), &tb = b.Table(t);
        ASSERT_EQ(ta.Count(), tb.Count()) << "table " << t;
        for (int i = 0; i < ta.Count(); ++i) {
            Bytes ra = RecordBytes(ta.At(i)), rb = RecordBytes(tb.At(i));
            if (t == kR12Blocks) {
                char na[32], nb[32];
                ta.At(i)->GetName(na);
                tb.At(i)->GetName(nb);
                std::string expected = na;
                if (na[0] == '*')
                    expected += std::to_string(anonymous++);
                EXPECT_EQ(std::string(nb), expected.substr(0, 31)) << "block " << i;
                EXPECT_EQ(ra[0], rb[0]) << "block " << i;
                continue;
            }
            EXPECT_EQ(ra, rb) << "table " << t << " record " << i;
        }
    }

    const std::vector<CR12Entity *> ea = MainEntities(a), eb = MainEntities(b);
    ASSERT_EQ(ea.size(), eb.size()) << "main entities";
    for (size_t i = 0; i < ea.size(); ++i)
        EXPECT_EQ(FrameOf(ea[i]), FrameOf(eb[i])) << "main entity " << i;

    ASSERT_EQ(a.Blocks().Count(), b.Blocks().Count());
    for (int i = 0; i < a.Blocks().Count(); ++i) {
        CModelBlock *ba = a.Blocks().At(i), *bb = b.Blocks().At(i);
        EXPECT_EQ(+ba->record->flags, +bb->record->flags) << "block " << i;
        EXPECT_EQ(std::memcmp(&ba->record->base_point, &bb->record->base_point, sizeof(CDB_POINT3)),
                  0)
            << "block " << i;
        ExpectSameList(ba->entities.get(), bb->entities.get(), "block " + std::to_string(i));
    }
}

// ---- A drawing made by hand ----------------------------------------------------------------

Bytes PolylineRun() {
    FrameSpec polyline(19);
    polyline.flags = 0x80;
    polyline.options_1 = 0x01;
    polyline.body = FrameBody().U8(1).bytes();
    FrameSpec v1(20), v2(20);
    v1.body = FrameBody().XY(0, 0).bytes();
    v2.body = FrameBody().XY(3, 4).bytes();
    FrameSpec end(17);
    end.body = FrameBody().I32(0).bytes();
    return Concat({MakeFrame(polyline), MakeFrame(v1), MakeFrame(v2), MakeFrame(end)});
}

Bytes InsertRun(int16_t block) {
    FrameSpec insert(14);
    insert.flags = 0x80;
    insert.options_1 = 0x04;
    insert.body = FrameBody().I16(block).XY(5, 6).F64(0.5).bytes();
    FrameSpec attrib(16);
    attrib.body = FrameBody().XY(5, 6).F64(0.2).Text("V1").Text("TAG").U8(0).bytes();
    FrameSpec end(17);
    end.body = FrameBody().I32(0).bytes();
    return Concat({MakeFrame(insert), MakeFrame(attrib), MakeFrame(end)});
}

Bytes ViewportFrame() {
    FrameSpec f(24);
    MviewData m;
    m.frozen_layers = {1};
    f.common.eed = MakeMviewData(m);
    f.common.space = 1;
    f.body = FrameBody().XYZ(6, 4.5, 0).F64(12).F64(9).I16(2).bytes();
    return MakeFrame(f);
}

// Tables as an empty drawing has them plus a deleted layer and a second layer, two blocks
// (one deleted), a viewport entity header; entities of many kinds.
Bytes HandMadeDrawing(Dwg12FileBuilder &b) {
    b.AddMinimalTables();
    LayerRec gone;
    gone.flags = 0x80;
    gone.name = "GONE";
    b.Add(gone);
    LayerRec walls;
    walls.name = "WALLS";
    walls.color = 3;
    b.Add(walls);
    VxRec vx;
    vx.vx_index = 2;
    b.Add(vx);

    const Bytes door =
        Concat({BeginBlockFrame(1, 2), LineFrame(0, 0, 0, 1, 1, 0), EndBlockFrame()});
    BlockRec deleted;
    deleted.flags = 0x80;
    deleted.name = "";
    b.Add(deleted);
    BlockRec live;
    live.name = "DOOR";
    live.block_offset = 0;
    b.Add(live);
    b.SetBlocks(door);

    FrameSpec circle(3);
    circle.common.handle = Bytes{0x2A, 0x0F};
    circle.common.color = 1;
    circle.layer = 2;
    circle.body = FrameBody().XY(1, 1).F64(2).bytes();
    FrameSpec text(7);
    text.body = FrameBody().XY(0, 0).F64(0.2).Text("hello").bytes();
    b.SetEntities(Concat({LineFrame(0, 0, 0, 10, 10, 0), MakeFrame(circle), PolylineRun(),
                          InsertRun(1), MakeFrame(text), ViewportFrame()}));
    return b.Build();
}

Bytes SaveToBytes(CR12Drawing &d, TempFile &out) {
    EXPECT_EQ(d.SaveAsDWG(out.c_str()), 0);
    return ReadFile(out.path());
}

} // namespace

// ---- Round trips ----------------------------------------------------------------------------

TEST(R12Save, SampleDrawingReadsBackEqual) {
    auto a = OpenDrawing(kSample);
    auto out = OutFile();
    const Bytes saved = SaveToBytes(*a, *out);
    ExpectEveryCrc(saved);
    auto b = OpenDrawing(out->path());
    ExpectSameDrawing(*a, *b);
}

TEST(R12Save, HandMadeDrawingReadsBackEqual) {
    Dwg12FileBuilder builder;
    TempFile source(CurrentTestName() + ".dwg", HandMadeDrawing(builder));
    auto a = OpenDrawing(source.path());
    ASSERT_EQ(MainEntities(*a).size(), 11u);
    auto out = OutFile();
    const Bytes saved = SaveToBytes(*a, *out);
    ExpectEveryCrc(saved);
    auto b = OpenDrawing(out->path());
    ExpectSameDrawing(*a, *b);
    // The viewport keeps its view and its header.
    CDB_ENTITY *vp = b->Entities().At(10)->GetData();
    EXPECT_EQ(+vp->entity_type, CDB_VIEWPORT);
    EXPECT_EQ(+vp->viewport.frozen_layer_count, 1);
    EXPECT_EQ(+vp->viewport.vx_index, 2);
    EXPECT_EQ(b->IsAnyPaperSpace(), 1);
}

TEST(R12Save, ASecondSaveOfTheSavedFileGivesTheSameBytes) {
    for (const bool sample : {true, false}) {
        Dwg12FileBuilder builder;
        TempFile source(CurrentTestName() + ".dwg",
                        sample ? ReadFile(kSample) : HandMadeDrawing(builder));
        auto a = OpenDrawing(source.path());
        auto first = OutFile();
        const Bytes once = SaveToBytes(*a, *first);
        auto b = OpenDrawing(first->path());
        auto second = OutFile();
        const Bytes twice = SaveToBytes(*b, *second);
        EXPECT_EQ(once, twice) << (sample ? "sample" : "hand-made");
    }
}

TEST(R12Save, SavingTwiceFromMemoryGivesTheSameBytes) {
    auto a = OpenDrawing(kSample);
    auto first = OutFile(), second = OutFile();
    const Bytes once = SaveToBytes(*a, *first);
    EXPECT_EQ(SaveToBytes(*a, *second), once);
}

// ---- The layout of the file ------------------------------------------------------------------

TEST(R12Save, TheSixteenSentinelBytesStandAt1727) {
    auto a = OpenDrawing(kSample);
    auto out = OutFile();
    const Bytes saved = SaveToBytes(*a, *out);
    const Bytes sentinel = {0xC4, 0x6E, 0x68, 0x54, 0xF8, 0x6E, 0x33, 0x30,
                            0x63, 0x3E, 0xC1, 0x85, 0x2A, 0xDC, 0x94, 0x01};
    EXPECT_EQ(Bytes(saved.begin() + 1727, saved.begin() + 1743), sentinel);
    EXPECT_EQ(LayoutOf(saved).entities_start, 1743u);
    EXPECT_EQ(std::string(saved.begin(), saved.begin() + 6), "AC1009");
}

TEST(R12Save, ThirtyTwoZerosFollowEverySectionAndTheBlockArea) {
    Dwg12FileBuilder builder;
    TempFile source(CurrentTestName() + ".dwg", HandMadeDrawing(builder));
    auto a = OpenDrawing(source.path());
    auto out = OutFile();
    const Bytes saved = SaveToBytes(*a, *out);
    const FileLayout l = LayoutOf(saved);
    auto zeros_at = [&](size_t at) {
        return Bytes(saved.begin() + long(at), saved.begin() + long(at) + 32) == Bytes(32, 0);
    };
    EXPECT_TRUE(zeros_at(l.entities_end));
    EXPECT_EQ(l.tables[0].position, l.entities_end + 32);
    for (int t = 0; t < 10; ++t) {
        const size_t end =
            l.tables[t].position + size_t(l.tables[t].count) * l.tables[t].record_size;
        EXPECT_TRUE(zeros_at(end)) << "table " << t;
        EXPECT_EQ(t < 9 ? l.tables[t + 1].position : l.blocks_start, end + 32) << t;
    }
    // The last table and the block area.
    EXPECT_TRUE(zeros_at(l.blocks_start + l.blocks_size));
    EXPECT_EQ(l.extra_start, l.blocks_start + l.blocks_size + 32);
    EXPECT_EQ(l.extra_start, saved.size() - kTail);
}

TEST(R12Save, TablesAreWrittenInTheirOrderWithTheirSizes) {
    auto a = OpenDrawing(kSample);
    auto out = OutFile();
    const FileLayout l = LayoutOf(SaveToBytes(*a, *out));
    const int sizes[10] = {45, 41, 198, 191, 153, 109, 253, 37, 324, 43};
    for (int t = 0; t < 10; ++t) {
        EXPECT_EQ(l.tables[t].id, t);
        EXPECT_EQ(l.tables[t].record_size, sizes[t]);
        EXPECT_EQ(l.tables[t].count, a->Table(t).Count());
    }
}

TEST(R12Save, ADeletedTableRecordIsSavedAsZerosWithACrc) {
    Dwg12FileBuilder builder;
    TempFile source(CurrentTestName() + ".dwg", HandMadeDrawing(builder));
    auto a = OpenDrawing(source.path());
    const int gone = 1; // the deleted layer, behind layer "0"
    ASSERT_EQ(a->Table(kR12Layers).At(gone)->Flags(), 0x80);
    auto out = OutFile();
    const Bytes saved = SaveToBytes(*a, *out);
    const FileLayout l = LayoutOf(saved);
    const size_t at = l.tables[kR12Layers].position + 41u * gone;
    EXPECT_EQ(Bytes(saved.begin() + long(at), saved.begin() + long(at) + 39), Bytes(39, 0));
    EXPECT_EQ(StoredCrc(&saved[at + 39]), BitwiseDwgCrc(Bytes(39, 0).data(), 39));
    // Its place stays: the later layer keeps its index.
    auto b = OpenDrawing(out->path());
    char name[32];
    b->Table(kR12Layers).At(gone + 1)->GetName(name);
    EXPECT_STREQ(name, "WALLS");
}

TEST(R12Save, TheCrcAt6BDCoversTheHeaderWithAllPatchedValues) {
    auto a = OpenDrawing(kSample);
    auto out = OutFile();
    const Bytes saved = SaveToBytes(*a, *out);
    const FileLayout l = LayoutOf(saved);
    EXPECT_EQ(get_u32(saved, 0x14), l.entities_start);
    EXPECT_EQ(get_u32(saved, 0x18), l.entities_end);
    EXPECT_EQ(get_u32(saved, 0x1C), l.blocks_start);
    EXPECT_EQ(get_u32(saved, 0x20) >> 24, 0x40u);
    EXPECT_EQ(get_u32(saved, 0x24), l.extra_start);
    EXPECT_EQ(get_u32(saved, 0x28), 0x80000000u);
    EXPECT_EQ(StoredCrc(&saved[0x6BD]), BitwiseDwgCrc(saved.data(), 0x6BD));
}

TEST(R12Save, TheHeaderHoldsACopyOfEveryTableDescriptor) {
    Dwg12FileBuilder builder;
    TempFile source(CurrentTestName() + ".dwg", HandMadeDrawing(builder));
    auto a = OpenDrawing(source.path());
    auto out = OutFile();
    const Bytes saved = SaveToBytes(*a, *out);
    const FileLayout l = LayoutOf(saved);
    const size_t copies[10] = {0x2C, 0x36, 0x40, 0x4A, 0x54, 0x3EF, 0x500, 0x512, 0x522, 0x69F};
    for (int t = 0; t < 10; ++t) {
        EXPECT_EQ(get_u16(saved, copies[t]), l.tables[t].record_size) << t;
        EXPECT_EQ(int32_t(get_u32(saved, copies[t] + 2)), l.tables[t].count) << t;
        EXPECT_EQ(get_u32(saved, copies[t] + 6), l.tables[t].position) << t;
    }
}

TEST(R12Save, ASavedDrawingsTrailerHasZerosAt16To25And10At26) {
    Dwg12FileBuilder builder;
    builder.SetTrailerReserved({1, 2, 3, 4, 5, 6, 7, 8, 9, 10});
    TempFile source(CurrentTestName() + ".dwg", HandMadeDrawing(builder));
    auto a = OpenDrawing(source.path());
    auto out = OutFile();
    const Bytes saved = SaveToBytes(*a, *out);
    const size_t trailer = saved.size() - kTrailerFromEnd;
    EXPECT_EQ(Bytes(saved.begin() + long(trailer) + 16, saved.begin() + long(trailer) + 26),
              Bytes(10, 0));
    EXPECT_EQ(get_u16(saved, trailer + 26), 10);
}

TEST(R12Save, TheTailRecordOpensWithItsTagAndTellsItsPosition) {
    auto a = OpenDrawing(kSample);
    auto out = OutFile();
    const Bytes saved = SaveToBytes(*a, *out);
    const size_t tail = saved.size() - kTail;
    EXPECT_EQ(get_u16(saved, tail), 0x10);
    EXPECT_EQ(get_u16(saved, tail + 2), 0x8A);
    EXPECT_EQ(get_u32(saved, tail + 132), tail - 16);
    EXPECT_EQ(Bytes(saved.end() - 16, saved.end()), Bytes(16, 0));
}

TEST(R12Save, BlockTableRecordsCarryTheirOffsetCountAndFlags) {
    Dwg12FileBuilder builder;
    TempFile source(CurrentTestName() + ".dwg", HandMadeDrawing(builder));
    auto a = OpenDrawing(source.path());
    auto out = OutFile();
    const Bytes saved = SaveToBytes(*a, *out);
    const FileLayout l = LayoutOf(saved);
    ASSERT_EQ(l.tables[0].count, 2);
    const size_t deleted = l.tables[0].position, live = deleted + 45;
    // The deleted block: its flags, nothing of a name or an offset.
    EXPECT_EQ(saved[deleted], 0x80);
    EXPECT_EQ(get_u32(saved, deleted + 35), 0u);
    EXPECT_EQ(get_i16(saved, deleted + 39), -1);
    EXPECT_EQ(saved[deleted + 41], 0x80);
    // The live one: its name, its frames at the offset, 0x40 in the offset's top byte.
    EXPECT_EQ(std::string(reinterpret_cast<const char *>(&saved[live + 1])), "DOOR");
    const uint32_t offset = get_u32(saved, live + 35);
    EXPECT_EQ(offset >> 24, 0x40u);
    EXPECT_EQ(saved[l.blocks_start + (offset & 0xFFFFFF)], 12);
    EXPECT_EQ(get_i16(saved, live + 39), -1);
    EXPECT_EQ(saved[live + 41], 0);
    EXPECT_EQ(saved[live + 42], 0);
    // Only the live block has frames: start, line, end.
    EXPECT_EQ(CheckFrames(saved, l.blocks_start, l.blocks_start + l.blocks_size),
              (std::vector<int>{12, 1, 13}));
    auto b = OpenDrawing(out->path());
    EXPECT_EQ(b->Table(kR12Blocks).At(0)->Flags(), 0x80);
    EXPECT_EQ(b->Blocks().At(0)->entities, nullptr);
    EXPECT_EQ(b->GetError(), 0);
}

TEST(R12Save, TheMainSectionHasNoEndFrameAndSavesDoNotAddOne) {
    auto a = OpenDrawing(kSample);
    const size_t count = MainEntities(*a).size();
    auto first = OutFile();
    const Bytes saved = SaveToBytes(*a, *first);
    const FileLayout l = LayoutOf(saved);
    for (int code : CheckFrames(saved, l.entities_start, l.entities_end))
        EXPECT_NE(code, CDB_ENDBLK);
    auto b = OpenDrawing(first->path());
    EXPECT_EQ(MainEntities(*b).size(), count);
    EXPECT_EQ(b->Entities().Count(), a->Entities().Count());
}

TEST(R12Save, AnEntityBehindTheSentinelIsWritten) {
    auto a = OpenDrawing(kSample);
    const int before = a->Entities().Count();
    CR12Entity *line = MakeR12Entity(a.get(), CDB_LINE);
    line->GetData()->line.end_point = CDB_POINT3{7.0, 8.0, 9.0};
    a->Entities().Append(line);
    auto out = OutFile();
    SaveToBytes(*a, *out);
    auto b = OpenDrawing(out->path());
    // The added line now stands before the sentinel of the new drawing.
    ASSERT_EQ(b->Entities().Count(), before + 1);
    CModelEntity *read = b->Entities().At(before - 1);
    EXPECT_EQ(read->Code(), CDB_LINE);
    EXPECT_EQ(+read->GetData()->line.end_point.z, 9.0);
    EXPECT_EQ(b->Entities().At(before)->Code(), CDB_ENDBLK);
}

TEST(R12Save, ASequenceEndPointsAtTheFrameItCloses) {
    Dwg12FileBuilder builder;
    TempFile source(CurrentTestName() + ".dwg", HandMadeDrawing(builder));
    auto a = OpenDrawing(source.path());
    auto out = OutFile();
    const Bytes saved = SaveToBytes(*a, *out);
    const FileLayout l = LayoutOf(saved);
    std::vector<size_t> positions;
    for (size_t at = l.entities_start; at < l.entities_end; at += get_u16(saved, at + 2))
        positions.push_back(at);
    // Line, circle, polyline, two vertices, end, insert, attribute, end.
    ASSERT_GE(positions.size(), 9u);
    EXPECT_EQ(saved[positions[5]], CDB_SEQEND);
    EXPECT_EQ(get_u32(saved, positions[5] + 8), positions[2]);
    EXPECT_EQ(saved[positions[8]], CDB_SEQEND);
    EXPECT_EQ(get_u32(saved, positions[8] + 8), positions[6]);
    auto b = OpenDrawing(out->path());
    auto *end = dynamic_cast<CR12SeqEnd *>(b->Entities().At(5));
    ASSERT_NE(end, nullptr);
    EXPECT_EQ(size_t(end->owner_position), positions[2]);
}

TEST(R12Save, TheActiveViewportGivesTheHeadersView) {
    auto a = OpenDrawing(kSample);
    const int index = a->Table(kR12Vports).FindByName("*ACTIVE");
    ASSERT_GE(index, 0);
    auto &vport = *static_cast<CDB_VPORT_TBL_type *>(a->Table(kR12Vports).At(index)->GetRecord());
    vport.view_center = CDB_POINT2{100.0, 200.0};
    vport.view_height = 55.0;
    vport.snap_angle = RadiansToDegrees(0.25);
    vport.grid_mode = 1;
    const CDB_POINT2 before = a->Header().vars.viewctr;
    auto out = OutFile();
    const Bytes saved = SaveToBytes(*a, *out);
    EXPECT_EQ(get_f64(saved, 0xC8), 100.0);
    EXPECT_EQ(get_f64(saved, 0xD0), 200.0);
    EXPECT_EQ(get_f64(saved, 0xE0), 55.0);
    EXPECT_EQ(get_f64(saved, 0x10A), 0.25);
    EXPECT_EQ(get_i16(saved, 0x116), 1);
    // The drawing's own header is not changed by the save.
    EXPECT_EQ(+a->Header().vars.viewctr.x, before.x);
    auto b = OpenDrawing(out->path());
    EXPECT_EQ(+b->Header().vars.viewsize, 55.0);
}

// ---- Saving and the drawing's file -----------------------------------------------------------

TEST(R12Save, AfterSaveAsTheDrawingGoesOnWithTheNewNameAndNoOpenFile) {
    auto a = OpenDrawing(kSample);
    auto out = OutFile();
    ASSERT_EQ(a->SaveAsDWG(out->c_str()), 0);
    EXPECT_EQ(std::string(a->GetFileName()), out->path());
    EXPECT_EQ(a->FileKind(), CR12Drawing::kDwg);
    ASSERT_NE(a->File(), nullptr);
    EXPECT_FALSE(a->File()->IsOpen());
    // What is in memory is what counts: the walk goes on.
    EXPECT_EQ(a->TriggerLoading(), 1);
    EXPECT_GE(a->FirstEntity(-1), 0);
    EXPECT_EQ(a->EntityCount(-1), a->Entities().Count());
    // And it can be saved again.
    auto again = OutFile();
    EXPECT_EQ(a->SaveAsDWG(again->c_str()), 0);
}

TEST(R12Save, SaveWritesTheDrawingIntoItsOwnFile) {
    TempFile own(CurrentTestName() + ".dwg", ReadFile(kSample));
    auto a = OpenDrawing(own.path());
    auto reference = OutFile();
    const Bytes expected = SaveToBytes(*OpenDrawing(kSample), *reference);
    EXPECT_EQ(a->Save(), 0);
    EXPECT_EQ(ReadFile(own.path()), expected);
    EXPECT_EQ(std::string(a->GetFileName()), own.path());
    auto b = OpenDrawing(own.path());
    ExpectSameDrawing(*a, *b);
    // Once more, from a drawing whose file is closed.
    EXPECT_EQ(a->Save(), 0);
    EXPECT_EQ(ReadFile(own.path()), expected);
}

TEST(R12Save, ASaveToADirectoryThatDoesNotExistFailsAndTheDrawingKeepsWorking) {
    auto a = OpenDrawing(kSample);
    CDrawingFile *file = a->File();
    const std::string missing = ::testing::TempDir() + "no_such_dir_velko/out.dwg";
    EXPECT_EQ(a->SaveAsDWG(missing.c_str()), CDB_FAIL);
    EXPECT_EQ(a->GetError(), CDB_ERR_OPENING_FILE);
    EXPECT_EQ(a->File(), file);
    EXPECT_TRUE(a->File()->IsOpen());
    EXPECT_EQ(std::string(a->GetFileName()), kSample);
    EXPECT_GE(a->FirstEntity(-1), 0);
    auto out = OutFile();
    EXPECT_EQ(a->SaveAsDWG(out->c_str()), 0);
}

TEST(R12Save, AnEntityThatCannotBeWrittenFailsTheSaveAndTheOldFileComesBack) {
    auto a = OpenDrawing(kSample);
    CDrawingFile *file = a->File();
    CR12Entity *text = MakeR12Entity(a.get(), 7);
    const std::string long_text(40000, 'x');
    text->GetData()->text.text = static_cast<char *>(std::malloc(long_text.size() + 1));
    std::memcpy(text->GetData()->text.text, long_text.c_str(), long_text.size() + 1);
    a->Entities().Append(text);
    auto out = OutFile();
    EXPECT_EQ(a->SaveAsDWG(out->c_str()), CDB_FAIL);
    EXPECT_EQ(a->File(), file);
    EXPECT_EQ(std::string(a->GetFileName()), kSample);
}

namespace {
int32_t g_progress_calls = 0;
int32_t g_progress_last = 0;
void CountProgress(int32_t written) {
    ++g_progress_calls;
    g_progress_last = written;
}
} // namespace

TEST(R12Save, ProgressCountsEntitiesAndTableRecords) {
    auto a = OpenDrawing(kSample);
    for (int i = 0; i < 1100; ++i)
        a->Entities().Append(MakeR12Entity(a.get(), CDB_POINT));
    g_progress_calls = 0;
    a->save_progress = CountProgress;
    auto out = OutFile();
    EXPECT_EQ(a->SaveAsDWG(out->c_str()), 0);
    EXPECT_EQ(g_progress_calls, 1);
    EXPECT_EQ(g_progress_last, 1024);
}

TEST(R12Save, AnEmptyDrawingSavesAndReadsBack) {
    TempFile source(CurrentTestName() + ".dwg", MinimalDwg12());
    auto a = OpenDrawing(source.path());
    auto out = OutFile();
    const Bytes saved = SaveToBytes(*a, *out);
    ExpectEveryCrc(saved);
    const FileLayout l = LayoutOf(saved);
    EXPECT_EQ(l.entities_start, l.entities_end);
    EXPECT_EQ(l.blocks_size, 0u);
    auto b = OpenDrawing(out->path());
    ExpectSameDrawing(*a, *b);
}

TEST(R12Save, TheFlatFunctionsSaveAsDwgAndSaveAgain) {
    const int16_t h = CDBStartFileReading(kSample.c_str(), nullptr);
    ASSERT_GE(h, 0);
    const int16_t count = CDBEntityCount(h, -1);
    const std::string missing = ::testing::TempDir() + "no_such_dir_velko/out.dwg";
    EXPECT_EQ(CDBSaveAsDWG(h, missing.c_str()), CDB_FAIL);
    EXPECT_EQ(CDBGetErrorNumber(h), CDB_ERR_OPENING_FILE);
    auto out = OutFile();
    EXPECT_EQ(CDBSaveAsDWG(h, out->c_str()), 0);
    const Bytes saved = ReadFile(out->path());
    // The drawing's file is now the new one: Save writes it again, to the same bytes.
    EXPECT_EQ(CDBSave(h), 0);
    EXPECT_EQ(ReadFile(out->path()), saved);
    EXPECT_EQ(CDBEntityCount(h, -1), count);
    EXPECT_EQ(CDBEndOperation(h), 0);

    const int16_t again = CDBStartFileReading(out->c_str(), nullptr);
    ASSERT_GE(again, 0);
    EXPECT_EQ(CDBEntityCount(again, -1), count);
    CDBEndOperation(again);
}
