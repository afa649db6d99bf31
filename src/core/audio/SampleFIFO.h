#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace quillon {

// The mixer's backlog of one source: at most one second (48000 samples) waits; older samples
// are dropped. The array is compacted only when its consumed front has grown past 8000 samples
// or past half the array, so a take does not shift it every time.
class SampleFIFO {
public:
    static constexpr std::size_t maximumAvailable = 48000;
    static constexpr std::size_t compactionThreshold = 8000;

    SampleFIFO();

    // Appends the block's samples; an odd last byte is ignored.
    void append(std::span<const std::byte> block);
    void append(std::span<const std::int16_t> samples);

    // Fills `out` with the next samples, zero-padded at the end when fewer are available.
    void take(std::span<std::int16_t> out);

    void clear();
    std::size_t available() const { return samples_.size() - readIndex_; }
    std::size_t readIndex() const { return readIndex_; }

private:
    void compact();
    void limit();

    std::vector<std::int16_t> samples_;
    std::size_t readIndex_ = 0;
};

}  // namespace quillon
