#include "core/audio/MicrophonePermission.h"

namespace quillon {

namespace {

const char* statusText(RecordPermission permission) {
    switch (permission) {
        case RecordPermission::undetermined: return "undetermined";
        case RecordPermission::denied: return "denied";
        case RecordPermission::granted: return "granted";
    }
    return "unknown";
}

}  // namespace

MicrophonePermission::MicrophonePermission(MicrophoneAccess& access, Scheduler& main, Logger logger)
    : access_(access), main_(main), logger_(std::move(logger)) {
    checkMicrophonePermission();
}

void MicrophonePermission::setGranted(bool granted) {
    microphonePermissionGranted_ = granted;
    if (onChange) onChange(granted);
}

void MicrophonePermission::checkMicrophonePermission() {
    const RecordPermission permission = access_.recordPermission();
    if (permission == RecordPermission::denied) logger_.error("Microphone permission denied");
    setGranted(permission == RecordPermission::granted);
}

void MicrophonePermission::requestMicrophoneAccess(std::function<void(bool granted)> completion) {
    const RecordPermission permission = access_.recordPermission();
    logger_.info(std::string("Current microphone permission status: ") + statusText(permission));
    switch (permission) {
        case RecordPermission::undetermined: {
            logger_.info("Microphone permission not determined, requesting access...");
            // The completion still runs when this object is gone; only the flag needs it.
            auto update = weakOwner_.weakly([this](bool granted) {
                setGranted(granted);
                logger_.info(std::string("Microphone permission request completed: granted=") + (granted ? "true" : "false"));
            });
            access_.requestRecordPermission([&main = main_, update, completion = std::move(completion)](bool granted) {
                main.post([update, completion, granted] {
                    update(granted);
                    if (completion) completion(granted);
                });
            });
            return;
        }
        case RecordPermission::granted:
            logger_.info("Microphone permission already granted");
            setGranted(true);
            if (completion) completion(true);
            return;
        case RecordPermission::denied:
            logger_.info("Microphone permission denied");
            setGranted(false);
            if (completion) completion(false);
            return;
    }
}

void MicrophonePermission::openMicrophoneSettings() {
    if (auto opened = access_.openSettings(); !opened) logger_.error("Failed to open microphone settings: " + opened.error());
}

}  // namespace quillon
