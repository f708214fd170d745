// velko_bench: times opening and reading drawings.
//
//   velko_bench [--iterations N] [--seconds S] [--json] FILE...
//   velko_bench --dxf [--entities N] [--keep DIR] [--form ascii|binary|both]
//               [--iterations N] [--seconds S] [--json]
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
//
// --dxf makes two large release 12 DXF drawings of N entities (200 000 by default), one
// ASCII and one binary, in a new temporary directory (or in DIR with --keep, where they
// stay), and times, round by round, their load (CDBStartFileReading: a DXF loads whole)
// and their walk (the main list and every block's list, entity by entity) apart. Per form
// it prints the file's size and, for load, walk and load + walk, the best and the median
// time of the rounds with MB/s and entities/s at each; the close that ends a round is
// timed too but counted in neither. Rounds: N with --iterations, 5 by default; with
// --seconds, also at least S seconds; the two forms take turns round by round. One untimed
// round first checks that the walk visits every entity that was written.
//
// --save makes the binary DXF drawing of N entities the same way, loads it once and saves
// it with the library, round by round, as DWG, as ASCII DXF and as binary DXF
// (CDBSaveAsDWG, CDBSaveAsDXF), and prints for each save the file's size, the best and the
// median time, MB/s (of the file written) and objects/s (the entities a walk visits plus
// the table records). Then it loads the DWG it wrote (CDBStartFileReading and the loading
// of the entities) and walks it, round by round, and prints load, walk and load + walk as
// the --dxf mode does. The targets: each save under 0.3 s, the DWG's load + walk under
// 0.1 s, for the default 200 000 entities.
//
// --r13-save loads a release 13 DWG and saves it as DWG, round by round (r13_save_bench.h).
//
// --r13-dxf makes a release 13 drawing of N entities with the library and writes it as ASCII
// and binary DXF and reads the ASCII file back, round by round (r13_dxf_bench.h).
//
// --blocks makes drawings of 300 and of 30,000 blocks with the library and times their walk
// block by block with CDBBlockGet, per block, side by side (blocks_bench.h).
#include "velkow32.h"

#include "bench_phase.h"
#include "blocks_bench.h"
#include "dxf_maker.h"
#include "r13_dxf_bench.h"
#include "r13_save_bench.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include <stdlib.h> // mkdtemp

