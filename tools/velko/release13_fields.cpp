// What velko dump prints of a release 13 record beyond its kind's fields: the common fields
// of release 13, the link block, and the kinds' blocks of data.
#include "record_fields.h"

namespace {

std::string HandleRefJson(CHandleRef ref) {
    return "[" + std::to_string(ref.code) + ", " + std::to_string(ref.value) + "]";
}

// The link block as one JSON object, in the order the record holds it.
std::string LinkBlockJson(const CDB_ENTITY &r) {
    Report links;
    links.Add("owner", HandleRefJson(r.owner), "");
    links.AddInt("object_bits", static_cast<long>(r.object_bits));
    links.Add("dictionary", HandleRefJson(r.dictionary), "");
    links.Add("previous", HandleRefJson(r.previous), "");
    links.Add("next", HandleRefJson(r.next), "");
    links.AddInt("no_links", static_cast<long>(r.no_links));
    links.AddInt("line_type_bylayer", static_cast<long>(r.line_type_bylayer));
    links.AddInt("has_owner", static_cast<long>(r.has_owner));
    links.AddInt("has_graphic", static_cast<long>(r.has_graphic));
    links.AddInt("reserved_bit_1", static_cast<long>(r.reserved_bit_1));
    links.AddInt("reserved_bit_2", static_cast<long>(r.reserved_bit_2));
    links.AddInt("mode_model", static_cast<long>(r.mode_model));
    links.AddInt("mode_paper", static_cast<long>(r.mode_paper));
    return links.Json();
}

// "[a, b]" and "a, b" of `count` doubles at `values` (none when the pointer is null).
void AppendNumbers(const double *values, int count, std::string *json, std::string *text) {
    *json += "[";
    for (int i = 0; values && i < count; ++i) {
        const std::string value = FormatNumber(ReadAt<double>(values + i));
        *json += (i ? ", " : "") + value;
        *text += (i ? ", " : "") + value;
    }
    *json += "]";
}

std::string PointJson(CDB_POINT3 p) {
    return "[" + FormatNumber(p.x) + ", " + FormatNumber(p.y) + ", " + FormatNumber(p.z) + "]";
}

// One vertex of a multiline with the parameters of its `line_count` lines.
void AppendMlineVertex(const CDB_MLINE_VERTEX &v, int line_count, std::string *json,
                       std::string *text) {
    *json += "{\"location\": " + PointJson(v.location) +
             ", \"direction\": " + PointJson(v.direction) +
             ", \"miter_direction\": " + PointJson(v.miter_direction) + ", \"lines\": [";
    *text += "(at " + PointJson(v.location) + " along " + PointJson(v.direction) + " miter " +
             PointJson(v.miter_direction) + " lines";
    for (int l = 0; v.lines && l < line_count; ++l) {
        const CDB_MLINE_LINE line = ReadAt<CDB_MLINE_LINE>(v.lines + l);
        *json += std::string(l ? ", " : "") + "{\"segment_parameters\": ";
        *text += " [segments ";
        AppendNumbers(line.segment_parameters, line.segment_parameter_count, json, text);
        *json += ", \"fill_parameters\": ";
        *text += "; fill ";
        AppendNumbers(line.fill_parameters, line.fill_parameter_count, json, text);
        *json += "}";
        *text += "]";
    }
    *json += "]}";
    *text += ")";
}

void AddMlineVertices(Report &report, const CDB_MLINE_type &m) {
    std::string json = "[", text;
    for (int i = 0; m.vertices && i < m.vertex_count; ++i) {
        json += i ? ", " : "";
        text += i ? " " : "";
        AppendMlineVertex(ReadAt<CDB_MLINE_VERTEX>(m.vertices + i), m.line_count, &json, &text);
    }
    report.Add("vertices", json + "]", text.empty() ? "(none)" : text);
}

// A block of data as its size and its first bytes in hexadecimal.
void AddData(Report &report, const uint8_t *data, size_t size) {
    report.AddInt("data_bytes", data ? static_cast<long>(size) : 0);
    const size_t shown = data ? (size < kDataPreviewBytes ? size : kDataPreviewBytes) : 0;
    const std::string preview = Hex(data, shown) + (shown < size ? "..." : "");
    report.AddText("data_preview", preview.c_str());
}

// The modeler data ends at its first zero byte.
size_t ModelerSize(const uint8_t *data) {
    return data ? std::strlen(reinterpret_cast<const char *>(data)) : 0;
}

} // namespace

void AddRelease13Common(Report &report, const CDB_ENTITY &r, bool json) {
    if (!r.layer_handle)
        return;
    report.AddText("layer_handle", r.layer_handle);
    report.AddText("line_type_handle", r.line_type_handle);
    report.AddNumber("line_type_scale", r.line_type_scale);
    report.AddInt("invisibility", r.invisibility);
    if (json)
        report.Add("links", LinkBlockJson(r), "");
}

void AddRelease13Blocks(Report &report, const CDB_ENTITY &r) {
    switch (r.entity_type) {
    case CDB_MLINE:
        AddMlineVertices(report, r.mline);
        break;
    case CDB_REGION:
        AddData(report, r.region.data, ModelerSize(r.region.data));
        break;
    case CDB_BODY:
        AddData(report, r.body.data, ModelerSize(r.body.data));
        break;
    case CDB_3DSOLID:
        AddData(report, r.solid3d.data, ModelerSize(r.solid3d.data));
        break;
    case CDB_OLEFRAME:
        AddData(report, r.ole.data, r.ole.data_size > 0 ? static_cast<size_t>(r.ole.data_size) : 0);
        break;
    default:
        break;
    }
}
