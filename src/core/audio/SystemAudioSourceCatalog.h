#pragma once

#include <functional>
#include <string>
#include <vector>

#include "core/base/Scheduler.h"
#include "core/base/WeakOwner.h"
#include "core/ports/SystemAudioProcesses.h"

namespace quillon {

// One application that plays, or can play, to the sound server: all its streams in one row.
struct SystemAudioApplication {
    std::string bundleIdentifier;  // the application identifier the tap takes
    std::string name;
    std::string iconName;
    std::vector<int> processIdentifiers;  // one per stream, in the server's order

    bool operator==(const SystemAudioApplication&) const = default;
};

// The applications a live transcript can listen to, for the source menu: grouped by application,
// without Quillon itself, those playing now first, then by name without regard to case. Rebuilt
// at construction, every two seconds and on refresh(); observers hear of every rebuild.
//
// Threads: the main thread only.
class SystemAudioSourceCatalog {
public:
    static constexpr Duration refreshInterval = std::chrono::seconds(2);

    SystemAudioSourceCatalog(Scheduler& mainQueue, SystemAudioProcesses& processes, std::string ownApplicationIdentifier);
    SystemAudioSourceCatalog(const SystemAudioSourceCatalog&) = delete;
    SystemAudioSourceCatalog& operator=(const SystemAudioSourceCatalog&) = delete;

    const std::vector<SystemAudioApplication>& applications() const { return applications_; }
    std::function<void()> onApplicationsChanged;

    void refresh();

private:
    void scheduleRefresh();

    Scheduler& mainQueue_;
    SystemAudioProcesses& processes_;
    std::string ownApplicationIdentifier_;
    std::vector<SystemAudioApplication> applications_;
    WeakOwner weakOwner_;  // last: dies first
};

}  // namespace quillon
