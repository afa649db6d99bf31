#pragma once

#include <filesystem>
#include <functional>
#include <string>

#include "core/logging/Logger.h"
#include "core/ports/BackgroundJobs.h"
#include "core/ports/MediaImport.h"
#include "core/transcription/FileTranscriber.h"
#include "core/transcription/SpeechTranscriptionSupport.h"
#include "core/transcription/TranscriptionDiagnostics.h"

namespace quillon {

// Turns one audio or video file into text on the device, with the recogniser's most accurate
// preset, reading final results only and applying the corrections once to the whole text. The
// file is streamed block by block, so its length does not bound memory. Each run leaves "BEGIN
// file=", "result=" (on success) and "END" in the diagnostics file, and a temporary extraction is
// deleted on every path. The file is opened before the recogniser is made, so a file that cannot
// be read fails at once, in the system's words.
//
// Threads: each run is a job of its own on `jobs`, beside any other; its completion and progress
// are called on that job's thread. The service holds no state between runs. The jobs must end
// before the service and what it was given are destroyed.
class TranscriptionService final : public FileTranscriber {
public:
    // The fraction of the file's audio analysed so far, and the file's duration in seconds; called
    // after each block when the duration is known.
    using Progress = std::function<void(double fraction, double durationSeconds)>;

    TranscriptionService(const SpeechTranscriptionSupport& support, MediaImport& media,
                         TranscriptionDiagnostics& diagnostics, BackgroundJobs& jobs, Logger logger);

    void transcribe(const std::filesystem::path& file, Completion completion) override;
    void transcribe(const std::filesystem::path& file, Progress progress, Completion completion);

    // Whether a dropped file is accepted at all: its media type is audio or video.
    bool isSupportedMediaURL(const std::filesystem::path& file) const;

private:
    std::expected<std::string, TranscriptionError> run(const std::filesystem::path& file, const Uuid& runID,
                                                       const Progress& progress);
    std::expected<std::string, TranscriptionError> analyze(AudioFileReader& reader, const Progress& progress);

    const SpeechTranscriptionSupport& support_;
    MediaImport& media_;
    TranscriptionDiagnostics& diagnostics_;
    BackgroundJobs& jobs_;
    Logger logger_;
};

}  // namespace quillon
