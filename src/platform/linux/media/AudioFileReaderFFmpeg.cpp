#include "platform/linux/media/AudioFileReaderFFmpeg.h"

#include <cmath>

namespace quillon {

namespace {

// About half a second of 16 kHz audio a block.
constexpr std::size_t blockSamples = 8000;

}  // namespace

std::expected<std::unique_ptr<AudioFileReaderFFmpeg>, TranscriptionError> AudioFileReaderFFmpeg::open(
    const std::filesystem::path& file, Logger logger) {
    if (auto reason = ffmpeg::unreadableReason(file.c_str())) {
        return std::unexpected(TranscriptionError::unreadableFile(std::move(*reason)));
    }
    ffmpeg::OpenFailure failure{};
    auto input = ffmpeg::openAudioInput(file.c_str(), failure);
    if (!input) {
        if (failure == ffmpeg::OpenFailure::noAudioTrack) return std::unexpected(TranscriptionError::noAudioTrack());
        logger.error("Could not open the audio of " + file.string());
        return std::unexpected(TranscriptionError::audioLoadFailed());
    }
    return std::make_unique<AudioFileReaderFFmpeg>(std::move(input), std::move(logger));
}

AudioFileReaderFFmpeg::AudioFileReaderFFmpeg(std::unique_ptr<ffmpeg::AudioInput> input, Logger logger)
    : input_(std::move(input)), logger_(std::move(logger)), packet_(av_packet_alloc()), frame_(av_frame_alloc()) {}

std::expected<void, TranscriptionError> AudioFileReaderFFmpeg::setOutputFormat(AudioFormat format) {
    AVChannelLayout outLayout;
    av_channel_layout_default(&outLayout, format.channelCount);
    SwrContext* raw = nullptr;
    AVCodecContext* decoder = input_->decoder.get();
    const int made = swr_alloc_set_opts2(&raw, &outLayout, AV_SAMPLE_FMT_S16, static_cast<int>(format.sampleRate),
                                         &decoder->ch_layout, decoder->sample_fmt, decoder->sample_rate, 0, nullptr);
    av_channel_layout_uninit(&outLayout);
    resampler_.reset(raw);
    if (made < 0 || !resampler_ || swr_init(resampler_.get()) < 0) {
        resampler_.reset();
        logger_.error("Could not set up the conversion of an opened media file");
        return std::unexpected(TranscriptionError::audioConversionUnavailable());
    }
    format_ = format;
    return {};
}

std::optional<double> AudioFileReaderFFmpeg::durationSeconds() const {
    const AVFormatContext* format = input_->format.get();
    if (format->duration != AV_NOPTS_VALUE && format->duration > 0) {
        return static_cast<double>(format->duration) / AV_TIME_BASE;
    }
    const AVStream* stream = format->streams[input_->streamIndex];
    if (stream->duration != AV_NOPTS_VALUE && stream->duration > 0) {
        return static_cast<double>(stream->duration) * av_q2d(stream->time_base);
    }
    return std::nullopt;
}

std::expected<std::vector<std::int16_t>, TranscriptionError> AudioFileReaderFFmpeg::read() {
    std::vector<std::int16_t> block;
    if (!packet_ || !frame_) return std::unexpected(TranscriptionError::audioLoadFailed());
    if (!resampler_) return std::unexpected(TranscriptionError::noCompatibleAudioFormat());
    block.reserve(blockSamples + 4096);
    while (!finished_ && block.size() < blockSamples) {
        if (!receiveFrames(block)) return std::unexpected(TranscriptionError::audioConversionUnavailable());
        if (block.size() >= blockSamples) break;
        if (drainingDecoder_) {
            // Whatever the resampler still holds, then the end.
            std::uint8_t* out = nullptr;
            const int capacity = swr_get_out_samples(resampler_.get(), 0);
            if (capacity > 0) {
                const std::size_t start = block.size();
                block.resize(start + static_cast<std::size_t>(capacity * format_.channelCount));
                out = reinterpret_cast<std::uint8_t*>(block.data() + start);
                const int produced = swr_convert(resampler_.get(), &out, capacity, nullptr, 0);
                block.resize(start + static_cast<std::size_t>(std::max(0, produced) * format_.channelCount));
            }
            finished_ = true;
            if (decodeErrors_ > 0) {
                logger_.info("Skipped " + std::to_string(decodeErrors_) + " damaged audio packets");
            }
            break;
        }
        const int read = av_read_frame(input_->format.get(), packet_.get());
        if (read < 0) {
            // The end of the file, or a file cut short: decode what is there.
            avcodec_send_packet(input_->decoder.get(), nullptr);
            drainingDecoder_ = true;
            continue;
        }
        if (packet_->stream_index == input_->streamIndex) {
            const int sent = avcodec_send_packet(input_->decoder.get(), packet_.get());
            if (sent < 0 && sent != AVERROR(EAGAIN)) ++decodeErrors_;
        }
        av_packet_unref(packet_.get());
    }
    return block;
}

bool AudioFileReaderFFmpeg::receiveFrames(std::vector<std::int16_t>& block) {
    for (;;) {
        const int received = avcodec_receive_frame(input_->decoder.get(), frame_.get());
        if (received == AVERROR(EAGAIN) || received == AVERROR_EOF) return true;
        if (received < 0) {
            ++decodeErrors_;
            return true;
        }
        const bool converted = appendConverted(frame_.get(), block);
        av_frame_unref(frame_.get());
        if (!converted) return false;
    }
}

bool AudioFileReaderFFmpeg::appendConverted(const AVFrame* frame, std::vector<std::int16_t>& block) {
    const int capacity = swr_get_out_samples(resampler_.get(), frame->nb_samples);
    if (capacity < 0) return false;
    const std::size_t start = block.size();
    block.resize(start + static_cast<std::size_t>((capacity + 1) * format_.channelCount));
    auto* out = reinterpret_cast<std::uint8_t*>(block.data() + start);
    const int produced = swr_convert(resampler_.get(), &out, capacity + 1,
                                     const_cast<const std::uint8_t**>(frame->extended_data), frame->nb_samples);
    if (produced < 0) return false;
    block.resize(start + static_cast<std::size_t>(produced * format_.channelCount));
    return true;
}

}  // namespace quillon
