#pragma once

#include <memory>
#include <ostream>
#include <optional>
#include <string>
#include <vector>

#include "core/insertion/TextInsertion.h"
#include "fakes/CallJournal.h"

namespace quillon::testing {

// A text field of some application. Two references with the same name and process are the
// same element, as two accessibility references to one field are.
class FakeTextElement final : public quillon::AccessibilityElement {
public:
    FakeTextElement(std::string elementName, int owner) : name(std::move(elementName)), processIdentifier(owner) {}

    std::string name;
    int processIdentifier;
    bool processReadable = true;  // false: the owning process cannot be read (it quit)
};

// The desktop as far as text insertion sees it: which field has the focus (tests move it), what
// was inserted where, and failures on demand.
class FakeTextInsertion final : public quillon::TextInsertion {
public:
    struct Insertion {
        std::string field;  // the name of the field focused at the time, empty when none
        std::string text;
        bool operator==(const Insertion&) const = default;
        friend std::ostream& operator<<(std::ostream& out, const Insertion& insertion) {
            return out << insertion.field << ": \"" << insertion.text << "\"";
        }
    };

    static std::shared_ptr<FakeTextElement> makeField(std::string name, int processIdentifier) {
        return std::make_shared<FakeTextElement>(std::move(name), processIdentifier);
    }

    std::expected<quillon::FocusedTextTarget, quillon::TextInsertionError> captureFocusedTextTarget() override;
    quillon::ElementRef focusedInsertionElement() override { return focused; }
    std::optional<int> processIdentifier(const quillon::ElementRef& element) override;
    bool isSameElement(const quillon::ElementRef& a, const quillon::ElementRef& b) override;
    std::expected<void, quillon::TextInsertionError> insertText(const std::string& text) override;

    // Texts inserted so far, without where they went.
    std::vector<std::string> insertedTexts() const;

    std::shared_ptr<FakeTextElement> focused;
    std::optional<quillon::TextInsertionError> captureFailure;  // when set, capture fails
    std::optional<quillon::TextInsertionError> insertFailure;   // when set, every insert fails
    std::vector<Insertion> insertions;
    int captureCount = 0;
    int focusQueries = 0;
    CallJournal* journal = nullptr;
};

}  // namespace quillon::testing
