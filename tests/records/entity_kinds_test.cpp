// The release-neutral registry of entity kinds: its rows are consistent with each other, with
// the public header's kind codes and with the defaults, and the owned texts of a record are
// freed by it.
#include "io/record_field.h"
#include "records/entity_defaults.h"
#include "records/entity_kinds.h"
#include "walk/walk_support.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <set>
#include <string>

namespace {

// Every code of the public header, with the name tools show for it.
struct PublicKind {
    int code;
    const char *name;
};
constexpr PublicKind kPublicKinds[] = {
    {CDB_LINE, "LINE"},           {CDB_POINT, "POINT"},       {CDB_CIRCLE, "CIRCLE"},
    {CDB_SHAPE, "SHAPE"},         {CDB_TEXT, "TEXT"},         {CDB_ARC, "ARC"},
    {CDB_TRACE, "TRACE"},         {CDB_SOLID, "SOLID"},       {CDB_BLOCK, "BLOCK"},
    {CDB_ENDBLK, "ENDBLK"},       {CDB_INSERT, "INSERT"},     {CDB_ATTDEF, "ATTDEF"},
    {CDB_ATTRIB, "ATTRIB"},       {CDB_SEQEND, "SEQEND"},     {CDB_POLYLINE, "POLYLINE"},
    {CDB_VERTEX, "VERTEX"},       {CDB_3DLINE, "3DLINE"},     {CDB_3DFACE, "3DFACE"},
    {CDB_DIMENSION, "DIMENSION"}, {CDB_VIEWPORT, "VIEWPORT"}, {CDB_ELLIPSE, "ELLIPSE"},
    {CDB_SPLINE, "SPLINE"},       {CDB_REGION, "REGION"},     {CDB_3DSOLID, "3DSOLID"},
    {CDB_BODY, "BODY"},           {CDB_RAY, "RAY"},           {CDB_XLINE, "XLINE"},
    {CDB_MTEXT, "MTEXT"},         {CDB_LEADER, "LEADER"},     {CDB_TOLERANCE, "TOLERANCE"},
    {CDB_MLINE, "MLINE"},         {CDB_OLEFRAME, "OLEFRAME"},
};

bool IsPublicKind(int code) {
    for (const PublicKind &k : kPublicKinds)
        if (k.code == code)
            return true;
    return false;
}

// Where the kind's own part of the record begins.
constexpr size_t kKindPart = offsetof(CDB_ENTITY, line);

} // namespace

TEST(EntityKinds, CodesAscendEachOnceAndAreFoundByIndex) {
    int previous = -1;
    for (const EntityKind &kind : AllEntityKinds()) {
        EXPECT_LT(previous, kind.code);
        previous = kind.code;
        EXPECT_EQ(FindEntityKind(kind.code), &kind) << kind.code;
    }
}

TEST(EntityKinds, EveryPublicCodeHasItsRowAndNoOtherCodeHasOne) {
    EXPECT_EQ(AllEntityKinds().size(), sizeof(kPublicKinds) / sizeof(kPublicKinds[0]));
    for (const PublicKind &k : kPublicKinds) {
        const EntityKind *kind = FindEntityKind(k.code);
        ASSERT_NE(kind, nullptr) << k.code;
        EXPECT_STREQ(kind->name, k.name);
        EXPECT_STREQ(EntityKindName(k.code), k.name);
    }
    for (int code = -2; code < 1000; ++code)
        if (!IsPublicKind(code)) {
            EXPECT_EQ(FindEntityKind(code), nullptr) << code;
            EXPECT_STREQ(EntityKindName(code), "UNKNOWN") << code;
        }
    EXPECT_EQ(FindEntityKind(32767), nullptr);
    EXPECT_EQ(FindEntityKind(-32768), nullptr);
}

TEST(EntityKinds, TheDxfNameIsTheDisplayNameButForTheLineOfCode21) {
    for (const EntityKind &kind : AllEntityKinds()) {
        ASSERT_NE(kind.dxf_name, nullptr) << kind.code;
        if (kind.code == CDB_3DLINE)
            EXPECT_STREQ(kind.dxf_name, "LINE");
        else
            EXPECT_STREQ(kind.dxf_name, kind.name);
    }
}

