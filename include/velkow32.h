/*
 * velkow32: read, walk, edit and write CAD drawings of release 12 ("AC1009") and
 * release 13 ("AC1012"), DWG and DXF, ASCII and binary.
 *
 * This is the one public header. It is valid C99 and C++17. Every record that crosses
 * the library's boundary is byte-packed; every exported function has C linkage and a
 * plain name. A drawing is addressed by a small handle (0 to 255) that
 * CDBStartFileReading or CDBNew hands out. A call returns a status; on -123 the reason
 * is read with CDBGetErrorNumber / CDBGetErrorMessage.
 */
#ifndef VELKOW32_H
#define VELKOW32_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Status values ---------------------------------------------------------------- */

#define CDB_OK 0
#define CDB_DELETED 2
#define CDB_FAIL (-123)
#define CDB_END_OF_BLOCKS (-132)
#define CDB_END_OF_WALK (-133)
#define CDB_NAME_EXISTS (-5)
#define CDB_EED_END (-6)

/* ---- Error codes ------------------------------------------------------------------ */

#define CDB_ERR_NONE 0
#define CDB_ERR_FILE_ALREADY_OPEN (-400)
#define CDB_ERR_OPENING_FILE (-401)
#define CDB_ERR_FILE_READ (-402)
#define CDB_ERR_FILE_SEEK (-403)
#define CDB_ERR_VERSION_MISMATCH (-404)
#define CDB_ERR_INVALID_FILE (-405)
#define CDB_ERR_FILE_NOT_OPEN (-406)
#define CDB_ERR_FILE_CLOSE (-407)
#define CDB_ERR_DRAWING_CORRUPTED (-408)
#define CDB_ERR_UNNAMED_BLOCK (-409)
#define CDB_ERR_RECORD_NOT_FOUND (-410)
#define CDB_ERR_BLOCK_NOT_FOUND (-411)
#define CDB_ERR_ENTITY_NOT_FOUND (-412)
#define CDB_ERR_TABLE_NOT_FOUND (-414)
#define CDB_ERR_INVALID_INDEX (-415)
#define CDB_ERR_INVALID_TABLE_HANDLE (-416)
#define CDB_ERR_BAD_EED (-417)
#define CDB_ERR_CLOSING (-418)
#define CDB_ERR_SEEKING (-419)
#define CDB_ERR_BAD_HANDLE (-420)
#define CDB_ERR_INVALID_PARAMETER (-421)
#define CDB_ERR_INVALID_DRAWING_HANDLE (-422)
#define CDB_ERR_WRONG_SEQUENCE (-425)
#define CDB_ERR_INVALID_ENTITY_CODE (-426)
#define CDB_ERR_INVALID_LAYER (-427)
#define CDB_ERR_INVALID_LTYPE (-428)
#define CDB_ERR_INVALID_STYLE (-429)
#define CDB_ERR_INVALID_BLOCK (-430)
#define CDB_ERR_INVALID_DIMSTYLE (-431)
#define CDB_ERR_INVALID_MLINESTYLE (-432)
/* A code of this library, beyond the original range: a save refused because the drawing
   does not fit its file form (an offset, a count, a size or a length that the form's field
   cannot hold). The old file of the target name stays as it was. */
#define CDB_ERR_FORM_LIMIT (-440)

/* ---- Entity kinds ----------------------------------------------------------------- */

#define CDB_LINE 1
#define CDB_POINT 2
#define CDB_CIRCLE 3
#define CDB_SHAPE 4
#define CDB_TEXT 7
#define CDB_ARC 8
#define CDB_TRACE 9
#define CDB_SOLID 11
#define CDB_BLOCK 12
#define CDB_ENDBLK 13
#define CDB_INSERT 14
#define CDB_ATTDEF 15
#define CDB_ATTRIB 16
#define CDB_SEQEND 17
#define CDB_POLYLINE 19
#define CDB_VERTEX 20
#define CDB_3DLINE 21
#define CDB_3DFACE 22
#define CDB_DIMENSION 23
#define CDB_VIEWPORT 24
#define CDB_ELLIPSE 35
#define CDB_SPLINE 36
#define CDB_REGION 37
#define CDB_3DSOLID 38
#define CDB_BODY 39
#define CDB_RAY 40
#define CDB_XLINE 41
#define CDB_MTEXT 44
#define CDB_LEADER 45
#define CDB_TOLERANCE 46
#define CDB_MLINE 47
#define CDB_OLEFRAME 500

/* ---- File kinds and releases of CDB_FILE_INFO -------------------------------------- */

#define CDB_RELEASE_12 1
#define CDB_RELEASE_13 2
#define CDB_RELEASE_OTHER 3
#define CDB_FILE_TEXT_DXF 4
#define CDB_FILE_BINARY_DXF 5
#define CDB_FILE_DWG 6

#pragma pack(push, 1)

/* ---- Basic types ------------------------------------------------------------------ */

typedef struct CDB_POINT2 {
    double x, y;
} CDB_POINT2;

typedef struct CDB_POINT3 {
    double x, y, z;
} CDB_POINT3;

/* A release 13 handle reference: its code and value. */
typedef struct CHandleRef {
    int16_t code;
    uint32_t value;
} CHandleRef;

typedef enum CDB_OPEN_MODE {
    CDB_OPEN_READ = 0,
    CDB_OPEN_WRITE = 1,
    CDB_OPEN_READWRITE = 2,
    CDB_OPEN_CREATE = 3
} CDB_OPEN_MODE;

typedef struct CDB_FILE_INFO {
    int32_t release;
    int32_t file_kind;
    char version[21];
} CDB_FILE_INFO;

/* ---- Entity records --------------------------------------------------------------- */

