// A new release 13 entity takes its references, handle, links and mode bits from its
// drawing and its block.
#include "dwg13/r13_drawing.h"
#include "dwg13/r13_entity_kinds.h"
#include "dwg13/r13_header.h"
#include "dwg13/r13_object_map.h"
#include "dwg13/r13_tables.h"
#include "records/heap_text.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>

namespace {

// A drawing with layer "0" (handle 10) and line type CONTINUOUS (handle 14), the handle seed
// at 2A, and a block of the given name (handle 1F).
class NewEntity : public testing::Test {
protected:
    void SetUp() override {
        auto *layer = new CR13LayerRecord(&drawing);
        layer->SetName("0");
        layer->Rec().handle = DuplicateText("10");
        drawing.Table(R13Table::kLayers).AddRecord(layer);
        auto *ltype = new CR13LtypeRecord(&drawing);
        ltype->SetName("CONTINUOUS");
        ltype->Rec().handle = DuplicateText("14");
        drawing.Table(R13Table::kLtypes).AddRecord(ltype);
        std::strcpy(drawing.Header().vars.handseed, "2A");
    }

    void UseBlock(const char *name) {
        block.header = nullptr;
        owned = std::make_unique<CR13BlockRecord>(&drawing);
        owned->SetName(name);
        owned->Rec().handle = DuplicateText("1F");
        block.header = owned.get();
        std::free(block.record->name);
        block.record->name = DuplicateText(name);
    }

    CDB_ENTITY Record(int16_t layer, int16_t line_type) {
        CDB_ENTITY r;
        std::memset(&r, 0, sizeof r);
        r.entity_type = CDB_SEQEND;
        r.layer_index = layer;
        r.line_type_index = line_type;
        r.no_links = 1;
        return r;
    }

    std::unique_ptr<CR13Entity> Make() {
        return std::make_unique<CR13PlainEntity>(&drawing, CDB_SEQEND, kR13SeqEndType, 0);
    }

    CR13Drawing drawing{nullptr, 0};
    CR13Block block;
    std::unique_ptr<CR13BlockRecord> owned;
};

TEST_F(NewEntity, TakesTheHandleSeedAndMovesItOn) {
    UseBlock("*MODEL_SPACE");
    auto e = Make();
    CDB_ENTITY r = Record(0, 0);
    ASSERT_EQ(e->SetNewRecord(&r, block, nullptr), 1);
    EXPECT_STREQ(e->GetData()->handle, "2A");
    EXPECT_STREQ(drawing.Header().vars.handseed, "2B");
    EXPECT_STREQ(e->GetData()->layer_handle, "10");
    EXPECT_STREQ(e->GetData()->line_type_handle, "14");
    EXPECT_EQ(+e->is_unlinked, 1);
}

TEST_F(NewEntity, TheFirstOfABlockStartsItsChain) {
    UseBlock("*MODEL_SPACE");
    auto e = Make();
    CDB_ENTITY r = Record(0, 0);
    ASSERT_EQ(e->SetNewRecord(&r, block, nullptr), 1);
    EXPECT_EQ(block.first_handle, "2A");
    EXPECT_EQ(block.last_handle, "2A");
    EXPECT_EQ(+e->GetData()->previous.code, 4);
    EXPECT_EQ(+e->GetData()->previous.value, 0u);
    EXPECT_EQ(+e->GetData()->next.code, 4);
    EXPECT_EQ(+e->GetData()->next.value, 0u);
    // Both links are 0: the caller's no_links stands.
    EXPECT_EQ(+e->GetData()->no_links, 1u);
    EXPECT_EQ(+e->GetData()->mode_model, 1u);
    EXPECT_EQ(+e->GetData()->mode_paper, 0u);
    EXPECT_EQ(+e->GetData()->has_owner, 0u);
    EXPECT_EQ(+e->GetData()->dictionary.code, 3);
    EXPECT_EQ(+e->GetData()->reserved_bit_1, 1u);
    EXPECT_EQ(+e->GetData()->reserved_bit_2, 0u);
}

TEST_F(NewEntity, TheNextOfABlockIsLinkedToTheOneBefore) {
    UseBlock("*PAPER_SPACE");
    auto first = Make();
    auto second = Make();
    CDB_ENTITY r = Record(0, -1);
    ASSERT_EQ(first->SetNewRecord(&r, block, nullptr), 1);
    ASSERT_EQ(second->SetNewRecord(&r, block, first.get()), 1);
    EXPECT_STREQ(second->GetData()->handle, "2B");
    // 2A to 2B is one up: code 6; 2B back to 2A one down: code 8.
    EXPECT_EQ(+first->GetData()->next.code, 6);
    EXPECT_EQ(+second->GetData()->previous.code, 8);
    EXPECT_EQ(block.first_handle, "2A");
    EXPECT_EQ(block.last_handle, "2B");
    EXPECT_EQ(+second->GetData()->mode_model, 0u);
    EXPECT_EQ(+second->GetData()->mode_paper, 1u);
    EXPECT_STREQ(second->GetData()->line_type_handle, "-1");
    EXPECT_EQ(+second->GetData()->line_type_bylayer, 1u);
}

TEST_F(NewEntity, AnEntityOfABlockHasItsOwner) {
    UseBlock("DOOR");
    auto e = Make();
    CDB_ENTITY r = Record(0, 0);
    ASSERT_EQ(e->SetNewRecord(&r, block, nullptr), 1);
    EXPECT_EQ(+e->GetData()->has_owner, 1u);
    EXPECT_EQ(+e->GetData()->mode_model, 0u);
    EXPECT_EQ(+e->GetData()->mode_paper, 0u);
    // From 2A to 1F the distance is 0xB, upwards; 1F is not below it: code 12 and the
    // distance.
    EXPECT_EQ(+e->GetData()->owner.code, 12);
    EXPECT_EQ(+e->GetData()->owner.value, 0xBu);
}

TEST_F(NewEntity, AnUnknownLayerIsRefused) {
    UseBlock("*MODEL_SPACE");
    auto e = Make();
    CDB_ENTITY r = Record(7, 0);
    EXPECT_EQ(e->SetNewRecord(&r, block, nullptr), CDB_FAIL);
    EXPECT_EQ(drawing.GetError(), CDB_ERR_INVALID_LAYER);
    EXPECT_STREQ(drawing.Header().vars.handseed, "2A");
}

TEST_F(NewEntity, AnUnknownLineTypeIsRefused) {
    UseBlock("*MODEL_SPACE");
    auto e = Make();
    CDB_ENTITY r = Record(0, 5);
    EXPECT_EQ(e->SetNewRecord(&r, block, nullptr), CDB_FAIL);
    EXPECT_EQ(drawing.GetError(), CDB_ERR_INVALID_LTYPE);
}

} // namespace
