#include "platform/linux/audio/PulseConnection.h"

namespace quillon {

PulseConnection::PulseConnection(const std::string& clientName) {
    loop_ = pa_threaded_mainloop_new();
    pa_proplist* properties = pa_proplist_new();
    pa_proplist_sets(properties, PA_PROP_APPLICATION_NAME, "Quillon");
    pa_proplist_sets(properties, PA_PROP_APPLICATION_ID, "quillon");
    pa_proplist_sets(properties, PA_PROP_APPLICATION_ICON_NAME, "quillon");
    context_ = pa_context_new_with_proplist(pa_threaded_mainloop_get_api(loop_), clientName.c_str(), properties);
    pa_proplist_free(properties);
    pa_context_set_state_callback(context_, &PulseConnection::contextStateChanged, this);
}

PulseConnection::~PulseConnection() {
    if (started_) {
        pa_threaded_mainloop_lock(loop_);
        pa_context_set_state_callback(context_, nullptr, nullptr);
        pa_context_disconnect(context_);
        pa_threaded_mainloop_unlock(loop_);
        pa_threaded_mainloop_stop(loop_);
    }
    pa_context_unref(context_);
    pa_threaded_mainloop_free(loop_);
}

std::expected<void, AudioCaptureError> PulseConnection::connect() {
    const auto failure = [this](std::string detail) {
        return std::unexpected(AudioCaptureError{AudioCaptureError::Kind::soundServerUnavailable, std::move(detail)});
    };
    if (pa_context_connect(context_, nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr) < 0) return failure(lastError());
    if (pa_threaded_mainloop_start(loop_) < 0) return failure("its event thread could not start");
    started_ = true;
    Locked lock(*this);
    const bool ready = waitUntil([this] { return pa_context_get_state(context_) == PA_CONTEXT_READY; });
    if (!ready) return failure(lastError());
    wasReady_ = true;
    return {};
}

bool PulseConnection::waitUntil(const std::function<bool()>& done) {
    for (;;) {
        if (done()) return true;
        if (!isHealthy()) return false;
        pa_threaded_mainloop_wait(loop_);
    }
}

bool PulseConnection::await(pa_operation* operation) {
    if (!operation) return false;
    const bool finished = waitUntil([operation] { return pa_operation_get_state(operation) != PA_OPERATION_RUNNING; });
    if (!finished) pa_operation_cancel(operation);
    pa_operation_unref(operation);
    return finished;
}

bool PulseConnection::isHealthy() const {
    const auto state = pa_context_get_state(context_);
    return state != PA_CONTEXT_FAILED && state != PA_CONTEXT_TERMINATED;
}

std::string PulseConnection::lastError() const { return pa_strerror(pa_context_errno(context_)); }

void PulseConnection::contextStateChanged(pa_context* context, void* self) {
    auto& connection = *static_cast<PulseConnection*>(self);
    const auto state = pa_context_get_state(context);
    if ((state == PA_CONTEXT_FAILED || state == PA_CONTEXT_TERMINATED) && connection.wasReady_ && connection.onLost) {
        connection.onLost();
    }
    connection.signal();
}

}  // namespace quillon
