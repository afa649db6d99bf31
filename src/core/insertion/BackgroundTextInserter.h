#pragma once

#include <memory>

#include "core/base/Scheduler.h"
#include "core/insertion/TextInserter.h"
#include "core/insertion/TextInsertion.h"

namespace quillon {

// Text insertion for dictation, off the main thread: each call runs the synchronous TextInserter
// on `worker` (a serial queue of insertion's own), one call after another in the order they were
// made, and posts the completion to `main`. The pauses and the other applications' answers cost
// the worker, never the main thread.
//
// Threads: calls and completions on `main`; the TextInserter and the ports it uses only on
// `worker`, apart from the clipboard restoration it posts to `main`. The settings are read on
// `main` when a call is made. The ports must outlive the worker queue; a call still queued holds
// the inserter, not this object.
class BackgroundTextInserter final : public TextInsertion {
public:
    BackgroundTextInserter(Accessibility& accessibility, SyntheticKeyboard& keyboard, Pasteboard& pasteboard,
                           RunningApplications& applications, Pacer& pacer, Scheduler& main, Scheduler& worker,
                           const SettingsManager& settings, Logger logger);

    void captureFocusedTextTarget(std::function<void(TargetResult)> done) override;
    void insertText(std::string text, std::optional<FocusedTextTarget> onlyInto,
                    std::function<void(InsertionResult)> done) override;

    // Each capture's answer to whether Accessibility is granted, on `main` (for the permission's
    // published state: a start is when the user may just have changed it).
    std::function<void(bool granted)> onAccessibilityChecked;

private:
    Scheduler& main_;
    Scheduler& worker_;
    const SettingsManager& settings_;
    std::shared_ptr<TextInserter> inserter_;
};

}  // namespace quillon
