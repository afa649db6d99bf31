#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>

#include "core/ports/SystemAudioProcesses.h"
#include "platform/linux/audio/PulseApplicationIdentity.h"
#include "platform/linux/audio/PulseConnection.h"

namespace quillon {

// The streams that play to the sound server (its sink inputs), each named by the application it
// belongs to. A connection of its own follows the server's sink-input events, so processes() only
// copies the last list; a paused (corked) stream is listed but not playing. When the server goes
// away the list empties, and processes() tries to connect again at most every five seconds.
//
// Threads and lock rules: the list is written on the connection's loop thread and read by
// processes() on any thread, both under `mutex_`, held only to copy or change one entry. Identity
// lookups run on the loop thread, before the lock is taken.
class SystemAudioProcessesPulse final : public SystemAudioProcesses {
public:
    explicit SystemAudioProcessesPulse(DesktopEntryIndex& index) : identity_(index) {}
    ~SystemAudioProcessesPulse() override;

    std::vector<SystemAudioProcess> processes() override;

private:
    void connect();
    void update(const pa_sink_input_info& info);
    static void event(pa_context* context, pa_subscription_event_type_t type, std::uint32_t index, void* self);

    PulseApplicationIdentity identity_;
    std::unique_ptr<PulseConnection> connection_;  // owner thread
    std::chrono::steady_clock::time_point lastAttempt_{};
    std::mutex mutex_;
    std::map<std::uint32_t, SystemAudioProcess> streams_;  // by sink input, guarded by mutex_
    bool connected_ = false;                               // guarded by mutex_
};

}  // namespace quillon
