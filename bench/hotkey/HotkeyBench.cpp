// The hotkey's figures:
//   - an unmatched key event through HotkeyManager: allocations (target: none) and time per event;
//   - with a display: from a key press at the X server (XTest) to onStartRecording on the main
//     queue, through HotkeysX11 and the Qt main loop (target: median at most 2 ms).
#include <QCoreApplication>

#include <X11/Xlib.h>
#include <X11/extensions/XTest.h>
#include <X11/keysym.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <vector>

#include "core/base/ManualScheduler.h"
#include "core/hotkey/HotkeyManager.h"
#include "fakes/FakeKeyEventSource.h"
#include "fakes/FakeKeyValueStore.h"
#include "fakes/FakeLoginItem.h"
#include "fakes/TestLog.h"
#include "platform/linux/base/QtMainScheduler.h"
#include "platform/linux/hotkey/HotkeysX11.h"

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

void pressToStart(int argc, char** argv) {
    if (!std::getenv("DISPLAY")) {
        std::printf("press to onStartRecording: skipped, no display\n");
        return;
    }
    QCoreApplication application(argc, argv);
    QtMainScheduler main(&application);
    ManualScheduler logQueue;
    testing::TestLog log(logQueue);
    testing::FakeKeyValueStore store;
    testing::FakeLoginItem loginItem;
    SettingsManager settings(store, loginItem, log.logger(LogCategory::settings));
    settings.setHotkeyKeyCode(68);  // F10
    settings.setHotkeyModifiers(0);
    HotkeysX11 source(main, log.logger(LogCategory::hotkey));
    HotkeyManager hotkey(main, source, settings, log.logger(LogCategory::hotkey));
    Clock::time_point started;
    bool tapped = false;
    hotkey.onStartRecording = [&] { started = Clock::now(); };
    hotkey.onRecordingModeChanged = [&](bool) { tapped = true; };
    hotkey.start();

    Display* display = XOpenDisplay(nullptr);
    const KeyCode f10 = XKeysymToKeycode(display, XK_F10);
    auto serveUntil = [&](auto condition) {
        const auto deadline = Clock::now() + std::chrono::seconds(5);
        while (!condition() && Clock::now() < deadline) QCoreApplication::processEvents(QEventLoop::AllEvents, 1);
        return condition();
    };
    std::vector<double> latencies;
    for (int i = 0; i < 220; ++i) {
        started = {};
        tapped = false;
        const auto pressed = Clock::now();
        XTestFakeKeyEvent(display, f10, True, CurrentTime);
        XFlush(display);
        if (!serveUntil([&] { return started != Clock::time_point{}; })) break;
        XTestFakeKeyEvent(display, f10, False, CurrentTime);
        XFlush(display);
        if (!serveUntil([&] { return tapped; })) break;
        hotkey.resetToIdle();
        logQueue.runUntilIdle();
        // The first presses race the grab being taken and warm the caches.
        if (i >= 20) latencies.push_back(std::chrono::duration<double, std::milli>(started - pressed).count());
    }
    hotkey.stop();
    XCloseDisplay(display);
    if (latencies.empty()) {
        std::printf("press to onStartRecording: no press was seen\n");
        return;
    }
    std::sort(latencies.begin(), latencies.end());
    std::printf("press to onStartRecording: median %.3f ms, 95th percentile %.3f ms over %zu presses\n",
                latencies[latencies.size() / 2], latencies[latencies.size() * 95 / 100], latencies.size());
}

}  // namespace

int main(int argc, char** argv) {
    unmatchedEvents();
    pressToStart(argc, argv);
    return 0;
}
