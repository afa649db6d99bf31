#pragma once

#include <string>

namespace quillon {

// The error of all speech work, streaming and file transcription alike; description() is what
// the user sees.
struct TranscriptionError {
    enum class Kind {
        unsupportedLocale,
        unavailable,
        noCompatibleAudioFormat,
        audioConversionUnavailable,
        audioLoadFailed,
        noAudioTrack,
    };

    Kind kind;
    std::string localeIdentifier;  // for unsupportedLocale only

    static TranscriptionError unsupportedLocale(std::string identifier) {
        return {Kind::unsupportedLocale, std::move(identifier)};
    }
    static TranscriptionError unavailable() { return {Kind::unavailable, {}}; }
    static TranscriptionError noCompatibleAudioFormat() { return {Kind::noCompatibleAudioFormat, {}}; }
    static TranscriptionError audioConversionUnavailable() { return {Kind::audioConversionUnavailable, {}}; }
    static TranscriptionError audioLoadFailed() { return {Kind::audioLoadFailed, {}}; }
    static TranscriptionError noAudioTrack() { return {Kind::noAudioTrack, {}}; }

    std::string description() const;
    bool operator==(const TranscriptionError&) const = default;
};

}  // namespace quillon
