#include "interface/test_files.h"

#include "support/dwg12_builder.h"

#include <cstdio>
#include <gtest/gtest.h>
#include <unistd.h>

namespace velko_test {

TempFile::TempFile(const std::string &name)
    : path_(::testing::TempDir() + "velko_" + std::to_string(::getpid()) + "_" + name) {}

TempFile::TempFile(const std::string &name, const std::vector<uint8_t> &bytes) : TempFile(name) {
    Write(bytes);
}

TempFile::TempFile(const std::string &name, const std::string &text) : TempFile(name) {
    Write(std::vector<uint8_t>(text.begin(), text.end()));
}

TempFile::~TempFile() {
    std::remove(path_.c_str());
}

void TempFile::Write(const std::vector<uint8_t> &bytes) const {
    ASSERT_TRUE(WriteFile(path_, bytes)) << path_;
}

std::vector<uint8_t> MinimalDwg12() {
    Dwg12FileBuilder builder;
    builder.AddMinimalTables();
    return builder.Build();
}

} // namespace velko_test
