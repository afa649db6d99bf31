#include "ui/popover/PopoverRowButton.h"

#include <QEvent>
#include <QPainter>

namespace quillon {

namespace {
constexpr int trailingSize = 12;
constexpr int trailingMargin = 10;
}  // namespace

PopoverRowButton::PopoverRowButton(QWidget* parent) : QPushButton(parent) {
    setFlat(true);
    setFocusPolicy(Qt::StrongFocus);
    setIconSize(QSize(16, 16));
    setMinimumHeight(32);
    setStyleSheet(
        QStringLiteral("QPushButton { text-align: left; padding: 6px 28px 6px 8px; border-radius: 6px; }"
                       "QPushButton:hover, QPushButton:focus { background: palette(midlight); }"));
}

void PopoverRowButton::setTrailingIcon(const QIcon& icon) {
    trailing_ = icon;
    update();
}

void PopoverRowButton::changeEvent(QEvent* event) {
    // The fade is there only while disabled: an effect draws the row through an off-screen copy.
    if (event->type() == QEvent::EnabledChange) {
        if (isEnabled()) {
            setGraphicsEffect(nullptr);
        } else {
            auto* fade = new QGraphicsOpacityEffect(this);
            fade->setOpacity(disabledOpacity);
            setGraphicsEffect(fade);
        }
    }
    QPushButton::changeEvent(event);
}

void PopoverRowButton::paintEvent(QPaintEvent* event) {
    QPushButton::paintEvent(event);
    if (trailing_.isNull()) return;
    QPainter painter(this);
    const QRect box(width() - trailingMargin - trailingSize, (height() - trailingSize) / 2, trailingSize,
                    trailingSize);
    trailing_.paint(&painter, box);
}

}  // namespace quillon
