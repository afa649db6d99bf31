#include "fakes/FakeTextInsertion.h"

namespace quillon::testing {

namespace {
const FakeTextElement* asField(const quillon::ElementRef& element) {
    return dynamic_cast<const FakeTextElement*>(element.get());
}
}  // namespace

std::expected<quillon::FocusedTextTarget, quillon::TextInsertionError> FakeTextInsertion::captureFocusedTextTarget() {
    ++captureCount;
    note(journal, "insertion.captureFocusedTextTarget");
    if (captureFailure) return std::unexpected(*captureFailure);
    if (!focused) return std::unexpected(quillon::TextInsertionError::noFocusedElement);
    return quillon::FocusedTextTarget{focused, focused->processIdentifier};
}

std::optional<int> FakeTextInsertion::processIdentifier(const quillon::ElementRef& element) {
    const FakeTextElement* field = asField(element);
    if (!field || !field->processReadable) return std::nullopt;
    return field->processIdentifier;
}

bool FakeTextInsertion::isSameElement(const quillon::ElementRef& a, const quillon::ElementRef& b) {
    ++focusQueries;
    const FakeTextElement* first = asField(a);
    const FakeTextElement* second = asField(b);
    return first && second && first->name == second->name && first->processIdentifier == second->processIdentifier;
}

std::expected<void, quillon::TextInsertionError> FakeTextInsertion::insertText(const std::string& text) {
    note(journal, "insertion.insertText(" + text + ")");
    if (insertFailure) return std::unexpected(*insertFailure);
    insertions.push_back({focused ? focused->name : std::string(), text});
    return {};
}

std::vector<std::string> FakeTextInsertion::insertedTexts() const {
    std::vector<std::string> texts;
    for (const auto& insertion : insertions) texts.push_back(insertion.text);
    return texts;
}

}  // namespace quillon::testing
