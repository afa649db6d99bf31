#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/base/Scheduler.h"
#include "core/base/WeakOwner.h"
#include "core/logging/Logger.h"
#include "core/ports/AudioDevices.h"

namespace quillon {

// One row of the microphone list of the settings window.
struct AudioDevice {
    std::string id;
    std::string name;
    std::string uid;

    bool operator==(const AudioDevice&) const = default;
};

// The stored UID that follows the system's default microphone.
inline constexpr std::string_view systemDefaultDeviceUID = "System Default";

// The microphones to choose from, always led by the "System Default" row, and the microphone a
// recording uses for the stored choice. The list is rebuilt at construction, on request, and
// whenever the sound server reports a microphone plugged in or out.
//
// Threads: the main thread; the port's answers are posted onto it.
class AudioDeviceManager {
public:
    AudioDeviceManager(AudioDevices& audioDevices, Scheduler& main, Logger logger);
    ~AudioDeviceManager();
    AudioDeviceManager(const AudioDeviceManager&) = delete;
    AudioDeviceManager& operator=(const AudioDeviceManager&) = delete;

    void updateDevices();
    const std::vector<AudioDevice>& devices() const { return devices_; }

    // The microphone to record for the stored UID; absent for the system's default. A stored
    // microphone that is no longer there falls back to the default, and the log says so. Before
    // the first list has arrived the stored UID is trusted.
    std::optional<std::string> inputDeviceForUID(const std::string& uid) const;

    // After each rebuild of devices().
    std::function<void()> onDevicesChanged;

private:
    void apply(const std::expected<std::vector<AudioInputDevice>, std::string>& listed);

    AudioDevices& audioDevices_;
    Scheduler& main_;
    Logger logger_;
    std::vector<AudioDevice> devices_;
    bool hasListed_ = false;
    WeakOwner weakOwner_;
};

}  // namespace quillon
