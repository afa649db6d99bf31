#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/base/Json.h"
#include "core/ports/ChildProcess.h"

namespace quillon::testing {

// Plays the Codex app server behind the ChildProcess port. Its factory hands out fake children;
// what the client writes is parsed and kept, and a responder per method may answer at once.
// Everything the test emits reaches the newest child's handlers synchronously, as the adapter's
// reader thread would, so the client posts it onto its executor.
class FakeCodexAppServer {
public:
    using Responder = std::function<void(FakeCodexAppServer& server, const quillon::Json& message)>;

    struct Child {
        quillon::ChildProcess::Handlers handlers;
        bool running = false;
        bool terminated = false;
        bool destroyed = false;
    };

    quillon::ChildProcessFactory factory();

    // Answers `initialize` with an empty result.
    FakeCodexAppServer& answeringHandshake();
    // Answers `account/read` with the account type, or `account` null when absent.
    FakeCodexAppServer& withAccount(std::optional<std::string> type);
    // Answers `thread/start` with "thread-1", "thread-2"...
    FakeCodexAppServer& answeringThreads();
    // Answers `turn/start` with a turn id, then completes it with an agent message `reply`.
    FakeCodexAppServer& completingTurnsWith(std::string reply);
    void on(const std::string& method, Responder responder) { responders_[method] = std::move(responder); }
    void silence(const std::string& method) { responders_.erase(method); }

    // To the client.
    void reply(const quillon::Json& id, quillon::Json result) { emit(Json{{"id", id}, {"result", std::move(result)}}); }
    void emit(const quillon::Json& message) { emitBytes(message.dump() + "\n"); }
    void emitBytes(std::string bytes);
    void emitError(std::string bytes);
    void exit();
    void completeTurn(const std::string& turnID, const std::string& agentText);

    // What the client did.
    std::vector<quillon::Json> received;  // every message written, in order
    std::vector<quillon::Json> requests(const std::string& method) const;
    std::optional<quillon::Json> lastRequest(const std::string& method) const;
    std::vector<std::shared_ptr<Child>> children;
    Child& child() { return *children.back(); }

    std::optional<std::string> launchFailure;

private:
    class Process;
    void dispatch(const std::string& bytes);

    std::map<std::string, Responder> responders_;
    std::string partialWrite_;
    int threads_ = 0;
    int turns_ = 0;
};

}  // namespace quillon::testing
