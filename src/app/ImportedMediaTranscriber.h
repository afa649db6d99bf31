#pragma once

#include "core/base/Scheduler.h"
#include "core/transcription/FileTranscriber.h"
#include "core/transcription/TranscriptionService.h"
#include "ui/transcript/TranscriptWindowsQt.h"

namespace quillon {

// File transcription for the imported files of the running app: the transcription service, with
// its progress shown in the window that the dictation coordinator opened for the file just
// before. Main thread for transcribe(); progress arrives from the job's thread and is posted.
class ImportedMediaTranscriber final : public FileTranscriber {
public:
    ImportedMediaTranscriber(TranscriptionService& service, TranscriptWindowsQt& windows, Scheduler& main)
        : service_(service), windows_(windows), main_(main) {}

    void transcribe(const std::filesystem::path& file, Completion completion) override;

private:
    TranscriptionService& service_;
    TranscriptWindowsQt& windows_;
    Scheduler& main_;
};

}  // namespace quillon
