#pragma once

#include <QFrame>

class QLabel;

namespace quillon {

class ChromeIconButton;
class ClearTranscriptConfirmation;
class CodexCapabilityModel;
class EditableLiveTranscriptView;
class LiveTranscriptCoordinator;
class Pasteboard;
class TranscriptCleanupButton;
class UrlOpener;

// The transcript side of the live transcript window: a header with the resume-following, AI
// cleanup, clear and copy controls over the editable transcript, with a placeholder while there is
// no text. GUI thread only.
class LiveTranscriptPane : public QFrame {
public:
    LiveTranscriptPane(LiveTranscriptCoordinator& coordinator, CodexCapabilityModel& capability,
                       Pasteboard& pasteboard, UrlOpener& urls, QWidget* parent = nullptr);

    void refresh();

    EditableLiveTranscriptView* editor() const { return editor_; }
    ChromeIconButton* followButton() const { return follow_; }
    TranscriptCleanupButton* cleanupButton() const { return cleanup_; }
    ChromeIconButton* clearButton() const { return clear_; }
    ChromeIconButton* copyButton() const { return copy_; }
    ClearTranscriptConfirmation* clearConfirmation() const { return confirmation_; }

private:
    LiveTranscriptCoordinator& coordinator_;
    EditableLiveTranscriptView* editor_;
    QLabel* placeholder_;
    ChromeIconButton* follow_;
    TranscriptCleanupButton* cleanup_;
    ChromeIconButton* clear_;
    ChromeIconButton* copy_;
    ClearTranscriptConfirmation* confirmation_;
};

}  // namespace quillon
