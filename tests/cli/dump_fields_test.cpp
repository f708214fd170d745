// What velko dump prints of the release 13 kinds, on hand-made records: every field of the
// kind's part, the lists with their counts, the multiline vertices with their lines, the
// data blocks as size and preview, and the release 13 common fields with the link block.
#include "velko/record_fields.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace {

CDB_ENTITY Record(int16_t kind) {
    CDB_ENTITY e;
    std::memset(static_cast<void *>(&e), 0, sizeof e);
    e.entity_type = kind;
    return e;
}

// The JSON of the record's kind part and its blocks.
std::string KindJson(const CDB_ENTITY &e) {
    Report report;
    const KindFields *kind = FindKindFields(e.entity_type);
    if (kind)
        AddKindFields(report, *kind, e);
    AddRelease13Blocks(report, e);
    return report.Json();
}

bool Has(const std::string &text, const std::string &part) {
    return text.find(part) != std::string::npos;
}

TEST(DumpRelease13, EveryNewKindHasItsFields) {
    const int16_t kinds[] = {CDB_ELLIPSE, CDB_SPLINE,    CDB_REGION, CDB_3DSOLID,
                             CDB_BODY,    CDB_RAY,       CDB_XLINE,  CDB_MTEXT,
                             CDB_LEADER,  CDB_TOLERANCE, CDB_MLINE,  CDB_OLEFRAME};
    for (int16_t kind : kinds)
        EXPECT_NE(FindKindFields(kind), nullptr) << kind;
}

TEST(DumpRelease13, AnEllipseShowsItsAxesAndParameters) {
    CDB_ENTITY e = Record(CDB_ELLIPSE);
    e.ellipse.center = {1, 2, 3};
    e.ellipse.major_axis = {4, 0, 0};
    e.ellipse.axis_ratio = 0.5;
    e.ellipse.end_parameter = 1.5;
    EXPECT_EQ(KindJson(e), "{\"center\": [1, 2, 3], \"major_axis\": [4, 0, 0], \"axis_ratio\": "
                           "0.5, \"start_parameter\": 0, \"end_parameter\": 1.5}");
}

TEST(DumpRelease13, ASplineListsItsKnotsWeightedControlPointsAndFitPoints) {
    double knots[] = {0, 0, 1, 1};
    CDB_SPLINE_CONTROL_POINT controls[] = {{0, 0, 0, 1}, {2, 1, 0, 0.5}};
    CDB_POINT3 fit[] = {{7, 8, 9}};
    CDB_ENTITY e = Record(CDB_SPLINE);
    e.spline.degree = 1;
    e.spline.knot_count = 4;
    e.spline.control_point_count = 2;
    e.spline.fit_point_count = 1;
    e.spline.knots = knots;
    e.spline.control_points = controls;
    e.spline.fit_points = fit;
    const std::string json = KindJson(e);
    EXPECT_TRUE(Has(json, "\"knots\": [0, 0, 1, 1]")) << json;
    EXPECT_TRUE(Has(json, "\"control_points\": [[0, 0, 0, 1], [2, 1, 0, 0.5]]")) << json;
    EXPECT_TRUE(Has(json, "\"fit_points\": [[7, 8, 9]]")) << json;
}

TEST(DumpRelease13, AListWithANullPointerOrANegativeCountIsEmpty) {
    CDB_ENTITY e = Record(CDB_LEADER);
    e.leader.vertex_count = 5;
    EXPECT_TRUE(Has(KindJson(e), "\"vertices\": []"));
    CDB_POINT3 vertices[] = {{1, 1, 0}};
    e.leader.vertices = vertices;
    e.leader.vertex_count = -3;
    EXPECT_TRUE(Has(KindJson(e), "\"vertices\": []"));
    e.leader.vertex_count = 1;
    EXPECT_TRUE(Has(KindJson(e), "\"vertices\": [[1, 1, 0]]"));
}

TEST(DumpRelease13, AMultilineShowsEachVertexWithItsLinesParameters) {
    double segments[] = {0.5, 2};
    double fills[] = {1};
    CDB_MLINE_LINE lines[1];
    lines[0] = CDB_MLINE_LINE();
    lines[0].segment_parameter_count = 2;
    lines[0].segment_parameters = segments;
    lines[0].fill_parameter_count = 1;
    lines[0].fill_parameters = fills;
    CDB_MLINE_VERTEX vertex = CDB_MLINE_VERTEX();
    vertex.location = {1, 2, 0};
    vertex.direction = {1, 0, 0};
    vertex.miter_direction = {0, 1, 0};
    vertex.lines = lines;
    CDB_ENTITY e = Record(CDB_MLINE);
    e.mline.vertex_count = 1;
    e.mline.line_count = 1;
    e.mline.vertices = &vertex;
    const std::string json = KindJson(e);
    EXPECT_TRUE(Has(json, "\"vertices\": [{\"location\": [1, 2, 0], \"direction\": [1, 0, 0], "
                          "\"miter_direction\": [0, 1, 0], \"lines\": [{\"segment_parameters\": "
                          "[0.5, 2], \"fill_parameters\": [1]}]}]"))
        << json;
}

TEST(DumpRelease13, DataBlocksShowTheirSizeAndAShortPreview) {
    uint8_t data[20];
    for (int i = 0; i < 20; ++i)
        data[i] = static_cast<uint8_t>(i + 1);
    CDB_ENTITY ole = Record(CDB_OLEFRAME);
    ole.ole.data_size = 20;
    ole.ole.data = data;
    const std::string json = KindJson(ole);
    EXPECT_TRUE(Has(json, "\"data_size\": 20, \"data_bytes\": 20, \"data_preview\": "
                          "\"0102030405060708090A0B0C0D0E0F10...\""))
        << json;
    char text[] = "abc";
    CDB_ENTITY solid = Record(CDB_3DSOLID);
    solid.solid3d.data = reinterpret_cast<uint8_t *>(text);
    EXPECT_TRUE(Has(KindJson(solid), "\"data_bytes\": 3, \"data_preview\": \"616263\""));
    CDB_ENTITY empty = Record(CDB_REGION);
    EXPECT_TRUE(Has(KindJson(empty), "\"data_bytes\": 0, \"data_preview\": \"\""));
}

TEST(DumpRelease13, TheCommonFieldsShowAndTheLinkBlockOnlyInJson) {
    char layer[] = "89", line_type[] = "-1";
    CDB_ENTITY e = Record(CDB_RAY);
    e.layer_handle = layer;
    e.line_type_handle = line_type;
    e.line_type_scale = 1;
    e.owner = {4, 141};
    Report json, text;
    AddRelease13Common(json, e, true);
    AddRelease13Common(text, e, false);
    EXPECT_TRUE(Has(json.Json(), "\"layer_handle\": \"89\", \"line_type_handle\": \"-1\", "
                                 "\"line_type_scale\": 1, \"invisibility\": 0, \"links\": "
                                 "{\"owner\": [4, 141]"))
        << json.Json();
    EXPECT_FALSE(Has(text.Json(), "links"));
}

TEST(DumpRelease13, ARecordWithoutALayerHandleShowsNoReleaseThirteenFields) {
    Report report;
    AddRelease13Common(report, Record(CDB_LINE), true);
    EXPECT_EQ(report.Json(), "{}");
}

} // namespace
