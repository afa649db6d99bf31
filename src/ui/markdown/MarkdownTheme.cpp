#include "ui/markdown/MarkdownTheme.h"

#include <QFontDatabase>
#include <QGuiApplication>
#include <QPalette>

namespace quillon {

MarkdownTheme MarkdownTheme::fromApplication() {
    const QPalette palette = QGuiApplication::palette();
    MarkdownTheme theme;
    theme.bodyFont = QGuiApplication::font();
    theme.bodyFont.setPointSizeF(13);
    theme.codeFont = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    theme.codeFont.setPointSizeF(12);
    theme.textColor = palette.color(QPalette::Text);
    theme.linkColor = palette.color(QPalette::Link);
    theme.secondaryTextColor = palette.color(QPalette::PlaceholderText);
    theme.codeBackground = palette.color(QPalette::AlternateBase);
    theme.ruleColor = palette.color(QPalette::Mid);
    return theme;
}

}  // namespace quillon
