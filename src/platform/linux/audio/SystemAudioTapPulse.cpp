#include "platform/linux/audio/SystemAudioTapPulse.h"

#include <algorithm>
#include <cstring>
#include <map>

#include "platform/linux/audio/PulseQueries.h"

namespace quillon {

namespace {
constexpr std::size_t bufferSamples = 48000;  // one second per sink input
constexpr std::size_t holdBack = 960;         // 20 ms
}  // namespace

struct SystemAudioTapPulse::Attached {
    std::uint32_t sinkInput = PA_INVALID_INDEX;
    std::uint32_t monitorSource = PA_INVALID_INDEX;
    bool ended = false;  // the server ended the stream: its sink input went or moved
    std::unique_ptr<PulseRecordStream> stream;
    std::vector<std::int16_t> buffer = std::vector<std::int16_t>(bufferSamples);
    std::size_t count = 0;
};

SystemAudioTapPulse::SystemAudioTapPulse(DesktopEntryIndex& index) : identity_(index) {}

SystemAudioTapPulse::~SystemAudioTapPulse() {
    stop();
}

std::expected<void, AudioCaptureError> SystemAudioTapPulse::start(
    const std::optional<std::string>& applicationIdentifier) {
    if (connection_) return {};
    connection_ = std::make_unique<PulseConnection>("Quillon system audio");
    auto started = connection_->connect();
    if (started) {
        PulseConnection::Locked lock(*connection_);
        reported_ = false;
        mix_.assign(bufferSamples, 0);
        started = applicationIdentifier ? startApplication(*applicationIdentifier) : startAll();
        if (started) {
            connection_->onLost = [this] {
                report(AudioCaptureError{AudioCaptureError::Kind::connectionLost, ""});
            };
        } else {
            pa_context_set_subscribe_callback(connection_->context(), nullptr, nullptr);
            monitor_.reset();
            attached_.clear();
        }
    }
    if (!started) connection_.reset();
    return started;
}

std::expected<void, AudioCaptureError> SystemAudioTapPulse::startAll() {
    using Kind = AudioCaptureError::Kind;
    auto defaults = pulse::serverDefaults(*connection_);
    if (!defaults)
        return std::unexpected(AudioCaptureError{Kind::soundServerUnavailable, connection_->lastError()});
    auto monitor = pulse::monitorOfSink(*connection_, defaults->sink);
    if (!monitor)
        return std::unexpected(AudioCaptureError{Kind::systemAudioCouldNotStart, "no default output"});
    monitor_ = std::make_unique<PulseRecordStream>(*connection_, "System audio", sampleRate);
    monitor_->onData = [this](std::span<const std::byte> block) { emit(block); };
    if (auto failure = monitor_->connect(*monitor, std::nullopt)) {
        return std::unexpected(AudioCaptureError{Kind::systemAudioCouldNotStart, *failure});
    }
    monitor_->onEnded = [this, name = *monitor] {
        report(connection_->isHealthy() ? AudioCaptureError{AudioCaptureError::Kind::sourceLost, name}
                                        : AudioCaptureError{AudioCaptureError::Kind::connectionLost, ""});
    };
    return {};
}

std::expected<void, AudioCaptureError> SystemAudioTapPulse::startApplication(const std::string& identifier) {
    using Kind = AudioCaptureError::Kind;
    application_ = identifier;
    struct SinkInput {
        std::uint32_t index;
        std::uint32_t sink;
        PulseApplicationIdentity::StreamOwner owner;
    };
    struct Query {
        PulseConnection* connection;
        std::vector<SinkInput> inputs;
    } query{connection_.get(), {}};
    const bool listed = connection_->await(pa_context_get_sink_input_info_list(
        connection_->context(),
        [](pa_context*, const pa_sink_input_info* info, int, void* user) {
            auto& q = *static_cast<Query*>(user);
            if (info)
                q.inputs.push_back(
                    {info->index, info->sink, PulseApplicationIdentity::ownerOf(info->proplist)});
            q.connection->signal();
        },
        &query));
    if (!listed)
        return std::unexpected(AudioCaptureError{Kind::soundServerUnavailable, connection_->lastError()});

    // Subscribe before attaching, so a sink input that appears meanwhile is not missed.
    pa_context_set_subscribe_callback(connection_->context(), &SystemAudioTapPulse::sinkInputEvent, this);
    if (!connection_->await(pa_context_subscribe(
            connection_->context(), PA_SUBSCRIPTION_MASK_SINK_INPUT,
            [](pa_context*, int, void* user) { static_cast<PulseConnection*>(user)->signal(); },
            connection_.get()))) {
        return std::unexpected(AudioCaptureError{Kind::soundServerUnavailable, connection_->lastError()});
    }
    std::map<std::uint32_t, std::optional<std::uint32_t>> monitors;
    for (const auto& input : query.inputs) {
        if (identity_.resolve(input.owner).applicationIdentifier != identifier) continue;
        auto [found, inserted] = monitors.try_emplace(input.sink);
        if (inserted) found->second = pulse::monitorOfSink(*connection_, input.sink);
        if (found->second) attach(input.index, *found->second);
    }
    if (attached_.empty()) return std::unexpected(AudioCaptureError{Kind::applicationUnavailable, ""});
    return {};
}

// Loop thread (or the starting thread with the lock held): a stream on the sink's monitor that
// hears this one sink input only. It connects in the background; it is not awaited.
void SystemAudioTapPulse::attach(std::uint32_t sinkInput, std::uint32_t monitorSource) {
    if (std::ranges::any_of(attached_, [&](const auto& a) { return a->sinkInput == sinkInput; })) return;
    auto attached = std::make_unique<Attached>();
    attached->sinkInput = sinkInput;
    attached->monitorSource = monitorSource;
    attached->stream = std::make_unique<PulseRecordStream>(*connection_, "Application audio", sampleRate);
    Attached* raw = attached.get();
    attached->stream->onEnded = [raw] { raw->ended = true; };
    attached->stream->onData = [this, raw](std::span<const std::byte> block) {
        const std::size_t samples = std::min(block.size() / 2, raw->buffer.size() - raw->count);
        std::memcpy(raw->buffer.data() + raw->count, block.data(), samples * 2);
        raw->count += samples;
        mixAndEmit();
    };
    if (attached->stream->connectInBackground(std::to_string(monitorSource), sinkInput)) {
        attached_.push_back(std::move(attached));
    }
}

void SystemAudioTapPulse::detach(std::uint32_t sinkInput) {
    std::erase_if(attached_, [&](const auto& a) { return a->sinkInput == sinkInput; });
}

// Loop thread: one of the application's sink inputs plays on the sink with `monitorSource`. A new
// one is attached. One that was moved to another sink is attached again there: the server ends a
// monitor stream whose sink input moves (PulseAudio does; with pipewire-pulse the sink differs).
void SystemAudioTapPulse::follow(std::uint32_t sinkInput, std::uint32_t monitorSource) {
    const auto found =
        std::ranges::find_if(attached_, [&](const auto& a) { return a->sinkInput == sinkInput; });
    if (found != attached_.end()) {
        if (!(*found)->ended && (*found)->monitorSource == monitorSource) return;
        attached_.erase(found);
    }
    attach(sinkInput, monitorSource);
}

// Loop thread: a sink input was added, changed (moved to another sink, among others) or removed.
void SystemAudioTapPulse::sinkInputEvent(pa_context* context, pa_subscription_event_type_t type,
                                         std::uint32_t index, void* self) {
    auto& tap = *static_cast<SystemAudioTapPulse*>(self);
    if ((type & PA_SUBSCRIPTION_EVENT_FACILITY_MASK) != PA_SUBSCRIPTION_EVENT_SINK_INPUT) return;
    const auto kind = type & PA_SUBSCRIPTION_EVENT_TYPE_MASK;
    if (kind == PA_SUBSCRIPTION_EVENT_REMOVE) {
        tap.detach(index);
        return;
    }
    if (kind != PA_SUBSCRIPTION_EVENT_NEW && kind != PA_SUBSCRIPTION_EVENT_CHANGE) return;
    // Who plays it, then, for one of ours, its sink's monitor: two answers of the server.
    auto* operation = pa_context_get_sink_input_info(
        context, index,
        [](pa_context* c, const pa_sink_input_info* info, int, void* user) {
            auto& owner = *static_cast<SystemAudioTapPulse*>(user);
            if (!info) return;
            if (owner.identity_.resolve(PulseApplicationIdentity::ownerOf(info->proplist))
                    .applicationIdentifier != owner.application_) {
                return;
            }
            struct Pending {
                SystemAudioTapPulse* tap;
                std::uint32_t sinkInput;
            };
            auto* pending = new Pending{&owner, info->index};
            auto* next = pa_context_get_sink_info_by_index(
                c, info->sink,
                [](pa_context*, const pa_sink_info* sink, int eol, void* data) {
                    auto* p = static_cast<Pending*>(data);
                    if (sink) p->tap->follow(p->sinkInput, sink->monitor_source);
                    if (eol) delete p;
                },
                pending);
            if (next)
                pa_operation_unref(next);
            else
                delete pending;
        },
        &tap);
    if (operation) pa_operation_unref(operation);
}

// Audio callback, loop thread: sums what every attached sink input has brought, holding back
// 20 ms for the others while several play. Copies and sums into buffers made at attach time.
void SystemAudioTapPulse::mixAndEmit() {
    if (attached_.size() == 1) {
        Attached& only = *attached_.front();
        emit(std::as_bytes(std::span(only.buffer.data(), only.count)));
        only.count = 0;
        return;
    }
    std::size_t most = 0;
    for (const auto& a : attached_) most = std::max(most, a->count);
    if (most <= holdBack) return;
    const std::size_t count = most - holdBack;
    std::fill_n(mix_.begin(), count, std::int16_t{0});
    for (auto& a : attached_) {
        const std::size_t taken = std::min(a->count, count);
        for (std::size_t i = 0; i < taken; ++i) {
            const int sum = mix_[i] + a->buffer[i];
            mix_[i] = static_cast<std::int16_t>(std::clamp(sum, -32768, 32767));
        }
        std::memmove(a->buffer.data(), a->buffer.data() + taken, (a->count - taken) * 2);
        a->count -= taken;
    }
    emit(std::as_bytes(std::span(mix_.data(), count)));
}

void SystemAudioTapPulse::emit(std::span<const std::byte> block) {
    if (!block.empty() && onData_) onData_(block);
}

void SystemAudioTapPulse::report(const AudioCaptureError& error) {
    if (reported_) return;
    reported_ = true;
    if (onError_) onError_(error);
}

void SystemAudioTapPulse::stop() {
    if (!connection_) return;
    {
        PulseConnection::Locked lock(*connection_);
        connection_->onLost = nullptr;
        pa_context_set_subscribe_callback(connection_->context(), nullptr, nullptr);
        monitor_.reset();
        attached_.clear();
    }
    connection_.reset();
    application_.clear();
}

std::size_t SystemAudioTapPulse::attachedCount() {
    if (!connection_) return 0;
    PulseConnection::Locked lock(*connection_);
    return attached_.size();
}

void SystemAudioTapPulse::setOnPCM16Data(PCM16Handler handler) {
    PulseConnection::assign(connection_.get(), onData_, std::move(handler));
}

void SystemAudioTapPulse::setOnError(ErrorHandler handler) {
    PulseConnection::assign(connection_.get(), onError_, std::move(handler));
}

}  // namespace quillon
