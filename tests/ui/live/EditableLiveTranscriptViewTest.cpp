// The live transcript's editor as a user meets it: typing, deleting and pasting around the
// boundary between the committed text and the provisional tail while updates keep arriving.
#include <gtest/gtest.h>

#include <QApplication>
#include <QClipboard>
#include <QTest>

#include <string>
#include <vector>

#include "ui/live/EditableLiveTranscriptView.h"

namespace quillon {
namespace {

class EditableLiveTranscriptViewTest : public ::testing::Test {
protected:
    EditableLiveTranscriptViewTest() {
        view.resize(300, 200);
        view.onEdit = [this](const std::string& text) { edits.push_back(text); };
        view.onFollowingChanged = [this](bool following) { followingChanges.push_back(following); };
        view.show();
        QApplication::setActiveWindow(&view);
        view.setFocus();
        EXPECT_TRUE(QTest::qWaitForWindowActive(&view));
    }

    void placeCaret(int position, int anchor = -1) {
        QTextCursor cursor = view.textCursor();
        cursor.setPosition(anchor < 0 ? position : anchor);
        if (anchor >= 0) cursor.setPosition(position, QTextCursor::KeepAnchor);
        view.setTextCursor(cursor);
    }
    QString shown() const { return view.toPlainText(); }

    EditableLiveTranscriptView view;
    std::vector<std::string> edits;
    std::vector<bool> followingChanges;
};

TEST_F(EditableLiveTranscriptViewTest, TypingAtTheBoundaryExtendsTheCommittedTextAndTheCaretStaysThere) {
    view.update("Hello", "wor");
    EXPECT_EQ(shown(), "Hello wor");
    placeCaret(5);
    QTest::keyClicks(&view, ",x");
    ASSERT_FALSE(edits.empty());
    EXPECT_EQ(edits.back(), "Hello,x");

    view.update("Hello,x", "world is");  // speech goes on while the user types
    EXPECT_EQ(shown(), "Hello,x world is");
    EXPECT_EQ(view.textCursor().position(), 7);
    QTest::keyClick(&view, Qt::Key_Backspace);
    EXPECT_EQ(edits.back(), "Hello,");
}

TEST_F(EditableLiveTranscriptViewTest, NoChangeReachesTheProvisionalTail) {
    view.update("Hello", "world");
    placeCaret(8);
    QTest::keyClicks(&view, "zz");
    placeCaret(3, 8);  // a selection across the boundary
    QTest::keyClick(&view, Qt::Key_Delete);
    QTest::keyClicks(&view, "q");
    placeCaret(5);
    QTest::keyClick(&view, Qt::Key_Delete);  // would take the view's own blank
    QApplication::clipboard()->setText("pasted");
    placeCaret(7);
    QTest::keyClick(&view, Qt::Key_V, Qt::ControlModifier);
    EXPECT_EQ(shown(), "Hello world");
    EXPECT_TRUE(edits.empty());
}

TEST_F(EditableLiveTranscriptViewTest, BoundaryCountsUtf16UnitsAndTheModelsEchoChangesNothing) {
    view.update("hi \xF0\x9F\x91\x8D", "more");  // a thumbs-up is two UTF-16 units
    EXPECT_EQ(view.committedLength(), 5);
    placeCaret(5);
    QTest::keyClick(&view, Qt::Key_Backspace);
    EXPECT_EQ(edits.back(), "hi ");
    EXPECT_EQ(view.committedLength(), 3);

    view.update("hi ", "more");  // the edit coming back through the model
    EXPECT_EQ(view.textCursor().position(), 3);
}

TEST_F(EditableLiveTranscriptViewTest, SelectionSurvivesUpdatesAndEscapeResumesFollowing) {
    view.update("one two three", "four");
    placeCaret(7, 4);  // "two", inside the committed text
    view.update("one two three four", "");
    EXPECT_EQ(view.textCursor().selectedText(), "two");
    EXPECT_FALSE(view.isFollowing()) << "moving into the committed text pauses following";
    QTest::qWait(0);
    EXPECT_EQ(followingChanges, std::vector<bool>{false});

    placeCaret(18, 10);
    view.update("one", "");
    EXPECT_EQ(view.textCursor().selectionStart(), 3);
    EXPECT_EQ(view.textCursor().selectionEnd(), 3);

    // Escape while paused resumes following and gives up the focus.
    placeCaret(1);
    ASSERT_FALSE(view.isFollowing());
    QTest::keyClick(&view, Qt::Key_Escape);
    EXPECT_TRUE(view.isFollowing());
    EXPECT_FALSE(view.hasFocus());
    EXPECT_EQ(followingChanges.back(), true);
}

}  // namespace
}  // namespace quillon
