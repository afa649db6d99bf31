#pragma once

#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include "DesktopSession.h"
#include "core/base/ManualScheduler.h"
#include "fakes/TestLog.h"
#include "platform/linux/sound/PulseServerConnection.h"

namespace quillon::testing {

// The deadline after which a test that waits for the sound server gives up and fails.
inline constexpr auto serverDeadline = std::chrono::seconds(20);

// Skips unless the private desktop session's sound server runs.
#define QUILLON_REQUIRE_SOUND_SERVER()                                                                   \
    if (const auto why = testing::sessionLacks({"sound server"}); !why.empty()) GTEST_SKIP() << why

// Runs a shell command and returns its standard output.
inline std::string run(const std::string& command) {
    std::string output;
    std::unique_ptr<FILE, int (*)(FILE*)> pipe(::popen(command.c_str(), "r"), ::pclose);
    if (!pipe) return output;
    std::array<char, 512> buffer{};
    while (std::fgets(buffer.data(), static_cast<int>(buffer.size()), pipe.get())) output += buffer.data();
    return output;
}

// A connection to the sound server (PULSE_SERVER's when it is made), its log kept in memory.
struct SoundServer {
    quillon::ManualScheduler ring;
    TestLog log{ring};
    PulseServerConnection connection{"Quillon test", log.logger(LogCategory::audio)};
};

}  // namespace quillon::testing
