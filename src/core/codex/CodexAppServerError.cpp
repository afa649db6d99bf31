#include "core/codex/CodexAppServerError.h"

namespace quillon {

CodexAppServerError CodexAppServerError::processEnded(std::optional<std::string> detail) {
    return {Kind::processEnded, std::move(detail)};
}
CodexAppServerError CodexAppServerError::invalidResponse(std::string detail) {
    return {Kind::invalidResponse, std::move(detail)};
}
CodexAppServerError CodexAppServerError::server(std::string message) { return {Kind::server, std::move(message)}; }
CodexAppServerError CodexAppServerError::turnFailed(std::string message) {
    return {Kind::turnFailed, std::move(message)};
}
CodexAppServerError CodexAppServerError::timedOut(std::string operation) {
    return {Kind::timedOut, std::move(operation)};
}
CodexAppServerError CodexAppServerError::executableNotFound() { return {Kind::executableNotFound, std::nullopt}; }

std::string CodexAppServerError::description() const {
    const std::string payload = payload_.value_or("");
    switch (kind_) {
        case Kind::processEnded:
            if (payload.empty()) return "Codex App Server stopped unexpectedly.";
            return "Codex App Server stopped unexpectedly: " + payload;
        case Kind::invalidResponse: return "Codex returned an unexpected response: " + payload;
        case Kind::server:
        case Kind::turnFailed: return payload;
        case Kind::timedOut: return "Codex timed out while " + payload + ".";
        case Kind::executableNotFound: return "Codex CLI was not found. Install or update Codex, then try again.";
    }
    return payload;
}

}  // namespace quillon
