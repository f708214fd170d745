// Robustness of DXF reading, release 12 and release 13: damaged copies of every dxf12 and
// every dxf13 drawing of the corpus, and hand-made files on which a loose reader would stall.
//
// A damaged copy is made by the group structure of the file: group codes changed, lines
// cut, values cut, the file truncated, bytes flipped, lines or groups swapped, sections
// duplicated, values replaced by section words, extreme numbers or overlong text, line
// ends broken, end markers taken out, extended data thrown in, huge numbers in the groups
// that count what follows. An ASCII drawing is also damaged in a binary rendition of its
// groups, in the binary form of its release: one code byte (255 and two bytes beyond) and the
// release 12 value table, or two-byte codes and the release 13 value table; a release 13
// binary copy is sometimes written without its sentinel. Each copy is opened, and if it opens, it
// is read as an application reads it (its tables, header and every walk, through the shared
// drawing feed), and a sample of the copies is saved as DWG, as ASCII DXF and as binary DXF; that
// must end without a crash, a hang, a leak or a sanitizer report, within a time bound, and (outside
// the sanitizers) within a data memory bound of the copy's size and a few megabytes.
//
// Every copy is read in a child process, so that a crash or a stall is reported as a
// failure that names the drawing, the copy's number, the seed and the damage, and the
// run goes on; the damaged file is kept under the test's temporary folder for a rerun.
// The copies come from std::mt19937 seeded per drawing from a fixed number, and the
// environment variable VELKO_MUTATION_SCALE multiplies their number. Every other copy is read
// with every tolerant road of reading on (CDB_READ_TOLERANT), the others on the original road.
#include "support/child_feed.h"
#include "support/corpus.h"
#include "support/drawing_feed.h"
#include "support/mutation_harness.h"
#include "support/r13_dxf_fixture.h"

#include "velkow32.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cctype>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <deque>
#include <functional>
#include <new>
#include <random>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include <fcntl.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

// Present under the leak sanitizer: checks for leaks now and says whether it found any.
extern "C" int __lsan_do_recoverable_leak_check() __attribute__((weak));

namespace velko_test {
namespace dxf_mutation {
namespace {

using Bytes = std::vector<uint8_t>;

// The fixed number every drawing's generator is seeded from.
constexpr uint32_t kSeed = 0xD0C5D12Fu;

// Damaged copies per drawing, before VELKO_MUTATION_SCALE; an ASCII drawing gets this
// many more in its binary rendition. A release 13 drawing above kLargeDrawing bytes gets a
// tenth.
constexpr int kMutants = 500;
constexpr int kBinaryRenditionMutants = 100;
constexpr int kRelease13Mutants = 500;
constexpr int kRelease13RenditionMutants = 150;
constexpr size_t kLargeDrawing = 256 * 1024;

// What a copy's reading may take beyond the copy's own size in data memory.
constexpr size_t kMemoryExtra = size_t(8) << 20;

// The release whose binary form the copies of a drawing take.
enum class Release { k12, k13 };

// Damaged copies that one child process reads, one after the other.
constexpr int kBatch = 25;

// Every this many copies is also saved as DWG and as DXF when it opens; a drawing above
// kSmallForSaving bytes is saved more rarely, as each save writes all of it three times.
constexpr int kSaveEvery = 10;
constexpr int kSaveEveryLarge = 100;
constexpr size_t kSmallForSaving = 64 * 1024;

double MutationScale() {
    const char *env = std::getenv("VELKO_MUTATION_SCALE");
    if (!env || !*env)
        return 1.0;
    double s = std::atof(env);
    return s > 0.0 ? s : 1.0;
}

// One copy's open, reads and close must stay under this, in seconds of the reading
// process's own processor time: the bound of every mutation test.
double TimeLimit() {
    return MutantTimeLimit();
}

// A copy whose process has not ended after this many seconds of wall time is stopped
// and counted as a stall: the bound of the child feed.
double StallLimit() {
    return ChildTimeLimit();
}

// ---------------------------------------------------------------------------
// Reading a file as an application does, in the child process
// ---------------------------------------------------------------------------

// What a child process reports; fixed size, written in one piece to a pipe.
struct ChildReport {
    int32_t last = 0; // 1 for the closing report of a batch, which carries `leaks` only
    int32_t opened = 0;
    int16_t status = 0;   // the handle, or the refusal
    int16_t code = 0;     // the refusal's reason
    int32_t records = 0;  // table records
    int32_t walked = 0;   // records handed out by the walks
    int32_t saved = 0;    // the forms the drawing was saved in (DWG, ASCII and binary DXF)
    double seconds = 0.0; // processor time of open, reads, saves and close
    int32_t leaks = 0;
    int32_t out_of_memory = 0; // an allocation past the memory bound came out of the library
    char trouble[400] = {};
};

double ProcessSeconds() {
    struct timespec ts;
    if (clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &ts) != 0)
        return 0.0;
    return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) * 1e-9;
}

// The feed of one file as an application reads it (FeedDrawing: the file info, the open,
// every table, the header, every walk, with `save` the saves in every form, the close),
// timed in processor time.
ChildReport ReadFile(const std::string &path, bool save) {
    const double start = ProcessSeconds();
    const velko_test::Outcome fed = FeedDrawing(path, save);
    ChildReport report;
    report.seconds = ProcessSeconds() - start;
    report.opened = fed.opened ? 1 : 0;
    report.status = fed.status;
    report.code = fed.code;
    report.records = static_cast<int32_t>(fed.records);
    report.walked = static_cast<int32_t>(fed.walked);
    report.saved = fed.saved;
    std::snprintf(report.trouble, sizeof report.trouble, "%s", fed.trouble.c_str());
    return report;
}

// ReadFile with the data memory bounded to the file's size and kMemoryExtra beyond what the
// process holds now (no bound under a sanitizer).
ChildReport ReadFileWithinMemory(const std::string &path, size_t size, bool save) {
    DataLimit limit(size + kMemoryExtra);
    try {
        return ReadFile(path, save);
    } catch (const std::bad_alloc &) {
        ChildReport report;
        report.out_of_memory = 1;
        std::snprintf(report.trouble, sizeof report.trouble,
                      "an allocation past the memory bound of %zu bytes came out of the library",
                      size + kMemoryExtra);
        return report;
    }
}

// ---------------------------------------------------------------------------
// Child processes
// ---------------------------------------------------------------------------

// How one file's reading ended, seen from the parent.
struct Outcome {
    bool finished = false; // the child reported on the file
    bool stalled = false;  // stopped after StallLimit()
    std::string failure;   // crash, sanitizer report, broken answer: empty when none
    ChildReport report;
};

std::string Describe(int status) {
    if (WIFSIGNALED(status))
        return "killed by signal " + std::to_string(WTERMSIG(status));
    if (WIFEXITED(status))
        return "exit status " + std::to_string(WEXITSTATUS(status));
    return "status " + std::to_string(status);
}

// Runs files in child processes, a few at a time. A child reads a batch of files, one
// after the other, and reports on each as it goes; a crash or a stall ends the child, is
// charged to the file that it was reading, and the rest of its batch goes to a new child.
class ChildPool {
public:
    struct Job {
        std::string description;  // what the file is, for a report
        Bytes bytes;              // the file's content
        bool save = false;        // also save the drawing, when it opens
        int32_t read_options = 0; // the read options in force while the child reads it
    };
    // Makes job `index`; called in order of the index.
    using Make = std::function<Job(int index)>;
    // Receives each outcome, in no fixed order.
    using Done = std::function<void(int index, const Job &job, const Outcome &out)>;

    ChildPool(int parallel, const std::string &tag, int batch)
        : slots_(static_cast<size_t>(std::max(1, parallel))), tag_(tag),
          batch_(static_cast<size_t>(std::max(1, batch))) {}
    ~ChildPool() {
        for (size_t i = 0; i < slots_.size(); ++i) {
            for (size_t k = 0; k < batch_; ++k)
                std::remove(SlotPath(i, k).c_str());
        }
    }
    ChildPool(const ChildPool &) = delete;
    ChildPool &operator=(const ChildPool &) = delete;

    // Starts no further job; those running are waited for.
    void Stop() { stop_ = true; }

    void Run(int count, const Make &make, const Done &done) {
        int made = 0;
        std::deque<Pending> pending;
        size_t busy = 0;
        auto more = [&]() {
            if (stop_)
                return false;
            if (pending.empty() && made < count) {
                pending.push_back({made, make(made)});
                ++made;
            }
            return !pending.empty();
        };
        for (;;) {
            for (size_t i = 0; i < slots_.size(); ++i) {
                Slot &s = slots_[i];
                if (s.pid > 0 || !more())
                    continue;
                s = Slot();
                while (s.batch.size() < batch_ && more()) {
                    s.batch.push_back(std::move(pending.front()));
                    pending.pop_front();
                }
                std::string failure = Start(&s, i);
                if (s.pid > 0) {
                    ++busy;
                } else {
                    for (Pending &p : s.batch) {
                        Outcome out;
                        out.failure = failure;
                        done(p.index, p.job, out);
                    }
                    s.batch.clear();
                }
            }
            if (busy == 0 && !more())
                break;
            bool progress = false;
            for (Slot &s : slots_) {
                if (s.pid <= 0)
                    continue;
                progress |= Drain(&s, done);
                int status = 0;
                pid_t r = waitpid(s.pid, &status, WNOHANG);
                const double quiet = std::chrono::duration<double>(Clock::now() - s.last).count();
                std::string failure;
                bool stalled = false;
                if (r == 0 && quiet > StallLimit()) {
                    kill(s.pid, SIGKILL);
                    waitpid(s.pid, &status, 0);
                    char text[64];
                    std::snprintf(text, sizeof text, "no end after %.0f s: the reading stalls",
                                  StallLimit());
                    failure = text;
                    stalled = true;
                } else if (r == s.pid) {
                    Drain(&s, done);
                    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0)
                        failure = "the reading process ended abnormally (" + Describe(status) +
                                  "): a crash or a sanitizer report, see its output";
                    else if (s.reported < s.batch.size())
                        failure = "the reading process ended without a report";
                } else if (r < 0) {
                    failure = "the reading process was lost";
                } else {
                    continue;
                }
                // The child is gone: the file it was reading takes the failure, the files
                // after it go back to the queue.
                close(s.fd);
                s.fd = -1;
                s.pid = 0;
                --busy;
                progress = true;
                if (s.reported < s.batch.size()) {
                    Outcome out;
                    out.stalled = stalled;
                    out.failure = failure;
                    Pending &p = s.batch[s.reported];
                    done(p.index, p.job, out);
                    for (size_t k = s.batch.size(); k-- > s.reported + 1;)
                        pending.push_front(std::move(s.batch[k]));
                } else if (!failure.empty() && !s.batch.empty()) {
                    Outcome out;
                    out.failure = failure + " (after the last file of its batch)";
                    done(s.batch.back().index, s.batch.back().job, out);
                } else if (s.leaks && !s.batch.empty()) {
                    Outcome out;
                    out.failure = "the leak checker reported memory that was not freed, in one "
                                  "of copies " +
                                  std::to_string(s.batch.front().index) + " to " +
                                  std::to_string(s.batch.back().index);
                    done(s.batch.back().index, s.batch.back().job, out);
                }
                s.batch.clear();
            }
            if (!progress)
                usleep(200);
        }
    }

private:
    using Clock = std::chrono::steady_clock;
    struct Pending {
        int index = 0;
        Job job;
    };
    struct Slot {
        pid_t pid = 0;
        int fd = -1;
        std::vector<Pending> batch;
        size_t reported = 0; // reports received
        int leaks = 0;
        Clock::time_point last; // start, or the last report
        std::string buffer;     // bytes of a report still incomplete
    };

