#pragma once

namespace quillon {

// The settings window: one, reused. Main thread only.
class SettingsWindow {
public:
    virtual ~SettingsWindow() = default;

    // Opens the window, or brings it forward showing the settings afresh.
    virtual void showSettings() = 0;
};

}  // namespace quillon
