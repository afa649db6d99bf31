#include "core/codex/TranscriptCleanupService.h"

namespace quillon {

void TranscriptCleanupService::Call::cancel() const {
    if (auto client = client_.lock()) client->stop();
}

TranscriptCleanupService::Call TranscriptCleanupService::clean(std::string transcript, std::string additionalContext,
                                                               CodexCompletion<std::string> completion) const {
    Call call;
    auto made = makeClient_();
    if (!made) {
        executor_.post([completion = std::move(completion), error = made.error()] {
            completion(std::unexpected(CodexFailure(error)));
        });
        return call;
    }
    std::shared_ptr<CodexAppServerClient> client = *made;
    call.client_ = client;

    // Whatever happens, the child is stopped before the caller hears of it.
    auto finish = [client, completion = std::move(completion)](CodexResult<std::string> result) mutable {
        client->stop([completion = std::move(completion), result = std::move(result)]() mutable {
            completion(std::move(result));
        });
    };
    client->start([client, transcript = std::move(transcript), context = std::move(additionalContext),
                   finish = std::move(finish)](CodexResult<void> started) mutable {
        if (!started) return finish(std::unexpected(started.error()));
        auto cleanUp = [client, transcript = std::move(transcript), context = std::move(context),
                        finish]() mutable {
            client->startTranscriptCleanupThread([client, transcript = std::move(transcript),
                                                  context = std::move(context),
                                                  finish = std::move(finish)](CodexResult<std::string> thread) mutable {
                if (!thread) return finish(std::unexpected(thread.error()));
                client->cleanTranscript(*thread, std::move(transcript), std::move(context), std::move(finish));
            });
        };
        // A local model provider needs no account (development mode).
        if (client->usesLocalModelProvider()) return cleanUp();
        client->accountType(
            false, [cleanUp = std::move(cleanUp), finish = std::move(finish)](auto account) mutable {
                if (!account) return finish(std::unexpected(account.error()));
                if (*account != "chatgpt") {
                    // The account is shared with the summary, which is where the user signs in.
                    return finish(std::unexpected(CodexAppServerError::server(notSignedInText)));
                }
                cleanUp();
            });
    });
    return call;
}

}  // namespace quillon
