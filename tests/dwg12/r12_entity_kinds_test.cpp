// The release 12 kind table: every row makes an object of its code, points at layouts that
// agree with the kind, is reached by the DXF names the reader dispatches, and the texts that
// its layouts read are the kind's owned texts, copied for a caller and freed without a leak.
#include "io/record_field.h"
#include "dwg12/r12_dxf_layout.h"
#include "dwg12/r12_entities.h"
#include "dwg12/r12_entity_kinds.h"
#include "dwg12/r12_entity_layout.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <set>
#include <string>
#include <typeinfo>

namespace {

std::set<uint16_t> OwnedOffsets(const EntityKind &kind) {
    return {kind.owned_texts.begin(), kind.owned_texts.end()};
}

// The record fields that a kind's DWG frame reads as texts.
std::set<uint16_t> FrameTexts(const R12EntityLayout &frame) {
    std::set<uint16_t> texts;
    for (size_t i = 0; i < frame.count; ++i)
        if (frame.fields[i].value == R12Value::kText ||
            frame.fields[i].value == R12Value::kNameText)
            texts.insert(frame.fields[i].offset);
    return texts;
}

// The record fields that a kind's DXF groups read as texts.
std::set<uint16_t> GroupTexts(const R12DxfLayout &groups) {
    std::set<uint16_t> texts;
    for (size_t i = 0; i < groups.count; ++i)
        if (groups.groups[i].value == R12DxfValue::kText ||
            groups.groups[i].value == R12DxfValue::kTextKept)
            texts.insert(groups.groups[i].offset);
    return texts;
}

} // namespace

TEST(R12EntityKinds, CodesAscendEachOnceWithANeutralRowAndAreFoundByIndex) {
    int previous = -1;
    for (const R12EntityKind &kind : AllR12EntityKinds()) {
        EXPECT_LT(previous, kind.code);
        previous = kind.code;
        EXPECT_EQ(FindR12EntityKind(kind.code), &kind);
        ASSERT_NE(FindEntityKind(kind.code), nullptr) << kind.code;
        EXPECT_EQ(&kind.Facts(), FindEntityKind(kind.code));
    }
    EXPECT_EQ(AllR12EntityKinds().size(), 20u);
    for (int code = -1; code < 600; ++code) {
        if (code > CDB_VIEWPORT || !FindEntityKind(code)) {
            EXPECT_EQ(FindR12EntityKind(code), nullptr) << code;
        }
    }
}

TEST(R12EntityKinds, EveryFactoryMakesAnObjectOfItsCodeWithTheRowsFrame) {
    for (const R12EntityKind &kind : AllR12EntityKinds()) {
        ASSERT_NE(kind.make, nullptr) << kind.code;
        std::unique_ptr<CR12Entity> e(kind.make(nullptr, kind.code));
        ASSERT_NE(e, nullptr) << kind.code;
        EXPECT_EQ(e->Code(), kind.code);
        EXPECT_EQ(+e->GetData()->entity_type, kind.code);
        EXPECT_EQ(e->Layout(), kind.frame) << kind.code;
        std::unique_ptr<CR12Entity> made(MakeR12Entity(nullptr, kind.code));
        ASSERT_NE(made, nullptr);
        EXPECT_EQ(typeid(*made), typeid(*e)) << kind.code;
    }
}

TEST(R12EntityKinds, LayoutsAreThoseOfTheKindAndCode21ReadsAsALine) {
    for (const R12EntityKind &kind : AllR12EntityKinds()) {
        ASSERT_NE(kind.frame, nullptr) << kind.code;
        ASSERT_NE(kind.groups, nullptr) << kind.code;
        EXPECT_EQ(kind.groups->name, nullptr) << "an entity's group 0 name is its kind's";
        EXPECT_EQ(R12EntityLayoutFor(kind.code), kind.frame);
        if (kind.code == CDB_3DLINE) {
            const R12EntityKind *line = FindR12EntityKind(CDB_LINE);
            EXPECT_EQ(kind.frame, line->frame);
            EXPECT_EQ(kind.groups, line->groups);
            EXPECT_EQ(kind.frame->code, CDB_LINE);
        } else {
            EXPECT_EQ(kind.frame->code, kind.code);
        }
    }
}

TEST(R12EntityKinds, FlatCoordinatesAreThoseOfTheLinePointAndFace) {
    for (int code = -1; code < 40; ++code) {
        const bool flat =
            code == CDB_LINE || code == CDB_POINT || code == CDB_3DLINE || code == CDB_3DFACE;
        EXPECT_EQ(R12IsFlatCoordinateKind(code), flat) << code;
    }
}

