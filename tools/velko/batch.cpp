// velko batch convert|info SRC_DIR DST_DIR [--jobs N] [--timeout SECONDS] [--json]
//
// Walks a tree of drawings (.dwg and .dxf in any case) and converts each into DST_DIR under
// the same relative path, or, with info, only opens and counts each. The library keeps its
// settings and open drawings per process, so a process is the unit of work: every file is
// handled by a child of its own, at most N at a time. A child that dies, or that outlives the
// timeout and is killed, is charged to its file alone and the walk goes on.
//
// One line per file on stdout, in the order the files finish (JSON with --json), then a
// summary line. Exit status: 0 when every file succeeded, 1 when some did not, 2 wrong usage.
#include "command_support.h"
#include "commands.h"
#include "convert_drawing.h"
#include "interface/tool_support.h"
#include "json_writer.h"
#include "velkow32.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <poll.h>
#include <string>
#include <strings.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

const char kBatchUsage[] = "usage: velko batch convert|info SRC_DIR DST_DIR [--jobs N] "
                           "[--timeout SECONDS] [--json]\n";

constexpr int kMaxJobs = 256;
constexpr double kDefaultTimeout = 300.0;

struct BatchOptions {
    bool convert = false;
    std::string src, dst;
    int jobs = 1;
    double timeout = kDefaultTimeout;
    bool json = false;
};

bool ParsePositive(const char *text, double *value) {
    char *end = nullptr;
    const double v = std::strtod(text, &end);
    if (end == text || *end != 0 || !(v > 0) || !std::isfinite(v))
        return false;
    *value = v;
    return true;
}

// 0, or 2 after the usage went to stderr.
int ParseBatch(int argc, char **argv, BatchOptions &o) {
    if (argc < 1)
        return WrongUsage(kBatchUsage);
    if (std::strcmp(argv[0], "convert") == 0)
        o.convert = true;
    else if (std::strcmp(argv[0], "info") != 0)
        return WrongUsage(kBatchUsage);
    int positional = 0;
    for (int i = 1; i < argc; ++i) {
        const char *a = argv[i];
        double value = 0;
        if (std::strcmp(a, "--json") == 0) {
            o.json = true;
        } else if (std::strcmp(a, "--jobs") == 0 && i + 1 < argc &&
                   ParsePositive(argv[i + 1], &value) && value <= kMaxJobs &&
                   value == std::floor(value)) {
            o.jobs = static_cast<int>(value);
            ++i;
        } else if (std::strcmp(a, "--timeout") == 0 && i + 1 < argc &&
                   ParsePositive(argv[i + 1], &value)) {
            o.timeout = value;
            ++i;
        } else if (a[0] == '-' && a[1] != 0) {
            return WrongUsage(kBatchUsage);
        } else if (positional == 0) {
            o.src = a;
            ++positional;
        } else if (positional == 1) {
            o.dst = a;
            ++positional;
        } else {
            return WrongUsage(kBatchUsage);
        }
    }
    if (positional != 2)
        return WrongUsage(kBatchUsage);
    std::error_code ec;
    if (!fs::is_directory(o.src, ec)) {
        std::fprintf(stderr, "velko batch: %s is not a folder\n", o.src.c_str());
        return WrongUsage(kBatchUsage);
    }
    return 0;
}

bool IsDrawingName(const fs::path &path) {
    const std::string ext = path.extension().string();
    return strcasecmp(ext.c_str(), ".dwg") == 0 || strcasecmp(ext.c_str(), ".dxf") == 0;
}

// The drawings under `src`, as paths relative to it, sorted; the destination folder is
// passed over when it lies inside the source.
std::vector<std::string> FindDrawings(const std::string &src, const std::string &dst) {
    std::vector<std::string> found;
    std::error_code ec;
    const fs::path dst_canonical = fs::weakly_canonical(dst, ec);
    fs::recursive_directory_iterator it(src, fs::directory_options::skip_permission_denied, ec);
    for (; !ec && it != fs::recursive_directory_iterator(); it.increment(ec)) {
        if (it->is_directory(ec) && fs::weakly_canonical(it->path(), ec) == dst_canonical) {
            it.disable_recursion_pending();
            continue;
        }
        if (it->is_regular_file(ec) && IsDrawingName(it->path()))
            found.push_back(it->path().lexically_relative(src).string());
    }
    std::sort(found.begin(), found.end());
    return found;
}

