// The renderer on small drawings made with the library's own edit functions: each
// entity's picture read back from the SVG page, in world coordinates.
#include "render/drawing_renderer.h"
#include "render/drawing_walker.h"

#include "edit/edit_support.h"
#include "fonts/shx_bytes.h"
#include "support/dwg12_builder.h"
#include "support/mini_xml.h"
#include "walk/walk_support.h"

#include "velkow32.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <sstream>
#include <string>
#include <unistd.h>
#include <vector>

namespace velko_test {
namespace {

using render::Point2;

// The page every test writes: the world from (-50, -50) to (50, 50) at 100 pixels to the
// unit, so that the page's three decimals are a hundred-thousandth of a unit.
constexpr double kWindow = 50;
constexpr int kPagePixels = 10000;
constexpr double kPixelsPerUnit = kPagePixels / (2 * kWindow);

// One drawn primitive as the page shows it, back in world coordinates.
struct Drawn {
    std::string tag; // polyline, polygon, circle, text
    std::vector<Point2> points;
    std::string fill, stroke, text;
    double stroke_width = 0;
};

// One entity group of the page.
struct Group {
    std::string kind;
    std::vector<Drawn> items;
};

Point2 World(double page_x, double page_y) {
    return {page_x / kPixelsPerUnit - kWindow, kWindow - page_y / kPixelsPerUnit};
}

std::vector<Point2> PointList(const std::string &text) {
    std::vector<Point2> points;
    std::string spaced = text;
    for (char &c : spaced)
        if (c == ',')
            c = ' ';
    std::istringstream in(spaced);
    double x, y;
    while (in >> x >> y)
        points.push_back(World(x, y));
    return points;
}

// Renders the drawing and reads the page back.
class Rendered {
public:
    Rendered(int16_t h, const render::RenderOptions &options = {}) {
        ok = render::RenderDrawing(h, options, canvas, &summary);
        std::ostringstream svg;
        canvas.WriteSvg(svg, {-kWindow, -kWindow}, {kWindow, kWindow}, kPagePixels);
        page = svg.str();
        xml::Document doc = xml::Parse(page);
        well_formed = doc.ok();
        if (!well_formed)
            return;
        for (const xml::Element *g : doc.root->Descendants("g")) {
            if (g->Attr("class") != "entity")
                continue;
            Group group;
            group.kind = g->Attr("data-kind");
            for (const xml::Element *item : g->Children()) {
                Drawn d;
                d.tag = item->name;
                d.fill = item->Attr("fill");
                d.stroke = item->Attr("stroke");
                d.stroke_width = std::atof(item->Attr("stroke-width").c_str());
                if (item->Has("points"))
                    d.points = PointList(item->Attr("points"));
                if (d.tag == "circle")
                    d.points.push_back(World(std::atof(item->Attr("cx").c_str()),
                                             std::atof(item->Attr("cy").c_str())));
                if (d.tag == "text") {
                    d.points.push_back(World(std::atof(item->Attr("x").c_str()),
                                             std::atof(item->Attr("y").c_str())));
                    d.text = item->text;
                }
                group.items.push_back(d);
            }
            groups.push_back(group);
        }
    }

    // All items of all groups.
    std::vector<Drawn> Items() const {
        std::vector<Drawn> all;
        for (const Group &g : groups)
            all.insert(all.end(), g.items.begin(), g.items.end());
        return all;
    }

    bool ok = false, well_formed = false;
    render::SvgCanvas canvas;
    render::RenderSummary summary;
    std::string page;
    std::vector<Group> groups;
};

constexpr double kNear = 1e-4;

::testing::AssertionResult Near(const Point2 &p, double x, double y) {
    if (std::fabs(p.x - x) < kNear && std::fabs(p.y - y) < kNear)
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure()
           << "(" << p.x << ", " << p.y << ") is not (" << x << ", " << y << ")";
}

// A drawing with the minimal tables, opened from a temporary file; entities are added to
// it through the flat interface.
class RenderEntities : public ::testing::Test {
protected:
    RenderEntities() : drawing("render_entities.dwg", edit::EditDrawing()) {}
    ~RenderEntities() override {
        saved.reset();
        if (!saved_path.empty())
            std::remove(saved_path.c_str());
    }
    void SetUp() override { ASSERT_GE(drawing.handle, 0); }
    int16_t h() const { return drawing.handle; }

