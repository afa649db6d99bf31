#include "fakes/FakePCMConverterFactory.h"

#include <cmath>

namespace quillon::testing {

namespace {

class DecimatingConverter final : public quillon::PCMConverter {
public:
    DecimatingConverter(double ratio, const bool& fail) : ratio_(ratio), fail_(fail) {}

    std::expected<std::vector<std::int16_t>, quillon::TranscriptionError> convert(
        std::span<const std::int16_t> input) override {
        if (fail_) return std::unexpected(quillon::TranscriptionError::audioConversionUnavailable());
        std::vector<std::int16_t> output;
        for (const auto sample : input) {
            if (std::fmod(position_, ratio_) < 1.0) output.push_back(sample);
            position_ += 1.0;
        }
        return output;
    }

private:
    double ratio_;
    const bool& fail_;
    double position_ = 0;
};

}  // namespace

std::unique_ptr<quillon::PCMConverter> FakePCMConverterFactory::makeConverter(quillon::AudioFormat from,
                                                                             quillon::AudioFormat to) {
    std::lock_guard lock(mutex_);
    made_.emplace_back(from, to);
    if (refuseToMake || from.channelCount != 1 || to.channelCount != 1) return nullptr;
    return std::make_unique<DecimatingConverter>(from.sampleRate / to.sampleRate, failConversion);
}

std::vector<std::pair<quillon::AudioFormat, quillon::AudioFormat>> FakePCMConverterFactory::made() const {
    std::lock_guard lock(mutex_);
    return made_;
}

}  // namespace quillon::testing
