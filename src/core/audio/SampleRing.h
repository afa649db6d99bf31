#pragma once

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <span>

namespace quillon {

// A bounded single-producer, single-consumer ring of 16-bit samples that hands audio from an
// audio thread to a worker without a lock and without allocating.
//
// Lock rules: none. One thread writes at a time and one thread reads at a time; a change of
// writer (or reader) must be ordered by the caller, e.g. by a handler swap under the adapter's
// lock. When the ring is full the newest samples are dropped and counted.
class SampleRing {
public:
    // Holds at least `minimumCapacity` samples (rounded up to a power of two).
    explicit SampleRing(std::size_t minimumCapacity) {
        std::size_t capacity = 1;
        while (capacity < minimumCapacity) capacity <<= 1;
        mask_ = capacity - 1;
        samples_ = std::make_unique<std::int16_t[]>(capacity);
    }

    // Producer: appends the block's samples (an odd last byte is ignored). Never blocks.
    void write(std::span<const std::byte> block) {
        const std::size_t count = block.size() / 2;
        if (count == 0) return;
        const std::size_t head = head_.load(std::memory_order_relaxed);
        const std::size_t tail = tail_.load(std::memory_order_acquire);
        const std::size_t room = capacity() - (head - tail);
        const std::size_t taken = std::min(count, room);
        if (taken < count) dropped_.fetch_add(count - taken, std::memory_order_relaxed);
        const std::size_t start = head & mask_;
        const std::size_t first = std::min(taken, capacity() - start);
        std::memcpy(samples_.get() + start, block.data(), first * 2);
        std::memcpy(samples_.get(), block.data() + first * 2, (taken - first) * 2);
        head_.store(head + taken, std::memory_order_release);
    }

    // Consumer: moves up to out.size() samples into `out`; returns how many.
    std::size_t read(std::span<std::int16_t> out) {
        const std::size_t tail = tail_.load(std::memory_order_relaxed);
        const std::size_t head = head_.load(std::memory_order_acquire);
        const std::size_t count = std::min(out.size(), head - tail);
        if (count == 0) return 0;
        const std::size_t start = tail & mask_;
        const std::size_t first = std::min(count, capacity() - start);
        std::memcpy(out.data(), samples_.get() + start, first * 2);
        std::memcpy(out.data() + first, samples_.get(), (count - first) * 2);
        tail_.store(tail + count, std::memory_order_release);
        return count;
    }

    // Consumer: throws away everything written so far.
    void clear() { tail_.store(head_.load(std::memory_order_acquire), std::memory_order_release); }

    std::size_t capacity() const { return mask_ + 1; }
    std::size_t droppedSamples() const { return dropped_.load(std::memory_order_relaxed); }

private:
    std::unique_ptr<std::int16_t[]> samples_;
    std::size_t mask_ = 0;
    alignas(64) std::atomic<std::size_t> head_{0};
    alignas(64) std::atomic<std::size_t> tail_{0};
    std::atomic<std::size_t> dropped_{0};
};

}  // namespace quillon
