#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string_view>

namespace quillon {

// One loaded sound. It plays to its end only while someone holds it.
class Sound {
public:
    virtual ~Sound() = default;
    virtual void play() = 0;
};

// The program's bundled sounds and the sound server that plays them. Main thread only.
class SoundPlayer {
public:
    virtual ~SoundPlayer() = default;

    // The installed resource `name`.`extension`, or absent when the installation lacks it.
    virtual std::optional<std::filesystem::path> soundResource(std::string_view name, std::string_view extension) = 0;

    // Reads the whole file into a playable sound; null when it cannot be decoded.
    virtual std::shared_ptr<Sound> loadSound(const std::filesystem::path& file) = 0;
};

}  // namespace quillon
