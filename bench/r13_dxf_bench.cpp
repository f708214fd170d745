#include "r13_dxf_bench.h"

#include "bench_phase.h"
#include "velkow32.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <stdlib.h> // mkdtemp
#include <string>
#include <vector>

namespace velko_bench {

namespace {

constexpr long kDefaultEntities = 200000;
constexpr long kDefaultRounds = 5;
// The most entities put in one list: a walk of a list ends at 32 767.
constexpr long kListLimit = 30000;

void Report(int16_t code, const char *step, const std::string &path) {
    char message[64] = {};
    CDBGetErrorMessage(code, message, sizeof message - 1);
    std::fprintf(stderr, "velko_bench: %s %s failed: %d %s\n", step, path.c_str(), code, message);
}

// Adds entities to one list of the drawing, in a fixed cycle of kinds, each placed by the
// running number so that no two are alike.
class ListFiller {
public:
    ListFiller(int16_t h, int16_t block) : h_(h), block_(block) {}

    // Adds one group of the cycle (one entity, or a polyline of five); the entities added, 0
    // when the library refused one.
    long AddNext(long n) {
        const double x = static_cast<double>(n % 1000), y = static_cast<double>(n / 1000);
        switch (n % 5) {
        case 0: {
            CDB_ENTITY e = Fresh(CDB_LINE);
            e.line.start_point = {x, y, 0.0};
            e.line.end_point = {x + 0.5, y + 0.25, 0.0};
            return Add(e);
        }
        case 1: {
            CDB_ENTITY e = Fresh(CDB_CIRCLE);
            e.circle.center = {x, y, 0.0};
            e.circle.radius = 0.125 + (n % 7) * 0.01;
            return Add(e);
        }
        case 2: {
            CDB_ENTITY e = Fresh(CDB_ARC);
            e.arc.center = {x, y, 0.0};
            e.arc.radius = 0.3;
            e.arc.start_angle = 0.25;
            e.arc.end_angle = 2.5;
            return Add(e);
        }
        case 3: {
            CDB_ENTITY e = Fresh(CDB_TEXT);
            e.text.insertion_point = {x, y, 0.0};
            e.text.height = 0.2;
            e.text.text = text_;
            return Add(e);
        }
        default:
            return AddPolyline(x, y);
        }
    }

private:
    CDB_ENTITY Fresh(int16_t kind) const {
        CDB_ENTITY e;
        CDBEntityDefault(h_, &e, kind);
        e.layer_index = 0;
        e.line_type_index = -1;
        return e;
    }

    long Add(CDB_ENTITY &e) { return CDBEntityAdd(h_, block_, &e) >= 0 ? 1 : 0; }

    long AddPolyline(double x, double y) {
        CDB_ENTITY polyline = Fresh(CDB_POLYLINE);
        polyline.polyline.vertices_follow = 1;
        long added = Add(polyline);
        for (int i = 0; i < 3 && added; ++i) {
            CDB_ENTITY vertex = Fresh(CDB_VERTEX);
            vertex.vertex.location = {x + 0.1 * i, y + 0.05 * i, 0.0};
            added = Add(vertex) ? added + 1 : 0;
        }
        CDB_ENTITY end = Fresh(CDB_SEQEND);
        return added && Add(end) ? added + 1 : 0;
    }

