#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "core/base/Scheduler.h"
#include "core/base/WeakOwner.h"
#include "core/hotkey/CapsLockRemapManager.h"
#include "core/hotkey/HotkeyManager.h"
#include "core/logging/Logger.h"
#include "core/ports/KeyEventSource.h"
#include "core/settings/SettingsManager.h"

namespace quillon {

// The settings window's capture of a new recording hotkey. While it captures, the hotkey manager
// stands down (learn mode) and the window hands every key event here; Caps Lock arrives as its F18
// surrogate because the remap is held open for the capture. A plain key counts only while it is
// held, so such a hotkey is applied with the key still down; a modifier chord survives its
// release. Main thread only.
class HotkeyCapture {
public:
    static constexpr std::string_view capsLockUnavailableText =
        "Caps Lock capture is unavailable because another Caps Lock remap is already active.";
    static constexpr std::string_view capsLockFailedText = "Failed to enable Caps Lock remap.";

    HotkeyCapture(Scheduler& main, SettingsManager& settings, CapsLockRemapManager& remap,
                  HotkeyManager& hotkeys, Logger logger);

    void startCapturing();
    // The window's key monitor: true when the event is taken by the capture (it is then
    // swallowed); its step runs on the main queue after the event.
    bool handleKeyEvent(const KeyEvent& event);
    void applyCapturedHotkey();
    void cancelCapturing();

    bool isCapturing() const { return isCapturing_; }
    bool hasCapturedHotkey() const;
    // What the control shows: the captured keys while capturing, else the stored hotkey.
    std::string displayText() const;
    const std::optional<std::string>& hotkeyErrorMessage() const { return hotkeyErrorMessage_; }
    HotkeyMode capturedHotkeyMode() const { return capturedHotkeyMode_; }
    int capturedKeyCode() const { return capturedKeyCode_; }
    int capturedModifiers() const { return capturedModifiers_; }

    // After any change of what the control shows.
    std::function<void()> onChange;

private:
    void stopCapturing();
    void resetCapturedHotkeyFromSettings();
    void keyDown(int keyCode, int flags);
    void keyUp(int keyCode, int flags);
    void flagsChanged(int flags);
    void changed() const;

    Scheduler& main_;
    SettingsManager& settings_;
    CapsLockRemapManager& remap_;
    HotkeyManager& hotkeys_;
    Logger logger_;
    int capturedKeyCode_ = 0;
    int capturedModifiers_ = 0;
    HotkeyMode capturedHotkeyMode_ = HotkeyMode::standard;
    bool isCapturing_ = false;
    std::optional<std::string> hotkeyErrorMessage_;
    WeakOwner weakOwner_;  // last: posted steps drop once the capture is gone
};

}  // namespace quillon