/* The common part that opens every entity record. */
#define CDB_ENTITY_COMMON_FIELDS                                                                   \
    int16_t entity_type;                                                                           \
    char *handle;                                                                                  \
    int16_t layer_index;                                                                           \
    char *layer_handle;                                                                            \
    int16_t line_type_index;                                                                       \
    char *line_type_handle;                                                                        \
    CDB_POINT3 reserved_points[2];                                                                 \
    double elevation;                                                                              \
    double thickness;                                                                              \
    int16_t color;                                                                                 \
    double line_type_scale;                                                                        \
    int16_t space;                                                                                 \
    CDB_POINT3 extrusion;                                                                          \
    uint16_t eed_size;                                                                             \
    uint8_t *eed_data;                                                                             \
    uint16_t invisibility;                                                                         \
    /* link block of release 13; of no use to a client */                                          \
    CHandleRef owner;                                                                              \
    uint32_t object_bits;                                                                          \
    CHandleRef dictionary;                                                                         \
    CHandleRef previous;                                                                           \
    CHandleRef next;                                                                               \
    uint32_t no_links;                                                                             \
    uint32_t line_type_bylayer;                                                                    \
    uint32_t has_owner;                                                                            \
    uint32_t has_graphic;                                                                          \
    uint32_t reserved_bit_1;                                                                       \
    uint32_t reserved_bit_2;                                                                       \
    uint32_t mode_model;                                                                           \
    uint32_t mode_paper;

typedef struct CDB_LINE_type {
    CDB_POINT3 start_point;
    CDB_POINT3 end_point;
} CDB_LINE_type;

typedef struct CDB_POINT_type {
    CDB_POINT3 location;
    double x_axis_angle;
} CDB_POINT_type;

typedef struct CDB_CIRCLE_type {
    CDB_POINT3 center;
    double radius;
} CDB_CIRCLE_type;

typedef struct CDB_SHAPE_type {
    CDB_POINT3 insertion_point;
    double size;
    int16_t shape_number;
    int16_t shape_style_index;
    char *style_handle;
    double rotation;
    double x_scale;
    double oblique_angle;
    int16_t shape_flags;
} CDB_SHAPE_type;

typedef struct CDB_TEXT_type {
    CDB_POINT3 insertion_point;
    double height;
    char *text;
    double rotation;
    double width_factor;
    double oblique_angle;
    int16_t style_index;
    int16_t generation_flags;
    uint8_t horizontal_justification;
    uint8_t vertical_justification;
    CDB_POINT3 alignment_point;
    char *style_handle;
} CDB_TEXT_type;

typedef struct CDB_ARC_type {
    CDB_POINT3 center;
    double radius;
    double start_angle;
    double end_angle;
} CDB_ARC_type;

/* TRACE (9) and SOLID (11) */
typedef struct CDB_TRACE_type {
    CDB_POINT3 corner_1;
    CDB_POINT3 corner_2;
    CDB_POINT3 corner_3;
    CDB_POINT3 corner_4;
} CDB_TRACE_type;

typedef CDB_TRACE_type CDB_SOLID_type;

typedef struct CDB_BLOCK_type {
    char *xref_path;
    char *name;
    char *name_2;
    int16_t flags;
    CDB_POINT3 base_point;
} CDB_BLOCK_type;

typedef struct CDB_INSERT_type {
    int16_t attributes_follow;
    int16_t block_index;
    char *block_handle;
    CDB_POINT3 insertion_point;
    double x_scale;
    double y_scale;
    double z_scale;
    double rotation;
    int16_t column_count;
    int16_t row_count;
    double column_spacing;
    double row_spacing;
} CDB_INSERT_type;

typedef struct CDB_ATTDEF_type {
    CDB_POINT3 insertion_point;
    double height;
    char *default_value;
    char *prompt;
    char *tag;
    int16_t flags;
    int16_t field_length;
    double rotation;
    double width_factor;
    double oblique_angle;
    int16_t style_index;
    int16_t generation_flags;
    int16_t horizontal_justification;
    int16_t vertical_justification;
    CDB_POINT3 alignment_point;
    char *style_handle;
} CDB_ATTDEF_type;

typedef struct CDB_ATTRIB_type {
    CDB_POINT3 insertion_point;
    double height;
    char *value;
    char *tag;
    int16_t flags;
    int16_t field_length;
    double rotation;
    double width_factor;
    double oblique_angle;
    int16_t style_index;
    int16_t generation_flags;
    int16_t horizontal_justification;
    int16_t vertical_justification;
    CDB_POINT3 alignment_point;
    char *style_handle;
} CDB_ATTRIB_type;

typedef struct CDB_POLYLINE_type {
    int16_t polyline_kind;
    int16_t vertices_follow;
    CDB_POINT3 origin;
    int16_t flags;
    double start_width;
    double end_width;
    int16_t mesh_m_count;
    int16_t mesh_n_count;
    int16_t smooth_m_density;
    int16_t smooth_n_density;
    int16_t curve_type;
} CDB_POLYLINE_type;

typedef struct CDB_VERTEX_type {
    CDB_POINT3 location;
    double start_width;
    double end_width;
    double bulge;
    int16_t flags;
    double tangent_direction;
    int16_t polyface_index_1;
    int16_t polyface_index_2;
    int16_t polyface_index_3;
    int16_t polyface_index_4;
} CDB_VERTEX_type;

typedef struct CDB_3DFACE_type {
    CDB_POINT3 corner_1;
    CDB_POINT3 corner_2;
    CDB_POINT3 corner_3;
    CDB_POINT3 corner_4;
    int16_t invisible_edges;
} CDB_3DFACE_type;

typedef struct CDB_DIMENSION_type {
    char *text;
    int16_t block_index;
    char *block_handle;
    int16_t dimstyle_index;
    char *dimstyle_handle;
    CDB_POINT3 definition_point;
    CDB_POINT3 text_midpoint;
    CDB_POINT3 clone_insertion_point;
    CDB_POINT3 definition_point_2;
    CDB_POINT3 definition_point_3;
    CDB_POINT3 definition_point_4;
    CDB_POINT3 arc_definition_point;
    double leader_length;
    double text_rotation;
    double horizontal_direction;
    double extension_line_rotation;
    double oblique_angle;
    int16_t dimension_type;
} CDB_DIMENSION_type;

