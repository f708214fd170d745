// The defaults of the eight editable tables as they go into a drawing: the table keeps
// the default's values and a name of its own, while the next default reuses the one
// shared name buffer.
#include "edit/edit_support.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <string>

namespace velko_test {
namespace edit {
namespace {

// The bytes of two records, with the pointer fields at `pointers` cleared in both.
template <typename Rec>
bool SameValues(const Rec &a, const Rec &b, std::initializer_list<size_t> pointers) {
    Rec x, y;
    std::memcpy(static_cast<void *>(&x), &a, sizeof x);
    std::memcpy(static_cast<void *>(&y), &b, sizeof y);
    for (size_t offset : pointers) {
        std::memset(reinterpret_cast<char *>(&x) + offset, 0, sizeof(void *));
        std::memset(reinterpret_cast<char *>(&y) + offset, 0, sizeof(void *));
    }
    return std::memcmp(&x, &y, sizeof x) == 0;
}

class TableDefaultsAdd : public ::testing::Test {
protected:
    TableDefaultsAdd() : drawing("defaults_add.dwg", EditDrawing()) {}
    void SetUp() override { ASSERT_GE(drawing.handle, 0); }
    int16_t h() const { return drawing.handle; }
    walk::OpenDrawing drawing;
};

TEST_F(TableDefaultsAdd, TwoDefaultsDifferOnlyInTheNumberAndShareOneBuffer) {
    CDB_LAYER_TBL_type a, b;
    CDBLayerTableDefault(&a);
    const std::string first = a.name;
    CDBLayerTableDefault(&b);
    EXPECT_EQ(+a.name, +b.name);
    const std::string second = b.name;
    ASSERT_EQ(first.compare(0, 5, "LAYER"), 0);
    ASSERT_EQ(second.compare(0, 5, "LAYER"), 0);
    EXPECT_EQ(std::atoi(second.c_str() + 5), std::atoi(first.c_str() + 5) + 1);
}

TEST_F(TableDefaultsAdd, TheTableKeepsTheNameWhenTheSharedBufferChanges) {
    CDB_LAYER_TBL_type a;
    CDBLayerTableDefault(&a);
    const std::string name = a.name;
    const int16_t index = CDBLayerTableAdd(h(), &a);
    ASSERT_GE(index, 0);
    CDB_LAYER_TBL_type b;
    CDBLayerTableDefault(&b); // rewrites the buffer a.name points at
    CDB_LAYER_TBL_type read;
    ASSERT_EQ(CDBLayerTableGet(h(), index, &read), 0);
    EXPECT_EQ(std::string(read.name), name);
    EXPECT_NE(+read.name, +a.name);
    // The next default of the same table is a new name, so it goes in as well.
    EXPECT_EQ(CDBLayerTableAdd(h(), &b), index + 1);
}

TEST_F(TableDefaultsAdd, Layer) {
    CDB_LAYER_TBL_type r;
    CDBLayerTableDefault(&r);
    const int16_t index = CDBLayerTableAdd(h(), &r);
    ASSERT_GE(index, 0);
    CDB_LAYER_TBL_type read;
    ASSERT_EQ(CDBLayerTableGet(h(), index, &read), 0);
    EXPECT_STREQ(+read.name, r.name);
    EXPECT_EQ(+read.flags, 64);
    EXPECT_EQ(+read.color, 7);
    EXPECT_TRUE(SameValues(r, read, {offsetof(CDB_LAYER_TBL_type, name)}));
}

TEST_F(TableDefaultsAdd, LineType) {
    CDB_LTYPE_TBL_type r;
    CDBLineTypeTableDefault(&r);
    const int16_t index = CDBLineTypeTableAdd(h(), &r);
    ASSERT_GE(index, 0);
    CDB_LTYPE_TBL_type read;
    ASSERT_EQ(CDBLineTypeTableGet(h(), index, &read), 0);
    EXPECT_STREQ(+read.name, r.name);
    EXPECT_STREQ(+read.description, "Solid line");
    EXPECT_NE(+read.description, +r.description);
    // No dash counted: the table keeps no dash array.
    EXPECT_EQ(+read.dashes, nullptr);
    EXPECT_TRUE(
        SameValues(r, read,
                   {offsetof(CDB_LTYPE_TBL_type, name), offsetof(CDB_LTYPE_TBL_type, description),
                    offsetof(CDB_LTYPE_TBL_type, dashes)}));
    std::free(r.description);
    std::free(r.dashes);
}

TEST_F(TableDefaultsAdd, Style) {
    CDB_STYLE_TBL_type r;
    CDBStyleTableDefault(&r);
    const int16_t index = CDBStyleTableAdd(h(), &r);
    ASSERT_GE(index, 0);
    CDB_STYLE_TBL_type read;
    ASSERT_EQ(CDBStyleTableGet(h(), index, &read), 0);
    EXPECT_STREQ(+read.name, r.name);
    EXPECT_STREQ(+read.font_file, "txt");
    EXPECT_STREQ(+read.bigfont_file, "");
    EXPECT_TRUE(
        SameValues(r, read,
                   {offsetof(CDB_STYLE_TBL_type, name), offsetof(CDB_STYLE_TBL_type, font_file),
                    offsetof(CDB_STYLE_TBL_type, bigfont_file)}));
    std::free(r.font_file);
    std::free(r.bigfont_file);
}

TEST_F(TableDefaultsAdd, Vport) {
    CDB_VPORT_TBL_type r;
    CDBVportTableDefault(&r);
    const int16_t index = CDBVportTableAdd(h(), &r);
    ASSERT_GE(index, 0);
    CDB_VPORT_TBL_type read;
    ASSERT_EQ(CDBVportTableGet(h(), index, &read), 0);
    EXPECT_STREQ(+read.name, r.name);
    EXPECT_EQ(+read.viewport_status, 2);
    EXPECT_EQ(+read.viewport_id, 5699);
    EXPECT_TRUE(SameValues(r, read, {offsetof(CDB_VPORT_TBL_type, name)}));
}

TEST_F(TableDefaultsAdd, ViewWithItsBlankName) {
    CDB_VIEW_TBL_type r;
    CDBViewTableDefault(&r);
    const int16_t index = CDBViewTableAdd(h(), &r);
    ASSERT_GE(index, 0);
    CDB_VIEW_TBL_type read;
    ASSERT_EQ(CDBViewTableGet(h(), index, &read), 0);
    EXPECT_STREQ(+read.name, " ");
    EXPECT_TRUE(SameValues(r, read, {offsetof(CDB_VIEW_TBL_type, name)}));
    // Every default view is named " ": the second one is refused.
    CDB_VIEW_TBL_type second;
    CDBViewTableDefault(&second);
    EXPECT_EQ(CDBViewTableAdd(h(), &second), CDB_NAME_EXISTS);
}

TEST_F(TableDefaultsAdd, Ucs) {
    CDB_UCS_TBL_type r;
    CDBUCSTableDefault(&r);
    const int16_t index = CDBUCSTableAdd(h(), &r);
    ASSERT_GE(index, 0);
    CDB_UCS_TBL_type read;
    ASSERT_EQ(CDBUCSTableGet(h(), index, &read), 0);
    EXPECT_STREQ(+read.name, r.name);
    EXPECT_EQ(+read.x_direction.x, 1.0);
    EXPECT_EQ(+read.y_direction.y, 1.0);
    EXPECT_TRUE(SameValues(r, read, {offsetof(CDB_UCS_TBL_type, name)}));
}

TEST_F(TableDefaultsAdd, Appid) {
    CDB_APPID_TBL_type r;
    CDBAppidTableDefault(&r);
    const int16_t index = CDBAppidTableAdd(h(), &r);
    ASSERT_GE(index, 0);
    CDB_APPID_TBL_type read;
    ASSERT_EQ(CDBAppidTableGet(h(), index, &read), 0);
    EXPECT_STREQ(+read.name, r.name);
    EXPECT_EQ(+read.flags, 4);
    EXPECT_TRUE(SameValues(r, read, {offsetof(CDB_APPID_TBL_type, name)}));
}

TEST_F(TableDefaultsAdd, DimensionStyleNamedLttype) {
    CDB_DIMSTYLE_TBL_type r;
    CDBDimStyleTableDefault(&r);
    EXPECT_EQ(std::strncmp(r.name, "LTTYPE", 6), 0);
    const int16_t index = CDBDimStyleTableAdd(h(), &r);
    ASSERT_GE(index, 0);
    CDB_DIMSTYLE_TBL_type read;
    ASSERT_EQ(CDBDimStyleTableGet(h(), index, &read), 0);
    EXPECT_STREQ(+read.name, r.name);
    for (const char *text :
         {read.dimpost, read.dimapost, read.dimblk, read.dimblk1, read.dimblk2}) {
        ASSERT_NE(text, nullptr);
        EXPECT_STREQ(text, "");
    }
    EXPECT_TRUE(SameValues(
        r, read,
        {offsetof(CDB_DIMSTYLE_TBL_type, name), offsetof(CDB_DIMSTYLE_TBL_type, dimpost),
         offsetof(CDB_DIMSTYLE_TBL_type, dimapost), offsetof(CDB_DIMSTYLE_TBL_type, dimblk),
         offsetof(CDB_DIMSTYLE_TBL_type, dimblk1), offsetof(CDB_DIMSTYLE_TBL_type, dimblk2)}));
    for (char *text : {r.dimpost, r.dimapost, r.dimblk, r.dimblk1, r.dimblk2})
        std::free(text);
}

} // namespace
} // namespace edit
} // namespace velko_test
