#pragma once

#include <atomic>
#include <mutex>
#include <optional>
#include <thread>

#include "core/base/Scheduler.h"
#include "core/base/WeakOwner.h"
#include "core/logging/Logger.h"
#include "core/ports/KeyEventSource.h"

namespace quillon {

// Every key event of the X11 desktop, for the hotkey logic. XInput2 raw key events on the root
// window report each key going down and up whoever has the focus or a grab; XKB state
// notifications give the modifier and lock flags and the flagsChanged events. The keys to swallow
// are held back with passive grabs (XGrabKey), each taken with and without Num Lock. A passive
// grab turns into an active grab of the whole keyboard while its key is down, which would also
// take the keys typed into the focused field meanwhile; the grab is therefore let go as soon as
// its press arrives, and the raw events still report the release.
//
// Threads: the adapter owns its X connection and a thread that alone uses it. start() and stop()
// run on the main thread, hand the wanted keys to the thread under `mutex_` (held only to copy
// them) and wake it through an eventfd; the thread posts every event and failure to the main
// queue and never waits on the main thread, nor the main thread on X.
class HotkeysX11 final : public KeyEventSource {
public:
    HotkeysX11(Scheduler& main, Logger logger);
    ~HotkeysX11() override;
    HotkeysX11(const HotkeysX11&) = delete;
    HotkeysX11& operator=(const HotkeysX11&) = delete;

    void start(SwallowedKeys keys) override;
    void stop() override;

private:
    class Connection;

    void run(std::stop_token stop);
    void deliver(const KeyEvent& event);
    void fail(std::string reason);
    void wake() const;

    Scheduler& main_;
    Logger logger_;
    int wakeFd_ = -1;
    std::mutex mutex_;
    std::optional<SwallowedKeys> wantedKeys_;  // guarded by mutex_; taken by the thread
    std::atomic<unsigned> generation_ = 0;      // raised by stop(): older posts are dropped
    std::jthread thread_;
    WeakOwner weakOwner_;  // posted events drop once the adapter is gone
};

}  // namespace quillon
