#pragma once

#include <QWidget>

#include <functional>

class QProgressBar;

namespace quillon {

class ChromeIconButton;
class CodexCapabilityModel;
class CodexRequirementsPopover;
class UrlOpener;

// The AI cleanup control of a transcript: a sparkles button, or a small busy indicator while the
// cleanup runs. Without Codex it carries a warning badge, and a press shows what the AI features
// need instead of starting anything. Whether Codex is there is looked up when the button comes on
// screen, on a press and on "Check Again", never in the background. GUI thread only.
class TranscriptCleanupButton : public QWidget {
public:
    TranscriptCleanupButton(CodexCapabilityModel& capability, UrlOpener& urls, QWidget* parent = nullptr);

    void setState(bool isRunning, bool hasTranscript);
    ChromeIconButton* button() const { return button_; }
    CodexRequirementsPopover* requirements() const { return requirements_; }

    // Starts the cleanup.
    std::function<void()> action;

protected:
    void showEvent(QShowEvent* event) override;

private:
    void pressed();
    void redraw();

    CodexCapabilityModel& capability_;
    ChromeIconButton* button_;
    QProgressBar* busy_;
    CodexRequirementsPopover* requirements_;
    bool isRunning_ = false;
    bool hasTranscript_ = false;
};

}  // namespace quillon
