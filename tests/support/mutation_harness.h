// The harness of the robustness tests that feed damaged drawings to the library.
//
// What a mutation test needs besides its own mutants:
//  - CrashReporter and SetCurrentInput: while one is alive, a crash signal, an abort or a
//    sanitizer report first writes the input being fed (as last set) to stderr;
//  - Watchdog: a thread that ends the process with that report when one input takes
//    longer than HangLimit();
//  - FeedFile: the file info, the open, every table and header read, the entity load of a
//    release 12 DWG, every walk of the flat interface and the close, timed, with every
//    answer that breaks the interface noted in Outcome::trouble; FeedTally sums feeds up
//    for a test's summary line;
//  - TempPath: a per-process temporary file that stays behind only when the process dies;
//  - Mutator: the generic damage of any file (bit flips, overwrites with the words that
//    upset sizes and counts, truncation, zero fill), reproducible from its seed;
//  - DataLimit: an upper bound on the process's data memory for the time of one feed, and
//    FeedFileWithinMemory, a feed under it that tells when the bound changed its end;
//  - the time limits, the scale of the mutant counts and the seed of a corpus file.
//
// Everything here runs on the test's own thread, one input at a time.
#pragma once

#include "support/drawing_feed.h"
#include "velkow32.h"

#include <sys/resource.h>

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <random>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#if defined(__SANITIZE_ADDRESS__)
#define VELKO_TEST_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(undefined_behavior_sanitizer)
#define VELKO_TEST_SANITIZED 1
#endif
#endif
#ifndef VELKO_TEST_SANITIZED
#define VELKO_TEST_SANITIZED 0
#endif

namespace velko_test {

// The fixed number every corpus drawing's generator is seeded from.
constexpr uint32_t kMutationSeed = 0x7E1C0D12u;

// One input's open, reads and close must stay under this (seconds). Under a sanitizer the
// code runs several times slower, and the bound grows with it. The slowest damaged input of
// all the mutation tests took 0.02 to 0.03 s in a release build and 0.08 to 0.2 s under
// ASan and UBSan, on a 2-core machine with other work running: the bounds leave a factor of
// 10 to 20 for machines that others share.
double MutantTimeLimit();
// Past this an input counts as hung: the watchdog stops the process with a report.
double HangLimit();
// The environment variable VELKO_MUTATION_SCALE (a positive number, else 1) multiplies
// the number of mutants, for deeper runs by hand.
double MutationScale();
// The seed of one corpus drawing: FNV-1a of its relative path mixed with kMutationSeed,
// the same every run.
uint32_t SeedFor(const std::string &relative);

// ---------------------------------------------------------------------------
// Crash and hang reports
// ---------------------------------------------------------------------------

// Names the input being fed now, for the reports; "" when none is.
void SetCurrentInput(const std::string &what);

// Installs the crash and sanitizer reporters for its lifetime; the previous handlers come
// back when it goes, and the signal is handed on to them after the report.
class CrashReporter {
public:
    CrashReporter();
    ~CrashReporter();
    CrashReporter(const CrashReporter &) = delete;
    CrashReporter &operator=(const CrashReporter &) = delete;
};

// A thread that stops the process with a report when one input takes longer than
// HangLimit(): a hang would otherwise end only at the test runner's timeout, without saying
// which input.
class Watchdog {
public:
    Watchdog();
    ~Watchdog();
    Watchdog(const Watchdog &) = delete;
    Watchdog &operator=(const Watchdog &) = delete;

    void Begin();
    void End();

private:
    void Run();

    std::mutex mutex_;
    std::condition_variable wake_;
    bool stop_ = false;
    bool busy_ = false;
    std::chrono::steady_clock::time_point start_;
    std::thread thread_;
};

// CDBGetDrawingFileInfo, CDBStartFileReading, every read when it opened (and with `save`
// the saves), CDBEndOperation. Failures of the calls are noted in `trouble`. The watchdog,
// when given, watches the whole feed.
Outcome FeedFile(const std::string &path, Watchdog *watchdog, bool save = false);

// Counts of a run of feeds, for the summary line of a test.
struct FeedTally {
    int fed = 0;
    int opened = 0;
    int saved = 0;            // feeds that saved in at least one form
    double seconds = 0.0;     // the sum of the feeds' times
    double slowest = 0.0;     // the slowest feed's time
    std::string slowest_what; // and its description

