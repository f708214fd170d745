#include "fonts/shape_table.h"

// Shape files are not read yet: every lookup reports that it found nothing.
int CShapeTable::LoadFont(const char *, const char *, const char *) {
    return -1;
}
int CShapeTable::ShapeName(int16_t, int16_t, char *) {
    return -1;
}
int CShapeTable::ShapeData(int16_t, int16_t, char *) {
    return -1;
}
int CShapeTable::ShapeId(int16_t &, int16_t &, const char *) {
    return -1;
}
