#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <span>

#include "core/audio/SampleFIFO.h"
#include "core/audio/SampleRing.h"
#include "core/base/Scheduler.h"

namespace quillon {

// Mixes the microphone and system audio, two 48000 Hz streams on independent clocks, into one.
// A 20-millisecond tick on the mixer's serial queue is the common clock: each tick takes 960
// samples of each source, pads a late source with silence, and emits 0.75 * (a + b), rounded
// half away from zero and clamped. Until both sources have delivered it waits, for at most five
// ticks once one has. A source that runs ahead builds up to one second, then loses its oldest.
//
// Threads and lock rules:
// - The appends run on the audio threads. They only write into a lock-free ring per source (one
//   producer each), never block and never allocate; a full ring drops the newest samples.
// - Each tick drains the rings into the FIFOs, all under `mutex`, on the mixer's queue.
// - start() and stop() run on the caller's thread and take `mutex` too, so when stop() returns
//   no further tick can emit. `mutex` is held at most for one tick's work (a copy and a mix of
//   960 samples, and the onPCM16Data call), and never by an audio thread.
class PCM16LiveMixer {
public:
    using PCM16Handler = std::function<void(std::span<const std::byte> block)>;

    static constexpr std::size_t samplesPerChunk = 960;
    static constexpr Duration tickInterval = std::chrono::milliseconds(20);
    static constexpr int startupTickLimit = 5;

    explicit PCM16LiveMixer(Scheduler& queue);
    ~PCM16LiveMixer();
    PCM16LiveMixer(const PCM16LiveMixer&) = delete;
    PCM16LiveMixer& operator=(const PCM16LiveMixer&) = delete;

    // Receives every mixed block of 1920 bytes, on the mixer's queue. Set before start().
    void setOnPCM16Data(PCM16Handler handler);

    void start();
    void stop();

    void appendMicrophone(std::span<const std::byte> block);
    void appendSystemAudio(std::span<const std::byte> block);

    // The samples each source has waiting, for the measurements of the tests and benchmarks.
    struct Backlog {
        std::size_t microphone = 0;
        std::size_t systemAudio = 0;
    };
    Backlog backlog() const;

    // One output sample: 0.75 * (a + b) in single precision, rounded half away from zero, clamped.
    static std::int16_t mix(std::int16_t microphone, std::int16_t systemAudio);

private:
    struct State;
    static void tick(const std::shared_ptr<State>& state, std::uint64_t generation);
    static void emitChunk(State& state);

    Scheduler& queue_;
    std::shared_ptr<State> state_;  // shared with the queued ticks, which may outlive the mixer
};

}  // namespace quillon
