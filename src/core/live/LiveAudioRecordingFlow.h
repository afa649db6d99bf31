#pragma once

#include <filesystem>
#include <string>

#include "core/audio/LiveAudioFileRecorder.h"
#include "core/base/Scheduler.h"
#include "core/base/WeakOwner.h"
#include "core/live/LiveTranscriptModel.h"
#include "core/logging/Logger.h"
#include "core/ports/BackgroundJobs.h"
#include "core/ports/FileMover.h"
#include "core/ports/SaveDialog.h"
#include "core/ports/WallClock.h"

namespace quillon {

// The audio file a live transcript can keep beside its text: started during a run, ended by the
// user (or by closing the window, or by a write failure), then offered in a save dialog. The file
// is written to the private temporary folder; a save moves it where the user chose, a declined
// dialog deletes it, and a failed save leaves it in place and says where it is, so a recording is
// never lost by accident. The recording has flags of its own in the model and may outlast the run.
//
// Threads: the main thread. The file recorder's failure arrives on its queue and hops here; the
// move to the chosen place runs as a background job (it may copy across file systems) and reports
// back here.
class LiveAudioRecordingFlow {
public:
    struct Collaborators {
        Scheduler& main;
        LiveAudioFileRecorder& recorder;
        SaveDialog& saveDialog;
        FileMover& files;
        BackgroundJobs& jobs;
        WallClock& clock;
    };

    LiveAudioRecordingFlow(LiveTranscriptModel& model, Collaborators collaborators, Logger logger);
    ~LiveAudioRecordingFlow();
    LiveAudioRecordingFlow(const LiveAudioRecordingFlow&) = delete;
    LiveAudioRecordingFlow& operator=(const LiveAudioRecordingFlow&) = delete;

    // Only during a run, and not while a recording is being made or closed.
    void startAudioRecording();
    // Closes the file and offers to save it, as a sheet on the window when asked and possible.
    // Does nothing while no recording is being made, and while one is still being closed.
    void finishAudioRecordingAndPromptForSave(bool attachToTranscriptWindow);
    void handleAudioRecordingFailure(const LiveAudioFileRecorderError& error);

    // "yyyy-MM-dd HH.mm.ss" in local time, for the proposed file name.
    static std::string recordingTimestamp(const WallClock& clock);

private:
    void presentSavePanel(const std::filesystem::path& temporaryFile, bool attachToTranscriptWindow);
    void saved(const std::filesystem::path& temporaryFile, const std::expected<void, std::string>& result);

    LiveTranscriptModel& model_;
    Collaborators collaborators_;
    Logger logger_;
    WeakOwner weakOwner_;  // last: dies first
};

}  // namespace quillon
