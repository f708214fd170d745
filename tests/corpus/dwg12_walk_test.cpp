// Corpus tests of the walk: every release 12 DWG of the corpus is walked, the main
// section and the blocks, and the kinds are counted against MANIFEST.json; two drawings
// are checked field by field against values read off their DXF twins
// (dxf12/entities-2d.dxf and dxf12/entities-3d.dxf, written into this file as constants).
#include "records/entity_kinds.h"
#include "support/corpus.h"
#include "support/mini_json.h"
#include "walk/walk_support.h"

#include "velkow32.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <map>
#include <ostream>
#include <string>
#include <vector>

namespace velko_test {
namespace walk {
namespace {

const char *KindName(int kind) {
    return EntityKindName(kind);
}

using Counts = std::map<std::string, int>;

Counts CountsOf(const std::vector<int> &kinds) {
    Counts c;
    for (int k : kinds)
        ++c[KindName(k)];
    return c;
}

Counts ManifestCounts(const json::Value &object) {
    Counts c;
    for (const json::Value::Member &m : object.members())
        c[m.first] = static_cast<int>(m.second.as_number());
    return c;
}

std::string Show(const Counts &c) {
    std::string s = "{";
    for (const auto &kv : c)
        s += " " + kv.first + ":" + std::to_string(kv.second);
    return s + " }";
}

struct WalkCase {
    std::string path;
    const json::Value *entry = nullptr;
};

void PrintTo(const WalkCase &c, std::ostream *os) {
    *os << (c.path.empty() ? std::string("(no corpus)") : c.path);
}

std::vector<WalkCase> Dwg12WalkCases() {
    std::vector<WalkCase> cases;
    for (const json::Value *e : CorpusManifestEntries("dwg12/")) {
        if ((*e)["format"].as_string() == "dwg")
            cases.push_back({(*e)["path"].as_string(), e});
    }
    if (cases.empty())
        cases.push_back({});
    return cases;
}

std::string WalkCaseName(const testing::TestParamInfo<WalkCase> &info) {
    return info.param.path.empty() ? std::string("no_corpus") : TestNameFor(info.param.path);
}

class Dwg12Walk : public testing::TestWithParam<WalkCase> {
protected:
    void SetUp() override {
        VELKO_REQUIRE_CORPUS();
        if (!GetParam().entry)
            FAIL() << "the manifest lists no release 12 DWG: " << CorpusManifestError();
    }
    const json::Value &entry() const { return *GetParam().entry; }
};

TEST_P(Dwg12Walk, MainSectionHoldsTheManifestsEntitiesAndTheSentinel) {
    OpenDrawing d(CorpusPath(GetParam().path));
    ASSERT_GE(d.handle, 0) << GetParam().path << ": " << CDBGetErrorNumber(-123);
    std::vector<int> kinds = WalkKinds(d.handle, -1);
    ASSERT_FALSE(kinds.empty());
    EXPECT_EQ(kinds.back(), CDB_ENDBLK) << "the main walk ends with the sentinel";
    Counts expected = ManifestCounts(entry()["entities"]);
    ++expected["ENDBLK"];
    EXPECT_EQ(Show(CountsOf(kinds)), Show(expected)) << GetParam().path;
    EXPECT_EQ(CDBEntityCount(d.handle, -1), static_cast<int16_t>(kinds.size()));
}

TEST_P(Dwg12Walk, BlocksHoldTheManifestsBlockEntities) {
    OpenDrawing d(CorpusPath(GetParam().path));
    ASSERT_GE(d.handle, 0) << GetParam().path << ": " << CDBGetErrorNumber(-123);
    Counts found;
    int blocks = 0;
    CDB_STARTBLOCK_ENTITY_type b = NewBlockRecord();
    int16_t status = CDBGetFirstBlock(d.handle, &b);
    for (int16_t index = 0; status >= 0; ++index) {
        if (status == 0) {
            ++blocks;
            ++found["BLOCK"]; // the kind 12 frame became the block's record
            for (int k : WalkKinds(d.handle, index))
                ++found[KindName(k)];
        }
        FreeCopies(b);
        b = NewBlockRecord();
        status = CDBGetNextBlock(d.handle, &b);
    }
    EXPECT_EQ(status, CDB_END_OF_BLOCKS);
    EXPECT_EQ(blocks, static_cast<int>(entry()["blocks"].as_number()));
    EXPECT_EQ(Show(found), Show(ManifestCounts(entry()["block_entities"]))) << GetParam().path;
}

TEST_P(Dwg12Walk, NavigateEnds) {
    OpenDrawing d(CorpusPath(GetParam().path));
    ASSERT_GE(d.handle, 0);
    ASSERT_GE(CDBFirstEntity(d.handle, -1), 0);
    CDB_ENTITY r = NewRecord();
    int16_t result = 0;
    int calls = 0;
    for (; calls < 100000; ++calls) {
        r = NewRecord();
        result = CDBNavigate(d.handle, &r);
        if (result < 0)
            break;
        FreeCopies(r);
    }
    EXPECT_EQ(result, CDB_END_OF_WALK);
}

INSTANTIATE_TEST_SUITE_P(Corpus, Dwg12Walk, testing::ValuesIn(Dwg12WalkCases()), WalkCaseName);

// ---- Field by field: entities-2d.dwg and entities-3d.dwg --------------------------------

// Coordinates of the DXF twins carry six decimals.
constexpr double kTolerance = 1e-6;

#define EXPECT_POINT(p, ex, ey, ez)                                                                \
    do {                                                                                           \
        CDB_POINT3 point_ = (p);                                                                   \
        EXPECT_NEAR(point_.x, (ex), kTolerance);                                                   \
        EXPECT_NEAR(point_.y, (ey), kTolerance);                                                   \
        EXPECT_NEAR(point_.z, (ez), kTolerance);                                                   \
    } while (0)

// The record at `position` of list `block`.
CDB_ENTITY At(int16_t h, int16_t block, int position) {
    CDB_ENTITY r = NewRecord();
    EXPECT_EQ(CDBGetEntity(h, CDBPackEntityId(block, static_cast<uint16_t>(position)), &r),
              position)
        << "block " << block << " position " << position;
    return r;
}

std::string Str(const char *text) {
    return text ? std::string(text) : std::string("(null)");
}

class Dwg12WalkFields : public testing::TestWithParam<std::string> {
protected:
    void SetUp() override { VELKO_REQUIRE_CORPUS(); }
};

// The main section of entities-2d.dxf, which entities-3d.dxf repeats and closes with a
// 3DFACE. All entities stand on layer "0" (index 0) with colour and line type BYLAYER.
TEST_P(Dwg12WalkFields, MainSectionAsTheDxfTwinHasIt) {
    const bool three_d = GetParam() == "entities-3d";
    OpenDrawing d(CorpusPath("dwg12/" + GetParam() + ".dwg"));
    ASSERT_GE(d.handle, 0) << CDBGetErrorNumber(-123);
    const std::vector<int> expected_kinds = {
        CDB_POINT,  CDB_LINE,   CDB_ARC,    CDB_CIRCLE, CDB_TEXT,     CDB_TRACE,  CDB_INSERT,
        CDB_SHAPE,  CDB_SOLID,  CDB_ATTDEF, CDB_INSERT, CDB_ATTRIB,   CDB_SEQEND, CDB_POLYLINE,
        CDB_VERTEX, CDB_VERTEX, CDB_VERTEX, CDB_SEQEND, CDB_DIMENSION};
    std::vector<int> kinds = expected_kinds;
    if (three_d)
        kinds.push_back(CDB_3DFACE);
    kinds.push_back(CDB_ENDBLK);
    ASSERT_EQ(WalkKinds(d.handle, -1), kinds);
    const int16_t h = d.handle;

    for (int i = 0; i + 1 < static_cast<int>(kinds.size()); ++i) {
        CDB_ENTITY r = At(h, -1, i);
        EXPECT_EQ(Val(r.layer_index), 0) << i;
        EXPECT_EQ(Val(r.color), -1) << i;
        EXPECT_EQ(Val(r.line_type_index), -1) << i;
        EXPECT_EQ(Val(r.space), 0) << i;
        EXPECT_POINT(r.extrusion, 0, 0, 1);
        FreeCopies(r);
    }

    CDB_ENTITY r = At(h, -1, 0); // POINT 10/20/30 1, 2, 3
    EXPECT_POINT(r.point.location, 1, 2, 3);

    r = At(h, -1, 1); // LINE 2, 3, 4 to 3, 4, 5
    EXPECT_POINT(r.line.start_point, 2, 3, 4);
    EXPECT_POINT(r.line.end_point, 3, 4, 5);

    r = At(h, -1, 2); // ARC 5, 5, 5 radius 1 from 270 to 0 degrees
    EXPECT_POINT(r.arc.center, 5, 5, 5);
    EXPECT_NEAR(Val(r.elevation), 5, kTolerance);
    EXPECT_NEAR(Val(r.arc.radius), 1, kTolerance);
    EXPECT_NEAR(Val(r.arc.start_angle), 270, kTolerance);
    EXPECT_NEAR(Val(r.arc.end_angle), 0, kTolerance);

    r = At(h, -1, 3); // CIRCLE 3, 1, 2 radius 1
    EXPECT_POINT(r.circle.center, 3, 1, 2);
    EXPECT_NEAR(Val(r.elevation), 2, kTolerance);
    EXPECT_NEAR(Val(r.circle.radius), 1, kTolerance);

    r = At(h, -1, 4); // TEXT at 1, 4 (z 2 is the elevation), 0.75 high, "FOO", group 72 3
    EXPECT_POINT(r.text.insertion_point, 1, 4, 0);
    EXPECT_NEAR(Val(r.elevation), 2, kTolerance);
    EXPECT_NEAR(Val(r.text.height), 0.75, kTolerance);
    EXPECT_EQ(Str(r.text.text), "FOO");
    EXPECT_EQ(Val(r.text.horizontal_justification), 3);
    EXPECT_NEAR(Val(r.text.alignment_point.x), 3, kTolerance);
    EXPECT_NEAR(Val(r.text.alignment_point.y), 4, kTolerance);
    EXPECT_NEAR(Val(r.text.rotation), 0, kTolerance);
    FreeCopies(r);

    r = At(h, -1, 5); // TRACE, elevation 2
    EXPECT_NEAR(Val(r.elevation), 2, kTolerance);
    EXPECT_POINT(r.trace.corner_1, 0.929289, 5.070711, 0);
    EXPECT_POINT(r.trace.corner_2, 1.070711, 4.929289, 0);
    EXPECT_POINT(r.trace.corner_3, 1.929289, 6.070711, 0);
    EXPECT_POINT(r.trace.corner_4, 2.070711, 5.929289, 0);

    r = At(h, -1, 6); // INSERT BLOCK1 at 6, 1 (elevation 3), scales 0.5, rotation 30
    EXPECT_EQ(Val(r.insert.block_index), 0);
    EXPECT_EQ(Val(r.insert.attributes_follow), 0);
    EXPECT_POINT(r.insert.insertion_point, 6, 1, 0);
    EXPECT_NEAR(Val(r.elevation), 3, kTolerance);
    EXPECT_NEAR(Val(r.insert.x_scale), 0.5, kTolerance);
    EXPECT_NEAR(Val(r.insert.y_scale), 0.5, kTolerance);
    EXPECT_NEAR(Val(r.insert.z_scale), 0.5, kTolerance);
    EXPECT_NEAR(Val(r.insert.rotation), 30, kTolerance);

    r = At(h, -1, 7); // SHAPE "DIODE" at 6, 6, size 1, rotation 30
    EXPECT_POINT(r.shape.insertion_point, 6, 6, 0);
    EXPECT_NEAR(Val(r.shape.size), 1, kTolerance);
    EXPECT_NEAR(Val(r.shape.rotation), 30, kTolerance);

    r = At(h, -1, 8); // SOLID, elevation 2
    EXPECT_NEAR(Val(r.elevation), 2, kTolerance);
    EXPECT_POINT(r.solid.corner_1, 7, 1, 0);
    EXPECT_POINT(r.solid.corner_2, 8, 2, 0);
    EXPECT_POINT(r.solid.corner_3, 7, 3, 0);
    EXPECT_POINT(r.solid.corner_4, 8, 4, 0);

    r = At(h, -1, 9); // ATTDEF at 9, 5 (elevation 2), 0.2 high, "3" "PROMPT" "ATTR1", 60
    EXPECT_POINT(r.attdef.insertion_point, 9, 5, 0);
    EXPECT_NEAR(Val(r.elevation), 2, kTolerance);
    EXPECT_NEAR(Val(r.attdef.height), 0.2, kTolerance);
    EXPECT_EQ(Str(r.attdef.default_value), "3");
    EXPECT_EQ(Str(r.attdef.prompt), "PROMPT");
    EXPECT_EQ(Str(r.attdef.tag), "ATTR1");
    EXPECT_EQ(Val(r.attdef.flags), 0);
    EXPECT_NEAR(Val(r.attdef.rotation), 60, kTolerance);
    FreeCopies(r);

    r = At(h, -1, 10); // INSERT BLOCK2 at 2, 2 (elevation 4), attributes follow
    EXPECT_EQ(Val(r.insert.block_index), 1);
    EXPECT_EQ(Val(r.insert.attributes_follow), 1);
    EXPECT_POINT(r.insert.insertion_point, 2, 2, 0);
    EXPECT_NEAR(Val(r.elevation), 4, kTolerance);
    EXPECT_NEAR(Val(r.insert.x_scale), 0.5, kTolerance);
    EXPECT_NEAR(Val(r.insert.rotation), 30, kTolerance);

    r = At(h, -1, 11); // ATTRIB at 2, 2 (elevation 4), 0.1 high, "4" "ATTR2", 90
    EXPECT_POINT(r.attrib.insertion_point, 2, 2, 0);
    EXPECT_NEAR(Val(r.elevation), 4, kTolerance);
    EXPECT_NEAR(Val(r.attrib.height), 0.1, kTolerance);
    EXPECT_EQ(Str(r.attrib.value), "4");
    EXPECT_EQ(Str(r.attrib.tag), "ATTR2");
    EXPECT_NEAR(Val(r.attrib.rotation), 90, kTolerance);
    FreeCopies(r);

    r = At(h, -1, 13); // POLYLINE, vertices follow, elevation 2
    EXPECT_EQ(Val(r.polyline.vertices_follow), 1);
    EXPECT_POINT(r.polyline.origin, 0, 0, 2);
    const double vertices[3][2] = {{5, 7}, {6, 8}, {7, 7}};
    for (int v = 0; v < 3; ++v) {
        r = At(h, -1, 14 + v);
        EXPECT_POINT(r.vertex.location, vertices[v][0], vertices[v][1], 2);
    }

    r = At(h, -1, 18); // DIMENSION *D2 (the first anonymous block: index 2), type 1
    EXPECT_EQ(Val(r.dimension.block_index), 2);
    EXPECT_EQ(Val(r.dimension.dimension_type), 1);
    EXPECT_POINT(r.dimension.definition_point, 8, 8, 0);
    EXPECT_POINT(r.dimension.text_midpoint, 0, 0, 0);
    EXPECT_POINT(r.dimension.definition_point_2, 6, 8, 2);
    EXPECT_POINT(r.dimension.definition_point_3, 7, 7, 3);
    // The drawing holds a text of one blank, which the twin's writer left out of group 1.
    EXPECT_EQ(Str(r.dimension.text), " ");
    FreeCopies(r);

    if (three_d) {
        r = At(h, -1, 19); // 3DFACE
        EXPECT_POINT(r.face.corner_1, 0, 7, 1);
        EXPECT_POINT(r.face.corner_2, 4, 8, 2);
        EXPECT_POINT(r.face.corner_3, 3, 9, 3);
        EXPECT_POINT(r.face.corner_4, 2, 8, 4);
    }
}

// The BLOCKS section of the twins: BLOCK1 (70 64) with a line, BLOCK2 (70 66) with an
// attribute definition, and the dimension's anonymous block "*D" (70 65), which loading
// names "*D0": three lines and two solids BYBLOCK, three points on layer DEFPOINTS.
TEST_P(Dwg12WalkFields, BlocksAsTheDxfTwinHasThem) {
    OpenDrawing d(CorpusPath("dwg12/" + GetParam() + ".dwg"));
    ASSERT_GE(d.handle, 0) << CDBGetErrorNumber(-123);
    const int16_t h = d.handle;
    const char *names[] = {"BLOCK1", "BLOCK2", "*D0"};
    const int16_t flags[] = {64, 66, 65};
    for (int16_t i = 0; i < 3; ++i) {
        CDB_STARTBLOCK_ENTITY_type b = NewBlockRecord();
        ASSERT_EQ(CDBBlockGet(h, i, &b), 0) << i;
        EXPECT_EQ(Str(b.name), names[i]);
        EXPECT_EQ(Val(b.flags), flags[i]) << names[i];
        EXPECT_POINT(b.base_point, 0, 0, 0);
        FreeCopies(b);
    }
    EXPECT_EQ(WalkKinds(h, 0), (std::vector<int>{CDB_LINE, CDB_ENDBLK}));
    EXPECT_EQ(WalkKinds(h, 1), (std::vector<int>{CDB_ATTDEF, CDB_ENDBLK}));
    EXPECT_EQ(WalkKinds(h, 2), (std::vector<int>{CDB_LINE, CDB_LINE, CDB_LINE, CDB_SOLID, CDB_SOLID,
                                                 CDB_POINT, CDB_POINT, CDB_POINT, CDB_ENDBLK}));

    CDB_ENTITY r = At(h, 0, 0);
    EXPECT_POINT(r.line.start_point, 0, 0, -1);
    EXPECT_POINT(r.line.end_point, 1, 1, 0);

    r = At(h, 1, 0);
    EXPECT_POINT(r.attdef.insertion_point, 0, 0, 0);
    EXPECT_NEAR(Val(r.attdef.height), 0.2, kTolerance);
    EXPECT_EQ(Str(r.attdef.default_value), "3");
    EXPECT_EQ(Str(r.attdef.prompt), "PROMPT");
    EXPECT_EQ(Str(r.attdef.tag), "ATTR2");
    EXPECT_NEAR(Val(r.attdef.rotation), 60, kTolerance);
    FreeCopies(r);

    const double lines[3][4] = {{6.044194, 8.044194, 7.127279, 9.127279},
                                {7.044194, 7.044194, 8.127279, 8.127279},
                                {7.127279, 8.872721, 7.872721, 8.127279}};
    for (int i = 0; i < 3; ++i) {
        r = At(h, 2, i);
        EXPECT_EQ(Val(r.color), 0) << "BYBLOCK";
        EXPECT_EQ(Val(r.line_type_index), -2) << "BYBLOCK";
        EXPECT_EQ(Val(r.layer_index), 0);
        EXPECT_POINT(r.line.start_point, lines[i][0], lines[i][1], 0);
        EXPECT_POINT(r.line.end_point, lines[i][2], lines[i][3], 0);
    }
    r = At(h, 2, 3);
    EXPECT_POINT(r.solid.corner_1, 7.148492, 8.893934, 0);
    EXPECT_POINT(r.solid.corner_2, 7.106066, 8.851508, 0);
    EXPECT_POINT(r.solid.corner_3, 7, 9, 0);
    EXPECT_POINT(r.solid.corner_4, 7, 9, 0);
    r = At(h, 2, 4);
    EXPECT_POINT(r.solid.corner_1, 7.893934, 8.148492, 0);
    EXPECT_POINT(r.solid.corner_2, 7.851508, 8.106066, 0);
    EXPECT_POINT(r.solid.corner_3, 8, 8, 0);
    EXPECT_POINT(r.solid.corner_4, 8, 8, 0);
    const double points[3][3] = {{6, 8, 2}, {7, 7, 3}, {8, 8, 0}};
    for (int i = 0; i < 3; ++i) {
        r = At(h, 2, 5 + i);
        EXPECT_EQ(Val(r.layer_index), 1) << "DEFPOINTS";
        EXPECT_POINT(r.point.location, points[i][0], points[i][1], points[i][2]);
    }
}

INSTANTIATE_TEST_SUITE_P(Twins, Dwg12WalkFields, testing::Values("entities-2d", "entities-3d"),
                         [](const testing::TestParamInfo<std::string> &info) {
                             return info.param == "entities-2d" ? std::string("entities_2d")
                                                                : std::string("entities_3d");
                         });

} // namespace
} // namespace walk
} // namespace velko_test