    std::string SlotPath(size_t slot, size_t k) const {
        return ::testing::TempDir() + "velko_dxf12_" + tag_ + "_" + std::to_string(::getpid()) +
               "_" + std::to_string(slot) + "_" + std::to_string(k) + ".dxf";
    }

    // Writes the batch's files and starts the child; the failure when it could not.
    std::string Start(Slot *s, size_t slot) {
        std::vector<std::string> paths;
        for (size_t k = 0; k < s->batch.size(); ++k) {
            paths.push_back(SlotPath(slot, k));
            const Bytes &b = s->batch[k].job.bytes;
            if (!WriteWholeFile(paths.back(), b.data(), b.size()))
                return "cannot write " + paths.back();
        }
        int fds[2];
        if (pipe(fds) != 0)
            return "no pipe";
        std::fflush(stdout);
        std::fflush(stderr);
        pid_t pid = fork();
        if (pid < 0) {
            close(fds[0]);
            close(fds[1]);
            return "no fork";
        }
        if (pid == 0) {
            close(fds[0]);
            for (size_t k = 0; k < paths.size(); ++k) {
                // A second guard, should the parent go first.
                alarm(static_cast<unsigned>(StallLimit()) + 5);
                CDBSetReadOptions(s->batch[k].job.read_options);
                ChildReport report = ReadFileWithinMemory(paths[k], s->batch[k].job.bytes.size(),
                                                          s->batch[k].job.save);
                if (write(fds[1], &report, sizeof report) != static_cast<ssize_t>(sizeof report))
                    _exit(3);
            }
            ChildReport closing;
            closing.last = 1;
            if (__lsan_do_recoverable_leak_check)
                closing.leaks = __lsan_do_recoverable_leak_check();
            ssize_t written = write(fds[1], &closing, sizeof closing);
            _exit(written == static_cast<ssize_t>(sizeof closing) ? 0 : 3);
        }
        close(fds[1]);
        fcntl(fds[0], F_SETFL, fcntl(fds[0], F_GETFL) | O_NONBLOCK);
        s->pid = pid;
        s->fd = fds[0];
        s->last = Clock::now();
        return "";
    }

    // Takes the reports that have come in; true if there were any.
    bool Drain(Slot *s, const Done &done) {
        bool any = false;
        char chunk[4096];
        for (;;) {
            ssize_t n = read(s->fd, chunk, sizeof chunk);
            if (n <= 0)
                break;
            s->buffer.append(chunk, static_cast<size_t>(n));
        }
        while (s->buffer.size() >= sizeof(ChildReport)) {
            ChildReport report;
            std::memcpy(&report, s->buffer.data(), sizeof report);
            s->buffer.erase(0, sizeof report);
            s->last = Clock::now();
            any = true;
            if (report.last) {
                s->leaks = report.leaks;
                continue;
            }
            if (s->reported >= s->batch.size())
                continue;
            report.trouble[sizeof report.trouble - 1] = 0;
            Outcome out;
            out.finished = true;
            out.report = report;
            out.failure = report.trouble;
            Pending &p = s->batch[s->reported++];
            done(p.index, p.job, out);
        }
        return any;
    }

    std::vector<Slot> slots_;
    std::string tag_;
    size_t batch_;
    bool stop_ = false;
};

int Parallelism() {
    long n = sysconf(_SC_NPROCESSORS_ONLN);
    return static_cast<int>(std::min<long>(std::max<long>(n, 1), 8));
}

// Keeps a damaged file for a rerun by hand; returns its path.
std::string Keep(const Bytes &bytes, const std::string &tag) {
    std::string path = ::testing::TempDir() + "velko_dxf12_failed_" + tag + ".dxf";
    WriteWholeFile(path, bytes.data(), bytes.size());
    return path;
}

// ---------------------------------------------------------------------------
// The groups of a file, in both forms
// ---------------------------------------------------------------------------

// An ASCII DXF as lines, without their line ends.
struct AsciiLines {
    std::vector<std::string> lines;
    bool crlf = false;
    bool final_line_end = true;

    static AsciiLines Of(const Bytes &bytes) {
        AsciiLines a;
        std::string line;
        for (uint8_t c : bytes) {
            if (c == '\n') {
                if (!line.empty() && line.back() == '\r') {
                    line.pop_back();
                    a.crlf = true;
                }
                a.lines.push_back(line);
                line.clear();
            } else {
                line.push_back(static_cast<char>(c));
            }
        }
        a.final_line_end = line.empty();
        if (!line.empty())
            a.lines.push_back(line);
        return a;
    }

    Bytes Join() const {
        Bytes out;
        const char *end = crlf ? "\r\n" : "\n";
        for (size_t i = 0; i < lines.size(); ++i) {
            out.insert(out.end(), lines[i].begin(), lines[i].end());
            if (i + 1 < lines.size() || final_line_end)
                out.insert(out.end(), end, end + std::strlen(end));
        }
        return out;
    }

    size_t Groups() const { return lines.size() / 2; }
    int Code(size_t group) const {
        return static_cast<int>(std::strtol(lines[2 * group].c_str(), nullptr, 10));
    }
    const std::string &Value(size_t group) const { return lines[2 * group + 1]; }
};

// The value types of a release 12 binary file, by group code.
using BinaryValue = DxfBinaryValue;

BinaryValue Release12Value(int code) {
    if ((code >= 0 && code <= 9) || code == 999 || (code >= 1000 && code <= 1003) ||
        (code >= 1005 && code <= 1009))
        return BinaryValue::kString;
    if ((code >= 10 && code <= 58) || (code >= 210 && code <= 230) ||
        (code >= 1010 && code <= 1042))
        return BinaryValue::kReal;
    if ((code >= 62 && code <= 78) || code == 1070)
        return BinaryValue::kInt16;
    if (code == 1071)
        return BinaryValue::kInt32;
    if (code == 1004)
        return BinaryValue::kChunk;
    return BinaryValue::kNone;
}

BinaryValue ValueOf(Release release, int code) {
    return release == Release::k12 ? Release12Value(code) : Release13BinaryValue(code);
}

const char kSentinel[22] = {'A', 'u', 't', 'o', 'C', 'A', 'D', ' ',  'B',  'i',  'n',
                            'a', 'r', 'y', ' ', 'D', 'X', 'F', '\r', '\n', 0x1A, 0x00};

// One group of a binary file: its code bytes and value bytes.
struct BinaryGroup {
    int code = 0;
    Bytes bytes;         // code and value, as in the file
    size_t value_at = 0; // where the value begins in `bytes`
    std::string text;    // the value of a string group
};

// A group code as a binary file of the release writes it.
Bytes CodeBytes(Release release, int code) {
    if (release == Release::k13)
        return {static_cast<uint8_t>(code & 0xFF), static_cast<uint8_t>((code >> 8) & 0xFF)};
    if (code >= 0 && code < 255)
        return {static_cast<uint8_t>(code)};
    return {255, static_cast<uint8_t>(code & 0xFF), static_cast<uint8_t>((code >> 8) & 0xFF)};
}

BinaryGroup MakeBinaryGroup(Release release, int code, const std::string &value) {
    BinaryGroup g;
    g.code = code;
    g.bytes = CodeBytes(release, code);
    g.value_at = g.bytes.size();
    switch (ValueOf(release, code)) {
    case BinaryValue::kString:
        g.text = value;
        g.bytes.insert(g.bytes.end(), value.begin(), value.end());
        g.bytes.push_back(0);
        break;
    case BinaryValue::kReal: {
        double d = std::strtod(value.c_str(), nullptr);
        uint8_t raw[8];
        std::memcpy(raw, &d, 8);
        g.bytes.insert(g.bytes.end(), raw, raw + 8);
        break;
    }
    case BinaryValue::kInt16: {
        long v = std::strtol(value.c_str(), nullptr, 10);
        g.bytes.push_back(static_cast<uint8_t>(v & 0xFF));
        g.bytes.push_back(static_cast<uint8_t>((v >> 8) & 0xFF));
        break;
    }
    case BinaryValue::kInt32: {
        long v = std::strtol(value.c_str(), nullptr, 10);
        for (int i = 0; i < 4; ++i)
            g.bytes.push_back(static_cast<uint8_t>((v >> (8 * i)) & 0xFF));
        break;
    }
    case BinaryValue::kChunk: {
        Bytes data;
        for (size_t i = 0; i + 1 < value.size() && data.size() < 255; i += 2)
            data.push_back(
                static_cast<uint8_t>(std::strtol(value.substr(i, 2).c_str(), nullptr, 16)));
        g.bytes.push_back(static_cast<uint8_t>(data.size()));
        g.bytes.insert(g.bytes.end(), data.begin(), data.end());
        break;
    }
    case BinaryValue::kNone:
        break;
    }
    return g;
}

