#pragma once

#include <functional>

namespace quillon {

// The dictation hotkey as the coordinator sees it: three signals and a reset. The callbacks fire
// on the main thread, inside the handling of a key event.
class DictationHotkey {
public:
    virtual ~DictationHotkey() = default;

    // Back to waiting for the next press, whatever the current state.
    virtual void resetToIdle() = 0;

    std::function<void()> onStartRecording;
    // True when a short press turned the recording into tap-to-toggle, false for a hold.
    std::function<void(bool tapToggleMode)> onRecordingModeChanged;
    std::function<void()> onStopRecording;
};

}  // namespace quillon
