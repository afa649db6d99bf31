#include "core/audio/SystemAudioSourceCatalog.h"

#include <algorithm>
#include <map>

#include <unicode/uchar.h>
#include <unicode/unistr.h>

namespace quillon {

namespace {

bool nameBefore(const std::string& a, const std::string& b) {
    return icu::UnicodeString::fromUTF8(a).caseCompare(icu::UnicodeString::fromUTF8(b), U_FOLD_CASE_DEFAULT) < 0;
}

}  // namespace

SystemAudioSourceCatalog::SystemAudioSourceCatalog(Scheduler& mainQueue, SystemAudioProcesses& processes,
                                                   std::string ownApplicationIdentifier)
    : mainQueue_(mainQueue), processes_(processes), ownApplicationIdentifier_(std::move(ownApplicationIdentifier)) {
    refresh();
    scheduleRefresh();
}

void SystemAudioSourceCatalog::scheduleRefresh() {
    mainQueue_.postAfter(refreshInterval, weakOwner_.weakly([this] {
        refresh();
        scheduleRefresh();
    }));
}

void SystemAudioSourceCatalog::refresh() {
    struct Group {
        SystemAudioApplication application;
        bool isPlaying = false;
    };
    std::map<std::string, Group> groups;
    for (const auto& process : processes_.processes()) {
        if (process.applicationIdentifier == ownApplicationIdentifier_) continue;
        auto [entry, inserted] = groups.try_emplace(process.applicationIdentifier);
        Group& group = entry->second;
        if (inserted) {
            group.application.bundleIdentifier = process.applicationIdentifier;
            group.application.name = process.applicationName.empty() ? process.applicationIdentifier : process.applicationName;
            group.application.iconName = process.iconName;
        }
        group.application.processIdentifiers.push_back(process.pid);
        group.isPlaying = group.isPlaying || process.isRunningOutput;
    }
    std::vector<Group> sorted;
    sorted.reserve(groups.size());
    for (auto& [key, group] : groups) sorted.push_back(std::move(group));
    std::stable_sort(sorted.begin(), sorted.end(), [](const Group& a, const Group& b) {
        if (a.isPlaying != b.isPlaying) return a.isPlaying;
        return nameBefore(a.application.name, b.application.name);
    });
    applications_.clear();
    for (auto& group : sorted) applications_.push_back(std::move(group.application));
    if (onApplicationsChanged) onApplicationsChanged();
}

}  // namespace quillon
