#pragma once

#include <optional>
#include <string>

namespace quillon {

// The error of the whole Codex subsystem, each case with the text a user reads.
class CodexAppServerError {
public:
    enum class Kind { processEnded, invalidResponse, server, turnFailed, timedOut, executableNotFound };

    static CodexAppServerError processEnded(std::optional<std::string> detail = std::nullopt);
    static CodexAppServerError invalidResponse(std::string detail);
    static CodexAppServerError server(std::string message);
    static CodexAppServerError turnFailed(std::string message);
    static CodexAppServerError timedOut(std::string operation);
    static CodexAppServerError executableNotFound();

    Kind kind() const { return kind_; }
    const std::optional<std::string>& payload() const { return payload_; }

    // The human text, e.g. "Codex timed out while waiting for turn/start."
    std::string description() const;

    bool operator==(const CodexAppServerError&) const = default;

private:
    CodexAppServerError(Kind kind, std::optional<std::string> payload) : kind_(kind), payload_(std::move(payload)) {}

    Kind kind_;
    std::optional<std::string> payload_;
};

}  // namespace quillon
