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
#include "record_fields.h"
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

// The fields of the record's kind and what release 13 adds to it.
void AddKind(Report &report, const CDB_ENTITY &r) {
    if (const KindFields *kind = FindKindFields(r.entity_type))
        AddKindFields(report, *kind, r);
    AddRelease13Blocks(report, r);
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
    AddRelease13Common(report, r, out.json);
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
