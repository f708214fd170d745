// The block header, the control objects and the table managers of release 13: objects
// written with the library's writer and read back, tables read from a file, the lookups and
// the walk over the objects behind the tables.
#include "dwg13/r13_record_layout.h"
#include "dwg13/r13_tables.h"
#include "dwg13/r13_test_objects.h"
#include "interface/test_files.h"
#include "io/bit_stream.h"
#include "io/bit_writer.h"
#include "io/drawing_file.h"

#include <gtest/gtest.h>
#include <memory>

using velko_test::Bytes;
using velko_test::Dup;
using velko_test::HandObject;
using velko_test::Ref;
using velko_test::TempFile;
using velko_test::Written;

namespace {

std::vector<uint8_t> BlockObject(const char *name, const char *handle) {
    CR13BlockRecord block(nullptr);
    R13BlockBody &b = block.body;
    b.record.name = Dup(name);
    b.record.handle = Dup(handle);
    b.record.links.ref_count = 1;
    b.object_bits = 77;
    b.base_point = {1.0, 2.0, 3.0};
    b.xref_path = Dup("c:\\x.dwg");
    for (int i = 0; i < 7; ++i)
        b.record.links.refs[i] = Ref(static_cast<int16_t>(i < 3 ? 4 : 2), 0x20u + i);
    return Written(block);
}

std::vector<uint8_t> LayerObject(const char *name, const char *handle, int16_t color) {
    CR13LayerRecord layer(nullptr);
    layer.Rec().name = Dup(name);
    layer.Rec().handle = Dup(handle);
    layer.Rec().color = color;
    layer.Rec().line_type_handle = Dup("16");
    return Written(layer);
}

std::vector<uint8_t> ControlObject(int16_t record_type, std::vector<uint32_t> entries) {
    CR13TableHead head;
    head.handle = record_type == kR13Layer ? "2" : "3";
    head.entry_count = static_cast<int16_t>(entries.size());
    for (uint32_t value : entries)
        head.entries.push_back(Ref(2, value));
    CBitWriter writer;
    head.Write(writer, record_type);
    return Bytes(writer);
}

std::vector<uint8_t> Join(std::initializer_list<std::vector<uint8_t>> parts) {
    std::vector<uint8_t> all;
    for (const auto &part : parts)
        all.insert(all.end(), part.begin(), part.end());
    return all;
}

// An object of some other kind (a dictionary, say) with a handle.
std::vector<uint8_t> OtherObject(int16_t type, const char *handle) {
    return HandObject(type, handle, [](CBitWriter &w) {
        w.WriteRawLong(0);
        w.WriteBitShort(12);
    });
}

std::vector<uint8_t> MlineObject(const char *name, const char *handle) {
    CR13MlineStyleRecord style(nullptr);
    style.Rec().name = Dup(name);
    style.Rec().handle = Dup(handle);
    return Written(style);
}

} // namespace

TEST(R13BlockHeader, RoundTripsWithItsSevenReferences) {
    CR13BlockRecord back(nullptr);
    ASSERT_EQ(back.ReadDWG(BlockObject("DOOR", "1C").data()), 1);
    EXPECT_STREQ(back.Name(), "DOOR");
    EXPECT_STREQ(back.RecordHandle(), "1C");
    EXPECT_EQ(back.ObjectBits(), 77u);
    EXPECT_EQ(back.body.record.links.ref_count, 1);
    EXPECT_EQ(back.BlockFlags(), 0xC0) << "an ordinary block goes out with the bits 0xC0";
    EXPECT_EQ(back.InModelFlag(), 1);
    EXPECT_EQ(back.IsXrefBlock(), 0);
    EXPECT_EQ(back.BasePoint().x, 1.0);
    EXPECT_EQ(back.BasePoint().z, 3.0);
    EXPECT_STREQ(back.XrefPath(), "c:\\x.dwg");
    for (int i = 0; i < 7; ++i) {
        EXPECT_EQ(back.Ref(i).code, i < 3 ? 4 : 2);
        EXPECT_EQ(back.Ref(i).value, 0x20u + i);
    }
    EXPECT_EQ(back.FirstEntity(), "23");
    EXPECT_EQ(back.FirstHandle(), "24");
    EXPECT_EQ(back.LastHandle(), "25");
    EXPECT_EQ(back.EndBlock(), "26");
}

