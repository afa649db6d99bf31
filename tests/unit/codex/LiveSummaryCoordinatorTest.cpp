#include "CodexClientFixture.h"
#include "core/codex/LiveSummaryCoordinator.h"
#include "core/base/Unicode.h"
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

    LiveSummaryCoordinator::ClientFactory factory() {
        return [this]() -> std::expected<std::shared_ptr<CodexAppServerClient>, CodexAppServerError> {
            ++clientsMade;
            return CodexAppServerClient::make({scheduler, server.factory(), host});
        };
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

    LiveTranscriptModel model;
    FakeUrlOpener urls;
    int clientsMade = 0;
    LiveSummaryCoordinator coordinator{model, scheduler, factory(), urls};
};

TEST_F(LiveSummaryCoordinatorTest, SwitchingOnEndsInTheStateOfTheAccount) {
    switchOn();
    EXPECT_EQ(state(), Kind::ready);

    server.withAccount(std::nullopt);
    coordinator.shutdownClient();
    switchOn();
    EXPECT_EQ(state(), Kind::signedOut);

    server.withAccount("apiKey");
    coordinator.shutdownClient();
    switchOn();
    EXPECT_EQ(state(), Kind::signedOut) << "only a ChatGPT account counts as signed in";
}

TEST_F(LiveSummaryCoordinatorTest, SwitchingOnWithoutCodexOrWithABrokenOneSaysWhy) {
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
    EXPECT_TRUE(lastPrompt().starts_with("Create a living Markdown summary of this transcript."));
    EXPECT_EQ(model.summaryMarkdown(), "# Summary");
    EXPECT_EQ(state(), Kind::ready);

    // The next update goes on the same thread with only what is new.
    say(words(80) + " and then some more words that make it long enough to pass the least count of eighty");
    scheduler.advance(30s);
    ASSERT_EQ(turns(), 2u);
    EXPECT_EQ(server.requests("thread/start").size(), 1u);
    const Json second = *server.lastRequest("turn/start");
    EXPECT_EQ(second["params"]["threadId"], "thread-1");
    EXPECT_TRUE(lastPrompt().starts_with("Update the living Markdown summary from your preceding response"));
    EXPECT_NE(lastPrompt().find("<new_transcript>\nand then some more"), std::string::npos);
    EXPECT_EQ(lastPrompt().find(words(80)), std::string::npos);
}

TEST_F(LiveSummaryCoordinatorTest, WhiteSpaceAloneStartsNoTurn) {
    switchOn();
    say(std::string(100, ' '));
    scheduler.advance(30s);
    EXPECT_EQ(turns(), 0u);
    EXPECT_EQ(state(), Kind::ready);
}

TEST_F(LiveSummaryCoordinatorTest, ANewContextRevisesTheSummaryAtOnce) {
    switchOn();
    model.setSummaryContext("Speakers: Ada");
    coordinator.contextDidChange();
    scheduler.runUntilIdle();
    EXPECT_EQ(turns(), 0u) << "nothing to revise before any text";

    say(words(100), true);
    ASSERT_EQ(turns(), 1u);
    EXPECT_NE(lastPrompt().find("<additional_context>\nSpeakers: Ada\n</additional_context>"), std::string::npos);

    model.setSummaryContext("");
    coordinator.contextDidChange();
    scheduler.runUntilIdle();
    ASSERT_EQ(turns(), 2u);
    EXPECT_TRUE(lastPrompt().starts_with("Revise the living Markdown summary from your preceding response"));
    EXPECT_EQ(lastPrompt().find("<new_transcript>"), std::string::npos);
}

