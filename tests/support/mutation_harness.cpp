// The harness of the robustness tests: see mutation_harness.h.
#include "support/mutation_harness.h"

#include "walk/walk_support.h"

#include "dwg12/r12_drawing.h"
#include "interface/drawing_table.h"
#include "model/navigate_stack.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <new>

#if defined(__GLIBC__)
#include <malloc.h>
#endif

#include <unistd.h>

// Present when the program runs under a sanitizer: called before it ends the
// process on a report.
extern "C" void __sanitizer_set_death_callback(void (*callback)(void)) __attribute__((weak));

namespace velko_test {

using Clock = std::chrono::steady_clock;

double MutantTimeLimit() {
    return VELKO_TEST_SANITIZED ? 2.0 : 0.5;
}

double HangLimit() {
    return VELKO_TEST_SANITIZED ? 30.0 : 10.0;
}

double MutationScale() {
    const char *env = std::getenv("VELKO_MUTATION_SCALE");
    if (!env || !*env)
        return 1.0;
    double s = std::atof(env);
    return s > 0.0 ? s : 1.0;
}

uint32_t SeedFor(const std::string &relative) {
    uint32_t h = 2166136261u;
    for (char c : relative) {
        h ^= static_cast<uint8_t>(c);
        h *= 16777619u;
    }
    return kMutationSeed ^ h;
}

// ---------------------------------------------------------------------------
// Crash and hang reports
// ---------------------------------------------------------------------------

namespace {

// What is being fed to the library right now; read by the signal handler and
// the sanitizer callback, so it is a plain buffer.
char g_current_input[1024] = "";

void WriteCurrentInput(const char *event) {
    if (!g_current_input[0])
        return;
    const char *lead = "\n*** velko robustness test: ";
    ssize_t ignored = write(2, lead, std::strlen(lead));
    ignored = write(2, event, std::strlen(event));
    ignored = write(2, " while reading: ", 16);
    ignored = write(2, g_current_input, std::strlen(g_current_input));
    ignored = write(2, "\n", 1);
    (void)ignored;
}

void OnSanitizerDeath() {
    WriteCurrentInput("sanitizer report");
}

constexpr int kCrashSignals[] = {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT};
constexpr size_t kCrashSignalCount = sizeof kCrashSignals / sizeof kCrashSignals[0];
struct sigaction g_previous_actions[kCrashSignalCount];

void OnCrashSignal(int sig) {
    WriteCurrentInput(sig == SIGABRT ? "abort" : "crash signal");
    // Hand the signal on: restore what was there before and return, so that
    // the faulting instruction runs again under the old handler (a
    // sanitizer's, or the default one).
    for (size_t i = 0; i < kCrashSignalCount; ++i) {
        if (kCrashSignals[i] == sig)
            sigaction(sig, &g_previous_actions[i], nullptr);
    }
    if (sig == SIGABRT)
        raise(sig);
}

} // namespace

void SetCurrentInput(const std::string &what) {
    std::snprintf(g_current_input, sizeof g_current_input, "%s", what.c_str());
}

CrashReporter::CrashReporter() {
    if (__sanitizer_set_death_callback)
        __sanitizer_set_death_callback(OnSanitizerDeath);
    for (size_t i = 0; i < kCrashSignalCount; ++i) {
        struct sigaction sa;
        std::memset(&sa, 0, sizeof sa);
        sa.sa_handler = OnCrashSignal;
        sigemptyset(&sa.sa_mask);
        sa.sa_flags = SA_NODEFER;
        sigaction(kCrashSignals[i], &sa, &g_previous_actions[i]);
    }
}

CrashReporter::~CrashReporter() {
    for (size_t i = 0; i < kCrashSignalCount; ++i)
        sigaction(kCrashSignals[i], &g_previous_actions[i], nullptr);
    if (__sanitizer_set_death_callback)
        __sanitizer_set_death_callback(nullptr);
    g_current_input[0] = 0;
}

Watchdog::Watchdog() : thread_([this] { Run(); }) {}

Watchdog::~Watchdog() {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        stop_ = true;
    }
    wake_.notify_all();
    thread_.join();
}

void Watchdog::Begin() {
    std::lock_guard<std::mutex> lock(mutex_);
    busy_ = true;
    start_ = Clock::now();
}

void Watchdog::End() {
    std::lock_guard<std::mutex> lock(mutex_);
    busy_ = false;
}

