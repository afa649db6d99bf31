#include "ui/AnchoredPopup.h"

#include <QKeyEvent>
#include <QScreen>

#include <algorithm>

namespace quillon {

namespace {

// How long after closing on a click outside a press on the anchor still counts as that click.
constexpr qint64 sameClickMilliseconds = 300;

}  // namespace

AnchoredPopup::AnchoredPopup(const QString& accessibleName, int width, QWidget* parent)
    : QFrame(parent, Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint) {
    setAccessibleName(accessibleName);
    setWindowTitle(accessibleName);
    setFrameShape(QFrame::StyledPanel);
    setFixedWidth(width);
}

void AnchoredPopup::showAt(QWidget* anchor) {
    adjustSize();
    QPoint position = anchor->mapToGlobal(QPoint(anchor->width() / 2 - width() / 2, anchor->height() + 4));
    if (const QScreen* screen = anchor->screen()) {
        const QRect area = screen->availableGeometry();
        position.setX(std::clamp(position.x(), area.left(), std::max(area.left(), area.right() - width())));
        if (position.y() + height() > area.bottom())
            position.setY(anchor->mapToGlobal(QPoint(0, 0)).y() - height() - 4);
    }
    move(position);
    show();
    raise();
    activateWindow();
}

void AnchoredPopup::toggleAt(QWidget* anchor) {
    if (isVisible()) {
        close();
        return;
    }
    if (closedByDeactivation_.isValid() && closedByDeactivation_.elapsed() < sameClickMilliseconds) return;
    showAt(anchor);
}

bool AnchoredPopup::event(QEvent* event) {
    if (event->type() == QEvent::WindowDeactivate && isVisible()) {
        closedByDeactivation_.start();
        close();
    }
    return QFrame::event(event);
}

void AnchoredPopup::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Escape) {
        close();
        return;
    }
    QFrame::keyPressEvent(event);
}

}  // namespace quillon
