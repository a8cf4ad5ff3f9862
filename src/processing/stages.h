#pragma once
// Running the stages of a job and telling the caller's progress callback.

#include <string_view>
#include <utility>

#include <processing/progress.h>

namespace Zelkov::Processing::detail {

/// Tells `progress` that `stage` has come to `fraction`.
/// \throws cancelled when the callback returns false.
inline void report(const progress_callback& progress, std::string_view stage, double fraction)
{
    if (progress && !progress({stage, fraction})) throw cancelled();
}

/// Runs `work` as the stage `name`, reporting its start and its end.
template <class F>
decltype(auto) run_stage(const progress_callback& progress, std::string_view name, F&& work)
{
    report(progress, name, 0.0);
    if constexpr (std::is_void_v<decltype(std::forward<F>(work)())>) {
        std::forward<F>(work)();
        report(progress, name, 1.0);
    } else {
        auto result = std::forward<F>(work)();
        report(progress, name, 1.0);
        return result;
    }
}

}  // namespace Zelkov::Processing::detail
