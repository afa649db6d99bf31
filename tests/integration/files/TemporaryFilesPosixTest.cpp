#include "platform/linux/base/TemporaryFilesPosix.h"

#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "SpeechTestFiles.h"
#include "fakes/TestLog.h"

namespace quillon {
namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;

mode_t modeOf(const fs::path& path) {
    struct stat info {};
    EXPECT_EQ(::lstat(path.c_str(), &info), 0) << path;
    return info.st_mode & 07777;
}

// The real file system, in a scratch folder standing for both the runtime and the temporary folder.
class TemporaryFilesPosixTest : public ::testing::Test {
protected:
    TemporaryFilesPosixTest() {
        fs::create_directories(runtime_);
        fs::create_directories(temporary_);
        fs::create_directories(elsewhere_);
    }

    TemporaryFilesPosix make(const std::string& runtime) {
        return TemporaryFilesPosix(runtime, temporary_, log_.logger(LogCategory::transcription));
    }

    const testing::ScratchDirectory root_;
    const fs::path runtime_ = root_ / "runtime";
    const fs::path temporary_ = root_ / "tmp";
    const fs::path elsewhere_ = root_ / "someone-elses";
    const fs::path ownFallback_ = temporary_ / ("quillon-" + std::to_string(::geteuid()));
    ManualScheduler logQueue_;
    testing::TestLog log_{logQueue_};
};

TEST_F(TemporaryFilesPosixTest, FilesAreTheUsersAloneWhateverTheUmask) {
    const mode_t previous = ::umask(0);
    auto files = make(runtime_.string());
    ASSERT_EQ(files.directory(), runtime_ / "quillon");
    EXPECT_EQ(modeOf(files.directory()), 0700u);

    auto created = files.createFile("chunk.wav");
    ASSERT_TRUE(created.has_value()) << created.error().message();
    EXPECT_EQ(modeOf(*created), 0600u);
    EXPECT_EQ(files.createFile("chunk.wav").error(), std::errc::file_exists) << "a name is never taken over";

    EXPECT_EQ(files.append("log", "one\n").value(), 4u);
    EXPECT_EQ(files.append("log", "two\n").value(), 8u);
    EXPECT_EQ(modeOf(files.directory() / "log"), 0600u);
    ASSERT_TRUE(files.replace("log", "two\n").has_value());
    EXPECT_EQ(files.read("log").value(), "two\n");
    EXPECT_EQ(modeOf(files.directory() / "log"), 0600u);
    ::umask(previous);

    EXPECT_TRUE(files.remove("log").has_value());
    EXPECT_TRUE(files.remove("log").has_value()) << "already gone is no error";
    EXPECT_EQ(files.append("../escape", "x").error(), std::errc::invalid_argument);
    EXPECT_FALSE(fs::exists(runtime_ / "escape"));
}

TEST_F(TemporaryFilesPosixTest, ALinkPlantedInAFilesPlaceIsNeverFollowed) {
    auto files = make(runtime_.string());
    const auto target = elsewhere_ / "target";
    std::ofstream(target) << "theirs";
    fs::create_symlink(target, files.directory() / "diagnostics.log");
    fs::create_symlink(target, files.directory() / "import.m4a");

    EXPECT_EQ(files.append("diagnostics.log", "secret").error(), std::errc::too_many_symbolic_link_levels);
    EXPECT_FALSE(files.read("diagnostics.log").has_value());
    EXPECT_FALSE(files.createFile("import.m4a").has_value());
    EXPECT_EQ(testing::readFile(target), "theirs");

    // Replacing swaps the link itself for a private file; the target stays as it was.
    ASSERT_TRUE(files.replace("diagnostics.log", "mine").has_value());
    EXPECT_FALSE(fs::is_symlink(files.directory() / "diagnostics.log"));
    EXPECT_EQ(modeOf(files.directory() / "diagnostics.log"), 0600u);
    EXPECT_EQ(files.read("diagnostics.log").value(), "mine");
    EXPECT_EQ(testing::readFile(target), "theirs");
}

TEST_F(TemporaryFilesPosixTest, AnUnsafeFolderIsRefusedAndTheNextPlaceTaken) {
    // The runtime folder's entry is a link to someone else's folder: refused, the temporary
    // folder's own entry is used instead.
    fs::create_symlink(elsewhere_, runtime_ / "quillon");
    {
        auto files = make(runtime_.string());
        EXPECT_EQ(files.directory(), ownFallback_);
        EXPECT_GT(log_.output.countContaining("Not using " + (runtime_ / "quillon").string()), 0u);
        EXPECT_EQ(modeOf(ownFallback_), 0700u);
    }

    // A folder of the user's own that others may enter is narrowed.
    fs::permissions(ownFallback_, fs::perms::owner_all | fs::perms::group_all | fs::perms::others_read |
                                      fs::perms::others_exec);
    EXPECT_EQ(make("").directory(), ownFallback_);
    EXPECT_EQ(modeOf(ownFallback_), 0700u);

    // A folder of that name that belongs to another user: a fresh private folder instead.
    if (::geteuid() != 0) GTEST_SKIP() << "only root can give a folder to another user";
    ASSERT_EQ(::chown(ownFallback_.c_str(), 65534, 65534), 0);
    auto files = make("");
    EXPECT_NE(files.directory(), ownFallback_);
    EXPECT_EQ(files.directory().parent_path(), temporary_);
    EXPECT_EQ(modeOf(files.directory()), 0700u);
    EXPECT_GT(log_.output.countContaining("it belongs to another user"), 0u);
    EXPECT_TRUE(files.createFile("chunk.wav").has_value());
}

}  // namespace
}  // namespace quillon
