#pragma once

#include <cstddef>
#include <span>

namespace quillon {

// A forward real FFT of one fixed size that answers with squared magnitudes at the scale of a
// packed real transform: each value is the square of twice the true spectrum, and the first value
// packs the constant and the Nyquist terms together (it is not a magnitude of one bin).
// Everything is prepared at construction; a transform allocates nothing, so it may run on an
// audio thread. One transform at a time.
class RealFFT {
public:
    virtual ~RealFFT() = default;

    // The number of input samples.
    virtual std::size_t size() const = 0;

    // `samples` holds size() values; `squaredMagnitudes` receives size() / 2 values.
    virtual void squaredMagnitudes(std::span<const float> samples, std::span<float> squaredMagnitudes) = 0;
};

}  // namespace quillon