// The groups of a binary file after its sentinel, split by the release's value table;
// a tail that does not split stays as one last group.
std::vector<BinaryGroup> SplitBinary(const Bytes &bytes, Release release) {
    std::vector<BinaryGroup> groups;
    size_t p = sizeof kSentinel;
    while (p < bytes.size()) {
        BinaryGroup g;
        const size_t start = p;
        int code = bytes[p++];
        if (release == Release::k13) {
            if (p >= bytes.size())
                break;
            code = static_cast<int16_t>(code | (bytes[p++] << 8));
        } else if (code == 255) {
            if (p + 2 > bytes.size())
                break;
            code = bytes[p] | (bytes[p + 1] << 8);
            p += 2;
        }
        g.code = code;
        g.value_at = p - start;
        size_t end = p;
        switch (ValueOf(release, code)) {
        case BinaryValue::kString: {
            while (end < bytes.size() && bytes[end] != 0)
                ++end;
            g.text.assign(bytes.begin() + static_cast<std::ptrdiff_t>(p),
                          bytes.begin() + static_cast<std::ptrdiff_t>(end));
            ++end;
            break;
        }
        case BinaryValue::kReal:
            end = p + 8;
            break;
        case BinaryValue::kInt16:
            end = p + 2;
            break;
        case BinaryValue::kInt32:
            end = p + 4;
            break;
        case BinaryValue::kChunk:
            end = p < bytes.size() ? p + 1 + bytes[p] : p;
            break;
        case BinaryValue::kNone:
            break;
        }
        end = std::min(end, bytes.size());
        g.bytes.assign(bytes.begin() + static_cast<std::ptrdiff_t>(start),
                       bytes.begin() + static_cast<std::ptrdiff_t>(end));
        groups.push_back(g);
        p = end;
    }
    return groups;
}

// The file of the groups; without the sentinel when `sentinel` is false, as a release 13
// binary file may be written.
Bytes JoinBinary(const std::vector<BinaryGroup> &groups, bool sentinel = true) {
    Bytes out;
    if (sentinel)
        out.assign(kSentinel, kSentinel + sizeof kSentinel);
    for (const BinaryGroup &g : groups)
        out.insert(out.end(), g.bytes.begin(), g.bytes.end());
    return out;
}

// The groups of an ASCII file in the binary form of its release; groups that a release 12
// binary file cannot carry are left out.
std::vector<BinaryGroup> BinaryRendition(const AsciiLines &a, Release release) {
    std::vector<BinaryGroup> groups;
    for (size_t i = 0; i < a.Groups(); ++i) {
        const int code = a.Code(i);
        if (ValueOf(release, code) == BinaryValue::kNone || code < 0 || code > 32767 ||
            (release == Release::k12 && code >= 256 && code < 1000))
            continue;
        groups.push_back(MakeBinaryGroup(release, code, a.Value(i)));
    }
    return groups;
}

bool IsBinary(const Bytes &bytes) {
    return bytes.size() >= sizeof kSentinel && std::memcmp(bytes.data(), kSentinel, 18) == 0;
}

// ---------------------------------------------------------------------------
// Damage
// ---------------------------------------------------------------------------

const char *const kWords[] = {
    "EOF",     "ENDSEC",  "SECTION", "HEADER",   "TABLES",   "BLOCKS",   "ENTITIES",  "TABLE",
    "ENDTAB",  "BLOCK",   "ENDBLK",  "SEQEND",   "3DLINE",   "MTEXT",    "LAYER",     "LTYPE",
    "VPORT",   "STYLE",   "VIEW",    "UCS",      "APPID",    "DIMSTYLE", "LINE",      "POLYLINE",
    "VERTEX",  "INSERT",  "ATTRIB",  "VIEWPORT", "$ACADVER", "$EXTMIN",  "$HANDSEED", "*ACTIVE",
    "BYBLOCK", "BYLAYER", "",        "0",        "AC1009",   "AC1012",   "{",         "}"};

const char *const kNumbers[] = {"1e308",       "-1e308",   "1e999",  "-1e999",
                                "nan",         "inf",      "-0",     "99999999999999999999",
                                "-32769",      "65536",    "32768",  "2147483648",
                                "-2147483649", "0x10",     "1.#INF", "",
                                "   ",         "---",      "+",      ".",
                                "e5",          "4.9e-324", "1e-400", " 70",
                                "1,5",         "  -0.0e0"};

const uint8_t kSpecialBytes[] = {0, 255, 0x7F, 0x80, 1, 0xFE};

const int kCodes[] = {0,    1,    2,    3,    5,    6,    7,    8,    9,    10,   11,     20,
                      30,   31,   38,   39,   40,   41,   42,   49,   50,   51,   62,     66,
                      67,   68,   69,   70,   71,   72,   73,   74,   75,   78,   100,    105,
                      140,  170,  210,  230,  255,  256,  330,  999,  1000, 1001, 1002,   1003,
                      1004, 1005, 1010, 1020, 1030, 1040, 1070, 1071, 1099, -1,   -32768, 32767};

// The damage of copy i: a repeating pattern over all kinds.
enum class Damage {
    kCode,
    kCutLines,
    kCutValue,
    kTruncate,
    kFlipBytes,
    kSwap,
    kDuplicateSection,
    kWordValue,
    kNumberValue,
    kLongValue,
    kLineEnds,
    kDropMarker,
    kExtendedData,
    kRepeatGroups,
    kHugeCount,
    kCount
};

const char *DamageName(Damage d) {
    switch (d) {
    case Damage::kCode:
        return "group code changed";
    case Damage::kCutLines:
        return "lines cut out";
    case Damage::kCutValue:
        return "value cut";
    case Damage::kTruncate:
        return "truncated";
    case Damage::kFlipBytes:
        return "bytes flipped";
    case Damage::kSwap:
        return "lines swapped";
    case Damage::kDuplicateSection:
        return "section duplicated";
    case Damage::kWordValue:
        return "value made a section word";
    case Damage::kNumberValue:
        return "value made an extreme number";
    case Damage::kLongValue:
        return "overlong value";
    case Damage::kLineEnds:
        return "line ends broken";
    case Damage::kDropMarker:
        return "end marker taken out";
    case Damage::kExtendedData:
        return "extended data thrown in";
    case Damage::kRepeatGroups:
        return "groups repeated";
    case Damage::kHugeCount:
        return "count made huge";
    default:
        return "?";
    }
}

using Groups = std::vector<std::pair<int, std::string>>;

// A group that counts the items behind it, in a record of a kind.
struct CountGroup {
    const char *kind;
    int code;
};

const CountGroup kCountGroups[] = {{"SPLINE", 72}, {"SPLINE", 73},    {"SPLINE", 74},
                                   {"MLINE", 72},  {"MLINE", 73},     {"MLINE", 74},
                                   {"MLINE", 75},  {"LEADER", 76},    {"OLEFRAME", 90},
                                   {"LTYPE", 73},  {"MLINESTYLE", 71}};

// A small record of the count group's kind whose count is `number` (its own, for an empty
// `number`); the items behind it are few.
Groups CountRecord(const CountGroup &target, const std::string &number) {
    Groups r;
    const std::string kind = target.kind;
    if (kind == "SPLINE")
        r = {{0, "SPLINE"},       {8, "0"},  {100, "AcDbEntity"},
             {100, "AcDbSpline"}, {70, "8"}, {71, "3"},
             {72, "8"},           {73, "4"}, {74, "0"},
             {40, "0"},           {40, "0"}, {40, "0"},
             {40, "0"},           {40, "1"}, {40, "1"},
             {40, "1"},           {40, "1"}, {10, "0"},
             {20, "0"},           {30, "0"}, {10, "1"},
             {20, "1"},           {30, "0"}};
    else if (kind == "MLINE")
        r = {{0, "MLINE"},    {8, "0"},  {100, "AcDbEntity"}, {100, "AcDbMline"},
             {2, "STANDARD"}, {40, "1"}, {70, "0"},           {71, "1"},
             {72, "1"},       {73, "2"}, {10, "0"},           {20, "0"},
             {30, "0"},       {11, "0"}, {21, "0"},           {31, "0"},
             {12, "1"},       {22, "0"}, {32, "0"},           {13, "0"},
             {23, "1"},       {33, "0"}, {74, "1"},           {41, "0"},
             {75, "0"},       {74, "1"}, {41, "1"},           {75, "0"}};
    else if (kind == "LEADER")
        r = {{0, "LEADER"}, {8, "0"},  {100, "AcDbEntity"}, {100, "AcDbLeader"}, {3, "STANDARD"},
             {71, "1"},     {72, "0"}, {73, "3"},           {76, "2"},           {10, "0"},
             {20, "0"},     {30, "0"}, {10, "1"},           {20, "1"},           {30, "0"}};
    else if (kind == "OLEFRAME")
        r = {{0, "OLEFRAME"}, {8, "0"},  {100, "AcDbEntity"}, {100, "AcDbOleFrame"},
             {70, "2"},       {90, "4"}, {310, "00FF00FF"},   {1, "OLE"}};
    else if (kind == "LTYPE")
        r = {{0, "LTYPE"},
             {100, "AcDbSymbolTableRecord"},
             {100, "AcDbLinetypeTableRecord"},
             {2, "HUGE"},
             {70, "0"},
             {3, "huge"},
             {72, "65"},
             {73, "2"},
             {40, "1"},
             {49, "0.5"},
             {74, "0"},
             {49, "-0.5"},
             {74, "0"}};
    else
        r = {{0, "MLINESTYLE"}, {100, "AcDbMlineStyle"},
             {2, "HUGE"},       {70, "0"},
             {3, ""},           {62, "256"},
             {51, "90"},        {52, "90"},
             {71, "2"},         {49, "0.5"},
             {62, "256"},       {6, "BYLAYER"},
             {49, "-0.5"},      {62, "256"},
             {6, "BYLAYER"}};
    for (auto &g : r) {
        if (number.empty())
            break;
        if (g.first == target.code) {
            g.second = number;
            break;
        }
    }
    return r;
}

