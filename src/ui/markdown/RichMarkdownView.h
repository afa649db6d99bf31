#pragma once

#include <QTextBrowser>

#include <string>

#include "ui/markdown/MarkdownImageCache.h"
#include "ui/markdown/MarkdownTheme.h"

namespace quillon {

// Shows the running summary: its Markdown drawn with the application's theme, selectable, in a
// scroll view. A link opens in the desktop's browser or mail program; links to anything else (a
// local file, a program) are not followed, since the text comes from a model. GUI thread only.
class RichMarkdownView : public QTextBrowser {
public:
    explicit RichMarkdownView(QWidget* parent = nullptr);

    // Redraws only when the text changed; the scroll position stays where the reader left it.
    void setMarkdown(const std::string& markdown);
    const std::string& markdown() const { return markdown_; }

    // Whether a link to `url` may be opened from a summary.
    static bool isOpenable(const QUrl& url);

private:
    void openLink(const QUrl& url);

    std::string markdown_;
    MarkdownImageCache images_;
};

}  // namespace quillon
