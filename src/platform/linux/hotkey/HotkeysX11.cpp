#include "platform/linux/hotkey/HotkeysX11.h"

#include <X11/XKBlib.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/extensions/XInput2.h>
#include <X11/keysym.h>

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <bitset>
#include <cctype>
#include <cerrno>
#include <utility>
#include <string>
#include <vector>

#include "core/settings/HotkeyMode.h"
#include "platform/linux/apps/XErrorTrap.h"
#include "platform/linux/keyboard/SyntheticInputMarks.h"

namespace quillon {

namespace {

// The X modifier masks of the stored modifier bits; Fn has none on X11.
struct ModifierBit {
    int flag;
    unsigned mask;
    int mapIndex;
};
constexpr ModifierBit modifierBits[] = {
    {modifier::shift, ShiftMask, ShiftMapIndex},     {modifier::capsLock, LockMask, LockMapIndex},
    {modifier::control, ControlMask, ControlMapIndex}, {modifier::alt, Mod1Mask, Mod1MapIndex},
    {modifier::super, Mod4Mask, Mod4MapIndex},
};

int flagsOf(unsigned xModifiers) {
    int flags = 0;
    for (const auto& bit : modifierBits) {
        if (xModifiers & bit.mask) flags |= bit.flag;
    }
    return flags;
}

std::optional<unsigned> xModifiersOf(int flags) {
    unsigned mask = 0;
    for (const auto& bit : modifierBits) {
        if (flags & bit.flag) {
            mask |= bit.mask;
            flags &= ~bit.flag;
        }
    }
    if (flags != 0) return std::nullopt;  // Fn, or bits X does not have
    return mask;
}

struct Grab {
    int keycode;
    unsigned modifiers;
};

constexpr int evdevF18 = 188;

// The hotkey in the user's words: "Control+Super", "Control+Shift+K", "Caps Lock".
template <class KeyName>
std::string describeKeys(const SwallowedKeys& keys, KeyName keyName) {
    if (keys.capsLockKey) return "Caps Lock";
    static constexpr std::pair<int, const char*> names[] = {
        {modifier::control, "Control"}, {modifier::alt, "Alt"},   {modifier::shift, "Shift"},
        {modifier::super, "Super"},     {modifier::function, "Fn"}, {modifier::capsLock, "Caps Lock"},
    };
    std::string text;
    for (const auto& [flag, name] : names) {
        if (keys.modifiers & flag) text += (text.empty() ? "" : "+") + std::string(name);
    }
    if (keys.keyCode != 0) text += (text.empty() ? "" : "+") + keyName(keys.keyCode);
    return text;
}

}  // namespace

// The thread's side: the X connection and what it knows of the keyboard. Thread only.
class HotkeysX11::Connection {
public:
    explicit Connection(HotkeysX11& owner) : owner_(owner) {}
    ~Connection() {
        if (!display_) return;
        releaseGrabs();
        XCloseDisplay(display_);
    }

    // Empty when ready; otherwise why the keyboard cannot be watched.
    std::string open() {
        display_ = XOpenDisplay(nullptr);
        if (!display_) return "the X display cannot be opened.";
        root_ = DefaultRootWindow(display_);
        int event = 0, error = 0;
        if (!XQueryExtension(display_, "XInputExtension", &xiOpcode_, &event, &error)) {
            return "the X server has no XInput extension.";
        }
        int major = 2, minor = 2;
        if (XIQueryVersion(display_, &major, &minor) != Success) return "the X server has no XInput 2.2.";
        int xkbOpcode = 0, xkbError = 0;
        major = XkbMajorVersion;
        minor = XkbMinorVersion;
        if (!XkbQueryExtension(display_, &xkbOpcode, &xkbEvent_, &xkbError, &major, &minor)) {
            return "the X server has no XKB extension.";
        }

        unsigned char mask[XIMaskLen(XI_LASTEVENT)] = {};
        XISetMask(mask, XI_RawKeyPress);
        XISetMask(mask, XI_RawKeyRelease);
        XIEventMask events{XIAllMasterDevices, sizeof mask, mask};
        XISelectEvents(display_, root_, &events, 1);
        XkbSelectEventDetails(display_, XkbUseCoreKbd, XkbStateNotify, XkbModifierStateMask, XkbModifierStateMask);
        const unsigned keymapEvents = XkbNewKeyboardNotifyMask | XkbMapNotifyMask;
        XkbSelectEvents(display_, XkbUseCoreKbd, keymapEvents, keymapEvents);

        // Quillon's own typing marks its bursts of presses on the root window's properties.
        beginMark_ = XInternAtom(display_, syntheticInputBeginAtom, False);
        endMark_ = XInternAtom(display_, syntheticInputEndAtom, False);
        XSelectInput(display_, root_, PropertyChangeMask);

        XkbStateRec state;
        if (XkbGetState(display_, XkbUseCoreKbd, &state) == Success) flags_ = flagsOf(state.mods);
        deliveredFlags_ = flags_;
        XFlush(display_);
        return {};
    }