TEST(R13BlockHeader, AU3BlockIsWrittenAsStarUWithTheValue200) {
    std::vector<uint8_t> object = BlockObject("*U3", "30");
    CR13BlockRecord back(nullptr);
    ASSERT_EQ(back.ReadDWG(object.data()), 1);
    EXPECT_STREQ(back.Name(), "*U");
    EXPECT_EQ(back.BlockFlags(), 200);
    EXPECT_EQ(back.InModelFlag(), 1);
    EXPECT_EQ(back.BasePoint().y, 2.0);

    CR13BlockRecord dimension(nullptr);
    ASSERT_EQ(dimension.ReadDWG(BlockObject("*D12", "31").data()), 1);
    EXPECT_STREQ(dimension.Name(), "*D");
    EXPECT_EQ(dimension.BlockFlags(), 200);
}

TEST(R13BlockHeader, ANonZeroSecondPairPassesAByteAndAThreeInTheFourthMarksAnXref) {
    std::vector<uint8_t> object = HandObject(kR13BlockHeader, "33", [](CBitWriter &w) {
        w.WriteRawLong(0);
        w.WriteBits(0, 4);
        w.WriteText("XREF");
        w.WriteBits(0x1, 4);  // pairs 00 01: not a model block, a byte is passed over
        w.WriteBits(0, 4);    // passed over
        w.WriteBits(0x07, 8); // the flags; its last two pairs are 01 and 11
        w.WritePoint3(4.0, 5.0, 6.0);
        w.WriteText("x.dwg");
        for (int i = 0; i < 7; ++i)
            w.WriteHandle(Ref(4, 0x40u + i));
    });
    CR13BlockRecord block(nullptr);
    ASSERT_EQ(block.ReadDWG(object.data()), 1);
    EXPECT_EQ(block.InModelFlag(), 0);
    EXPECT_EQ(block.IsXrefBlock(), 1);
    EXPECT_EQ(block.BlockFlags(), 0x07);
    EXPECT_EQ(block.BasePoint().x, 4.0);
    EXPECT_STREQ(block.XrefPath(), "x.dwg");
    EXPECT_EQ(block.Ref(6).value, 0x46u);
}

TEST(R13ControlObject, BlockControlRoundTripsWithModelAndPaperReferences) {
    CR13TableHead head;
    head.handle = "1";
    head.object_bits = 0x99;
    head.entry_code = 3;
    head.entry_count = 2;
    head.first_ref = Ref(4, 0);
    head.second_ref = Ref(3, 0xC);
    head.entries = {Ref(2, 0x1F), Ref(2, 0x2A)};
    head.model_ref = Ref(3, 0x17);
    head.paper_ref = Ref(3, 0x19);
    CBitWriter writer;
    head.Write(writer, kR13BlockHeader);
    std::vector<uint8_t> bytes = Bytes(writer);
    EXPECT_EQ(bytes[bytes.size() - 1], 0xFF);

    CBitStream stream(bytes.data());
    CR13TableHead back;
    ASSERT_EQ(back.Read(stream, kR13BlockHeader), 1);
    EXPECT_EQ(back.object_type, 48);
    EXPECT_EQ(back.handle, "1");
    EXPECT_EQ(back.object_bits, 0x99u);
    EXPECT_EQ(back.entry_code, 3);
    EXPECT_EQ(back.entry_count, 2);
    EXPECT_EQ(back.second_ref.value, 0xCu);
    ASSERT_EQ(back.entries.size(), 2u);
    EXPECT_EQ(back.entries[1].code, 2);
    EXPECT_EQ(back.entries[1].value, 0x2Au);
    EXPECT_EQ(back.model_ref.value, 0x17u);
    EXPECT_EQ(back.paper_ref.value, 0x19u);
}

TEST(R13ControlObject, LineTypeControlReadsTwoMoreReferences) {
    CR13TableHead head;
    head.handle = "5";
    head.entry_count = 1;
    head.entries = {Ref(2, 0x16), Ref(3, 0x14), Ref(3, 0x15)};
    CBitWriter writer;
    head.Write(writer, kR13Ltype);
    std::vector<uint8_t> bytes = Bytes(writer);
    CBitStream stream(bytes.data());
    CR13TableHead back;
    ASSERT_EQ(back.Read(stream, kR13Ltype), 1);
    EXPECT_EQ(back.object_type, 56);
    ASSERT_EQ(back.entries.size(), 3u);
    EXPECT_EQ(back.entries[2].value, 0x15u);
}

