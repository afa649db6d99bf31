#pragma once

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "core/ports/HostEnvironment.h"

namespace quillon {

// Finds the user's own Codex executable and says how it is started: its command line, its
// environment (with CODEX_HOME pointed at Quillon's private Codex home, see CodexPrivateHome), and
// the private empty directory its threads work in. Nothing here runs a program or reports a
// failure; everything is looked up anew at each call.
class CodexExecutableLocator {
public:
    explicit CodexExecutableLocator(const HostEnvironment& host) : host_(host) {}

    // The places looked at, in order: ~/.local/bin, /usr/local/bin, /usr/bin, the bin folder of npm's
    // global prefix, then each entry of PATH.
    std::vector<std::string> candidates() const;

    // The first candidate that is an executable file.
    std::optional<std::string> findExecutable() const;
    bool isExecutableAvailable() const { return findExecutable().has_value(); }

    // "app-server" with the switches that turn web search off (old and new spelling). Everything
    // else the child may not do is in the configuration of its private home.
    static std::vector<std::string> restrictedAppServerArguments();

    // The program's environment with PATH rebuilt (the executable's folder, the system folders, then
    // the program's own PATH, each folder once) and CODEX_HOME set to privateCodexHome().
    std::map<std::string, std::string> processEnvironment(const std::string& executable) const;

    // $XDG_DATA_HOME/Quillon/SummaryWorkspace (default ~/.local/share), made with mode 0700 if
    // missing. A failure to make it is ignored: the path is returned all the same.
    std::string summaryWorkspaceURL() const;

    // $XDG_DATA_HOME/Quillon/CodexHome (default ~/.local/share): the child's CODEX_HOME. Not made here.
    std::string privateCodexHome() const;

    // The user's own Codex home, where their credentials live: $CODEX_HOME, else ~/.codex; empty
    // when neither is known.
    std::string userCodexHome() const;

private:
    // $XDG_DATA_HOME/Quillon (default ~/.local/share/Quillon, or Quillon under the temporary folder).
    std::filesystem::path dataFolder() const;

    std::optional<std::string> npmGlobalPrefix(const std::map<std::string, std::string>& variables) const;

    const HostEnvironment& host_;
};

}  // namespace quillon
