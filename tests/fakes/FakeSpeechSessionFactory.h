#pragma once

#include <cstddef>
#include <memory>
#include <mutex>
#include <vector>

#include "core/transcription/SpeechSessionFactory.h"
#include "fakes/CallJournal.h"

namespace quillon::testing {

// A streaming session whose results the test makes up. The inject methods call back as the
// session's own thread would: the coordinator must hop before acting.
class FakeSpeechSession final : public quillon::SpeechSession {
public:
    FakeSpeechSession(quillon::SpeechSessionHandlers sessionHandlers, CallJournal* callJournal)
        : handlers(std::move(sessionHandlers)), journal(callJournal) {}

    void appendPCM16(std::span<const std::byte> data, double sampleRate) override;
    void finishAndWait(FinalTextCompletion completion) override;
    void cancel() override;

    void finalizePhrase(const std::string& phrase, const std::string& committedText);
    void reportFailure(const std::string& message);
    // Ends a finishAndWait() that is under way with the final text or an error.
    void finish(std::expected<std::string, quillon::TranscriptionError> result);

    bool isFinishing() const { return static_cast<bool>(completion_); }
    std::size_t bytesReceived() const;
    std::vector<double> sampleRates() const;

    // Breaks the hold a pending completion may have on this session.
    void dropCompletion() { completion_ = nullptr; }

    quillon::SpeechSessionHandlers handlers;
    bool finishRequested = false;
    bool cancelled = false;
    CallJournal* journal;

private:
    mutable std::mutex mutex_;
    std::size_t bytes_ = 0;
    std::vector<double> rates_;
    FinalTextCompletion completion_;
};

// Makes fake sessions and keeps an eye on them without keeping them alive.
class FakeSpeechSessionFactory final : public quillon::SpeechSessionFactory {
public:
    ~FakeSpeechSessionFactory() override;

    std::shared_ptr<quillon::SpeechSession> makeSession(quillon::SpeechSessionHandlers handlers) override;

    // The n-th session made (0 first); null once nobody holds it any more.
    std::shared_ptr<FakeSpeechSession> session(std::size_t index) const;
    std::shared_ptr<FakeSpeechSession> latest() const;
    bool isAlive(std::size_t index) const { return session(index) != nullptr; }
    std::size_t count() const { return sessions_.size(); }

    CallJournal* journal = nullptr;

private:
    std::vector<std::weak_ptr<FakeSpeechSession>> sessions_;
};

}  // namespace quillon::testing
