#pragma once

#include "core/ports/WallClock.h"

namespace quillon::testing {

// A wall clock that stands still until a test moves it.
class FakeWallClock final : public quillon::WallClock {
public:
    std::chrono::system_clock::time_point now() const override { return now_; }
    std::chrono::seconds utcOffset(std::chrono::system_clock::time_point) const override { return offset_; }

    void set(std::chrono::system_clock::time_point when) { now_ = when; }
    void setUtcOffset(std::chrono::seconds offset) { offset_ = offset; }
    void advance(std::chrono::system_clock::duration by) { now_ += by; }

private:
    std::chrono::system_clock::time_point now_{std::chrono::sys_days{std::chrono::year{2026} / 11 / 22}};
    std::chrono::seconds offset_{0};
};

}  // namespace quillon::testing
