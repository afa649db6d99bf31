#include "core/transcription/SpeechTranscriptionSession.h"

#include <cmath>

#include "core/text/TranscriptJoining.h"

namespace quillon {

std::shared_ptr<SpeechTranscriptionSession> SpeechTranscriptionSession::start(const SpeechTranscriptionSupport& support,
                                                                              PCMConverterFactory& converters,
                                                                              Scheduler& worker,
                                                                              SpeechSessionHandlers handlers) {
    auto session = std::make_shared<SpeechTranscriptionSession>(Token{}, support, converters, worker,
                                                                std::move(handlers));
    session->post(&SpeechTranscriptionSession::run);
    return session;
}

SpeechTranscriptionSession::SpeechTranscriptionSession(Token, const SpeechTranscriptionSupport& support,
                                                       PCMConverterFactory& converters, Scheduler& worker,
                                                       SpeechSessionHandlers handlers)
    : support_(support), converters_(converters), worker_(worker), handlers_(std::move(handlers)) {}

std::optional<PCMBuffer> SpeechTranscriptionSession::makePCMBuffer(std::span<const std::byte> data, double sampleRate) {
    if (data.size() < 2 || !std::isfinite(sampleRate) || sampleRate <= 0) return std::nullopt;
    PCMBuffer buffer{AudioFormat{sampleRate, 1}, {}};
    const std::size_t frames = data.size() / 2;
    buffer.samples.resize(frames);
    for (std::size_t i = 0; i < frames; ++i) {
        const auto low = std::to_integer<std::uint16_t>(data[2 * i]);
        const auto high = std::to_integer<std::uint16_t>(data[2 * i + 1]);
        buffer.samples[i] = static_cast<std::int16_t>(static_cast<std::uint16_t>(low | (high << 8)));
    }
    return buffer;
}

void SpeechTranscriptionSession::post(void (SpeechTranscriptionSession::*step)()) {
    worker_.post([self = shared_from_this(), step] { (self.get()->*step)(); });
}

void SpeechTranscriptionSession::appendPCM16(std::span<const std::byte> data, double sampleRate) {
    auto buffer = makePCMBuffer(data, sampleRate);
    if (!buffer) return;
    std::lock_guard lock(mutex_);
    if (inputFinished_) return;
    worker_.post([self = shared_from_this(), buffer = std::move(*buffer)]() mutable { self->feed(std::move(buffer)); });
}

void SpeechTranscriptionSession::finishAndWait(FinalTextCompletion completion) {
    std::lock_guard lock(mutex_);
    const bool first = !inputFinished_;
    inputFinished_ = true;
    if (first) post(&SpeechTranscriptionSession::finishInput);
    if (completion) {
        worker_.post([self = shared_from_this(), completion = std::move(completion)]() mutable {
            self->addCompletion(std::move(completion));
        });
    }
}

void SpeechTranscriptionSession::cancel() {
    std::lock_guard lock(mutex_);
    inputFinished_ = true;
    if (cancelled_.exchange(true)) return;
    post(&SpeechTranscriptionSession::cancelNow);
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
    completions_.clear();
}

void SpeechTranscriptionSession::addCompletion(FinalTextCompletion completion) {
    if (phase_ == Phase::cancelled) return;
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
