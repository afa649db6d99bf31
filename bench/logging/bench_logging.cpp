// What a log call costs the thread that makes it, with the real platform log (one write(2) to
// standard error) and the real ring queue. Standard error is pointed at a regular file or at a
// pipe drained by another thread while the benchmark runs, never at /dev/null, so each figure
// includes a real write.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <thread>

#include "core/logging/LogService.h"
#include "core/logging/Logger.h"
#include "platform/linux/base/SerialQueue.h"
#include "platform/linux/base/StderrLogOutput.h"
#include "platform/linux/base/SystemWallClock.h"

namespace quillon {
namespace {

// Points standard error somewhere for the lifetime of the object, then puts it back.
class StderrRedirect {
public:
    explicit StderrRedirect(int target) : saved_(::dup(STDERR_FILENO)) { ::dup2(target, STDERR_FILENO); }
    ~StderrRedirect() {
        ::dup2(saved_, STDERR_FILENO);
        ::close(saved_);
    }
    StderrRedirect(const StderrRedirect&) = delete;
    StderrRedirect& operator=(const StderrRedirect&) = delete;

private:
    int saved_;
};

struct LogWorld {
    explicit LogWorld(LogLevel minimum) : output(minimum), service(std::make_shared<LogService>(ring, output, clock)) {}
    SerialQueue ring{"com.lanternmoth.Quillon.logging"};
    StderrLogOutput output;
    SystemWallClock clock;
    std::shared_ptr<LogService> service;
};

void logLoop(benchmark::State& state, LogLevel minimum, bool toStderr) {
    LogWorld world(minimum);
    Logger logger(world.service, LogCategory::transcription);
    for (auto _ : state) {
        if (toStderr) {
            logger.info("Finalized phrase of 42 characters for session 6F9619FF-8B86-4011-B42D-00CF4FC964FF");
        } else {
            logger.debug("Finalized phrase of 42 characters for session 6F9619FF-8B86-4011-B42D-00CF4FC964FF");
        }
    }
}

void BM_LogLine_StderrToFile(benchmark::State& state) {
    char path[] = "/tmp/quillon-bench-stderr-XXXXXX";
    const int file = ::mkstemp(path);
    if (file < 0) {
        state.SkipWithError("cannot create a temporary file");
        return;
    }
    ::unlink(path);
    {
        StderrRedirect redirect(file);
        logLoop(state, LogLevel::info, true);
    }
    ::close(file);
}
BENCHMARK(BM_LogLine_StderrToFile);

void BM_LogLine_StderrToPipe(benchmark::State& state) {
    int ends[2];
    if (::pipe(ends) != 0) {
        state.SkipWithError("cannot create a pipe");
        return;
    }
    std::jthread reader([fd = ends[0]] {
        char buffer[65536];
        while (::read(fd, buffer, sizeof buffer) > 0) {
        }
    });
    {
        StderrRedirect redirect(ends[1]);
        logLoop(state, LogLevel::info, true);
    }
    ::close(ends[1]);  // the reader sees the end and stops
    reader.join();
    ::close(ends[0]);
}
BENCHMARK(BM_LogLine_StderrToPipe);

// A debug line below the platform log's level: formatting and posting to the ring only.
void BM_LogLine_RingOnly(benchmark::State& state) { logLoop(state, LogLevel::info, false); }
BENCHMARK(BM_LogLine_RingOnly);

}  // namespace
}  // namespace quillon
