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
// Everything the test emits reaches the client's handlers synchronously, as the adapter's reader
// thread would, so the client posts it onto its executor.
class FakeCodexAppServer {
public:
    using Responder = std::function<void(FakeCodexAppServer& server, const quillon::Json& message)>;

    struct Child {
        quillon::ChildProcessLaunch launch;
        quillon::ChildProcess::Handlers handlers;
        bool running = false;
        bool inputClosed = false;
        bool terminated = false;
        bool destroyed = false;
    };

    quillon::ChildProcessFactory factory();

    // Answers `initialize` with an empty result.
    FakeCodexAppServer& answeringHandshake();
    // Answers `account/read` with the account type, or `account` null when absent.
    FakeCodexAppServer& withAccount(std::optional<std::string> type);
    // Answers `thread/start` with the given thread ids in turn ("thread-1", "thread-2"... by default).
    FakeCodexAppServer& answeringThreads();
    // Answers `turn/start` with a turn id, then completes it with an agent message `reply`.
    FakeCodexAppServer& completingTurnsWith(std::string reply);
    void on(const std::string& method, Responder responder) { responders_[method] = std::move(responder); }
    void silence(const std::string& method) { responders_.erase(method); }

    // To the client.
    void reply(const quillon::Json& id, quillon::Json result);
    void replyError(const quillon::Json& id, quillon::Json error);
    void emit(const quillon::Json& message);
    void emitBytes(std::string bytes);
    void emitError(std::string bytes);
    void exit();
    void completeTurn(const std::string& turnID, const std::string& agentText);

    // What the client did.
    std::vector<quillon::Json> received;  // every message written, in order
    std::vector<quillon::Json> requests(const std::string& method) const;
    std::optional<quillon::Json> lastRequest(const std::string& method) const;
    std::vector<std::shared_ptr<Child>> children;
    Child& child() { return *children.back(); }  // the child the test speaks for: the newest

    std::optional<std::string> launchFailure;
    std::optional<std::string> writeFailure;
    bool exitOnTerminate = true;
    int nextThread = 1;
    int nextTurn = 1;

private:
    class Process;
    void dispatch(const std::shared_ptr<Child>& writer, const std::string& bytes);
    Child& target() { return speaking_ ? *speaking_ : child(); }

    std::shared_ptr<Child> speaking_;  // while a responder answers, the child that was written to

    std::map<std::string, Responder> responders_;
    std::string partialWrite_;
};

}  // namespace quillon::testing
