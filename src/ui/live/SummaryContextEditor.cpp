#include "ui/live/SummaryContextEditor.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace quillon {

SummaryContextEditor::SummaryContextEditor(QWidget* parent)
    : AnchoredPopup(QStringLiteral("Summary Context"), 340, parent),
      draft_(new QPlainTextEdit),
      clear_(new QPushButton(QStringLiteral("Clear"))) {
    auto* title = new QLabel(QStringLiteral("Summary Context"));
    QFont headline = title->font();
    headline.setBold(true);
    title->setFont(headline);
    auto* text =
        new QLabel(QStringLiteral("Paste background information, names, or terminology that will help Codex "
                                  "interpret the transcript."));
    text->setWordWrap(true);
    draft_->setMinimumHeight(150);
    draft_->setAccessibleName(QStringLiteral("Summary context"));
    auto* cancel = new QPushButton(QStringLiteral("Cancel"));
    auto* apply = new QPushButton(QStringLiteral("Apply"));
    apply->setDefault(true);

    connect(draft_, &QPlainTextEdit::textChanged, this,
            [this] { clear_->setVisible(!draft_->toPlainText().isEmpty()); });
    connect(clear_, &QPushButton::clicked, this, [this] { draft_->clear(); });
    connect(cancel, &QPushButton::clicked, this, &QWidget::close);
    connect(apply, &QPushButton::clicked, this, [this] {
        const QByteArray utf8 = draft_->toPlainText().toUtf8();
        close();
        if (onApply) onApply(std::string(utf8.constData(), static_cast<std::size_t>(utf8.size())));
    });

    auto* buttons = new QHBoxLayout;
    buttons->addWidget(clear_);
    buttons->addStretch();
    buttons->addWidget(cancel);
    buttons->addWidget(apply);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(14, 14, 14, 14);
    layout->addWidget(title);
    layout->addWidget(text);
    layout->addWidget(draft_);
    layout->addLayout(buttons);
    setFocusProxy(draft_);
}

void SummaryContextEditor::present(QWidget* anchor, const std::string& context) {
    draft_->setPlainText(QString::fromUtf8(context.data(), static_cast<qsizetype>(context.size())));
    clear_->setVisible(!context.empty());
    showAt(anchor);
    draft_->setFocus();
}

}  // namespace quillon