namespace {

using velko_bench::Clock;
using velko_bench::FileSize;
using velko_bench::JsonPhase;
using velko_bench::JsonString;
using velko_bench::Phase;
using velko_bench::PrintPhase;
using velko_bench::Since;

// Entities of the drawings of the DXF mode unless --entities says otherwise.
constexpr long kDefaultDxfEntities = 200000;

struct Options {
    long iterations = 0; // 0: not given
    double seconds = 0;  // 0: not given
    bool json = false;
    std::vector<std::string> files;
    // The DXF mode.
    bool dxf = false;
    long entities = kDefaultDxfEntities;
    std::string keep_dir; // empty: a temporary directory, removed at the end
    bool ascii = true;
    bool binary = true;
    // The save mode.
    bool save = false;
    // The release 13 save.
    bool r13_save = false;
    std::string r13_file; // empty: the corpus's relaid release 13 DWG
    // The release 13 DXF write.
    bool r13_dxf = false;
    std::string r13_dxf_file; // empty: the corpus's dxf13/v.dxf
    // The block lookup.
    bool blocks = false;
};

void Usage(FILE *out) {
    std::fprintf(
        out, "usage: velko_bench [--iterations N] [--seconds S] [--json] FILE...\n"
             "       velko_bench --dxf [--entities N] [--keep DIR] [--form ascii|binary|both]\n"
             "                   [--iterations N] [--seconds S] [--json]\n"
             "       velko_bench --save [--entities N] [--keep DIR] [--iterations N]\n"
             "                   [--seconds S] [--json]\n"
             "       velko_bench --r13-save [--r13-file FILE] [--iterations N] [--seconds S]\n"
             "                   [--json]\n"
             "       velko_bench --r13-dxf [--r13-dxf-file FILE] [--entities N]\n"
             "                   [--iterations N] [--seconds S] [--json]\n"
             "       velko_bench --blocks [--iterations N] [--seconds S] [--json]\n"
             "Opens each drawing, reads all its table records and header variables and\n"
             "closes it, N times or for at least S seconds (default 1 s; with both, until\n"
             "both are reached), and prints bytes, iterations, opens per second, MB/s and\n"
             "table records per second. Then, timed alike, opens and walks each drawing\n"
             "(main section and every block) and prints entities per second and MB/s.\n"
             "--json prints one JSON object per file.\n"
             "--dxf makes a release 12 DXF of N entities (default 200000) in ASCII and in\n"
             "binary form, in a temporary directory or in DIR (kept), and times the load\n"
             "and the walk of each apart, N rounds (default 5) or at least S seconds;\n"
             "prints best and median times, MB/s and entities/s for load, walk and both.\n"
             "--save makes the binary DXF of N entities, loads it and saves it as DWG, ASCII\n"
             "DXF and binary DXF, N rounds (default 5) or at least S seconds, and prints best\n"
             "and median times, MB/s and objects/s of each save; then loads and walks the\n"
             "DWG it wrote and prints load, walk and both as --dxf does.\n"
             "--r13-save loads a release 13 DWG (--r13-file FILE, by default the corpus's\n"
             "dwg13/example_r13_relaid.dwg) and saves it as DWG, N rounds (default 20) or at\n"
             "least S seconds, and prints load, save and both with MB/s, entities/s and the\n"
             "peak memory.\n"
             "--r13-dxf starts from a release 13 drawing (--r13-dxf-file FILE, by default the\n"
             "corpus's dxf13/v.dxf), saved as DWG and opened again, adds N entities (default\n"
             "200000) in blocks of at most 30000, writes it as ASCII and binary DXF and reads\n"
             "the ASCII file back, N rounds (default 5) or at least S seconds, and prints\n"
             "best and median times with MB/s and entities/s of each step.\n"
             "--blocks makes release 12 (and 13) drawings of 300 and of 30000 blocks, opens\n"
             "them and gets every block by index and walks its entities, N rounds (default\n"
             "5) or at least S seconds, and prints the time per block of both and the ratio.\n");
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
        } else if (a == "--dxf") {
            o->dxf = true;
        } else if (a == "--save") {
            o->save = true;
        } else if (a == "--r13-save") {
            o->r13_save = true;
        } else if (a == "--r13-file") {
            const char *v = value("--r13-file");
            if (!v)
                return false;
            o->r13_file = v;
            o->r13_save = true;
        } else if (a == "--blocks") {
            o->blocks = true;
        } else if (a == "--r13-dxf") {
            o->r13_dxf = true;
        } else if (a == "--r13-dxf-file") {
            const char *v = value("--r13-dxf-file");
            if (!v)
                return false;
            o->r13_dxf_file = v;
            o->r13_dxf = true;
        } else if (a == "--entities") {
            const char *v = value("--entities");
            if (!v)
                return false;
            char *end = nullptr;
            o->entities = std::strtol(v, &end, 10);
            if (*end || o->entities < velko_bench::kMinEntities) {
                std::fprintf(stderr, "velko_bench: bad entity count '%s' (at least %ld)\n", v,
                             velko_bench::kMinEntities);
                return false;
            }
        } else if (a == "--keep") {
            const char *v = value("--keep");
            if (!v)
                return false;
            o->keep_dir = v;
        } else if (a == "--form") {
            const char *v = value("--form");
            if (!v)
                return false;
            std::string form = v;
            o->ascii = form == "ascii" || form == "both";
            o->binary = form == "binary" || form == "both";
            if (!o->ascii && !o->binary) {
                std::fprintf(stderr, "velko_bench: bad form '%s'\n", v);
                return false;
            }
        } else if (a.size() > 1 && a[0] == '-') {
            std::fprintf(stderr, "velko_bench: unknown option '%s'\n", a.c_str());
            return false;
        } else {
            o->files.push_back(a);
        }
    }
    if (o->files.empty() && !o->dxf && !o->save && !o->r13_save && !o->r13_dxf && !o->blocks) {
        std::fprintf(stderr, "velko_bench: no drawing given\n");
        return false;
    }
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

// ---- The DXF mode ------------------------------------------------------------------------

// Times of one phase over all rounds, in seconds.
struct DxfResult {
    Phase load, walk, both, close;
};

