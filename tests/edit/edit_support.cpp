#include "edit/edit_support.h"

#include "dwg12/r12_entity_layout.h"
#include "interface/drawing_table.h"

#include <gtest/gtest.h>

#include <cstring>

namespace velko_test {
namespace edit {

Bytes EditDrawing(const Bytes &entities, const std::vector<walk::BlockDef> &blocks, bool handling,
                  const std::array<uint8_t, 8> &seed) {
    Dwg12FileBuilder b;
    b.AddMinimalTables();
    b.header().SetI16(hdr::handling, handling ? 1 : 0);
    b.header().SetHandseed(seed);
    b.SetEntities(entities);
    Bytes section;
    for (const walk::BlockDef &def : blocks) {
        BlockRec rec;
        rec.flags = def.flags;
        rec.name = def.name;
        rec.block_offset = static_cast<uint32_t>(section.size());
        b.Add(rec);
        append_bytes(section, def.frames);
    }
    b.SetBlocks(section);
    return b.Build();
}

Bytes FiveEntityDrawing(bool handling, const std::array<uint8_t, 8> &seed) {
    using namespace walk;
    Bytes main = Join({Line(0, 0, 1, 1), Line(1, 1, 2, 2), Line(2, 2, 3, 3), Circle(5, 6, 2.5),
                       Text(7, 8, 0.5, "HELLO")});
    return EditDrawing(main, {{"A", 0, Join({BlockBegin(), Line(0, 0, 1, 1), BlockEnd()})}},
                       handling, seed);
}

CR12Drawing *R12(int16_t h) {
    CLibDrawing *lib = g_DrawingTable.GetDrawing(h);
    return lib ? dynamic_cast<CR12Drawing *>(lib->Drawing()) : nullptr;
}

std::string Handseed(int16_t h) {
    CDB_VAR_VALUE_type value;
    std::memset(&value, 0, sizeof value);
    EXPECT_EQ(CDBGetVariableValue(h, "handseed", &value), CDB_VAR_TEXT);
    return value.text;
}

std::vector<int> ListKinds(int16_t h, int16_t block) {
    std::vector<int> kinds;
    const int16_t count = CDBEntityCount(h, block);
    for (int16_t i = 0; i < count; ++i) {
        CDB_ENTITY record = walk::NewRecord();
        if (CDBGetEntity(h, CDBPackEntityId(block, static_cast<uint16_t>(i)), &record) < 0)
            break;
        kinds.push_back(record.entity_type);
        walk::FreeCopies(record);
    }
    return kinds;
}

namespace {

template <typename T> T Load(const uint8_t *bytes, size_t offset) {
    T value;
    std::memcpy(&value, bytes + offset, sizeof value);
    return value;
}

void Clear(uint8_t *a, uint8_t *b, size_t offset, size_t size) {
    std::memset(a + offset, 0, size);
    std::memset(b + offset, 0, size);
}

void ExpectSameText(const uint8_t *a, const uint8_t *b, size_t offset, const char *what) {
    const char *x = Load<const char *>(a, offset);
    const char *y = Load<const char *>(b, offset);
    if (!x || !y) {
        EXPECT_EQ(x == nullptr, y == nullptr) << what;
        return;
    }
    EXPECT_STREQ(x, y) << what;
    EXPECT_NE(x, y) << what << ": the object keeps a block of its own";
}

} // namespace

void ExpectSameEntity(const CDB_ENTITY &added, const CDB_ENTITY &read) {
    const R12EntityLayout *layout = R12EntityLayoutFor(added.entity_type);
    ASSERT_NE(layout, nullptr) << added.entity_type;
    const size_t size = layout->record_bytes;
    std::vector<uint8_t> a(size), b(size);
    std::memcpy(a.data(), &added, size);
    std::memcpy(b.data(), &read, size);

    ExpectSameText(a.data(), b.data(), offsetof(CDB_ENTITY, handle), "handle");
    Clear(a.data(), b.data(), offsetof(CDB_ENTITY, handle), sizeof(char *));
    EXPECT_EQ(Load<char *>(b.data(), offsetof(CDB_ENTITY, layer_handle)), nullptr);
    EXPECT_EQ(Load<char *>(b.data(), offsetof(CDB_ENTITY, line_type_handle)), nullptr);
    Clear(a.data(), b.data(), offsetof(CDB_ENTITY, layer_handle), sizeof(char *));
    Clear(a.data(), b.data(), offsetof(CDB_ENTITY, line_type_handle), sizeof(char *));

    const uint8_t *eed_a = Load<uint8_t *>(a.data(), offsetof(CDB_ENTITY, eed_data));
    const uint8_t *eed_b = Load<uint8_t *>(b.data(), offsetof(CDB_ENTITY, eed_data));
    EXPECT_EQ(+added.eed_size, +read.eed_size);
    if (eed_a && eed_b && added.eed_size == read.eed_size) {
        EXPECT_EQ(std::memcmp(eed_a, eed_b, added.eed_size), 0) << "extended data";
        EXPECT_NE(eed_a, eed_b);
        EXPECT_EQ(eed_b[read.eed_size], 0) << "a zero byte stands behind the extended data";
    } else {
        EXPECT_EQ(eed_a == nullptr, eed_b == nullptr);
    }
    Clear(a.data(), b.data(), offsetof(CDB_ENTITY, eed_data), sizeof(uint8_t *));

    for (size_t i = 0; i < layout->count; ++i) {
        const R12EntityField &f = layout->fields[i];
        if (f.value != R12Value::kText && f.value != R12Value::kNameText)
            continue;
        ExpectSameText(a.data(), b.data(), f.offset, "text of the kind");
        Clear(a.data(), b.data(), f.offset, sizeof(char *));
    }

    switch (added.entity_type) {
    case CDB_BLOCK:
        ExpectSameText(a.data(), b.data(), offsetof(CDB_ENTITY, block.name), "block name");
        Clear(a.data(), b.data(), offsetof(CDB_ENTITY, block.name), sizeof(char *));
        break;
    case CDB_VIEWPORT: {
        const int16_t count = added.viewport.frozen_layer_count;
        EXPECT_EQ(+read.viewport.frozen_layer_count, count);
        if (count > 0 && read.viewport.frozen_layer_count == count) {
            ASSERT_NE(read.viewport.frozen_layers, nullptr);
            EXPECT_NE(read.viewport.frozen_layers, added.viewport.frozen_layers);
            EXPECT_EQ(std::memcmp(read.viewport.frozen_layers, added.viewport.frozen_layers,
                                  size_t(count) * sizeof(int16_t)),
                      0);
        }
        Clear(a.data(), b.data(), offsetof(CDB_ENTITY, viewport.frozen_layers), sizeof(int16_t *));
        break;
    }
    case CDB_SHAPE:
        EXPECT_EQ(Load<char *>(b.data(), offsetof(CDB_ENTITY, shape.style_handle)), nullptr);
        Clear(a.data(), b.data(), offsetof(CDB_ENTITY, shape.style_handle), sizeof(char *));
        break;
    case CDB_TEXT:
        EXPECT_EQ(Load<char *>(b.data(), offsetof(CDB_ENTITY, text.style_handle)), nullptr);
        Clear(a.data(), b.data(), offsetof(CDB_ENTITY, text.style_handle), sizeof(char *));
        break;
    case CDB_INSERT:
        EXPECT_EQ(Load<char *>(b.data(), offsetof(CDB_ENTITY, insert.block_handle)), nullptr);
        Clear(a.data(), b.data(), offsetof(CDB_ENTITY, insert.block_handle), sizeof(char *));
        break;
    case CDB_ATTDEF:
        EXPECT_EQ(Load<char *>(b.data(), offsetof(CDB_ENTITY, attdef.style_handle)), nullptr);
        Clear(a.data(), b.data(), offsetof(CDB_ENTITY, attdef.style_handle), sizeof(char *));
        break;
    case CDB_ATTRIB:
        EXPECT_EQ(Load<char *>(b.data(), offsetof(CDB_ENTITY, attrib.style_handle)), nullptr);
        Clear(a.data(), b.data(), offsetof(CDB_ENTITY, attrib.style_handle), sizeof(char *));
        break;
    case CDB_DIMENSION:
        EXPECT_EQ(Load<char *>(b.data(), offsetof(CDB_ENTITY, dimension.block_handle)), nullptr);
        EXPECT_EQ(Load<char *>(b.data(), offsetof(CDB_ENTITY, dimension.dimstyle_handle)), nullptr);
        Clear(a.data(), b.data(), offsetof(CDB_ENTITY, dimension.block_handle), sizeof(char *));
        Clear(a.data(), b.data(), offsetof(CDB_ENTITY, dimension.dimstyle_handle), sizeof(char *));
        break;
    default:
        break;
    }
    EXPECT_EQ(std::memcmp(a.data(), b.data(), size), 0)
        << "the values of kind " << added.entity_type << " came back as they went in";
}

} // namespace edit
} // namespace velko_test
