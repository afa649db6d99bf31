#include "platform/linux/hotkey/KeyboardMappingX11.h"

#include <X11/XKBlib.h>
#include <X11/Xlib.h>
#include <X11/keysym.h>

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>

#include "platform/linux/apps/XErrorTrap.h"

namespace quillon {

namespace {

constexpr int evdevCapsLock = 58;
constexpr int evdevF18 = 188;
constexpr KeyCode capsLockKeycode = evdevCapsLock + 8;

// What a user's own mapping of the Caps Lock key reports, as a key where it is one.
std::optional<int> evdevCodeOf(KeySym symbol) {
    switch (symbol) {
        case XK_Escape: return 1;
        case XK_Control_L: return 29;
        case XK_Control_R: return 97;
        case XK_BackSpace: return 14;
        case XK_Super_L: return 125;
        case XK_F18: return evdevF18;
        default: return std::nullopt;
    }
}

KeySym capsLockKeySymbol(Display* display) {
    int perKeycode = 0;
    KeySym* symbols = XGetKeyboardMapping(display, capsLockKeycode, 1, &perKeycode);
    const KeySym symbol = symbols && perKeycode > 0 ? symbols[0] : NoSymbol;
    if (symbols) XFree(symbols);
    return symbol;
}

bool lockHolds(XModifierKeymap* map, KeyCode code) {
    for (int i = 0; i < map->max_keypermod; ++i) {
        if (map->modifiermap[LockMapIndex * map->max_keypermod + i] == code) return true;
    }
    return false;
}

}  // namespace

KeyboardMappingX11::KeyboardMappingX11(Scheduler& main, Logger logger)
    : main_(main), logger_(std::move(logger)), wakeFd_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    display_ = XOpenDisplay(nullptr);
    if (!display_) {
        logger_.error("The keyboard map cannot be changed: the X display cannot be opened");
        return;
    }
    watcher_ = std::jthread([this](std::stop_token stop) { watch(stop); });
}

KeyboardMappingX11::~KeyboardMappingX11() {
    if (watcher_.joinable()) {
        watcher_.request_stop();
        const std::uint64_t one = 1;
        [[maybe_unused]] const auto written = write(wakeFd_, &one, sizeof one);
        watcher_.join();
    }
    if (display_) XCloseDisplay(display_);
    if (wakeFd_ >= 0) close(wakeFd_);
}

std::vector<KeyMappingEntry> KeyboardMappingX11::currentMappings() {
    if (!display_) return {};
    const KeySym symbol = capsLockKeySymbol(display_);
    XModifierKeymap* map = XGetModifierMapping(display_);
    const bool isLock = map && lockHolds(map, capsLockKeycode);
    if (map) XFreeModifiermap(map);
    if (symbol == XK_Caps_Lock) return {};
    // F18 that still locks is a remap half undone: it reads as none, so that it is made whole.
    if (symbol == XK_F18) return isLock ? std::vector<KeyMappingEntry>{} : std::vector{KeyMappingEntry{evdevCapsLock, evdevF18}};
    return {KeyMappingEntry{evdevCapsLock, evdevCodeOf(symbol)}};
}

bool KeyboardMappingX11::setMappings(const std::vector<KeyMappingEntry>& entries) {
    if (!display_) return false;
    const auto caps = std::ranges::find(entries, std::optional<int>(evdevCapsLock), &KeyMappingEntry::source);
    if (caps == entries.end()) return applyRemap(false);
    if (*caps == KeyMappingEntry{evdevCapsLock, evdevF18}) return applyRemap(true);
    // Another mapping of Caps Lock is the user's: it is never written from here.
    return currentMappings() == std::vector{*caps};
}

// Caps Lock reports F18 and is no Lock modifier, or the other way round. The symbol changes
// after the modifier when remapping and before it when restoring, so the key never locks between.
bool KeyboardMappingX11::applyRemap(bool remapped) {
    XErrorTrap trap(display_);
    auto setSymbol = [&] {
        KeySym symbol = remapped ? XK_F18 : XK_Caps_Lock;
        if (capsLockKeySymbol(display_) != symbol) XChangeKeyboardMapping(display_, capsLockKeycode, 1, &symbol, 1);
    };
    if (!remapped) setSymbol();
    bool modifiersSet = true;
    if (XModifierKeymap* map = XGetModifierMapping(display_)) {
        if (lockHolds(map, capsLockKeycode) == remapped) {
            map = remapped ? XDeleteModifiermapEntry(map, capsLockKeycode, LockMapIndex)
                           : XInsertModifiermapEntry(map, capsLockKeycode, LockMapIndex);
            // MappingBusy while a key of the change is held down.
            modifiersSet = XSetModifierMapping(display_, map) == MappingSuccess;
        }
        XFreeModifiermap(map);
    }
    if (remapped) setSymbol();
    const bool failed = trap.failed();
    if (!modifiersSet) logger_.error("The X server refused to change the Lock modifier while a key was held");
    return !failed && modifiersSet;
}

void KeyboardMappingX11::clearCapsLockState() {
    if (!display_) return;
    XkbLockModifiers(display_, XkbUseCoreKbd, LockMask, 0);
    XFlush(display_);
}

void KeyboardMappingX11::watch(std::stop_token stop) {
    Display* display = XOpenDisplay(nullptr);
    if (!display) return;
    int opcode = 0, xkbEvent = 0, error = 0, major = XkbMajorVersion, minor = XkbMinorVersion;
    if (XkbQueryExtension(display, &opcode, &xkbEvent, &error, &major, &minor)) {
        const unsigned events = XkbNewKeyboardNotifyMask | XkbMapNotifyMask;
        XkbSelectEvents(display, XkbUseCoreKbd, events, events);
    }
    XFlush(display);
    while (!stop.stop_requested()) {
        bool changed = false;
        while (XPending(display) > 0) {
            XEvent event;
            XNextEvent(display, &event);
            if (event.type == MappingNotify || event.type == xkbEvent) changed = true;
        }
        if (changed && !changePending_.exchange(true)) {
            main_.post(weakOwner_.weakly([this] {
                changePending_ = false;
                if (onMappingChanged) onMappingChanged();
            }));
        }
        pollfd fds[2] = {{ConnectionNumber(display), POLLIN, 0}, {wakeFd_, POLLIN, 0}};
        if (poll(fds, 2, -1) < 0 && errno != EINTR) break;
        if (fds[0].revents & (POLLHUP | POLLERR)) break;
    }
    XCloseDisplay(display);
}

}  // namespace quillon
