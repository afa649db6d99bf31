// The summary's Markdown, drawn into a document: a corpus of our own, checked against the structure
// of the document it gives (levels, lists, markers, tables, formats), not against pixels.
#include <gtest/gtest.h>

#include <QBuffer>
#include <QDir>
#include <QFile>
#include <QImage>
#include <QTextBlock>
#include <QTextDocument>
#include <QTextList>
#include <QTextTable>

#include <functional>
#include <string>
#include <vector>

#include "ui/markdown/MarkdownDocumentBuilder.h"
#include "ui/markdown/MarkdownImageCache.h"
#include "ui/markdown/RichMarkdownView.h"

namespace quillon {
namespace {

struct Rendered {
    QTextDocument document;
    std::vector<QTextBlock> blocks;  // every block, those inside table cells included

    QTextBlock block(const QString& text) const {
        for (const auto& block : blocks) {
            if (block.text() == text) return block;
        }
        ADD_FAILURE() << "no block " << text.toStdString();
        return {};
    }
    // The character format of the first character of `fragment`.
    QTextCharFormat formatOf(const QString& fragment) const {
        for (const auto& block : blocks) {
            const int at = block.text().indexOf(fragment);
            if (at < 0) continue;
            QTextCursor cursor(block);
            cursor.setPosition(block.position() + at + 1);
            return cursor.charFormat();
        }
        ADD_FAILURE() << "no text " << fragment.toStdString();
        return {};
    }
};

void render(const std::string& markdown, Rendered& out, MarkdownImageCache& images) {
    const MarkdownTheme theme = MarkdownTheme::fromApplication();
    MarkdownDocumentBuilder(theme, images).render(markdown, out.document);
    out.blocks.clear();
    for (QTextBlock block = out.document.begin(); block.isValid(); block = block.next())
        out.blocks.push_back(block);
}

struct Case {
    const char* name;
    std::string markdown;
    std::function<void(const Rendered&)> check;
};

class MarkdownCorpus : public ::testing::TestWithParam<Case> {};

TEST_P(MarkdownCorpus, GivesTheExpectedStructure) {
    Rendered rendered;
    MarkdownImageCache images;
    render(GetParam().markdown, rendered, images);
    GetParam().check(rendered);
}

QString pngDataUrl() {
    QImage image(3, 2, QImage::Format_RGB32);
    image.fill(Qt::red);
    QByteArray bytes;
    QBuffer buffer(&bytes);
    image.save(&buffer, "PNG");
    return QStringLiteral("data:image/png;base64,") + QString::fromLatin1(bytes.toBase64());
}

const Case cases[] = {
    {"NestedBulletAndOrderedLists", "- one\n- two\n  - inner\n\n1. first\n2. second",
     [](const Rendered& r) {
         QTextList* outer = r.block("one").textList();
         ASSERT_NE(outer, nullptr);
         EXPECT_EQ(outer, r.block("two").textList());
         EXPECT_EQ(outer->format().style(), QTextListFormat::ListDisc);
         QTextList* inner = r.block("inner").textList();
         ASSERT_NE(inner, nullptr);
         EXPECT_NE(inner, outer);
         EXPECT_GT(inner->format().indent(), outer->format().indent());
         QTextList* ordered = r.block("first").textList();
         ASSERT_NE(ordered, nullptr);
         EXPECT_EQ(ordered->format().style(), QTextListFormat::ListDecimal);
         EXPECT_EQ(ordered->count(), 2);
     }},
    {"TableWithHeaderAndAlignment",
     "Before\n\n| Name | Count |\n|:-----|------:|\n| apples | 3 |\n| pears | 12 |\n\nAfter",
     [](const Rendered& r) {
         QTextTable* table = nullptr;
         for (const auto& block : r.blocks) {
             QTextCursor cursor(block);
             if ((table = cursor.currentTable())) break;
         }
         ASSERT_NE(table, nullptr);
         EXPECT_EQ(table->rows(), 3);
         EXPECT_EQ(table->columns(), 2);
         EXPECT_EQ(table->cellAt(2, 0).firstCursorPosition().block().text(), "pears");
         EXPECT_EQ(r.formatOf("Name").fontWeight(), QFont::Bold);
         EXPECT_NE(r.formatOf("apples").fontWeight(), QFont::Bold);
         EXPECT_TRUE(r.block("12").blockFormat().alignment() & Qt::AlignRight);
         QTextCursor after(r.block("After"));
         EXPECT_EQ(after.currentTable(), nullptr) << "text after the table is outside it";
     }},
    {"LinksAndAutolinks", "see [the notes](https://example.com/notes \"Notes\") or www.example.org today",
     [](const Rendered& r) {
         EXPECT_TRUE(r.formatOf("the notes").isAnchor());
         EXPECT_EQ(r.formatOf("the notes").anchorHref(), "https://example.com/notes");
         EXPECT_TRUE(r.formatOf("example.org").isAnchor());
         EXPECT_FALSE(r.formatOf("today").isAnchor());
     }},
    {"RawHtmlIsShownNotRun", "<b>not bold</b> and <script>x()</script>",
     [](const Rendered& r) {
         EXPECT_TRUE(r.blocks.front().text().contains("<b>not bold</b>"));
         EXPECT_NE(r.formatOf("not bold").fontWeight(), QFont::Bold);
     }},
    {"RemoteImageShowsItsDescriptionAndIsNotFetched", "![a remote chart](https://example.com/chart.png)",
     [](const Rendered& r) {
         EXPECT_EQ(r.blocks.front().text(), "a remote chart");
         EXPECT_FALSE(r.formatOf("remote").isImageFormat());
     }},
};

INSTANTIATE_TEST_SUITE_P(Corpus, MarkdownCorpus, ::testing::ValuesIn(cases),
                         [](const auto& param) { return std::string(param.param.name); });

TEST(MarkdownImages, CacheDropsTheLeastRecentlyUsedPastItsCapacity) {
    QImage image(10, 10, QImage::Format_RGB32);
    image.fill(Qt::blue);
    const QString path = QDir::tempPath() + "/quillon-markdown-test.png";
    ASSERT_TRUE(image.save(path));
    MarkdownImageCache images(image.sizeInBytes());
    const QString url = QUrl::fromLocalFile(path).toString();
    ASSERT_TRUE(images.image(url));
    QFile::remove(path);
    EXPECT_TRUE(images.image(url)) << "a cached file is not read again";
    EXPECT_TRUE(images.image(pngDataUrl()));
    EXPECT_FALSE(images.image(url)) << "the older image was dropped for the newer one";
}

TEST(RichMarkdownView, OpensOnlyWebAndMailLinks) {
    for (const char* url : {"https://example.com", "http://example.com/a", "mailto:a@example.com"}) {
        EXPECT_TRUE(RichMarkdownView::isOpenable(QUrl(url))) << url;
    }
    for (const char* url :
         {"file:///etc/passwd", "javascript:alert(1)", "/usr/bin/xterm", "smb://host/share"}) {
        EXPECT_FALSE(RichMarkdownView::isOpenable(QUrl(url))) << url;
    }
}

}  // namespace
}  // namespace quillon
