#include "unit/codex/CodexClientFixture.h"
#include "core/live/LiveSummaryCoordinator.h"
#include "fakes/FakeUrlOpener.h"

namespace quillon::testing {
namespace {

using namespace std::chrono_literals;
using Kind = LiveSummaryState::Kind;

std::string words(std::size_t characters) {
    std::string text;
    while (text.size() < characters) text += text.size() % 5 == 4 ? ' ' : 'w';
    return text;
}

class LiveSummaryCoordinatorTest : public CodexClientFixture {
protected:
    LiveSummaryCoordinatorTest() {
        server.withAccount("chatgpt").answeringThreads().completingTurnsWith(R"({"markdown":"# Summary"})");
        model.setSummaryVisible(true);
    }

    void switchOn() {
        coordinator.prepare();
        scheduler.runUntilIdle();
    }

    void say(const std::string& text, bool force = false) {
        model.setCommittedText(text);
        coordinator.transcriptDidChange(text, force);
        scheduler.runUntilIdle();
    }

    std::string lastPrompt() const { return server.lastRequest("turn/start")->at("params")["input"][0]["text"]; }
    std::size_t turns() const { return server.requests("turn/start").size(); }
    Kind state() const { return model.summaryState().kind(); }

    std::optional<std::string> provider;  // a local model provider
    LiveTranscriptModel model;
    FakeUrlOpener urls;
    LiveSummaryCoordinator coordinator{
        model, scheduler,
        [this] {
            return CodexAppServerClient::make({scheduler, server.factory(), host, provider});
        },
        urls};
};

TEST_F(LiveSummaryCoordinatorTest, SwitchingOnEndsInTheStateOfTheAccountOrSaysWhyNot) {
    switchOn();
    EXPECT_EQ(state(), Kind::ready);

    server.withAccount(std::nullopt);
    coordinator.shutdownClient();
    switchOn();
    EXPECT_EQ(state(), Kind::signedOut);
    // A local model provider needs no account.
    provider = "http://127.0.0.1:9/v1";
    coordinator.shutdownClient();
    switchOn();
    EXPECT_EQ(state(), Kind::ready);
    provider.reset();

    coordinator.shutdownClient();
    host.executables.clear();
    switchOn();
    EXPECT_EQ(model.summaryState(),
              LiveSummaryState::unavailable("Codex CLI was not found. Install or update Codex, then try again."));

    host.executables = {"/usr/bin/codex"};
    server.launchFailure = "Could not start /usr/bin/codex: Exec format error";
    switchOn();
    EXPECT_EQ(model.summaryState(), LiveSummaryState::failed("Could not start /usr/bin/codex: Exec format error"))
        << "a failure of the system is not a Codex error";
}

TEST_F(LiveSummaryCoordinatorTest, UpdatesAreThrottledAndNeedEightyNewCharacters) {
    switchOn();
    say(words(79));
    scheduler.advance(29s);
    say(words(79));  // does not push the wait back
    scheduler.advance(1s);
    EXPECT_EQ(turns(), 0u);
    EXPECT_EQ(scheduler.pendingCount(), 1u) << "the wait starts anew";

    say(words(80));
    scheduler.advance(30s);
    ASSERT_EQ(turns(), 1u);
    EXPECT_EQ(model.summaryMarkdown(), "# Summary");
    EXPECT_EQ(state(), Kind::ready);

    // The next update goes on the same thread with only what is new.
    say(words(80) + " and then some more words that make it long enough to pass the least count of eighty");
    scheduler.advance(30s);
    ASSERT_EQ(turns(), 2u);
    EXPECT_EQ(server.requests("thread/start").size(), 1u);
    EXPECT_NE(lastPrompt().find("<new_transcript>\nand then some more"), std::string::npos);
    EXPECT_EQ(lastPrompt().find(words(80)), std::string::npos);
}

TEST(LiveSummaryReconciliationTest, TheKeptPrefixEndsBeforeWhiteSpaceFourHundredCharactersBack) {
    struct Case {
        std::string oldText;
        std::string newText;
        std::string expected;
    };
    const std::string base = std::string(100, 'a') + " " + std::string(700, 'b');
    const std::vector<Case> cases{
        {"", "anything at all", ""},
        {std::string(900, 'x'), std::string(900, 'x') + "y", ""},  // no white space before the target
        {base + "c", base + "d", std::string(100, 'a')},  // 801 in common, target 401, back to the blank
        // A character of several code points is never split: "e" and a combining accent.
        {"xe\u0301 " + std::string(400, 'e') + "1", "xe\u0301 " + std::string(400, 'e') + "2", "xe\u0301"},
    };
    for (const auto& test : cases) {
        EXPECT_EQ(LiveSummaryCoordinator::reconciliationPrefix(test.oldText, test.newText), test.expected)
            << test.oldText.size() << " / " << test.newText.size();
    }
}

TEST_F(LiveSummaryCoordinatorTest, TheThreadBudgetIsCountedInDeltaCharacters) {
    for (const std::size_t extra : {std::size_t{1000}, std::size_t{1001}}) {
        SCOPED_TRACE(extra);
        coordinator.reset();
        coordinator.shutdownClient();
        server.received.clear();
        switchOn();
        const std::string first(23000, 'a');
        say(first, true);  // a first delta is never refused, whatever its size
        ASSERT_EQ(turns(), 1u);
        std::string more = first + std::string(extra, 'z');
        say(more, true);
        ASSERT_EQ(turns(), 2u);
        const bool newThread = server.requests("thread/start").size() == 2;
        EXPECT_EQ(newThread, extra == 1001);
        EXPECT_EQ(lastPrompt().find("<current_summary>") != std::string::npos, extra == 1001);
    }
}

TEST_F(LiveSummaryCoordinatorTest, StaleResultsAreDropped) {
    server.silence("turn/start");
    switchOn();
    say(words(100), true);
    const Json pending = *server.lastRequest("turn/start");
    EXPECT_EQ(state(), Kind::updating);

    coordinator.reset();  // the turn runs on in the child
    scheduler.runUntilIdle();
    server.reply(pending["id"], Json{{"turn", {{"id", "t-1"}}}});
    server.completeTurn("t-1", R"({"markdown":"# Stale"})");
    scheduler.runUntilIdle();
    EXPECT_EQ(model.summaryMarkdown(), "");
    EXPECT_EQ(state(), Kind::ready);

}

TEST_F(LiveSummaryCoordinatorTest, AFailedUpdateStandsStillUntilRefreshed) {
    server.on("turn/start", [](FakeCodexAppServer& fake, const Json& message) {
        fake.reply(message["id"], Json{{"turn", {{"id", "bad"}}}});
        fake.emit(Json{{"method", "turn/completed"},
                       {"params", {{"turn", {{"id", "bad"}, {"status", "failed"}, {"error", {{"message", "Usage limit reached"}}}}}}}});
    });
    switchOn();
    say(words(100), true);
    EXPECT_EQ(model.summaryState(), LiveSummaryState::failed("Summary update failed: Usage limit reached"));

    say(words(300), true);
    EXPECT_EQ(turns(), 1u) << "after a failure nothing is scheduled";

    server.completingTurnsWith(R"({"markdown":"# Back"})");
    coordinator.refresh();
    scheduler.runUntilIdle();
    EXPECT_EQ(turns(), 2u);
    EXPECT_EQ(server.lastRequest("turn/start")->at("params")["threadId"], "thread-1") << "the thread stays";
    EXPECT_EQ(model.summaryMarkdown(), "# Back");
    EXPECT_EQ(state(), Kind::ready);
}

}  // namespace
}  // namespace quillon::testing
