#pragma once

#include <X11/Xlib.h>
#include <X11/extensions/XTest.h>
#include <X11/keysym.h>

namespace quillon::testing {

// Keys pressed at the session's X server through XTest, as the user's keyboard would press them.
class XTestKeys {
public:
    XTestKeys() : display_(XOpenDisplay(nullptr)) {}
    ~XTestKeys() {
        if (display_) XCloseDisplay(display_);
    }
    XTestKeys(const XTestKeys&) = delete;
    XTestKeys& operator=(const XTestKeys&) = delete;

    bool ready() const { return display_ != nullptr; }
    Display* display() const { return display_; }

    void send(KeyCode code, bool down) {
        XTestFakeKeyEvent(display_, code, down ? True : False, CurrentTime);
        XSync(display_, False);
    }
    void key(KeySym symbol, bool down) { send(XKeysymToKeycode(display_, symbol), down); }
    // Control+Super, the default dictation hotkey: Control first going down, Super first coming up.
    void chord(bool down) {
        key(down ? XK_Control_L : XK_Super_L, down);
        key(down ? XK_Super_L : XK_Control_L, down);
    }

private:
    Display* display_;
};

}  // namespace quillon::testing