// Opens the drawing and walks it, once; the phase times go to `r` when `timed`. The load
// is the open and the loading of the entities, which a DXF does in the open and a release
// 12 DWG at the first use. Returns the entities walked, or -1 with `code` set when the
// drawing does not open or its entities cannot be loaded.
long LoadWalkRound(const std::string &path, DxfResult *r, bool timed, int16_t *code) {
    Clock::time_point start = Clock::now();
    int16_t h = CDBStartFileReading(path.c_str(), nullptr);
    if (h >= 0)
        CDBEntityCount(h, -1); // loads the entities; WalkDrawing tells a failure
    double load = Since(start);
    if (h < 0) {
        *code = CDBGetErrorNumber(-123);
        return -1;
    }
    Clock::time_point walk_start = Clock::now();
    long walked = WalkDrawing(h);
    double walk = Since(walk_start);
    if (walked < 0)
        *code = CDBGetErrorNumber(h);
    Clock::time_point close_start = Clock::now();
    CDBEndOperation(h);
    double close = Since(close_start);
    if (timed && walked >= 0) {
        r->load.times.push_back(load);
        r->walk.times.push_back(walk);
        r->both.times.push_back(load + walk);
        r->close.times.push_back(close);
    }
    return walked;
}

// One form of the DXF mode: its file, what was written and what the rounds measured.
struct DxfForm {
    bool binary = false;
    const char *name = "";
    std::string path;
    velko_bench::DxfLayout layout;
    double make_seconds = 0;
    long walked = 0;   // entities one walk visits
    long expected = 0; // entities a walk should visit
    bool ok = false;   // made and loaded; rounds go on while it stays set
    DxfResult r;
};

// Makes the form's file and runs the untimed first round: the drawing opens, the walk
// visits all, the caches are warm. Failures are reported.
bool PrepareDxfForm(const std::string &dir, const Options &o, DxfForm *f) {
    f->name = f->binary ? "binary" : "ascii";
    f->path = dir + (f->binary ? "/bench_binary.dxf" : "/bench_ascii.dxf");
    std::string error;
    Clock::time_point make_start = Clock::now();
    if (!velko_bench::MakeBenchDxf(f->path, f->binary, o.entities, &f->layout, &error)) {
        std::fprintf(stderr, "velko_bench: %s: %s\n", f->name, error.c_str());
        return false;
    }
    f->make_seconds = Since(make_start);
    f->expected = velko_bench::ExpectedWalk(f->layout);
    int16_t code = 0;
    f->walked = LoadWalkRound(f->path, &f->r, false, &code);
    if (f->walked < 0) {
        char message[64] = {};
        CDBGetErrorMessage(code, message, sizeof message - 1);
        std::fprintf(stderr, "velko_bench: %s: %s: does not load: %d %s\n", f->name,
                     f->path.c_str(), code, message);
        return false;
    }
    return true;
}

// Prints the figures of one form; true when its walk visited every entity written.
bool ReportDxfForm(const DxfForm &f, const Options &o) {
    const DxfResult &r = f.r;
    const long long bytes = f.layout.bytes;
    const bool complete = f.walked == f.expected;
    if (o.json) {
        std::printf("{\"form\": \"%s\", \"file\": %s, \"bytes\": %lld, \"entities\": %ld, "
                    "\"main_entities\": %ld, \"blocks\": %ld, \"make_seconds\": %.6f, "
                    "\"walked\": %ld, \"expected\": %ld, \"rounds\": %zu, %s, %s, %s, %s}\n",
                    f.name, JsonString(f.path).c_str(), bytes, f.layout.entities,
                    f.layout.main_entities, f.layout.blocks, f.make_seconds, f.walked, f.expected,
                    r.load.times.size(), JsonPhase("load", r.load, bytes, f.walked).c_str(),
                    JsonPhase("walk", r.walk, bytes, f.walked).c_str(),
                    JsonPhase("load_walk", r.both, bytes, f.walked).c_str(),
                    JsonPhase("close", r.close, bytes, f.walked).c_str());
    } else {
        std::printf("%s: %s: %lld bytes (%.2f MB), made in %.3f s\n", f.name, f.path.c_str(), bytes,
                    static_cast<double>(bytes) / 1e6, f.make_seconds);
        std::printf("  %ld entities: %ld in the main section, %ld in %ld block(s); "
                    "a walk visits %ld (expected %ld%s)\n",
                    f.layout.entities, f.layout.main_entities,
                    f.layout.entities - f.layout.main_entities, f.layout.blocks, f.walked,
                    f.expected, complete ? "" : ": MISMATCH");
        std::printf("  %zu rounds; rates below count the file's bytes and the entities walked\n",
                    r.load.times.size());
        PrintPhase("load", r.load, bytes, f.walked);
        PrintPhase("walk", r.walk, bytes, f.walked);
        PrintPhase("load+walk", r.both, bytes, f.walked);
        PrintPhase("close", r.close, bytes, f.walked);
    }
    std::fflush(stdout);
    return complete;
}

