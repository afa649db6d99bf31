#pragma once

#include <memory>
#include <set>
#include <string>
#include <vector>

#include "core/ports/SoundPlayer.h"
#include "fakes/CallJournal.h"

namespace quillon::testing {

class FakeSound final : public quillon::Sound {
public:
    FakeSound(std::string soundName, CallJournal* callJournal) : name(std::move(soundName)), journal(callJournal) {}
    void play() override {
        ++playCount;
        note(journal, "sound.play(" + name + ")");
    }

    std::string name;
    int playCount = 0;
    CallJournal* journal;
};

// Bundled sounds by name. A test removes a resource or makes one undecodable, and watches
// whether the sounds played are still held by someone.
class FakeSoundPlayer final : public quillon::SoundPlayer {
public:
    std::optional<std::filesystem::path> soundResource(std::string_view name, std::string_view extension) override {
        if (!resources.contains(std::string(name))) return std::nullopt;
        return std::filesystem::path("/usr/share/quillon/sounds") / (std::string(name) + "." + std::string(extension));
    }

    std::shared_ptr<quillon::Sound> loadSound(const std::filesystem::path& file) override {
        const std::string name = file.stem().string();
        if (undecodable.contains(name)) return nullptr;
        auto sound = std::make_shared<FakeSound>(name, journal);
        loaded.push_back(sound);
        return sound;
    }

    // Sounds loaded so far that somebody still holds.
    std::size_t heldCount() const {
        std::size_t held = 0;
        for (const auto& weak : loaded) held += weak.expired() ? 0 : 1;
        return held;
    }

    std::set<std::string> resources{"Start", "End"};
    std::set<std::string> undecodable;
    std::vector<std::weak_ptr<FakeSound>> loaded;
    CallJournal* journal = nullptr;
};

}  // namespace quillon::testing
