#include "platform/linux/speech/PCMConverterSwresample.h"

#include <cmath>

extern "C" {
#include <libavutil/channel_layout.h>
#include <libavutil/opt.h>
#include <libswresample/swresample.h>
}

namespace quillon {

namespace {

class SwresampleConverter final : public PCMConverter {
public:
    SwresampleConverter(SwrContext* context, AudioFormat from, AudioFormat to)
        : context_(context), from_(from), to_(to) {}
    ~SwresampleConverter() override { swr_free(&context_); }

    SwresampleConverter(const SwresampleConverter&) = delete;
    SwresampleConverter& operator=(const SwresampleConverter&) = delete;

    std::expected<std::vector<std::int16_t>, TranscriptionError> convert(std::span<const std::int16_t> input) override {
        const int inFrames = static_cast<int>(input.size() / static_cast<std::size_t>(from_.channelCount));
        const int capacity = swr_get_out_samples(context_, inFrames);
        if (capacity < 0) return std::unexpected(TranscriptionError::audioConversionUnavailable());
        std::vector<std::int16_t> output(static_cast<std::size_t>(capacity + 1) *
                                         static_cast<std::size_t>(to_.channelCount));
        auto* out = reinterpret_cast<std::uint8_t*>(output.data());
        const auto* in = reinterpret_cast<const std::uint8_t*>(input.data());
        const int produced = swr_convert(context_, &out, capacity + 1, inFrames > 0 ? &in : nullptr, inFrames);
        if (produced < 0) return std::unexpected(TranscriptionError::audioConversionUnavailable());
        output.resize(static_cast<std::size_t>(produced) * static_cast<std::size_t>(to_.channelCount));
        return output;
    }

private:
    SwrContext* context_;
    AudioFormat from_;
    AudioFormat to_;
};

bool usableRate(double rate) { return std::isfinite(rate) && rate >= 1000 && rate <= 768000 && rate == std::floor(rate); }

}  // namespace

std::unique_ptr<PCMConverter> PCMConverterSwresample::makeConverter(AudioFormat from, AudioFormat to) {
    if (!usableRate(from.sampleRate) || !usableRate(to.sampleRate) || from.channelCount < 1 || to.channelCount < 1 ||
        from.channelCount > 8 || to.channelCount > 8) {
        return nullptr;
    }
    AVChannelLayout inLayout;
    AVChannelLayout outLayout;
    av_channel_layout_default(&inLayout, from.channelCount);
    av_channel_layout_default(&outLayout, to.channelCount);
    SwrContext* context = nullptr;
    const int made = swr_alloc_set_opts2(&context, &outLayout, AV_SAMPLE_FMT_S16, static_cast<int>(to.sampleRate),
                                         &inLayout, AV_SAMPLE_FMT_S16, static_cast<int>(from.sampleRate), 0, nullptr);
    av_channel_layout_uninit(&inLayout);
    av_channel_layout_uninit(&outLayout);
    if (made < 0 || !context || swr_init(context) < 0) {
        swr_free(&context);
        return nullptr;
    }
    return std::make_unique<SwresampleConverter>(context, from, to);
}

}  // namespace quillon
