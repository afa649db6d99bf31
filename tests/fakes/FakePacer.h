#pragma once

#include <chrono>

#include "core/ports/Pacer.h"

namespace quillon::testing {

// Takes no time.
class FakePacer final : public quillon::Pacer {
public:
    void pause(std::chrono::milliseconds) override {}
};

}  // namespace quillon::testing
