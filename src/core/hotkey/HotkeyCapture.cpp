#include "core/hotkey/HotkeyCapture.h"

#include "core/settings/HotkeyFormat.h"

namespace quillon {

HotkeyCapture::HotkeyCapture(Scheduler& main, SettingsManager& settings, CapsLockRemapManager& remap,
                             HotkeyManager& hotkeys, Logger logger)
    : main_(main), settings_(settings), remap_(remap), hotkeys_(hotkeys), logger_(std::move(logger)) {
    resetCapturedHotkeyFromSettings();
}

void HotkeyCapture::startCapturing() {
    settings_.setLearnModeActive(true);
    capturedKeyCode_ = 0;
    capturedModifiers_ = 0;
    capturedHotkeyMode_ = HotkeyMode::standard;
    isCapturing_ = true;
    hotkeyErrorMessage_.reset();
    // Held open for the capture, so that Caps Lock arrives as its surrogate; other keys are
    // captured all the same when someone else's remap of Caps Lock stands.
    ++remap_.captureSessionDepth;
    if (!remap_.ensureRemapEnabled()) hotkeyErrorMessage_ = std::string(capsLockUnavailableText);
    logger_.info("Hotkey capture started");
    changed();
}

bool HotkeyCapture::handleKeyEvent(const KeyEvent& event) {
    if (!isCapturing_) return false;
    const int keyCode = event.keyCode & 0xFFFF;
    const int flags = event.flags & ~0xFFFF;
    auto step = [this, type = event.type, keyCode, flags] {
        if (!isCapturing_) return;
        switch (type) {
            case KeyEventType::keyDown:
                keyDown(keyCode, flags);
                break;
            case KeyEventType::keyUp:
                keyUp(keyCode, flags);
                break;
            case KeyEventType::flagsChanged:
                flagsChanged(flags);
                break;
        }
        changed();
    };
    main_.post(weakOwner_.weakly(std::move(step)));
    return true;
}

void HotkeyCapture::keyDown(int keyCode, int flags) {
    if (keyCode == SettingsManager::capsLockSurrogateKeyCode) {
        capturedHotkeyMode_ = HotkeyMode::capsLock;
        capturedKeyCode_ = keyCode;
        capturedModifiers_ = 0;
        return;
    }
    capturedHotkeyMode_ = HotkeyMode::standard;
    capturedKeyCode_ = keyCode;
    capturedModifiers_ = flags;
}

// A released key leaves only its modifiers: the key counts only while it is held.
void HotkeyCapture::keyUp(int keyCode, int flags) {
    if (capturedHotkeyMode_ == HotkeyMode::capsLock || capturedKeyCode_ != keyCode) return;
    capturedKeyCode_ = 0;
    if (flags != 0) capturedModifiers_ = flags;
}

// Letting go of the modifiers keeps the last chord: a modifier-only hotkey survives its release.
void HotkeyCapture::flagsChanged(int flags) {
    if (flags != 0 && capturedHotkeyMode_ != HotkeyMode::capsLock) capturedModifiers_ = flags;
}

bool HotkeyCapture::hasCapturedHotkey() const {
    return capturedHotkeyMode_ == HotkeyMode::capsLock || capturedKeyCode_ != 0 || capturedModifiers_ != 0;
}

std::string HotkeyCapture::displayText() const {
    if (isCapturing_) return formatHotkey(capturedHotkeyMode_, capturedKeyCode_, capturedModifiers_);
    return formatHotkey(settings_.hotkeyMode(), settings_.hotkeyKeyCode(), settings_.hotkeyModifiers());
}

void HotkeyCapture::stopCapturing() {
    isCapturing_ = false;
    settings_.setLearnModeActive(false);
}

void HotkeyCapture::cancelCapturing() {
    if (!isCapturing_) return;
    const bool storedCapsLock = settings_.hotkeyMode() == HotkeyMode::capsLock;
    stopCapturing();
    remap_.endCaptureSession(storedCapsLock);
    resetCapturedHotkeyFromSettings();
    logger_.info("Hotkey capture cancelled");
    changed();
}

void HotkeyCapture::resetCapturedHotkeyFromSettings() {
    capturedHotkeyMode_ = settings_.hotkeyMode();
    capturedKeyCode_ = settings_.hotkeyKeyCode();
    capturedModifiers_ = settings_.hotkeyModifiers();
}

void HotkeyCapture::applyCapturedHotkey() {
    if (!isCapturing_ || !hasCapturedHotkey()) return;
    const HotkeyMode mode = capturedHotkeyMode_;
    const int keyCode = capturedKeyCode_;
    const int modifiers = capturedModifiers_;
    stopCapturing();
    if (mode == HotkeyMode::standard) {
        settings_.setHotkeyModeRawValue(std::string(rawValue(HotkeyMode::standard)));
        settings_.setHotkeyKeyCode(keyCode);
        settings_.setHotkeyModifiers(modifiers);
        remap_.removeManagedRemap();
    } else {
        if (!remap_.ensureRemapEnabled()) {
            hotkeyErrorMessage_ = std::string(capsLockFailedText);
            resetCapturedHotkeyFromSettings();
            remap_.endCaptureSession(settings_.hotkeyMode() == HotkeyMode::capsLock);
            changed();
            return;
        }
        settings_.setHotkeyModeRawValue(std::string(rawValue(HotkeyMode::capsLock)));
        settings_.setHotkeyKeyCode(SettingsManager::capsLockSurrogateKeyCode);
        settings_.setHotkeyModifiers(0);
    }
    remap_.endCaptureSession(mode == HotkeyMode::capsLock);
    // A fresh start reads the new trigger and grabs its keys.
    hotkeys_.stop();
    hotkeys_.start();
    logger_.info("Recording hotkey set to " + formatHotkey(mode, keyCode, modifiers));
    changed();
}

void HotkeyCapture::changed() const {
    if (onChange) onChange();
}

}  // namespace quillon
