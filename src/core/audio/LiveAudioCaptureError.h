#pragma once

#include <string>
#include <variant>

#include "core/ports/AudioCaptureError.h"

namespace quillon {

// A change of source failed, and so did putting the previous source back; capture is stopped.
struct LiveAudioCaptureError {
    AudioCaptureError change;
    AudioCaptureError restoration;

    std::string description() const {
        return "The audio source could not be changed (" + change.description() +
               "), and the previous source could not be restored (" + restoration.description() + ").";
    }
    bool operator==(const LiveAudioCaptureError&) const = default;
};

// What a failed change of source raises: the change's own error when the previous source runs
// again, or both errors when it could not be restored.
using LiveAudioReconfigureError = std::variant<AudioCaptureError, LiveAudioCaptureError>;

inline std::string description(const LiveAudioReconfigureError& error) {
    return std::visit([](const auto& e) { return e.description(); }, error);
}

}  // namespace quillon