    CDB_ENTITY Default(int16_t kind) {
        CDB_ENTITY e = walk::NewRecord();
        EXPECT_EQ(CDBEntityDefault(h(), &e, kind), 0);
        return e;
    }
    void Add(CDB_ENTITY &e, int16_t block = -1) { ASSERT_GE(CDBEntityAdd(h(), block, &e), 0); }
    void AddLine(double x1, double y1, double x2, double y2, int16_t block = -1, int16_t layer = 0,
                 int16_t color = 256) {
        CDB_ENTITY e = Default(CDB_LINE);
        e.line.start_point = {x1, y1, 0};
        e.line.end_point = {x2, y2, 0};
        e.layer_index = layer;
        e.color = color;
        Add(e, block);
    }
    int16_t AddLayer(const char *name, int16_t color, uint8_t flags = 0) {
        CDB_LAYER_TBL_type layer;
        EXPECT_EQ(CDBLayerTableDefault(&layer), 0);
        std::vector<char> text(name, name + std::strlen(name) + 1);
        layer.name = text.data();
        layer.color = color;
        layer.flags = flags;
        return CDBLayerTableAdd(h(), &layer);
    }
    int16_t AddBlock(const char *name, double base_x = 0, double base_y = 0) {
        CDB_STARTBLOCK_ENTITY_type block;
        EXPECT_EQ(CDBBlockDefault(h(), &block), 0);
        std::vector<char> text(name, name + std::strlen(name) + 1);
        block.name = text.data();
        block.base_point = {base_x, base_y, 0};
        return CDBBlockAdd(h(), &block);
    }
    CDB_ENTITY Insert(int16_t block, double x, double y) {
        CDB_ENTITY e = Default(CDB_INSERT);
        e.insert.block_index = block;
        e.insert.insertion_point = {x, y, 0};
        return e;
    }
    void AddVertex(double x, double y, double bulge = 0, int16_t flags = 0, double start_width = 0,
                   double end_width = 0) {
        CDB_ENTITY v = Default(CDB_VERTEX);
        v.vertex.location = {x, y, 0};
        v.vertex.bulge = bulge;
        v.vertex.flags = flags;
        v.vertex.start_width = start_width;
        v.vertex.end_width = end_width;
        Add(v);
    }
    void AddSeqEnd() {
        CDB_ENTITY end = walk::NewRecord();
        CDBEntityDefault(h(), &end, CDB_SEQEND);
        end.entity_type = CDB_SEQEND;
        Add(end);
    }
    // A polyline head with its flags; its vertices follow.
    void AddPolyline(int16_t flags = 0, int16_t layer = 0) {
        CDB_ENTITY head = Default(CDB_POLYLINE);
        head.polyline.vertices_follow = 1;
        head.polyline.flags = flags;
        head.layer_index = layer;
        Add(head);
    }

    // The drawing saved as DWG and opened again: what was added behind the main list's
    // end now stands before it, where the display walk finds it. The file is named after
    // the test and the process, so that tests run side by side do not share it.
    int16_t Saved() {
        saved.reset();
        const testing::TestInfo *info = testing::UnitTest::GetInstance()->current_test_info();
        saved_path = ::testing::TempDir() + "render_entities_" + (info ? info->name() : "saved") +
                     "_" + std::to_string(static_cast<long>(getpid())) + ".dwg";
        EXPECT_EQ(CDBSaveAsDWG(h(), saved_path.c_str()), 0);
        saved = std::make_unique<walk::OpenDrawing>(saved_path);
        EXPECT_GE(saved->handle, 0);
        return saved->handle;
    }

