#pragma once

#include <chrono>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "Desktop.h"
#include "DesktopSession.h"
#include "TestApplication.h"
#include "core/base/ManualScheduler.h"
#include "core/insertion/TextInserter.h"
#include "core/settings/SettingsManager.h"
#include "fakes/FakeKeyValueStore.h"
#include "fakes/FakeLoginItem.h"
#include "fakes/TestLog.h"
#include "platform/linux/accessibility/AccessibilityAtspi.h"
#include "platform/linux/apps/RunningApplicationsX11.h"
#include "platform/linux/clipboard/PasteboardQt.h"
#include "platform/linux/keyboard/PacerThreadSleep.h"
#include "platform/linux/keyboard/SyntheticKeyboardXTest.h"

namespace quillon::testing {

// Why the desktop session cannot run these tests, or empty when it can.
inline std::string missingDesktop() { return sessionLacks({"X server", "accessibility", "session bus"}); }

// The real insertion stack on the test session's desktop.
struct DesktopWorld {
    DesktopWorld() {
        settings.setAppendSpaceAfterInsertion(false);
        accessibility.enableAccessibility();
    }

    // Starts `program`, waits for its "ready" line and its window, and gives that window the focus.
    std::unique_ptr<TestApplication> launch(const std::string& program, const std::vector<std::string>& arguments,
                                            bool waitForReady = true, bool mergeErrors = false) {
        auto application = std::make_unique<TestApplication>(program, arguments, mergeErrors);
        if (!application->started()) return nullptr;
        if (waitForReady && application->readLine(std::chrono::seconds(60)) != "ready") return nullptr;
        const int pid = application->pid();
        if (!serveEventsUntil([&] { return applications.activate(pid); }, std::chrono::seconds(60)))
            return nullptr;
        if (!serveEventsUntil([&] { return applications.frontmostProcessIdentifier() == pid; }))
            return nullptr;
        return application;
    }

    // Waits until the focused insertion element belongs to `pid` and has `role`.
    ElementRef waitForFocusedField(int pid, std::optional<AccessibilityRole> role = std::nullopt,
                                   std::chrono::seconds timeout = std::chrono::seconds(15)) {
        ElementRef found;
        serveEventsUntil(
            [&] {
                found = inserter.focusedInsertionElement();
                if (!found || accessibility.processIdentifier(found) != pid) return false;
                return !role || accessibility.role(found) == role;
            },
            timeout);
        if (found && accessibility.processIdentifier(found) == pid && (!role || accessibility.role(found) == role)) {
            return found;
        }
        return nullptr;
    }

    static std::string fixture(const char* name) { return std::string(QUILLON_FIXTURE_DIR) + "/" + name; }

    ManualScheduler mainQueue;
    TestLog log{mainQueue};
    FakeKeyValueStore store;
    FakeLoginItem loginItem;
    SettingsManager settings{store, loginItem, log.logger(LogCategory::settings)};
    RunningApplicationsX11 applications;
    AccessibilityAtspi accessibility{applications, log.logger(LogCategory::insertion)};
    SyntheticKeyboardXTest keyboard;
    PacerThreadSleep pacer;
    PasteboardQt pasteboard;
    TextInserter inserter{accessibility, keyboard, pasteboard, applications, pacer,
                          mainQueue,     settings, log.logger(LogCategory::insertion)};
};

// Base of the tests that drive real applications on the session's desktop.
class DesktopWorldTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (const auto missing = missingDesktop(); !missing.empty()) GTEST_SKIP() << missing;
    }

    // Starts one of the suite's text fixture programs with the widget `focus` focused.
    std::unique_ptr<TestApplication> startFixture(const std::string& fixture, const std::vector<std::string>& arguments,
                                                  const std::string& focus) {
        auto application = world.launch(DesktopWorld::fixture(fixture.c_str()), arguments);
        if (application) application->ask("focus " + focus);
        return application;
    }
    std::unique_ptr<TestApplication> startGtk(const std::vector<std::string>& arguments,
                                              const std::string& focus) {
        return startFixture("quillon_gtk_text_fixture", arguments, focus);
    }

    // What a fixture's widget holds now.
    std::string contents(TestApplication& application, const std::string& widget) {
        const auto line = application.ask("dump " + widget);
        return line ? line->substr(widget.size() + 1) : "<no answer>";
    }

    DesktopWorld world;
};

}  // namespace quillon::testing