/* The links that close every table record; only release 13 fills them. */
typedef struct CDB_TABLE_LINKS {
    int16_t link_count;
    CHandleRef owner;
    CHandleRef reactor;
    CHandleRef dictionary;
} CDB_TABLE_LINKS;

typedef struct CDB_VIEWPORT_type {
    CDB_POINT2 view_center;
    CDB_POINT2 snap_base;
    CDB_POINT2 snap_spacing;
    CDB_POINT2 grid_spacing;
    CDB_POINT3 view_direction;
    CDB_POINT3 view_target;
    double view_height;
    double aspect_ratio;
    double lens_length;
    double front_clip;
    double back_clip;
    double snap_angle;
    double twist_angle;
    int16_t vx_index;
    int16_t viewport_id;
    int16_t view_mode;
    int16_t circle_zoom;
    int16_t fast_zoom;
    int16_t ucs_icon;
    int16_t snap_mode;
    int16_t grid_mode;
    int16_t snap_style;
    int16_t snap_isopair;
    CDB_TABLE_LINKS links;
    CDB_POINT3 center;
    double width;
    double height;
    int16_t eed_version;
    char eed_application[6];
    int16_t data_version;
    int16_t hidden_in_plot;
    int16_t *frozen_layers;
    int16_t frozen_layer_count;
} CDB_VIEWPORT_type;

typedef struct CDB_ELLIPSE_type {
    CDB_POINT3 center;
    CDB_POINT3 major_axis;
    double axis_ratio;
    double start_parameter;
    double end_parameter;
} CDB_ELLIPSE_type;

typedef struct CDB_SPLINE_CONTROL_POINT {
    double x, y, z, weight;
} CDB_SPLINE_CONTROL_POINT;

typedef struct CDB_SPLINE_type {
    int16_t flags;
    int16_t degree;
    int16_t knot_count;
    int16_t control_point_count;
    int16_t fit_point_count;
    double knot_tolerance;
    double control_tolerance;
    double fit_tolerance;
    CDB_POINT3 start_tangent;
    CDB_POINT3 end_tangent;
    CDB_POINT3 *fit_points;
    CDB_SPLINE_CONTROL_POINT *control_points;
    double *knots;
} CDB_SPLINE_type;

/* REGION (37) and BODY (39) */
typedef struct CDB_MODELER_type {
    int16_t format_version;
    uint8_t *data;
} CDB_MODELER_type;

typedef struct CDB_3DSOLID_type {
    int16_t reserved;
    int16_t format_version;
    uint8_t *data;
} CDB_3DSOLID_type;

/* RAY (40) and XLINE (41) */
typedef struct CDB_RAY_type {
    CDB_POINT3 base_point;
    CDB_POINT3 direction;
} CDB_RAY_type;

typedef struct CDB_MTEXT_type {
    CDB_POINT3 insertion_point;
    CDB_POINT3 x_axis_direction;
    CDB_POINT3 normal;
    double width;
    double height;
    char *text;
    int16_t attachment_point;
    int16_t drawing_direction;
    int16_t reserved;
    double line_spacing;
    double line_spacing_extra;
    char *style_handle;
} CDB_MTEXT_type;

typedef struct CDB_LEADER_type {
    int16_t vertex_count;
    CDB_POINT3 *vertices;
    int16_t path_type;
    CDB_POINT3 normal;
    CDB_POINT3 x_direction;
    int16_t dimstyle_index;
    char *dimstyle_handle;
    int16_t arrow_head;
    int16_t annotation_type;
    int16_t hookline_on_x;
    int16_t hookline;
    double text_height;
    double text_width;
    int16_t color;
    double box_height;
    int16_t arrow_type;
    double arrow_size;
    int16_t field_b;
    int16_t field_c;
    CDB_POINT3 end_point_projection;
    CDB_POINT3 offset_to_block;
} CDB_LEADER_type;

typedef struct CDB_TOLERANCE_type {
    CDB_POINT3 insertion_point;
    CDB_POINT3 x_axis_direction;
    CDB_POINT3 normal;
    char *text;
    int16_t dimstyle_index;
    char *dimstyle_handle;
} CDB_TOLERANCE_type;

typedef struct CDB_MLINE_LINE {
    int16_t segment_parameter_count;
    double *segment_parameters;
    int16_t fill_parameter_count;
    double *fill_parameters;
} CDB_MLINE_LINE;

typedef struct CDB_MLINE_VERTEX {
    CDB_POINT3 location;
    CDB_POINT3 direction;
    CDB_POINT3 miter_direction;
    CDB_MLINE_LINE *lines;
} CDB_MLINE_VERTEX;

typedef struct CDB_MLINE_type {
    double scale;
    int16_t justification;
    int16_t flags;
    CDB_POINT3 base_point;
    int16_t vertex_count;
    int16_t line_count;
    CDB_MLINE_VERTEX *vertices;
    int16_t style_index;
    char *style_handle;
} CDB_MLINE_type;

typedef struct CDB_OLE_type {
    int16_t ole_version;
    int32_t data_size;
    uint8_t *data;
} CDB_OLE_type;

