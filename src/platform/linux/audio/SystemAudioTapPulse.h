#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "core/ports/SystemAudioTap.h"
#include "platform/linux/audio/PulseApplicationIdentity.h"
#include "platform/linux/audio/PulseConnection.h"
#include "platform/linux/audio/PulseRecordStream.h"

namespace quillon {

// System audio through the sound server, as mono 16-bit samples at 48000 Hz.
//
// All of it: one record stream of the default sink's monitor source. A monitor carries every
// stream of its sink, and the server offers no way to leave one out, so Quillon's own sounds would
// be heard in it; Quillon plays none during a live transcript.
//
// One application: for each of the application's sink inputs a record stream on its sink's
// monitor, limited to that sink input (pa_stream_set_monitor_stream), so nothing else that plays
// is heard. Sink inputs the application opens later are attached when the server announces them,
// attached again on their new sink when they are moved to another output, and detached when they
// go. With several, their samples are summed (and clamped); the mix holds
// back 20 ms so the streams, fed by one sink clock in 10 ms fragments, line up. An application
// that stops playing is no error: the tap then delivers nothing.
//
// Threads and lock rules: as AudioCapturePulse. The attached streams, their buffers and the mix
// live on the loop thread; the buffers are allocated when a stream is attached, never per block.
class SystemAudioTapPulse final : public SystemAudioTap {
public:
    static constexpr int sampleRate = 48000;

    explicit SystemAudioTapPulse(DesktopEntryIndex& index);
    ~SystemAudioTapPulse() override;

    std::expected<void, AudioCaptureError> start(const std::optional<std::string>& applicationIdentifier) override;
    void stop() override;
    void setOnPCM16Data(PCM16Handler handler) override;
    void setOnError(ErrorHandler handler) override;

    // The sink inputs heard now (loop thread data; for tests, read while nothing changes).
    std::size_t attachedCount();

private:
    struct Attached;

    std::expected<void, AudioCaptureError> startAll();
    std::expected<void, AudioCaptureError> startApplication(const std::string& identifier);
    void considerSinkInput(std::uint32_t index);
    void attach(std::uint32_t sinkInput, std::uint32_t sink);
    void detach(std::uint32_t sinkInput);
    void follow(std::uint32_t sinkInput, std::uint32_t monitorSource);
    void mixAndEmit();
    void emit(std::span<const std::byte> block);
    void report(const AudioCaptureError& error);

    static void sinkInputEvent(pa_context* context, pa_subscription_event_type_t type, std::uint32_t index, void* self);

    PulseApplicationIdentity identity_;
    std::unique_ptr<PulseConnection> connection_;
    std::unique_ptr<PulseRecordStream> monitor_;        // all system audio
    std::vector<std::unique_ptr<Attached>> attached_;   // one application
    std::string application_;
    std::vector<std::int16_t> mix_;
    PCM16Handler onData_;    // loop thread, under its lock
    ErrorHandler onError_;   // likewise
    bool reported_ = false;
};

}  // namespace quillon
