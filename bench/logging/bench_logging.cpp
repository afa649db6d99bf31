// What a log call costs the thread that makes it, with the real platform log (one write(2) to
// standard error) and the real ring queue. Standard error is pointed at a regular file or at a
// pipe drained by another thread while the benchmark runs, never at /dev/null, so each figure
// includes a real write.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

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

constexpr std::string_view line =
    "Finalized phrase of 42 characters for session 6F9619FF-8B86-4011-B42D-00CF4FC964FF";

// Logs `line` at info level, with standard error pointed at `target`.
void logLoop(benchmark::State& state, int target) {
    const int saved = ::dup(STDERR_FILENO);
    ::dup2(target, STDERR_FILENO);
    {
        SerialQueue ring("com.lanternmoth.Quillon.logging");
        StderrLogOutput output(LogLevel::info);
        SystemWallClock clock;
        Logger logger(std::make_shared<LogService>(ring, output, clock), LogCategory::transcription);
        for (auto _ : state) logger.info(line);
    }
    ::dup2(saved, STDERR_FILENO);
    ::close(saved);
}

void BM_LogLine_StderrToFile(benchmark::State& state) {
    char path[] = "/tmp/quillon-bench-stderr-XXXXXX";
    const int file = ::mkstemp(path);
    if (file < 0) return state.SkipWithError("cannot create a temporary file");
    ::unlink(path);
    logLoop(state, file);
    ::close(file);
}
BENCHMARK(BM_LogLine_StderrToFile);

void BM_LogLine_StderrToPipe(benchmark::State& state) {
    int ends[2];
    if (::pipe(ends) != 0) return state.SkipWithError("cannot create a pipe");
    std::jthread reader([fd = ends[0]] {
        for (char buffer[65536]; ::read(fd, buffer, sizeof buffer) > 0;) {
        }
    });
    logLoop(state, ends[1]);
    ::close(ends[1]);  // the reader sees the end and stops
    reader.join();
    ::close(ends[0]);
}
BENCHMARK(BM_LogLine_StderrToPipe);

}  // namespace
}  // namespace quillon
