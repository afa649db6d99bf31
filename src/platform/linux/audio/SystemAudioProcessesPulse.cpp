#include "platform/linux/audio/SystemAudioProcessesPulse.h"

namespace quillon {

namespace {
void ignoreSuccess(pa_context*, int, void*) {}
}  // namespace

SystemAudioProcessesPulse::~SystemAudioProcessesPulse() {
    if (!connection_) return;
    {
        PulseConnection::Locked lock(*connection_);
        connection_->onLost = nullptr;
        pa_context_set_subscribe_callback(connection_->context(), nullptr, nullptr);
    }
    connection_.reset();
}

std::vector<SystemAudioProcess> SystemAudioProcessesPulse::processes() {
    {
        std::lock_guard lock(mutex_);
        if (connected_) {
            std::vector<SystemAudioProcess> list;
            for (const auto& [index, process] : streams_) list.push_back(process);
            return list;
        }
    }
    const auto now = std::chrono::steady_clock::now();
    if (connection_ == nullptr || now - lastAttempt_ >= std::chrono::seconds(5)) {
        lastAttempt_ = now;
        connect();
    }
    std::lock_guard lock(mutex_);
    std::vector<SystemAudioProcess> list;
    for (const auto& [index, process] : streams_) list.push_back(process);
    return list;
}

void SystemAudioProcessesPulse::connect() {
    if (connection_) {
        {
            PulseConnection::Locked lock(*connection_);
            connection_->onLost = nullptr;
            pa_context_set_subscribe_callback(connection_->context(), nullptr, nullptr);
        }
        connection_.reset();
    }
    auto connection = std::make_unique<PulseConnection>("Quillon audio sources");
    if (!connection->connect()) return;
    PulseConnection::Locked lock(*connection);
    connection->onLost = [this] {
        std::lock_guard guard(mutex_);
        connected_ = false;
        streams_.clear();
    };
    pa_context_set_subscribe_callback(connection->context(), &SystemAudioProcessesPulse::event, this);
    auto* subscribed = pa_context_subscribe(connection->context(), PA_SUBSCRIPTION_MASK_SINK_INPUT, &ignoreSuccess, nullptr);
    if (subscribed) pa_operation_unref(subscribed);
    struct Query {
        SystemAudioProcessesPulse* self;
        PulseConnection* connection;
    } query{this, connection.get()};
    const bool listed = connection->await(pa_context_get_sink_input_info_list(
        connection->context(),
        [](pa_context*, const pa_sink_input_info* info, int, void* user) {
            auto& q = *static_cast<Query*>(user);
            if (info) q.self->update(*info);
            q.connection->signal();
        },
        &query));
    {
        std::lock_guard guard(mutex_);
        connected_ = listed;
    }
    connection_ = std::move(connection);
}

// Loop thread: records one sink input, naming its application the first time it is seen.
void SystemAudioProcessesPulse::update(const pa_sink_input_info& info) {
    std::optional<SystemAudioProcess> known;
    {
        std::lock_guard lock(mutex_);
        if (auto found = streams_.find(info.index); found != streams_.end()) known = found->second;
    }
    SystemAudioProcess process = known ? *known : identity_.resolve(PulseApplicationIdentity::ownerOf(info.proplist));
    process.isRunningOutput = !info.corked;
    std::lock_guard lock(mutex_);
    streams_[info.index] = process;
}

void SystemAudioProcessesPulse::event(pa_context* context, pa_subscription_event_type_t type, std::uint32_t index,
                                      void* self) {
    auto& processes = *static_cast<SystemAudioProcessesPulse*>(self);
    if ((type & PA_SUBSCRIPTION_EVENT_FACILITY_MASK) != PA_SUBSCRIPTION_EVENT_SINK_INPUT) return;
    if ((type & PA_SUBSCRIPTION_EVENT_TYPE_MASK) == PA_SUBSCRIPTION_EVENT_REMOVE) {
        std::lock_guard lock(processes.mutex_);
        processes.streams_.erase(index);
        return;
    }
    auto* operation = pa_context_get_sink_input_info(
        context, index,
        [](pa_context*, const pa_sink_input_info* info, int, void* user) {
            if (info) static_cast<SystemAudioProcessesPulse*>(user)->update(*info);
        },
        &processes);
    if (operation) pa_operation_unref(operation);
}

}  // namespace quillon
