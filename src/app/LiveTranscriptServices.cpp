#include "app/LiveTranscriptServices.h"

#include "core/audio/LiveAudioCaptureController.h"
#include "core/audio/LiveAudioFileRecorder.h"
#include "core/codex/CodexAppServerClient.h"
#include "core/transcription/SpeechTranscriptionSessionFactory.h"
#include "platform/linux/apps/DesktopEntryIndex.h"
#include "platform/linux/audio/AudioCapturePulse.h"
#include "platform/linux/audio/SystemAudioProcessesPulse.h"
#include "platform/linux/audio/SystemAudioTapPulse.h"
#include "platform/linux/base/BackgroundJobsThreads.h"
#include "platform/linux/base/FileMoverPosix.h"
#include "platform/linux/base/SerialQueue.h"
#include "platform/linux/media/AudioFileWriterFFmpeg.h"
#include "platform/linux/process/ChildProcessPosix.h"

namespace quillon {

// Built in this order and destroyed in reverse, so the coordinator goes before what it uses and
// the queues go last.
struct LiveTranscriptServices::Parts {
    explicit Parts(Context& context)
        : capture(context.main, mixerQueue, microphone, systemAudioTap),
          audioFileRecorder(context.main, fileRecorderQueue, audioFiles, context.temporaryFiles),
          speechSessions(context.speech, context.converters, {&speechQueue}),
          codexCapability(context.host),
          makeCodexClient([this, &context] {
              return CodexAppServerClient::make(
                  {codexQueue, ChildProcessPosix::factory(), context.host, context.localModelProvider});
          }),
          cleanup(codexQueue, makeCodexClient) {}

    SerialQueue mixerQueue{"com.lanternmoth.Quillon.live-audio-mixer"};
    SerialQueue fileRecorderQueue{"com.lanternmoth.Quillon.live-audio-file-recorder"};
    SerialQueue speechQueue{"com.lanternmoth.Quillon.live-speech"};
    // The Codex clients of the summary and the cleanup; each keeps its own state on it.
    SerialQueue codexQueue{"com.lanternmoth.Quillon.codex"};
    DesktopEntryIndex desktopEntries;
    AudioCapturePulse microphone;
    SystemAudioTapPulse systemAudioTap{desktopEntries};
    SystemAudioProcessesPulse systemAudioProcesses{desktopEntries};
    std::unique_ptr<SystemAudioSourceCatalog> sourceCatalog;
    LiveAudioCaptureController capture;
    AudioFileWriterFFmpeg audioFiles;
    LiveAudioFileRecorder audioFileRecorder;
    SpeechTranscriptionSessionFactory speechSessions;
    CodexCapabilityModel codexCapability;
    LiveSummaryCoordinator::ClientFactory makeCodexClient;
    TranscriptCleanupService cleanup;
    FileMoverPosix files;
    // Moves a saved recording into place off the main thread.
    BackgroundJobsThreads jobs;
    std::unique_ptr<LiveTranscriptCoordinator> coordinator;
};

LiveTranscriptServices::LiveTranscriptServices(Context context)
    : context_(std::move(context)), parts_(std::make_unique<Parts>(context_)) {
    parts_->coordinator = std::make_unique<LiveTranscriptCoordinator>(
        LiveTranscriptCoordinator::Collaborators{
            .main = context_.main,
            .recorder = parts_->capture,
            .audioFileRecorder = parts_->audioFileRecorder,
            .speechSessions = parts_->speechSessions,
            .preferences = context_.preferences,
            .status = context_.status,
            .activity = context_.activity,
            .isDictationRecording = context_.isDictationRecording,
            .makeWindow = [this](LiveTranscriptModel&) { return context_.makeWindow(*this); },
            .makeCodexClient = parts_->makeCodexClient,
            .urls = context_.urls,
            .saveDialog = context_.saveDialog,
            .files = parts_->files,
            .jobs = parts_->jobs,
            .clock = context_.clock,
            .cleanup = parts_->cleanup,
        },
        Logger(context_.log, LogCategory::app));
}

LiveTranscriptServices::~LiveTranscriptServices() {
    shutdown();
}

LiveTranscriptCoordinator& LiveTranscriptServices::coordinator() {
    return *parts_->coordinator;
}
CodexCapabilityModel& LiveTranscriptServices::codexCapability() {
    return parts_->codexCapability;
}
const TranscriptCleanupService& LiveTranscriptServices::cleanup() const {
    return parts_->cleanup;
}

void LiveTranscriptServices::shutdown() {
    parts_->coordinator->stop();
    if (parts_->capture.isRunning()) parts_->capture.stop();
}

SystemAudioSourceCatalog& LiveTranscriptServices::sourceCatalog() {
    if (!parts_->sourceCatalog) {
        parts_->sourceCatalog = std::make_unique<SystemAudioSourceCatalog>(
            context_.main, parts_->systemAudioProcesses, "quillon");
    }
    return *parts_->sourceCatalog;
}

}  // namespace quillon
