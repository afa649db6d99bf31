#include "core/dictation/AudioRecorder.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "core/audio/SampleRing.h"
#include "core/audio/WAVWriter.h"
#include "core/base/Uuid.h"

namespace quillon {

// Lock rules: none. The audio thread writes `ring` and signals `wakeup`; the writer queue alone
// reads the ring and uses `writer`, `scratch` and `writeFailure`; the main thread makes the chunk
// before capture starts and reads it again only after the writer's last task has posted back.
struct AudioRecorder::Chunk {
    Chunk(TemporaryFiles& folder, std::string fileName, std::filesystem::path filePath,
          std::unique_ptr<WritableFile> file)
        : files(folder), name(std::move(fileName)), path(std::move(filePath)), writer(std::move(file)) {}
    Chunk(const Chunk&) = delete;
    Chunk& operator=(const Chunk&) = delete;

    // Whoever lets go of the chunk last deletes its file, unless it was handed over.
    ~Chunk() {
        if (!handedOver) (void)files.remove(name);
    }

    // Writer queue: everything the audio thread has put in the ring goes to the file.
    void drain() {
        for (;;) {
            const std::size_t count = ring.read(scratch);
            if (count == 0) return;
            const auto written = writer.write(std::as_bytes(std::span(scratch.data(), count)));
            if (!written) {
                failedSamples += count;
                if (writeFailure.empty()) writeFailure = written.error();
            }
        }
    }

