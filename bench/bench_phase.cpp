#include "bench_phase.h"

#include <algorithm>
#include <filesystem>
#include <cstdio>
#include <sys/resource.h>

namespace velko_bench {

namespace {

double PerSecond(double amount, double seconds) {
    return seconds > 0 ? amount / seconds : 0;
}

} // namespace

double Phase::Best() const {
    return times.empty() ? 0 : *std::min_element(times.begin(), times.end());
}

double Phase::Median() const {
    if (times.empty())
        return 0;
    std::vector<double> sorted = times;
    std::sort(sorted.begin(), sorted.end());
    const size_t n = sorted.size();
    return n % 2 ? sorted[n / 2] : (sorted[n / 2 - 1] + sorted[n / 2]) / 2;
}

void PrintPhase(const char *name, const Phase &p, long long bytes, long count, const char *unit) {
    const double best = p.Best(), median = p.Median();
    const double mb = static_cast<double>(bytes) / 1e6, n = static_cast<double>(count);
    std::printf("  %-10s best %8.4f s %8.1f MB/s %11.0f %s/s   median %8.4f s %8.1f MB/s "
                "%11.0f %s/s\n",
                name, best, PerSecond(mb, best), PerSecond(n, best), unit, median,
                PerSecond(mb, median), PerSecond(n, median), unit);
}

std::string JsonPhase(const char *name, const Phase &p, long long bytes, long count,
                      const char *unit) {
    const double best = p.Best(), median = p.Median();
    const double mb = static_cast<double>(bytes) / 1e6, n = static_cast<double>(count);
    char buf[384];
    std::snprintf(buf, sizeof buf,
                  "\"%s\": {\"best_seconds\": %.6f, \"median_seconds\": %.6f, "
                  "\"best_mb_per_second\": %.3f, \"median_mb_per_second\": %.3f, "
                  "\"best_%s_per_second\": %.1f, \"median_%s_per_second\": %.1f}",
                  name, best, median, PerSecond(mb, best), PerSecond(mb, median), unit,
                  PerSecond(n, best), unit, PerSecond(n, median));
    return buf;
}

std::string JsonString(const std::string &s) {
    std::string out = "\"";
    for (unsigned char c : s) {
        if (c == '"' || c == '\\') {
            out += '\\';
            out += static_cast<char>(c);
        } else if (c < 0x20) {
            char buf[8];
            std::snprintf(buf, sizeof buf, "\\u%04x", c);
            out += buf;
        } else {
            out += static_cast<char>(c);
        }
    }
    return out + "\"";
}

long long PeakResidentBytes() {
    struct rusage usage;
    if (getrusage(RUSAGE_SELF, &usage) != 0)
        return -1;
    return static_cast<long long>(usage.ru_maxrss) * 1024; // kilobytes on Linux
}

double Since(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

long long FileSize(const std::string &path) {
    std::error_code ec;
    const auto size = std::filesystem::file_size(path, ec);
    return ec ? -1 : static_cast<long long>(size);
}

} // namespace velko_bench
