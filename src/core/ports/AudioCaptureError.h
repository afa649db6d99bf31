#pragma once

#include <string>

namespace quillon {

// What went wrong with a capture of the microphone or of system audio, in the user's words.
struct AudioCaptureError {
    enum class Kind {
        soundServerUnavailable,   // no connection to the sound server; detail says why
        noMicrophone,             // the server has no source that is not a monitor
        microphoneCouldNotStart,  // detail says why
        applicationUnavailable,   // the chosen application plays nothing the server knows of
        systemAudioCouldNotStart, // detail says why
        connectionLost,           // the sound server went away while capturing
        sourceLost,               // the captured device went away while capturing
    };

    Kind kind = Kind::soundServerUnavailable;
    std::string detail;

    std::string description() const {
        switch (kind) {
            case Kind::soundServerUnavailable:
                return "Quillon could not connect to the sound server (" + detail + ").";
            case Kind::noMicrophone: return "No microphone is available.";
            case Kind::microphoneCouldNotStart: return "The microphone could not be started (" + detail + ").";
            case Kind::applicationUnavailable:
                return "The selected application is not currently available for audio capture.";
            case Kind::systemAudioCouldNotStart:
                return detail.empty() ? "System audio capture could not be started."
                                      : "System audio capture could not be started (" + detail + ").";
            case Kind::connectionLost: return "The connection to the sound server was lost.";
            case Kind::sourceLost: return "The audio device stopped: " + detail + ".";
        }
        return "Audio capture failed.";
    }

    bool operator==(const AudioCaptureError&) const = default;
};

}  // namespace quillon
