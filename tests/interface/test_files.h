// Temporary files for tests that open drawings by name.
#ifndef VELKO_TEST_FILES_H
#define VELKO_TEST_FILES_H

#include <cstdint>
#include <string>
#include <vector>

namespace velko_test {

// A file under the test temporary folder, removed when the object goes.
class TempFile {
public:
    explicit TempFile(const std::string &name);
    TempFile(const std::string &name, const std::vector<uint8_t> &bytes);
    TempFile(const std::string &name, const std::string &text);
    ~TempFile();
    TempFile(const TempFile &) = delete;
    TempFile &operator=(const TempFile &) = delete;

    const std::string &path() const { return path_; }
    const char *c_str() const { return path_.c_str(); }
    void Write(const std::vector<uint8_t> &bytes) const;

private:
    std::string path_;
};

// A release 12 drawing with the usual tables, as the test builder lays it out.
std::vector<uint8_t> MinimalDwg12();

} // namespace velko_test

#endif
