#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "core/codex/CodexExecutableLocator.h"
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

    void writeConfig(const std::string& text) { std::ofstream(root / "home/.codex/config.toml", std::ios::binary) << text; }

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

TEST_F(CodexLaunchTest, WebSearchIsAlwaysOffAndToolServersAndPluginsOfTheConfigAreSwitchedOff) {
    std::vector<std::string> expected{"app-server", "-c", "features.web_search=false", "-c", "web_search=\"disabled\""};
    EXPECT_EQ(CodexExecutableLocator(host).restrictedAppServerArguments(), expected) << "no config file";
    writeConfig("[mcp_servers.docs]\ncommand = \"x\"\n\xff\n");
    EXPECT_EQ(CodexExecutableLocator(host).restrictedAppServerArguments(), expected) << "not UTF-8";

    writeConfig(
        "model = \"o\"\n"
        "[mcp_servers.zeta]\ncommand = \"z\"\n"
        "[mcp_servers.docs]\n[mcp_servers.docs.env]\n[mcp_servers.docs.tools]\n"
        "[plugins.\"a.b\"]\n"
        "  [mcp_servers.indented]\n"
        "[mcp_serversx.a]\n[other.plugins.a]\n"
        "mcp_servers = { inline = { command = \"i\" } }\n"
        "notes = \"\"\"\n[plugins.instring]\n\"\"\"\n");
    for (const char* name : {"mcp_servers.docs", "mcp_servers.zeta", "plugins.\"a.b\"", "plugins.instring"}) {
        expected.insert(expected.end(), {"-c", std::string(name) + ".enabled=false"});
    }
    EXPECT_EQ(CodexExecutableLocator(host).restrictedAppServerArguments(), expected);
}

}  // namespace
}  // namespace quillon::testing
