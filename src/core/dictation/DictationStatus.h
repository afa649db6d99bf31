#pragma once

#include <string>

#include "core/base/AppState.h"

namespace quillon {

// What dictation tells the rest of the application: the state the status icon shows and each
// finished transcript, kept for "Copy Last Transcription". The composition root wires it to the
// tray. Called on the main thread.
class DictationStatus {
public:
    virtual ~DictationStatus() = default;
    virtual void updateState(AppState state) = 0;
    virtual void addTranscription(const std::string& text) = 0;
};

}  // namespace quillon
