#include "dwg12/r12_tables.h"

#include "dwg12/r12_test_bytes.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

using r12test::Bytes;
using r12test::Descriptor;
using r12test::PutI16;
using r12test::Record;
using r12test::TempFile;
using r12test::TestDrawing;
using r12test::Val;

namespace {

// A file of `lead` bytes of padding followed by the records.
Bytes Section(size_t lead, const std::vector<Bytes> &records) {
    Bytes b(lead, 0xEE);
    for (const Bytes &r : records)
        b.insert(b.end(), r.begin(), r.end());
    return b;
}

Bytes Layer(uint8_t flags, const std::string &name, int16_t color) {
    Bytes b = Record(41, flags, name);
    PutI16(b, 35, color);
    return b;
}

const char *NameOf(const CR12TableList &list, int index) {
    auto *record = dynamic_cast<CR12LayoutRecord *>(list.At(index));
    return record ? record->Name() : "<no record>";
}

} // namespace

TEST(R12LoadTable, ReadsEveryRecordInItsSlot) {
    TestDrawing drawing;
    TempFile temp(Section(100, {Layer(0, "0", 7), Layer(0x80, "GONE", 1), Layer(1, "B", -3)}));
    ASSERT_TRUE(temp.opened);
    temp.file.SetPosition(17, 0);
    CR12TableList list(&drawing, kR12Layers);
    Bytes d = Descriptor(1, 41, 3, 100);
    EXPECT_EQ(LoadR12Table(&drawing, temp.file, list, d.data(), nullptr), 1);
    EXPECT_EQ(temp.file.GetPosition(), 17); // the position is restored
    ASSERT_EQ(list.Count(), 3);
    EXPECT_STREQ(NameOf(list, 0), "0");
    EXPECT_EQ(NameOf(list, 1), nullptr); // the deleted layer keeps its slot
    EXPECT_EQ(list.At(1)->Flags(), 0x80);
    EXPECT_STREQ(NameOf(list, 2), "B");
    EXPECT_EQ(Val(static_cast<CDB_LAYER_TBL_type *>(list.At(2)->GetRecord())->color), -3);
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(list.At(i)->table_id, 1);
    EXPECT_EQ(list.FindByName("B"), 2);
    EXPECT_EQ(list.FindByName("GONE"), -1);
}

TEST(R12LoadTable, RecordSizeOfTheDescriptorIsIgnored) {
    TestDrawing drawing;
    TempFile temp(Section(0, {Layer(0, "A", 1), Layer(0, "B", 2)}));
    ASSERT_TRUE(temp.opened);
    CR12TableList list(&drawing, kR12Layers);
    Bytes d = Descriptor(1, 99, 2, 0);
    EXPECT_EQ(LoadR12Table(&drawing, temp.file, list, d.data(), nullptr), 1);
    ASSERT_EQ(list.Count(), 2);
    EXPECT_STREQ(NameOf(list, 1), "B");
}

TEST(R12LoadTable, TableIdComesFromTheDescriptor) {
    TestDrawing drawing;
    TempFile temp(Section(0, {Layer(0, "A", 1)}));
    ASSERT_TRUE(temp.opened);
    CR12TableList list(&drawing, kR12Layers);
    Bytes d = Descriptor(0x0105, 41, 1, 0);
    EXPECT_EQ(LoadR12Table(&drawing, temp.file, list, d.data(), nullptr), 1);
    ASSERT_EQ(list.Count(), 1);
    EXPECT_EQ(list.At(0)->table_id, 0x0105);
}

TEST(R12LoadTable, ViewportTableDropsDeletedRecordsWhileLayerTableKeepsThem) {
    TestDrawing drawing;
    Bytes kept = Record(253, 0, "KEEP");
    Bytes gone = Record(253, 0x80, "GONE");
    Bytes last = Record(253, 0, "LAST");
    TempFile temp(Section(8, {kept, gone, last}));
    ASSERT_TRUE(temp.opened);
    CR12TableList vports(&drawing, kR12Vports);
    Bytes d = Descriptor(6, 253, 3, 8);
    EXPECT_EQ(LoadR12Table(&drawing, temp.file, vports, d.data(), nullptr), 1);
    ASSERT_EQ(vports.Count(), 2); // indexes close up
    EXPECT_STREQ(NameOf(vports, 0), "KEEP");
    EXPECT_STREQ(NameOf(vports, 1), "LAST");

    TempFile layers_file(Section(8, {Layer(0, "KEEP", 1), Layer(0x80, "GONE", 1)}));
    ASSERT_TRUE(layers_file.opened);
    CR12TableList layers(&drawing, kR12Layers);
    Bytes dl = Descriptor(1, 41, 2, 8);
    EXPECT_EQ(LoadR12Table(&drawing, layers_file.file, layers, dl.data(), nullptr), 1);
    EXPECT_EQ(layers.Count(), 2);
}

