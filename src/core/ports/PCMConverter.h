#pragma once

#include <cstdint>
#include <expected>
#include <memory>
#include <span>
#include <vector>

#include "core/ports/AudioFormat.h"
#include "core/ports/TranscriptionError.h"

namespace quillon {

// A streaming sample-rate and channel converter from one fixed format to another. It keeps its
// filter state from block to block, so consecutive blocks convert as one continuous signal;
// a block may give no output yet.
class PCMConverter {
public:
    virtual ~PCMConverter() = default;
    virtual std::expected<std::vector<std::int16_t>, TranscriptionError> convert(std::span<const std::int16_t> input) = 0;
};

class PCMConverterFactory {
public:
    virtual ~PCMConverterFactory() = default;
    // Absent when this pair of formats cannot be converted.
    virtual std::unique_ptr<PCMConverter> makeConverter(AudioFormat from, AudioFormat to) = 0;
};

}  // namespace quillon
