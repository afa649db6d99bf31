#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "core/ports/HostEnvironment.h"

namespace quillon {

// Finds the user's own Codex executable and says how it is started: a command line that leaves the
// child nothing to do but answer (no web search, none of the user's tool servers or plug-ins), the
// child's environment, and the private empty directory its threads work in. Nothing here runs a
// program or reports a failure; everything is looked up anew at each call.
class CodexExecutableLocator {
public:
    explicit CodexExecutableLocator(const HostEnvironment& host) : host_(host) {}

    // The places looked at, in order: ~/.local/bin, /usr/local/bin, /usr/bin, the bin folder of npm's
    // global prefix, then each entry of PATH.
    std::vector<std::string> candidates() const;

    // The first candidate that is an executable file.
    std::optional<std::string> findExecutable() const;
    bool isExecutableAvailable() const { return findExecutable().has_value(); }

    // "app-server" with the switches that turn web search off, then one "-c <table>.enabled=false"
    // pair for each tool server and plug-in named by a table header of the user's config.toml.
    std::vector<std::string> restrictedAppServerArguments() const;

    // The program's environment with PATH rebuilt: the executable's folder, the system folders, then
    // the program's own PATH, each folder once.
    std::map<std::string, std::string> processEnvironment(const std::string& executable) const;

    // $XDG_DATA_HOME/Quillon/SummaryWorkspace (default ~/.local/share), made with mode 0700 if
    // missing. A failure to make it is ignored: the path is returned all the same.
    std::string summaryWorkspaceURL() const;

    // The configuration the child reads: $CODEX_HOME/config.toml, or ~/.codex/config.toml.
    std::optional<std::string> configFilePath() const;

    // The switches for the tables of `configText`, sorted, each once. Empty for text that is not UTF-8.
    static std::vector<std::string> disabledTableSwitches(const std::string& configText);

private:
    std::optional<std::string> npmGlobalPrefix(const std::map<std::string, std::string>& variables) const;

    const HostEnvironment& host_;
};

}  // namespace quillon
