#pragma once

#include <QColor>
#include <QFont>

namespace quillon {

// How the summary's Markdown looks: body text of 13 points in the palette's text colour, links in
// its accent colour, and a size and weight of their own for six levels of headings, code, block
// quotes and tables. One theme for the whole application, made from the current palette.
struct MarkdownTheme {
    QFont bodyFont;
    QFont codeFont;
    QColor textColor;
    QColor linkColor;
    QColor secondaryTextColor;  // block quotes
    QColor codeBackground;
    QColor ruleColor;  // thematic breaks and table borders
    qreal headingScale[6] = {1.6, 1.35, 1.2, 1.08, 1.0, 0.92};
    qreal blockSpacing = 6;  // pixels between blocks
    qreal indentWidth = 18;  // pixels per list or quote level

    // The theme for the application's current palette and fonts.
    static MarkdownTheme fromApplication();
};

}  // namespace quillon
