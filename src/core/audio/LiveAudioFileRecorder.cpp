#include "core/audio/LiveAudioFileRecorder.h"

#include <mutex>
#include <system_error>
#include <thread>
#include <vector>

#include "core/audio/SampleRing.h"
#include "core/base/Uuid.h"

namespace quillon {

namespace {
constexpr std::size_t ringCapacity = 524288;  // about ten seconds
}  // namespace

struct LiveAudioFileRecorder::Recording {
    std::unique_ptr<AudioFileWriter> file;  // touched on the queue only, once installed
    std::filesystem::path path;
    std::vector<std::int16_t> pending;      // guarded by State::mutex
    bool hasReportedWriteError = false;     // queue only
};

struct LiveAudioFileRecorder::State {
    explicit State(Scheduler& q) : queue(q) {}

    Scheduler& queue;
    std::function<void(const LiveAudioFileRecorderError&)> onError;  // guarded by mutex; copied at each start
    std::atomic<bool> isRecording{false};
    std::atomic<int> appendsInRing{0};
    SampleRing ring{ringCapacity};
    std::mutex mutex;  // guards current, generation and every Recording's pending
    std::shared_ptr<Recording> current;
    std::uint64_t generation = 0;
    std::vector<std::int16_t> scratch = std::vector<std::int16_t>(8192);
    std::size_t reportedDrops = 0;

    // Under `mutex`: moves what the ring holds into the current recording.
    void takeRing() {
        for (;;) {
            const std::size_t count = ring.read(scratch);
            if (count == 0) break;
            if (current) current->pending.insert(current->pending.end(), scratch.begin(), scratch.begin() + static_cast<std::ptrdiff_t>(count));
        }
    }
};

LiveAudioFileRecorder::LiveAudioFileRecorder(Scheduler& mainQueue, Scheduler& queue, AudioFileWriterFactory& files,
                                             std::filesystem::path temporaryDirectory)
    : mainQueue_(mainQueue),
      queue_(queue),
      files_(files),
      temporaryDirectory_(std::move(temporaryDirectory)),
      state_(std::make_shared<State>(queue)) {}

LiveAudioFileRecorder::~LiveAudioFileRecorder() {
    // A recording nobody finished is closed on the queue, so its file stays valid.
    if (isRecording()) finish([](std::optional<std::filesystem::path>) {});
}

bool LiveAudioFileRecorder::isRecording() const { return state_->isRecording.load(); }

std::expected<void, LiveAudioFileRecorderError> LiveAudioFileRecorder::start() {
    if (isRecording()) return {};
    const auto path = temporaryDirectory_ / ("Quillon Live Recording " + Uuid::random().toString() + ".m4a");
    auto opened = files_.open(path);
    if (!opened) {
        std::error_code ignored;
        std::filesystem::remove(path, ignored);
        return std::unexpected(LiveAudioFileRecorderError{LiveAudioFileRecorderError::Kind::couldNotStart, opened.error()});
    }
    auto recording = std::make_shared<Recording>();
    recording->file = std::move(*opened);
    recording->path = path;
    recording->pending.reserve(samplesPerWrite * 4);
    std::uint64_t generation = 0;
    {
        std::lock_guard lock(state_->mutex);
        state_->onError = onError;
        state_->ring.clear();
        state_->current = std::move(recording);
        generation = ++state_->generation;
    }
    state_->isRecording = true;
    auto state = state_;
    queue_.postAfter(drainInterval, [state, generation] { drain(state, generation); });
    return {};
}

void LiveAudioFileRecorder::appendPCM16(std::span<const std::byte> block) {
    State& state = *state_;
    state.appendsInRing.fetch_add(1);
    if (state.isRecording.load() && block.size() >= 2) state.ring.write(block);
    state.appendsInRing.fetch_sub(1);
}

void LiveAudioFileRecorder::finish(std::function<void(std::optional<std::filesystem::path>)> completion) {
    if (!isRecording()) {
        mainQueue_.post([completion = std::move(completion)] { completion(std::nullopt); });
        return;
    }
    State& state = *state_;
    state.isRecording = false;
    // An append that saw the flag still set is at most one block copy away from done.
    while (state.appendsInRing.load() != 0) std::this_thread::yield();
    std::shared_ptr<Recording> recording;
    {
        std::lock_guard lock(state.mutex);
        state.takeRing();
        recording = std::move(state.current);
        ++state.generation;
    }
    queue_.post([state = state_, recording, completion = std::move(completion), &main = mainQueue_] {
        write(*state, *recording, true);
        recording->file.reset();  // closing finishes the file before its path is handed on
        main.post([completion, path = recording->path] { completion(path); });
    });
}

void LiveAudioFileRecorder::drain(const std::shared_ptr<State>& state, std::uint64_t generation) {
    std::shared_ptr<Recording> recording;
    {
        std::lock_guard lock(state->mutex);
        if (state->generation != generation || !state->current) return;
        state->takeRing();
        recording = state->current;
    }
    write(*state, *recording, false);
    state->queue.postAfter(drainInterval, [state, generation] { drain(state, generation); });
}

void LiveAudioFileRecorder::write(State& state, Recording& recording, bool all) {
    std::vector<std::int16_t> batch;
    std::size_t dropped = 0;
    std::function<void(const LiveAudioFileRecorderError&)> onError;
    {
        std::lock_guard lock(state.mutex);
        if (recording.pending.size() < (all ? 1 : samplesPerWrite)) return;
        batch.swap(recording.pending);
        recording.pending.reserve(batch.capacity());
        dropped = state.ring.droppedSamples() - state.reportedDrops;
        state.reportedDrops += dropped;
        onError = state.onError;
    }
    if (!recording.file) return;
    auto written = recording.file->write(batch);
    std::string failure;
    if (!written) failure = written.error();
    else if (dropped > 0) failure = "the encoder fell behind and audio was lost";
    if (failure.empty() || recording.hasReportedWriteError) return;
    recording.hasReportedWriteError = true;
    if (onError) onError(LiveAudioFileRecorderError{LiveAudioFileRecorderError::Kind::couldNotWrite, failure});
}

}  // namespace quillon