    TemporaryFiles& files;
    const std::string name;
    const std::filesystem::path path;
    WAVWriter writer;
    SampleRing ring{chunkRingSamples};
    std::array<std::int16_t, 4096> scratch{};
    std::shared_ptr<Wakeup> wakeup;
    std::string writeFailure;
    std::uint64_t failedSamples = 0;
    bool handedOver = false;
};

AudioRecorder::AudioRecorder(Collaborators collaborators, Logger logger)
    : collaborators_(collaborators), logger_(std::move(logger)) {}

AudioRecorder::~AudioRecorder() {
    if (!isRunning_) return;
    collaborators_.capture.setOnPCM16Data(nullptr);
    collaborators_.capture.setOnError(nullptr);
    collaborators_.capture.stop();
    collaborators_.levelMeter.stopSmoothingTimer();
    chunk_.reset();  // deletes the unfinished file
}

std::expected<void, std::string> AudioRecorder::startRecording(bool tapToggleMode, bool captureToFile) {
    if (isRunning_) return {};

    isTapToggleMode_ = tapToggleMode;
    chunkStartTime_ = collaborators_.main.now();
    collaborators_.levelMeter.reset();
    collaborators_.levelMeter.startSmoothingTimer();

    if (captureToFile) {
        const std::string name = "recording_" + Uuid::random().toString() + ".wav";
        auto file = collaborators_.temporaryFiles.createWritable(name);
        if (!file) {
            // Nothing is left running: an idle recorder keeps no timer.
            collaborators_.levelMeter.stopSmoothingTimer();
            logger_.error("Failed to create audio file: " + file.error().message());
            return std::unexpected(std::string("Failed to create audio file"));
        }
        chunk_ = std::make_shared<Chunk>(collaborators_.temporaryFiles, name,
                                         collaborators_.temporaryFiles.directory() / name, std::move(*file));
        chunk_->wakeup = collaborators_.fileWriter.makeWakeup([weak = std::weak_ptr<Chunk>(chunk_)] {
            if (auto chunk = weak.lock()) chunk->drain();
        });
    }

    // A saved microphone that is gone falls back to the default; the device list logs it.
    const std::string source =
        collaborators_.devices.inputDeviceForUID(collaborators_.settings.inputDeviceUID())
            .value_or(std::string());
    const std::uint64_t run = ++run_;
    collaborators_.capture.setOnError(
        [&main = collaborators_.main, run,
         handle = weakOwner_.weakly([this](std::uint64_t failedRun, const AudioCaptureError& error) {
             handleCaptureError(failedRun, error);
         })](const AudioCaptureError& error) { main.post([handle, run, error] { handle(run, error); }); });
    installBlockHandler();
    auto started = collaborators_.capture.start(source, targetSampleRate);
    if (!started) {
        cleanupFailedStart();
        const std::string description = started.error().description();
        logger_.error("Failed to start audio capture: " + description);
        return std::unexpected(description);
    }

    isRunning_ = true;
    setTapToggleMode(isTapToggleMode_);
    return {};
}

// The capture first, so that nothing writes into the chunk any more; then the chunk and its file.
void AudioRecorder::cleanupFailedStart() {
    collaborators_.capture.setOnPCM16Data(nullptr);
    collaborators_.capture.setOnError(nullptr);
    collaborators_.capture.stop();
    chunk_.reset();
    collaborators_.levelMeter.stopSmoothingTimer();
}

void AudioRecorder::installBlockHandler() {
    collaborators_.capture.setOnPCM16Data([&meter = collaborators_.levelMeter, chunk = chunk_.get(),
                                           consumer = consumer_](std::span<const std::byte> block) {
        const std::size_t count = block.size() / 2;
        if (count == 0) return;
        meter.accumulateAudioLevels(std::span(reinterpret_cast<const std::int16_t*>(block.data()), count),
                                    static_cast<float>(targetSampleRate));
        if (chunk != nullptr) {
            chunk->ring.write(block);
            chunk->wakeup->signal();
        }
        if (consumer) consumer(block);
    });
}

void AudioRecorder::setOnPCM16Data(PCM16Handler handler) {
    consumer_ = std::move(handler);
    // The capture swaps its handler so that the old one is not called once this returns.
    if (isRunning_) installBlockHandler();
}

void AudioRecorder::setTapToggleMode(bool enabled) {
    isTapToggleMode_ = enabled;
    maxDurationTimer_.cancel();
    if (!enabled) return;
    maxRecordingDuration_ = std::chrono::duration_cast<Duration>(
        std::chrono::duration<double>(collaborators_.settings.maxRecordingDuration()));
    maxDurationTimer_ = collaborators_.main.postAfter(
        maxRecordingDuration_, weakOwner_.weakly([this] { handleMaxDurationReached(); }));
}

void AudioRecorder::handleMaxDurationReached() {
    if (!isTapToggleMode_) return;
    isAutomaticRollover_ = true;
    stopRecording();
    chunkStartTime_ = collaborators_.main.now();
    // Always with a file, whatever the chunk before had.
    auto started = startRecording(true, true);
    if (!started) {
        logger_.error("Failed to start new chunk: " + started.error());
        if (onError) onError(started.error());
    }
    isAutomaticRollover_ = false;
}

void AudioRecorder::stopRecording() {
    if (!isRunning_) return;
    releaseCapture();
    if (chunk_) finishChunk(std::exchange(chunk_, nullptr));
}

// Ends the capture and the meter; the chunk is the caller's to finish or drop.
void AudioRecorder::releaseCapture() {
    maxDurationTimer_.cancel();
    collaborators_.capture.setOnPCM16Data(nullptr);
    collaborators_.capture.setOnError(nullptr);
    collaborators_.capture.stop();
    collaborators_.levelMeter.stopSmoothingTimer();
    collaborators_.levelMeter.reset();
    isRunning_ = false;
}

// The writer takes what is left in the ring, finalises the file and posts the result back. Should
// the recorder be gone by then, the result is dropped with the chunk, and with it the file.
void AudioRecorder::finishChunk(std::shared_ptr<Chunk> chunk) {
    auto finished = weakOwner_.weakly([this](const std::shared_ptr<Chunk>& done, const std::string& failure) {
        chunkFinished(done, failure);
    });
    collaborators_.fileWriter.post([chunk = std::move(chunk), &main = collaborators_.main, finished] {
        chunk->drain();
        chunk->wakeup.reset();
        auto finalized = chunk->writer.finalize();
        std::string failure = finalized ? std::string() : finalized.error();
        main.post([chunk, failure, finished] { finished(chunk, failure); });
    });
}

void AudioRecorder::chunkFinished(const std::shared_ptr<Chunk>& chunk, const std::string& failure) {
    if (!chunk->writeFailure.empty()) {
        logger_.error("Failed to write audio data: " + chunk->writeFailure + " (" +
                      std::to_string(chunk->failedSamples) + " samples not written)");
    }
    if (const std::size_t dropped = chunk->ring.droppedSamples(); dropped > 0) {
        logger_.error("The recording file fell behind; " + std::to_string(dropped) +
                      " samples were not written");
    }
    if (!failure.empty()) {
        // The chunk, and with it its file, goes when the last reference does.
        logger_.error("Failed to finalize WAV file: " + failure);
        if (onError) onError("Failed to finalize WAV file: " + failure);
        return;
    }
    chunk->handedOver = true;
    if (onRecordingComplete) onRecordingComplete(chunk->path);
}

void AudioRecorder::handleCaptureError(std::uint64_t run, const AudioCaptureError& error) {
    if (run != run_ || !isRunning_) return;
    const std::string description = error.description();
    logger_.error("Audio capture failed while recording: " + description);
    releaseCapture();
    // What was recorded is of no use without its end: the file goes now.
    chunk_.reset();
    if (onError) onError(description);
}

}  // namespace quillon
