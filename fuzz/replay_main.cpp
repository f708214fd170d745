// Runs the kept inputs of the fuzz targets: every file below FOLDER/<target>/ is given to
// that target, as libFuzzer would give it. A finding of the fuzzers is kept there from then
// on, so that the ordinary build and its sanitizer build keep testing it.
//
//     velko_fuzz_replay FOLDER [TARGET]
//
// Exit status 0 when every input ended within the time bound (VELKO_FUZZ_REPLAY_SECONDS,
// default 5 seconds; a sanitizer build gets four times as long), 1 when one took longer; a
// crash or a sanitizer report ends the program on the input, which it names first.
#include "fuzz_targets.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#if defined(__SANITIZE_ADDRESS__)
#define VELKO_REPLAY_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define VELKO_REPLAY_SANITIZED 1
#endif
#endif
#ifndef VELKO_REPLAY_SANITIZED
#define VELKO_REPLAY_SANITIZED 0
#endif

namespace {

// What one input may take, in seconds.
double TimeBound() {
    const char *given = std::getenv("VELKO_FUZZ_REPLAY_SECONDS");
    const double seconds = given ? std::atof(given) : 0.0;
    return (seconds > 0.0 ? seconds : 5.0) * (VELKO_REPLAY_SANITIZED ? 4.0 : 1.0);
}

std::vector<uint8_t> ReadAll(const std::filesystem::path &path) {
    std::ifstream in(path, std::ios::binary);
    return std::vector<uint8_t>(std::istreambuf_iterator<char>(in), {});
}

// The inputs of one target, in name order; a missing folder has none.
std::vector<std::filesystem::path> InputsOf(const std::filesystem::path &folder) {
    std::vector<std::filesystem::path> inputs;
    std::error_code error;
    for (std::filesystem::directory_iterator it(folder, error), end; !error && it != end;
         it.increment(error))
        if (it->is_regular_file(error) && it->path().filename().string()[0] != '.')
            inputs.push_back(it->path());
    std::sort(inputs.begin(), inputs.end());
    return inputs;
}

} // namespace

int main(int argc, char **argv) {
    if (argc < 2 || argc > 3) {
        std::fprintf(stderr, "usage: velko_fuzz_replay FOLDER [TARGET]\n");
        return 2;
    }
    FuzzSetUp();
    const double bound = TimeBound();
    size_t replayed = 0, slow = 0;
    for (size_t i = 0; i < kFuzzTargetCount; ++i) {
        const FuzzTarget &target = kFuzzTargets[i];
        if (argc == 3 && std::strcmp(argv[2], target.name) != 0)
            continue;
        for (const std::filesystem::path &input :
             InputsOf(std::filesystem::path(argv[1]) / target.name)) {
            std::fprintf(stderr, "%s: %s\n", target.name, input.filename().c_str());
            const std::vector<uint8_t> bytes = ReadAll(input);
            const auto start = std::chrono::steady_clock::now();
            target.run(bytes.data(), bytes.size());
            const double spent =
                std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
            if (spent > bound) {
                std::fprintf(stderr, "%s: %s took %.2f s, more than %.2f s\n", target.name,
                             input.filename().c_str(), spent, bound);
                ++slow;
            }
            ++replayed;
        }
    }
    std::printf("velko_fuzz_replay: %zu kept inputs ended, %zu of them too slowly\n", replayed,
                slow);
    return slow == 0 ? 0 : 1;
}
