#pragma once

#include <string>

#include "core/insertion/FocusedTextTarget.h"

namespace quillon {

// The text of one dictation on its way into a field: bound to the field focused at the start,
// holding what could not be inserted yet.
struct InsertionDelivery {
    FocusedTextTarget target;
    std::string pendingText;
    // True until the recording has completed; until then text goes only into `target`.
    bool isRecording = true;
};

}  // namespace quillon
