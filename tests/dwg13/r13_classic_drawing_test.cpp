// The release 13 classes of the kinds that release 12 has too, in whole drawings made by the
// test builder: every kind loads, comes out of the flat walk with its references resolved,
// and an object between the entities that is no entity is passed over. Packed record fields
// are handed to gtest as copies (unary plus).
#include "support/dwg13_builder.h"

#include "interface/test_files.h"

#include "dwg13/r13_classic_kinds.h"
#include "dwg13/r13_drawing.h"
#include "dwg13/r13_entity_kinds.h"
#include "dwg13/r13_test_objects.h"

#include "velkow32.h"

#include "records/entity_kinds.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace velko_test {
namespace {

using Builder = Dwg13Builder;

// The handles of the builder's tables that the entities name.
constexpr char kStyle[] = "11";
constexpr char kDimstyle[] = "1D";
constexpr char kBlockHeader[] = "50";
constexpr char kWalls[] = "30";

// An object of file type `type` with handle `handle` on layer WALLS, made by its class and
// given its values by `fill`.
R13Object Object(int16_t type, uint32_t handle,
                 const std::function<void(CR13Entity &)> &fill = {}) {
    const R13EntityKind *kind = FindR13EntityKind(type);
    std::unique_ptr<CR13Entity> entity(kind->make(nullptr, type));
    SetEntityHead(*entity, R13EntityHead{}.Type(type).Handle(handle).Layer(kWalls));
    if (fill)
        fill(*entity);
    return EntityObjectOf(*entity);
}

void Styled(CR13Entity &e, uint16_t offset) {
    char *text = Dup(kStyle);
    std::memcpy(reinterpret_cast<char *>(e.GetData()) + offset, &text, sizeof text);
}

// A drawing with a block "DOOR" (header 0x50), a layer WALLS, and one entity of every kind
// in model space, handles from 0x100 up, with an object type 42 after the line.
void AddEveryKind(Builder &b) {
    b.tables[Builder::kLayerTable].records.push_back(LayerObject(0x30, "WALLS", 3));
    R13BlockSpec door;
    door.name = "DOOR";
    door.header_handle = 0x50;
    door.start_handle = 0x51;
    door.end_handle = 0x52;
    b.blocks.push_back(door);

    std::vector<R13Object> &e = b.Space(kModelSpaceName)->entities;
    uint32_t h = 0x100;
    e.push_back(Object(1, h++, [](CR13Entity &x) {
        x.GetData()->text.text = Dup("words");
        Styled(x, offsetof(CDB_ENTITY, text.style_handle));
    }));
    e.push_back(Object(3, h++, [](CR13Entity &x) {
        x.GetData()->attdef.tag = Dup("TAG");
        Styled(x, offsetof(CDB_ENTITY, attdef.style_handle));
    }));
    e.push_back(Object(2, h++, [](CR13Entity &x) {
        x.GetData()->attrib.value = Dup("V");
        x.GetData()->attrib.height = 1.0;
        x.GetData()->attrib.width_factor = 1.0;
        Styled(x, offsetof(CDB_ENTITY, attrib.style_handle));
    }));
    for (int16_t type : {7, 8})
        e.push_back(Object(type, h++, [](CR13Entity &x) {
            x.GetData()->insert.block_handle = Dup(kBlockHeader);
            x.GetData()->insert.x_scale = 1.0;
        }));
    // Each polyline form with a vertex and its sequence end.
    const std::pair<int16_t, int16_t> runs[] = {{15, 10}, {16, 11}, {30, 12}, {29, 13}, {29, 14}};
    for (auto run : runs) {
        e.push_back(Object(run.first, h++, [](CR13Entity &x) { x.GetData()->elevation = 2.0; }));
        e.push_back(Object(run.second, h++));
        e.push_back(Object(kR13SeqEndType, h++));
    }
    for (int16_t type : {17, 18, 19})
        e.push_back(Object(type, h++));
    e.push_back(OpaqueObject(42, h++, 6));
    for (int16_t type = 20; type <= 26; ++type)
        e.push_back(Object(type, h++, [](CR13Entity &x) {
            x.GetData()->dimension.block_handle = Dup(kBlockHeader);
            x.GetData()->dimension.dimstyle_handle = Dup(kDimstyle);
        }));
    for (int16_t type : {27, 28, 31, 32})
        e.push_back(Object(type, h++));
    e.push_back(Object(33, h++, [](CR13Entity &x) {
        x.GetData()->shape.shape_number = 1;
        Styled(x, offsetof(CDB_ENTITY, shape.style_handle));
    }));
    e.push_back(Object(34, h++, [](CR13Entity &x) { x.GetData()->viewport.width = 3.0; }));
}

// The records of the flat walk of model space, without its ENDBLK. The walk's copies of the
// texts are freed when the records go.
struct WalkedRecords : std::vector<CDB_ENTITY> {
    ~WalkedRecords() {
        for (CDB_ENTITY &r : *this)
            FreeOwnedTexts(&r);
    }
};

WalkedRecords Walk(int16_t h) {
    WalkedRecords records;
    CDB_ENTITY entity;
    std::memset(&entity, 0, sizeof entity);
    if (CDBFirstEntity(h, -1) < 0 || CDBGetCurrentEntity(h, &entity) < 0)
        return records;
    for (int steps = 0; steps < 200; ++steps) {
        if (entity.entity_type != CDB_ENDBLK)
            records.push_back(entity);
        std::memset(&entity, 0, sizeof entity);
        if (CDBGetNextEntity(h, &entity) < 0)
            break;
    }
    return records;
}

TEST(R13ClassicDrawing, OneEntityOfEveryKindComesOutOfTheFlatWalkResolved) {
    Builder b;
    AddEveryKind(b);
    TempFile file("r13_classic_every_kind.dwg", b.Build());
    const int16_t h = CDBStartFileReading(file.c_str(), nullptr);
    ASSERT_GE(h, 0) << CDBGetErrorNumber(-1);
    const WalkedRecords records = Walk(h);

    const std::vector<int16_t> kinds = {
        CDB_TEXT,      CDB_ATTDEF,    CDB_ATTRIB,    CDB_INSERT,    CDB_INSERT,    CDB_POLYLINE,
        CDB_VERTEX,    CDB_SEQEND,    CDB_POLYLINE,  CDB_VERTEX,    CDB_SEQEND,    CDB_POLYLINE,
        CDB_VERTEX,    CDB_SEQEND,    CDB_POLYLINE,  CDB_VERTEX,    CDB_SEQEND,    CDB_POLYLINE,
        CDB_VERTEX,    CDB_SEQEND,    CDB_ARC,       CDB_CIRCLE,    CDB_LINE,      CDB_DIMENSION,
        CDB_DIMENSION, CDB_DIMENSION, CDB_DIMENSION, CDB_DIMENSION, CDB_DIMENSION, CDB_DIMENSION,
        CDB_POINT,     CDB_3DFACE,    CDB_SOLID,     CDB_TRACE,     CDB_SHAPE,     CDB_VIEWPORT};
    std::vector<int16_t> walked;
    for (const CDB_ENTITY &r : records)
        walked.push_back(r.entity_type);
    ASSERT_EQ(walked, kinds);

    const int16_t walls = static_cast<int16_t>(CDBLayerTableFind(h, "WALLS"));
    ASSERT_GE(walls, 0);
    const int16_t door = CDBBlockTableFind(h, "DOOR");
    ASSERT_GE(door, 0);
    const int16_t standard = CDBStyleTableFind(h, "STANDARD");
    ASSERT_GE(standard, 0);
    const int16_t dimstyle = CDBDimStyleTableFind(h, "STANDARD");
    ASSERT_GE(dimstyle, 0);
    for (const CDB_ENTITY &r : records)
        EXPECT_EQ(+r.layer_index, walls) << r.entity_type;
    EXPECT_EQ(+records[0].text.style_index, standard);
    EXPECT_STREQ(records[0].text.text, "words");
    EXPECT_EQ(+records[1].attdef.style_index, standard);
    EXPECT_STREQ(records[1].attdef.tag, "TAG");
    EXPECT_EQ(+records[2].attrib.style_index, standard);
    EXPECT_EQ(+records[3].insert.block_index, door);
    EXPECT_EQ(+records[4].insert.block_index, door);
    // The vertices lie in the plane of their polylines: a polyface stores no elevation.
    EXPECT_EQ(+records[6].vertex.location.z, 2.0);
    EXPECT_EQ(+records[6].elevation, 2.0);
    EXPECT_EQ(+records[18].vertex.location.z, 0.0);
    for (size_t i = 23; i <= 29; ++i) {
        EXPECT_EQ(+records[i].dimension.block_index, door) << i;
        EXPECT_EQ(+records[i].dimension.dimstyle_index, dimstyle) << i;
    }
    EXPECT_EQ(+records[35].viewport.width, 3.0);
    EXPECT_EQ(CDBEndOperation(h), 0);
}

TEST(R13ClassicDrawing, AShapeUnknownToItsStyleComesOutAsNone) {
    Builder b;
    AddEveryKind(b);
    TempFile file("r13_classic_shape.dwg", b.Build());
    const int16_t h = CDBStartFileReading(file.c_str(), nullptr);
    ASSERT_GE(h, 0) << CDBGetErrorNumber(-1);
    const WalkedRecords records = Walk(h);
    ASSERT_EQ(records.size(), 36u);
    // The style "STANDARD" has no shape file, so shape 1 is not found.
    EXPECT_EQ(+records[34].entity_type, CDB_SHAPE);
    EXPECT_EQ(+records[34].shape.shape_style_index, -1);
    EXPECT_EQ(+records[34].shape.shape_number, -1);
    EXPECT_EQ(CDBEndOperation(h), 0);
}

TEST(R13ClassicDrawing, AnObjectType42BetweenEntitiesIsDroppedWithoutNotice) {
    Builder b;
    std::vector<R13Object> &e = b.Space(kModelSpaceName)->entities;
    e.push_back(Object(19, 0x40));
    e.push_back(OpaqueObject(42, 0x41, 10));
    e.push_back(Object(17, 0x42));
    TempFile file("r13_classic_42.dwg", b.Build());
    CR13Drawing drawing(nullptr, 0);
    ASSERT_EQ(drawing.OpenDWG(file.c_str(), CDB_OPEN_READ), 1);
    ASSERT_EQ(drawing.LoadDWG(), 1) << drawing.LoadFailure();
    EXPECT_TRUE(drawing.LoadFailure().empty());
    std::vector<std::string> handles;
    for (int i = 0; i < drawing.Entities().Count(); ++i) {
        const CDB_ENTITY *r = drawing.Entities().At(i)->GetData();
        if (r->entity_type != CDB_ENDBLK)
            handles.push_back(r->handle);
    }
    EXPECT_EQ(handles, (std::vector<std::string>{"40", "42"}));
}

TEST(R13ClassicDrawing, TheViewportJoinsTheDrawingsViewportChain) {
    Builder b;
    b.Space(kModelSpaceName)->entities.push_back(Object(34, 0x40, [](CR13Entity &x) {
        x.GetData()->viewport.height = 4.0;
    }));
    TempFile file("r13_classic_viewport.dwg", b.Build());
    const int16_t h = CDBStartFileReading(file.c_str(), nullptr);
    ASSERT_GE(h, 0) << CDBGetErrorNumber(-1);
    CDB_ENTITY viewport;
    std::memset(&viewport, 0, sizeof viewport);
    ASSERT_GE(CDBGetFirstViewport(h, &viewport), 0);
    EXPECT_EQ(+viewport.entity_type, CDB_VIEWPORT);
    EXPECT_EQ(+viewport.viewport.height, 4.0);
    EXPECT_EQ(CDBEndOperation(h), 0);
}

} // namespace
} // namespace velko_test
