#pragma once

#include <string>
#include <vector>

namespace quillon {

// One stream that plays to the sound server, with the application it belongs to as the desktop
// names it (a helper process counts as its ancestor application).
struct SystemAudioProcess {
    int pid = 0;
    std::string processIdentifier;      // the process's own identity (its executable); never empty
    std::string applicationIdentifier;  // the application's identity (desktop id, Flatpak id, or name)
    std::string applicationName;
    std::string iconName;               // freedesktop icon name, may be empty
    bool isRunningOutput = false;       // playing now, not paused

    bool operator==(const SystemAudioProcess&) const = default;
};

// The streams that play now. Threads: any; returns at once from what the adapter last saw.
class SystemAudioProcesses {
public:
    virtual ~SystemAudioProcesses() = default;
    virtual std::vector<SystemAudioProcess> processes() = 0;
};

}  // namespace quillon