    void Add(const Outcome &out, const std::string &what);
};

// A temporary file path for this process, removed when the object goes (unless the
// process dies first, which leaves the offending input behind).
class TempPath {
public:
    explicit TempPath(const std::string &tag);
    ~TempPath();
    TempPath(const TempPath &) = delete;
    TempPath &operator=(const TempPath &) = delete;
    const std::string &str() const { return path_; }

private:
    std::string path_;
};

// ---------------------------------------------------------------------------
// Memory bound
// ---------------------------------------------------------------------------

// The process's data size now (VmData of /proc/self/status) in bytes; 0 when unknown.
size_t CurrentDataBytes();

// The memory bound of reading any file: kMemoryPerFileByte bytes for each byte of the file
// plus kMemoryBase. Both are measured over the corpus and the mutation sets (the peak
// resident memory a feed adds, see PeakMemory) with headroom, and stated in the README.
constexpr size_t kMemoryPerFileByte = 32;
constexpr size_t kMemoryBase = size_t(8) << 20;
constexpr size_t MemoryBound(size_t file_bytes) {
    return kMemoryPerFileByte * file_bytes + kMemoryBase;
}

// The peak of the process's resident memory from its making on, over what it held then
// (Linux: the peak mark is reset through /proc/self/clear_refs). Added() is -1 when it
// cannot be measured, and under a sanitizer, whose shadow and quarantine it would count.
class PeakMemory {
public:
    PeakMemory();
    int64_t Added() const;

private:
    int64_t start_ = -1;
};

// For its lifetime, the process's data memory (RLIMIT_DATA: heap and private mappings)
// may grow by at most `extra` bytes beyond what it holds now (after the free top of the
// heap is given back); an allocation past that fails. The previous limit comes back when
// it goes. Without effect under a sanitizer,
// whose shadow memory the limit would count.
class DataLimit {
public:
    explicit DataLimit(size_t extra);
    ~DataLimit();
    DataLimit(const DataLimit &) = delete;
    DataLimit &operator=(const DataLimit &) = delete;
    // Whether the limit was set.
    bool active() const { return active_; }
    // The limit in bytes (when active).
    size_t bytes() const { return static_cast<size_t>(limit_); }

private:
    bool active_ = false;
    rlim_t limit_ = 0;
    struct rlimit previous_ {};
};

// The outcome of a feed under a memory bound.
struct BoundedOutcome {
    Outcome out;                 // the feed under the bound
    bool limited = false;        // the bound was in force (never under a sanitizer)
    bool out_of_memory = false;  // std::bad_alloc came out of the library
    bool bound_mattered = false; // fed again without the bound, the file ended otherwise
};

// FeedFile of `path` with the process's data memory bounded to what it holds now plus
// `extra` bytes. When the bound was in force the file is fed a second time without it: an
// end that differs (opened or not, the refusal's reason, the records read and walked, the
// trouble)
// shows an allocation past the bound that the library turned into a refusal or a smaller
// drawing. The second feed is left out of `out.seconds`.
BoundedOutcome FeedFileWithinMemory(const std::string &path, size_t extra, Watchdog *watchdog);

// ---------------------------------------------------------------------------
// Generic mutants
// ---------------------------------------------------------------------------

enum class Damage { BitFlips, Overwrites, HeadOverwrites, TailOverwrites, Truncation, ZeroFill };

// The damage of mutant i: a repeating pattern of 20, so that every drawing gets each kind
// in the same proportion (6 : 4 : 4 : 3 : 2 : 1).
Damage DamageFor(int index);

// Damaged copies of one file, any kind of file; the same seed gives the same copies.
class Mutator {
public:
    Mutator(const std::vector<uint8_t> &original, uint32_t seed)
        : original_(original), rng_(seed) {}

    // Makes mutant `index` (they must be asked for in order) into `out`; returns what was
    // done to it.
    std::string Make(int index, std::vector<uint8_t> *out);

private:
    int Uniform(int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(rng_); }
    // An offset in [from, to); `to` > `from`.
    size_t Offset(size_t from, size_t to) {
        return std::uniform_int_distribution<size_t>(from, to - 1)(rng_);
    }
    void FlipBits(std::vector<uint8_t> *out, std::ostringstream *what);
    void Overwrite(std::vector<uint8_t> *out, size_t from, size_t to, int n,
                   std::ostringstream *what);

    const std::vector<uint8_t> &original_;
    std::mt19937 rng_;
};

} // namespace velko_test
