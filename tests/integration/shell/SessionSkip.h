#pragma once

#include <QApplication>

#include <cstdlib>
#include <string>

namespace quillon::testing {

// Why these tests cannot run here, or empty when the desktop session has an X server.
inline std::string missingDisplayReason() {
    if (qobject_cast<QApplication*>(QCoreApplication::instance()) != nullptr) return {};
    const char* missing = std::getenv("QUILLON_SESSION_MISSING");
    return std::string("no X server in this session (") + (missing != nullptr ? missing : "run inside tests/integration/desktop-session") + ")";
}

}  // namespace quillon::testing

#define QUILLON_SKIP_WITHOUT_DISPLAY()                                                  \
    if (const std::string reason = ::quillon::testing::missingDisplayReason(); !reason.empty()) \
    GTEST_SKIP() << reason
