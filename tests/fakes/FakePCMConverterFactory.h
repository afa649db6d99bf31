#pragma once

#include <cmath>
#include <vector>

#include "core/ports/PCMConverter.h"

namespace quillon::testing {

// Converters that resample a mono stream by keeping every n-th sample, the phase carried across
// blocks as a real streaming converter carries its state. Making one can be made to fail.
class FakePCMConverterFactory final : public PCMConverterFactory {
public:
    bool refuseToMake = false;

    std::unique_ptr<PCMConverter> makeConverter(AudioFormat from, AudioFormat to) override {
        if (refuseToMake) return nullptr;
        return std::make_unique<Decimator>(from.sampleRate / to.sampleRate);
    }

private:
    struct Decimator final : PCMConverter {
        explicit Decimator(double r) : ratio(r) {}
        std::expected<std::vector<std::int16_t>, TranscriptionError> convert(std::span<const std::int16_t> input) override {
            std::vector<std::int16_t> output;
            for (const auto sample : input) {
                if (std::fmod(position++, ratio) < 1.0) output.push_back(sample);
            }
            return output;
        }
        double ratio;
        double position = 0;
    };
};

}  // namespace quillon::testing
