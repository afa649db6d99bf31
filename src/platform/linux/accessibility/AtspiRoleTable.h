#pragma once

#include <atspi/atspi.h>

#include "core/ports/Accessibility.h"

namespace quillon {

// The one place where AT-SPI roles become the roles the insertion logic knows. Toolkits give a
// GTK entry and a text view (or a Qt line edit and text edit) the same role, "text", and tell
// them apart by the multi-line state, so that state takes part.
AccessibilityRole accessibilityRoleFor(AtspiRole role, bool multiLine);

}  // namespace quillon
