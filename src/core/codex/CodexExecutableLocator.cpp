#include "core/codex/CodexExecutableLocator.h"

#include <filesystem>
#include <fstream>
#include <sstream>
#include <system_error>
#include <unordered_set>


namespace quillon {

namespace {

std::string variable(const std::map<std::string, std::string>& variables, const std::string& name) {
    auto found = variables.find(name);
    return found == variables.end() ? std::string() : found->second;
}

// PATH split at ":" with empty entries dropped.
std::vector<std::string> pathEntries(const std::map<std::string, std::string>& variables) {
    std::vector<std::string> entries;
    std::stringstream stream(variable(variables, "PATH"));
    std::string entry;
    while (std::getline(stream, entry, ':')) {
        if (!entry.empty()) entries.push_back(entry);
    }
    return entries;
}

std::optional<std::string> readFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) return std::nullopt;
    std::ostringstream contents;
    contents << file.rdbuf();
    if (file.bad()) return std::nullopt;
    return contents.str();
}

std::string trimmedAscii(const std::string& text) {
    const auto first = text.find_first_not_of(" \t\r\n");
    if (first == std::string::npos) return {};
    const auto last = text.find_last_not_of(" \t\r\n");
    return text.substr(first, last - first + 1);
}

}  // namespace

std::optional<std::string> CodexExecutableLocator::npmGlobalPrefix(
    const std::map<std::string, std::string>& variables) const {
    for (const char* name : {"NPM_CONFIG_PREFIX", "npm_config_prefix"}) {
        std::string prefix = variable(variables, name);
        if (!prefix.empty()) return prefix;
    }
    const std::string home = variable(variables, "HOME");
    if (home.empty()) return std::nullopt;
    auto npmrc = readFile(home + "/.npmrc");
    if (!npmrc) return std::nullopt;
    std::stringstream lines(*npmrc);
    std::string line;
    while (std::getline(lines, line)) {
        const auto equals = line.find('=');
        if (equals == std::string::npos || trimmedAscii(line.substr(0, equals)) != "prefix") continue;
        std::string prefix = trimmedAscii(line.substr(equals + 1));
        if (prefix.starts_with("~/")) prefix = home + prefix.substr(1);
        if (!prefix.empty()) return prefix;
    }
    return std::nullopt;
}

std::vector<std::string> CodexExecutableLocator::candidates() const {
    const auto variables = host_.variables();
    const std::string home = variable(variables, "HOME");
    std::vector<std::string> list;
    if (!home.empty()) list.push_back(home + "/.local/bin/codex");
    list.emplace_back("/usr/local/bin/codex");
    list.emplace_back("/usr/bin/codex");
    if (auto prefix = npmGlobalPrefix(variables)) list.push_back(*prefix + "/bin/codex");
    for (const auto& entry : pathEntries(variables)) list.push_back(entry + "/codex");
    return list;
}

std::optional<std::string> CodexExecutableLocator::findExecutable() const {
    for (const auto& candidate : candidates()) {
        if (host_.isExecutableFile(candidate)) return candidate;
    }
    return std::nullopt;
}

std::string CodexExecutableLocator::userCodexHome() const {
    const auto variables = host_.variables();
    const std::string codexHome = variable(variables, "CODEX_HOME");
    if (!codexHome.empty()) return codexHome;
    const std::string home = variable(variables, "HOME");
    return home.empty() ? std::string() : home + "/.codex";
}

std::vector<std::string> CodexExecutableLocator::restrictedAppServerArguments() {
    // Today's Codex ignores features.web_search=false and searches by default; web_search="disabled"
    // is what turns it off. Both stay, for older and newer versions alike.
    return {"app-server", "-c", "features.web_search=false", "-c", "web_search=\"disabled\""};
}

std::map<std::string, std::string> CodexExecutableLocator::processEnvironment(const std::string& executable) const {
    auto variables = host_.variables();
    std::vector<std::string> entries;
    entries.push_back(std::filesystem::path(executable).parent_path().string());
    for (const char* system : {"/usr/local/bin", "/usr/bin", "/bin", "/usr/local/sbin", "/usr/sbin", "/sbin"}) {
        entries.emplace_back(system);
    }
    for (auto& entry : pathEntries(variables)) entries.push_back(std::move(entry));

    std::unordered_set<std::string> seen;
    std::string path;
    for (const auto& entry : entries) {
        if (entry.empty() || !seen.insert(entry).second) continue;
        if (!path.empty()) path += ':';
        path += entry;
    }
    variables["PATH"] = path;
    variables["CODEX_HOME"] = privateCodexHome();
    return variables;
}

std::filesystem::path CodexExecutableLocator::dataFolder() const {
    const auto variables = host_.variables();
    const std::string dataHome = variable(variables, "XDG_DATA_HOME");
    const std::string home = variable(variables, "HOME");
    if (!dataHome.empty() && dataHome.front() == '/') return std::filesystem::path(dataHome) / "Quillon";
    if (!home.empty()) return std::filesystem::path(home) / ".local/share/Quillon";
    const std::string temporary = variable(variables, "TMPDIR");
    return (temporary.empty() ? std::filesystem::path("/tmp") : std::filesystem::path(temporary)) / "Quillon";
}

std::string CodexExecutableLocator::privateCodexHome() const { return (dataFolder() / "CodexHome").string(); }

std::string CodexExecutableLocator::summaryWorkspaceURL() const {
    const auto workspace = dataFolder() / "SummaryWorkspace";
    std::error_code error;
    if (std::filesystem::create_directories(workspace, error)) {
        std::filesystem::permissions(workspace, std::filesystem::perms::owner_all,
                                     std::filesystem::perm_options::replace, error);
    }
    return workspace.string();
}

}  // namespace quillon
