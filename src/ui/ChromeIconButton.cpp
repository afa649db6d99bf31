#include "ui/ChromeIconButton.h"

#include <QPainter>
#include <QPainterPath>

namespace quillon {

namespace {

QColor withAlpha(QColor color, qreal alpha) {
    color.setAlphaF(static_cast<float>(alpha));
    return color;
}

// The icon drawn in one colour, as symbolic icons are.
QPixmap tinted(const QIcon& icon, int size, qreal ratio, const QColor& color) {
    QPixmap pixmap = icon.pixmap(QSize(size, size), ratio);
    QPainter painter(&pixmap);
    painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
    painter.fillRect(pixmap.rect(), color);
    return pixmap;
}

}  // namespace

ChromeIconButton::ChromeIconButton(ThemeIcon icon, int height, QWidget* parent)
    : QAbstractButton(parent), icon_(themeIcon(icon)), height_(height) {
    setAttribute(Qt::WA_Hover);
    setFocusPolicy(Qt::TabFocus);
    setFixedSize(sizeHint());
}

void ChromeIconButton::setIcon(ThemeIcon icon) {
    icon_ = themeIcon(icon);
    update();
}

void ChromeIconButton::setHelpText(const QString& text) {
    setToolTip(text);
    if (!hasLabel_) setAccessibleName(text);
}

void ChromeIconButton::setAccessibleLabel(const QString& label) {
    hasLabel_ = true;
    setAccessibleName(label);
}

void ChromeIconButton::setAccessibleValue(const QString& value) {
    setAccessibleDescription(value);
}

void ChromeIconButton::setForeground(std::optional<QColor> color) {
    foreground_ = std::move(color);
    update();
}

void ChromeIconButton::setBackground(std::optional<QColor> color) {
    background_ = std::move(color);
    update();
}

void ChromeIconButton::setBadge(bool shown) {
    badge_ = shown;
    update();
}

void ChromeIconButton::setLiveDot(bool shown) {
    liveDot_ = shown;
    update();
}

QSize ChromeIconButton::sizeHint() const {
    return {width, height_};
}

void ChromeIconButton::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QColor primary = palette().color(QPalette::WindowText);
    const bool pressed = isDown();
    const bool hovering = isEnabled() && underMouse();

    const QRectF frame = QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5);
    QPainterPath shape;
    shape.addRoundedRect(frame, 6, 6);
    QColor fill = pressed       ? withAlpha(primary, 0.13)
                  : background_ ? *background_
                  : hovering    ? withAlpha(primary, 0.09)
                                : withAlpha(primary, 0.001);  // the whole square takes clicks
    painter.fillPath(shape, fill);
    painter.setPen(QPen(withAlpha(primary, 0.1), 0.5));
    painter.drawPath(shape);
    if (hasFocus()) {
        painter.setPen(QPen(palette().color(QPalette::Highlight), 1.5));
        painter.drawPath(shape);
    }

    const int iconSize = std::min(16, height_ - 8);
    QColor color = foreground_.value_or(primary);
    if (!isEnabled()) color = withAlpha(color, 0.35);
    const QPixmap pixmap = tinted(icon_, iconSize, devicePixelRatioF(), color);
    painter.setOpacity(pressed ? 0.62 : 1.0);
    painter.drawPixmap(QRectF((width - iconSize) / 2.0, (height_ - iconSize) / 2.0, iconSize, iconSize),
                       pixmap, QRectF(pixmap.rect()));
    painter.setOpacity(1.0);

    if (liveDot_) {
        painter.setPen(Qt::NoPen);
        painter.setBrush(QColor(0xe5, 0x39, 0x35));
        painter.drawEllipse(QRectF(width - 3 - 5, 3, 5, 5));
    }
    if (badge_) {
        const QPixmap mark = tinted(themeIcon(ThemeIcon::warningBadge), 9, devicePixelRatioF(),
                                    palette().color(QPalette::PlaceholderText));
        painter.drawPixmap(QRectF(width - 9, 0, 9, 9), mark, QRectF(mark.rect()));
    }
}

}  // namespace quillon
