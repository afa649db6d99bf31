#include "CodexClientFixture.h"
#include "core/codex/TranscriptCleanupService.h"

namespace quillon::testing {
namespace {

class TranscriptCleanupServiceTest : public CodexClientFixture {
protected:
    TranscriptCleanupServiceTest() {
        server.withAccount("chatgpt").answeringThreads().completingTurnsWith(R"({"transcript":"  Hello, Ada. "})");
    }

    std::optional<std::string> provider;  // a local model provider
    TranscriptCleanupService service{
        scheduler, [this] { return CodexAppServerClient::make({scheduler, server.factory(), host, provider}); }};
};

TEST_F(TranscriptCleanupServiceTest, ACleanupIsOneTurnOfItsOwnChildAndFailuresReachTheCallerInTheirOwnWords) {
    Outcome<std::string> notSignedIn;
    server.withAccount(std::nullopt);
    service.clean("t", "", notSignedIn.sink());
    scheduler.runUntilIdle();
    EXPECT_EQ(notSignedIn.failureText(), "Connect ChatGPT from the live Summary sidebar before using AI cleanup.");
    EXPECT_TRUE(server.requests("thread/start").empty());
    EXPECT_TRUE(server.child().terminated);
    // A local model provider needs no account.
    provider = "http://127.0.0.1:9/v1";
    Outcome<std::string> local;
    service.clean("hello ada", "", local.sink());
    scheduler.runUntilIdle();
    ASSERT_TRUE(local.value && *local.value) << local.failureText();
    EXPECT_EQ(**local.value, "Hello, Ada.");
    EXPECT_EQ(server.requests("turn/start").size(), 1u) << "one turn";
    EXPECT_TRUE(server.child().terminated && server.child().destroyed) << "the child is ended before the answer";
    provider.reset();

    // Every outcome comes later on the executor, a missing executable too.
    host.executables.clear();
    Outcome<std::string> missing;
    service.clean("t", "", missing.sink());
    EXPECT_FALSE(missing.arrived());
    scheduler.runUntilIdle();
    EXPECT_EQ(missing.failureText(), "Codex CLI was not found. Install or update Codex, then try again.");
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
}

}  // namespace
}  // namespace quillon::testing
