// velko info: what kind of drawing a file is, its tables, its main header variables and
// its external references.
#include "command_support.h"
#include "commands.h"
#include "interface/tool_support.h"
#include "json_writer.h"
#include "velkow32.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

const char kUsage[] = "usage: velko info FILE [--json]\n";

struct TableCounter {
    const char *name;
    int16_t (*count)(int16_t);
};

const TableCounter kTables[] = {
    {"BLOCK", CDBBlockTableCount},       {"LAYER", CDBLayerTableCount},
    {"LTYPE", CDBLineTypeTableCount},    {"STYLE", CDBStyleTableCount},
    {"VPORT", CDBVportTableCount},       {"VIEW", CDBViewTableCount},
    {"UCS", CDBUCSTableCount},           {"APPID", CDBAppidTableCount},
    {"DIMSTYLE", CDBDimStyleTableCount}, {"MLINESTYLE", CDBMLineStyleTableCount},
};

// The header variables the report shows, by name, as the library answers them.
const char *const kVariables[] = {
    "acadver",  "dwgcodepage", "insbase",  "extmin",   "extmax", "limmin",  "limmax",   "ltscale",
    "textsize", "treedepth",   "handseed", "handling", "clayer", "celtype", "tilemode", "menu"};

void AddVariable(Report &report, int16_t h, const char *name) {
    CDB_VAR_VALUE_type value;
    std::memset(&value, 0, sizeof value);
    switch (CDBGetVariableValue(h, name, &value)) {
    case CDB_VAR_INT16:
        report.AddInt(name, value.int_value);
        break;
    case CDB_VAR_REAL:
        report.AddNumber(name, value.real_value);
        break;
    case CDB_VAR_POINT2:
        report.AddPoint(name, &value.point2_value.x, 2);
        break;
    case CDB_VAR_POINT3:
        report.AddPoint(name, &value.point3_value.x, 3);
        break;
    case CDB_VAR_TEXT:
    case CDB_VAR_HANDLE:
        value.text[sizeof value.text - 1] = 0;
        report.AddText(name, value.text);
        break;
    default:
        break;
    }
}

// Whether the file is a binary DXF: its first 255 bytes hold the binary sentinel, the
// test by which the library's open tells the two DXF forms apart.
bool IsBinaryDxf(const char *file) {
    char head[256] = {};
    std::FILE *f = std::fopen(file, "rb");
    if (!f)
        return false;
    size_t n = std::fread(head, 1, 255, f);
    std::fclose(f);
    static const char sentinel[] = "AutoCAD Binary DXF";
    const size_t length = sizeof sentinel - 1;
    for (size_t i = 0; i + length <= n; ++i) {
        if (std::memcmp(head + i, sentinel, length) == 0)
            return true;
    }
    return false;
}

// One external reference: the block that stands for it, the path stored in the drawing
// (null when the library gives none) and whether the file it names can be found.
struct Xref {
    std::string block;
    std::string path;
    bool has_path = false;
    bool found = false;
};

// The stored path of a reference block, or false when the library has none for it. The
// copy call takes no buffer size: the buffer is sized from the block's record, and never
// below the longest text a drawing file can hold, so that it can't be overrun.
bool StoredPath(int16_t h, int16_t index, std::string &path) {
    constexpr size_t kLongestFileText = 65535;
    CDB_STARTBLOCK_ENTITY_type block;
    std::memset(static_cast<void *>(&block), 0, sizeof block);
    if (CDBBlockGet(h, index, &block) != 0)
        return false;
    const size_t length = block.xref_path ? std::strlen(block.xref_path) : 0;
    std::free(block.xref_path);
    std::free(block.name);
    std::free(block.name_2);
    std::vector<char> buffer((length > kLongestFileText ? length : kLongestFileText) + 1, '\0');
    if (CDBGetXREFPath(h, index, buffer.data()) != 0)
        return false;
    buffer.back() = '\0';
    path = buffer.data();
    return true;
}

// Every block whose table record carries the reference bit, in table order. Nothing is
// resolved: found-ness is decided from the places resolving would try.
std::vector<Xref> ListXrefs(int16_t h, const char *file) {
    constexpr uint8_t kXrefFlag = 4;
    std::vector<Xref> xrefs;
    const int16_t count = CDBBlockTableCount(h);
    for (int16_t i = 0; i < count; ++i) {
        CDB_BLOCK_TBL record;
        std::memset(static_cast<void *>(&record), 0, sizeof record);
        if (CDBBlockTableGet(h, i, &record) != 0 || !(record.flags & kXrefFlag))
            continue;
        Xref xref;
        xref.block = record.name ? record.name : "";
        xref.has_path = StoredPath(h, i, xref.path);
        if (xref.has_path) {
            for (const std::string &place : tool_support::XrefCandidatePaths(file, xref.path))
                xref.found = xref.found || tool_support::DrawingFileExists(place);
        }
        xrefs.push_back(xref);
    }
    return xrefs;
}

