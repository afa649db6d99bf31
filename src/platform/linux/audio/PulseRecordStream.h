#pragma once

#include <pulse/pulseaudio.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>

#include "platform/linux/audio/PulseConnection.h"

namespace quillon {

// One record stream of signed 16-bit mono samples at a chosen rate; the server converts the
// device's format. Fragments of 10 ms keep the delay low and the first word whole. With a sink
// input it monitors that one stream of its sink only.
//
// Threads: made, connected and destroyed with the connection's lock held; its handlers run on the
// connection's loop thread with that lock held. onData gets the server's buffer itself: no copy,
// no allocation.
class PulseRecordStream {
public:
    PulseRecordStream(PulseConnection& connection, const char* name, int sampleRate);
    ~PulseRecordStream();  // disconnects; needs the lock
    PulseRecordStream(const PulseRecordStream&) = delete;
    PulseRecordStream& operator=(const PulseRecordStream&) = delete;

    // Connects to `device` (a source name, or a source index as text) and waits until it records.
    // Needs the lock. The error is the server's reason.
    std::optional<std::string> connect(const std::string& device, std::optional<std::uint32_t> monitoredSinkInput);
    // The same without waiting: safe on the loop thread. False when the server refused at once.
    bool connectInBackground(const std::string& device, std::optional<std::uint32_t> monitoredSinkInput);

    std::function<void(std::span<const std::byte> block)> onData;
    // The stream failed or was killed (its device or its sink input went away).
    std::function<void()> onEnded;

private:
    static void stateChanged(pa_stream* stream, void* self);
    static void readable(pa_stream* stream, std::size_t length, void* self);

    PulseConnection& connection_;
    pa_stream* stream_ = nullptr;
    bool connected_ = false;
    int sampleRate_;
};

}  // namespace quillon
