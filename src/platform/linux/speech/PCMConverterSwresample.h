#pragma once

#include "core/ports/PCMConverter.h"

namespace quillon {

// Streaming conversion with libswresample: one resampler per converter, its filter state carried
// from block to block, so that 48 kHz live audio becomes a continuous 16 kHz stream without
// clicks at block edges. Channels are mixed down or spread as needed.
class PCMConverterSwresample final : public PCMConverterFactory {
public:
    std::unique_ptr<PCMConverter> makeConverter(AudioFormat from, AudioFormat to) override;
};

}  // namespace quillon