std::string XrefsJson(const std::vector<Xref> &xrefs) {
    std::string json = "[";
    for (size_t i = 0; i < xrefs.size(); ++i) {
        const Xref &x = xrefs[i];
        json += std::string(i ? ", " : "") + "{\"block\": " + JsonString(x.block.c_str()) +
                ", \"path\": " + (x.has_path ? JsonString(x.path.c_str()) : "null") +
                ", \"found\": " + (x.found ? "true" : "false") + "}";
    }
    return json + "]";
}

void PrintXrefs(const std::vector<Xref> &xrefs) {
    for (const Xref &x : xrefs)
        std::printf("xref %s \"%s\" %s\n", x.block.c_str(), x.path.c_str(),
                    x.found ? "found" : "missing");
}

// The tolerant roads the reading of the drawing took, after its entities are loaded: the
// file would have been refused or misread without them.
struct ToleranceName {
    int32_t bit;
    const char *name;
};
constexpr ToleranceName kTolerances[] = {
    {CDB_READ_ANY_OBJECT_ORDER, "any object order"},
    {CDB_READ_FULL_BINARY_CODES, "full binary codes"},
    {CDB_READ_COMMENTS, "comments"},
    {CDB_READ_LONG_NAMES, "long names"},
    {CDB_READ_OBJECT_HEADS, "object heads"},
};

std::vector<const char *> TolerantReads(int16_t h) {
    CDBEntityCount(h, -1);
    const int32_t taken = CDBGetTolerantReads(h);
    std::vector<const char *> names;
    for (const ToleranceName &t : kTolerances)
        if (taken > 0 && (taken & t.bit))
            names.push_back(t.name);
    return names;
}

std::string TolerantReadsJson(const std::vector<const char *> &roads) {
    std::string json = "[";
    for (const char *name : roads)
        json += (json.size() > 1 ? ", " : "") + JsonString(name);
    return json + "]";
}

std::string TolerantReadsText(const std::vector<const char *> &roads) {
    std::string text;
    for (const char *name : roads)
        text += (text.empty() ? "" : ", ") + std::string(name);
    return text.empty() ? "none" : text;
}

} // namespace

int RunInfo(int argc, char **argv) {
    const char *file = nullptr;
    bool json = false;
    for (int i = 0; i < argc; ++i) {
        if (std::strcmp(argv[i], "--json") == 0) {
            json = true;
        } else if (!file && argv[i][0] != '-') {
            file = argv[i];
        } else {
            return WrongUsage(kUsage);
        }
    }
    if (!file)
        return WrongUsage(kUsage);

    CDB_FILE_INFO info;
    std::memset(&info, 0, sizeof info);
    const bool sniffed = CDBGetDrawingFileInfo(file, &info) == 0;
    int16_t h = CDBStartFileReading(file, nullptr);
    if (h == CDB_FAIL)
        return RefusedToOpen(file);
    if (!sniffed) {
        // The sniff looks for the version as text in the first bytes, where a binary DXF
        // keeps it behind the zero byte of its sentinel (and a text DXF may keep it further
        // on): such a drawing opens all the same. Its kind comes from the sentinel, its
        // version from the header that was read.
        info.file_kind = IsBinaryDxf(file) ? CDB_FILE_BINARY_DXF : CDB_FILE_TEXT_DXF;
        CDB_VAR_VALUE_type acadver;
        std::memset(&acadver, 0, sizeof acadver);
        if (CDBGetVariableValue(h, "acadver", &acadver) == CDB_VAR_TEXT)
            std::snprintf(info.version, sizeof info.version, "%.6s", acadver.text);
    }

    Report report;
    report.AddText("file", file);
    report.AddText("kind", FileKindName(info.file_kind));
    report.AddText("version", info.version);
    report.AddInt("release", CDBGetAutoCADVersion(h));

    Report tables;
    for (const TableCounter &t : kTables) {
        int16_t count = t.count(h);
        if (count >= 0)
            tables.AddInt(t.name, count);
    }
    report.AddObject("tables", tables);

    Report header;
    for (const char *name : kVariables)
        AddVariable(header, h, name);
    report.AddObject("header", header);

    const std::vector<const char *> roads = TolerantReads(h);
    report.Add("tolerant_reads", TolerantReadsJson(roads), TolerantReadsText(roads));

    const std::vector<Xref> xrefs = ListXrefs(h, file);
    report.Add("xrefs", XrefsJson(xrefs), std::to_string(xrefs.size()));

    if (json) {
        std::printf("%s\n", report.Json().c_str());
    } else {
        report.PrintText(stdout);
        PrintXrefs(xrefs);
    }
    CDBEndOperation(h);
    return 0;
}