TEST(R13ControlObject, AHugeEntryCountFailsWithoutAllocating) {
    CR13TableHead head;
    head.handle = "2";
    head.entry_count = 30000;
    CBitWriter writer;
    head.Write(writer, kR13Layer);
    std::vector<uint8_t> bytes = Bytes(writer);
    CBitStream stream(bytes.data());
    CR13TableHead back;
    EXPECT_EQ(back.Read(stream, kR13Layer), 0);
    EXPECT_TRUE(back.entries.empty());

    CR13TableHead negative;
    negative.entry_count = -1;
    CBitWriter w2;
    negative.Write(w2, kR13Layer);
    std::vector<uint8_t> b2 = Bytes(w2);
    CBitStream s2(b2.data());
    EXPECT_EQ(back.Read(s2, kR13Layer), 0);
}

TEST(R13Records, ATruncatedObjectDecodesWithoutACrash) {
    std::vector<uint8_t> object = LayerObject("LONGNAME", "2B", 4);
    // Claim only 3 bytes of data: the decoder reads zeros and empty texts past them.
    object[0] = 3;
    object[1] = 0;
    CR13LayerRecord layer(nullptr);
    EXPECT_EQ(layer.ReadDWG(object.data()), 1);
    EXPECT_EQ(layer.Rec().color, 0);
    std::vector<uint8_t> tiny = {0, 0, 0xFF, 0xFF};
    for (int16_t type : {kR13BlockHeader, kR13Layer, kR13Style, kR13Ltype, kR13View, kR13Ucs,
                         kR13Vport, kR13Appid, kR13Dimstyle, kR13VpEntHdr, kR13MlineStyle}) {
        std::unique_ptr<CR13TableRecord> record(MakeR13TableRecord(nullptr, type));
        ASSERT_NE(record, nullptr);
        record->ReadDWG(tiny.data());
    }
}

TEST(R13Records, ViewportEntityHeaderIsWrittenBackUnchanged) {
    std::vector<uint8_t> object = HandObject(kR13VpEntHdr, "60", [](CBitWriter &w) {
        w.WriteRawLong(5);
        w.WriteBits(1, 4);
        w.WriteText("VP1");
        w.WriteBits(0x2D, 7);
        w.WriteHandle(Ref(4, 0x61));
    });
    CR13VpEntHdrRecord vx(nullptr);
    ASSERT_EQ(vx.ReadDWG(object.data()), 1);
    EXPECT_STREQ(vx.Name(), "VP1");
    EXPECT_STREQ(vx.RecordHandle(), "60");
    EXPECT_EQ(Written(vx), object);
}

TEST(R13Records, NamesAndHandlesAreLookedUpByEqualityAndValue) {
    CR13LayerRecord layer(nullptr);
    ASSERT_EQ(layer.ReadDWG(LayerObject("Walls", "2B", 1).data()), 1);
    EXPECT_EQ(layer.IsNamed("Walls"), 1);
    EXPECT_EQ(layer.IsNamed("WALLS"), 0) << "case counts";
    EXPECT_EQ(layer.HasHandle("2b"), 1);
    EXPECT_EQ(layer.HasHandle("002B"), 1);
    EXPECT_EQ(layer.HasHandle("2C"), 0);
    char buffer[32];
    layer.GetName(buffer);
    EXPECT_STREQ(buffer, "Walls");
    layer.SetName("Doors");
    EXPECT_STREQ(layer.RecordName(), "Doors");
    layer.Rec().flags = 0x80;
    EXPECT_EQ(layer.IsNamed("Doors"), 0) << "a record with flag bit 7 is skipped";
}

