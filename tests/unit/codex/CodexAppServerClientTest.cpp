#include "CodexClientFixture.h"

namespace quillon::testing {
namespace {

using namespace std::chrono_literals;

class CodexTransportTest : public CodexClientFixture {
protected:
    void SetUp() override { client = startedClient(); }

    // Sends account/read and returns the id it went out under.
    Json askAccount(Outcome<std::optional<std::string>>& outcome) {
        client->accountType(false, outcome.sink());
        scheduler.runUntilIdle();
        return server.lastRequest("account/read")->at("id");
    }

    std::shared_ptr<CodexAppServerClient> client;
};

TEST_F(CodexTransportTest, HandshakeLaunchesTheRestrictedChildAndAnnouncesItself) {
    const auto& child = server.child();
    EXPECT_EQ(child.launch.executable, "/usr/bin/codex");
    ASSERT_GE(child.launch.arguments.size(), 5u);
    EXPECT_EQ(child.launch.arguments[0], "app-server");
    EXPECT_EQ(child.launch.environment.at("PATH").substr(0, 9), "/usr/bin:");

    ASSERT_EQ(server.received.size(), 2u);
    const Json& initialize = server.received[0];
    EXPECT_EQ(initialize["id"], 1);
    EXPECT_FALSE(initialize.contains("jsonrpc"));
    EXPECT_EQ(initialize["params"]["clientInfo"], (Json{{"name", "Quillon"}, {"title", "Quillon"}, {"version", "1.0"}}));
    EXPECT_EQ(initialize["params"]["capabilities"]["experimentalApi"], true);
    EXPECT_EQ(server.received[1], (Json{{"method", "initialized"}, {"params", Json::object()}}));

    Outcome<void> again;
    client->start(again.sink());
    scheduler.runUntilIdle();
    EXPECT_TRUE(again.value->has_value());
    EXPECT_EQ(server.children.size(), 1u) << "a ready client is not started twice";
}

TEST_F(CodexTransportTest, FramingHandlesSplitJoinedAndMalformedLines) {
    Outcome<std::optional<std::string>> first, second;
    const Json firstID = askAccount(first);
    const Json secondID = askAccount(second);

    // Garbage of every kind first: each is dropped and the next line is still read.
    server.emitBytes("\n   \n[1,2]\nnot json\n\"text\"\n\xff\xfe{\"id\":1}\n{\"id\":\n");
    const std::string oversized = "{\"id\":" + std::string(2 << 20, ' ') + "x}\n";  // 2 MB, in pipe-sized reads
    for (std::size_t at = 0; at < oversized.size(); at += 65536) server.emitBytes(oversized.substr(at, 65536));
    scheduler.runUntilIdle();
    EXPECT_FALSE(first.arrived());

    // One response split over three chunks, the second response in the same chunk as its end.
    const std::string one = Json{{"id", firstID}, {"result", {{"account", {{"type", "chatgpt"}}}}}}.dump();
    const std::string two = Json{{"id", secondID}, {"result", {{"account", nullptr}}}}.dump();
    server.emitBytes(one.substr(0, 5));
    server.emitBytes(one.substr(5, 10));
    scheduler.runUntilIdle();
    EXPECT_FALSE(first.arrived());
    server.emitBytes(one.substr(15) + "\r\n" + two + "\n");
    scheduler.runUntilIdle();
    ASSERT_TRUE(first.arrived() && second.arrived());
    EXPECT_EQ(**first.value, "chatgpt");
    EXPECT_EQ(**second.value, std::nullopt) << "a null account is absent, not a failure";
}

TEST_F(CodexTransportTest, ResponsesAreMatchedByIntegerIdOnly) {
    Outcome<std::optional<std::string>> outcome;
    const Json id = askAccount(outcome);
    server.emit(Json{{"id", id.dump()}, {"result", Json::object()}});  // the id as a string
    scheduler.runUntilIdle();
    EXPECT_FALSE(outcome.arrived());

    scheduler.advance(20s);
    ASSERT_TRUE(outcome.arrived());
    EXPECT_EQ(outcome.failureText(), "Codex timed out while waiting for account/read.");

    // The late answer finds nobody and changes nothing; the child keeps serving.
    server.emit(Json{{"id", id}, {"result", Json::object()}});
    scheduler.runUntilIdle();
    Outcome<std::optional<std::string>> next;
    const Json nextID = askAccount(next);
    EXPECT_EQ(nextID, id.get<int>() + 1);
    server.emit(Json{{"id", static_cast<double>(nextID.get<int>())}, {"result", {{"account", nullptr}}}});
    scheduler.runUntilIdle();
    EXPECT_TRUE(next.arrived() && next.value->has_value()) << "an id of 3.0 still converts to an integer";
}

TEST_F(CodexTransportTest, ResponseShapesGiveTheirOutcomes) {
    struct Case {
        const char* name;
        Json body;
        std::optional<std::string> failure;
    };
    const std::vector<Case> cases{
        {"error object", {{"error", {{"message", "Not allowed"}}}}, "Not allowed"},
        {"error with details only", {{"error", {{"additionalDetails", "More"}}}}, "More"},
        {"empty error", {{"error", Json::object()}}, "Codex App Server reported an error."},
        {"empty message taken as is", {{"error", {{"message", ""}, {"additionalDetails", "x"}}}}, ""},
        {"non-string message", {{"error", {{"message", 5}}}}, "Codex App Server reported an error."},
        {"error not an object beside a result", {{"error", "bad"}, {"result", {{"account", nullptr}}}}, std::nullopt},
        {"null result", {{"result", nullptr}}, "Codex returned an unexpected response: empty response"},
        {"array result", {{"result", Json::array()}}, "Codex returned an unexpected response: empty response"},
        {"a request of the child with the same id", {{"method", "item/tool/call"}, {"params", Json::object()}},
         "Codex returned an unexpected response: empty response"},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.name);
        Outcome<std::optional<std::string>> outcome;
        Json message = test.body;
        message["id"] = askAccount(outcome);
        server.emit(message);
        scheduler.runUntilIdle();
        ASSERT_TRUE(outcome.arrived());
        if (test.failure) {
            EXPECT_EQ(outcome.failureText(), *test.failure);
        } else {
            EXPECT_TRUE(outcome.value->has_value());
        }
    }
}

TEST_F(CodexTransportTest, IdsKeepCountingAcrossRestartsAndUnusedWithoutTransport) {
    Outcome<std::optional<std::string>> outcome;
    EXPECT_EQ(askAccount(outcome), 2);
    client->stop();
    scheduler.runUntilIdle();
    EXPECT_EQ(outcome.failureText(), "Codex App Server stopped unexpectedly.");

    // No transport: fails at once, no id is used, nothing is written.
    Outcome<std::optional<std::string>> refused;
    const auto written = server.received.size();
    client->accountType(false, refused.sink());
    scheduler.runUntilIdle();
    EXPECT_EQ(refused.failureText(), "Codex App Server stopped unexpectedly.");
    EXPECT_EQ(server.received.size(), written);

    Outcome<void> restarted;
    client->start(restarted.sink());
    scheduler.runUntilIdle();
    ASSERT_TRUE(restarted.value->has_value());
    EXPECT_EQ(server.children.size(), 2u);
    EXPECT_EQ(server.lastRequest("initialize")->at("id"), 3);
}

TEST_F(CodexTransportTest, ChildDeathFailsEveryWaiterWithTheTailOfStandardError) {
    Outcome<std::optional<std::string>> request;
    askAccount(request);
    Outcome<std::string> turn;
    client->updateSummary("thread-1", "delta", "", std::nullopt, turn.sink());
    scheduler.runUntilIdle();
    server.reply(server.lastRequest("turn/start")->at("id"), Json{{"turn", {{"id", "turn-9"}}}});
    server.emitError("  panic: the model exploded\n\n");
    server.emitBytes("{\"id\":");  // a last line with no newline is never read
    server.exit();
    scheduler.runUntilIdle();

    const std::string expected = "Codex App Server stopped unexpectedly: panic: the model exploded";
    EXPECT_EQ(request.failureText(), expected);
    EXPECT_EQ(turn.failureText(), expected);

    // The client is idle: the next request has no transport.
    Outcome<std::optional<std::string>> after;
    client->accountType(false, after.sink());
    scheduler.runUntilIdle();
    EXPECT_EQ(after.failureText(), "Codex App Server stopped unexpectedly.");
}

TEST_F(CodexTransportTest, StandardErrorKeepsOnlyItsLast8192Bytes) {
    Outcome<std::optional<std::string>> request;
    askAccount(request);
    server.emitError(std::string(810, 'a'));
    server.emitError(std::string(8188, 'b') + "ZZ");  // 9000 bytes in all
    server.exit();
    scheduler.runUntilIdle();
    const std::string text = request.failureText();
    const std::string prefix = "Codex App Server stopped unexpectedly: ";
    ASSERT_EQ(text.size(), prefix.size() + 8192);
    EXPECT_EQ(text.substr(prefix.size(), 3), "aab");
    EXPECT_EQ(text.substr(text.size() - 2), "ZZ");
}

TEST_F(CodexTransportTest, AStandardErrorTailCutInsideACharacterIsNotShown) {
    Outcome<std::optional<std::string>> request;
    askAccount(request);
    server.emitError("\xc3\xa9" + std::string(8191, 'x'));  // the cut falls after the lead byte
    server.exit();
    scheduler.runUntilIdle();
    EXPECT_EQ(request.failureText(), "Codex App Server stopped unexpectedly.");
}

TEST_F(CodexTransportTest, StopFailsEverythingAndIgnoresItsOwnLateTermination) {
    Outcome<std::optional<std::string>> request;
    askAccount(request);
    server.exitOnTerminate = false;
    client->stop();
    client->stop();  // a second stop is harmless
    scheduler.runUntilIdle();
    EXPECT_TRUE(server.child().inputClosed);
    EXPECT_TRUE(server.child().terminated);
    EXPECT_TRUE(server.child().destroyed);
    EXPECT_EQ(request.failureText(), "Codex App Server stopped unexpectedly.");
    EXPECT_EQ(scheduler.pendingCount(), 0u) << "the request's time-out was cancelled";
}

TEST_F(CodexTransportTest, ALateEndOfAnEarlierChildDoesNotTouchTheNextOne) {
    client->stop();
    Outcome<void> restarted;
    client->start(restarted.sink());
    // The first child's end was already on its way when the second one started.
    server.children.front()->handlers.onTermination();
    scheduler.runUntilIdle();
    ASSERT_EQ(server.children.size(), 2u);
    EXPECT_TRUE(restarted.value->has_value()) << restarted.failureText();
    Outcome<std::optional<std::string>> account;
    askAccount(account);
    EXPECT_FALSE(account.arrived()) << "the new child's request still waits for its answer";
}

class CodexStartTest : public CodexClientFixture {};

TEST_F(CodexStartTest, AChildThatExitsAtOnceFailsTheStart) {
    server.silence("initialize");
    auto client = makeClient();
    Outcome<void> started;
    client->start(started.sink());
    scheduler.runUntilIdle();
    server.exit();
    scheduler.runUntilIdle();
    EXPECT_EQ(started.failureText(), "Codex App Server stopped unexpectedly.");
}

TEST_F(CodexStartTest, ASilentChildTimesOutTheHandshake) {
    server.silence("initialize");
    auto client = makeClient();
    Outcome<void> started;
    client->start(started.sink());
    scheduler.runUntilIdle();
    scheduler.advance(19s);
    EXPECT_FALSE(started.arrived());
    scheduler.advance(1s);
    EXPECT_EQ(started.failureText(), "Codex timed out while waiting for initialize.");
    EXPECT_TRUE(server.child().terminated) << "a failed start stops the child";
}

TEST_F(CodexStartTest, ALaunchFailureIsPassedOnInItsOwnWords) {
    server.launchFailure = "Could not start /usr/bin/codex: Permission denied";
    auto client = makeClient();
    Outcome<void> started;
    client->start(started.sink());
    scheduler.runUntilIdle();
    ASSERT_TRUE(started.arrived());
    EXPECT_EQ(started.failureText(), "Could not start /usr/bin/codex: Permission denied");
    EXPECT_EQ((*started.value).error().appServerError(), nullptr);
}

TEST_F(CodexStartTest, AFailedWriteIsPassedOnAndNothingStaysPending) {
    auto client = startedClient();
    server.writeFailure = "Broken pipe";
    Outcome<std::optional<std::string>> outcome;
    client->accountType(false, outcome.sink());
    scheduler.runUntilIdle();
    EXPECT_EQ(outcome.failureText(), "Broken pipe");
    EXPECT_EQ(scheduler.pendingCount(), 0u);
}

TEST_F(CodexStartTest, MissingExecutableMakesNoClient) {
    host.executables.clear();
    auto made = CodexAppServerClient::make({scheduler, server.factory(), host});
    ASSERT_FALSE(made.has_value());
    EXPECT_EQ(made.error().description(), "Codex CLI was not found. Install or update Codex, then try again.");
}

TEST_F(CodexStartTest, ADroppedClientIgnoresItsChildAndTimers) {
    auto client = startedClient();
    Outcome<std::optional<std::string>> outcome;
    client->accountType(false, outcome.sink());
    scheduler.runUntilIdle();
    std::weak_ptr<CodexAppServerClient> weak = client;
    client.reset();
    // The pending request keeps nothing alive from the outside; the child's events find nobody.
    server.emitError("late");
    server.exit();
    scheduler.advance(30s);
    EXPECT_TRUE(weak.expired());
    EXPECT_FALSE(outcome.arrived()) << "a destroyed client calls no completion";
}

}  // namespace
}  // namespace quillon::testing