void Watchdog::Run() {
    std::unique_lock<std::mutex> lock(mutex_);
    while (!stop_) {
        wake_.wait_for(lock, std::chrono::milliseconds(200));
        if (stop_ || !busy_)
            continue;
        double elapsed = std::chrono::duration<double>(Clock::now() - start_).count();
        if (elapsed > HangLimit()) {
            WriteCurrentInput("hang (no end after the time limit)");
            std::abort();
        }
    }
}

Outcome FeedFile(const std::string &path, Watchdog *watchdog, bool save) {
    if (watchdog)
        watchdog->Begin();
    Outcome out = FeedDrawing(path, save);
    if (watchdog)
        watchdog->End();
    return out;
}

void FeedTally::Add(const Outcome &out, const std::string &what) {
    ++fed;
    seconds += out.seconds;
    if (out.opened)
        ++opened;
    if (out.saved > 0)
        ++saved;
    if (out.seconds > slowest) {
        slowest = out.seconds;
        slowest_what = what;
    }
}

TempPath::TempPath(const std::string &tag) {
    std::error_code ec;
    std::filesystem::path dir = std::filesystem::temp_directory_path(ec);
    if (ec)
        dir = "/tmp";
    path_ = (dir / ("velko_" + tag + "_" + std::to_string(getpid()))).string();
}

TempPath::~TempPath() {
    std::remove(path_.c_str());
}

// ---------------------------------------------------------------------------
// Memory bound
// ---------------------------------------------------------------------------

size_t CurrentDataBytes() {
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line)) {
        if (line.compare(0, 7, "VmData:") == 0)
            return static_cast<size_t>(std::strtoull(line.c_str() + 7, nullptr, 10)) * 1024;
    }
    return 0;
}

namespace {
// A "Vm...:" line of /proc/self/status in bytes; -1 when absent.
int64_t StatusBytes(const char *field) {
    std::ifstream status("/proc/self/status");
    std::string line;
    const size_t length = std::strlen(field);
    while (std::getline(status, line))
        if (line.compare(0, length, field) == 0)
            return static_cast<int64_t>(std::strtoll(line.c_str() + length, nullptr, 10)) * 1024;
    return -1;
}
} // namespace

PeakMemory::PeakMemory() {
    if (VELKO_TEST_SANITIZED)
        return;
#if defined(__GLIBC__)
    malloc_trim(0);
#endif
    std::ofstream clear("/proc/self/clear_refs");
    clear << "5" << std::flush;
    if (!clear)
        return;
    start_ = StatusBytes("VmRSS:");
}

int64_t PeakMemory::Added() const {
    if (start_ < 0)
        return -1;
    const int64_t peak = StatusBytes("VmHWM:");
    return peak < 0 ? -1 : std::max<int64_t>(0, peak - start_);
}

DataLimit::DataLimit(size_t extra) {
    // The sanitizers map their shadow memory and keep freed blocks in quarantine: a limit
    // on the data size would stop them, not the library.
    if (VELKO_TEST_SANITIZED)
        return;
#if defined(__GLIBC__)
    // Free memory that the heap keeps at its top goes back first, so that the bound counts
    // from what is in use rather than from the largest heap of an earlier feed.
    malloc_trim(0);
#endif
    const size_t now = CurrentDataBytes();
    if (now == 0 || getrlimit(RLIMIT_DATA, &previous_) != 0)
        return;
    limit_ = static_cast<rlim_t>(now + extra);
    if (previous_.rlim_max != RLIM_INFINITY && limit_ > previous_.rlim_max)
        limit_ = previous_.rlim_max;
    struct rlimit bound = previous_;
    bound.rlim_cur = limit_;
    active_ = setrlimit(RLIMIT_DATA, &bound) == 0;
}

DataLimit::~DataLimit() {
    if (active_)
        setrlimit(RLIMIT_DATA, &previous_);
}

BoundedOutcome FeedFileWithinMemory(const std::string &path, size_t extra, Watchdog *watchdog) {
    BoundedOutcome result;
    {
        DataLimit limit(extra);
        result.limited = limit.active();
        try {
            result.out = FeedFile(path, watchdog);
        } catch (const std::bad_alloc &) {
            result.out_of_memory = true;
            if (watchdog)
                watchdog->End();
        }
    }
    if (result.limited && !result.out_of_memory) {
        const Outcome free = FeedFile(path, watchdog);
        result.bound_mattered = free.opened != result.out.opened || free.code != result.out.code ||
                                free.records != result.out.records ||
                                free.walked != result.out.walked ||
                                free.trouble != result.out.trouble;
    }
    return result;
}

