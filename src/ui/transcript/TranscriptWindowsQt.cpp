#include "ui/transcript/TranscriptWindowsQt.h"

#include <QPointer>

#include "ui/transcript/TranscriptWindowQt.h"

namespace quillon {

TranscriptWindowsQt::TranscriptWindowsQt(Scheduler& main, Pasteboard& pasteboard,
                                         TranscriptWindowModel::CleanTranscript clean, Logger logger)
    : main_(main), pasteboard_(pasteboard), clean_(std::move(clean)), logger_(std::move(logger)) {}

TranscriptWindowsQt::~TranscriptWindowsQt() {
    for (auto& [job, window] : windows_) window->onClose = nullptr;
}

Uuid TranscriptWindowsQt::showTranscriptionProgress(const std::filesystem::path& source) {
    const Uuid job = Uuid::random();
    auto window = std::make_unique<TranscriptWindowQt>(
        std::make_unique<TranscriptWindowModel>(main_, pasteboard_, clean_, logger_));
    window->additionalContext = [this] { return additionalContext ? additionalContext() : std::string(); };
    window->onFilesDropped = [this](const std::vector<std::filesystem::path>& files) {
        if (onFilesDropped) onFilesDropped(files);
    };
    // The window goes once its close has been handled: it is not deleted inside its own event.
    window->onClose = [this, job] {
        auto found = windows_.find(job);
        if (found == windows_.end()) return;
        QPointer<TranscriptWindowQt> closed = found->second.release();
        windows_.erase(found);
        if (closed) closed->deleteLater();
        logger_.info("Transcript window closed");
        if (onWindowClosed) onWindowClosed(job);
    };
    TranscriptWindowQt& shown = *window;
    windows_.emplace(job, std::move(window));
    newestJob_ = job;
    shown.model().showProgress(source.filename().string());
    shown.present(true);
    return job;
}

bool TranscriptWindowsQt::showTranscript(const Uuid& job, const std::string& transcript,
                                         const std::string& sourceName) {
    auto* shown = window(job);
    if (shown == nullptr) return false;
    shown->model().show(transcript, sourceName);
    shown->present(false);
    return true;
}

bool TranscriptWindowsQt::showFailure(const Uuid& job, const std::string& message,
                                      const std::string& sourceName) {
    auto* shown = window(job);
    if (shown == nullptr) return false;
    shown->model().showFailure(message, sourceName);
    shown->present(false);
    return true;
}

bool TranscriptWindowsQt::showProgressFraction(const Uuid& job, double fraction) {
    auto* shown = window(job);
    if (shown == nullptr) return false;
    shown->model().setProgress(fraction);
    return true;
}

std::optional<Uuid> TranscriptWindowsQt::newestJob() const {
    if (newestJob_ && windows_.contains(*newestJob_)) return newestJob_;
    return std::nullopt;
}

TranscriptWindowQt* TranscriptWindowsQt::window(const Uuid& job) const {
    const auto found = windows_.find(job);
    return found == windows_.end() ? nullptr : found->second.get();
}

}  // namespace quillon
