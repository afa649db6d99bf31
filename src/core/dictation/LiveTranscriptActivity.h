#pragma once

#include <mutex>

namespace quillon {

// Whether a live transcript runs. The live transcript writes it; dictation reads it to stay out
// of the way. The lock is held for one read or one write only, never across other calls.
class LiveTranscriptActivity {
public:
    bool activeSnapshot() const {
        std::lock_guard lock(activityLock_);
        return active_;
    }

    void setActiveSnapshot(bool active) {
        std::lock_guard lock(activityLock_);
        active_ = active;
    }

private:
    mutable std::mutex activityLock_;
    bool active_ = false;
};

}  // namespace quillon
