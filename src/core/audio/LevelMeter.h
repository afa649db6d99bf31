#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <vector>

#include "core/base/Scheduler.h"
#include "core/base/TimerHandle.h"
#include "core/base/WeakOwner.h"
#include "core/ports/RealFFT.h"
#include "core/ports/WallClock.h"

namespace quillon {

// Five band levels from 0 to 1, and the largest of them.
struct AudioLevels {
    std::array<float, 5> levels{};
    float peak = 0.0f;

    bool operator==(const AudioLevels&) const = default;
};

// Turns the microphone's blocks into five frequency-band levels for the recording indicator, and
// smooths them on a timer of its own (about 60 steps a second, whatever the block rate). A silent
// recording shows a small, slightly uneven idle floor instead of flat bars.
//
// Threads: updateAudioLevels() runs on the audio thread and allocates nothing, takes no lock and
// never waits: it writes the newest raw levels into a one-writer slot guarded by a sequence
// counter. Everything else runs on the main thread; each smoothing step first takes the newest
// raw levels from that slot, so the published values change on the main thread only.
class LevelMeter {
public:
    static constexpr std::size_t visualizationBandCount = 5;
    static constexpr std::size_t fftSize = 1024;
    static constexpr Duration smoothingInterval = std::chrono::milliseconds(16);
    // One-pole smoothing with the timer's period: 1 - exp(-0.016 / 0.028) and 1 - exp(-0.016 / 0.11).
    static constexpr float attackCoefficient = 0.43528187f;
    static constexpr float releaseCoefficient = 0.1353708f;

    // `fft` must be of fftSize points.
    LevelMeter(RealFFT& fft, Scheduler& main, const WallClock& clock);
    LevelMeter(const LevelMeter&) = delete;
    LevelMeter& operator=(const LevelMeter&) = delete;

    // Audio thread. Channel 0 of one block, as floats from -1 to 1 or as 16-bit samples.
    void updateAudioLevels(std::span<const float> samples, float sampleRate);
    void updateAudioLevels(std::span<const std::int16_t> samples, float sampleRate);

    // Audio thread. For capture that delivers small blocks (10-20 ms): gathers them into blocks of
    // fftSize samples and measures each full one, so the spectrum always has a whole window.
    void accumulateAudioLevels(std::span<const std::int16_t> samples, float sampleRate);

    // The band levels of the newest fftSize samples; fewer samples give the overall level, scaled.
    // Audio thread (it uses the meter's own work buffers).
    std::array<float, visualizationBandCount> spectralBandLevels(std::span<const float> samples, float sampleRate,
                                                                 float overallLevel);

    // Main thread.
    void startSmoothingTimer();
    void stopSmoothingTimer();
    // Zeros every level and forgets raw levels not yet taken.
    void reset();
    void updateSmoothedLevels();

    // Main thread. The last block's levels as of the last smoothing step, and what displays use.
    const AudioLevels& audioLevels() const { return audioLevels_; }
    const AudioLevels& smoothedLevels() const { return smoothedLevels_; }

    // Main thread, after each smoothing step.
    std::function<void()> onSmoothedLevelsChanged;

private:
    void publish(const std::array<float, visualizationBandCount>& levels);
    bool takeNewestLevels();
    void scheduleTick();
    static float overallLevel(float rms);

    RealFFT& fft_;
    Scheduler& main_;
    const WallClock& clock_;

    // Audio thread only, sized once.
    std::vector<float> window_;
    std::vector<float> windowed_;
    std::vector<float> magnitudes_;
    std::vector<float> converted_;
    std::vector<std::int16_t> gathered_;
    std::size_t gatheredCount_ = 0;

    // The one-writer slot: odd while the audio thread writes.
    std::atomic<std::uint64_t> sequence_{0};
    std::array<std::atomic<float>, visualizationBandCount> newest_{};

    // Main thread.
    std::uint64_t takenSequence_ = 0;
    AudioLevels audioLevels_;
    AudioLevels smoothedLevels_;
    TimerHandle smoothingTimer_;
    WeakOwner weakOwner_;
};

}  // namespace quillon
