#pragma once

#include <QAbstractButton>
#include <QColor>

#include <optional>

#include "ui/ThemeIcons.h"

namespace quillon {

// The small square icon button of Quillon's panels: an icon centred in a frame 28 wide, in a
// rounded square with a faint outline that darkens under the pointer and while pressed. Its help
// text is its tool tip and, unless it has a label of its own, the name a screen reader says; a
// value (such as "Listening") is given to screen readers as its description. It may carry a
// warning badge, or a small red dot that says something is live. GUI thread only.
class ChromeIconButton : public QAbstractButton {
public:
    static constexpr int width = 28;

    explicit ChromeIconButton(ThemeIcon icon, int height = 28, QWidget* parent = nullptr);

    void setIcon(ThemeIcon icon);
    void setHelpText(const QString& text);
    QString helpText() const { return toolTip(); }
    // The name for screen readers when it is not the help text.
    void setAccessibleLabel(const QString& label);
    void setAccessibleValue(const QString& value);
    // The icon's colour; the palette's text colour when absent.
    void setForeground(std::optional<QColor> color);
    // A fill of its own in place of the hover fill.
    void setBackground(std::optional<QColor> color);
    void setBadge(bool shown);
    void setLiveDot(bool shown);

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QIcon icon_;
    int height_;
    bool hasLabel_ = false;
    std::optional<QColor> foreground_;
    std::optional<QColor> background_;
    bool badge_ = false;
    bool liveDot_ = false;
};

}  // namespace quillon
