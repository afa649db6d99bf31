#include "core/live/LiveTranscriptModel.h"

#include "core/base/Unicode.h"

namespace quillon {

void LiveTranscriptModel::setRecordingAudio(bool value) {
    if (value) publish(isFinishingAudioRecording_, false);
    publish(isRecordingAudio_, value);
}

void LiveTranscriptModel::setFinishingAudioRecording(bool value) {
    if (value) publish(isRecordingAudio_, false);
    publish(isFinishingAudioRecording_, value);
}

std::string LiveTranscriptModel::fullText() const {
    if (committedText_.empty()) return provisionalText_;
    if (provisionalText_.empty()) return committedText_;
    return committedText_ + " " + provisionalText_;
}

void LiveTranscriptModel::clear() {
    setCommittedText({});
    setProvisionalText({});
    setErrorMessage(std::nullopt);
    setCleaningTranscript(false);
    setCleanupErrorMessage(std::nullopt);
    setSummaryMarkdown({});
    setSummaryState(LiveSummaryState::idle());
}

void LiveTranscriptModel::copyToClipboard(Pasteboard& pasteboard) const {
    const std::string text(unicode::trimmed(fullText()));
    if (text.empty()) return;
    pasteboard.clear();
    pasteboard.setString(text);
}

void LiveTranscriptModel::copySummaryToClipboard(Pasteboard& pasteboard) const {
    if (summaryMarkdown_.empty()) return;
    pasteboard.clear();
    pasteboard.setString(summaryMarkdown_);
}

}  // namespace quillon
