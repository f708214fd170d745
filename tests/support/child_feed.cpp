// Feeding files in child processes: see child_feed.h.
#include "support/child_feed.h"

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <new>

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

// Present under the leak sanitizer: checks for leaks now and says whether it found any.
extern "C" int __lsan_do_recoverable_leak_check() __attribute__((weak));

namespace velko_test {
namespace {

using Clock = std::chrono::steady_clock;

double ProcessSeconds() {
    timespec t{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
    return double(t.tv_sec) + double(t.tv_nsec) * 1e-9;
}

bool WriteAll(int fd, const void *data, size_t size) {
    const char *p = static_cast<const char *>(data);
    while (size > 0) {
        const ssize_t n = write(fd, p, size);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        p += n;
        size -= static_cast<size_t>(n);
    }
    return true;
}

// One file, in the child, under the memory bound.
ChildFeedReport FeedOne(const std::string &path, const ChildFeedBounds &bounds,
                        const ChildFeeder &feed) {
    ChildFeedReport report;
    std::error_code ec;
    const auto size = std::filesystem::file_size(path, ec);
    report.file_bytes = ec ? 0 : static_cast<int64_t>(size);
    const double start = ProcessSeconds();
    Outcome out;
    PeakMemory peak;
    {
        DataLimit limit(MemoryBound(static_cast<size_t>(report.file_bytes)) + bounds.memory_extra);
        report.memory_bound = limit.active() ? 1 : 0;
        try {
            out = feed ? feed(path) : FeedFile(path, nullptr);
        } catch (const std::bad_alloc &) {
            report.out_of_memory = 1;
        }
    }
    report.seconds = ProcessSeconds() - start;
    report.peak_bytes = peak.Added();
    report.opened = out.opened ? 1 : 0;
    report.status = out.status;
    report.code = out.code;
    report.records = static_cast<int32_t>(out.records);
    report.walked = static_cast<int32_t>(out.walked);
    std::snprintf(report.trouble, sizeof report.trouble, "%s", out.trouble.c_str());
    return report;
}

[[noreturn]] void ChildMain(int fd, const std::vector<std::string> &paths, size_t first,
                            const ChildFeedBounds &bounds, const ChildFeeder &feed, double limit) {
    for (size_t k = first; k < paths.size(); ++k) {
        // A second guard, should the parent be gone.
        alarm(static_cast<unsigned>(limit) + 5);
        const ChildFeedReport report = FeedOne(paths[k], bounds, feed);
        if (!WriteAll(fd, &report, sizeof report))
            _exit(3);
    }
    ChildFeedReport closing;
    closing.closing = 1;
    if (__lsan_do_recoverable_leak_check)
        closing.leaks = __lsan_do_recoverable_leak_check();
    _exit(WriteAll(fd, &closing, sizeof closing) ? 0 : 3);
}

std::string Describe(int status) {
    if (WIFSIGNALED(status))
        return "was killed by signal " + std::to_string(WTERMSIG(status));
    if (WIFEXITED(status))
        return "ended with exit status " + std::to_string(WEXITSTATUS(status));
    return "ended with status " + std::to_string(status);
}

// What one child did with the files from `first` on.
struct ChildRun {
    std::vector<ChildFeedReport> reports; // one per file it finished
    bool closed = false;                  // the closing report came
    int leaks = 0;
    bool timed_out = false;
    std::string ended; // empty for an exit status 0
};

class ChildReader {
public:
    ChildReader(pid_t pid, int fd, double limit) : pid_(pid), fd_(fd), limit_(limit) {}

    // Takes the reports until the pipe closes or a report is late; then reaps the child.
    ChildRun Collect() {
        ChildRun run;
        Clock::time_point deadline = Deadline();
        bool open = true;
        while (open) {
            const double left = std::chrono::duration<double>(deadline - Clock::now()).count();
            if (left <= 0)
                return Kill(std::move(run));
            pollfd p{fd_, POLLIN, 0};
            const int ready = poll(&p, 1, static_cast<int>(left * 1000) + 1);
            if (ready < 0 && errno != EINTR)
                break;
            if (ready <= 0)
                continue;
            open = Drain(&run);
            if (!run.reports.empty() && run.reports.size() != seen_) {
                seen_ = run.reports.size();
                deadline = Deadline();
            }
        }
        return Reap(std::move(run), deadline);
    }

private:
    Clock::time_point Deadline() const {
        return Clock::now() +
               std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(limit_));
    }

    // Reads what is there; false once the pipe is closed.
    bool Drain(ChildRun *run) {
        char chunk[4096];
        const ssize_t n = read(fd_, chunk, sizeof chunk);
        if (n < 0)
            return errno == EINTR || errno == EAGAIN;
        if (n == 0)
            return false;
        buffer_.append(chunk, static_cast<size_t>(n));
        while (buffer_.size() >= sizeof(ChildFeedReport)) {
            ChildFeedReport report;
            std::memcpy(&report, buffer_.data(), sizeof report);
            buffer_.erase(0, sizeof report);
            if (report.closing) {
                run->closed = true;
                run->leaks = report.leaks;
            } else {
                run->reports.push_back(report);
            }
        }
        return true;
    }

    ChildRun Kill(ChildRun run) {
        kill(pid_, SIGKILL);
        int status = 0;
        waitpid(pid_, &status, 0);
        run.timed_out = true;
        return run;
    }

    // The pipe is closed: the child is ending. It still may not, within the deadline.
    ChildRun Reap(ChildRun run, Clock::time_point deadline) {
        for (;;) {
            int status = 0;
            const pid_t r = waitpid(pid_, &status, WNOHANG);
            if (r == pid_) {
                if (!WIFEXITED(status) || WEXITSTATUS(status) != 0)
                    run.ended = Describe(status);
                return run;
            }
            if (r < 0) {
                run.ended = "was lost";
                return run;
            }
            if (Clock::now() > deadline)
                return Kill(std::move(run));
            usleep(1000);
        }
    }

    pid_t pid_;
    int fd_;
    double limit_;
    size_t seen_ = 0;
    std::string buffer_;
};

ChildRun RunChild(const std::vector<std::string> &paths, size_t first,
                  const ChildFeedBounds &bounds, const ChildFeeder &feed) {
    const double limit = bounds.time_limit > 0 ? bounds.time_limit : ChildTimeLimit();
    ChildRun run;
    int fds[2];
    if (pipe(fds) != 0) {
        run.ended = "could not be started (no pipe)";
        return run;
    }
    std::fflush(stdout);
    std::fflush(stderr);
    const pid_t pid = fork();
    if (pid < 0) {
        close(fds[0]);
        close(fds[1]);
        run.ended = "could not be started (no fork)";
        return run;
    }
    if (pid == 0) {
        close(fds[0]);
        ChildMain(fds[1], paths, first, bounds, feed, limit);
    }
    close(fds[1]);
    ChildReader reader(pid, fds[0], limit);
    run = reader.Collect();
    close(fds[0]);
    return run;
}

// Feeds each file of [from, to) alone and marks those whose child found leaks.
void FindLeaksAlone(const std::vector<std::string> &paths, size_t from, size_t to,
                    const ChildFeedBounds &bounds, const ChildFeeder &feed,
                    std::vector<ChildFeedOutcome> *outcomes) {
    if (to - from == 1) {
        (*outcomes)[from].leaked = true;
        return;
    }
    bool found = false;
    for (size_t i = from; i < to; ++i) {
        const ChildRun alone = RunChild({paths[i]}, 0, bounds, feed);
        if (alone.leaks) {
            (*outcomes)[i].leaked = true;
            found = true;
        }
    }
    // Leaks that only a batch shows stay with its last file.
    if (!found && to > from)
        (*outcomes)[to - 1].leaked = true;
}

} // namespace

std::string ChildFeedOutcome::Failure() const {
    if (timed_out)
        return "no end within the time limit: the child was killed";
    if (!ended.empty())
        return "the child process " + ended + ": a crash or a sanitizer report, see its output";
    if (!reported)
        return "the child gave no report";
    if (report.out_of_memory)
        return "an allocation past the memory bound failed out of the library";
    if (report.peak_bytes >
        static_cast<int64_t>(MemoryBound(static_cast<size_t>(report.file_bytes))))
        return "the peak memory of the feed, " + std::to_string(report.peak_bytes) +
               " bytes, passed the bound of " +
               std::to_string(MemoryBound(static_cast<size_t>(report.file_bytes)));
    if (leaked)
        return "the leak checker found memory that was not freed";
    return report.trouble;
}

double ChildTimeLimit() {
    return 3.0 * MutantTimeLimit() + 2.0;
}

std::vector<ChildFeedOutcome> FeedFilesInChild(const std::vector<std::string> &paths,
                                               const ChildFeedBounds &bounds,
                                               const ChildFeeder &feed) {
    std::vector<ChildFeedOutcome> outcomes(paths.size());
    size_t next = 0;
    while (next < paths.size()) {
        const size_t first = next;
        const ChildRun run = RunChild(paths, first, bounds, feed);
        for (const ChildFeedReport &report : run.reports) {
            outcomes[next].reported = true;
            outcomes[next].report = report;
            ++next;
        }
        if (next < paths.size()) {
            // The child ended inside this file: it takes the end, the rest go on.
            outcomes[next].timed_out = run.timed_out;
            outcomes[next].ended = run.ended.empty() ? "ended without a report" : run.ended;
            ++next;
            continue;
        }
        ChildFeedOutcome &last = outcomes[next - 1];
        if (run.timed_out || !run.ended.empty() || !run.closed) {
            last.timed_out = run.timed_out;
            last.ended = (run.ended.empty() ? std::string("gave no closing report") : run.ended) +
                         " after its last file";
        }
        if (run.leaks)
            FindLeaksAlone(paths, first, next, bounds, feed, &outcomes);
    }
    return outcomes;
}

ChildFeedOutcome FeedFileInChild(const std::string &path, size_t memory_extra, double time_limit) {
    ChildFeedBounds bounds;
    bounds.memory_extra = memory_extra;
    bounds.time_limit = time_limit;
    return FeedFilesInChild({path}, bounds).front();
}

} // namespace velko_test
