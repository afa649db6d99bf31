#include "core/settings/SettingsManager.h"

#include <cmath>

namespace quillon {

namespace key {
constexpr std::string_view hotkeyMode = "hotkeyMode";
constexpr std::string_view hotkeyKeyCode = "hotkeyKeyCode";
constexpr std::string_view hotkeyModifiers = "hotkeyModifiers";
constexpr std::string_view doubleTapThreshold = "doubleTapThreshold";
constexpr std::string_view inputDeviceUID = "inputDeviceUID";
constexpr std::string_view maxRecordingDuration = "maxRecordingDuration";
constexpr std::string_view transcriptionGlossary = "transcriptionGlossary";
constexpr std::string_view transcriptionCorrections = "transcriptionCorrections";
constexpr std::string_view appendSpaceAfterInsertion = "appendSpaceAfterInsertion";
constexpr std::string_view appendNewlineAfterInsertion = "appendNewlineAfterInsertion";
constexpr std::string_view soundFeedbackEnabled = "soundFeedbackEnabled";
}  // namespace key

SettingsManager::SettingsManager(KeyValueStore& store, LoginItem& loginItem, Logger logger)
    : store_(store), loginItem_(loginItem), logger_(std::move(logger)), openAtLogin_(loginItem.isEnabled()) {}

// A stored value of another type than expected (a hand-edited file) reads as the default, except
// for numbers, which convert between integer and floating point.
std::string SettingsManager::stringValue(std::string_view name, std::string fallback) const {
    auto stored = store_.value(name);
    if (stored) {
        if (auto* text = std::get_if<std::string>(&*stored)) return *text;
    }
    return fallback;
}

std::int64_t SettingsManager::integerValue(std::string_view name, std::int64_t fallback) const {
    auto stored = store_.value(name);
    if (!stored) return fallback;
    if (auto* number = std::get_if<std::int64_t>(&*stored)) return *number;
    if (auto* real = std::get_if<double>(&*stored); real && std::isfinite(*real)) {
        return static_cast<std::int64_t>(*real);
    }
    return fallback;
}

double SettingsManager::doubleValue(std::string_view name, double fallback) const {
    auto stored = store_.value(name);
    if (!stored) return fallback;
    if (auto* real = std::get_if<double>(&*stored); real && std::isfinite(*real)) return *real;
    if (auto* number = std::get_if<std::int64_t>(&*stored)) return static_cast<double>(*number);
    return fallback;
}

bool SettingsManager::boolValue(std::string_view name, bool fallback) const {
    auto stored = store_.value(name);
    if (!stored) return fallback;
    if (auto* flag = std::get_if<bool>(&*stored)) return *flag;
    if (auto* number = std::get_if<std::int64_t>(&*stored)) return *number != 0;
    return fallback;
}

void SettingsManager::store(std::string_view name, const KeyValueStore::Value& value) {
    store_.setValue(name, value);
    if (onChange) onChange();
}

std::string SettingsManager::hotkeyModeRawValue() const { return stringValue(key::hotkeyMode, "standard"); }
HotkeyMode SettingsManager::hotkeyMode() const { return hotkeyModeFromRawValue(hotkeyModeRawValue()); }
int SettingsManager::hotkeyKeyCode() const { return static_cast<int>(integerValue(key::hotkeyKeyCode, 0)); }
int SettingsManager::hotkeyModifiers() const {
    return static_cast<int>(integerValue(key::hotkeyModifiers, defaultHotkeyModifiers));
}
double SettingsManager::doubleTapThreshold() const { return doubleValue(key::doubleTapThreshold, 0.3); }
std::string SettingsManager::inputDeviceUID() const { return stringValue(key::inputDeviceUID, "System Default"); }
double SettingsManager::maxRecordingDuration() const { return doubleValue(key::maxRecordingDuration, 300.0); }
std::string SettingsManager::transcriptionGlossary() const { return stringValue(key::transcriptionGlossary, ""); }
std::string SettingsManager::transcriptionCorrections() const {
    return stringValue(key::transcriptionCorrections, "");
}
bool SettingsManager::appendSpaceAfterInsertion() const { return boolValue(key::appendSpaceAfterInsertion, true); }
bool SettingsManager::appendNewlineAfterInsertion() const {
    return boolValue(key::appendNewlineAfterInsertion, false);
}
bool SettingsManager::soundFeedbackEnabled() const { return boolValue(key::soundFeedbackEnabled, true); }

void SettingsManager::setHotkeyModeRawValue(const std::string& value) { store(key::hotkeyMode, value); }
void SettingsManager::setHotkeyKeyCode(int value) { store(key::hotkeyKeyCode, std::int64_t{value}); }
void SettingsManager::setHotkeyModifiers(int value) { store(key::hotkeyModifiers, std::int64_t{value}); }
void SettingsManager::setDoubleTapThreshold(double value) { store(key::doubleTapThreshold, value); }
void SettingsManager::setInputDeviceUID(const std::string& value) { store(key::inputDeviceUID, value); }
void SettingsManager::setMaxRecordingDuration(double value) { store(key::maxRecordingDuration, value); }
void SettingsManager::setTranscriptionGlossary(const std::string& value) { store(key::transcriptionGlossary, value); }
void SettingsManager::setTranscriptionCorrections(const std::string& value) {
    store(key::transcriptionCorrections, value);
}
void SettingsManager::setAppendSpaceAfterInsertion(bool value) { store(key::appendSpaceAfterInsertion, value); }
void SettingsManager::setAppendNewlineAfterInsertion(bool value) { store(key::appendNewlineAfterInsertion, value); }
void SettingsManager::setSoundFeedbackEnabled(bool value) { store(key::soundFeedbackEnabled, value); }

HotkeyTrigger SettingsManager::effectiveHotkeyTrigger() const {
    if (hotkeyMode() == HotkeyMode::capsLock) return {capsLockSurrogateKeyCode, 0};
    return {hotkeyKeyCode(), hotkeyModifiers()};
}

void SettingsManager::setLearnModeActive(bool active) {
    isLearnModeActive_ = active;
    if (onChange) onChange();
}

void SettingsManager::setOpenAtLogin(bool enabled) {
    auto result = loginItem_.setEnabled(enabled);
    if (result) {
        openAtLogin_ = enabled;
    } else {
        logger_.error("Failed to update login item: " + result.error());
        openAtLogin_ = loginItem_.isEnabled();
    }
    if (onChange) onChange();
}

}  // namespace quillon
