// Adding entities to a release 12 drawing: every kind with a class comes back as it went
// in, the main list takes new entities behind its end sentinel, and the handle seed moves
// on with handles on.
#include "edit/edit_support.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace velko_test {
namespace edit {
namespace {

using walk::Val;

constexpr std::array<uint8_t, 8> kSeed12 = {0, 0, 0, 0, 0, 0, 0, 0x12};

// Texts, handles and data the records of the round trip point at; the library copies
// them, so they live on the stack of the test.
struct Texts {
    char handle[8] = "ABC";
    char foreign[8] = "1F";
    char text[16] = "Hello";
    char value[16] = "Value";
    char tag[16] = "TAG";
    char prompt[16] = "Prompt?";
    char xref[16] = "c:\\x.dwg";
    char block[16] = "BLOCKNAME";
    char name_2[16] = "SECOND";
    uint8_t eed[12] = {1, 2, 0, 3, 'A', 'C', 'A', 'D', 2, 0, 2, 1};
    int16_t frozen[2] = {1, 3};
};

// A record of the kind with its defaults (where the kind has some) and with values in
// the common part and in every text the kind has.
CDB_ENTITY RichRecord(int16_t h, int16_t kind, Texts &t) {
    CDB_ENTITY r;
    CDBEntityDefault(h, &r, kind);
    r.entity_type = kind;
    r.handle = t.handle;
    r.layer_index = 0;
    r.layer_handle = t.foreign;
    r.line_type_handle = t.foreign;
    r.color = 3;
    r.elevation = 1.5;
    r.thickness = 0.25;
    if (kind != CDB_VIEWPORT) {
        r.eed_data = t.eed;
        r.eed_size = sizeof t.eed;
    }
    switch (kind) {
    case CDB_SHAPE:
        r.shape.style_handle = t.foreign;
        break;
    case CDB_TEXT:
        r.text.text = t.text;
        r.text.style_handle = t.foreign;
        r.text.rotation = 30.0;
        break;
    case CDB_BLOCK:
        r.block.xref_path = t.xref;
        r.block.name = t.block;
        r.block.name_2 = t.name_2;
        r.block.base_point.x = 4.0;
        break;
    case CDB_INSERT:
        r.insert.block_index = 0;
        r.insert.block_handle = t.foreign;
        r.insert.rotation = 45.0;
        break;
    case CDB_ATTDEF:
        r.attdef.default_value = t.value;
        r.attdef.prompt = t.prompt;
        r.attdef.tag = t.tag;
        r.attdef.style_handle = t.foreign;
        break;
    case CDB_ATTRIB:
        r.attrib.value = t.value;
        r.attrib.tag = t.tag;
        r.attrib.style_handle = t.foreign;
        break;
    case CDB_DIMENSION:
        r.dimension.text = t.text;
        r.dimension.block_handle = t.foreign;
        r.dimension.dimstyle_handle = t.foreign;
        break;
    case CDB_VIEWPORT:
        r.viewport.frozen_layers = t.frozen;
        r.viewport.frozen_layer_count = 2;
        break;
    case CDB_3DLINE:
        r.line.end_point.z = 7.0;
        break;
    default:
        break;
    }
    return r;
}

class EntityAdd : public ::testing::Test {
protected:
    explicit EntityAdd(bool handling = false)
        : drawing("entity_add.dwg", FiveEntityDrawing(handling, kSeed12)) {}
    void SetUp() override { ASSERT_GE(drawing.handle, 0); }
    int16_t h() const { return drawing.handle; }

    // Adds the record to the main list and checks that it comes back as it went in.
    void RoundTrip(int16_t kind) {
        SCOPED_TRACE(kind);
        Texts t;
        CDB_ENTITY added = RichRecord(h(), kind, t);
        const int16_t count = CDBEntityCount(h(), -1);
        const int32_t position = CDBEntityAdd(h(), -1, &added);
        ASSERT_EQ(position, count);
        CDB_ENTITY read = walk::NewRecord();
        ASSERT_EQ(CDBGetEntity(h(), CDBPackEntityId(-1, static_cast<uint16_t>(position)), &read),
                  position);
        if (kind == CDB_SHAPE) {
            // The drawing has no shape file: the walk hands a shape out as unknown.
            EXPECT_EQ(+read.shape.shape_number, -1);
            read.shape.shape_number = added.shape.shape_number;
            read.shape.shape_style_index = added.shape.shape_style_index;
        }
        ExpectSameEntity(added, read);
        walk::FreeCopies(read);
    }

