#pragma once

#include <mutex>

typedef struct _XDisplay Display;

namespace quillon {

// Catches the X protocol errors of a stretch of Xlib calls instead of letting Xlib's default
// handler end the process: a window can vanish between a query and a request at any time.
// The handler is process-wide, so traps are taken one at a time.
class XErrorTrap {
public:
    explicit XErrorTrap(Display* display);
    ~XErrorTrap();
    XErrorTrap(const XErrorTrap&) = delete;
    XErrorTrap& operator=(const XErrorTrap&) = delete;

    // Waits for the server to answer the requests made so far; true when any of them failed.
    bool failed();

private:
    std::unique_lock<std::mutex> lock_;
    Display* display_;
    void* previous_;
};

}  // namespace quillon