/* Every entity: the common part, then the part of its kind. */
typedef struct CDB_ENTITY {
    CDB_ENTITY_COMMON_FIELDS
    union {
        CDB_LINE_type line;
        CDB_POINT_type point;
        CDB_CIRCLE_type circle;
        CDB_SHAPE_type shape;
        CDB_TEXT_type text;
        CDB_ARC_type arc;
        CDB_TRACE_type trace;
        CDB_SOLID_type solid;
        CDB_BLOCK_type block;
        CDB_INSERT_type insert;
        CDB_ATTDEF_type attdef;
        CDB_ATTRIB_type attrib;
        CDB_POLYLINE_type polyline;
        CDB_VERTEX_type vertex;
        CDB_3DFACE_type face;
        CDB_DIMENSION_type dimension;
        CDB_VIEWPORT_type viewport;
        CDB_ELLIPSE_type ellipse;
        CDB_SPLINE_type spline;
        CDB_MODELER_type region;
        CDB_3DSOLID_type solid3d;
        CDB_MODELER_type body;
        CDB_RAY_type ray;
        CDB_RAY_type xline;
        CDB_MTEXT_type mtext;
        CDB_LEADER_type leader;
        CDB_TOLERANCE_type tolerance;
        CDB_MLINE_type mline;
        CDB_OLE_type ole;
    };
} CDB_ENTITY;

/* A block start (kind 12): a CDB_ENTITY of kind 12 may be cast to it. */
typedef struct CDB_STARTBLOCK_ENTITY_type {
    CDB_ENTITY_COMMON_FIELDS
    char *xref_path;
    char *name;
    char *name_2;
    int16_t flags;
    CDB_POINT3 base_point;
} CDB_STARTBLOCK_ENTITY_type;

/* A shape (kind 4): a CDB_ENTITY of kind 4 may be cast to it. */
typedef struct CDB_SHAPE_ENTITY_type {
    CDB_ENTITY_COMMON_FIELDS
    CDB_POINT3 insertion_point;
    double size;
    int16_t shape_number;
    int16_t shape_style_index;
    char *style_handle;
    double rotation;
    double x_scale;
    double oblique_angle;
    int16_t shape_flags;
} CDB_SHAPE_ENTITY_type;

/* ---- Table records ---------------------------------------------------------------- */

typedef struct CDB_LAYER_TBL_type {
    char *name;
    char *handle;
    uint8_t flags;
    uint8_t flags_copy;
    int16_t color;
    int16_t line_type_index;
    char *line_type_handle;
    CDB_TABLE_LINKS links;
} CDB_LAYER_TBL_type;

typedef struct CDB_LTYPE_TBL_type {
    char *name;
    char *handle;
    uint8_t flags;
    char *description;
    int16_t alignment;
    int16_t dash_count;
    double pattern_length;
    int16_t *complex_types;
    double *dashes;
    int16_t entry_code;
    double *shape_numbers;
    double *scales;
    double *rotations;
    double *x_offsets;
    double *y_offsets;
    CHandleRef *style_handles;
    CDB_TABLE_LINKS links;
} CDB_LTYPE_TBL_type;

typedef struct CDB_STYLE_TBL_type {
    char *name;
    char *handle;
    uint8_t flags;
    double height;
    double width_factor;
    double oblique_angle;
    uint8_t generation_flags;
    double last_height;
    char *font_file;
    char *bigfont_file;
    CDB_TABLE_LINKS links;
} CDB_STYLE_TBL_type;

typedef struct CDB_VPORT_TBL_type {
    char *name;
    char *handle;
    uint8_t flags;
    CDB_POINT2 lower_left;
    CDB_POINT2 upper_right;
    CDB_POINT2 view_center;
    CDB_POINT2 snap_base;
    CDB_POINT2 snap_spacing;
    CDB_POINT2 grid_spacing;
    CDB_POINT3 view_direction;
    CDB_POINT3 view_target;
    double view_height;
    double aspect_ratio;
    double lens_length;
    double front_clip;
    double back_clip;
    double snap_angle;
    double twist_angle;
    int16_t viewport_status;
    int16_t viewport_id;
    int16_t view_mode;
    int16_t circle_zoom;
    int16_t fast_zoom;
    int16_t ucs_icon;
    int16_t snap_mode;
    int16_t grid_mode;
    int16_t snap_style;
    int16_t snap_isopair;
    CDB_TABLE_LINKS links;
} CDB_VPORT_TBL_type;

typedef struct CDB_VIEW_TBL_type {
    char *name;
    char *handle;
    uint8_t flags;
    double height;
    double width;
    CDB_POINT2 center;
    CDB_POINT3 direction;
    CDB_POINT3 target;
    double lens_length;
    double front_clip;
    double back_clip;
    double twist_angle;
    int16_t view_mode;
    CDB_TABLE_LINKS links;
} CDB_VIEW_TBL_type;

typedef struct CDB_UCS_TBL_type {
    char *name;
    char *handle;
    uint8_t flags;
    CDB_POINT3 origin;
    CDB_POINT3 x_direction;
    CDB_POINT3 y_direction;
    CDB_TABLE_LINKS links;
} CDB_UCS_TBL_type;

typedef struct CDB_APPID_TBL_type {
    char *name;
    char *handle;
    uint8_t flags;
    CDB_TABLE_LINKS links;
} CDB_APPID_TBL_type;

typedef struct CDB_DIMSTYLE_TBL_type {
    char *name;
    char *handle;
    uint8_t flags;
    char *dimpost;
    char *dimapost;
    char *dimblk;
    char *dimblk1;
    char *dimblk2;
    int16_t entry_code;
    double dimscale;
    double dimasz;
    double dimexo;
    double dimdli;
    double dimexe;
    double dimrnd;
    double dimdle;
    double dimtp;
    double dimtm;
    double dimtxt;
    double dimcen;
    double dimtsz;
    double dimaltf;
    double dimlfac;
    double dimtvp;
    double dimtfac;
    double dimgap;
    int16_t dimtol;
    int16_t dimlim;
    int16_t dimtih;
    int16_t dimtoh;
    int16_t dimse1;
    int16_t dimse2;
    int16_t dimtad;
    int16_t dimzin;
    int16_t dimalt;
    int16_t dimaltd;
    int16_t dimtofl;
    int16_t dimsah;
    int16_t dimtix;
    int16_t dimsoxd;
    int16_t dimclrd;
    int16_t dimclre;
    int16_t dimclrt;
    int16_t dimunit;
    int16_t dimdec;
    int16_t dimtdec;
    int16_t dimaltu;
    int16_t dimalttd;
    char *dimtxsty;
    int16_t dimaunit;
    int16_t dimjust;
    int16_t dimsd1;
    int16_t dimsd2;
    int16_t dimtolj;
    int16_t dimtzin;
    int16_t dimaltz;
    int16_t dimalttz;
    int16_t dimfit;
    int16_t dimupt;
    CDB_TABLE_LINKS links;
} CDB_DIMSTYLE_TBL_type;

