#pragma once

#include <string>

namespace quillon {

enum class TextInsertionError { accessibilityNotGranted, noFocusedElement, insertionFailed };

inline std::string description(TextInsertionError error) {
    switch (error) {
        case TextInsertionError::accessibilityNotGranted: return "Accessibility permission not granted";
        case TextInsertionError::noFocusedElement: return "No focused text element found";
        case TextInsertionError::insertionFailed: return "Failed to insert text into focused element";
    }
    return "Failed to insert text into focused element";
}

}  // namespace quillon
