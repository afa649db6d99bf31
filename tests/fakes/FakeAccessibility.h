#pragma once

#include <algorithm>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "core/base/Unicode.h"
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
    std::optional<std::string> value, text, selectedText, placeholder;
    std::optional<quillon::TextRange> selection;
    std::optional<long> insertionPoint;
    std::optional<bool> focused;
    std::set<quillon::ElementAction> actions;
    std::optional<std::vector<quillon::ElementRef>> children, contents, windows;
    quillon::ElementRef focusedElement;  // for application elements

    bool selectedTextSettable = false;
    // Writes report success but leave the text as it was (an application that ignores them).
    bool ignoresWrites = false;

    // What a key press does to a text field: the text replaces the selection.
    void typeAtCaret(const std::string& typed) {
        namespace offsets = quillon::unicode;
        std::string content = value.value_or("");
        const auto length = static_cast<long>(offsets::codePointCount(content));
        quillon::TextRange range = selection.value_or(quillon::TextRange{length, 0});
        range.location = std::clamp(range.location, 0L, length);
        range.length = std::clamp(range.length, 0L, length - range.location);
        const auto start = offsets::byteOffsetOfCodePoint(content, static_cast<std::size_t>(range.location));
        const auto end = offsets::byteOffsetOfCodePoint(content, static_cast<std::size_t>(range.location + range.length));
        content.replace(start, end - start, typed);
        value = content;
        selection = quillon::TextRange{range.location + static_cast<long>(offsets::codePointCount(typed)), 0};
    }

    // An editable, focused text field holding `content` with the caret at its end.
    static std::shared_ptr<FakeElement> textField(std::string id, std::string content,
                                                  quillon::AccessibilityRole role = quillon::AccessibilityRole::textField) {
        auto field = std::make_shared<FakeElement>(std::move(id), role);
        field->selection = quillon::TextRange{static_cast<long>(quillon::unicode::codePointCount(content)), 0};
        field->value = std::move(content);
        field->selectedTextSettable = true;
        field->focused = true;
        return field;
    }
};

// The desktop's accessibility service, made of FakeElements. Records each write and action.
class FakeAccessibility final : public quillon::Accessibility {
    using Ref = quillon::ElementRef;
    using Refs = std::optional<std::vector<Ref>>;

public:
    static FakeElement& of(const Ref& element) {
        return const_cast<FakeElement&>(dynamic_cast<const FakeElement&>(*element));
    }

    bool isProcessTrusted() override { return trusted; }
    std::optional<std::string> enableAccessibility() override {
        if (enableFailure) return enableFailure;
        trusted = trusted || enableSwitchesOn;
        return std::nullopt;
    }
    Ref systemWideFocusedElement() override { return systemFocus; }
    Ref focusedApplication() override { return focusedApp; }
    Ref applicationElement(int pid) override { return applications.contains(pid) ? applications[pid] : nullptr; }
    Ref focusedElement(const Ref& application) override { return of(application).focusedElement; }
    Refs windows(const Ref& application) override { return of(application).windows; }
    Refs children(const Ref& element) override { return of(element).children; }
    Refs contents(const Ref& element) override { return of(element).contents; }
    std::optional<quillon::AccessibilityRole> role(const Ref& element) override { return of(element).role; }
    std::optional<std::string> value(const Ref& element) override {
        ++valueReads[of(element).id];
        return of(element).value;
    }
    std::optional<std::string> text(const Ref& element) override { return of(element).text; }
    std::optional<quillon::TextRange> selectedTextRange(const Ref& element) override { return of(element).selection; }
    std::optional<std::string> selectedText(const Ref& element) override { return of(element).selectedText; }
    std::optional<long> insertionPoint(const Ref& element) override { return of(element).insertionPoint; }
    std::optional<std::string> placeholder(const Ref& element) override { return of(element).placeholder; }
    std::optional<bool> isFocused(const Ref& element) override { return of(element).focused; }
    bool isSelectedTextSettable(const Ref& element) override { return of(element).selectedTextSettable; }
    bool setSelectedText(const Ref& element, const std::string& newText) override {
        FakeElement& e = record("setSelectedText", element);
        if (!e.selectedTextSettable) return false;
        if (!e.ignoresWrites) e.typeAtCaret(newText);
        return true;
    }
    bool setSelectedTextRange(const Ref& element, quillon::TextRange range) override {
        FakeElement& e = record("setRange", element, " " + std::to_string(range.location));
        if (!e.ignoresWrites) e.selection = range;
        return true;
    }
    bool setValue(const Ref& element, const std::string& newValue) override {
        FakeElement& e = record("setValue", element);
        if (!e.ignoresWrites) e.value = newValue;
        return true;
    }
    bool setFocused(const Ref& element) override {
        record("focus", element).focused = true;
        return true;
    }
    bool hasAction(const Ref& element, quillon::ElementAction action) override {
        return of(element).actions.contains(action);
    }
    bool performAction(const Ref& element, quillon::ElementAction action) override {
        const bool paste = action == quillon::ElementAction::paste;
        return record(paste ? "paste" : "press", element).actions.contains(action);
    }
    std::optional<int> processIdentifier(const Ref& element) override { return of(element).processIdentifier; }
    std::string identity(const Ref& element) override { return of(element).id; }

    bool trusted = true;
    std::optional<std::string> enableFailure;  // enableAccessibility() fails with this
    bool enableSwitchesOn = true;  // false: it reports success, but trust stays as it was
    Ref systemFocus;
    Ref focusedApp;
    std::map<int, Ref> applications;
    // "setSelectedText id", "setValue id", "setRange id location", "focus id", "press id", "paste id".
    std::vector<std::string> writes;
    // How many times each element's value was read.
    std::map<std::string, int> valueReads;

private:
    FakeElement& record(const std::string& what, const Ref& element, const std::string& detail = "") {
        FakeElement& e = of(element);
        writes.push_back(what + " " + e.id + detail);
        return e;
    }
};

}  // namespace quillon::testing