typedef struct CDB_MLINESTYLE_ELEMENT {
    double offset;
    int16_t color;
    char *line_type_handle;
    int16_t line_type_index;
} CDB_MLINESTYLE_ELEMENT;

typedef struct CDB_MLINESTYLE_TBL_type {
    char *name;
    char *handle;
    double start_angle;
    double end_angle;
    int16_t flags;
    int16_t fill_color;
    char *description;
    int16_t element_count;
    CDB_MLINESTYLE_ELEMENT *elements;
} CDB_MLINESTYLE_TBL_type;

/* The links of a release 13 block table entry: seven references and a count. */
typedef struct CDB_BLOCK_LINKS {
    CHandleRef refs[7];
    int16_t ref_count;
} CDB_BLOCK_LINKS;

typedef struct CDB_BLOCK_TBL {
    uint8_t flags;
    char *handle;
    CDB_BLOCK_LINKS links;
    char *name;
} CDB_BLOCK_TBL;

/* ---- Header variables ------------------------------------------------------------- */

typedef struct CDB_HEADER_type {
    char *acadver;
    double angbase;
    int16_t angdir;
    int16_t attdia;
    int16_t attmode;
    int16_t attreq;
    int16_t aunits;
    int16_t auprec;
    int16_t axismode;
    CDB_POINT2 axisunit;
    int16_t blipmode;
    int16_t cecolor;
    double celtscale;
    int16_t celtype;
    char *hceltype;
    double chamfera;
    double chamferb;
    double chamferc;
    double chamferd;
    int16_t clayer;
    char *hclayer;
    int16_t cmljust;
    char *hcmlstyle;
    int16_t cmlstyle;
    double cmlscale;
    int16_t coords;
    int16_t corrected;
    int16_t delobj;
    int16_t dimalt;
    int16_t dimaltd;
    int16_t dimalttd;
    double dimaltf;
    int16_t dimaltu;
    int16_t dimaltz;
    int16_t dimalttz;
    char *dimapost;
    int16_t dimaso;
    double dimasz;
    char *dimblk;
    char *dimblk1;
    char *dimblk2;
    double dimcen;
    int16_t dimclrd;
    int16_t dimclre;
    int16_t dimclrt;
    int16_t dimdec;
    int16_t dimtdec;
    double dimdle;
    double dimdli;
    double dimexe;
    double dimexo;
    int16_t dimfit;
    double dimgap;
    int16_t dimjust;
    double dimlfac;
    int16_t dimlim;
    char *dimpost;
    double dimrnd;
    int16_t dimsah;
    double dimscale;
    int16_t dimsd1;
    int16_t dimsd2;
    int16_t dimse1;
    int16_t dimse2;
    int16_t dimsho;
    int16_t dimsoh;
    int16_t dimsoxd;
    int16_t dimstyle;
    char *hdimstyle;
    int16_t dimtad;
    double dimtfac;
    int16_t dimtih;
    int16_t dimtix;
    double dimtm;
    int16_t dimtofl;
    int16_t dimtoh;
    int16_t dimtol;
    int16_t dimtolj;
    double dimtp;
    double dimtsz;
    double dimtvp;
    double dimtxt;
    char *hdimtxsty;
    int16_t dimtxsty;
    int16_t dimupt;
    int16_t dimunit;
    int16_t dimaunit;
    int16_t dimzin;
    int16_t dimtzin;
    int16_t dispsilh;
    int16_t dragmode;
    char *dwgcodepage;
    double elevation;
    CDB_POINT3 extmax;
    CDB_POINT3 extmin;
    int16_t fastzoom;
    double filletrad;
    int16_t fillmode;
    int16_t gridmode;
    CDB_POINT2 gridunit;
    int16_t handling;
    char *handseed;
    CDB_POINT3 insbase;
    int16_t limcheck;
    CDB_POINT2 limmax;
    CDB_POINT2 limmin;
    double ltscale;
    int16_t lunits;
    int16_t luprec;
    int16_t maxactvp;
    char *menu;
    int16_t mirrtext;
    int16_t orthomode;
    int16_t osmode;
    int16_t pdmode;
    double pdsize;
    double pelevation;
    CDB_POINT3 pextmax;
    CDB_POINT3 pextmin;
    int16_t pickstyle;
    int16_t plimcheck;
    CDB_POINT2 plimmax;
    CDB_POINT2 plimmin;
    int16_t plinegen;
    double plinewid;
    int16_t psltscale;
    int16_t pucsname;
    char *hpucsname;
    CDB_POINT3 pucsorg;
    CDB_POINT3 pucsxdir;
    CDB_POINT3 pucsydir;
    int16_t qtextmode;
    int16_t regenmode;
    int16_t saveimages;
    int16_t shadedge;
    int16_t shadedif;
    double sketchinc;
    int16_t skpoly;
    double snapang;
    CDB_POINT2 snapbase;
    int16_t snapisopair;
    int16_t snapmode;
    int16_t snapstyle;
    CDB_POINT2 snapunit;
    int16_t splframe;
    int16_t splinesegs;
    int16_t splinetype;
    int16_t surftab1;
    int16_t surftab2;
    int16_t surftype;
    int16_t surfu;
    int16_t surfv;
    double tdcreate;
    double tdindwg;
    double tdupdate;
    double tdusrtimer;
    double textsize;
    int16_t textstyle;
    char *htextstyle;
    double thickness;
    int16_t tilemode;
    double tracewid;
    int16_t ucsname;
    char *hucsname;
    CDB_POINT3 ucsorg;
    CDB_POINT3 ucsxdir;
    CDB_POINT3 ucsydir;
    int16_t unitmode;
    int16_t userivar1;
    int16_t userivar2;
    int16_t userivar3;
    int16_t userivar4;
    int16_t userivar5;
    /* the real user variables: reachable only through the whole record */
    double userrvar1;
    double userrvar2;
    double userrvar3;
    double userrvar4;
    double userrvar5;
    int16_t usrtimer;
    CDB_POINT2 viewctr;
    CDB_POINT3 viewdir;
    double viewsize;
    int16_t visretain;
    int16_t worldview;
    int16_t treedepth;
    int16_t flatland;
    int16_t cvport;
    CDB_POINT3 pinsbase;
} CDB_HEADER_type;

