// velko dump: every entity of a drawing with all the fields of its record and its
// extended data; with --blocks each block's record and entities too; with --navigate the
// display walk of CDBNavigate instead; with --xref every external reference is resolved
// first, so that the referenced drawing's entities are the content of its block. --json
// prints one object per line, in a stable key order, so that two drawings can be compared
// line by line.
#include "command_support.h"
#include "commands.h"
#include "interface/tool_support.h"
#include "json_writer.h"
#include "velkow32.h"

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

// A drawing's display walk that goes on for longer than this many entities is cut off.
constexpr long kMaxNavigateSteps = 10000000;

const char *Usage() {
    return "usage: velko dump FILE [--json] [--blocks] [--navigate] [--xref]\n";
}

const char *KindName(int kind) {
    return tool_support::EntityKindName(kind);
}

// The records are byte-packed: points are copied out before their address is taken.
void AddPoint3(Report &r, const char *key, CDB_POINT3 p) {
    double xyz[3] = {p.x, p.y, p.z};
    r.AddPoint(key, xyz, 3);
}
void AddPoint2(Report &r, const char *key, CDB_POINT2 p) {
    double xy[2] = {p.x, p.y};
    r.AddPoint(key, xy, 2);
}

std::string Hex(const uint8_t *bytes, size_t n) {
    static const char digits[] = "0123456789ABCDEF";
    std::string s;
    for (size_t i = 0; i < n; ++i) {
        s += digits[bytes[i] >> 4];
        s += digits[bytes[i] & 15];
    }
    return s;
}

std::string HexId(int32_t id) {
    char buffer[16];
    std::snprintf(buffer, sizeof buffer, "0x%08X", static_cast<unsigned>(id));
    return buffer;
}

// The extended data, value by value: [group, value] pairs (group = 1000 + code).
void AddEed(Report &report, int16_t h, CDB_ENTITY &r) {
    std::string json = "[", text;
    CDB_EED_type cursor;
    std::memset(&cursor, 0, sizeof cursor);
    if (r.eed_data && r.eed_size && CDBGetEED(h, &r, &cursor) == 0) {
        CDB_EED_VALUES v;
        bool first = true;
        // The walk moves on at every value; the bound guards against a cursor that does not.
        for (int n = 0; n < 65536; ++n) {
            const uint16_t at = first ? 0 : cursor.position;
            std::memset(&v, 0, sizeof v);
            int16_t code =
                first ? CDBEEDGetFirstValue(h, &cursor, &v) : CDBEEDGetNextValue(h, &cursor, &v);
            if (code < 0 || (!first && cursor.position <= at))
                break;
            std::string value_json, value_text;
            switch (code) {
            case 0:
                value_json = JsonString(v.text);
                value_text = value_json;
                break;
            case 4: {
                // The payload is a length byte and that many bytes, copied into `text`.
                size_t length = at + 1u < cursor.size ? cursor.data[at + 1] : 0;
                if (length > sizeof v.text)
                    length = sizeof v.text;
                value_text = Hex(reinterpret_cast<const uint8_t *>(v.text), length);
                value_json = "\"" + value_text + "\"";
                break;
            }
            case 5:
                value_json = JsonString(v.text);
                value_text = value_json;
                break;
            case 1:
            case 2:
            case 3:
            case 70:
                value_text = value_json = std::to_string(v.short_value);
                break;
            case 71:
                value_text = value_json = std::to_string(v.long_value);
                break;
            case 40:
            case 41:
            case 42:
                value_text = value_json = FormatNumber(v.real_value);
                break;
            case 10:
            case 11:
            case 12:
            case 13: {
                CDB_POINT3 p = v.point_value;
                value_json = "[" + FormatNumber(p.x) + ", " + FormatNumber(p.y) + ", " +
                             FormatNumber(p.z) + "]";
                value_text =
                    FormatNumber(p.x) + ", " + FormatNumber(p.y) + ", " + FormatNumber(p.z);
                break;
            }
            default:
                value_text = value_json = "null";
                break;
            }
            json += std::string(first ? "" : ", ") + "[" + std::to_string(1000 + code) + ", " +
                    value_json + "]";
            text += std::string(first ? "" : "; ") + std::to_string(1000 + code) + " " + value_text;
            first = false;
        }
    }
    report.Add("eed", json + "]", text.empty() ? "(none)" : text);
}

