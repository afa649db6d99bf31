#include "ui/AnchoredPopup.h"

#include <QScreen>

#include <algorithm>

namespace quillon {

AnchoredPopup::AnchoredPopup(const QString& accessibleName, int width, QWidget* parent)
    : QFrame(parent, Qt::Popup) {
    setAccessibleName(accessibleName);
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
}

}  // namespace quillon
