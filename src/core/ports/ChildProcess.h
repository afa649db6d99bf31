#pragma once

#include <expected>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace quillon {

// What to start: the executable's path (run as it is, never searched), its arguments after the
// program name, and the child's whole environment.
struct ChildProcessLaunch {
    std::string executable;
    std::vector<std::string> arguments;
    std::map<std::string, std::string> environment;
};

// A child process with pipes on its standard input, output and error.
//
// The handlers are called on a thread of the adapter, never inside a call of this interface:
// they must not block and should do no more than post the bytes to their owner's queue. Every
// byte the child wrote before it ended is delivered before onTermination. Nothing is delivered
// after the object is destroyed; destroying it neither waits for the child nor kills it.
class ChildProcess {
public:
    struct Handlers {
        std::function<void(std::string bytes)> onOutput;
        std::function<void(std::string bytes)> onErrorOutput;
        std::function<void()> onTermination;
    };

    virtual ~ChildProcess() = default;

    // Starts the child. The error is a description of why it could not start. Once only.
    virtual std::expected<void, std::string> launch(const ChildProcessLaunch& launch, Handlers handlers) = 0;

    // Sends all of `bytes` to the child's standard input, in order, and never blocks: what the child
    // does not take at once is sent as it reads. The error describes a failed write.
    virtual std::expected<void, std::string> write(std::string_view bytes) = 0;

    // Closes the child's standard input once what was written has gone out; later writes fail.
    virtual void closeInput() = 0;

    // True from a successful launch until the child has ended.
    virtual bool isRunning() const = 0;

    // Asks the child and every process it started in its group to end (SIGTERM on Linux) and
    // returns at once. Does nothing once the child has ended.
    virtual void terminate() = 0;
};

// Makes a fresh, not yet launched child process.
using ChildProcessFactory = std::function<std::unique_ptr<ChildProcess>()>;

}  // namespace quillon
