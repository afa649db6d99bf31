#pragma once

#include <atomic>
#include <filesystem>
#include <map>
#include <memory>
#include <vector>

#include "core/logging/Logger.h"
#include "core/ports/SoundPlayer.h"
#include "platform/linux/sound/PulseServerConnection.h"

namespace quillon {

// Plays the bundled sounds through the sound server's sample cache: each file is decoded once
// (FFmpeg), uploaded once, and then played by name, which starts without the delay of opening a
// stream. A play asked for while the upload is still under way starts when it completes. When
// the server restarts, its cache is gone and the next load uploads again.
//
// Lock rules: the samples' upload state is read and written only with the loop lock held (inside
// PulseServerConnection::withContext or a libpulse callback); the map of samples belongs to the main
// thread.
class SoundPlayerPulse final : public SoundPlayer {
public:
    struct Sample;

    // Sounds are looked up in `resourceDirectories`, in order.
    SoundPlayerPulse(PulseServerConnection& connection, std::vector<std::filesystem::path> resourceDirectories, Logger logger);
    ~SoundPlayerPulse() override;

    std::optional<std::filesystem::path> soundResource(std::string_view name, std::string_view extension) override;
    std::shared_ptr<Sound> loadSound(const std::filesystem::path& file) override;

    // The name a sound has in the server's sample cache.
    static std::string cacheName(const std::filesystem::path& file);

private:
    PulseServerConnection& connection_;
    std::vector<std::filesystem::path> resourceDirectories_;
    Logger logger_;
    std::map<std::filesystem::path, std::shared_ptr<Sample>> samples_;
    std::shared_ptr<std::atomic<unsigned>> connectionsLost_ = std::make_shared<std::atomic<unsigned>>(0);
};

}  // namespace quillon
