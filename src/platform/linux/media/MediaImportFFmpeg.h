#pragma once

#include <filesystem>

#include "core/logging/Logger.h"
#include "core/ports/MediaImport.h"
#include "core/ports/TemporaryFiles.h"

namespace quillon {

// Media files through FFmpeg. A file with audio and no picture track is read where it lies; a
// video's audio track is first extracted to "transcription-import-" UUID ".m4a" among the private
// temporary files, which the prepared input's cleanup (or a failed extraction) deletes. The media type comes from the
// shared-mime-info database: by content first, by the name only where the content says nothing.
//
// Threads: no shared state; files may be imported on several threads at once.
class MediaImportFFmpeg final : public MediaImport {
public:
    MediaImportFFmpeg(TemporaryFiles& temporaryFiles, Logger logger);

    bool isSupportedMedia(const std::filesystem::path& file) const override;
    std::expected<PreparedAudioInput, TranscriptionError> prepareAudioInput(const std::filesystem::path& file) override;
    std::expected<std::unique_ptr<AudioFileReader>, TranscriptionError> openAudioFile(
        const std::filesystem::path& file) override;

private:
    TemporaryFiles& temporaryFiles_;
    Logger logger_;
};

}  // namespace quillon
