#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/base/Scheduler.h"
#include "core/insertion/TextInsertion.h"
#include "fakes/CallJournal.h"

namespace quillon::testing {

// A text field of some application. Two references with the same name and process are the
// same element, as two accessibility references to one field are.
struct FakeTextElement final : quillon::AccessibilityElement {
    FakeTextElement(std::string elementName, int owner) : name(std::move(elementName)), processIdentifier(owner) {}

    std::string name;
    int processIdentifier;
};

// The desktop as far as text insertion sees it: which field has the focus (tests move it), what
// was inserted where ("field: text"), and insertion failures on demand. Each call runs as a task
// on `worker` and its completion is posted to `main`, as with the real worker.
class FakeTextInsertion final : public quillon::TextInsertion {
public:
    FakeTextInsertion(quillon::Scheduler& main, quillon::Scheduler& worker) : main_(main), worker_(worker) {}

    static std::shared_ptr<FakeTextElement> field(std::string name, int processIdentifier) {
        return std::make_shared<FakeTextElement>(std::move(name), processIdentifier);
    }

    void captureFocusedTextTarget(std::function<void(TargetResult)> done) override {
        note(journal, "insertion.captureFocusedTextTarget");
        run([this]() -> TargetResult {
            if (!focused) return std::unexpected(quillon::TextInsertionError::noFocusedElement);
            return quillon::FocusedTextTarget{focused, focused->processIdentifier};
        }, std::move(done));
    }

    void insertText(std::string text, std::optional<quillon::FocusedTextTarget> onlyInto,
                    std::function<void(InsertionResult)> done) override {
        run([this, text = std::move(text), onlyInto = std::move(onlyInto)]() -> InsertionResult {
            if (onlyInto && !hasFocus(*onlyInto)) return quillon::InsertionOutcome::focusElsewhere;
            if (insertFailure) return std::unexpected(*insertFailure);
            insertions.push_back((focused ? focused->name : std::string()) + ": " + text);
            return quillon::InsertionOutcome::inserted;
        }, std::move(done));
    }

    std::shared_ptr<FakeTextElement> focused;
    std::optional<quillon::TextInsertionError> insertFailure;  // when set, every insertion fails
    std::vector<std::string> insertions;
    CallJournal* journal = nullptr;

private:
    // The same element of the same process, read as the real inserter reads it.
    bool hasFocus(const quillon::FocusedTextTarget& target) const {
        const auto* bound = dynamic_cast<const FakeTextElement*>(target.element.get());
        return focused && bound && focused->processIdentifier == target.processIdentifier &&
               focused->name == bound->name && focused->processIdentifier == bound->processIdentifier;
    }

    template <typename Work, typename Done>
    void run(Work work, Done done) {
        worker_.post([this, work = std::move(work), done = std::move(done)]() mutable {
            main_.post([result = work(), done = std::move(done)]() mutable { done(std::move(result)); });
        });
    }

    quillon::Scheduler& main_;
    quillon::Scheduler& worker_;
};

}  // namespace quillon::testing
