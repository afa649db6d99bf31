#pragma once

#include <QFrame>

namespace quillon {

// A small popup window that hangs under the control that opened it, like a popover: it closes on
// a click outside or on Escape, and stays on the anchor's screen. GUI thread only.
class AnchoredPopup : public QFrame {
public:
    AnchoredPopup(const QString& accessibleName, int width, QWidget* parent);

    // Shows the popup under `anchor`, moved left or above where the screen ends.
    void showAt(QWidget* anchor);
};

}  // namespace quillon
