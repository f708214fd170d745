// The TrueType glyph functions. No font reader is built yet: no font can be opened, so
// every handle lies outside the (empty) array of open fonts.
#include "interface/drawing_table.h"

#include <cstdio>

namespace {
int16_t NoFont(bool tell_user) {
    if (tell_user)
        std::fprintf(stderr, "velkow32: Invalid Handle Passed\n");
    return CDB_FAIL;
}
} // namespace

extern "C" {

int16_t InitFont(int16_t, const char *) {
    return CDB_FAIL;
}
int16_t ExitFont(int16_t, int16_t) {
    return NoFont(false);
}
int16_t SetCurrentChar(int16_t, int16_t, uint16_t) {
    return NoFont(false);
}
int16_t GetWidth(int16_t, int16_t, uint16_t *, int16_t *) {
    return NoFont(false);
}
int16_t SetGlyf(int16_t, int16_t, int16_t) {
    return NoFont(false);
}
int16_t GetGlyfData(int16_t, int16_t, user_compGlyfData *) {
    return NoFont(false);
}
int16_t GetContourCount(int16_t, int16_t) {
    return NoFont(true);
}
int16_t GetPointCount(int16_t, int16_t) {
    return NoFont(true);
}
int16_t GetFirstEndPoint(int16_t, int16_t) {
    return NoFont(true);
}
int16_t GetNextEndPoint(int16_t, int16_t) {
    return NoFont(true);
}
int16_t GetFirstPoint(int16_t, int16_t, FNT_POINT *) {
    return NoFont(true);
}
int16_t GetNextPoint(int16_t, int16_t, FNT_POINT *) {
    return NoFont(true);
}

} // extern "C"
