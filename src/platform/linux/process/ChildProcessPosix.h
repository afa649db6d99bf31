#pragma once

#include <memory>
#include <mutex>
#include <thread>

#include "core/ports/ChildProcess.h"

namespace quillon {

// A child started with posix_spawn and three pipes. One reader thread per child waits (poll) on
// its standard output, its standard error and a pidfd of the child; it reads what is there and
// hands the bytes to the handlers, and once the child has ended it reads what is left in the
// pipes, reaps the child and reports the end, in that order.
//
// Lock rules:
// - inputMutex_ guards input_ (the write end of the child's standard input): write() and
//   closeInput() hold it for the whole write, so a close never cuts a message in two.
// - Shared::processMutex guards pid and reaped: terminate() signals and the reader reaps under
//   it, so SIGTERM can never reach a recycled process id.
// - Shared::deliveryMutex is held by the reader while it calls a handler and by the destructor
//   while it switches delivery off; after the destructor, no handler runs or is running.
// No lock is taken while another is held.
//
// Destruction neither waits for the child nor kills it: the reader is left to reap the child on
// its own (the thread is detached) when the child is still running, and joined otherwise.
class ChildProcessPosix final : public ChildProcess {
public:
    ChildProcessPosix();
    ~ChildProcessPosix() override;

    ChildProcessPosix(const ChildProcessPosix&) = delete;
    ChildProcessPosix& operator=(const ChildProcessPosix&) = delete;

    std::expected<void, std::string> launch(const ChildProcessLaunch& launch, Handlers handlers) override;
    std::expected<void, std::string> write(std::string_view bytes) override;
    void closeInput() override;
    bool isRunning() const override;
    void terminate() override;

    static ChildProcessFactory factory();

private:
    struct Shared;
    static void read(std::stop_token stop, std::shared_ptr<Shared> shared);

    std::shared_ptr<Shared> shared_;
    std::mutex inputMutex_;
    int input_ = -1;
    std::jthread reader_;
};

}  // namespace quillon