void AddCommon(Report &report, int16_t h, const CDB_ENTITY &r) {
    report.AddText("handle", r.handle);
    report.AddInt("layer", r.layer_index);
    CDB_LAYER_TBL_type layer;
    std::memset(&layer, 0, sizeof layer);
    int16_t found = CDBLayerTableGet(h, r.layer_index, &layer);
    report.AddText("layer_name", found == CDB_FAIL ? nullptr : layer.name);
    report.AddInt("line_type", r.line_type_index);
    report.AddInt("color", r.color);
    report.AddNumber("elevation", r.elevation);
    report.AddNumber("thickness", r.thickness);
    report.AddInt("space", r.space);
    AddPoint3(report, "extrusion", r.extrusion);
}

// How a record field is printed; chosen from the field's declared type by PrintOf.
enum class Print { kShort, kByte, kNumber, kText, kChars, kPoint2, kPoint3, kShorts };

template <typename T> struct PrintOf;
template <> struct PrintOf<int16_t> { static constexpr Print value = Print::kShort; };
template <> struct PrintOf<uint8_t> { static constexpr Print value = Print::kByte; };
template <> struct PrintOf<double> { static constexpr Print value = Print::kNumber; };
template <> struct PrintOf<char *> { static constexpr Print value = Print::kText; };
template <size_t N> struct PrintOf<char[N]> { static constexpr Print value = Print::kChars; };
template <> struct PrintOf<CDB_POINT2> { static constexpr Print value = Print::kPoint2; };
template <> struct PrintOf<CDB_POINT3> { static constexpr Print value = Print::kPoint3; };

// One field of a kind's part of the record: its key (the member's name), how it prints,
// where it stands in the part and how many bytes it takes. A list of shorts (a pointer)
// also says where its count stands.
struct Field {
    const char *key;
    Print print;
    size_t offset;
    size_t size;
    size_t count_offset;
};

template <typename T> constexpr Field FieldOf(const char *key, size_t offset) {
    return Field{key, PrintOf<T>::value, offset, sizeof(T), 0};
}

// A field of a record part, named by its member.
#define FIELD(part, member) FieldOf<decltype(part::member)>(#member, offsetof(part, member))

// Short names of the record parts, for the table below.
using Line = CDB_LINE_type;
using PointPart = CDB_POINT_type;
using Circle = CDB_CIRCLE_type;
using Shape = CDB_SHAPE_type;
using Text = CDB_TEXT_type;
using Arc = CDB_ARC_type;
using Trace = CDB_TRACE_type;
using Block = CDB_BLOCK_type;
using Insert = CDB_INSERT_type;
using Attdef = CDB_ATTDEF_type;
using Attrib = CDB_ATTRIB_type;
using Polyline = CDB_POLYLINE_type;
using Vertex = CDB_VERTEX_type;
using Face = CDB_3DFACE_type;
using Dimension = CDB_DIMENSION_type;
using Viewport = CDB_VIEWPORT_type;

// The fields of each kind's part, in the order they are printed.
const Field kLineFields[] = {FIELD(Line, start_point), FIELD(Line, end_point)};
const Field kPointFields[] = {FIELD(PointPart, location), FIELD(PointPart, x_axis_angle)};
const Field kCircleFields[] = {FIELD(Circle, center), FIELD(Circle, radius)};
const Field kShapeFields[] = {FIELD(Shape, insertion_point), FIELD(Shape, size),
                              FIELD(Shape, shape_number),    FIELD(Shape, shape_style_index),
                              FIELD(Shape, rotation),        FIELD(Shape, x_scale),
                              FIELD(Shape, oblique_angle)};