// What a child sends back through its pipe: plain bytes of fixed size.
struct ChildReport {
    int32_t ok = 0;
    int32_t code = 0;
    int32_t release = 0;
    int64_t entities = 0;
    int64_t blocks = 0;
    char message[240] = {};
};

void SetMessage(ChildReport &report, const std::string &text) {
    std::snprintf(report.message, sizeof report.message, "%s", text.c_str());
}

std::string LibraryMessage(int16_t code) {
    char message[64] = {};
    CDBGetErrorMessage(code, message, sizeof message - 1);
    return message;
}

void Counted(ChildReport &report, const tool_support::SavedObjects &counts) {
    report.entities = counts.entities;
    report.blocks = counts.blocks;
}

ChildReport ConvertOne(const std::string &in, const std::string &out) {
    ChildReport report;
    std::error_code ec;
    fs::create_directories(fs::path(out).parent_path(), ec);
    const ConversionOutcome outcome = ConvertDrawing(in.c_str(), out.c_str(), false, {});
    report.code = outcome.code;
    report.release = outcome.release;
    Counted(report, outcome.counts);
    report.ok = outcome.opened && outcome.saved;
    if (!outcome.opened) {
        const std::string why = tool_support::WhyRefused(in);
        SetMessage(report, LibraryMessage(outcome.code) + (why.empty() ? "" : ": " + why));
    } else if (!outcome.saved) {
        std::string text = outcome.code ? LibraryMessage(outcome.code) : "the save failed";
        if (!outcome.limit.empty())
            text += ": " + outcome.limit;
        if (!outcome.stopped_at.empty())
            text += ": the save stopped at " + outcome.stopped_at;
        SetMessage(report, text);
    }
    return report;
}

ChildReport InfoOne(const std::string &in) {
    ChildReport report;
    const int16_t h = CDBStartFileReading(in.c_str(), nullptr);
    if (h == CDB_FAIL) {
        report.code = CDBGetErrorNumber(CDB_FAIL);
        const std::string why = tool_support::WhyRefused(in);
        SetMessage(report, LibraryMessage(report.code) + (why.empty() ? "" : ": " + why));
        return report;
    }
    report.release = CDBGetAutoCADVersion(h);
    report.ok = tool_support::LoadWholeDrawing(h);
    tool_support::SavedObjects counts;
    tool_support::CountSavedObjects(h, &counts);
    Counted(report, counts);
    if (!report.ok) {
        report.code = CDBGetErrorNumber(h);
        SetMessage(report, LibraryMessage(report.code));
    }
    CDBEndOperation(h);
    return report;
}

// The body of a child: handles one file, writes the report to `fd` and ends the process
// without running the parent's exit handlers or flushing its buffers.
[[noreturn]] void RunChild(const BatchOptions &o, const std::string &relative, int fd) {
    const int null_fd = open("/dev/null", O_WRONLY);
    if (null_fd >= 0) {
        dup2(null_fd, STDOUT_FILENO);
        dup2(null_fd, STDERR_FILENO);
        close(null_fd);
    }
    const std::string in = (fs::path(o.src) / relative).string();
    const ChildReport report =
        o.convert ? ConvertOne(in, (fs::path(o.dst) / relative).string()) : InfoOne(in);
    const char *bytes = reinterpret_cast<const char *>(&report);
    size_t left = sizeof report;
    while (left > 0) {
        const ssize_t n = write(fd, bytes, left);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            break;
        bytes += n;
        left -= static_cast<size_t>(n);
    }
    _exit(0);
}

// One child at work on one file.
struct RunningChild {
    pid_t pid = -1;
    int fd = -1;
    std::string relative;
    Clock::time_point start;
    ChildReport report;
    size_t received = 0;
};

