#include "platform/linux/sound/PulseServerConnection.h"

#include <cstdio>
#include <cstdlib>

namespace quillon {

PulseServerConnection::PulseServerConnection(std::string applicationName, Logger logger)
    : applicationName_(std::move(applicationName)), logger_(std::move(logger)) {
    loop_ = pa_threaded_mainloop_new();
    if (!loop_ || pa_threaded_mainloop_start(loop_) < 0) {
        std::fputs("Could not start the sound server's event loop\n", stderr);
        std::abort();
    }
}

PulseServerConnection::~PulseServerConnection() {
    lock();
    if (context_) {
        pa_context_set_state_callback(context_, nullptr, nullptr);
        pa_context_set_subscribe_callback(context_, nullptr, nullptr);
        pa_context_disconnect(context_);
        pa_context_unref(context_);
        context_ = nullptr;
    }
    unlock();
    pa_threaded_mainloop_stop(loop_);
    pa_threaded_mainloop_free(loop_);
}

PulseServerConnection::State PulseServerConnection::state() const {
    std::lock_guard guard(mutex_);
    return state_;
}

void PulseServerConnection::addStateObserver(std::function<void(State)> observer) {
    std::lock_guard guard(mutex_);
    stateObservers_.push_back(std::move(observer));
}

void PulseServerConnection::addEventObserver(std::function<void(pa_subscription_event_type_t, std::uint32_t)> observer) {
    std::lock_guard guard(mutex_);
    eventObservers_.push_back(std::move(observer));
}

void PulseServerConnection::connect() {
    lock();
    connectLocked();
    unlock();
}

void PulseServerConnection::withContext(Operation operation) {
    lock();
    withContextLocked(std::move(operation));
    unlock();
}

void PulseServerConnection::withContextLocked(Operation operation) {
    State current = state();
    if (current == State::ready) {
        operation(context_);
        return;
    }
    {
        std::lock_guard guard(mutex_);
        pending_.push_back(std::move(operation));
    }
    if (current != State::connecting) connectLocked();
}

void PulseServerConnection::connectLocked() {
    const State current = state();
    if (current == State::connecting || current == State::ready) return;
    if (context_) {
        pa_context_set_state_callback(context_, nullptr, nullptr);
        pa_context_set_subscribe_callback(context_, nullptr, nullptr);
        pa_context_disconnect(context_);
        pa_context_unref(context_);
    }
    pa_proplist* properties = pa_proplist_new();
    pa_proplist_sets(properties, PA_PROP_APPLICATION_NAME, applicationName_.c_str());
    pa_proplist_sets(properties, PA_PROP_APPLICATION_ID, "com.lanternmoth.Quillon");
    pa_proplist_sets(properties, PA_PROP_APPLICATION_ICON_NAME, "quillon");
    context_ = pa_context_new_with_proplist(pa_threaded_mainloop_get_api(loop_), applicationName_.c_str(), properties);
    pa_proplist_free(properties);
    pa_context_set_state_callback(context_, &PulseServerConnection::contextStateChanged, this);
    pa_context_set_subscribe_callback(context_, &PulseServerConnection::subscriptionEvent, this);
    setState(State::connecting);
    if (pa_context_connect(context_, nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr) < 0) {
        logger_.error(std::string("Could not reach the sound server: ") + pa_strerror(pa_context_errno(context_)));
        setState(State::failed);
    }
}

void PulseServerConnection::contextStateChanged(pa_context* context, void* self) {
    auto* connection = static_cast<PulseServerConnection*>(self);
    switch (pa_context_get_state(context)) {
        case PA_CONTEXT_READY: {
            const auto mask = static_cast<pa_subscription_mask_t>(PA_SUBSCRIPTION_MASK_SOURCE | PA_SUBSCRIPTION_MASK_SERVER);
            pa_operation* subscribed = pa_context_subscribe(context, mask, nullptr, nullptr);
            if (subscribed) pa_operation_unref(subscribed);
            connection->setState(State::ready);
            break;
        }
        case PA_CONTEXT_FAILED:
        case PA_CONTEXT_TERMINATED:
            if (connection->state() != State::failed) {
                connection->logger_.error(std::string("Lost the sound server: ") + pa_strerror(pa_context_errno(context)));
                connection->setState(State::failed);
            }
            break;
        default:
            break;
    }
}

void PulseServerConnection::subscriptionEvent(pa_context*, pa_subscription_event_type_t type, std::uint32_t index, void* self) {
    auto* connection = static_cast<PulseServerConnection*>(self);
    std::vector<std::function<void(pa_subscription_event_type_t, std::uint32_t)>> observers;
    {
        std::lock_guard guard(connection->mutex_);
        observers = connection->eventObservers_;
    }
    for (auto& observer : observers) observer(type, index);
}

void PulseServerConnection::setState(State state) {
    std::vector<Operation> pending;
    std::vector<std::function<void(State)>> observers;
    {
        std::lock_guard guard(mutex_);
        state_ = state;
        if (state == State::ready || state == State::failed) pending.swap(pending_);
        observers = stateObservers_;
    }
    for (auto& operation : pending) operation(state == State::ready ? context_ : nullptr);
    for (auto& observer : observers) observer(state);
}

}  // namespace quillon
