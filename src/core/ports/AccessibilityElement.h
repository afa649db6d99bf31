#pragma once

#include <memory>

namespace quillon {

// An opaque reference to a user interface element of another application, made and understood
// only by the accessibility adapter. Compare elements through the accessibility port, never by
// pointer: two references may name the same element.
class AccessibilityElement {
public:
    virtual ~AccessibilityElement() = default;
};

using ElementRef = std::shared_ptr<const AccessibilityElement>;

}  // namespace quillon
