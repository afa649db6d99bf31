#include "ui/live/EditableLiveTranscriptView.h"

#include <QApplication>
#include <QContextMenuEvent>
#include <QKeyEvent>
#include <QMenu>
#include <QMimeData>
#include <QScrollBar>
#include <QTextBlock>
#include <QTimer>

#include <algorithm>

namespace quillon {

namespace {

QString fromUtf8(const std::string& text) {
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

QTextCharFormat committedFormat(const QWidget& widget) {
    QTextCharFormat format;
    format.setForeground(widget.palette().color(QPalette::Text));
    return format;
}

QTextCharFormat provisionalFormat(const QWidget& widget) {
    QTextCharFormat format;
    format.setForeground(widget.palette().color(QPalette::PlaceholderText));
    return format;
}

bool isDeletion(const QKeyEvent* event) {
    return event->matches(QKeySequence::Delete) || event->matches(QKeySequence::DeleteEndOfWord) ||
           event->matches(QKeySequence::DeleteEndOfLine) ||
           event->matches(QKeySequence::DeleteCompleteLine) || event->key() == Qt::Key_Backspace ||
           event->matches(QKeySequence::DeleteStartOfWord) || event->matches(QKeySequence::Cut);
}

}  // namespace

EditableLiveTranscriptView::EditableLiveTranscriptView(QWidget* parent) : QPlainTextEdit(parent) {
    setFrameShape(QFrame::NoFrame);
    setVerticalScrollBarPolicy(Qt::ScrollBarAsNeeded);
    setLineWrapMode(QPlainTextEdit::WidgetWidth);
    setAccessibleName(QStringLiteral("Transcript"));
    document()->setDocumentMargin(7);
    connect(document(), &QTextDocument::contentsChange, this,
            [this](int position, int removed, int added) { contentsChanged(position, removed, added); });
    connect(this, &QPlainTextEdit::cursorPositionChanged, this, [this] { selectionChanged(); });
    connect(verticalScrollBar(), &QScrollBar::valueChanged, this, [this] { scrolled(); });
}

void EditableLiveTranscriptView::update(const std::string& committedText,
                                        const std::string& provisionalText) {
    if (committedText == lastCommittedText_ && provisionalText == lastProvisionalText_) return;
    const QTextCursor old = textCursor();
    const bool caretAtCommittedEnd = hasFocus() && !old.hasSelection() && old.position() == committedLength_;
    const int scroll = verticalScrollBar()->value();

    lastCommittedText_ = committedText;
    lastProvisionalText_ = provisionalText;
    committedLength_ = static_cast<int>(fromUtf8(committedText).size());
    if (caretAtCommittedEnd) {
        rebuild(committedLength_, committedLength_);
    } else {
        rebuild(old.selectionStart(), old.selectionEnd());
    }
    if (isFollowing_) {
        scrollToEnd();
    } else {
        verticalScrollBar()->setValue(scroll);
    }
}

void EditableLiveTranscriptView::rebuild(int selectionStart, int selectionEnd) {
    const QString committed = lastCommittedText_ ? fromUtf8(*lastCommittedText_) : QString();
    const QString provisional = lastProvisionalText_ ? fromUtf8(*lastProvisionalText_) : QString();
    isApplyingUpdate_ = true;
    // Undo covers the user's edits since the last update, never an update of the recogniser's.
    document()->setUndoRedoEnabled(false);
    QTextCursor cursor(document());
    cursor.beginEditBlock();
    cursor.select(QTextCursor::Document);
    cursor.insertText(committed, committedFormat(*this));
    // The blank between the parts belongs to the view alone, never to a stored text.
    if (!committed.isEmpty() && !provisional.isEmpty())
        cursor.insertText(QStringLiteral(" "), provisionalFormat(*this));
    if (!provisional.isEmpty()) cursor.insertText(provisional, provisionalFormat(*this));
    cursor.endEditBlock();
    document()->setUndoRedoEnabled(true);
    committedLength_ = static_cast<int>(committed.size());

    const int total = document()->characterCount() - 1;
    const int start = std::clamp(selectionStart, 0, total);
    QTextCursor selection(document());
    selection.setPosition(start);
    selection.setPosition(std::clamp(selectionEnd, start, total), QTextCursor::KeepAnchor);
    setTextCursor(selection);
    setCurrentCharFormat(committedFormat(*this));
    isApplyingUpdate_ = false;
}

bool EditableLiveTranscriptView::mayChange(int to) const {
    if (to <= committedLength_) return true;
    QApplication::beep();
    return false;
}

bool EditableLiveTranscriptView::selectionMayChange() const {
    return textCursor().selectionEnd() <= committedLength_;
}

void EditableLiveTranscriptView::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Escape && !isFollowing_) {
        resumeFollowing();
        event->accept();
        return;
    }
    const QTextCursor cursor = textCursor();
    const bool typing =
        !event->text().isEmpty() && (event->text().at(0).isPrint() || event->key() == Qt::Key_Return ||
                                     event->key() == Qt::Key_Enter || event->key() == Qt::Key_Tab);
    if (cursor.hasSelection() && (typing || isDeletion(event))) {
        if (!mayChange(cursor.selectionEnd())) return;
    } else if (typing || event->key() == Qt::Key_Backspace ||
               event->matches(QKeySequence::DeleteStartOfWord)) {
        if (!mayChange(cursor.position())) return;
    } else if (isDeletion(event)) {
        // Forward deletions reach as far as the cursor would move.
        QTextCursor reach = cursor;
        if (event->matches(QKeySequence::DeleteEndOfWord)) {
            reach.movePosition(QTextCursor::EndOfWord);
        } else if (event->matches(QKeySequence::DeleteEndOfLine) ||
                   event->matches(QKeySequence::DeleteCompleteLine)) {
            reach.movePosition(QTextCursor::EndOfBlock);
        } else {
            reach.movePosition(QTextCursor::NextCharacter);
        }
        if (!mayChange(reach.position())) return;
    }
    QPlainTextEdit::keyPressEvent(event);
}

