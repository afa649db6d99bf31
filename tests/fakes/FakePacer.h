#pragma once

#include <chrono>
#include <vector>

#include "core/ports/Pacer.h"

namespace quillon::testing {

// Takes no time; records each pause so tests can check the pace of typing.
class FakePacer final : public quillon::Pacer {
public:
    void pause(std::chrono::milliseconds duration) override { pauses.push_back(duration); }

    std::vector<std::chrono::milliseconds> pauses;
};

}  // namespace quillon::testing
