// velko_bench: times opening and reading drawings.
//
//   velko_bench [--iterations N] [--seconds S] [--json] FILE...
//
// For each file: opens it with CDBStartFileReading, reads every record of
// every table with CDB<T>TableGet and the whole header with
// CDBGetAllVariables, and closes it with CDBEndOperation; again and again,
// N times, or for at least S seconds (1 s by default; with both options, until
// both are reached). One untimed round comes first. Prints per file its size,
// the rounds, opens per second, MB/s (10^6 bytes of the file per second) and
// table records per second. A file that does not open is reported and skipped.
//
// A second phase, timed the same way, opens the drawing and walks it: the main
// section with CDBGetNextEntity and every block's list after CDBGetFirstBlock /
// CDBGetNextBlock, which loads entities and blocks; it prints the entities
// walked per second and MB/s of the file for these rounds (open, load, walk,
// close).
#include "velkow32.h"

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

struct Options {
    long iterations = 0; // 0: not given
    double seconds = 0;  // 0: not given
    bool json = false;
    std::vector<std::string> files;
};

void Usage(FILE *out) {
    std::fprintf(out,
                 "usage: velko_bench [--iterations N] [--seconds S] [--json] FILE...\n"
                 "Opens each drawing, reads all its table records and header variables and\n"
                 "closes it, N times or for at least S seconds (default 1 s; with both, until\n"
                 "both are reached), and prints bytes, iterations, opens per second, MB/s and\n"
                 "table records per second. Then, timed alike, opens and walks each drawing\n"
                 "(main section and every block) and prints entities per second and MB/s.\n"
                 "--json prints one JSON object per file.\n");
}

bool ParseArgs(int argc, char **argv, Options *o) {
    for (int i = 1; i < argc; ++i) {
        std::string a = argv[i];
        auto value = [&](const char *name) -> const char * {
            if (i + 1 >= argc) {
                std::fprintf(stderr, "velko_bench: %s needs a value\n", name);
                return nullptr;
            }
            return argv[++i];
        };
        if (a == "--help" || a == "-h") {
            Usage(stdout);
            std::exit(0);
        } else if (a == "--iterations" || a == "-n") {
            const char *v = value("--iterations");
            if (!v)
                return false;
            char *end = nullptr;
            o->iterations = std::strtol(v, &end, 10);
            if (*end || o->iterations <= 0) {
                std::fprintf(stderr, "velko_bench: bad iteration count '%s'\n", v);
                return false;
            }
        } else if (a == "--seconds" || a == "-s") {
            const char *v = value("--seconds");
            if (!v)
                return false;
            char *end = nullptr;
            o->seconds = std::strtod(v, &end);
            if (*end || !(o->seconds > 0)) {
                std::fprintf(stderr, "velko_bench: bad number of seconds '%s'\n", v);
                return false;
            }
        } else if (a == "--json") {
            o->json = true;
        } else if (a.size() > 1 && a[0] == '-') {
            std::fprintf(stderr, "velko_bench: unknown option '%s'\n", a.c_str());
            return false;
        } else {
            o->files.push_back(a);
        }
    }
    if (o->files.empty()) {
        std::fprintf(stderr, "velko_bench: no drawing given\n");
        return false;
    }
    if (o->iterations == 0 && o->seconds == 0)
        o->seconds = 1.0;
    return true;
}

// Reads every record of one table; returns how many were read.
template <typename Record>
long ReadTable(int16_t h, int16_t (*count_fn)(int16_t),
               int16_t (*get_fn)(int16_t, int16_t, Record *)) {
    int16_t count = count_fn(h);
    long read = 0;
    for (int i = 0; i < count; ++i) {
        Record r;
        std::memset(&r, 0, sizeof r);
        int16_t s = get_fn(h, static_cast<int16_t>(i), &r);
        if (s == 0 || s == 2)
            ++read;
    }
    return read;
}