    int16_t h_;
    int16_t block_;
    char text_[16] = "velko bench";
};

// The block "BENCHn", added; its index or -1.
int16_t AddBlock(int16_t h, int n) {
    CDB_STARTBLOCK_ENTITY_type b;
    CDBBlockDefault(h, &b);
    std::string name = "BENCH" + std::to_string(n);
    b.name = name.data();
    b.base_point = CDB_POINT3{0.0, 0.0, 0.0};
    return CDBBlockAdd(h, &b);
}

// Fills the drawing with about `wanted` entities, in blocks of at most kListLimit entities.
// Nothing goes to the main list: an entity added there stands behind the list's closing
// ENDBLK, where the DXF writer's walk ends. The entities added, or -1 when the library
// refused one.
long Fill(int16_t h, long wanted) {
    long added = 0, n = 0;
    for (int blocks = 0; added < wanted; ++blocks) {
        const int16_t block = AddBlock(h, blocks);
        if (block < 0)
            return -1;
        ListFiller filler(h, block);
        for (long in_block = 0; in_block < kListLimit - 4 && added < wanted;) {
            const long step = filler.AddNext(n++);
            if (step == 0)
                return -1;
            in_block += step;
            added += step;
        }
    }
    return added;
}

// The entities of the main list and of every block's list.
long CountEntities(int16_t h) {
    long n = CDBEntityCount(h, -1);
    const int16_t blocks = CDBBlockTableCount(h);
    for (int16_t b = 0; b < blocks; ++b)
        n += std::max<long>(CDBEntityCount(h, b), 0);
    return n;
}

struct Rounds {
    Phase ascii, binary, read;
    long long ascii_bytes = 0, binary_bytes = 0;
};

// One round: the drawing written in both forms and the ASCII file read back; false after
// saying what failed.
bool Round(int16_t h, const std::string &dir, Rounds *r, bool timed) {
    const std::string ascii = dir + "/bench_r13.ascii.dxf", binary = dir + "/bench_r13.binary.dxf";
    Clock::time_point start = Clock::now();
    if (CDBSaveAsDXF(h, ascii.c_str(), 0) != 0) {
        Report(CDBGetErrorNumber(h), "ASCII save to", ascii);
        return false;
    }
    const double ascii_time = Since(start);
    start = Clock::now();
    if (CDBSaveAsDXF(h, binary.c_str(), 1) != 0) {
        Report(CDBGetErrorNumber(h), "binary save to", binary);
        return false;
    }
    const double binary_time = Since(start);
    start = Clock::now();
    const int16_t back = CDBStartFileReading(ascii.c_str(), nullptr);
    const double read_time = Since(start);
    if (back < 0) {
        Report(CDBGetErrorNumber(CDB_FAIL), "read of", ascii);
        return false;
    }
    // The untimed round checks that the file holds every entity of the drawing.
    const long written = timed ? 0 : CountEntities(h), read = timed ? 0 : CountEntities(back);
    CDBEndOperation(back);
    if (written != read) {
        std::fprintf(stderr, "velko_bench: %s reads back with %ld entities, not %ld\n",
                     ascii.c_str(), read, written);
        return false;
    }
    r->ascii_bytes = FileSize(ascii);
    r->binary_bytes = FileSize(binary);
    if (timed) {
        r->ascii.times.push_back(ascii_time);
        r->binary.times.push_back(binary_time);
        r->read.times.push_back(read_time);
    }
    return true;
}

void Print(const std::string &from, long entities, const Rounds &r, const R13DxfOptions &o) {
    const long long peak = PeakResidentBytes();
    if (o.json) {
        std::printf("{\"r13_dxf\": %s, \"entities\": %ld, \"ascii_bytes\": %lld, "
                    "\"binary_bytes\": %lld, \"rounds\": %zu, %s, %s, %s, \"peak_bytes\": %lld}\n",
                    JsonString(from).c_str(), entities, r.ascii_bytes, r.binary_bytes,
                    r.ascii.times.size(),
                    JsonPhase("write_ascii", r.ascii, r.ascii_bytes, entities).c_str(),
                    JsonPhase("write_binary", r.binary, r.binary_bytes, entities).c_str(),
                    JsonPhase("read_ascii", r.read, r.ascii_bytes, entities).c_str(), peak);
        return;
    }
    std::printf("release 13 DXF: from %s, %ld entities; ASCII %lld bytes, binary %lld bytes, "
                "%zu rounds\n",
                from.c_str(), entities, r.ascii_bytes, r.binary_bytes, r.ascii.times.size());
    PrintPhase("write ASCII", r.ascii, r.ascii_bytes, entities);
    PrintPhase("write binary", r.binary, r.binary_bytes, entities);
    PrintPhase("read ASCII", r.read, r.ascii_bytes, entities);
    std::printf("  peak memory %.1f MB (resident, the whole process so far)\n",
                static_cast<double>(peak) / 1e6);
}

// The drawing the bench writes: `from` saved as DWG in `dir`, opened again and filled. Its
// handle, or CDB_FAIL after saying what failed; `entities` gets the count added.
int16_t MakeDrawing(const std::string &from, const std::string &dir, long wanted, long *entities) {
    const std::string dwg = dir + "/bench_r13_start.dwg";
    int16_t h = CDBStartFileReading(from.c_str(), nullptr);
    if (h < 0) {
        Report(CDBGetErrorNumber(CDB_FAIL), "read of", from);
        return CDB_FAIL;
    }
    const bool saved = CDBSaveAsDWG(h, dwg.c_str()) == 0;
    if (!saved)
        Report(CDBGetErrorNumber(h), "DWG save to", dwg);
    CDBEndOperation(h);
    if (!saved)
        return CDB_FAIL;
    h = CDBStartFileReading(dwg.c_str(), nullptr);
    if (h < 0) {
        Report(CDBGetErrorNumber(CDB_FAIL), "read of", dwg);
        return CDB_FAIL;
    }
    *entities = Fill(h, wanted);
    if (*entities < 0) {
        Report(CDBGetErrorNumber(h), "adding entities to", dwg);
        CDBEndOperation(h);
        return CDB_FAIL;
    }
    return h;
}

} // namespace

std::string DefaultR13DxfFile() {
    return std::string(VELKO_CORPUS) + "/dxf13/v.dxf";
}

int RunR13Dxf(const R13DxfOptions &o) {
    const bool given = !o.file.empty();
    const std::string from = given ? o.file : DefaultR13DxfFile();
    if (FileSize(from) < 0) {
        std::printf("release 13 DXF: %s is not there: nothing measured\n", from.c_str());
        return given ? 1 : 0;
    }
    std::string dir = (std::filesystem::temp_directory_path() / "velko_r13_dxf_XXXXXX").string();
    if (!mkdtemp(dir.data())) {
        std::perror("velko_bench: mkdtemp");
        return 1;
    }
    long entities = 0;
    const int16_t h =
        MakeDrawing(from, dir, o.entities > 0 ? o.entities : kDefaultEntities, &entities);
    bool ok = h >= 0;
    Rounds r;
    ok = ok && Round(h, dir, &r, false);
    const long rounds = o.iterations > 0 ? o.iterations : (o.seconds > 0 ? 1 : kDefaultRounds);
    const Clock::time_point start = Clock::now();
    for (long done = 0; ok; ++done) {
        if (done >= rounds && (o.seconds == 0 || Since(start) >= o.seconds))
            break;
        ok = Round(h, dir, &r, true);
    }
    if (h >= 0)
        CDBEndOperation(h);
    std::error_code ec;
    std::filesystem::remove_all(dir, ec);
    if (!ok)
        return 1;
    Print(from, entities, r, o);
    std::fflush(stdout);
    return 0;
}

} // namespace velko_bench
