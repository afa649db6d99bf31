#pragma once

#include <memory>

#include "core/ports/AudioCapture.h"
#include "platform/linux/audio/PulseConnection.h"
#include "platform/linux/audio/PulseRecordStream.h"

namespace quillon {

// The microphone through the sound server: one record stream of the chosen source (the server's
// default when none is named, never a monitor of a sink), converted by the server to mono 16-bit
// samples at the asked rate. Each start makes a new connection; stop ends it.
//
// Threads and lock rules: start, stop and the setters run on one owner thread (the main thread).
// Blocks and errors come from the connection's loop thread with its lock held; the setters take
// that lock to swap a handler, so a cleared handler is never called after the setter returns. The
// block handler runs on the audio thread and must not block or allocate.
class AudioCapturePulse final : public AudioCapture {
public:
    AudioCapturePulse() = default;
    ~AudioCapturePulse() override;

    std::expected<void, AudioCaptureError> start(const std::string& sourceName, int sampleRate) override;
    void stop() override;
    void setOnPCM16Data(PCM16Handler handler) override;
    void setOnError(ErrorHandler handler) override;

    // The source recording now (empty when stopped).
    const std::string& sourceName() const { return source_; }

private:
    std::expected<void, AudioCaptureError> startLocked(const std::string& sourceName, int sampleRate);
    void report(const AudioCaptureError& error);

    std::unique_ptr<PulseConnection> connection_;
    std::unique_ptr<PulseRecordStream> stream_;
    PCM16Handler onData_;    // read on the loop thread under its lock
    ErrorHandler onError_;   // likewise
    bool reported_ = false;  // one error per start; loop thread
    std::string source_;
};

}  // namespace quillon
