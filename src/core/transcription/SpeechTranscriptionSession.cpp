#include "core/transcription/SpeechTranscriptionSession.h"

#include <climits>
#include <cmath>
#include <cstdint>

#include "core/text/TranscriptJoining.h"

namespace quillon {

namespace {

// Sample `i` of a block of little-endian 16-bit samples.
std::int16_t sampleAt(std::span<const std::byte> data, std::size_t i) {
    const auto low = std::to_integer<std::uint16_t>(data[2 * i]);
    const auto high = std::to_integer<std::uint16_t>(data[2 * i + 1]);
    return static_cast<std::int16_t>(static_cast<std::uint16_t>(low | (high << 8)));
}

bool usableBlock(std::span<const std::byte> data, double sampleRate) {
    return data.size() >= 2 && std::isfinite(sampleRate) && sampleRate > 0;
}

}  // namespace

std::shared_ptr<SpeechTranscriptionSession> SpeechTranscriptionSession::start(const SpeechTranscriptionSupport& support,
                                                                              PCMConverterFactory& converters,
                                                                              Scheduler& worker,
                                                                              SpeechSessionHandlers handlers,
                                                                              HandOverCapacity capacity) {
    auto session = std::make_shared<SpeechTranscriptionSession>(Token{}, support, converters, worker,
                                                                std::move(handlers), capacity);
    // Held weakly: audio left in the rings does not keep a session alive that nobody finishes.
    session->audioArrived_ = worker.makeWakeup([weak = std::weak_ptr(session)] {
        if (auto self = weak.lock()) self->drainAudio(false);
    });
    session->post(&SpeechTranscriptionSession::run);
    return session;
}

SpeechTranscriptionSession::SpeechTranscriptionSession(Token, const SpeechTranscriptionSupport& support,
                                                       PCMConverterFactory& converters, Scheduler& worker,
                                                       SpeechSessionHandlers handlers, HandOverCapacity capacity)
    : support_(support),
      converters_(converters),
      worker_(worker),
      handlers_(std::move(handlers)),
      samples_(capacity.samples),
      blocks_(capacity.blocks) {}

std::optional<PCMBuffer> SpeechTranscriptionSession::makePCMBuffer(std::span<const std::byte> data, double sampleRate) {
    if (!usableBlock(data, sampleRate)) return std::nullopt;
    PCMBuffer buffer{AudioFormat{sampleRate, 1}, {}};
    buffer.samples.resize(data.size() / 2);
    for (std::size_t i = 0; i < buffer.samples.size(); ++i) buffer.samples[i] = sampleAt(data, i);
    return buffer;
}

void SpeechTranscriptionSession::post(void (SpeechTranscriptionSession::*step)()) {
    worker_.post([self = shared_from_this(), step] { (self.get()->*step)(); });
}

void SpeechTranscriptionSession::appendPCM16(std::span<const std::byte> data, double sampleRate) {
    // The audio thread: no allocation, no lock, no log (see the class comment).
    if (!usableBlock(data, sampleRate) || inputFinished_.load(std::memory_order_acquire)) return;
    const std::size_t frames = data.size() / 2;
    // The header is pushed after its samples, so the worker never sees a block before its samples;
    // its room is checked first, so samples are never pushed without their header.
    const bool handedOver = blocks_.freeRoom() > 0 &&
                            samples_.tryPushWith(frames, [data](std::size_t i) { return sampleAt(data, i); }) &&
                            blocks_.tryPushWith(1, [&](std::size_t) { return BlockHeader{frames, sampleRate}; });
    if (!handedOver) {
        const auto lost = static_cast<double>(frames) * 1e6 / sampleRate;
        droppedMicroseconds_.fetch_add(static_cast<std::uint64_t>(lost), std::memory_order_relaxed);
    }
    audioArrived_->signal();
}

void SpeechTranscriptionSession::finishAndWait(FinalTextCompletion completion) {
    if (!inputFinished_.exchange(true, std::memory_order_acq_rel)) post(&SpeechTranscriptionSession::finishInput);
    if (completion) {
        worker_.post([self = shared_from_this(), completion = std::move(completion)]() mutable {
            self->addCompletion(std::move(completion));
        });
    }
}

void SpeechTranscriptionSession::cancel() {
    inputFinished_.store(true, std::memory_order_release);
    if (cancelled_.exchange(true)) return;
    post(&SpeechTranscriptionSession::cancelNow);
}

void SpeechTranscriptionSession::drainAudio(bool everything) {
    if (!isRunning()) return;  // after the end, audio still pushed is never read
    reportDroppedAudio(false);
    // Only the blocks there now, unless the input is over: audio that keeps coming signals again,
    // so other tasks on this worker run in between.
    for (std::size_t left = everything ? SIZE_MAX : blocks_.size(); left > 0; --left) {
        if (cancelled_ || phase_ != Phase::streaming) return;
        BlockHeader header;
        if (blocks_.pop(std::span(&header, 1)) == 0) return;
        PCMBuffer buffer{AudioFormat{header.sampleRate, 1}, std::vector<std::int16_t>(header.samples)};
        samples_.pop(buffer.samples);
        feed(std::move(buffer));
    }
}

void SpeechTranscriptionSession::reportDroppedAudio(bool runEnded) {
    const auto dropped = droppedMicroseconds_.load(std::memory_order_relaxed);
    if (dropped == reportedDropMicroseconds_) return;
    const auto milliseconds = std::to_string(dropped / 1000);
    if (!runEnded && reportedDropMicroseconds_ == 0) {
        support_.logger().error("Speech recognition fell behind the audio; " + milliseconds +
                                " ms of audio were dropped so far");
    } else if (runEnded) {
        support_.logger().error("Speech recognition dropped " + milliseconds + " ms of audio in all");
    } else {
        return;  // counted; the total is logged when the run ends
    }
    reportedDropMicroseconds_ = dropped;
}

void SpeechTranscriptionSession::run() {
    if (cancelled_) return;
    const auto& logger = support_.logger();

    auto transcriber = support_.makeTranscriber(TranscriberPreset::progressiveTranscription);
    if (!transcriber) return fail(transcriber.error());
    transcriber_ = std::move(*transcriber);

    const auto format = transcriber_->bestAvailableAudioFormat();
    if (!format) return fail(TranscriptionError::noCompatibleAudioFormat());

    analyzer_ = transcriber_->makeAnalyzer();
    if (!analyzer_) return fail(TranscriptionError::unavailable());
    if (auto set = analyzer_->setContext(support_.analysisContext()); !set) return fail(set.error());
    if (auto prepared = analyzer_->prepareToAnalyze(*format); !prepared) return fail(prepared.error());
    if (cancelled_) return cancelNow();

    converter_.emplace(*format, converters_);
    phase_ = Phase::streaming;
    logger.debug("Speech session ready");
    if (handlers_.onUpdate) handlers_.onUpdate(TranscriptionUpdate{"", "", true});
    drainAudio(false);  // what came while the model was prepared
}

void SpeechTranscriptionSession::feed(PCMBuffer buffer) {
    if (cancelled_ || phase_ != Phase::streaming) return;
    auto inputs = converter_->convert(std::move(buffer));
    if (!inputs) return fail(inputs.error());
    for (const auto& input : *inputs) {
        if (input.samples.empty()) continue;
        auto analyzed = analyzer_->analyze(input.samples, [this](const SpeechResult& r) { handleResult(r); });
        if (!analyzed) return fail(analyzed.error());
        analyzedAnySample_ = true;
        if (phase_ != Phase::streaming) return;  // a handler cancelled the session
    }
}

void SpeechTranscriptionSession::finishInput() {
    if (cancelled_ || phase_ != Phase::streaming) return;
    drainAudio(true);
    reportDroppedAudio(true);
    if (cancelled_ || phase_ != Phase::streaming) return;
    if (analyzedAnySample_) {
        auto finished = analyzer_->finalizeAndFinish([this](const SpeechResult& r) { handleResult(r); });
        if (!finished) return fail(finished.error());
        if (phase_ != Phase::streaming) return;
    } else {
        analyzer_->cancelAndFinishNow();
    }
    analyzer_.reset();
    transcriber_.reset();
    phase_ = Phase::finished;
    provisional_.clear();
    if (handlers_.onUpdate) handlers_.onUpdate(TranscriptionUpdate{committed_, "", false});
    if (handlers_.onFinished) handlers_.onFinished(committed_);
    complete(committed_);
}

void SpeechTranscriptionSession::cancelNow() {
    if (!isRunning()) return;
    if (analyzer_) analyzer_->cancelAndFinishNow();
    analyzer_.reset();
    transcriber_.reset();
    phase_ = Phase::cancelled;
    support_.logger().debug("Speech session cancelled");
    reportDroppedAudio(true);
    complete(std::unexpected(TranscriptionError::cancelled()));
}

void SpeechTranscriptionSession::addCompletion(FinalTextCompletion completion) {
    if (result_) return completion(*result_);
    completions_.push_back(std::move(completion));
}

void SpeechTranscriptionSession::handleResult(const SpeechResult& result) {
    if (cancelled_ || phase_ != Phase::streaming) return;
    std::string text = support_.normalize(result.text);
    if (result.isFinal) {
        // An empty final result changes nothing: the provisional text stays until replaced.
        if (text.empty()) return;
        committed_ = appendingTranscript(committed_, text);
        provisional_.clear();
        if (handlers_.onUpdate) handlers_.onUpdate(TranscriptionUpdate{committed_, "", true});
        if (handlers_.onPhraseFinalized) handlers_.onPhraseFinalized(text, committed_);
    } else {
        provisional_ = std::move(text);
        if (handlers_.onUpdate) handlers_.onUpdate(TranscriptionUpdate{committed_, provisional_, true});
    }
}

void SpeechTranscriptionSession::fail(const TranscriptionError& error) {
    if (analyzer_) analyzer_->cancelAndFinishNow();
    analyzer_.reset();
    transcriber_.reset();
    phase_ = Phase::failed;
    support_.logger().error("Speech session failed: " + error.description());
    reportDroppedAudio(true);
    if (handlers_.onFailure) handlers_.onFailure(error.description());
    complete(std::unexpected(error));
}

void SpeechTranscriptionSession::complete(std::expected<std::string, TranscriptionError> result) {
    result_ = std::move(result);
    auto completions = std::move(completions_);
    completions_.clear();
    for (auto& completion : completions) completion(*result_);
}

}  // namespace quillon
