#include <gmock/gmock.h>

#include <condition_variable>
#include <fstream>
#include <mutex>

#include "CodexIntegrationSupport.h"
#include "core/codex/LiveSummaryCoordinator.h"
#include "core/codex/TranscriptCleanupService.h"
#include "fakes/FakeUrlOpener.h"

namespace quillon::testing {
namespace {

// The client on its own serial queue, over a real child: the scripted double, named codex.
class AppServerDoubleTest : public ::testing::Test {
protected:
    AppServerDoubleTest() {
        const auto bin = folder.path / "bin";
        std::filesystem::create_directories(bin);
        std::filesystem::create_symlink(QUILLON_APP_SERVER_DOUBLE, bin / "codex");
        std::filesystem::create_directories(folder.path / "home/.codex");
        std::ofstream(folder.path / "home/.codex/config.toml") << "[mcp_servers.docs]\ncommand = \"docs\"\n";
        host.allowed = {folder.path.string()};
        host.vars = {{"HOME", (folder.path / "home").string()},
                     {"PATH", bin.string() + ":/usr/bin:/bin"},
                     {"QUILLON_DOUBLE_RECORD", (folder.path / "record").string()}};
    }

    std::shared_ptr<CodexAppServerClient> client(const std::string& scenario) {
        host.vars["QUILLON_DOUBLE_SCENARIO"] = scenario;
        auto made = CodexAppServerClient::make({queue, ChildProcessPosix::factory(), host});
        EXPECT_TRUE(made.has_value());
        return *made;
    }

    // Starts, asks for the account, starts a thread and runs one summary turn.
    CodexResult<std::string> summaryRound(const std::shared_ptr<CodexAppServerClient>& codex) {
        auto started = await<void>([&](auto done) { codex->start(done); });
        if (!started) return std::unexpected(started.error());
        auto account = await<std::optional<std::string>>([&](auto done) { codex->accountType(false, done); });
        if (!account) return std::unexpected(account.error());
        EXPECT_EQ(*account, "chatgpt");
        auto thread = await<std::string>([&](auto done) { codex->startSummaryThread(done); });
        if (!thread) return std::unexpected(thread.error());
        return await<std::string>([&](auto done) { codex->updateSummary(*thread, "hello", "", "", done); });
    }

    // Stops posted at the end of a test run before the queue goes.
    void TearDown() override { drain(queue); }

