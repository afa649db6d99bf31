#include "platform/linux/media/AudioFileWriterFFmpeg.h"

#include <fcntl.h>
#include <unistd.h>

#include <vector>

#include "platform/linux/media/FFmpegHandles.h"

namespace quillon {

namespace {

constexpr int sampleRate = 48000;
constexpr std::int64_t bitRate = 96000;

struct OutputCloser {
    void operator()(AVFormatContext* context) const {
        if (context->pb) avio_closep(&context->pb);
        avformat_free_context(context);
    }
};

std::string ffmpegError(int code) {
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(code, text, sizeof text);
    return text;
}

class Writer final : public AudioFileWriter {
public:
    ~Writer() override { finish(); }

    std::expected<void, std::string> open(const std::filesystem::path& path) {
        const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
        if (fd < 0) return std::unexpected(std::string("the file could not be created"));
        ::close(fd);

        AVFormatContext* raw = nullptr;
        if (avformat_alloc_output_context2(&raw, nullptr, "ipod", path.c_str()) < 0 || !raw) {
            return std::unexpected(std::string("no MPEG-4 audio writer"));
        }
        format_.reset(raw);
        const AVCodec* codec = avcodec_find_encoder_by_name("aac");
        if (!codec) return std::unexpected(std::string("no AAC encoder"));
        encoder_.reset(avcodec_alloc_context3(codec));
        AVCodecContext* encoder = encoder_.get();
        encoder->sample_fmt = AV_SAMPLE_FMT_FLTP;
        encoder->sample_rate = sampleRate;
        encoder->bit_rate = bitRate;
        encoder->time_base = AVRational{1, sampleRate};
        av_channel_layout_default(&encoder->ch_layout, 1);
        if (format_->oformat->flags & AVFMT_GLOBALHEADER) encoder->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
        if (int code = avcodec_open2(encoder, codec, nullptr); code < 0) return std::unexpected(ffmpegError(code));
        stream_ = avformat_new_stream(format_.get(), nullptr);
        if (!stream_ || avcodec_parameters_from_context(stream_->codecpar, encoder) < 0) {
            return std::unexpected(std::string("the audio track could not be made"));
        }
        stream_->time_base = encoder->time_base;
        if (int code = avio_open(&format_->pb, path.c_str(), AVIO_FLAG_WRITE); code < 0) {
            return std::unexpected(ffmpegError(code));
        }
        if (int code = avformat_write_header(format_.get(), nullptr); code < 0) return std::unexpected(ffmpegError(code));
        frameSize_ = encoder->frame_size > 0 ? encoder->frame_size : 1024;
        fifo_.reset(av_audio_fifo_alloc(AV_SAMPLE_FMT_FLT, 1, frameSize_ * 4));
        frame_.reset(av_frame_alloc());
        packet_.reset(av_packet_alloc());
        if (!fifo_ || !frame_ || !packet_) return std::unexpected(std::string("out of memory"));
        open_ = true;
        return {};
    }

    std::expected<void, std::string> write(std::span<const std::int16_t> samples) override {
        if (!open_) return std::unexpected(std::string("the file is not open"));
        converted_.resize(samples.size());
        for (std::size_t i = 0; i < samples.size(); ++i) converted_[i] = static_cast<float>(samples[i]) / 32768.0f;
        void* planes[] = {converted_.data()};
        if (av_audio_fifo_write(fifo_.get(), planes, static_cast<int>(samples.size())) < static_cast<int>(samples.size())) {
            return std::unexpected(std::string("out of memory"));
        }
        return encode(false);
    }

private:
    std::expected<void, std::string> encode(bool all) {
        while (av_audio_fifo_size(fifo_.get()) >= frameSize_ || (all && av_audio_fifo_size(fifo_.get()) > 0)) {
            const int count = std::min(frameSize_, av_audio_fifo_size(fifo_.get()));
            AVFrame* frame = frame_.get();
            av_frame_unref(frame);
            frame->nb_samples = count;
            frame->format = AV_SAMPLE_FMT_FLTP;
            frame->sample_rate = sampleRate;
            av_channel_layout_default(&frame->ch_layout, 1);
            if (av_frame_get_buffer(frame, 0) < 0) return std::unexpected(std::string("out of memory"));
            av_audio_fifo_read(fifo_.get(), reinterpret_cast<void**>(frame->data), count);
            frame->pts = nextPts_;
            nextPts_ += count;
            if (int code = avcodec_send_frame(encoder_.get(), frame); code < 0) return std::unexpected(ffmpegError(code));
            if (auto written = drain(); !written) return written;
        }
        return {};
    }

    std::expected<void, std::string> drain() {
        for (;;) {
            const int got = avcodec_receive_packet(encoder_.get(), packet_.get());
            if (got == AVERROR(EAGAIN) || got == AVERROR_EOF) return {};
            if (got < 0) return std::unexpected(ffmpegError(got));
            packet_->stream_index = stream_->index;
            av_packet_rescale_ts(packet_.get(), encoder_->time_base, stream_->time_base);
            if (int code = av_interleaved_write_frame(format_.get(), packet_.get()); code < 0) {
                return std::unexpected(ffmpegError(code));
            }
        }
    }

    // The last partial frame, the encoder's delay and the index; then the file is closed.
    void finish() {
        if (!open_) return;
        open_ = false;
        (void)encode(true);
        if (avcodec_send_frame(encoder_.get(), nullptr) >= 0) (void)drain();
        av_write_trailer(format_.get());
    }

    std::unique_ptr<AVFormatContext, OutputCloser> format_;
    ffmpeg::CodecContext encoder_;
    ffmpeg::Fifo fifo_;
    ffmpeg::Frame frame_;
    ffmpeg::Packet packet_;
    AVStream* stream_ = nullptr;
    std::vector<float> converted_;
    int frameSize_ = 1024;
    std::int64_t nextPts_ = 0;
    bool open_ = false;
};

}  // namespace

std::expected<std::unique_ptr<AudioFileWriter>, std::string> AudioFileWriterFFmpeg::open(const std::filesystem::path& path) {
    auto writer = std::make_unique<Writer>();
    if (auto opened = writer->open(path); !opened) return std::unexpected(opened.error());
    return writer;
}

}  // namespace quillon
