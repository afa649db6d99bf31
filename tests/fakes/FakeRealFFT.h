#pragma once

#include <algorithm>
#include <vector>

#include "core/ports/RealFFT.h"

namespace quillon::testing {

// Answers every transform with the spectrum a test chose, and keeps the last input it was given.
class FakeRealFFT final : public quillon::RealFFT {
public:
    explicit FakeRealFFT(std::size_t size = 1024) : size_(size), spectrum(size / 2, 0.0f) {}

    std::size_t size() const override { return size_; }
    void squaredMagnitudes(std::span<const float> samples, std::span<float> squaredMagnitudes) override {
        lastInput.assign(samples.begin(), samples.end());
        std::ranges::copy(spectrum, squaredMagnitudes.begin());
    }

    std::size_t size_;
    std::vector<float> spectrum;
    std::vector<float> lastInput;
};

}  // namespace quillon::testing
