#pragma once

#include <pulse/pulseaudio.h>

#include <expected>
#include <functional>
#include <string>

#include "core/ports/AudioCaptureError.h"

namespace quillon {

// One connection to the sound server with its own threaded main loop (PulseAudio, or PipeWire
// through pipewire-pulse). Every stream callback of the adapters runs on that loop's thread with
// the loop's lock held.
//
// Lock rules: the loop's lock guards the context, every stream made on it and the adapters' state
// that the callbacks touch. Other threads take it through Locked, only for short steps (create or
// drop a stream, swap a handler); the loop thread never waits for another thread. Blocking waits
// (connect, a stream getting ready, a query) run on the calling thread with the lock held and are
// woken by the loop; a server that goes away fails the context, which ends every wait.
class PulseConnection {
public:
    explicit PulseConnection(const std::string& clientName);
    ~PulseConnection();  // stops the loop thread, then frees the context and the loop
    PulseConnection(const PulseConnection&) = delete;
    PulseConnection& operator=(const PulseConnection&) = delete;

    // Connects and starts the loop thread; blocks until the server answers or refuses.
    std::expected<void, AudioCaptureError> connect();

    // Holds the loop's lock for a scope.
    class Locked {
    public:
        explicit Locked(PulseConnection& connection) : loop_(connection.loop_) { pa_threaded_mainloop_lock(loop_); }
        ~Locked() { pa_threaded_mainloop_unlock(loop_); }
        Locked(const Locked&) = delete;
        Locked& operator=(const Locked&) = delete;

    private:
        pa_threaded_mainloop* loop_;
    };

    // With the lock held: waits until `done` is true or the context has failed. False on failure.
    // Replaces a value the loop thread reads (a handler): under the loop's lock while `connection`
    // exists, directly before it does.
    template <class T>
    static void assign(PulseConnection* connection, T& field, T value) {
        if (!connection) {
            field = std::move(value);
            return;
        }
        Locked lock(*connection);
        field = std::move(value);
    }

    bool waitUntil(const std::function<bool()>& done);
    // With the lock held: runs `operation` to its end (or the context's failure). False on failure.
    bool await(pa_operation* operation);
    // From a callback: wakes the waits.
    void signal() { pa_threaded_mainloop_signal(loop_, 0); }

    bool isHealthy() const;
    pa_context* context() const { return context_; }
    std::string lastError() const;

    // Called on the loop thread, with the lock held, when the connection fails after it was ready.
    std::function<void()> onLost;

private:
    static void contextStateChanged(pa_context* context, void* self);

    pa_threaded_mainloop* loop_ = nullptr;
    pa_context* context_ = nullptr;
    bool started_ = false;
    bool wasReady_ = false;
};

}  // namespace quillon
