// The memory of reading any file stays within MemoryBound of its size: every corpus
// drawing, the shipped drawings and damaged copies of each are read whole (open, tables,
// header, every walk) in a child process, and the resident memory each read adds at its
// peak is held against the bound. The largest peak and the largest peak per byte of the
// file are printed, with their files; VELKO_MEMORY_TABLE=1 prints every read's size and peak.
#include "velkow32.h"

#include "../bench/block_drawing.h"
#include "interface/test_files.h"
#include "support/child_feed.h"
#include "support/corpus.h"
#include "support/mutation_harness.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

namespace velko_test {
namespace {

// Damaged copies of each drawing, before VELKO_MUTATION_SCALE.
constexpr int kCopiesPerFile = 12;
// From this size on a file's peak is also printed per byte of the file.
constexpr int64_t kLargeFile = 100000;

struct Source {
    std::string name; // as printed
    std::string path;
};

// Drawings of many blocks made by the library's writer, of both releases: the most memory
// per byte of file the library takes.
std::vector<Source> MadeDrawings(const std::vector<std::unique_ptr<TempFile>> &made) {
    std::vector<Source> sources;
    const struct {
        const char *name;
        std::string template_path;
        int blocks;
    } kinds[] = {
        {"release 12 DWG of 5000 blocks", std::string(VELKO_SOURCE_DIR) + "/data/sample.dwg", 5000},
        {"release 13 DWG of 1500 blocks", CorpusPath("dwg13/example_r13_relaid.dwg"), 1500}};
    for (size_t k = 0; k < made.size() && k < 2; ++k) {
        std::string error;
        EXPECT_TRUE(velko_bench::MakeBlockDrawing(kinds[k].template_path, made[k]->path(),
                                                  kinds[k].blocks, 3, &error))
            << kinds[k].name << ": " << error;
        sources.push_back({kinds[k].name, made[k]->path()});
    }
    return sources;
}

std::vector<Source> Sources(const std::vector<std::unique_ptr<TempFile>> &made) {
    std::vector<Source> sources = MadeDrawings(made);
    for (const char *shipped : {"sample.dwg", "picture.dwg"})
        sources.push_back(
            {std::string("data/") + shipped, std::string(VELKO_SOURCE_DIR) + "/data/" + shipped});
    for (const std::string &relative : CorpusFiles())
        sources.push_back({relative, CorpusPath(relative)});
    return sources;
}

// The largest peak seen, in bytes and per byte of the file.
struct Largest {
    double ratio = 0;
    std::string ratio_file;
    int64_t peak = 0;
    std::string peak_file;
    int measured = 0;

    void Note(const ChildFeedReport &report, const std::string &what) {
        if (report.peak_bytes < 0)
            return;
        ++measured;
        if (report.peak_bytes > peak) {
            peak = report.peak_bytes;
            peak_file = what;
        }
        // Per byte only for files large enough that the constant part does not rule.
        if (report.file_bytes < kLargeFile)
            return;
        const double per_byte = double(report.peak_bytes) / double(report.file_bytes);
        if (per_byte > ratio) {
            ratio = per_byte;
            ratio_file = what;
        }
    }
};

TEST(MemoryBound, CorpusAndDamagedCopiesStayWithinTheBound) {
    VELKO_REQUIRE_CORPUS();
    const int copies = static_cast<int>(kCopiesPerFile * MutationScale());
    std::vector<std::unique_ptr<TempPath>> temps;
    for (int k = 0; k < copies; ++k)
        temps.push_back(std::make_unique<TempPath>("memory_bound_" + std::to_string(k)));

    std::vector<std::unique_ptr<TempFile>> made;
    for (int k = 0; k < 2; ++k)
        made.push_back(
            std::make_unique<TempFile>("memory_bound_made_" + std::to_string(k) + ".dwg"));

    Largest largest;
    int failed = 0;
    for (const Source &source : Sources(made)) {
        std::vector<uint8_t> original;
        ASSERT_TRUE(ReadWholeFile(source.path, &original)) << source.path;
        std::vector<std::string> paths = {source.path};
        std::vector<std::string> whats = {source.name};
        Mutator mutator(original, SeedFor(source.name));
        std::vector<uint8_t> bytes;
        for (int i = 0; i < copies; ++i) {
            const std::string what = mutator.Make(i, &bytes);
            const std::string &path = temps[static_cast<size_t>(i)]->str();
            ASSERT_TRUE(WriteWholeFile(path, bytes.data(), bytes.size())) << path;
            paths.push_back(path);
            whats.push_back(source.name + " copy " + std::to_string(i) + ": " + what);
        }
        const std::vector<ChildFeedOutcome> fed = FeedFilesInChild(paths, ChildFeedBounds());
        for (size_t k = 0; k < fed.size(); ++k) {
            largest.Note(fed[k].report, whats[k]);
            if (std::getenv("VELKO_MEMORY_TABLE"))
                std::printf("[ memory ] %lld %lld %s\n",
                            static_cast<long long>(fed[k].report.file_bytes),
                            static_cast<long long>(fed[k].report.peak_bytes), whats[k].c_str());
            // Only the memory is judged here; the mutation tests judge the rest.
            const bool memory = fed[k].report.out_of_memory ||
                                fed[k].report.peak_bytes >
                                    static_cast<int64_t>(
                                        MemoryBound(static_cast<size_t>(fed[k].report.file_bytes)));
            if (memory && ++failed <= 5)
                ADD_FAILURE() << fed[k].Failure() << ": " << whats[k];
        }
    }
    EXPECT_EQ(failed, 0) << failed << " reads passed the memory bound";
    std::printf("[ memory ] bound %zu x size + %zu MB; %d reads measured; largest peak %lld "
                "bytes (%s); largest per file byte of a file over 100 KB %.2f (%s)\n",
                kMemoryPerFileByte, kMemoryBase >> 20, largest.measured,
                static_cast<long long>(largest.peak), largest.peak_file.c_str(), largest.ratio,
                largest.ratio_file.c_str());
}

} // namespace
} // namespace velko_test
