#pragma once

#include <string_view>
#include <vector>

#include "core/base/WeakOwner.h"
#include "core/logging/Logger.h"
#include "core/ports/KeyboardMapping.h"
#include "core/ports/SessionEvents.h"
#include "core/settings/SettingsManager.h"

namespace quillon {

// Owns Quillon's one entry in the keyboard mapping: Caps Lock reports F18, which has an honest
// key down and key up, and the Caps Lock latch stays off. Other entries are left as they are,
// someone else's mapping of Caps Lock is never overridden, the entry is re-applied whenever the
// system may have dropped it, and it is removed at exit. Main thread only.
class CapsLockRemapManager {
public:
    static constexpr KeyMappingEntry managedEntry{58, 188};  // evdev KEY_CAPSLOCK -> KEY_F18

    CapsLockRemapManager(KeyboardMapping& mapping, SessionEvents& sessionEvents, SettingsManager& settings,
                         Logger logger);

    // True when the remap is in force afterwards.
    bool ensureRemapEnabled();
    // True when nothing of Quillon's remains in the mapping.
    bool removeManagedRemap();
    // Closes one hotkey capture of the settings window.
    void endCaptureSession(bool keepRemap);

    const SettingsManager& settings() const { return settings_; }

    // Open hotkey captures of the settings window that need the remap.
    int captureSessionDepth = 0;

private:
    void reapplyIfNeeded(std::string_view reason);
    static bool hasConflictingCapsLockMapping(const std::vector<KeyMappingEntry>& entries);

    KeyboardMapping& mapping_;
    SessionEvents& sessionEvents_;
    SettingsManager& settings_;
    Logger logger_;
    WeakOwner weakOwner_;  // last
};

}  // namespace quillon
