#pragma once

#include <string>
#include <variant>

namespace quillon {

// State of the running summary, as the sidebar shows it.
class LiveSummaryState {
public:
    enum class Kind {
        idle,         // the summary is off
        checking,     // child starting, account being read
        unavailable,  // Codex cannot be used; message says why
        failed,       // a sign-in or an update went wrong; message says what
        signedOut,    // the child runs, no ChatGPT account
        signingIn,    // the browser is open, waiting for the sign-in to finish
        ready,        // signed in, no update running
        updating,     // an update is running
    };

    LiveSummaryState() = default;
    static LiveSummaryState idle() { return LiveSummaryState(Kind::idle); }
    static LiveSummaryState checking() { return LiveSummaryState(Kind::checking); }
    static LiveSummaryState unavailable(std::string message) { return LiveSummaryState(Kind::unavailable, std::move(message)); }
    static LiveSummaryState failed(std::string message) { return LiveSummaryState(Kind::failed, std::move(message)); }
    static LiveSummaryState signedOut() { return LiveSummaryState(Kind::signedOut); }
    static LiveSummaryState signingIn() { return LiveSummaryState(Kind::signingIn); }
    static LiveSummaryState ready() { return LiveSummaryState(Kind::ready); }
    static LiveSummaryState updating() { return LiveSummaryState(Kind::updating); }

    Kind kind() const { return kind_; }
    // The text of unavailable and failed; empty for the others.
    const std::string& message() const { return message_; }

    bool operator==(const LiveSummaryState&) const = default;

private:
    explicit LiveSummaryState(Kind kind, std::string message = {}) : kind_(kind), message_(std::move(message)) {}

    Kind kind_ = Kind::idle;
    std::string message_;
};

}  // namespace quillon
