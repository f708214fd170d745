// The common head and handle trailer of release 13 entity objects, on objects built bit by
// bit. Packed record fields are handed to gtest as copies (unary plus).
#include "dwg13/r13_drawing.h"
#include "dwg13/r13_entity.h"
#include "dwg13/r13_entity_kinds.h"
#include "io/bit_stream.h"
#include "io/bit_writer.h"
#include "records/eed_cursor.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace {

// What the head of a test object holds beyond its defaults.
struct HeadBits {
    int mode_model = 1;
    int space = 0;
    int reserved_1 = 1;
    int reserved_2 = 0;
    int bylayer = 0;
    int no_links = 0;
    std::vector<uint8_t> eed; // chunks as the file holds them: BS size written before each
    uint8_t eed_marker = 0x51;
};

// An object of type 6 (SEQEND, which has no data of its own) with handle 2A, layer 10,
// line type 14 (unless by layer), links 29 and 2B, and an owner 1F when both mode bits are 0.
std::vector<uint8_t> SeqEndObject(const HeadBits &h) {
    CBitWriter w;
    w.WriteByte(0);
    w.WriteByte(0);
    w.WriteBitShort(kR13SeqEndType);
    w.WriteBits(0, 4);
    w.WriteHandleText("2A");
    if (!h.eed.empty()) {
        w.WriteBitShort(static_cast<int32_t>(h.eed.size()));
        w.WriteByte(h.eed_marker);
        w.WriteByte(0x12); // the application's handle, one byte
        w.WriteRawBytes(h.eed.data(), h.eed.size());
    }
    w.WriteBitShort(0);
    w.WriteRawLong(0x8034);
    w.WriteBit(1);
    w.WriteBit(h.mode_model);
    w.WriteBit(h.space);
    w.WriteBit(h.reserved_1);
    w.WriteBit(h.reserved_2);
    w.WriteBit(h.bylayer);
    w.WriteBit(h.no_links);
    w.WriteBitShort(3);
    w.WriteBitDouble(2.5);
    w.WriteBitShort(0);
    // The trailer.
    if (h.mode_model == 0 && h.space == 0)
        w.WriteHandle(CHandleRef{4, 0x1F});
    w.WriteHandle(CHandleRef{3, 0});
    w.WriteBits(5, 4);
    w.WriteHandleText("10");
    if (!h.bylayer) {
        w.WriteBits(5, 4);
        w.WriteHandleText("14");
    }
    if (!h.no_links) {
        w.WriteHandle(CHandleRef{4, 0x29});
        w.WriteHandle(CHandleRef{4, 0x2B});
    }
    w.Align();
    w.WriteRawShort(0xFFFF);
    w.PatchShort(static_cast<uint16_t>(w.TellSize() - 4), 0);
    return std::vector<uint8_t>(w.Data(), w.Data() + w.TellSize());
}

std::unique_ptr<CR13Entity> Decode(const std::vector<uint8_t> &object, int *result = nullptr) {
    auto entity = std::make_unique<CR13PlainEntity>(nullptr, CDB_SEQEND, kR13SeqEndType, 0);
    CBitStream stream(object.data());
    int read = entity->ReadDWG(stream);
    if (result)
        *result = read;
    return entity;
}

TEST(R13EntityHead, ModeBitsZeroReadAnOwnerHandle) {
    HeadBits h;
    h.mode_model = 0;
    h.space = 0;
    auto e = Decode(SeqEndObject(h));
    const CDB_ENTITY *r = e->GetData();
    EXPECT_EQ(+r->has_owner, 1u);
    EXPECT_EQ(+e->block_owned, 1);
    EXPECT_EQ(+r->owner.code, 4);
    EXPECT_EQ(+r->owner.value, 0x1Fu);
    EXPECT_STREQ(r->layer_handle, "10");
    EXPECT_STREQ(r->line_type_handle, "14");
    EXPECT_EQ(+r->previous.value, 0x29u);
    EXPECT_EQ(+r->next.value, 0x2Bu);
}

