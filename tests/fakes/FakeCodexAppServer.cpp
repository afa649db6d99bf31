#include "fakes/FakeCodexAppServer.h"

#include <utility>

namespace quillon::testing {

using quillon::Json;

class FakeCodexAppServer::Process final : public quillon::ChildProcess {
public:
    Process(FakeCodexAppServer& server, std::shared_ptr<Child> child) : server_(server), child_(std::move(child)) {}
    ~Process() override { child_->destroyed = true; }

    std::expected<void, std::string> launch(const quillon::ChildProcessLaunch&, Handlers handlers) override {
        child_->handlers = std::move(handlers);
        if (server_.launchFailure) return std::unexpected(*server_.launchFailure);
        child_->running = true;
        return {};
    }
    std::expected<void, std::string> write(std::string_view bytes) override {
        if (!child_->running) return std::unexpected(std::string("Broken pipe"));
        server_.dispatch(std::string(bytes));
        return {};
    }
    void closeInput() override {}
    bool isRunning() const override { return child_->running; }
    void terminate() override {
        child_->terminated = true;
        if (!std::exchange(child_->running, false)) return;
        if (child_->handlers.onTermination) child_->handlers.onTermination();
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
        server.reply(message["id"], Json{{"thread", {{"id", "thread-" + std::to_string(++server.threads_)}}}});
    });
    return *this;
}

FakeCodexAppServer& FakeCodexAppServer::completingTurnsWith(std::string reply) {
    on("turn/start", [reply](FakeCodexAppServer& server, const Json& message) {
        const std::string turnID = "turn-" + std::to_string(++server.turns_);
        server.reply(message["id"], Json{{"turn", {{"id", turnID}, {"status", "inProgress"}, {"items", Json::array()}}}});
        server.completeTurn(turnID, reply);
    });
    return *this;
}

void FakeCodexAppServer::emitBytes(std::string bytes) {
    if (!child().destroyed && child().handlers.onOutput) child().handlers.onOutput(std::move(bytes));
}

void FakeCodexAppServer::emitError(std::string bytes) {
    if (!child().destroyed && child().handlers.onErrorOutput) child().handlers.onErrorOutput(std::move(bytes));
}

void FakeCodexAppServer::exit() {
    child().running = false;
    if (!child().destroyed && child().handlers.onTermination) child().handlers.onTermination();
}

void FakeCodexAppServer::completeTurn(const std::string& turnID, const std::string& agentText) {
    const Json item{{"type", "agentMessage"}, {"text", agentText}};
    emit(Json{{"method", "turn/completed"},
              {"params", {{"turn", {{"id", turnID}, {"status", "completed"}, {"items", Json::array({item})}}}}}});
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

void FakeCodexAppServer::dispatch(const std::string& bytes) {
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
}

}  // namespace quillon::testing
