#pragma once

#include <chrono>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace quillon {

// The installed applications' desktop files (XDG applications directories), indexed by id and by
// the executable they start, so a running process can be named as the desktop names it.
//
// Threads: any; a mutex guards the index, which is read again when older than a minute.
class DesktopEntryIndex {
public:
    struct Entry {
        std::string id;    // "org.gnome.TextEditor" for org.gnome.TextEditor.desktop
        std::string name;  // Name in the user's language where the file has it
        std::string icon;  // Icon: a theme icon name or an absolute path
    };

    // Directories searched, most important first; empty means the XDG defaults.
    explicit DesktopEntryIndex(std::vector<std::string> directories = {});

    std::optional<Entry> entryWithId(const std::string& id);
    // The entry whose Exec or TryExec runs `executable` (a base name), or whose StartupWMClass is it.
    std::optional<Entry> entryForExecutable(const std::string& executable);

    // The base name of the program an Exec line starts, skipping "env" and its assignments.
    static std::string executableOfExecLine(const std::string& exec);

private:
    void refreshIfStale();
    void scan(const std::string& directory, const std::string& prefix);
    void addFile(const std::string& path, const std::string& id);

    std::vector<std::string> directories_;
    std::mutex mutex_;
    std::chrono::steady_clock::time_point scannedAt_{};
    bool scanned_ = false;
    std::map<std::string, Entry> byId_;
    std::map<std::string, std::string> idByExecutable_;
};

}  // namespace quillon