TEST(R13Table, ReadsControlAndRecordsAndPutsThePositionBackOnTheNextControl) {
    std::vector<uint8_t> layers = ControlObject(kR13Layer, {0x10, 0x11});
    std::vector<uint8_t> styles = ControlObject(kR13Style, {});
    TempFile file("r13_tables.bin",
                  Join({layers, LayerObject("0", "10", 7), LayerObject("WALLS", "11", 3), styles,
                        ControlObject(kR13Ltype, {})}));
    CDrawingFile f;
    ASSERT_EQ(f.Open(file.c_str(), kDrawingFileRead), 1);
    CR13Table table(nullptr, kR13Layer, 1);
    ASSERT_EQ(table.Read(f), 0);
    EXPECT_EQ(table.head.entry_count, 2);
    EXPECT_EQ(table.records.Count(), 2);
    EXPECT_EQ(table.count_hint, 2);
    EXPECT_STREQ(table.NameAt(1), "WALLS");
    const int32_t style_control = static_cast<int32_t>(
        layers.size() + LayerObject("0", "10", 7).size() + LayerObject("WALLS", "11", 3).size());
    EXPECT_EQ(f.GetPosition(), style_control);

    CR13Table style_table(nullptr, kR13Style, 2);
    EXPECT_EQ(style_table.Read(f), 0) << "a table with no records passes straight through";
    EXPECT_EQ(style_table.records.Count(), 0);
    EXPECT_EQ(style_table.head.object_type, 52);
    EXPECT_EQ(f.GetPosition(), style_control + static_cast<int32_t>(styles.size()));
}

TEST(R13Table, RecordsThatRunToTheEndOfTheFileEndTheTable) {
    TempFile file("r13_table_end.bin",
                  Join({ControlObject(kR13Layer, {0x10}), LayerObject("0", "10", 7)}));
    CDrawingFile f;
    ASSERT_EQ(f.Open(file.c_str(), kDrawingFileRead), 1);
    CR13Table table(nullptr, kR13Layer, 1);
    EXPECT_EQ(table.Read(f), 0);
    EXPECT_EQ(table.records.Count(), 1);
}

TEST(R13Table, AControlObjectAloneAtTheEndIsAFailure) {
    std::vector<uint8_t> control = ControlObject(kR13Layer, {});
    TempFile file("r13_table_alone.bin", control);
    CDrawingFile f;
    ASSERT_EQ(f.Open(file.c_str(), kDrawingFileRead), 1);
    CR13Table table(nullptr, kR13Layer, 1);
    EXPECT_EQ(table.Read(f), -123);
    EXPECT_EQ(f.GetPosition(), static_cast<int32_t>(control.size()));
}

TEST(R13Table, ADamagedControlObjectIsAFailure) {
    CR13TableHead head;
    head.entry_count = 20000;
    CBitWriter writer;
    head.Write(writer, kR13Layer);
    TempFile file("r13_table_damaged.bin", Bytes(writer));
    CDrawingFile f;
    ASSERT_EQ(f.Open(file.c_str(), kDrawingFileRead), 1);
    CR13Table table(nullptr, kR13Layer, 1);
    EXPECT_EQ(table.Read(f), -123);
    EXPECT_EQ(table.records.Count(), 0);
}

TEST(R13Table, LookupsByNameHandleAndIndex) {
    CR13Table table(nullptr, kR13Layer, 1);
    ASSERT_EQ(table.UpdateRecord(LayerObject("0", "10", 7).data()), 1);
    ASSERT_EQ(table.UpdateRecord(LayerObject("WALLS", "11", 3).data()), 1);
    EXPECT_STREQ(table.HandleOfName("WALLS"), "11");
    EXPECT_EQ(table.HandleOfName("DOORS"), nullptr);
    EXPECT_STREQ(table.HandleAt(0), "10");
    EXPECT_EQ(table.HandleAt(2), nullptr);
    EXPECT_EQ(table.FindByHandle("11"), table.RecordAt(1));
    EXPECT_EQ(table.FindByHandle("12"), nullptr);
    EXPECT_STREQ(table.NameAt(0), "0");
    EXPECT_EQ(table.NameAt(-1), nullptr);
    EXPECT_EQ(table.IndexOfName("WALLS"), 1);
    EXPECT_EQ(table.IndexOfName("walls"), -1);
    EXPECT_EQ(table.IndexOfHandle("11"), 1);
    EXPECT_EQ(table.IndexOfHandle("99"), -1);
    EXPECT_EQ(table.ControlType(), 50);
}

