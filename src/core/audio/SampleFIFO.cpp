#include "core/audio/SampleFIFO.h"

#include <algorithm>
#include <cstring>

namespace quillon {

SampleFIFO::SampleFIFO() {
    // The most the array ever holds: a full second, plus the consumed front that waits for
    // compaction, plus one block. Reserving it once keeps the ticks free of allocation.
    samples_.reserve(maximumAvailable + 2 * compactionThreshold + 4096);
}

void SampleFIFO::append(std::span<const std::byte> block) {
    const std::size_t count = block.size() / 2;
    if (count == 0) return;
    const std::size_t oldSize = samples_.size();
    samples_.resize(oldSize + count);
    std::memcpy(samples_.data() + oldSize, block.data(), count * 2);
    compact();
    limit();
}

void SampleFIFO::append(std::span<const std::int16_t> samples) {
    samples_.insert(samples_.end(), samples.begin(), samples.end());
    compact();
    limit();
}

void SampleFIFO::take(std::span<std::int16_t> out) {
    const std::size_t count = std::min(available(), out.size());
    std::copy_n(samples_.begin() + static_cast<std::ptrdiff_t>(readIndex_), count, out.begin());
    std::fill(out.begin() + static_cast<std::ptrdiff_t>(count), out.end(), std::int16_t{0});
    readIndex_ += count;
    compact();
}

void SampleFIFO::clear() {
    samples_.clear();
    readIndex_ = 0;
}

void SampleFIFO::compact() {
    if (readIndex_ >= 1 && (readIndex_ > compactionThreshold || samples_.size() < 2 * readIndex_)) {
        samples_.erase(samples_.begin(), samples_.begin() + static_cast<std::ptrdiff_t>(readIndex_));
        readIndex_ = 0;
    }
}

void SampleFIFO::limit() {
    if (available() <= maximumAvailable) return;
    readIndex_ = samples_.size() - maximumAvailable;
    if (readIndex_ >= 1) {
        samples_.erase(samples_.begin(), samples_.begin() + static_cast<std::ptrdiff_t>(readIndex_));
        readIndex_ = 0;
    }
}

}  // namespace quillon
