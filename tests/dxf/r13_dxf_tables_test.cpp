// The descriptions of the release 13 table records in a DXF file: one per record kind, with
// the writer's marker and the groups release 13 adds to those of release 12.
#include "dwg13/r13_dxf_record_layout.h"
#include "dwg13/r13_tables.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using V = R13DxfRecordValue;

TEST(R13DxfRecordKinds, EveryTableOfTheTablesSectionHasOneWithItsMarker) {
    struct Expected {
        const char *name;
        int16_t type;
        const char *marker;
        bool release12;
    };
    const Expected expected[] = {
        {"VPORT", kR13Vport, "AcDbViewportTableRecord", true},
        {"LTYPE", kR13Ltype, "AcDbLinetypeTableRecord", true},
        {"LAYER", kR13Layer, "AcDbLayerTableRecord", true},
        {"STYLE", kR13Style, "AcDbTextStyleTableRecord", true},
        {"VIEW", kR13View, "AcDbViewTableRecord", true},
        {"UCS", kR13Ucs, "AcDbUCSTableRecord", true},
        {"APPID", kR13Appid, "AcDbRegAppTableRecord", true},
        {"DIMSTYLE", kR13Dimstyle, "AcDbDimStyleTableRecord", true},
        {"BLOCK_RECORD", kR13BlockHeader, "AcDbBlockTableRecord", false},
    };
    for (const Expected &e : expected) {
        const R13DxfRecordKind *kind = FindR13DxfRecordKind(e.name);
        ASSERT_NE(kind, nullptr) << e.name;
        EXPECT_EQ(kind->record_type, e.type);
        EXPECT_STREQ(kind->marker, e.marker);
        EXPECT_EQ(kind->release12_groups, e.release12) << e.name;
        EXPECT_EQ(R13DxfRecordKindOfType(e.type), kind);
    }
    EXPECT_EQ(FindR13DxfRecordKind("MLINESTYLE"), nullptr);
    EXPECT_EQ(FindR13DxfRecordKind("layer"), nullptr);
    ASSERT_NE(R13DxfRecordKindOfType(kR13MlineStyle), nullptr);
    EXPECT_STREQ(R13DxfRecordKindOfType(kR13MlineStyle)->marker, "AcDbMlineStyle");
}

TEST(R13DxfRecordKinds, TheDimensionStyleKeepsItsHandleUnder105AndItsGroupsInTheWritersOrder) {
    const R13DxfRecordKind *kind = FindR13DxfRecordKind("DIMSTYLE");
    ASSERT_NE(kind, nullptr);
    EXPECT_EQ(kind->Find(105)->value, V::kHandle);
    // 5 is left to the release 12 groups: DIMBLK.
    EXPECT_EQ(kind->Find(5), nullptr);
    std::vector<int> codes;
    for (size_t i = 0; i < kind->count; ++i)
        codes.push_back(kind->groups[i].code);
    EXPECT_EQ(codes, (std::vector<int>{105, 270, 271, 272, 273, 274, 340, 275, 280, 281, 282, 283,
                                       284, 285, 286, 287, 288}));
    EXPECT_EQ(kind->Find(340)->value, V::kTextKept);
}

TEST(R13DxfRecordKinds, LayersLineTypesAndBlockRecordsNameTheirAdditions) {
    const R13DxfRecordKind *layer = FindR13DxfRecordKind("LAYER");
    EXPECT_EQ(layer->Find(5)->value, V::kHandle);
    EXPECT_EQ(layer->Find(6)->value, V::kLtypeHandle);
    const R13DxfRecordKind *ltype = FindR13DxfRecordKind("LTYPE");
    EXPECT_EQ(ltype->Find(74)->value, V::kShapeFlag);
    EXPECT_EQ(ltype->Find(74)->anchor, 49);
    const R13DxfRecordKind *block = FindR13DxfRecordKind("BLOCK_RECORD");
    ASSERT_EQ(block->count, 3u);
    EXPECT_EQ(block->Find(2)->value, V::kName);
    EXPECT_EQ(block->Find(70)->value, V::kFlags);
    const R13DxfRecordKind *style = R13DxfRecordKindOfType(kR13MlineStyle);
    EXPECT_EQ(style->Find(102)->value, V::kReactors);
    EXPECT_EQ(style->Find(62)->value, V::kFillColor);
    EXPECT_EQ(style->Find(6)->value, V::kElementLtype);
}

} // namespace
