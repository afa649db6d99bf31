#include "ui/settings/GeneralSettingsSection.h"

#include <QCheckBox>
#include <QComboBox>
#include <QSignalBlocker>

namespace quillon {

GeneralSettingsSection::GeneralSettingsSection(SettingsManager& settings, AudioDeviceManager& devices,
                                               QWidget* parent)
    : SettingsSectionQt(QStringLiteral("General"), QStringLiteral("preferences-system"), parent),
      settings_(settings),
      devices_(devices),
      openAtLogin_(new QCheckBox),
      audioInput_(new QComboBox) {
    addRow(QStringLiteral("Open at Login"), QStringLiteral("Start Quillon automatically when you sign in."),
           openAtLogin_);
    audioInput_->setMinimumWidth(220);
    audioInput_->setSizeAdjustPolicy(QComboBox::AdjustToContents);
    addRow(QStringLiteral("Audio Input"),
           QStringLiteral("The microphone used for dictation and live transcription."), audioInput_);

    connect(openAtLogin_, &QCheckBox::toggled, this, [this](bool enabled) {
        settings_.setOpenAtLogin(enabled);
        // The box shows the truth: a login item that could not be changed stays as it was.
        const QSignalBlocker blocker(openAtLogin_);
        openAtLogin_->setChecked(settings_.openAtLogin());
    });
    connect(audioInput_, &QComboBox::activated, this, [this](int index) {
        settings_.setInputDeviceUID(audioInput_->itemData(index).toString().toStdString());
    });
    reload();
}

void GeneralSettingsSection::reload() {
    const QSignalBlocker blocker(openAtLogin_);
    openAtLogin_->setChecked(settings_.openAtLogin());
    devicesChanged();
}

void GeneralSettingsSection::devicesChanged() {
    const QSignalBlocker blocker(audioInput_);
    audioInput_->clear();
    const QString stored = QString::fromStdString(settings_.inputDeviceUID());
    int selected = -1;
    for (const auto& device : devices_.devices()) {
        const QString uid = QString::fromStdString(device.uid);
        if (uid == stored) selected = audioInput_->count();
        audioInput_->addItem(QString::fromStdString(device.name), uid);
    }
    // A stored microphone that is unplugged stays chosen: recordings use the default meanwhile.
    if (selected < 0 && !stored.isEmpty()) {
        selected = audioInput_->count();
        audioInput_->addItem(stored + QStringLiteral(" (not connected)"), stored);
    }
    audioInput_->setCurrentIndex(selected);
}

}  // namespace quillon
