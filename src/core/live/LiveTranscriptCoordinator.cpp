#include "core/live/LiveTranscriptCoordinator.h"

#include <utility>

#include "core/audio/LiveAudioPreferences.h"
#include "core/base/Unicode.h"
#include "core/live/TranscriptMerging.h"
#include "core/text/TranscriptJoining.h"

namespace quillon {

LiveTranscriptCoordinator::LiveTranscriptCoordinator(Collaborators collaborators, Logger logger)
    : collaborators_(std::move(collaborators)),
      logger_(std::move(logger)),
      audioRecording_(model_,
                      {collaborators_.main, collaborators_.audioFileRecorder, collaborators_.saveDialog,
                       collaborators_.files, collaborators_.jobs, collaborators_.clock},
                      logger_) {
    model_.setAudioConfiguration(LiveAudioPreferences::configuration(collaborators_.preferences));
    // Capture reports on the main thread already; the hop keeps a failure from acting inside the
    // capture call that raised it.
    auto fail = weakOwner_.weakly([this](const std::string& message) { handleFailure(message); });
    collaborators_.recorder.onError = [&main = collaborators_.main, fail](const AudioCaptureError& error) {
        main.post([fail, message = error.description()] { fail(message); });
    };
}

LiveTranscriptCoordinator::~LiveTranscriptCoordinator() {
    if (collaborators_.recorder.isRunning()) collaborators_.recorder.stop();
    collaborators_.recorder.onPCM16Data = nullptr;
    collaborators_.recorder.onError = nullptr;
    if (session_) session_->cancel();
    if (isActive_) collaborators_.activity.setActiveSnapshot(false);
}

LiveSummaryCoordinator& LiveTranscriptCoordinator::summaryCoordinator() {
    if (!summaryCoordinator_) {
        summaryCoordinator_ = std::make_unique<LiveSummaryCoordinator>(
            model_, collaborators_.main, collaborators_.makeCodexClient, collaborators_.urls);
    }
    return *summaryCoordinator_;
}

void LiveTranscriptCoordinator::showWindow() {
    if (!window_) {
        window_ = collaborators_.makeWindow(model_);
        window_->setOnClose(weakOwner_.weakly([this] { liveTranscriptWindowDidClose(); }));
    }
    window_->show();
}

void LiveTranscriptCoordinator::start() {
    // Pressing start always brings the window up, whatever follows.
    showWindow();
    if (isActive_ || isStopping_) return;
    if (collaborators_.isDictationRecording && collaborators_.isDictationRecording()) {
        model_.setErrorMessage(std::string(dictationRecordingMessage));
        return;
    }
    model_.setErrorMessage(std::nullopt);

    session_ = makeSession();
    routeAudio(session_);
    if (auto started = collaborators_.recorder.start(model_.audioConfiguration()); !started) {
        collaborators_.recorder.onPCM16Data = nullptr;
        session_->cancel();
        session_.reset();
        handleFailure(started.error().description());
        return;
    }

    // The old transcript stays on screen until the new session's first (empty) update replaces it.
    setActive(true);
    model_.setListening(true);
    model_.setProcessing(false);
    collaborators_.status.updateState(AppState::liveTranscribing());
    logger_.info("Live transcript started");
}

std::shared_ptr<SpeechSession> LiveTranscriptCoordinator::makeSession() {
    // The session calls back on its own thread: each handler only posts to the main thread, where
    // the work is done while the coordinator lives.
    auto update = weakOwner_.weakly([this](const TranscriptionUpdate& u) { apply(u); });
    auto finished = weakOwner_.weakly([this](const std::string& finalText) { completeStop(finalText); });
    auto failed = weakOwner_.weakly([this](const std::string& message) { handleFailure(message); });

    SpeechSessionHandlers handlers;
    handlers.onUpdate = [&main = collaborators_.main, update](const TranscriptionUpdate& u) {
        main.post([update, u] { update(u); });
    };
    handlers.onFinished = [&main = collaborators_.main, finished](const std::string& finalText) {
        main.post([finished, finalText] { finished(finalText); });
    };
    handlers.onFailure = [&main = collaborators_.main, failed](const std::string& message) {
        main.post([failed, message] { failed(message); });
    };
    return collaborators_.speechSessions.makeSession(std::move(handlers));
}

void LiveTranscriptCoordinator::routeAudio(const std::shared_ptr<SpeechSession>& session) {
    // The transcript and the audio file see the same samples; the file recorder drops them
    // unless it is recording. The file recorder outlives the capture's callbacks (cleared at stop
    // and in the destructor).
    collaborators_.recorder.onPCM16Data = [weakSession = std::weak_ptr<SpeechSession>(session),
                                           &files = collaborators_.audioFileRecorder](std::span<const std::byte> block) {
        if (auto alive = weakSession.lock()) alive->appendPCM16(block, sampleRate);
        files.appendPCM16(block);
    };
}

void LiveTranscriptCoordinator::setActive(bool active) {
    collaborators_.activity.setActiveSnapshot(active);
    if (isActive_ == active) return;
    isActive_ = active;
    if (onActiveChange) onActiveChange();
}

void LiveTranscriptCoordinator::stop() {
    if (!isActive_ || isStopping_) return;
    isStopping_ = true;
    setActive(false);
    model_.setListening(false);

    // Capture guarantees no callback once stopped, so the handler is cleared after the stop, never
    // under a running audio thread.
    collaborators_.recorder.stop();
    collaborators_.recorder.onPCM16Data = nullptr;
    // The recogniser still has audio to work through: the session stays, and its onFinished ends
    // the stop. The completion itself has nothing to add.
    session_->finishAndWait([](const std::expected<std::string, TranscriptionError>&) {});

    collaborators_.status.updateState(AppState::transcribing());
    logger_.info("Live transcript stopping");
}

void LiveTranscriptCoordinator::apply(const TranscriptionUpdate& update) {
    // Not gated on the state: an update that arrives after a failure is shown all the same.
    std::string merged = mergingUserEdits(sourceCommittedText_, model_.committedText(), update.committedText);
    sourceCommittedText_ = update.committedText;
    model_.setCommittedText(merged);
    model_.setProvisionalText(update.provisionalText);
    model_.setProcessing(update.isProcessing);
    summaryCoordinator().transcriptDidChange(std::move(merged), false);
}

void LiveTranscriptCoordinator::editCommittedTranscript(std::string text) {
    if (text == model_.committedText()) return;
    // sourceCommittedText_ stays: the difference is what marks the change as the user's.
    model_.setCommittedText(text);
    summaryCoordinator().transcriptDidChange(std::move(text), false);
}

void LiveTranscriptCoordinator::completeStop(const std::string& finalText) {
    // A session that ended after a failure has no claim on the transcript any more.
    if (!isStopping_) return;
    session_.reset();
    isStopping_ = false;

    const std::string merged = mergingUserEdits(sourceCommittedText_, model_.committedText(), finalText);
    sourceCommittedText_ = finalText;
    model_.setCommittedText(merged);
    model_.setProvisionalText({});
    model_.setProcessing(false);
    // The summary sees the end of the text at once.
    summaryCoordinator().transcriptDidChange(merged, true);
    if (!merged.empty()) collaborators_.status.addTranscription(merged);

    collaborators_.status.updateState(AppState::idle());
    logger_.info("Live transcript stopped");
    finishStop();
}

void LiveTranscriptCoordinator::handleFailure(const std::string& message) {
    if (session_) {
        session_->cancel();
        session_.reset();
    }
    if (collaborators_.recorder.isRunning()) collaborators_.recorder.stop();
    collaborators_.recorder.onPCM16Data = nullptr;
    setActive(false);
    isStopping_ = false;

    // The committed and provisional texts stay on screen.
    model_.setListening(false);
    model_.setProcessing(false);
    model_.setErrorMessage(message);
    collaborators_.status.updateState(AppState::error("Live transcription failed: " + message));
    logger_.error("Live transcript failed: " + message);
    finishStop();
}

void LiveTranscriptCoordinator::finishStop() {
    if (!std::exchange(restartAfterStop_, false)) return;
    // A clear made during the run that just ended: clear, then start again.
    collaborators_.main.post(weakOwner_.weakly([this] {
        resetTranscript();
        start();
    }));
}

void LiveTranscriptCoordinator::clearTranscript() {
    // The cleanup's result must not bring the cleared text back.
    cancelCleanup();
    if (isActive_) {
        stop();
        restartAfterStop_ = true;
        return;
    }
    // While stopping, the draining session's final text comes back through completeStop, as the
    // recogniser's and the displayed text are both empty.
    resetTranscript();
}

void LiveTranscriptCoordinator::resetTranscript() {
    sourceCommittedText_.clear();
    model_.clear();
    summaryCoordinator().reset();
}

void LiveTranscriptCoordinator::toggleSummary() {
    const bool wasVisible = model_.isSummaryVisible();
    model_.setSummaryVisible(!wasVisible);
    if (model_.onSummaryVisibilityChanged) model_.onSummaryVisibilityChanged(!wasVisible);
    if (wasVisible) {
        summaryCoordinator().shutdownClient();
        model_.setSummaryState(LiveSummaryState::idle());
    } else {
        summaryCoordinator().prepare();
    }
}

void LiveTranscriptCoordinator::setAudioConfiguration(const LiveAudioConfiguration& configuration) {
    if (isStopping_ || model_.isChangingAudioSource()) return;
    if (configuration == model_.audioConfiguration()) return;

    if (isActive_) {
        // The session keeps running across the switch; its buffers just come from the new source.
        model_.setChangingAudioSource(true);
        if (auto changed = collaborators_.recorder.reconfigure(configuration); !changed) {
            const std::string reason = description(changed.error());
            model_.setErrorMessage("Could not change audio source: " + reason);
            // Capture could not put the old source back either: the run is over.
            if (!collaborators_.recorder.isRunning()) handleFailure(reason);
            model_.setChangingAudioSource(false);
            logger_.error("Could not change the live audio source: " + reason);
            return;  // the old choice stays in the model and the preferences
        }
        model_.setChangingAudioSource(false);
    }

    model_.setAudioConfiguration(configuration);
    model_.setErrorMessage(std::nullopt);
    LiveAudioPreferences::setConfiguration(collaborators_.preferences, configuration);
}

void LiveTranscriptCoordinator::liveTranscriptWindowDidClose() {
    // Closing the window ends the run but keeps the text; an audio file is offered for saving in a
    // dialog of its own, since the window has gone.
    if (isActive_) stop();
    if (model_.isRecordingAudio()) finishAudioRecordingAndPromptForSave(false);
}

void LiveTranscriptCoordinator::startAudioRecording() { audioRecording_.startAudioRecording(); }

void LiveTranscriptCoordinator::finishAudioRecordingAndPromptForSave(bool attachToTranscriptWindow) {
    audioRecording_.finishAudioRecordingAndPromptForSave(attachToTranscriptWindow);
}

void LiveTranscriptCoordinator::cancelCleanup() {
    if (cleanupCall_) {
        cleanupCall_->cancel();
        cleanupCall_.reset();
    }
    ++cleanupGeneration_;
    model_.setCleaningTranscript(false);
    model_.setCleanupErrorMessage(std::nullopt);
}

void LiveTranscriptCoordinator::cleanupTranscript() {
    // A press during a running cleanup has no effect; the provisional tail is never sent.
    std::string sentText = model_.committedText();
    if (unicode::trimmed(sentText).empty() || cleanupCall_) return;
    model_.setCleanupErrorMessage(std::nullopt);
    model_.setCleaningTranscript(true);
    logger_.info("AI cleanup of the live transcript started");

    // Capture, recognition and typing go on while the child works.
    auto finished = weakOwner_.weakly([this, generation = ++cleanupGeneration_, sentText,
                                       sourceAtStart = sourceCommittedText_](const CodexResult<std::string>& result) {
        if (generation == cleanupGeneration_) cleanupFinished(sentText, sourceAtStart, result);
    });
    cleanupCall_ = collaborators_.cleanup.clean(
        std::move(sentText), model_.summaryContext(),
        [&main = collaborators_.main, finished](CodexResult<std::string> result) {
            main.post([finished, result = std::move(result)] { finished(result); });
        });
}

void LiveTranscriptCoordinator::cleanupFinished(const std::string& sentText, const std::string& sourceAtStart,
                                                const CodexResult<std::string>& result) {
    cleanupCall_.reset();
    if (result) {
        applyCleanedTranscript(*result, sentText, sourceAtStart);
    } else {
        model_.setCleanupErrorMessage("AI cleanup failed: " + result.error().description());
        logger_.error("AI cleanup of the live transcript failed: " + result.error().description());
    }
    model_.setCleaningTranscript(false);
}

void LiveTranscriptCoordinator::applyCleanedTranscript(const std::string& cleaned, const std::string& sentText,
                                                       const std::string& sourceAtStart) {
    // Keep what arrived during the cleanup: the displayed text's growth if what was sent is intact,
    // otherwise the recogniser's growth (the user's edits made meanwhile give way to the cleanup).
    const std::string& displayed = model_.committedText();
    std::string_view tail;
    if (unicode::hasGraphemePrefix(displayed, sentText)) {
        tail = std::string_view(displayed).substr(sentText.size());
    } else if (unicode::hasGraphemePrefix(sourceCommittedText_, sourceAtStart)) {
        tail = std::string_view(sourceCommittedText_).substr(sourceAtStart.size());
    } else {
        model_.setCleanupErrorMessage(std::string(cleanupConflictMessage));
        logger_.error("AI cleanup result dropped: the transcript changed too much meanwhile");
        return;
    }
    // sourceCommittedText_ stays: to the next update the cleaned text is one large user edit.
    std::string merged = appendingTranscriptSuffix(tail, cleaned);
    model_.setCommittedText(merged);
    model_.setCleanupErrorMessage(std::nullopt);
    logger_.info("AI cleanup of the live transcript applied");
    summaryCoordinator().transcriptDidChange(std::move(merged), true);
}

}  // namespace quillon
