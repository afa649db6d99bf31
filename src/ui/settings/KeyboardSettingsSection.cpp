#include "ui/settings/KeyboardSettingsSection.h"

#include "ui/settings/ShortcutCaptureControlQt.h"

namespace quillon {

KeyboardSettingsSection::KeyboardSettingsSection(HotkeyCapture& capture, QWidget* parent)
    : SettingsSectionQt(QStringLiteral("Keyboard & Dictation"), QStringLiteral("input-keyboard"), parent),
      control_(new ShortcutCaptureControlQt(capture)) {
    addRow(QStringLiteral("Recording shortcut"), QString(), control_);
}

void KeyboardSettingsSection::reload() {
    control_->cancel();
}

}  // namespace quillon
