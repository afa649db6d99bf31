#include <cstdio>
#include <filesystem>
#include <optional>

#include <gtest/gtest.h>

#include "DesktopWorld.h"

namespace quillon {
namespace {

using namespace std::chrono;
using testing::DesktopWorld;
using testing::TestApplication;

// Debian's Chromium with its accessibility tree forced on, showing a local page with a text area
// and an editable block. The page reports every change on the console, which the browser logs.
class ChromiumInsertionTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (const auto missing = testing::missingDesktop(); !missing.empty()) GTEST_SKIP() << missing;
        if (!std::filesystem::exists("/usr/bin/chromium")) GTEST_SKIP() << "chromium is not installed";
        profile_ = ::testing::TempDir() + "/quillon-chromium-" + std::to_string(::getpid());
    }
    void TearDown() override {
        if (HasFailure()) {
            for (const auto& entry : world.log.output.entries()) std::fprintf(stderr, "LOG %s\n", entry.message.c_str());
        }
        browser_.reset();
        std::error_code error;
        std::filesystem::remove_all(profile_, error);
    }

    // Starts the browser on the page with `element` focused; false if it never got there.
    bool open(const std::string& element) {
        const std::string page = std::string("file://") + QUILLON_FIXTURE_SOURCE_DIR + "/insertion-page.html#" + element;
        browser_ = world.launch("chromium",
                                {"--no-sandbox", "--disable-gpu", "--no-first-run", "--disable-background-networking",
                                 "--disable-component-update", "--disable-sync", "--force-renderer-accessibility",
                                 "--enable-logging=stderr", "--v=0", "--user-data-dir=" + profile_, "--window-size=800,600",
                                 page},
                                false, true);
        return browser_ && awaitValue("ready", "\"" + element + "\"");
    }

    // Reads the browser's log until the page reports `id` holding `json`.
    bool awaitValue(const std::string& id, const std::string& json) {
        const std::string wanted = "VALUE " + id + "=" + json;
        const auto deadline = steady_clock::now() + seconds(30);
        while (steady_clock::now() < deadline) {
            const auto line = browser_->readLine(seconds(1));
            if (line && line->find("VALUE") != std::string::npos) lastValue_ = *line;
            if (line && line->find(wanted) != std::string::npos) return true;
        }
        return false;
    }

    // Opens the page on `element` and waits until the browser shows that element focused.
    bool focus(const std::string& element,
               std::optional<AccessibilityRole> role = AccessibilityRole::textField) {
        return open(element) && world.waitForFocusedField(browser_->pid(), role, seconds(30));
    }

    DesktopWorld world;
    std::unique_ptr<TestApplication> browser_;
    std::string profile_;
    std::string lastValue_;  // the page's last report, for failure messages
};

// The browser takes each write at once, but its accessibility tree shows it only once the page's
// renderer has updated it; the read-back waits for the change the browser reports then.
TEST_F(ChromiumInsertionTest, TextAreaTakesNonLatinTextAndReadsBack) {
    ASSERT_TRUE(focus("notes"));
    ASSERT_TRUE(world.inserter.insertText("wörld, Straße, 日本語 😀"));
    EXPECT_TRUE(awaitValue("notes", "\"Hello wörld, Straße, 日本語 😀\"")) << lastValue_;
    EXPECT_TRUE(world.log.output.contains(LogLevel::info,
                                          "Insertion target app=Chromium Web Browser bundle=chromium "
                                          "role=textField eventPath=false placeholder=<none>"));
}

TEST_F(ChromiumInsertionTest, SearchFieldTakesTheText) {
    ASSERT_TRUE(focus("search"));
    ASSERT_TRUE(world.inserter.insertText("日本語 café"));
    EXPECT_TRUE(awaitValue("search", "\"日本語 café\"")) << lastValue_;
}

TEST_F(ChromiumInsertionTest, TypedKeysOfAnyScriptReachThePage) {
    ASSERT_TRUE(focus("notes"));
    ASSERT_TRUE(world.keyboard.typeText("é ß 日本語 😀!"));
    EXPECT_TRUE(awaitValue("notes", "\"Hello é ß 日本語 😀!\"")) << lastValue_;
}

TEST_F(ChromiumInsertionTest, EditableBlockGetsTheTextOnce) {
    ASSERT_TRUE(focus("editable", std::nullopt));
    ASSERT_TRUE(world.inserter.insertText("Grüße 日本語"));
    EXPECT_TRUE(awaitValue("editable", "\"Draft:Grüße 日本語\"")) << lastValue_;
}

}  // namespace
}  // namespace quillon
