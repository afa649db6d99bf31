#include <gtest/gtest.h>

#include <QProcess>

#include "ExternalProcess.h"
#include "SessionSkip.h"
#include "platform/linux/clipboard/PasteboardQt.h"

namespace quillon {
namespace {

using testing::runWhileServingEvents;
using testing::serveEventsUntil;

// Reads the CLIPBOARD selection from another X client, as a paste into another program would.
std::optional<testing::ProcessResult> readClipboardElsewhere(const QString& target = "UTF8_STRING") {
    return runWhileServingEvents("xclip", {"-selection", "clipboard", "-o", "-t", target});
}

// Another program that owns the clipboard until it is stopped or loses the selection.
class ClipboardOwner {
public:
    ClipboardOwner(const QByteArray& data, const QString& target) {
        process_.start("xclip", {"-quiet", "-selection", "clipboard", "-i", "-t", target});
        process_.write(data);
        process_.closeWriteChannel();
    }
    ~ClipboardOwner() {
        process_.kill();
        process_.waitForFinished();
    }

private:
    QProcess process_;
};

TEST(PasteboardQt, TextItSetsIsWhatAnotherProgramPastes) {
    QUILLON_SKIP_WITHOUT_DISPLAY();
    PasteboardQt pasteboard;
    for (const std::string text : {"Hello from Quillon", "Zwölf Boxkämpfer — “quoted” ✓ 日本語",
                                   "two lines\nand a tab\there", " leading and trailing spaces "}) {
        ASSERT_TRUE(pasteboard.setString(text)) << text;
        auto pasted = readClipboardElsewhere();
        ASSERT_TRUE(pasted.has_value());
        EXPECT_EQ(pasted->exitCode, 0) << pasted->standardError.toStdString();
        EXPECT_EQ(pasted->standardOutput.toStdString(), text);
        EXPECT_EQ(pasteboard.string(), text);
    }
}

TEST(PasteboardQt, ReadsTextAnotherProgramCopiedAndIgnoresNonText) {
    QUILLON_SKIP_WITHOUT_DISPLAY();
    PasteboardQt pasteboard;
    {
        ClipboardOwner owner("copied in the terminal ✓", "UTF8_STRING");
        EXPECT_TRUE(serveEventsUntil([&] { return pasteboard.string() == "copied in the terminal ✓"; }))
            << pasteboard.string().value_or("<none>");
    }
    {
        // A few bytes of PNG header: an image, not text.
        ClipboardOwner owner(QByteArray("\x89PNG\r\n\x1a\n", 8), "image/png");
        ASSERT_TRUE(serveEventsUntil([] {
            auto targets = readClipboardElsewhere("TARGETS");
            return targets && targets->standardOutput.contains("image/png");
        }));
        EXPECT_FALSE(pasteboard.string().has_value()) << *pasteboard.string();
    }
}

TEST(PasteboardQt, ClearLeavesNothingToPaste) {
    QUILLON_SKIP_WITHOUT_DISPLAY();
    PasteboardQt pasteboard;
    ASSERT_TRUE(pasteboard.setString("about to go"));
    pasteboard.clear();
    EXPECT_FALSE(pasteboard.string().has_value());
    auto pasted = readClipboardElsewhere();
    ASSERT_TRUE(pasted.has_value());
    EXPECT_TRUE(pasted->exitCode != 0 || pasted->standardOutput.isEmpty()) << pasted->standardOutput.toStdString();
}

}  // namespace
}  // namespace quillon