/* Type codes of CDBGetVariableValue */
#define CDB_VAR_UNKNOWN 0
#define CDB_VAR_INT16 2
#define CDB_VAR_REAL 4
#define CDB_VAR_POINT2 5
#define CDB_VAR_POINT3 6
#define CDB_VAR_TEXT 7
#define CDB_VAR_HANDLE 8

typedef union CDB_VAR_VALUE_type {
    int16_t int_value;
    double real_value;
    CDB_POINT2 point2_value;
    CDB_POINT3 point3_value;
    char text[64];
} CDB_VAR_VALUE_type;

/* ---- Extended entity data --------------------------------------------------------- */

typedef struct CDB_EED_type {
    uint8_t *data;
    uint16_t size;
    uint16_t position;
} CDB_EED_type;

typedef union CDB_EED_VALUES {
    char text[512];
    int16_t short_value;
    int32_t long_value;
    double real_value;
    CDB_POINT3 point_value;
} CDB_EED_VALUES;

/* ---- TrueType glyphs -------------------------------------------------------------- */

typedef struct FNT_POINT {
    int16_t x;
    int16_t y;
    int16_t on_curve;
} FNT_POINT;

typedef struct user_compGlyfData {
    int16_t transform_kind;
    int16_t argument_1;
    int16_t argument_2;
    double scale;
    double x_scale;
    double scale_01;
    double scale_10;
    double y_scale;
} user_compGlyfData;

#pragma pack(pop)

/* ---- Open and close --------------------------------------------------------------- */

int16_t CDBStartFileReading(const char *name, const char *search_path);
int16_t CDBGetDrawingFileInfo(const char *name, CDB_FILE_INFO *info);
int16_t CDBEndOperation(int16_t h);
int16_t CDBNew(const char *template_name, const char *new_name);
int16_t CDBGetAutoCADVersion(int16_t h);
int16_t CDBGetDrawingFileName(int16_t h, char *buffer);

/* ---- Errors ----------------------------------------------------------------------- */

int16_t CDBGetError(int16_t h, char *buffer, int16_t size);
int16_t CDBGetErrorNumber(int16_t h);
int16_t CDBGetErrorMessage(int16_t code, char *buffer, int16_t size);
int16_t CDBGetReadError(int16_t h, char *buffer, int16_t size);
int16_t CDBGetReadErrorNumber(int16_t h);
int16_t CDBGetReadErrorMessage(int16_t code, char *buffer, int16_t size);

/* ---- Reading and writing options, beyond the original interface ------------------- */

/*
 * Process-wide, like the other settings, and off at the start: with no option set, every
 * reader and writer behaves as the original library did. CDBSetReadOptions and
 * CDBSetWriteOptions replace the whole set and return the set in force before the call; a
 * drawing keeps the read options in force when it is opened, a save takes the write
 * options in force when it starts.
 *
 * The read options let the readers take tolerant roads through files that real programs
 * wrote and the original reader refuses or misreads:
 *   CDB_READ_ANY_OBJECT_ORDER   release 13 DWG objects in any order, found through the object
 *                               map and the block headers' entity chains;
 *   CDB_READ_FULL_BINARY_CODES  the complete group code table in binary release 12 DXF
 *                               (dimension variables, extended data, codes 90 to 99, 100
 *                               and 270 to 279);
 *   CDB_READ_COMMENTS           999 comment groups wherever a group may stand, also before
 *                               the first section;
 *   CDB_READ_LONG_NAMES         table and block names longer than a release 12 record holds,
 *                               kept whole;
 *   CDB_READ_OBJECT_HEADS       release 13 object heads as real files lay them out: reactors
 *                               and extended data of entities, table records and block
 *                               headers, and the fields the original reader skips.
 * CDB_READ_TOLERANT is all of them. CDBGetTolerantReads tells which roads the reading of an
 * open drawing has taken so far: the file would have been refused or misread without them.
 *
 * The write options give the files the forms that other programs expect:
 *   CDB_WRITE_SECTION_MARKS     release 12 DWG sections followed by the marks that real files
 *                               carry, where the original writer leaves zero bytes;
 *   CDB_WRITE_REAL_CRCS         release 13 DWG checksums computed, where the original writer
 *                               writes fixed values;
 *   CDB_WRITE_STRICT_DXF        DXF that strict readers take: no group 73 of 0 on a VERTEX,
 *                               $DWGCODEPAGE never empty, no block without a name.
 * CDB_WRITE_INTEROPERABLE is all of them.
 */
#define CDB_READ_ANY_OBJECT_ORDER 0x0001
#define CDB_READ_FULL_BINARY_CODES 0x0002
#define CDB_READ_COMMENTS 0x0004
#define CDB_READ_LONG_NAMES 0x0008
#define CDB_READ_OBJECT_HEADS 0x0010
#define CDB_READ_TOLERANT 0x001F

#define CDB_WRITE_SECTION_MARKS 0x0001
#define CDB_WRITE_REAL_CRCS 0x0002
#define CDB_WRITE_STRICT_DXF 0x0004
#define CDB_WRITE_INTEROPERABLE 0x0007

