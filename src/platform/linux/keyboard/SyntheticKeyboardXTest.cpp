#include "platform/linux/keyboard/SyntheticKeyboardXTest.h"

#include <X11/XKBlib.h>
#include <X11/Xlib.h>
#include <X11/Xatom.h>
#include <X11/Xutil.h>
#include <X11/extensions/XTest.h>
#include <X11/keysym.h>

#include <algorithm>

#include <unicode/utf8.h>

#include "platform/linux/apps/XErrorTrap.h"
#include "platform/linux/keyboard/SyntheticInputMarks.h"

namespace quillon {

namespace {

KeySym keysymForCodePoint(UChar32 c) {
    if (c == '\n' || c == '\r') return XK_Return;
    if (c == '\t') return XK_Tab;
    if (c == '\b') return XK_BackSpace;
    // Latin-1 keysyms are the code points themselves; everything else has a Unicode keysym.
    if ((c >= 0x20 && c <= 0x7E) || (c >= 0xA0 && c <= 0xFF)) return static_cast<KeySym>(c);
    return 0x01000000 | static_cast<KeySym>(c);
}

}  // namespace

SyntheticKeyboardXTest::SyntheticKeyboardXTest(const char* displayName)
    : SyntheticKeyboardXTest(displayName, Options{}) {}

SyntheticKeyboardXTest::SyntheticKeyboardXTest(const char* displayName, Options options) : options_(options) {
    display_ = XOpenDisplay(displayName);
    if (!display_) return;
    int eventBase = 0, errorBase = 0, major = 0, minor = 0;
    if (!XTestQueryExtension(display_, &eventBase, &errorBase, &major, &minor)) {
        XCloseDisplay(display_);
        display_ = nullptr;
        return;
    }
    // Keycodes with no symbol at all are free to borrow.
    int minimum = 0, maximum = 0, perKeycode = 0;
    XDisplayKeycodes(display_, &minimum, &maximum);
    KeySym* map = XGetKeyboardMapping(display_, static_cast<KeyCode>(minimum), maximum - minimum + 1, &perKeycode);
    for (int code = minimum; code <= maximum && map; ++code) {
        bool empty = true;
        for (int level = 0; level < perKeycode; ++level) {
            if (map[(code - minimum) * perKeycode + level] != NoSymbol) empty = false;
        }
        if (empty) spare_.push_back(static_cast<unsigned char>(code));
    }
    if (map) XFree(map);
    shiftKeycode_ = XKeysymToKeycode(display_, XK_Shift_L);
    beginMark_ = XInternAtom(display_, syntheticInputBeginAtom, False);
    endMark_ = XInternAtom(display_, syntheticInputEndAtom, False);
    restorer_ = std::jthread([this](std::stop_token stop) { restorer(stop); });
}

SyntheticKeyboardXTest::~SyntheticKeyboardXTest() {
    if (!display_) return;
    restorer_.request_stop();
    wake_.notify_all();
    if (restorer_.joinable()) restorer_.join();
    std::lock_guard lock(mutex_);
    restoreBindings();
    if (modifiers_) XFreeModifiermap(static_cast<XModifierKeymap*>(modifiers_));
    XCloseDisplay(display_);
}

void SyntheticKeyboardXTest::takeMappingChanges() {
    // Keep Xlib's copy of the keyboard map current when someone changed the layout.
    while (XPending(display_) > 0) {
        XEvent event;
        XNextEvent(display_, &event);
        if (event.type != MappingNotify) continue;
        XRefreshKeyboardMapping(&event.xmapping);
        if (event.xmapping.request == MappingModifier && modifiers_) {
            XFreeModifiermap(static_cast<XModifierKeymap*>(modifiers_));
            modifiers_ = nullptr;
        }
    }
}

std::optional<SyntheticKeyboardXTest::Stroke> SyntheticKeyboardXTest::strokeFor(unsigned long keysym,
                                                                              std::unique_lock<std::mutex>& lock) {
    if (const auto found = bound_.find(keysym); found != bound_.end()) return Stroke{found->second, false};
    const KeyCode code = XKeysymToKeycode(display_, keysym);
    if (code != 0) {
        if (XkbKeycodeToKeysym(display_, code, 0, 0) == keysym) return Stroke{code, false};
        if (shiftKeycode_ != 0 && XkbKeycodeToKeysym(display_, code, 0, 1) == keysym) return Stroke{code, true};
    }
    const auto spare = bind(keysym, lock);
    if (!spare) return std::nullopt;
    return Stroke{*spare, false};
}

std::optional<unsigned char> SyntheticKeyboardXTest::bind(unsigned long keysym, std::unique_lock<std::mutex>& lock) {
    if (spare_.empty()) return std::nullopt;
    std::optional<unsigned char> code;
    for (unsigned char candidate : spare_) {
        const bool inUse = std::ranges::any_of(bound_, [&](const auto& entry) { return entry.second == candidate; });
        if (!inUse) {
            code = candidate;
            break;
        }
    }
    if (!code) {
        // All borrowed: take back the one pressed longest ago, once applications have read it.
        auto oldest = std::ranges::min_element(bound_, [&](const auto& a, const auto& b) {
            return lastPress_[a.second] < lastPress_[b.second];
        });
        code = oldest->second;
        bound_.erase(oldest);
        const auto readyAt = lastPress_[*code] + options_.settle;
        lock.unlock();
        std::this_thread::sleep_until(readyAt);
        lock.lock();
    }
    KeySym symbols[2] = {keysym, keysym};
    XErrorTrap trap(display_);
    XChangeKeyboardMapping(display_, *code, 2, symbols, 1);
    if (trap.failed()) return std::nullopt;
    bound_[keysym] = *code;
    return code;
}

void SyntheticKeyboardXTest::press(Stroke stroke) {
    if (stroke.shift) XTestFakeKeyEvent(display_, shiftKeycode_, True, CurrentTime);
    XTestFakeKeyEvent(display_, stroke.keycode, True, CurrentTime);
    XTestFakeKeyEvent(display_, stroke.keycode, False, CurrentTime);
    if (stroke.shift) XTestFakeKeyEvent(display_, shiftKeycode_, False, CurrentTime);
    lastPress_[stroke.keycode] = Clock::now();
}

void SyntheticKeyboardXTest::markSyntheticInput(unsigned long atom) {
    const long value = 1;
    XChangeProperty(display_, DefaultRootWindow(display_), atom, XA_CARDINAL, 32, PropModeReplace,
                    reinterpret_cast<const unsigned char*>(&value), 1);
}

SyntheticKeyboardXTest::HeldState SyntheticKeyboardXTest::liftHeldModifiers() {
    HeldState state;
    char keys[32];
    XQueryKeymap(display_, keys);
    if (!modifiers_) modifiers_ = XGetModifierMapping(display_);
    auto* modifiers = static_cast<XModifierKeymap*>(modifiers_);
    for (int modifier = 0; modifiers && modifier < 8; ++modifier) {
        if (modifier == LockMapIndex) continue;
        for (int i = 0; i < modifiers->max_keypermod; ++i) {
            const KeyCode code = modifiers->modifiermap[modifier * modifiers->max_keypermod + i];
            if (code != 0 && (keys[code / 8] & (1 << (code % 8)))) {
                XTestFakeKeyEvent(display_, code, False, CurrentTime);
                state.releasedKeys.push_back(code);
            }
        }
    }
    XkbStateRec xkbState;
    if (XkbGetState(display_, XkbUseCoreKbd, &xkbState) == Success && (xkbState.locked_mods & LockMask)) {
        XkbLockModifiers(display_, XkbUseCoreKbd, LockMask, 0);
        state.capsLockWasOn = true;
    }
    return state;
}

void SyntheticKeyboardXTest::restoreHeldModifiers(const HeldState& state) {
    if (state.capsLockWasOn) XkbLockModifiers(display_, XkbUseCoreKbd, LockMask, LockMask);
    for (unsigned char code : state.releasedKeys) XTestFakeKeyEvent(display_, code, True, CurrentTime);
}

bool SyntheticKeyboardXTest::typeText(const std::string& text) {
    if (!display_) return false;
    std::unique_lock lock(mutex_);
    // The last phrase's restoration waits until this one is done: binding may let go of the lock
    // while it waits for a keycode to settle, and the restorer must not unmap, meanwhile, keys
    // this phrase has just bound and pressed.
    restoreAt_.reset();
    takeMappingChanges();
    markSyntheticInput(beginMark_);
    const HeldState held = liftHeldModifiers();
    bool complete = true;
    const auto* bytes = reinterpret_cast<const uint8_t*>(text.data());
    const auto length = static_cast<int32_t>(text.size());
    for (int32_t offset = 0; offset < length;) {
        UChar32 c = 0;
        U8_NEXT(bytes, offset, length, c);
        if (c < 0) continue;  // not UTF-8: skip the byte
        // A line break is Shift+Return: toolkits put a line into a multi-line view and nothing
        // into a single-line entry, while a bare Return submits the entry's form or dialog.
        const bool lineBreak = c == '\n' || c == '\r';
        auto stroke = strokeFor(keysymForCodePoint(c), lock);
        if (stroke && lineBreak && shiftKeycode_ != 0) stroke->shift = true;
        if (!stroke) {
            complete = false;
            break;
        }
        press(*stroke);
        XFlush(display_);
    }
    restoreHeldModifiers(held);
    markSyntheticInput(endMark_);
    XSync(display_, False);
    if (!bound_.empty()) {
        restoreAt_ = Clock::now() + options_.restoreAfter;
        wake_.notify_all();
    }
    return complete;
}

bool SyntheticKeyboardXTest::pressKey(SyntheticKey key) {
    if (!display_) return false;
    std::lock_guard lock(mutex_);
    takeMappingChanges();
    const KeyCode code = XKeysymToKeycode(display_, key == SyntheticKey::returnKey ? XK_Return : XK_Right);
    if (code == 0) return false;
    markSyntheticInput(beginMark_);
    const HeldState held = liftHeldModifiers();
    press(Stroke{code, false});
    restoreHeldModifiers(held);
    markSyntheticInput(endMark_);
    XSync(display_, False);
    return true;
}

void SyntheticKeyboardXTest::restoreBindings() {
    if (bound_.empty()) return;
    XErrorTrap trap(display_);
    for (const auto& [keysym, code] : bound_) {
        KeySym none[2] = {NoSymbol, NoSymbol};
        XChangeKeyboardMapping(display_, code, 2, none, 1);
    }
    bound_.clear();
    restoreAt_.reset();
}

void SyntheticKeyboardXTest::restorer(std::stop_token stop) {
    std::unique_lock lock(mutex_);
    while (!stop.stop_requested()) {
        if (!restoreAt_) {
            wake_.wait(lock, stop, [&] { return restoreAt_.has_value(); });
            continue;
        }
        const auto due = *restoreAt_;
        if (wake_.wait_until(lock, stop, due, [&] { return restoreAt_ != due; })) continue;
        if (!stop.stop_requested() && restoreAt_ == due) restoreBindings();
    }
}

std::size_t SyntheticKeyboardXTest::spareKeycodeCount() {
    std::lock_guard lock(mutex_);
    return spare_.size();
}

std::size_t SyntheticKeyboardXTest::boundKeycodeCount() {
    std::lock_guard lock(mutex_);
    return bound_.size();
}

}  // namespace quillon
