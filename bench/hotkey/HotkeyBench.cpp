// The hotkey's figure: an unmatched key event through HotkeyManager, allocations (target: none)
// and time per event. Every key event of the session takes this path. The way from a key press to
// a recording, this included, is bench_dictation's.
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <new>

#include "core/base/ManualScheduler.h"
#include "core/hotkey/HotkeyManager.h"
#include "fakes/FakeKeyEventSource.h"
#include "fakes/FakeKeyValueStore.h"
#include "fakes/FakeLoginItem.h"
#include "fakes/TestLog.h"

namespace {

std::atomic<long> allocations = 0;

}  // namespace

void* operator new(std::size_t size) {
    ++allocations;
    if (void* memory = std::malloc(size == 0 ? 1 : size)) return memory;
    throw std::bad_alloc();
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

using namespace quillon;
using Clock = std::chrono::steady_clock;

namespace {

void unmatchedEvents() {
    ManualScheduler main;
    testing::TestLog log(main);
    testing::FakeKeyValueStore store;
    testing::FakeLoginItem loginItem;
    SettingsManager settings(store, loginItem, log.logger(LogCategory::settings));
    testing::FakeKeyEventSource source;
    HotkeyManager hotkey(main, source, settings, log.logger(LogCategory::hotkey));
    hotkey.start();
    main.runUntilIdle();

    constexpr int count = 1'000'000;
    const KeyEvent events[] = {{KeyEventType::keyDown, 30, 0}, {KeyEventType::keyUp, 30, 0},
                               {KeyEventType::flagsChanged, 42, modifier::shift}};
    const long before = allocations.load();
    const auto start = Clock::now();
    int swallowed = 0;
    for (int i = 0; i < count; ++i) {
        swallowed += source.onKeyEvent(events[i % 3]) == KeyEventDisposition::swallow;
    }
    const auto elapsed = std::chrono::duration<double, std::nano>(Clock::now() - start).count();
    std::printf("unmatched key event: %.1f ns, %ld allocations in %d events (%d swallowed)\n", elapsed / count,
                allocations.load() - before, count, swallowed);
}

}  // namespace

int main() {
    unmatchedEvents();
    return 0;
}
