#pragma once

#include <chrono>
#include <expected>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/base/AppState.h"
#include "core/base/Scheduler.h"
#include "core/base/Uuid.h"
#include "core/base/WeakOwner.h"
#include "core/dictation/DictationHotkey.h"
#include "core/dictation/DictationRecorder.h"
#include "core/dictation/DictationStatus.h"
#include "core/dictation/InsertionDeliveryQueue.h"
#include "core/dictation/LiveTranscriptActivity.h"
#include "core/insertion/TextInsertion.h"
#include "core/logging/Logger.h"
#include "core/ports/Pasteboard.h"
#include "core/ports/RecordingIndicator.h"
#include "core/ports/SoundPlayer.h"
#include "core/ports/TranscriptWindows.h"
#include "core/settings/SettingsManager.h"
#include "core/transcription/FileTranscriber.h"
#include "core/transcription/SpeechSessionFactory.h"

namespace quillon {

// The spine of dictation. Turns the hotkey's start, mode and stop signals into recording
// sessions: binds each to the field focused when it starts, streams the microphone into a speech
// session, hands finalised phrases to the insertion delivery, and drives the status icon, the
// indicator and the sounds. The stop returns the hotkey to idle at once while the stopped session
// finishes in the background, so a new recording may start while the last one still delivers.
// Also runs the transcription of files the user hands to the program.
//
// Threads: everything runs on `main`; text insertion answers there too, so a start takes effect
// once insertion's worker has found the focused field. Speech session callbacks, their final results and file
// transcription results arrive on other threads and are posted to `main` before they touch any
// state. The PCM handler runs on the audio thread and touches only its weak session reference.
class RecordingCoordinator {
public:
    static constexpr double sampleRate = 16000.0;
    static constexpr std::chrono::seconds soundRetention{2};
    static constexpr std::string_view noTextFieldMessage = "Click in a text field before starting dictation.";

    struct Collaborators {
        Scheduler& main;
        DictationRecorder& recorder;
        DictationHotkey& hotkey;
        TextInsertion& textInsertion;
        SpeechSessionFactory& speechSessions;
        FileTranscriber& fileTranscriber;
        RecordingIndicator& indicator;
        SoundPlayer& soundPlayer;
        Pasteboard& pasteboard;
        DictationStatus& status;
        const SettingsManager& settings;
        const LiveTranscriptActivity& liveTranscriptActivity;
    };

    // Installs the hotkey and recorder callbacks.
    RecordingCoordinator(Collaborators collaborators, Logger logger);
    ~RecordingCoordinator();
    RecordingCoordinator(const RecordingCoordinator&) = delete;
    RecordingCoordinator& operator=(const RecordingCoordinator&) = delete;

    // May stay absent: imported files then get no window.
    void setTranscriptWindows(TranscriptWindows* windows) { transcriptWindows_ = windows; }

    void startRecording();
    void setTapToggleMode(bool enabled);
    void stopRecording();
    void handleRecordingComplete(const std::filesystem::path& file);
    void transcriptionFailed(const std::string& message, const Uuid& sessionID);
    void handleError(const std::string& description);
    void transcribeImportedMedia(const std::filesystem::path& file);
    void playSound(const std::string& name);

    void insertFinalizedPhrase(const std::string& phrase, const std::string& accumulatedText,
                               const Uuid& sessionID);

    bool isTapToggleMode() const { return isTapToggleMode_; }
    // The newest session, while it is current.
    const std::optional<Uuid>& activeInsertionSessionID() const { return activeInsertionSessionID_; }
    bool hasTranscriptionSession() const { return transcriptionSession_ != nullptr; }
    const InsertionDeliveryQueue& insertionDeliveries() const { return deliveries_; }

private:
    void beginRecording(TextInsertion::TargetResult target);
    std::shared_ptr<SpeechSession> makeTranscriptionSession(const Uuid& sessionID);
    void routeAudio(const std::shared_ptr<SpeechSession>& session);
    void transcriptionFinished(const std::optional<Uuid>& sessionID,
                               const std::expected<std::string, TranscriptionError>& result);
    void importedMediaFinished(const std::optional<Uuid>& job, const std::filesystem::path& file,
                               const std::expected<std::string, TranscriptionError>& result);
    void releaseActiveSession(const std::optional<Uuid>& sessionID);

    Collaborators collaborators_;
    Logger logger_;

    TranscriptWindows* transcriptWindows_ = nullptr;
    bool isTapToggleMode_ = false;
    bool isStarting_ = false;  // waiting for the focused field
    bool stoppedWhileStarting_ = false;
    std::shared_ptr<SpeechSession> transcriptionSession_;
    std::optional<Uuid> activeInsertionSessionID_;
    InsertionDeliveryQueue deliveries_;
    std::vector<std::shared_ptr<Sound>> playingSounds_;  // kept alive while they play
    WeakOwner weakOwner_;  // last: callbacks and posted tasks drop once the coordinator is gone
};

}  // namespace quillon
