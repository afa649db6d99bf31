// The Start and End sounds through the private sound server: uploaded to its sample cache and
// heard on the speakers' monitor.
#include <gtest/gtest.h>

#include <pulse/simple.h>

#include <cstdlib>
#include <future>
#include <thread>

#include "SoundSession.h"
#include "platform/linux/sound/SoundPlayerPulse.h"

namespace quillon {
namespace {

using testing::run;
using testing::serverDeadline;

// Listens on the default sink's monitor while a silent stream keeps the sink running (a null
// sink delivers nothing while nothing plays, as a real sound card would). `listening` is set once
// audio flows; the answer is the loudest sample within about three seconds of audio.
class SpeakerListener {
public:
    SpeakerListener() {
        silence_ = std::jthread([this](std::stop_token stop) {
            const pa_sample_spec sampleSpecification{PA_SAMPLE_S16LE, 48000, 1};
            pa_simple* stream = pa_simple_new(nullptr, "Quillon test", PA_STREAM_PLAYBACK, "speakers", "silence", &sampleSpecification,
                                              nullptr, nullptr, nullptr);
            if (!stream) return;
            const std::vector<std::int16_t> quiet(480, 0);
            while (!stop.stop_requested() && pa_simple_write(stream, quiet.data(), quiet.size() * 2, nullptr) >= 0) {}
            pa_simple_free(stream);
        });
        loudest_ = std::async(std::launch::async, [this] { return listen(); });
    }
    ~SpeakerListener() { silence_.request_stop(); }

    std::future<void> listening() { return listening_.get_future(); }
    std::future<int>& loudest() { return loudest_; }

private:
    int listen() {
        const pa_sample_spec sampleSpecification{PA_SAMPLE_S16LE, 48000, 1};
        const pa_buffer_attr attributes{static_cast<std::uint32_t>(-1), static_cast<std::uint32_t>(-1),
                                        static_cast<std::uint32_t>(-1), static_cast<std::uint32_t>(-1), 960 * 2};
        pa_simple* stream = pa_simple_new(nullptr, "Quillon test", PA_STREAM_RECORD, "speakers.monitor", "listen", &sampleSpecification,
                                          nullptr, &attributes, nullptr);
        if (!stream) {
            listening_.set_value();
            return -1;
        }
        int loudest = 0;
        std::vector<std::int16_t> block(960);
        for (int i = 0; i < 150 && loudest < 1000; ++i) {
            if (pa_simple_read(stream, block.data(), block.size() * 2, nullptr) < 0) break;
            if (i == 0) listening_.set_value();
            for (std::int16_t sample : block) loudest = std::max(loudest, std::abs(static_cast<int>(sample)));
        }
        pa_simple_free(stream);
        return loudest;
    }

    std::promise<void> listening_;
    std::future<int> loudest_;
    std::jthread silence_;
};

// The sounds are found in the first folder that has them, and a missing one is skipped.
TEST(SoundPlayerPulse, PlaysABundledSoundFromTheServersSampleCache) {
    QUILLON_REQUIRE_SOUND_SERVER();
    testing::SoundServer server;
    SoundPlayerPulse player(server.connection, {"/nonexistent", QUILLON_SOUNDS_DIR},
                            server.log.logger(LogCategory::audio));
    EXPECT_FALSE(player.soundResource("Start", "wav"));
    EXPECT_EQ(player.loadSound(std::filesystem::path(QUILLON_SOUNDS_DIR) / "Missing.m4a"), nullptr);
    const auto start = player.soundResource("Start", "m4a");
    ASSERT_EQ(start, std::filesystem::path(QUILLON_SOUNDS_DIR) / "Start.m4a");
    auto sound = player.loadSound(*start);
    ASSERT_NE(sound, nullptr);

    SpeakerListener listener;
    ASSERT_EQ(listener.listening().wait_for(serverDeadline), std::future_status::ready);
    sound->play();
    ASSERT_EQ(listener.loudest().wait_for(serverDeadline), std::future_status::ready);
    EXPECT_GE(listener.loudest().get(), 1000);
    EXPECT_NE(run("pactl list samples short").find("quillon-Start"), std::string::npos);
}

}  // namespace
}  // namespace quillon
