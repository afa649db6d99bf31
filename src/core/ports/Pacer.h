#pragma once

#include <chrono>

namespace quillon {

// Waits on the calling thread. Typing into another application needs real pauses between key
// presses so that the application keeps up; they go through here so that tests take no time.
class Pacer {
public:
    virtual ~Pacer() = default;
    virtual void pause(std::chrono::milliseconds duration) = 0;
};

}  // namespace quillon