// The work of one round on an opened drawing: all tables, the whole header.
long ReadDrawing(int16_t h) {
    long n = 0;
    n += ReadTable<CDB_BLOCK_TBL>(h, CDBBlockTableCount, CDBBlockTableGet);
    n += ReadTable<CDB_LAYER_TBL_type>(h, CDBLayerTableCount, CDBLayerTableGet);
    n += ReadTable<CDB_LTYPE_TBL_type>(h, CDBLineTypeTableCount, CDBLineTypeTableGet);
    n += ReadTable<CDB_STYLE_TBL_type>(h, CDBStyleTableCount, CDBStyleTableGet);
    n += ReadTable<CDB_VPORT_TBL_type>(h, CDBVportTableCount, CDBVportTableGet);
    n += ReadTable<CDB_VIEW_TBL_type>(h, CDBViewTableCount, CDBViewTableGet);
    n += ReadTable<CDB_UCS_TBL_type>(h, CDBUCSTableCount, CDBUCSTableGet);
    n += ReadTable<CDB_APPID_TBL_type>(h, CDBAppidTableCount, CDBAppidTableGet);
    n += ReadTable<CDB_DIMSTYLE_TBL_type>(h, CDBDimStyleTableCount, CDBDimStyleTableGet);
    n += ReadTable<CDB_MLINESTYLE_TBL_type>(h, CDBMLineStyleTableCount, CDBMLineStyleTableGet);
    CDB_HEADER_type header;
    std::memset(&header, 0, sizeof header);
    CDBGetAllVariables(h, &header);
    return n;
}

// Frees the texts that a list mode record hands to its caller.
void FreeCopies(CDB_ENTITY &r) {
    switch (r.entity_type) {
    case CDB_TEXT:
        std::free(r.text.text);
        break;
    case CDB_ATTRIB:
        std::free(r.attrib.value);
        std::free(r.attrib.tag);
        break;
    case CDB_ATTDEF:
        std::free(r.attdef.default_value);
        std::free(r.attdef.prompt);
        std::free(r.attdef.tag);
        break;
    case CDB_DIMENSION:
        std::free(r.dimension.text);
        break;
    case CDB_BLOCK:
        std::free(r.block.xref_path);
        std::free(r.block.name);
        std::free(r.block.name_2);
        break;
    default:
        break;
    }
}

// The entities of one list, walked with CDBGetNextEntity; how many.
long WalkList(int16_t h, int16_t block) {
    if (CDBFirstEntity(h, block) < 0)
        return 0;
    CDB_ENTITY r;
    std::memset(static_cast<void *>(&r), 0, sizeof r);
    long n = 0;
    for (int32_t id = CDBGetCurrentEntity(h, &r); id >= 0; id = CDBGetNextEntity(h, &r)) {
        ++n;
        FreeCopies(r);
        std::memset(static_cast<void *>(&r), 0, sizeof r);
    }
    return n;
}

// The walk of one round: the main section, then every block's list. The number of
// entities walked, or -1 when the entities cannot be loaded.
long WalkDrawing(int16_t h) {
    if (CDBEntityCount(h, -1) < 0)
        return -1;
    long n = WalkList(h, -1);
    CDB_STARTBLOCK_ENTITY_type b;
    std::memset(static_cast<void *>(&b), 0, sizeof b);
    int16_t status = CDBGetFirstBlock(h, &b);
    for (int16_t index = 0; status >= 0; ++index) {
        std::free(b.name);
        std::free(b.name_2);
        std::free(b.xref_path);
        if (status == 0)
            n += WalkList(h, index);
        std::memset(static_cast<void *>(&b), 0, sizeof b);
        status = CDBGetNextBlock(h, &b);
    }
    return n;
}

std::string JsonString(const std::string &s) {
    std::string out = "\"";
    for (unsigned char c : s) {
        if (c == '"' || c == '\\') {
            out += '\\';
            out += static_cast<char>(c);
        } else if (c < 0x20) {
            char buf[8];
            std::snprintf(buf, sizeof buf, "\\u%04x", c);
            out += buf;
        } else {
            out += static_cast<char>(c);
        }
    }
    return out + "\"";
}

long long FileSize(const std::string &path) {
    std::error_code ec;
    auto size = std::filesystem::file_size(path, ec);
    return ec ? -1 : static_cast<long long>(size);
}

struct Result {
    long iterations = 0;
    double seconds = 0;
    long records_per_open = 0;
    // The walk phase; walk_entities -1 when the entities could not be loaded.
    long walk_iterations = 0;
    double walk_seconds = 0;
    long walk_entities = 0;
};

// Rounds of open, load and walk, close, as many as the options ask for.
void BenchWalk(const std::string &path, const Options &o, Result *r) {
    int16_t h = CDBStartFileReading(path.c_str(), nullptr);
    if (h < 0) {
        r->walk_entities = -1;
        return;
    }
    r->walk_entities = WalkDrawing(h);
    CDBEndOperation(h);
    if (r->walk_entities < 0)
        return;
    Clock::time_point start = Clock::now();
    for (;;) {
        h = CDBStartFileReading(path.c_str(), nullptr);
        if (h < 0) {
            r->walk_entities = -1;
            return;
        }
        WalkDrawing(h);
        CDBEndOperation(h);
        ++r->walk_iterations;
        r->walk_seconds = std::chrono::duration<double>(Clock::now() - start).count();
        bool enough_rounds = o.iterations == 0 || r->walk_iterations >= o.iterations;
        bool enough_time = o.seconds == 0 || r->walk_seconds >= o.seconds;
        if (enough_rounds && enough_time)
            break;
    }
}