class Mutator {
public:
    Mutator(const Bytes &original, Release release, uint32_t seed)
        : original_(original), release_(release), rng_(seed) {
        binary_ = IsBinary(original);
        if (binary_) {
            binary_groups_ = SplitBinary(original, release);
        } else {
            ascii_ = AsciiLines::Of(original);
            rendition_ = BinaryRendition(ascii_, release);
        }
    }

    // Copy `index` of the file's own form into `out`; what was done comes back.
    std::string Make(int index, Bytes *out) {
        const Damage d = static_cast<Damage>(index % static_cast<int>(Damage::kCount));
        std::ostringstream what;
        what << DamageName(d) << ":";
        sentinel_ = !binary_ || KeepsSentinel(index);
        if (!sentinel_)
            what << " (no sentinel)";
        if (binary_)
            *out = Binary(d, binary_groups_, &what);
        else
            *out = Ascii(d, &what);
        return what.str();
    }

    // Copy `index` of the binary rendition of an ASCII file.
    std::string MakeRendition(int index, Bytes *out) {
        const Damage d = static_cast<Damage>(index % static_cast<int>(Damage::kCount));
        std::ostringstream what;
        what << "binary rendition, " << DamageName(d) << ":";
        sentinel_ = KeepsSentinel(index);
        if (!sentinel_)
            what << " (no sentinel)";
        *out = Binary(d, rendition_, &what);
        return what.str();
    }

    bool binary() const { return binary_; }

private:
    // A release 13 binary file may be written without its sentinel: every seventh copy is.
    bool KeepsSentinel(int index) const { return release_ == Release::k12 || index % 7 != 3; }

    size_t Pick(size_t n) { return n ? std::uniform_int_distribution<size_t>(0, n - 1)(rng_) : 0; }
    int Uniform(int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(rng_); }
    template <typename T, size_t N> const T &OneOf(const T (&items)[N]) { return items[Pick(N)]; }

    std::string RandomCodeText() {
        switch (Uniform(0, 5)) {
        case 0:
            return std::to_string(Uniform(-5, 1100));
        case 1: {
            static const char *const garbage[] = {"abc",     "",  " 7 0", "1e3",
                                                  "  70xyz", "-", "0x1F", "99999999999"};
            return OneOf(garbage);
        }
        default: {
            char text[16];
            std::snprintf(text, sizeof text, "%3d", OneOf(kCodes));
            return text;
        }
        }
    }

    // Spans of whole sections, as group index ranges [first, last).
    template <typename CodeAt, typename ValueAt>
    std::vector<std::pair<size_t, size_t>> Sections(size_t groups, CodeAt code, ValueAt value) {
        std::vector<std::pair<size_t, size_t>> spans;
        size_t start = groups;
        for (size_t i = 0; i < groups; ++i) {
            if (code(i) == 0 && value(i) == "SECTION")
                start = i;
            else if (code(i) == 0 && (value(i) == "ENDSEC" || value(i) == "ENDTAB") && start < i)
                spans.push_back({start, i + 1});
        }
        for (size_t i = 0; i < groups; ++i) {
            if (code(i) == 0 && value(i) == "TABLE") {
                for (size_t j = i + 1; j < groups; ++j) {
                    if (code(j) == 0 && value(j) == "ENDTAB") {
                        spans.push_back({i, j + 1});
                        break;
                    }
                }
            }
        }
        return spans;
    }

    Bytes Ascii(Damage d, std::ostringstream *what) {
        AsciiLines a = ascii_;
        std::vector<std::string> &lines = a.lines;
        const size_t groups = a.Groups();
        auto value_line = [&]() { return groups ? 2 * Pick(groups) + 1 : 0; };
        if (lines.empty()) {
            *what << " empty original";
            return a.Join();
        }
        switch (d) {
        case Damage::kCode: {
            const int n = Uniform(1, 3);
            for (int i = 0; i < n && groups; ++i) {
                const size_t g = Pick(groups);
                lines[2 * g] = RandomCodeText();
                *what << " line " << 2 * g << "=\"" << lines[2 * g] << "\"";
            }
            break;
        }
        case Damage::kCutLines: {
            const size_t at = Pick(lines.size());
            const size_t n =
                std::min<size_t>(static_cast<size_t>(Uniform(1, 3)), lines.size() - at);
            lines.erase(lines.begin() + static_cast<std::ptrdiff_t>(at),
                        lines.begin() + static_cast<std::ptrdiff_t>(at + n));
            *what << " " << n << " from line " << at;
            break;
        }
        case Damage::kCutValue: {
            const size_t l = value_line();
            if (l < lines.size()) {
                const size_t keep = Pick(lines[l].size() + 1);
                lines[l].resize(keep);
                *what << " line " << l << " kept " << keep << " bytes";
            }
            break;
        }
        case Damage::kTruncate: {
            Bytes b = a.Join();
            const size_t keep = Pick(b.size());
            b.resize(keep);
            *what << " to " << keep << " bytes";
            return b;
        }
        case Damage::kFlipBytes: {
            Bytes b = a.Join();
            static const uint8_t special[] = {0, '\n', '\r', 0xFF, ' ', '0', 0x1A, 0x80};
            const int n = Uniform(1, 8);
            for (int i = 0; i < n && !b.empty(); ++i) {
                const size_t at = Pick(b.size());
                if (Uniform(0, 1))
                    b[at] = OneOf(special);
                else
                    b[at] ^= static_cast<uint8_t>(Uniform(1, 255));
                *what << " " << at << "=" << int(b[at]);
            }
            return b;
        }
        case Damage::kSwap: {
            if (Uniform(0, 1) && groups > 1) {
                // Two whole groups.
                const size_t g = Pick(groups), h = Pick(groups);
                std::swap(lines[2 * g], lines[2 * h]);
                std::swap(lines[2 * g + 1], lines[2 * h + 1]);
                *what << " groups " << g << " and " << h;
            } else {
                const size_t i = Pick(lines.size());
                const size_t j =
                    Uniform(0, 1) ? std::min(i + 1, lines.size() - 1) : Pick(lines.size());
                std::swap(lines[i], lines[j]);
                *what << " lines " << i << " and " << j;
            }
            break;
        }
        case Damage::kDuplicateSection: {
            auto spans = Sections(
                groups, [&](size_t g) { return a.Code(g); }, [&](size_t g) { return a.Value(g); });
            size_t first = 0, last = 0;
            if (!spans.empty() && Uniform(0, 3)) {
                std::tie(first, last) = spans[Pick(spans.size())];
            } else if (groups) {
                first = Pick(groups);
                last = std::min(groups, first + 1 + Pick(40));
            }
            std::vector<std::string> copy(lines.begin() + static_cast<std::ptrdiff_t>(2 * first),
                                          lines.begin() + static_cast<std::ptrdiff_t>(2 * last));
            const size_t to = Uniform(0, 1) ? 2 * last : 2 * Pick(groups + 1);
            lines.insert(lines.begin() + static_cast<std::ptrdiff_t>(std::min(to, lines.size())),
                         copy.begin(), copy.end());
            *what << " groups " << first << " to " << last << " copied to line " << to;
            break;
        }
        case Damage::kWordValue: {
            const int n = Uniform(1, 2);
            for (int i = 0; i < n; ++i) {
                const size_t l = value_line();
                if (l < lines.size()) {
                    lines[l] = OneOf(kWords);
                    *what << " line " << l << "=\"" << lines[l] << "\"";
                }
            }
            break;
        }
        case Damage::kNumberValue: {
            // A numeric group's value, where there is one.
            for (int tries = 0; tries < 20 && groups; ++tries) {
                const size_t g = Pick(groups);
                const int code = a.Code(g);
                if (code >= 10 && code != 999 && code < 1000 + 72) {
                    lines[2 * g + 1] = OneOf(kNumbers);
                    if (Uniform(0, 5) == 0)
                        lines[2 * g + 1] = std::string(static_cast<size_t>(Uniform(300, 700)), '9');
                    *what << " group " << g << " (" << code << ")=\""
                          << lines[2 * g + 1].substr(0, 24) << "\"";
                    break;
                }
            }
            break;
        }
        case Damage::kLongValue: {
            const size_t l = value_line();
            if (l < lines.size()) {
                static const size_t lengths[] = {254, 255, 256, 299, 300,  509,
                                                 510, 511, 512, 513, 1024, 5000};
                const size_t n = OneOf(lengths) + static_cast<size_t>(Uniform(0, 2));
                std::string text(n, 'A');
                if (Uniform(0, 1))
                    text = lines[l] + std::string(n, Uniform(0, 1) ? ' ' : '7');
                lines[l] = text;
                *what << " line " << l << " of " << lines[l].size() << " bytes";
            }
            break;
        }
        case Damage::kLineEnds: {
            Bytes b = a.Join();
            switch (Uniform(0, 4)) {
            case 0: { // a line feed taken out: two lines become one
                for (int tries = 0; tries < 50; ++tries) {
                    const size_t at = Pick(b.size());
                    if (b[at] == '\n') {
                        b.erase(b.begin() + static_cast<std::ptrdiff_t>(at));
                        *what << " line feed at " << at << " removed";
                        break;
                    }
                }
                break;
            }
            case 1: { // carriage returns in the middle of lines
                const int n = Uniform(1, 6);
                for (int i = 0; i < n && !b.empty(); ++i) {
                    const size_t at = Pick(b.size());
                    b.insert(b.begin() + static_cast<std::ptrdiff_t>(at), '\r');
                    *what << " CR at " << at;
                }
                break;
            }
            case 2: // no line feed anywhere
                std::replace(b.begin(), b.end(), static_cast<uint8_t>('\n'),
                             static_cast<uint8_t>('\r'));
                *what << " every line feed made a carriage return";
                break;
            case 3: { // zero bytes
                const int n = Uniform(1, 4);
                for (int i = 0; i < n && !b.empty(); ++i) {
                    const size_t at = Pick(b.size());
                    b.insert(b.begin() + static_cast<std::ptrdiff_t>(at), 0);
                    *what << " NUL at " << at;
                }
                break;
            }
            default: // the last line feed taken off
                while (!b.empty() && (b.back() == '\n' || b.back() == '\r'))
                    b.pop_back();
                *what << " no line end at the end";
                break;
            }
            return b;
        }
        case Damage::kDropMarker: {
            static const char *const markers[] = {"EOF",    "ENDSEC",  "ENDBLK", "ENDTAB",
                                                  "SEQEND", "SECTION", "BLOCK",  "TABLE"};
            const std::string marker = OneOf(markers);
            std::vector<size_t> found;
            for (size_t g = 0; g < groups; ++g) {
                if (a.Code(g) == 0 && a.Value(g) == marker)
                    found.push_back(g);
            }
            if (found.empty()) {
                *what << " no " << marker;
                break;
            }
            const size_t g = found[Pick(found.size())];
            lines.erase(lines.begin() + static_cast<std::ptrdiff_t>(2 * g),
                        lines.begin() + static_cast<std::ptrdiff_t>(2 * g + 2));
            *what << " " << marker << " at group " << g;
            break;
        }
        case Damage::kExtendedData: {
            // Behind a random group 0's name: extended data, well or badly formed.
            std::vector<size_t> names;
            for (size_t g = 0; g < groups; ++g) {
                if (a.Code(g) == 0)
                    names.push_back(g);
            }
            if (names.empty())
                break;
            const size_t g = names[Pick(names.size())];
            static const std::vector<std::vector<std::string>> kinds = {
                {"1001", "ACAD", "1000", "text", "1070", "5"},
                {"1001", "NOSUCHAPP", "1040", "nan", "1071", "99999999999"},
                {"1004", "0", "1004", "ABC", "1004", std::string(600, 'F')},
                {"1005", "FFFFFFFFFFFFFFFFFFFF", "1005", "xyz", "1003", "NOLAYER"},
                {"1010", "1", "1020", "2", "1030", "3", "1011", "5"},
                {"1020", "2", "1030", "3", "1013", "1e308"},
                {"1000", std::string(300, 'x'), "1002", "{", "1002", "{"},
                {"1014", "1", "1024", "2", "1034", "3", "1099", "?"},
                {"1002", "}", "1071", "-", "1070", "70000"}};
            const std::vector<std::string> &add = kinds[Pick(kinds.size())];
            const size_t at = std::min(lines.size(), 2 * g + 2);
            lines.insert(lines.begin() + static_cast<std::ptrdiff_t>(at), add.begin(), add.end());
            *what << " " << add.size() / 2 << " groups behind group " << g << " (" << add[0] << " "
                  << add[1].substr(0, 16) << " ...)";
            break;
        }
        case Damage::kRepeatGroups: {
            if (!groups)
                break;
            const size_t g = Pick(groups);
            const size_t n = 1 + Pick(std::min<size_t>(groups - g, 12));
            const int times = Uniform(2, 60);
            std::vector<std::string> span(lines.begin() + static_cast<std::ptrdiff_t>(2 * g),
                                          lines.begin() + static_cast<std::ptrdiff_t>(2 * (g + n)));
            for (int i = 0; i < times; ++i)
                lines.insert(lines.begin() + static_cast<std::ptrdiff_t>(2 * (g + n)), span.begin(),
                             span.end());
            *what << " " << n << " groups from " << g << " repeated " << times << " times";
            break;
        }
        case Damage::kHugeCount: {
            HugeCount(
                groups, [&](size_t g) { return a.Code(g); }, [&](size_t g) { return a.Value(g); },
                [&](size_t g, const std::string &number) { lines[2 * g + 1] = number; },
                [&](size_t at, const Groups &record) {
                    std::vector<std::string> add;
                    for (const auto &r : record) {
                        add.push_back(std::to_string(r.first));
                        add.push_back(r.second);
                    }
                    lines.insert(lines.begin() + static_cast<std::ptrdiff_t>(2 * at), add.begin(),
                                 add.end());
                },
                what);
            break;
        }
        default:
            break;
        }
        return a.Join();
    }