    int fd() const { return ConnectionNumber(display_); }
    bool hasQueuedEvents() const { return XPending(display_) > 0; }

    // Grabs `keys` instead of what was grabbed; empty when all of them could be taken.
    std::string take(const SwallowedKeys& keys) {
        keys_ = keys;
        return regrab();
    }

    // Handles what the server has sent; returns a failure to report, or empty.
    std::string drain() {
        bool keymapChanged = false;
        while (XPending(display_) > 0) {
            XEvent event;
            XNextEvent(display_, &event);
            if (event.type == GenericEvent) {
                handleRaw(event);
            } else if (event.type == KeyPress || event.type == KeyRelease) {
                // Our passive grab became an active grab of the whole keyboard: let it go at once,
                // so that keys typed into the focused field while the hotkey is held reach it.
                if (event.type == KeyPress) {
                    XUngrabKeyboard(display_, event.xkey.time);
                    XFlush(display_);
                }
                handleKey(static_cast<int>(event.xkey.keycode), event.type == KeyPress, false);
            } else if (event.type == PropertyNotify) {
                handleMark(event.xproperty.atom);
            } else if (event.type == MappingNotify) {
                XRefreshKeyboardMapping(&event.xmapping);
                keymapChanged = true;
            } else if (event.type == xkbEvent_) {
                const auto& xkb = reinterpret_cast<const XkbEvent&>(event);
                if (xkb.any.xkb_type == XkbStateNotify) {
                    handleState(xkb.state);
                } else {
                    keymapChanged = true;
                }
            }
        }
        // The keycodes of the hotkey's keys and modifiers may have moved: grab them again.
        return keymapChanged && keys_ ? regrab() : std::string();
    }

private:
    // Between the marks the keys and modifier changes are Quillon's own typing: the modifiers of a
    // held hotkey are lifted for the typed keys and pressed again after them. None of that is the
    // user's, so it is not reported; should the modifiers differ once the burst is over (the user
    // let go meanwhile), the difference is reported then.
    void handleMark(Atom atom) {
        if (atom == beginMark_) {
            ++syntheticDepth_;
        } else if (atom == endMark_ && syntheticDepth_ > 0) {
            if (--syntheticDepth_ == 0 && flags_ != deliveredFlags_) deliverFlags(0);
        }
    }

    void deliverFlags(int keycode) {
        deliveredFlags_ = flags_;
        owner_.deliver({KeyEventType::flagsChanged, keycode, flags_});
    }

    void handleRaw(XEvent& event) {
        if (!XGetEventData(display_, &event.xcookie)) return;
        if (event.xcookie.extension == xiOpcode_ &&
            (event.xcookie.evtype == XI_RawKeyPress || event.xcookie.evtype == XI_RawKeyRelease)) {
            const auto* raw = static_cast<const XIRawEvent*>(event.xcookie.data);
            handleKey(raw->detail, event.xcookie.evtype == XI_RawKeyPress, true);
        }
        XFreeEventData(display_, &event.xcookie);
    }

