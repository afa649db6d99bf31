#pragma once

#include "core/ports/WallClock.h"

namespace quillon {

class SystemWallClock final : public WallClock {
public:
    std::chrono::system_clock::time_point now() const override;
    std::chrono::seconds utcOffset(std::chrono::system_clock::time_point when) const override;
};

}  // namespace quillon
