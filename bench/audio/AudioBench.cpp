// Speed and cost of the live audio path, printed as figures:
//   the mixer: CPU per second of mixed audio (share of one core), and allocations per tick once
//   started, its tick timer included;
//   one application's capture with three sink inputs: CPU share of one core;
//   all system audio: delay from a sample played to the same sample delivered, median of 20.
// The null sinks of the test server run on a timer of their own, which on a loaded machine falls
// behind the wall clock (about 9 % on the two-core build machine): "s of audio in s" shows it.
//
//   tests/integration/desktop-session build/default/bench/audio/bench_audio
// Without a sound server only the mixer's figures are printed.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include "SpeechTestFiles.h"
#include "TestApplication.h"
#include "common/Figures.h"
#include "core/audio/PCM16LiveMixer.h"
#include "core/base/ManualScheduler.h"
#include "platform/linux/apps/DesktopEntryIndex.h"
#include "platform/linux/audio/PulseConnection.h"
#include "platform/linux/audio/SystemAudioTapPulse.h"
#include "platform/linux/base/SerialQueue.h"

namespace {
std::atomic<long> allocations{0};
}  // namespace

void* operator new(std::size_t size) {
    allocations.fetch_add(1, std::memory_order_relaxed);
    if (void* p = std::malloc(size ? size : 1)) return p;
    throw std::bad_alloc();
}
void operator delete(void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }

