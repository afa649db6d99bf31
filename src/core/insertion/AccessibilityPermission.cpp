#include "core/insertion/AccessibilityPermission.h"

namespace quillon {

AccessibilityPermission::AccessibilityPermission(Accessibility& accessibility, UrlOpener& urls, Logger logger)
    : accessibility_(accessibility), urls_(urls), logger_(std::move(logger)) {}

void AccessibilityPermission::checkAccessibilityPermission() { accessibilityChecked(accessibility_.isProcessTrusted()); }

void AccessibilityPermission::accessibilityChecked(bool granted) {
    if (granted) {
        logger_.info("Accessibility permission granted");
    } else {
        logger_.error("Accessibility permission not granted");
    }
    const bool changed = granted != accessibilityPermissionGranted_;
    accessibilityPermissionGranted_ = granted;
    if (changed && onChange) onChange(granted);
}

void AccessibilityPermission::openSystemSettings() {
    const auto failure = accessibility_.enableAccessibility();
    if (failure) logger_.error("Could not switch on the accessibility service: " + *failure);
    checkAccessibilityPermission();
    if (accessibilityPermissionGranted_) return;
    // The desktop's own settings are the way left.
    logger_.info("Opening the desktop's accessibility settings");
    if (auto opened = urls_.open(std::string(settingsAddress)); !opened) {
        logger_.error("Failed to open accessibility settings: " + opened.error());
    }
}

}  // namespace quillon