void EditableLiveTranscriptView::insertFromMimeData(const QMimeData* source) {
    const QTextCursor cursor = textCursor();
    if (!mayChange(cursor.selectionEnd())) return;
    QPlainTextEdit::insertFromMimeData(source);
}

void EditableLiveTranscriptView::contextMenuEvent(QContextMenuEvent* event) {
    QMenu* menu = createStandardContextMenu(event->pos());
    const bool editable = selectionMayChange();
    for (QAction* action : menu->actions()) {
        const QString name = action->objectName();
        if (name == QLatin1String("edit-cut") || name == QLatin1String("edit-paste") ||
            name == QLatin1String("edit-delete")) {
            action->setEnabled(action->isEnabled() && editable);
        }
    }
    menu->exec(event->globalPos());
    delete menu;
}

void EditableLiveTranscriptView::contentsChanged(int position, int removed, int added) {
    if (isApplyingUpdate_) return;
    if (position + removed > committedLength_) {
        // A change that reached the provisional tail by a way the gates above do not see (a drag that
        // moved text out of it, an input method): put back what the model holds.
        QApplication::beep();
        QTimer::singleShot(0, this, [this] {
            const QTextCursor cursor = textCursor();
            rebuild(cursor.selectionStart(), cursor.selectionEnd());
        });
        return;
    }
    committedLength_ = std::clamp(committedLength_ + added - removed, 0, document()->characterCount() - 1);
    const QString committed = toPlainText().left(committedLength_);
    const QByteArray utf8 = committed.toUtf8();
    lastCommittedText_ = std::string(utf8.constData(), static_cast<std::size_t>(utf8.size()));
    setCurrentCharFormat(committedFormat(*this));
    if (onEdit) onEdit(*lastCommittedText_);
}

void EditableLiveTranscriptView::selectionChanged() {
    if (isApplyingUpdate_) return;
    const QTextCursor cursor = textCursor();
    if (cursor.position() <= committedLength_) setCurrentCharFormat(committedFormat(*this));
    if (isFollowing_ && hasFocus() && cursor.selectionEnd() < committedLength_) pauseFollowing();
}

void EditableLiveTranscriptView::scrolled() {
    if (isFollowing_ && !isPerformingFollowScroll_ && !isAtBottom()) pauseFollowing();
}

bool EditableLiveTranscriptView::isAtBottom() const {
    // Plain text scrolls by lines: the last line in view is the end, within the tolerance.
    const QScrollBar* bar = verticalScrollBar();
    return bar->maximum() - bar->value() <= 0;
}

void EditableLiveTranscriptView::pauseFollowing() {
    if (!isFollowing_) return;
    isFollowing_ = false;
    QTimer::singleShot(0, this, [this] {
        if (onFollowingChanged) onFollowingChanged(false);
    });
}

void EditableLiveTranscriptView::resumeFollowing() {
    isFollowing_ = true;
    if (onFollowingChanged) onFollowingChanged(true);
    clearFocus();
    scrollToEnd();
}

void EditableLiveTranscriptView::setFollowing(bool following) {
    if (!following) {
        isFollowing_ = false;
        return;
    }
    const bool resumed = !isFollowing_;
    isFollowing_ = true;
    if (resumed) {
        clearFocus();
        scrollToEnd();
    }
}

void EditableLiveTranscriptView::scrollToEnd() {
    isPerformingFollowScroll_ = true;
    // The flag stays up one pass longer than the scroll, so the scroll's own notification finds it.
    QTimer::singleShot(0, this, [this] {
        verticalScrollBar()->setValue(verticalScrollBar()->maximum());
        QTimer::singleShot(0, this, [this] { isPerformingFollowScroll_ = false; });
    });
}

}  // namespace quillon