// The directory the made drawings go to: a new temporary one (removed when the object
// goes), or the one --keep names (made if need be, and left alone).
class WorkDir {
public:
    explicit WorkDir(const Options &o) {
        namespace fs = std::filesystem;
        std::error_code ec;
        if (!o.keep_dir.empty()) {
            fs::create_directories(o.keep_dir, ec);
            if (fs::is_directory(o.keep_dir, ec))
                path_ = o.keep_dir;
            else
                std::fprintf(stderr, "velko_bench: %s is no directory\n", o.keep_dir.c_str());
            return;
        }
        fs::path base = fs::temp_directory_path(ec);
        if (ec)
            base = "/tmp";
        std::string pattern = (base / "velko_bench.XXXXXX").string();
        std::vector<char> name(pattern.begin(), pattern.end());
        name.push_back('\0');
        if (!mkdtemp(name.data())) {
            std::fprintf(stderr, "velko_bench: cannot make a directory like %s\n", pattern.c_str());
            return;
        }
        path_ = name.data();
        temporary_ = true;
    }
    ~WorkDir() {
        if (temporary_) {
            std::error_code ec;
            std::filesystem::remove_all(path_, ec);
        }
    }
    WorkDir(const WorkDir &) = delete;
    WorkDir &operator=(const WorkDir &) = delete;

    // Empty when no directory could be had.
    const std::string &path() const { return path_; }

private:
    std::string path_;
    bool temporary_ = false;
};

// The DXF mode: 0 when every form made, loaded and walked in full.
int RunDxf(const Options &o) {
    WorkDir work(o);
    if (work.path().empty())
        return 1;
    const std::string &dir = work.path();

    std::vector<DxfForm> forms;
    if (o.ascii)
        forms.emplace_back();
    if (o.binary) {
        forms.emplace_back();
        forms.back().binary = true;
    }
    int failures = 0;
    for (DxfForm &f : forms) {
        f.ok = PrepareDxfForm(dir, o, &f);
        if (!f.ok)
            ++failures;
    }

    // The forms take turns round by round, so that a change in the machine's load between
    // two stretches of time does not fall on one form alone.
    const long rounds = o.iterations > 0 ? o.iterations : (o.seconds > 0 ? 1 : 5);
    Clock::time_point start = Clock::now();
    for (long done = 0;; ++done) {
        if (done >= rounds && (o.seconds == 0 || Since(start) >= o.seconds))
            break;
        bool any = false;
        for (DxfForm &f : forms) {
            if (!f.ok)
                continue;
            int16_t code = 0;
            if (LoadWalkRound(f.path, &f.r, true, &code) != f.walked) {
                std::fprintf(stderr, "velko_bench: %s: a later round walked otherwise\n", f.name);
                f.ok = false;
                ++failures;
                continue;
            }
            any = true;
        }
        if (!any)
            break;
    }

    for (const DxfForm &f : forms)
        if (f.ok && !ReportDxfForm(f, o))
            ++failures;

    if (!o.json && failures == 0 && o.entities == kDefaultDxfEntities) {
        // The goal for the default drawing: the ASCII one loads and is walked in under 0.2 s,
        // the binary one faster.
        const DxfForm *ascii = nullptr, *binary = nullptr;
        for (const DxfForm &f : forms)
            (f.binary ? binary : ascii) = &f;
        if (ascii)
            std::printf("ascii load+walk: best %.4f s, median %.4f s: %s the 0.2 s goal\n",
                        ascii->r.both.Best(), ascii->r.both.Median(),
                        ascii->r.both.Best() < 0.2 ? "within" : "above");
        if (ascii && binary)
            std::printf("binary load+walk: best %.4f s, median %.4f s: %s than ascii\n",
                        binary->r.both.Best(), binary->r.both.Median(),
                        binary->r.both.Best() < ascii->r.both.Best() ? "faster" : "not faster");
    }
    return failures ? 1 : 0;
}

// ---- The save mode ------------------------------------------------------------------------

// Goals for the default drawing on the project's machine.
constexpr double kSaveGoalSeconds = 0.3;
constexpr double kDwgLoadWalkGoalSeconds = 0.1;

// One form a loaded drawing is saved in, and the times of its saves.
struct SaveTarget {
    const char *name;
    const char *file_name;
    bool dwg;
    bool binary;
    std::string path;
    long long bytes = 0;
    Phase time;
};

