#pragma once

#include <chrono>
#include <functional>
#include <vector>

#include "core/ports/Pacer.h"

namespace quillon::testing {

// Takes no time; records each pause so tests can check the pace of typing and the ladder.
class FakePacer final : public quillon::Pacer {
public:
    void pause(std::chrono::milliseconds duration) override {
        pauses.push_back(duration);
        if (onPause) onPause(duration);
    }

    std::chrono::milliseconds total() const {
        std::chrono::milliseconds sum{0};
        for (auto pause : pauses) sum += pause;
        return sum;
    }

    std::vector<std::chrono::milliseconds> pauses;
    std::function<void(std::chrono::milliseconds)> onPause;
};

}  // namespace quillon::testing
