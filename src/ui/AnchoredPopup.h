#pragma once

#include <QElapsedTimer>
#include <QFrame>

namespace quillon {

// A small window that hangs under the control that opened it, like a popover: it takes the
// keyboard, and closes on Escape or when anything else is activated (a click outside). It is a
// frameless tool window rather than a Qt popup, because popups are left out of the accessibility
// tree and a screen reader could not reach its buttons. GUI thread only.
class AnchoredPopup : public QFrame {
public:
    AnchoredPopup(const QString& accessibleName, int width, QWidget* parent);

    // Shows the popup under `anchor`, moved left or above where the screen ends.
    void showAt(QWidget* anchor);
    // Opens under `anchor`, or closes when open. A press on the anchor that has just closed the
    // popup by taking the activation away does not open it again.
    void toggleAt(QWidget* anchor);

protected:
    bool event(QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    QElapsedTimer closedByDeactivation_;
};

}  // namespace quillon
