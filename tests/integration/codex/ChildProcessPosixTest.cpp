#include <gtest/gtest.h>
#include <poll.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "platform/linux/process/ChildProcessPosix.h"

namespace quillon::testing {
namespace {

using namespace std::chrono_literals;

// The limit only keeps a hang (the fault these tests look for) from stalling the suite.
constexpr auto hangLimit = 60s;

// A real child under a shell command, with what it writes and its end kept for the test; the
// standard error it wrote is taken as it was when the end was reported, since the client words its
// failure from that.
struct Child {
    void launch(const std::string& command) {
        auto launched = process->launch({"/bin/sh", {"-c", command}, {{"PATH", "/usr/bin:/bin"}}},
                                        {[this](std::string bytes) {
                                             std::lock_guard lock(mutex);
                                             output += bytes;
                                             if (onOutput) onOutput();
                                         },
                                         [this](std::string bytes) {
                                             std::lock_guard lock(mutex);
                                             errors += bytes;
                                         },
                                         [this] {
                                             std::lock_guard lock(mutex);
                                             errorsAtEnd = errors;
                                             ended.set_value();
                                         }});
        EXPECT_TRUE(launched) << launched.error();
    }
    std::string outputSoFar() {
        std::lock_guard lock(mutex);
        return output;
    }
    bool waitForEnd() { return endedFuture.wait_for(hangLimit) == std::future_status::ready; }

    std::unique_ptr<ChildProcess> process = std::make_unique<ChildProcessPosix>();
    std::mutex mutex;
    std::string output, errors, errorsAtEnd;
    std::function<void()> onOutput;
    std::promise<void> ended;
    std::future<void> endedFuture = ended.get_future();
};

// Runs `step` on a thread of its own; if it hangs, the test program ends as failed, since what the
// stuck thread holds cannot be given back.
void expectReturns(std::function<void()> step, const char* fault) {
    auto done = std::make_shared<std::promise<void>>();
    auto returned = done->get_future();
    std::thread([step = std::move(step), done] {
        step();
        done->set_value();
    }).detach();
    if (returned.wait_for(hangLimit) == std::future_status::ready) return;
    std::fprintf(stderr, "FAILED: %s\n", fault);
    std::_Exit(1);
}

TEST(ChildProcessPosixTest, WritesNeverBlockAndArriveInOrderOnceTheChildReads) {
    // The child reads nothing until a file appears; far more than a pipe holds is written meanwhile.
    // Its last words on standard error, just before it exits, arrive before its end.
    const std::string flag = ::testing::TempDir() + "quillon-child-go-" + std::to_string(::getpid());
    std::filesystem::remove(flag);
    Child child;
    child.launch("while [ ! -e '" + flag + "' ]; do sleep 0.01; done; cat; echo panicked >&2");
    std::string sent;
    for (int block = 0; block < 64; ++block) sent += std::string(16 * 1024, static_cast<char>('a' + block % 26)) + "\n";
    expectReturns(
        [&] {
            for (std::size_t at = 0; at < sent.size(); at += 4096) {
                EXPECT_TRUE(child.process->write(std::string_view(sent).substr(at, 4096)));
            }
            child.process->closeInput();
        },
        "write() blocked on a child that does not read");
    std::ofstream(flag) << "go";
    ASSERT_TRUE(child.waitForEnd());
    EXPECT_EQ(child.outputSoFar(), sent);
    EXPECT_EQ(child.errorsAtEnd, "panicked\n");
    std::filesystem::remove(flag);
    EXPECT_FALSE(child.process->write("late"));
}

TEST(ChildProcessPosixTest, TerminateEndsEverythingTheChildStarted) {
    Child child;
    std::promise<void> printed;
    child.onOutput = [&, once = true]() mutable {
        if (std::exchange(once, false)) printed.set_value();
    };
    child.launch("sleep 1000 & echo $!; wait");
    ASSERT_EQ(printed.get_future().wait_for(hangLimit), std::future_status::ready);
    const int grandchild = std::stoi(child.outputSoFar());
    const int watch = static_cast<int>(::syscall(SYS_pidfd_open, grandchild, 0));
    ASSERT_GE(watch, 0);
    child.process->terminate();
    pollfd gone{watch, POLLIN, 0};
    EXPECT_EQ(::poll(&gone, 1, static_cast<int>(std::chrono::milliseconds(hangLimit).count())), 1)
        << "the grandchild outlived terminate()";
    ::close(watch);
    EXPECT_TRUE(child.waitForEnd());
}

TEST(ChildProcessPosixTest, AHandlerMayDestroyItsOwnChild) {
    auto process = std::make_shared<std::unique_ptr<ChildProcess>>(std::make_unique<ChildProcessPosix>());
    auto destroyed = std::make_shared<std::promise<void>>();
    const auto onOutput = [process, destroyed](std::string) {
        if (!*process) return;
        (*process)->terminate();
        process->reset();  // on the I/O thread, inside the handler
        destroyed->set_value();
    };
    expectReturns(
        [&] {
            ASSERT_TRUE((*process)->launch({"/bin/sh", {"-c", "echo hello; sleep 1000"}, {}}, {onOutput, nullptr, nullptr}));
            destroyed->get_future().wait();
        },
        "destroying the child inside its handler deadlocked");
}

}  // namespace
}  // namespace quillon::testing
