#include "blocks_bench.h"

#include "bench_phase.h"
#include "block_drawing.h"

#include <cstdio>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

#include <stdlib.h> // mkdtemp

namespace velko_bench {

namespace {

constexpr long kDefaultRounds = 5;
constexpr int kSmallBlocks = 300;
constexpr int kLargeBlocks = 30000;
constexpr int kLinesPerBlock = 3;

struct Release {
    const char *name;
    std::string template_path;
};

struct Measured {
    int blocks = 0;
    long long bytes = 0;
    Phase rounds;
    double PerBlock(double seconds) const { return seconds / blocks; }
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
        std::fprintf(stderr, "velko_bench: %s drawing of %d blocks: %s\n", release.name, blocks,
                     error.c_str());
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
    while (long(m->rounds.times.size()) < rounds || (o.seconds > 0 && Since(all) < o.seconds)) {
        const Clock::time_point start = Clock::now();
        WalkBlocksByIndex(path);
        m->rounds.times.push_back(Since(start));
    }
    return true;
}

void PrintRelease(const Release &release, const Measured &small, const Measured &large, bool json,
                  bool last) {
    const double small_best = small.PerBlock(small.rounds.Best());
    const double large_best = large.PerBlock(large.rounds.Best());
    const double small_median = small.PerBlock(small.rounds.Median());
    const double large_median = large.PerBlock(large.rounds.Median());
    if (json) {
        std::printf("  \"%s\": {\"small_blocks\": %d, \"large_blocks\": %d, "
                    "\"small_us_per_block\": %.3f, \"large_us_per_block\": %.3f, "
                    "\"ratio_best\": %.3f, \"ratio_median\": %.3f}%s\n",
                    release.name, small.blocks, large.blocks, small_best * 1e6, large_best * 1e6,
                    large_best / small_best, large_median / small_median, last ? "" : ",");
        return;
    }
    std::printf("release %s: open + CDBBlockGet of every block + walk of its entities\n",
                release.name);
    std::printf("  %6d blocks  %9lld bytes  best %8.4f s  %7.2f us/block   median %8.4f s  "
                "%7.2f us/block\n",
                small.blocks, small.bytes, small.rounds.Best(), small_best * 1e6,
                small.rounds.Median(), small_median * 1e6);
    std::printf("  %6d blocks  %9lld bytes  best %8.4f s  %7.2f us/block   median %8.4f s  "
                "%7.2f us/block\n",
                large.blocks, large.bytes, large.rounds.Best(), large_best * 1e6,
                large.rounds.Median(), large_median * 1e6);
    std::printf("  time per block, %d to %d blocks: ratio %.2f (best), %.2f (median)\n",
                large.blocks, small.blocks, large_best / small_best, large_median / small_median);
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
    std::vector<Release> releases = {{"12", std::string(VELKO_SOURCE_DIR) + "/data/sample.dwg"}};
    const std::string r13 = std::string(VELKO_CORPUS) + "/dwg13/example_r13_relaid.dwg";
    if (FileSize(r13) > 0)
        releases.push_back({"13", r13});
    int status = 0;
    if (o.json)
        std::printf("{\n");
    for (size_t i = 0; i < releases.size(); ++i) {
        Measured small, large;
        if (!Measure(releases[i], dir, kSmallBlocks, o, &small) ||
            !Measure(releases[i], dir, kLargeBlocks, o, &large)) {
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
