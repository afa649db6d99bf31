#include "fakes/FakeAccessibility.h"

#include <algorithm>

#include "core/insertion/TextOffsets.h"

namespace quillon::testing {

using quillon::ElementRef;
namespace offsets = quillon::textoffsets;

void FakeElement::typeAtCaret(const std::string& given) {
    const std::string typed = rewrite ? rewrite(given) : given;
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

std::shared_ptr<FakeElement> FakeElement::textField(std::string id, std::string content, quillon::AccessibilityRole role) {
    auto field = std::make_shared<FakeElement>(std::move(id), role);
    field->selection = quillon::TextRange{static_cast<long>(offsets::codePointCount(content)), 0};
    field->value = std::move(content);
    field->selectedTextSettable = true;
    field->focused = true;
    return field;
}

FakeElement& FakeAccessibility::of(const ElementRef& element) {
    return const_cast<FakeElement&>(dynamic_cast<const FakeElement&>(*element));
}

std::optional<std::string> FakeAccessibility::enableAccessibility() {
    if (!canEnable) return std::string("The accessibility bus does not answer");
    trusted = true;
    return std::nullopt;
}

ElementRef FakeAccessibility::applicationElement(int processIdentifier) {
    const auto it = applications.find(processIdentifier);
    return it == applications.end() ? nullptr : it->second;
}

ElementRef FakeAccessibility::focusedElement(const ElementRef& application) { return of(application).focusedElement; }

std::optional<std::vector<ElementRef>> FakeAccessibility::windows(const ElementRef& application) {
    return of(application).windows;
}
std::optional<std::vector<ElementRef>> FakeAccessibility::children(const ElementRef& element) {
    return of(element).children;
}
std::optional<std::vector<ElementRef>> FakeAccessibility::contents(const ElementRef& element) {
    return of(element).contents;
}
std::optional<quillon::AccessibilityRole> FakeAccessibility::role(const ElementRef& element) { return of(element).role; }

std::optional<std::string> FakeAccessibility::value(const ElementRef& element) {
    ++valueReads[of(element).id];
    return of(element).value;
}
std::optional<std::string> FakeAccessibility::text(const ElementRef& element) { return of(element).text; }
std::optional<quillon::TextRange> FakeAccessibility::selectedTextRange(const ElementRef& element) {
    return of(element).selection;
}
std::optional<std::string> FakeAccessibility::selectedText(const ElementRef& element) {
    return of(element).selectedText;
}
std::optional<long> FakeAccessibility::insertionPoint(const ElementRef& element) { return of(element).insertionPoint; }
std::optional<std::string> FakeAccessibility::placeholder(const ElementRef& element) { return of(element).placeholder; }
std::optional<bool> FakeAccessibility::isFocused(const ElementRef& element) { return of(element).focused; }

bool FakeAccessibility::isSelectedTextSettable(const ElementRef& element) { return of(element).selectedTextSettable; }

bool FakeAccessibility::setSelectedText(const ElementRef& element, const std::string& newText) {
    FakeElement& e = of(element);
    writes.push_back("setSelectedText " + e.id);
    if (!e.selectedTextSettable || !e.acceptsSelectedText) return false;
    if (!e.ignoresWrites) e.typeAtCaret(newText);
    return true;
}

bool FakeAccessibility::setSelectedTextRange(const ElementRef& element, quillon::TextRange range) {
    FakeElement& e = of(element);
    writes.push_back("setRange " + e.id + " " + std::to_string(range.location));
    if (!e.acceptsRange) return false;
    if (!e.ignoresWrites) e.selection = range;
    return true;
}

bool FakeAccessibility::setValue(const ElementRef& element, const std::string& newValue) {
    FakeElement& e = of(element);
    writes.push_back("setValue " + e.id);
    if (!e.acceptsValue) return false;
    if (!e.ignoresWrites) e.value = newValue;
    return true;
}

bool FakeAccessibility::setFocused(const ElementRef& element) {
    FakeElement& e = of(element);
    writes.push_back("focus " + e.id);
    e.focused = true;
    return true;
}

bool FakeAccessibility::hasAction(const ElementRef& element, quillon::ElementAction action) {
    return of(element).actions.contains(action);
}

bool FakeAccessibility::performAction(const ElementRef& element, quillon::ElementAction action) {
    FakeElement& e = of(element);
    writes.push_back((action == quillon::ElementAction::paste ? "paste " : "press ") + e.id);
    if (!e.actions.contains(action)) return false;
    if (action == quillon::ElementAction::paste) {
        if (!e.pasteSucceeds) return false;
        if (pasteSource && !e.ignoresWrites) e.typeAtCaret(pasteSource());
    }
    return true;
}

std::optional<int> FakeAccessibility::processIdentifier(const ElementRef& element) {
    return of(element).processIdentifier;
}

std::string FakeAccessibility::identity(const ElementRef& element) { return of(element).id; }

}  // namespace quillon::testing