TEST(R12EntityKinds, TheDxfDispatchTakesTheNamesOfTheRows) {
    for (const R12EntityKind &kind : AllR12EntityKinds()) {
        const EntityKind &facts = kind.Facts();
        switch (kind.dispatch) {
        case R12DxfDispatch::kByName:
            EXPECT_EQ(R12DxfEntityKind(facts.dxf_name, false), kind.code) << facts.name;
            EXPECT_EQ(R12DxfEntityKind(facts.dxf_name, true), kind.code) << facts.name;
            break;
        case R12DxfDispatch::kBlockFrame:
            EXPECT_EQ(R12DxfEntityKind(facts.dxf_name, false), 0) << facts.name;
            EXPECT_EQ(R12DxfEntityKind(facts.dxf_name, true), 0) << facts.name;
            break;
        case R12DxfDispatch::kBlocksAlias:
            EXPECT_EQ(R12DxfEntityKind(facts.name, false), 0) << facts.name;
            EXPECT_EQ(R12DxfEntityKind(facts.name, true), CDB_LINE) << facts.name;
            break;
        }
    }
    EXPECT_EQ(FindR12EntityKind(CDB_BLOCK)->dispatch, R12DxfDispatch::kBlockFrame);
    EXPECT_EQ(FindR12EntityKind(CDB_ENDBLK)->dispatch, R12DxfDispatch::kBlockFrame);
    EXPECT_EQ(FindR12EntityKind(CDB_3DLINE)->dispatch, R12DxfDispatch::kBlocksAlias);
    for (const char *name : {"", "LINE ", "line", "MTEXT", "ELLIPSE", "TABLE", "3DSOLID"})
        EXPECT_EQ(R12DxfEntityKind(name, true), 0) << name;
    EXPECT_EQ(R12DxfEntityKind(nullptr, true), 0);
}

TEST(R12EntityKinds, TheTextsTheLayoutsReadAreTheOwnedTexts) {
    for (const R12EntityKind &kind : AllR12EntityKinds()) {
        const std::set<uint16_t> owned = OwnedOffsets(kind.Facts());
        // The DXF groups read every owned text; the frame all but the block's name, which
        // comes from the block table.
        EXPECT_EQ(GroupTexts(*kind.groups), owned) << kind.Facts().name;
        std::set<uint16_t> frame = FrameTexts(*kind.frame);
        if (kind.code == CDB_BLOCK)
            frame.insert(static_cast<uint16_t>(offsetof(CDB_ENTITY, block.name)));
        EXPECT_EQ(frame, owned) << kind.Facts().name;
    }
}

TEST(R12EntityKinds, OwnedTextsAreTakenInCopiedOutAndFreedWithoutLeak) {
    for (const R12EntityKind &kind : AllR12EntityKinds()) {
        const EntityKind &facts = kind.Facts();
        CDB_ENTITY in;
        std::memset(&in, 0, sizeof in);
        in.entity_type = kind.code;
        char caller_text[] = "caller";
        for (uint16_t offset : facts.owned_texts)
            StoreField<char *>(&in, offset, caller_text);
        char handle[] = "2A";
        for (uint16_t offset : facts.handle_texts)
            StoreField<char *>(&in, offset, handle);

        std::unique_ptr<CR12Entity> e(kind.make(nullptr, kind.code));
        e->SetRecord(&in);
        for (uint16_t offset : facts.owned_texts) {
            const char *kept = LoadField<char *>(e->GetData(), offset);
            ASSERT_NE(kept, nullptr) << facts.name;
            EXPECT_NE(kept, caller_text) << facts.name << ": the object keeps its own copy";
            EXPECT_STREQ(kept, "caller");
        }
        for (uint16_t offset : facts.handle_texts)
            EXPECT_EQ(LoadField<char *>(e->GetData(), offset), nullptr) << facts.name;

        // Without a drawing the object answers as in list mode: the caller gets copies.
        CDB_ENTITY out;
        std::memset(&out, 0, sizeof out);
        e->GetRecord(&out);
        for (uint16_t offset : facts.owned_texts) {
            const char *copy = LoadField<char *>(&out, offset);
            ASSERT_NE(copy, nullptr) << facts.name;
            EXPECT_NE(copy, LoadField<char *>(e->GetData(), offset)) << facts.name;
            EXPECT_STREQ(copy, "caller");
        }
        FreeOwnedTexts(&out);
        for (uint16_t offset : facts.owned_texts)
            EXPECT_EQ(LoadField<char *>(&out, offset), nullptr) << facts.name;
    }
}
