#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/insertion/TextInsertion.h"
#include "fakes/CallJournal.h"

namespace quillon::testing {

// A text field of some application. Two references with the same name and process are the
// same element, as two accessibility references to one field are.
struct FakeTextElement final : quillon::AccessibilityElement {
    FakeTextElement(std::string elementName, int owner) : name(std::move(elementName)), processIdentifier(owner) {}

    std::string name;
    int processIdentifier;
    bool processReadable = true;  // false: the owning process cannot be read (it quit)
};

// The desktop as far as text insertion sees it: which field has the focus (tests move it), what
// was inserted where ("field: text"), and insertion failures on demand.
class FakeTextInsertion final : public quillon::TextInsertion {
public:
    static std::shared_ptr<FakeTextElement> field(std::string name, int processIdentifier) {
        return std::make_shared<FakeTextElement>(std::move(name), processIdentifier);
    }

    std::expected<quillon::FocusedTextTarget, quillon::TextInsertionError> captureFocusedTextTarget() override {
        note(journal, "insertion.captureFocusedTextTarget");
        if (!focused) return std::unexpected(quillon::TextInsertionError::noFocusedElement);
        return quillon::FocusedTextTarget{focused, focused->processIdentifier};
    }
    quillon::ElementRef focusedInsertionElement() override { return focused; }
    std::optional<int> processIdentifier(const quillon::ElementRef& element) override {
        const auto* field = dynamic_cast<const FakeTextElement*>(element.get());
        return field && field->processReadable ? std::optional(field->processIdentifier) : std::nullopt;
    }
    bool isSameElement(const quillon::ElementRef& a, const quillon::ElementRef& b) override {
        const auto* first = dynamic_cast<const FakeTextElement*>(a.get());
        const auto* second = dynamic_cast<const FakeTextElement*>(b.get());
        return first && second && first->name == second->name && first->processIdentifier == second->processIdentifier;
    }
    std::expected<void, quillon::TextInsertionError> insertText(const std::string& text) override {
        if (insertFailure) return std::unexpected(*insertFailure);
        insertions.push_back((focused ? focused->name : std::string()) + ": " + text);
        return {};
    }

    std::shared_ptr<FakeTextElement> focused;
    std::optional<quillon::TextInsertionError> insertFailure;  // when set, every insertion fails
    std::vector<std::string> insertions;
    CallJournal* journal = nullptr;
};

}  // namespace quillon::testing
