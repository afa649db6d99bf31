#pragma once

#include "core/dictation/DictationHotkey.h"
#include "fakes/CallJournal.h"

namespace quillon::testing {

// A hotkey the test presses by hand.
class FakeDictationHotkey final : public quillon::DictationHotkey {
public:
    void resetToIdle() override {
        ++resetCount;
        note(journal, "hotkey.resetToIdle");
    }

    void pressStart() { if (onStartRecording) onStartRecording(); }
    void changeMode(bool tapToggleMode) { if (onRecordingModeChanged) onRecordingModeChanged(tapToggleMode); }
    void pressStop() { if (onStopRecording) onStopRecording(); }

    int resetCount = 0;
    CallJournal* journal = nullptr;
};

}  // namespace quillon::testing
