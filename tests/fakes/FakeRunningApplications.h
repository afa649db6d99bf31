#pragma once

#include <map>
#include <optional>
#include <vector>

#include "core/ports/RunningApplications.h"

namespace quillon::testing {

class FakeRunningApplications final : public quillon::RunningApplications {
public:
    std::optional<quillon::RunningApplication> applicationWithProcessIdentifier(int processIdentifier) override {
        const auto it = applications.find(processIdentifier);
        if (it == applications.end()) return std::nullopt;
        return it->second;
    }
    std::optional<int> frontmostProcessIdentifier() override { return frontmost; }
    bool activate(int processIdentifier) override {
        activated.push_back(processIdentifier);
        return applications.contains(processIdentifier);
    }

    std::map<int, quillon::RunningApplication> applications;
    std::optional<int> frontmost;
    std::vector<int> activated;
};

}  // namespace quillon::testing
