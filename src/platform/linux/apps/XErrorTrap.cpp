#include "platform/linux/apps/XErrorTrap.h"

#include <X11/Xlib.h>

namespace quillon {

namespace {

std::mutex trapMutex;
int lastError = 0;

int recordError(Display*, XErrorEvent* event) {
    lastError = event->error_code;
    return 0;
}

using Handler = int (*)(Display*, XErrorEvent*);

}  // namespace

XErrorTrap::XErrorTrap(Display* display) : lock_(trapMutex), display_(display) {
    XSync(display_, False);
    lastError = 0;
    previous_ = reinterpret_cast<void*>(XSetErrorHandler(recordError));
}

XErrorTrap::~XErrorTrap() {
    XSync(display_, False);
    XSetErrorHandler(reinterpret_cast<Handler>(previous_));
}

bool XErrorTrap::failed() {
    XSync(display_, False);
    return lastError != 0;
}

}  // namespace quillon
