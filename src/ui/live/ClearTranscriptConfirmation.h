#pragma once

#include <functional>

#include "ui/AnchoredPopup.h"

namespace quillon {

// Asks before the transcript and its summary are thrown away. Escape or "Cancel" only closes it;
// Return clears. GUI thread only.
class ClearTranscriptConfirmation : public AnchoredPopup {
public:
    explicit ClearTranscriptConfirmation(QWidget* parent);

    std::function<void()> onClear;
};

}  // namespace quillon
