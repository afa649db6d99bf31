#include "core/live/TranscriptWindowModel.h"

#include <algorithm>

#include "core/base/Unicode.h"
#include "core/text/TranscriptClipboard.h"

namespace quillon {

TranscriptWindowModel::TranscriptWindowModel(Scheduler& main, Pasteboard& pasteboard, CleanTranscript clean,
                                             Logger logger)
    : main_(main), pasteboard_(pasteboard), clean_(std::move(clean)), logger_(std::move(logger)) {}

// A window closed during a cleanup stops it; nothing is told any more.
TranscriptWindowModel::~TranscriptWindowModel() {
    onChange = nullptr;
    cancelCleanup();
}

void TranscriptWindowModel::showProgress(std::string sourceName) {
    cancelCleanup();
    sourceName_ = std::move(sourceName);
    transcript_.clear();
    cleanupErrorMessage_.reset();
    progress_.reset();
    state_ = State::transcribing;
    changed();
}

void TranscriptWindowModel::show(std::string transcript, std::string sourceName) {
    cancelCleanup();
    sourceName_ = std::move(sourceName);
    transcript_ = std::move(transcript);
    cleanupErrorMessage_.reset();
    state_ = State::complete;
    changed();
}

// The transcript shown so far stays as it is.
void TranscriptWindowModel::showFailure(std::string message, std::string sourceName) {
    cancelCleanup();
    sourceName_ = std::move(sourceName);
    cleanupErrorMessage_.reset();
    failureMessage_ = std::move(message);
    state_ = State::failed;
    changed();
}

void TranscriptWindowModel::setProgress(double fraction) {
    if (state_ != State::transcribing) return;
    progress_ = std::clamp(fraction, 0.0, 1.0);
    changed();
}

bool TranscriptWindowModel::canCopy() const {
    return state_ == State::complete && !unicode::trimmed(transcript_).empty();
}

bool TranscriptWindowModel::copyToClipboard() {
    return copyTranscriptToClipboard(pasteboard_, transcript_, logger_);
}

void TranscriptWindowModel::cleanupTranscript(const std::string& additionalContext) {
    if (state_ != State::complete || unicode::trimmed(transcript_).empty() || cleanupTask_) return;
    const std::string original = transcript_;
    cleanupErrorMessage_.reset();
    isCleaningTranscript_ = true;
    const unsigned generation = cleanupGeneration_;
    auto finished = weakOwner_.weakly([this, generation, original](const CodexResult<std::string>& result) {
        cleanupFinished(generation, original, result);
    });
    // The service answers on its own queue; the result is applied here on the main thread.
    cleanupTask_ =
        clean_(original, additionalContext, [&main = main_, finished](CodexResult<std::string> result) {
            main.post([finished, result = std::move(result)] { finished(result); });
        });
    logger_.info("Transcript cleanup started");
    changed();
}

void TranscriptWindowModel::cleanupFinished(unsigned generation, const std::string& original,
                                            const CodexResult<std::string>& result) {
    if (generation != cleanupGeneration_ || !cleanupTask_) return;  // cancelled meanwhile
    isCleaningTranscript_ = false;
    cleanupTask_.reset();
    if (!result) {
        cleanupErrorMessage_ = "AI cleanup failed: " + result.error().description();
        logger_.error("Transcript cleanup failed: " + result.error().description());
    } else if (transcript_ == original) {
        transcript_ = *result;
        logger_.info("Transcript cleanup applied");
    } else {
        cleanupErrorMessage_ = std::string(transcriptChangedText);
        logger_.info("Transcript changed during cleanup; the cleaned text was not applied");
    }
    changed();
}

void TranscriptWindowModel::cancelCleanup() {
    ++cleanupGeneration_;
    if (cleanupTask_) {
        cleanupTask_->cancel();
        cleanupTask_.reset();
        logger_.info("Transcript cleanup cancelled");
    }
    if (!isCleaningTranscript_) return;
    isCleaningTranscript_ = false;
    changed();
}

void TranscriptWindowModel::changed() const {
    if (onChange) onChange();
}

}  // namespace quillon
