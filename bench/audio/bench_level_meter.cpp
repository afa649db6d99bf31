// What the level meter costs the audio thread per block: gathering, the loudness, a 1024-point
// spectrum through FFmpeg's FFT, the five bands and the hand-over, for blocks of 10 ms and 20 ms at 48 kHz
// and 16-bit samples as the sound server delivers them. "allocations" counts heap allocations per
// block, which must stay 0.
#include <benchmark/benchmark.h>

#include <atomic>
#include <cmath>
#include <cstdlib>
#include <new>
#include <vector>

#include "core/audio/LevelMeter.h"
#include "core/base/ManualScheduler.h"
#include "platform/linux/sound/RealFFTAvTx.h"

namespace {

std::atomic<long> allocations{0};

class FixedWallClock final : public quillon::WallClock {
public:
    std::chrono::system_clock::time_point now() const override { return {}; }
    std::chrono::seconds utcOffset(std::chrono::system_clock::time_point) const override { return {}; }
};

void meterBlock(benchmark::State& state) {
    quillon::RealFFTAvTx fft(quillon::LevelMeter::fftSize);
    quillon::ManualScheduler main;
    FixedWallClock clock;
    quillon::LevelMeter meter(fft, main, clock);
    std::vector<std::int16_t> block(static_cast<std::size_t>(state.range(0)));
    for (std::size_t i = 0; i < block.size(); ++i) {
        block[i] = static_cast<std::int16_t>(8000.0 * std::sin(0.05 * static_cast<double>(i)));
    }
    const long before = allocations.load();
    for (auto _ : state) meter.accumulateAudioLevels(std::span<const std::int16_t>(block), 48000.0f);
    state.counters["allocations"] =
        benchmark::Counter(static_cast<double>(allocations.load() - before), benchmark::Counter::kAvgIterations);
}

}  // namespace

void* operator new(std::size_t size) {
    allocations.fetch_add(1, std::memory_order_relaxed);
    if (void* memory = std::malloc(size == 0 ? 1 : size)) return memory;
    throw std::bad_alloc();
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

BENCHMARK(meterBlock)->Arg(480)->Arg(960)->Arg(4096);
