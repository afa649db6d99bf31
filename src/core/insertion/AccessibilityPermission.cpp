#include "core/insertion/AccessibilityPermission.h"

namespace quillon {

AccessibilityPermission::AccessibilityPermission(Accessibility& accessibility, Logger logger)
    : accessibility_(accessibility), logger_(std::move(logger)) {}

void AccessibilityPermission::checkAccessibilityPermission() {
    const bool granted = accessibility_.isProcessTrusted();
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
    if (const auto failure = accessibility_.enableAccessibility()) {
        logger_.error("Failed to open accessibility settings: " + *failure);
    }
    checkAccessibilityPermission();
}

}  // namespace quillon
