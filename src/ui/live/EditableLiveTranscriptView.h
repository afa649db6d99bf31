#pragma once

#include <QPlainTextEdit>

#include <functional>
#include <optional>
#include <string>

namespace quillon {

// The live transcript's text: the committed part, which the user may edit while speech keeps
// arriving, followed by the recogniser's provisional tail, dimmed and read-only. An edit never
// touches the tail: a change that would is refused with a beep, whatever made it (typing, a paste,
// the context menu, a drop). The view follows the end of the growing text until the user moves the
// caret back into the text or scrolls away; Escape while paused jumps back to the end.
//
// The boundary between the two parts is kept in UTF-16 units, the unit of Qt's text positions; the
// texts themselves cross to and from the core as UTF-8 here and nowhere else. GUI thread only.
class EditableLiveTranscriptView : public QPlainTextEdit {
public:
    // How close to the end, in pixels, still counts as being at the end.
    static constexpr int bottomTolerance = 12;

    explicit EditableLiveTranscriptView(QWidget* parent = nullptr);

    // Shows new texts from the model. Does nothing when they are what the view shows already, so an
    // edit coming back through the model does not reset the view.
    void update(const std::string& committedText, const std::string& provisionalText);

    bool isFollowing() const { return isFollowing_; }
    // The owner's resume control: true jumps to the end and gives up the keyboard focus.
    void setFollowing(bool following);
    bool isAtBottom() const;

    // The length of the committed part in UTF-16 units.
    int committedLength() const { return committedLength_; }

    // The whole new committed text after each edit of the user's.
    std::function<void(const std::string&)> onEdit;
    // The following state after the view changed it itself (paused, or resumed by Escape).
    std::function<void(bool)> onFollowingChanged;

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void insertFromMimeData(const QMimeData* source) override;
    void contextMenuEvent(QContextMenuEvent* event) override;

private:
    // Whether a change reaching up to `to` keeps clear of the provisional tail; beeps when not.
    bool mayChange(int to) const;
    bool selectionMayChange() const;
    void contentsChanged(int position, int removed, int added);
    void selectionChanged();
    void scrolled();
    void pauseFollowing();
    void resumeFollowing();
    void scrollToEnd();
    void rebuild(int selectionStart, int selectionEnd);

    int committedLength_ = 0;
    std::optional<std::string> lastCommittedText_;
    std::optional<std::string> lastProvisionalText_;
    bool isApplyingUpdate_ = false;
    bool isPerformingFollowScroll_ = false;
    bool isFollowing_ = true;
};

}  // namespace quillon
