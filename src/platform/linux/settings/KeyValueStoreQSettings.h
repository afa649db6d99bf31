#pragma once

#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "core/logging/Logger.h"
#include "core/ports/KeyValueStore.h"

class QSettings;

namespace quillon {

// The user's preferences in an INI file, $XDG_CONFIG_HOME/Quillon/Quillon.conf, through QSettings.
//
// Types: INI text keeps no types, so a value read from the file is typed by its text: "true" and
// "false" are flags, whole numbers are integers, other numbers are reals, anything else is text.
// Text that would read as another type is written as @ByteArray(...), which QSettings reads back
// as text, so a glossary of "42" stays text.
//
// A settings file that cannot be read, or that is not a settings file at all, is never written
// over: found so at start, the program runs on the defaults; found so before a write (someone
// edited it meanwhile), it keeps what it read. Either way the user's changes stay in memory until
// the program quits, and the log says why.
//
// Lock rules: mutex_ guards refusal_, settings_ and unsaved_; every member function takes it for
// its whole run, so reads from any thread see a whole value. Nothing else is called while it is
// held but QSettings, file reads and the logger (which never calls back).
class KeyValueStoreQSettings final : public KeyValueStore {
public:
    // `configHome` is the XDG configuration directory (normally ~/.config).
    KeyValueStoreQSettings(const std::filesystem::path& configHome, Logger logger);
    ~KeyValueStoreQSettings() override;

    std::optional<Value> value(std::string_view key) const override;
    void setValue(std::string_view key, const Value& value) override;

    const std::filesystem::path& filePath() const { return filePath_; }
    // False once the file was found unreadable or corrupt: changes then stay in memory.
    bool isWritable() const;

private:
    std::filesystem::path filePath_;
    Logger logger_;
    mutable std::mutex mutex_;
    std::optional<std::string> refusal_;         // why the file is not written, once it is not
    std::unique_ptr<QSettings> settings_;        // absent when the file was unusable at start
    std::map<std::string, Value, std::less<>> unsaved_;  // changes kept in memory only
};

}  // namespace quillon
