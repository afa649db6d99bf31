#pragma once

#include <expected>
#include <filesystem>

#include "core/logging/Logger.h"
#include "core/ports/TranscriptionError.h"
#include "platform/linux/media/FFmpegHandles.h"

namespace quillon {

// Writes the audio track of a media container to an AAC .m4a file (mono, 16 kHz: the speech
// recogniser's rate, so nothing it could use is lost), streaming packet by packet. A partial
// output is deleted when the extraction fails.
class AudioTrackExtractorFFmpeg {
public:
    explicit AudioTrackExtractorFFmpeg(Logger logger) : logger_(std::move(logger)) {}

    std::expected<void, TranscriptionError> extract(ffmpeg::AudioInput& input, const std::filesystem::path& output);

private:
    struct Output;
    bool run(ffmpeg::AudioInput& input, Output& output);

    Logger logger_;
};

}  // namespace quillon
