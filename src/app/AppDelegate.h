#pragma once

#include <functional>
#include <memory>

#include "app/DictationServices.h"
#include "core/base/Scheduler.h"
#include "core/hotkey/CapsLockRemapManager.h"
#include "core/hotkey/HotkeyManager.h"
#include "core/insertion/AccessibilityPermission.h"
#include "core/logging/Logger.h"
#include "core/ports/Pasteboard.h"
#include "core/ports/SettingsWindow.h"
#include "core/ports/StatusItem.h"
#include "core/tray/MenuBarController.h"

namespace quillon {

// Builds the long-lived objects of a running Quillon in their fixed order at launch and takes
// them down in order at termination. Main thread only.
class AppDelegate {
public:
    // `terminate` ends the program through its event loop, which then calls
    // applicationWillTerminate().
    AppDelegate(Scheduler& main, StatusItem& statusItem, Pasteboard& pasteboard,
                AccessibilityPermission& accessibilityPermission, HotkeyManager& hotkeyManager,
                CapsLockRemapManager& capsLockRemap, DictationServices& dictation,
                std::shared_ptr<LogService> log, std::function<void()> terminate);

    void applicationDidFinishLaunching();
    void applicationWillTerminate();

    // The popover's and the tray menu's "Settings": one window, opened or brought forward.
    void showSettingsWindowManually();
    void setSettingsWindow(SettingsWindow* window) { settingsWindow_ = window; }

    // Absent until launch has finished.
    MenuBarController* menuBarController() const { return menuBarController_.get(); }

private:
    Scheduler& main_;
    StatusItem& statusItem_;
    Pasteboard& pasteboard_;
    AccessibilityPermission& accessibilityPermission_;
    HotkeyManager& hotkeyManager_;
    CapsLockRemapManager& capsLockRemap_;
    DictationServices& dictation_;
    std::shared_ptr<LogService> log_;
    std::function<void()> terminate_;
    Logger logger_;
    std::unique_ptr<MenuBarController> menuBarController_;
    SettingsWindow* settingsWindow_ = nullptr;
};

}  // namespace quillon
