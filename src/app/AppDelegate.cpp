#include "app/AppDelegate.h"

namespace quillon {

AppDelegate::AppDelegate(Scheduler& main, StatusItem& statusItem, Pasteboard& pasteboard,
                         AccessibilityPermission& accessibilityPermission, std::shared_ptr<LogService> log,
                         std::function<void()> terminate)
    : main_(main),
      statusItem_(statusItem),
      pasteboard_(pasteboard),
      accessibilityPermission_(accessibilityPermission),
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
    // After launch has returned: the permission check talks to the accessibility bus, and the tray
    // icon should not wait for it.
    main_.post([this] { accessibilityPermission_.checkAccessibilityPermission(); });
}

void AppDelegate::applicationWillTerminate() {
    // Nothing that changes the desktop (keyboard map, grabs) runs yet; the status item goes with
    // the process.
    logger_.info("Quillon is quitting");
}

}  // namespace quillon
