#include "r13_save_bench.h"

#include "bench_phase.h"
#include "velkow32.h"

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <stdlib.h> // mkdtemp

namespace velko_bench {

namespace {

constexpr long kDefaultRounds = 20;

// The entities of the main list and of every block's list.
long CountEntities(int16_t h) {
    long n = CDBEntityCount(h, -1);
    if (n < 0)
        return -1;
    const int16_t blocks = CDBBlockTableCount(h);
    for (int16_t b = 0; b < blocks; ++b) {
        const int16_t in_block = CDBEntityCount(h, b);
        if (in_block > 0)
            n += in_block;
    }
    return n;
}

struct Rounds {
    Phase load, save, both;
    long entities = 0;
    long long written = 0;
};

void Report(int16_t code, const char *step, const std::string &path) {
    char message[64] = {};
    CDBGetErrorMessage(code, message, sizeof message - 1);
    std::fprintf(stderr, "velko_bench: %s %s failed: %d %s\n", step, path.c_str(), code, message);
}

// One load and save; the times go to `r` when `timed`. False after saying what failed.
bool Round(const std::string &in, const std::string &out, Rounds *r, bool timed) {
    const Clock::time_point start = Clock::now();
    const int16_t h = CDBStartFileReading(in.c_str(), nullptr);
    const double load = Since(start);
    if (h < 0) {
        Report(CDBGetErrorNumber(CDB_FAIL), "load of", in);
        return false;
    }
    const Clock::time_point save_start = Clock::now();
    const int16_t saved = CDBSaveAsDWG(h, out.c_str());
    const double save = Since(save_start);
    if (saved != 0)
        Report(CDBGetErrorNumber(h), "save to", out);
    else if (!timed)
        r->entities = CountEntities(h);
    CDBEndOperation(h);
    if (saved != 0)
        return false;
    if (timed) {
        r->load.times.push_back(load);
        r->save.times.push_back(save);
        r->both.times.push_back(load + save);
    }
    return true;
}

void Print(const std::string &in, long long bytes, const Rounds &r, const R13SaveOptions &o) {
    const long long peak = PeakResidentBytes();
    if (o.json) {
        std::printf("{\"r13_save\": %s, \"bytes\": %lld, \"written\": %lld, "
                    "\"entities\": %ld, \"rounds\": %zu, %s, %s, %s, \"peak_bytes\": %lld}\n",
                    JsonString(in).c_str(), bytes, r.written, r.entities, r.load.times.size(),
                    JsonPhase("load", r.load, bytes, r.entities).c_str(),
                    JsonPhase("save", r.save, r.written, r.entities).c_str(),
                    JsonPhase("load_save", r.both, bytes, r.entities).c_str(), peak);
        return;
    }
    std::printf("release 13 save: %s: %lld bytes, %ld entities, written %lld bytes, %zu rounds\n",
                in.c_str(), bytes, r.entities, r.written, r.load.times.size());
    PrintPhase("load", r.load, bytes, r.entities);
    PrintPhase("save", r.save, r.written, r.entities);
    PrintPhase("load+save", r.both, bytes, r.entities);
    std::printf("  peak memory %.1f MB (resident, the whole process so far)\n",
                static_cast<double>(peak) / 1e6);
}

} // namespace

std::string DefaultR13SaveFile() {
    return std::string(VELKO_CORPUS) + "/dwg13/example_r13_relaid.dwg";
}

int RunR13Save(const R13SaveOptions &o) {
    const bool given = !o.file.empty();
    const std::string in = given ? o.file : DefaultR13SaveFile();
    const long long bytes = FileSize(in);
    if (bytes < 0) {
        std::printf("release 13 save: %s is not there: nothing measured\n", in.c_str());
        return given ? 1 : 0;
    }
    std::string dir = (std::filesystem::temp_directory_path() / "velko_r13_save_XXXXXX").string();
    if (!mkdtemp(dir.data())) {
        std::perror("velko_bench: mkdtemp");
        return 1;
    }
    const std::string out = dir + "/bench_r13_saved.dwg";
    Rounds r;
    bool ok = Round(in, out, &r, false);
    r.written = FileSize(out);
    const long rounds = o.iterations > 0 ? o.iterations : (o.seconds > 0 ? 1 : kDefaultRounds);
    const Clock::time_point start = Clock::now();
    for (long done = 0; ok; ++done) {
        if (done >= rounds && (o.seconds == 0 || Since(start) >= o.seconds))
            break;
        ok = Round(in, out, &r, true);
    }
    std::error_code ec;
    std::filesystem::remove_all(dir, ec);
    if (!ok)
        return 1;
    Print(in, bytes, r, o);
    std::fflush(stdout);
    return 0;
}

} // namespace velko_bench
