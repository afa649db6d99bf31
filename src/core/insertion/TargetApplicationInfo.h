#pragma once

#include <string>

namespace quillon {

// The application that owns the focus, as the event-path table matches it. Empty strings where
// the desktop knows nothing.
struct TargetApplicationInfo {
    std::string bundleIdentifier;  // the desktop file id on Linux
    std::string localizedName;
    std::string flatpakId;
    std::string processName;
};

}  // namespace quillon