int16_t SaveAs(int16_t h, const SaveTarget &t) {
    return t.dwg ? CDBSaveAsDWG(h, t.path.c_str())
                 : CDBSaveAsDXF(h, t.path.c_str(), static_cast<int16_t>(t.binary));
}

// Saves the drawing in the target's form once: the time, or -1 when the save fails.
double TimedSave(int16_t h, SaveTarget *t) {
    Clock::time_point start = Clock::now();
    const int16_t status = SaveAs(h, *t);
    const double seconds = Since(start);
    if (status != 0) {
        char message[64] = {};
        const int16_t code = CDBGetErrorNumber(h);
        CDBGetErrorMessage(code, message, sizeof message - 1);
        std::fprintf(stderr, "velko_bench: save as %s to %s failed: %d %s\n", t->name,
                     t->path.c_str(), code, message);
        return -1;
    }
    t->bytes = FileSize(t->path);
    return seconds;
}

void ReportSave(const SaveTarget &t, long objects, const Options &o) {
    if (o.json) {
        std::printf("{\"save\": \"%s\", \"file\": %s, \"bytes\": %lld, \"objects\": %ld, "
                    "\"rounds\": %zu, %s}\n",
                    t.name, JsonString(t.path).c_str(), t.bytes, objects, t.time.times.size(),
                    JsonPhase("save", t.time, t.bytes, objects, "objects").c_str());
        return;
    }
    std::printf("save as %s: %s: %lld bytes (%.2f MB), %zu rounds\n", t.name, t.path.c_str(),
                t.bytes, static_cast<double>(t.bytes) / 1e6, t.time.times.size());
    PrintPhase("save", t.time, t.bytes, objects, "objects");
}

// Loads the source and saves it in every form, round by round. Returns the failures; the
// objects a save writes (entities walked plus table records) go to `objects`.
int BenchSaves(const std::string &source, const Options &o, std::vector<SaveTarget> *targets,
               long *objects) {
    int16_t h = CDBStartFileReading(source.c_str(), nullptr);
    if (h < 0) {
        std::fprintf(stderr, "velko_bench: %s does not load: %d\n", source.c_str(),
                     CDBGetErrorNumber(-123));
        return 1;
    }
    const long records = ReadDrawing(h);
    const long walked = WalkDrawing(h);
    *objects = walked + records;
    // One untimed round: every form saves, the caches are warm.
    int failures = 0;
    for (SaveTarget &t : *targets)
        if (TimedSave(h, &t) < 0)
            ++failures;
    const long rounds = o.iterations > 0 ? o.iterations : (o.seconds > 0 ? 1 : 5);
    Clock::time_point start = Clock::now();
    for (long done = 0; failures == 0; ++done) {
        if (done >= rounds && (o.seconds == 0 || Since(start) >= o.seconds))
            break;
        for (SaveTarget &t : *targets) {
            const double seconds = TimedSave(h, &t);
            if (seconds < 0)
                ++failures;
            else
                t.time.times.push_back(seconds);
        }
    }
    CDBEndOperation(h);
    return failures;
}

// Rounds of loading and walking the DWG the saves wrote; the failures.
int BenchWrittenDwg(const SaveTarget &dwg, long source_walked, const Options &o) {
    DxfResult r;
    int16_t code = 0;
    const long walked = LoadWalkRound(dwg.path, &r, false, &code);
    if (walked < 0) {
        char message[64] = {};
        CDBGetErrorMessage(code, message, sizeof message - 1);
        std::fprintf(stderr, "velko_bench: %s does not load: %d %s\n", dwg.path.c_str(), code,
                     message);
        return 1;
    }
    const long rounds = o.iterations > 0 ? o.iterations : (o.seconds > 0 ? 1 : 5);
    Clock::time_point start = Clock::now();
    for (long done = 0;; ++done) {
        if (done >= rounds && (o.seconds == 0 || Since(start) >= o.seconds))
            break;
        if (LoadWalkRound(dwg.path, &r, true, &code) != walked) {
            std::fprintf(stderr, "velko_bench: %s: a later round walked otherwise\n",
                         dwg.path.c_str());
            return 1;
        }
    }
    const bool complete = walked == source_walked;
    if (o.json) {
        std::printf("{\"load_walk\": \"dwg\", \"file\": %s, \"bytes\": %lld, \"walked\": %ld, "
                    "\"expected\": %ld, \"rounds\": %zu, %s, %s, %s}\n",
                    JsonString(dwg.path).c_str(), dwg.bytes, walked, source_walked,
                    r.load.times.size(), JsonPhase("load", r.load, dwg.bytes, walked).c_str(),
                    JsonPhase("walk", r.walk, dwg.bytes, walked).c_str(),
                    JsonPhase("load_walk", r.both, dwg.bytes, walked).c_str());
    } else {
        std::printf("the DWG written: a walk visits %ld entities (the source's walk %ld%s), "
                    "%zu rounds\n",
                    walked, source_walked, complete ? "" : ": MISMATCH", r.load.times.size());
        PrintPhase("load", r.load, dwg.bytes, walked);
        PrintPhase("walk", r.walk, dwg.bytes, walked);
        PrintPhase("load+walk", r.both, dwg.bytes, walked);
        if (o.entities == kDefaultDxfEntities)
            std::printf("DWG load+walk: best %.4f s, median %.4f s: %s the %.1f s goal\n",
                        r.both.Best(), r.both.Median(),
                        r.both.Best() < kDwgLoadWalkGoalSeconds ? "within" : "above",
                        kDwgLoadWalkGoalSeconds);
    }
    std::fflush(stdout);
    return complete ? 0 : 1;
}

