#include "platform/linux/media/FFmpegHandles.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

extern "C" {
#include <libavutil/log.h>
}

namespace quillon::ffmpeg {

std::optional<std::string> unreadableReason(const char* path) {
    const int fd = ::open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0) return std::error_code(errno, std::system_category()).message();
    struct stat info {};
    const bool isFolder = ::fstat(fd, &info) == 0 && S_ISDIR(info.st_mode);
    ::close(fd);
    if (isFolder) return std::make_error_code(std::errc::is_a_directory).message();
    return std::nullopt;
}

std::unique_ptr<AudioInput> openAudioInput(const char* path, OpenFailure& failure) {
    av_log_set_level(AV_LOG_QUIET);
    failure = OpenFailure::unreadable;
    auto input = std::make_unique<AudioInput>();
    AVFormatContext* raw = nullptr;
    if (avformat_open_input(&raw, path, nullptr, nullptr) < 0) return nullptr;
    input->format.reset(raw);
    if (avformat_find_stream_info(raw, nullptr) < 0) return nullptr;

    for (unsigned i = 0; i < raw->nb_streams; ++i) {
        const AVStream* stream = raw->streams[i];
        if (stream->codecpar->codec_type == AVMEDIA_TYPE_VIDEO && !(stream->disposition & AV_DISPOSITION_ATTACHED_PIC)) {
            input->hasVideo = true;
        }
    }
    const AVCodec* codec = nullptr;
    input->streamIndex = av_find_best_stream(raw, AVMEDIA_TYPE_AUDIO, -1, -1, &codec, 0);
    if (input->streamIndex == AVERROR_STREAM_NOT_FOUND) {
        failure = OpenFailure::noAudioTrack;
        return nullptr;
    }
    if (input->streamIndex < 0 || !codec) return nullptr;

    input->decoder.reset(avcodec_alloc_context3(codec));
    if (!input->decoder) return nullptr;
    if (avcodec_parameters_to_context(input->decoder.get(), raw->streams[input->streamIndex]->codecpar) < 0) return nullptr;
    if (input->decoder->ch_layout.order == AV_CHANNEL_ORDER_UNSPEC || input->decoder->ch_layout.nb_channels == 0) {
        const int channels = std::max(1, input->decoder->ch_layout.nb_channels);
        av_channel_layout_uninit(&input->decoder->ch_layout);
        av_channel_layout_default(&input->decoder->ch_layout, channels);
    }
    if (avcodec_open2(input->decoder.get(), codec, nullptr) < 0) return nullptr;
    if (input->decoder->sample_rate <= 0) return nullptr;
    return input;
}

}  // namespace quillon::ffmpeg