TEST_F(LiveSummaryCoordinatorTest, ARewriteBehindTheSummaryStartsANewThreadWithTheSummary) {
    switchOn();
    const std::string first = words(600);
    say(first, true);
    ASSERT_EQ(turns(), 1u);

    // Shorter only: not yet a rewrite.
    say(first.substr(0, 500));
    scheduler.advance(60s);
    EXPECT_EQ(turns(), 1u);

    std::string rewritten = first.substr(0, 550) + "X" + words(100);
    say(rewritten, true);
    ASSERT_EQ(turns(), 2u);
    EXPECT_EQ(server.requests("thread/start").size(), 2u);
    EXPECT_TRUE(lastPrompt().starts_with("Update the living Markdown summary supplied below"));
    EXPECT_NE(lastPrompt().find("<current_summary>\n# Summary\n</current_summary>"), std::string::npos);
    // The seam is sent again: the delta begins at least 400 characters before the change.
    const std::string kept = LiveSummaryCoordinator::reconciliationPrefix(first, rewritten);
    EXPECT_LE(kept.size(), 150u);
    EXPECT_NE(lastPrompt().find(std::string(unicode::trimmed(rewritten.substr(kept.size())))), std::string::npos);
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
        {std::string(300, 'x'), std::string(300, 'x') + "y", ""},
        {std::string(401, 'x'), std::string(401, 'x') + "y", ""},
        {std::string(900, 'x'), std::string(900, 'x') + "y", ""},  // no white space before the target
        {base + "c", base + "d", std::string(100, 'a')},  // 801 in common, target 401, back to the blank
        {"ab cd " + std::string(400, 'e') + "f", "ab cd " + std::string(400, 'e') + "g", "ab cd"},
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

    // After shutdown, neither a success nor a failure of the old update shows.
    say(words(100), true);
    const Json second = *server.lastRequest("turn/start");
    coordinator.shutdownClient();
    scheduler.runUntilIdle();
    EXPECT_EQ(model.summaryMarkdown(), "");
    EXPECT_NE(second, pending);
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

TEST_F(LiveSummaryCoordinatorTest, AChildThatDiesTakesTheUpdateDownUntilSwitchedOffAndOn) {
    server.silence("turn/start");
    switchOn();
    say(words(100), true);
    server.emitError("fatal: out of memory\n");
    server.exit();
    scheduler.runUntilIdle();
    EXPECT_EQ(model.summaryState(),
              LiveSummaryState::failed("Summary update failed: Codex App Server stopped unexpectedly: fatal: out of memory"));

    coordinator.refresh();
    scheduler.runUntilIdle();
    EXPECT_EQ(model.summaryState(),
              LiveSummaryState::failed("Summary update failed: Codex App Server stopped unexpectedly."));

    server.completingTurnsWith(R"({"markdown":"# Again"})");
    coordinator.shutdownClient();
    coordinator.prepare();  // "Try Again"
    scheduler.runUntilIdle();
    EXPECT_EQ(clientsMade, 2);
    coordinator.refresh();
    scheduler.runUntilIdle();
    EXPECT_EQ(model.summaryMarkdown(), "# Again");
}

TEST_F(LiveSummaryCoordinatorTest, ATurnThatNeverEndsTimesOutInVirtualTime) {
    server.on("turn/start", [](FakeCodexAppServer& fake, const Json& message) {
        fake.reply(message["id"], Json{{"turn", {{"id", "slow"}}}});
    });
    switchOn();
    say(words(100), true);
    scheduler.advance(90s);
    EXPECT_EQ(server.requests("turn/interrupt").size(), 1u);
    scheduler.advance(20s);  // the interrupt is not answered either
    EXPECT_EQ(model.summaryState(),
              LiveSummaryState::failed("Summary update failed: Codex timed out while updating the summary."));
}

TEST_F(LiveSummaryCoordinatorTest, AForcedUpdateDuringARunningOneFollowsIt) {
    server.silence("turn/start");
    switchOn();
    say(words(100), true);
    say(words(150), true);  // the session stopped with its final text
    EXPECT_EQ(turns(), 1u);

    server.completingTurnsWith(R"({"markdown":"# Two"})");
    server.reply(server.lastRequest("turn/start")->at("id"), Json{{"turn", {{"id", "first"}}}});
    server.completeTurn("first", R"({"markdown":"# One"})");
    scheduler.runUntilIdle();
    EXPECT_EQ(turns(), 2u) << "the second update starts at once, without the wait";
    EXPECT_EQ(model.summaryMarkdown(), "# Two");
}

TEST_F(LiveSummaryCoordinatorTest, SignInOpensTheBrowserAndPollsForTheAccount) {
    server.withAccount(std::nullopt);
    server.on("account/login/start", [](FakeCodexAppServer& fake, const Json& message) {
        fake.reply(message["id"], Json{{"authUrl", "https://auth.example.invalid/start"}});
    });
    switchOn();
    ASSERT_EQ(state(), Kind::signedOut);
    coordinator.connectChatGPT();
    scheduler.runUntilIdle();
    EXPECT_EQ(state(), Kind::signingIn);
    EXPECT_EQ(urls.opened, std::vector<std::string>{"https://auth.example.invalid/start"});

    scheduler.advance(10s);
    EXPECT_EQ(state(), Kind::signingIn);
    EXPECT_EQ(server.lastRequest("account/read")->at("params")["refreshToken"], true);
    server.withAccount("chatgpt");
    model.setCommittedText(words(100));
    scheduler.advance(2s);
    EXPECT_EQ(state(), Kind::ready);
    scheduler.advance(30s);
    EXPECT_EQ(turns(), 1u) << "the text so far is summarised after sign-in";
}

TEST_F(LiveSummaryCoordinatorTest, ASignInThatNeverFinishesGivesUpAfterSixtyPolls) {
    server.withAccount(std::nullopt);
    server.on("account/login/start", [](FakeCodexAppServer& fake, const Json& message) {
        fake.reply(message["id"], Json{{"authUrl", "https://auth.example.invalid/start"}});
    });
    switchOn();
    coordinator.connectChatGPT();
    scheduler.runUntilIdle();
    scheduler.advance(119s);
    EXPECT_EQ(state(), Kind::signingIn);
    scheduler.advance(1s);
    EXPECT_EQ(model.summaryState(),
              LiveSummaryState::failed("ChatGPT sign-in did not finish. You can try again when ready."));
    EXPECT_EQ(server.requests("account/read").size(), 61u);
}

TEST_F(LiveSummaryCoordinatorTest, AfterASwitchOffOnlyAForcedUpdateRestartsTheSummary) {
    switchOn();
    say(words(100));  // an update waits
    coordinator.shutdownClient();
    model.setSummaryState(LiveSummaryState::idle());
    switchOn();
    say(words(300));
    scheduler.advance(60s);
    EXPECT_EQ(turns(), 0u);

    say(words(300), true);
    EXPECT_EQ(turns(), 1u);
    EXPECT_EQ(server.requests("thread/start").size(), 1u);
}

TEST_F(LiveSummaryCoordinatorTest, AHiddenSummaryOnlyRemembersTheText) {
    switchOn();
    model.setSummaryVisible(false);
    say(words(300), true);
    EXPECT_EQ(turns(), 0u);
    coordinator.reset();
    EXPECT_EQ(state(), Kind::idle);
}

}  // namespace
}  // namespace quillon::testing
