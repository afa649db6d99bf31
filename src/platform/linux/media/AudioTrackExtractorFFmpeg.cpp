#include "platform/linux/media/AudioTrackExtractorFFmpeg.h"

namespace quillon {

namespace {

constexpr int outputRate = 16000;
constexpr std::int64_t outputBitRate = 64000;

struct OutputCloser {
    void operator()(AVFormatContext* context) const {
        if (context->pb) avio_closep(&context->pb);
        avformat_free_context(context);
    }
};

}  // namespace

struct AudioTrackExtractorFFmpeg::Output {
    std::unique_ptr<AVFormatContext, OutputCloser> format;
    ffmpeg::CodecContext encoder;
    ffmpeg::Resampler resampler;
    ffmpeg::Fifo fifo;
    ffmpeg::Frame frame;
    ffmpeg::Packet packet;
    AVStream* stream = nullptr;
    std::int64_t nextPts = 0;
};

std::expected<void, TranscriptionError> AudioTrackExtractorFFmpeg::extract(ffmpeg::AudioInput& input,
                                                                          const std::filesystem::path& path) {
    bool written = false;
    {
        Output output;
        AVFormatContext* raw = nullptr;
        if (avformat_alloc_output_context2(&raw, nullptr, "ipod", path.c_str()) >= 0 && raw) {
            output.format.reset(raw);
            written = run(input, output);
        }
    }  // closes the file before it may be deleted
    if (!written) {
        logger_.error("Could not extract the audio track to " + path.string());
        return std::unexpected(TranscriptionError::audioLoadFailed());
    }
    return {};
}

bool AudioTrackExtractorFFmpeg::run(ffmpeg::AudioInput& input, Output& out) {
    const AVCodec* codec = avcodec_find_encoder(AV_CODEC_ID_AAC);
    if (!codec) return false;
    out.encoder.reset(avcodec_alloc_context3(codec));
    AVCodecContext* encoder = out.encoder.get();
    if (!encoder) return false;
    encoder->sample_fmt = AV_SAMPLE_FMT_FLTP;
    encoder->sample_rate = outputRate;
    encoder->bit_rate = outputBitRate;
    encoder->time_base = AVRational{1, outputRate};
    av_channel_layout_default(&encoder->ch_layout, 1);
    if (out.format->oformat->flags & AVFMT_GLOBALHEADER) encoder->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    if (avcodec_open2(encoder, codec, nullptr) < 0) return false;

    out.stream = avformat_new_stream(out.format.get(), nullptr);
    if (!out.stream || avcodec_parameters_from_context(out.stream->codecpar, encoder) < 0) return false;
    out.stream->time_base = encoder->time_base;
    if (avio_open(&out.format->pb, out.format->url, AVIO_FLAG_WRITE) < 0) return false;
    if (avformat_write_header(out.format.get(), nullptr) < 0) return false;

    AVCodecContext* decoder = input.decoder.get();
    SwrContext* swr = nullptr;
    if (swr_alloc_set_opts2(&swr, &encoder->ch_layout, encoder->sample_fmt, outputRate, &decoder->ch_layout,
                            decoder->sample_fmt, decoder->sample_rate, 0, nullptr) < 0) {
        return false;
    }
    out.resampler.reset(swr);
    if (swr_init(swr) < 0) return false;
    out.fifo.reset(av_audio_fifo_alloc(encoder->sample_fmt, 1, encoder->frame_size > 0 ? encoder->frame_size : 1024));
    out.frame.reset(av_frame_alloc());
    out.packet.reset(av_packet_alloc());
    ffmpeg::Packet inPacket(av_packet_alloc());
    ffmpeg::Frame inFrame(av_frame_alloc());
    if (!out.fifo || !out.frame || !out.packet || !inPacket || !inFrame) return false;
    const int frameSize = encoder->frame_size > 0 ? encoder->frame_size : 1024;

    const auto writePackets = [&]() -> bool {
        for (;;) {
            const int got = avcodec_receive_packet(encoder, out.packet.get());
            if (got == AVERROR(EAGAIN) || got == AVERROR_EOF) return true;
            if (got < 0) return false;
            out.packet->stream_index = out.stream->index;
            av_packet_rescale_ts(out.packet.get(), encoder->time_base, out.stream->time_base);
            if (av_interleaved_write_frame(out.format.get(), out.packet.get()) < 0) return false;
        }
    };
    const auto encodeFromFifo = [&](bool flushAll) -> bool {
        while (av_audio_fifo_size(out.fifo.get()) >= frameSize ||
               (flushAll && av_audio_fifo_size(out.fifo.get()) > 0)) {
            const int count = std::min(frameSize, av_audio_fifo_size(out.fifo.get()));
            AVFrame* frame = out.frame.get();
            av_frame_unref(frame);
            frame->nb_samples = count;
            frame->format = encoder->sample_fmt;
            frame->sample_rate = outputRate;
            if (av_channel_layout_copy(&frame->ch_layout, &encoder->ch_layout) < 0) return false;
            if (av_frame_get_buffer(frame, 0) < 0) return false;
            if (av_audio_fifo_read(out.fifo.get(), reinterpret_cast<void**>(frame->data), count) < count) return false;
            frame->pts = out.nextPts;
            out.nextPts += count;
            if (avcodec_send_frame(encoder, frame) < 0) return false;
            if (!writePackets()) return false;
        }
        return true;
    };
    const auto convertInto = [&](const AVFrame* frame) -> bool {
        const int capacity = swr_get_out_samples(swr, frame ? frame->nb_samples : 0);
        if (capacity <= 0) return true;
        ffmpeg::Frame converted(av_frame_alloc());
        converted->nb_samples = capacity;
        converted->format = encoder->sample_fmt;
        converted->sample_rate = outputRate;
        if (av_channel_layout_copy(&converted->ch_layout, &encoder->ch_layout) < 0) return false;
        if (av_frame_get_buffer(converted.get(), 0) < 0) return false;
        const int produced = swr_convert(swr, converted->data, capacity,
                                         frame ? const_cast<const std::uint8_t**>(frame->extended_data) : nullptr,
                                         frame ? frame->nb_samples : 0);
        if (produced < 0) return false;
        if (produced > 0 &&
            av_audio_fifo_write(out.fifo.get(), reinterpret_cast<void**>(converted->data), produced) < produced) {
            return false;
        }
        return encodeFromFifo(false);
    };
    const auto drainDecoder = [&]() -> bool {
        for (;;) {
            const int got = avcodec_receive_frame(input.decoder.get(), inFrame.get());
            if (got == AVERROR(EAGAIN) || got == AVERROR_EOF) return true;
            if (got < 0) return true;  // a damaged frame is skipped
            const bool ok = convertInto(inFrame.get());
            av_frame_unref(inFrame.get());
            if (!ok) return false;
        }
    };

    while (av_read_frame(input.format.get(), inPacket.get()) >= 0) {
        bool ok = true;
        if (inPacket->stream_index == input.streamIndex) {
            avcodec_send_packet(input.decoder.get(), inPacket.get());  // a damaged packet is skipped
            ok = drainDecoder();
        }
        av_packet_unref(inPacket.get());
        if (!ok) return false;
    }
    avcodec_send_packet(input.decoder.get(), nullptr);
    if (!drainDecoder() || !convertInto(nullptr) || !encodeFromFifo(true)) return false;
    if (avcodec_send_frame(encoder, nullptr) < 0 || !writePackets()) return false;
    return av_write_trailer(out.format.get()) >= 0;
}

}  // namespace quillon