int32_t CDBSetReadOptions(int32_t options);
int32_t CDBGetReadOptions(void);
int32_t CDBSetWriteOptions(int32_t options);
int32_t CDBGetWriteOptions(void);
/* The CDB_READ_ bits of the roads the reading of drawing h has taken; -123 for a handle
   that is not open. */
int32_t CDBGetTolerantReads(int16_t h);

/* ---- Tables: size, read, search, edit --------------------------------------------- */

#define CDB_DECLARE_TABLE_READ(T, REC)                                                             \
    int16_t CDB##T##TableCount(int16_t h);                                                         \
    int16_t CDB##T##TableGet(int16_t h, int16_t index, REC *record);                               \
    int16_t CDB##T##TableFind(int16_t h, const char *name);

#define CDB_DECLARE_TABLE_EDIT(T, REC)                                                             \
    int16_t CDB##T##TableDefault(REC *record);                                                     \
    int16_t CDB##T##TableAdd(int16_t h, REC *record);                                              \
    int16_t CDB##T##TableModify(int16_t h, int16_t index, REC *record);                            \
    int16_t CDB##T##TableDelete(int16_t h, int16_t index);

CDB_DECLARE_TABLE_READ(Block, CDB_BLOCK_TBL)
CDB_DECLARE_TABLE_READ(Layer, CDB_LAYER_TBL_type)
CDB_DECLARE_TABLE_READ(LineType, CDB_LTYPE_TBL_type)
CDB_DECLARE_TABLE_READ(Style, CDB_STYLE_TBL_type)
CDB_DECLARE_TABLE_READ(Vport, CDB_VPORT_TBL_type)
CDB_DECLARE_TABLE_READ(View, CDB_VIEW_TBL_type)
CDB_DECLARE_TABLE_READ(UCS, CDB_UCS_TBL_type)
CDB_DECLARE_TABLE_READ(Appid, CDB_APPID_TBL_type)
CDB_DECLARE_TABLE_READ(DimStyle, CDB_DIMSTYLE_TBL_type)
CDB_DECLARE_TABLE_READ(MLineStyle, CDB_MLINESTYLE_TBL_type)

CDB_DECLARE_TABLE_EDIT(Layer, CDB_LAYER_TBL_type)
CDB_DECLARE_TABLE_EDIT(LineType, CDB_LTYPE_TBL_type)
CDB_DECLARE_TABLE_EDIT(Style, CDB_STYLE_TBL_type)
CDB_DECLARE_TABLE_EDIT(Vport, CDB_VPORT_TBL_type)
CDB_DECLARE_TABLE_EDIT(View, CDB_VIEW_TBL_type)
CDB_DECLARE_TABLE_EDIT(UCS, CDB_UCS_TBL_type)
CDB_DECLARE_TABLE_EDIT(Appid, CDB_APPID_TBL_type)
CDB_DECLARE_TABLE_EDIT(DimStyle, CDB_DIMSTYLE_TBL_type)

/* ---- Blocks ----------------------------------------------------------------------- */

int16_t CDBGetFirstBlock(int16_t h, CDB_STARTBLOCK_ENTITY_type *block);
int16_t CDBGetNextBlock(int16_t h, CDB_STARTBLOCK_ENTITY_type *block);
int16_t CDBGetCurrentBlock(int16_t h, CDB_STARTBLOCK_ENTITY_type *block);
int16_t CDBBlockGet(int16_t h, int16_t index, CDB_STARTBLOCK_ENTITY_type *block);
int16_t CDBBlockAdd(int16_t h, CDB_STARTBLOCK_ENTITY_type *block);
int16_t CDBBlockDefault(int16_t h, CDB_STARTBLOCK_ENTITY_type *block);
int16_t CDBBlockModify(int16_t h, int16_t index, CDB_STARTBLOCK_ENTITY_type *block);
int16_t CDBBlockDelete(int16_t h, int16_t index);

/* ---- Entity walk, filters, ids, viewports ----------------------------------------- */

int16_t CDBEntityCount(int16_t h, int16_t block);
int32_t CDBFirstEntity(int16_t h, int16_t block);
int32_t CDBNextEntity(int16_t h);
int32_t CDBGetCurrentEntity(int16_t h, CDB_ENTITY *entity);
int32_t CDBGetNextEntity(int16_t h, CDB_ENTITY *entity);
int16_t CDBGotoEntity(int16_t h, int32_t id);
int16_t CDBGetEntity(int16_t h, int32_t id, CDB_ENTITY *entity);
int16_t CDBNavigate(int16_t h, CDB_ENTITY *entity);

int16_t CDBLayerFilter(int16_t h, int16_t bits);
int16_t CDBSpaceFilter(int16_t h, int16_t bits);
int16_t CDBResetFilter(int16_t h);
int16_t CDBCheckEntityFiltering(int16_t h, CDB_ENTITY *entity);

int32_t CDBPackEntityId(int16_t block, uint16_t position);
int16_t CDBUnpackEntityId(int32_t id, uint16_t *position, int16_t *block);

int16_t CDBGetFirstViewport(int16_t h, CDB_ENTITY *entity);
int16_t CDBGetNextViewport(int16_t h, CDB_ENTITY *entity);

/* ---- Extended data ---------------------------------------------------------------- */

int16_t CDBGetEED(int16_t h, CDB_ENTITY *entity, CDB_EED_type *cursor);
int16_t CDBEEDGetFirstAppid(int16_t h, CDB_EED_type *cursor);
int16_t CDBEEDGetNextAppid(int16_t h, CDB_EED_type *cursor);
int16_t CDBEEDGetFirstValue(int16_t h, CDB_EED_type *cursor, CDB_EED_VALUES *value);
int16_t CDBEEDGetNextValue(int16_t h, CDB_EED_type *cursor, CDB_EED_VALUES *value);

/* ---- Header variables ------------------------------------------------------------- */

