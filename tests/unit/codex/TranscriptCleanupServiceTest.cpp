#include "CodexClientFixture.h"
#include "core/codex/TranscriptCleanupService.h"

namespace quillon::testing {
namespace {

using namespace std::chrono_literals;

class TranscriptCleanupServiceTest : public CodexClientFixture {
protected:
    TranscriptCleanupServiceTest() {
        server.withAccount("chatgpt").answeringThreads().completingTurnsWith(R"({"transcript":"Hello, Ada."})");
    }

    TranscriptCleanupService service{[this] { return CodexAppServerClient::make({scheduler, server.factory(), host}); }};
};

TEST_F(TranscriptCleanupServiceTest, ACleanupIsOneChildOneThreadOneTurn) {
    Outcome<std::string> outcome;
    service.clean("hello ada", "Names: Ada", outcome.sink());
    scheduler.runUntilIdle();
    ASSERT_TRUE(outcome.arrived());
    EXPECT_EQ(**outcome.value, "Hello, Ada.");

    std::vector<std::string> methods;
    for (const auto& message : server.received) methods.push_back(message["method"]);
    EXPECT_EQ(methods, (std::vector<std::string>{"initialize", "initialized", "account/read", "thread/start", "turn/start"}));
    EXPECT_EQ(server.lastRequest("account/read")->at("params")["refreshToken"], false);
    EXPECT_EQ(server.lastRequest("thread/start")->at("params")["serviceName"], "quillon_transcript_cleanup");
    EXPECT_TRUE(server.child().terminated && server.child().destroyed) << "the child is ended before the answer";
}

TEST_F(TranscriptCleanupServiceTest, FailuresReachTheCallerInTheirOwnWords) {
    Outcome<std::string> notSignedIn;
    server.withAccount(std::nullopt);
    service.clean("t", "", notSignedIn.sink());
    scheduler.runUntilIdle();
    EXPECT_EQ(notSignedIn.failureText(), "Connect ChatGPT from the live Summary sidebar before using AI cleanup.");
    EXPECT_TRUE(server.requests("thread/start").empty());
    EXPECT_TRUE(server.child().terminated);

    server.withAccount("chatgpt");
    server.completingTurnsWith(R"({"transcript":""})");
    Outcome<std::string> empty;
    service.clean("t", "", empty.sink());
    scheduler.runUntilIdle();
    EXPECT_EQ(empty.failureText(), "Codex returned an unexpected response: cleaned transcript was empty");

    host.executables.clear();
    Outcome<std::string> missing;
    service.clean("t", "", missing.sink());
    ASSERT_TRUE(missing.arrived()) << "fails at once";
    EXPECT_EQ(missing.failureText(), "Codex CLI was not found. Install or update Codex, then try again.");
}

TEST_F(TranscriptCleanupServiceTest, ATurnThatNeverEndsTimesOutAndStillEndsTheChild) {
    server.on("turn/start", [](FakeCodexAppServer& fake, const Json& message) {
        fake.reply(message["id"], Json{{"turn", {{"id", "slow"}}}});
    });
    Outcome<std::string> outcome;
    service.clean("t", "", outcome.sink());
    scheduler.runUntilIdle();
    scheduler.advance(90s);
    scheduler.advance(20s);
    EXPECT_EQ(outcome.failureText(), "Codex timed out while cleaning the transcript.");
    EXPECT_EQ(server.requests("turn/interrupt").size(), 1u);
    EXPECT_TRUE(server.child().terminated);
}

TEST_F(TranscriptCleanupServiceTest, CancellingStopsTheChildAndWakesTheWaitAtOnce) {
    server.on("turn/start", [](FakeCodexAppServer& fake, const Json& message) {
        fake.reply(message["id"], Json{{"turn", {{"id", "slow"}}}});
    });
    Outcome<std::string> outcome;
    auto call = service.clean("t", "", outcome.sink());
    scheduler.runUntilIdle();
    EXPECT_FALSE(outcome.arrived());
    call.cancel();
    call.cancel();
    scheduler.runUntilIdle();
    EXPECT_EQ(outcome.failureText(), "Codex App Server stopped unexpectedly.");
    EXPECT_TRUE(server.child().terminated);
    call.cancel();  // after the end: harmless
    scheduler.runUntilIdle();
}

TEST_F(TranscriptCleanupServiceTest, CancellingBeforeTheHandshakeEndsTheCallWithoutATurn) {
    Outcome<std::string> outcome;
    auto call = service.clean("t", "", outcome.sink());
    call.cancel();
    scheduler.runUntilIdle();
    EXPECT_EQ(outcome.failureText(), "Codex App Server stopped unexpectedly.");
    EXPECT_TRUE(server.requests("turn/start").empty());
}

TEST_F(TranscriptCleanupServiceTest, TwoCleanupsRunSideBySideWithAChildEach) {
    Outcome<std::string> first, second;
    service.clean("one", "", first.sink());
    service.clean("two", "", second.sink());
    scheduler.runUntilIdle();
    EXPECT_TRUE(first.value->has_value());
    EXPECT_TRUE(second.value->has_value());
    EXPECT_EQ(server.children.size(), 2u);
}

}  // namespace
}  // namespace quillon::testing