// Returns false when the drawing does not open; `code` then holds the reason.
bool BenchFile(const std::string &path, const Options &o, Result *r, int16_t *code) {
    // Untimed first round: checks that the drawing opens and warms the caches.
    int16_t h = CDBStartFileReading(path.c_str(), nullptr);
    if (h < 0) {
        *code = CDBGetErrorNumber(-123);
        return false;
    }
    r->records_per_open = ReadDrawing(h);
    CDBEndOperation(h);

    Clock::time_point start = Clock::now();
    for (;;) {
        h = CDBStartFileReading(path.c_str(), nullptr);
        if (h < 0) { // opened before: only a changing file gets here
            *code = CDBGetErrorNumber(-123);
            return false;
        }
        ReadDrawing(h);
        CDBEndOperation(h);
        ++r->iterations;
        r->seconds = std::chrono::duration<double>(Clock::now() - start).count();
        bool enough_rounds = o.iterations == 0 || r->iterations >= o.iterations;
        bool enough_time = o.seconds == 0 || r->seconds >= o.seconds;
        if (enough_rounds && enough_time)
            break;
    }
    BenchWalk(path, o, r);
    return true;
}

} // namespace

int main(int argc, char **argv) {
    Options o;
    if (!ParseArgs(argc, argv, &o)) {
        Usage(stderr);
        return 2;
    }
    int failures = 0;
    for (const std::string &path : o.files) {
        long long bytes = FileSize(path);
        Result r;
        int16_t code = 0;
        if (!BenchFile(path, o, &r, &code)) {
            ++failures;
            char message[64] = {};
            CDBGetErrorMessage(code, message, sizeof message - 1);
            if (o.json) {
                std::printf("{\"file\": %s, \"bytes\": %lld, \"opened\": false, \"error\": %d, "
                            "\"message\": %s}\n",
                            JsonString(path).c_str(), bytes, code, JsonString(message).c_str());
            } else {
                std::printf("%s: %lld bytes: does not open: %d %s\n", path.c_str(), bytes, code,
                            message);
            }
            std::fflush(stdout);
            continue;
        }
        double opens = r.iterations / r.seconds;
        double mbps = bytes > 0 ? static_cast<double>(bytes) * opens / 1e6 : 0.0;
        double records = static_cast<double>(r.records_per_open) * opens;
        const bool walked = r.walk_entities >= 0 && r.walk_seconds > 0;
        double walks = walked ? r.walk_iterations / r.walk_seconds : 0.0;
        double walk_entities = walked ? static_cast<double>(r.walk_entities) * walks : 0.0;
        double walk_mbps = walked && bytes > 0 ? static_cast<double>(bytes) * walks / 1e6 : 0.0;
        if (o.json) {
            std::printf("{\"file\": %s, \"bytes\": %lld, \"opened\": true, \"iterations\": %ld, "
                        "\"seconds\": %.6f, \"opens_per_second\": %.3f, \"mb_per_second\": %.3f, "
                        "\"records_per_open\": %ld, \"records_per_second\": %.1f, "
                        "\"walked\": %s, \"walk_iterations\": %ld, \"walk_seconds\": %.6f, "
                        "\"entities_per_walk\": %ld, \"entities_per_second\": %.1f, "
                        "\"walk_mb_per_second\": %.3f}\n",
                        JsonString(path).c_str(), bytes, r.iterations, r.seconds, opens, mbps,
                        r.records_per_open, records, walked ? "true" : "false", r.walk_iterations,
                        r.walk_seconds, walked ? r.walk_entities : 0, walk_entities, walk_mbps);
        } else {
            std::printf("%s: %lld bytes, %ld iterations in %.3f s: %.1f opens/s, %.2f MB/s, "
                        "%.0f table records/s (%ld per open)\n",
                        path.c_str(), bytes, r.iterations, r.seconds, opens, mbps, records,
                        r.records_per_open);
            if (walked)
                std::printf("%s: walk: %ld iterations in %.3f s: %.0f entities/s (%ld per walk), "
                            "%.2f MB/s\n",
                            path.c_str(), r.walk_iterations, r.walk_seconds, walk_entities,
                            r.walk_entities, walk_mbps);
            else
                std::printf("%s: walk: the entities could not be loaded\n", path.c_str());
        }
        std::fflush(stdout);
    }
    return failures ? 1 : 0;
}
