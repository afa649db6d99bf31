#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "core/ports/Accessibility.h"

namespace quillon::testing {

// One element of the fake desktop. Every attribute is what the element answers; an absent
// optional is a read that fails. Text offsets are code points, as on the real bus.
struct FakeElement final : quillon::AccessibilityElement {
    explicit FakeElement(std::string elementId, std::optional<quillon::AccessibilityRole> elementRole = std::nullopt)
        : id(std::move(elementId)), role(elementRole) {}

    std::string id;
    std::optional<quillon::AccessibilityRole> role;
    std::optional<int> processIdentifier = 100;
    std::optional<std::string> value;
    std::optional<std::string> text;
    std::optional<quillon::TextRange> selection;
    std::optional<std::string> selectedText;
    std::optional<long> insertionPoint;
    std::optional<std::string> placeholder;
    std::optional<bool> focused;
    std::set<quillon::ElementAction> actions;
    std::optional<std::vector<quillon::ElementRef>> children;
    std::optional<std::vector<quillon::ElementRef>> contents;
    std::optional<std::vector<quillon::ElementRef>> windows;
    quillon::ElementRef focusedElement;  // for application elements

    bool selectedTextSettable = false;
    bool acceptsSelectedText = true;  // a settable write may still be refused
    bool acceptsValue = true;
    bool acceptsRange = true;
    // Writes report success but leave the text as it was (an application that ignores them).
    bool ignoresWrites = false;
    bool pasteSucceeds = true;
    // What the application makes of text it is given (drops a character, say); none keeps it.
    std::function<std::string(const std::string&)> rewrite;

    // What a key press or a paste does to a text field: the text replaces the selection.
    void typeAtCaret(const std::string& typed);

    // Convenience for tests: an editable text field holding `content` with the caret at its end.
    static std::shared_ptr<FakeElement> textField(std::string id, std::string content,
                                                  quillon::AccessibilityRole role = quillon::AccessibilityRole::textField);
};

// The desktop's accessibility service, made of FakeElements. Records each write and action.
class FakeAccessibility final : public quillon::Accessibility {
public:
    bool isProcessTrusted() override { return trusted; }
    std::optional<std::string> enableAccessibility() override;

    quillon::ElementRef systemWideFocusedElement() override { return systemFocus; }
    quillon::ElementRef focusedApplication() override { return focusedApp; }
    quillon::ElementRef applicationElement(int processIdentifier) override;
    quillon::ElementRef focusedElement(const quillon::ElementRef& application) override;
    std::optional<std::vector<quillon::ElementRef>> windows(const quillon::ElementRef& application) override;
    std::optional<std::vector<quillon::ElementRef>> children(const quillon::ElementRef& element) override;
    std::optional<std::vector<quillon::ElementRef>> contents(const quillon::ElementRef& element) override;
    std::optional<quillon::AccessibilityRole> role(const quillon::ElementRef& element) override;
    std::optional<std::string> value(const quillon::ElementRef& element) override;
    std::optional<std::string> text(const quillon::ElementRef& element) override;
    std::optional<quillon::TextRange> selectedTextRange(const quillon::ElementRef& element) override;
    std::optional<std::string> selectedText(const quillon::ElementRef& element) override;
    std::optional<long> insertionPoint(const quillon::ElementRef& element) override;
    std::optional<std::string> placeholder(const quillon::ElementRef& element) override;
    std::optional<bool> isFocused(const quillon::ElementRef& element) override;
    bool isSelectedTextSettable(const quillon::ElementRef& element) override;
    bool setSelectedText(const quillon::ElementRef& element, const std::string& text) override;
    bool setSelectedTextRange(const quillon::ElementRef& element, quillon::TextRange range) override;
    bool setValue(const quillon::ElementRef& element, const std::string& value) override;
    bool setFocused(const quillon::ElementRef& element) override;
    bool hasAction(const quillon::ElementRef& element, quillon::ElementAction action) override;
    bool performAction(const quillon::ElementRef& element, quillon::ElementAction action) override;
    std::optional<int> processIdentifier(const quillon::ElementRef& element) override;
    std::string identity(const quillon::ElementRef& element) override;

    static FakeElement& of(const quillon::ElementRef& element);

    bool trusted = true;
    bool canEnable = true;
    quillon::ElementRef systemFocus;
    quillon::ElementRef focusedApp;
    std::map<int, quillon::ElementRef> applications;
    // What a paste inserts: set by the test to the clipboard's current text.
    std::function<std::string()> pasteSource;

    // "setSelectedText id", "setValue id", "setRange id location", "focus id", "press id", "paste id".
    std::vector<std::string> writes;
    // How many times each element's value was read.
    std::map<std::string, int> valueReads;
};

}  // namespace quillon::testing
