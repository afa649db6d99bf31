#include <gtest/gtest.h>

#include <condition_variable>
#include <mutex>

#include "CodexIntegrationSupport.h"

namespace quillon::testing {
namespace {

// Collects what a child reports, from the reader thread, and lets the test wait for its end.
struct Recorder {
    ChildProcess::Handlers handlers() {
        return {[this](std::string bytes) { add(output, bytes); }, [this](std::string bytes) { add(error, bytes); },
                [this] {
                    std::lock_guard lock(mutex);
                    ended = true;
                    outputAtEnd = output;
                    changed.notify_all();
                }};
    }
    void add(std::string& into, const std::string& bytes) {
        std::lock_guard lock(mutex);
        into += bytes;
        changed.notify_all();
    }
    bool waitForEnd() {
        std::unique_lock lock(mutex);
        return changed.wait_for(lock, std::chrono::seconds(30), [this] { return ended; });
    }

    std::mutex mutex;
    std::condition_variable changed;
    std::string output, error, outputAtEnd;
    bool ended = false;
};

ChildProcessLaunch shell(const std::string& script) {
    return {"/bin/sh", {"-c", script}, {{"PATH", "/usr/bin:/bin"}, {"QUILLON_MARK", "marked"}}};
}

TEST(ChildProcessPosixTest, EverythingWrittenArrivesBeforeTheEnd) {
    ChildProcessPosix child;
    Recorder recorder;
    ASSERT_TRUE(child.launch(shell("echo \"$QUILLON_MARK\"; echo oops >&2; head -c 300000 /dev/zero | tr '\\0' x"),
                             recorder.handlers()));
    ASSERT_TRUE(recorder.waitForEnd());
    EXPECT_EQ(recorder.outputAtEnd.size(), 7u + 300000u) << "only the given environment reaches the child";
    EXPECT_TRUE(recorder.outputAtEnd.starts_with("marked\n"));
    EXPECT_EQ(recorder.error, "oops\n");
    EXPECT_FALSE(child.isRunning());
}

}  // namespace
}  // namespace quillon::testing
