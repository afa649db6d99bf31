#pragma once

#include <functional>

namespace quillon {

// Moments after which the system may have reset per-session state, delivered on the main queue.
class SessionEvents {
public:
    virtual ~SessionEvents() = default;

    // The machine woke from sleep.
    std::function<void()> onWake;
    // This user's session became the active one again (after a user switch or unlock of the seat).
    std::function<void()> onSessionActive;
};

}  // namespace quillon
