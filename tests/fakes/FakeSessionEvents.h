#pragma once

#include "core/ports/SessionEvents.h"

namespace quillon::testing {

// Wake and session switches on demand.
class FakeSessionEvents final : public quillon::SessionEvents {
public:
    void wake() {
        if (onWake) onWake();
    }
    void becomeActive() {
        if (onSessionActive) onSessionActive();
    }
};

}  // namespace quillon::testing