TEST(R13EntityHead, ModelOrPaperBitReadsNoOwner) {
    for (int paper = 0; paper <= 1; ++paper) {
        HeadBits h;
        h.mode_model = paper ? 0 : 1;
        h.space = paper;
        auto e = Decode(SeqEndObject(h));
        const CDB_ENTITY *r = e->GetData();
        EXPECT_EQ(+r->has_owner, 0u);
        EXPECT_EQ(+r->owner.value, 0u);
        EXPECT_EQ(+r->space, paper);
        EXPECT_EQ(+r->mode_paper, static_cast<uint32_t>(paper));
        // Without an owner read, the trailer stays in step.
        EXPECT_STREQ(r->layer_handle, "10");
        EXPECT_EQ(+r->next.value, 0x2Bu);
    }
}

TEST(R13EntityHead, LineTypeByLayerGivesMinusOneWithoutBits) {
    HeadBits h;
    h.bylayer = 1;
    auto e = Decode(SeqEndObject(h));
    const CDB_ENTITY *r = e->GetData();
    EXPECT_STREQ(r->line_type_handle, "-1");
    // The links behind it are read where they stand: no bits went to a line type.
    EXPECT_EQ(+r->previous.value, 0x29u);
    EXPECT_EQ(+r->next.value, 0x2Bu);
}

TEST(R13EntityHead, ReservedBitsOtherThanOneZeroAreReadAsTheyStand) {
    HeadBits h;
    h.reserved_1 = 0;
    h.reserved_2 = 1;
    auto e = Decode(SeqEndObject(h));
    EXPECT_EQ(+e->GetData()->reserved_bit_1, 0u);
    EXPECT_EQ(+e->GetData()->reserved_bit_2, 1u);
}

TEST(R13EntityHead, AReactorHandleInTheStreamIsTakenForTheDictionary) {
    // A writer that put one reactor handle in front of the dictionary: the reader reads no
    // reactors, so the reactor becomes the dictionary and the dictionary the layer.
    HeadBits h;
    std::vector<uint8_t> object = SeqEndObject(h);
    CBitWriter w;
    w.WriteByte(0);
    w.WriteByte(0);
    w.WriteBitShort(kR13SeqEndType);
    w.WriteBits(0, 4);
    w.WriteHandleText("2A");
    w.WriteBitShort(0);
    w.WriteRawLong(0);
    for (int bit : {1, 1, 0, 1, 0, 1, 1})
        w.WriteBit(bit); // graphic, model, paper, reserved 1 0, by layer, no links
    w.WriteBitShort(3);
    w.WriteBitDouble(1.0);
    w.WriteBitShort(0);
    w.WriteHandle(CHandleRef{4, 0x77}); // the reactor
    w.WriteHandle(CHandleRef{3, 0});    // the dictionary
    w.WriteBits(5, 4);
    w.WriteHandleText("10");
    w.Align();
    w.WriteRawShort(0xFFFF);
    w.PatchShort(static_cast<uint16_t>(w.TellSize() - 4), 0);
    std::vector<uint8_t> bytes(w.Data(), w.Data() + w.TellSize());
    auto e = Decode(bytes);
    EXPECT_EQ(+e->GetData()->dictionary.code, 4);
    EXPECT_EQ(+e->GetData()->dictionary.value, 0x77u);
    EXPECT_STRNE(e->GetData()->layer_handle, "10");
}

TEST(R13EntityHead, NoLinksLeavesTheLinkTextsEmpty) {
    HeadBits h;
    h.no_links = 1;
    auto e = Decode(SeqEndObject(h));
    EXPECT_STREQ(e->PreviousText(), "");
    EXPECT_STREQ(e->NextText(), "");
    EXPECT_EQ(+e->GetData()->no_links, 1u);

    HeadBits linked;
    auto f = Decode(SeqEndObject(linked));
    EXPECT_STREQ(f->PreviousText(), "29");
    EXPECT_STREQ(f->NextText(), "2B");
}

TEST(R13EntityHead, ExtendedDataOfSizeZeroAtOnceGivesNone) {
    HeadBits h;
    auto e = Decode(SeqEndObject(h));
    EXPECT_EQ(+e->GetData()->eed_size, 0u);
    EXPECT_EQ(e->GetData()->eed_data, nullptr);
}