// How one file ended, as the batch reports it.
struct FileResult {
    std::string relative;
    std::string result; // "ok", "refused", "crashed" or "timeout"
    ChildReport report;
    double seconds = 0;
};

std::string Milliseconds(double seconds) {
    return FormatNumber(std::round(seconds * 1000) / 1000);
}

void PrintResult(const FileResult &r, bool json) {
    if (json) {
        std::printf("{\"file\": %s, \"result\": \"%s\", \"code\": %d, \"message\": %s, "
                    "\"release\": %d, \"entities\": %lld, \"blocks\": %lld, \"seconds\": %s}\n",
                    JsonString(r.relative.c_str()).c_str(), r.result.c_str(), r.report.code,
                    JsonString(r.report.message).c_str(), r.report.release,
                    static_cast<long long>(r.report.entities),
                    static_cast<long long>(r.report.blocks), Milliseconds(r.seconds).c_str());
    } else {
        std::printf("%-8s %s  entities %lld  blocks %lld  %ss", r.result.c_str(),
                    r.relative.c_str(), static_cast<long long>(r.report.entities),
                    static_cast<long long>(r.report.blocks), Milliseconds(r.seconds).c_str());
        if (r.result != "ok")
            std::printf("  (%d) %s", r.report.code, r.report.message);
        std::printf("\n");
    }
    std::fflush(stdout);
}

// Counts of the results, for the summary and the exit status.
struct Tally {
    long files = 0, ok = 0, refused = 0, crashed = 0, timeout = 0;
    void Add(const std::string &result) {
        ++files;
        if (result == "ok")
            ++ok;
        else if (result == "refused")
            ++refused;
        else if (result == "crashed")
            ++crashed;
        else
            ++timeout;
    }
};

void PrintSummary(const Tally &t, int jobs, double seconds, bool json) {
    if (json)
        std::printf("{\"summary\": true, \"files\": %ld, \"ok\": %ld, \"refused\": %ld, "
                    "\"crashed\": %ld, \"timeout\": %ld, \"jobs\": %d, \"seconds\": %s}\n",
                    t.files, t.ok, t.refused, t.crashed, t.timeout, jobs,
                    Milliseconds(seconds).c_str());
    else
        std::printf("files %ld: ok %ld, refused %ld, crashed %ld, timeout %ld; %d jobs, %ss\n",
                    t.files, t.ok, t.refused, t.crashed, t.timeout, jobs,
                    Milliseconds(seconds).c_str());
    std::fflush(stdout);
}

// Keeps at most `jobs` children at work and turns each one's end into a FileResult.
class ChildPool {
public:
    ChildPool(const BatchOptions &o) : options_(o) {}

    // Starts a child for the file; false when no child could be made (the file is then
    // charged as crashed by the caller).
    bool Start(const std::string &relative) {
        int fds[2];
        if (pipe2(fds, O_CLOEXEC) != 0)
            return false;
        std::fflush(stdout);
        const pid_t pid = fork();
        if (pid < 0) {
            close(fds[0]);
            close(fds[1]);
            return false;
        }
        if (pid == 0) {
            close(fds[0]);
            RunChild(options_, relative, fds[1]);
        }
        close(fds[1]);
        RunningChild child;
        child.pid = pid;
        child.fd = fds[0];
        child.relative = relative;
        child.start = Clock::now();
        running_.push_back(child);
        return true;
    }

    size_t Running() const { return running_.size(); }

    // Waits until at least one child ended or ran out of time, and gives their results.
    std::vector<FileResult> Collect() {
        std::vector<FileResult> done;
        while (done.empty() && !running_.empty()) {
            WaitForInput();
            for (size_t i = 0; i < running_.size();) {
                FileResult result;
                if (Advance(running_[i], &result)) {
                    done.push_back(result);
                    running_.erase(running_.begin() + static_cast<long>(i));
                } else {
                    ++i;
                }
            }
        }
        return done;
    }

private:
    double Elapsed(const RunningChild &c) const {
        return std::chrono::duration<double>(Clock::now() - c.start).count();
    }