const Field kTextFields[] = {FIELD(Text, insertion_point),
                             FIELD(Text, height),
                             FIELD(Text, text),
                             FIELD(Text, rotation),
                             FIELD(Text, width_factor),
                             FIELD(Text, oblique_angle),
                             FIELD(Text, style_index),
                             FIELD(Text, generation_flags),
                             FIELD(Text, horizontal_justification),
                             FIELD(Text, vertical_justification),
                             FIELD(Text, alignment_point)};
const Field kArcFields[] = {FIELD(Arc, center), FIELD(Arc, radius), FIELD(Arc, start_angle),
                            FIELD(Arc, end_angle)};
const Field kTraceFields[] = {FIELD(Trace, corner_1), FIELD(Trace, corner_2),
                              FIELD(Trace, corner_3), FIELD(Trace, corner_4)};
const Field kBlockFields[] = {FIELD(Block, xref_path), FIELD(Block, name), FIELD(Block, name_2),
                              FIELD(Block, flags), FIELD(Block, base_point)};
const Field kInsertFields[] = {
    FIELD(Insert, attributes_follow), FIELD(Insert, block_index),  FIELD(Insert, insertion_point),
    FIELD(Insert, x_scale),           FIELD(Insert, y_scale),      FIELD(Insert, z_scale),
    FIELD(Insert, rotation),          FIELD(Insert, column_count), FIELD(Insert, row_count),
    FIELD(Insert, column_spacing),    FIELD(Insert, row_spacing)};
const Field kAttdefFields[] = {FIELD(Attdef, insertion_point),
                               FIELD(Attdef, height),
                               FIELD(Attdef, default_value),
                               FIELD(Attdef, prompt),
                               FIELD(Attdef, tag),
                               FIELD(Attdef, flags),
                               FIELD(Attdef, field_length),
                               FIELD(Attdef, rotation),
                               FIELD(Attdef, width_factor),
                               FIELD(Attdef, oblique_angle),
                               FIELD(Attdef, style_index),
                               FIELD(Attdef, generation_flags),
                               FIELD(Attdef, horizontal_justification),
                               FIELD(Attdef, vertical_justification),
                               FIELD(Attdef, alignment_point)};
const Field kAttribFields[] = {FIELD(Attrib, insertion_point),
                               FIELD(Attrib, height),
                               FIELD(Attrib, value),
                               FIELD(Attrib, tag),
                               FIELD(Attrib, flags),
                               FIELD(Attrib, field_length),
                               FIELD(Attrib, rotation),
                               FIELD(Attrib, width_factor),
                               FIELD(Attrib, oblique_angle),
                               FIELD(Attrib, style_index),
                               FIELD(Attrib, generation_flags),
                               FIELD(Attrib, horizontal_justification),
                               FIELD(Attrib, vertical_justification),
                               FIELD(Attrib, alignment_point)};
const Field kPolylineFields[] = {FIELD(Polyline, vertices_follow),
                                 FIELD(Polyline, origin),
                                 FIELD(Polyline, flags),
                                 FIELD(Polyline, start_width),
                                 FIELD(Polyline, end_width),
                                 FIELD(Polyline, mesh_m_count),
                                 FIELD(Polyline, mesh_n_count),
                                 FIELD(Polyline, smooth_m_density),
                                 FIELD(Polyline, smooth_n_density),
                                 FIELD(Polyline, curve_type)};
const Field kVertexFields[] = {FIELD(Vertex, location),
                               FIELD(Vertex, start_width),
                               FIELD(Vertex, end_width),
                               FIELD(Vertex, bulge),
                               FIELD(Vertex, flags),
                               FIELD(Vertex, tangent_direction),
                               FIELD(Vertex, polyface_index_1),
                               FIELD(Vertex, polyface_index_2),
                               FIELD(Vertex, polyface_index_3),
                               FIELD(Vertex, polyface_index_4)};
const Field kFaceFields[] = {FIELD(Face, corner_1), FIELD(Face, corner_2), FIELD(Face, corner_3),
                             FIELD(Face, corner_4), FIELD(Face, invisible_edges)};
