#include "core/insertion/TextInserter.h"

#include <algorithm>

#include "core/insertion/EventPathApplications.h"
#include "core/insertion/GhostText.h"
#include "core/base/Unicode.h"

namespace quillon {

using std::chrono::milliseconds;


namespace {

std::string firstGraphemes(const std::string& text, std::size_t count) {
    const auto clusters = unicode::graphemes(text);
    if (clusters.size() <= count) return text;
    const auto end = static_cast<std::size_t>(clusters[count].data() - text.data());
    return text.substr(0, end);
}

// Whether `actual` is `original` with `expected` inserted at code point `at`, compared piece
// by piece so that a large document is not copied to build the expected value.
bool isExactInsertion(std::string_view actual, std::string_view expected, std::string_view original,
                      std::size_t atByte) {
    if (actual.size() != original.size() + expected.size()) return false;
    return actual.substr(0, atByte) == original.substr(0, atByte) &&
           actual.substr(atByte, expected.size()) == expected &&
           actual.substr(atByte + expected.size()) == original.substr(atByte);
}

}  // namespace

TextInserter::TextInserter(Accessibility& accessibility, SyntheticKeyboard& keyboard, Pasteboard& pasteboard,
                           RunningApplications& applications, Pacer& pacer, Scheduler& mainQueue,
                           const SettingsManager& settings, Logger logger)
    : accessibility_(accessibility),
      keyboard_(keyboard),
      pasteboard_(pasteboard),
      applications_(applications),
      pacer_(pacer),
      mainQueue_(mainQueue),
      settings_(settings),
      logger_(std::move(logger)),
      search_(accessibility, applications) {}

std::expected<FocusedTextTarget, TextInsertionError> TextInserter::captureFocusedTextTarget() {
    if (!accessibility_.isProcessTrusted()) return std::unexpected(TextInsertionError::accessibilityNotGranted);
    ElementRef element = focusedInsertionElement();
    if (!element) {
        logger_.error("No focused text element found to bind the recording");
        return std::unexpected(TextInsertionError::noFocusedElement);
    }
    const auto pid = accessibility_.processIdentifier(element);
    if (!pid || *pid <= 0) {
        logger_.error("Could not identify the focused text element's application");
        return std::unexpected(TextInsertionError::noFocusedElement);
    }
    return FocusedTextTarget{std::move(element), *pid};
}

ElementRef TextInserter::focusedInsertionElement() { return search_.focusedInsertionElement(); }

bool TextInserter::hasFocus(const FocusedTextTarget& target) {
    const ElementRef focused = focusedInsertionElement();
    if (!focused) return false;
    // An element whose process cannot be read counts as focus elsewhere.
    const std::optional<int> processIdentifier = accessibility_.processIdentifier(focused);
    if (!processIdentifier || *processIdentifier != target.processIdentifier) return false;
    return isSameElement(focused, target.element);
}

bool TextInserter::isSameElement(const ElementRef& a, const ElementRef& b) {
    if (!a || !b) return false;
    return a == b || accessibility_.identity(a) == accessibility_.identity(b);
}

std::expected<void, TextInsertionError> TextInserter::insertText(const std::string& text) {
    return insertText(text, Separators{settings_.appendSpaceAfterInsertion(), settings_.appendNewlineAfterInsertion()});
}

std::expected<void, TextInsertionError> TextInserter::insertText(const std::string& text, Separators separators) {
    if (!accessibility_.isProcessTrusted()) return std::unexpected(TextInsertionError::accessibilityNotGranted);

    std::string workingText = text;
    if (separators.space) workingText += ' ';
    if (separators.newline) workingText += '\n';

    const auto application = search_.currentFocusedApplicationInfo();
    const ElementRef element = search_.resolveInsertionElement();
    if (!element) {
        logger_.error("No focused text element found");
        return std::unexpected(TextInsertionError::noFocusedElement);
    }

    const FieldState state = readFieldState(element);
    const bool eventPath = choosesEventPath(state, application);
    logTarget(application, state, eventPath);
    return eventPath ? insertViaEvents(element, state, application, workingText, separators.newline)
                     : insertViaAccessibility(element, state, workingText);
}

TextInserter::FieldState TextInserter::readFieldState(const ElementRef& element) {
    FieldState state;
    state.role = accessibility_.role(element);
    state.selectedRange = accessibility_.selectedTextRange(element);
    state.placeholder = accessibility_.placeholder(element);
    if (state.placeholder && state.placeholder->empty()) state.placeholder.reset();
    // A password field's text is never read: it is typed into, not written and read back.
    if (state.role == AccessibilityRole::passwordField) return state;
    std::optional<std::string> rawValue = accessibility_.value(element);
    if (!rawValue) rawValue = accessibility_.text(element);
    state.currentText = GhostText::resolvedCurrentText(std::move(rawValue), state.placeholder);
    return state;
}

bool TextInserter::choosesEventPath(const FieldState& state,
                                    const std::optional<TargetApplicationInfo>& application) const {
    if (state.placeholder) return true;
    if (EventPathApplications::shouldUseEventBasedInsertion(application)) return true;
    return state.role == AccessibilityRole::webArea || state.role == AccessibilityRole::group ||
           state.role == AccessibilityRole::passwordField;
}

void TextInserter::logTarget(const std::optional<TargetApplicationInfo>& application, const FieldState& state,
                             bool eventPath) const {
    const std::string unknown = "<unknown>";
    std::string line = "Insertion target app=";
    line += application ? application->localizedName : unknown;
    line += " bundle=";
    line += application ? application->bundleIdentifier : unknown;
    line += " role=";
    line += state.role ? std::string(roleName(*state.role)) : unknown;
    line += eventPath ? " eventPath=true" : " eventPath=false";
    line += " placeholder=";
    line += state.placeholder ? firstGraphemes(*state.placeholder, 64) : std::string("<none>");
    logger_.info(line);
}

std::expected<void, TextInsertionError> TextInserter::insertViaEvents(
    const ElementRef& element, const FieldState& state, const std::optional<TargetApplicationInfo>& application,
    const std::string& workingText, bool submit) {
    const bool collapseSelection = state.selectedRange && state.selectedRange->length > 0;
    const EventInsertionStrategy strategy = EventPathApplications::eventInsertionStrategy(application);

    std::string textToSend = workingText;
    if (strategy == EventInsertionStrategy::perCharacterTyping && submit && textToSend.ends_with('\n')) {
        textToSend.pop_back();
    }

    if (collapseSelection) {
        // Typing would replace the selection; moving to its end keeps what the user selected.
        keyboard_.pressKey(SyntheticKey::rightArrow);
        pacer_.pause(milliseconds(20));
    }

    const bool typed = strategy == EventInsertionStrategy::perCharacterTyping
                           ? trySimulateTypingCharacterByCharacter(textToSend, submit)
                           : trySimulateTyping(textToSend);
    if (typed) {
        logger_.info("Inserted via event-based strategy " + std::string(strategyName(strategy)));
        return {};
    }
    if (tryPasteAction(element, textToSend)) {
        logger_.info("Inserted via AXPaste action");
        return {};
    }
    logger_.error("Event-based insertion path failed");
    return std::unexpected(TextInsertionError::insertionFailed);
}

long TextInserter::insertionPosition(const ElementRef& element, const FieldState& state, bool& rangeKnown) {
    const auto length = static_cast<long>(unicode::codePointCount(state.currentText));
    long position = length;
    rangeKnown = false;
    if (state.selectedRange) {
        position = state.selectedRange->location;
        rangeKnown = true;
    } else if (auto selected = accessibility_.selectedText(element); selected && !selected->empty()) {
        if (const auto at = state.currentText.find(*selected); at != std::string::npos) {
            position = static_cast<long>(unicode::codePointOffsetOfByte(state.currentText, at));
        }
    } else if (const auto point = accessibility_.insertionPoint(element)) {
        position = *point;
    }
    return std::clamp(position, 0L, length);
}

std::expected<void, TextInsertionError> TextInserter::insertViaAccessibility(const ElementRef& element,
                                                                             const FieldState& state,
                                                                             const std::string& workingText) {
    const std::string& current = state.currentText;
    bool rangeKnown = false;
    const long position = insertionPosition(element, state, rangeKnown);

    // Replace the (empty) selection at the insertion position.
    if (accessibility_.isSelectedTextSettable(element)) {
        if (!rangeKnown) accessibility_.setSelectedTextRange(element, TextRange{position, 0});
        if (accessibility_.setSelectedText(element, workingText)) {
            pacer_.pause(milliseconds(50));
            if (verifyInsertion(element, workingText, position, current)) return {};
        }
    }

    // Rewrite the whole value with the text spliced in.
    if (!state.placeholder) {
        const std::size_t atByte = unicode::byteOffsetOfCodePoint(current, static_cast<std::size_t>(position));
        std::string newValue;
        newValue.reserve(current.size() + workingText.size());
        newValue.append(current, 0, atByte).append(workingText).append(current, atByte);
        if (accessibility_.setValue(element, newValue)) {
            const auto caret = position + static_cast<long>(unicode::codePointCount(workingText));
            accessibility_.setSelectedTextRange(element, TextRange{caret, 0});
            pacer_.pause(milliseconds(100));
            if (verifyInsertion(element, workingText, position, current)) return {};
        }
    }

    // Last resort: bring the application forward, focus the field and type.
    if (const auto frontmost = applications_.frontmostProcessIdentifier()) {
        applications_.activate(*frontmost);
        pacer_.pause(milliseconds(50));
    }
    if (accessibility_.isFocused(element) == false) {
        accessibility_.setFocused(element);
        pacer_.pause(milliseconds(100));
    }
    if (accessibility_.hasAction(element, ElementAction::press)) {
        accessibility_.performAction(element, ElementAction::press);
        pacer_.pause(milliseconds(50));
    }
    if (trySimulateTyping(workingText)) {
        pacer_.pause(milliseconds(200));
        if (verifyInsertion(element, workingText, position, current)) return {};
    }

    logger_.error("Failed to insert text: all methods failed");
    return std::unexpected(TextInsertionError::insertionFailed);
}

bool TextInserter::trySimulateTyping(const std::string& text) {
    if (text.empty()) return true;
    return keyboard_.typeText(text);
}

bool TextInserter::trySimulateTypingCharacterByCharacter(const std::string& text, bool submitAfterInsert) {
    if (!text.empty()) {
        for (const std::string_view cluster : unicode::graphemes(text)) {
            if (!keyboard_.typeText(std::string(cluster))) return false;
            pacer_.pause(typingPace);
        }
        if (!submitAfterInsert) return true;
        pacer_.pause(milliseconds(30));
    } else if (!submitAfterInsert) {
        return true;
    }
    // A key press, not a line feed: in a chat input Return sends the message.
    keyboard_.pressKey(SyntheticKey::returnKey);
    return true;
}

bool TextInserter::tryPasteAction(const ElementRef& element, const std::string& text) {
    const std::optional<std::string> savedString = pasteboard_.string();
    const std::vector<std::string> savedTypes = pasteboard_.types();
    pasteboard_.clear();
    pasteboard_.setString(text);

    if (accessibility_.hasAction(element, ElementAction::paste)) {
        const bool pasted = accessibility_.performAction(element, ElementAction::paste);
        // The application fetches the clipboard when it handles the paste, so the user's
        // clipboard comes back a moment later. Only its text survives; other formats are offered
        // again without their data.
        mainQueue_.postAfter(clipboardRestoreDelay, [&pasteboard = pasteboard_, savedString, savedTypes] {
            pasteboard.clear();
            if (savedString) {
                pasteboard.setString(*savedString);
            } else if (!savedTypes.empty()) {
                pasteboard.declareTypes(savedTypes);
            }
        });
        return pasted;
    }
    // Without a paste action the user's text goes straight back; when there was none, the
    // dictated text stays on the clipboard where the user can still paste it by hand.
    if (savedString) pasteboard_.setString(*savedString);
    return false;
}

bool TextInserter::verifyInsertion(const ElementRef& element, const std::string& expectedText, long at,
                                   const std::string& originalText) {
    pacer_.pause(milliseconds(50));
    const std::size_t atByte = unicode::byteOffsetOfCodePoint(originalText, static_cast<std::size_t>(at));
    const auto passes = [&](const std::string& actual) {
        if (isExactInsertion(actual, expectedText, originalText, atByte)) return true;
        if (actual.find(expectedText) == std::string::npos) return false;
        // One character of slack: an application may swallow or merge one.
        const auto minimum = static_cast<long long>(unicode::graphemeCount(originalText)) +
                             static_cast<long long>(unicode::graphemeCount(expectedText)) - 1;
        return static_cast<long long>(unicode::graphemeCount(actual)) >= minimum;
    };
    if (const auto value = accessibility_.value(element); value && passes(*value)) return true;
    if (const auto text = accessibility_.text(element); text && passes(*text)) return true;
    return false;
}

}  // namespace quillon