    // Polls the pipes until one has something or the nearest deadline passes.
    void WaitForInput() {
        std::vector<pollfd> fds;
        double wait = options_.timeout;
        for (const RunningChild &c : running_) {
            fds.push_back({c.fd, POLLIN, 0});
            wait = std::min(wait, options_.timeout - Elapsed(c));
        }
        const int ms = static_cast<int>(std::ceil(std::max(0.0, wait) * 1000));
        poll(fds.data(), fds.size(), ms);
    }

    // Reads what the child sent; true with `result` once it is over.
    bool Advance(RunningChild &c, FileResult *result) {
        pollfd p{c.fd, POLLIN, 0};
        const bool readable = poll(&p, 1, 0) > 0;
        bool ended = false;
        if (readable) {
            char *into = reinterpret_cast<char *>(&c.report) + c.received;
            const ssize_t n =
                read(c.fd, into, c.received < sizeof c.report ? sizeof c.report - c.received : 0);
            if (n > 0)
                c.received += static_cast<size_t>(n);
            else if (n == 0 || errno != EINTR)
                ended = true;
            if (c.received == sizeof c.report)
                ended = true;
        }
        if (!ended && Elapsed(c) < options_.timeout)
            return false;
        Finish(c, ended, result);
        return true;
    }

    void Finish(RunningChild &c, bool ended, FileResult *result) {
        if (!ended)
            kill(c.pid, SIGKILL);
        int status = 0;
        while (waitpid(c.pid, &status, 0) < 0 && errno == EINTR) {
        }
        close(c.fd);
        result->relative = c.relative;
        result->seconds = Elapsed(c);
        const bool complete = c.received == sizeof c.report;
        // A report that comes in after the deadline is charged as a time-out all the same:
        // the file took longer than it was given, whichever way the race went.
        if (complete && result->seconds <= options_.timeout) {
            result->report = c.report;
            result->report.message[sizeof result->report.message - 1] = 0;
            result->result = c.report.ok ? "ok" : "refused";
        } else if (!ended || complete) {
            result->result = "timeout";
            SetMessage(result->report, (ended ? "finished after " : "killed after ") +
                                           Milliseconds(result->seconds) + "s, past the " +
                                           Milliseconds(options_.timeout) + "s it was given");
        } else {
            result->result = "crashed";
            if (WIFSIGNALED(status))
                SetMessage(result->report, std::string("ended by signal ") +
                                               std::to_string(WTERMSIG(status)) + " (" +
                                               strsignal(WTERMSIG(status)) + ")");
            else
                SetMessage(result->report,
                           "ended without a report, status " + std::to_string(WEXITSTATUS(status)));
        }
    }

    const BatchOptions &options_;
    std::vector<RunningChild> running_;
};

} // namespace

int RunBatch(int argc, char **argv) {
    BatchOptions o;
    if (int status = ParseBatch(argc, argv, o))
        return status;
    if (o.convert) {
        std::error_code ec;
        fs::create_directories(o.dst, ec);
        if (!fs::is_directory(o.dst, ec)) {
            std::fprintf(stderr, "velko batch: cannot make the folder %s\n", o.dst.c_str());
            return 1;
        }
    }
    const auto start = Clock::now();
    const std::vector<std::string> files = FindDrawings(o.src, o.dst);
    ChildPool pool(o);
    Tally tally;
    auto report = [&](const FileResult &r) {
        PrintResult(r, o.json);
        tally.Add(r.result);
    };
    for (const std::string &relative : files) {
        while (pool.Running() >= static_cast<size_t>(o.jobs))
            for (const FileResult &r : pool.Collect())
                report(r);
        if (!pool.Start(relative)) {
            FileResult r;
            r.relative = relative;
            r.result = "crashed";
            SetMessage(r.report, std::string("no worker process: ") + std::strerror(errno));
            report(r);
        }
    }
    while (pool.Running() > 0)
        for (const FileResult &r : pool.Collect())
            report(r);
    const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
    PrintSummary(tally, o.jobs, seconds, o.json);
    return tally.ok == tally.files ? 0 : 1;
}
