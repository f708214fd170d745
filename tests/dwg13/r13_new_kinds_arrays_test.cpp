// The release 13 kinds with arrays -- SPLINE, MLINE, LEADER -- on single objects: their forms
// and empty counts, set-record's three ways with arrays, view mode, and damaged objects
// (counts that cannot fit, objects cut short). Packed record fields are handed to gtest as
// copies (unary plus).
#include "r13_new_kinds_support.h"

#include "dwg13/r13_drawing.h"
#include "dwg13/r13_new_kinds.h"
#include "io/bit_writer.h"

#include "velkow32.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

namespace velko_test {
namespace {

template <typename T> T *Block(std::initializer_list<T> values) {
    auto *block = static_cast<T *>(std::malloc(values.size() * sizeof(T)));
    size_t i = 0;
    for (const T &v : values)
        block[i++] = v;
    return block;
}

// A spline of scenario 1: three knots, two control points.
std::unique_ptr<CR13Entity> ControlSpline(bool weighted) {
    auto e = NewEntity(36);
    auto *spline = static_cast<CR13Spline *>(e.get());
    spline->scenario = 1;
    spline->weighted = weighted ? 1 : 0;
    CDB_SPLINE_type &s = e->GetData()->spline;
    s.degree = 3;
    s.knot_tolerance = 1e-9;
    s.control_tolerance = 1e-7;
    s.knot_count = 3;
    s.knots = Block<double>({0.0, 0.5, 1.0});
    s.control_point_count = 2;
    s.control_points = Block<CDB_SPLINE_CONTROL_POINT>({{1, 2, 3, 0.5}, {4, 5, 6, 2.0}});
    return e;
}

// ---- SPLINE -------------------------------------------------------------------------------

TEST(R13Spline, ScenarioTwoKeepsFitToleranceTangentsAndFitPoints) {
    auto e = NewEntity(36);
    static_cast<CR13Spline *>(e.get())->scenario = 2;
    CDB_SPLINE_type &s = e->GetData()->spline;
    s.degree = 3;
    s.fit_tolerance = 0.001;
    s.start_tangent = {1, 0, 0};
    s.end_tangent = {0, 1, 0};
    s.fit_point_count = 3;
    s.fit_points = Block<CDB_POINT3>({{0, 0, 0}, {1, 2, 0}, {3, 1, 0.5}});
    auto back = RoundTrip(*e);
    ASSERT_NE(back, nullptr);
    const CDB_SPLINE_type &b = back->GetData()->spline;
    EXPECT_EQ(static_cast<CR13Spline *>(back.get())->scenario, 2);
    EXPECT_EQ(+b.degree, 3);
    EXPECT_DOUBLE_EQ(+b.fit_tolerance, 0.001);
    EXPECT_DOUBLE_EQ(+b.end_tangent.y, 1.0);
    ASSERT_EQ(+b.fit_point_count, 3);
    EXPECT_DOUBLE_EQ(b.fit_points[2].z, 0.5);
    EXPECT_DOUBLE_EQ(b.fit_points[1].y, 2.0);
    EXPECT_EQ(b.knots, nullptr);
    EXPECT_EQ(b.control_points, nullptr);
}

TEST(R13Spline, ScenarioTwoWithNoFitPointsHasANullArray) {
    auto e = NewEntity(36);
    static_cast<CR13Spline *>(e.get())->scenario = 2;
    auto back = RoundTrip(*e);
    ASSERT_NE(back, nullptr);
    EXPECT_EQ(+back->GetData()->spline.fit_point_count, 0);
    EXPECT_EQ(back->GetData()->spline.fit_points, nullptr);
}

TEST(R13Spline, ScenarioOneWeightedKeepsTheWeights) {
    auto back = RoundTrip(*ControlSpline(true));
    ASSERT_NE(back, nullptr);
    const CDB_SPLINE_type &b = back->GetData()->spline;
    EXPECT_EQ(static_cast<CR13Spline *>(back.get())->weighted, 1);
    EXPECT_DOUBLE_EQ(+b.knot_tolerance, 1e-9);
    EXPECT_DOUBLE_EQ(+b.control_tolerance, 1e-7);
    ASSERT_EQ(+b.knot_count, 3);
    EXPECT_DOUBLE_EQ(b.knots[1], 0.5);
    ASSERT_EQ(+b.control_point_count, 2);
    EXPECT_DOUBLE_EQ(b.control_points[0].weight, 0.5);
    EXPECT_DOUBLE_EQ(b.control_points[1].weight, 2.0);
    EXPECT_DOUBLE_EQ(b.control_points[1].z, 6.0);
}

TEST(R13Spline, ScenarioOneUnweightedGivesEveryControlPointTheWeightOne) {
    auto back = RoundTrip(*ControlSpline(false));
    ASSERT_NE(back, nullptr);
    const CDB_SPLINE_type &b = back->GetData()->spline;
    EXPECT_EQ(static_cast<CR13Spline *>(back.get())->weighted, 0);
    EXPECT_DOUBLE_EQ(b.control_points[0].weight, 1.0);
    EXPECT_DOUBLE_EQ(b.control_points[1].weight, 1.0);
}

TEST(R13Spline, ScenarioOneWithNoKnotsAndNoControlPointsHasNullArrays) {
    auto e = NewEntity(36);
    static_cast<CR13Spline *>(e.get())->scenario = 1;
    auto back = RoundTrip(*e);
    ASSERT_NE(back, nullptr);
    EXPECT_EQ(back->GetData()->spline.knots, nullptr);
    EXPECT_EQ(back->GetData()->spline.control_points, nullptr);
}

TEST(R13Spline, AnyOtherScenarioFailsTheDecode) {
    for (int16_t scenario : {int16_t(0), int16_t(3), int16_t(31)}) {
        auto e = NewEntity(36);
        static_cast<CR13Spline *>(e.get())->scenario = scenario;
        int result = -1;
        // The writer puts out what the object says, the layout of scenario 1 behind it.
        ReadBack(36, EntityObjectOf(*e), result);
        if (scenario == 0)
            EXPECT_EQ(result, 1); // a new spline: the writer chose scenario 1
        else
            EXPECT_EQ(result, 0) << scenario;
    }
}

TEST(R13Spline, SetRecordCopiesTheArraysAndLeavesAnEmptyFitArrayNull) {
    auto source = ControlSpline(true);
    CDB_ENTITY in = CallerRecord(*source);
    CDB_POINT3 stray[1] = {{9, 9, 9}};
    in.spline.fit_point_count = 0;
    in.spline.fit_points = stray;
    auto e = NewEntity(36);
    e->SetRecord(&in);
    const CDB_SPLINE_type &s = e->GetData()->spline;
    EXPECT_EQ(s.fit_points, nullptr);
    ASSERT_NE(s.knots, nullptr);
    EXPECT_NE(s.knots, in.spline.knots);
    EXPECT_DOUBLE_EQ(s.knots[2], 1.0);
    ASSERT_NE(s.control_points, nullptr);
    EXPECT_NE(s.control_points, in.spline.control_points);
    EXPECT_DOUBLE_EQ(s.control_points[1].x, 4.0);
}

TEST(R13Spline, AKnotCountThatCannotFitTheObjectFailsWithoutAllocating) {
    auto e = ControlSpline(false);
    CDB_SPLINE_type &s = e->GetData()->spline;
    // The count says 30000, the object holds three knots.
    double *knots = s.knots;
    s.knots = nullptr; // the writer writes none of them
    s.knot_count = 30000;
    R13Object object = EntityObjectOf(*e);
    s.knot_count = 3;
    s.knots = knots;
    int result = -1;
    auto back = ReadBack(36, object, result);
    EXPECT_EQ(result, 0);
    EXPECT_EQ(back->GetData()->spline.knots, nullptr);
}

TEST(R13Spline, AHandedOverRecordLeavesTheArraysToTheApplication) {
    CR13Drawing view(nullptr, 1);
    int result = -1;
    auto read = ReadBack(36, EntityObjectOf(*ControlSpline(true)), result, &view);
    ASSERT_EQ(result, 1);
    CDB_ENTITY *record = read->HandOver();
    double *knots = record->spline.knots;
    CDB_SPLINE_CONTROL_POINT *points = record->spline.control_points;
    char *texts[] = {record->handle, record->layer_handle, record->line_type_handle};
    read.reset();
    // Still the application's to free: a second free would break here.
    std::free(knots);
    std::free(points);
    for (char *text : texts)
        std::free(text);
    std::free(record);
}

TEST(R13Spline, EveryHandedOverKindWithBlocksLeavesThemToTheApplication) {
    CR13Drawing view(nullptr, 1);
    auto ole = NewEntity(500);
    ole->GetData()->ole.data = static_cast<uint8_t *>(std::calloc(8, 1));
    ole->GetData()->ole.data_size = 8;
    int result = -1;
    auto read = ReadBack(500, EntityObjectOf(*ole), result, &view);
    ASSERT_EQ(result, 1);
    uint8_t *data = read->GetData()->ole.data;
    auto region = ReadBack(37, EntityObjectOf(*NewEntity(37)), result, &view);
    ASSERT_EQ(result, 1);
    uint8_t *chunks = region->GetData()->region.data;
    CDB_ENTITY *records[] = {read->HandOver(), region->HandOver()};
    char *texts[] = {records[0]->handle, records[0]->layer_handle, records[0]->line_type_handle,
                     records[1]->handle, records[1]->layer_handle, records[1]->line_type_handle};
    read.reset();
    region.reset();
    std::free(data);
    std::free(chunks);
    for (char *text : texts)
        std::free(text);
    for (CDB_ENTITY *record : records)
        std::free(record);
}

// ---- MLINE --------------------------------------------------------------------------------

// An mline of two vertices and two lines; the second line of each vertex has no fill.
std::unique_ptr<CR13Entity> TwoByTwoMline() {
    auto e = NewEntity(47);
    CDB_MLINE_type &m = e->GetData()->mline;
    m.scale = 2.0;
    m.justification = 1;
    m.base_point = {1, 1, 0};
    m.flags = 3;
    m.line_count = 2;
    m.vertex_count = 2;
    m.style_handle = Dup("18");
    m.vertices = static_cast<CDB_MLINE_VERTEX *>(std::calloc(2, sizeof(CDB_MLINE_VERTEX)));
    for (int v = 0; v < 2; ++v) {
        m.vertices[v].location = {double(v), 0, 0};
        m.vertices[v].direction = {1, 0, 0};
        m.vertices[v].miter_direction = {0, 1, 0};
        auto *lines = static_cast<CDB_MLINE_LINE *>(std::calloc(2, sizeof(CDB_MLINE_LINE)));
        lines[0].segment_parameter_count = 2;
        lines[0].segment_parameters = Block<double>({0.5, 1.5});
        lines[0].fill_parameter_count = 1;
        lines[0].fill_parameters = Block<double>({0.25});
        lines[1].segment_parameter_count = 1;
        lines[1].segment_parameters = Block<double>({-0.5});
        m.vertices[v].lines = lines;
    }
    return e;
}

TEST(R13Mline, VerticesLinesAndParametersReadBackWithEmptyArraysNull) {
    auto back = RoundTrip(*TwoByTwoMline());
    ASSERT_NE(back, nullptr);
    const CDB_MLINE_type &m = back->GetData()->mline;
    EXPECT_DOUBLE_EQ(+m.scale, 2.0);
    EXPECT_EQ(+m.justification, 1);
    EXPECT_EQ(+m.flags, 3);
    ASSERT_EQ(+m.vertex_count, 2);
    ASSERT_EQ(+m.line_count, 2);
    EXPECT_STREQ(m.style_handle, "18");
    EXPECT_DOUBLE_EQ(m.vertices[1].location.x, 1.0);
    EXPECT_DOUBLE_EQ(m.vertices[1].miter_direction.y, 1.0);
    const CDB_MLINE_LINE &first = m.vertices[1].lines[0];
    ASSERT_EQ(+first.segment_parameter_count, 2);
    EXPECT_DOUBLE_EQ(first.segment_parameters[1], 1.5);
    ASSERT_EQ(+first.fill_parameter_count, 1);
    EXPECT_DOUBLE_EQ(first.fill_parameters[0], 0.25);
    const CDB_MLINE_LINE &second = m.vertices[0].lines[1];
    EXPECT_EQ(+second.segment_parameter_count, 1);
    EXPECT_EQ(+second.fill_parameter_count, 0);
    EXPECT_EQ(second.fill_parameters, nullptr);
}

TEST(R13Mline, NoLinesOrNoVerticesFailTheDecode) {
    for (int which = 0; which < 2; ++which) {
        auto e = TwoByTwoMline();
        CDB_MLINE_type &m = e->GetData()->mline;
        const int16_t lines = m.line_count, vertices = m.vertex_count;
        if (which == 0)
            m.line_count = 0;
        else
            m.vertex_count = 0;
        R13Object object = EntityObjectOf(*e);
        m.line_count = lines;
        m.vertex_count = vertices;
        int result = -1;
        auto back = ReadBack(47, object, result);
        EXPECT_EQ(result, 0) << which;
        EXPECT_EQ(back->GetData()->mline.vertices, nullptr);
    }
}

TEST(R13Mline, AVertexCountThatCannotFitFailsWithoutAllocating) {
    auto big = NewEntity(47);
    CDB_MLINE_type &m = big->GetData()->mline;
    m.line_count = 1;
    m.vertex_count = 32000; // no vertex block: the writer writes none of them
    const R13Object object = EntityObjectOf(*big);
    m.vertex_count = 0;
    int result = -1;
    auto back = ReadBack(47, object, result);
    EXPECT_EQ(result, 0);
    EXPECT_EQ(back->GetData()->mline.vertices, nullptr);
}

TEST(R13Mline, SetRecordTakesOverTheCallersBlocks) {
    auto source = TwoByTwoMline();
    CDB_ENTITY in = CallerRecord(*source);
    in.mline.style_handle = nullptr;
    source->GetData()->mline.vertices = nullptr; // handed on
    source->GetData()->mline.vertex_count = 0;
    auto e = NewEntity(47);
    e->SetRecord(&in);
    EXPECT_EQ(e->GetData()->mline.vertices, in.mline.vertices);
}

// ---- LEADER -------------------------------------------------------------------------------

std::unique_ptr<CR13Entity> ThreePointLeader() {
    auto e = NewEntity(45);
    CDB_LEADER_type &l = e->GetData()->leader;
    l.annotation_type = 3;
    l.path_type = 1;
    l.vertex_count = 3;
    l.vertices = Block<CDB_POINT3>({{0, 0, 0}, {5, 5, 0}, {9, 5, 0}});
    l.end_point_projection = {1, 2, 3};
    l.normal = {0, 0, 1};
    l.x_direction = {1, 0, 0};
    l.offset_to_block = {0.5, 0.25, 0};
    l.box_height = 1.25;
    l.text_height = 0.9;
    l.text_width = 4.5;
    l.hookline_on_x = 1;
    l.arrow_head = 1;
    l.arrow_type = 7;
    l.arrow_size = 0.18;
    l.color = 5;
    l.field_b = 9;
    l.field_c = 0x42;
    l.dimstyle_handle = Dup("1D");
    return e;
}

TEST(R13Leader, AllFieldsReadBackAndTheHookLineBitIsStoredInverted) {
    for (int16_t hook : {int16_t(0), int16_t(1)}) {
        auto e = ThreePointLeader();
        e->GetData()->leader.hookline_on_x = hook;
        auto back = RoundTrip(*e);
        ASSERT_NE(back, nullptr);
        const CDB_LEADER_type &l = back->GetData()->leader;
        EXPECT_EQ(+l.hookline_on_x, hook);
        EXPECT_EQ(+l.annotation_type, 3);
        EXPECT_EQ(+l.path_type, 1);
        ASSERT_EQ(+l.vertex_count, 3);
        EXPECT_DOUBLE_EQ(l.vertices[2].x, 9.0);
        EXPECT_DOUBLE_EQ(+l.end_point_projection.z, 3.0);
        EXPECT_DOUBLE_EQ(+l.offset_to_block.y, 0.25);
        EXPECT_DOUBLE_EQ(+l.box_height, 1.25);
        EXPECT_DOUBLE_EQ(+l.text_width, 4.5);
        EXPECT_EQ(+l.arrow_head, 1);
        EXPECT_EQ(+l.arrow_type, 7);
        EXPECT_DOUBLE_EQ(+l.arrow_size, 0.18);
        EXPECT_EQ(+l.color, 5);
        EXPECT_EQ(+l.field_b, 9);
        EXPECT_EQ(+l.field_c, 0x42);
        EXPECT_STREQ(l.dimstyle_handle, "1D");
        EXPECT_STREQ(back->GetData()->layer_handle, "10");
    }
}

TEST(R13Leader, ALeaderWithZeroPointsReturnsOneAndItsHandleFieldsStayEmpty) {
    auto e = ThreePointLeader();
    CDB_LEADER_type &l = e->GetData()->leader;
    std::free(l.vertices);
    l.vertices = nullptr;
    l.vertex_count = 0;
    int result = -1;
    auto back = ReadBack(45, EntityObjectOf(*e), result);
    EXPECT_EQ(result, 1);
    const CDB_ENTITY *b = back->GetData();
    EXPECT_EQ(+b->entity_type, CDB_LEADER);
    EXPECT_EQ(b->leader.vertices, nullptr);
    EXPECT_EQ(b->layer_handle, nullptr);
    EXPECT_EQ(b->line_type_handle, nullptr);
    EXPECT_EQ(b->leader.dimstyle_handle, nullptr);
    EXPECT_EQ(+b->leader.annotation_type, 3);
}

TEST(R13Leader, AVertexCountThatCannotFitFailsWithoutAllocating) {
    auto e = NewEntity(45);
    e->GetData()->leader.vertex_count = 30000; // no vertex block: none is written
    int result = -1;
    auto back = ReadBack(45, EntityObjectOf(*e), result);
    e->GetData()->leader.vertex_count = 0;
    EXPECT_EQ(result, 0);
    EXPECT_EQ(back->GetData()->leader.vertices, nullptr);
}

TEST(R13Leader, SetRecordCopiesTheStyleHandleAndKeepsTheCallersVertices) {
    auto source = ThreePointLeader();
    CDB_ENTITY in = CallerRecord(*source);
    source->GetData()->leader.vertices = nullptr; // handed on
    source->GetData()->leader.vertex_count = 0;
    auto e = NewEntity(45);
    e->SetRecord(&in);
    EXPECT_EQ(e->GetData()->leader.vertices, in.leader.vertices);
    EXPECT_NE(e->GetData()->leader.dimstyle_handle, in.leader.dimstyle_handle);
    EXPECT_STREQ(e->GetData()->leader.dimstyle_handle, "1D");
}

// ---- Damaged objects ------------------------------------------------------------------------

// An OLE frame whose data size says more than the object holds.
class LyingOle : public CR13Ole {
public:
    LyingOle() : CR13Ole(nullptr) {}

protected:
    void WriteBody(CBitWriter &writer) const override {
        for (int i = 0; i < 73; ++i)
            writer.WriteByte(0);
        writer.WriteBits(0, 5);
        writer.WriteBitShort(1);
        writer.WritePrefixedLong(0x7FFFFFF0u);
        writer.WriteByte(1);
    }
};

TEST(R13Damaged, AnOleDataSizeBeyondTheObjectFailsWithoutAllocating) {
    LyingOle lying;
    SetEntityHead(lying, R13EntityHead{}.Type(500).Handle(0x40));
    int result = -1;
    auto back = ReadBack(500, EntityObjectOf(lying), result);
    EXPECT_EQ(result, 0);
    EXPECT_EQ(back->GetData()->ole.data, nullptr);
}

// A modeler object whose first chunk is longer than the object: the loop does not start.
class LyingModeler : public CR13Region {
public:
    LyingModeler() : CR13Region(nullptr) {}

protected:
    void WriteBody(CBitWriter &writer) const override {
        writer.WriteByte(0);
        writer.WriteBits(0, 4);
        writer.WritePrefixedLong(0x7FFFFFF0u);
        writer.WriteByte('x');
    }
};

TEST(R13Damaged, AModelerChunkLongerThanTheObjectIsNotCopied) {
    LyingModeler lying;
    SetEntityHead(lying, R13EntityHead{}.Type(37).Handle(0x40));
    int result = -1;
    auto back = ReadBack(37, EntityObjectOf(lying), result);
    EXPECT_EQ(result, 1);
    EXPECT_EQ(static_cast<CR13Modeler *>(back.get())->DataLength(), 0u);
}

TEST(R13Damaged, EveryClassCutShortAtEveryLengthEndsWithoutACrash) {
    std::vector<std::unique_ptr<CR13Entity>> samples;
    samples.push_back(ControlSpline(true));
    samples.push_back(TwoByTwoMline());
    samples.push_back(ThreePointLeader());
    for (int16_t type : {35, 37, 38, 39, 40, 41, 44, 46, 500})
        samples.push_back(NewEntity(type));
    auto ole = NewEntity(500);
    ole->GetData()->ole.data = static_cast<uint8_t *>(std::calloc(40, 1));
    ole->GetData()->ole.data_size = 40;
    samples.push_back(std::move(ole));
    for (const auto &sample : samples) {
        const R13Object object = EntityObjectOf(*sample);
        for (size_t cut = 0; cut < object.size(); ++cut) {
            auto read = MakeOfType(sample->FileType());
            CBitStream stream(object.data(), static_cast<int32_t>(cut));
            read->ReadDWG(stream);
        }
    }
}

} // namespace
} // namespace velko_test
