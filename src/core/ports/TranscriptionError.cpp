#include "core/ports/TranscriptionError.h"

namespace quillon {

std::string TranscriptionError::description() const {
    switch (kind) {
        case Kind::unsupportedLocale:
            return "On-device speech transcription does not support " + localeIdentifier + ".";
        case Kind::unavailable: return "On-device speech transcription is unavailable.";
        case Kind::noCompatibleAudioFormat: return "No compatible speech-recognition audio format is available.";
        case Kind::audioConversionUnavailable: return "Audio could not be converted for speech recognition.";
        case Kind::audioLoadFailed: return "Failed to prepare audio for transcription.";
        case Kind::noAudioTrack: return "This file does not contain an audio track.";
    }
    return "On-device speech transcription is unavailable.";
}

}  // namespace quillon
