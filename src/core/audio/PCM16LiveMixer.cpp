#include "core/audio/PCM16LiveMixer.h"

#include <cmath>
#include <cstring>

namespace quillon {

namespace {
// A ring holds 1.3 seconds, far more than arrives between two ticks.
constexpr std::size_t ringCapacity = 65536;
}  // namespace

struct PCM16LiveMixer::State {
    mutable std::mutex mutex;  // guards everything below but the rings; see the class comment
    PCM16Handler onPCM16Data;
    bool running = false;
    std::uint64_t generation = 0;  // a tick of an earlier start finds a newer generation and ends
    TimerHandle timer;
    SampleFIFO microphone;
    SampleFIFO systemAudio;
    bool hasMicrophone = false;
    bool hasSystemAudio = false;
    int startupTicks = 0;
    SampleRing microphoneRing{ringCapacity};
    SampleRing systemAudioRing{ringCapacity};
    std::array<std::int16_t, 4096> drain{};
    std::array<std::int16_t, samplesPerChunk> microphoneChunk{};
    std::array<std::int16_t, samplesPerChunk> systemAudioChunk{};
    std::array<std::int16_t, samplesPerChunk> output{};
};

PCM16LiveMixer::PCM16LiveMixer(Scheduler& queue) : queue_(queue), state_(std::make_shared<State>()) {}

PCM16LiveMixer::~PCM16LiveMixer() { stop(); }

void PCM16LiveMixer::setOnPCM16Data(PCM16Handler handler) {
    std::lock_guard lock(state_->mutex);
    state_->onPCM16Data = std::move(handler);
}

void PCM16LiveMixer::start() {
    State& state = *state_;
    std::lock_guard lock(state.mutex);
    if (state.running) return;
    state.microphone.clear();
    state.systemAudio.clear();
    state.microphoneRing.clear();
    state.systemAudioRing.clear();
    state.hasMicrophone = false;
    state.hasSystemAudio = false;
    state.startupTicks = 0;
    state.running = true;
    ++state.generation;
    // A repeating timer: its runs are due at whole ticks from here, so late ticks do not drift,
    // and it allocates nothing per tick.
    state.timer = queue_.postRepeating(
        tickInterval, [state = state_, generation = state.generation] { tick(state, generation); });
}

void PCM16LiveMixer::stop() {
    State& state = *state_;
    std::lock_guard lock(state.mutex);
    state.timer.cancel();
    state.timer = {};
    state.running = false;
    ++state.generation;
    state.microphone.clear();
    state.systemAudio.clear();
    state.hasMicrophone = false;
    state.hasSystemAudio = false;
    state.startupTicks = 0;
}

void PCM16LiveMixer::appendMicrophone(std::span<const std::byte> block) { state_->microphoneRing.write(block); }

void PCM16LiveMixer::appendSystemAudio(std::span<const std::byte> block) { state_->systemAudioRing.write(block); }

PCM16LiveMixer::Backlog PCM16LiveMixer::backlog() const {
    std::lock_guard lock(state_->mutex);
    return {state_->microphone.available(), state_->systemAudio.available()};
}

std::int16_t PCM16LiveMixer::mix(std::int16_t microphone, std::int16_t systemAudio) {
    const float sum = static_cast<float>(microphone) * 0.75f + static_cast<float>(systemAudio) * 0.75f;
    const float rounded = std::round(sum);  // halves away from zero
    if (rounded > 32767.0f) return 32767;
    if (rounded < -32768.0f) return -32768;
    return static_cast<std::int16_t>(rounded);
}

void PCM16LiveMixer::tick(const std::shared_ptr<State>& state, std::uint64_t generation) {
    std::lock_guard lock(state->mutex);
    if (!state->running || state->generation != generation) return;
    emitChunk(*state);
}

void PCM16LiveMixer::emitChunk(State& state) {
    const auto drainRing = [&state](SampleRing& ring, SampleFIFO& fifo, bool& has) {
        for (;;) {
            const std::size_t count = ring.read(state.drain);
            if (count == 0) return;
            fifo.append(std::span<const std::int16_t>(state.drain.data(), count));
            has = true;
        }
    };
    drainRing(state.microphoneRing, state.microphone, state.hasMicrophone);
    drainRing(state.systemAudioRing, state.systemAudio, state.hasSystemAudio);

    ++state.startupTicks;
    const bool both = state.hasMicrophone && state.hasSystemAudio;
    const bool one = state.hasMicrophone || state.hasSystemAudio;
    if (!both && !(one && state.startupTicks >= startupTickLimit)) return;

    state.microphone.take(state.microphoneChunk);
    state.systemAudio.take(state.systemAudioChunk);
    for (std::size_t i = 0; i < samplesPerChunk; ++i) {
        state.output[i] = mix(state.microphoneChunk[i], state.systemAudioChunk[i]);
    }
    if (state.onPCM16Data) state.onPCM16Data(std::as_bytes(std::span(state.output)));
}

}  // namespace quillon
