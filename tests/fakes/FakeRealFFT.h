#pragma once

#include <algorithm>
#include <vector>

#include "core/ports/RealFFT.h"

namespace quillon::testing {

// Answers every transform with the spectrum a test chose.
class FakeRealFFT final : public quillon::RealFFT {
public:
    std::size_t size() const override { return 1024; }
    void squaredMagnitudes(std::span<const float>, std::span<float> squaredMagnitudes) override {
        std::ranges::copy(spectrum, squaredMagnitudes.begin());
    }

    std::vector<float> spectrum = std::vector<float>(512, 0.0f);
};

}  // namespace quillon::testing