    Bytes Binary(Damage d, std::vector<BinaryGroup> groups, std::ostringstream *what) {
        const size_t n = groups.size();
        if (n == 0) {
            *what << " no groups";
            return JoinBinary(groups, sentinel_);
        }
        auto string_group = [&]() -> size_t {
            for (int tries = 0; tries < 40; ++tries) {
                size_t g = Pick(n);
                if (ValueOf(release_, groups[g].code) == BinaryValue::kString)
                    return g;
            }
            return n;
        };
        switch (d) {
        case Damage::kCode: {
            const int k = Uniform(1, 3);
            for (int i = 0; i < k; ++i) {
                BinaryGroup &g = groups[Pick(n)];
                Bytes value(g.bytes.begin() + static_cast<std::ptrdiff_t>(g.value_at),
                            g.bytes.end());
                Bytes code;
                switch (Uniform(0, 3)) {
                case 0:
                    code = {static_cast<uint8_t>(Uniform(0, 255))};
                    break;
                case 1: // release 12: the escape with a code; release 13: any two bytes
                    code = {static_cast<uint8_t>(Uniform(0, 255)),
                            static_cast<uint8_t>(Uniform(0, 255))};
                    if (release_ == Release::k12)
                        code.insert(code.begin(), 255);
                    break;
                default:
                    code = CodeBytes(release_, OneOf(kCodes) & 0x7FFF);
                    break;
                }
                g.bytes = code;
                g.value_at = code.size();
                g.bytes.insert(g.bytes.end(), value.begin(), value.end());
                *what << " code bytes " << int(code[0]) << (code.size() > 1 ? "+2" : "");
            }
            break;
        }
        case Damage::kCutLines: {
            const size_t at = Pick(n);
            const size_t k = std::min<size_t>(static_cast<size_t>(Uniform(1, 3)), n - at);
            groups.erase(groups.begin() + static_cast<std::ptrdiff_t>(at),
                         groups.begin() + static_cast<std::ptrdiff_t>(at + k));
            *what << " " << k << " groups from " << at;
            break;
        }
        case Damage::kCutValue: {
            BinaryGroup &g = groups[Pick(n)];
            const size_t keep = g.value_at + Pick(g.bytes.size() - g.value_at + 1);
            g.bytes.resize(keep);
            *what << " group of code " << g.code << " kept " << keep << " bytes";
            break;
        }
        case Damage::kTruncate: {
            Bytes b = JoinBinary(groups, sentinel_);
            const size_t keep = Pick(b.size());
            b.resize(keep);
            *what << " to " << keep << " bytes";
            return b;
        }
        case Damage::kFlipBytes: {
            Bytes b = JoinBinary(groups, sentinel_);
            const int k = Uniform(1, 8);
            for (int i = 0; i < k; ++i) {
                const size_t at = Pick(b.size());
                b[at] = Uniform(0, 1) ? static_cast<uint8_t>(b[at] ^ Uniform(1, 255))
                                      : OneOf(kSpecialBytes);
                *what << " " << at << "=" << int(b[at]);
            }
            return b;
        }
        case Damage::kSwap: {
            const size_t i = Pick(n);
            const size_t j = Uniform(0, 1) ? std::min(i + 1, n - 1) : Pick(n);
            std::swap(groups[i], groups[j]);
            *what << " groups " << i << " and " << j;
            break;
        }
        case Damage::kDuplicateSection: {
            auto spans = Sections(
                n, [&](size_t g) { return groups[g].code; },
                [&](size_t g) { return groups[g].text; });
            size_t first = Pick(n), last = std::min(n, first + 1 + Pick(40));
            if (!spans.empty() && Uniform(0, 3))
                std::tie(first, last) = spans[Pick(spans.size())];
            std::vector<BinaryGroup> copy(groups.begin() + static_cast<std::ptrdiff_t>(first),
                                          groups.begin() + static_cast<std::ptrdiff_t>(last));
            const size_t to = Uniform(0, 1) ? last : Pick(n + 1);
            groups.insert(groups.begin() + static_cast<std::ptrdiff_t>(to), copy.begin(),
                          copy.end());
            *what << " groups " << first << " to " << last << " copied to " << to;
            break;
        }
        case Damage::kWordValue: {
            const size_t g = string_group();
            if (g < n) {
                groups[g] = MakeBinaryGroup(release_, groups[g].code, OneOf(kWords));
                *what << " group " << g << "=\"" << groups[g].text << "\"";
            }
            break;
        }
        case Damage::kNumberValue: {
            const size_t g = Pick(n);
            const BinaryValue type = ValueOf(release_, groups[g].code);
            if (type == BinaryValue::kReal) {
                static const double reals[] = {1e308, -1e308, 0.0, -0.0, 5e-324, 1e-300};
                double v = Uniform(0, 2) ? OneOf(reals) : std::nan("");
                if (Uniform(0, 3) == 0)
                    v = Uniform(0, 1) ? HUGE_VAL : -HUGE_VAL;
                std::memcpy(groups[g].bytes.data() + groups[g].value_at, &v, 8);
                *what << " real of group " << g << "=" << v;
            } else if (type == BinaryValue::kInt16 || type == BinaryValue::kInt32) {
                for (size_t k = groups[g].value_at; k < groups[g].bytes.size(); ++k)
                    groups[g].bytes[k] = Uniform(0, 1) ? 0xFF : 0x80;
                *what << " integer of group " << g << " made extreme";
            } else {
                groups[g] = MakeBinaryGroup(release_, groups[g].code, OneOf(kNumbers));
                *what << " text of group " << g << " made a number";
            }
            break;
        }
        case Damage::kLongValue: {
            const size_t g = string_group();
            if (g < n) {
                static const size_t lengths[] = {298, 299, 300, 301, 511, 512, 1000, 5000};
                groups[g] =
                    MakeBinaryGroup(release_, groups[g].code, std::string(OneOf(lengths), 'B'));
                *what << " string of group " << g << " of " << groups[g].text.size() << " bytes";
            }
            break;
        }
        case Damage::kLineEnds: {
            // The binary counterpart: a string without its terminator, or a chunk whose
            // length byte runs past the file.
            Bytes b = JoinBinary(groups, sentinel_);
            if (Uniform(0, 1)) {
                const size_t g = string_group();
                if (g < n) {
                    groups[g].bytes.pop_back();
                    *what << " string of group " << g << " lost its zero byte";
                    return JoinBinary(groups, sentinel_);
                }
            }
            Bytes chunk = CodeBytes(release_, 1004);
            chunk.push_back(static_cast<uint8_t>(Uniform(1, 255)));
            b.insert(b.end(), chunk.begin(), chunk.end());
            *what << " a chunk longer than the rest of the file at the end";
            return b;
        }
        case Damage::kDropMarker: {
            static const char *const markers[] = {"EOF", "ENDSEC", "ENDBLK", "ENDTAB", "SEQEND"};
            const std::string marker = OneOf(markers);
            for (size_t g = n; g-- > 0;) {
                if (groups[g].code == 0 && groups[g].text == marker && Uniform(0, 1)) {
                    groups.erase(groups.begin() + static_cast<std::ptrdiff_t>(g));
                    *what << " " << marker << " at group " << g;
                    break;
                }
            }
            break;
        }
        case Damage::kExtendedData: {
            // Groups that a release 12 binary reader reads no value for, or extended data.
            const size_t at = Pick(n + 1);
            std::vector<BinaryGroup> add;
            switch (Uniform(0, 3)) {
            case 0:
                add.push_back(MakeBinaryGroup(release_, 1001, "ACAD"));
                add.push_back(MakeBinaryGroup(release_, 1000, std::string(299, 'x')));
                add.push_back(MakeBinaryGroup(release_, 1010, "1"));
                add.push_back(MakeBinaryGroup(release_, 1040, "2"));
                break;
            case 1: {
                // Release 12 has no value type for 100; release 13 reads a class it does not
                // know.
                add.push_back(MakeBinaryGroup(release_, 100, "AcDbNoSuchClass"));
                break;
            }
            case 2: {
                BinaryGroup g;
                g.code = 1004;
                g.bytes = CodeBytes(release_, 1004);
                g.value_at = g.bytes.size();
                g.bytes.push_back(200);
                g.bytes.push_back(1);
                add.push_back(g);
                break;
            }
            default:
                add.push_back(MakeBinaryGroup(release_, 1071, "-1"));
                add.push_back(MakeBinaryGroup(release_, 1005, "0123456789ABCDEF01"));
                break;
            }
            groups.insert(groups.begin() + static_cast<std::ptrdiff_t>(at), add.begin(), add.end());
            *what << " " << add.size() << " groups at " << at << " (code " << add[0].code << ")";
            break;
        }
        case Damage::kRepeatGroups: {
            const size_t g = Pick(n);
            const size_t k = 1 + Pick(std::min<size_t>(n - g, 12));
            const int times = Uniform(2, 60);
            std::vector<BinaryGroup> span(groups.begin() + static_cast<std::ptrdiff_t>(g),
                                          groups.begin() + static_cast<std::ptrdiff_t>(g + k));
            for (int i = 0; i < times; ++i)
                groups.insert(groups.begin() + static_cast<std::ptrdiff_t>(g + k), span.begin(),
                              span.end());
            *what << " " << k << " groups from " << g << " repeated " << times << " times";
            break;
        }
        case Damage::kHugeCount: {
            HugeCount(
                n, [&](size_t g) { return groups[g].code; },
                [&](size_t g) { return groups[g].text; },
                [&](size_t g, const std::string &number) {
                    groups[g] = MakeBinaryGroup(release_, groups[g].code, number);
                },
                [&](size_t at, const Groups &record) {
                    std::vector<BinaryGroup> add;
                    for (const auto &r : record)
                        add.push_back(MakeBinaryGroup(release_, r.first, r.second));
                    groups.insert(groups.begin() + static_cast<std::ptrdiff_t>(at), add.begin(),
                                  add.end());
                },
                what);
            break;
        }
        default:
            break;
        }
        return JoinBinary(groups, sentinel_);
    }

