// Runs the kept inputs of the fuzz targets: every file below FOLDER/<target>/ is given to
// that target, as libFuzzer would give it. A finding of the fuzzers is kept there from then
// on, so that the ordinary build and its sanitizer build keep testing it.
//
//     velko_fuzz_replay FOLDER [TARGET]
//
// Exit status 0 when every input ended; a crash or a sanitizer report ends the program on
// the input, which it names first.
#include "fuzz_targets.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace {

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
    size_t replayed = 0;
    for (size_t i = 0; i < kFuzzTargetCount; ++i) {
        const FuzzTarget &target = kFuzzTargets[i];
        if (argc == 3 && std::strcmp(argv[2], target.name) != 0)
            continue;
        for (const std::filesystem::path &input :
             InputsOf(std::filesystem::path(argv[1]) / target.name)) {
            std::fprintf(stderr, "%s: %s\n", target.name, input.filename().c_str());
            const std::vector<uint8_t> bytes = ReadAll(input);
            target.run(bytes.data(), bytes.size());
            ++replayed;
        }
    }
    std::printf("velko_fuzz_replay: %zu kept inputs ended\n", replayed);
    return 0;
}