    // The server sends raw events to everyone but the grabbing client while a grab is active, so
    // a key struck quickly reaches us half as raw events and half as the grab's core events. Both
    // are merged by the keys known to be down: a second press of a key that is down is its
    // auto-repeat when raw, and the other report of the same press when core.
    void handleKey(int keycode, bool press, bool isRaw) {
        if (keycode < 0 || keycode >= static_cast<int>(keysDown_.size())) return;
        const KeySym symbol = XkbKeycodeToKeysym(display_, static_cast<KeyCode>(keycode), 0, 0);
        // Modifier and lock keys are reported by the XKB state change they cause.
        if (IsModifierKey(symbol)) return;
        const bool wasDown = keysDown_[keycode];
        keysDown_[keycode] = press;
        if (press ? wasDown && !isRaw : !wasDown) return;
        if (syntheticDepth_ > 0) return;
        owner_.deliver({press ? KeyEventType::keyDown : KeyEventType::keyUp, evdevCode(keycode, symbol), flags_});
    }

    void handleState(const XkbStateNotifyEvent& state) {
        const int flags = flagsOf(state.mods);
        if (flags == flags_) return;  // Num Lock and the like are not hotkey flags
        flags_ = flags;
        if (syntheticDepth_ > 0) return;
        deliverFlags(state.keycode != 0 ? state.keycode - 8 : 0);
    }

    // The Caps Lock key remapped to F18 keeps its keycode; it reports F18's code.
    static int evdevCode(int keycode, KeySym symbol) {
        return symbol == XK_F18 ? evdevF18 : keycode - 8;
    }

    std::vector<int> keycodesOf(std::initializer_list<KeySym> symbols) const {
        std::vector<int> found;
        int minimum = 0, maximum = 0;
        XDisplayKeycodes(display_, &minimum, &maximum);
        for (int code = minimum; code <= maximum; ++code) {
            const KeySym symbol = XkbKeycodeToKeysym(display_, static_cast<KeyCode>(code), 0, 0);
            for (KeySym wanted : symbols) {
                if (symbol == wanted) found.push_back(code);
            }
        }
        return found;
    }

    std::vector<int> modifierKeycodes(int mapIndex) const {
        std::vector<int> found;
        XModifierKeymap* map = XGetModifierMapping(display_);
        if (!map) return found;
        for (int i = 0; i < map->max_keypermod; ++i) {
            const KeyCode code = map->modifiermap[mapIndex * map->max_keypermod + i];
            if (code != 0) found.push_back(code);
        }
        XFreeModifiermap(map);
        return found;
    }

    std::string regrab() {
        releaseGrabs();
        const SwallowedKeys& keys = *keys_;
        const std::string name = describeKeys(keys, [this](int code) { return keyName(code); });
        std::vector<Grab> required;
        std::vector<Grab> optional;
        const unsigned numLock = XkbKeysymToModifiers(display_, XK_Num_Lock);
        if (keys.capsLockKey) {
            for (int code : keycodesOf({XK_Caps_Lock, XK_F18})) required.push_back({code, AnyModifier});
            if (required.empty()) return "this keyboard has no Caps Lock key.";
        } else {
            const auto modifiers = xModifiersOf(keys.modifiers);
            if (!modifiers) return name + " cannot be used on X11, which does not see the Fn key.";
            auto withAndWithoutNumLock = [&](std::vector<Grab>& into, int keycode, unsigned mods) {
                into.push_back({keycode, mods});
                if (numLock != 0) into.push_back({keycode, mods | numLock});
            };
            if (keys.keyCode != 0) {
                withAndWithoutNumLock(required, keys.keyCode + 8, *modifiers);
            } else {
                if (*modifiers == 0) return "a hotkey needs a key or at least one modifier.";
                // A chord: the last of its modifiers pressed while the others are held.
                for (const auto& bit : modifierBits) {
                    if (!(*modifiers & bit.mask)) continue;
                    for (int code : modifierKeycodes(bit.mapIndex)) {
                        withAndWithoutNumLock(required, code, *modifiers & ~bit.mask);
                    }
                }
                if (required.empty()) return name + " is not on this keyboard.";
                // And any key struck while the whole chord is held.
                withAndWithoutNumLock(optional, AnyKey, *modifiers);
            }
        }

        for (const auto& grab : required) {
            if (!grabKey(grab)) {
                releaseGrabs();
                return name + " is taken by another program.";
            }
        }
        for (const auto& grab : optional) {
            if (!grabKey(grab)) {
                owner_.logger_.error("Keys struck while " + name +
                                     " is held cannot be kept from other programs: another program holds some");
                break;
            }
        }
        return {};
    }

