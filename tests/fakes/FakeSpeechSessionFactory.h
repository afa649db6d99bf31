#pragma once

#include <memory>
#include <stdexcept>
#include <utility>
#include <vector>

#include "core/transcription/SpeechSessionFactory.h"
#include "fakes/CallJournal.h"

namespace quillon::testing {

// A streaming session whose results the test makes up. Tests call `handlers` and finish() as the
// session's own thread would: the coordinator must hop before acting.
class FakeSpeechSession final : public quillon::SpeechSession {
public:
    FakeSpeechSession(quillon::SpeechSessionHandlers sessionHandlers, CallJournal* journal)
        : handlers(std::move(sessionHandlers)), journal_(journal) {}

    void appendPCM16(std::span<const std::byte> data, double sampleRate) override {
        received.emplace_back(data.size(), sampleRate);
    }
    void finishAndWait(FinalTextCompletion done) override {
        note(journal_, "session.finishAndWait");
        completion = std::move(done);
    }
    void cancel() override { note(journal_, "session.cancel"); }

    // Ends the finishAndWait() under way with the final text or an error.
    void finish(std::expected<std::string, quillon::TranscriptionError> result) {
        std::exchange(completion, nullptr)(std::move(result));
    }

    quillon::SpeechSessionHandlers handlers;
    FinalTextCompletion completion;
    std::vector<std::pair<std::size_t, double>> received;  // bytes and sample rate of each block

private:
    CallJournal* journal_;
};

// Makes fake sessions and keeps an eye on them without keeping them alive.
class FakeSpeechSessionFactory final : public quillon::SpeechSessionFactory {
public:
    ~FakeSpeechSessionFactory() override {
        // A completion never called holds its own session: let it go.
        for (const auto& made : sessions) {
            if (auto session = made.lock()) session->completion = nullptr;
        }
    }

    std::shared_ptr<quillon::SpeechSession> makeSession(quillon::SpeechSessionHandlers handlers) override {
        note(journal, "sessions.makeSession");
        auto session = std::make_shared<FakeSpeechSession>(std::move(handlers), journal);
        sessions.push_back(session);
        return session;
    }

    // The n-th session made, while somebody holds it.
    std::shared_ptr<FakeSpeechSession> at(std::size_t index) const {
        if (auto session = sessions.at(index).lock()) return session;
        throw std::logic_error("session " + std::to_string(index) + " is gone");
    }

    std::vector<std::weak_ptr<FakeSpeechSession>> sessions;
    CallJournal* journal = nullptr;
};

}  // namespace quillon::testing