// ---------------------------------------------------------------------------
// Generic mutants
// ---------------------------------------------------------------------------

Damage DamageFor(int index) {
    int slot = index % 20;
    if (slot < 6)
        return Damage::BitFlips;
    if (slot < 10)
        return Damage::Overwrites;
    if (slot < 14)
        return Damage::HeadOverwrites;
    if (slot < 17)
        return Damage::TailOverwrites;
    if (slot < 19)
        return Damage::Truncation;
    return Damage::ZeroFill;
}

std::string Mutator::Make(int index, std::vector<uint8_t> *out) {
    *out = original_;
    std::ostringstream what;
    size_t size = out->size();
    if (size == 0) {
        what << "empty original";
        return what.str();
    }
    switch (DamageFor(index)) {
    case Damage::BitFlips:
        FlipBits(out, &what);
        break;
    case Damage::Overwrites:
        what << "overwrites:";
        Overwrite(out, 0, size, Uniform(1, 16), &what);
        break;
    case Damage::HeadOverwrites:
        // Where a release 12 header block lives.
        what << "head overwrites:";
        Overwrite(out, 0, std::min<size_t>(size, 2048), Uniform(1, 8), &what);
        break;
    case Damage::TailOverwrites: {
        // Where a release 12 trailer and its table descriptors live.
        size_t from = size > 160 ? size - 160 : 0;
        what << "tail overwrites:";
        Overwrite(out, from, size, Uniform(1, 6), &what);
        break;
    }
    case Damage::Truncation: {
        size_t keep = Offset(0, size);
        out->resize(keep);
        what << "truncated to " << keep << " of " << size << " bytes";
        break;
    }
    case Damage::ZeroFill: {
        size_t at = Offset(0, size);
        size_t room = size - at;
        size_t len = 1 + Offset(0, std::min<size_t>(room, 4096));
        std::fill(out->begin() + static_cast<std::ptrdiff_t>(at),
                  out->begin() + static_cast<std::ptrdiff_t>(at + len), 0);
        what << "zero fill of " << len << " bytes at " << at;
        break;
    }
    }
    return what.str();
}

// One to eight bits flipped anywhere.
void Mutator::FlipBits(std::vector<uint8_t> *out, std::ostringstream *what) {
    int n = Uniform(1, 8);
    *what << "bit flips:";
    for (int i = 0; i < n; ++i) {
        size_t at = Offset(0, out->size());
        int bit = Uniform(0, 7);
        (*out)[at] ^= static_cast<uint8_t>(1u << bit);
        *what << " " << at << "." << bit;
    }
}

// `n` damages in [from, to): single bytes, random or of the values that upset sizes and
// counts, and now and then a whole 16- or 32-bit word.
void Mutator::Overwrite(std::vector<uint8_t> *out, size_t from, size_t to, int n,
                        std::ostringstream *what) {
    static const uint8_t kBytes[] = {0x00, 0xFF, 0x7F, 0x80, 0x01, 0xFE};
    static const uint32_t kWords[] = {0x0000u,     0xFFFFu,     0x7FFFu,     0x8000u,
                                      0xFFFFFFFFu, 0x7FFFFFFFu, 0x80000000u, 0x00010000u};
    for (int i = 0; i < n; ++i) {
        size_t at = Offset(from, to);
        int style = Uniform(0, 5);
        if (style <= 1) {
            uint8_t v = static_cast<uint8_t>(Uniform(0, 255));
            (*out)[at] = v;
            *what << " " << at << "=" << int(v);
        } else if (style <= 3) {
            uint8_t v = kBytes[Uniform(0, 5)];
            (*out)[at] = v;
            *what << " " << at << "=" << int(v);
        } else {
            uint32_t word = kWords[Uniform(0, 7)];
            if (Uniform(0, 3) == 0) // a position just past the end of the file
                word = static_cast<uint32_t>(out->size() + static_cast<size_t>(Uniform(0, 64)));
            int width = style == 4 ? 2 : 4;
            for (int b = 0; b < width && at + static_cast<size_t>(b) < out->size(); ++b)
                (*out)[at + static_cast<size_t>(b)] = static_cast<uint8_t>(word >> (8 * b));
            *what << " " << at << "=u" << (width * 8) << ":" << word;
        }
    }
}

} // namespace velko_test
