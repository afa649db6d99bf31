#pragma once

#include "core/base/Scheduler.h"

namespace quillon {

// Runs long jobs side by side, each on a thread of its own, so that one file's transcription never
// waits for another's. A job that must report to a queue posts there itself.
class BackgroundJobs {
public:
    virtual ~BackgroundJobs() = default;

    // Starts `job` now, beside whatever else runs. Safe from any thread.
    virtual void start(Task job) = 0;
};

}  // namespace quillon
