// The table of the release 13 HEADER variables: the writer's order, the read-only ones
// behind it, the 38 variables of release 13 and their types.
#include "dxf/r13_dxf_header.h"

#include "velkow32.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <string>
#include <vector>

namespace {

std::vector<std::string> Names(bool written) {
    size_t count = 0;
    const R13DxfHeaderVariable *table = R13DxfHeaderVariables(count);
    std::vector<std::string> names;
    for (size_t i = 0; i < count; ++i)
        if (table[i].written == written)
            names.push_back(table[i].name);
    return names;
}

size_t PlaceOf(const std::vector<std::string> &names, const std::string &name) {
    for (size_t i = 0; i < names.size(); ++i)
        if (names[i] == name)
            return i;
    return names.size();
}

TEST(R13DxfHeaderTable, HoldsTheWrittenVariablesInTheWritersOrderAndTheReadOnlyOnesBehind) {
    size_t count = 0;
    const R13DxfHeaderVariable *table = R13DxfHeaderVariables(count);
    EXPECT_EQ(count, 174u);
    const std::vector<std::string> written = Names(true);
    ASSERT_EQ(written.size(), 162u);
    EXPECT_EQ(written[0], "$ACADVER");
    EXPECT_EQ(written[1], "$DWGCODEPAGE");
    EXPECT_EQ(written[2], "$INSBASE");
    EXPECT_EQ(written.back(), "$SAVEIMAGES");
    for (size_t i = 162; i < count; ++i)
        EXPECT_FALSE(table[i].written) << table[i].name;
    EXPECT_EQ(Names(false),
              (std::vector<std::string>{"$FASTZOOM", "$GRIDMODE", "$GRIDUNIT", "$SNAPANG",
                                        "$SNAPBASE", "$SNAPISOPAIR", "$SNAPMODE", "$SNAPSTYLE",
                                        "$SNAPUNIT", "$VIEWCTR", "$VIEWDIR", "$VIEWSIZE"}));
}

TEST(R13DxfHeaderTable, PutsTheAdditionsOfReleaseThirteenBehindTheirNeighbours) {
    const std::vector<std::string> w = Names(true);
    auto follows = [&w](const char *name, const char *after) {
        EXPECT_EQ(PlaceOf(w, name), PlaceOf(w, after) + 1) << name << " after " << after;
    };
    follows("$CELTSCALE", "$CECOLOR");
    follows("$DELOBJ", "$CELTSCALE");
    follows("$DISPSILH", "$DELOBJ");
    follows("$DIMJUST", "$DIMGAP");
    follows("$DIMALTTD", "$DIMALTU");
    follows("$DIMTXSTY", "$DIMALTTD");
    follows("$DIMAUNIT", "$DIMTXSTY");
    follows("$LUNITS", "$DIMAUNIT");
    follows("$CHAMFERC", "$CHAMFERB");
    follows("$CHAMFERD", "$CHAMFERC");
    follows("$PICKSTYLE", "$TREEDEPTH");
    follows("$CMLSTYLE", "$PICKSTYLE");
    follows("$CMLJUST", "$CMLSTYLE");
    follows("$CMLSCALE", "$CMLJUST");
    follows("$SAVEIMAGES", "$CMLSCALE");
}

TEST(R13DxfHeaderTable, GivesTheReleaseThirteenVariablesTheirTypes) {
    struct Expected {
        const char *name;
        R13DxfVarType type;
        int16_t code;
    };
    const Expected expected[] = {
        {"$GRIDUNIT", R13DxfVarType::kPoint2, 10},     {"$SNAPBASE", R13DxfVarType::kPoint2, 10},
        {"$SNAPUNIT", R13DxfVarType::kPoint2, 10},     {"$VIEWCTR", R13DxfVarType::kPoint2, 10},
        {"$VIEWDIR", R13DxfVarType::kPoint3, 10},      {"$CMLSTYLE", R13DxfVarType::kName, 2},
        {"$DIMTXSTY", R13DxfVarType::kName, 7},        {"$CELTSCALE", R13DxfVarType::kReal, 40},
        {"$CHAMFERC", R13DxfVarType::kReal, 40},       {"$CHAMFERD", R13DxfVarType::kReal, 40},
        {"$CMLSCALE", R13DxfVarType::kReal, 40},       {"$SNAPANG", R13DxfVarType::kReal, 50},
        {"$VIEWSIZE", R13DxfVarType::kReal, 40},       {"$DIMUPT", R13DxfVarType::kInt16, 70},
        {"$FASTZOOM", R13DxfVarType::kInt16, 70},      {"$CMLJUST", R13DxfVarType::kInt16, 70},
        {"$DWGCODEPAGE", R13DxfVarType::kCodePage, 3}, {"$ANGBASE", R13DxfVarType::kReal, 50},
        {"$CLAYER", R13DxfVarType::kName, 8},          {"$CELTYPE", R13DxfVarType::kName, 6},
        {"$HANDSEED", R13DxfVarType::kText, 5},        {"$DIMTOL", R13DxfVarType::kInt16, 70},
    };
    for (const Expected &e : expected) {
        const R13DxfHeaderVariable *v = FindR13DxfHeaderVariable(e.name);
        ASSERT_NE(v, nullptr) << e.name;
        EXPECT_EQ(v->type, e.type) << e.name;
        EXPECT_EQ(v->code, e.code) << e.name;
    }
    EXPECT_EQ(FindR13DxfHeaderVariable("$CLAYER")->offset, offsetof(CDB_HEADER_type, hclayer));
    EXPECT_EQ(FindR13DxfHeaderVariable("$CMLSTYLE")->names, R13DxfNameTable::kMlineStyles);
    EXPECT_EQ(FindR13DxfHeaderVariable("ACADVER"), nullptr);
    EXPECT_EQ(FindR13DxfHeaderVariable("$acadver"), nullptr);
}

} // namespace
