#pragma once

#include <expected>
#include <functional>
#include <optional>
#include <string>

#include "core/insertion/FocusedTextTarget.h"
#include "core/insertion/TextInsertionError.h"

namespace quillon {

// What became of a text handed to insertion.
enum class InsertionOutcome {
    inserted,
    // The bound field did not have the focus; nothing was inserted and the text is the caller's again.
    focusElsewhere,
};

// What dictation needs of text insertion into other applications. Every call returns at once;
// the work runs on insertion's own worker, which may wait on other applications, and each
// completion is posted back to the main queue. Calls are served one after another in the order
// they were made.
//
// Threads: call on the main thread; completions run there.
class TextInsertion {
public:
    using TargetResult = std::expected<FocusedTextTarget, TextInsertionError>;
    using InsertionResult = std::expected<InsertionOutcome, TextInsertionError>;

    virtual ~TextInsertion() = default;

    // Binds a recording to the element focused now.
    virtual void captureFocusedTextTarget(std::function<void(TargetResult)> done) = 0;

    // Inserts into the element focused now, with the end-of-insertion separators of the settings.
    // With `onlyInto`, only while that field has the focus: otherwise nothing is inserted and the
    // outcome is `focusElsewhere`.
    virtual void insertText(std::string text, std::optional<FocusedTextTarget> onlyInto,
                            std::function<void(InsertionResult)> done) = 0;
};

}  // namespace quillon
