#pragma once

#include <mutex>
#include <string>
#include <thread>

namespace quillon::testing {

// A model provider on 127.0.0.1 for the real Codex child: POST /v1/responses answers with a
// server-sent-event stream (response.created, response.output_item.done with an assistant message
// whose output_text is the reply, response.completed), or with response.failed; GET /v1/models
// answers with an empty list. One connection at a time, each closed after its answer.
class LocalResponsesServer {
public:
    LocalResponsesServer();
    ~LocalResponsesServer();

    int port() const { return port_; }
    void setReply(std::string text);
    void failWith(std::string message);
    std::string lastRequestBody() const;

private:
    void serve(std::stop_token stop);
    void answer(int connection);
    std::string eventStream() const;

    int listener_ = -1;
    int wake_[2] = {-1, -1};
    int port_ = 0;
    mutable std::mutex mutex_;  // guards reply_, failure_ and lastBody_
    std::string reply_ = R"({"markdown":"# Local summary"})";
    std::string failure_;
    std::string lastBody_;
    std::jthread thread_;
};

}  // namespace quillon::testing
