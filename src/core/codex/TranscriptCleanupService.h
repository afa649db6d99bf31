#pragma once

#include <functional>
#include <memory>
#include <string>

#include "core/codex/CodexAppServerClient.h"

namespace quillon {

// One AI pass over a finished transcript: corrects recognition errors, adds paragraph breaks and
// returns the whole text. Every call starts a child of its own, on a thread of its own, and ends
// the child before it reports. Any number of calls may run side by side.
class TranscriptCleanupService {
public:
    using ClientFactory = std::function<std::expected<std::shared_ptr<CodexAppServerClient>, CodexAppServerError>()>;

    // A running cleanup. cancel() stops its child, so the step in flight fails at once with
    // "Codex App Server stopped unexpectedly."; it is the only way to abort a cleanup. Safe from any
    // thread, at any moment, any number of times.
    class Call {
    public:
        void cancel() const;

    private:
        friend class TranscriptCleanupService;
        std::weak_ptr<CodexAppServerClient> client_;
    };

    static constexpr const char* notSignedInText =
        "Connect ChatGPT from the live Summary sidebar before using AI cleanup.";

    // `executor` is the queue the clients of `makeClient` run on.
    TranscriptCleanupService(Scheduler& executor, ClientFactory makeClient)
        : executor_(executor), makeClient_(std::move(makeClient)) {}

    // Cleans `transcript` with `additionalContext` as background. The completion gets the cleaned
    // text, never empty, or the failure, always later on the executor, never inside this call (also
    // when no Codex executable is installed).
    Call clean(std::string transcript, std::string additionalContext, CodexCompletion<std::string> completion) const;

private:
    Scheduler& executor_;
    ClientFactory makeClient_;
};

}  // namespace quillon
