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
#include <string_view>
#include <utility>

#include <processing/progress.h>

#include "report.h"

namespace Zelkov::Cli {

/// Draws "stage [#####     ] 50%" over the current line of `terminal`.
inline void draw_bar(std::ostream& terminal, std::string_view stage, double fraction)
{
    const int percent = static_cast<int>(100.0 * std::clamp(fraction, 0.0, 1.0));
    const int width = 30, filled = percent * width / 100;
    terminal << "\r\033[K" << stage << " [" << std::string(static_cast<std::size_t>(filled), '#')
             << std::string(static_cast<std::size_t>(width - filled), ' ') << "] " << percent << "%" << std::flush;
}

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
    /// `run` does, shows them on the terminal with a bar for long ones, and
    /// never cancels.
    Zelkov::Processing::progress_callback callback()
    {
        return [this](const Zelkov::Processing::progress_event& e) {
            if (e.fraction == 0.0) {
                if (terminal_) *terminal_ << "\r\033[K" << e.stage << " ..." << std::flush;
                stage_start_ = std::chrono::steady_clock::now();
            } else if (e.fraction < 1.0) {
                if (terminal_) draw_bar(*terminal_, e.stage, e.fraction);
            } else {
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
