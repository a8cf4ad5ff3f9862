#pragma once
// Timing of the stages of a sub-command, and the progress display on a
// terminal. Progress goes to the error stream only when the caller says that
// it is a terminal, so that pipes and logs stay clean.

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstddef>
#include <ostream>
#include <string>
#include <utility>

#include <processing/progress.h>

#include "report.h"

namespace Zelkov::Cli {

/// A one-line bar, redrawn in place with a carriage return whenever the
/// percentage changes. Does nothing when constructed without a stream.
class progress_bar {
public:
    progress_bar(std::ostream* terminal, std::string label, std::size_t total)
        : terminal_(terminal), label_(std::move(label)), total_(total)
    {
        update(0);
    }
    progress_bar(const progress_bar&) = delete;
    progress_bar& operator=(const progress_bar&) = delete;
    ~progress_bar() { finish(); }

    void update(std::size_t done)
    {
        if (!terminal_ || total_ == 0) return;
        const int percent = static_cast<int>(100.0 * static_cast<double>(std::min(done, total_)) / total_);
        if (percent == shown_) return;
        shown_ = percent;
        const int width = 30;
        const int filled = percent * width / 100;
        *terminal_ << '\r' << label_ << " [" << std::string(filled, '#') << std::string(width - filled, ' ') << "] "
                   << percent << "%" << std::flush;
    }

    void finish()
    {
        if (!terminal_ || finished_) return;
        finished_ = true;
        *terminal_ << "\r\033[K" << std::flush;
    }

private:
    std::ostream* terminal_;
    std::string label_;
    std::size_t total_;
    int shown_ = -1;
    bool finished_ = false;
};

/// Runs named stages, records how long each took, and on a terminal shows
/// which one is running.
class stage_clock {
public:
    explicit stage_clock(std::ostream* terminal) : terminal_(terminal), timings_(value::object()) {}

    template <class F>
    decltype(auto) run(const std::string& name, F&& work)
    {
        if (terminal_) *terminal_ << "\r\033[K" << name << " ..." << std::flush;
        const auto start = std::chrono::steady_clock::now();
        struct recorder {
            stage_clock& clock;
            const std::string& name;
            std::chrono::steady_clock::time_point start;
            ~recorder()
            {
                const std::chrono::duration<double, std::milli> took = std::chrono::steady_clock::now() - start;
                clock.record(name, took.count());
            }
        } finally{*this, name, start};
        return std::forward<F>(work)();
    }

    /// Adds `ms` to the stage's time (a stage may run in several pieces). The
    /// stage's key in the timings is its name in snake_case.
    void record(const std::string& name, double ms)
    {
        value& total = timings_[snake_case(name)];
        const double sum = (total.is_number() ? total.get<double>() : 0.0) + ms;
        total = std::round(sum * 1000.0) / 1000.0;
        if (terminal_) *terminal_ << "\r\033[K" << std::flush;
    }

    /// A progress callback for the processing jobs: times their stages as
    /// `run` does, shows them on the terminal, and never cancels.
    Zelkov::Processing::progress_callback callback()
    {
        return [this](const Zelkov::Processing::progress_event& e) {
            if (e.fraction == 0.0) {
                if (terminal_) *terminal_ << "\r\033[K" << e.stage << " ..." << std::flush;
                stage_start_ = std::chrono::steady_clock::now();
            } else if (e.fraction == 1.0) {
                const std::chrono::duration<double, std::milli> took = std::chrono::steady_clock::now() - stage_start_;
                record(std::string(e.stage), took.count());
            }
            return true;
        };
    }

    std::ostream* terminal() const { return terminal_; }

    /// Milliseconds per stage, in the order the stages first ran.
    const value& timings() const { return timings_; }

private:
    std::ostream* terminal_;
    value timings_;
    std::chrono::steady_clock::time_point stage_start_;
};

}  // namespace Zelkov::Cli
