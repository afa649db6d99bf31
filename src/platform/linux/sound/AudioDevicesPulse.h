#pragma once

#include <functional>
#include <memory>
#include <mutex>

#include "core/ports/AudioDevices.h"
#include "platform/linux/sound/PulseServerConnection.h"

namespace quillon {

// The microphones of the sound server; see SOUND.md beside this file for the mapping.
// Lock rules: `handler_` is set on the main thread and read on the loop's thread under `mutex_`.
class AudioDevicesPulse final : public AudioDevices {
public:
    explicit AudioDevicesPulse(PulseServerConnection& connection);

    void listInputDevices(ListCompletion completion) override;
    void setOnDevicesChanged(std::function<void()> handler) override;

private:
    PulseServerConnection& connection_;
    std::shared_ptr<std::mutex> mutex_ = std::make_shared<std::mutex>();
    std::shared_ptr<std::function<void()>> handler_ = std::make_shared<std::function<void()>>();
};

}  // namespace quillon