    walk::OpenDrawing drawing;
};

class EntityAddHandles : public EntityAdd {
protected:
    EntityAddHandles() : EntityAdd(true) {}
};

TEST_F(EntityAdd, EveryKindWithAClassComesBackAsItWentIn) {
    // In an order the sequence check lets through.
    for (int16_t kind :
         {CDB_LINE,     CDB_POINT,  CDB_CIRCLE, CDB_SHAPE,  CDB_TEXT,     CDB_ARC,    CDB_TRACE,
          CDB_SOLID,    CDB_BLOCK,  CDB_ENDBLK, CDB_ATTDEF, CDB_3DLINE,   CDB_3DFACE, CDB_DIMENSION,
          CDB_VIEWPORT, CDB_INSERT, CDB_ATTRIB, CDB_SEQEND, CDB_POLYLINE, CDB_VERTEX, CDB_SEQEND})
        RoundTrip(kind);
}

TEST_F(EntityAdd, TheDefaultViewportCarriesACopyOfItsStaticBlock) {
    CDB_ENTITY r;
    CDBEntityDefault(h(), &r, CDB_VIEWPORT);
    ASSERT_EQ(+r.eed_size, 224);
    const int32_t position = CDBEntityAdd(h(), -1, &r);
    ASSERT_GE(position, 0);
    CDB_ENTITY read = walk::NewRecord();
    ASSERT_EQ(CDBGetEntity(h(), CDBPackEntityId(-1, static_cast<uint16_t>(position)), &read),
              position);
    EXPECT_EQ(+read.eed_size, 224);
    EXPECT_NE(+read.eed_data, +r.eed_data);
    EXPECT_EQ(std::memcmp(read.eed_data, r.eed_data, 224), 0);
    ExpectSameEntity(r, read);
}

TEST_F(EntityAdd, TheMainListTakesItBehindItsEndSentinel) {
    CDB_ENTITY line;
    CDBEntityDefault(h(), &line, CDB_LINE);
    EXPECT_EQ(CDBEntityAdd(h(), -1, &line), 6);
    EXPECT_EQ(ListKinds(h(), -1), std::vector<int>({CDB_LINE, CDB_LINE, CDB_LINE, CDB_CIRCLE,
                                                    CDB_TEXT, CDB_ENDBLK, CDB_LINE}));
}

TEST_F(EntityAdd, ToABlockItGoesBeforeTheBlocksEnd) {
    CDB_ENTITY circle;
    CDBEntityDefault(h(), &circle, CDB_CIRCLE);
    EXPECT_EQ(CDBEntityAdd(h(), 0, &circle), 1);
    EXPECT_EQ(ListKinds(h(), 0), std::vector<int>({CDB_LINE, CDB_CIRCLE, CDB_ENDBLK}));
}

TEST_F(EntityAdd, ToABlockThatDoesNotExistGivesBlockNotFound) {
    CDB_ENTITY line;
    CDBEntityDefault(h(), &line, CDB_LINE);
    const int16_t count = CDBEntityCount(h(), -1);
    EXPECT_EQ(CDBEntityAdd(h(), 7, &line), CDB_FAIL);
    EXPECT_EQ(CDBGetErrorNumber(h()), CDB_ERR_BLOCK_NOT_FOUND);
    EXPECT_EQ(CDBEntityAdd(h(), -2, &line), CDB_FAIL);
    EXPECT_EQ(CDBGetErrorNumber(h()), CDB_ERR_BLOCK_NOT_FOUND);
    EXPECT_EQ(CDBEntityCount(h(), -1), count);
}

TEST_F(EntityAdd, AKindWithoutAClassIsRefused) {
    const int16_t count = CDBEntityCount(h(), -1);
    for (int16_t kind : {0, 5, 6, 10, 18, 25, CDB_ELLIPSE, CDB_MTEXT, CDB_OLEFRAME, -1}) {
        CDB_ENTITY r;
        CDBEntityDefault(h(), &r, CDB_LINE);
        r.entity_type = kind;
        EXPECT_EQ(CDBEntityAdd(h(), -1, &r), CDB_FAIL) << kind;
        EXPECT_EQ(CDBGetErrorNumber(h()), CDB_ERR_INVALID_ENTITY_CODE) << kind;
    }
    EXPECT_EQ(CDBEntityCount(h(), -1), count);
}

TEST_F(EntityAdd, ANullRecordOrABadHandleFails) {
    EXPECT_EQ(CDBEntityAdd(h(), -1, nullptr), CDB_FAIL);
    EXPECT_EQ(CDBGetErrorNumber(h()), CDB_ERR_INVALID_PARAMETER);
    CDB_ENTITY line;
    CDBEntityDefault(h(), &line, CDB_LINE);
    EXPECT_EQ(CDBEntityAdd(200, -1, &line), CDB_FAIL);
    EXPECT_EQ(CDBGetErrorNumber(200), CDB_ERR_INVALID_DRAWING_HANDLE);
}

TEST_F(EntityAdd, WithHandlesOffTheCallersHandleIsKeptAndTheSeedStays) {
    Texts t;
    CDB_ENTITY line = RichRecord(h(), CDB_LINE, t);
    const int32_t position = CDBEntityAdd(h(), -1, &line);
    ASSERT_GE(position, 0);
    CDB_ENTITY read = walk::NewRecord();
    CDBGetEntity(h(), CDBPackEntityId(-1, static_cast<uint16_t>(position)), &read);
    EXPECT_STREQ(+read.handle, "ABC");
    EXPECT_EQ(Handseed(h()), "12");
}

TEST_F(EntityAddHandles, WithHandlesOnTheEntityTakesTheSeedWhichMovesOn) {
    Texts t;
    CDB_ENTITY line = RichRecord(h(), CDB_LINE, t);
    const int32_t first = CDBEntityAdd(h(), -1, &line);
    const int32_t second = CDBEntityAdd(h(), 0, &line);
    ASSERT_GE(first, 0);
    ASSERT_GE(second, 0);
    EXPECT_STREQ(+line.handle, "ABC") << "the caller's record is left as it was";
    CDB_ENTITY read = walk::NewRecord();
    CDBGetEntity(h(), CDBPackEntityId(-1, static_cast<uint16_t>(first)), &read);
    EXPECT_STREQ(+read.handle, "12");
    CDBGetEntity(h(), CDBPackEntityId(0, static_cast<uint16_t>(second)), &read);
    EXPECT_STREQ(+read.handle, "13");
    EXPECT_EQ(Handseed(h()), "14");
}

TEST_F(EntityAddHandles, ARefusedEntityLeavesTheSeed) {
    CDB_ENTITY vertex;
    CDBEntityDefault(h(), &vertex, CDB_VERTEX);
    EXPECT_EQ(CDBEntityAdd(h(), -1, &vertex), CDB_FAIL);
    CDB_ENTITY line;
    CDBEntityDefault(h(), &line, CDB_LINE);
    EXPECT_EQ(CDBEntityAdd(h(), 9, &line), CDB_FAIL);
    EXPECT_EQ(Handseed(h()), "12");
}

TEST_F(EntityAddHandles, TheSeedMovesOnAsADecimalNumberOfSixteenBits) {
    struct Step {
        const char *seed;
        const char *next;
    };
    for (const Step &step : {Step{"99", "100"}, Step{"65535", "0"}, Step{"12AB", "13"},
                             Step{"", "1"}, Step{"ABC", "1"}, Step{"70000", "4465"}}) {
        CDB_VAR_VALUE_type value;
        std::memset(&value, 0, sizeof value);
        std::strcpy(value.text, step.seed);
        ASSERT_EQ(CDBSetVariableValue(h(), "handseed", &value), 0);
        CDB_ENTITY point;
        CDBEntityDefault(h(), &point, CDB_POINT);
        const int32_t position = CDBEntityAdd(h(), -1, &point);
        ASSERT_GE(position, 0);
        CDB_ENTITY read = walk::NewRecord();
        CDBGetEntity(h(), CDBPackEntityId(-1, static_cast<uint16_t>(position)), &read);
        EXPECT_STREQ(+read.handle, step.seed);
        EXPECT_EQ(Handseed(h()), step.next) << step.seed;
    }
}

} // namespace
} // namespace edit
} // namespace velko_test
