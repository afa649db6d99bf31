#pragma once

#include <mutex>
#include <vector>

#include "core/ports/PCMConverter.h"

namespace quillon::testing {

// Converters that resample by picking every n-th sample of a mono stream, keeping the phase
// across blocks the way a real streaming converter keeps its state. Making or running one can be
// made to fail; the formats asked for are recorded.
class FakePCMConverterFactory final : public quillon::PCMConverterFactory {
public:
    bool refuseToMake = false;
    bool failConversion = false;

    std::unique_ptr<quillon::PCMConverter> makeConverter(quillon::AudioFormat from, quillon::AudioFormat to) override;

    std::vector<std::pair<quillon::AudioFormat, quillon::AudioFormat>> made() const;

private:
    mutable std::mutex mutex_;
    std::vector<std::pair<quillon::AudioFormat, quillon::AudioFormat>> made_;
};

}  // namespace quillon::testing
