// Feeding files to the library in a child process, so that a crash, a hang, a sanitizer
// report or a leak of one damaged file is caught, bounded in time and charged to that file
// while the test goes on.
//
// What callers may rely on:
//  - the child feeds the files one after the other (FeedFile by default: the file info, the
//    open, every table, the header, every walk, the close), each under a data memory bound
//    of its size plus `memory_extra` (DataLimit: not under a sanitizer), and reports on
//    each through a pipe in a fixed-size report;
//  - a file whose report does not come within `time_limit` seconds of wall time (counted
//    from the report of the file before it) has its child killed; a child that dies (a
//    signal, a sanitizer report, an exit status other than 0) is charged to the file it
//    was feeding; the files behind it go to a new child;
//  - when the leak checker is present the child runs it after its last file; leaks in a
//    batch of several files are found again by feeding each file of the batch alone, so
//    that they too are charged to one file;
//  - the outcomes come back in the order of the paths, one per path.
#pragma once

#include "support/mutation_harness.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace velko_test {

// What the child says about one file; fixed size, crosses the pipe in one piece.
struct ChildFeedReport {
    int32_t opened = 0;
    int16_t status = 0; // the handle, or the refusal
    int16_t code = 0;   // the refusal's reason
    int32_t records = 0;
    int32_t walked = 0;
    int32_t out_of_memory = 0; // std::bad_alloc came out of the library
    int32_t memory_bound = 0;  // the data memory bound was in force
    int32_t leaks = 0;         // the leak checker found memory not freed (closing report)
    int32_t closing = 0;       // 1 for the report behind the last file, leaks only
    double seconds = 0.0;      // processor time of the feed
    int64_t file_bytes = 0;    // the file's size
    // The resident memory the feed added at its peak, over what the child held before it;
    // -1 when it cannot be measured (no /proc, or a sanitizer's shadow in the way).
    int64_t peak_bytes = -1;
    char trouble[240] = {}; // the first broken answer, cut to fit; empty when none
};

// How the feed of one file ended, seen from the parent.
struct ChildFeedOutcome {
    bool reported = false;  // the child reported on the file
    bool timed_out = false; // killed after the time limit
    bool leaked = false;    // the leak checker found memory not freed
    std::string ended;      // how the child ended when that is charged to the file
    ChildFeedReport report;

    // Empty when the feed ended cleanly; otherwise what went wrong, in words.
    std::string Failure() const;
};

struct ChildFeedBounds {
    // The data memory bound is MemoryBound(size) (mutation_harness.h) plus this.
    size_t memory_extra = 0;
    double time_limit = 0.0; // seconds of wall time per file; 0: the default
};

// The default time limit: generous beyond MutantTimeLimit(), which already grows under the
// sanitizers, for a machine that others share.
double ChildTimeLimit();

// Feeds one file in the child: FeedFile unless a test gives its own feed (which may
// crash, hang or leak on purpose).
using ChildFeeder = std::function<Outcome(const std::string &path)>;

// The files of `paths`, in as few children as the outcomes allow; one outcome per path.
std::vector<ChildFeedOutcome> FeedFilesInChild(const std::vector<std::string> &paths,
                                               const ChildFeedBounds &bounds,
                                               const ChildFeeder &feed = nullptr);

// One file in its own child.
ChildFeedOutcome FeedFileInChild(const std::string &path, size_t memory_extra,
                                 double time_limit = 0.0);

} // namespace velko_test
