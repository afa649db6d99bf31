#include "ui/live/PaneHeader.h"

#include <QHBoxLayout>
#include <QLabel>

namespace quillon {

PaneHeader::PaneHeader(ThemeIcon icon, const QString& title, std::initializer_list<QWidget*> controls,
                       QWidget* parent)
    : QWidget(parent) {
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(2, 0, 0, 0);
    layout->setSpacing(4);
    auto* glyph = new QLabel;
    glyph->setPixmap(themeIcon(icon).pixmap(14, 14));
    auto* word = new QLabel(title);
    QFont bold = word->font();
    bold.setBold(true);
    word->setFont(bold);
    layout->addWidget(glyph);
    layout->addWidget(word);
    layout->addStretch(1);
    for (QWidget* control : controls) layout->addWidget(control);
    setFixedHeight(28);
}

}  // namespace quillon
