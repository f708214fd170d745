// Tests of the hand-made release 12 DWG builder itself.
#include "records/angles.h"
#include "support/dwg12_builder.h"

#include <gtest/gtest.h>

#include <cstring>

namespace velko_test {
namespace {

TEST(Dwg12Builder, CrcCheckValue) {
    const char *check = "123456789";
    EXPECT_EQ(DwgCrc(reinterpret_cast<const uint8_t *>(check), 9), 0x7E6C);
}

TEST(Dwg12Builder, CrcOfNothingIsTheSeed) {
    EXPECT_EQ(DwgCrc(nullptr, 0), 0xC0C1);
    EXPECT_EQ(DwgCrc(nullptr, 0, 0x1234), 0x1234);
}

TEST(Dwg12Builder, LittleEndianHelpers) {
    Bytes b;
    put_u16(b, 2, 0x1234);
    ASSERT_EQ(b.size(), 4u);
    EXPECT_EQ(b[2], 0x34);
    EXPECT_EQ(b[3], 0x12);
    append_i32(b, -2);
    EXPECT_EQ(get_u32(b, 4), 0xFFFFFFFEu);
    append_f64(b, 1.5);
    EXPECT_EQ(get_f64(b, 8), 1.5);
    EXPECT_EQ(b[15], 0x3F); // 1.5 = 0x3FF8000000000000, high byte last
    put_text(b, 0, 2, "ABC");
    EXPECT_EQ(b[0], 'A');
    EXPECT_EQ(b[1], 'B');
    EXPECT_EQ(b[2], 0x34);
}

TEST(Dwg12Builder, HeaderBlockSizeAndVersion) {
    Dwg12HeaderBlock h;
    EXPECT_EQ(h.size(), 1727u);
    EXPECT_EQ(std::memcmp(h.data().data(), "AC1009", 6), 0);
    EXPECT_EQ(h.data()[6], 0);
    EXPECT_THROW(h.SetF64(1720, 1.0), std::out_of_range);
}

TEST(Dwg12Builder, HeaderDefaults) {
    Dwg12HeaderBlock h = Dwg12HeaderBlock::Defaults();
    EXPECT_EQ(h.GetF64(hdr::limmax), 12.0);
    EXPECT_EQ(h.GetF64(hdr::limmax + 8), 9.0);
    EXPECT_EQ(h.GetF64(hdr::viewsize), 9.0);
    EXPECT_EQ(h.GetI16(hdr::treedepth), 3020);
    EXPECT_EQ(h.GetF64(hdr::dimasz), 0.18);
    EXPECT_EQ(h.GetI16(hdr::celtype), 0x7FFF);
    EXPECT_EQ(std::memcmp(h.data().data() + hdr::menu, "acad", 5), 0);
}

TEST(Dwg12Builder, HeaderMenuIsSplit) {
    Dwg12HeaderBlock h;
    h.SetMenu("ABCDEFGHIJKLMNOPQRST");
    EXPECT_EQ(std::memcmp(h.data().data() + 0x194, "ABCDEFGHIJKLMNO", 15), 0);
    EXPECT_EQ(std::memcmp(h.data().data() + 0x1FC, "PQRST", 6), 0);
}

TEST(Dwg12Builder, HeaderCrc) {
    Dwg12HeaderBlock h = Dwg12HeaderBlock::Defaults();
    h.SealCrc();
    uint16_t crc = static_cast<uint16_t>(h.data()[0x6BD] | (h.data()[0x6BE] << 8));
    EXPECT_EQ(crc, DwgCrc(h.data().data(), 0x6BD));
}

TEST(Dwg12Builder, RecordSizes) {
    EXPECT_EQ(MakeBlockRecord({}).size(), 45u);
    EXPECT_EQ(MakeLayerRecord({}).size(), 41u);
    EXPECT_EQ(MakeStyleRecord({}).size(), 198u);
    EXPECT_EQ(MakeLtypeRecord({}).size(), 191u);
    EXPECT_EQ(MakeViewRecord({}).size(), 153u);
    EXPECT_EQ(MakeUcsRecord({}).size(), 109u);
    EXPECT_EQ(MakeVportRecord({}).size(), 253u);
    EXPECT_EQ(MakeAppidRecord({}).size(), 37u);
    EXPECT_EQ(MakeDimstyleRecord({}).size(), 324u);
    EXPECT_EQ(MakeVxRecord({}).size(), 43u);
    for (int t = 0; t < kDwg12TableCount; ++t)
        EXPECT_EQ(MakeZeroRecord(t).size(), kDwg12RecordSize[static_cast<size_t>(t)]);
}

TEST(Dwg12Builder, RecordsEndWithTheirCrc) {
    const Bytes records[] = {MakeBlockRecord({}),
                             MakeLayerRecord({}),
                             MakeStyleRecord({}),
                             MakeLtypeRecord({}),
                             MakeViewRecord({}),
                             MakeUcsRecord({}),
                             MakeVportRecord({}),
                             MakeAppidRecord({}),
                             MakeDimstyleRecord({}),
                             MakeVxRecord({}),
                             MakeZeroRecord(kLayerTable, 0x80)};
    for (const Bytes &r : records) {
        size_t n = r.size() - 2;
        EXPECT_EQ(get_u16(r, n), DwgCrc(r.data(), n));
    }
}

TEST(Dwg12Builder, LayerRecordFields) {
    LayerRec rec;
    rec.flags = 0x80;
    rec.name = "WALLS";
    rec.color = 1;
    rec.ltype = 2;
    Bytes r = MakeLayerRecord(rec);
    EXPECT_EQ(r[0], 0x80);
    EXPECT_EQ(std::memcmp(r.data() + 1, "WALLS", 6), 0);
    EXPECT_EQ(get_i16(r, 35), 1);
    EXPECT_EQ(get_i16(r, 37), 2);
}

TEST(Dwg12Builder, LtypeRecordFields) {
    LtypeRec rec;
    rec.name = "DASHED";
    rec.dashes = {0.5, -0.25};
    rec.pattern_length = 0.75;
    Bytes r = MakeLtypeRecord(rec);
    EXPECT_EQ(r[83], 65);
    EXPECT_EQ(r[84], 2);
    EXPECT_EQ(get_f64(r, 85), 0.75);
    EXPECT_EQ(get_f64(r, 93), 0.5);
    EXPECT_EQ(get_f64(r, 101), -0.25);
    EXPECT_EQ(get_f64(r, 109), 0.0);

    rec.dash_count = 20; // more than the record holds; only the count says so
    rec.dashes.assign(20, 1.0);
    r = MakeLtypeRecord(rec);
    EXPECT_EQ(r.size(), 191u);
    EXPECT_EQ(r[84], 20);
}

TEST(Dwg12Builder, AnglesAreStoredAsGiven) {
    StyleRec style;
    style.oblique_angle = kPi / 6;
    EXPECT_EQ(get_f64(MakeStyleRecord(style), 51), kPi / 6);
    VportRec vport;
    vport.twist_angle = 0.25;
    vport.snap_angle = 0.5;
    Bytes r = MakeVportRecord(vport);
    EXPECT_EQ(get_f64(r, 115), 0.25);
    EXPECT_EQ(get_f64(r, 195), 0.5);
    EXPECT_EQ(get_f64(r, 235 + 8), 0.0); // grid spacing y, last field
}

TEST(Dwg12Builder, BlockRecordOffsetTopByte) {
    BlockRec rec;
    rec.block_offset = 0x12345678; // only 24 bits are kept
    rec.offset_top_byte = 0x40;
    EXPECT_EQ(get_u32(MakeBlockRecord(rec), 35), 0x40345678u);
}

TEST(Dwg12Builder, EmptyFileLayout) {
    Dwg12FileBuilder b;
    Bytes f = b.Build();
    const Dwg12Layout &l = b.layout();
    EXPECT_EQ(f.size(), l.file_size);
    EXPECT_EQ(l.entities_start, 1743u);
    EXPECT_EQ(l.entities_end, 1743u);
    EXPECT_EQ(std::memcmp(f.data() + 1727, kDwg12Sentinel.data(), 16), 0);
    // Ten empty tables, each a 32-byte gap, after the entity gap.
    EXPECT_EQ(l.blocks_start, 1743u + 32 + 10 * 32);
    EXPECT_EQ(l.extra_start, l.blocks_start + 32);
    EXPECT_EQ(l.tail_start, l.extra_start);
    EXPECT_EQ(f.size(), l.extra_start + 154u);
}

TEST(Dwg12Builder, TailRecordIsTheLast154Bytes) {
    Dwg12FileBuilder b;
    b.AddMinimalTables();
    b.SetEntities(Bytes(100, 0xAA));
    b.SetBlocks(Bytes(40, 0xBB));
    b.SetExtra(Bytes(8, 0xCC));
    Bytes f = b.Build();
    size_t tail = f.size() - 154;
    EXPECT_EQ(tail, b.layout().tail_start);
    EXPECT_EQ(get_u16(f, tail), 16);
    EXPECT_EQ(get_u16(f, tail + 2), 138);
    EXPECT_EQ(get_u32(f, tail + 132), tail - 16);
    EXPECT_EQ(get_u16(f, tail + 136), DwgCrc(f.data() + tail, 136));
    for (size_t i = f.size() - 16; i < f.size(); ++i)
        EXPECT_EQ(f[i], 0);
}

TEST(Dwg12Builder, TrailerOffsets) {
    Dwg12FileBuilder b;
    b.AddMinimalTables();
    b.SetEntities(Bytes(100, 0xAA));
    b.SetBlocks(Bytes(40, 0xBB));
    b.SetExtra(Bytes(8, 0xCC));
    Bytes f = b.Build();
    const Dwg12Layout &l = b.layout();
    size_t tr = f.size() - 150;
    EXPECT_EQ(tr, l.trailer_start);
    EXPECT_EQ(get_u32(f, tr + 0), 1743u);
    EXPECT_EQ(get_u32(f, tr + 4), 1843u);
    EXPECT_EQ(get_u32(f, tr + 8), l.blocks_start);
    EXPECT_EQ(get_u32(f, tr + 12), l.extra_start);
    for (size_t i = 16; i < 26; ++i)
        EXPECT_EQ(f[tr + i], 0);
    EXPECT_EQ(get_u16(f, tr + 26), 10);
    EXPECT_EQ(f[l.blocks_start], 0xBB);
    EXPECT_EQ(f[l.extra_start], 0xCC);
    EXPECT_EQ(f[l.entities_start], 0xAA);
    EXPECT_EQ(f[l.entities_end], 0);
    // The header block carries the same values.
    EXPECT_EQ(get_u32(f, 0x14), 1743u);
    EXPECT_EQ(get_u32(f, 0x18), 1843u);
    EXPECT_EQ(get_u32(f, 0x1C), l.blocks_start);
    EXPECT_EQ(get_u32(f, 0x20), 0x40000000u + 40);
    EXPECT_EQ(get_u32(f, 0x24), l.extra_start);
    EXPECT_EQ(get_u32(f, 0x28), 0x80000000u);
    EXPECT_EQ(get_u16(f, 0x6BD), DwgCrc(f.data(), 0x6BD));
}

TEST(Dwg12Builder, DescriptorsPointAtTheRecords) {
    Dwg12FileBuilder b;
    b.AddMinimalTables();
    LayerRec walls;
    walls.name = "WALLS";
    b.Add(walls);
    b.Add(DimstyleRec{});
    b.Add(BlockRec{});
    Bytes f = b.Build();
    size_t tr = f.size() - 150;
    for (int t = 0; t < kDwg12TableCount; ++t) {
        size_t d = tr + 28 + 10 * static_cast<size_t>(t);
        EXPECT_EQ(get_u16(f, d), t);
        uint16_t size = get_u16(f, d + 2);
        int16_t count = get_i16(f, d + 4);
        uint32_t pos = get_u32(f, d + 6);
        EXPECT_EQ(size, kDwg12RecordSize[static_cast<size_t>(t)]);
        ASSERT_EQ(static_cast<size_t>(count), b.records(t).size());
        for (int i = 0; i < count; ++i) {
            const Bytes &want = b.records(t)[static_cast<size_t>(i)];
            EXPECT_EQ(std::memcmp(f.data() + pos + static_cast<size_t>(i) * size, want.data(),
                                  want.size()),
                      0);
        }
        // 32 zero bytes behind every table.
        for (size_t i = 0; i < 32; ++i)
            EXPECT_EQ(f[pos + static_cast<size_t>(count) * size + i], 0);
        // The header's copy of the descriptor.
        size_t c = kDwg12HeaderDescriptorCopyAt[static_cast<size_t>(t)];
        EXPECT_EQ(get_u16(f, c), size);
        EXPECT_EQ(static_cast<int32_t>(get_u32(f, c + 2)), count);
        EXPECT_EQ(get_u32(f, c + 6), pos);
    }
    EXPECT_EQ(std::memcmp(f.data() + get_u32(f, tr + 28 + 10 + 6) + 41 + 1, "WALLS", 6), 0);
}

TEST(Dwg12Builder, OverridesAndGaps) {
    Dwg12FileBuilder b;
    b.AddMinimalTables();
    b.OverrideDescriptor(kLayerTable, 41, 5, 0x7FFFFFF0);
    b.OverrideDescriptorId(kStyleTable, 3);
    b.SetGapBeforeTail(32);
    Bytes f = b.Build();
    size_t tr = f.size() - 150;
    EXPECT_EQ(get_i16(f, tr + 28 + 10 + 4), 5);
    EXPECT_EQ(get_u32(f, tr + 28 + 10 + 6), 0x7FFFFFF0u);
    EXPECT_EQ(get_u16(f, tr + 28 + 20), 3);
    EXPECT_EQ(b.layout().tail_start, b.layout().extra_start + 32);
    // The records are laid out all the same.
    EXPECT_EQ(f[b.layout().table_start[kLayerTable] + 1], '0');

    b.SetTrailerReserved({1, 0, 0, 0, 0, 0, 0, 0, 0, 0x4D});
    Bytes h = b.Build();
    EXPECT_EQ(get_u16(h, h.size() - 150 + 16), 1);
    EXPECT_EQ(h[h.size() - 150 + 25], 0x4D);
    EXPECT_EQ(get_u16(h, h.size() - 150 + 26), 10);

    b.ClearOverrides();
    Bytes g = b.Build();
    EXPECT_EQ(get_u16(g, g.size() - 150 + 28 + 20), 2);
}

TEST(Dwg12Builder, ComputeLayoutMatchesBuild) {
    Dwg12FileBuilder b;
    b.AddMinimalTables();
    b.SetBlocks(Bytes(7, 1));
    Dwg12Layout before = b.ComputeLayout();
    b.Build();
    EXPECT_EQ(before.file_size, b.layout().file_size);
    EXPECT_EQ(before.blocks_start, b.layout().blocks_start);
    EXPECT_EQ(b.bytes().size(), before.file_size);
}

} // namespace
} // namespace velko_test