    // A count group of a record made huge: one that the file has, or a small record of the
    // kind, whose count is huge, put where such records stand.
    template <typename CodeAt, typename ValueAt, typename Change, typename Insert>
    void HugeCount(size_t groups, CodeAt code, ValueAt value, Change change, Insert insert,
                   std::ostringstream *what) {
        static const char *const numbers[] = {"32767", "-1",      "65535",     "-32768",
                                              "30000", "1000000", "2147483647"};
        const CountGroup &target = OneOf(kCountGroups);
        const std::string number = OneOf(numbers);
        std::vector<size_t> found;
        std::string kind;
        for (size_t g = 0; g < groups; ++g) {
            if (code(g) == 0)
                kind = value(g);
            else if (kind == target.kind && code(g) == target.code)
                found.push_back(g);
        }
        *what << " " << target.kind << " " << target.code << "=" << number;
        if (!found.empty()) {
            const size_t g = found[Pick(found.size())];
            change(g, number);
            *what << " at group " << g;
            return;
        }
        const size_t at = PlaceOf(target.kind, groups, code, value);
        if (at >= groups) {
            *what << ": no place for a new record";
            return;
        }
        insert(at, CountRecord(target, number));
        *what << " in a new record at group " << at;
    }

    // Where a new record of `kind` may stand: before the end of the LTYPE table, before the
    // end of the OBJECTS section, or as the first entity; `groups` when there is no place.
    template <typename CodeAt, typename ValueAt>
    static size_t PlaceOf(const std::string &kind, size_t groups, CodeAt code, ValueAt value) {
        const char *within = kind == "LTYPE"        ? "LTYPE"
                             : kind == "MLINESTYLE" ? "OBJECTS"
                                                    : "ENTITIES";
        const char *end = kind == "LTYPE" ? "ENDTAB" : "ENDSEC";
        for (size_t g = 0; g + 1 < groups; ++g) {
            if (code(g) != 2 || value(g) != within || g == 0 || code(g - 1) != 0)
                continue;
            if (kind != "LTYPE" && kind != "MLINESTYLE")
                return g + 1;
            for (size_t k = g + 1; k < groups; ++k) {
                if (code(k) == 0 && value(k) == end)
                    return k;
            }
        }
        return groups;
    }

    const Bytes &original_;
    Release release_;
    bool sentinel_ = true;
    std::mt19937 rng_;
    bool binary_ = false;
    AsciiLines ascii_;
    std::vector<BinaryGroup> binary_groups_;
    std::vector<BinaryGroup> rendition_;
};

// FNV-1a of the drawing's path: each drawing's own seed, the same every run.
uint32_t SeedFor(const std::string &relative) {
    uint32_t h = 2166136261u;
    for (char c : relative) {
        h ^= static_cast<uint8_t>(c);
        h *= 16777619u;
    }
    return kSeed ^ h;
}

// ---------------------------------------------------------------------------
// Damaged copies of every dxf12 and every dxf13 drawing
// ---------------------------------------------------------------------------

std::vector<std::string> FilesOf(const char *folder) {
    std::vector<std::string> files = CorpusFiles(folder);
    if (files.empty())
        files.push_back("");
    return files;
}

// How many copies a drawing gets: in its own form, and in the binary rendition of an ASCII
// drawing.
struct CopyCounts {
    int own = 0;
    int rendition = 0;
};

CopyCounts CountsFor(Release release, size_t size, bool binary) {
    int own = release == Release::k12 ? kMutants : kRelease13Mutants;
    int rendition = release == Release::k12 ? kBinaryRenditionMutants : kRelease13RenditionMutants;
    if (release == Release::k13 && size > kLargeDrawing) {
        own /= 10;
        rendition /= 10;
    }
    CopyCounts counts;
    counts.own = std::max(own, static_cast<int>(own * MutationScale()));
    counts.rendition = binary ? 0 : std::max(1, static_cast<int>(rendition * MutationScale()));
    return counts;
}

// Makes the damaged copies of one corpus drawing and reads each in a child process; every
// copy that goes wrong is a failure of the test.
void ReadDamagedCopies(const std::string &relative, Release release, const char *label) {
    Bytes original;
    ASSERT_TRUE(ReadWholeFile(CorpusPath(relative), &original)) << relative;
    ASSERT_FALSE(original.empty());

    const uint32_t seed = SeedFor(relative);
    Mutator mutator(original, release, seed);
    const CopyCounts counts = CountsFor(release, original.size(), mutator.binary());
    const int own = counts.own, rendition = counts.rendition;

    int opened = 0, failures = 0, stalls = 0;
    double slowest = 0.0;
    std::string slowest_what;
    // A sample of the copies is also saved, in every form, when it opens.
    const int save_every = original.size() <= kSmallForSaving ? kSaveEvery : kSaveEveryLarge;
    int saved = 0;
    ChildPool pool(Parallelism(), "mutant", kBatch);
    pool.Run(
        own + rendition,
        [&](int i) {
            ChildPool::Job job;
            const std::string damage =
                i < own ? mutator.Make(i, &job.bytes) : mutator.MakeRendition(i - own, &job.bytes);
            std::ostringstream what;
            what << relative << " copy " << i << " (seed " << seed << "): " << damage;
            job.description = what.str();
            job.save = i % save_every == 0;
            // Every other copy is read on the tolerant roads, so that they meet damage too.
            if (i % 2 == 1) {
                job.read_options = CDB_READ_TOLERANT;
                job.description += " [tolerant reading]";
            }
            return job;
        },
        [&](int i, const ChildPool::Job &job, const Outcome &out) {
            if (out.finished) {
                opened += out.report.opened ? 1 : 0;
                saved += out.report.saved > 0 ? 1 : 0;
                if (out.report.seconds > slowest) {
                    slowest = out.report.seconds;
                    slowest_what = job.description;
                }
            }
            std::string failure = out.failure;
            if (failure.empty() && out.report.seconds > TimeLimit())
                failure = "too slow (" + std::to_string(out.report.seconds) + " s)";
            if (!failure.empty() && ++failures <= 10) {
                ADD_FAILURE() << failure << ": " << job.description << "; kept as "
                              << Keep(job.bytes, TestNameFor(relative) + "_" + std::to_string(i));
            }
            // Each stall costs its whole time limit: a few are enough to report.
            if (out.stalled && ++stalls >= 3) {
                ADD_FAILURE() << "stopped after " << stalls << " stalls";
                pool.Stop();
            }
        });
    EXPECT_EQ(failures, 0) << failures << " damaged copies of " << relative << " went wrong";
    testing::Test::RecordProperty("copies", own + rendition);
    testing::Test::RecordProperty("opened", opened);
    testing::Test::RecordProperty("saved", saved);
    std::printf("[ %s mutation ] %-40s %4d copies, %4d opened, %3d saved, slowest %.4f s\n", label,
                relative.c_str(), own + rendition, opened, saved, slowest);
    if (slowest > TimeLimit() / 4)
        std::printf("[ %s mutation ] slowest: %s\n", label, slowest_what.c_str());
}

