#pragma once

#include <QWidget>

#include "core/audio/AudioDeviceManager.h"
#include "core/hotkey/HotkeyCapture.h"
#include "core/ports/SettingsWindow.h"
#include "core/settings/SettingsManager.h"

namespace quillon {

class GeneralSettingsSection;
class KeyboardSettingsSection;
class RecognitionSettingsSection;

// "Quillon Settings": General, Keyboard & Dictation, Recognition. Every change is stored as it is
// made; there is no OK button. One window, reused: opened again it shows the settings afresh and
// comes forward. GUI thread only.
class SettingsWindowQt final : public QWidget, public SettingsWindow {
public:
    SettingsWindowQt(SettingsManager& settings, AudioDeviceManager& devices, HotkeyCapture& capture);
    ~SettingsWindowQt() override;

    void showSettings() override;

protected:
    void hideEvent(QHideEvent* event) override;

private:
    AudioDeviceManager& devices_;
    GeneralSettingsSection* general_;
    KeyboardSettingsSection* keyboard_;
    RecognitionSettingsSection* recognition_;
};

}  // namespace quillon
