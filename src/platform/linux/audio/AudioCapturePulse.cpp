#include "platform/linux/audio/AudioCapturePulse.h"

#include <algorithm>

#include "platform/linux/audio/PulseQueries.h"

namespace quillon {

AudioCapturePulse::~AudioCapturePulse() {
    stop();
}

std::expected<void, AudioCaptureError> AudioCapturePulse::start(const std::string& sourceName,
                                                                int sampleRate) {
    if (stream_) return {};
    connection_ = std::make_unique<PulseConnection>("Quillon microphone");
    auto started = connection_->connect();
    if (started) {
        PulseConnection::Locked lock(*connection_);
        started = startLocked(sourceName, sampleRate);
        if (!started) stream_.reset();
    }
    if (!started) {
        connection_.reset();
        source_.clear();
    }
    return started;
}

std::expected<void, AudioCaptureError> AudioCapturePulse::startLocked(const std::string& sourceName,
                                                                      int sampleRate) {
    using Kind = AudioCaptureError::Kind;
    auto defaults = pulse::serverDefaults(*connection_);
    auto all = pulse::sources(*connection_);
    if (!defaults || !all)
        return std::unexpected(AudioCaptureError{Kind::soundServerUnavailable, connection_->lastError()});

    // The named source, else the default one, else the first that is not a monitor.
    const auto usable = [&](const std::string& name) {
        return std::ranges::any_of(*all, [&](const auto& s) { return s.name == name && !s.isMonitor; });
    };
    std::string chosen = !sourceName.empty() ? sourceName : defaults->source;
    if (!usable(chosen)) {
        if (!sourceName.empty()) {
            return std::unexpected(
                AudioCaptureError{Kind::microphoneCouldNotStart, "no microphone named " + sourceName});
        }
        const auto real = std::ranges::find_if(*all, [](const auto& s) { return !s.isMonitor; });
        if (real == all->end()) return std::unexpected(AudioCaptureError{Kind::noMicrophone, ""});
        chosen = real->name;
    }

    stream_ = std::make_unique<PulseRecordStream>(*connection_, "Microphone", sampleRate);
    stream_->onData = [this](std::span<const std::byte> block) {
        if (onData_) onData_(block);
    };
    if (auto failure = stream_->connect(chosen, std::nullopt)) {
        return std::unexpected(AudioCaptureError{Kind::microphoneCouldNotStart, *failure});
    }
    reported_ = false;
    source_ = chosen;
    stream_->onEnded = [this] {
        report(connection_->isHealthy() ? AudioCaptureError{Kind::sourceLost, source_}
                                        : AudioCaptureError{Kind::connectionLost, ""});
    };
    connection_->onLost = [this] { report(AudioCaptureError{Kind::connectionLost, ""}); };
    return {};
}

// On the loop thread, with its lock held.
void AudioCapturePulse::report(const AudioCaptureError& error) {
    if (reported_) return;
    reported_ = true;
    if (onError_) onError_(error);
}

void AudioCapturePulse::stop() {
    if (!connection_) return;
    {
        PulseConnection::Locked lock(*connection_);
        connection_->onLost = nullptr;
        stream_.reset();
    }
    connection_.reset();
    source_.clear();
}

void AudioCapturePulse::setOnPCM16Data(PCM16Handler handler) {
    PulseConnection::assign(connection_.get(), onData_, std::move(handler));
}

void AudioCapturePulse::setOnError(ErrorHandler handler) {
    PulseConnection::assign(connection_.get(), onError_, std::move(handler));
}

}  // namespace quillon
