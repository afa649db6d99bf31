#include "core/audio/AudioDeviceManager.h"

#include <algorithm>

namespace quillon {

namespace {

AudioDevice systemDefaultRow() {
    return AudioDevice{"system", std::string(systemDefaultDeviceUID), std::string(systemDefaultDeviceUID)};
}

}  // namespace

AudioDeviceManager::AudioDeviceManager(AudioDevices& audioDevices, Scheduler& main, Logger logger)
    : audioDevices_(audioDevices), main_(main), logger_(std::move(logger)) {
    devices_.push_back(systemDefaultRow());
    audioDevices_.setOnDevicesChanged([&main = main_, update = weakOwner_.weakly([this] { updateDevices(); })] {
        main.post(update);
    });
    updateDevices();
}

AudioDeviceManager::~AudioDeviceManager() { audioDevices_.setOnDevicesChanged(nullptr); }

void AudioDeviceManager::updateDevices() {
    auto deliver = weakOwner_.weakly([this](const std::expected<std::vector<AudioInputDevice>, std::string>& listed) {
        apply(listed);
    });
    audioDevices_.listInputDevices([&main = main_, deliver](auto listed) {
        main.post([deliver, listed = std::move(listed)] { deliver(listed); });
    });
}

void AudioDeviceManager::apply(const std::expected<std::vector<AudioInputDevice>, std::string>& listed) {
    std::vector<AudioDevice> rows{systemDefaultRow()};
    if (listed) {
        for (const auto& device : *listed) rows.push_back(AudioDevice{device.uid, device.name, device.uid});
        hasListed_ = true;
    } else {
        logger_.error("Failed to get audio device list: " + listed.error());
    }
    devices_ = std::move(rows);
    if (onDevicesChanged) onDevicesChanged();
}

std::optional<std::string> AudioDeviceManager::inputDeviceForUID(const std::string& uid) const {
    if (uid == systemDefaultDeviceUID) return std::nullopt;
    const bool present = std::ranges::any_of(devices_, [&](const AudioDevice& device) { return device.uid == uid; });
    if (present || !hasListed_) return uid;
    logger_.info("Selected microphone " + uid + " is no longer available; recording from the system default");
    return std::nullopt;
}

}  // namespace quillon
