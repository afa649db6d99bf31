#include "ui/live/ClearTranscriptConfirmation.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

namespace quillon {

ClearTranscriptConfirmation::ClearTranscriptConfirmation(QWidget* parent)
    : AnchoredPopup(QStringLiteral("Clear Transcript?"), 290, parent) {
    auto* title = new QLabel(QStringLiteral("Clear Transcript?"));
    QFont headline = title->font();
    headline.setBold(true);
    title->setFont(headline);
    auto* text =
        new QLabel(QStringLiteral("This removes the current transcript and summary and cannot be undone."));
    text->setWordWrap(true);
    auto* cancel = new QPushButton(QStringLiteral("Cancel"));
    auto* clear = new QPushButton(QStringLiteral("Clear Transcript"));
    clear->setDefault(true);
    clear->setAutoDefault(true);
    QPalette destructive = clear->palette();
    destructive.setColor(QPalette::ButtonText, QColor(0xc6, 0x28, 0x28));
    clear->setPalette(destructive);
    connect(cancel, &QPushButton::clicked, this, &QWidget::close);
    connect(clear, &QPushButton::clicked, this, [this] {
        close();
        if (onClear) onClear();
    });

    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(cancel);
    buttons->addWidget(clear);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(14, 14, 14, 14);
    layout->addWidget(title);
    layout->addWidget(text);
    layout->addLayout(buttons);
    setFocusProxy(clear);
}

}  // namespace quillon
