#include <gtest/gtest.h>

#include <vector>

#include "core/audio/LevelMeter.h"
#include "core/base/ManualScheduler.h"
#include "fakes/FakeRealFFT.h"
#include "fakes/FakeWallClock.h"

namespace quillon {
namespace {

using testing::FakeRealFFT;
using testing::FakeWallClock;

struct MeterWorld {
    MeterWorld() { clock.set(std::chrono::system_clock::time_point{}); }

    FakeRealFFT fft;
    ManualScheduler main;
    FakeWallClock clock;
    LevelMeter meter{fft, main, clock};
};

// A band whose mean squared magnitude is 1 sits at 0 dB: 0.9 before the overall mix, and with an
// overall level of 0.8 the mix gives (0.9 + 0.08 - 0.08) / 0.92 = 0.978261, to the power 1.45.
constexpr float fullBand = 0.968633f;

// At 16 kHz the bands span bins [5,13) [12,29) [28,69) [68,162) [161,385); at 8 kHz the range
// ends at the Nyquist frequency and the last band is [234,512).
TEST(LevelMeter, SpectralBandsMatchHandComputedEdges) {
    struct Case {
        const char* name;
        float sampleRate;
        std::size_t bin;  // the one bin that carries energy
        float energy;     // spread over the band it falls in
        std::array<float, 5> expected;
    };
    const Case cases[] = {
        {"lowest", 16000.0f, 8, 8.0f, {fullBand, 0, 0, 0, 0}},
        {"overlapping edge bin counts in both", 16000.0f, 12, 1.7f, {0.836642f, 0.774616f, 0, 0, 0}},
        {"bin zero is never used", 16000.0f, 0, 1e6f, {0, 0, 0, 0, 0}},
        {"top band reaches Nyquist at 8 kHz", 8000.0f, 511, 278.0f, {0, 0, 0, 0, fullBand}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        MeterWorld world;
        world.fft.spectrum[c.bin] = c.energy;
        const std::vector<float> samples(1024, 0.25f);
        const auto bands = world.meter.spectralBandLevels(samples, c.sampleRate, 0.8f);
        for (std::size_t i = 0; i < 5; ++i) EXPECT_NEAR(bands[i], c.expected[i], 2e-5f) << "band " << i;
    }
}

TEST(LevelMeter, ResetForgetsLevelsTheAudioThreadLeftBehind) {
    MeterWorld world;
    world.fft.spectrum.assign(512, 1.0f);
    const std::vector<float> loud(1024, 1.0f);
    world.meter.updateAudioLevels(loud, 16000.0f);
    world.meter.reset();
    world.meter.updateSmoothedLevels();
    EXPECT_EQ(world.meter.audioLevels(), AudioLevels{});
    EXPECT_LT(world.meter.smoothedLevels().peak, 0.05f);
}

}  // namespace
}  // namespace quillon