const Field kDimensionFields[] = {FIELD(Dimension, text),
                                  FIELD(Dimension, block_index),
                                  FIELD(Dimension, dimstyle_index),
                                  FIELD(Dimension, definition_point),
                                  FIELD(Dimension, text_midpoint),
                                  FIELD(Dimension, clone_insertion_point),
                                  FIELD(Dimension, definition_point_2),
                                  FIELD(Dimension, definition_point_3),
                                  FIELD(Dimension, definition_point_4),
                                  FIELD(Dimension, arc_definition_point),
                                  FIELD(Dimension, leader_length),
                                  FIELD(Dimension, text_rotation),
                                  FIELD(Dimension, horizontal_direction),
                                  FIELD(Dimension, extension_line_rotation),
                                  FIELD(Dimension, oblique_angle),
                                  FIELD(Dimension, dimension_type)};
const Field kViewportFields[] = {FIELD(Viewport, view_center),
                                 FIELD(Viewport, snap_base),
                                 FIELD(Viewport, snap_spacing),
                                 FIELD(Viewport, grid_spacing),
                                 FIELD(Viewport, view_direction),
                                 FIELD(Viewport, view_target),
                                 FIELD(Viewport, view_height),
                                 FIELD(Viewport, aspect_ratio),
                                 FIELD(Viewport, lens_length),
                                 FIELD(Viewport, front_clip),
                                 FIELD(Viewport, back_clip),
                                 FIELD(Viewport, snap_angle),
                                 FIELD(Viewport, twist_angle),
                                 FIELD(Viewport, vx_index),
                                 FIELD(Viewport, viewport_id),
                                 FIELD(Viewport, view_mode),
                                 FIELD(Viewport, circle_zoom),
                                 FIELD(Viewport, fast_zoom),
                                 FIELD(Viewport, ucs_icon),
                                 FIELD(Viewport, snap_mode),
                                 FIELD(Viewport, grid_mode),
                                 FIELD(Viewport, snap_style),
                                 FIELD(Viewport, snap_isopair),
                                 FIELD(Viewport, center),
                                 FIELD(Viewport, width),
                                 FIELD(Viewport, height),
                                 FIELD(Viewport, eed_version),
                                 FIELD(Viewport, eed_application),
                                 FIELD(Viewport, data_version),
                                 FIELD(Viewport, hidden_in_plot),
                                 Field{"frozen_layers", Print::kShorts,
                                       offsetof(Viewport, frozen_layers), sizeof(int16_t *),
                                       offsetof(Viewport, frozen_layer_count)}};

#undef FIELD

// A kind, where its part stands in the record, and the part's fields.
struct KindFields {
    int16_t kind;
    size_t part_offset;
    const Field *fields;
    size_t count;
};

template <size_t N>
constexpr KindFields Kind(int16_t kind, size_t part_offset, const Field (&fields)[N]) {
    return KindFields{kind, part_offset, fields, N};
}

const KindFields kKinds[] = {
    Kind(CDB_LINE, offsetof(CDB_ENTITY, line), kLineFields),
    Kind(CDB_3DLINE, offsetof(CDB_ENTITY, line), kLineFields),
    Kind(CDB_POINT, offsetof(CDB_ENTITY, point), kPointFields),
    Kind(CDB_CIRCLE, offsetof(CDB_ENTITY, circle), kCircleFields),
    Kind(CDB_SHAPE, offsetof(CDB_ENTITY, shape), kShapeFields),
    Kind(CDB_TEXT, offsetof(CDB_ENTITY, text), kTextFields),
    Kind(CDB_ARC, offsetof(CDB_ENTITY, arc), kArcFields),
    Kind(CDB_TRACE, offsetof(CDB_ENTITY, trace), kTraceFields),
    Kind(CDB_SOLID, offsetof(CDB_ENTITY, trace), kTraceFields),
    Kind(CDB_BLOCK, offsetof(CDB_ENTITY, block), kBlockFields),
    Kind(CDB_INSERT, offsetof(CDB_ENTITY, insert), kInsertFields),
    Kind(CDB_ATTDEF, offsetof(CDB_ENTITY, attdef), kAttdefFields),
    Kind(CDB_ATTRIB, offsetof(CDB_ENTITY, attrib), kAttribFields),
    Kind(CDB_POLYLINE, offsetof(CDB_ENTITY, polyline), kPolylineFields),
    Kind(CDB_VERTEX, offsetof(CDB_ENTITY, vertex), kVertexFields),
    Kind(CDB_3DFACE, offsetof(CDB_ENTITY, face), kFaceFields),
    Kind(CDB_DIMENSION, offsetof(CDB_ENTITY, dimension), kDimensionFields),
    Kind(CDB_VIEWPORT, offsetof(CDB_ENTITY, viewport), kViewportFields),
};

