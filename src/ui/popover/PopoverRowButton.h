#pragma once

#include <QGraphicsOpacityEffect>
#include <QIcon>
#include <QPushButton>

namespace quillon {

// One full-width row of the popover: a symbol and a label on the left, optionally a trailing
// chevron on the right. Disabled, the whole row fades to 45 %. Its accessible name is its label.
class PopoverRowButton final : public QPushButton {
public:
    static constexpr double disabledOpacity = 0.45;

    explicit PopoverRowButton(QWidget* parent = nullptr);

    void setTrailingIcon(const QIcon& icon);
    double opacity() const {
        auto* fade = qobject_cast<QGraphicsOpacityEffect*>(graphicsEffect());
        return fade != nullptr ? fade->opacity() : 1.0;
    }

protected:
    void changeEvent(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    QIcon trailing_;
};

}  // namespace quillon
