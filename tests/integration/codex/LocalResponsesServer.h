#pragma once

#include <condition_variable>
#include <deque>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace quillon::testing {

// A model provider on 127.0.0.1 for the real Codex child: POST /v1/responses answers with a
// server-sent-event stream (response.created, response.output_item.done with an assistant message
// whose output_text is the reply, response.completed), or with response.failed; GET /v1/models
// answers with an empty list. Output items queued by the test (tool calls of a hijacked model) go
// out instead of the reply, one queued response per request. While replies are held, a request
// waits for its answer until they are released. One connection at a time, each closed after its
// answer.
class LocalResponsesServer {
public:
    LocalResponsesServer();
    ~LocalResponsesServer();

    int port() const { return port_; }
    void setReply(std::string text);
    void failWith(std::string message);
    // `items` is the JSON array of output items of the next response not yet answered.
    void queueOutput(std::string items);
    void holdReplies();
    void releaseReplies();
    std::vector<std::string> requestBodies() const;

private:
    void serve(std::stop_token stop);
    void answer(int connection);
    std::string eventStream();

    int listener_ = -1;
    int port_ = 0;
    mutable std::mutex mutex_;  // guards reply_, failure_, queued_, bodies_, held_ and stopping_
    std::string reply_ = R"({"markdown":"# Local summary"})";
    std::string failure_;
    std::deque<std::string> queued_;
    std::vector<std::string> bodies_;
    bool held_ = false;
    bool stopping_ = false;
    std::condition_variable released_;
    std::jthread thread_;
};

}  // namespace quillon::testing
