#include "ui/markdown/MarkdownDocumentBuilder.h"

#include <cmark-gfm-core-extensions.h>
#include <cmark-gfm-extension_api.h>
#include <cmark-gfm.h>

#include <QTextList>
#include <QTextTable>
#include <QUrl>

#include <algorithm>
#include <cstring>
#include <memory>

#include "ui/markdown/MarkdownImageCache.h"

namespace quillon {

namespace {

using NodePtr = std::unique_ptr<cmark_node, decltype(&cmark_node_free)>;

// The extensions' nodes have no type constant of their own; their names tell them apart.
bool isType(cmark_node* node, const char* name) {
    return std::strcmp(cmark_node_get_type_string(node), name) == 0;
}

QString text(const char* literal) {
    return literal ? QString::fromUtf8(literal) : QString();
}

NodePtr parse(std::string_view markdown) {
    cmark_gfm_core_extensions_ensure_registered();
    std::unique_ptr<cmark_parser, decltype(&cmark_parser_free)> parser(cmark_parser_new(CMARK_OPT_DEFAULT),
                                                                       &cmark_parser_free);
    for (const char* name : {"table", "tasklist", "strikethrough", "autolink"}) {
        if (cmark_syntax_extension* extension = cmark_find_syntax_extension(name)) {
            cmark_parser_attach_syntax_extension(parser.get(), extension);
        }
    }
    cmark_parser_feed(parser.get(), markdown.data(), markdown.size());
    return NodePtr(cmark_parser_finish(parser.get()), &cmark_node_free);
}

}  // namespace

struct MarkdownDocumentBuilder::ListContext {
    QTextListFormat format;
    QTextList* list = nullptr;    // made with the first item's first block
    bool numberedByHand = false;  // an ordered list not starting at 1, which QTextList cannot show
    int number = 1;
    bool itemStarted = false;  // the current item's first block is still to come
    QTextBlockFormat::MarkerType marker = QTextBlockFormat::MarkerType::NoMarker;
};

MarkdownDocumentBuilder::MarkdownDocumentBuilder(const MarkdownTheme& theme, MarkdownImageCache& images)
    : theme_(theme), images_(images) {}

void MarkdownDocumentBuilder::render(std::string_view markdown, QTextDocument& document) {
    document.clear();
    document.setDefaultFont(theme_.bodyFont);
    document.setUndoRedoEnabled(false);
    document_ = &document;
    cursor_ = QTextCursor(&document);
    blockIsFresh_ = true;
    indentLevel_ = 0;
    quoteDepth_ = 0;
    list_ = nullptr;
    const NodePtr root = parse(markdown);
    renderChildren(root.get());
    document_ = nullptr;
}

void MarkdownDocumentBuilder::renderChildren(cmark_node* node) {
    for (cmark_node* child = cmark_node_first_child(node); child; child = cmark_node_next(child))
        renderBlock(child);
}

QTextBlockFormat MarkdownDocumentBuilder::paragraphFormat() const {
    QTextBlockFormat format;
    format.setBottomMargin(list_ ? theme_.blockSpacing / 2 : theme_.blockSpacing);
    format.setIndent(indentLevel_);
    if (quoteDepth_ > 0) {
        format.setLeftMargin(theme_.indentWidth * quoteDepth_);
        format.setProperty(QTextFormat::BlockQuoteLevel, quoteDepth_);
    }
    return format;
}

void MarkdownDocumentBuilder::beginBlock(QTextBlockFormat format, const QTextCharFormat& charFormat) {
    ListContext* item = list_ && list_->itemStarted ? list_ : nullptr;
    if (item) format.setMarker(item->marker);
    if (blockIsFresh_) {
        cursor_.setBlockFormat(format);
        cursor_.setBlockCharFormat(charFormat);
    } else {
        cursor_.insertBlock(format, charFormat);
    }
    blockIsFresh_ = false;
    if (!item) return;
    item->itemStarted = false;
    if (item->numberedByHand) {
        QTextCharFormat numberFormat = charFormat;
        cursor_.insertText(QString::number(item->number++) + QStringLiteral(". "), numberFormat);
    } else if (!item->list) {
        item->list = cursor_.createList(item->format);
    } else {
        item->list->add(cursor_.block());
    }
}

void MarkdownDocumentBuilder::renderBlock(cmark_node* node) {
    switch (cmark_node_get_type(node)) {
        case CMARK_NODE_PARAGRAPH: {
            beginBlock(paragraphFormat());
            QTextCharFormat format;
            if (quoteDepth_ > 0) format.setForeground(theme_.secondaryTextColor);
            renderInlines(node, format);
            return;
        }
        case CMARK_NODE_HEADING: {
            const int level = std::clamp(cmark_node_get_heading_level(node), 1, 6);
            QTextBlockFormat block = paragraphFormat();
            block.setHeadingLevel(level);
            block.setTopMargin(theme_.blockSpacing * 1.5);
            QTextCharFormat format;
            QFont font = theme_.bodyFont;
            font.setPointSizeF(theme_.bodyFont.pointSizeF() * theme_.headingScale[level - 1]);
            font.setWeight(level <= 2 ? QFont::Bold : QFont::DemiBold);
            format.setFont(font, QTextCharFormat::FontPropertiesSpecifiedOnly);
            beginBlock(block, format);
            renderInlines(node, format);
            return;
        }
        case CMARK_NODE_BLOCK_QUOTE:
            ++quoteDepth_;
            renderChildren(node);
            --quoteDepth_;
            return;
        case CMARK_NODE_CODE_BLOCK:
        case CMARK_NODE_HTML_BLOCK: {
            QTextBlockFormat block = paragraphFormat();
            block.setBackground(theme_.codeBackground);
            block.setNonBreakableLines(true);
            block.setProperty(QTextFormat::BlockCodeFence, QChar(u'`'));
            QTextCharFormat format;
            format.setFont(theme_.codeFont, QTextCharFormat::FontPropertiesSpecifiedOnly);
            format.setFontFixedPitch(true);
            beginBlock(block, format);
            QString literal = text(cmark_node_get_literal(node));
            if (literal.endsWith(QLatin1Char('\n'))) literal.chop(1);
            cursor_.insertText(literal.replace(QLatin1Char('\n'), QChar::LineSeparator), format);
            return;
        }
        case CMARK_NODE_THEMATIC_BREAK: {
            QTextBlockFormat block = paragraphFormat();
            block.setProperty(QTextFormat::BlockTrailingHorizontalRulerWidth,
                              QTextLength(QTextLength::PercentageLength, 100));
            beginBlock(block);
            return;
        }
        case CMARK_NODE_LIST:
            renderList(node);
            return;
        case CMARK_NODE_ITEM:
            // Reached only through renderList().
            renderChildren(node);
            return;
        default:
            if (isType(node, "table")) {
                renderTable(node);
            } else if (cmark_node_first_child(node)) {
                renderChildren(node);
            }
            return;
    }
}

void MarkdownDocumentBuilder::renderList(cmark_node* list) {
    ListContext context;
    const bool ordered = cmark_node_get_list_type(list) == CMARK_ORDERED_LIST;
    context.format.setStyle(
        ordered ? QTextListFormat::ListDecimal
                : (indentLevel_ % 2 == 0 ? QTextListFormat::ListDisc : QTextListFormat::ListCircle));
    context.format.setIndent(indentLevel_ + 1);
    context.number = ordered ? cmark_node_get_list_start(list) : 1;
    context.numberedByHand = ordered && context.number != 1;

    ListContext* outer = list_;
    list_ = &context;
    indentLevel_ += 1;
    for (cmark_node* item = cmark_node_first_child(list); item; item = cmark_node_next(item)) {
        context.itemStarted = true;
        context.marker = QTextBlockFormat::MarkerType::NoMarker;
        if (isType(item, "tasklist")) {
            context.marker = cmark_gfm_extensions_get_tasklist_item_checked(item)
                                 ? QTextBlockFormat::MarkerType::Checked
                                 : QTextBlockFormat::MarkerType::Unchecked;
        }
        if (!cmark_node_first_child(item))
            beginBlock(paragraphFormat());  // an empty item still shows its marker
        renderChildren(item);
    }
    indentLevel_ -= 1;
    list_ = outer;
}

void MarkdownDocumentBuilder::renderTable(cmark_node* table) {
    const int columns = cmark_gfm_extensions_get_table_columns(table);
    int rows = 0;
    for (cmark_node* row = cmark_node_first_child(table); row; row = cmark_node_next(row)) ++rows;
    if (columns <= 0 || rows <= 0) return;
    beginBlock(paragraphFormat());

    QTextTableFormat format;
    format.setBorder(1);
    format.setBorderBrush(theme_.ruleColor);
    format.setBorderStyle(QTextFrameFormat::BorderStyle_Solid);
    format.setBorderCollapse(true);
    format.setCellPadding(4);
    format.setCellSpacing(0);
    format.setHeaderRowCount(1);
    format.setLeftMargin(theme_.indentWidth * indentLevel_);
    QTextTable* textTable = cursor_.insertTable(rows, columns, format);
    const uint8_t* alignments = cmark_gfm_extensions_get_table_alignments(table);

    ListContext* outerList = list_;
    list_ = nullptr;
    int rowIndex = 0;
    for (cmark_node* row = cmark_node_first_child(table); row; row = cmark_node_next(row), ++rowIndex) {
        const bool header = cmark_gfm_extensions_get_table_row_is_header(row) != 0;
        int columnIndex = 0;
        for (cmark_node* cell = cmark_node_first_child(row); cell && columnIndex < columns;
             cell = cmark_node_next(cell), ++columnIndex) {
            cursor_ = textTable->cellAt(rowIndex, columnIndex).firstCursorPosition();
            QTextBlockFormat block;
            switch (alignments ? alignments[columnIndex] : 0) {
                case 'c':
                    block.setAlignment(Qt::AlignHCenter);
                    break;
                case 'r':
                    block.setAlignment(Qt::AlignRight);
                    break;
                default:
                    block.setAlignment(Qt::AlignLeft);
                    break;
            }
            cursor_.setBlockFormat(block);
            QTextCharFormat charFormat;
            if (header) charFormat.setFontWeight(QFont::Bold);
            blockIsFresh_ = false;
            renderInlines(cell, charFormat);
        }
    }
    list_ = outerList;
    cursor_ = textTable->lastCursorPosition();
    cursor_.movePosition(QTextCursor::NextBlock);
    blockIsFresh_ = false;
}

void MarkdownDocumentBuilder::renderInlines(cmark_node* node, QTextCharFormat format) {
    for (cmark_node* child = cmark_node_first_child(node); child; child = cmark_node_next(child)) {
        switch (cmark_node_get_type(child)) {
            case CMARK_NODE_TEXT:
                cursor_.insertText(text(cmark_node_get_literal(child)), format);
                break;
            case CMARK_NODE_SOFTBREAK:
                cursor_.insertText(QStringLiteral(" "), format);
                break;
            case CMARK_NODE_LINEBREAK:
                cursor_.insertText(QString(QChar::LineSeparator), format);
                break;
            case CMARK_NODE_CODE: {
                QTextCharFormat code = format;
                code.setFont(theme_.codeFont, QTextCharFormat::FontPropertiesSpecifiedOnly);
                code.setFontFixedPitch(true);
                code.setBackground(theme_.codeBackground);
                cursor_.insertText(text(cmark_node_get_literal(child)), code);
                break;
            }
            case CMARK_NODE_HTML_INLINE:
                insertLiteral(cmark_node_get_literal(child) ? cmark_node_get_literal(child) : "", format);
                break;
            case CMARK_NODE_EMPH: {
                QTextCharFormat emphasis = format;
                emphasis.setFontItalic(true);
                renderInlines(child, emphasis);
                break;
            }
            case CMARK_NODE_STRONG: {
                QTextCharFormat strong = format;
                strong.setFontWeight(QFont::Bold);
                renderInlines(child, strong);
                break;
            }
            case CMARK_NODE_LINK: {
                QTextCharFormat link = format;
                link.setAnchor(true);
                link.setAnchorHref(text(cmark_node_get_url(child)));
                link.setForeground(theme_.linkColor);
                link.setFontUnderline(true);
                const QString title = text(cmark_node_get_title(child));
                if (!title.isEmpty()) link.setToolTip(title);
                renderInlines(child, link);
                break;
            }
            case CMARK_NODE_IMAGE:
                renderImage(child, format);
                break;
            default:
                if (isType(child, "strikethrough")) {
                    QTextCharFormat struck = format;
                    struck.setFontStrikeOut(true);
                    renderInlines(child, struck);
                } else {
                    renderInlines(child, format);
                }
                break;
        }
    }
}

void MarkdownDocumentBuilder::renderImage(cmark_node* image, const QTextCharFormat& format) {
    const QString url = text(cmark_node_get_url(image));
    if (const auto picture = images_.image(url)) {
        document_->addResource(QTextDocument::ImageResource, QUrl(url), *picture);
        QTextImageFormat imageFormat;
        imageFormat.setName(url);
        imageFormat.setWidth(picture->width());
        imageFormat.setHeight(picture->height());
        cursor_.insertImage(imageFormat);
        return;
    }
    // An image that cannot be shown leaves its description.
    renderInlines(image, format);
}

void MarkdownDocumentBuilder::insertLiteral(std::string_view literal, const QTextCharFormat& format) {
    cursor_.insertText(QString::fromUtf8(literal.data(), static_cast<qsizetype>(literal.size())), format);
}

}  // namespace quillon
