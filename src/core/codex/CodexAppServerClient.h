#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>

#include "core/base/Json.h"
#include "core/base/Scheduler.h"
#include "core/codex/CodexExecutableLocator.h"
#include "core/codex/CodexFailure.h"
#include "core/codex/JsonLineBuffer.h"
#include "core/ports/ChildProcess.h"

namespace quillon {

template <class T>
using CodexCompletion = std::function<void(CodexResult<T>)>;

// Speaks to `codex app-server` over the child's standard input and output: one compact JSON object
// per line each way, requests matched to responses by id, a 20-second time-out per request and a
// 90-second wait per turn, and every waiter failed at once when the child ends.
//
// Threads: every field is touched only on `executor` (a serial queue). The public operations may
// be called from any thread; they hop onto the executor, and their completions run there too, so
// a caller on another queue hops back itself. Completions are called exactly once, except that a
// client destroyed with work in flight calls none. Dropping the client does not end the child:
// its owner calls stop() first.
class CodexAppServerClient : public std::enable_shared_from_this<CodexAppServerClient> {
public:
    struct Context {
        Scheduler& executor;
        ChildProcessFactory makeProcess;
        const HostEnvironment& host;
        // A Responses-compatible server to use instead of OpenAI's (development and tests only).
        std::optional<std::string> localModelProvider = {};
    };

    // Fails with executableNotFound when no Codex executable is installed. Starts nothing yet.
    static std::expected<std::shared_ptr<CodexAppServerClient>, CodexAppServerError> make(Context context);

    // Writes the child's private Codex home, launches the child in it and does the handshake; does
    // nothing on a client that is ready.
    void start(CodexCompletion<void> completion);
    // Ends the child and its process group (politely) and fails everything in flight with
    // processEnded; then runs `done`, if given, on the executor.
    void stop(std::function<void()> done = nullptr);

    // The account type of the signed-in user ("chatgpt" means signed in), absent when there is none.
    void accountType(bool refreshToken, CodexCompletion<std::optional<std::string>> completion);
    // Starts a ChatGPT sign-in in the child and gives the address to open in the browser.
    void beginChatGPTLogin(CodexCompletion<std::string> completion);
    void startSummaryThread(CodexCompletion<std::string> completion);
    void startTranscriptCleanupThread(CodexCompletion<std::string> completion);
    // One summary turn; gives the new Markdown (possibly empty).
    void updateSummary(std::string threadID, std::string transcriptDelta, std::string additionalContext,
                       std::optional<std::string> existingSummary, CodexCompletion<std::string> completion);
    // One cleanup turn; gives the cleaned transcript, never empty.
    void cleanTranscript(std::string threadID, std::string transcript, std::string additionalContext,
                         CodexCompletion<std::string> completion);

    const std::string& executablePath() const { return executablePath_; }
    // A child on a local model provider needs no account: it counts as signed in (development).
    bool usesLocalModelProvider() const { return localModelProvider_.has_value(); }

    // Reads the structured reply of a turn: the string under `name` of the JSON object in `text`,
    // trimmed. Fails with "response did not contain valid <name> output".
    static CodexResult<std::string> structuredString(std::string_view name, std::string_view text);
    // The text of the last agent message among a turn's items; `missingText` names the failure.
    static CodexResult<std::string> lastAgentMessageText(const Json& turn, std::string_view missingText);
    // The human text of an error object of the protocol.
    static std::string errorMessage(const Json& error);

    CodexAppServerClient(Context context, std::string executablePath);  // use make()
    CodexAppServerClient(const CodexAppServerClient&) = delete;
    CodexAppServerClient& operator=(const CodexAppServerClient&) = delete;

private:
    struct PendingRequest {
        CodexCompletion<Json> continuation;
        TimerHandle timeoutTask;
    };
    struct PendingTurn {
        CodexCompletion<Json> continuation;
        TimerHandle timeoutTask;
        std::string operation;
    };

    // Everything below runs on the executor.
    void startNow(CodexCompletion<void> completion);
    void stopNow();
    void request(std::string method, Json params, CodexCompletion<Json> completion);
    void waitForTurn(const std::string& turnID, std::string operation, CodexCompletion<Json> completion);
    void runTurn(std::string threadID, std::string prompt, std::string_view field, std::string operation,
                 std::string missingText, CodexCompletion<std::string> completion);
    void startThread(std::string_view instructions, std::string_view serviceName,
                     CodexCompletion<std::string> completion);
    CodexResult<void> writeJSON(const Json& message);
    void receive(std::string_view data);
    void receiveError(std::string_view data);
    void handleMessage(std::string_view line);
    void handleTurnCompleted(const Json& message);
    void keepAgentMessage(const Json& message);
    void requestTimedOut(std::int64_t id, const std::string& method);
    void turnTimedOut(const std::string& turnID);
    void processDidEnd();
    void failPending(const CodexFailure& error);

    // Runs `task` on the executor while the client lives.
    void onExecutor(std::function<void(CodexAppServerClient&)> task);

    Scheduler& executor_;
    ChildProcessFactory makeProcess_;
    CodexExecutableLocator locator_;
    const std::optional<std::string> localModelProvider_;
    const std::string executablePath_;

    std::unique_ptr<ChildProcess> process_;
    bool hasInput_ = false;  // the write end of the child's standard input
    JsonLineBuffer outputBuffer_;
    std::string errorBuffer_;
    std::int64_t nextRequestID_ = 1;
    std::unordered_map<std::int64_t, PendingRequest> pendingRequests_;
    std::unordered_map<std::string, PendingTurn> turnContinuations_;
    std::unordered_map<std::string, CodexResult<Json>> completedTurns_;
    std::unordered_set<std::string> discardedTurnIDs_;
    // The last agent message that item/completed delivered, per turn, for completions that carry no
    // items (only the last one is ever read). At most agentMessageTurnLimit turns are remembered;
    // the oldest goes first.
    static constexpr std::size_t agentMessageTurnLimit = 64;
    std::unordered_map<std::string, Json> agentMessagesByTurn_;
    std::deque<std::string> agentMessageTurns_;
    bool initialized_ = false;
    std::uint64_t launchCount_ = 0;
};

}  // namespace quillon
