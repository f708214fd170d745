#include "records/entity_defaults.h"

#include "records/entity_kinds.h"
#include "records/record_points.h"

#include <cstring>

namespace {

// The one text every default record points at. It belongs to the library: a caller
// must neither free nor change it.
char g_notAssigned[] = "NOT_ASSIGNED";

// The extended data a new viewport carries, so that it is written with a block. The
// record points at the first byte, of value 1; the bytes behind it are zero and keep a
// walk over the stated size inside storage of the library.
constexpr uint16_t kViewportEedSize = 224;
uint8_t g_viewportEed[kViewportEedSize] = {1};

// The screen box of a new viewport: height 9 in the proportion of a screen.
constexpr double kViewCenterX = 7.953781512605;
constexpr double kViewCenterY = 4.5;
constexpr double kViewWidth = 15.90756302521;
constexpr double kViewHeight = 9.0;

// Four corners of a trace, a solid or a face.
template <typename Corners> void FillCorners(Corners &c) {
    c.corner_2 = Point3(1, 1, 0);
    c.corner_3 = Point3(1, 0, 0);
}

// The size of a new text, attribute definition or attribute: 0.2 high, at full width.
template <typename Text> void FillTextSize(Text &t) {
    t.height = 0.2;
    t.width_factor = 1.0;
}

} // namespace

// ---- The kinds' own defaults ------------------------------------------------------------------

void FillViewportDefault(CDB_ENTITY &e) {
    CDB_VIEWPORT_type &v = e.viewport;
    v.view_center = Point2(kViewCenterX, kViewCenterY);
    v.snap_spacing = Point2(1, 1);
    v.view_direction = Point3(0, 0, 1);
    v.view_height = kViewHeight;
    v.lens_length = 50.0;
    v.viewport_id = 1;
    v.circle_zoom = 100;
    v.fast_zoom = 1;
    v.ucs_icon = 1;
    v.center = Point3(kViewCenterX, kViewCenterY, 0);
    v.width = kViewWidth;
    v.height = kViewHeight;
    std::memcpy(v.eed_application, "MVIEW", 6);
    v.data_version = 16;
    e.eed_data = g_viewportEed;
    e.eed_size = kViewportEedSize;
}

void FillNoKindFields(CDB_ENTITY &) {}

void FillLineDefault(CDB_ENTITY &e) {
    e.line.end_point = Point3(1, 1, 0);
}

void FillPointDefault(CDB_ENTITY &e) {
    e.point.location = Point3(1, 1, 0);
}

void FillCircleDefault(CDB_ENTITY &e) {
    e.circle.center = Point3(1, 0, 0);
    e.circle.radius = 1.0;
}

void FillShapeDefault(CDB_ENTITY &e) {
    e.shape.insertion_point = Point3(3, 1, 0);
    e.shape.size = 1.0;
    e.shape.x_scale = 1.0;
}

void FillTextDefault(CDB_ENTITY &e) {
    FillTextSize(e.text);
    e.text.insertion_point = Point3(3, 2, 0);
    e.text.text = g_notAssigned;
}

void FillTraceDefault(CDB_ENTITY &e) {
    FillCorners(e.trace);
}

void FillSolidDefault(CDB_ENTITY &e) {
    FillCorners(e.solid);
}

void FillInsertDefault(CDB_ENTITY &e) {
    e.insert.x_scale = 1.0;
    e.insert.y_scale = 1.0;
    e.insert.z_scale = 1.0;
    e.insert.column_count = 1;
    e.insert.row_count = 1;
}

void FillAttDefDefault(CDB_ENTITY &e) {
    FillTextSize(e.attdef);
    e.attdef.insertion_point = Point3(1, 2, 0);
    e.attdef.default_value = g_notAssigned;
    e.attdef.prompt = g_notAssigned;
    e.attdef.tag = g_notAssigned;
}

void FillAttribDefault(CDB_ENTITY &e) {
    FillTextSize(e.attrib);
    e.attrib.value = g_notAssigned;
    e.attrib.tag = g_notAssigned;
}

void FillFaceDefault(CDB_ENTITY &e) {
    FillCorners(e.face);
}

void FillDimensionDefault(CDB_ENTITY &e) {
    e.dimension.text = g_notAssigned;
}

void FillMTextDefault(CDB_ENTITY &e) {
    e.mtext.width = 5.0;
    e.mtext.height = 0.2;
    e.mtext.text = g_notAssigned;
    e.mtext.attachment_point = 1;
    e.mtext.drawing_direction = 1;
}

void FillLeaderDefault(CDB_ENTITY &e) {
    e.leader.normal = Point3(0, 0, 1);
    e.leader.x_direction = Point3(1, 0, 0);
    e.leader.arrow_head = 1;
    e.leader.text_height = 0.9;
}

void FillToleranceDefault(CDB_ENTITY &e) {
    e.tolerance.x_axis_direction = Point3(1, 0, 0);
    e.tolerance.normal = Point3(0, 0, 1);
    e.tolerance.text = g_notAssigned;
}

short FillEntityDefault(CDB_ENTITY *entity, short type) {
    if (!entity)
        return 0;
    std::memset(entity, 0, sizeof *entity);
    entity->line_type_scale = 1.0;
    entity->line_type_index = -1;
    entity->color = -1;
    entity->extrusion = Point3(0, 0, 1);
    // Codes that name no kind (5, 6, 10, 18, 25 to 34, 42, 43, everything out of range) and
    // kinds that the default does not build (12, 13, 21, 36 to 41, 47, 500) keep the common
    // part only, with no kind code.
    const EntityKind *kind = FindEntityKind(type);
    if (kind && kind->fill_default) {
        kind->fill_default(*entity);
        entity->entity_type = type;
    }
    return 0;
}
