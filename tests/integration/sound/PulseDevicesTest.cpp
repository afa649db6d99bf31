// Microphones and microphone permission against the private sound server of the desktop session,
// whose default source "mic" (Test-Microphone) is a null sink's monitor remapped as a real source.
#include <gtest/gtest.h>

#include <algorithm>
#include <condition_variable>
#include <future>
#include <mutex>

#include "SoundSession.h"
#include "platform/linux/sound/AudioDevicesPulse.h"
#include "platform/linux/sound/MicrophoneAccessPulse.h"

namespace quillon {
namespace {

using testing::run;
using testing::serverDeadline;

std::vector<AudioInputDevice> listNow(AudioDevicesPulse& devices) {
    std::promise<std::vector<AudioInputDevice>> listed;
    devices.listInputDevices([&listed](auto result) { listed.set_value(result ? *result : std::vector<AudioInputDevice>{}); });
    auto future = listed.get_future();
    EXPECT_EQ(future.wait_for(serverDeadline), std::future_status::ready);
    return future.get();
}

bool hasDevice(const std::vector<AudioInputDevice>& devices, const std::string& uid) {
    return std::ranges::any_of(devices, [&](const auto& device) { return device.uid == uid; });
}

TEST(AudioDevicesPulse, ListsMicrophonesByDescriptionWithoutMonitorsAndReportsOnePluggedInAndOut) {
    QUILLON_REQUIRE_SOUND_SERVER();
    testing::SoundServer server;
    AudioDevicesPulse devices(server.connection);
    std::mutex mutex;
    std::condition_variable changed;
    int changes = 0;
    devices.setOnDevicesChanged([&] {
        std::lock_guard guard(mutex);
        ++changes;
        changed.notify_all();
    });
    const auto listed = listNow(devices);  // connected and subscribed from here
    EXPECT_NE(std::ranges::find(listed, AudioInputDevice{"mic", "Test-Microphone"}), listed.end());
    for (const auto& device : listed) EXPECT_FALSE(device.uid.ends_with(".monitor")) << device.uid;
    ASSERT_FALSE(hasDevice(listed, "usbmic"));

    // Waits for change reports until the list says what is expected.
    const auto waitUntil = [&](bool present) {
        std::unique_lock lock(mutex);
        int seen = 0;
        while (true) {
            if (!changed.wait_for(lock, serverDeadline, [&] { return changes > seen; })) return false;
            seen = changes;
            lock.unlock();
            const bool found = hasDevice(listNow(devices), "usbmic");
            lock.lock();
            if (found == present) return true;
        }
    };

    const std::string sinkModule = run("pactl load-module module-null-sink sink_name=usbmic_sink");
    const std::string sourceModule = run(
        "pactl load-module module-remap-source source_name=usbmic master=usbmic_sink.monitor "
        "source_properties=device.description=USB-Microphone");
    ASSERT_FALSE(sourceModule.empty());
    EXPECT_TRUE(waitUntil(true));
    run("pactl unload-module " + sourceModule);
    EXPECT_TRUE(waitUntil(false));
    run("pactl unload-module " + sinkModule);
}

// Granted when the server has a microphone, denied when no server answers.
TEST(MicrophoneAccessPulse, GrantedOnlyWhenASoundServerWithAMicrophoneAnswers) {
    QUILLON_REQUIRE_SOUND_SERVER();
    struct RestoreServer {
        std::string server = std::getenv("PULSE_SERVER") ? std::getenv("PULSE_SERVER") : "";
        ~RestoreServer() { ::setenv("PULSE_SERVER", server.c_str(), 1); }
    } restore;
    for (const bool serverAnswers : {true, false}) {
        SCOPED_TRACE(serverAnswers ? "the session's server" : "no server");
        if (!serverAnswers) ::setenv("PULSE_SERVER", "unix:/nonexistent/quillon/native", 1);
        testing::SoundServer server;
        MicrophoneAccessPulse access(server.connection);
        EXPECT_EQ(access.recordPermission(), RecordPermission::undetermined);
        std::promise<bool> answered;
        access.requestRecordPermission([&answered](bool granted) { answered.set_value(granted); });
        auto future = answered.get_future();
        ASSERT_EQ(future.wait_for(serverDeadline), std::future_status::ready);
        EXPECT_EQ(future.get(), serverAnswers);
        EXPECT_EQ(access.recordPermission(), serverAnswers ? RecordPermission::granted : RecordPermission::denied);
    }
}

}  // namespace
}  // namespace quillon
