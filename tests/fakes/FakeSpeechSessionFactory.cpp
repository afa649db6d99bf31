#include "fakes/FakeSpeechSessionFactory.h"

namespace quillon::testing {

void FakeSpeechSession::appendPCM16(std::span<const std::byte> data, double sampleRate) {
    std::lock_guard lock(mutex_);
    bytes_ += data.size();
    rates_.push_back(sampleRate);
}

void FakeSpeechSession::finishAndWait(FinalTextCompletion completion) {
    note(journal, "session.finishAndWait");
    finishRequested = true;
    completion_ = std::move(completion);
}

void FakeSpeechSession::cancel() {
    note(journal, "session.cancel");
    cancelled = true;
}

void FakeSpeechSession::finalizePhrase(const std::string& phrase, const std::string& committedText) {
    if (handlers.onPhraseFinalized) handlers.onPhraseFinalized(phrase, committedText);
}

void FakeSpeechSession::reportFailure(const std::string& message) {
    if (handlers.onFailure) handlers.onFailure(message);
}

void FakeSpeechSession::finish(std::expected<std::string, quillon::TranscriptionError> result) {
    auto completion = std::move(completion_);
    completion_ = nullptr;
    if (completion) completion(std::move(result));
}

std::size_t FakeSpeechSession::bytesReceived() const {
    std::lock_guard lock(mutex_);
    return bytes_;
}

std::vector<double> FakeSpeechSession::sampleRates() const {
    std::lock_guard lock(mutex_);
    return rates_;
}

FakeSpeechSessionFactory::~FakeSpeechSessionFactory() {
    // A completion that was never called may hold its session; let it go.
    for (auto& weak : sessions_) {
        if (auto session = weak.lock()) session->dropCompletion();
    }
}

std::shared_ptr<quillon::SpeechSession> FakeSpeechSessionFactory::makeSession(quillon::SpeechSessionHandlers handlers) {
    note(journal, "sessions.makeSession");
    auto session = std::make_shared<FakeSpeechSession>(std::move(handlers), journal);
    sessions_.push_back(session);
    return session;
}

std::shared_ptr<FakeSpeechSession> FakeSpeechSessionFactory::session(std::size_t index) const {
    return index < sessions_.size() ? sessions_[index].lock() : nullptr;
}

std::shared_ptr<FakeSpeechSession> FakeSpeechSessionFactory::latest() const {
    return sessions_.empty() ? nullptr : sessions_.back().lock();
}

}  // namespace quillon::testing