TEST(R12LoadTable, EmptyViewportTableGetsActiveViewportFromHeader) {
    TestDrawing drawing;
    TempFile temp(Bytes(64, 0));
    ASSERT_TRUE(temp.opened);
    CDB_HEADER_type header;
    std::memset(&header, 0, sizeof(header));
    header.viewctr = CDB_POINT2{6.0, 4.5};
    header.viewsize = 9.0;
    header.snapunit = CDB_POINT2{0.5, 0.5};
    header.gridunit = CDB_POINT2{1.0, 1.0};
    header.viewdir = CDB_POINT3{0.0, 0.0, 1.0};
    header.snapmode = 1;
    CR12TableList list(&drawing, kR12Vports);
    Bytes d = Descriptor(6, 253, 0, 0);
    EXPECT_EQ(LoadR12Table(&drawing, temp.file, list, d.data(), &header), 1);
    ASSERT_EQ(list.Count(), 1);
    auto *v = static_cast<CDB_VPORT_TBL_type *>(list.At(0)->GetRecord());
    EXPECT_STREQ(v->name, "*ACTIVE");
    EXPECT_EQ(Val(v->flags), 0x40);
    EXPECT_EQ(Val(v->upper_right.x), 1.0);
    EXPECT_EQ(Val(v->upper_right.y), 1.0);
    EXPECT_EQ(Val(v->view_center.x), 6.0);
    EXPECT_EQ(Val(v->view_center.y), 4.5);
    EXPECT_EQ(Val(v->view_height), 9.0);
    EXPECT_EQ(Val(v->snap_spacing.x), 0.5);
    EXPECT_EQ(Val(v->grid_spacing.y), 1.0);
    EXPECT_EQ(Val(v->view_direction.z), 1.0);
    EXPECT_EQ(Val(v->snap_mode), 1);
    EXPECT_EQ(list.FindByName("*ACTIVE"), 0);
}

TEST(R12LoadTable, EmptyViewportTableWithoutHeaderUsesZeros) {
    TestDrawing drawing;
    TempFile temp(Bytes(64, 0));
    ASSERT_TRUE(temp.opened);
    CR12TableList list(&drawing, kR12Vports);
    Bytes d = Descriptor(6, 253, 0, 0);
    EXPECT_EQ(LoadR12Table(&drawing, temp.file, list, d.data(), nullptr), 1);
    ASSERT_EQ(list.Count(), 1);
    auto *v = static_cast<CDB_VPORT_TBL_type *>(list.At(0)->GetRecord());
    EXPECT_STREQ(v->name, "*ACTIVE");
    EXPECT_EQ(Val(v->view_height), 0.0);
    EXPECT_EQ(Val(v->upper_right.x), 1.0);
}

TEST(R12LoadTable, EmptyLayerTableStaysEmpty) {
    TestDrawing drawing;
    TempFile temp(Bytes(64, 0));
    ASSERT_TRUE(temp.opened);
    CR12TableList list(&drawing, kR12Layers);
    Bytes d = Descriptor(1, 41, 0, 0);
    EXPECT_EQ(LoadR12Table(&drawing, temp.file, list, d.data(), nullptr), 1);
    EXPECT_EQ(list.Count(), 0);
}

TEST(R12LoadTable, NegativeCountReadsNoRecords) {
    TestDrawing drawing;
    TempFile temp(Section(0, {Layer(0, "A", 1)}));
    ASSERT_TRUE(temp.opened);
    CR12TableList layers(&drawing, kR12Layers);
    Bytes d = Descriptor(1, 41, -5, 0);
    EXPECT_EQ(LoadR12Table(&drawing, temp.file, layers, d.data(), nullptr), 1);
    EXPECT_EQ(layers.Count(), 0);

    // Only a count of exactly 0 brings the "*ACTIVE" viewport.
    CR12TableList vports(&drawing, kR12Vports);
    Bytes dv = Descriptor(6, 253, -1, 0);
    EXPECT_EQ(LoadR12Table(&drawing, temp.file, vports, dv.data(), nullptr), 1);
    EXPECT_EQ(vports.Count(), 0);
}

// A table's count is held against the file: only the records that begin inside it get a
// slot, so a position past the end makes an empty table.
TEST(R12LoadTable, DescriptorPastTheEndGivesNoSlots) {
    TestDrawing drawing;
    TempFile temp(Bytes(200, 0x11));
    ASSERT_TRUE(temp.opened);
    temp.file.SetPosition(5, 0);
    CR12TableList list(&drawing, kR12Layers);
    Bytes d = Descriptor(1, 41, 4, 100000);
    EXPECT_EQ(LoadR12Table(&drawing, temp.file, list, d.data(), nullptr), 1);
    EXPECT_EQ(temp.file.GetPosition(), 5);
    EXPECT_EQ(list.Count(), 0);

    // The viewport table drops what it cannot read, and is not "empty" by its count.
    CR12TableList vports(&drawing, kR12Vports);
    Bytes dv = Descriptor(6, 253, 3, 0xFFFFFFF0u);
    EXPECT_EQ(LoadR12Table(&drawing, temp.file, vports, dv.data(), nullptr), 1);
    EXPECT_EQ(vports.Count(), 0);
}

