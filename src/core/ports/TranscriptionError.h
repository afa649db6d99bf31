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
        cancelled,  // the caller cancelled the run; never shown as a failure
        unreadableFile,
    };

    Kind kind;
    std::string detail;  // the locale of unsupportedLocale; the system's reason of unreadableFile

    static TranscriptionError unsupportedLocale(std::string identifier) {
        return {Kind::unsupportedLocale, std::move(identifier)};
    }
    static TranscriptionError unavailable() { return {Kind::unavailable, {}}; }
    static TranscriptionError noCompatibleAudioFormat() { return {Kind::noCompatibleAudioFormat, {}}; }
    static TranscriptionError audioConversionUnavailable() { return {Kind::audioConversionUnavailable, {}}; }
    static TranscriptionError audioLoadFailed() { return {Kind::audioLoadFailed, {}}; }
    static TranscriptionError noAudioTrack() { return {Kind::noAudioTrack, {}}; }
    static TranscriptionError cancelled() { return {Kind::cancelled, {}}; }
    // A file that cannot be opened at all, in the system's own words ("No such file or directory").
    static TranscriptionError unreadableFile(std::string reason) { return {Kind::unreadableFile, std::move(reason)}; }

    std::string description() const;
    bool operator==(const TranscriptionError&) const = default;
};

}  // namespace quillon
