#include "app/AppDelegate.h"

namespace quillon {

AppDelegate::AppDelegate(Scheduler& main, StatusItem& statusItem, Pasteboard& pasteboard,
                         std::shared_ptr<LogService> log, std::function<void()> terminate)
    : main_(main),
      statusItem_(statusItem),
      pasteboard_(pasteboard),
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
}

void AppDelegate::applicationWillTerminate() {
    // Nothing that changes the desktop (keyboard map, grabs) runs yet; the status item goes with
    // the process.
    logger_.info("Quillon is quitting");
}

}  // namespace quillon
