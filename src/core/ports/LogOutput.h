#pragma once

#include <string_view>

#include "core/base/LogCategory.h"
#include "core/base/LogLevel.h"

namespace quillon {

// The platform's log (stderr on Linux, where journald picks it up). Called on the logging
// caller's thread, so an adapter must be thread-safe and must not block for long.
class LogOutput {
public:
    virtual ~LogOutput() = default;
    virtual bool isEnabled(LogLevel level) const = 0;
    virtual void write(LogLevel level, LogCategory category, std::string_view message) = 0;
};

}  // namespace quillon
