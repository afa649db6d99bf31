#pragma once

#include <QFrame>

class QLabel;
class QProgressBar;
class QPushButton;
class QStackedWidget;

namespace quillon {

class ChromeIconButton;
class CodexCapabilityModel;
class LiveTranscriptCoordinator;
class Pasteboard;
class RichMarkdownView;
class SummaryContextEditor;
class UrlOpener;

// The running summary beside the transcript: its header (busy indicator, context, update now,
// copy Markdown) over what the summary's state calls for: a placeholder, the way to connect a
// ChatGPT account, a failure with a way to try again, or the summary drawn from its Markdown.
// GUI thread only.
class LiveSummarySidebar : public QFrame {
public:
    LiveSummarySidebar(LiveTranscriptCoordinator& coordinator, CodexCapabilityModel& capability,
                       Pasteboard& pasteboard, UrlOpener& urls, QWidget* parent = nullptr);

    void refresh();

    ChromeIconButton* contextButton() const { return context_; }
    ChromeIconButton* updateButton() const { return update_; }
    ChromeIconButton* copyButton() const { return copy_; }
    RichMarkdownView* markdownView() const { return markdown_; }
    // The text the body shows when it is not the summary itself.
    QString bodyText() const;
    SummaryContextEditor* contextEditor() const { return contextEditor_; }

private:
    void showMessage(const QString& text, bool connect, bool tryAgain);

    LiveTranscriptCoordinator& coordinator_;
    CodexCapabilityModel& capability_;
    QProgressBar* busy_;
    ChromeIconButton* context_;
    ChromeIconButton* update_;
    ChromeIconButton* copy_;
    QStackedWidget* body_;
    QLabel* message_;
    QPushButton* connectButton_;
    QPushButton* tryAgain_;
    QPushButton* download_;
    RichMarkdownView* markdown_;
    SummaryContextEditor* contextEditor_;
};

}  // namespace quillon
