#pragma once

#include <cstddef>

#include "core/ports/RealFFT.h"

struct AVTXContext;

namespace quillon {

// The real FFT of FFmpeg's libavutil (av_tx), scaled by 2 so that its squared magnitudes match a
// packed real transform: bin k holds |2 X[k]|^2, and bin 0 holds (2 X[0])^2 + (2 X[N/2])^2.
// Buffers are made once here; a transform allocates nothing.
class RealFFTAvTx final : public RealFFT {
public:
    // Aborts when libavutil refuses the transform: a program built against it cannot meter without one.
    explicit RealFFTAvTx(std::size_t size);
    ~RealFFTAvTx() override;
    RealFFTAvTx(const RealFFTAvTx&) = delete;
    RealFFTAvTx& operator=(const RealFFTAvTx&) = delete;

    std::size_t size() const override { return size_; }
    void squaredMagnitudes(std::span<const float> samples, std::span<float> squaredMagnitudes) override;

private:
    std::size_t size_;
    AVTXContext* context_ = nullptr;
    void (*transform_)(AVTXContext*, void*, void*, std::ptrdiff_t) = nullptr;
    float* input_ = nullptr;
    float* output_ = nullptr;  // size/2 + 1 complex values, interleaved
};

}  // namespace quillon
