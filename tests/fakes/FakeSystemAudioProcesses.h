#pragma once

#include <vector>

#include "core/ports/SystemAudioProcesses.h"

namespace quillon::testing {

// The sound server's playing streams, as the test sets them.
class FakeSystemAudioProcesses final : public quillon::SystemAudioProcesses {
public:
    std::vector<SystemAudioProcess> processes() override {
        ++reads;
        return list;
    }
    std::vector<SystemAudioProcess> list;
    int reads = 0;
};

}  // namespace quillon::testing
