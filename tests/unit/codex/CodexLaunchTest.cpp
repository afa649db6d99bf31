#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "core/codex/CodexExecutableLocator.h"
#include "core/codex/CodexPrivateHome.h"
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

    fs::path root;
    FakeHostEnvironment host;
};

TEST_F(CodexLaunchTest, TheFirstExecutableInSearchOrderWins) {
    host.vars["PATH"] = ":/a::/b:";
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

TEST_F(CodexLaunchTest, TheChildRunsInAPrivateHomeThatSharesOnlyTheUsersCredentials) {
    const fs::path home = root / "home";
    const fs::path privateHome = home / ".local/share/Quillon/CodexHome";

    // The user's credentials are found where the user's own codex keeps them (by default in
    // ~/.codex, which the real Codex test shares).
    host.vars["CODEX_HOME"] = (root / "elsewhere").string();
    CodexExecutableLocator locator(host);
    ASSERT_TRUE(CodexPrivateHome(locator.privateCodexHome(), locator.userCodexHome()).prepare());
    EXPECT_EQ(fs::read_symlink(privateHome / "auth.json"), root / "elsewhere/auth.json");
    EXPECT_TRUE(fs::is_directory(root / "elsewhere")) << "so that a first sign-in can land";
    EXPECT_EQ(fs::status(privateHome).permissions(), fs::perms::owner_all);

    // What stands in the home is replaced, never followed; credentials the child filed there itself
    // go to the user.
    std::ofstream(home / ".codex/config.toml") << "user config";
    fs::remove(privateHome / "config.toml");
    fs::create_symlink(home / ".codex/config.toml", privateHome / "config.toml");
    fs::remove(privateHome / "auth.json");
    std::ofstream(privateHome / "auth.json") << "fresh credentials";
    ASSERT_TRUE(CodexPrivateHome(privateHome.string(), (root / "elsewhere").string()).prepare());
    EXPECT_FALSE(fs::is_symlink(privateHome / "config.toml"));
    const auto text = [](const fs::path& path) {
        std::ostringstream contents;
        contents << std::ifstream(path).rdbuf();
        return contents.str();
    };
    EXPECT_EQ(text(home / ".codex/config.toml"), "user config");
    EXPECT_EQ(text(root / "elsewhere/auth.json"), "fresh credentials");

    // A home that is a link is refused: the child would run with whatever it points at.
    fs::remove_all(privateHome);
    fs::create_directory_symlink(home / ".codex", privateHome);
    EXPECT_FALSE(CodexPrivateHome(privateHome.string(), (root / "elsewhere").string()).prepare());
}

}  // namespace
}  // namespace quillon::testing
