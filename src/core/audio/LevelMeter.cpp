#include "core/audio/LevelMeter.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace quillon {

namespace {

// log10(80): the display range starts at 80 Hz.
constexpr float lowestFrequencyLog = 1.90309f;
// log10(6000) - log10(80): the width of the range in decades when it ends at 6000 Hz.
constexpr float fullSpanDecades = 1.8750613f;

}  // namespace

LevelMeter::LevelMeter(RealFFT& fft, Scheduler& main, const WallClock& clock)
    : fft_(fft),
      main_(main),
      clock_(clock),
      window_(fftSize),
      windowed_(fftSize),
      magnitudes_(fftSize / 2),
      converted_(fftSize),
      gathered_(fftSize) {
    // The denormalised Hann window over the whole block: 0 at the first sample, 1 in the middle.
    for (std::size_t n = 0; n < fftSize; ++n) {
        const double phase = 2.0 * std::numbers::pi * static_cast<double>(n) / static_cast<double>(fftSize);
        window_[n] = static_cast<float>(0.5 * (1.0 - std::cos(phase)));
    }
}

float LevelMeter::overallLevel(float rms) {
    const float decibels = 20.0f * std::log10(std::max(rms, 0.0001f));
    return std::clamp((decibels + 60.0f) / 60.0f, 0.0f, 1.0f);
}

void LevelMeter::updateAudioLevels(std::span<const float> samples, float sampleRate) {
    float sumOfSquares = 0.0f;
    for (float sample : samples) sumOfSquares += sample * sample;
    const float rms = samples.empty() ? 0.0f : std::sqrt(sumOfSquares / static_cast<float>(samples.size()));
    publish(spectralBandLevels(samples, sampleRate, overallLevel(rms)));
}

void LevelMeter::updateAudioLevels(std::span<const std::int16_t> samples, float sampleRate) {
    float sumOfSquares = 0.0f;
    for (std::int16_t sample : samples) {
        const float value = static_cast<float>(sample) / 32768.0f;
        sumOfSquares += value * value;
    }
    const float rms = samples.empty() ? 0.0f : std::sqrt(sumOfSquares / static_cast<float>(samples.size()));
    // Only the newest fftSize samples reach the spectrum, so only they are converted.
    const auto newest = samples.last(std::min(samples.size(), fftSize));
    std::ranges::transform(newest, converted_.begin(),
                           [](std::int16_t sample) { return static_cast<float>(sample) / 32768.0f; });
    publish(spectralBandLevels(std::span<const float>(converted_).first(newest.size()), sampleRate, overallLevel(rms)));
}

void LevelMeter::accumulateAudioLevels(std::span<const std::int16_t> samples, float sampleRate) {
    while (!samples.empty()) {
        const std::size_t taken = std::min(samples.size(), fftSize - gatheredCount_);
        std::ranges::copy(samples.first(taken), gathered_.begin() + static_cast<std::ptrdiff_t>(gatheredCount_));
        gatheredCount_ += taken;
        samples = samples.subspan(taken);
        if (gatheredCount_ == fftSize) {
            updateAudioLevels(std::span<const std::int16_t>(gathered_), sampleRate);
            gatheredCount_ = 0;
        }
    }
}

std::array<float, LevelMeter::visualizationBandCount> LevelMeter::spectralBandLevels(std::span<const float> samples,
                                                                                     float sampleRate,
                                                                                     float overallLevel) {
    std::array<float, visualizationBandCount> bands{};
    if (samples.size() < fftSize) {
        bands.fill(overallLevel * 0.35f);
        return bands;
    }
    const auto newest = samples.last(fftSize);
    for (std::size_t n = 0; n < fftSize; ++n) windowed_[n] = newest[n] * window_[n];
    fft_.squaredMagnitudes(windowed_, magnitudes_);

    const float nyquist = sampleRate / 2.0f;
    const float span = nyquist < 6000.0f ? std::log10(std::max(nyquist, 81.0f)) - lowestFrequencyLog : fullSpanDecades;
    const float binCount = static_cast<float>(fftSize / 2);
    for (std::size_t i = 0; i < visualizationBandCount; ++i) {
        const float count = static_cast<float>(visualizationBandCount);
        const float lowEdge = std::pow(10.0f, span * static_cast<float>(i) / count + lowestFrequencyLog);
        const float highEdge = std::pow(10.0f, span * static_cast<float>(i + 1) / count + lowestFrequencyLog);
        const long lowBin = std::max(1L, static_cast<long>(std::floor(lowEdge / nyquist * binCount)));
        const long highBin = std::min(static_cast<long>(fftSize / 2),
                                      std::max(lowBin + 1, static_cast<long>(std::ceil(highEdge / nyquist * binCount))));
        if (highBin <= lowBin) continue;
        float sum = 0.0f;
        for (long bin = lowBin; bin < highBin; ++bin) sum += magnitudes_[static_cast<std::size_t>(bin)];
        const float mean = sum / static_cast<float>(highBin - lowBin);
        const float decibels = 10.0f * std::log10(std::max(mean, 1e-8f));
        const float spectral = std::clamp((decibels + 70.0f) / 70.0f, 0.0f, 1.0f) * 0.9f;
        const float mixed = (spectral + overallLevel * 0.1f - 0.08f) / 0.92f;
        bands[i] = std::pow(std::clamp(mixed, 0.0f, 1.0f), 1.45f);
    }
    return bands;
}