TEST(R13EntityHead, ExtendedDataIsKeptAsTheFileHoldsIt) {
    HeadBits h;
    h.eed = {70, 0x2A, 0x00, 2, 0};
    auto e = Decode(SeqEndObject(h));
    const CDB_ENTITY *r = e->GetData();
    // The marker, one handle byte, the values.
    ASSERT_EQ(+r->eed_size, 7u);
    const uint8_t expected[] = {0x51, 0x12, 70, 0x2A, 0x00, 2, 0};
    EXPECT_EQ(std::memcmp(r->eed_data, expected, sizeof expected), 0);
}

TEST(R13EntityHead, AnExtendedDataMarkerOutsideItsRangeFailsTheObject) {
    HeadBits h;
    h.eed = {70, 1, 0};
    h.eed_marker = 0x42;
    int result = -1;
    Decode(SeqEndObject(h), &result);
    EXPECT_EQ(result, 0);
}

TEST(R13EntityHead, ReadsTheFileTypeAndEndsWithThePublicKind) {
    HeadBits h;
    auto e = Decode(SeqEndObject(h));
    EXPECT_EQ(+e->GetData()->entity_type, CDB_SEQEND);
    EXPECT_EQ(e->FileType(), kR13SeqEndType);
    EXPECT_STREQ(e->GetData()->handle, "2A");
    EXPECT_EQ(+e->GetData()->color, 3);
    EXPECT_DOUBLE_EQ(+e->GetData()->line_type_scale, 2.5);
    EXPECT_DOUBLE_EQ(+e->GetData()->extrusion.z, 1.0);
}

TEST(R13EntityHead, WrittenObjectReadsBackTheSame) {
    for (int variant = 0; variant < 4; ++variant) {
        HeadBits h;
        h.mode_model = variant == 0 ? 0 : 1;
        h.bylayer = variant == 1;
        h.no_links = variant == 2;
        if (variant == 3)
            h.eed = {0, 2, 0xB0, 0x04, 'a', 'b', 70, 5, 0};
        const std::vector<uint8_t> object = SeqEndObject(h);
        auto e = Decode(object);
        CBitWriter w;
        e->WriteDWG(w);
        std::vector<uint8_t> again(w.Data(), w.Data() + w.TellSize());
        EXPECT_EQ(again, object) << "variant " << variant;
    }
}

TEST(R13EntityHead, AnyTruncationOfAnObjectEndsWithoutReadingOutside) {
    HeadBits h;
    h.eed = {0, 2, 0xB0, 0x04, 'a', 'b'};
    const std::vector<uint8_t> object = SeqEndObject(h);
    for (size_t cut = 2; cut < object.size(); ++cut) {
        std::unique_ptr<uint8_t[]> bytes(new uint8_t[cut]);
        std::memcpy(bytes.get(), object.data(), cut);
        CBitStream stream(bytes.get(), static_cast<int32_t>(cut));
        CR13PlainEntity e(nullptr, CDB_SEQEND, kR13SeqEndType, 0);
        e.ReadDWG(stream); // zeros past the end, no failure required
    }
}

// ---- The size in bits and relative references ----------------------------------------------

TEST(R13EntityBits, ASumOf184GivesTheAdjustedValue) {
    EXPECT_EQ(CR13Entity::EncodeObjectBits(184), 0x8100u);
}

TEST(R13EntityBits, SmallSumsAreHalvedOntoTheBase) {
    EXPECT_EQ(CR13Entity::EncodeObjectBits(0), 0x8024u);
    EXPECT_EQ(CR13Entity::EncodeObjectBits(20), 0x802Eu);
}

TEST(R13EntityBits, LargeSumsAreSplitIntoTwoBytes) {
    // 0x8024 + 200 = 0x80EC: d = 0x6C, k = 0, m = 0: 0x6C + 0x8080 * 256.
    EXPECT_EQ(CR13Entity::EncodeObjectBits(400), 0x6Cu + 0x8080u * 256u);
    // d = 0x80 + 5: k = 1 (odd), m = 1: 5 + 0x81 * 256.
    EXPECT_EQ(CR13Entity::EncodeObjectBits(2 * (0x80 + 0x5C + 5)), 5u + 0x81u * 256u);
}

