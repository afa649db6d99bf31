#pragma once

#include <functional>

#include "core/codex/CodexExecutableLocator.h"

namespace quillon {

// Answers one question for the interface: can the Codex executable be found? The answer is never
// watched in the background; it is looked up when the model is made and at the moments the
// interface asks for it (a control comes on screen, the cleanup button is pressed, "Check Again").
// Whether the user is signed in is the summary's business, not this. Main thread only.
class CodexCapabilityModel {
public:
    explicit CodexCapabilityModel(const HostEnvironment& host);

    bool isAvailable() const { return isAvailable_; }

    // Searches again; onChange runs when the answer changed. Returns the answer.
    bool refresh();

    // The cleanup button was pressed: true when the cleanup may run, false when the requirements
    // are to be shown instead.
    bool pressCleanup() { return refresh(); }

    // "Check Again" in the requirements: true when they can be dismissed.
    bool checkAgain() { return refresh(); }

    std::function<void()> onChange;

private:
    CodexExecutableLocator locator_;
    bool isAvailable_;
};

}  // namespace quillon
