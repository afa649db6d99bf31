#include "core/dictation/RecordingCoordinator.h"

#include <system_error>
#include <utility>

namespace quillon {

namespace {

using TranscriptResult = std::expected<std::string, TranscriptionError>;

// Dictation keeps no audio: a chunk file is deleted on every path, and a failure to delete it is
// of no consequence to the user.
void removeRecordingFile(const std::filesystem::path& file) {
    std::error_code ignored;
    std::filesystem::remove(file, ignored);
}

std::string flagText(bool value) {
    return value ? "true" : "false";
}

}  // namespace

RecordingCoordinator::RecordingCoordinator(Collaborators collaborators, Logger logger)
    : collaborators_(collaborators),
      logger_(logger),
      deliveries_(collaborators.main, collaborators.textInsertion, collaborators.pasteboard,
                  collaborators.status, logger) {
    // Start and stop are posted so that they run after the key event has been handled and
    // swallowed; the mode change is applied within it.
    collaborators_.hotkey.onStartRecording = weakOwner_.weakly(
        [this] { collaborators_.main.post(weakOwner_.weakly([this] { startRecording(); })); });
    collaborators_.hotkey.onRecordingModeChanged =
        weakOwner_.weakly([this](bool enabled) { setTapToggleMode(enabled); });
    collaborators_.hotkey.onStopRecording = weakOwner_.weakly(
        [this] { collaborators_.main.post(weakOwner_.weakly([this] { stopRecording(); })); });
    collaborators_.recorder.onRecordingComplete =
        weakOwner_.weakly([this](const std::filesystem::path& file) {
            collaborators_.main.post(weakOwner_.weakly([this, file] { handleRecordingComplete(file); }));
        });
    collaborators_.recorder.onError =
        weakOwner_.weakly([this](const std::string& description) { handleError(description); });
}

RecordingCoordinator::~RecordingCoordinator() = default;

void RecordingCoordinator::startRecording() {
    if (collaborators_.liveTranscriptActivity.activeSnapshot()) {
        // The hotkey is deliberately left as it is: it follows the key until its next event.
        logger_.info("Ignoring dictation hotkey while live transcription is active");
        return;
    }

    // The target is taken before anything else can move the focus; no recording without one.
    // Insertion's worker finds it; a second press meanwhile changes nothing.
    if (isStarting_) return;
    isStarting_ = true;
    collaborators_.textInsertion.captureFocusedTextTarget(
        weakOwner_.weakly([this](TextInsertion::TargetResult target) { beginRecording(std::move(target)); }));
}

void RecordingCoordinator::beginRecording(TextInsertion::TargetResult target) {
    isStarting_ = false;
    if (stoppedWhileStarting_) {
        // The key went up before the field was known: nothing was recorded.
        stoppedWhileStarting_ = false;
        logger_.info("Recording stopped before it started");
        return;
    }
    if (!target) {
        logger_.error("Could not bind recording to a focused text field: " + description(target.error()));
        collaborators_.status.updateState(AppState::error(std::string(noTextFieldMessage)));
        collaborators_.hotkey.resetToIdle();
        return;
    }

    const Uuid sessionID = Uuid::random();
    // A session still attached here is released unfinished; its delivery lives on.
    transcriptionSession_ = makeTranscriptionSession(sessionID);
    activeInsertionSessionID_ = sessionID;
    deliveries_.begin(sessionID, std::move(*target));
    routeAudio(transcriptionSession_);
    isTapToggleMode_ = false;

    // Every recording starts as a press; the hotkey settles hold or tap-to-toggle later.
    auto started = collaborators_.recorder.startRecording(false, true);
    if (!started) {
        if (transcriptionSession_) transcriptionSession_->cancel();
        transcriptionSession_.reset();
        activeInsertionSessionID_.reset();
        deliveries_.discard(sessionID);
        collaborators_.recorder.setOnPCM16Data(nullptr);
        const std::string message = "Failed to start recording: " + started.error();
        logger_.error(message);
        collaborators_.status.updateState(AppState::error(message));
        return;
    }

    collaborators_.status.updateState(AppState::recording());
    collaborators_.indicator.setMode(RecordingIndicatorMode::recording);
    collaborators_.indicator.show();
    if (collaborators_.settings.soundFeedbackEnabled()) playSound("Start");
    logger_.info("Recording started (tap-to-toggle mode: " + flagText(isTapToggleMode_) + ")");
}

std::shared_ptr<SpeechSession> RecordingCoordinator::makeTranscriptionSession(const Uuid& sessionID) {
    // The session calls back on its own thread: each handler only posts to the main thread.
    auto insert =
        weakOwner_.weakly([this, sessionID](const std::string& phrase, const std::string& accumulated) {
            insertFinalizedPhrase(phrase, accumulated, sessionID);
        });
    auto fail = weakOwner_.weakly(
        [this, sessionID](const std::string& message) { transcriptionFailed(message, sessionID); });

    SpeechSessionHandlers handlers;
    handlers.onPhraseFinalized = [&main = collaborators_.main, insert](const std::string& phrase,
                                                                       const std::string& accumulated) {
        main.post([insert, phrase, accumulated] { insert(phrase, accumulated); });
    };
    handlers.onFailure = [&main = collaborators_.main, fail](const std::string& message) {
        main.post([fail, message] { fail(message); });
    };
    return collaborators_.speechSessions.makeSession(std::move(handlers));
}

void RecordingCoordinator::routeAudio(const std::shared_ptr<SpeechSession>& session) {
    collaborators_.recorder.setOnPCM16Data(
        [weakSession = std::weak_ptr<SpeechSession>(session)](std::span<const std::byte> block) {
            if (auto alive = weakSession.lock()) alive->appendPCM16(block, sampleRate);
        });
}

void RecordingCoordinator::setTapToggleMode(bool enabled) {
    // A press can outlive its recording (a refused or failed start): nothing to change then.
    if (!collaborators_.recorder.isRunning()) return;
    isTapToggleMode_ = enabled;
    collaborators_.recorder.setTapToggleMode(enabled);
    logger_.info("Recording mode changed (tap-to-toggle mode: " + flagText(enabled) + ")");
}

void RecordingCoordinator::stopRecording() {
    if (isStarting_) {
        stoppedWhileStarting_ = true;
        collaborators_.hotkey.resetToIdle();
        return;
    }
    isTapToggleMode_ = false;
    collaborators_.recorder.setIsTapToggleMode(false);
    collaborators_.recorder.cancelMaxDurationTimer();
    collaborators_.recorder.stopRecording();
    collaborators_.indicator.setMode(RecordingIndicatorMode::transcribing);
    collaborators_.status.updateState(AppState::transcribing());
    // The hotkey may start the next recording before this one has delivered its text.
    collaborators_.hotkey.resetToIdle();
    if (collaborators_.settings.soundFeedbackEnabled()) playSound("End");
    logger_.info("Recording stopped");
}

void RecordingCoordinator::handleRecordingComplete(const std::filesystem::path& file) {
    std::shared_ptr<SpeechSession> session = transcriptionSession_;
    if (collaborators_.recorder.isAutomaticRollover() && session) {
        // A chunk boundary of a long recording: the session goes on with the next chunk.
        removeRecordingFile(file);
        logger_.info("Recording file rolled over while transcription continues");
        return;
    }

    const std::optional<Uuid> sessionID = activeInsertionSessionID_;
    transcriptionSession_.reset();
    collaborators_.recorder.setOnPCM16Data(nullptr);

    if (sessionID && deliveries_.contains(*sessionID)) {
        // From here on the session's text goes to whatever field has the focus.
        deliveries_.markRecordingComplete(*sessionID);
        deliveries_.flushPendingInsertions();
    }

    auto finished = weakOwner_.weakly(
        [this, sessionID](const TranscriptResult& result) { transcriptionFinished(sessionID, result); });
    // Runs on the session's thread. It keeps the session alive until the main thread has the
    // result, so the session is never destroyed from within its own callback.
    auto completion = [&main = collaborators_.main, file, finished,
                       session](TranscriptResult result) mutable {
        removeRecordingFile(file);
        main.post([finished, result = std::move(result), session = std::move(session)] { finished(result); });
    };
    if (session) {
        session->finishAndWait(std::move(completion));
    } else {
        completion(std::string());
    }
}

void RecordingCoordinator::transcriptionFinished(const std::optional<Uuid>& sessionID,
                                                 const TranscriptResult& result) {
    if (result) {
        if (sessionID) deliveries_.finishInsertionDelivery(*sessionID, *result);
        releaseActiveSession(sessionID);
        // A newer recording owns the icon and the indicator while it runs.
        if (!collaborators_.recorder.isRunning()) {
            collaborators_.status.updateState(AppState::idle());
            collaborators_.indicator.hide();
        }
        logger_.info("Transcription complete");
        return;
    }

    // Whatever the session had finalised still reaches a field or the clipboard.
    if (sessionID && deliveries_.contains(*sessionID))
        deliveries_.finishInsertionDelivery(*sessionID, std::string());
    releaseActiveSession(sessionID);
    const std::string message = "Transcription failed: " + result.error().description();
    if (!collaborators_.recorder.isRunning()) {
        collaborators_.status.updateState(AppState::error(message));
        collaborators_.indicator.hide();
    }
    logger_.error(message);
}

void RecordingCoordinator::releaseActiveSession(const std::optional<Uuid>& sessionID) {
    // Only the session's own ID is cleared; a newer session's is left alone.
    if (activeInsertionSessionID_ == sessionID) activeInsertionSessionID_.reset();
}

void RecordingCoordinator::transcriptionFailed(const std::string& message, const Uuid& sessionID) {
    // The recording runs on; the session's end is handled when the recording completes.
    if (deliveries_.contains(sessionID)) logger_.error("Transcription decode failed: " + message);
}

void RecordingCoordinator::handleError(const std::string& description) {
    std::shared_ptr<SpeechSession> session = std::exchange(transcriptionSession_, nullptr);
    const std::optional<Uuid> sessionID = std::exchange(activeInsertionSessionID_, std::nullopt);
    collaborators_.recorder.setOnPCM16Data(nullptr);
    logger_.error("Recording error: " + description);
    collaborators_.status.updateState(AppState::error(description));
    collaborators_.indicator.hide();
    collaborators_.hotkey.resetToIdle();

    if (!sessionID || !deliveries_.contains(*sessionID)) {
        if (session) session->cancel();
        return;
    }
    // Nothing said before the failure is lost: the session finishes on the audio it has, and its
    // text goes, like a stopped recording's, to the field focused now or else the clipboard. The
    // error stays in the tray meanwhile.
    deliveries_.markRecordingComplete(*sessionID);
    deliveries_.flushPendingInsertions();
    auto finished = weakOwner_.weakly([this, id = *sessionID](const TranscriptResult& result) {
        if (!result)
            logger_.error("The interrupted recording's transcription failed: " +
                          result.error().description());
        deliveries_.finishInsertionDelivery(id, result.value_or(std::string()));
    });
    if (!session) {
        collaborators_.main.post([finished] { finished(std::string()); });
        return;
    }
    // As at a stop, the completion keeps the session alive until the main thread has the result.
    session->finishAndWait([&main = collaborators_.main, finished, session](TranscriptResult result) mutable {
        main.post([finished, result = std::move(result), session = std::move(session)] { finished(result); });
    });
}

void RecordingCoordinator::insertFinalizedPhrase(const std::string& phrase,
                                                 const std::string& accumulatedText, const Uuid& sessionID) {
    deliveries_.insertFinalizedPhrase(phrase, accumulatedText, sessionID);
}

void RecordingCoordinator::transcribeImportedMedia(const std::filesystem::path& file) {
    std::optional<Uuid> job;
    if (transcriptWindows_) job = transcriptWindows_->showTranscriptionProgress(file);
    logger_.info("Starting imported media transcription: " + file.string());

    auto finished = weakOwner_.weakly(
        [this, job, file](const TranscriptResult& result) { importedMediaFinished(job, file, result); });
    collaborators_.fileTranscriber.transcribe(
        file, [&main = collaborators_.main, finished](TranscriptResult result) {
            main.post([finished, result = std::move(result)] { finished(result); });
        });
}

void RecordingCoordinator::importedMediaFinished(const std::optional<Uuid>& job,
                                                 const std::filesystem::path& file,
                                                 const TranscriptResult& result) {
    const std::string sourceName = file.filename().string();
    // The window may have been closed meanwhile; the windows drop results for closed jobs.
    TranscriptWindows* windows = job ? transcriptWindows_ : nullptr;
    if (!result) {
        if (windows) windows->showFailure(*job, result.error().description(), sourceName);
        logger_.error("Imported media transcription failed: " + result.error().description());
        return;
    }
    if (result->empty()) {
        if (windows) windows->showTranscript(*job, std::string(), sourceName);
        logger_.info("Transcription produced no insertable text");
        return;
    }
    collaborators_.status.addTranscription(*result);
    if (windows) windows->showTranscript(*job, *result, sourceName);
    logger_.info("Imported media transcription complete");
}

void RecordingCoordinator::playSound(const std::string& name) {
    const auto resource = collaborators_.soundPlayer.soundResource(name, "m4a");
    if (!resource) {
        logger_.error("Could not find sound file: " + name + ".m4a");
        return;
    }
    auto sound = collaborators_.soundPlayer.loadSound(*resource);
    if (!sound) {
        logger_.error("Could not load sound file: " + resource->string());
        return;
    }
    playingSounds_.push_back(sound);
    sound->play();
    // Releases every sound held, not just this one: a sound started within the last two seconds
    // may be cut short, which is accepted.
    collaborators_.main.postAfter(soundRetention, weakOwner_.weakly([this] { playingSounds_.clear(); }));
}

}  // namespace quillon
