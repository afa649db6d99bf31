#include "fakes/FakeCodexAppServer.h"

#include <utility>

namespace quillon::testing {

using quillon::Json;

class FakeCodexAppServer::Process final : public quillon::ChildProcess {
public:
    Process(FakeCodexAppServer& server, std::shared_ptr<Child> child) : server_(server), child_(std::move(child)) {}
    ~Process() override { child_->destroyed = true; }

    std::expected<void, std::string> launch(const quillon::ChildProcessLaunch& launch, Handlers handlers) override {
        child_->launch = launch;
        child_->handlers = std::move(handlers);
        if (server_.launchFailure) return std::unexpected(*server_.launchFailure);
        child_->running = true;
        return {};
    }
    std::expected<void, std::string> write(std::string_view bytes) override {
        if (server_.writeFailure) return std::unexpected(*server_.writeFailure);
        if (child_->inputClosed || !child_->running) return std::unexpected(std::string("Broken pipe"));
        server_.dispatch(child_, std::string(bytes));
        return {};
    }
    void closeInput() override { child_->inputClosed = true; }
    bool isRunning() const override { return child_->running; }
    void terminate() override {
        child_->terminated = true;
        if (server_.exitOnTerminate && child_->running) {
            child_->running = false;
            if (child_->handlers.onTermination) child_->handlers.onTermination();
        }
    }

private:
    FakeCodexAppServer& server_;
    std::shared_ptr<Child> child_;
};

quillon::ChildProcessFactory FakeCodexAppServer::factory() {
    return [this]() -> std::unique_ptr<quillon::ChildProcess> {
        children.push_back(std::make_shared<Child>());
        return std::make_unique<Process>(*this, children.back());
    };
}

FakeCodexAppServer& FakeCodexAppServer::answeringHandshake() {
    on("initialize", [](FakeCodexAppServer& server, const Json& message) {
        server.reply(message["id"], Json{{"userAgent", "fake"}});
    });
    return *this;
}

FakeCodexAppServer& FakeCodexAppServer::withAccount(std::optional<std::string> type) {
    on("account/read", [type](FakeCodexAppServer& server, const Json& message) {
        server.reply(message["id"], Json{{"account", type ? Json{{"type", *type}} : Json(nullptr)}});
    });
    return *this;
}

FakeCodexAppServer& FakeCodexAppServer::answeringThreads() {
    on("thread/start", [](FakeCodexAppServer& server, const Json& message) {
        server.reply(message["id"], Json{{"thread", {{"id", "thread-" + std::to_string(server.nextThread++)}}}});
    });
    return *this;
}

FakeCodexAppServer& FakeCodexAppServer::completingTurnsWith(std::string reply) {
    on("turn/start", [reply](FakeCodexAppServer& server, const Json& message) {
        const std::string turnID = "turn-" + std::to_string(server.nextTurn++);
        server.reply(message["id"], Json{{"turn", {{"id", turnID}, {"status", "inProgress"}, {"items", Json::array()}}}});
        server.completeTurn(turnID, reply);
    });
    return *this;
}

void FakeCodexAppServer::reply(const Json& id, Json result) { emit(Json{{"id", id}, {"result", std::move(result)}}); }

void FakeCodexAppServer::replyError(const Json& id, Json error) { emit(Json{{"id", id}, {"error", std::move(error)}}); }

void FakeCodexAppServer::emit(const Json& message) { emitBytes(message.dump() + "\n"); }

void FakeCodexAppServer::emitBytes(std::string bytes) {
    auto& current = target();
    if (current.destroyed || !current.handlers.onOutput) return;
    current.handlers.onOutput(std::move(bytes));
}

void FakeCodexAppServer::emitError(std::string bytes) {
    auto& current = target();
    if (current.destroyed || !current.handlers.onErrorOutput) return;
    current.handlers.onErrorOutput(std::move(bytes));
}

void FakeCodexAppServer::exit() {
    auto& current = child();
    current.running = false;
    if (current.destroyed || !current.handlers.onTermination) return;
    current.handlers.onTermination();
}

void FakeCodexAppServer::completeTurn(const std::string& turnID, const std::string& agentText) {
    emit(Json{{"method", "turn/completed"},
              {"params",
               {{"turn",
                 {{"id", turnID},
                  {"status", "completed"},
                  {"items", Json::array({Json{{"type", "agentMessage"}, {"text", agentText}}})}}}}}});
}

std::vector<Json> FakeCodexAppServer::requests(const std::string& method) const {
    std::vector<Json> found;
    for (const auto& message : received) {
        if (message.value("method", "") == method) found.push_back(message);
    }
    return found;
}

std::optional<Json> FakeCodexAppServer::lastRequest(const std::string& method) const {
    auto found = requests(method);
    if (found.empty()) return std::nullopt;
    return found.back();
}

void FakeCodexAppServer::dispatch(const std::shared_ptr<Child>& writer, const std::string& bytes) {
    auto previous = std::exchange(speaking_, writer);
    partialWrite_ += bytes;
    std::size_t newline;
    while ((newline = partialWrite_.find('\n')) != std::string::npos) {
        Json message = Json::parse(partialWrite_.substr(0, newline));
        partialWrite_.erase(0, newline + 1);
        received.push_back(message);
        auto responder = responders_.find(message.value("method", ""));
        if (responder != responders_.end() && message.contains("id")) {
            auto handler = responder->second;  // may replace itself
            handler(*this, message);
        }
    }
    speaking_ = previous;
}

}  // namespace quillon::testing
