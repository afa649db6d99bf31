#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "core/base/Scheduler.h"
#include "core/base/Uuid.h"
#include "core/base/WeakOwner.h"
#include "core/codex/CodexAppServerClient.h"
#include "core/live/LiveTranscriptModel.h"
#include "core/ports/UrlOpener.h"

namespace quillon {

// Keeps a running Markdown summary of the live transcript. The transcript is treated as
// append-only text with an occasional rewrite: the coordinator remembers up to where it has
// summarised and sends only what lies beyond, on a Codex thread that remembers the earlier turns.
// Updates are throttled to one per 30 seconds and at least 80 new characters unless forced; a
// thread is replaced after 24,000 characters or when the text was rewritten behind the summarised
// point, and the new thread gets the current summary as text. Results that no longer fit the
// transcript are dropped by comparing an update id and a generation.
//
// Main thread only; nothing blocks and every failure shows in the model's summaryState. Work in
// flight holds the coordinator weakly and is dropped once it is gone. The main scheduler must
// outlive the clients the coordinator made, whose completions hop onto it.
class LiveSummaryCoordinator {
public:
    using ClientFactory = std::function<std::expected<std::shared_ptr<CodexAppServerClient>, CodexAppServerError>()>;

    static constexpr std::chrono::seconds throttle{30};
    static constexpr std::int64_t leastNewCharacters = 80;
    static constexpr std::int64_t threadBudget = 24000;
    static constexpr std::size_t rewriteOverlap = 400;
    static constexpr std::chrono::seconds loginPollInterval{2};
    static constexpr int loginPolls = 60;

    LiveSummaryCoordinator(LiveTranscriptModel& model, Scheduler& main, ClientFactory makeClient, UrlOpener& urls);

    // Starts the child and reads the account.
    void prepare();
    // Begins a ChatGPT sign-in: opens the address in the browser and waits for it to finish.
    void connectChatGPT();
    void transcriptDidChange(std::string transcript, bool force);
    // The model's summaryContext has a new value.
    void contextDidChange();
    // Forgets everything of this transcript.
    void reset();
    // Updates now; also the way out of a failure.
    void refresh();
    // Drops the client and the thread (the summary was switched off).
    void shutdownClient();

    // How much of `newTranscript` can stay counted as summarised after a rewrite: it ends before a
    // white space more than 400 characters ahead of the first difference.
    static std::string reconciliationPrefix(std::string_view oldTranscript, std::string_view newTranscript);

private:
    using ClientResult = CodexResult<std::shared_ptr<CodexAppServerClient>>;

    void readyClient(std::function<void(ClientResult)> next);
    void setupFailed(const CodexFailure& failure);
    void signedIn();
    void pollForLogin(std::shared_ptr<CodexAppServerClient> client);
    void pollStep(std::shared_ptr<CodexAppServerClient> client, TimerHandle task, int done);
    void scheduleUpdate(bool force);
    void scheduledUpdateFired(bool force);
    void performUpdate();
    void sendUpdate(const std::shared_ptr<CodexAppServerClient>& client, Uuid id, std::uint64_t generation,
                    std::string latest, std::string delta, std::string context);
    void finishUpdate(Uuid id, std::uint64_t generation, std::string latest, std::string delta, std::string context,
                      CodexResult<std::string> result);
    void updateFailed(Uuid id, std::uint64_t generation, const CodexFailure& failure);
    void reconcileTranscriptRewrite(const std::string& newTranscript);
    bool isCurrent(const Uuid& id, std::uint64_t generation) const;
    std::int64_t pendingDelta() const;
    bool isReadyOrUpdating() const;

    // Delivers a client's completion on the main thread while the coordinator lives.
    template <class T>
    CodexCompletion<T> onMain(std::function<void(CodexResult<T>)> next) {
        return [token = owner_.token(), &main = main_, next = std::move(next)](CodexResult<T> result) mutable {
            main.post([token, next = std::move(next), result = std::move(result)]() mutable {
                if (!token.expired()) next(std::move(result));
            });
        };
    }

    LiveTranscriptModel& model_;
    Scheduler& main_;
    ClientFactory makeClient_;
    UrlOpener& urls_;

    std::shared_ptr<CodexAppServerClient> client_;
    std::optional<std::string> threadID_;
    std::string summarizedText_;
    std::string latestTranscript_;
    std::string summarizedContext_;
    TimerHandle scheduledUpdate_;
    TimerHandle setupTask_;
    TimerHandle loginPollingTask_;
    std::uint64_t updateGeneration_ = 0;
    std::optional<Uuid> activeUpdateID_;
    std::int64_t transcriptCharactersInCurrentThread_ = 0;
    bool forcePendingUpdate_ = false;

    WeakOwner owner_;  // last: dies first
};

}  // namespace quillon
