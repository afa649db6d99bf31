#include "platform/linux/apps/DesktopEntryIndex.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace quillon {

namespace fs = std::filesystem;

namespace {

std::vector<std::string> split(const std::string& text, char separator) {
    std::vector<std::string> parts;
    std::stringstream stream(text);
    for (std::string part; std::getline(stream, part, separator);) {
        if (!part.empty()) parts.push_back(part);
    }
    return parts;
}

std::string lowercased(std::string text) {
    std::ranges::transform(text, text.begin(), [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

std::vector<std::string> defaultDirectories() {
    std::vector<std::string> result;
    const char* home = std::getenv("HOME");
    const char* dataHome = std::getenv("XDG_DATA_HOME");
    if (dataHome && *dataHome) {
        result.push_back(std::string(dataHome) + "/applications");
    } else if (home) {
        result.push_back(std::string(home) + "/.local/share/applications");
    }
    const char* dataDirs = std::getenv("XDG_DATA_DIRS");
    for (const auto& dir : split(dataDirs && *dataDirs ? dataDirs : "/usr/local/share:/usr/share", ':')) {
        result.push_back(dir + "/applications");
    }
    return result;
}

// "de_DE.UTF-8@euro" gives {"de_DE", "de"}.
std::vector<std::string> userLanguages() {
    const char* lang = std::getenv("LC_MESSAGES");
    if (!lang || !*lang) lang = std::getenv("LANG");
    if (!lang || !*lang) return {};
    std::string value(lang);
    value = value.substr(0, value.find_first_of(".@"));
    std::vector<std::string> result{value};
    if (const auto underscore = value.find('_'); underscore != std::string::npos) {
        result.push_back(value.substr(0, underscore));
    }
    return result;
}

}  // namespace

DesktopEntryIndex::DesktopEntryIndex(std::vector<std::string> directories)
    : directories_(directories.empty() ? defaultDirectories() : std::move(directories)) {}

std::string DesktopEntryIndex::executableOfExecLine(const std::string& exec) {
    std::istringstream words(exec);
    std::string word;
    bool afterEnv = false;
    while (words >> word) {
        if (!word.empty() && word.front() == '"') word = word.substr(1, word.find('"', 1) - 1);
        const std::string base = fs::path(word).filename().string();
        if (base == "env") {
            afterEnv = true;
            continue;
        }
        if (afterEnv && (word.find('=') != std::string::npos || word.starts_with('-'))) continue;
        return base;
    }
    return {};
}

void DesktopEntryIndex::refreshIfStale() {
    const auto now = std::chrono::steady_clock::now();
    if (scanned_ && now - scannedAt_ < std::chrono::minutes(1)) return;
    byId_.clear();
    idByExecutable_.clear();
    // Later directories must not override earlier ones, so scan in reverse and let earlier win.
    for (auto dir = directories_.rbegin(); dir != directories_.rend(); ++dir) scan(*dir, "");
    scanned_ = true;
    scannedAt_ = now;
}

void DesktopEntryIndex::scan(const std::string& directory, const std::string& prefix) {
    std::error_code error;
    for (const auto& item : fs::directory_iterator(directory, error)) {
        const std::string name = item.path().filename().string();
        if (item.is_directory(error)) {
            scan(item.path().string(), prefix + name + "-");
        } else if (name.ends_with(".desktop")) {
            addFile(item.path().string(), prefix + name.substr(0, name.size() - 8));
        }
    }
}

void DesktopEntryIndex::addFile(const std::string& path, const std::string& id) {
    std::ifstream file(path);
    std::map<std::string, std::string> keys;
    bool inMainGroup = false;
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with('[')) {
            inMainGroup = line.starts_with("[Desktop Entry]");
            continue;
        }
        const auto equals = line.find('=');
        if (!inMainGroup || equals == std::string::npos || line.starts_with('#')) continue;
        keys.emplace(line.substr(0, equals), line.substr(equals + 1));
    }
    Entry entry{id, keys["Name"], keys["Icon"]};
    for (const auto& language : userLanguages()) {
        if (auto found = keys.find("Name[" + language + "]"); found != keys.end()) {
            entry.name = found->second;
            break;
        }
    }
    byId_[id] = entry;
    for (const char* key : {"TryExec", "Exec"}) {
        if (const auto found = keys.find(key); found != keys.end()) {
            const std::string executable = executableOfExecLine(found->second);
            if (!executable.empty()) idByExecutable_[executable] = id;
        }
    }
    if (const auto found = keys.find("StartupWMClass"); found != keys.end()) {
        idByExecutable_.try_emplace(lowercased(found->second), id);
    }
}

std::optional<DesktopEntryIndex::Entry> DesktopEntryIndex::entryWithId(const std::string& id) {
    std::lock_guard lock(mutex_);
    refreshIfStale();
    const auto found = byId_.find(id);
    if (found == byId_.end()) return std::nullopt;
    return found->second;
}

std::optional<DesktopEntryIndex::Entry> DesktopEntryIndex::entryForExecutable(const std::string& executable) {
    std::lock_guard lock(mutex_);
    refreshIfStale();
    auto found = idByExecutable_.find(executable);
    if (found == idByExecutable_.end()) found = idByExecutable_.find(lowercased(executable));
    if (found == idByExecutable_.end()) return std::nullopt;
    const auto entry = byId_.find(found->second);
    if (entry == byId_.end()) return std::nullopt;
    return entry->second;
}

}  // namespace quillon
