#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <limits>
#include <thread>
#include <vector>

#include "TemporaryHome.h"
#include "core/base/ManualScheduler.h"
#include "core/settings/SettingsManager.h"
#include "fakes/FakeLoginItem.h"
#include "fakes/TestLog.h"
#include "platform/linux/settings/KeyValueStoreQSettings.h"

namespace quillon {
namespace {

using testing::readFile;
using testing::writeFile;
using Value = KeyValueStore::Value;

class KeyValueStoreQSettingsTest : public ::testing::Test {
protected:
    std::unique_ptr<KeyValueStoreQSettings> openStore() {
        return std::make_unique<KeyValueStoreQSettings>(home_.configHome(), log_.logger(LogCategory::settings));
    }
    std::filesystem::path settingsFile() const { return home_.configHome() / "Quillon" / "Quillon.conf"; }

    testing::TemporaryHome home_;
    ManualScheduler ringQueue_;
    testing::TestLog log_{ringQueue_};
    testing::FakeLoginItem loginItem_;
};

TEST_F(KeyValueStoreQSettingsTest, AFreshUserGetsTheDefaultsAndOnlyWhatTheyChangeIsWritten) {
    auto store = openStore();
    EXPECT_EQ(store->filePath(), settingsFile());
    SettingsManager settings(*store, loginItem_, log_.logger(LogCategory::settings));
    EXPECT_EQ(settings.hotkeyMode(), HotkeyMode::standard);
    EXPECT_EQ(settings.effectiveHotkeyTrigger(), (HotkeyTrigger{0, SettingsManager::defaultHotkeyModifiers}));
    EXPECT_EQ(settings.inputDeviceUID(), "System Default");
    EXPECT_TRUE(settings.appendSpaceAfterInsertion());
    EXPECT_FALSE(std::filesystem::exists(settingsFile().parent_path()));

    settings.setHotkeyKeyCode(30);
    const std::string content = readFile(settingsFile());
    EXPECT_NE(content.find("hotkeyKeyCode=30"), std::string::npos) << content;
    EXPECT_EQ(content.find("hotkeyModifiers"), std::string::npos) << content;
    EXPECT_EQ(content.find("hotkeyMode"), std::string::npos) << content;
    EXPECT_TRUE(log_.output.messages(LogLevel::error).empty());
}

// Each value is written by one run of the program and read by the next.
TEST_F(KeyValueStoreQSettingsTest, ValuesComeBackWithTheirTypeAfterARestart) {
    struct Case {
        std::string key;
        Value written;
        Value read;  // a real with no fraction is written as a whole number and reads as one
    };
    const std::vector<Case> cases = {
        {"flagOn", true, true},
        {"flagOff", false, false},
        {"zero", std::int64_t{0}, std::int64_t{0}},
        {"negative", std::int64_t{-7}, std::int64_t{-7}},
        {"largest", std::numeric_limits<std::int64_t>::max(), std::numeric_limits<std::int64_t>::max()},
        {"threshold", 0.3, 0.3},
        {"tiny", 1e-9, 1e-9},
        {"wholeReal", 300.0, std::int64_t{300}},
        {"plain", std::string("System Default"), std::string("System Default")},
        {"empty", std::string(), std::string()},
        {"looksLikeNumber", std::string("42"), std::string("42")},
        {"looksLikeReal", std::string("0.3"), std::string("0.3")},
        {"looksLikeFlag", std::string("true"), std::string("true")},
        {"notANumber", std::string("nan"), std::string("nan")},
        {"commas", std::string("Quillon, PocketSphinx, Qt"), std::string("Quillon, PocketSphinx, Qt")},
        {"lines", std::string("teh -> the\nrecieve -> receive\n"), std::string("teh -> the\nrecieve -> receive\n")},
        {"padded", std::string("  padded  "), std::string("  padded  ")},
        {"markup", std::string("@Variant(x) [General] ; # = \"q\" \\ %"),
         std::string("@Variant(x) [General] ; # = \"q\" \\ %")},
        {"unicode", std::string("Zwölf Boxkämpfer — 日本語 ✓"), std::string("Zwölf Boxkämpfer — 日本語 ✓")},
        {"liveTranscript.audioMode", std::string("microphone"), std::string("microphone")},
    };
    {
        auto store = openStore();
        for (const auto& entry : cases) store->setValue(entry.key, entry.written);
        for (const auto& entry : cases) EXPECT_EQ(store->value(entry.key), entry.written) << entry.key;
    }
    // QSettings shares what it parsed between instances of one process, typed as written; a file
    // that changed on disk since is parsed again, as the next run of the program would.
    std::filesystem::last_write_time(settingsFile(),
                                     std::filesystem::last_write_time(settingsFile()) - std::chrono::seconds(10));
    auto store = openStore();
    for (const auto& entry : cases) EXPECT_EQ(store->value(entry.key), entry.read) << entry.key;
    EXPECT_FALSE(store->value("neverWritten").has_value());
    EXPECT_TRUE(log_.output.messages(LogLevel::error).empty());
}

TEST_F(KeyValueStoreQSettingsTest, AHandEditedFileIsReadAsAPersonWroteIt) {
    writeFile(settingsFile(),
              "; my settings\n"
              "[General]\n"
              "hotkeyMode=capsLock\n"
              "hotkeyKeyCode=30\n"
              "doubleTapThreshold=0.5\n"
              "maxRecordingDuration=600\n"
              "appendSpaceAfterInsertion=false\n"
              "transcriptionGlossary=Quillon, PocketSphinx\n"
              "\n");
    auto store = openStore();
    SettingsManager settings(*store, loginItem_, log_.logger(LogCategory::settings));
    EXPECT_EQ(settings.hotkeyMode(), HotkeyMode::capsLock);
    EXPECT_EQ(settings.hotkeyKeyCode(), 30);
    EXPECT_EQ(settings.doubleTapThreshold(), 0.5);
    EXPECT_EQ(settings.maxRecordingDuration(), 600.0);
    EXPECT_FALSE(settings.appendSpaceAfterInsertion());
    EXPECT_EQ(settings.transcriptionGlossary(), "Quillon, PocketSphinx");
    EXPECT_TRUE(store->isWritable());
}

// A file the program cannot make sense of holds the user's settings all the same: it gives the
// defaults, changes last only for this run, and the file stays byte for byte as it was.
TEST_F(KeyValueStoreQSettingsTest, AnUnreadableOrCorruptFileGivesTheDefaultsAndIsNeverOverwritten) {
    struct Case {
        std::string name;
        std::string content;
    };
    const std::vector<Case> cases = {
        {"binary", std::string("hotkeyKeyCode=30\n\x89PNG\r\n\x1a\n\0\0\0\rIHDR", 24)},
        {"not UTF-8", "hotkeyKeyCode=30\ntranscriptionGlossary=caf\xe9\n"},
        {"prose", "hotkeyKeyCode=30\nThese are not settings at all.\n"},
        {"unfinished section", "[General\nhotkeyKeyCode=30\n"},
    };
    for (const auto& entry : cases) {
        SCOPED_TRACE(entry.name);
        writeFile(settingsFile(), entry.content);
        log_.output.clear();
        auto store = openStore();
        EXPECT_FALSE(store->isWritable());
        SettingsManager settings(*store, loginItem_, log_.logger(LogCategory::settings));
        EXPECT_EQ(settings.hotkeyKeyCode(), 0);
        EXPECT_EQ(settings.hotkeyModifiers(), SettingsManager::defaultHotkeyModifiers);
        ASSERT_EQ(log_.output.messages(LogLevel::error).size(), 1u);
        EXPECT_NE(log_.output.messages(LogLevel::error).front().find(settingsFile().string()), std::string::npos);

        settings.setHotkeyKeyCode(44);
        EXPECT_EQ(settings.hotkeyKeyCode(), 44);
        EXPECT_EQ(log_.output.messages(LogLevel::error).size(), 2u);
        store.reset();
        EXPECT_EQ(readFile(settingsFile()), entry.content);
    }
}

TEST_F(KeyValueStoreQSettingsTest, AFileEditedIntoSomethingElseWhileQuillonRunsIsLeftAlone) {
    writeFile(settingsFile(), "[General]\nhotkeyKeyCode=30\n");
    auto store = openStore();
    ASSERT_EQ(store->value("hotkeyKeyCode"), Value(std::int64_t{30}));
    const std::string edited = "[General]\nhotkeyKeyCode=30\nhalf a line the editor saved too soon\n";
    writeFile(settingsFile(), edited);

    store->setValue("soundFeedbackEnabled", false);
    EXPECT_FALSE(store->isWritable());
    EXPECT_EQ(store->value("soundFeedbackEnabled"), Value(false));
    EXPECT_EQ(store->value("hotkeyKeyCode"), Value(std::int64_t{30})) << "what was read stays";
    store.reset();
    EXPECT_EQ(readFile(settingsFile()), edited);
    EXPECT_EQ(log_.output.messages(LogLevel::error).size(), 2u);
}

TEST_F(KeyValueStoreQSettingsTest, ASettingsPathThatIsNoFileIsLeftAlone) {
    // A folder or a pipe where the file should be, and a file where its folder should be.
    std::filesystem::create_directories(settingsFile());
    {
        auto store = openStore();
        EXPECT_FALSE(store->isWritable());
        store->setValue("hotkeyKeyCode", std::int64_t{30});
    }
    EXPECT_TRUE(std::filesystem::is_directory(settingsFile()));
    EXPECT_TRUE(std::filesystem::is_empty(settingsFile()));

    // A pipe would block whoever opens it to read.
    std::filesystem::remove(settingsFile());
    ASSERT_EQ(::mkfifo(settingsFile().c_str(), 0600), 0);
    {
        auto store = openStore();
        EXPECT_FALSE(store->isWritable());
        store->setValue("hotkeyKeyCode", std::int64_t{30});
    }
    EXPECT_TRUE(std::filesystem::is_fifo(settingsFile()));

    std::filesystem::remove_all(settingsFile().parent_path());
    writeFile(settingsFile().parent_path(), "someone else's file");
    {
        auto store = openStore();
        log_.output.clear();
        store->setValue("hotkeyKeyCode", std::int64_t{30});
        EXPECT_EQ(log_.output.messages(LogLevel::error).size(), 1u);
    }
    EXPECT_EQ(readFile(settingsFile().parent_path()), "someone else's file");
}

// The speech path reads the glossary on its own thread while the user edits settings.
TEST_F(KeyValueStoreQSettingsTest, ReadsFromOtherThreadsSeeWholeValuesWhileTheUserWrites) {
    auto store = openStore();
    const std::string first(2000, 'a');
    const std::string second(3000, 'b');
    store->setValue("transcriptionGlossary", first);
    std::atomic<bool> writing = true;
    std::atomic<int> torn = 0;
    std::vector<std::jthread> readers;
    for (int index = 0; index < 3; ++index) {
        readers.emplace_back([&] {
            while (writing) {
                auto value = store->value("transcriptionGlossary");
                if (!value || (*value != Value(first) && *value != Value(second))) ++torn;
            }
        });
    }
    for (int round = 0; round < 100; ++round) store->setValue("transcriptionGlossary", round % 2 ? first : second);
    writing = false;
    readers.clear();
    EXPECT_EQ(torn, 0);
}

}  // namespace
}  // namespace quillon
