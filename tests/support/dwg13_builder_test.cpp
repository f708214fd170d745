// Tests of the release 13 DWG builder itself: the file head, the sections and the object
// area where its description puts them.
#include "support/dwg13_builder.h"

#include "interface/test_files.h"

#include "dwg13/r13_block.h"
#include "dwg13/r13_entity_kinds.h"
#include "dwg13/r13_tables.h"
#include "io/bit_stream.h"
#include "io/drawing_file.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

namespace velko_test {
namespace {

uint32_t U32At(const std::vector<uint8_t> &b, size_t at) {
    return uint32_t(b[at]) | uint32_t(b[at + 1]) << 8 | uint32_t(b[at + 2]) << 16 |
           uint32_t(b[at + 3]) << 24;
}

TEST(Dwg13Builder, TheHeadNamesTheSectionsWhereTheyAre) {
    Dwg13Builder b;
    b.classes = {1, 2, 3};
    const std::vector<uint8_t> file = b.Build();
    EXPECT_EQ(std::memcmp(file.data(), "AC1012", 6), 0);
    EXPECT_EQ(file[21], 4);
    EXPECT_EQ(U32At(file, 26), uint32_t(Dwg13Builder::HeaderSectionOffset()));
    const uint32_t classes_at = U32At(file, 35);
    EXPECT_EQ(U32At(file, 39), 3u);
    EXPECT_EQ(file[classes_at], 1);
    EXPECT_EQ(classes_at + 3, uint32_t(b.ObjectsStart()));
    EXPECT_EQ(U32At(file, 44), uint32_t(b.MapOffset()));
    const uint32_t trailing_at = U32At(file, 53);
    EXPECT_EQ(U32At(file, 57), 32u);
    EXPECT_EQ(trailing_at + 32, file.size());
    EXPECT_EQ(U32At(file, trailing_at + 16), uint32_t(b.ObjectsStart()));
}

TEST(Dwg13Builder, TheObjectAreaOpensWithTheBlockControl) {
    Dwg13Builder b;
    const std::vector<uint8_t> file = b.Build();
    const R13Object first(file.begin() + b.ObjectsStart(), file.end());
    EXPECT_EQ(R13ObjectType(first), 48);
    EXPECT_EQ(R13ObjectHandle(first), 1u);
    EXPECT_EQ(b.OffsetOf(0x01), b.ObjectsStart());
    // The spaces' headers follow it, each behind the one before.
    EXPECT_LT(b.OffsetOf(0x20), b.OffsetOf(0x23));
    EXPECT_LT(b.OffsetOf(0x25), b.OffsetOf(0x02));
}

TEST(Dwg13Builder, TheMapHoldsEveryObjectSortedByHandle) {
    Dwg13Builder b;
    b.other_objects.push_back(OpaqueObject(600, 0x0C));
    b.extra_map_entries.push_back(ObjectMapEntry{0x7000, 99});
    TempFile file("builder_map.dwg", b.Build());
    CDrawingFile opened;
    ASSERT_TRUE(opened.Open(file.c_str(), kDrawingFileRead));
    CObjectMap map;
    ASSERT_EQ(map.Read(opened), 1);
    ASSERT_EQ(map.Count(), b.MapEntries().size());
    for (size_t i = 0; i < map.Count(); ++i) {
        EXPECT_EQ(map.At(i).handle, b.MapEntries()[i].handle);
        EXPECT_EQ(map.At(i).offset, b.MapEntries()[i].offset);
        if (i > 0) {
            EXPECT_LT(map.At(i - 1).handle, map.At(i).handle);
        }
    }
    EXPECT_EQ(map.GetOffset(0x0C), b.OffsetOf(0x0C));
    EXPECT_EQ(map.LowestOffset(), 99);
    opened.Close();
}

TEST(Dwg13Builder, AnEditChangesTheOneObjectOfThatHandle) {
    Dwg13Builder b;
    b.Build();
    const int32_t before = b.OffsetOf(0x03);
    b.edit_objects[0x02] = [](R13Object &object) { object = OpaqueObject(600, 0x02, 40); };
    b.Build();
    EXPECT_GT(b.OffsetOf(0x03), before);
}

TEST(Dwg13Builder, AnEntityObjectCarriesItsTypeAndHandle) {
    const R13Object object = EntityObject(R13EntityHead{}.Type(501).Handle(0x1234));
    EXPECT_EQ(R13ObjectType(object), 501);
    EXPECT_EQ(R13ObjectHandle(object), 0x1234u);
    EXPECT_EQ(size_t(object[0] | object[1] << 8) + 4, object.size());
}

TEST(Dwg13Builder, AnEntityHeadReadsBackAsItWasGiven) {
    std::vector<uint8_t> values;
    PutEedShort(values, 7);
    const R13Object object =
        EntityObject(R13EntityHead{}.Handle(0x44).InBlock(0x50).Layer("31").LineType("15").Eed(
            Eed13(0x12, values)));
    CR13PlainEntity read(nullptr, CDB_SEQEND, kR13SeqEndType, 0);
    CBitStream stream(object.data());
    ASSERT_EQ(read.ReadDWG(stream), 1);
    const CDB_ENTITY *r = read.GetData();
    EXPECT_STREQ(r->handle, "44");
    EXPECT_EQ(+r->has_owner, 1u);
    EXPECT_EQ(+r->owner.value, 0x50u);
    EXPECT_STREQ(r->layer_handle, "31");
    EXPECT_STREQ(r->line_type_handle, "15");
    EXPECT_EQ(+r->color, 256);
    ASSERT_EQ(+r->eed_size, 5u);
    EXPECT_EQ(r->eed_data[0], 0x51);
    EXPECT_EQ(r->eed_data[1], 0x12);
    EXPECT_EQ(r->eed_data[2], 70);
}

TEST(Dwg13Builder, ABlockStartWrittenThroughTheHeadHelpersKeepsItsName) {
    CR13BlockStart start(nullptr);
    SetEntityHead(start, R13EntityHead{}.Type(kR13BlockType).Handle(0x51).InBlock(0x50));
    start.GetData()->block.name = static_cast<char *>(std::malloc(5));
    std::memcpy(start.GetData()->block.name, "DOOR", 5);
    const R13Object object = EntityObjectOf(start);
    EXPECT_EQ(R13ObjectType(object), kR13BlockType);
    CR13BlockStart read(nullptr);
    CBitStream stream(object.data());
    ASSERT_EQ(read.ReadDWG(stream), 1);
    EXPECT_STREQ(read.GetData()->block.name, "DOOR");
    EXPECT_STREQ(read.GetData()->handle, "51");
}

} // namespace
} // namespace velko_test
