#include "CodexClientFixture.h"
#include "core/codex/CodexPrompts.h"

namespace quillon::testing {
namespace {

using namespace std::chrono_literals;

Json turnCompleted(const std::string& id, Json turnFields = Json::object()) {
    Json turn = std::move(turnFields);
    turn["id"] = id;
    return Json{{"method", "turn/completed"}, {"params", {{"threadId", "thread-1"}, {"turn", turn}}}};
}

Json agentMessage(const std::string& text) { return Json{{"type", "agentMessage"}, {"text", text}}; }

class CodexTurnTest : public CodexClientFixture {
protected:
    void SetUp() override { client = startedClient(); }

    // Starts a summary turn; the child answers turn/start with `turnID` and, if given, `before`
    // goes out just ahead of that answer.
    void startSummary(Outcome<std::string>& outcome, const std::string& turnID = "turn-1",
                      std::optional<Json> before = std::nullopt, std::optional<std::string> existing = std::nullopt) {
        client->updateSummary("thread-1", "new words", "context", existing, outcome.sink());
        scheduler.runUntilIdle();
        if (before) server.emit(*before);
        server.reply(server.lastRequest("turn/start")->at("id"), Json{{"turn", {{"id", turnID}}}});
        scheduler.runUntilIdle();
    }

    std::shared_ptr<CodexAppServerClient> client;
};

TEST_F(CodexTurnTest, TurnStartCarriesTheRestrictionsAndTheSchema) {
    Outcome<std::string> outcome;
    startSummary(outcome);
    const Json params = server.lastRequest("turn/start")->at("params");
    EXPECT_EQ(params["threadId"], "thread-1");
    EXPECT_EQ(params["model"], "gpt-5.6-luna");
    EXPECT_EQ(params["approvalPolicy"], "never");
    EXPECT_EQ(params["effort"], "low");
    EXPECT_EQ(params["sandboxPolicy"], (Json{{"type", "readOnly"}, {"networkAccess", false}}));
    EXPECT_EQ(params["outputSchema"], (Json{{"type", "object"},
                                            {"properties", {{"markdown", {{"type", "string"}}}}},
                                            {"required", {"markdown"}},
                                            {"additionalProperties", false}}));
    ASSERT_EQ(params["input"].size(), 1u);
    EXPECT_EQ(params["input"][0]["type"], "text");
    EXPECT_EQ(params["input"][0]["text"],
              CodexPrompts::summaryPrompt("new words", "context", std::nullopt));
}

TEST_F(CodexTurnTest, ACompletionBeforeTheTurnStartResponseIsParked) {
    Outcome<std::string> outcome;
    startSummary(outcome, "turn-1",
                 turnCompleted("turn-1", {{"status", "completed"}, {"items", {agentMessage(R"({"markdown":"# Early"})")}}}));
    ASSERT_TRUE(outcome.arrived());
    EXPECT_EQ(**outcome.value, "# Early");
    EXPECT_EQ(scheduler.pendingCount(), 0u);
}

TEST_F(CodexTurnTest, AgentMessagesFromItemCompletedFillAnEmptyTurn) {
    Outcome<std::string> outcome;
    startSummary(outcome, "turn-7");
    server.emit(Json{{"method", "item/completed"},
                     {"params", {{"threadId", "thread-1"}, {"turnId", "turn-7"}, {"item", agentMessage(R"({"markdown":"A"})")}}}});
    server.emit(Json{{"method", "item/completed"},
                     {"params", {{"turnId", "turn-7"}, {"item", {{"type", "reasoning"}, {"text", "hmm"}}}}}});
    server.emit(Json{{"method", "item/completed"},
                     {"params", {{"turnId", "other"}, {"item", agentMessage(R"({"markdown":"wrong turn"})")}}}});
    server.emit(turnCompleted("turn-7", {{"status", "completed"}, {"items", Json::array()}}));
    scheduler.runUntilIdle();
    ASSERT_TRUE(outcome.arrived());
    EXPECT_EQ(**outcome.value, "A");

    // A turn that carries its own items keeps them.
    Outcome<std::string> second;
    startSummary(second, "turn-8");
    server.emit(Json{{"method", "item/completed"},
                     {"params", {{"turnId", "turn-8"}, {"item", agentMessage(R"({"markdown":"streamed"})")}}}});
    server.emit(turnCompleted("turn-8", {{"items", {agentMessage(R"({"markdown":"final"})")}}}));
    scheduler.runUntilIdle();
    EXPECT_EQ(**second.value, "final");
}

TEST_F(CodexTurnTest, StreamedMessagesAreKeptForALimitedNumberOfTurns) {
    const auto deliver = [&](const std::string& turnID, const std::string& markdown) {
        server.emit(Json{{"method", "item/completed"},
                         {"params", {{"turnId", turnID}, {"item", agentMessage(R"({"markdown":")" + markdown + "\"}")}}}});
    };
    for (int i = 0; i <= 64; ++i) deliver("stream-" + std::to_string(i), "m" + std::to_string(i));
    deliver("stream-64", "last word");  // a later message of the same turn replaces the earlier
    scheduler.runUntilIdle();

    Outcome<std::string> oldest, newest;
    startSummary(oldest, "stream-0");
    server.emit(turnCompleted("stream-0", {{"items", Json::array()}}));
    startSummary(newest, "stream-64");
    server.emit(turnCompleted("stream-64", {{"items", Json::array()}}));
    scheduler.runUntilIdle();
    EXPECT_EQ(oldest.failureText(), "Codex returned an unexpected response: missing summary") << "forgotten";
    EXPECT_EQ(**newest.value, "last word");
}

TEST_F(CodexTurnTest, TurnOutcomesFromTheCompletion) {
    struct Case {
        const char* name;
        Json turn;
        std::string expected;  // the Markdown, or the failure's text after "!"
    };
    const std::vector<Case> cases{
        {"failed with a message", {{"status", "failed"}, {"error", {{"message", "Quota reached"}}}}, "!Quota reached"},
        {"failed with an empty error", {{"status", "failed"}, {"error", Json::object()}},
         "!Codex App Server reported an error."},
        {"failed with no error object", {{"status", "failed"}, {"error", "x"}}, "!Codex App Server reported an error."},
        {"interrupted without a message", {{"status", "interrupted"}, {"items", Json::array()}},
         "!Codex returned an unexpected response: missing summary"},
        {"items not an array of objects", {{"items", {agentMessage(R"({"markdown":"x"})"), 3}}},
         "!Codex returned an unexpected response: missing summary"},
        {"agent message without text", {{"items", {{{"type", "agentMessage"}}}}},
         "!Codex returned an unexpected response: missing summary"},
        {"plan after the agent message",
         {{"items", {agentMessage(R"({"markdown":"kept"})"), {{"type", "plan"}, {"text", "{}"}}}}}, "kept"},
        {"the last of two agent messages wins even when broken",
         {{"items", {agentMessage(R"({"markdown":"first"})"), agentMessage("not json")}}},
         "!Codex returned an unexpected response: response did not contain valid markdown output"},
        {"blanks around the reply and the value", {{"items", {agentMessage(" \n{\"markdown\": \"  x \\n \"}\n ")}}}, "x"},
        {"an empty object", {{"items", {agentMessage("{}")}}},
         "!Codex returned an unexpected response: response did not contain valid markdown output"},
        {"a number", {{"items", {agentMessage(R"({"markdown": 4})")}}},
         "!Codex returned an unexpected response: response did not contain valid markdown output"},
        {"blank Markdown is accepted", {{"items", {agentMessage(R"({"markdown":"   "})")}}}, ""},
    };
    int turn = 0;
    for (const auto& test : cases) {
        SCOPED_TRACE(test.name);
        const std::string id = "turn-" + std::to_string(++turn);
        Outcome<std::string> outcome;
        startSummary(outcome, id);
        server.emit(turnCompleted(id, test.turn));
        scheduler.runUntilIdle();
        ASSERT_TRUE(outcome.arrived());
        if (test.expected.starts_with("!")) {
            EXPECT_EQ(outcome.failureText(), test.expected.substr(1));
        } else {
            ASSERT_TRUE(outcome.value->has_value()) << outcome.failureText();
            EXPECT_EQ(**outcome.value, test.expected);
        }
    }
    EXPECT_TRUE(server.requests("turn/interrupt").empty()) << "only a time-out interrupts";
}

TEST_F(CodexTurnTest, ATimedOutTurnIsInterruptedAndItsLateCompletionSwallowedOnce) {
    Outcome<std::string> outcome;
    startSummary(outcome, "turn-1");
    scheduler.advance(89s);
    EXPECT_FALSE(outcome.arrived());
    scheduler.advance(1s);
    auto interrupt = server.lastRequest("turn/interrupt");
    ASSERT_TRUE(interrupt.has_value());
    EXPECT_EQ(interrupt->at("params"), (Json{{"threadId", "thread-1"}, {"turnId", "turn-1"}}));
    EXPECT_FALSE(outcome.arrived()) << "the caller waits for the interrupt's answer";
    server.replyError(interrupt->at("id"), Json{{"message", "no such turn"}});
    scheduler.runUntilIdle();
    EXPECT_EQ(outcome.failureText(), "Codex timed out while updating the summary.");

    const Json late = turnCompleted("turn-1", {{"items", {agentMessage(R"({"markdown":"late"})")}}});
    server.emit(late);  // swallowed
    server.emit(late);  // parked like any unknown turn
    scheduler.runUntilIdle();
    Outcome<std::string> reused;
    startSummary(reused, "turn-1");
    ASSERT_TRUE(reused.arrived());
    EXPECT_EQ(**reused.value, "late");
}

TEST_F(CodexTurnTest, AParkedResultIsReplacedByALaterOne) {
    server.emit(turnCompleted("turn-1", {{"items", {agentMessage(R"({"markdown":"old"})")}}}));
    server.emit(turnCompleted("turn-1", {{"items", {agentMessage(R"({"markdown":"new"})")}}}));
    scheduler.runUntilIdle();
    Outcome<std::string> outcome;
    startSummary(outcome, "turn-1");
    EXPECT_EQ(**outcome.value, "new");
}

TEST_F(CodexTurnTest, AChildThatReusesATurnIdLeavesNobodyWaiting) {
    Outcome<std::string> first, second;
    startSummary(first, "same");
    startSummary(second, "same");
    EXPECT_EQ(first.failureText(), "Codex returned an unexpected response: missing turn identifier");
    server.emit(turnCompleted("same", {{"items", {agentMessage(R"({"markdown":"second"})")}}}));
    scheduler.runUntilIdle();
    EXPECT_EQ(**second.value, "second");
    EXPECT_EQ(scheduler.pendingCount(), 0u);
}

TEST_F(CodexTurnTest, TurnStartWithoutATurnIdFailsAtOnce) {
    Outcome<std::string> outcome;
    client->updateSummary("thread-1", "d", "", std::nullopt, outcome.sink());
    scheduler.runUntilIdle();
    server.reply(server.lastRequest("turn/start")->at("id"), Json{{"turn", {{"id", 5}}}});
    scheduler.runUntilIdle();
    EXPECT_EQ(outcome.failureText(), "Codex returned an unexpected response: missing turn identifier");
}

TEST_F(CodexTurnTest, CleanupTurnsAskForATranscriptAndRefuseAnEmptyOne) {
    const std::vector<std::pair<std::string, std::string>> cases{
        {R"({"transcript":"  Hello there.  "})", "Hello there."},
        {R"({"transcript":" \n "})", "!Codex returned an unexpected response: cleaned transcript was empty"},
        {R"({"markdown":"x"})", "!Codex returned an unexpected response: response did not contain valid transcript output"},
    };
    int turn = 0;
    for (const auto& [reply, expected] : cases) {
        SCOPED_TRACE(reply);
        Outcome<std::string> outcome;
        client->cleanTranscript("thread-c", "hello there", "names: none", outcome.sink());
        scheduler.runUntilIdle();
        const Json request = *server.lastRequest("turn/start");
        EXPECT_EQ(request["params"]["outputSchema"]["required"], Json::array({"transcript"}));
        const std::string id = "c-" + std::to_string(++turn);
        server.reply(request["id"], Json{{"turn", {{"id", id}}}});
        server.emit(turnCompleted(id, {{"items", {agentMessage(reply)}}}));
        scheduler.runUntilIdle();
        ASSERT_TRUE(outcome.arrived());
        if (expected.starts_with("!")) {
            EXPECT_EQ(outcome.failureText(), expected.substr(1));
        } else {
            EXPECT_EQ(**outcome.value, expected);
        }
    }
    // No agent message names the cleanup's own failure.
    Outcome<std::string> outcome;
    client->cleanTranscript("thread-c", "t", "", outcome.sink());
    scheduler.runUntilIdle();
    server.reply(server.lastRequest("turn/start")->at("id"), Json{{"turn", {{"id", "c-empty"}}}});
    server.emit(turnCompleted("c-empty", {{"items", Json::array()}}));
    scheduler.runUntilIdle();
    EXPECT_EQ(outcome.failureText(), "Codex returned an unexpected response: missing cleaned transcript");
}

TEST_F(CodexTurnTest, AccountLoginAndThreadsReadTheirResults) {
    Outcome<std::string> login;
    client->beginChatGPTLogin(login.sink());
    scheduler.runUntilIdle();
    Json request = *server.lastRequest("account/login/start");
    EXPECT_EQ(request["params"], (Json{{"type", "chatgpt"},
                                       {"appBrand", "chatgpt"},
                                       {"useHostedLoginSuccessPage", true},
                                       {"codexStreamlinedLogin", true}}));
    server.reply(request["id"], Json{{"authUrl", "https://auth.example.invalid/authorize?x=1"}});
    scheduler.runUntilIdle();
    EXPECT_EQ(**login.value, "https://auth.example.invalid/authorize?x=1");

    for (const Json& bad : {Json{{"authUrl", "not a url"}}, Json{{"authUrl", 3}}, Json::object()}) {
        Outcome<std::string> failed;
        client->beginChatGPTLogin(failed.sink());
        scheduler.runUntilIdle();
        server.reply(server.lastRequest("account/login/start")->at("id"), bad);
        scheduler.runUntilIdle();
        EXPECT_EQ(failed.failureText(), "Codex returned an unexpected response: missing sign-in URL");
    }

    Outcome<std::string> thread;
    client->startTranscriptCleanupThread(thread.sink());
    scheduler.runUntilIdle();
    request = *server.lastRequest("thread/start");
    EXPECT_EQ(request["params"]["serviceName"], "quillon_transcript_cleanup");
    EXPECT_EQ(request["params"]["sandbox"], "read-only");
    EXPECT_EQ(request["params"]["ephemeral"], true);
    EXPECT_EQ(request["params"]["baseInstructions"], CodexPrompts::cleanupBaseInstructions());
    EXPECT_EQ(request["params"]["cwd"], home() + "/.local/share/Quillon/SummaryWorkspace");
    server.reply(request["id"], Json{{"thread", {{"id", 12}}}});
    scheduler.runUntilIdle();
    EXPECT_EQ(thread.failureText(), "Codex returned an unexpected response: missing thread identifier");
}

}  // namespace
}  // namespace quillon::testing
