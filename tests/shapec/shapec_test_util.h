// Helpers of the shape compiler tests: running velko, files in a scratch folder.
#ifndef VELKO_SHAPEC_TEST_UTIL_H
#define VELKO_SHAPEC_TEST_UTIL_H

#include "support/run_command.h"
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <dirent.h>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace shapec_test {

using Outcome = velko_test::CommandOutcome;
using velko_test::RunVelko;

inline std::vector<uint8_t> ReadBytes(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    return std::vector<uint8_t>((std::istreambuf_iterator<char>(in)),
                                std::istreambuf_iterator<char>());
}

inline std::string SamplePath(const std::string &name) {
    return std::string(VELKO_SOURCE_DIR) + "/tests/data/shapes/" + name;
}

inline std::string ReadSample(const std::string &name) {
    std::vector<uint8_t> bytes = ReadBytes(SamplePath(name));
    return std::string(bytes.begin(), bytes.end());
}

// A fresh folder under the test temporary folder, removed with its files when the object
// goes.
class ScratchDir {
public:
    ScratchDir() {
        std::string pattern = ::testing::TempDir() + "velko_shapec_XXXXXX";
        std::vector<char> buffer(pattern.begin(), pattern.end());
        buffer.push_back('\0');
        if (mkdtemp(buffer.data()))
            path_ = buffer.data();
    }
    ~ScratchDir() {
        if (path_.empty())
            return;
        if (DIR *dir = opendir(path_.c_str())) {
            while (dirent *e = readdir(dir)) {
                std::string name = e->d_name;
                if (name != "." && name != "..")
                    std::remove((path_ + "/" + name).c_str());
            }
            closedir(dir);
        }
        rmdir(path_.c_str());
    }
    ScratchDir(const ScratchDir &) = delete;
    ScratchDir &operator=(const ScratchDir &) = delete;

    bool ok() const { return !path_.empty(); }
    std::string File(const std::string &name) const { return path_ + "/" + name; }
    std::string Write(const std::string &name, const std::vector<uint8_t> &bytes) const {
        std::ofstream out(File(name), std::ios::binary | std::ios::trunc);
        out.write(reinterpret_cast<const char *>(bytes.data()),
                  static_cast<std::streamsize>(bytes.size()));
        return File(name);
    }
    std::string Write(const std::string &name, const std::string &text) const {
        return Write(name, std::vector<uint8_t>(text.begin(), text.end()));
    }

private:
    std::string path_;
};

} // namespace shapec_test

#endif
