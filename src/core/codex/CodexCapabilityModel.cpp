#include "core/codex/CodexCapabilityModel.h"

namespace quillon {

CodexCapabilityModel::CodexCapabilityModel(const HostEnvironment& host)
    : locator_(host), isAvailable_(locator_.isExecutableAvailable()) {}

bool CodexCapabilityModel::refresh() {
    const bool available = locator_.isExecutableAvailable();
    if (available != isAvailable_) {
        isAvailable_ = available;
        if (onChange) onChange();
    }
    return isAvailable_;
}

}  // namespace quillon