std::string ParamName(const testing::TestParamInfo<std::string> &info) {
    return info.param.empty() ? std::string("no_corpus") : TestNameFor(info.param);
}

class Dxf12MutationTest : public testing::TestWithParam<std::string> {};

TEST_P(Dxf12MutationTest, DamagedCopiesEndCleanlyAndInTime) {
    VELKO_REQUIRE_CORPUS();
    ASSERT_FALSE(GetParam().empty()) << "no dxf12 drawing in " << CorpusDir();
    ReadDamagedCopies(GetParam(), Release::k12, "dxf12");
}

INSTANTIATE_TEST_SUITE_P(Corpus, Dxf12MutationTest, testing::ValuesIn(FilesOf("dxf12")), ParamName);

// The binary copies take two-byte group codes and the release 13 value table; a seventh of
// them have no sentinel.
class Dxf13MutationTest : public testing::TestWithParam<std::string> {};

TEST_P(Dxf13MutationTest, DamagedCopiesEndCleanlyAndInTime) {
    VELKO_REQUIRE_CORPUS();
    ASSERT_FALSE(GetParam().empty()) << "no dxf13 drawing in " << CorpusDir();
    ReadDamagedCopies(GetParam(), Release::k13, "dxf13");
}

INSTANTIATE_TEST_SUITE_P(Corpus, Dxf13MutationTest, testing::ValuesIn(FilesOf("dxf13")), ParamName);

// ---------------------------------------------------------------------------
// Hand-made files on which the reader would stall
// ---------------------------------------------------------------------------

// An ASCII DXF from (code, value) pairs, lines ended by a line feed.
std::string Dxf(const std::vector<std::pair<int, std::string>> &groups) {
    std::string text;
    for (const auto &g : groups) {
        char code[16];
        std::snprintf(code, sizeof code, "%3d\n", g.first);
        text += code + g.second + "\n";
    }
    return text;
}

const Groups kHeader = {{0, "SECTION"},  {2, "HEADER"}, {9, "$ACADVER"}, {1, "AC1009"},
                        {9, "$INSBASE"}, {10, "0.0"},   {20, "0.0"},     {30, "0.0"},
                        {9, "$LTSCALE"}, {40, "1.0"},   {0, "ENDSEC"}};

const Groups kTables = {{0, "SECTION"},    {2, "TABLES"},     {0, "TABLE"},      {2, "LTYPE"},
                        {70, "1"},         {0, "LTYPE"},      {2, "CONTINUOUS"}, {70, "0"},
                        {3, "Solid line"}, {72, "65"},        {73, "0"},         {40, "0.0"},
                        {0, "ENDTAB"},     {0, "TABLE"},      {2, "LAYER"},      {70, "2"},
                        {0, "LAYER"},      {2, "0"},          {70, "0"},         {62, "7"},
                        {6, "CONTINUOUS"}, {0, "LAYER"},      {2, "WALLS"},      {70, "0"},
                        {62, "1"},         {6, "CONTINUOUS"}, {0, "ENDTAB"},     {0, "ENDSEC"}};

const Groups kBlock = {{0, "SECTION"}, {2, "BLOCKS"}, {0, "BLOCK"}, {8, "0"},    {2, "B1"},
                       {70, "0"},      {10, "0.0"},   {20, "0.0"},  {30, "0.0"}, {0, "CIRCLE"},
                       {8, "0"},       {10, "1.0"},   {20, "1.0"},  {30, "0.0"}, {40, "0.5"},
                       {0, "ENDBLK"},  {8, "0"},      {0, "ENDSEC"}};

const Groups kEntities = {{0, "SECTION"}, {2, "ENTITIES"}, {0, "LINE"}, {8, "WALLS"}, {10, "1.0"},
                          {20, "2.0"},    {30, "0.0"},     {11, "3.0"}, {21, "4.0"},  {31, "0.0"},
                          {0, "INSERT"},  {8, "0"},        {2, "B1"},   {10, "5.0"},  {20, "5.0"},
                          {30, "0.0"},    {0, "ENDSEC"}};

const Groups kEof = {{0, "EOF"}};

Groups Join(std::initializer_list<Groups> parts) {
    Groups all;
    for (const Groups &p : parts)
        all.insert(all.end(), p.begin(), p.end());
    return all;
}

// `groups` with the group `name` at code 0 replaced by the groups `by`; the first one
// found after `after` (a code 0 value) is replaced.
Groups Replace(Groups groups, const std::string &after, const std::string &name, const Groups &by) {
    bool seen = after.empty();
    for (size_t i = 0; i < groups.size(); ++i) {
        if (groups[i].first == 0 && groups[i].second == after)
            seen = true;
        if (seen && groups[i].first == 0 && groups[i].second == name) {
            groups.erase(groups.begin() + static_cast<std::ptrdiff_t>(i));
            groups.insert(groups.begin() + static_cast<std::ptrdiff_t>(i), by.begin(), by.end());
            return groups;
        }
    }
    ADD_FAILURE() << "no " << name << " after " << after;
    return groups;
}

Bytes BytesOf(const std::string &text) {
    return Bytes(text.begin(), text.end());
}

// A binary file of the same groups.
Bytes BinaryOf(const Groups &groups) {
    std::vector<BinaryGroup> binary;
    for (const auto &g : groups)
        binary.push_back(MakeBinaryGroup(Release::k12, g.first, g.second));
    return JoinBinary(binary);
}

class Dxf12Stall : public testing::Test {
protected:
    // Reads `bytes` in a child process; the outcome, with a failure of the test when the
    // reading crashed or stalled.
    Outcome Read(const Bytes &bytes, const std::string &what) {
        Outcome result;
        ChildPool pool(1, "stall", 1);
        pool.Run(
            1,
            [&](int) {
                return ChildPool::Job{what, bytes};
            },
            [&](int, const ChildPool::Job &, const Outcome &out) { result = out; });
        EXPECT_TRUE(result.finished)
            << result.failure << ": " << what << "; kept as " << Keep(bytes, "stall");
        if (result.finished) {
            EXPECT_LE(result.report.seconds, TimeLimit()) << "too slow: " << what;
        }
        return result;
    }

    // The file must be refused as "Invalid File.".
    void ExpectRefused(const Bytes &bytes, const std::string &what) {
        Outcome out = Read(bytes, what);
        if (!out.finished)
            return;
        EXPECT_EQ(out.report.opened, 0) << what << " opened";
        EXPECT_EQ(out.report.status, CDB_FAIL) << what;
        EXPECT_EQ(out.report.code, CDB_ERR_INVALID_FILE) << what;
        EXPECT_EQ(std::string(out.report.trouble), "") << what;
    }
    void ExpectRefused(const Groups &groups, const std::string &what, bool also_binary = true) {
        ExpectRefused(BytesOf(Dxf(groups)), what + " (ASCII)");
        if (also_binary)
            ExpectRefused(BinaryOf(groups), what + " (binary)");
    }
};

TEST_F(Dxf12Stall, TheWholeDrawingOpensInBothForms) {
    // The file the cases below damage: whole, it opens, as ASCII and as binary.
    const Groups whole = Join({kHeader, kTables, kBlock, kEntities, kEof});
    for (const Bytes &bytes : {BytesOf(Dxf(whole)), BinaryOf(whole)}) {
        Outcome out = Read(bytes, "the whole drawing");
        ASSERT_TRUE(out.finished) << out.failure;
        EXPECT_EQ(out.report.opened, 1) << "error " << out.report.code;
        EXPECT_EQ(std::string(out.report.trouble), "");
        // The tables, and the line, the insert, the end marker, the block's circle and
        // end: the walks handed them all out.
        EXPECT_GT(out.report.records, 0);
        EXPECT_GE(out.report.walked, 5);
    }
}

TEST_F(Dxf12Stall, FileWithoutEofIsRefused) {
    ExpectRefused(Join({kHeader, kTables, kBlock, kEntities}), "no EOF");
}

TEST_F(Dxf12Stall, EofOnALastLineWithoutLineFeedIsNotSeen) {
    // A last line without its line feed is never delivered: the "EOF" is not read.
    std::string text = Dxf(Join({kHeader, kTables, kBlock, kEntities, kEof}));
    ASSERT_EQ(text.back(), '\n');
    text.pop_back();
    ExpectRefused(BytesOf(text), "EOF without a line feed");
}

TEST_F(Dxf12Stall, FileEndingInsideAnEntityIsRefused) {
    std::string text = Dxf(Join({kHeader, kTables, kBlock, kEntities}));
    // Cut behind the line's first coordinate.
    const size_t at = text.find(" 10\n1.0\n", text.find("ENTITIES"));
    ASSERT_NE(at, std::string::npos);
    ExpectRefused(BytesOf(text.substr(0, at + 8)), "end inside an entity (ASCII)");
    Groups groups = Join({kHeader, kTables, kBlock});
    groups.insert(groups.end(), kEntities.begin(), kEntities.begin() + 5);
    ExpectRefused(BinaryOf(groups), "end inside an entity (binary)");
}

TEST_F(Dxf12Stall, FileEndingInsideATableIsRefused) {
    std::string text = Dxf(Join({kHeader, kTables, kBlock, kEntities, kEof}));
    const size_t at = text.find("  2\nWALLS\n");
    ASSERT_NE(at, std::string::npos);
    ExpectRefused(BytesOf(text.substr(0, at + 10)), "end inside a layer record (ASCII)");
    Groups groups = kHeader;
    groups.insert(groups.end(), kTables.begin(), kTables.begin() + 23);
    ExpectRefused(BinaryOf(groups), "end inside a layer record (binary)");
}

