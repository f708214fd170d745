// mkpicture SAMPLE.dwg OUT.dwg
//
// Writes the drawing that `make run` renders, data/picture.dwg: the shipped sample
// drawing with a small floor plan added through the library's own editing calls and
// saved by its DWG writer. Walls on the red layer, a door block inserted twice (turned
// and mirrored), a window row of columns, a rounded table (a polyline with bulges and a
// width), a filled column, a circle, an arc, a dimension line in green and a title.
#include "velkow32.h"

#include <cstdio>
#include <cstring>

namespace {

int16_t g_h = -1;

bool Add(int16_t block, CDB_ENTITY &e) {
    if (CDBEntityAdd(g_h, block, &e) < 0) {
        std::fprintf(stderr, "mkpicture: entity of kind %d refused\n", int(e.entity_type));
        return false;
    }
    return true;
}

CDB_ENTITY Entity(int16_t kind, int16_t layer, int16_t color = 256) {
    CDB_ENTITY e;
    CDBEntityDefault(g_h, &e, kind);
    e.layer_index = layer;
    e.color = color;
    return e;
}

bool Line(int16_t block, int16_t layer, double x1, double y1, double x2, double y2,
          int16_t color = 256) {
    CDB_ENTITY e = Entity(CDB_LINE, layer, color);
    e.line.start_point = {x1, y1, 0};
    e.line.end_point = {x2, y2, 0};
    return Add(block, e);
}

bool Vertex(int16_t layer, double x, double y, double bulge) {
    CDB_ENTITY v = Entity(CDB_VERTEX, layer);
    v.vertex.location = {x, y, 0};
    v.vertex.bulge = bulge;
    return Add(-1, v);
}

bool Draw(int16_t walls, int16_t dims) {
    // The outer walls.
    const double outline[][2] = {{0.5, 0.5}, {11.5, 0.5}, {11.5, 8.5}, {0.5, 8.5}};
    for (int i = 0; i < 4; ++i)
        if (!Line(-1, walls, outline[i][0], outline[i][1], outline[(i + 1) % 4][0],
                  outline[(i + 1) % 4][1]))
            return false;
    // An inner wall with a gap for a door.
    if (!Line(-1, walls, 6, 0.5, 6, 4) || !Line(-1, walls, 6, 5, 6, 8.5))
        return false;

    // The door: a leaf and its swing, as a block.
    CDB_STARTBLOCK_ENTITY_type door;
    CDBBlockDefault(g_h, &door);
    char name[] = "DOOR";
    door.name = name;
    const int16_t block = CDBBlockAdd(g_h, &door);
    if (block < 0)
        return false;
    if (!Line(block, 0, 0, 0, 0, 1, 0))
        return false;
    CDB_ENTITY swing = Entity(CDB_ARC, 0, 0);
    swing.arc.radius = 1;
    swing.arc.start_angle = 0;
    swing.arc.end_angle = 90;
    if (!Add(block, swing))
        return false;
    const double doors[][4] = {{6, 4, 0, 1}, {3, 0.5, 90, -1}};
    for (const auto &d : doors) {
        CDB_ENTITY insert = Entity(CDB_INSERT, walls, 5);
        insert.insert.block_index = block;
        insert.insert.insertion_point = {d[0], d[1], 0};
        insert.insert.rotation = d[2];
        insert.insert.x_scale = d[3];
        if (!Add(-1, insert))
            return false;
    }
    // A row of three windows: the door block again, small, in columns.
    CDB_ENTITY row = Entity(CDB_INSERT, walls, 4);
    row.insert.block_index = block;
    row.insert.insertion_point = {7, 8.5, 0};
    row.insert.x_scale = row.insert.y_scale = 0.5;
    row.insert.rotation = -90;
    row.insert.column_count = 1;
    row.insert.row_count = 3;
    row.insert.row_spacing = 1.3;
    if (!Add(-1, row))
        return false;

    // A rounded table: a closed polyline with two half-circle ends and a width.
    CDB_ENTITY table = Entity(CDB_POLYLINE, 0, 30);
    table.polyline.flags = 1;
    table.polyline.start_width = table.polyline.end_width = 0.05;
    table.polyline.vertices_follow = 1;
    if (!Add(-1, table) || !Vertex(0, 2, 5, 0) || !Vertex(0, 4, 5, 1) || !Vertex(0, 4, 6.5, 0) ||
        !Vertex(0, 2, 6.5, 1))
        return false;
    CDB_ENTITY end = Entity(CDB_SEQEND, 0);
    if (!Add(-1, end))
        return false;

    // A filled column, a round column, a lamp's arc.
    CDB_ENTITY column = Entity(CDB_SOLID, 0, 8);
    column.solid.corner_1 = {10.5, 1.5, 0};
    column.solid.corner_2 = {11, 1.5, 0};
    column.solid.corner_3 = {10.5, 2, 0};
    column.solid.corner_4 = {11, 2, 0};
    CDB_ENTITY round = Entity(CDB_CIRCLE, 0, 6);
    round.circle.center = {9, 5.5, 0};
    round.circle.radius = 1;
    CDB_ENTITY lamp = Entity(CDB_ARC, 0, 2);
    lamp.arc.center = {9, 5.5, 0};
    lamp.arc.radius = 1.5;
    lamp.arc.start_angle = 200;
    lamp.arc.end_angle = 340;
    if (!Add(-1, column) || !Add(-1, round) || !Add(-1, lamp))
        return false;

    // A dimension line under the plan and the title.
    if (!Line(-1, dims, 0.5, 0.2, 11.5, 0.2) || !Line(-1, dims, 0.5, 0.1, 0.5, 0.3) ||
        !Line(-1, dims, 11.5, 0.1, 11.5, 0.3))
        return false;
    CDB_ENTITY title = Entity(CDB_TEXT, dims);
    char words[] = "velkow32 sample plan";
    title.text.text = words;
    title.text.insertion_point = {0.5, 8.7, 0};
    title.text.height = 0.25;
    return Add(-1, title);
}

} // namespace

int main(int argc, char **argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: mkpicture SAMPLE.dwg OUT.dwg\n");
        return 2;
    }
    g_h = CDBStartFileReading(argv[1], nullptr);
    if (g_h < 0) {
        std::fprintf(stderr, "mkpicture: %s does not open\n", argv[1]);
        return 1;
    }
    const int16_t walls = CDBLayerTableFind(g_h, "WALLS");
    const int16_t dims = CDBLayerTableFind(g_h, "DIMS");
    const bool drawn = walls >= 0 && dims >= 0 && Draw(walls, dims);
    const bool saved = drawn && CDBSaveAsDWG(g_h, argv[2]) == 0;
    CDBEndOperation(g_h);
    if (!saved) {
        std::fprintf(stderr, "mkpicture: %s not written\n", argv[2]);
        return 1;
    }
    return 0;
}
