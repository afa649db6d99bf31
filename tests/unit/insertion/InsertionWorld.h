#pragma once

#include <memory>

#include "core/base/ManualScheduler.h"
#include "core/insertion/TextInserter.h"
#include "core/settings/SettingsManager.h"
#include "fakes/FakeAccessibility.h"
#include "fakes/FakeKeyValueStore.h"
#include "fakes/FakeLoginItem.h"
#include "fakes/FakePacer.h"
#include "fakes/FakePasteboard.h"
#include "fakes/FakeRunningApplications.h"
#include "fakes/FakeSyntheticKeyboard.h"
#include "fakes/TestLog.h"

namespace quillon::testing {

// A fake desktop with one application (pid 100) and the inserter wired to it. Typed text reaches
// whatever `typingTarget` names, as key presses reach the focused field.
struct InsertionWorld {
    InsertionWorld() {
        application->children = std::vector<ElementRef>{};
        accessibility.focusedApp = application;
        accessibility.applications[100] = application;
        applications.applications[100] = RunningApplication{100, "Text Editor", "org.example.Editor", "", "editor"};
        keyboard.onType = [this](const std::string& text) {
            if (typingTarget) typingTarget->typeAtCaret(text);
        };
        accessibility.pasteSource = [this] { return pasteboard.text.value_or(""); };
        settings.setAppendSpaceAfterInsertion(false);
    }

    // Makes `field` the focus of the desktop and the receiver of typed text.
    void focus(const std::shared_ptr<FakeElement>& field) {
        accessibility.systemFocus = field;
        application->focusedElement = field;
        typingTarget = field;
    }

    ManualScheduler mainQueue;
    TestLog log{mainQueue};
    FakeKeyValueStore store;
    FakeLoginItem loginItem;
    SettingsManager settings{store, loginItem, log.logger(LogCategory::settings)};
    FakeAccessibility accessibility;
    FakeSyntheticKeyboard keyboard;
    FakePasteboard pasteboard;
    FakeRunningApplications applications;
    FakePacer pacer;
    std::shared_ptr<FakeElement> application = std::make_shared<FakeElement>("app", AccessibilityRole::application);
    std::shared_ptr<FakeElement> typingTarget;
    TextInserter inserter{accessibility, keyboard,  pasteboard, applications, pacer,
                          mainQueue,     settings,  log.logger(LogCategory::insertion)};
};

}  // namespace quillon::testing
