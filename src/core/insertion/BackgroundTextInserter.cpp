#include "core/insertion/BackgroundTextInserter.h"

namespace quillon {

BackgroundTextInserter::BackgroundTextInserter(Accessibility& accessibility, SyntheticKeyboard& keyboard,
                                               Pasteboard& pasteboard, RunningApplications& applications, Pacer& pacer,
                                               Scheduler& main, Scheduler& worker, const SettingsManager& settings,
                                               Logger logger)
    : main_(main),
      worker_(worker),
      settings_(settings),
      inserter_(std::make_shared<TextInserter>(accessibility, keyboard, pasteboard, applications, pacer, main,
                                               settings, std::move(logger))) {}

void BackgroundTextInserter::captureFocusedTextTarget(std::function<void(TargetResult)> done) {
    // The capture asks whether Accessibility is granted before anything else.
    auto checked = [this](bool granted) {
        if (onAccessibilityChecked) onAccessibilityChecked(granted);
    };
    worker_.post([&main = main_, inserter = inserter_, checked, done = std::move(done)]() mutable {
        main.post([result = inserter->captureFocusedTextTarget(), checked, done = std::move(done)]() mutable {
            checked(result || result.error() != TextInsertionError::accessibilityNotGranted);
            done(std::move(result));
        });
    });
}

void BackgroundTextInserter::insertText(std::string text, std::optional<FocusedTextTarget> onlyInto,
                                        std::function<void(InsertionResult)> done) {
    const TextInserter::Separators separators{settings_.appendSpaceAfterInsertion(),
                                              settings_.appendNewlineAfterInsertion()};
    worker_.post([&main = main_, inserter = inserter_, text = std::move(text), onlyInto = std::move(onlyInto),
                  separators, done = std::move(done)]() mutable {
        InsertionResult result = InsertionOutcome::focusElsewhere;
        if (!onlyInto || inserter->hasFocus(*onlyInto)) {
            if (auto inserted = inserter->insertText(text, separators)) {
                result = InsertionOutcome::inserted;
            } else {
                result = std::unexpected(inserted.error());
            }
        }
        main.post([result, done = std::move(done)] { done(result); });
    });
}

}  // namespace quillon
