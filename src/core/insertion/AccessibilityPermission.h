#pragma once

#include <functional>

#include "core/logging/Logger.h"
#include "core/ports/Accessibility.h"

namespace quillon {

// Whether Quillon may read and write other applications' text fields: on Linux, whether the
// desktop's accessibility service runs and is switched on. Checked, never polled: at start, when
// the application becomes active and when the popover opens.
//
// Threads: the main thread.
class AccessibilityPermission {
public:
    AccessibilityPermission(Accessibility& accessibility, Logger logger);

    bool accessibilityPermissionGranted() const { return accessibilityPermissionGranted_; }

    void checkAccessibilityPermission();

    // Opens the way to grant it: switches the accessibility service on for the session, then
    // checks again.
    void openSystemSettings();

    // Called after a check changed the published value.
    std::function<void(bool granted)> onChange;

private:
    Accessibility& accessibility_;
    Logger logger_;
    bool accessibilityPermissionGranted_ = false;
};

}  // namespace quillon
