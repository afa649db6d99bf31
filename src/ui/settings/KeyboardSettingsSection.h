#pragma once

#include "core/hotkey/HotkeyCapture.h"
#include "ui/settings/SettingsSectionQt.h"

namespace quillon {

class ShortcutCaptureControlQt;

// "Keyboard & Dictation": the recording shortcut, captured by pressing it; Caps Lock included.
class KeyboardSettingsSection : public SettingsSectionQt {
public:
    explicit KeyboardSettingsSection(HotkeyCapture& capture, QWidget* parent = nullptr);

    // Drops a capture in progress: the stored shortcut shows again.
    void reload();

private:
    ShortcutCaptureControlQt* control_;
};

}  // namespace quillon
