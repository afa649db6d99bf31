#pragma once

#include <filesystem>

#include "core/logging/Logger.h"
#include "core/ports/MediaImport.h"

namespace quillon {

// Media files through FFmpeg. A file with audio and no picture track is read where it lies; a
// video's audio track is first extracted to "transcription-import-" UUID ".m4a" in the temporary
// directory, which the prepared input's cleanup deletes. The media type comes from the
// shared-mime-info database: by content first, by the name only where the content says nothing.
//
// Threads: no shared state; files may be imported on several threads at once.
class MediaImportFFmpeg final : public MediaImport {
public:
    MediaImportFFmpeg(std::filesystem::path temporaryDirectory, Logger logger);

    bool isSupportedMedia(const std::filesystem::path& file) const override;
    std::expected<PreparedAudioInput, TranscriptionError> prepareAudioInput(const std::filesystem::path& file) override;
    std::expected<std::unique_ptr<AudioFileReader>, TranscriptionError> openAudioFile(const std::filesystem::path& file,
                                                                                     AudioFormat format) override;

private:
    std::filesystem::path temporaryDirectory_;
    Logger logger_;
};

}  // namespace quillon
