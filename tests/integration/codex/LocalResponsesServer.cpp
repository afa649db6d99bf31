#include "LocalResponsesServer.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <nlohmann/json.hpp>
#include <stdexcept>

namespace quillon::testing {

namespace {

void sendAll(int fd, const std::string& bytes) {
    std::size_t sent = 0;
    while (sent < bytes.size()) {
        const ssize_t count = ::send(fd, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (count <= 0) return;
        sent += static_cast<std::size_t>(count);
    }
}

}  // namespace

LocalResponsesServer::LocalResponsesServer() {
    listener_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = 0;
    if (::bind(listener_, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 || ::listen(listener_, 16) != 0) {
        throw std::runtime_error("cannot listen on 127.0.0.1");
    }
    socklen_t length = sizeof address;
    ::getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &length);
    port_ = ntohs(address.sin_port);
    thread_ = std::jthread([this](std::stop_token stop) { serve(stop); });
}

LocalResponsesServer::~LocalResponsesServer() {
    {
        std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    released_.notify_all();
    thread_.request_stop();
    ::shutdown(listener_, SHUT_RDWR);  // wakes the poll for the listener
    thread_.join();
    ::close(listener_);
}

void LocalResponsesServer::setReply(std::string text) {
    std::lock_guard lock(mutex_);
    reply_ = std::move(text);
    failure_.clear();
}

void LocalResponsesServer::failWith(std::string message) {
    std::lock_guard lock(mutex_);
    failure_ = std::move(message);
}

void LocalResponsesServer::queueOutput(std::string items) {
    std::lock_guard lock(mutex_);
    queued_.push_back(std::move(items));
}

void LocalResponsesServer::holdReplies() {
    std::lock_guard lock(mutex_);
    held_ = true;
}

void LocalResponsesServer::releaseReplies() {
    {
        std::lock_guard lock(mutex_);
        held_ = false;
    }
    released_.notify_all();
}

std::vector<std::string> LocalResponsesServer::requestBodies() const {
    std::lock_guard lock(mutex_);
    return bodies_;
}

void LocalResponsesServer::serve(std::stop_token stop) {
    while (!stop.stop_requested()) {
        pollfd listening{listener_, POLLIN, 0};
        if (::poll(&listening, 1, -1) <= 0) continue;
        if (stop.stop_requested()) return;
        const int connection = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
        if (connection < 0) continue;
        answer(connection);
        ::close(connection);
    }
}

void LocalResponsesServer::answer(int connection) {
    // Reads until the headers and then the body, as long as Content-Length says, are in.
    std::string request;
    std::size_t headerEnd = std::string::npos;
    std::size_t contentLength = 0;
    char buffer[65536];
    while (headerEnd == std::string::npos || request.size() < headerEnd + 4 + contentLength) {
        if (pollfd readable{connection, POLLIN, 0}; ::poll(&readable, 1, 5000) <= 0) return;
        const ssize_t count = ::recv(connection, buffer, sizeof buffer, 0);
        if (count <= 0) return;
        request.append(buffer, static_cast<std::size_t>(count));
        if (headerEnd != std::string::npos || (headerEnd = request.find("\r\n\r\n")) == std::string::npos) continue;
        std::string headers = request.substr(0, headerEnd);
        for (auto& c : headers) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        if (auto at = headers.find("content-length:"); at != std::string::npos) contentLength = std::stoul(headers.substr(at + 15));
    }

    std::string body;
    std::string type = "application/json";
    if (request.starts_with("POST") && request.find(" /v1/responses") != std::string::npos) {
        {
            std::unique_lock lock(mutex_);
            bodies_.push_back(request.substr(headerEnd + 4, contentLength));
            released_.wait(lock, [this] { return !held_ || stopping_; });
        }
        body = eventStream();
        type = "text/event-stream";
    } else if (request.starts_with("GET") && request.find(" /v1/models") != std::string::npos) {
        body = R"({"object":"list","data":[],"models":[]})";
    } else {
        sendAll(connection, "HTTP/1.1 404 Not Found\r\nContent-Length: 0\r\nConnection: close\r\n\r\n");
        return;
    }
    sendAll(connection, "HTTP/1.1 200 OK\r\nContent-Type: " + type + "\r\nContent-Length: " + std::to_string(body.size()) +
                            "\r\nConnection: close\r\n\r\n" + body);
}

std::string LocalResponsesServer::eventStream() {
    using Json = nlohmann::json;
    std::lock_guard lock(mutex_);
    const auto event = [](const std::string& name, const Json& data) {
        return "event: " + name + "\ndata: " + data.dump() + "\n\n";
    };
    std::string stream = event("response.created", {{"type", "response.created"}, {"response", {{"id", "resp_local"}}}});
    if (!failure_.empty()) {
        return stream + event("response.failed", {{"type", "response.failed"},
                                                  {"response", {{"id", "resp_local"},
                                                                {"status", "failed"},
                                                                {"error", {{"code", "server_error"}, {"message", failure_}}}}}});
    }
    Json items = Json::array({Json{{"type", "message"},
                                   {"role", "assistant"},
                                   {"id", "msg_local"},
                                   {"content", Json::array({Json{{"type", "output_text"}, {"text", reply_}}})}}});
    if (!queued_.empty()) {
        items = Json::parse(queued_.front());
        queued_.pop_front();
    }
    for (std::size_t index = 0; index < items.size(); ++index) {
        stream += event("response.output_item.done",
                        {{"type", "response.output_item.done"}, {"output_index", index}, {"item", items[index]}});
    }
    stream += event("response.completed",
                    {{"type", "response.completed"},
                     {"response", {{"id", "resp_local"}, {"usage", {{"input_tokens", 1}, {"output_tokens", 1}, {"total_tokens", 2}}}}}});
    return stream;
}

}  // namespace quillon::testing
