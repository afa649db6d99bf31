// The live audio stream on its way to the recogniser: the sample FIFO, the two-source mixer, the
// capture controller that starts and restarts the sources, and the level meter.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "core/audio/LevelMeter.h"
#include "core/audio/LiveAudioCaptureController.h"
#include "core/audio/PCM16LiveMixer.h"
#include "core/audio/SampleFIFO.h"
#include "core/base/ManualScheduler.h"
#include "fakes/FakeAudioCapture.h"
#include "fakes/FakeRealFFT.h"
#include "fakes/FakeWallClock.h"

namespace quillon {
namespace {

using namespace std::chrono_literals;

std::vector<std::byte> bytesOf(const std::vector<std::int16_t>& samples) {
    std::vector<std::byte> bytes(samples.size() * 2);
    if (!bytes.empty()) std::memcpy(bytes.data(), samples.data(), bytes.size());
    return bytes;
}

std::vector<std::int16_t> samplesOf(std::span<const std::byte> block) {
    std::vector<std::int16_t> samples(block.size() / 2);
    std::memcpy(samples.data(), block.data(), samples.size() * 2);
    return samples;
}

std::vector<std::int16_t> ramp(std::size_t count, int from = 0) {
    std::vector<std::int16_t> samples(count);
    for (std::size_t i = 0; i < count; ++i) samples[i] = static_cast<std::int16_t>((from + static_cast<int>(i)) % 30000);
    return samples;
}

std::vector<std::int16_t> take(SampleFIFO& fifo, std::size_t count) {
    std::vector<std::int16_t> out(count, 1234);
    fifo.take(out);
    return out;
}

TEST(SampleFIFOTest, TakeIsPaddedWithSilenceAndAppendsKeepWholeSamplesAndTheNewestSecond) {
    SampleFIFO fifo;
    EXPECT_EQ(take(fifo, 960), std::vector<std::int16_t>(960, 0));
    EXPECT_EQ(fifo.readIndex(), 0u);
    // The odd last byte is dropped: the next block starts on a fresh sample.
    fifo.append(std::vector<std::byte>{std::byte{0x01}, std::byte{0x02}, std::byte{0x03}});
    fifo.append(bytesOf({0x0504, -6}));
    EXPECT_EQ(take(fifo, 4), (std::vector<std::int16_t>{0x0201, 0x0504, -6, 0}));

    fifo.append(bytesOf(ramp(50000)));
    EXPECT_EQ(fifo.available(), 48000u);
    EXPECT_EQ(take(fifo, 2), (std::vector<std::int16_t>{2000, 2001}));
}

TEST(SampleFIFOTest, CompactsPastEightThousandOrPastHalfTheArray) {
    struct Step {
        std::size_t append;
        std::size_t take;
        std::size_t readIndexAfter;
    };
    const std::vector<Step> steps = {
        {10000, 8001, 0},  // past 8000: compacted
        {0, 999, 999},     // 999 consumed of 1999: not yet half
        {0, 1, 0},         // 1000 consumed of 1999: fewer left than consumed
        {10000, 4000, 4000},
    };
    SampleFIFO fifo;
    int next = 0;
    int expected = 0;
    for (const auto& step : steps) {
        fifo.append(bytesOf(ramp(step.append, next)));
        next += static_cast<int>(step.append);
        const auto out = take(fifo, step.take);
        for (auto sample : out) EXPECT_EQ(sample, static_cast<std::int16_t>(expected++ % 30000));
        EXPECT_EQ(fifo.readIndex(), step.readIndexAfter) << "after taking " << step.take;
    }
}

TEST(PCM16LiveMixerTest, MixesAtThreeQuartersRoundingHalvesAwayFromZeroAndClamps) {
    struct Case {
        std::int16_t microphone, systemAudio, expected;
    };
    const Case cases[] = {
        {32767, 32767, 32767},    // 49150.5 clamps
        {-32768, -32768, -32768}, // -49152 clamps
        {1000, 0, 750},  {100, -100, 0},
        {1, 0, 1},       {-1, 0, -1},  // 0.75 rounds to 1
        {2, 0, 2},       {-2, 0, -2},  // 1.5 away from zero
    };
    for (const auto& c : cases) {
        EXPECT_EQ(PCM16LiveMixer::mix(c.microphone, c.systemAudio), c.expected) << c.microphone << " + " << c.systemAudio;
    }
}

// Runs a mixer for `ticks` ticks; before tick n (1-based) the sources listed for n deliver one
// 960-sample block each. Returns, per tick, the block that left (empty when none).
struct Delivery {
    int tick;
    bool microphone;
    std::int16_t value;
};

std::vector<std::vector<std::int16_t>> runTicks(int ticks, const std::vector<Delivery>& deliveries) {
    ManualScheduler queue;
    PCM16LiveMixer mixer(queue);
    std::vector<std::int16_t> emitted;
    bool didEmit = false;
    mixer.setOnPCM16Data([&](std::span<const std::byte> block) {
        EXPECT_EQ(block.size(), 1920u);
        emitted = samplesOf(block);
        didEmit = true;
    });
    mixer.start();
    std::vector<std::vector<std::int16_t>> perTick;
    for (int tick = 1; tick <= ticks; ++tick) {
        for (const auto& d : deliveries) {
            if (d.tick != tick) continue;
            const auto block = bytesOf(std::vector<std::int16_t>(960, d.value));
            d.microphone ? mixer.appendMicrophone(block) : mixer.appendSystemAudio(block);
        }
        didEmit = false;
        queue.advance(20ms);
        perTick.push_back(didEmit ? emitted : std::vector<std::int16_t>{});
    }
    return perTick;
}

TEST(PCM16LiveMixerTest, StartUpWaitsForBothSourcesOrFiveTicksWithOne) {
    struct Case {
        const char* name;
        std::vector<Delivery> deliveries;
        int firstEmittingTick;  // 0: none in ten ticks
        std::int16_t firstValue;
    };
    const Case cases[] = {
        {"microphone only, system silent from the start", {{1, true, 1000}}, 5, 750},
        {"both by the second tick", {{1, true, 1000}, {2, false, -400}}, 2, 450},
        {"system audio alone, late", {{7, false, 400}}, 7, 300},
        {"neither", {}, 0, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const auto perTick = runTicks(10, c.deliveries);
        const auto first = std::ranges::find_if(perTick, [](const auto& block) { return !block.empty(); });
        EXPECT_EQ(first == perTick.end() ? 0 : first - perTick.begin() + 1, c.firstEmittingTick);
        if (first == perTick.end()) continue;
        EXPECT_EQ(*first, std::vector<std::int16_t>(960, c.firstValue));
        // From then on every tick emits, silence once the FIFOs are empty.
        EXPECT_TRUE(std::all_of(first, perTick.end(), [](const auto& block) { return block.size() == 960; }));
        EXPECT_EQ(perTick.back(), std::vector<std::int16_t>(960, 0));
    }
}

TEST(PCM16LiveMixerTest, NothingLeavesAfterStopAndARestartForgetsWhatWaited) {
    ManualScheduler queue;
    PCM16LiveMixer mixer(queue);
    std::vector<std::vector<std::int16_t>> blocks;
    mixer.setOnPCM16Data([&](std::span<const std::byte> block) { blocks.push_back(samplesOf(block)); });
    mixer.start();
    mixer.appendMicrophone(bytesOf(std::vector<std::int16_t>(960, 100)));
    mixer.appendSystemAudio(bytesOf(std::vector<std::int16_t>(960, 100)));
    mixer.stop();
    mixer.appendMicrophone(bytesOf(std::vector<std::int16_t>(960, 200)));  // a block queued late
    queue.advance(200ms);
    EXPECT_TRUE(blocks.empty());

    mixer.start();
    mixer.appendMicrophone(bytesOf(std::vector<std::int16_t>(960, 4)));
    mixer.appendSystemAudio(bytesOf(std::vector<std::int16_t>(960, 4)));
    queue.advance(20ms);
    ASSERT_EQ(blocks.size(), 1u);
    EXPECT_EQ(blocks[0], std::vector<std::int16_t>(960, 6));
}

// Two sources on their own clocks, the system one 1 % fast, for a minute of virtual time: the
// output keeps the timer's rate, the slow source never waits, and the fast one's lead stays
// within the FIFO's one second.
TEST(PCM16LiveMixerTest, TwoClocksOneRunningFastStayWithinTheLimitForAMinute) {
    ManualScheduler queue;
    PCM16LiveMixer mixer(queue);
    std::size_t blocks = 0;
    mixer.setOnPCM16Data([&](std::span<const std::byte> block) {
        EXPECT_EQ(block.size(), 1920u);
        ++blocks;
    });
    const auto chunk = bytesOf(ramp(480));
    std::function<void()> microphone = [&] {
        mixer.appendMicrophone(chunk);
        queue.postAfter(10ms, microphone);
    };
    std::function<void()> systemAudio = [&] {
        mixer.appendSystemAudio(chunk);
        queue.postAfter(std::chrono::microseconds(9900), systemAudio);  // 1 % fast
    };
    mixer.start();
    queue.postAfter(3ms, microphone);
    queue.postAfter(7ms, systemAudio);
    std::size_t largestLead = 0;
    std::size_t largestMicrophoneBacklog = 0;
    for (int i = 0; i < 3000; ++i) {
        queue.advance(20ms);
        const auto backlog = mixer.backlog();
        largestLead = std::max(largestLead, backlog.systemAudio);
        largestMicrophoneBacklog = std::max(largestMicrophoneBacklog, backlog.microphone);
    }
    EXPECT_EQ(blocks, 3000u);
    EXPECT_LE(largestMicrophoneBacklog, 960u);
    EXPECT_LE(largestLead, SampleFIFO::maximumAvailable);
    EXPECT_GT(largestLead, 20000u);  // 1 % of a minute is 28800 samples ahead
}

using testing::CallJournal;

const LiveAudioConfiguration microphone{LiveAudioMode::microphone, std::nullopt, "System Audio"};
const LiveAudioConfiguration allSystemAudio{LiveAudioMode::systemAudio, std::nullopt, "System Audio"};
const LiveAudioConfiguration callApp{LiveAudioMode::systemAudio, "chromium", "Chromium"};
const LiveAudioConfiguration callAppRenamed{LiveAudioMode::systemAudio, "chromium", "Chromium Web Browser"};
const LiveAudioConfiguration mixed{LiveAudioMode::microphoneAndSystemAudio, "chromium", "Chromium"};

const AudioCaptureError appGone{AudioCaptureError::Kind::applicationUnavailable, ""};

struct World {
    ManualScheduler main;
    ManualScheduler mixerQueue;
    CallJournal journal;
    testing::FakeAudioCapture microphone;
    testing::FakeSystemAudioTap tap;
    LiveAudioCaptureController controller{main, mixerQueue, microphone, tap};

    World() {
        microphone.journal = &journal;
        tap.journal = &journal;
    }
};

TEST(LiveAudioCaptureControllerTest, FailedStartStopsWhatAlreadyRan) {
    World world;
    world.tap.startFailures = {appGone};
    auto started = world.controller.start(mixed);
    ASSERT_FALSE(started);
    EXPECT_EQ(started.error(), appGone);
    EXPECT_FALSE(world.microphone.running);
    EXPECT_FALSE(world.controller.isRunning());
}

TEST(LiveAudioCaptureControllerTest, ReconfigureRestartsOnlyForAChangeAndStopsWithBothErrorsWhenNothingStarts) {
    for (const auto& [target, restarts] : {std::pair{callApp, false}, std::pair{callAppRenamed, true}}) {
        World world;
        ASSERT_TRUE(world.controller.start(callApp));
        world.journal.clear();
        EXPECT_TRUE(world.controller.reconfigure(target));
        EXPECT_EQ(world.controller.currentConfiguration(), target);
        EXPECT_TRUE(world.controller.isRunning());
        EXPECT_EQ(!world.journal.empty(), restarts) << target.displayName();
    }
    World world;
    ASSERT_TRUE(world.controller.start(callApp));
    world.tap.startFailures = {appGone, appGone};  // the change, then the restoration
    const auto result = world.controller.reconfigure(allSystemAudio);
    ASSERT_FALSE(result);
    EXPECT_EQ(result.error(), (LiveAudioReconfigureError{LiveAudioCaptureError{appGone, appGone}}));
    EXPECT_FALSE(world.controller.isRunning());
    EXPECT_FALSE(world.controller.currentConfiguration());
    // Stopped for good: a later change starts from nothing.
    EXPECT_TRUE(world.controller.reconfigure(microphone));
    EXPECT_EQ(world.controller.currentConfiguration(), microphone);
}

TEST(LiveAudioCaptureControllerTest, RunTimeErrorsReachTheMainQueueOncePerCaptureAndCaptureGoesOn) {
    World world;
    std::vector<AudioCaptureError> errors;
    world.controller.onError = [&](const AudioCaptureError& e) { errors.push_back(e); };
    ASSERT_TRUE(world.controller.start(microphone));
    const AudioCaptureError lost{AudioCaptureError::Kind::connectionLost, ""};
    world.microphone.fail(lost);
    EXPECT_TRUE(errors.empty());
    world.tap.error(lost);  // the server's death fails every source: one report
    world.main.runUntilIdle();
    EXPECT_EQ(errors, std::vector<AudioCaptureError>{lost});
    EXPECT_TRUE(world.controller.isRunning());

    // An error of a capture that has since stopped is dropped; the next capture reports again.
    world.microphone.fail(lost);
    world.controller.stop();
    ASSERT_TRUE(world.controller.start(microphone));
    world.main.runUntilIdle();
    EXPECT_EQ(errors.size(), 1u);
    world.microphone.fail(lost);
    world.main.runUntilIdle();
    EXPECT_EQ(errors.size(), 2u);
}

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
        testing::FakeRealFFT fft;
        ManualScheduler queue;
        testing::FakeWallClock clock;
        LevelMeter meter{fft, queue, clock};
        fft.spectrum[c.bin] = c.energy;
        const auto bands = meter.spectralBandLevels(std::vector<float>(1024, 0.25f), c.sampleRate, 0.8f);
        for (std::size_t i = 0; i < 5; ++i) EXPECT_NEAR(bands[i], c.expected[i], 2e-5f) << "band " << i;
    }
}

}  // namespace
}  // namespace quillon
