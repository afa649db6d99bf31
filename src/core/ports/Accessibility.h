#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/ports/AccessibilityElement.h"

namespace quillon {

// The kinds of element the insertion logic tells apart. The adapter maps its platform's roles
// onto these in one table; anything else is `other`.
enum class AccessibilityRole {
    textField,      // single-line entry
    passwordField,  // an entry whose text is hidden; never read into logs
    textArea,       // multi-line editable text
    staticText,     // paragraph, label, static text
    webArea,        // a web document
    group,          // panel, section, filler
    scrollArea,     // scroll pane, viewport
    window,
    application,
    other,
};

constexpr std::string_view roleName(AccessibilityRole role) {
    switch (role) {
        case AccessibilityRole::textField: return "textField";
        case AccessibilityRole::passwordField: return "passwordField";
        case AccessibilityRole::textArea: return "textArea";
        case AccessibilityRole::staticText: return "staticText";
        case AccessibilityRole::webArea: return "webArea";
        case AccessibilityRole::group: return "group";
        case AccessibilityRole::scrollArea: return "scrollArea";
        case AccessibilityRole::window: return "window";
        case AccessibilityRole::application: return "application";
        case AccessibilityRole::other: return "other";
    }
    return "other";
}

// A selection or caret in an element's text. Offsets count Unicode code points, as the
// accessibility bus does; a caret is a range of length 0.
struct TextRange {
    long location = 0;
    long length = 0;
    friend bool operator==(const TextRange&, const TextRange&) = default;
};

enum class ElementAction { press, paste };

// Another application's user interface, seen through the desktop's accessibility service.
// Every read may fail at any time, because the other application owns the element: a failed
// read is an absent result, never an exception. Calls block on the other application, each for
// a bounded time (the adapter's time-out).
//
// Threads: any thread; the adapter serialises calls.
class Accessibility {
public:
    virtual ~Accessibility() = default;

    // Whether the accessibility service answers and is switched on for this session.
    virtual bool isProcessTrusted() = 0;
    // Switches the accessibility service on for the session. The error is a sentence for the log.
    virtual std::optional<std::string> enableAccessibility() = 0;

    // The element that has the keyboard focus anywhere on the desktop.
    virtual ElementRef systemWideFocusedElement() = 0;
    // The application that has the keyboard focus.
    virtual ElementRef focusedApplication() = 0;
    // The application element of a running process, or null when it has none.
    virtual ElementRef applicationElement(int processIdentifier) = 0;
    // The focused element inside an application.
    virtual ElementRef focusedElement(const ElementRef& application) = 0;

    virtual std::optional<std::vector<ElementRef>> windows(const ElementRef& application) = 0;
    virtual std::optional<std::vector<ElementRef>> children(const ElementRef& element) = 0;
    // Further elements an element presents besides its children (embedded documents and the
    // like); most platforms have none.
    virtual std::optional<std::vector<ElementRef>> contents(const ElementRef&) { return std::nullopt; }

    virtual std::optional<AccessibilityRole> role(const ElementRef& element) = 0;

    // The element's text as a whole.
    virtual std::optional<std::string> value(const ElementRef& element) = 0;
    // A second text some elements offer when they have no value of their own.
    virtual std::optional<std::string> text(const ElementRef&) { return std::nullopt; }
    virtual std::optional<TextRange> selectedTextRange(const ElementRef& element) = 0;
    virtual std::optional<std::string> selectedText(const ElementRef& element) = 0;
    virtual std::optional<long> insertionPoint(const ElementRef& element) = 0;
    // The hint shown in an empty field.
    virtual std::optional<std::string> placeholder(const ElementRef& element) = 0;
    // Absent when the focus state cannot be read.
    virtual std::optional<bool> isFocused(const ElementRef& element) = 0;

    // Whether the selected text can be replaced by writing it.
    virtual bool isSelectedTextSettable(const ElementRef& element) = 0;
    virtual bool setSelectedText(const ElementRef& element, const std::string& text) = 0;
    virtual bool setSelectedTextRange(const ElementRef& element, TextRange range) = 0;
    virtual bool setValue(const ElementRef& element, const std::string& value) = 0;
    virtual bool setFocused(const ElementRef& element) = 0;

    virtual bool hasAction(const ElementRef& element, ElementAction action) = 0;
    virtual bool performAction(const ElementRef& element, ElementAction action) = 0;

    virtual std::optional<int> processIdentifier(const ElementRef& element) = 0;
    // A key that is equal for two references exactly when they name the same element.
    virtual std::string identity(const ElementRef& element) = 0;
};

}  // namespace quillon
