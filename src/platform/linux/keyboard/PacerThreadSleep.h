#pragma once

#include <thread>

#include "core/ports/Pacer.h"

namespace quillon {

// Real pauses on the calling thread, for the typing pace and the insertion ladder.
class PacerThreadSleep final : public Pacer {
public:
    void pause(std::chrono::milliseconds duration) override { std::this_thread::sleep_for(duration); }
};

}  // namespace quillon