TEST(R12LoadTable, SectionRunningPastTheEndKeepsWhatItCouldRead) {
    TestDrawing drawing;
    TempFile temp(Section(10, {Layer(0, "A", 1), Layer(0, "B", 2)}));
    ASSERT_TRUE(temp.opened);
    CR12TableList list(&drawing, kR12Layers);
    Bytes d = Descriptor(1, 41, 5, 10);
    EXPECT_EQ(LoadR12Table(&drawing, temp.file, list, d.data(), nullptr), 1);
    ASSERT_EQ(list.Count(), 2);
    EXPECT_STREQ(NameOf(list, 0), "A");
    EXPECT_STREQ(NameOf(list, 1), "B");
}

// A record that begins inside the file and runs past its end still gets its slot, read
// with the missing bytes as zero.
TEST(R12LoadTable, RecordCutShortAtTheEndKeepsItsSlot) {
    TestDrawing drawing;
    Bytes bytes = Section(10, {Layer(0, "A", 1), Layer(0, "B", 2)});
    bytes.resize(bytes.size() - 8);
    TempFile temp(bytes);
    ASSERT_TRUE(temp.opened);
    CR12TableList list(&drawing, kR12Layers);
    Bytes d = Descriptor(1, 41, 5, 10);
    EXPECT_EQ(LoadR12Table(&drawing, temp.file, list, d.data(), nullptr), 1);
    ASSERT_EQ(list.Count(), 2);
    EXPECT_STREQ(NameOf(list, 0), "A");
    EXPECT_STREQ(NameOf(list, 1), "B");
}

TEST(R12LoadTable, HugeCountStaysBounded) {
    TestDrawing drawing;
    TempFile temp(Section(0, {Layer(0, "A", 1)}));
    ASSERT_TRUE(temp.opened);
    CR12TableList list(&drawing, kR12Appids);
    Bytes d = Descriptor(7, 37, 32767, 0);
    EXPECT_EQ(LoadR12Table(&drawing, temp.file, list, d.data(), nullptr), 1);
    // Only the records of 37 bytes that begin inside the 41 bytes of the file get a slot.
    EXPECT_EQ(list.Count(), 2);
}

TEST(R12LoadTable, StyleWhoseFontCannotBeLoadedStaysInItsTable) {
    TestDrawing drawing;
    Bytes style = Record(198, 0, "ODD");
    r12test::PutText(style, 68, 64, "no_such_font_anywhere_7f3a");
    r12test::PutF64(style, 35, 1.5);
    TempFile temp(Section(0, {style}));
    ASSERT_TRUE(temp.opened);
    CR12TableList list(&drawing, kR12Styles);
    Bytes d = Descriptor(2, 198, 1, 0);
    EXPECT_EQ(LoadR12Table(&drawing, temp.file, list, d.data(), nullptr), 1);
    ASSERT_EQ(list.Count(), 1);
    auto *record = static_cast<CDB_STYLE_TBL_type *>(list.At(0)->GetRecord());
    EXPECT_STREQ(record->name, "ODD");
    EXPECT_EQ(Val(record->height), 1.5);
    EXPECT_STREQ(record->font_file, "no_such_font_anywhere_7f3a");
}

TEST(R12LoadTable, RefusesAListThatIsNotEmpty) {
    TestDrawing drawing;
    TempFile temp(Section(0, {Layer(0, "A", 1)}));
    ASSERT_TRUE(temp.opened);
    CR12TableList list(&drawing, kR12Layers);
    Bytes d = Descriptor(1, 41, 1, 0);
    EXPECT_EQ(LoadR12Table(&drawing, temp.file, list, d.data(), nullptr), 1);
    EXPECT_EQ(LoadR12Table(&drawing, temp.file, list, d.data(), nullptr), 0);
    EXPECT_EQ(list.Count(), 1);
}

TEST(R12LoadTable, RefusesAFileThatIsNotOpen) {
    TestDrawing drawing;
    CDrawingFile closed;
    CR12TableList list(&drawing, kR12Layers);
    Bytes d = Descriptor(1, 41, 1, 0);
    EXPECT_EQ(LoadR12Table(&drawing, closed, list, d.data(), nullptr), 0);
    EXPECT_EQ(list.Count(), 0);
}
