#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "core/codex/CodexExecutableLocator.h"
#include "core/codex/CodexPrompts.h"
#include "fakes/FakeHostEnvironment.h"

namespace quillon::testing {
namespace {

namespace fs = std::filesystem;

class CodexLaunchTest : public ::testing::Test {
protected:
    CodexLaunchTest() : root(fs::path(::testing::TempDir()) / (std::string("quillon-launch-") + ::testing::UnitTest::GetInstance()->current_test_info()->name())) {
        fs::remove_all(root);
        fs::create_directories(root / "home/.codex");
        host.vars = {{"HOME", (root / "home").string()}, {"PATH", "/opt/a:/opt/b"}};
    }
    ~CodexLaunchTest() override { fs::remove_all(root); }

    void writeConfig(const std::string& text, const fs::path& where = {}) {
        std::ofstream(where.empty() ? root / "home/.codex/config.toml" : where, std::ios::binary) << text;
    }

    std::vector<std::string> switches() const {
        auto arguments = CodexExecutableLocator(host).restrictedAppServerArguments();
        return {arguments.begin() + 5, arguments.end()};
    }

    fs::path root;
    FakeHostEnvironment host;
};

TEST_F(CodexLaunchTest, CandidatesComeInOrderAndTheFirstExecutableWins) {
    host.vars["PATH"] = ":/a::/b:";
    host.vars["NPM_CONFIG_PREFIX"] = "/npm";
    const std::string home = host.vars["HOME"];
    const std::vector<std::string> expected{home + "/.local/bin/codex", "/usr/local/bin/codex", "/usr/bin/codex",
                                            "/npm/bin/codex", "/a/codex", "/b/codex"};
    EXPECT_EQ(CodexExecutableLocator(host).candidates(), expected);

    CodexExecutableLocator locator(host);
    EXPECT_FALSE(locator.isExecutableAvailable());
    host.executables = {"/a/codex", "/usr/local/bin/codex"};
    EXPECT_EQ(locator.findExecutable(), "/usr/local/bin/codex");
    host.executables = {"/b/codex"};
    EXPECT_EQ(locator.findExecutable(), "/b/codex");
}

TEST_F(CodexLaunchTest, NpmPrefixComesFromTheUsersNpmrc) {
    std::ofstream(root / "home/.npmrc") << "registry=https://example.invalid/\n prefix = ~/.npm-global \n";
    const auto candidates = CodexExecutableLocator(host).candidates();
    EXPECT_EQ(candidates[3], (root / "home/.npm-global/bin/codex").string());
}

TEST_F(CodexLaunchTest, TheChildsPathStartsWithTheExecutablesFolderOnce) {
    host.vars["PATH"] = ":/opt/tools::/usr/bin:";
    host.vars["LANG"] = "C.UTF-8";
    const auto environment = CodexExecutableLocator(host).processEnvironment("/usr/local/bin/codex");
    EXPECT_EQ(environment.at("PATH"), "/usr/local/bin:/usr/bin:/bin:/usr/local/sbin:/usr/sbin:/sbin:/opt/tools");
    EXPECT_EQ(environment.at("LANG"), "C.UTF-8") << "everything else is inherited";

    host.vars.erase("PATH");
    EXPECT_EQ(CodexExecutableLocator(host).processEnvironment("/x/codex").at("PATH"),
              "/x:/usr/local/bin:/usr/bin:/bin:/usr/local/sbin:/usr/sbin:/sbin");
}

TEST_F(CodexLaunchTest, TheBaseCommandLineTurnsWebSearchOff) {
    const std::vector<std::string> base{"app-server", "-c", "features.web_search=false", "-c", "web_search=\"disabled\""};
    EXPECT_EQ(CodexExecutableLocator(host).restrictedAppServerArguments(), base) << "no config file";
    writeConfig("");
    EXPECT_EQ(CodexExecutableLocator(host).restrictedAppServerArguments(), base);
    writeConfig("[mcp_servers.docs]\ncommand = \"x\"\n\xff\n");
    EXPECT_EQ(CodexExecutableLocator(host).restrictedAppServerArguments(), base) << "not UTF-8";
    fs::remove(root / "home/.codex/config.toml");
    fs::create_directories(root / "home/.codex/config.toml/[mcp_servers.x]");
    EXPECT_EQ(CodexExecutableLocator(host).restrictedAppServerArguments(), base) << "unreadable: a folder";
}

TEST_F(CodexLaunchTest, ToolServersAndPluginsOfTheConfigAreSwitchedOff) {
    writeConfig(
        "model = \"o\"\n"
        "[mcp_servers.zeta]\ncommand = \"z\"\n"
        "[mcp_servers.docs]\n[mcp_servers.docs.env]\n[mcp_servers.docs.tools]\n"
        "[plugins.\"a.b\"]\n"
        "  [mcp_servers.indented]\n"
        "[mcp_serversx.a]\n[other.plugins.a]\n"
        "mcp_servers = { inline = { command = \"i\" } }\n"
        "notes = \"\"\"\n[plugins.instring]\n\"\"\"\n");
    const std::vector<std::string> expected{"-c", "mcp_servers.docs.enabled=false", "-c",
                                            "mcp_servers.zeta.enabled=false", "-c", "plugins.\"a.b\".enabled=false",
                                            "-c", "plugins.instring.enabled=false"};
    EXPECT_EQ(switches(), expected);
}

TEST_F(CodexLaunchTest, CodexHomeNamesTheConfigTheChildReads) {
    fs::create_directories(root / "codex-home");
    writeConfig("[plugins.private]\n", root / "codex-home/config.toml");
    writeConfig("[plugins.ignored]\n");
    host.vars["CODEX_HOME"] = (root / "codex-home").string();
    EXPECT_EQ(switches(), (std::vector<std::string>{"-c", "plugins.private.enabled=false"}));
}

TEST_F(CodexLaunchTest, TheWorkspaceIsAPrivateFolderUnderTheDataHome) {
    const std::string workspace = CodexExecutableLocator(host).summaryWorkspaceURL();
    EXPECT_EQ(workspace, (root / "home/.local/share/Quillon/SummaryWorkspace").string());
    ASSERT_TRUE(fs::is_directory(workspace));
    EXPECT_EQ(fs::status(workspace).permissions() & fs::perms::all, fs::perms::owner_all);

    host.vars["XDG_DATA_HOME"] = (root / "data").string();
    EXPECT_EQ(CodexExecutableLocator(host).summaryWorkspaceURL(), (root / "data/Quillon/SummaryWorkspace").string());

    // A place that cannot be made is still named.
    std::ofstream(root / "file") << "x";
    host.vars["XDG_DATA_HOME"] = (root / "file").string();
    EXPECT_EQ(CodexExecutableLocator(host).summaryWorkspaceURL(), (root / "file/Quillon/SummaryWorkspace").string());
}

TEST(CodexPromptsTest, SummaryPromptOpensAndClosesByTheSummaryItIsGiven) {
    struct Case {
        std::optional<std::string> existing;
        std::string delta;
        std::string opening;
    };
    const std::vector<Case> cases{
        {"# S", "", "Update the living Markdown summary supplied below using the latest transcript segment."},
        {"", "", "Create a living Markdown summary of this transcript."},
        {std::nullopt, "more", "Update the living Markdown summary from your preceding response using the new transcript below."},
        {std::nullopt, "", "Revise the living Markdown summary from your preceding response using the additional context below."},
    };
    for (const auto& test : cases) {
        const std::string prompt = CodexPrompts::summaryPrompt(test.delta, "", test.existing);
        EXPECT_TRUE(prompt.starts_with(test.opening)) << prompt;
        EXPECT_NE(prompt.find("\n\n<additional_context>\n\n</additional_context>"), std::string::npos)
            << "the context element is always there";
        EXPECT_EQ(prompt.find("<new_transcript>") != std::string::npos, !test.delta.empty());
        EXPECT_EQ(prompt.find("<current_summary>") != std::string::npos, test.existing && !test.existing->empty());
        EXPECT_TRUE(prompt.ends_with("Return only the required structured result."));
    }
    EXPECT_NE(CodexPrompts::summaryPrompt("a <b> & c", "ctx", "# Old")
                  .find("<current_summary>\n# Old\n</current_summary>\n\n<additional_context>\nctx\n</additional_context>"
                        "\n\n<new_transcript>\na <b> & c\n</new_transcript>\n\nUse your best judgement"),
              std::string::npos)
        << "nothing is escaped, and the parts come in order";
}

TEST(CodexPromptsTest, CleanupPromptEndsWithContextThenTranscript) {
    const std::string prompt = CodexPrompts::cleanupPrompt("um hello", "Names: Ada");
    EXPECT_TRUE(prompt.starts_with("Lightly clean the finalised transcript below."));
    EXPECT_TRUE(prompt.ends_with(
        "structured result.\n\n<additional_context>\nNames: Ada\n</additional_context>\n\n<transcript>\num hello\n</transcript>"));
}

}  // namespace
}  // namespace quillon::testing
