#pragma once

#include <functional>
#include <memory>

namespace quillon {

class LiveTranscriptModel;

// The live transcript's floating window, as the coordinator sees it. The window draws the model
// and calls the coordinator for its controls; the coordinator only brings it up and hears when
// the user closed it. Main thread only.
class LiveTranscriptWindow {
public:
    virtual ~LiveTranscriptWindow() = default;

    // Brings the window up above the others, without taking the focus from the user's application.
    virtual void show() = 0;
    // Called each time the user closes the window.
    virtual void setOnClose(std::function<void()> handler) = 0;
};

// Makes the window on its first showing; it is kept, hidden or not, for the life of the program.
using LiveTranscriptWindowFactory = std::function<std::unique_ptr<LiveTranscriptWindow>(LiveTranscriptModel& model)>;

}  // namespace quillon
