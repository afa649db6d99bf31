#pragma once

#include <pulse/pulseaudio.h>

#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "core/logging/Logger.h"

namespace quillon {

// One connection to the sound server (PulseAudio, or PipeWire through pipewire-pulse) on a
// pa_threaded_mainloop of its own. The adapters of the sound area share it. (Live capture still
// has a connection of its own, audio/PulseConnection; the two are to become one.)
//
// Lock rules:
// - Every pa_* call on the context or its streams runs either inside a libpulse callback (on the
//   loop's thread, which holds the loop lock) or between lock() and unlock() on another thread.
//   Holders of the lock only issue requests; nobody waits for a reply while holding it, and no
//   thread ever waits on the loop (pa_threaded_mainloop_wait is not used), so the GUI thread
//   never blocks on the server.
// - Callbacks given to withContext() run with the loop lock held; they must not call lock().
// - `mutex_` guards the pending operations and the state copy that other threads read; it is
//   taken with the loop lock held, never the other way round.
class PulseServerConnection {
public:
    enum class State { idle, connecting, ready, failed };
    using Operation = std::function<void(pa_context* context)>;  // null context: the server is unreachable

    PulseServerConnection(std::string applicationName, Logger logger);
    ~PulseServerConnection();
    PulseServerConnection(const PulseServerConnection&) = delete;
    PulseServerConnection& operator=(const PulseServerConnection&) = delete;

    // Starts connecting unless connected or connecting. Never waits. Any thread but the loop's.
    void connect();

    // Runs `operation` with the ready context and the loop lock held: at once when connected,
    // else once connected (connecting first), or with null when the connection fails.
    // Any thread but the loop's; from inside a callback use withContextLocked().
    void withContext(Operation operation);
    void withContextLocked(Operation operation);

    State state() const;

    // Called on the loop's thread with the lock held, after the state changed.
    void addStateObserver(std::function<void(State)> observer);
    // Called on the loop's thread with the lock held, for each subscription event of the server.
    void addEventObserver(std::function<void(pa_subscription_event_type_t type, std::uint32_t index)> observer);

    void lock() { pa_threaded_mainloop_lock(loop_); }
    void unlock() { pa_threaded_mainloop_unlock(loop_); }

private:
    static void contextStateChanged(pa_context* context, void* self);
    static void subscriptionEvent(pa_context* context, pa_subscription_event_type_t type, std::uint32_t index, void* self);
    void connectLocked();
    void setState(State state);

    std::string applicationName_;
    Logger logger_;
    pa_threaded_mainloop* loop_ = nullptr;
    pa_context* context_ = nullptr;

    mutable std::mutex mutex_;
    State state_ = State::idle;
    std::vector<Operation> pending_;
    std::vector<std::function<void(State)>> stateObservers_;
    std::vector<std::function<void(pa_subscription_event_type_t, std::uint32_t)>> eventObservers_;
};

}  // namespace quillon
