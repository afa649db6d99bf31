#pragma once

namespace quillon {

enum class RecordingIndicatorMode { recording, transcribing };

// The small floating pill that shows a dictation is recording or being finished. Main thread only.
class RecordingIndicator {
public:
    virtual ~RecordingIndicator() = default;

    virtual void setMode(RecordingIndicatorMode mode) = 0;
    virtual void show() = 0;
    virtual void hide() = 0;
};

}  // namespace quillon