    walk::OpenDrawing drawing;
    std::unique_ptr<walk::OpenDrawing> saved;
    std::string saved_path;
};

TEST_F(RenderEntities, ALineIsOneGroupWithItsTwoPoints) {
    AddLine(1, 2, 3, 4);
    Rendered r(Saved());
    ASSERT_TRUE(r.ok);
    ASSERT_TRUE(r.well_formed) << r.page.substr(0, 400);
    ASSERT_EQ(r.groups.size(), 1u);
    EXPECT_EQ(r.summary.entities, 1);
    EXPECT_EQ(r.groups[0].kind, "LINE");
    ASSERT_EQ(r.groups[0].items.size(), 1u);
    ASSERT_EQ(r.groups[0].items[0].points.size(), 2u);
    EXPECT_TRUE(Near(r.groups[0].items[0].points[0], 1, 2));
    EXPECT_TRUE(Near(r.groups[0].items[0].points[1], 3, 4));
}

TEST_F(RenderEntities, ABulgeOfOneGivesAHalfCircleOnTheRightHandSide) {
    AddPolyline();
    AddVertex(0, 0, 1);
    AddVertex(10, 0);
    AddSeqEnd();
    Rendered r(Saved());
    ASSERT_EQ(r.groups.size(), 1u) << "vertices and the sequence end draw with their polyline";
    EXPECT_EQ(r.groups[0].kind, "POLYLINE");
    ASSERT_EQ(r.groups[0].items.size(), 1u);
    const std::vector<Point2> &points = r.groups[0].items[0].points;
    ASSERT_GE(points.size(), 8u);
    EXPECT_TRUE(Near(points.front(), 0, 0));
    EXPECT_TRUE(Near(points.back(), 10, 0));
    // Counter-clockwise from (0, 0) to (10, 0) about (5, 0): through (5, -5).
    double lowest = 0;
    for (const Point2 &p : points) {
        EXPECT_NEAR(std::hypot(p.x - 5, p.y), 5, 1e-3) << p.x << ", " << p.y;
        EXPECT_LE(p.y, kNear);
        lowest = std::min(lowest, p.y);
    }
    EXPECT_NEAR(lowest, -5, 1e-3);
}

TEST_F(RenderEntities, AClosedPolylineJoinsItsLastVertexToItsFirst) {
    AddPolyline(1);
    AddVertex(0, 0);
    AddVertex(4, 0);
    AddVertex(4, 3);
    AddSeqEnd();
    Rendered r(Saved());
    ASSERT_EQ(r.groups.size(), 1u);
    ASSERT_EQ(r.groups[0].items.size(), 1u);
    EXPECT_EQ(r.groups[0].items[0].tag, "polygon");
    EXPECT_EQ(r.groups[0].items[0].points.size(), 3u);
}

TEST_F(RenderEntities, AWidePolylineSegmentIsAFilledQuadrilateral) {
    AddPolyline();
    AddVertex(0, 0, 0, 0, 2, 2);
    AddVertex(10, 0);
    AddSeqEnd();
    Rendered r(Saved());
    ASSERT_EQ(r.groups.size(), 1u);
    ASSERT_EQ(r.groups[0].items.size(), 1u);
    const Drawn &quad = r.groups[0].items[0];
    EXPECT_EQ(quad.tag, "polygon");
    EXPECT_EQ(quad.stroke, "none");
    ASSERT_EQ(quad.points.size(), 4u);
    EXPECT_TRUE(Near(quad.points[0], 0, 1));
    EXPECT_TRUE(Near(quad.points[1], 10, 1));
    EXPECT_TRUE(Near(quad.points[2], 10, -1));
    EXPECT_TRUE(Near(quad.points[3], 0, -1));
}

TEST_F(RenderEntities, ASplinesFrameGivesWayToItsFittedVertices) {
    AddPolyline(4);
    AddVertex(0, 5, 0, 16);
    AddVertex(5, 5, 0, 16);
    AddVertex(0, 0, 0, 8);
    AddVertex(1, 1, 0, 8);
    AddVertex(2, 0, 0, 8);
    AddSeqEnd();
    Rendered r(Saved());
    ASSERT_EQ(r.groups.size(), 1u);
    ASSERT_EQ(r.groups[0].items.size(), 1u);
    ASSERT_EQ(r.groups[0].items[0].points.size(), 3u);
    EXPECT_TRUE(Near(r.groups[0].items[0].points[1], 1, 1));
}

TEST_F(RenderEntities, APolygonMeshIsDrawnAsItsRowsAndColumns) {
    CDB_ENTITY head = Default(CDB_POLYLINE);
    head.polyline.vertices_follow = 1;
    head.polyline.flags = 16;
    head.polyline.mesh_m_count = 2;
    head.polyline.mesh_n_count = 3;
    Add(head);
    for (int m = 0; m < 2; ++m)
        for (int n = 0; n < 3; ++n)
            AddVertex(n, m, 0, 64);
    AddSeqEnd();
    Rendered r(Saved());
    ASSERT_EQ(r.groups.size(), 1u);
    ASSERT_EQ(r.groups[0].items.size(), 5u) << "two runs of three, three runs of two";
    EXPECT_EQ(r.groups[0].items[0].points.size(), 3u);
    EXPECT_EQ(r.groups[0].items[4].points.size(), 2u);
}

TEST_F(RenderEntities, APolyfaceMeshLeavesOutItsInvisibleEdges) {
    CDB_ENTITY head = Default(CDB_POLYLINE);
    head.polyline.vertices_follow = 1;
    head.polyline.flags = 64;
    head.polyline.mesh_m_count = 4;
    head.polyline.mesh_n_count = 1;
    Add(head);
    AddVertex(0, 0, 0, 192);
    AddVertex(10, 0, 0, 192);
    AddVertex(10, 10, 0, 192);
    AddVertex(0, 10, 0, 192);
    CDB_ENTITY face = Default(CDB_VERTEX);
    face.vertex.flags = 128;
    face.vertex.polyface_index_1 = 1;
    face.vertex.polyface_index_2 = 2;
    face.vertex.polyface_index_3 = -3;
    face.vertex.polyface_index_4 = 4;
    Add(face);
    AddSeqEnd();
    Rendered r(Saved());
    ASSERT_EQ(r.groups.size(), 1u);
    ASSERT_EQ(r.groups[0].items.size(), 3u) << "the edge from the third corner is hidden";
    EXPECT_TRUE(Near(r.groups[0].items[2].points[0], 0, 10));
    EXPECT_TRUE(Near(r.groups[0].items[2].points[1], 0, 0));
}

TEST_F(RenderEntities, ADimensionIsDrawnThroughItsBlockInOneGroup) {
    const int16_t block = AddBlock("DIMPICTURE");
    AddLine(0, 0, 4, 0, block);
    AddLine(0, 1, 4, 1, block, 0, 0);
    CDB_ENTITY dimension = Default(CDB_DIMENSION);
    dimension.dimension.block_index = block;
    dimension.color = 5;
    Add(dimension);
    Rendered r(Saved());
    ASSERT_EQ(r.groups.size(), 1u);
    EXPECT_EQ(r.groups[0].kind, "DIMENSION");
    ASSERT_EQ(r.groups[0].items.size(), 2u);
    EXPECT_TRUE(Near(r.groups[0].items[0].points[1], 4, 0));
    EXPECT_EQ(r.groups[0].items[1].stroke, render::RgbHex(render::AciColor(5)))
        << "BYBLOCK inside takes the dimension's colour";
}

TEST_F(RenderEntities, AttributesAfterTheirInsertAreDrawnAndDefinitionsInsideAreNot) {
    const int16_t block = AddBlock("TAGGED");
    CDB_ENTITY attdef = Default(CDB_ATTDEF);
    char tag[] = "TAG", prompt[] = "P", value[] = "V";
    attdef.attdef.tag = tag;
    attdef.attdef.prompt = prompt;
    attdef.attdef.default_value = value;
    attdef.attdef.height = 1;
    Add(attdef, block);
    AddLine(0, 0, 1, 0, block);
    CDB_ENTITY insert = Insert(block, 0, 0);
    insert.insert.attributes_follow = 1;
    Add(insert);
    CDB_ENTITY attrib = Default(CDB_ATTRIB);
    char shown[] = "42", attrib_tag[] = "TAG";
    attrib.attrib.value = shown;
    attrib.attrib.tag = attrib_tag;
    attrib.attrib.height = 1;
    attrib.attrib.insertion_point = {7, 8, 0};
    Add(attrib);
    AddSeqEnd();
    Rendered r(Saved());
    ASSERT_EQ(r.groups.size(), 2u);
    EXPECT_EQ(r.groups[0].kind, "LINE");
    EXPECT_EQ(r.groups[1].kind, "ATTRIB");
}

TEST_F(RenderEntities, AnInsertTurnedByNinetyDegreesAndScaledByTwoPlacesTheBlocksLine) {
    const int16_t block = AddBlock("B", 1, 0);
    ASSERT_GE(block, 0);
    AddLine(1, 0, 3, 0, block);
    CDB_ENTITY insert = Insert(block, 10, 10);
    insert.insert.x_scale = 2;
    insert.insert.y_scale = 2;
    insert.insert.rotation = 90;
    Add(insert);
    Rendered r(Saved());
    ASSERT_EQ(r.groups.size(), 1u) << "the insert itself draws no group";
    EXPECT_EQ(r.groups[0].kind, "LINE");
    ASSERT_EQ(r.groups[0].items.size(), 1u);
    const std::vector<Point2> &points = r.groups[0].items[0].points;
    ASSERT_EQ(points.size(), 2u);
    EXPECT_TRUE(Near(points[0], 10, 10));
    EXPECT_TRUE(Near(points[1], 10, 14));
}

TEST_F(RenderEntities, AnInsertWithColumnsAndRowsDrawsTheBlockInEachCell) {
    const int16_t block = AddBlock("CELL");
    AddLine(0, 0, 1, 0, block);
    CDB_ENTITY insert = Insert(block, 0, 0);
    insert.insert.column_count = 3;
    insert.insert.row_count = 2;
    insert.insert.column_spacing = 5;
    insert.insert.row_spacing = 7;
    Add(insert);
    Rendered r(Saved());
    ASSERT_EQ(r.groups.size(), 6u);
    EXPECT_TRUE(Near(r.groups[5].items[0].points[0], 10, 7));
}

TEST_F(RenderEntities, NestedInsertsComposeTheirPlacements) {
    const int16_t inner = AddBlock("INNER");
    AddLine(0, 0, 1, 0, inner);
    const int16_t outer = AddBlock("OUTER");
    CDB_ENTITY nested = Insert(inner, 5, 0);
    Add(nested, outer);
    CDB_ENTITY top = Insert(outer, 0, 3);
    top.insert.rotation = 90;
    Add(top);
    Rendered r(Saved());
    ASSERT_EQ(r.groups.size(), 1u);
    EXPECT_TRUE(Near(r.groups[0].items[0].points[0], 0, 8));
    EXPECT_TRUE(Near(r.groups[0].items[0].points[1], 0, 9));
}

TEST_F(RenderEntities, ABlockInsertingItselfEndsAtTheDepthLimit) {
    const int16_t block = AddBlock("SELF");
    AddLine(0, 0, 1, 0, block);
    CDB_ENTITY self = Insert(block, 1, 0);
    Add(self, block);
    CDB_ENTITY top = Insert(block, 0, 0);
    Add(top);
    AddLine(20, 20, 21, 21);
    Rendered r(Saved());
    ASSERT_TRUE(r.ok);
    EXPECT_EQ(r.summary.entities, render::kMaxInsertDepth + 1)
        << "one line per level, and the line after the insert";
}

TEST_F(RenderEntities, AnInsertOfADeletedBlockDrawsNothingAndTheWalkGoesOn) {
    const int16_t block = AddBlock("GONE");
    AddLine(0, 0, 1, 0, block);
    CDB_ENTITY insert = Insert(block, 0, 0);
    Add(insert);
    CDB_ENTITY missing = Insert(300, 0, 0);
    Add(missing);
    AddLine(5, 5, 6, 6);
    ASSERT_EQ(CDBBlockDelete(h(), block), 0);
    Rendered r(Saved());
    ASSERT_EQ(r.groups.size(), 1u);
    EXPECT_TRUE(Near(r.groups[0].items[0].points[0], 5, 5));
}

TEST_F(RenderEntities, AnArcWithADownwardExtrusionIsMirrored) {
    CDB_ENTITY arc = Default(CDB_ARC);
    arc.arc.center = {5, 2, 0};
    arc.arc.radius = 1;
    arc.arc.start_angle = 0;
    arc.arc.end_angle = 90;
    arc.extrusion = {0, 0, -1};
    Add(arc);
    Rendered r(Saved());
    ASSERT_EQ(r.groups.size(), 1u);
    ASSERT_EQ(r.groups[0].items.size(), 1u);
    const std::vector<Point2> &points = r.groups[0].items[0].points;
    ASSERT_GE(points.size(), 3u);
    // In object coordinates the arc runs from (6, 2) to (5, 3); x is negated in the world.
    EXPECT_TRUE(Near(points.front(), -6, 2));
    EXPECT_TRUE(Near(points.back(), -5, 3));
    for (const Point2 &p : points) {
        EXPECT_NEAR(std::hypot(p.x + 5, p.y - 2), 1, 1e-3);
        EXPECT_LE(p.x, -5 + kNear);
        EXPECT_GE(p.y, 2 - kNear);
    }
}

TEST_F(RenderEntities, ACircleIsAClosedRunAboutItsCentre) {
    CDB_ENTITY circle = Default(CDB_CIRCLE);
    circle.circle.center = {-3, 4, 0};
    circle.circle.radius = 2;
    Add(circle);
    Rendered r(Saved());
    ASSERT_EQ(r.groups.size(), 1u);
    for (const Point2 &p : r.groups[0].items[0].points)
        EXPECT_NEAR(std::hypot(p.x + 3, p.y - 4), 2, 1e-3);
}

TEST_F(RenderEntities, ASolidsCornersRunOneTwoFourThree) {
    CDB_ENTITY solid = Default(CDB_SOLID);
    solid.solid.corner_1 = {0, 0, 0};
    solid.solid.corner_2 = {10, 0, 0};
    solid.solid.corner_3 = {0, 10, 0};
    solid.solid.corner_4 = {10, 10, 0};
    Add(solid);
    CDB_ENTITY triangle = Default(CDB_SOLID);
    triangle.solid.corner_1 = {20, 0, 0};
    triangle.solid.corner_2 = {30, 0, 0};
    triangle.solid.corner_3 = {25, 5, 0};
    triangle.solid.corner_4 = {25, 5, 0};
    Add(triangle);
    Rendered r(Saved());
    ASSERT_EQ(r.groups.size(), 2u);
    const Drawn &quad = r.groups[0].items.at(0);
    EXPECT_EQ(quad.tag, "polygon");
    EXPECT_NE(quad.fill, "none") << "a solid is filled";
    ASSERT_EQ(quad.points.size(), 4u);
    EXPECT_TRUE(Near(quad.points[0], 0, 0));
    EXPECT_TRUE(Near(quad.points[1], 10, 0));
    EXPECT_TRUE(Near(quad.points[2], 10, 10));
    EXPECT_TRUE(Near(quad.points[3], 0, 10));
    EXPECT_EQ(r.groups[1].items.at(0).points.size(), 3u) << "equal third and fourth corners";
}

TEST_F(RenderEntities, AFacesInvisibleEdgesAreLeftOut) {
    CDB_ENTITY face = Default(CDB_3DFACE);
    face.face.corner_1 = {0, 0, 0};
    face.face.corner_2 = {10, 0, 0};
    face.face.corner_3 = {10, 10, 0};
    face.face.corner_4 = {0, 10, 0};
    face.face.invisible_edges = 2 | 8; // the second and the fourth edge
    Add(face);
    Rendered r(Saved());
    ASSERT_EQ(r.groups.size(), 1u);
    ASSERT_EQ(r.groups[0].items.size(), 2u);
    EXPECT_TRUE(Near(r.groups[0].items[0].points[0], 0, 0));
    EXPECT_TRUE(Near(r.groups[0].items[1].points[0], 10, 10));
}

TEST_F(RenderEntities, ByLayerAndByBlockColoursAreResolved) {
    const int16_t red = AddLayer("RED", 1);
    ASSERT_GE(red, 1);
    AddLine(0, 0, 1, 0, -1, red, 256); // BYLAYER: red
    AddLine(0, 1, 1, 1, -1, red, 0);   // BYBLOCK at the top: colour 7, dark
    const int16_t block = AddBlock("BB");
    AddLine(0, 2, 1, 2, block, 0, 0); // BYBLOCK inside: the insert's green
    CDB_ENTITY insert = Insert(block, 0, 0);
    insert.color = 3;
    Add(insert);
    Rendered r(Saved());
    ASSERT_EQ(r.groups.size(), 3u);
    EXPECT_EQ(r.groups[0].items[0].stroke, render::RgbHex(render::AciColor(1)));
    EXPECT_EQ(r.groups[1].items[0].stroke, "#000000");
    EXPECT_EQ(r.groups[2].items[0].stroke, render::RgbHex(render::AciColor(3)));
}

TEST_F(RenderEntities, OffAndFrozenLayersAreHidden) {
    const int16_t off = AddLayer("OFF", -2);
    const int16_t frozen = AddLayer("FROZEN", 4, 1);
    ASSERT_GE(off, 1);
    ASSERT_GE(frozen, 1);
    AddLine(0, 0, 1, 0, -1, off);
    AddLine(0, 1, 1, 1, -1, frozen);
    AddLine(0, 2, 1, 2);
    Rendered r(Saved());
    ASSERT_EQ(r.groups.size(), 1u);
    EXPECT_TRUE(Near(r.groups[0].items[0].points[0], 0, 2));
}

TEST_F(RenderEntities, AHiddenPolylineTakesItsVerticesAlong) {
    const int16_t off = AddLayer("OFF", -1);
    AddPolyline(0, off);
    AddVertex(0, 0);
    AddVertex(1, 1);
    AddSeqEnd();
    AddLine(3, 3, 4, 4);
    Rendered r(Saved());
    ASSERT_EQ(r.groups.size(), 1u);
    EXPECT_EQ(r.groups[0].kind, "LINE");
}

TEST_F(RenderEntities, TheLayerFilterOptionAddsItsBits) {
    AddLine(0, 0, 1, 0);
    render::RenderOptions options;
    options.layer_filter = 2; // hide layers that are on
    Rendered r(Saved(), options);
    EXPECT_EQ(r.groups.size(), 0u);
}

TEST_F(RenderEntities, PaperSpaceShowsItsOwnEntitiesAndViewportFrames) {
    AddLine(0, 0, 1, 0);
    CDB_ENTITY paper_line = Default(CDB_LINE);
    paper_line.space = 1;
    paper_line.line.end_point = {2, 0, 0};
    Add(paper_line);
    render::RenderOptions paper;
    paper.paper = true;
    const int16_t reopened = Saved();
    Rendered model(reopened);
    ASSERT_EQ(model.groups.size(), 1u);
    EXPECT_TRUE(Near(model.groups[0].items[0].points[1], 1, 0));
    Rendered sheet(reopened, paper);
    ASSERT_EQ(sheet.groups.size(), 1u);
    EXPECT_TRUE(Near(sheet.groups[0].items[0].points[1], 2, 0));
}

TEST_F(RenderEntities, AViewportIsItsFrameInPaperSpaceButThePaperItselfIsNot) {
    for (int16_t id : {1, 2}) {
        CDB_ENTITY viewport = Default(CDB_VIEWPORT);
        viewport.space = 1;
        viewport.viewport.viewport_id = id;
        viewport.viewport.center = {10, 5, 0};
        viewport.viewport.width = 8;
        viewport.viewport.height = 4;
        Add(viewport);
    }
    render::RenderOptions paper;
    paper.paper = true;
    Rendered r(Saved(), paper);
    ASSERT_EQ(r.groups.size(), 2u);
    EXPECT_TRUE(r.groups[0].items.empty()) << "viewport 1 is the paper space itself";
    ASSERT_EQ(r.groups[1].items.size(), 1u);
    const Drawn &frame = r.groups[1].items[0];
    EXPECT_EQ(frame.tag, "polygon");
    ASSERT_EQ(frame.points.size(), 4u);
    EXPECT_TRUE(Near(frame.points[0], 6, 3));
    EXPECT_TRUE(Near(frame.points[2], 14, 7));
}

TEST_F(RenderEntities, AnInvisibleAttributeDrawsNothing) {
    CDB_ENTITY attdef = Default(CDB_ATTDEF);
    char tag[] = "TAG", prompt[] = "P", value[] = "V";
    attdef.attdef.tag = tag;
    attdef.attdef.prompt = prompt;
    attdef.attdef.default_value = value;
    attdef.attdef.height = 1;
    attdef.attdef.flags = 1;
    Add(attdef);
    Rendered r(Saved());
    ASSERT_EQ(r.groups.size(), 1u);
    EXPECT_TRUE(r.groups[0].items.empty());
}

TEST_F(RenderEntities, ATextWithoutItsFontFallsBackToATextElement) {
    CDB_STYLE_TBL_type style;
    std::memset(static_cast<void *>(&style), 0, sizeof style);
    ASSERT_EQ(CDBStyleTableDefault(&style), 0);
    // The default's font names are the caller's to free.
    std::free(style.font_file);
    std::free(style.bigfont_file);
    char name[] = "NOFONT", font[] = "no_such_font_anywhere";
    style.name = name;
    style.font_file = font;
    style.bigfont_file = nullptr;
    const int16_t index = CDBStyleTableAdd(h(), &style);
    ASSERT_GE(index, 0);
    CDB_ENTITY text = Default(CDB_TEXT);
    char words[] = "Hi 45%%d";
    text.text.text = words;
    text.text.height = 2;
    text.text.insertion_point = {3, 4, 0};
    text.text.style_index = index;
    Add(text);
    Rendered r(Saved());
    ASSERT_EQ(r.groups.size(), 1u);
    ASSERT_EQ(r.groups[0].items.size(), 1u);
    const Drawn &t = r.groups[0].items[0];
    EXPECT_EQ(t.tag, "text");
    EXPECT_EQ(t.text, "Hi 45\xC2\xB0");
    EXPECT_TRUE(Near(t.points[0], 3, 4));
    EXPECT_EQ(r.summary.plain_texts, 1);
    EXPECT_EQ(r.summary.shape_texts, 0);
}

TEST(RenderDrawingHandle, ABadHandleIsRefused) {
    render::SvgCanvas canvas;
    render::RenderSummary summary;
    EXPECT_FALSE(render::RenderDrawing(300, render::RenderOptions(), canvas, &summary));
    EXPECT_EQ(canvas.EntityCount(), 0);
}

TEST(RenderDrawingHandle, AFileThatDoesNotOpenGivesAMessage) {
    render::RenderSummary summary;
    std::string error;
    EXPECT_FALSE(render::RenderFile(::testing::TempDir() + "no_such_drawing.dwg",
                                    ::testing::TempDir() + "no_such_drawing.svg",
                                    render::RenderOptions(), &summary, &error));
    EXPECT_NE(error.find("no_such_drawing.dwg"), std::string::npos) << error;
}

TEST(RenderTextCodes, ControlSequencesBecomeTheirCharacters) {
    EXPECT_EQ(render::TextCodes("%%d%%p%%c%%%%%065%%uX%%o"),
              (std::vector<int>{127, 128, 129, '%', 65, 'X'}));
    EXPECT_EQ(render::TextCodes("50%"), (std::vector<int>{'5', '0', '%'}));
}

TEST(RenderShapeText, AShapeFontTextAndAShapeAreDrawnWithTheStrokesOfTheirCodes) {
    shx_test::ScratchDir dir("render_text");
    shx_test::ScratchDir index_dir("render_noindex");
    shx_test::IndexDirectories no_index({index_dir.path()});
    // Above the baseline 10 units: 'A' draws 10 units east, 'B' 10 units north.
    dir.Write("strokes.shx", shx_test::Shx({shx_test::FontInfo("STROKES", 10),
                                            {'A', "CAPA", {0xA0, 0}},
                                            {'B', "CAPB", {0xA4, 0}}}));
    Dwg12FileBuilder builder;
    builder.AddMinimalTables();
    StyleRec style;
    style.name = "STROKES";
    style.font_file = "strokes";
    builder.Add(style);
    const std::string path = dir.Write("text.dwg", builder.Build());
    walk::OpenDrawing drawing(path);
    const int16_t h = drawing.handle;
    ASSERT_GE(h, 0);
    const int16_t style_index = CDBStyleTableFind(h, "STROKES");
    ASSERT_GE(style_index, 0);
    ASSERT_GE(CDBGetStyleShapeIndex(h, style_index), 0) << "the test font is found";
    CDB_ENTITY text = walk::NewRecord();
    ASSERT_EQ(CDBEntityDefault(h, &text, CDB_TEXT), 0);
    char words[] = "AB";
    text.text.text = words;
    text.text.height = 5;
    text.text.insertion_point = {20, 0, 0};
    text.text.style_index = style_index;
    ASSERT_GE(CDBEntityAdd(h, -1, &text), 0);
    CDB_ENTITY shape = walk::NewRecord();
    ASSERT_EQ(CDBEntityDefault(h, &shape, CDB_SHAPE), 0);
    shape.shape.shape_style_index = CDBGetStyleShapeIndex(h, style_index); // the font's slot
    shape.shape.shape_number = 'B';
    shape.shape.size = 2;
    shape.shape.insertion_point = {-10, 0, 0};
    ASSERT_GE(CDBEntityAdd(h, -1, &shape), 0);
    const std::string saved_path = dir.File("saved.dwg");
    ASSERT_EQ(CDBSaveAsDWG(h, saved_path.c_str()), 0);
    walk::OpenDrawing saved(saved_path);
    ASSERT_GE(saved.handle, 0);
    Rendered r(saved.handle);
    ASSERT_EQ(r.groups.size(), 2u);
    EXPECT_EQ(r.summary.shape_texts, 1);
    EXPECT_EQ(r.summary.plain_texts, 0);
    // Half a unit to a code unit: A from (20, 0) to (25, 0), B from (25, 0) up to (25, 5).
    ASSERT_EQ(r.groups[0].items.size(), 2u);
    const Drawn &a = r.groups[0].items[0], &b = r.groups[0].items[1];
    EXPECT_EQ(a.tag, "polyline");
    ASSERT_EQ(a.points.size(), 2u);
    EXPECT_TRUE(Near(a.points[0], 20, 0));
    EXPECT_TRUE(Near(a.points[1], 25, 0));
    ASSERT_EQ(b.points.size(), 2u);
    EXPECT_TRUE(Near(b.points[0], 25, 0));
    EXPECT_TRUE(Near(b.points[1], 25, 5));
    // The SHAPE entity: 'B' of size 2, a fifth of a unit to a code unit.
    EXPECT_EQ(r.groups[1].kind, "SHAPE");
    ASSERT_EQ(r.groups[1].items.size(), 1u);
    ASSERT_EQ(r.groups[1].items[0].points.size(), 2u);
    EXPECT_TRUE(Near(r.groups[1].items[0].points[0], -10, 0));
    EXPECT_TRUE(Near(r.groups[1].items[0].points[1], -10, 2));
}

} // namespace
} // namespace velko_test