// The save mode: 0 when the drawing was made, loaded, saved in every form and the DWG
// written walks like its source.
int RunSave(const Options &o) {
    WorkDir work(o);
    if (work.path().empty())
        return 1;
    const std::string source = work.path() + "/bench_save_source.dxf";
    velko_bench::DxfLayout layout;
    std::string error;
    Clock::time_point make_start = Clock::now();
    if (!velko_bench::MakeBenchDxf(source, true, o.entities, &layout, &error)) {
        std::fprintf(stderr, "velko_bench: %s\n", error.c_str());
        return 1;
    }
    if (!o.json)
        std::printf("source: %s: binary DXF, %lld bytes, %ld entities in %ld block(s) and the "
                    "main section, made in %.3f s\n",
                    source.c_str(), layout.bytes, layout.entities, layout.blocks,
                    Since(make_start));

    std::vector<SaveTarget> targets = {
        {"DWG", "bench_saved.dwg", true, false, "", 0, {}},
        {"ASCII DXF", "bench_saved_ascii.dxf", false, false, "", 0, {}},
        {"binary DXF", "bench_saved_binary.dxf", false, true, "", 0, {}},
    };
    for (SaveTarget &t : targets)
        t.path = work.path() + "/" + t.file_name;
    long objects = 0;
    int failures = BenchSaves(source, o, &targets, &objects);
    if (failures)
        return 1;
    for (const SaveTarget &t : targets)
        ReportSave(t, objects, o);
    if (!o.json && o.entities == kDefaultDxfEntities)
        for (const SaveTarget &t : targets)
            std::printf("save as %s: best %.4f s, median %.4f s: %s the %.1f s goal\n", t.name,
                        t.time.Best(), t.time.Median(),
                        t.time.Best() < kSaveGoalSeconds ? "within" : "above", kSaveGoalSeconds);
    std::fflush(stdout);
    return BenchWrittenDwg(targets.front(), velko_bench::ExpectedWalk(layout), o);
}

} // namespace

int main(int argc, char **argv) {
    Options o;
    if (!ParseArgs(argc, argv, &o)) {
        Usage(stderr);
        return 2;
    }
    int failures = 0;
    if (o.dxf && RunDxf(o) != 0)
        ++failures;
    if (o.save && RunSave(o) != 0)
        ++failures;
    if (o.r13_save) {
        velko_bench::R13SaveOptions r13;
        r13.file = o.r13_file;
        r13.iterations = o.iterations;
        r13.seconds = o.seconds;
        r13.json = o.json;
        if (velko_bench::RunR13Save(r13) != 0)
            ++failures;
    }
    if (o.r13_dxf) {
        velko_bench::R13DxfOptions r13;
        r13.file = o.r13_dxf_file;
        r13.entities = o.entities;
        r13.iterations = o.iterations;
        r13.seconds = o.seconds;
        r13.json = o.json;
        if (velko_bench::RunR13Dxf(r13) != 0)
            ++failures;
    }
    if (o.blocks) {
        velko_bench::BlocksOptions blocks;
        blocks.iterations = o.iterations;
        blocks.seconds = o.seconds;
        blocks.json = o.json;
        if (velko_bench::RunBlocks(blocks) != 0)
            ++failures;
    }
    if (o.iterations == 0 && o.seconds == 0)
        o.seconds = 1.0;
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