TEST_F(Dxf12Stall, FileEndingAfterTheHeaderIsRefused) {
    ExpectRefused(kHeader, "nothing after the header");
    ExpectRefused(Join({kHeader, kTables}), "nothing after the tables");
}

TEST_F(Dxf12Stall, UnknownKindInEntitiesIsRefused) {
    // The first entity of the section: there is no previous object to hand it to.
    ExpectRefused(Join({kHeader, kTables, kBlock,
                        Replace(kEntities, "", "LINE", {{0, "MTEXT"}, {8, "0"}, {1, "x"}}), kEof}),
                  "MTEXT as the first entity");
    // Behind a known entity.
    ExpectRefused(Join({kHeader, kTables, kBlock,
                        Replace(kEntities, "", "INSERT", {{0, "FOO"}, {8, "0"}}), kEof}),
                  "FOO behind a LINE");
    // "3DLINE" is known in blocks only.
    ExpectRefused(
        Join({kHeader, kTables, kBlock,
              Replace(kEntities, "", "INSERT",
                      {{0, "3DLINE"}, {8, "0"}, {10, "0"}, {20, "0"}, {11, "1"}, {21, "1"}}),
              kEof}),
        "3DLINE in ENTITIES");
}

TEST_F(Dxf12Stall, UnknownKindInBlocksIsRefused) {
    ExpectRefused(
        Join({kHeader, kTables, Replace(kBlock, "", "CIRCLE", {{0, "MTEXT"}, {8, "0"}, {1, "x"}}),
              kEntities, kEof}),
        "MTEXT in a block");
    ExpectRefused(Join({kHeader, kTables,
                        Replace(kBlock, "", "ENDBLK", {{0, "LWPOLYLINE"}, {8, "0"}, {0, "ENDBLK"}}),
                        kEntities, kEof}),
                  "LWPOLYLINE behind a block's circle");
}

TEST_F(Dxf12Stall, ThreeDLineInABlockIsRefused) {
    // Dispatched to the line class, whose reader refuses the name: the section stalls.
    ExpectRefused(Join({kHeader, kTables,
                        Replace(kBlock, "", "CIRCLE",
                                {{0, "3DLINE"},
                                 {8, "0"},
                                 {10, "0"},
                                 {20, "0"},
                                 {30, "0"},
                                 {11, "1"},
                                 {21, "1"},
                                 {31, "1"}}),
                        kEntities, kEof}),
                  "3DLINE in a block");
}

TEST_F(Dxf12Stall, EmptyFileAfterTheHeaderIsRefused) {
    // The header, and nothing more: not even the end of its section.
    Groups head(kHeader.begin(), kHeader.end() - 1);
    ExpectRefused(head, "the header without its end");
    ExpectRefused(BytesOf(Dxf(kHeader) + std::string(64, '\n')), "the header and empty lines");
    ExpectRefused(BytesOf(Dxf(kHeader) + std::string(64, ' ')), "the header and blanks");
}

// ---------------------------------------------------------------------------
// Release 13: every count group made huge, in a small hand-made drawing
// ---------------------------------------------------------------------------

// A small release 13 drawing: the tables and blocks the reader needs, `record` (an entity,
// or with `in_objects` an object of the OBJECTS section), and a line.
Groups Release13Drawing(const Groups &record, bool in_objects) {
    Groups d = {{0, "SECTION"},
                {2, "HEADER"},
                {9, "$ACADVER"},
                {1, "AC1012"},
                {9, "$HANDSEED"},
                {5, "FFF"},
                {0, "ENDSEC"},
                {0, "SECTION"},
                {2, "TABLES"},
                {0, "TABLE"},
                {2, "LTYPE"},
                {5, "5"},
                {100, "AcDbSymbolTable"},
                {70, "1"},
                {0, "LTYPE"},
                {5, "14"},
                {100, "AcDbSymbolTableRecord"},
                {100, "AcDbLinetypeTableRecord"},
                {2, "CONTINUOUS"},
                {70, "0"},
                {3, "Solid line"},
                {72, "65"},
                {73, "0"},
                {40, "0.0"},
                {0, "ENDTAB"},
                {0, "TABLE"},
                {2, "LAYER"},
                {5, "2"},
                {100, "AcDbSymbolTable"},
                {70, "1"},
                {0, "LAYER"},
                {5, "10"},
                {100, "AcDbSymbolTableRecord"},
                {100, "AcDbLayerTableRecord"},
                {2, "0"},
                {70, "0"},
                {62, "7"},
                {6, "CONTINUOUS"},
                {0, "ENDTAB"},
                {0, "TABLE"},
                {2, "BLOCK_RECORD"},
                {5, "1"},
                {100, "AcDbSymbolTable"},
                {70, "2"},
                {0, "BLOCK_RECORD"},
                {5, "1F"},
                {100, "AcDbSymbolTableRecord"},
                {100, "AcDbBlockTableRecord"},
                {2, "*MODEL_SPACE"},
                {0, "BLOCK_RECORD"},
                {5, "1B"},
                {100, "AcDbSymbolTableRecord"},
                {100, "AcDbBlockTableRecord"},
                {2, "*PAPER_SPACE"},
                {0, "ENDTAB"},
                {0, "ENDSEC"},
                {0, "SECTION"},
                {2, "BLOCKS"}};
    for (const char *space : {"*MODEL_SPACE", "*PAPER_SPACE"}) {
        const Groups block = {{0, "BLOCK"},
                              {8, "0"},
                              {100, "AcDbBlockBegin"},
                              {2, space},
                              {70, "0"},
                              {10, "0"},
                              {20, "0"},
                              {30, "0"},
                              {3, space},
                              {1, ""},
                              {0, "ENDBLK"},
                              {8, "0"},
                              {100, "AcDbBlockEnd"}};
        d.insert(d.end(), block.begin(), block.end());
    }
    d.push_back({0, "ENDSEC"});
    d.push_back({0, "SECTION"});
    d.push_back({2, "ENTITIES"});
    if (!in_objects)
        d.insert(d.end(), record.begin(), record.end());
    const Groups line = {{0, "LINE"}, {8, "0"},  {100, "AcDbEntity"}, {100, "AcDbLine"}, {10, "0"},
                         {20, "0"},   {30, "0"}, {11, "1"},           {21, "1"},         {31, "0"}};
    d.insert(d.end(), line.begin(), line.end());
    d.push_back({0, "ENDSEC"});
    if (in_objects) {
        d.push_back({0, "SECTION"});
        d.push_back({2, "OBJECTS"});
        d.insert(d.end(), record.begin(), record.end());
        d.push_back({0, "ENDSEC"});
    }
    d.push_back({0, "EOF"});
    return d;
}

// The file of the groups in the three forms a release 13 file may take.
std::vector<std::pair<std::string, Bytes>> Release13Forms(const Groups &groups) {
    std::vector<BinaryGroup> binary;
    for (const auto &g : groups)
        binary.push_back(MakeBinaryGroup(Release::k13, g.first, g.second));
    return {{"ASCII", BytesOf(Dxf(groups))},
            {"binary", JoinBinary(binary)},
            {"binary without sentinel", JoinBinary(binary, false)}};
}

// The same reading in a child, for release 13 files.
class Dxf13Count : public Dxf12Stall {};

// The small drawing with a record of the count group's kind whose count is `number`: a line
// type in its table in place of CONTINUOUS, a multiline style in the OBJECTS section, an
// entity in ENTITIES.
Groups CountDrawing(const CountGroup &target, const std::string &number) {
    const std::string kind = target.kind;
    const Groups record = CountRecord(target, number);
    if (kind == "LTYPE")
        return Replace(Release13Drawing({}, false), "TABLE", "LTYPE", record);
    return Release13Drawing(record, kind == "MLINESTYLE");
}

TEST_F(Dxf13Count, DrawingOfTheCountCasesOpens) {
    // The drawing the cases below put their records into: as it stands, it opens.
    const auto forms = Release13Forms(Release13Drawing({}, false));
    for (size_t i = 0; i < 2; ++i) {
        Outcome out = Read(forms[i].second, "the release 13 drawing, " + forms[i].first);
        ASSERT_TRUE(out.finished) << out.failure;
        EXPECT_EQ(out.report.opened, 1) << forms[i].first << ": error " << out.report.code;
        EXPECT_EQ(std::string(out.report.trouble), "");
    }
    const ChildReport plain = Read(forms[0].second, "the drawing").report;
    // With a record of each kind as it should be, the record is read. A multiline style is
    // one table record more; the line type takes CONTINUOUS's place; an entity is handed out
    // by the main walk and by the display walk.
    for (const CountGroup &target : kCountGroups) {
        const std::string kind = target.kind;
        const bool table_record = kind == "MLINESTYLE", entity = !table_record && kind != "LTYPE";
        for (const auto &form : Release13Forms(CountDrawing(target, ""))) {
            if (form.first == "binary without sentinel")
                continue;
            const std::string what = std::string(target.kind) + ", " + form.first;
            Outcome out = Read(form.second, what);
            ASSERT_TRUE(out.finished) << out.failure;
            EXPECT_EQ(out.report.opened, 1) << what << ": error " << out.report.code;
            EXPECT_EQ(out.report.records, plain.records + (table_record ? 1 : 0)) << what;
            EXPECT_EQ(out.report.walked, plain.walked + (entity ? 2 : 0)) << what;
        }
    }
}

TEST_F(Dxf13Count, HugeCountsEndCleanlyAndInTime) {
    // Each count group of each kind, with each huge number, in each form: read to the end
    // or refused, without a crash, a stall, a leak or an allocation past the bound.
    for (const CountGroup &target : kCountGroups) {
        for (const char *number : {"32767", "-1", "-32768", "2147483647"}) {
            for (const auto &form : Release13Forms(CountDrawing(target, number))) {
                const std::string what = std::string(target.kind) + " " +
                                         std::to_string(target.code) + "=" + number + ", " +
                                         form.first;
                Outcome out = Read(form.second, what);
                if (out.finished) {
                    EXPECT_EQ(std::string(out.report.trouble), "") << what;
                }
            }
        }
    }
}

} // namespace
} // namespace dxf_mutation
} // namespace velko_test
