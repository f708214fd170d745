// velko dump: every entity of a drawing with all the fields of its record and its
// extended data; with --blocks each block's record and entities too; with --navigate the
// display walk of CDBNavigate instead; with --xref every external reference is resolved
// first, so that the referenced drawing's entities are the content of its block. --json
// prints one object per line, in a stable key order, so that two drawings can be compared
// line by line.
#include "commands.h"
#include "interface/tool_support.h"
#include "json_writer.h"
#include "velkow32.h"

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

void AddKind(Report &report, const CDB_ENTITY &r) {
    switch (r.entity_type) {
    case CDB_LINE:
    case CDB_3DLINE:
        AddPoint3(report, "start_point", r.line.start_point);
        AddPoint3(report, "end_point", r.line.end_point);
        break;
    case CDB_POINT:
        AddPoint3(report, "location", r.point.location);
        report.AddNumber("x_axis_angle", r.point.x_axis_angle);
        break;
    case CDB_CIRCLE:
        AddPoint3(report, "center", r.circle.center);
        report.AddNumber("radius", r.circle.radius);
        break;
    case CDB_SHAPE:
        AddPoint3(report, "insertion_point", r.shape.insertion_point);
        report.AddNumber("size", r.shape.size);
        report.AddInt("shape_number", r.shape.shape_number);
        report.AddInt("shape_style_index", r.shape.shape_style_index);
        report.AddNumber("rotation", r.shape.rotation);
        report.AddNumber("x_scale", r.shape.x_scale);
        report.AddNumber("oblique_angle", r.shape.oblique_angle);
        break;
    case CDB_TEXT:
        AddPoint3(report, "insertion_point", r.text.insertion_point);
        report.AddNumber("height", r.text.height);
        report.AddText("text", r.text.text);
        report.AddNumber("rotation", r.text.rotation);
        report.AddNumber("width_factor", r.text.width_factor);
        report.AddNumber("oblique_angle", r.text.oblique_angle);
        report.AddInt("style_index", r.text.style_index);
        report.AddInt("generation_flags", r.text.generation_flags);
        report.AddInt("horizontal_justification", r.text.horizontal_justification);
        report.AddInt("vertical_justification", r.text.vertical_justification);
        AddPoint3(report, "alignment_point", r.text.alignment_point);
        break;
    case CDB_ARC:
        AddPoint3(report, "center", r.arc.center);
        report.AddNumber("radius", r.arc.radius);
        report.AddNumber("start_angle", r.arc.start_angle);
        report.AddNumber("end_angle", r.arc.end_angle);
        break;
    case CDB_TRACE:
    case CDB_SOLID:
        AddPoint3(report, "corner_1", r.trace.corner_1);
        AddPoint3(report, "corner_2", r.trace.corner_2);
        AddPoint3(report, "corner_3", r.trace.corner_3);
        AddPoint3(report, "corner_4", r.trace.corner_4);
        break;
    case CDB_BLOCK:
        report.AddText("xref_path", r.block.xref_path);
        report.AddText("name", r.block.name);
        report.AddText("name_2", r.block.name_2);
        report.AddInt("flags", r.block.flags);
        AddPoint3(report, "base_point", r.block.base_point);
        break;
    case CDB_INSERT:
        report.AddInt("attributes_follow", r.insert.attributes_follow);
        report.AddInt("block_index", r.insert.block_index);
        AddPoint3(report, "insertion_point", r.insert.insertion_point);
        report.AddNumber("x_scale", r.insert.x_scale);
        report.AddNumber("y_scale", r.insert.y_scale);
        report.AddNumber("z_scale", r.insert.z_scale);
        report.AddNumber("rotation", r.insert.rotation);
        report.AddInt("column_count", r.insert.column_count);
        report.AddInt("row_count", r.insert.row_count);
        report.AddNumber("column_spacing", r.insert.column_spacing);
        report.AddNumber("row_spacing", r.insert.row_spacing);
        break;
    case CDB_ATTDEF:
        AddPoint3(report, "insertion_point", r.attdef.insertion_point);
        report.AddNumber("height", r.attdef.height);
        report.AddText("default_value", r.attdef.default_value);
        report.AddText("prompt", r.attdef.prompt);
        report.AddText("tag", r.attdef.tag);
        report.AddInt("flags", r.attdef.flags);
        report.AddInt("field_length", r.attdef.field_length);
        report.AddNumber("rotation", r.attdef.rotation);
        report.AddNumber("width_factor", r.attdef.width_factor);
        report.AddNumber("oblique_angle", r.attdef.oblique_angle);
        report.AddInt("style_index", r.attdef.style_index);
        report.AddInt("generation_flags", r.attdef.generation_flags);
        report.AddInt("horizontal_justification", r.attdef.horizontal_justification);
        report.AddInt("vertical_justification", r.attdef.vertical_justification);
        AddPoint3(report, "alignment_point", r.attdef.alignment_point);
        break;
    case CDB_ATTRIB:
        AddPoint3(report, "insertion_point", r.attrib.insertion_point);
        report.AddNumber("height", r.attrib.height);
        report.AddText("value", r.attrib.value);
        report.AddText("tag", r.attrib.tag);
        report.AddInt("flags", r.attrib.flags);
        report.AddInt("field_length", r.attrib.field_length);
        report.AddNumber("rotation", r.attrib.rotation);
        report.AddNumber("width_factor", r.attrib.width_factor);
        report.AddNumber("oblique_angle", r.attrib.oblique_angle);
        report.AddInt("style_index", r.attrib.style_index);
        report.AddInt("generation_flags", r.attrib.generation_flags);
        report.AddInt("horizontal_justification", r.attrib.horizontal_justification);
        report.AddInt("vertical_justification", r.attrib.vertical_justification);
        AddPoint3(report, "alignment_point", r.attrib.alignment_point);
        break;
    case CDB_POLYLINE:
        report.AddInt("vertices_follow", r.polyline.vertices_follow);
        AddPoint3(report, "origin", r.polyline.origin);
        report.AddInt("flags", r.polyline.flags);
        report.AddNumber("start_width", r.polyline.start_width);
        report.AddNumber("end_width", r.polyline.end_width);
        report.AddInt("mesh_m_count", r.polyline.mesh_m_count);
        report.AddInt("mesh_n_count", r.polyline.mesh_n_count);
        report.AddInt("smooth_m_density", r.polyline.smooth_m_density);
        report.AddInt("smooth_n_density", r.polyline.smooth_n_density);
        report.AddInt("curve_type", r.polyline.curve_type);
        break;
    case CDB_VERTEX:
        AddPoint3(report, "location", r.vertex.location);
        report.AddNumber("start_width", r.vertex.start_width);
        report.AddNumber("end_width", r.vertex.end_width);
        report.AddNumber("bulge", r.vertex.bulge);
        report.AddInt("flags", r.vertex.flags);
        report.AddNumber("tangent_direction", r.vertex.tangent_direction);
        report.AddInt("polyface_index_1", r.vertex.polyface_index_1);
        report.AddInt("polyface_index_2", r.vertex.polyface_index_2);
        report.AddInt("polyface_index_3", r.vertex.polyface_index_3);
        report.AddInt("polyface_index_4", r.vertex.polyface_index_4);
        break;
    case CDB_3DFACE:
        AddPoint3(report, "corner_1", r.face.corner_1);
        AddPoint3(report, "corner_2", r.face.corner_2);
        AddPoint3(report, "corner_3", r.face.corner_3);
        AddPoint3(report, "corner_4", r.face.corner_4);
        report.AddInt("invisible_edges", r.face.invisible_edges);
        break;
    case CDB_DIMENSION:
        report.AddText("text", r.dimension.text);
        report.AddInt("block_index", r.dimension.block_index);
        report.AddInt("dimstyle_index", r.dimension.dimstyle_index);
        AddPoint3(report, "definition_point", r.dimension.definition_point);
        AddPoint3(report, "text_midpoint", r.dimension.text_midpoint);
        AddPoint3(report, "clone_insertion_point", r.dimension.clone_insertion_point);
        AddPoint3(report, "definition_point_2", r.dimension.definition_point_2);
        AddPoint3(report, "definition_point_3", r.dimension.definition_point_3);
        AddPoint3(report, "definition_point_4", r.dimension.definition_point_4);
        AddPoint3(report, "arc_definition_point", r.dimension.arc_definition_point);
        report.AddNumber("leader_length", r.dimension.leader_length);
        report.AddNumber("text_rotation", r.dimension.text_rotation);
        report.AddNumber("horizontal_direction", r.dimension.horizontal_direction);
        report.AddNumber("extension_line_rotation", r.dimension.extension_line_rotation);
        report.AddNumber("oblique_angle", r.dimension.oblique_angle);
        report.AddInt("dimension_type", r.dimension.dimension_type);
        break;
    case CDB_VIEWPORT: {
        const CDB_VIEWPORT_type &v = r.viewport;
        AddPoint2(report, "view_center", v.view_center);
        AddPoint2(report, "snap_base", v.snap_base);
        AddPoint2(report, "snap_spacing", v.snap_spacing);
        AddPoint2(report, "grid_spacing", v.grid_spacing);
        AddPoint3(report, "view_direction", v.view_direction);
        AddPoint3(report, "view_target", v.view_target);
        report.AddNumber("view_height", v.view_height);
        report.AddNumber("aspect_ratio", v.aspect_ratio);
        report.AddNumber("lens_length", v.lens_length);
        report.AddNumber("front_clip", v.front_clip);
        report.AddNumber("back_clip", v.back_clip);
        report.AddNumber("snap_angle", v.snap_angle);
        report.AddNumber("twist_angle", v.twist_angle);
        report.AddInt("vx_index", v.vx_index);
        report.AddInt("viewport_id", v.viewport_id);
        report.AddInt("view_mode", v.view_mode);
        report.AddInt("circle_zoom", v.circle_zoom);
        report.AddInt("fast_zoom", v.fast_zoom);
        report.AddInt("ucs_icon", v.ucs_icon);
        report.AddInt("snap_mode", v.snap_mode);
        report.AddInt("grid_mode", v.grid_mode);
        report.AddInt("snap_style", v.snap_style);
        report.AddInt("snap_isopair", v.snap_isopair);
        AddPoint3(report, "center", v.center);
        report.AddNumber("width", v.width);
        report.AddNumber("height", v.height);
        report.AddInt("eed_version", v.eed_version);
        char application[sizeof v.eed_application + 1] = {};
        std::memcpy(application, v.eed_application, sizeof v.eed_application);
        report.AddText("eed_application", application);
        report.AddInt("data_version", v.data_version);
        report.AddInt("hidden_in_plot", v.hidden_in_plot);
        std::string json = "[", text;
        int16_t count = v.frozen_layer_count;
        const int16_t *layers = v.frozen_layers;
        for (int i = 0; layers && i < count; ++i) {
            int16_t layer;
            std::memcpy(&layer, layers + i, sizeof layer);
            json += (i ? ", " : "") + std::to_string(layer);
            text += (i ? ", " : "") + std::to_string(layer);
        }
        report.Add("frozen_layers", json + "]", text.empty() ? "(none)" : text);
        break;
    }
    default:
        break;
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

int Refused(const char *file, int16_t code) {
    char message[64] = {};
    CDBGetErrorMessage(code, message, sizeof message - 1);
    std::fprintf(stderr, "velko: %s: %s (%d)\n", file, message, code);
    return 1;
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
            std::fputs(Usage(), stderr);
            return 2;
        }
    }
    if (!file) {
        std::fputs(Usage(), stderr);
        return 2;
    }
    int16_t h = CDBStartFileReading(file, nullptr);
    if (h == CDB_FAIL)
        return Refused(file, CDBGetErrorNumber(CDB_FAIL));

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
