#pragma once

#include <cmath>
#include <vector>

#include "core/ports/PCMConverter.h"

namespace quillon::testing {

// Converters that resample a mono stream by keeping every n-th sample, the phase carried across
// blocks as a real streaming converter carries its state. Making or running one can be made to
// fail; the formats asked for are recorded.
class FakePCMConverterFactory final : public PCMConverterFactory {
public:
    bool refuseToMake = false;
    bool failConversion = false;
    std::vector<std::pair<AudioFormat, AudioFormat>> made;

    std::unique_ptr<PCMConverter> makeConverter(AudioFormat from, AudioFormat to) override {
        made.emplace_back(from, to);
        if (refuseToMake) return nullptr;
        return std::make_unique<Decimator>(from.sampleRate / to.sampleRate, failConversion);
    }

private:
    struct Decimator final : PCMConverter {
        Decimator(double r, const bool& f) : ratio(r), fail(f) {}
        std::expected<std::vector<std::int16_t>, TranscriptionError> convert(std::span<const std::int16_t> input) override {
            if (fail) return std::unexpected(TranscriptionError::audioConversionUnavailable());
            std::vector<std::int16_t> output;
            for (const auto sample : input) {
                if (std::fmod(position++, ratio) < 1.0) output.push_back(sample);
            }
            return output;
        }
        double ratio;
        const bool& fail;
        double position = 0;
    };
};

}  // namespace quillon::testing
