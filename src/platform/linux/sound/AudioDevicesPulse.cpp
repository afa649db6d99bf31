#include "platform/linux/sound/AudioDevicesPulse.h"

#include "platform/linux/sound/PulseSourceList.h"

namespace quillon {

AudioDevicesPulse::AudioDevicesPulse(PulseServerConnection& connection) : connection_(connection) {
    // Sources coming and going, and the server's default source changing (a server event), are
    // what the list shows; a source merely changing (its volume) is not.
    connection_.addEventObserver([mutex = mutex_, handler = handler_](pa_subscription_event_type_t type, std::uint32_t) {
        const auto facility = type & PA_SUBSCRIPTION_EVENT_FACILITY_MASK;
        const auto kind = type & PA_SUBSCRIPTION_EVENT_TYPE_MASK;
        const bool sourcesChanged = facility == PA_SUBSCRIPTION_EVENT_SOURCE && kind != PA_SUBSCRIPTION_EVENT_CHANGE;
        if (!sourcesChanged && facility != PA_SUBSCRIPTION_EVENT_SERVER) return;
        std::function<void()> notify;
        {
            std::lock_guard guard(*mutex);
            notify = *handler;
        }
        if (notify) notify();
    });
}

void AudioDevicesPulse::listInputDevices(ListCompletion completion) {
    connection_.withContext([completion = std::move(completion)](pa_context* context) mutable {
        if (!context) {
            completion(std::unexpected(std::string("The sound server is not running")));
            return;
        }
        listPulseMicrophones(context, std::move(completion));
    });
}

void AudioDevicesPulse::setOnDevicesChanged(std::function<void()> handler) {
    std::lock_guard guard(*mutex_);
    *handler_ = std::move(handler);
}

}  // namespace quillon
