#include "platform/linux/audio/PulseRecordStream.h"

namespace quillon {

PulseRecordStream::PulseRecordStream(PulseConnection& connection, const char* name, int sampleRate)
    : connection_(connection), sampleRate_(sampleRate) {
    const pa_sample_spec spec{PA_SAMPLE_S16LE, static_cast<std::uint32_t>(sampleRate), 1};
    stream_ = pa_stream_new(connection.context(), name, &spec, nullptr);
    if (!stream_) return;
    pa_stream_set_state_callback(stream_, &PulseRecordStream::stateChanged, this);
    pa_stream_set_read_callback(stream_, &PulseRecordStream::readable, this);
}

PulseRecordStream::~PulseRecordStream() {
    if (!stream_) return;
    pa_stream_set_state_callback(stream_, nullptr, nullptr);
    pa_stream_set_read_callback(stream_, nullptr, nullptr);
    if (connected_) pa_stream_disconnect(stream_);
    pa_stream_unref(stream_);
}

bool PulseRecordStream::connectInBackground(const std::string& device, std::optional<std::uint32_t> monitoredSinkInput) {
    if (!stream_) return false;
    if (monitoredSinkInput) pa_stream_set_monitor_stream(stream_, *monitoredSinkInput);
    const std::uint32_t fragment = static_cast<std::uint32_t>(sampleRate_ / 100 * 2);  // 10 ms
    const pa_buffer_attr attributes{static_cast<std::uint32_t>(-1), static_cast<std::uint32_t>(-1),
                                    static_cast<std::uint32_t>(-1), static_cast<std::uint32_t>(-1), fragment};
    const auto flags = static_cast<pa_stream_flags_t>(PA_STREAM_ADJUST_LATENCY | PA_STREAM_DONT_MOVE);
    connected_ = pa_stream_connect_record(stream_, device.empty() ? nullptr : device.c_str(), &attributes, flags) >= 0;
    return connected_;
}

std::optional<std::string> PulseRecordStream::connect(const std::string& device,
                                                      std::optional<std::uint32_t> monitoredSinkInput) {
    if (!connectInBackground(device, monitoredSinkInput)) return connection_.lastError();
    const bool ready = connection_.waitUntil([this] {
        const auto state = pa_stream_get_state(stream_);
        return state == PA_STREAM_READY || state == PA_STREAM_FAILED || state == PA_STREAM_TERMINATED;
    });
    if (!ready || pa_stream_get_state(stream_) != PA_STREAM_READY) return connection_.lastError();
    return std::nullopt;
}

void PulseRecordStream::stateChanged(pa_stream* stream, void* self) {
    auto& record = *static_cast<PulseRecordStream*>(self);
    const auto state = pa_stream_get_state(stream);
    record.connection_.signal();
    if ((state == PA_STREAM_FAILED || state == PA_STREAM_TERMINATED) && record.onEnded) record.onEnded();
}

// The audio callback: hands the server's buffer on as it is, then drops it. A hole (data absent)
// is skipped.
void PulseRecordStream::readable(pa_stream* stream, std::size_t, void* self) {
    auto& record = *static_cast<PulseRecordStream*>(self);
    for (;;) {
        const void* data = nullptr;
        std::size_t length = 0;
        if (pa_stream_peek(stream, &data, &length) < 0 || length == 0) return;
        if (data && record.onData) record.onData({static_cast<const std::byte*>(data), length & ~std::size_t{1}});
        pa_stream_drop(stream);
    }
}

}  // namespace quillon
