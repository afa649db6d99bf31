#include "CodexClientFixture.h"

namespace quillon::testing {
namespace {

using namespace std::chrono_literals;

Json turnCompleted(const std::string& id, Json turn) {
    turn["id"] = id;
    return Json{{"method", "turn/completed"}, {"params", {{"threadId", "thread-1"}, {"turn", turn}}}};
}

Json agentMessage(const std::string& text) { return Json{{"type", "agentMessage"}, {"text", text}}; }

Json itemCompleted(const std::string& turnID, Json item) {
    return Json{{"method", "item/completed"}, {"params", {{"turnId", turnID}, {"item", std::move(item)}}}};
}

class CodexTurnTest : public CodexClientFixture {
protected:
    void SetUp() override { client = startedClient(); }

    // Starts a summary turn; the child answers turn/start with `turnID`, `before` going out just ahead.
    void startSummary(Outcome<std::string>& outcome, const std::string& turnID, std::optional<Json> before = {}) {
        client->updateSummary("thread-1", "new words", "context", std::nullopt, outcome.sink());
        scheduler.runUntilIdle();
        if (before) server.emit(*before);
        server.reply(server.lastRequest("turn/start")->at("id"), Json{{"turn", {{"id", turnID}}}});
        scheduler.runUntilIdle();
    }

    std::shared_ptr<CodexAppServerClient> client;
};

TEST_F(CodexTurnTest, EveryThreadAndEveryTurnIsLockedDown) {
    server.answeringThreads();
    Outcome<std::string> summaryThread, cleanupThread, summary, cleanup;
    client->startSummaryThread(summaryThread.sink());
    client->startTranscriptCleanupThread(cleanupThread.sink());
    client->updateSummary("thread-1", "words", "", std::nullopt, summary.sink());
    client->cleanTranscript("thread-2", "words", "", cleanup.sink());
    scheduler.runUntilIdle();

    const std::string workspace = host.vars["HOME"] + "/.local/share/Quillon/SummaryWorkspace";
    const std::vector<std::pair<std::string, Json>> threadRules{
        {"sandbox", "read-only"}, {"approvalPolicy", "never"}, {"ephemeral", true}, {"cwd", workspace}};
    const Json turnSandbox{{"type", "readOnly"}, {"networkAccess", false}};
    const std::vector<std::pair<std::string, Json>> turnRules{{"approvalPolicy", "never"}, {"sandboxPolicy", turnSandbox}};
    const auto check = [&](const std::string& method, const auto& rules) {
        const auto sent = server.requests(method);
        ASSERT_EQ(sent.size(), 2u) << method;
        for (const Json& request : sent) {
            for (const auto& [key, value] : rules) EXPECT_EQ(request["params"].value(key, Json()), value) << method << " " << key;
        }
    };
    check("thread/start", threadRules);
    check("turn/start", turnRules);
}

TEST_F(CodexTurnTest, ACompletionBeforeTheTurnStartResponseIsParked) {
    Outcome<std::string> outcome;
    startSummary(outcome, "turn-1", turnCompleted("turn-1", {{"items", {agentMessage(R"({"markdown":"# Early"})")}}}));
    ASSERT_TRUE(outcome.arrived());
    EXPECT_EQ(**outcome.value, "# Early");
    EXPECT_EQ(scheduler.pendingCount(), 0u);
}

TEST_F(CodexTurnTest, AgentMessagesFromItemCompletedFillAnEmptyTurn) {
    Outcome<std::string> outcome;
    startSummary(outcome, "turn-7");
    server.emit(itemCompleted("turn-7", agentMessage(R"({"markdown":"A"})")));
    server.emit(itemCompleted("turn-7", {{"type", "reasoning"}, {"text", "hmm"}}));
    server.emit(itemCompleted("other", agentMessage(R"({"markdown":"wrong turn"})")));
    server.emit(turnCompleted("turn-7", {{"status", "completed"}, {"items", Json::array()}}));
    scheduler.runUntilIdle();
    EXPECT_EQ(**outcome.value, "A");

    // A turn that carries its own items keeps them.
    Outcome<std::string> second;
    startSummary(second, "turn-8");
    server.emit(itemCompleted("turn-8", agentMessage(R"({"markdown":"streamed"})")));
    server.emit(turnCompleted("turn-8", {{"items", {agentMessage(R"({"markdown":"final"})")}}}));
    scheduler.runUntilIdle();
    EXPECT_EQ(**second.value, "final");
}

TEST_F(CodexTurnTest, TurnOutcomesFromTheCompletion) {
    const std::string invalid = "!Codex returned an unexpected response: response did not contain valid markdown output";
    const std::string missing = "!Codex returned an unexpected response: missing summary";
    const std::vector<std::pair<Json, std::string>> cases{
        // the Markdown, or the failure after "!"
        {{{"status", "failed"}, {"error", "x"}}, "!Codex App Server reported an error."},
        {{{"items", {agentMessage(R"({"markdown":"x"})"), 3}}}, missing},
        {{{"items", {agentMessage(R"({"markdown":"kept"})"), {{"type", "plan"}, {"text", "{}"}}}}}, "kept"},
        {{{"items", {agentMessage(" \n{\"markdown\": \"  x \\n \"}\n ")}}}, "x"},
        {{{"items", {agentMessage(R"({"markdown": 4})")}}}, invalid},
    };
    int turn = 0;
    for (const auto& [completion, expected] : cases) {
        SCOPED_TRACE(completion.dump());
        const std::string id = "turn-" + std::to_string(++turn);
        Outcome<std::string> outcome;
        startSummary(outcome, id);
        server.emit(turnCompleted(id, completion));
        scheduler.runUntilIdle();
        ASSERT_TRUE(outcome.arrived());
        if (expected.starts_with("!")) {
            EXPECT_EQ(outcome.failureText(), expected.substr(1));
        } else {
            ASSERT_TRUE(outcome.value->has_value()) << outcome.failureText();
            EXPECT_EQ(**outcome.value, expected);
        }
    }
}

TEST_F(CodexTurnTest, ATimedOutTurnIsInterruptedAndItsLateCompletionDiscardedOnce) {
    Outcome<std::string> outcome;
    startSummary(outcome, "turn-1");
    scheduler.advance(89s);
    EXPECT_TRUE(server.requests("turn/interrupt").empty());
    scheduler.advance(1s);
    auto interrupt = server.lastRequest("turn/interrupt");
    ASSERT_TRUE(interrupt.has_value());
    EXPECT_EQ(interrupt->at("params"), (Json{{"threadId", "thread-1"}, {"turnId", "turn-1"}}));
    EXPECT_FALSE(outcome.arrived()) << "the caller waits for the interrupt's answer";
    server.emit(Json{{"id", interrupt->at("id")}, {"error", {{"message", "no such turn"}}}});
    scheduler.runUntilIdle();
    EXPECT_EQ(outcome.failureText(), "Codex timed out while updating the summary.");

    const Json late = turnCompleted("turn-1", {{"items", {agentMessage(R"({"markdown":"late"})")}}});
    server.emit(late);  // discarded
    server.emit(late);  // parked like any unknown turn
    scheduler.runUntilIdle();
    Outcome<std::string> reused;
    startSummary(reused, "turn-1");
    EXPECT_EQ(**reused.value, "late");
}

}  // namespace
}  // namespace quillon::testing
