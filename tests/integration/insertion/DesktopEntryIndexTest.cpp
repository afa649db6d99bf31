#include <cstdlib>
#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>

#include "SpeechTestFiles.h"
#include "platform/linux/apps/DesktopEntryIndex.h"

namespace quillon {
namespace {

namespace fs = std::filesystem;

class DesktopEntryIndexTest : public ::testing::Test {
protected:
    void SetUp() override {
        fs::create_directories(root_ / "user");
        fs::create_directories(root_ / "system" / "kde");
    }

    void write(const fs::path& path, const std::string& contents) { std::ofstream(root_ / path) << contents; }

    testing::ScratchDirectory root_;
};

TEST_F(DesktopEntryIndexTest, NamesComeFromTheFirstDirectoryAndTheUsersLanguage) {
    write("system/org.example.Notes.desktop",
          "[Desktop Entry]\nName=Notes\nName[de]=Notizen\nExec=env GDK_BACKEND=x11 /usr/bin/notes-app %U\n"
          "[Desktop Action New]\nName=New Note\nExec=other-binary\n");
    write("user/org.example.Notes.desktop",
          "[Desktop Entry]\nName=My Notes\nExec=\"/opt/My Notes/notes\" --x\n");
    write("system/kde/konsole.desktop", "[Desktop Entry]\nName=Konsole\nTryExec=konsole\nExec=konsole\n");
    write("system/chat.desktop",
          "[Desktop Entry]\nName=Chat\nExec=/opt/chat/launcher\nStartupWMClass=ChatClient\n");

    setenv("LANG", "de_DE.UTF-8", 1);
    DesktopEntryIndex index({(root_ / "user").string(), (root_ / "system").string()});
    EXPECT_EQ(index.entryWithId("org.example.Notes")->name, "My Notes");
    EXPECT_EQ(index.entryForExecutable("notes-app")->id, "org.example.Notes");
    EXPECT_EQ(index.entryForExecutable("notes")->name, "My Notes");
    EXPECT_EQ(index.entryForExecutable("konsole")->id, "kde-konsole");
    EXPECT_EQ(index.entryForExecutable("chatclient")->name, "Chat");
    EXPECT_FALSE(index.entryForExecutable("other-binary"));
    EXPECT_FALSE(index.entryWithId("missing"));

    DesktopEntryIndex systemOnly({(root_ / "system").string()});
    EXPECT_EQ(systemOnly.entryWithId("org.example.Notes")->name, "Notizen");
    unsetenv("LANG");
}

}  // namespace
}  // namespace quillon