TEST(R13Table, TheLineTypeTableAnswersTheHandleOfLayerZeroWithTheNegativeLayerBase) {
    CR13Table ltypes(nullptr, kR13Ltype, 3);
    ltypes.SetLayerZeroHandle("10", 4);
    EXPECT_EQ(ltypes.IndexOfHandle("10"), -4);
    EXPECT_EQ(ltypes.IndexOfHandle("11"), -1);
    CR13Table layers(nullptr, kR13Layer, 1);
    layers.SetLayerZeroHandle("10", 4);
    EXPECT_EQ(layers.IndexOfHandle("10"), -1) << "only the line type table has the case";
}

TEST(R13Table, AnUpdateReplacesTheRecordOfItsHandleAndAppendsAnUnknownOne) {
    CR13Table table(nullptr, kR13Layer, 1);
    table.UpdateRecord(LayerObject("0", "10", 7).data());
    table.UpdateRecord(LayerObject("WALLS", "11", 3).data());
    ASSERT_EQ(table.UpdateRecord(LayerObject("WALLS2", "11", 5).data()), 1);
    EXPECT_EQ(table.records.Count(), 2);
    EXPECT_STREQ(table.NameAt(1), "WALLS2");
    EXPECT_EQ(static_cast<CR13LayerRecord *>(table.RecordAt(1))->Rec().color, 5);
    ASSERT_EQ(table.UpdateRecord(LayerObject("NEW", "12", 1).data()), 1);
    EXPECT_EQ(table.records.Count(), 3);
    EXPECT_EQ(table.UpdateRecord(nullptr), 0);
}

TEST(R13Table, ViewportUpdatesAreAlwaysAppended) {
    CR13Table table(nullptr, kR13Vport, 6);
    CR13VportRecord vport(nullptr);
    vport.Rec().name = Dup("*ACTIVE");
    vport.Rec().handle = Dup("50");
    std::vector<uint8_t> object = Written(vport);
    table.UpdateRecord(object.data());
    table.UpdateRecord(object.data());
    EXPECT_EQ(table.records.Count(), 2);
}

TEST(R13Table, SymbolsOfExternalReferencesAreRemoved) {
    CR13Table table(nullptr, kR13Layer, 1);
    table.UpdateRecord(LayerObject("0", "10", 7).data());
    table.UpdateRecord(LayerObject("HOST|WALLS", "11", 3).data());
    table.UpdateRecord(LayerObject("|LEADING", "12", 3).data());
    table.RemoveXrefSymbols();
    ASSERT_EQ(table.records.Count(), 2);
    EXPECT_STREQ(table.NameAt(1), "|LEADING");
}

TEST(R13Table, AStyleOfAKnownHandleAndTheSameFontKeepsItsSlot) {
    CR13Table table(nullptr, kR13Style, 2);
    CR13StyleRecord style(nullptr);
    style.Rec().name = Dup("STANDARD");
    style.Rec().handle = Dup("11");
    style.Rec().font_file = Dup("txt");
    std::vector<uint8_t> object = Written(style);
    ASSERT_EQ(table.UpdateRecord(object.data()), 1) << "a style without a font is still a record";
    ASSERT_EQ(table.UpdateRecord(object.data()), 1);
    EXPECT_EQ(table.records.Count(), 1);
    EXPECT_EQ(static_cast<CR13StyleRecord *>(table.RecordAt(0))->ShapeIndex(), -1);
}

TEST(R13Table, AMultilineStyleAfterOtherObjectsEndsTheFirstStageAndIsReadAgain) {
    std::vector<uint8_t> dict = OtherObject(42, "C");
    std::vector<uint8_t> other = OtherObject(79, "D");
    std::vector<uint8_t> m1 = MlineObject("STANDARD", "18");
    std::vector<uint8_t> m2 = MlineObject("DOUBLE", "19");
    std::vector<uint8_t> after = OtherObject(50, "1A");
    TempFile file("r13_behind.bin", Join({dict, other, m1, m2, after}));
    CDrawingFile f;
    ASSERT_EQ(f.Open(file.c_str(), kDrawingFileRead), 1);
    CR13Table mlines(nullptr, kR13MlineStyle, 10);
    R13CarriedObjects carried;
    ASSERT_EQ(mlines.ReadBehindTables(f, carried), 0);
    ASSERT_EQ(carried.size(), 2u);
    EXPECT_EQ(carried[0].first, 0xCu);
    EXPECT_EQ(carried[0].second, 0);
    EXPECT_EQ(carried[1].first, 0xDu);
    EXPECT_EQ(carried[1].second, static_cast<int32_t>(dict.size()));
    ASSERT_EQ(mlines.records.Count(), 2);
    EXPECT_STREQ(mlines.NameAt(0), "STANDARD");
    EXPECT_STREQ(mlines.NameAt(1), "DOUBLE");
    EXPECT_EQ(f.GetPosition(),
              static_cast<int32_t>(dict.size() + other.size() + m1.size() + m2.size()))
        << "the position is put back on the object that ended the styles";
}

