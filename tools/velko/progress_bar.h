// A one-line progress bar for the command-line tool, drawn on a stream (stderr) with
// carriage returns. It stays hidden for a first stretch of time, so that quick jobs print
// nothing, and it redraws at most every tenth of a second, so that a caller may report
// progress as often as it likes. Header only: the tool and its tests both use it.
#ifndef VELKO_PROGRESS_BAR_H
#define VELKO_PROGRESS_BAR_H

#include <chrono>
#include <cstdio>
#include <string>

class ProgressBar {
public:
    using Clock = std::chrono::steady_clock;

    static constexpr int kWidth = 30;
    static constexpr double kRedrawSeconds = 0.1;

    // `out` null or `enabled` false: a bar that never draws. Time counts from `start`.
    ProgressBar(std::FILE *out, bool enabled, double delay_seconds = 1.0,
                Clock::time_point start = Clock::now())
        : out_(enabled ? out : nullptr), delay_(delay_seconds), start_(start) {}
    ~ProgressBar() { Finish(); }
    ProgressBar(const ProgressBar &) = delete;
    ProgressBar &operator=(const ProgressBar &) = delete;

    // Reports the state of the job: what it does, how far it is (0 to 1; below 0 when
    // unknown, which draws no bar) and how many things it has done. Draws when the delay
    // has passed and the last drawing is old enough, or when the phase changed.
    void Update(const char *phase, double fraction, long count, Clock::time_point now) {
        if (!out_ || Seconds(start_, now) < delay_)
            return;
        const bool new_phase = phase_ != phase;
        if (drawn_ && !new_phase && Seconds(last_draw_, now) < kRedrawSeconds)
            return;
        phase_ = phase;
        last_draw_ = now;
        Draw(fraction, count);
    }
    void Update(const char *phase, double fraction, long count) {
        Update(phase, fraction, count, Clock::now());
    }

    // Clears the line if a bar was drawn, so that what follows starts on a clean line.
    void Finish() {
        if (!out_ || !drawn_)
            return;
        std::fprintf(out_, "\r%*s\r", static_cast<int>(line_length_), "");
        std::fflush(out_);
        drawn_ = false;
        line_length_ = 0;
    }

    // Whether anything is on the line now.
    bool Drawn() const { return drawn_; }

private:
    static double Seconds(Clock::time_point from, Clock::time_point to) {
        return std::chrono::duration<double>(to - from).count();
    }

    void Draw(double fraction, long count) {
        std::string line = phase_;
        line.resize(8, ' ');
        if (fraction >= 0) {
            if (fraction > 1)
                fraction = 1;
            const int filled = static_cast<int>(fraction * kWidth);
            line += " [";
            line.append(static_cast<size_t>(filled), '#');
            line.append(static_cast<size_t>(kWidth - filled), '.');
            char percent[16];
            std::snprintf(percent, sizeof percent, "] %3d%%", static_cast<int>(fraction * 100));
            line += percent;
        }
        char counted[32];
        std::snprintf(counted, sizeof counted, "  %ld objects", count);
        line += counted;
        // A shorter line than the last one blanks what the last one left behind.
        const size_t length = line.size();
        if (length < line_length_)
            line.append(line_length_ - length, ' ');
        std::fprintf(out_, "\r%s", line.c_str());
        std::fflush(out_);
        line_length_ = line.size();
        drawn_ = true;
    }

    std::FILE *out_;
    double delay_;
    Clock::time_point start_;
    Clock::time_point last_draw_{};
    std::string phase_;
    bool drawn_ = false;
    size_t line_length_ = 0;
};

#endif
