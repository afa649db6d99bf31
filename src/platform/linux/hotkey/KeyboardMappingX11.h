#pragma once

#include <atomic>
#include <thread>

#include "core/base/Scheduler.h"
#include "core/base/WeakOwner.h"
#include "core/logging/Logger.h"
#include "core/ports/KeyboardMapping.h"

typedef struct _XDisplay Display;

namespace quillon {

// The X11 keyboard map seen as mapping entries. The one entry X11 can hold is the Caps Lock
// key's: it reads as no entry while the key reports Caps_Lock and is a Lock modifier (the
// keyboard as it comes), as Caps Lock -> F18 while it reports F18 and Lock is off it, and as
// Caps Lock -> something else for anything a user or a layout put there (ctrl:nocaps, caps:none).
// Writing the F18 entry changes the key's symbol (XChangeKeyboardMapping) and takes it out of
// the Lock modifier; writing no entry puts Caps_Lock and Lock back. Other entries leave the
// keyboard alone.
//
// A new keyboard or another program's keymap (setxkbmap) replaces the map: the watcher thread
// reports XkbNewKeyboardNotify, XkbMapNotify and MappingNotify as onMappingChanged.
//
// Threads: the commands run on the main thread on their own X connection (short round trips to
// the server, no lock). The watcher thread owns a second connection and only posts to the main
// queue; a burst of changes is posted once (`changePending_`).
class KeyboardMappingX11 final : public KeyboardMapping {
public:
    KeyboardMappingX11(Scheduler& main, Logger logger);
    ~KeyboardMappingX11() override;
    KeyboardMappingX11(const KeyboardMappingX11&) = delete;
    KeyboardMappingX11& operator=(const KeyboardMappingX11&) = delete;

    std::vector<KeyMappingEntry> currentMappings() override;
    bool setMappings(const std::vector<KeyMappingEntry>& entries) override;
    void clearCapsLockState() override;

private:
    void watch(std::stop_token stop);
    bool applyRemap(bool remapped);

    Scheduler& main_;
    Logger logger_;
    Display* display_ = nullptr;
    int wakeFd_ = -1;
    std::atomic<bool> changePending_ = false;
    WeakOwner weakOwner_;
    std::jthread watcher_;  // last: stopped before anything it posts through is gone
};

}  // namespace quillon
