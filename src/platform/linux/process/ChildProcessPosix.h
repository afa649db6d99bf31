#pragma once

#include <memory>
#include <mutex>
#include <thread>

#include "core/ports/ChildProcess.h"

namespace quillon {

// A child started with posix_spawn and three pipes, as the leader of a process group of its own.
// One I/O thread per child waits (poll) on its standard output, its standard error, a pidfd of the
// child, a wake-up eventfd and, while bytes wait to go out, its standard input. It reads what is
// there and hands the bytes to the handlers, writes what the child will take, and once the child
// has ended it reads what is left in the pipes, reaps the child and reports the end, in that order.
//
// Writes never block the caller: the child's standard input is non-blocking, write() puts out
// what the pipe takes at once and leaves the rest, in order, to the I/O thread. A child that stops
// reading therefore only makes its backlog grow (up to a limit, past which writes fail), and the
// caller's queue stays free to time out and stop it.
//
// Lock rules:
// - Shared::inputMutex guards input, pending and closing. The input descriptor is closed only by
//   the I/O thread (or by the destructor of a child never launched), so poll never watches a
//   descriptor that another thread closed.
// - Shared::processMutex guards pid and reaped: terminate() signals and the I/O thread reaps under
//   it, so SIGTERM can never reach a recycled process id.
// - Shared::deliveryMutex is held by the I/O thread while it calls a handler, by launch() until
//   io_ is set, and by the destructor while it switches delivery off; after the destructor, no handler runs or is running. A
//   destructor reached from inside a handler (on the I/O thread, holding the mutex already) only
//   switches delivery off, which is safe since no other thread calls handlers.
// No lock is taken while another is held, and no handler is called with a lock but deliveryMutex.
//
// Destruction neither waits for the child nor kills it: the I/O thread is left to reap the child
// on its own (the thread is detached) when the child is still running, and joined otherwise.
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

    // The most bytes kept for a child that does not read; a write past it fails.
    static constexpr std::size_t backlogLimit = 64u << 20;

private:
    struct Shared;
    static void run(std::stop_token stop, std::shared_ptr<Shared> shared);

    std::shared_ptr<Shared> shared_;
    std::jthread io_;
};

}  // namespace quillon
