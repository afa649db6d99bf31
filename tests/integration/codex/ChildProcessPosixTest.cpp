#include <gtest/gtest.h>

#include <sys/stat.h>

#include <condition_variable>
#include <fstream>
#include <mutex>

#include "CodexIntegrationSupport.h"
#include "platform/linux/desktop/UrlOpenerXdg.h"

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
        ++chunks;
        changed.notify_all();
    }
    bool waitForEnd() {
        std::unique_lock lock(mutex);
        return changed.wait_for(lock, std::chrono::seconds(30), [this] { return ended; });
    }
    bool waitForOutput(const std::string& text) {
        std::unique_lock lock(mutex);
        return changed.wait_for(lock, std::chrono::seconds(30), [&] { return output.find(text) != std::string::npos; });
    }

    std::mutex mutex;
    std::condition_variable changed;
    std::string output, error, outputAtEnd;
    int chunks = 0;
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

TEST(ChildProcessPosixTest, InputReachesTheChildAndClosingItEndsACat) {
    ChildProcessPosix child;
    Recorder recorder;
    ASSERT_TRUE(child.launch({"/bin/cat", {}, {}}, recorder.handlers()));
    EXPECT_TRUE(child.isRunning());
    ASSERT_TRUE(child.write("{\"id\":1}\n"));
    ASSERT_TRUE(recorder.waitForOutput("{\"id\":1}\n"));
    child.closeInput();
    ASSERT_TRUE(recorder.waitForEnd());
    EXPECT_FALSE(child.write("late\n")) << "a closed input refuses writes";
}

TEST(ChildProcessPosixTest, TerminateEndsAChildThatNeverStopsByItself) {
    ChildProcessPosix child;
    Recorder recorder;
    ASSERT_TRUE(child.launch({"/bin/sleep", {"600"}, {}}, recorder.handlers()));
    child.terminate();
    ASSERT_TRUE(recorder.waitForEnd());
    EXPECT_FALSE(child.isRunning());
    child.terminate();  // after the end: nothing to signal
}

TEST(ChildProcessPosixTest, WritingToAChildThatIsGoneFailsWithoutKillingUs) {
    ChildProcessPosix child;
    Recorder recorder;
    ASSERT_TRUE(child.launch(shell("exec 0<&-; exit 0"), recorder.handlers()));
    ASSERT_TRUE(recorder.waitForEnd());
    const std::string block(1 << 16, 'x');
    auto written = child.write(block);
    ASSERT_FALSE(written);
    EXPECT_NE(written.error().find("Broken pipe"), std::string::npos) << written.error();
}

TEST(ChildProcessPosixTest, WhatCannotRunSaysWhy) {
    TestFolder folder;
    const auto plain = folder.path / "not-executable";
    std::ofstream(plain) << "#!/bin/sh\n";
    struct Case {
        std::string path;
        std::string reason;
    };
    for (const Case& test : {Case{folder.path.string(), "Permission denied"}, Case{plain.string(), "Permission denied"},
                             Case{(folder.path / "missing").string(), "No such file or directory"}}) {
        ChildProcessPosix child;
        Recorder recorder;
        auto launched = child.launch({test.path, {}, {}}, recorder.handlers());
        ASSERT_FALSE(launched) << test.path;
        EXPECT_EQ(launched.error(), "Could not start " + test.path + ": " + test.reason);
        EXPECT_FALSE(child.isRunning());
    }
    HostEnvironmentPosix host;
    EXPECT_FALSE(host.isExecutableFile(folder.path.string())) << "a folder is no executable";
    EXPECT_FALSE(host.isExecutableFile(plain.string()));
    EXPECT_TRUE(host.isExecutableFile("/bin/sh"));
}

TEST(ChildProcessPosixTest, DestroyingTheHandleNeitherWaitsForNorKillsTheChild) {
    TestFolder folder;
    const auto mark = folder.path / "still-alive";
    auto recorder = std::make_unique<Recorder>();
    {
        ChildProcessPosix child;
        ASSERT_TRUE(child.launch(shell("sleep 0.5; touch '" + mark.string() + "'"), recorder->handlers()));
    }
    recorder.reset();  // nothing may be delivered any more
    for (int i = 0; i < 100 && !std::filesystem::exists(mark); ++i) std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_TRUE(std::filesystem::exists(mark));
}

TEST(UrlOpenerXdgTest, TheAddressGoesToTheDesktopOpener) {
    TestFolder folder;
    const auto opener = folder.path / "fake-xdg-open";
    const auto log = folder.path / "opened";
    std::ofstream(opener) << "#!/bin/sh\nprintf '%s' \"$1\" > '" << log.string() << ".part' && mv '" << log.string()
                          << ".part' '" << log.string() << "'\n";
    std::filesystem::permissions(opener, std::filesystem::perms::owner_all);
    UrlOpenerXdg urls(opener.string());
    ASSERT_TRUE(urls.open("https://auth.example.invalid/a?b=c&d"));
    for (int i = 0; i < 200 && !std::filesystem::exists(log); ++i) std::this_thread::sleep_for(std::chrono::milliseconds(25));
    std::ifstream in(log);
    std::string opened;
    std::getline(in, opened);
    EXPECT_EQ(opened, "https://auth.example.invalid/a?b=c&d");

    UrlOpenerXdg missing((folder.path / "no-such-opener").string());
    auto failed = missing.open("https://example.invalid");
    ASSERT_FALSE(failed);
    EXPECT_NE(failed.error().find("No such file or directory"), std::string::npos);
}

}  // namespace
}  // namespace quillon::testing
