#include "ui/markdown/RichMarkdownView.h"

#include <QDesktopServices>
#include <QScrollBar>

#include "ui/markdown/MarkdownDocumentBuilder.h"

namespace quillon {

RichMarkdownView::RichMarkdownView(QWidget* parent) : QTextBrowser(parent) {
    setOpenLinks(false);
    setOpenExternalLinks(false);
    setReadOnly(true);
    setTextInteractionFlags(Qt::TextBrowserInteraction);
    setVerticalScrollBarPolicy(Qt::ScrollBarAsNeeded);
    setAccessibleName(QStringLiteral("Summary"));
    connect(this, &QTextBrowser::anchorClicked, this, [this](const QUrl& url) { openLink(url); });
}

void RichMarkdownView::setMarkdown(const std::string& markdown) {
    if (markdown == markdown_ && !document()->isEmpty()) return;
    markdown_ = markdown;
    const int scroll = verticalScrollBar()->value();
    const MarkdownTheme theme = MarkdownTheme::fromApplication();
    MarkdownDocumentBuilder(theme, images_).render(markdown_, *document());
    verticalScrollBar()->setValue(scroll);
}

bool RichMarkdownView::isOpenable(const QUrl& url) {
    const QString scheme = url.scheme().toLower();
    return url.isValid() && (scheme == QLatin1String("http") || scheme == QLatin1String("https") ||
                             scheme == QLatin1String("mailto"));
}

void RichMarkdownView::openLink(const QUrl& url) {
    if (isOpenable(url)) QDesktopServices::openUrl(url);
}

}  // namespace quillon
