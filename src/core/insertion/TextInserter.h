#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "core/base/Scheduler.h"
#include "core/insertion/EventInsertionStrategy.h"
#include "core/insertion/FocusedElementSearch.h"
#include "core/insertion/FocusedTextTarget.h"
#include "core/insertion/TextInsertionError.h"
#include "core/logging/Logger.h"
#include "core/ports/Accessibility.h"
#include "core/ports/Pacer.h"
#include "core/ports/Pasteboard.h"
#include "core/ports/RunningApplications.h"
#include "core/ports/SyntheticKeyboard.h"
#include "core/settings/SettingsManager.h"

namespace quillon {

// Puts dictated text into the focused text field of another application.
//
// Two paths. The event path types the text as key presses and cannot check the result; it
// serves fields with a placeholder, web documents and groups, password fields and the
// applications of EventPathApplications. The accessibility path writes the text through the
// accessibility service and reads the field back after each method, going down a ladder:
// replace the selection, then rewrite the whole value, then activate, focus and type.
//
// Synchronous: insertText blocks its thread for the pauses of the ladder (through the Pacer, up
// to about 0.7 s plus the other application's answers), so it runs on insertion's worker
// (BackgroundTextInserter), never on the main thread. The clipboard is put back 0.1 s after a
// paste on `mainQueue`.
class TextInserter final {
public:
    // The end-of-insertion separators, read from the settings by the caller at each call.
    struct Separators {
        bool space = false;
        bool newline = false;
    };

    TextInserter(Accessibility& accessibility, SyntheticKeyboard& keyboard, Pasteboard& pasteboard,
                 RunningApplications& applications, Pacer& pacer, Scheduler& mainQueue,
                 const SettingsManager& settings, Logger logger);

    // Binds a recording to the element focused now.
    std::expected<FocusedTextTarget, TextInsertionError> captureFocusedTextTarget();
    // The element that would receive text now, or null.
    ElementRef focusedInsertionElement();
    // Whether `target` is the element that would receive text now (same element, same process).
    bool hasFocus(const FocusedTextTarget& target);
    bool isSameElement(const ElementRef& a, const ElementRef& b);
    // Inserts into the element focused now, with the separators of the settings.
    std::expected<void, TextInsertionError> insertText(const std::string& text);
    std::expected<void, TextInsertionError> insertText(const std::string& text, Separators separators);

    static constexpr std::chrono::milliseconds typingPace{6};
    static constexpr std::chrono::milliseconds clipboardRestoreDelay{100};

private:
    struct FieldState {
        std::optional<AccessibilityRole> role;
        std::string currentText;
        std::optional<TextRange> selectedRange;
        std::optional<std::string> placeholder;
    };

    FieldState readFieldState(const ElementRef& element);
    bool choosesEventPath(const FieldState& state, const std::optional<TargetApplicationInfo>& application) const;
    void logTarget(const std::optional<TargetApplicationInfo>& application, const FieldState& state,
                   bool eventPath) const;

    std::expected<void, TextInsertionError> insertViaEvents(const ElementRef& element, const FieldState& state,
                                                            const std::optional<TargetApplicationInfo>& application,
                                                            const std::string& workingText, bool submit);
    std::expected<void, TextInsertionError> insertViaAccessibility(const ElementRef& element,
                                                                   const FieldState& state,
                                                                   const std::string& workingText);
    long insertionPosition(const ElementRef& element, const FieldState& state, bool& rangeKnown);

    bool trySimulateTyping(const std::string& text);
    bool trySimulateTypingCharacterByCharacter(const std::string& text, bool submitAfterInsert);
    bool tryPasteAction(const ElementRef& element, const std::string& text);
    bool verifyInsertion(const ElementRef& element, const std::string& expectedText, long at,
                         const std::string& originalText);

    Accessibility& accessibility_;
    SyntheticKeyboard& keyboard_;
    Pasteboard& pasteboard_;
    RunningApplications& applications_;
    Pacer& pacer_;
    Scheduler& mainQueue_;
    const SettingsManager& settings_;
    Logger logger_;
    FocusedElementSearch search_;
};

}  // namespace quillon
