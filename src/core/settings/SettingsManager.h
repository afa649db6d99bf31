#pragma once

#include <functional>
#include <string>

#include "core/logging/Logger.h"
#include "core/ports/KeyValueStore.h"
#include "core/ports/LoginItem.h"
#include "core/settings/HotkeyMode.h"

namespace quillon {

// The user's dictation settings. Every value is read from the store at the moment of use, so a
// change takes effect at the next use; a default is never written back.
//
// Threads: getters are safe from any thread (the speech and file paths read the glossary and
// corrections off the main thread); setters and the observer run on the main thread.
class SettingsManager {
public:
    // PC keyboards do not report Fn, so the default chord on Linux is Control+Super held alone.
    static constexpr int defaultHotkeyModifiers = modifier::control | modifier::super;
    // Caps Lock mode fires on the F18 key that Caps Lock is remapped to (evdev KEY_F18).
    static constexpr int capsLockSurrogateKeyCode = 188;

    SettingsManager(KeyValueStore& store, LoginItem& loginItem, Logger logger);

    std::string hotkeyModeRawValue() const;
    HotkeyMode hotkeyMode() const;
    int hotkeyKeyCode() const;
    int hotkeyModifiers() const;
    double doubleTapThreshold() const;
    std::string inputDeviceUID() const;
    double maxRecordingDuration() const;
    std::string transcriptionGlossary() const;
    std::string transcriptionCorrections() const;
    bool appendSpaceAfterInsertion() const;
    bool appendNewlineAfterInsertion() const;
    bool soundFeedbackEnabled() const;

    void setHotkeyModeRawValue(const std::string& value);
    void setHotkeyKeyCode(int value);
    void setHotkeyModifiers(int value);
    void setDoubleTapThreshold(double value);
    void setInputDeviceUID(const std::string& value);
    void setMaxRecordingDuration(double value);
    void setTranscriptionGlossary(const std::string& value);
    void setTranscriptionCorrections(const std::string& value);
    void setAppendSpaceAfterInsertion(bool value);
    void setAppendNewlineAfterInsertion(bool value);
    void setSoundFeedbackEnabled(bool value);

    // In Caps Lock mode the F18 surrogate alone, whatever is stored; otherwise the stored keys.
    HotkeyTrigger effectiveHotkeyTrigger() const;

    bool isLearnModeActive() const { return isLearnModeActive_; }
    void setLearnModeActive(bool active);

    // The truth of the login item, not a stored preference.
    bool openAtLogin() const { return openAtLogin_; }
    void setOpenAtLogin(bool enabled);

    // Called on the main thread after any setter changed something.
    std::function<void()> onChange;

private:
    std::string stringValue(std::string_view key, std::string fallback) const;
    std::int64_t integerValue(std::string_view key, std::int64_t fallback) const;
    double doubleValue(std::string_view key, double fallback) const;
    bool boolValue(std::string_view key, bool fallback) const;
    void store(std::string_view key, const KeyValueStore::Value& value);

    KeyValueStore& store_;
    LoginItem& loginItem_;
    Logger logger_;
    bool isLearnModeActive_ = false;
    bool openAtLogin_ = false;
};

}  // namespace quillon
