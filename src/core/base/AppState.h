#pragma once

#include <string>
#include <variant>

namespace quillon {

// What the status icon shows. Written only through MenuBarController::updateState().
class AppState {
public:
    enum class Kind { idle, recording, liveTranscribing, transcribing, error };

    static AppState idle() { return AppState(Kind::idle); }
    static AppState recording() { return AppState(Kind::recording); }
    static AppState liveTranscribing() { return AppState(Kind::liveTranscribing); }
    static AppState transcribing() { return AppState(Kind::transcribing); }
    static AppState error(std::string message) { return AppState(Kind::error, std::move(message)); }

    Kind kind() const { return kind_; }
    // The text to show for an error; empty for the other states.
    const std::string& message() const { return message_; }

    bool operator==(const AppState&) const = default;

private:
    explicit AppState(Kind kind, std::string message = {}) : kind_(kind), message_(std::move(message)) {}

    Kind kind_;
    std::string message_;
};

}  // namespace quillon
