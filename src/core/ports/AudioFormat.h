#pragma once

#include <cstdint>
#include <vector>

namespace quillon {

// Signed 16-bit samples, interleaved when there is more than one channel. All speech audio of
// the core is in this sample format; only the rate and the channel count vary.
struct AudioFormat {
    double sampleRate = 16000.0;
    int channelCount = 1;

    bool operator==(const AudioFormat&) const = default;
};

// A block of samples in a known format.
struct PCMBuffer {
    AudioFormat format;
    std::vector<std::int16_t> samples;

    std::size_t frameLength() const {
        return format.channelCount > 0 ? samples.size() / static_cast<std::size_t>(format.channelCount) : 0;
    }
};

}  // namespace quillon
