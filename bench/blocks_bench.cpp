#include "blocks_bench.h"

#include "bench_phase.h"
#include "block_drawing.h"

#include <cstdio>
#include <filesystem>
#include <string>
#include <utility>
#include <system_error>
#include <vector>

#include <stdlib.h> // mkdtemp

namespace velko_bench {

namespace {

constexpr long kDefaultRounds = 5;
constexpr int kSmallBlocks = 300;
constexpr int kLargeBlocks = 30000;
constexpr int kLargeRelease13Blocks = 10000;
constexpr int kLinesPerBlock = 3;

struct Release {
    const char *name;
    std::string template_path;
    int large_blocks;
};

struct Measured {
    int blocks = 0;
    long long bytes = 0;
    Phase load, walk, close, total;
};

bool Walked(const BlockWalk &w, int blocks) {
    return w.opened && w.blocks >= blocks && w.entities >= long(blocks) * kLinesPerBlock;
}

// Makes the drawing of `blocks` blocks and times its rounds; false after saying what failed.
bool Measure(const Release &release, const std::string &dir, int blocks, const BlocksOptions &o,
             Measured *m) {
    const std::string path =
        dir + "/blocks_" + release.name + "_" + std::to_string(blocks) + ".dwg";
    std::string error;
    if (!MakeBlockDrawing(release.template_path, path, blocks, kLinesPerBlock, &error)) {
        std::fprintf(stderr, "velko_bench: release %s drawing of %d blocks: %s\n", release.name,
                     blocks, error.c_str());
        return false;
    }
    m->blocks = blocks;
    m->bytes = FileSize(path);
    // One untimed round checks that the walk reaches every block and entity.
    const BlockWalk first = WalkBlocksByIndex(path);
    if (!Walked(first, blocks)) {
        std::fprintf(stderr, "velko_bench: %s: %ld blocks and %ld entities walked\n", path.c_str(),
                     first.blocks, first.entities);
        return false;
    }
    const long rounds = o.iterations > 0 ? o.iterations : (o.seconds > 0 ? 1 : kDefaultRounds);
    const Clock::time_point all = Clock::now();
    while (long(m->total.times.size()) < rounds || (o.seconds > 0 && Since(all) < o.seconds)) {
        const BlockWalk w = WalkBlocksByIndex(path);
        m->load.times.push_back(w.load_seconds);
        m->walk.times.push_back(w.walk_seconds);
        m->close.times.push_back(w.close_seconds);
        m->total.times.push_back(w.load_seconds + w.walk_seconds + w.close_seconds);
    }
    return true;
}

// Microseconds per block of the best round.
double PerBlock(const Phase &p, int blocks) {
    return p.Best() * 1e6 / blocks;
}

void PrintRelease(const Release &release, const Measured &small, const Measured &large, bool json,
                  bool last) {
    const std::pair<const char *, const Phase Measured::*> phases[] = {{"load", &Measured::load},
                                                                       {"walk", &Measured::walk},
                                                                       {"close", &Measured::close},
                                                                       {"total", &Measured::total}};
    if (json) {
        std::printf("  \"%s\": {\"small_blocks\": %d, \"large_blocks\": %d", release.name,
                    small.blocks, large.blocks);
        for (const auto &phase : phases) {
            const double a = PerBlock(small.*phase.second, small.blocks);
            const double b = PerBlock(large.*phase.second, large.blocks);
            std::printf(", \"%s_us_per_block\": [%.3f, %.3f], \"%s_ratio\": %.3f", phase.first, a,
                        b, phase.first, b / a);
        }
        std::printf("}%s\n", last ? "" : ",");
        return;
    }
    std::printf("release %s: microseconds per block, best of the rounds (open and load of the\n"
                "entities; CDBBlockGet of every block and the walk of its entities; close)\n",
                release.name);
    std::printf("  %-6s %7d blocks %7d blocks %7s\n", "", small.blocks, large.blocks, "ratio");
    for (const auto &phase : phases) {
        const double a = PerBlock(small.*phase.second, small.blocks);
        const double b = PerBlock(large.*phase.second, large.blocks);
        std::printf("  %-6s %14.3f %14.3f %7.2f\n", phase.first, a, b, b / a);
    }
    std::printf("  files: %lld and %lld bytes\n", small.bytes, large.bytes);
}

} // namespace

int RunBlocks(const BlocksOptions &o) {
    std::string pattern =
        (std::filesystem::temp_directory_path() / "velko_bench_blocks_XXXXXX").string();
    if (!mkdtemp(&pattern[0])) {
        std::fprintf(stderr, "velko_bench: no temporary directory\n");
        return 1;
    }
    const std::string dir = pattern;
    std::vector<Release> releases = {
        {"12", std::string(VELKO_SOURCE_DIR) + "/data/sample.dwg", kLargeBlocks}};
    // A release 13 drawing made from a DXF template. Its DWG holds about 10,900 blocks at
    // most: the block control object lists a handle of each and may not pass 32,767 bytes,
    // and a save of more is refused with CDB_ERR_FORM_LIMIT.
    const std::string r13 = std::string(VELKO_CORPUS) + "/dxf13/small_r13.dxf";
    if (FileSize(r13) > 0)
        releases.push_back({"13", r13, kLargeRelease13Blocks});
    int status = 0;
    if (o.json)
        std::printf("{\n");
    for (size_t i = 0; i < releases.size(); ++i) {
        Measured small, large;
        if (!Measure(releases[i], dir, kSmallBlocks, o, &small) ||
            !Measure(releases[i], dir, releases[i].large_blocks, o, &large)) {
            status = 1;
            continue;
        }
        PrintRelease(releases[i], small, large, o.json, i + 1 == releases.size());
    }
    if (o.json)
        std::printf("}\n");
    std::error_code ec;
    std::filesystem::remove_all(dir, ec);
    return status;
}

} // namespace velko_bench
