#include "core/audio/LiveAudioPreferences.h"

namespace quillon {

namespace {

constexpr std::string_view modeKey = "liveTranscript.audioMode";
constexpr std::string_view identifierKey = "liveTranscript.systemAudioBundleIdentifier";
constexpr std::string_view displayNameKey = "liveTranscript.systemAudioDisplayName";

std::optional<std::string> stringValue(const KeyValueStore& store, std::string_view key) {
    auto value = store.value(key);
    if (!value) return std::nullopt;
    if (const auto* text = std::get_if<std::string>(&*value)) return *text;
    return std::nullopt;
}

}  // namespace

LiveAudioConfiguration LiveAudioPreferences::configuration(const KeyValueStore& store) {
    LiveAudioConfiguration configuration;
    if (auto mode = stringValue(store, modeKey)) {
        configuration.mode = liveAudioModeFromValue(*mode).value_or(LiveAudioMode::microphone);
    }
    if (auto identifier = stringValue(store, identifierKey); identifier && !identifier->empty()) {
        configuration.systemAudioBundleIdentifier = *identifier;
    }
    configuration.systemAudioDisplayName = stringValue(store, displayNameKey).value_or("System Audio");
    return configuration;
}

void LiveAudioPreferences::setConfiguration(KeyValueStore& store, const LiveAudioConfiguration& configuration) {
    store.setValue(modeKey, std::string(liveAudioModeValue(configuration.mode)));
    store.setValue(identifierKey, configuration.systemAudioBundleIdentifier.value_or(""));
    store.setValue(displayNameKey, configuration.systemAudioDisplayName);
}

}  // namespace quillon