// The record's bytes are read with memcpy: the record is byte-packed.
template <typename T> T ReadAt(const unsigned char *at) {
    T value;
    std::memcpy(&value, at, sizeof value);
    return value;
}

// "[a, b, ...]" and "a, b, ..." of a list of shorts, "(none)" as text when it is empty.
void AddShorts(Report &report, const char *key, const int16_t *values, int16_t count) {
    std::string json = "[", text;
    for (int i = 0; values && i < count; ++i) {
        const std::string value =
            std::to_string(ReadAt<int16_t>(reinterpret_cast<const unsigned char *>(values + i)));
        json += (i ? ", " : "") + value;
        text += (i ? ", " : "") + value;
    }
    report.Add(key, json + "]", text.empty() ? "(none)" : text);
}

void AddField(Report &report, const Field &field, const unsigned char *part) {
    const unsigned char *at = part + field.offset;
    switch (field.print) {
    case Print::kShort:
        report.AddInt(field.key, ReadAt<int16_t>(at));
        break;
    case Print::kByte:
        report.AddInt(field.key, ReadAt<uint8_t>(at));
        break;
    case Print::kNumber:
        report.AddNumber(field.key, ReadAt<double>(at));
        break;
    case Print::kText:
        report.AddText(field.key, ReadAt<const char *>(at));
        break;
    case Print::kChars:
        // A fixed field that need not end in a zero.
        report.AddText(field.key,
                       std::string(reinterpret_cast<const char *>(at), field.size).c_str());
        break;
    case Print::kPoint2:
        AddPoint2(report, field.key, ReadAt<CDB_POINT2>(at));
        break;
    case Print::kPoint3:
        AddPoint3(report, field.key, ReadAt<CDB_POINT3>(at));
        break;
    case Print::kShorts:
        AddShorts(report, field.key, ReadAt<const int16_t *>(at),
                  ReadAt<int16_t>(part + field.count_offset));
        break;
    }
}

// The fields of the record's kind; a kind without a row prints none.
void AddKind(Report &report, const CDB_ENTITY &r) {
    for (const KindFields &kind : kKinds) {
        if (kind.kind != r.entity_type)
            continue;
        const unsigned char *part = reinterpret_cast<const unsigned char *>(&r) + kind.part_offset;
        for (size_t i = 0; i < kind.count; ++i)
            AddField(report, kind.fields[i], part);
        return;
    }
}

struct Output {
    bool json = false;

    void Print(const Report &report) const {
        if (json) {
            std::printf("%s\n", report.Json().c_str());
        } else {
            report.PrintText(stdout, "  ");
        }
    }
};

// One entity: where it stands, its kind, the common part, its kind's fields, its data.
void PrintEntity(const Output &out, int16_t h, Report &report, CDB_ENTITY &r) {
    report.AddText("kind", KindName(r.entity_type));
    report.AddInt("type", r.entity_type);
    AddCommon(report, h, r);
    AddKind(report, r);
    AddEed(report, h, r);
    if (!out.json)
        std::printf("%s\n", KindName(r.entity_type));
    out.Print(report);
    // The texts that a list mode record hands to its caller are the kind's owned texts.
    tool_support::FreeEntityTexts(&r);
}

