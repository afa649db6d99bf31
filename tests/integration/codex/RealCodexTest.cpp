#include <fstream>

#include "CodexIntegrationSupport.h"
#include "LocalResponsesServer.h"

namespace quillon::testing {
namespace {

// The real `codex app-server` from npm, under a private HOME and CODEX_HOME, with no network but
// the loopback: either the stock configuration (nothing reachable, signed out) or a local model
// provider served by this suite.
class RealCodexTest : public ::testing::Test {
protected:
    void SetUp() override {
        const std::filesystem::path npmBin(QUILLON_CODEX_NPM_BIN);
        if (!std::filesystem::exists(npmBin)) {
            GTEST_SKIP() << "the codex CLI is not installed at " << npmBin << " (run scripts/setup --tests)";
        }
        const auto home = folder.path / "home";
        std::filesystem::create_directories(home / ".codex");
        const auto workspaceParent = folder.path / "data";
        host.allowed = {npmBin.parent_path().string()};
        host.vars = {{"HOME", home.string()},
                     {"CODEX_HOME", (home / ".codex").string()},
                     {"XDG_DATA_HOME", workspaceParent.string()},
                     {"PATH", npmBin.parent_path().string() + ":/usr/local/bin:/usr/bin:/bin"},
                     {"LANG", "C.UTF-8"}};
    }

    void useLocalProvider() {
        std::ofstream(folder.path / "home/.codex/config.toml")
            << "model_provider = \"quillon_local\"\n"
               "[model_providers.quillon_local]\n"
               "name = \"Quillon local\"\n"
               "base_url = \"http://127.0.0.1:"
            << provider.port()
            << "/v1\"\n"
               "wire_api = \"responses\"\n"
               "request_max_retries = 0\n"
               "stream_max_retries = 0\n"
               "supports_websockets = false\n";
    }

    std::shared_ptr<CodexAppServerClient> startedClient() {
        auto made = CodexAppServerClient::make({queue, ChildProcessPosix::factory(), host});
        EXPECT_TRUE(made.has_value());
        if (!made) return nullptr;
        auto client = *made;
        auto started = await<void>([&](auto done) { client->start(done); });
        EXPECT_TRUE(started) << failureText(started);
        return client;
    }

    void TearDown() override {
        if (codex) codex->stop();
        drain(queue);
    }

    TestFolder folder;
    IsolatedHost host;
    LocalResponsesServer provider;
    SerialQueue queue{"com.lanternmoth.Quillon.codex-real"};
    std::shared_ptr<CodexAppServerClient> codex;
};

TEST_F(RealCodexTest, ASignedOutUserGetsASignInAddressAndAThread) {
    codex = startedClient();
    ASSERT_TRUE(codex);
    auto account = await<std::optional<std::string>>([&](auto done) { codex->accountType(false, done); });
    ASSERT_TRUE(account) << failureText(account);
    EXPECT_EQ(*account, std::nullopt);

    auto url = await<std::string>([&](auto done) { codex->beginChatGPTLogin(done); });
    ASSERT_TRUE(url) << failureText(url);
    EXPECT_TRUE(url->starts_with("https://")) << *url;

    auto thread = await<std::string>([&](auto done) { codex->startSummaryThread(done); });
    ASSERT_TRUE(thread) << failureText(thread);
    EXPECT_FALSE(thread->empty());
    EXPECT_TRUE(std::filesystem::is_directory(folder.path / "data/Quillon/SummaryWorkspace"));
}

TEST_F(RealCodexTest, WholeTurnsThroughALocalModelProvider) {
    useLocalProvider();
    codex = startedClient();
    ASSERT_TRUE(codex);
    auto summaryThread = await<std::string>([&](auto done) { codex->startSummaryThread(done); });
    ASSERT_TRUE(summaryThread) << failureText(summaryThread);

    provider.setReply(R"({"markdown":"  # Standup\n\n- Ada ships the parser  "})");
    auto summary = await<std::string>(
        [&](auto done) { codex->updateSummary(*summaryThread, "Ada said she ships the parser.", "Team: Ada", "", done); });
    ASSERT_TRUE(summary) << failureText(summary);
    EXPECT_EQ(*summary, "# Standup\n\n- Ada ships the parser");
    EXPECT_NE(provider.lastRequestBody().find("Ada said she ships the parser."), std::string::npos);

    // Replies that are not the structured result, and a failed response.
    provider.setReply("Sure! Here is your summary: # Standup");
    auto broken = await<std::string>([&](auto done) { codex->updateSummary(*summaryThread, "more", "", std::nullopt, done); });
    EXPECT_EQ(failureText(broken), "Codex returned an unexpected response: response did not contain valid markdown output");

    provider.failWith("The local model crashed");
    auto failed = await<std::string>([&](auto done) { codex->updateSummary(*summaryThread, "more", "", std::nullopt, done); });
    ASSERT_FALSE(failed);
    EXPECT_NE(failureText(failed).find("The local model crashed"), std::string::npos) << failureText(failed);
}

}  // namespace
}  // namespace quillon::testing
