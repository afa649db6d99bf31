#pragma once

#include <QWidget>

#include <filesystem>
#include <functional>
#include <memory>
#include <vector>

#include "core/live/TranscriptWindowModel.h"

class QLabel;
class QPlainTextEdit;
class QProgressBar;
class QPushButton;
class QStackedWidget;
class QToolButton;

namespace quillon {

// The window of one imported file: that transcription runs (with a bar once the decoder reports
// how far it is), then the transcript with its character count, "Copy to Clipboard" and AI
// cleanup, or why it failed. Audio and video files dropped on it are transcribed in windows of
// their own. Closing it stops its cleanup. GUI thread only.
class TranscriptWindowQt final : public QWidget {
public:
    explicit TranscriptWindowQt(std::unique_ptr<TranscriptWindowModel> model);
    ~TranscriptWindowQt() override;

    TranscriptWindowModel& model() { return *model_; }

    // Shows the window centred and in front, as a new transcription starts.
    void present(bool centre);

    // The background of an AI cleanup: the live transcript's summary context.
    std::function<std::string()> additionalContext;
    std::function<void(const std::vector<std::filesystem::path>&)> onFilesDropped;
    // After the window closed, once.
    std::function<void()> onClose;

protected:
    void closeEvent(QCloseEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private:
    void refresh();
    QWidget* makeHeader();
    QWidget* makeProgressPage();
    QWidget* makeFailurePage();
    QWidget* makeTranscriptPage();

    std::unique_ptr<TranscriptWindowModel> model_;
    QLabel* title_ = nullptr;
    QLabel* source_ = nullptr;
    QLabel* subtitle_ = nullptr;
    QLabel* hint_ = nullptr;
    QPushButton* copy_ = nullptr;
    QStackedWidget* pages_ = nullptr;
    QProgressBar* progress_ = nullptr;
    QLabel* failure_ = nullptr;
    QLabel* count_ = nullptr;
    QToolButton* cleanup_ = nullptr;
    QProgressBar* cleaning_ = nullptr;
    QPlainTextEdit* text_ = nullptr;
};

}  // namespace quillon
