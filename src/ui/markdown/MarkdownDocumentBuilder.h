#pragma once

#include <QTextCharFormat>
#include <QTextCursor>
#include <QTextDocument>

#include <string_view>

#include "ui/markdown/MarkdownTheme.h"

struct cmark_node;

namespace quillon {

class MarkdownImageCache;

// Turns GitHub-flavoured Markdown into a QTextDocument: headings, paragraphs, emphasis, strong and
// struck-through text, code spans and blocks, block quotes, ordered, bullet and task lists, tables,
// links, autolinks, thematic breaks, and images from `file:` and `data:` addresses (others show
// their description). Raw HTML is shown as the text it is, never interpreted. The document is
// replaced, not appended to. GUI thread only.
class MarkdownDocumentBuilder {
public:
    MarkdownDocumentBuilder(const MarkdownTheme& theme, MarkdownImageCache& images);

    void render(std::string_view markdown, QTextDocument& document);

private:
    struct ListContext;

    void renderBlock(cmark_node* node);
    void renderChildren(cmark_node* node);
    void renderInlines(cmark_node* node, QTextCharFormat format);
    void renderList(cmark_node* list);
    void renderTable(cmark_node* table);
    void renderImage(cmark_node* image, const QTextCharFormat& format);
    // Starts the block the next content goes into: the fresh one the cursor stands in, or a new one.
    void beginBlock(QTextBlockFormat format, const QTextCharFormat& charFormat = {});
    QTextBlockFormat paragraphFormat() const;
    void insertLiteral(std::string_view text, const QTextCharFormat& format);

    const MarkdownTheme& theme_;
    MarkdownImageCache& images_;
    QTextDocument* document_ = nullptr;
    QTextCursor cursor_;
    bool blockIsFresh_ = true;  // the cursor's block holds nothing yet and can take any format
    int indentLevel_ = 0;
    int quoteDepth_ = 0;
    ListContext* list_ = nullptr;  // the innermost list whose item is being rendered
};

}  // namespace quillon
