#pragma once

#include <algorithm>
#include <cstdlib>
#include <initializer_list>
#include <string>
#include <string_view>

namespace quillon::testing {

// Why a test cannot run here, or empty when it can: outside tests/integration/desktop-session, or
// in a session that could not start one of `services` as QUILLON_SESSION_MISSING names them ("X
// server", "sound server", ...; with none named, anything missing).
inline std::string sessionLacks(std::initializer_list<std::string_view> services = {}) {
    if (!std::getenv("QUILLON_TEST_SESSION")) return "not inside tests/integration/desktop-session";
    const char* variable = std::getenv("QUILLON_SESSION_MISSING");
    const std::string missing = variable ? variable : "";
    const bool lacking =
        services.size() == 0
            ? !missing.empty()
            : std::ranges::any_of(services, [&](std::string_view s) { return missing.contains(s); });
    return lacking ? "the desktop session lacks: " + missing : std::string();
}

}  // namespace quillon::testing
