#include "core/codex/CodexPrivateHome.h"

#include <atomic>
#include <filesystem>
#include <fstream>
#include <random>
#include <system_error>

namespace quillon {

namespace fs = std::filesystem;

namespace {

// Every feature of today's CLI that lets the model act or reach outside the answer. Keys unknown to
// an older CLI are ignored by it.
constexpr const char* disabledFeatures[] = {
    "apps",          "browser_use",      "browser_use_external",         "code_mode_host",
    "computer_use",  "deferred_tool_world_state", "goals",               "hooks",
    "image_generation", "in_app_browser", "memories",                     "multi_agent_v2",
    "plugin_sharing", "plugins",          "remote_plugin",                "shell_snapshot",
    "shell_tool",    "skill_mcp_dependency_install", "skill_search",      "sleep_tool",
    "tool_suggest",  "unified_exec",     "view_image",                   "web_search",
    "workspace_dependencies",
};

// A name beside `path` that no other start uses at the same time.
fs::path aside(const fs::path& path) {
    static std::atomic<unsigned> count{0};
    return fs::path(path.string() + "." + std::to_string(std::random_device{}()) + "-" + std::to_string(++count) + ".new");
}

std::string failure(const std::string& what, const fs::path& path, const std::error_code& error) {
    return what + " " + path.string() + ": " + error.message();
}

}  // namespace

CodexPrivateHome::CodexPrivateHome(std::string folder, std::string userCodexHome,
                                   std::optional<std::string> localModelProvider)
    : folder_(std::move(folder)),
      userCodexHome_(std::move(userCodexHome)),
      localModelProvider_(std::move(localModelProvider)) {}

std::string CodexPrivateHome::configText(const std::optional<std::string>& localModelProvider) {
    std::string text =
        "# Written by Quillon before each start of its Codex child; changes here are overwritten.\n"
        "# The child may only answer: no tool, server, plug-in, skill or sub-agent is on.\n"
        "cli_auth_credentials_store = \"file\"\n"
        "web_search = \"disabled\"\n"
        "check_for_update_on_startup = false\n";
    if (localModelProvider) {
        text += "model_provider = \"quillon_local\"\n"
                "[model_providers.quillon_local]\n"
                "name = \"Quillon local\"\n"
                "base_url = \"" + *localModelProvider + "\"\n"
                "wire_api = \"responses\"\n"
                "request_max_retries = 0\n"
                "stream_max_retries = 0\n"
                "supports_websockets = false\n";
    }
    text += "[history]\npersistence = \"none\"\n[features]\n";
    for (const char* feature : disabledFeatures) text += std::string(feature) + " = false\n";
    text += "[agents]\nenabled = false\n"
            "[skills]\ninclude_instructions = false\n"
            "[skills.bundled]\nenabled = false\n";
    return text;
}

std::expected<void, std::string> CodexPrivateHome::prepare() const {
    const fs::path folder(folder_);
    std::error_code error;
    fs::create_directories(folder, error);
    if (error) return std::unexpected(failure("Could not make", folder, error));
    const auto status = fs::symlink_status(folder, error);
    if (error || status.type() != fs::file_type::directory) {
        return std::unexpected("Codex's private folder " + folder.string() + " is not a plain folder");
    }
    fs::permissions(folder, fs::perms::owner_all, fs::perm_options::replace, error);
    if (error) return std::unexpected(failure("Could not protect", folder, error));

    // Written aside and renamed into place: a child starting meanwhile (the summary's beside a
    // cleanup's) reads the old file or the new one, never half of one, and a link planted at
    // config.toml is replaced, never followed.
    const fs::path config = folder / "config.toml";
    const fs::path fresh = aside(config);
    {
        std::ofstream file(fresh, std::ios::binary | std::ios::trunc);
        file << configText(localModelProvider_);
        file.close();
        if (!file) return std::unexpected("Could not write " + fresh.string());
    }
    fs::permissions(fresh, fs::perms::owner_read | fs::perms::owner_write, fs::perm_options::replace, error);
    fs::rename(fresh, config, error);
    if (error) {
        std::error_code ignored;
        fs::remove(fresh, ignored);
        return std::unexpected(failure("Could not write", config, error));
    }

    // The user's Codex home is made if missing, so that a first sign-in has somewhere to land.
    if (userCodexHome_.empty()) return {};
    const fs::path userHome(userCodexHome_);
    if (fs::create_directories(userHome, error)) {
        fs::permissions(userHome, fs::perms::owner_all, fs::perm_options::replace, error);
    }
    const fs::path link = folder / "auth.json";
    const fs::path target = userHome / "auth.json";
    if (fs::is_symlink(fs::symlink_status(link, error)) && fs::read_symlink(link, error) == target) return {};
    // Credentials the child filed here itself (after a sign-out removed the link) go to the user.
    if (fs::is_regular_file(fs::symlink_status(link, error)) && !fs::exists(target, error)) {
        fs::copy_file(link, target, error);
        fs::permissions(target, fs::perms::owner_read | fs::perms::owner_write, fs::perm_options::replace, error);
    }
    const fs::path freshLink = aside(link);
    fs::create_symlink(target, freshLink, error);
    if (!error) fs::rename(freshLink, link, error);
    if (error) {
        std::error_code ignored;
        fs::remove(freshLink, ignored);
        return std::unexpected(failure("Could not link the Codex credentials at", link, error));
    }
    return {};
}

}  // namespace quillon
