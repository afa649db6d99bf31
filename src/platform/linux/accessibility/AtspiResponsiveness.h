#pragma once

#include <chrono>
#include <map>
#include <string>

#include "core/logging/Logger.h"

typedef struct _AtspiAccessible AtspiAccessible;
typedef struct _GError GError;

namespace quillon {

// Keeps a hung application from freezing dictation. libatspi gives every call a time-out; an
// application that let a call run that long is then skipped for a while, so a walk over its
// tree fails at once instead of costing one time-out per element.
//
// Threads: the libatspi thread only.
class AtspiResponsiveness {
public:
    AtspiResponsiveness(Logger logger, std::chrono::milliseconds callTimeout, std::chrono::milliseconds unresponsiveFor);

    bool isResponsive(AtspiAccessible* object);
    void noteSlowCall(AtspiAccessible* object, std::chrono::steady_clock::duration elapsed);

    // One libatspi call on an object: owns the GError and reports the call's duration.
    class Call {
    public:
        Call(AtspiResponsiveness& owner, AtspiAccessible* object);
        ~Call();
        Call(const Call&) = delete;
        Call& operator=(const Call&) = delete;
        GError** error() { return &error_; }
        bool failed() const { return error_ != nullptr; }

    private:
        AtspiResponsiveness& owner_;
        AtspiAccessible* object_;
        std::chrono::steady_clock::time_point start_;
        GError* error_ = nullptr;
    };

private:
    Logger logger_;
    std::chrono::milliseconds callTimeout_;
    std::chrono::milliseconds unresponsiveFor_;
    std::map<std::string, std::chrono::steady_clock::time_point> unresponsiveUntil_;  // by bus name
};

}  // namespace quillon
