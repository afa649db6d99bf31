#include "core/hotkey/HotkeyManager.h"

#include <charconv>
#include <chrono>

namespace quillon {

namespace {

// Flags above the device-dependent bits: modifiers and Caps Lock.
constexpr int modifierFlagsMask = static_cast<int>(0xFFFF0000u);

std::string hex(int value) {
    char buffer[16];
    auto [end, error] = std::to_chars(buffer, buffer + sizeof buffer, static_cast<unsigned>(value), 16);
    return std::string(buffer, end);
}

std::string_view typeName(KeyEventType type) {
    switch (type) {
        case KeyEventType::keyDown: return "keyDown";
        case KeyEventType::keyUp: return "keyUp";
        case KeyEventType::flagsChanged: return "flagsChanged";
    }
    return "keyDown";
}

std::string describe(HotkeyMode mode, HotkeyTrigger trigger) {
    return "mode=" + std::string(rawValue(mode)) + ", keyCode=" + std::to_string(trigger.keyCode) +
           ", modifiers=" + std::to_string(trigger.modifiers) + " (0x" + hex(trigger.modifiers) + ")";
}

}  // namespace

HotkeyManager::HotkeyManager(Scheduler& main, KeyEventSource& source, SettingsManager& settings, Logger logger)
    : main_(main), source_(source), settings_(settings), logger_(std::move(logger)) {}

void HotkeyManager::start() {
    if (isStarted_) {
        logger_.info("Hotkey manager already started, skipping");
        return;
    }
    readHotkey();
    isStarted_ = true;
    isWanted_ = true;
    source_.onKeyEvent = [this](const KeyEvent& event) { return handleKeyEvent(event); };
    source_.onUnavailable = [this](const std::string& reason) { sourceUnavailable(reason); };
    source_.start(swallowedKeys());
    logger_.info("Hotkey manager started with hotkey: " + describe(mode_, trigger_));
}

void HotkeyManager::stop() {
    isWanted_ = false;
    if (!isStarted_) return;
    source_.stop();
    awaitingChordRelease_ = false;
    source_.onKeyEvent = nullptr;
    source_.onUnavailable = nullptr;
    isStarted_ = false;
    logger_.info("Hotkey manager stopped");
}

void HotkeyManager::settingsDidChange() {
    const auto previous = swallowedKeys();
    if (isWanted_ && !isStarted_) {
        readHotkey();
        if (swallowedKeys() != previous) start();
        return;
    }
    if (!isStarted_) return;
    readHotkey();
    if (swallowedKeys() == previous) return;
    source_.start(swallowedKeys());
    logger_.info("Hotkey changed: " + describe(mode_, trigger_));
}

void HotkeyManager::readHotkey() {
    mode_ = settings_.hotkeyMode();
    trigger_ = settings_.effectiveHotkeyTrigger();
}

SwallowedKeys HotkeyManager::swallowedKeys() const {
    if (mode_ == HotkeyMode::capsLock) return {.capsLockKey = true};
    return {.capsLockKey = false, .keyCode = trigger_.keyCode, .modifiers = trigger_.modifiers};
}

void HotkeyManager::sourceUnavailable(const std::string& reason) {
    // The hotkey is dead until the next start(); nothing retries by itself.
    logger_.error("Failed to create event tap. Accessibility permission may be required. (" + reason + ")");
    source_.stop();
    isStarted_ = false;
    if (onHotkeyUnavailable) onHotkeyUnavailable("The hotkey cannot be used: " + reason);
}

void HotkeyManager::resetToIdle() {
    cancelHoldActivation();
    state_ = HotkeyState::idle();
    isKeyDown_ = false;
    capsLockPhysicalIsDown_ = false;
    activeCapsLockSource_.reset();
}

// Every key event of the desktop comes through here: the unmatched path only compares integers.
KeyEventDisposition HotkeyManager::handleKeyEvent(const KeyEvent& event) {
    if (settings_.isLearnModeActive()) return KeyEventDisposition::pass;
    if (mode_ == HotkeyMode::capsLock) return handleCapsLockModeEvent(event);

    // Caps Lock stays in the compared flags: with it on, a hotkey stored without it does not match.
    const int flags = event.flags & modifierFlagsMask;
    if (event.type != KeyEventType::flagsChanged) {
        // Key code 0 is a modifier-only hotkey: any key struck with exactly its modifiers matches.
        if (trigger_.keyCode != 0 && event.keyCode != trigger_.keyCode) return KeyEventDisposition::pass;
        if (flags != trigger_.modifiers) return KeyEventDisposition::pass;
        logger_.info("Hotkey matched! keyCode=" + std::to_string(event.keyCode) + ", modifiers=" + std::to_string(flags));
        if (event.type == KeyEventType::keyUp) {
            handleKeyUp();
        } else {
            handleKeyDown();
        }
        return KeyEventDisposition::swallow;
    }

    if (trigger_.keyCode != 0) return KeyEventDisposition::pass;
    // A chord of several modifiers comes down one key at a time: the first key of the press that
    // stops a recording ends it, and the chord completed a moment later is that same press, not a
    // new one. A new press needs every key of the chord up first.
    if (awaitingChordRelease_) {
        if ((flags & trigger_.modifiers) == 0) {
            awaitingChordRelease_ = false;
        } else if (flags == trigger_.modifiers) {
            return KeyEventDisposition::swallow;
        }
    }
    if (flags == trigger_.modifiers) {
        logger_.info("Hotkey matched via flagsChanged! modifiers=" + std::to_string(flags));
        handleKeyDown();
        return KeyEventDisposition::swallow;
    }
    // A modifier-only chord has no key up: in hold mode, letting go of one of its modifiers stops.
    // A short press is never reported as tap-to-toggle; it turns into hold at the threshold.
    if (state_ == HotkeyState::recording(true) && isKeyDown_) {
        isKeyDown_ = false;
        awaitingChordRelease_ = true;
        stopRecording("Stopping recording (modifier release in hold mode)");
        return KeyEventDisposition::swallow;
    }
    return KeyEventDisposition::pass;
}

// The Caps Lock key reaches us either as its F18 surrogate (honest key down and up) or, when the
// remap is not in force, as changes of the Caps Lock flag. Whichever reports a press first owns
// it until its release; the other path is swallowed meanwhile, so each press counts once.
KeyEventDisposition HotkeyManager::handleCapsLockModeEvent(const KeyEvent& event) {
    if (event.keyCode != capsLockKeyCode && event.keyCode != capsLockSurrogateKeyCode) {
        return KeyEventDisposition::pass;
    }
    logger_.info("Caps Lock mode matched event type=" + std::string(typeName(event.type)) +
                 " keyCode=" + std::to_string(event.keyCode) + " flags=0x" + hex(event.flags));

    if (event.keyCode == capsLockSurrogateKeyCode) {
        if (event.type == KeyEventType::keyUp) {
            if (activeCapsLockSource_ == CapsLockEventSource::surrogate) {
                activeCapsLockSource_.reset();
                handleKeyUp();
            }
            return KeyEventDisposition::swallow;
        }
        if (event.type == KeyEventType::keyDown) {
            if (!activeCapsLockSource_) {
                activeCapsLockSource_ = CapsLockEventSource::surrogate;
                handleKeyDown();
            }
            return KeyEventDisposition::swallow;
        }
        return KeyEventDisposition::pass;
    }

    if (event.type != KeyEventType::flagsChanged) return KeyEventDisposition::swallow;
    const bool down = (event.flags & modifier::capsLock) != 0;
    if (capsLockPhysicalIsDown_ == down) return KeyEventDisposition::swallow;
    capsLockPhysicalIsDown_ = down;
    if (down && !activeCapsLockSource_) {
        activeCapsLockSource_ = CapsLockEventSource::physical;
        handleKeyDown();
    } else if (!down && activeCapsLockSource_ == CapsLockEventSource::physical) {
        activeCapsLockSource_.reset();
        handleKeyUp();
    }
    return KeyEventDisposition::swallow;
}

void HotkeyManager::handleKeyDown() {
    if (settings_.isLearnModeActive()) {
        logger_.debug("Hotkey pressed but learn mode is active, ignoring");
        return;
    }
    switch (state_.kind) {
        case HotkeyState::Kind::idle:
            state_ = HotkeyState::recording(false);
            isKeyDown_ = true;
            scheduleHoldActivation();
            logger_.info("Recording started; waiting for hold threshold");
            if (onStartRecording) onStartRecording();
            return;
        case HotkeyState::Kind::transcribing:
            logger_.debug("Ignoring hotkey while transcribing");
            return;
        case HotkeyState::Kind::recording:
            // Auto-repeat of a held key, or a press during hold mode: nothing to do.
            if (isKeyDown_ || state_.holdMode) return;
            isKeyDown_ = true;
            stopRecording("Stopping recording (tap-to-toggle mode)");
            return;
    }
}

void HotkeyManager::handleKeyUp() {
    isKeyDown_ = false;
    if (state_.kind != HotkeyState::Kind::recording) return;
    cancelHoldActivation();
    if (state_.holdMode) {
        stopRecording("Stopping recording (hold mode release)");
        return;
    }
    logger_.info("Short press released; continuing in tap-to-toggle mode");
    if (onRecordingModeChanged) onRecordingModeChanged(true);
}

void HotkeyManager::stopRecording(std::string_view why) {
    cancelHoldActivation();
    state_ = HotkeyState::transcribing();
    logger_.info(why);
    if (onStopRecording) onStopRecording();
}

void HotkeyManager::scheduleHoldActivation() {
    cancelHoldActivation();
    const auto threshold = std::chrono::duration_cast<Duration>(
        std::chrono::duration<double>(settings_.doubleTapThreshold()));
    pendingHoldActivationTask_ = main_.postAfter(threshold, weakOwner_.weakly([this] { holdThresholdPassed(); }));
}

void HotkeyManager::holdThresholdPassed() {
    if (isKeyDown_ && state_ == HotkeyState::recording(false)) {
        state_ = HotkeyState::recording(true);
        logger_.info("Hold mode activated after press duration threshold");
    }
    pendingHoldActivationTask_ = {};
}

void HotkeyManager::cancelHoldActivation() {
    pendingHoldActivationTask_.cancel();
    pendingHoldActivationTask_ = {};
}

}  // namespace quillon
