#pragma once

#include <functional>
#include <optional>
#include <string>

#include "core/base/Scheduler.h"
#include "core/base/WeakOwner.h"
#include "core/codex/TranscriptCleanupService.h"
#include "core/logging/Logger.h"
#include "core/ports/Pasteboard.h"

namespace quillon {

// What the window of one imported file shows: that transcription runs, then the transcript or
// the failure; the transcript can be copied and cleaned up by AI. A cleanup that comes back after
// the transcript changed is not applied. Main thread only.
class TranscriptWindowModel {
public:
    enum class State { transcribing, complete, failed };

    // Starts one cleanup; TranscriptCleanupService::clean() in the program.
    using CleanTranscript = std::function<TranscriptCleanupService::Call(
        std::string transcript, std::string context, CodexCompletion<std::string> completion)>;

    static constexpr std::string_view transcriptChangedText =
        "The transcript changed while AI cleanup was running. Try again.";

    TranscriptWindowModel(Scheduler& main, Pasteboard& pasteboard, CleanTranscript clean, Logger logger);
    ~TranscriptWindowModel();
    TranscriptWindowModel(const TranscriptWindowModel&) = delete;
    TranscriptWindowModel& operator=(const TranscriptWindowModel&) = delete;

    void showProgress(std::string sourceName);
    void show(std::string transcript, std::string sourceName);
    void showFailure(std::string message, std::string sourceName);
    // Reports the decoder's position, 0 to 1, while transcribing.
    void setProgress(double fraction);

    bool canCopy() const;
    bool copyToClipboard();
    void cleanupTranscript(const std::string& additionalContext);
    // Stops a running cleanup; its result, when it comes, is dropped. The error shown stays.
    void cancelCleanup();

    const std::string& sourceName() const { return sourceName_; }
    const std::string& transcript() const { return transcript_; }
    State state() const { return state_; }
    const std::string& failureMessage() const { return failureMessage_; }
    std::optional<double> progress() const { return progress_; }
    bool isCleaningTranscript() const { return isCleaningTranscript_; }
    const std::optional<std::string>& cleanupErrorMessage() const { return cleanupErrorMessage_; }

    // After any change of what the window shows.
    std::function<void()> onChange;

private:
    void cleanupFinished(unsigned generation, const std::string& original,
                         const CodexResult<std::string>& result);
    void changed() const;

    Scheduler& main_;
    Pasteboard& pasteboard_;
    CleanTranscript clean_;
    Logger logger_;
    std::string sourceName_;
    std::string transcript_;
    State state_ = State::transcribing;
    std::string failureMessage_;
    std::optional<double> progress_;
    bool isCleaningTranscript_ = false;
    std::optional<std::string> cleanupErrorMessage_;
    std::optional<TranscriptCleanupService::Call> cleanupTask_;
    unsigned cleanupGeneration_ = 0;  // raised by every cancel: an older result is dropped
    WeakOwner weakOwner_;             // last: a result for a closed window drops
};

}  // namespace quillon
