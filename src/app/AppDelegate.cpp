#include "app/AppDelegate.h"

namespace quillon {

AppDelegate::AppDelegate(Scheduler& main, StatusItem& statusItem, Pasteboard& pasteboard,
                         AccessibilityPermission& accessibilityPermission, HotkeyManager& hotkeyManager,
                         CapsLockRemapManager& capsLockRemap, DictationServices& dictation,
                         std::shared_ptr<LogService> log, std::function<void()> terminate)
    : main_(main),
      statusItem_(statusItem),
      pasteboard_(pasteboard),
      accessibilityPermission_(accessibilityPermission),
      hotkeyManager_(hotkeyManager),
      capsLockRemap_(capsLockRemap),
      dictation_(dictation),
      log_(std::move(log)),
      terminate_(std::move(terminate)),
      logger_(log_, LogCategory::app) {}

void AppDelegate::applicationDidFinishLaunching() {
    logger_.info("Quillon is starting");
    menuBarController_ =
        std::make_unique<MenuBarController>(main_, statusItem_, pasteboard_, Logger(log_, LogCategory::app));
    statusItem_.onQuit = [this] {
        logger_.info("Quit chosen from the status menu");
        terminate_();
    };
    menuBarController_->setup();
    // Dictation answers the hotkey from here on, and shows its state in the tray.
    dictation_.start(*menuBarController_);
    // A key another program holds is shown in the tray's state, naming the key.
    hotkeyManager_.onHotkeyUnavailable = [this](const std::string& message) {
        menuBarController_->updateState(AppState::error(message));
    };
    // The remap by the mode: in standard mode this also removes one a crashed run left behind.
    if (capsLockRemap_.settings().hotkeyMode() == HotkeyMode::capsLock) {
        capsLockRemap_.ensureRemapEnabled();
    } else {
        capsLockRemap_.removeManagedRemap();
    }
    hotkeyManager_.start();
    // After launch has returned: the microphone is asked for (and the speech model loaded in the
    // background), then the permission check talks to the accessibility bus; the tray icon
    // waits for neither.
    main_.post([this] {
        dictation_.requestMicrophoneAndPrepareSpeech();
        accessibilityPermission_.checkAccessibilityPermission();
    });
}

void AppDelegate::showSettingsWindowManually() {
    if (settingsWindow_ == nullptr) return;
    logger_.info("Opening the settings window");
    settingsWindow_->showSettings();
}

void AppDelegate::applicationWillTerminate() {
    logger_.info("Quillon is quitting");
    // The keyboard is left as it was found, in either mode, even with a hotkey capture open.
    capsLockRemap_.captureSessionDepth = 0;
    capsLockRemap_.removeManagedRemap();
    hotkeyManager_.stop();
}

}  // namespace quillon
