#pragma once

#include <memory>
#include <optional>
#include <string>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/audio_fifo.h>
#include <libswresample/swresample.h>
}

namespace quillon::ffmpeg {

// Owning handles for the FFmpeg objects of the media adapters, freed in reverse order of creation
// by the members that hold them.
struct InputCloser {
    void operator()(AVFormatContext* context) const { avformat_close_input(&context); }
};
struct CodecContextFree {
    void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
};
struct SwrFree {
    void operator()(SwrContext* context) const { swr_free(&context); }
};
struct PacketFree {
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
};
struct FrameFree {
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
};
struct FifoFree {
    void operator()(AVAudioFifo* fifo) const { av_audio_fifo_free(fifo); }
};

using Input = std::unique_ptr<AVFormatContext, InputCloser>;
using CodecContext = std::unique_ptr<AVCodecContext, CodecContextFree>;
using Resampler = std::unique_ptr<SwrContext, SwrFree>;
using Packet = std::unique_ptr<AVPacket, PacketFree>;
using Frame = std::unique_ptr<AVFrame, FrameFree>;
using Fifo = std::unique_ptr<AVAudioFifo, FifoFree>;

// An opened file with its best audio stream and a decoder for it.
struct AudioInput {
    Input format;
    int streamIndex = -1;
    CodecContext decoder;
    bool hasVideo = false;
};

// The system's words for a file that cannot be opened for reading at all ("No such file or
// directory", "Permission denied", "Is a directory"), or nothing when it can.
std::optional<std::string> unreadableReason(const char* path);

enum class OpenFailure { unreadable, noAudioTrack };

// Opens `path` and readies a decoder for its best audio stream. Quiet: FFmpeg's own log is off.
std::unique_ptr<AudioInput> openAudioInput(const char* path, OpenFailure& failure);

}  // namespace quillon::ffmpeg
