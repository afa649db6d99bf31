#pragma once

#include <expected>
#include <optional>
#include <string>

namespace quillon {

// The Codex home the child runs in: a folder of Quillon's own that it rewrites before every start,
// so that nothing in the user's Codex configuration can give the child a tool or keep it from
// starting.
//
// Why a home of our own. Codex reads its whole configuration (tool servers, plug-ins, profiles,
// features, skills, AGENTS.md) from CODEX_HOME, and today's CLI offers the model far more than
// web search: a code tool that reaches a shell, apply_patch, view_image, goals, tool-server
// resources, sub-agents and skills. Switching the user's servers off one `-c` at a time cannot be
// done (the CLI splits `-c` keys at every dot, so a server named "a.b" stops the child from
// starting) and misses whatever the next version adds. So the child gets CODEX_HOME pointed here,
// and this folder holds only:
// - config.toml, written by us: file credentials, web search disabled, every acting feature off,
//   sub-agents and skills off, no servers, no plug-ins, no profiles, no history;
// - auth.json, a symbolic link to the user's own auth.json ($CODEX_HOME/auth.json, else
//   ~/.codex/auth.json). Measured with the CLI: it writes its credentials through the link (also
//   when the user's file does not exist yet), so a sign-in from Quillon's panel lands where the
//   user's own `codex` finds it, and the user's sign-in serves Quillon. A sign-out in the child
//   would remove only the link, which the next start puts back.
// What the CLI keeps for itself (state and log databases) stays here, not in the user's home.
// Credentials kept in the system keyring (cli_auth_credentials_store = "keyring") are filed under
// the home's path and cannot be shared; such a user signs in once more from the panel.
//
// What a tool call still finds: apply_patch and the resource tools cannot be removed by any
// setting; the read-only sandbox and the "never" approval policy of every thread and turn refuse
// the patch, and with no servers there is no resource to read.
class CodexPrivateHome {
public:
    // `folder` is where the home lives; `userCodexHome` is the user's own Codex home, whose
    // auth.json is shared (none when empty). `localModelProvider`, when given, is the base address of a
    // Responses-compatible server the child uses instead of OpenAI's (for development and tests).
    CodexPrivateHome(std::string folder, std::string userCodexHome, std::optional<std::string> localModelProvider = {});

    // Makes the folder (mode 0700; a symbolic link in its place is refused), writes config.toml
    // (0600) afresh and links auth.json. The error says what could not be done; the child must then
    // not start, since it would run with whatever it finds.
    std::expected<void, std::string> prepare() const;

    const std::string& folder() const { return folder_; }

    // The configuration written to config.toml.
    static std::string configText(const std::optional<std::string>& localModelProvider);

private:
    std::string folder_;
    std::string userCodexHome_;
    std::optional<std::string> localModelProvider_;
};

}  // namespace quillon
