#pragma once

#include "core/dictation/DictationHotkey.h"
#include "core/hotkey/HotkeyManager.h"

namespace quillon {

// The hotkey as dictation sees it: HotkeyManager's three signals and its reset. Main thread only.
class HotkeyDictationSignals final : public DictationHotkey {
public:
    explicit HotkeyDictationSignals(HotkeyManager& manager) : manager_(manager) {
        manager_.onStartRecording = [this] {
            if (onStartRecording) onStartRecording();
        };
        manager_.onRecordingModeChanged = [this](bool tapToggleMode) {
            if (onRecordingModeChanged) onRecordingModeChanged(tapToggleMode);
        };
        manager_.onStopRecording = [this] {
            if (onStopRecording) onStopRecording();
        };
    }
    ~HotkeyDictationSignals() override {
        manager_.onStartRecording = nullptr;
        manager_.onRecordingModeChanged = nullptr;
        manager_.onStopRecording = nullptr;
    }
    HotkeyDictationSignals(const HotkeyDictationSignals&) = delete;
    HotkeyDictationSignals& operator=(const HotkeyDictationSignals&) = delete;

    void resetToIdle() override { manager_.resetToIdle(); }

private:
    HotkeyManager& manager_;
};

}  // namespace quillon
