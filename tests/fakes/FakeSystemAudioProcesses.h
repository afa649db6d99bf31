#pragma once

#include <vector>

#include "core/ports/SystemAudioProcesses.h"

namespace quillon::testing {

// The sound server's playing streams, as the test sets them.
class FakeSystemAudioProcesses final : public quillon::SystemAudioProcesses {
public:
    std::vector<SystemAudioProcess> processes() override { return list; }
    std::vector<SystemAudioProcess> list;
};

}  // namespace quillon::testing
