#pragma once

#include <mutex>
#include <optional>
#include <string>

#include "core/ports/RunningApplications.h"
#include "platform/linux/apps/DesktopEntryIndex.h"

typedef struct _XDisplay Display;

namespace quillon {

// Running applications on an X11 desktop: the process behind a window from _NET_WM_PID, its
// names from /proc and its desktop file, the active window from the window manager
// (_NET_ACTIVE_WINDOW) or, without one, from the X input focus.
//
// Threads: any; a mutex guards the X connection.
class RunningApplicationsX11 final : public RunningApplications {
public:
    // Opens its own connection to `displayName` (null: $DISPLAY).
    explicit RunningApplicationsX11(const char* displayName = nullptr, DesktopEntryIndex* index = nullptr);
    ~RunningApplicationsX11() override;
    RunningApplicationsX11(const RunningApplicationsX11&) = delete;
    RunningApplicationsX11& operator=(const RunningApplicationsX11&) = delete;

    bool isConnected() const { return display_ != nullptr; }

    std::optional<RunningApplication> applicationWithProcessIdentifier(int processIdentifier) override;
    std::optional<int> frontmostProcessIdentifier() override;
    bool activate(int processIdentifier) override;

    // Reads one variable of a process's environment (same user only).
    static std::optional<std::string> environmentOf(int processIdentifier, const std::string& name);

private:
    std::optional<int> processOfWindow(unsigned long window);
    unsigned long topLevelWindowOf(int processIdentifier);

    Display* display_ = nullptr;
    std::mutex mutex_;
    DesktopEntryIndex ownIndex_;
    DesktopEntryIndex& index_;
};

}  // namespace quillon
