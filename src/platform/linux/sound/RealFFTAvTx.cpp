#include "platform/linux/sound/RealFFTAvTx.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

extern "C" {
#include <libavutil/mem.h>
#include <libavutil/tx.h>
}

namespace quillon {

RealFFTAvTx::RealFFTAvTx(std::size_t size) : size_(size) {
    // Unscaled: libavutil 57 leaves the Nyquist term out of its scaling, so the factor of 2 is
    // applied below, to every term alike.
    const float scale = 1.0f;
    av_tx_fn transform = nullptr;
    if (av_tx_init(&context_, &transform, AV_TX_FLOAT_RDFT, 0, static_cast<int>(size), &scale, 0) < 0) {
        std::fputs("Failed to create FFT setup\n", stderr);
        std::abort();
    }
    transform_ = transform;
    input_ = static_cast<float*>(av_malloc(size * sizeof(float)));
    output_ = static_cast<float*>(av_malloc((size / 2 + 1) * 2 * sizeof(float)));
    if (!input_ || !output_) {
        std::fputs("Failed to create FFT setup\n", stderr);
        std::abort();
    }
}

RealFFTAvTx::~RealFFTAvTx() {
    av_tx_uninit(&context_);
    av_free(input_);
    av_free(output_);
}

void RealFFTAvTx::squaredMagnitudes(std::span<const float> samples, std::span<float> squaredMagnitudes) {
    std::copy_n(samples.begin(), size_, input_);
    transform_(context_, output_, input_, sizeof(float));
    const std::size_t half = size_ / 2;
    // Packed form of bin 0: the constant term as the real part, the Nyquist term as the imaginary.
    // |2 z|^2 = 4 |z|^2.
    squaredMagnitudes[0] = 4.0f * (output_[0] * output_[0] + output_[2 * half] * output_[2 * half]);
    for (std::size_t k = 1; k < half; ++k) {
        const float re = output_[2 * k];
        const float im = output_[2 * k + 1];
        squaredMagnitudes[k] = 4.0f * (re * re + im * im);
    }
}

}  // namespace quillon
