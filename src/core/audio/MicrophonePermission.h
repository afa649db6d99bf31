#pragma once

#include <functional>

#include "core/base/Scheduler.h"
#include "core/base/WeakOwner.h"
#include "core/logging/Logger.h"
#include "core/ports/MicrophoneAccess.h"

namespace quillon {

// Whether Quillon may record the microphone. Checked, never polled: at start, when the
// application becomes active and when the popover opens; asked for once in the deferred step of
// launch. A missing permission blocks nothing by itself: it shows in the popover, or as a
// recorder that fails.
//
// Threads: the main thread; the platform's answer is posted onto it.
class MicrophonePermission {
public:
    MicrophonePermission(MicrophoneAccess& access, Scheduler& main, Logger logger);

    bool microphonePermissionGranted() const { return microphonePermissionGranted_; }

    void checkMicrophonePermission();
    // The completion, when given, runs on the main thread with the answer.
    void requestMicrophoneAccess(std::function<void(bool granted)> completion = {});
    void openMicrophoneSettings();

    // After the published value was set.
    std::function<void(bool granted)> onChange;

private:
    void setGranted(bool granted);

    MicrophoneAccess& access_;
    Scheduler& main_;
    Logger logger_;
    bool microphonePermissionGranted_ = false;
    WeakOwner weakOwner_;
};

}  // namespace quillon
