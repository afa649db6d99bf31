#pragma once

#include <functional>
#include <memory>
#include <string>

#include "core/audio/LiveAudioCaptureController.h"
#include "core/audio/LiveAudioConfiguration.h"
#include "core/audio/LiveAudioFileRecorder.h"
#include "core/base/Scheduler.h"
#include "core/base/WeakOwner.h"
#include "core/codex/TranscriptCleanupService.h"
#include "core/dictation/DictationStatus.h"
#include "core/dictation/LiveTranscriptActivity.h"
#include "core/live/LiveAudioRecordingFlow.h"
#include "core/live/LiveSummaryCoordinator.h"
#include "core/live/LiveTranscriptModel.h"
#include "core/live/LiveTranscriptWindow.h"
#include "core/logging/Logger.h"
#include "core/ports/KeyValueStore.h"
#include "core/ports/UrlOpener.h"
#include "core/transcription/SpeechSessionFactory.h"
#include "core/transcription/TranscriptionUpdate.h"

namespace quillon {

// Runs the live transcript: starts and stops capture and a speech session, switches the audio
// source, owns the running summary, and keeps the displayed text right while the recogniser and
// the user write to it at once.
//
// It holds two versions of the committed text. sourceCommittedText_ is what the recogniser last
// reported; the model's committedText is what the user sees. The first moves only when the
// recogniser speaks, the second also when the user edits. Their difference is the user's edits,
// which each recogniser update carries over by a three-way merge (mergingUserEdits).
//
// States: idle; listening (isActive); stopping (isStopping: capture has ended and the session
// works through its remaining audio, with no time-out). Start and source changes are refused while
// stopping; a clear during a run stops it and finishes, then starts again, once the stop has ended.
//
// Beside the run: the audio file kept with the transcript (LiveAudioRecordingFlow, fed the same
// samples as the recogniser), and the AI cleanup of the whole transcript, whose result is brought
// into a text that has moved on meanwhile without losing the words that arrived.
//
// Threads: everything runs on `main`. The session's callbacks and capture errors are posted there
// first. The PCM handler runs on an audio thread and touches only its weak session reference and
// the file recorder, whose append is made for that thread. The activity flag, read by dictation
// off the main thread, has its own lock.
class LiveTranscriptCoordinator {
public:
    static constexpr double sampleRate = LiveAudioCaptureController::sampleRate;
    static constexpr std::string_view dictationRecordingMessage = "Stop the current recording first.";

    struct Collaborators {
        Scheduler& main;
        LiveAudioCaptureController& recorder;
        LiveAudioFileRecorder& audioFileRecorder;
        SpeechSessionFactory& speechSessions;
        KeyValueStore& preferences;
        DictationStatus& status;
        LiveTranscriptActivity& activity;
        // Whether dictation's recorder has a running audio engine; live and dictation exclude each other.
        std::function<bool()> isDictationRecording;
        LiveTranscriptWindowFactory makeWindow;
        // For the summary, made on first use.
        LiveSummaryCoordinator::ClientFactory makeCodexClient;
        UrlOpener& urls;
        // The audio file's save dialog and the move to where the user chose.
        SaveDialog& saveDialog;
        FileMover& files;
        BackgroundJobs& jobs;
        WallClock& clock;
        TranscriptCleanupService& cleanup;
    };

    static constexpr std::string_view cleanupConflictMessage =
        "The transcript changed too much while AI cleanup was running. Try again.";

    // Loads the saved source choice into the model and installs the capture error handler.
    LiveTranscriptCoordinator(Collaborators collaborators, Logger logger);
    ~LiveTranscriptCoordinator();
    LiveTranscriptCoordinator(const LiveTranscriptCoordinator&) = delete;
    LiveTranscriptCoordinator& operator=(const LiveTranscriptCoordinator&) = delete;

    LiveTranscriptModel& model() { return model_; }
    const LiveTranscriptModel& model() const { return model_; }
    LiveSummaryCoordinator& summaryCoordinator();
    bool isActive() const { return isActive_; }
    bool isStopping() const { return isStopping_; }
    // Told whenever isActive changes.
    std::function<void()> onActiveChange;

    // For the window and the popover.
    void start();
    void stop();
    void clearTranscript();
    void showWindow();
    void toggleSummary();
    // The user's whole new committed text.
    void editCommittedTranscript(std::string text);
    void setAudioConfiguration(const LiveAudioConfiguration& configuration);
    // The audio file beside the transcript: started during a run, ended with a save dialog.
    void startAudioRecording();
    void finishAudioRecordingAndPromptForSave(bool attachToTranscriptWindow);
    // Cleans the committed text with AI; at most one at a time, the provisional tail never sent.
    void cleanupTranscript();
    void cancelCleanup();

    // From the session, the capture and the window (public for the tests).
    void apply(const TranscriptionUpdate& update);
    void completeStop(const std::string& finalText);
    void handleFailure(const std::string& message);
    void liveTranscriptWindowDidClose();

private:
    std::shared_ptr<SpeechSession> makeSession();
    void routeAudio(const std::shared_ptr<SpeechSession>& session);
    void setActive(bool active);
    void resetTranscript();
    void finishStop();
    void cleanupFinished(const std::string& sentText, const std::string& sourceAtStart,
                         const CodexResult<std::string>& result);
    void applyCleanedTranscript(const std::string& cleaned, const std::string& sentText,
                                const std::string& sourceAtStart);

    Collaborators collaborators_;
    Logger logger_;

    LiveTranscriptModel model_;
    std::unique_ptr<LiveSummaryCoordinator> summaryCoordinator_;  // made on first use
    std::unique_ptr<LiveTranscriptWindow> window_;                // made on first showing
    std::shared_ptr<SpeechSession> session_;
    std::string sourceCommittedText_;
    bool isActive_ = false;
    bool isStopping_ = false;
    // A clear during a run waits for the stop to end, then clears and starts again.
    bool restartAfterStop_ = false;
    LiveAudioRecordingFlow audioRecording_;
    // The running cleanup; a result whose generation is not the current one was cancelled.
    std::optional<TranscriptCleanupService::Call> cleanupCall_;
    std::uint64_t cleanupGeneration_ = 0;
    WeakOwner weakOwner_;  // last: callbacks and posted tasks drop once the coordinator is gone
};

}  // namespace quillon
