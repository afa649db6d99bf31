#pragma once

#include <functional>
#include <optional>
#include <string>

#include "core/app/AppState.h"
#include "core/base/Scheduler.h"
#include "core/base/WeakOwner.h"
#include "core/logging/Logger.h"
#include "core/ports/Pasteboard.h"
#include "core/ports/StatusItem.h"

namespace quillon {

// Owns the status item: shows AppState as its icon, keeps the last transcription for copying.
// updateState() and addTranscription() are safe from any thread (they post to `main`); the rest
// runs on the main thread.
class MenuBarController {
public:
    MenuBarController(Scheduler& main, StatusItem& statusItem, Pasteboard& pasteboard, Logger logger);

    // Installs the status item; false when no tray host shows it (logged).
    bool setup();

    void updateState(AppState state);
    void addTranscription(const std::string& text);
    bool copyLastTranscription();
    bool copyTranscriptionToClipboard(const std::string& text);

    const AppState& state() const { return state_; }
    const std::optional<std::string>& lastTranscription() const { return lastTranscription_; }

    static StatusItemAppearance appearance(const AppState& state);

    // Observers for the UI, called on the main thread after a change.
    std::function<void()> onStateChanged;
    std::function<void()> onLastTranscriptionChanged;

private:
    void updateIcon();

    Scheduler& main_;
    StatusItem& statusItem_;
    Pasteboard& pasteboard_;
    Logger logger_;
    AppState state_ = AppState::idle();
    std::optional<std::string> lastTranscription_;
    WeakOwner weakOwner_;  // last: posted blocks drop once this controller is gone
};

}  // namespace quillon
