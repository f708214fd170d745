// Default records of the symbol tables. They take no drawing: the names come from
// counters that live as long as the process and from one name buffer that all the
// tables share, so the next default of any table replaces the previous name.
#include "records/last_error.h"
#include "records/record_points.h"
#include "velkow32.h"

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

// Room for the longest name a table record holds: 31 characters and the terminator.
char g_defaultName[32];

int g_layerCounter = 0;
int g_lineTypeCounter = 0;
int g_styleCounter = 0;
int g_vportCounter = 0;
int g_viewCounter = 0;
int g_ucsCounter = 0;
int g_appidCounter = 0;
int g_dimStyleCounter = 0;

// The empty string the text blocks of the defaults are copied from.
const char kEmpty[] = "";

// Formats the counter into the shared buffer and moves it on.
char *NextName(const char *format, int &counter) {
    std::snprintf(g_defaultName, sizeof g_defaultName, format, counter);
    counter = counter == INT_MAX ? 0 : counter + 1;
    return g_defaultName;
}

// A heap block of `size` bytes (at least the text and its terminator) holding `text`.
char *HeapText(const char *text, size_t size) {
    const size_t needed = std::strlen(text) + 1;
    if (size < needed)
        size = needed;
    char *block = static_cast<char *>(std::calloc(size, 1));
    if (block)
        std::memcpy(block, text, needed);
    return block;
}

// The common opening of every default: a null record fails with a bad parameter,
// otherwise the error slot is cleared and the record zeroed.
template <typename Record> bool Begin(Record *record) {
    if (!record) {
        g_LastError = CDB_ERR_INVALID_PARAMETER;
        return false;
    }
    g_LastError = CDB_ERR_NONE;
    std::memset(record, 0, sizeof *record);
    return true;
}

} // namespace

extern "C" {

int16_t CDBLayerTableDefault(CDB_LAYER_TBL_type *record) {
    if (!Begin(record))
        return CDB_FAIL;
    record->name = NextName("LAYER%0d", g_layerCounter);
    record->flags = 64;
    record->color = 7;
    record->line_type_index = 0;
    return CDB_OK;
}

int16_t CDBLineTypeTableDefault(CDB_LTYPE_TBL_type *record) {
    if (!Begin(record))
        return CDB_FAIL;
    record->name = NextName("LTYPE%0d", g_lineTypeCounter);
    record->flags = 4;
    record->description = HeapText("Solid line", 48);
    record->alignment = 65; // 'A'
    record->dash_count = 0;
    record->pattern_length = 0;
    record->dashes = static_cast<double *>(std::malloc(sizeof(double)));
    if (record->dashes)
        record->dashes[0] = 0.0;
    return CDB_OK;
}

int16_t CDBStyleTableDefault(CDB_STYLE_TBL_type *record) {
    if (!Begin(record))
        return CDB_FAIL;
    record->name = NextName("STYLE%0d", g_styleCounter);
    record->flags = 16;
    record->width_factor = 1.0;
    record->last_height = 0.2;
    record->font_file = HeapText("txt", 64);
    record->bigfont_file = HeapText(kEmpty, 64);
    return CDB_OK;
}

int16_t CDBVportTableDefault(CDB_VPORT_TBL_type *record) {
    if (!Begin(record))
        return CDB_FAIL;
    record->name = NextName("VPORT%0d", g_vportCounter);
    record->flags = 16;
    record->upper_right = Point2(1, 1);
    record->view_center = Point2(6.196998, 4.5);
    record->snap_spacing = Point2(1, 1);
    record->view_direction = Point3(0, 0, 1);
    record->view_height = 9.0;
    record->aspect_ratio = 1.377111;
    record->lens_length = 50.0;
    record->viewport_status = 2;
    record->viewport_id = 5699;
    record->circle_zoom = 100;
    record->fast_zoom = 1;
    record->ucs_icon = 1;
    return CDB_OK;
}

int16_t CDBViewTableDefault(CDB_VIEW_TBL_type *record) {
    if (!Begin(record))
        return CDB_FAIL;
    // The counter moves like the others, but the name is left blank for the client.
    record->name = NextName("VIEW%0d", g_viewCounter);
    std::memcpy(g_defaultName, " ", 2);
    record->flags = 16;
    record->height = 9.0;
    record->width = 15.907;
    record->center = Point2(7.953782, 4.5);
    record->direction = Point3(0, 0, 1);
    record->lens_length = 50.0;
    return CDB_OK;
}

int16_t CDBUCSTableDefault(CDB_UCS_TBL_type *record) {
    if (!Begin(record))
        return CDB_FAIL;
    record->name = NextName("UCS%0d", g_ucsCounter);
    record->flags = 4;
    record->x_direction = Point3(1, 0, 0);
    record->y_direction = Point3(0, 1, 0);
    return CDB_OK;
}

int16_t CDBAppidTableDefault(CDB_APPID_TBL_type *record) {
    if (!Begin(record))
        return CDB_FAIL;
    record->name = NextName("APPID%0d", g_appidCounter);
    record->flags = 4;
    return CDB_OK;
}

int16_t CDBDimStyleTableDefault(CDB_DIMSTYLE_TBL_type *record) {
    if (!Begin(record))
        return CDB_FAIL;
    // "LTTYPE" is the established default name of a dimension style.
    record->name = NextName("LTTYPE%0d", g_dimStyleCounter);
    record->flags = 4;
    record->dimpost = HeapText(kEmpty, 0);
    record->dimapost = HeapText(kEmpty, 0);
    record->dimblk = HeapText(kEmpty, 0);
    record->dimblk1 = HeapText(kEmpty, 0);
    record->dimblk2 = HeapText(kEmpty, 0);
    record->entry_code = 4;
    record->dimscale = 1.0;
    record->dimdli = 0.38;
    record->dimexe = 0.18;
    record->dimtxt = 0.18;
    record->dimcen = 0.09;
    record->dimaltf = 25.4;
    record->dimlfac = 1.0;
    record->dimtfac = 1.0;
    record->dimtih = 1;
    record->dimtoh = 1;
    record->dimaltd = 2;
    return CDB_OK;
}

} // extern "C"
