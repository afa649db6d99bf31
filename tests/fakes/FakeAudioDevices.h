#pragma once

#include <vector>

#include "core/ports/AudioDevices.h"

namespace quillon::testing {

// Microphones a test sets; a test answers list requests itself (answer()).
class FakeAudioDevices final : public quillon::AudioDevices {
public:
    void listInputDevices(ListCompletion completion) override { requests.push_back(std::move(completion)); }
    void setOnDevicesChanged(std::function<void()> handler) override { onDevicesChanged = std::move(handler); }

    // Answers every waiting request with `devices`, or with `failure` when it is set.
    void answer() {
        auto waiting = std::move(requests);
        requests.clear();
        for (auto& completion : waiting) {
            if (failure.empty()) completion(devices);
            else completion(std::unexpected(failure));
        }
    }

    std::vector<quillon::AudioInputDevice> devices;
    std::string failure;
    std::vector<ListCompletion> requests;
    std::function<void()> onDevicesChanged;
};

}  // namespace quillon::testing
