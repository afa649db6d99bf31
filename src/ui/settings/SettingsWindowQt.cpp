#include "ui/settings/SettingsWindowQt.h"

#include <QGuiApplication>
#include <QScreen>
#include <QScrollArea>
#include <QVBoxLayout>

#include "ui/settings/GeneralSettingsSection.h"
#include "ui/settings/KeyboardSettingsSection.h"
#include "ui/settings/RecognitionSettingsSection.h"

namespace quillon {

SettingsWindowQt::SettingsWindowQt(SettingsManager& settings, AudioDeviceManager& devices,
                                   HotkeyCapture& capture)
    : QWidget(nullptr, Qt::Window),
      devices_(devices),
      general_(new GeneralSettingsSection(settings, devices)),
      keyboard_(new KeyboardSettingsSection(capture)),
      recognition_(new RecognitionSettingsSection(settings)) {
    setWindowTitle(QStringLiteral("Quillon Settings"));
    setObjectName(QStringLiteral("QuillonSettings"));
    setMinimumSize(580, 480);
    resize(580, 650);

    auto* content = new QWidget;
    content->setFixedWidth(560);
    auto* column = new QVBoxLayout(content);
    column->setContentsMargins(16, 16, 16, 16);
    column->setSpacing(16);
    column->addWidget(general_);
    column->addWidget(keyboard_);
    column->addWidget(recognition_);
    column->addStretch(1);

    auto* scroll = new QScrollArea;
    scroll->setWidget(content);
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    scroll->setAlignment(Qt::AlignHCenter);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(scroll);

    devices_.onDevicesChanged = [this] { general_->devicesChanged(); };
}

SettingsWindowQt::~SettingsWindowQt() {
    devices_.onDevicesChanged = nullptr;
}

void SettingsWindowQt::showSettings() {
    // Opened again, it shows the settings as they are now; an unapplied capture is dropped.
    general_->reload();
    keyboard_->reload();
    recognition_->reload();
    devices_.updateDevices();
    if (!isVisible()) {
        QScreen* screen = QGuiApplication::primaryScreen();
        if (screen == nullptr) return;
        const QRect area = screen->availableGeometry();
        move(area.center() - QPoint(width() / 2, height() / 2));
    }
    show();
    raise();
    activateWindow();
}

// A capture ends with the window: the keyboard and the hotkey are given back.
void SettingsWindowQt::hideEvent(QHideEvent* event) {
    keyboard_->reload();
    QWidget::hideEvent(event);
}

}  // namespace quillon
