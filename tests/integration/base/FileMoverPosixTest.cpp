// Moving a saved recording to where the user chose: across file systems (the private temporary
// folder is usually on tmpfs), over an existing file, and a refusal that leaves the source alone.
#include <gtest/gtest.h>

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "SpeechTestFiles.h"
#include "platform/linux/base/FileMoverPosix.h"

namespace quillon {
namespace {

namespace fs = std::filesystem;

void write(const fs::path& path, const std::string& content) {
    std::ofstream(path, std::ios::binary) << content;
}

TEST(FileMoverPosix, MovesAcrossFileSystemsOverAnExistingFileAndKeepsTheSourceOnFailure) {
    const fs::path memory = fs::exists("/dev/shm") ? fs::path("/dev/shm") : fs::temp_directory_path();
    const std::string tag = "quillon-mover-" + std::to_string(::getpid());
    const fs::path source = memory / (tag + ".m4a");
    const fs::path folder = fs::path(::testing::TempDir()) / tag;
    fs::create_directories(folder);
    const fs::path destination = folder / "talk.m4a";
    write(source, "new recording");
    write(destination, "old recording");

    FileMoverPosix mover;
    ASSERT_TRUE(mover.moveReplacing(source, destination));
    EXPECT_EQ(testing::readFile(destination), "new recording");
    EXPECT_FALSE(fs::exists(source));
    EXPECT_EQ(std::distance(fs::directory_iterator(folder), fs::directory_iterator()), 1)
        << "no partial file left";

    write(source, "kept");
    const auto refused = mover.moveReplacing(source, folder / "missing" / "talk.m4a");
    ASSERT_FALSE(refused);
    EXPECT_FALSE(refused.error().empty());
    EXPECT_EQ(testing::readFile(source), "kept");

    mover.remove(source);
    mover.remove(source);  // already gone: nothing to say
    EXPECT_FALSE(fs::exists(source));
    fs::remove_all(folder);
}

}  // namespace
}  // namespace quillon
