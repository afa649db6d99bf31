#include "core/live/LiveAudioRecordingFlow.h"

#include <chrono>
#include <cstdio>
#include <utility>

namespace quillon {

LiveAudioRecordingFlow::LiveAudioRecordingFlow(LiveTranscriptModel& model, Collaborators collaborators,
                                               Logger logger)
    : model_(model), collaborators_(collaborators), logger_(std::move(logger)) {
    auto failed = weakOwner_.weakly(
        [this](const LiveAudioFileRecorderError& error) { handleAudioRecordingFailure(error); });
    collaborators_.recorder.onError = [&main = collaborators_.main,
                                       failed](const LiveAudioFileRecorderError& error) {
        main.post([failed, error] { failed(error); });
    };
}

LiveAudioRecordingFlow::~LiveAudioRecordingFlow() {
    collaborators_.recorder.onError = nullptr;
}

void LiveAudioRecordingFlow::startAudioRecording() {
    if (!model_.isListening() || model_.isRecordingAudio() || model_.isFinishingAudioRecording()) return;
    if (auto started = collaborators_.recorder.start(); !started) {
        model_.setErrorMessage(started.error().description());
        logger_.error("Could not start live audio recording: " + started.error().description());
        return;
    }
    model_.setRecordingAudio(true);
    model_.setErrorMessage(std::nullopt);
    logger_.info("Live audio recording started");
}

void LiveAudioRecordingFlow::finishAudioRecordingAndPromptForSave(bool attachToTranscriptWindow) {
    if (!model_.isRecordingAudio() || model_.isFinishingAudioRecording()) return;
    model_.setFinishingAudioRecording(true);
    collaborators_.recorder.finish(
        weakOwner_.weakly([this, attachToTranscriptWindow](const std::optional<std::filesystem::path>& file) {
            model_.setFinishingAudioRecording(false);
            if (!file) return;
            logger_.info("Live audio recording finished");
            presentSavePanel(*file, attachToTranscriptWindow);
        }));
}

void LiveAudioRecordingFlow::handleAudioRecordingFailure(const LiveAudioFileRecorderError& error) {
    // The transcript run goes on; what has been written can still be saved.
    model_.setErrorMessage(error.description());
    logger_.error("Live audio recording failed: " + error.description());
    if (model_.isRecordingAudio()) finishAudioRecordingAndPromptForSave(true);
}

void LiveAudioRecordingFlow::presentSavePanel(const std::filesystem::path& temporaryFile,
                                              bool attachToTranscriptWindow) {
    SaveDialogRequest request{
        .title = "Save Live Audio Recording",
        .acceptLabel = "Save Recording",
        .suggestedName = "Quillon Recording " + recordingTimestamp(collaborators_.clock) + ".m4a",
        .mimeType = "audio/mp4",
        .attachToTranscriptWindow = attachToTranscriptWindow,
    };
    auto done = weakOwner_.weakly([this, temporaryFile](const std::expected<void, std::string>& result) {
        saved(temporaryFile, result);
    });
    collaborators_.saveDialog.present(
        request, [&files = collaborators_.files, &jobs = collaborators_.jobs, &main = collaborators_.main,
                  temporaryFile, done](const std::optional<std::filesystem::path>& destination) {
            // Declining discards the recording. The file system work runs off the main thread.
            if (!destination) {
                jobs.start([&files, temporaryFile] { files.remove(temporaryFile); });
                return;
            }
            jobs.start([&files, &main, temporaryFile, destination = *destination, done] {
                auto result = files.moveReplacing(temporaryFile, destination);
                main.post([done, result = std::move(result)] { done(result); });
            });
        });
}

void LiveAudioRecordingFlow::saved(const std::filesystem::path& temporaryFile,
                                   const std::expected<void, std::string>& result) {
    if (result) {
        logger_.info("Saved live audio recording");
        return;
    }
    // The temporary file stays, so the recording is not lost.
    model_.setErrorMessage("Could not save the recording: " + result.error() +
                           ". The temporary file remains at " + temporaryFile.string() + ".");
    logger_.error("Could not save live audio recording: " + result.error());
}

std::string LiveAudioRecordingFlow::recordingTimestamp(const WallClock& clock) {
    const auto now = clock.now();
    const auto local = std::chrono::floor<std::chrono::seconds>(now) + clock.utcOffset(now);
    const auto day = std::chrono::floor<std::chrono::days>(local);
    const std::chrono::year_month_day date{day};
    const std::chrono::hh_mm_ss time{local - day};
    char text[32];
    std::snprintf(text, sizeof text, "%04d-%02u-%02u %02d.%02d.%02d", static_cast<int>(date.year()),
                  static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                  static_cast<int>(time.hours().count()), static_cast<int>(time.minutes().count()),
                  static_cast<int>(time.seconds().count()));
    return text;
}

}  // namespace quillon
