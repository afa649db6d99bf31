#include "platform/linux/sound/MicrophoneAccessPulse.h"

#include "platform/linux/sound/PulseSourceList.h"

namespace quillon {

namespace {

void recount(pa_context* context, const std::shared_ptr<std::atomic<RecordPermission>>& permission,
             std::function<void(bool)> completion) {
    listPulseMicrophones(context, [permission, completion = std::move(completion)](auto devices) {
        const bool granted = devices && !devices->empty();
        permission->store(granted ? RecordPermission::granted : RecordPermission::denied);
        if (completion) completion(granted);
    });
}

}  // namespace

MicrophoneAccessPulse::MicrophoneAccessPulse(PulseServerConnection& connection) : connection_(connection) {
    connection_.addStateObserver([&connection = connection_, permission = permission_](PulseServerConnection::State state) {
        if (state == PulseServerConnection::State::failed) permission->store(RecordPermission::denied);
        if (state == PulseServerConnection::State::ready) {
            connection.withContextLocked([permission](pa_context* context) {
                if (context) recount(context, permission, nullptr);
            });
        }
    });
    connection_.addEventObserver([&connection = connection_, permission = permission_](pa_subscription_event_type_t type,
                                                                                       std::uint32_t) {
        if ((type & PA_SUBSCRIPTION_EVENT_FACILITY_MASK) != PA_SUBSCRIPTION_EVENT_SOURCE) return;
        if ((type & PA_SUBSCRIPTION_EVENT_TYPE_MASK) == PA_SUBSCRIPTION_EVENT_CHANGE) return;
        connection.withContextLocked([permission](pa_context* context) {
            if (context) recount(context, permission, nullptr);
        });
    });
}

RecordPermission MicrophoneAccessPulse::recordPermission() const {
    if (connection_.state() == PulseServerConnection::State::failed) connection_.connect();
    return permission_->load();
}

void MicrophoneAccessPulse::requestRecordPermission(std::function<void(bool granted)> completion) {
    connection_.withContext([permission = permission_, completion = std::move(completion)](pa_context* context) mutable {
        if (!context) {
            permission->store(RecordPermission::denied);
            completion(false);
            return;
        }
        recount(context, permission, std::move(completion));
    });
}

std::expected<void, std::string> MicrophoneAccessPulse::openSettings() {
    // pavucontrol opens straight on its "Input Devices" tab; without it, the desktop's own settings.
    if (soundSettings_.open("--tab=4")) return {};
    return desktopSettings_.open("settings://sound");
}

}  // namespace quillon
