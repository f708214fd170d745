// The times of one timed step of the benchmark, round after round, and how a row of them
// is printed: the best and the median time, with MB/s of a file and objects per second at
// each, as text or as one JSON member.
#ifndef VELKO_BENCH_PHASE_H
#define VELKO_BENCH_PHASE_H

#include <chrono>
#include <string>
#include <vector>

namespace velko_bench {

struct Phase {
    std::vector<double> times; // seconds, one per round
    double Best() const;
    double Median() const;
};

// "  NAME  best T s M MB/s R UNIT/s   median ..." for `bytes` and `count` per round.
void PrintPhase(const char *name, const Phase &p, long long bytes, long count,
                const char *unit = "entities");

// "\"NAME\": {\"best_seconds\": ..., \"best_UNIT_per_second\": ...}".
std::string JsonPhase(const char *name, const Phase &p, long long bytes, long count,
                      const char *unit = "entities");

// `s` as a JSON string, quotes included.
std::string JsonString(const std::string &s);

using Clock = std::chrono::steady_clock;

// Seconds from `start` to now.
double Since(Clock::time_point start);

// The size of the file `path` in bytes; -1 when it cannot be had.
long long FileSize(const std::string &path);

// The largest resident set the process has had so far, in bytes; -1 when unknown.
long long PeakResidentBytes();

} // namespace velko_bench

#endif
