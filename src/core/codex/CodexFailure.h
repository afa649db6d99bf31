#pragma once

#include <expected>
#include <string>
#include <variant>

#include "core/codex/CodexAppServerError.h"

namespace quillon {

// Why a Codex operation failed: one of the subsystem's own errors, or a failure of the system
// underneath (the child could not be started, a write to it failed, a message could not be
// encoded) with that failure's own description. Callers tell the two apart: the summary shows the
// first as "unavailable" and the second as "failed".
class CodexFailure {
public:
    struct System {
        std::string description;
        bool operator==(const System&) const = default;
    };

    CodexFailure(CodexAppServerError error) : value_(std::move(error)) {}  // NOLINT: implicit by design
    CodexFailure(System failure) : value_(std::move(failure)) {}           // NOLINT: implicit by design

    static CodexFailure system(std::string description) { return CodexFailure(System{std::move(description)}); }

    // The subsystem's own error, or null for a system failure.
    const CodexAppServerError* appServerError() const { return std::get_if<CodexAppServerError>(&value_); }

    bool is(CodexAppServerError::Kind kind) const {
        const auto* error = appServerError();
        return error && error->kind() == kind;
    }

    std::string description() const {
        if (const auto* error = appServerError()) return error->description();
        return std::get<System>(value_).description;
    }

    bool operator==(const CodexFailure&) const = default;

private:
    std::variant<CodexAppServerError, System> value_;
};

template <class T>
using CodexResult = std::expected<T, CodexFailure>;

}  // namespace quillon