// The entities of one list, from its first to the end of the walk. 0, or the failure.
int DumpList(const Output &out, int16_t h, int16_t block) {
    int32_t id = CDBFirstEntity(h, block);
    if (id == CDB_FAIL)
        return CDB_FAIL;
    CDB_ENTITY r;
    std::memset(static_cast<void *>(&r), 0, sizeof r);
    id = id < 0 ? id : CDBGetCurrentEntity(h, &r);
    while (id >= 0) {
        Report report;
        report.AddText("section", block < 0 ? "entities" : "block");
        if (block >= 0)
            report.AddInt("block", block);
        report.Add("id", std::to_string(id), HexId(id));
        report.AddInt("position", id & 0xFFFF);
        if (!out.json)
            std::printf("%s ", HexId(id).c_str());
        PrintEntity(out, h, report, r);
        std::memset(static_cast<void *>(&r), 0, sizeof r);
        id = CDBGetNextEntity(h, &r);
    }
    return id == CDB_FAIL ? CDB_FAIL : 0;
}

int DumpBlocks(const Output &out, int16_t h) {
    CDB_STARTBLOCK_ENTITY_type b;
    std::memset(static_cast<void *>(&b), 0, sizeof b);
    int16_t status = CDBGetFirstBlock(h, &b);
    for (int16_t index = 0; status >= 0; ++index) {
        Report report;
        report.AddText("section", "block_record");
        report.AddInt("block", index);
        report.AddInt("status", status);
        report.AddText("name", b.name);
        report.AddText("name_2", b.name_2);
        report.AddText("xref_path", b.xref_path);
        report.AddInt("flags", b.flags);
        AddPoint3(report, "base_point", b.base_point);
        if (!out.json)
            std::printf("BLOCK %d%s\n", index, status == CDB_DELETED ? " (deleted)" : "");
        out.Print(report);
        std::free(b.name);
        std::free(b.name_2);
        std::free(b.xref_path);
        if (status == 0 && DumpList(out, h, index) == CDB_FAIL)
            return CDB_FAIL;
        std::memset(static_cast<void *>(&b), 0, sizeof b);
        status = CDBGetNextBlock(h, &b);
    }
    return status == CDB_FAIL ? CDB_FAIL : 0;
}

int DumpNavigate(const Output &out, int16_t h) {
    if (CDBFirstEntity(h, -1) == CDB_FAIL)
        return CDB_FAIL;
    CDB_ENTITY r;
    for (long step = 0; step < kMaxNavigateSteps; ++step) {
        std::memset(static_cast<void *>(&r), 0, sizeof r);
        int16_t result = CDBNavigate(h, &r);
        if (result == CDB_END_OF_WALK)
            return 0;
        if (result < 0)
            return result;
        Report report;
        report.AddText("section", "navigate");
        report.AddInt("step", step);
        report.AddInt("result", result);
        if (!out.json)
            std::printf("#%ld [%d] ", step, result);
        PrintEntity(out, h, report, r);
    }
    std::fprintf(stderr, "velko: the display walk was cut off after %ld entities\n",
                 kMaxNavigateSteps);
    return 0;
}

} // namespace

int RunDump(int argc, char **argv) {
    const char *file = nullptr;
    Output out;
    bool blocks = false, navigate = false, xref = false;
    for (int i = 0; i < argc; ++i) {
        if (std::strcmp(argv[i], "--json") == 0) {
            out.json = true;
        } else if (std::strcmp(argv[i], "--blocks") == 0) {
            blocks = true;
        } else if (std::strcmp(argv[i], "--navigate") == 0) {
            navigate = true;
        } else if (std::strcmp(argv[i], "--xref") == 0) {
            xref = true;
        } else if (!file && argv[i][0] != '-') {
            file = argv[i];
        } else {
            return WrongUsage(Usage());
        }
    }
    if (!file)
        return WrongUsage(Usage());
    int16_t h = CDBStartFileReading(file, nullptr);
    if (h == CDB_FAIL)
        return RefusedToOpen(file);

    // A reference that can't be found or read leaves its block as it was; only a drawing
    // whose tables can't be loaded fails here.
    int status = xref ? CDBResolveAllXREF(h) : 0;
    if (status == 0)
        status = navigate ? DumpNavigate(out, h) : DumpList(out, h, -1);
    if (status == 0 && blocks && !navigate)
        status = DumpBlocks(out, h);
    int16_t code = CDBGetErrorNumber(h);
    CDBEndOperation(h);
    if (status != 0)
        return Refused(file, code);
    return 0;
}