    TestFolder folder;
    IsolatedHost host;
    SerialQueue queue{"com.lanternmoth.Quillon.codex-test"};
};

TEST_F(AppServerDoubleTest, TheChildIsStartedWithTheRestrictedCommandLine) {
    auto codex = client("normal");
    ASSERT_TRUE(await<void>([&](auto done) { codex->start(done); }));
    codex->stop();
    std::ifstream in(folder.path / "record");
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    const std::vector<std::string> expected{
        "app-server", "-c", "features.web_search=false", "-c", "web_search=\"disabled\"", "-c",
        "mcp_servers.docs.enabled=false",
        "PATH=" + (folder.path / "bin").string() + ":/usr/local/bin:/usr/bin:/bin:/usr/local/sbin:/usr/sbin:/sbin"};
    EXPECT_EQ(lines, expected);
}

TEST_F(AppServerDoubleTest, ScenariosThatEndInASummary) {
    for (const char* scenario : {"normal", "slow", "garbage", "early", "items", "server-request"}) {
        SCOPED_TRACE(scenario);
        auto codex = client(scenario);
        auto summary = summaryRound(codex);
        ASSERT_TRUE(summary) << failureText(summary);
        EXPECT_EQ(*summary, "# Double summary");
        codex->stop();
    }
}

TEST_F(AppServerDoubleTest, AFailedTurnGivesItsOwnWords) {
    auto codex = client("failed-turn");
    auto summary = summaryRound(codex);
    EXPECT_EQ(failureText(summary), "The double failed the turn.");
    codex->stop();
}

TEST_F(AppServerDoubleTest, ACrashFailsTheWaiterWithTheEndOfStandardError) {
    auto crashed = summaryRound(client("crash"));
    EXPECT_EQ(failureText(crashed),
              "Codex App Server stopped unexpectedly: thread 'main' panicked: the double was told to crash");

    auto flooded = summaryRound(client("flood"));
    const std::string text = failureText(flooded);
    const std::string prefix = "Codex App Server stopped unexpectedly: ";
    ASSERT_EQ(text.size(), prefix.size() + 8192) << "only the last 8192 bytes are kept";
    EXPECT_TRUE(text.ends_with(std::string(100, 'e') + "last words"));
}

TEST_F(AppServerDoubleTest, AChildThatExitsAtOnceFailsTheStart) {
    auto codex = client("exit-on-first-line");
    auto started = await<void>([&](auto done) { codex->start(done); });
    EXPECT_EQ(failureText(started), "Codex App Server stopped unexpectedly.");

    // Gone before the handshake is even written: whether the write or the end is seen first is
    // up to the kernel, and either way the start fails in so many words.
    codex = client("exit-at-once");
    started = await<void>([&](auto done) { codex->start(done); });
    EXPECT_THAT(failureText(started), ::testing::AnyOf("Codex App Server stopped unexpectedly.",
                                                       "Could not write to the child: Broken pipe"));
}

TEST_F(AppServerDoubleTest, StoppingAChildThatNeverAnswersWakesTheCaller) {
    auto codex = client("silent");
    auto promise = std::make_shared<std::promise<CodexResult<void>>>();
    codex->start([promise](CodexResult<void> result) { promise->set_value(std::move(result)); });
    codex->stop();
    auto future = promise->get_future();
    ASSERT_EQ(future.wait_for(std::chrono::seconds(30)), std::future_status::ready);
    EXPECT_EQ(failureText(future.get()), "Codex App Server stopped unexpectedly.");
}

TEST_F(AppServerDoubleTest, ACleanupRunsOneChildToTheEnd) {
    host.vars["QUILLON_DOUBLE_SCENARIO"] = "normal";
    TranscriptCleanupService service([&] { return CodexAppServerClient::make({queue, ChildProcessPosix::factory(), host}); });
    auto cleaned = await<std::string>([&](auto done) { service.clean("um hello", "", done); });
    ASSERT_TRUE(cleaned) << failureText(cleaned);
    EXPECT_EQ(*cleaned, "Cleaned by the double.");

    host.vars["QUILLON_DOUBLE_SCENARIO"] = "silent";
    auto promise = std::make_shared<std::promise<CodexResult<std::string>>>();
    auto call = service.clean("um hello", "", [promise](CodexResult<std::string> result) { promise->set_value(std::move(result)); });
    call.cancel();
    auto future = promise->get_future();
    ASSERT_EQ(future.wait_for(std::chrono::seconds(30)), std::future_status::ready);
    EXPECT_EQ(failureText(future.get()), "Codex App Server stopped unexpectedly.");
}

}  // namespace
}  // namespace quillon::testing

namespace quillon::testing {
namespace {

// The summary on its own main queue and the client on its executor, as in the application: the
// hops between the two threads carry the states and the Markdown.
TEST_F(AppServerDoubleTest, TheSummaryFollowsTheTranscriptAcrossThreads) {
    host.vars["QUILLON_DOUBLE_SCENARIO"] = "normal";
    SerialQueue main{"com.lanternmoth.Quillon.main-test"};
    LiveTranscriptModel model;
    FakeUrlOpener urls;
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<LiveSummaryState> states;
    std::string markdown;
    model.onChange = [&] {
        std::lock_guard lock(mutex);
        if (states.empty() || states.back() != model.summaryState()) states.push_back(model.summaryState());
        markdown = model.summaryMarkdown();
        changed.notify_all();
    };
    auto coordinator = std::make_shared<LiveSummaryCoordinator>(
        model, main, [&] { return CodexAppServerClient::make({queue, ChildProcessPosix::factory(), host}); }, urls);
    const auto waitFor = [&](auto predicate) {
        std::unique_lock lock(mutex);
        return changed.wait_for(lock, std::chrono::seconds(60), predicate);
    };

    main.post([&] {
        model.setSummaryVisible(true);
        coordinator->prepare();
    });
    ASSERT_TRUE(waitFor([&] { return !states.empty() && states.back() == LiveSummaryState::ready(); }));
    main.post([&] {
        model.setCommittedText("We agreed to ship the parser on Friday.");
        coordinator->transcriptDidChange(model.committedText(), true);
    });
    ASSERT_TRUE(waitFor([&] { return markdown == "# Double summary"; }));
    std::promise<void> stopped;
    main.post([&] {
        coordinator->shutdownClient();
        coordinator.reset();
        stopped.set_value();
    });
    stopped.get_future().wait();
    drain(queue);  // the client's last completions hop to the main queue, which must still be there
    std::lock_guard lock(mutex);
    EXPECT_EQ(states, (std::vector<LiveSummaryState>{LiveSummaryState::idle(), LiveSummaryState::checking(),
                                                      LiveSummaryState::ready(), LiveSummaryState::updating(),
                                                      LiveSummaryState::ready()}));
}

}  // namespace
}  // namespace quillon::testing
