#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace quillon {

// Where the live transcript's audio comes from.
enum class LiveAudioMode { microphone, systemAudio, microphoneAndSystemAudio };

// The stored value of each mode ("microphone", "systemAudio", "microphoneAndSystemAudio").
std::string_view liveAudioModeValue(LiveAudioMode mode);
std::optional<LiveAudioMode> liveAudioModeFromValue(std::string_view value);

// The live transcript's source choice: a mode and, for system audio, the application (absent
// means all system audio) with the name it is shown by.
struct LiveAudioConfiguration {
    LiveAudioMode mode = LiveAudioMode::microphone;
    std::optional<std::string> systemAudioBundleIdentifier;
    std::string systemAudioDisplayName;

    // "Microphone", "All System Audio", the application's name, or "Microphone + " either.
    std::string displayName() const;

    bool operator==(const LiveAudioConfiguration&) const = default;
};

}  // namespace quillon
