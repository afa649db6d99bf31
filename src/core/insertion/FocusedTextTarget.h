#pragma once

#include "core/ports/AccessibilityElement.h"

namespace quillon {

// The text element chosen when a recording starts, and the process that owns it (always > 0).
struct FocusedTextTarget {
    ElementRef element;
    int processIdentifier = 0;
};

}  // namespace quillon