int16_t CDBGetAllVariables(int16_t h, CDB_HEADER_type *header);
int16_t CDBGetVariableValue(int16_t h, const char *name, CDB_VAR_VALUE_type *value);
int16_t CDBSetAllVariables(int16_t h, CDB_HEADER_type *header);
int16_t CDBSetVariableValue(int16_t h, const char *name, CDB_VAR_VALUE_type *value);

/* ---- Entity edit and saving ------------------------------------------------------- */

int16_t CDBEntityDefault(int16_t h, CDB_ENTITY *entity, int16_t type);
int32_t CDBEntityAdd(int16_t h, int16_t block, CDB_ENTITY *entity);
int16_t CDBEntityModify(int16_t h, int32_t id, CDB_ENTITY *entity);
int16_t CDBEntityDelete(int16_t h, int32_t id);
int16_t CDBEntityDeleteCurrent(int16_t h);

int16_t CDBSave(int16_t h);
int16_t CDBSaveAsDWG(int16_t h, const char *name);
int16_t CDBSaveAsDXF(int16_t h, const char *name, int16_t binary);

/* ---- External references ---------------------------------------------------------- */

int16_t CDBGetXREFPath(int16_t h, int16_t block_index, char *buffer);
int16_t CDBResolveXREF(int16_t h, int16_t block_index);
int16_t CDBResolveAllXREF(int16_t h);

/* ---- Shapes ----------------------------------------------------------------------- */

int16_t CDBGetShapeName(int16_t h, int16_t style_index, int16_t shape_number, char *buffer);
int16_t CDBGetShapeData(int16_t h, int16_t style_index, int16_t shape_number, char *buffer);
int16_t CDBGetShapeNameFromEntity(int16_t h, CDB_SHAPE_ENTITY_type *shape, char *buffer);
int16_t CDBGetShapeDataFromEntity(int16_t h, CDB_SHAPE_ENTITY_type *shape, char *buffer);
int16_t CDBGetShapeId(int16_t h, int16_t *style_index, int16_t *shape_number, const char *name);
int16_t CDBGetEntityShapeId(int16_t h, CDB_SHAPE_ENTITY_type *shape, const char *name);
/* The shape table slot of the font of text style `style_index`: the style index that
   CDBGetShapeData and CDBGetShapeName take for the characters of a text in that style.
   -123 for a style outside the table or one whose font was found nowhere. */
int16_t CDBGetStyleShapeIndex(int16_t h, int16_t style_index);

/* ---- TrueType fonts --------------------------------------------------------------- */

int16_t InitFont(int16_t drawing, const char *path);
int16_t ExitFont(int16_t drawing, int16_t font);
int16_t SetCurrentChar(int16_t drawing, int16_t font, uint16_t code);
int16_t GetWidth(int16_t drawing, int16_t font, uint16_t *advance, int16_t *left_bearing);
int16_t SetGlyf(int16_t drawing, int16_t font, int16_t number);
int16_t GetGlyfData(int16_t drawing, int16_t font, user_compGlyfData *data);
int16_t GetContourCount(int16_t drawing, int16_t font);
int16_t GetPointCount(int16_t drawing, int16_t font);
int16_t GetFirstEndPoint(int16_t drawing, int16_t font);
int16_t GetNextEndPoint(int16_t drawing, int16_t font);
int16_t GetFirstPoint(int16_t drawing, int16_t font, FNT_POINT *point);
int16_t GetNextPoint(int16_t drawing, int16_t font, FNT_POINT *point);

#ifdef __cplusplus
} /* extern "C" */

/* ---- The façade, for C++ applications --------------------------------------------- */

class CBaseDrawing;
class CShapeTable;

/*
 * One open drawing. An application may own one directly and derive from it: in view
 * mode (view_flag not 0) every decoded entity goes to EntityCall, every entity of a
 * block to BlockCall, and is not kept.
 */
class CLibDrawing {
public:
    explicit CLibDrawing(int view_flag);
    virtual ~CLibDrawing();

    virtual void EntityCall(void *record);
    virtual void BlockCall(void *record);
    virtual void UpdateAllTables();

    int OpenDrawing(const char *name, const char *search_path);
    int OpenDWGFile(const char *name, CDB_OPEN_MODE mode, const char *search_path);
    int OpenDXFFile(const char *name, CDB_OPEN_MODE mode, const char *search_path);
    int LoadDWG();
    int LoadDXF();
    int TriggerLoading();
    int PrepareForView();
    /* 1 once the drawing has met an entity of paper space. */
    int IsAnyPaperSpace();
    /* The viewport chain: 1 when a viewport was copied into `record`, else 0. */
    int GetFirstViewport(CDB_ENTITY *record);
    int GetNextViewport(CDB_ENTITY *record);
    void LoadEntities();
    CDB_STARTBLOCK_ENTITY_type *LoadBlock(int index);
    int CloseDWGFile();
    short GetError();
    void SetError(short code);
    void AddToDeleteList(CBaseDrawing *child);
    /* 1 when the delete list has no room for another child drawing. */
    int DeleteListFull() const;
    CShapeTable *GetShapeTablePtr();
    int ViewFlag();

    /* The drawing behind the façade; null until an open has succeeded. */
    CBaseDrawing *Drawing() { return drawing; }
    int16_t LayerFlags() const { return layer_flags; }
    int16_t SpaceFlags() const { return space_flags; }
    void SetLayerFlags(int16_t bits) { layer_flags = bits; }
    void SetSpaceFlags(int16_t bits) { space_flags = bits; }

    CLibDrawing(const CLibDrawing &) = delete;
    CLibDrawing &operator=(const CLibDrawing &) = delete;

private:
    int16_t error;
    int32_t view_flag;
    int16_t layer_flags;
    int16_t space_flags;
    CBaseDrawing *delete_list[256];
    CBaseDrawing *drawing;
};

#endif /* __cplusplus */

#endif /* VELKOW32_H */
