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

TEST_F(CodexTransportTest, ARequestTimesOutAfterTwentySecondsAndItsLateAnswerIsIgnored) {
    Outcome<std::optional<std::string>> outcome;
    const Json id = askAccount(outcome);
    server.emit(Json{{"id", id.dump()}, {"result", Json::object()}});  // the id as a string matches nothing
    scheduler.advance(19s);
    EXPECT_FALSE(outcome.arrived());
    scheduler.advance(1s);
    EXPECT_EQ(outcome.failureText(), "Codex timed out while waiting for account/read.");

    server.emit(Json{{"id", id}, {"result", Json::object()}});
    Outcome<std::optional<std::string>> next;
    const Json nextID = askAccount(next);
    server.emit(Json{{"id", nextID}, {"result", {{"account", nullptr}}}});
    scheduler.runUntilIdle();
    EXPECT_TRUE(next.arrived() && next.value->has_value()) << "the child keeps serving";
}

TEST_F(CodexTransportTest, ChildDeathFailsEveryWaiterWithTheTailOfStandardError) {
    const std::string prefix = "Codex App Server stopped unexpectedly";
    struct Case {
        std::vector<std::string> stderrChunks;
        std::string expected;
    };
    const std::vector<Case> cases{
        {{std::string(810, 'a'), std::string(8188, 'b') + "ZZ"}, prefix + ": aa" + std::string(8188, 'b') + "ZZ"},
        {{"\xc3\xa9" + std::string(8191, 'x')}, prefix + "."},  // the cut falls inside a character
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.expected.substr(0, 60));
        Outcome<std::optional<std::string>> request;
        askAccount(request);
        Outcome<std::string> turn;
        client->updateSummary("thread-1", "delta", "", std::nullopt, turn.sink());
        scheduler.runUntilIdle();
        server.reply(server.lastRequest("turn/start")->at("id"), Json{{"turn", {{"id", "turn-9"}}}});
        for (const auto& chunk : test.stderrChunks) server.emitError(chunk);
        server.emitBytes("{\"id\":");  // a last line with no newline is never read
        server.exit();
        scheduler.runUntilIdle();
        EXPECT_EQ(request.failureText(), test.expected);
        EXPECT_EQ(turn.failureText(), test.expected);
        EXPECT_EQ(scheduler.pendingCount(), 0u) << "the time-outs are cancelled";
        client = startedClient();
    }
}

TEST_F(CodexTransportTest, ALateEndOfAnEarlierChildDoesNotTouchTheNextOne) {
    client->stop();
    Outcome<void> restarted;
    client->start(restarted.sink());
    server.children.front()->handlers.onTermination();
    scheduler.runUntilIdle();
    EXPECT_TRUE(restarted.value->has_value()) << restarted.failureText();
    Outcome<std::optional<std::string>> account;
    askAccount(account);
    EXPECT_FALSE(account.arrived()) << "the new child's request still waits for its answer";
}

}  // namespace
}  // namespace quillon::testing
