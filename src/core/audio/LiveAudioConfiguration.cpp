#include "core/audio/LiveAudioConfiguration.h"

namespace quillon {

std::string_view liveAudioModeValue(LiveAudioMode mode) {
    switch (mode) {
        case LiveAudioMode::microphone: return "microphone";
        case LiveAudioMode::systemAudio: return "systemAudio";
        case LiveAudioMode::microphoneAndSystemAudio: return "microphoneAndSystemAudio";
    }
    return "microphone";
}

std::optional<LiveAudioMode> liveAudioModeFromValue(std::string_view value) {
    for (auto mode : {LiveAudioMode::microphone, LiveAudioMode::systemAudio, LiveAudioMode::microphoneAndSystemAudio}) {
        if (liveAudioModeValue(mode) == value) return mode;
    }
    return std::nullopt;
}

std::string LiveAudioConfiguration::displayName() const {
    const std::string system = systemAudioBundleIdentifier ? systemAudioDisplayName : "All System Audio";
    switch (mode) {
        case LiveAudioMode::microphone: return "Microphone";
        case LiveAudioMode::systemAudio: return system;
        case LiveAudioMode::microphoneAndSystemAudio: return "Microphone + " + system;
    }
    return "Microphone";
}

}  // namespace quillon
