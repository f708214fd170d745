// The scene of a save test: a folder of its own, the file a save replaces in it, the
// drawings each writer saves, and a child process in which a save runs without privileges
// or with little room on the disk.
//
// What callers may rely on:
//  - ScratchFolder makes a new folder under the test temporary folder and removes it with
//    all it holds (its permission bits put back first);
//  - every writer of the library is one SaveWriter: release, DWG or DXF, ASCII or binary;
//  - OpenSource opens a small drawing of the writer's release from a folder of its own that
//    any user may read, and keeps it open until the object goes;
//  - RunInChild runs `save` in a forked child (as an unprivileged user when `unprivileged`
//    and the tests run as root; with the file size bound when `file_size_limit` > 0) and
//    gives what `save` returned there, or a failure text when the child did not end
//    normally.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace velko_test {

class ScratchFolder {
public:
    explicit ScratchFolder(const std::string &name);
    ~ScratchFolder();
    ScratchFolder(const ScratchFolder &) = delete;
    ScratchFolder &operator=(const ScratchFolder &) = delete;

    bool Made() const { return !path_.empty(); }
    const std::string &Path() const { return path_; }
    std::string File(const std::string &name) const { return path_ + "/" + name; }
    // The names in the folder, sorted, without "." and "..".
    std::vector<std::string> Entries() const;

private:
    std::string path_;
};

struct SaveWriter {
    const char *name; // for the test's name: "R12Dwg", ...
    int release;      // 12 or 13
    bool dwg;
    int16_t binary;     // for a DXF
    const char *suffix; // of the target's name
};

// The writers of the library, one by one.
const std::vector<SaveWriter> &AllSaveWriters();

// The save of the drawing under `h` by `writer` to `target`: the flat function's result.
int16_t SaveWith(const SaveWriter &writer, int16_t h, const std::string &target);

// A small drawing of a release, opened through the flat interface from a file that
// stays until the object goes.
class OpenSource {
public:
    // `bytes` empty: the small drawing of the release (a DWG for 12, a DXF for 13).
    OpenSource(int release, const std::vector<uint8_t> &bytes = {}, const char *suffix = nullptr);
    ~OpenSource();
    OpenSource(const OpenSource &) = delete;
    OpenSource &operator=(const OpenSource &) = delete;
    int16_t Handle() const { return handle_; }
    const std::string &Path() const { return path_; }

private:
    ScratchFolder folder_;
    std::string path_;
    int16_t handle_ = -123;
};

struct ChildResult {
    bool ended = false;  // the child exited normally
    int16_t saved = 0;   // what the save gave
    int16_t code = 0;    // the drawing's error code after it
    std::string failure; // how the child ended otherwise
};

struct ChildBounds {
    bool unprivileged = false;
    long file_size_limit = 0; // bytes; 0: none
};

// A release 13 DXF with one SPLINE of `points` control points, each coordinate one that
// takes a whole double in a DWG: about 25 bytes a point in the spline's DWG object.
std::vector<uint8_t> SplineR13Dxf(int points);

ChildResult RunInChild(const ChildBounds &bounds, int16_t h, const std::function<int16_t()> &save);

} // namespace velko_test
