#pragma once

#include <expected>
#include <functional>
#include <string>
#include <vector>

namespace quillon {

// One microphone of the sound server: `uid` is the stable key stored in the settings.
struct AudioInputDevice {
    std::string uid;
    std::string name;

    bool operator==(const AudioInputDevice&) const = default;
};

// The machine's microphones, and word when one is plugged in or out.
class AudioDevices {
public:
    using ListCompletion = std::function<void(std::expected<std::vector<AudioInputDevice>, std::string> devices)>;

    virtual ~AudioDevices() = default;

    // Lists the microphones in the server's order. The completion runs once, on any thread.
    virtual void listInputDevices(ListCompletion completion) = 0;

    // Called on any thread when a microphone appears or goes, or the default one changes.
    virtual void setOnDevicesChanged(std::function<void()> handler) = 0;
};

}  // namespace quillon
