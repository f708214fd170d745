// The shape files (SHX) that a drawing's text styles and SHAPE entities name.
#ifndef VELKO_SHAPE_TABLE_H
#define VELKO_SHAPE_TABLE_H

#include <cstdint>

class CShapeTable {
public:
    CShapeTable() = default;
    CShapeTable(const CShapeTable &) = delete;
    CShapeTable &operator=(const CShapeTable &) = delete;

    // Loads the shape file `name` (looked for beside the drawing `drawing_path`, then in
    // each directory of `search_path`, then through the index file) and returns its slot
    // in the table, or -1 when it cannot be found or read.
    int LoadFont(const char *name, const char *drawing_path, const char *search_path);
    // Name, data and reverse lookup of a shape: -1 when the shape is not known.
    int ShapeName(int16_t style_index, int16_t shape_number, char *buffer);
    int ShapeData(int16_t style_index, int16_t shape_number, char *buffer);
    int ShapeId(int16_t &style_index, int16_t &shape_number, const char *name);
};

#endif
