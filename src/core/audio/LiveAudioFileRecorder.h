#pragma once

#include <atomic>
#include <cstddef>
#include <expected>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "core/base/Scheduler.h"
#include "core/ports/AudioFileWriter.h"

namespace quillon {

struct LiveAudioFileRecorderError {
    enum class Kind { couldNotStart, couldNotWrite };
    Kind kind = Kind::couldNotStart;
    std::string reason;

    std::string description() const {
        return (kind == Kind::couldNotStart ? "Could not start the audio recording: "
                                            : "Could not write the audio recording: ") +
               reason;
    }
    bool operator==(const LiveAudioFileRecorderError&) const = default;
};

// Records the live transcript's 48000 Hz PCM16 stream to an AAC file ("Quillon Live Recording "
// UUID ".m4a") in the private temporary folder, encoding on its own serial queue in batches of
// at least 100 milliseconds, so a slow encoder never holds up capture.
//
// Threads and lock rules:
// - appendPCM16 runs on the audio thread: it copies the block into a lock-free ring and returns;
//   it never allocates, never blocks. One producer at a time. When the encoder falls more than
//   ten seconds behind, the ring drops the newest audio and the loss is reported as a write error.
// - Every 100 ms the queue drains the ring into the recording's pending samples and encodes them.
// - start() and finish() run on the main thread. `mutex` guards which recording is current and
//   its pending samples; it is held for copies only, never while encoding. finish() waits, without
//   a lock, for an append already inside the ring to leave it (one copy of one block).
// - The completion of finish() runs on the main queue, always exactly once; onError runs on the
//   recorder's queue, once per recording.
class LiveAudioFileRecorder {
public:
    static constexpr std::size_t samplesPerWrite = 4800;  // 100 ms, 9600 bytes
    static constexpr Duration drainInterval = std::chrono::milliseconds(100);

    LiveAudioFileRecorder(Scheduler& mainQueue, Scheduler& queue, AudioFileWriterFactory& files,
                          std::filesystem::path temporaryDirectory);
    ~LiveAudioFileRecorder();
    LiveAudioFileRecorder(const LiveAudioFileRecorder&) = delete;
    LiveAudioFileRecorder& operator=(const LiveAudioFileRecorder&) = delete;

    std::function<void(const LiveAudioFileRecorderError& error)> onError;

    // A second start while recording keeps the first file.
    std::expected<void, LiveAudioFileRecorderError> start();
    void appendPCM16(std::span<const std::byte> block);
    // Writes what remains, closes the file and hands on its path (absent when not recording).
    void finish(std::function<void(std::optional<std::filesystem::path>)> completion);

    bool isRecording() const;

private:
    struct Recording;
    struct State;
    static void drain(const std::shared_ptr<State>& state, std::uint64_t generation);
    static void write(State& state, Recording& recording, bool all);

    Scheduler& mainQueue_;
    Scheduler& queue_;
    AudioFileWriterFactory& files_;
    std::filesystem::path temporaryDirectory_;
    std::shared_ptr<State> state_;  // shared with the queued work, which may outlive the recorder
};

}  // namespace quillon
