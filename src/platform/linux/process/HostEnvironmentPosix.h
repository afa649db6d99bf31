#pragma once

#include "core/ports/HostEnvironment.h"

namespace quillon {

// The process's own environment (environ) and execute permission as the kernel sees it.
class HostEnvironmentPosix final : public HostEnvironment {
public:
    std::map<std::string, std::string> variables() const override;
    bool isExecutableFile(const std::string& path) const override;
};

}  // namespace quillon
