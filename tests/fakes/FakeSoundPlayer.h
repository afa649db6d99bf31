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
    FakeSound(std::string name, CallJournal* journal) : name_(std::move(name)), journal_(journal) {}
    void play() override { note(journal_, "sound.play(" + name_ + ")"); }

private:
    std::string name_;
    CallJournal* journal_;
};

// Bundled sounds by name. A test removes a resource or makes one undecodable, and watches
// whether the sounds loaded are still held by someone.
class FakeSoundPlayer final : public quillon::SoundPlayer {
public:
    std::optional<std::filesystem::path> soundResource(std::string_view name, std::string_view extension) override {
        if (missing.contains(name)) return std::nullopt;
        return "/usr/share/quillon/sounds/" + std::string(name) + "." + std::string(extension);
    }
    std::shared_ptr<quillon::Sound> loadSound(const std::filesystem::path& file) override {
        if (undecodable.contains(file.stem().string())) return nullptr;
        auto sound = std::make_shared<FakeSound>(file.stem().string(), journal);
        loaded.push_back(sound);
        return sound;
    }

    std::set<std::string, std::less<>> missing;
    std::set<std::string, std::less<>> undecodable;
    std::vector<std::weak_ptr<quillon::Sound>> loaded;
    CallJournal* journal = nullptr;
};

}  // namespace quillon::testing
