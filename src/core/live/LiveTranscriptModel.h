#pragma once

#include <functional>
#include <optional>
#include <string>

#include "core/live/LiveSummaryState.h"
#include "core/ports/Pasteboard.h"

namespace quillon {

// The observable state of the live transcript: what the window shows and what the coordinators
// write. It outlives the window, so the text survives closing and reopening it. Main thread only.
//
// Every field but onSummaryVisibilityChanged is published: its setter calls onChange once when
// the value really changes, so the interface redraws.
class LiveTranscriptModel {
public:
    const std::string& committedText() const { return committedText_; }
    const std::string& provisionalText() const { return provisionalText_; }
    bool isListening() const { return isListening_; }
    bool isProcessing() const { return isProcessing_; }
    const std::optional<std::string>& errorMessage() const { return errorMessage_; }
    bool isCleaningTranscript() const { return isCleaningTranscript_; }
    const std::optional<std::string>& cleanupErrorMessage() const { return cleanupErrorMessage_; }
    bool isSummaryVisible() const { return isSummaryVisible_; }
    const std::string& summaryMarkdown() const { return summaryMarkdown_; }
    const std::string& summaryContext() const { return summaryContext_; }
    const LiveSummaryState& summaryState() const { return summaryState_; }
    bool isChangingAudioSource() const { return isChangingAudioSource_; }
    bool isRecordingAudio() const { return isRecordingAudio_; }
    bool isFinishingAudioRecording() const { return isFinishingAudioRecording_; }

    void setCommittedText(std::string value) { publish(committedText_, std::move(value)); }
    void setProvisionalText(std::string value) { publish(provisionalText_, std::move(value)); }
    void setListening(bool value) { publish(isListening_, value); }
    void setProcessing(bool value) { publish(isProcessing_, value); }
    void setErrorMessage(std::optional<std::string> value) { publish(errorMessage_, std::move(value)); }
    void setCleaningTranscript(bool value) { publish(isCleaningTranscript_, value); }
    void setCleanupErrorMessage(std::optional<std::string> value) { publish(cleanupErrorMessage_, std::move(value)); }
    void setSummaryVisible(bool value) { publish(isSummaryVisible_, value); }
    void setSummaryMarkdown(std::string value) { publish(summaryMarkdown_, std::move(value)); }
    void setSummaryContext(std::string value) { publish(summaryContext_, std::move(value)); }
    void setSummaryState(LiveSummaryState value) { publish(summaryState_, std::move(value)); }
    void setChangingAudioSource(bool value) { publish(isChangingAudioSource_, value); }
    // Recording and finishing a recording exclude each other: setting one clears the other.
    void setRecordingAudio(bool value);
    void setFinishingAudioRecording(bool value);

    // The non-empty ones of the committed and the provisional text, joined by one blank.
    std::string fullText() const;

    // Empties the transcript, its errors and the summary. The context the user typed, the
    // visibility of the summary, the listening flags and the audio fields stay.
    void clear();

    // Puts the whole transcript, provisional part included and trimmed, on the clipboard; leaves the
    // clipboard alone when nothing is left.
    void copyToClipboard(Pasteboard& pasteboard) const;
    // Puts the summary's Markdown source on the clipboard, unless it is empty.
    void copySummaryToClipboard(Pasteboard& pasteboard) const;

    std::function<void()> onChange;
    // Told the new visibility when the summary pane is toggled; the window resizes itself.
    std::function<void(bool)> onSummaryVisibilityChanged;

private:
    template <class T>
    void publish(T& field, T value) {
        if (field == value) return;
        field = std::move(value);
        if (onChange) onChange();
    }

    std::string committedText_;
    std::string provisionalText_;
    bool isListening_ = false;
    bool isProcessing_ = false;
    std::optional<std::string> errorMessage_;
    bool isCleaningTranscript_ = false;
    std::optional<std::string> cleanupErrorMessage_;
    bool isSummaryVisible_ = false;
    std::string summaryMarkdown_;
    std::string summaryContext_;
    LiveSummaryState summaryState_;
    bool isChangingAudioSource_ = false;
    bool isRecordingAudio_ = false;
    bool isFinishingAudioRecording_ = false;
};

}  // namespace quillon
