#pragma once

#include <chrono>
#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <source_location>
#include <string>
#include <string_view>
#include <vector>

#include "core/base/Scheduler.h"
#include "core/base/LogCategory.h"
#include "core/base/LogLevel.h"
#include "core/ports/LogOutput.h"
#include "core/ports/WallClock.h"

namespace quillon {

// The process's one log: every line goes to the platform's log and, formatted as
// "[yyyy-MM-dd HH:mm:ss.SSS] [LEVEL] [Category] File.cpp:42 function() - message",
// into a ring of the last `capacity` lines.
//
// Threads: write() may be called from any thread and never waits for the ring. The ring is
// touched only by tasks on `ringQueue` (a serial queue of its own in production).
class LogService {
public:
    static constexpr std::size_t defaultCapacity = 1000;

    LogService(Scheduler& ringQueue, LogOutput& output, const WallClock& clock,
               std::size_t capacity = defaultCapacity);

    void write(LogLevel level, LogCategory category, std::string_view message,
               const std::source_location& location);

    // Hands a copy of the ring, oldest line first, to `receiver` on the ring's queue.
    void readLines(std::function<void(std::vector<std::string>)> receiver) const;

    // The line as it stands in the ring; exposed for the formatter's tests and the benchmark.
    std::string formatLine(std::chrono::system_clock::time_point when, LogLevel level, LogCategory category,
                           std::string_view file, unsigned line, std::string_view function,
                           std::string_view message) const;

private:
    struct Ring {
        std::deque<std::string> lines;
        std::size_t capacity;
    };

    Scheduler& ringQueue_;
    LogOutput& output_;
    const WallClock& clock_;
    std::shared_ptr<Ring> ring_;
};

}  // namespace quillon
