// Helpers for the tests that read the drawing corpus.
//
// The corpus folder is the compile definition VELKO_CORPUS (the CMake cache
// variable of the same name); an environment variable VELKO_CORPUS, when set
// and not empty, overrides it at run time. Every corpus test starts with
//
//   VELKO_REQUIRE_CORPUS();
//
// which skips the test with a reason when the folder is absent, or fails it
// when the environment variable CI is "true" (a CI run must not pass by
// skipping everything).
#pragma once

#include "support/mini_json.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

namespace velko_test {

// The corpus folder, without a trailing slash.
std::string CorpusDir();
// Whether the corpus folder exists.
bool CorpusAvailable();
// Whether a missing corpus is a failure: the environment variable CI is "true".
bool CorpusRequired();
// "corpus folder <dir> not found; set VELKO_CORPUS".
std::string CorpusMissingReason();
// The full path of a file given relative to the corpus folder.
std::string CorpusPath(const std::string &relative);

// MANIFEST.json of the corpus, read once. A null value when it is missing or
// cannot be parsed; CorpusManifestError() then tells why.
const json::Value &CorpusManifest();
const std::string &CorpusManifestError();
// The entries of the manifest's "files" array whose "path" starts with
// `prefix` (all of them for ""), in manifest order.
std::vector<const json::Value *> CorpusManifestEntries(const std::string &prefix = "");

// Regular files below the corpus folder, relative to it, sorted; MANIFEST.json
// left out. `folder` ("dwg12", ...) limits the scan to one subfolder.
std::vector<std::string> CorpusFiles(const std::string &folder = "");

// A name usable as a GoogleTest parameter name: letters, digits and '_'
// only ("dwg12/3DFACE1.DWG" -> "dwg12_3DFACE1_DWG").
std::string TestNameFor(const std::string &relative);

// Reads a whole file into `out`; false when it cannot be read.
bool ReadWholeFile(const std::string &path, std::vector<uint8_t> *out);
// Writes `size` bytes to `path`, replacing it; false on failure.
bool WriteWholeFile(const std::string &path, const uint8_t *data, size_t size);

} // namespace velko_test

// Skips the current test (or fails it under CI=true) when the corpus folder is
// absent. A macro, since GTEST_SKIP() and FAIL() return from the test body.
#define VELKO_REQUIRE_CORPUS()                                                                     \
    do {                                                                                           \
        if (!::velko_test::CorpusAvailable()) {                                                    \
            if (::velko_test::CorpusRequired()) {                                                  \
                FAIL() << ::velko_test::CorpusMissingReason() << " (CI=true: a failure)";          \
            } else {                                                                               \
                GTEST_SKIP() << ::velko_test::CorpusMissingReason();                               \
            }                                                                                      \
        }                                                                                          \
    } while (0)