namespace quillon {
namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

void mixerFigures() {
    constexpr int seconds = 600;
    ManualScheduler queue;
    PCM16LiveMixer mixer(queue);
    long blocks = 0;
    mixer.setOnPCM16Data([&](std::span<const std::byte>) { ++blocks; });
    std::vector<std::byte> block(1920, std::byte{7});
    mixer.start();
    for (int i = 0; i < 50; ++i) {  // start-up: the FIFOs reach their steady size
        mixer.appendMicrophone(block);
        mixer.appendSystemAudio(block);
        queue.advance(20ms);
    }
    const long allocationsBefore = allocations.load();
    const double cpuBefore = bench::processCpuSeconds();
    for (int i = 0; i < seconds * 50; ++i) {
        mixer.appendMicrophone(block);
        mixer.appendSystemAudio(block);
        queue.advance(20ms);
    }
    const double cpu = bench::processCpuSeconds() - cpuBefore;
    const double perTick = static_cast<double>(allocations.load() - allocationsBefore) / (seconds * 50.0);

    std::printf("mixer: %.4f %% of one core per second of mixed audio (%d s mixed, %ld blocks)\n",
                100.0 * cpu / seconds, seconds, blocks);
    // Mixing (drain, take, mix, emit) and the queue's repeating tick timer, all that runs per tick.
    std::printf("mixer: %.2f allocations per tick after start-up (virtual time)\n", perTick);

    // The same on the serial queue the application gives it, for two seconds of real time: the
    // worker re-arms the tick. Nothing else in this process allocates meanwhile.
    SerialQueue worker("bench-mixer");
    PCM16LiveMixer real(worker);
    std::atomic<long> realBlocks{0};
    real.setOnPCM16Data([&](std::span<const std::byte>) { realBlocks.fetch_add(1, std::memory_order_relaxed); });
    real.start();
    const auto feed = [&](int ticks) {
        for (int i = 0; i < ticks; ++i) {
            real.appendMicrophone(block);
            real.appendSystemAudio(block);
            std::this_thread::sleep_for(20ms);
        }
    };
    feed(10);  // start-up
    const long realBefore = allocations.load();
    const long blocksBefore = realBlocks.load();
    feed(100);
    const long realAllocations = allocations.load() - realBefore;
    const long realTicks = realBlocks.load() - blocksBefore;
    real.stop();
    std::printf("mixer on a serial queue: %ld allocations in %ld ticks after start-up\n", realAllocations,
                realTicks);
}

void oneApplicationFigures(DesktopEntryIndex& index, int inputs) {
    testing::ScratchDirectory tones;
    std::vector<std::unique_ptr<testing::TestApplication>> players;
    for (int i = 0; i < inputs; ++i) {
        const auto tone = tones / (std::to_string(i) + ".wav");
        testing::runProcess({"sox", "-n", "-r", "48000", "-c", "1", tone, "synth", "60", "sine",
                             std::to_string(300 + 200 * i), "vol", "0.2"});
        players.push_back(std::make_unique<testing::TestApplication>(
            "paplay", std::vector<std::string>{"--client-name=Bench Player", "--latency-msec=20", tone}));
    }
    SystemAudioTapPulse tap(index);
    std::atomic<long> samples{0};
    tap.setOnPCM16Data([&](std::span<const std::byte> block) { samples += static_cast<long>(block.size() / 2); });
    bool started = false;
    for (int attempt = 0; attempt < 100 && !started; ++attempt) {
        started = tap.start("Bench Player") && tap.attachedCount() == static_cast<std::size_t>(inputs);
        if (!started) {
            tap.stop();
            std::this_thread::sleep_for(50ms);
        }
    }
    if (started) {
        std::this_thread::sleep_for(1s);
        const double cpuBefore = bench::processCpuSeconds();
        const long samplesBefore = samples.load();
        const auto wallBefore = Clock::now();
        std::this_thread::sleep_for(10s);
        const double cpu = bench::processCpuSeconds() - cpuBefore;
        const double wall = std::chrono::duration<double>(Clock::now() - wallBefore).count();
        std::printf("one application, %d sink inputs: %.3f %% of one core (%.1f s of audio in %.1f s)\n", inputs,
                    100.0 * cpu / wall, static_cast<double>(samples.load() - samplesBefore) / 48000.0, wall);
    } else {
        std::printf("one application, %d sink inputs: could not attach them all\n", inputs);
    }
    tap.stop();
}

// Plays a 5 ms burst every half second on a low-latency stream of its own and notes when each
// burst is handed to the server; the tap notes when each burst is delivered.
void delayFigures(DesktopEntryIndex& index) {
    PulseConnection connection("Quillon delay bench");
    if (!connection.connect()) return;
    struct Player {
        pa_stream* stream = nullptr;
        long written = 0;
        std::mutex mutex;
        std::vector<Clock::time_point> handedOver;
    } player;
    SystemAudioTapPulse tap(index);
    std::mutex mutex;
    std::vector<Clock::time_point> delivered;
    bool inBurst = false;
    tap.setOnPCM16Data([&](std::span<const std::byte> block) {
        const auto now = Clock::now();
        const auto* samples = reinterpret_cast<const std::int16_t*>(block.data());
        for (std::size_t i = 0; i < block.size() / 2; ++i) {
            const bool loud = std::abs(samples[i]) > 8000;
            if (loud && !inBurst) {
                std::lock_guard lock(mutex);
                delivered.push_back(now);
            }
            if (loud) inBurst = true;
            else if (std::abs(samples[i]) < 100) inBurst = false;
        }
    });
    if (!tap.start(std::nullopt)) return;
    {
        PulseConnection::Locked lock(connection);
        const pa_sample_spec sampleFormat{PA_SAMPLE_S16LE, 48000, 1};
        player.stream = pa_stream_new(connection.context(), "Delay bench", &sampleFormat, nullptr);
        const pa_buffer_attr attributes{static_cast<std::uint32_t>(-1), 48000 * 2 / 50, static_cast<std::uint32_t>(-1),
                                        static_cast<std::uint32_t>(-1), static_cast<std::uint32_t>(-1)};
        pa_stream_set_write_callback(
            player.stream,
            [](pa_stream* s, std::size_t length, void* user) {
                auto& p = *static_cast<Player*>(user);
                std::vector<std::int16_t> out(length / 2, 0);
                long burstAt = -1;
                for (std::size_t i = 0; i < out.size(); ++i) {
                    const long position = p.written + static_cast<long>(i);
                    const long phase = position % 24000;
                    if (phase < 240) out[i] = (phase % 2) ? 20000 : -20000;
                    if (phase == 0) burstAt = static_cast<long>(i);
                }
                pa_stream_write(s, out.data(), out.size() * 2, nullptr, 0, PA_SEEK_RELATIVE);
                p.written += static_cast<long>(out.size());
                if (burstAt >= 0) {
                    std::lock_guard guard(p.mutex);
                    p.handedOver.push_back(Clock::now());
                }
            },
            &player);
        const auto flags = static_cast<pa_stream_flags_t>(PA_STREAM_ADJUST_LATENCY | PA_STREAM_AUTO_TIMING_UPDATE |
                                                          PA_STREAM_INTERPOLATE_TIMING);
        pa_stream_connect_playback(player.stream, nullptr, &attributes, flags, nullptr, nullptr);
    }
    std::this_thread::sleep_for(11s);
    tap.stop();
    {
        PulseConnection::Locked lock(connection);
        pa_stream_disconnect(player.stream);
        pa_stream_unref(player.stream);
    }
    // Pairs each delivery with the latest burst handed over before it.
    std::lock_guard a(mutex);
    std::lock_guard b(player.mutex);
    std::vector<double> fromWritten;
    for (const auto& d : delivered) {
        const auto& starts = player.handedOver;
        auto before = std::find_if(starts.rbegin(), starts.rend(), [&](auto p) { return p <= d; });
        if (before != starts.rend()) fromWritten.push_back(bench::milliseconds(d - *before));
    }
    if (fromWritten.size() < 5) {
        std::printf("all system audio: too few bursts heard (%zu)\n", delivered.size());
        return;
    }
    // The null sink of the test server reports a playback latency near zero, so "played" is
    // measured from the hand-over to the server, which bounds it from above.
    std::printf("all system audio: delay from a sample handed to the server (20 ms playback buffer included) to its "
                "delivery, per burst: %s\n", bench::spread(fromWritten, "ms", 1).c_str());
}

}  // namespace
}  // namespace quillon

int main() {
    quillon::mixerFigures();
    if (!std::getenv("PULSE_SERVER") && !std::getenv("QUILLON_TEST_SESSION")) {
        std::printf("no private sound server: run inside tests/integration/desktop-session for the capture figures\n");
        return 0;
    }
    quillon::DesktopEntryIndex index;
    quillon::oneApplicationFigures(index, 3);
    quillon::delayFigures(index);
    return 0;
}