void LevelMeter::publish(const std::array<float, visualizationBandCount>& levels) {
    const std::uint64_t start = sequence_.load(std::memory_order_relaxed);
    sequence_.store(start + 1, std::memory_order_relaxed);
    // Release on each value (in place of a fence, which ThreadSanitizer cannot follow): a reader
    // that sees a new value also sees the odd sequence stored before it.
    for (std::size_t i = 0; i < visualizationBandCount; ++i) newest_[i].store(levels[i], std::memory_order_release);
    sequence_.store(start + 2, std::memory_order_release);
}

bool LevelMeter::takeNewestLevels() {
    std::array<float, visualizationBandCount> levels{};
    std::uint64_t before = 0;
    while (true) {
        before = sequence_.load(std::memory_order_acquire);
        if (before == takenSequence_) return false;
        if (before % 2 != 0) continue;  // the audio thread is writing a handful of floats
        // Acquire on each value keeps the second look at the sequence after the reads.
        for (std::size_t i = 0; i < visualizationBandCount; ++i) levels[i] = newest_[i].load(std::memory_order_acquire);
        if (sequence_.load(std::memory_order_relaxed) == before) break;
    }
    takenSequence_ = before;
    audioLevels_.levels = levels;
    audioLevels_.peak = *std::ranges::max_element(levels);
    return true;
}

void LevelMeter::startSmoothingTimer() {
    stopSmoothingTimer();
    scheduleTick();
}

void LevelMeter::scheduleTick() {
    smoothingTimer_ = main_.postAfter(smoothingInterval, weakOwner_.weakly([this] {
        scheduleTick();
        updateSmoothedLevels();
    }));
}

void LevelMeter::stopSmoothingTimer() {
    smoothingTimer_.cancel();
    smoothingTimer_ = {};
}

void LevelMeter::reset() {
    takenSequence_ = sequence_.load(std::memory_order_acquire);
    audioLevels_ = {};
    smoothedLevels_ = {};
}

void LevelMeter::updateSmoothedLevels() {
    takeNewestLevels();
    float peak = 0.0f;
    for (std::size_t i = 0; i < visualizationBandCount; ++i) {
        const float target = audioLevels_.levels[i];
        const float current = smoothedLevels_.levels[i];
        const float coefficient = target > current ? attackCoefficient : releaseCoefficient;
        smoothedLevels_.levels[i] = current + coefficient * (target - current);
        peak = std::max(peak, smoothedLevels_.levels[i]);
    }
    if (peak < 0.05f) {
        // The time is taken in single precision on purpose: at present-day dates it moves in steps
        // of 128 seconds, so the idle floor is a low, slightly uneven level that changes now and
        // then rather than a moving wave.
        const auto sinceEpoch = std::chrono::duration<double>(clock_.now().time_since_epoch()).count();
        const float t = static_cast<float>(sinceEpoch);
        const float x = t + t;
        const float base = std::sin(x) * 0.008f + 0.015f;
        for (std::size_t i = 0; i < visualizationBandCount; ++i) {
            const float floor = base * (std::sin(x + static_cast<float>(i) * 0.3f) * 0.3f + 0.7f);
            smoothedLevels_.levels[i] = std::max(smoothedLevels_.levels[i], floor);
        }
        peak = std::max(peak, base);
    }
    smoothedLevels_.peak = peak;
    if (onSmoothedLevelsChanged) onSmoothedLevelsChanged();
}

}  // namespace quillon
