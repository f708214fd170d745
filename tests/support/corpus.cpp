// Helpers for the tests that read the drawing corpus; see corpus.h.
#include "support/corpus.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#ifndef VELKO_CORPUS
#define VELKO_CORPUS ""
#endif

namespace velko_test {

namespace fs = std::filesystem;

namespace {

struct ManifestCache {
    json::Value value;
    std::string error;
};

const ManifestCache &Manifest() {
    static const ManifestCache cache = [] {
        ManifestCache c;
        if (!CorpusAvailable()) {
            c.error = CorpusMissingReason();
            return c;
        }
        c.value = json::ParseFile(CorpusPath("MANIFEST.json"), &c.error);
        if (c.error.empty() && !c.value["files"].is_array())
            c.error = CorpusPath("MANIFEST.json") + ": no \"files\" array";
        return c;
    }();
    return cache;
}

} // namespace

std::string CorpusDir() {
    const char *env = std::getenv("VELKO_CORPUS");
    std::string dir = (env && *env) ? env : VELKO_CORPUS;
    while (dir.size() > 1 && dir.back() == '/')
        dir.pop_back();
    return dir;
}

bool CorpusAvailable() {
    std::string dir = CorpusDir();
    if (dir.empty())
        return false;
    std::error_code ec;
    return fs::is_directory(dir, ec);
}

bool CorpusRequired() {
    const char *ci = std::getenv("CI");
    return ci && std::string(ci) == "true";
}

std::string CorpusMissingReason() {
    std::string dir = CorpusDir();
    return "corpus folder " + (dir.empty() ? std::string("(none given)") : dir) +
           " not found; set VELKO_CORPUS";
}

std::string CorpusPath(const std::string &relative) {
    return CorpusDir() + "/" + relative;
}

const json::Value &CorpusManifest() {
    return Manifest().value;
}

const std::string &CorpusManifestError() {
    return Manifest().error;
}

std::vector<const json::Value *> CorpusManifestEntries(const std::string &prefix) {
    std::vector<const json::Value *> out;
    for (const json::Value &entry : CorpusManifest()["files"].items()) {
        const std::string &path = entry["path"].as_string();
        if (!path.empty() && path.compare(0, prefix.size(), prefix) == 0)
            out.push_back(&entry);
    }
    return out;
}

std::vector<std::string> CorpusFiles(const std::string &folder) {
    std::vector<std::string> out;
    if (!CorpusAvailable())
        return out;
    fs::path root(CorpusDir());
    fs::path start = folder.empty() ? root : root / folder;
    std::error_code ec;
    if (!fs::is_directory(start, ec))
        return out;
    for (fs::recursive_directory_iterator it(start, ec), end; !ec && it != end; it.increment(ec)) {
        std::error_code type_ec;
        if (!it->is_regular_file(type_ec))
            continue;
        std::string rel = it->path().lexically_relative(root).generic_string();
        if (rel == "MANIFEST.json")
            continue;
        out.push_back(rel);
    }
    std::sort(out.begin(), out.end());
    return out;
}

std::string TestNameFor(const std::string &relative) {
    std::string name;
    for (char c : relative) {
        bool keep = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
        name.push_back(keep ? c : '_');
    }
    return name.empty() ? std::string("empty") : name;
}

bool ReadWholeFile(const std::string &path, std::vector<uint8_t> *out) {
    out->clear();
    FILE *f = std::fopen(path.c_str(), "rb");
    if (!f)
        return false;
    uint8_t chunk[65536];
    size_t n = 0;
    while ((n = std::fread(chunk, 1, sizeof chunk, f)) > 0)
        out->insert(out->end(), chunk, chunk + n);
    bool ok = !std::ferror(f);
    std::fclose(f);
    return ok;
}

bool WriteWholeFile(const std::string &path, const uint8_t *data, size_t size) {
    FILE *f = std::fopen(path.c_str(), "wb");
    if (!f)
        return false;
    bool ok = size == 0 || std::fwrite(data, 1, size, f) == size;
    ok = (std::fclose(f) == 0) && ok;
    return ok;
}

} // namespace velko_test
