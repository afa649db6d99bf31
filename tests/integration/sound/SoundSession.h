#pragma once

#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include "core/base/ManualScheduler.h"
#include "fakes/TestLog.h"

namespace quillon::testing {

// The deadline after which a test that waits for the sound server gives up and fails.
inline constexpr auto serverDeadline = std::chrono::seconds(20);

// Skips unless the private desktop session's sound server runs.
#define QUILLON_REQUIRE_SOUND_SERVER()                                                              \
    do {                                                                                            \
        const char* missing = std::getenv("QUILLON_SESSION_MISSING");                               \
        if (!std::getenv("QUILLON_TEST_SESSION")) GTEST_SKIP() << "needs tests/integration/desktop-session"; \
        if (missing && std::string(missing).find("sound server") != std::string::npos)              \
            GTEST_SKIP() << "the sound server could not start";                                     \
    } while (false)

// Runs a shell command and returns its standard output.
inline std::string run(const std::string& command) {
    std::string output;
    std::unique_ptr<FILE, int (*)(FILE*)> pipe(::popen(command.c_str(), "r"), ::pclose);
    if (!pipe) return output;
    std::array<char, 512> buffer{};
    while (std::fgets(buffer.data(), static_cast<int>(buffer.size()), pipe.get())) output += buffer.data();
    return output;
}

struct SoundLog {
    quillon::ManualScheduler ring;
    TestLog log{ring};
};

}  // namespace quillon::testing
