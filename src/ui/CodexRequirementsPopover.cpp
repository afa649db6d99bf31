#include "ui/CodexRequirementsPopover.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

#include "core/ports/UrlOpener.h"

namespace quillon {

CodexRequirementsPopover::CodexRequirementsPopover(UrlOpener& urls, QWidget* parent)
    : AnchoredPopup(QStringLiteral("AI Features Need Codex"), 330, parent) {
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(14, 14, 14, 14);
    auto* title = new QLabel(QStringLiteral("AI Features Need Codex"));
    QFont headline = title->font();
    headline.setBold(true);
    title->setFont(headline);
    auto* text =
        new QLabel(QStringLiteral("Install ChatGPT for Mac, which includes Codex, or install the Codex CLI "
                                  "and make the `codex` command "
                                  "available in PATH. Then sign in with your ChatGPT account."));
    text->setWordWrap(true);
    text->setForegroundRole(QPalette::PlaceholderText);
    QFont caption = text->font();
    caption.setPointSizeF(caption.pointSizeF() * 0.9);
    text->setFont(caption);

    auto* checkAgain = new QPushButton(QStringLiteral("Check Again"));
    auto* download = new QPushButton(QStringLiteral("Get ChatGPT for Mac"));
    download->setDefault(true);
    connect(checkAgain, &QPushButton::clicked, this, [this] {
        if (onCheckAgain) onCheckAgain();
    });
    connect(download, &QPushButton::clicked, this, [&urls] { (void)urls.open(downloadPage); });
    auto* buttons = new QHBoxLayout;
    buttons->addWidget(checkAgain);
    buttons->addWidget(download);
    buttons->addStretch();

    layout->addWidget(title);
    layout->addWidget(text);
    layout->addLayout(buttons);
}

}  // namespace quillon
