#pragma once

#include <optional>
#include <string>

namespace quillon {

// The session's switch for assistive technologies: the accessibility bus launcher on the session
// bus (org.a11y.Bus) and its org.a11y.Status.IsEnabled property. Toolkits read it to decide
// whether to expose their widgets.
//
// Threads: any; each call is one blocking D-Bus round trip with a one-second time-out.
class AccessibilityBusStatus {
public:
    // True when the launcher answers and says assistive technologies are enabled.
    static bool isEnabled();
    // Sets IsEnabled. Absent on success, else why not.
    static std::optional<std::string> setEnabled(bool enabled);
};

}  // namespace quillon
