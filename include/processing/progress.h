#pragma once
/// \file
/// How a processing job tells its caller where it is, and how the caller
/// stops it.

#include <functional>
#include <stdexcept>
#include <string_view>

#include <processing/export.h>

namespace Zelkov::Processing {

/// One report of a job's progress: the stage under way and how far it has
/// come, 0 when the stage starts and 1 when it ends, with values in between
/// for long stages. Every stage reports 0 and, unless an exception ends it, 1.
struct progress_event {
    std::string_view stage;  ///< the stage's name, as the job's contract lists them
    double fraction = 0.0;   ///< from 0 at its start to 1 at its end
};

/// Called by a job on the calling thread, never from a parallel body. A
/// return of false cancels the job: it throws `cancelled` at the next point
/// where it can stop. An empty callback is never called.
using progress_callback = std::function<bool(const progress_event&)>;

/// Thrown when the progress callback asks a job to stop. The surface a job
/// changes in place is then in an unspecified but valid state.
class ZELKOV_PROCESSING_EXPORT cancelled : public std::runtime_error {
public:
    cancelled();
};

}  // namespace Zelkov::Processing
