#pragma once

#include <memory>

#include "core/logging/Logger.h"
#include "core/ports/MediaImport.h"
#include "platform/linux/media/FFmpegHandles.h"

namespace quillon {

// Decodes a file's best audio stream block by block and resamples it to the output format.
// Memory stays bounded by one block, whatever the file's length. A damaged packet is skipped as
// players do, so a truncated file gives the audio that is there.
//
// Threads: one thread at a time.
class AudioFileReaderFFmpeg final : public AudioFileReader {
public:
    static std::expected<std::unique_ptr<AudioFileReaderFFmpeg>, TranscriptionError> open(
        const std::filesystem::path& file, Logger logger);

    std::optional<double> durationSeconds() const override;
    std::expected<void, TranscriptionError> setOutputFormat(AudioFormat format) override;
    std::expected<std::vector<std::int16_t>, TranscriptionError> read() override;

    AudioFileReaderFFmpeg(std::unique_ptr<ffmpeg::AudioInput> input, Logger logger);

private:
    bool receiveFrames(std::vector<std::int16_t>& block);
    bool appendConverted(const AVFrame* frame, std::vector<std::int16_t>& block);

    std::unique_ptr<ffmpeg::AudioInput> input_;
    ffmpeg::Resampler resampler_;
    AudioFormat format_{};
    Logger logger_;
    ffmpeg::Packet packet_;
    ffmpeg::Frame frame_;
    bool drainingDecoder_ = false;
    bool finished_ = false;
    int decodeErrors_ = 0;
};

}  // namespace quillon