TEST(EntityKinds, ARowWithDefaultsGivesItsCodeAndOneWithoutGivesNone) {
    for (const EntityKind &kind : AllEntityKinds()) {
        CDB_ENTITY e;
        std::memset(&e, 0xAB, sizeof e);
        EXPECT_EQ(FillEntityDefault(&e, kind.code), 0);
        EXPECT_EQ(+e.entity_type, kind.fill_default ? kind.code : 0) << kind.code;
    }
}

TEST(EntityKinds, TextFieldsAreDistinctPointersOfTheKindsOwnPart) {
    for (const EntityKind &kind : AllEntityKinds()) {
        std::set<uint16_t> seen;
        for (RecordTextFields list : {kind.owned_texts, kind.handle_texts}) {
            for (uint16_t offset : list) {
                EXPECT_GE(offset, kKindPart) << kind.code;
                EXPECT_LE(offset + sizeof(char *), sizeof(CDB_ENTITY)) << kind.code;
                EXPECT_TRUE(seen.insert(offset).second) << kind.code << " offset " << offset;
            }
        }
    }
}

TEST(EntityKinds, OwnedTextsAreTheTextsThatAListModeRecordCopies) {
    // The walk tests keep their own list of the copied texts: both must agree.
    for (const EntityKind &kind : AllEntityKinds()) {
        if (kind.code > CDB_VIEWPORT)
            continue; // release 13 kinds give no list-mode copies yet
        CDB_ENTITY r = velko_test::walk::NewRecord();
        r.entity_type = kind.code;
        std::set<size_t> expected;
        for (char **text : velko_test::walk::CopiedTexts(r))
            if (text)
                expected.insert(static_cast<size_t>(reinterpret_cast<uint8_t *>(text) -
                                                    reinterpret_cast<uint8_t *>(&r)));
        const std::set<size_t> owned(kind.owned_texts.begin(), kind.owned_texts.end());
        EXPECT_EQ(owned, expected) << kind.name;
    }
}

TEST(EntityKinds, FreeingARecordFreesAndNullsEveryOwnedText) {
    for (const EntityKind &kind : AllEntityKinds()) {
        CDB_ENTITY r;
        std::memset(&r, 0, sizeof r);
        r.entity_type = kind.code;
        for (uint16_t offset : kind.owned_texts) {
            char *text = static_cast<char *>(std::malloc(8));
            ASSERT_NE(text, nullptr);
            std::strcpy(text, "owned");
            StoreField<char *>(&r, offset, text);
        }
        // A handle text is not the caller's: it stays.
        char kept[] = "1F";
        for (uint16_t offset : kind.handle_texts)
            StoreField<char *>(&r, offset, kept);
        FreeOwnedTexts(&r);
        for (uint16_t offset : kind.owned_texts)
            EXPECT_EQ(LoadField<char *>(&r, offset), nullptr) << kind.name;
        for (uint16_t offset : kind.handle_texts)
            EXPECT_EQ(LoadField<char *>(&r, offset), kept) << kind.name;
    }
}

TEST(EntityKinds, FreeingARecordOfNoKindTouchesNothing) {
    CDB_ENTITY r;
    std::memset(&r, 0, sizeof r);
    r.entity_type = 5;
    char text[] = "not owned";
    r.text.text = text;
    FreeOwnedTexts(&r);
    EXPECT_EQ(+r.text.text, text);
    FreeOwnedTexts(nullptr);
}

TEST(EntityKinds, ABlockStartRecordIsFreedAsKind12) {
    CDB_STARTBLOCK_ENTITY_type b;
    std::memset(&b, 0, sizeof b);
    b.xref_path = static_cast<char *>(std::calloc(1, 4));
    b.name = static_cast<char *>(std::calloc(1, 4));
    b.name_2 = static_cast<char *>(std::calloc(1, 4));
    FreeOwnedTexts(*FindEntityKind(CDB_BLOCK), &b);
    EXPECT_EQ(+b.xref_path, nullptr);
    EXPECT_EQ(+b.name, nullptr);
    EXPECT_EQ(+b.name_2, nullptr);
}
