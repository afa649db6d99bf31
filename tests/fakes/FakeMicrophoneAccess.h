#pragma once

#include <vector>

#include "core/ports/MicrophoneAccess.h"

namespace quillon::testing {

// Microphone access in a state a test sets; requests wait until the test answers them.
class FakeMicrophoneAccess final : public quillon::MicrophoneAccess {
public:
    quillon::RecordPermission recordPermission() const override { return permission; }
    void requestRecordPermission(std::function<void(bool)> completion) override { requests.push_back(std::move(completion)); }
    std::expected<void, std::string> openSettings() override { return {}; }

    void answer(bool granted) {
        auto waiting = std::move(requests);
        requests.clear();
        for (auto& completion : waiting) completion(granted);
    }

    quillon::RecordPermission permission = quillon::RecordPermission::undetermined;
    std::vector<std::function<void(bool)>> requests;
};

}  // namespace quillon::testing
