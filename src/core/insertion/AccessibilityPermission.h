#pragma once

#include <functional>

#include "core/logging/Logger.h"
#include "core/ports/Accessibility.h"
#include "core/ports/UrlOpener.h"

namespace quillon {

// Whether Quillon may read and write other applications' text fields: on Linux, whether the
// desktop's accessibility service runs and is switched on. Checked, never polled: at start, when
// the application becomes active, when the popover opens, and before each dictation start (the
// start's own look at the focused field reads it on insertion's worker and hands it over through
// accessibilityChecked, so the main thread does not ask the bus again).
//
// Threads: the main thread.
class AccessibilityPermission {
public:
    // The settings page the desktop opens for `settingsAddress` (the cross-desktop "settings://"
    // scheme) is the fall-back when the service cannot be switched on from here.
    static constexpr std::string_view settingsAddress = "settings://accessibility";

    AccessibilityPermission(Accessibility& accessibility, UrlOpener& urls, Logger logger);

    bool accessibilityPermissionGranted() const { return accessibilityPermissionGranted_; }

    void checkAccessibilityPermission();
    // Takes the answer of a check made elsewhere (on insertion's worker).
    void accessibilityChecked(bool granted);

    // Opens the way to grant it: switches the accessibility service on for the session and checks
    // again; when that fails or is not enough, opens the desktop's accessibility settings.
    void openSystemSettings();

    // Called after a check changed the published value.
    std::function<void(bool granted)> onChange;

private:
    Accessibility& accessibility_;
    UrlOpener& urls_;
    Logger logger_;
    bool accessibilityPermissionGranted_ = false;
};

}  // namespace quillon
