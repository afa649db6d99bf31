#include <fstream>

#include "CodexIntegrationSupport.h"

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

TEST_F(AppServerDoubleTest, TheChildIsStartedWithTheRestrictedCommandLineInItsPrivateHome) {
    auto codex = client("normal");
    ASSERT_TRUE(await<void>([&](auto done) { codex->start(done); }));
    codex->stop();
    std::ifstream in(folder.path / "record");
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    const std::vector<std::string> expected{
        "app-server", "-c", "features.web_search=false", "-c", "web_search=\"disabled\"",
        "CODEX_HOME=" + host.vars["HOME"] + "/.local/share/Quillon/CodexHome", "HOME=" + host.vars["HOME"],
        "PATH=" + (folder.path / "bin").string() + ":/usr/local/bin:/usr/bin:/bin:/usr/local/sbin:/usr/sbin:/sbin",
        "QUILLON_DOUBLE_RECORD=" + host.vars["QUILLON_DOUBLE_RECORD"], "QUILLON_DOUBLE_SCENARIO=normal"};
    EXPECT_EQ(lines, expected);
}

TEST_F(AppServerDoubleTest, ScenariosEndInASummaryOrTheirOwnFailure) {
    const std::vector<std::pair<std::string, std::string>> cases{
        {"normal", "# Double summary"},
        {"failed-turn", "!The double failed the turn."},
        {"crash", "!Codex App Server stopped unexpectedly: thread 'main' panicked: the double was told to crash"},
    };
    for (const auto& [scenario, expected] : cases) {
        SCOPED_TRACE(scenario);
        auto codex = client(scenario);
        auto summary = summaryRound(codex);
        EXPECT_EQ(summary ? *summary : "!" + summary.error().description(), expected);
        codex->stop();
    }
}

}  // namespace
}  // namespace quillon::testing
