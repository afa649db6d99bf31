#pragma once

#include <optional>
#include <string>

namespace quillon {

// A running application as the desktop knows it. Every string may be empty.
struct RunningApplication {
    int processIdentifier = 0;
    std::string localizedName;  // the desktop file's Name, else the process name
    std::string desktopId;      // the desktop file id without ".desktop", e.g. "org.gnome.gedit"
    std::string flatpakId;      // the sandbox's application id
    std::string processName;    // the executable's name
};

// The applications that run on the desktop.
// Threads: any thread.
class RunningApplications {
public:
    virtual ~RunningApplications() = default;

    virtual std::optional<RunningApplication> applicationWithProcessIdentifier(int processIdentifier) = 0;

    // The process of the window that has the focus (the active window), if any.
    virtual std::optional<int> frontmostProcessIdentifier() = 0;

    // Brings the application's window forward and gives it the focus. False when it could not.
    virtual bool activate(int processIdentifier) = 0;
};

}  // namespace quillon