TEST(R13Table, AnEmptyObjectEndsTheMultilineStylesAndTheEndOfTheFileIsSuccess) {
    std::vector<uint8_t> m1 = MlineObject("STANDARD", "18");
    std::vector<uint8_t> empty = {0, 0, 0, 0};
    {
        TempFile file("r13_behind_empty.bin", Join({m1, empty, m1}));
        CDrawingFile f;
        ASSERT_EQ(f.Open(file.c_str(), kDrawingFileRead), 1);
        CR13Table mlines(nullptr, kR13MlineStyle, 10);
        R13CarriedObjects carried;
        ASSERT_EQ(mlines.ReadBehindTables(f, carried), 0);
        EXPECT_EQ(mlines.records.Count(), 1);
        EXPECT_EQ(f.GetPosition(), static_cast<int32_t>(m1.size()));
    }
    {
        TempFile file("r13_behind_end.bin", m1);
        CDrawingFile f;
        ASSERT_EQ(f.Open(file.c_str(), kDrawingFileRead), 1);
        CR13Table mlines(nullptr, kR13MlineStyle, 10);
        R13CarriedObjects carried;
        EXPECT_EQ(mlines.ReadBehindTables(f, carried), 0);
        EXPECT_EQ(mlines.records.Count(), 1);
    }
}

TEST(R13Table, AFileWithoutMultilineStylesEndsTheFirstStageWithFailure) {
    TempFile file("r13_behind_none.bin", Join({OtherObject(42, "C"), OtherObject(43, "D")}));
    CDrawingFile f;
    ASSERT_EQ(f.Open(file.c_str(), kDrawingFileRead), 1);
    CR13Table mlines(nullptr, kR13MlineStyle, 10);
    R13CarriedObjects carried;
    EXPECT_EQ(mlines.ReadBehindTables(f, carried), -123);
    EXPECT_EQ(carried.size(), 2u);
}

TEST(R13Table, ARecordThatDoesNotDecodeFailsTheTable) {
    std::vector<uint8_t> bad = HandObject(kR13Ltype, "16", [](CBitWriter &w) {
        w.WriteRawLong(0);
        w.WriteBits(0, 4);
        w.WriteText("BAD");
        w.WriteBits(0, 4);
        w.WriteText("");
        w.WriteBitDouble(1.0);
        w.WriteByte(65);
        w.WriteByte(200); // far more dashes than the object holds
    });
    TempFile file("r13_table_bad_record.bin", Join({ControlObject(kR13Ltype, {0x16, 0x14, 0x15}),
                                                    bad, ControlObject(kR13View, {})}));
    CDrawingFile f;
    ASSERT_EQ(f.Open(file.c_str(), kDrawingFileRead), 1);
    CR13Table table(nullptr, kR13Ltype, 3);
    EXPECT_EQ(table.Read(f), -123);
    EXPECT_EQ(table.records.Count(), 0);
}

namespace {
constexpr R13Field kPastTheRecord[] = {R13Field{R13Kind::kBD, 0, 0, 4, 0}};
constexpr R13Field kOddWidth[] = {R13Field{R13Kind::kBS, 0, 3, 0, 0}};
constexpr R13Field kDroppedOnly[] = {R13_DROP(kBD), R13_SKIP(256, 0)};
} // namespace

TEST(R13Table, LayoutsOutsideTheirRecordDoNotBuild) {
    static_assert(!R13FieldsFit(kPastTheRecord, 8), "a double at 4 of 8 bytes");
    static_assert(!R13FieldsFit(kOddWidth, 8), "an integer of 3 bytes");
    static_assert(R13FieldsFit(kDroppedOnly, 0), "dropped fields take no room");
    SUCCEED();
}
