#pragma once

#include <expected>
#include <optional>
#include <string>

#include "core/insertion/FocusedTextTarget.h"
#include "core/insertion/TextInsertionError.h"

namespace quillon {

// What dictation needs of text insertion into other applications. TextInserter is the real one;
// every call is synchronous and may block its (main) thread on other applications.
class TextInsertion {
public:
    virtual ~TextInsertion() = default;

    // Binds a recording to the element focused now.
    virtual std::expected<FocusedTextTarget, TextInsertionError> captureFocusedTextTarget() = 0;

    // The element that would receive text now, or null.
    virtual ElementRef focusedInsertionElement() = 0;

    // The process owning `element`; absent when it cannot be read.
    virtual std::optional<int> processIdentifier(const ElementRef& element) = 0;

    // Whether two references name the same element of the same process.
    virtual bool isSameElement(const ElementRef& a, const ElementRef& b) = 0;

    // Inserts into the element focused now, with the end-of-insertion separators of the settings.
    virtual std::expected<void, TextInsertionError> insertText(const std::string& text) = 0;
};

}  // namespace quillon