TEST(R13EntityBits, AnEntityAddsItsValuesToTheSum) {
    CR13PlainEntity e(nullptr, CDB_SEQEND, kR13SeqEndType, 20);
    CDB_ENTITY *r = e.GetData();
    r->line_type_scale = 1.0;
    r->color = -1;
    EXPECT_EQ(e.EstimateBits(), CR13Entity::EncodeObjectBits(20));
    r->line_type_scale = 2.0;  // 64 bits
    r->color = 5;              // 8 bits
    r->handle = strdup("2A3"); // (3 - 1) / 2 bytes
    EXPECT_EQ(e.EstimateBits(), CR13Entity::EncodeObjectBits(20 + 64 + 8 + 8));
}

TEST(R13RelativeRef, OneBelowGivesCodeSix) {
    CHandleRef r{0, 99};
    CR13Entity::MakeRelativeRef("10", "11", r);
    EXPECT_EQ(+r.code, 6);
    EXPECT_EQ(+r.value, 0u);
}

TEST(R13RelativeRef, TheOtherCases) {
    CHandleRef r{0, 0};
    CR13Entity::MakeRelativeRef("11", "10", r);
    EXPECT_EQ(+r.code, 8);
    CR13Entity::MakeRelativeRef("100", "5", r); // to below |d|
    EXPECT_EQ(+r.code, 4);
    EXPECT_EQ(+r.value, 5u);
    CR13Entity::MakeRelativeRef("100", "110", r);
    EXPECT_EQ(+r.code, 10);
    EXPECT_EQ(+r.value, 0x10u);
    CR13Entity::MakeRelativeRef("110", "100", r);
    EXPECT_EQ(+r.code, 12);
    EXPECT_EQ(+r.value, 0x10u);
    CHandleRef same{7, 7};
    CR13Entity::MakeRelativeRef("20", "20", same);
    EXPECT_EQ(+same.code, 7);
    EXPECT_EQ(+same.value, 7u);
}

// ---- Resolution -------------------------------------------------------------------------------

TEST(R13EntityResolve, ByLayerLineTypeGivesMinusOneOnceWithoutALookup) {
    CR13Drawing drawing(nullptr, 0);
    CR13PlainEntity e(&drawing, CDB_SEQEND, kR13SeqEndType, 0);
    e.GetData()->line_type_handle = strdup("-1");
    e.GetData()->line_type_index = 7;
    EXPECT_EQ(+e.GetResolvedRecord()->line_type_index, -1);
    // The flag keeps a second request from looking again.
    std::free(e.GetData()->line_type_handle);
    e.GetData()->line_type_handle = strdup("0");
    EXPECT_EQ(+e.GetResolvedRecord()->line_type_index, -1);
}

TEST(R13EntityResolve, ByLayerLineTypeTakesTheBaseWithoutALookup) {
    CR13Drawing drawing(nullptr, 0);
    drawing.SetBase(TableBase::kLtypes, 3);
    CR13PlainEntity e(&drawing, CDB_SEQEND, kR13SeqEndType, 0);
    e.GetData()->line_type_handle = strdup("-1");
    EXPECT_EQ(+e.GetResolvedRecord()->line_type_index, 2);
}

TEST(R13EntityResolve, AnUnknownLayerGivesMinusOnePlusTheBase) {
    CR13Drawing drawing(nullptr, 0);
    drawing.SetBase(TableBase::kLayers, 5);
    CR13PlainEntity e(&drawing, CDB_SEQEND, kR13SeqEndType, 0);
    e.GetData()->layer_handle = strdup("99");
    e.GetData()->line_type_handle = strdup("0");
    EXPECT_EQ(+e.GetResolvedRecord()->layer_index, 4);
    EXPECT_EQ(+e.GetResolvedRecord()->line_type_index, 0);
}

} // namespace
