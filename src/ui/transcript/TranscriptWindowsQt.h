#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "core/base/Scheduler.h"
#include "core/live/TranscriptWindowModel.h"
#include "core/logging/Logger.h"
#include "core/ports/Pasteboard.h"
#include "core/ports/TranscriptWindows.h"

namespace quillon {

class TranscriptWindowQt;

// The transcript windows of imported files, one per job, keyed by the job's ID. A window closed
// by the user leaves the registry at once; its job's result is then dropped. GUI thread only.
class TranscriptWindowsQt final : public TranscriptWindows {
public:
    TranscriptWindowsQt(Scheduler& main, Pasteboard& pasteboard, TranscriptWindowModel::CleanTranscript clean,
                        Logger logger);
    ~TranscriptWindowsQt() override;

    Uuid showTranscriptionProgress(const std::filesystem::path& source) override;
    bool showTranscript(const Uuid& job, const std::string& transcript,
                        const std::string& sourceName) override;
    bool showFailure(const Uuid& job, const std::string& message, const std::string& sourceName) override;

    // How far the job's transcription is, 0 to 1; false when its window is gone.
    bool showProgressFraction(const Uuid& job, double fraction);
    bool isOpen(const Uuid& job) const { return windows_.contains(job); }
    // The job of the window opened last, while that window is open.
    std::optional<Uuid> newestJob() const;
    std::size_t count() const { return windows_.size(); }

    // Files dropped on any of the windows.
    std::function<void(const std::vector<std::filesystem::path>&)> onFilesDropped;
    // The background of an AI cleanup.
    std::function<std::string()> additionalContext;
    // A job's window was closed before its end.
    std::function<void(const Uuid& job)> onWindowClosed;

private:
    TranscriptWindowQt* window(const Uuid& job) const;

    Scheduler& main_;
    Pasteboard& pasteboard_;
    TranscriptWindowModel::CleanTranscript clean_;
    Logger logger_;
    std::unordered_map<Uuid, std::unique_ptr<TranscriptWindowQt>> windows_;
    std::optional<Uuid> newestJob_;
};

}  // namespace quillon
