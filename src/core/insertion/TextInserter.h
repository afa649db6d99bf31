#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "core/base/Scheduler.h"
#include "core/insertion/EventInsertionStrategy.h"
#include "core/insertion/FocusedElementSearch.h"
#include "core/insertion/TextInsertion.h"
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
// Threads: the main thread. insertText blocks it for the pauses of the ladder (through the
// Pacer, up to about 0.7 s plus the other application's answers); the clipboard is put back
// 0.1 s after a paste on `mainQueue`.
class TextInserter final : public TextInsertion {
public:
    TextInserter(Accessibility& accessibility, SyntheticKeyboard& keyboard, Pasteboard& pasteboard,
                 RunningApplications& applications, Pacer& pacer, Scheduler& mainQueue,
                 const SettingsManager& settings, Logger logger);

    std::expected<FocusedTextTarget, TextInsertionError> captureFocusedTextTarget() override;
    ElementRef focusedInsertionElement() override;
    std::optional<int> processIdentifier(const ElementRef& element) override;
    bool isSameElement(const ElementRef& a, const ElementRef& b) override;
    std::expected<void, TextInsertionError> insertText(const std::string& text) override;

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
                                                            const std::string& workingText);
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
