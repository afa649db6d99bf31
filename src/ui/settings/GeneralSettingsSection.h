#pragma once

#include "core/audio/AudioDeviceManager.h"
#include "core/settings/SettingsManager.h"
#include "ui/settings/SettingsSectionQt.h"

class QCheckBox;
class QComboBox;

namespace quillon {

// "General": Open at Login, and the microphone used, whose list follows microphones plugged in or
// out while the window is open.
class GeneralSettingsSection : public SettingsSectionQt {
public:
    GeneralSettingsSection(SettingsManager& settings, AudioDeviceManager& devices, QWidget* parent = nullptr);

    // Shows the settings as they are now.
    void reload();
    // The device list changed.
    void devicesChanged();

private:
    SettingsManager& settings_;
    AudioDeviceManager& devices_;
    QCheckBox* openAtLogin_;
    QComboBox* audioInput_;
};

}  // namespace quillon
