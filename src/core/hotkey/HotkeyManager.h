#pragma once

#include <functional>
#include <optional>
#include <string>

#include "core/base/Scheduler.h"
#include "core/base/TimerHandle.h"
#include "core/base/WeakOwner.h"
#include "core/hotkey/HotkeyState.h"
#include "core/logging/Logger.h"
#include "core/ports/KeyEventSource.h"
#include "core/settings/SettingsManager.h"

namespace quillon {

// Turns the desktop's key events into the dictation signals. Recording starts when the hotkey
// goes down; released before the hold threshold, the recording goes on until the next press
// (tap-to-toggle), held past it, until the release (hold). The hotkey's events are swallowed.
//
// Main thread only: the source delivers on the main queue and the threshold timer runs there.
class HotkeyManager {
public:
    // evdev codes of the physical Caps Lock key and of the F18 key it is remapped to.
    static constexpr int capsLockKeyCode = 58;
    static constexpr int capsLockSurrogateKeyCode = SettingsManager::capsLockSurrogateKeyCode;

    HotkeyManager(Scheduler& main, KeyEventSource& source, SettingsManager& settings, Logger logger);

    void start();
    void stop();
    // Takes the hotkey from the settings again (mode, key, modifiers) and swallows the new keys;
    // after a key that could not be taken, tries the changed hotkey.
    void settingsDidChange();
    // Back to waiting for the next press: a key still held is forgotten.
    void resetToIdle();

    KeyEventDisposition handleKeyEvent(const KeyEvent& event);

    const HotkeyState& state() const { return state_; }
    bool isStarted() const { return isStarted_; }

    std::function<void()> onStartRecording;
    // True when a short press turned the recording into tap-to-toggle.
    std::function<void(bool tapToggleMode)> onRecordingModeChanged;
    std::function<void()> onStopRecording;
    // The hotkey could not be taken; `message` says which key, in the user's words.
    std::function<void(const std::string& message)> onHotkeyUnavailable;

private:
    enum class CapsLockEventSource { physical, surrogate };

    KeyEventDisposition handleCapsLockModeEvent(const KeyEvent& event);
    void handleKeyDown();
    void handleKeyUp();
    void scheduleHoldActivation();
    void holdThresholdPassed();
    void cancelHoldActivation();
    void stopRecording(std::string_view why);
    void readHotkey();
    SwallowedKeys swallowedKeys() const;
    void sourceUnavailable(const std::string& reason);

    Scheduler& main_;
    KeyEventSource& source_;
    SettingsManager& settings_;
    Logger logger_;
    bool isStarted_ = false;
    bool isWanted_ = false;  // between start() and stop(), even while the keys cannot be taken
    // The hotkey as last read from the settings: the keys matched here and the keys the source
    // swallows must be the same, and the unmatched path then reads no store.
    HotkeyMode mode_ = HotkeyMode::standard;
    HotkeyTrigger trigger_;
    HotkeyState state_ = HotkeyState::idle();
    bool isKeyDown_ = false;
    // A modifier chord's press stopped a recording; the chord must be let go before it counts again.
    bool awaitingChordRelease_ = false;
    TimerHandle pendingHoldActivationTask_;
    bool capsLockPhysicalIsDown_ = false;
    std::optional<CapsLockEventSource> activeCapsLockSource_;
    WeakOwner weakOwner_;  // last: the threshold timer drops once this manager is gone
};

}  // namespace quillon
