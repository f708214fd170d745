// Hand-made release 13 objects of the kinds whose writers keep what the record has no place
// for: each is built, read by a fresh object, and written again to the same bytes.
#include "r13_new_kinds_support.h"

#include "dwg13/r13_classic_kinds.h"
#include "dwg13/r13_drawing.h"
#include "dwg13/r13_fields.h"
#include "dwg13/r13_new_kinds.h"
#include "io/bit_writer.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>

namespace velko_test {
namespace {

std::vector<uint8_t> Written(const CR13Entity &entity) {
    CBitWriter writer;
    entity.WriteDWG(writer);
    return std::vector<uint8_t>(writer.Data(), writer.Data() + writer.TellSize());
}

// Reads `object` into a fresh object of `type` (with `drawing`) and writes that again.
std::vector<uint8_t> ReadAndWrite(int16_t type, const R13Object &object,
                                  CR13Drawing *drawing = nullptr,
                                  std::unique_ptr<CR13Entity> *kept = nullptr) {
    int result = 0;
    auto read = ReadBack(type, object, result, drawing);
    EXPECT_EQ(result, 1) << "type " << type;
    std::vector<uint8_t> again = Written(*read);
    if (kept)
        *kept = std::move(read);
    return again;
}

template <typename T> T *Block(std::initializer_list<T> values) {
    auto *block = static_cast<T *>(std::malloc(values.size() * sizeof(T)));
    size_t i = 0;
    for (const T &v : values)
        block[i++] = v;
    return block;
}

TEST(R13Reencode, ASplineOfControlPointsKeepsItsSelectorsAndFlags) {
    auto e = NewEntity(36);
    auto *spline = static_cast<CR13Spline *>(e.get());
    spline->scenario = 1;
    spline->scenario_selector = 0x12;
    spline->degree_selector = 0x09;
    spline->control_flags = 5;
    CDB_SPLINE_type &s = e->GetData()->spline;
    s.degree = 3;
    s.knot_count = 2;
    s.knots = Block<double>({0.0, 1.0});
    s.control_point_count = 1;
    s.control_points = Block<CDB_SPLINE_CONTROL_POINT>({{1, 2, 3, 1.0}});
    const R13Object built = EntityObjectOf(*e);
    std::unique_ptr<CR13Entity> read;
    EXPECT_EQ(ReadAndWrite(36, built, nullptr, &read), built);
    const auto *back = static_cast<CR13Spline *>(read.get());
    EXPECT_EQ(back->scenario_selector, 0x12);
    EXPECT_EQ(back->degree_selector, 0x09);
    EXPECT_EQ(back->control_flags, 5);
}

TEST(R13Reencode, ASplineOfFitPointsKeepsItsSelectors) {
    auto e = NewEntity(36);
    auto *spline = static_cast<CR13Spline *>(e.get());
    spline->scenario = 2;
    spline->scenario_selector = 0x1F;
    spline->degree_selector = 0x01;
    CDB_SPLINE_type &s = e->GetData()->spline;
    s.degree = 2;
    s.fit_point_count = 2;
    s.fit_points = Block<CDB_POINT3>({{0, 0, 0}, {1, 1, 0}});
    const R13Object built = EntityObjectOf(*e);
    EXPECT_EQ(ReadAndWrite(36, built), built);
}

TEST(R13Reencode, A3DPolylineKeepsItsTwoBytes) {
    auto e = NewEntity(16);
    auto *polyline = static_cast<CR13Polyline *>(e.get());
    polyline->form_bytes[0] = 0x84;
    polyline->form_bytes[1] = 0x08;
    const R13Object built = EntityObjectOf(*e);
    std::unique_ptr<CR13Entity> read;
    EXPECT_EQ(ReadAndWrite(16, built, nullptr, &read), built);
    const auto *back = static_cast<CR13Polyline *>(read.get());
    EXPECT_EQ(back->form_bytes[0], 0x84);
    EXPECT_EQ(back->form_bytes[1], 0x08);
}

TEST(R13Reencode, APolygonMeshWritesItsFlagsAsRead) {
    auto e = NewEntity(30);
    e->GetData()->polyline.flags = 0x01;
    e->GetData()->polyline.mesh_m_count = 3;
    const R13Object built = EntityObjectOf(*e);
    std::unique_ptr<CR13Entity> read;
    EXPECT_EQ(ReadAndWrite(30, built, nullptr, &read), built);
    EXPECT_EQ(+read->GetData()->polyline.flags, 0x11);
}

TEST(R13Reencode, AnAlignedDimensionKeepsItsLastDouble) {
    auto e = NewEntity(22);
    static_cast<CR13Dimension *>(e.get())->aligned_last = 0.25;
    e->GetData()->dimension.definition_point = CDB_POINT3{1, 2, 0};
    const R13Object built = EntityObjectOf(*e);
    std::unique_ptr<CR13Entity> read;
    EXPECT_EQ(ReadAndWrite(22, built, nullptr, &read), built);
    EXPECT_EQ(static_cast<CR13Dimension *>(read.get())->aligned_last, 0.25);
}

// A 2D vertex's record lies at its polyline's elevation; its own z goes back unless the
// record's z was changed.
TEST(R13Reencode, A2DVertexWritesItsOwnZWhileTheRecordKeepsThePolylinesElevation) {
    CR13Drawing drawing(nullptr, 0);
    auto polyline = NewEntity(15);
    polyline->GetData()->elevation = 4.0;
    int result = 0;
    ReadBack(15, EntityObjectOf(*polyline), result, &drawing);
    ASSERT_EQ(result, 1);

    auto vertex = NewEntity(10);
    vertex->GetData()->vertex.location = CDB_POINT3{1, 2, 9};
    const R13Object built = EntityObjectOf(*vertex);
    std::unique_ptr<CR13Entity> read;
    EXPECT_EQ(ReadAndWrite(10, built, &drawing, &read), built);
    EXPECT_EQ(+read->GetData()->vertex.location.z, 4.0);

    // An edited z is what goes out.
    read->GetData()->vertex.location.z = 7.0;
    auto edited = ReadBack(10, Written(*read), result);
    ASSERT_EQ(result, 1);
    EXPECT_EQ(+edited->GetData()->vertex.location.z, 7.0);
}

// A 3D vertex's record carries the flag 0x20 that its type gives; the file's byte goes
// back as it was.
TEST(R13Reencode, A3DVertexWritesItsFlagByteAsRead) {
    auto vertex = NewEntity(11);
    vertex->GetData()->vertex.flags = 0x01;
    const R13Object built = EntityObjectOf(*vertex);
    std::unique_ptr<CR13Entity> read;
    EXPECT_EQ(ReadAndWrite(11, built, nullptr, &read), built);
    EXPECT_EQ(+read->GetData()->vertex.flags, 0x21);
}

// The reference to a text style goes out behind the code 5, the object's own handle behind
// the code 0.
struct TwoHandles {
    char *own;
    char *style;
};

TEST(R13Reencode, AReferenceGoesOutWithTheCodeFiveAndAnOwnHandleWithZero) {
    const R13Field fields[] = {R13_FIELD(kHT, TwoHandles, own), R13_HARD_REF(TwoHandles, style)};
    char own[] = "2A", style[] = "1B";
    TwoHandles record{own, style};
    CBitWriter writer;
    WriteR13Fields(writer, R13Layout{fields, 2}, &record);
    // 0000 0001 00101010 | 0101 0001 00011011
    const std::vector<uint8_t> expected = {0x01, 0x2A, 0x51, 0x1B};
    EXPECT_EQ(std::vector<uint8_t>(writer.Data(), writer.Data() + writer.TellSize()), expected);
}

TEST(R13Reencode, AnMtextKeepsTheCodeOfItsStyleReference) {
    auto e = NewEntity(44);
    std::free(e->GetData()->mtext.style_handle);
    e->GetData()->mtext.style_handle = static_cast<char *>(std::malloc(3));
    std::memcpy(e->GetData()->mtext.style_handle, "1B", 3);
    const R13Object built = EntityObjectOf(*e);
    EXPECT_EQ(ReadAndWrite(44, built), built);
}

// ---- Kinds whose data is kept as read ------------------------------------------------------

TEST(R13Reencode, AnObjectOfTheUnknownKindIsWrittenBackAsRead) {
    auto line = NewEntity(19);
    line->GetData()->line.end_point = CDB_POINT3{3, 4, 5};
    const R13Object built = EntityObjectOf(*line);
    CR13Unknown unknown(nullptr, CDB_LINE);
    CBitStream stream(built.data(), static_cast<int32_t>(built.size()));
    ASSERT_EQ(unknown.ReadDWG(stream), 1);
    EXPECT_EQ(Written(unknown), built);
}

TEST(R13Reencode, AnOleFrameKeepsTheBytesInFrontOfItsVersion) {
    R13Object built = EntityObjectOf(*NewEntity(500));
    // A byte inside the 73 that the record has no place for.
    built[20] = 0x5A;
    EXPECT_EQ(ReadAndWrite(500, built), built);
}

TEST(R13Reencode, AModelerObjectIsWrittenBackAsReadUntilARecordIsSet) {
    auto region = NewEntity(37);
    CDB_ENTITY in = CallerRecord(*region);
    in.region.data = reinterpret_cast<uint8_t *>(Dup("abc\n"));
    region->SetRecord(&in);
    SetEntityHead(*region, R13EntityHead{}.Type(37).Handle(0x40));
    const R13Object built = EntityObjectOf(*region);
    std::unique_ptr<CR13Entity> read;
    EXPECT_EQ(ReadAndWrite(37, built, nullptr, &read), built);

    // A record set: the data goes out from the record.
    CDB_ENTITY edited = CallerRecord(*read);
    edited.region.data = reinterpret_cast<uint8_t *>(Dup("xyz\n"));
    read->SetRecord(&edited);
    int result = 0;
    auto again = ReadBack(37, Written(*read), result);
    ASSERT_EQ(result, 1);
    EXPECT_STREQ(reinterpret_cast<const char *>(again->GetData()->region.data), "xyz\n");
}

} // namespace
} // namespace velko_test
