#include "platform/linux/base/SystemWallClock.h"

#include <ctime>

namespace quillon {

std::chrono::system_clock::time_point SystemWallClock::now() const { return std::chrono::system_clock::now(); }

std::chrono::seconds SystemWallClock::utcOffset(std::chrono::system_clock::time_point when) const {
    std::time_t seconds = std::chrono::system_clock::to_time_t(when);
    std::tm local{};
    if (localtime_r(&seconds, &local) == nullptr) return std::chrono::seconds(0);
    return std::chrono::seconds(local.tm_gmtoff);
}

}  // namespace quillon