    bool grabKey(const Grab& grab) {
        XErrorTrap trap(display_);
        XGrabKey(display_, grab.keycode, grab.modifiers, root_, False, GrabModeAsync, GrabModeAsync);
        if (trap.failed()) return false;  // BadAccess: another client holds this combination
        grabs_.push_back(grab);
        return true;
    }

    void releaseGrabs() {
        for (const auto& grab : grabs_) XUngrabKey(display_, grab.keycode, grab.modifiers, root_);
        grabs_.clear();
        XFlush(display_);
    }

    std::string keyName(int evdevCode) const {
        const KeySym symbol = XkbKeycodeToKeysym(display_, static_cast<KeyCode>(evdevCode + 8), 0, 0);
        const char* text = symbol != NoSymbol ? XKeysymToString(symbol) : nullptr;
        if (!text) return "key " + std::to_string(evdevCode);
        std::string name(text);
        if (name.size() == 1) name[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(name[0])));
        return name;
    }

    HotkeysX11& owner_;
    Display* display_ = nullptr;
    Window root_ = 0;
    int xiOpcode_ = 0;
    int xkbEvent_ = 0;
    int flags_ = 0;
    int deliveredFlags_ = 0;  // as last reported
    Atom beginMark_ = None;
    Atom endMark_ = None;
    int syntheticDepth_ = 0;  // inside a burst of Quillon's own presses
    std::optional<SwallowedKeys> keys_;
    std::vector<Grab> grabs_;
    std::bitset<256> keysDown_;
};

HotkeysX11::HotkeysX11(Scheduler& main, Logger logger)
    : main_(main), logger_(std::move(logger)), wakeFd_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

HotkeysX11::~HotkeysX11() {
    stop();
    if (wakeFd_ >= 0) close(wakeFd_);
}

void HotkeysX11::start(SwallowedKeys keys) {
    {
        std::lock_guard lock(mutex_);
        wantedKeys_ = keys;
    }
    if (thread_.joinable()) {
        wake();
        return;
    }
    thread_ = std::jthread([this](std::stop_token stop) { run(stop); });
}

void HotkeysX11::stop() {
    if (!thread_.joinable()) return;
    ++generation_;  // what the thread posted before is dropped
    thread_.request_stop();
    wake();
    thread_.join();
    thread_ = {};
    std::lock_guard lock(mutex_);
    wantedKeys_.reset();
}

void HotkeysX11::wake() const {
    const std::uint64_t one = 1;
    [[maybe_unused]] const auto written = write(wakeFd_, &one, sizeof one);
}

void HotkeysX11::deliver(const KeyEvent& event) {
    main_.post(weakOwner_.weakly([this, event, generation = generation_.load()] {
        if (onKeyEvent && generation == generation_.load()) onKeyEvent(event);
    }));
}

void HotkeysX11::fail(std::string reason) {
    main_.post(weakOwner_.weakly([this, reason = std::move(reason), generation = generation_.load()] {
        if (onUnavailable && generation == generation_.load()) onUnavailable(reason);
    }));
}

void HotkeysX11::run(std::stop_token stop) {
    Connection connection(*this);
    if (auto failure = connection.open(); !failure.empty()) {
        fail("the keyboard cannot be watched: " + failure);
        return;
    }
    while (!stop.stop_requested()) {
        std::optional<SwallowedKeys> wanted;
        {
            std::lock_guard lock(mutex_);
            wanted = std::exchange(wantedKeys_, std::nullopt);
        }
        if (wanted) {
            if (auto failure = connection.take(*wanted); !failure.empty()) fail(std::move(failure));
        }
        if (auto failure = connection.drain(); !failure.empty()) fail(std::move(failure));
        if (connection.hasQueuedEvents()) continue;

        pollfd fds[2] = {{connection.fd(), POLLIN, 0}, {wakeFd_, POLLIN, 0}};
        if (poll(fds, 2, -1) < 0 && errno != EINTR) {
            fail("the connection to the X server failed.");
            return;
        }
        if (fds[0].revents & (POLLHUP | POLLERR)) {
            fail("the X server closed the connection.");
            return;
        }
        std::uint64_t count = 0;
        [[maybe_unused]] const auto read = ::read(wakeFd_, &count, sizeof count);
    }
}

}  // namespace quillon
