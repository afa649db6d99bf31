#pragma once

#include <chrono>
#include <map>
#include <memory>
#include <string>

#include "core/logging/Logger.h"
#include "core/ports/Accessibility.h"
#include "core/ports/RunningApplications.h"
#include "platform/linux/accessibility/AtspiFocusSearch.h"
#include "platform/linux/accessibility/AtspiResponsiveness.h"

typedef struct _AtspiAccessible AtspiAccessible;

namespace quillon {

class AtspiThread;

// The desktop's accessibility service through AT-SPI 2 (libatspi).
//
// The focus is found by asking the application that owns the active X window (through
// RunningApplications) for its element in the focused state, with a Collection query where
// the toolkit offers one and a walk of the showing elements where it does not. Trust is the bus
// launcher's IsEnabled switch.
//
// A hung application must not freeze dictation: every call has a time-out (`callTimeout`), and
// an application that let a call time out is skipped for `unresponsiveFor` afterwards, so a walk
// over its tree fails at once instead of one time-out per element.
//
// Threads: any. Every libatspi call runs on the adapter's own thread (AtspiThread) and the
// caller waits for it, so calls are serialised; `responsiveness_` is touched only there.
class AccessibilityAtspi final : public Accessibility {
public:
    struct Options {
        std::chrono::milliseconds callTimeout{1500};
        std::chrono::milliseconds unresponsiveFor{5000};
        // Elements visited at most when a toolkit cannot be asked for its focus directly.
        int focusWalkLimit = 4000;
    };

    AccessibilityAtspi(RunningApplications& applications, Logger logger);
    AccessibilityAtspi(RunningApplications& applications, Logger logger, Options options);
    ~AccessibilityAtspi() override;

    bool isProcessTrusted() override;
    std::optional<std::string> enableAccessibility() override;

    ElementRef systemWideFocusedElement() override;
    ElementRef focusedApplication() override;
    ElementRef applicationElement(int processIdentifier) override;
    ElementRef focusedElement(const ElementRef& application) override;
    std::optional<std::vector<ElementRef>> windows(const ElementRef& application) override;
    std::optional<std::vector<ElementRef>> children(const ElementRef& element) override;
    std::optional<AccessibilityRole> role(const ElementRef& element) override;
    std::optional<std::string> value(const ElementRef& element) override;
    std::optional<TextRange> selectedTextRange(const ElementRef& element) override;
    std::optional<std::string> selectedText(const ElementRef& element) override;
    std::optional<long> insertionPoint(const ElementRef& element) override;
    std::optional<std::string> placeholder(const ElementRef& element) override;
    std::optional<bool> isFocused(const ElementRef& element) override;
    bool isSelectedTextSettable(const ElementRef& element) override;
    bool setSelectedText(const ElementRef& element, const std::string& text) override;
    bool setSelectedTextRange(const ElementRef& element, TextRange range) override;
    bool setValue(const ElementRef& element, const std::string& value) override;
    bool setFocused(const ElementRef& element) override;
    bool hasAction(const ElementRef& element, ElementAction action) override;
    bool performAction(const ElementRef& element, ElementAction action) override;
    std::optional<int> processIdentifier(const ElementRef& element) override;
    std::string identity(const ElementRef& element) override;

    // The application of the focused element, for tests and diagnostics.
    std::string toolkitName(const ElementRef& element);

private:
    // Everything below runs on the libatspi thread.
    template <typename Result, typename Body>
    Result onElement(const ElementRef& element, Result fallback, Body body);
    ElementRef wrap(AtspiAccessible* owned);
    std::optional<int> actionIndex(AtspiAccessible* object, ElementAction action);
    std::optional<TextRange> selectionOrCaret(AtspiAccessible* object);

    RunningApplications& applications_;
    Logger logger_;
    Options options_;
    std::shared_ptr<AtspiThread> thread_;
    AtspiResponsiveness responsiveness_;
    AtspiFocusSearch focusSearch_;
    int ownProcess_;
};

}  // namespace quillon
