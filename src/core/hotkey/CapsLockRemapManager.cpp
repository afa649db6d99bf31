#include "core/hotkey/CapsLockRemapManager.h"

#include <algorithm>
#include <string>

namespace quillon {

CapsLockRemapManager::CapsLockRemapManager(KeyboardMapping& mapping, SessionEvents& sessionEvents,
                                           SettingsManager& settings, Logger logger)
    : mapping_(mapping), sessionEvents_(sessionEvents), settings_(settings), logger_(std::move(logger)) {
    // Sleep, a user switch, a new keyboard or another program's keymap can all drop the entry.
    sessionEvents_.onWake = weakOwner_.weakly([this] { reapplyIfNeeded("wake"); });
    sessionEvents_.onSessionActive = weakOwner_.weakly([this] { reapplyIfNeeded("session active"); });
    mapping_.onMappingChanged = weakOwner_.weakly([this] { reapplyIfNeeded("keyboard change"); });
}

bool CapsLockRemapManager::hasConflictingCapsLockMapping(const std::vector<KeyMappingEntry>& entries) {
    return std::ranges::any_of(entries, [](const KeyMappingEntry& entry) {
        return entry.source == managedEntry.source && entry.destination != managedEntry.destination;
    });
}

bool CapsLockRemapManager::ensureRemapEnabled() {
    auto entries = mapping_.currentMappings();
    if (hasConflictingCapsLockMapping(entries)) {
        logger_.error("Refusing to override an existing Caps Lock key mapping");
        return false;
    }
    if (std::ranges::find(entries, managedEntry) != entries.end()) {
        mapping_.clearCapsLockState();
        return true;
    }
    entries.push_back(managedEntry);
    if (!mapping_.setMappings(entries)) {
        logger_.error("Failed to enable Caps Lock remap");
        return false;
    }
    mapping_.clearCapsLockState();
    logger_.info("Caps Lock remap enabled");
    return true;
}

bool CapsLockRemapManager::removeManagedRemap() {
    auto entries = mapping_.currentMappings();
    const auto removed = std::erase(entries, managedEntry);
    if (removed == 0) {
        mapping_.clearCapsLockState();
        return true;
    }
    if (!mapping_.setMappings(entries)) {
        logger_.error("Failed to remove Caps Lock remap");
        return false;
    }
    mapping_.clearCapsLockState();
    logger_.info("Caps Lock remap removed");
    return true;
}

void CapsLockRemapManager::endCaptureSession(bool keepRemap) {
    captureSessionDepth = std::max(0, captureSessionDepth - 1);
    if (captureSessionDepth > 0) return;
    if (keepRemap || settings_.hotkeyMode() == HotkeyMode::capsLock) {
        ensureRemapEnabled();
    } else {
        removeManagedRemap();
    }
}

// The check and the repair are one step: re-applying an entry in force changes nothing.
void CapsLockRemapManager::reapplyIfNeeded(std::string_view reason) {
    if (settings_.hotkeyMode() != HotkeyMode::capsLock && captureSessionDepth < 1) return;
    if (ensureRemapEnabled()) logger_.info("Verified Caps Lock remap after " + std::string(reason));
}

}  // namespace quillon
