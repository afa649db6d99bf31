#pragma once

#include <chrono>

namespace quillon {

// The date and time of day, for time stamps a person reads. Timers use Scheduler::now() instead.
class WallClock {
public:
    virtual ~WallClock() = default;
    virtual std::chrono::system_clock::time_point now() const = 0;
    // The local time zone's offset from UTC at `when`.
    virtual std::chrono::seconds utcOffset(std::chrono::system_clock::time_point when) const = 0;
};

}  // namespace quillon
