#pragma once

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace quillon {

// A bounded hand-over from one producer thread to one consumer thread, with all of its memory
// taken at construction: pushing and popping never allocate, never lock and never wait, so the
// audio thread may push.
//
// Threads: at any moment one thread pushes and one thread pops. Another thread may take over
// either side only after the one before it has stopped, with a happens-before edge between
// them (a join, a mutex, a queue hop).
//
// Full: a push that does not fit as a whole stores nothing and returns false; the caller decides
// what that means (the speech session drops the block and counts it).
template <typename T>
class SpscRing {
public:
    explicit SpscRing(std::size_t capacity) : slots_(std::max<std::size_t>(capacity, 1)) {}

    SpscRing(const SpscRing&) = delete;
    SpscRing& operator=(const SpscRing&) = delete;

    std::size_t capacity() const { return slots_.size(); }

    // Producer: stores `count` values made by `make(i)` for i in [0, count), all or none.
    template <typename Make>
    bool tryPushWith(std::size_t count, Make&& make) {
        const std::uint64_t write = write_.load(std::memory_order_relaxed);
        const std::uint64_t read = read_.load(std::memory_order_acquire);
        if (count > capacity() - static_cast<std::size_t>(write - read)) return false;
        for (std::size_t i = 0; i < count; ++i) slots_[(write + i) % capacity()] = make(i);
        write_.store(write + count, std::memory_order_release);
        return true;
    }

    bool tryPush(std::span<const T> values) {
        return tryPushWith(values.size(), [values](std::size_t i) { return values[i]; });
    }

    // Consumer: moves up to out.size() values into `out`, oldest first; returns how many.
    std::size_t pop(std::span<T> out) {
        const std::uint64_t read = read_.load(std::memory_order_relaxed);
        const std::uint64_t write = write_.load(std::memory_order_acquire);
        const std::size_t count = std::min(out.size(), static_cast<std::size_t>(write - read));
        for (std::size_t i = 0; i < count; ++i) out[i] = std::move(slots_[(read + i) % capacity()]);
        read_.store(read + count, std::memory_order_release);
        return count;
    }

    // Producer: room for at least this many values (the consumer may only make more).
    std::size_t freeRoom() const { return capacity() - size(); }

    // Consumer: how many values wait. (From the producer's side, a lower bound of the free room.)
    std::size_t size() const {
        return static_cast<std::size_t>(write_.load(std::memory_order_acquire) - read_.load(std::memory_order_acquire));
    }

private:
    std::vector<T> slots_;
    // Monotonic counts of the values pushed and popped; a slot is its count modulo the capacity.
    // Each on a cache line of its own, so that the two sides do not slow each other down.
    alignas(64) std::atomic<std::uint64_t> write_{0};
    alignas(64) std::atomic<std::uint64_t> read_{0};
};

}  // namespace quillon
