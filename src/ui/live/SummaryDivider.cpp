#include "ui/live/SummaryDivider.h"

#include <QMouseEvent>
#include <QPainter>

namespace quillon {

SummaryDivider::SummaryDivider(QWidget* parent) : QWidget(parent) {
    setFixedWidth(12);
    setCursor(Qt::SplitHCursor);
    setToolTip(QStringLiteral("Drag to resize the summary"));
    setAccessibleName(QStringLiteral("Drag to resize the summary"));
}

void SummaryDivider::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    QColor line = palette().color(QPalette::WindowText);
    line.setAlphaF(0.14F);
    painter.fillRect(QRectF(width() / 2.0 - 0.5, 0, 1, height()), line);
}

void SummaryDivider::mousePressEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton) pressX_ = event->globalPosition().toPoint().x();
}

void SummaryDivider::mouseMoveEvent(QMouseEvent* event) {
    if (pressX_ && onDrag) onDrag(event->globalPosition().toPoint().x() - *pressX_);
}

void SummaryDivider::mouseReleaseEvent(QMouseEvent*) {
    if (!pressX_) return;
    pressX_.reset();
    if (onDragEnd) onDragEnd();
}

}  // namespace quillon
