#include "platform/linux/audio/PulseApplicationIdentity.h"

#include <charconv>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>

namespace quillon {

namespace {

namespace fs = std::filesystem;

std::string property(const pa_proplist* properties, const char* key) {
    const char* value = properties ? pa_proplist_gets(properties, key) : nullptr;
    return value ? value : "";
}

std::string executableOf(int pid) {
    std::error_code error;
    const auto target = fs::read_symlink("/proc/" + std::to_string(pid) + "/exe", error);
    return error ? std::string() : target.string();
}

int parentOf(int pid) {
    std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
    std::string text;
    std::getline(stat, text);
    const auto close = text.rfind(')');
    if (close == std::string::npos) return 0;
    std::istringstream rest(text.substr(close + 1));
    std::string state;
    int parent = 0;
    rest >> state >> parent;
    return parent;
}

// The [Application] name= of a sandboxed process, readable by its own user.
std::string flatpakIdOf(int pid) {
    std::ifstream info("/proc/" + std::to_string(pid) + "/root/.flatpak-info");
    bool inApplication = false;
    for (std::string line; std::getline(info, line);) {
        if (line.starts_with('[')) inApplication = line == "[Application]";
        else if (inApplication && line.starts_with("name=")) return line.substr(5);
    }
    return {};
}

std::string baseName(const std::string& path) { return fs::path(path).filename().string(); }

}  // namespace

PulseApplicationIdentity::StreamOwner PulseApplicationIdentity::ownerOf(const pa_proplist* properties) {
    StreamOwner owner;
    const std::string pid = property(properties, PA_PROP_APPLICATION_PROCESS_ID);
    std::from_chars(pid.data(), pid.data() + pid.size(), owner.pid);
    owner.binary = property(properties, PA_PROP_APPLICATION_PROCESS_BINARY);
    owner.applicationName = property(properties, PA_PROP_APPLICATION_NAME);
    owner.iconName = property(properties, PA_PROP_APPLICATION_ICON_NAME);
    owner.flatpakId = property(properties, "pipewire.access.portal.app_id");
    return owner;
}

SystemAudioProcess PulseApplicationIdentity::resolve(const StreamOwner& owner) {
    SystemAudioProcess process;
    process.pid = owner.pid;
    process.processIdentifier = !owner.binary.empty() ? owner.binary
                                : !owner.applicationName.empty() ? owner.applicationName
                                                                 : "pid " + std::to_string(owner.pid);

    // Climb the parents that run the same executable: a helper becomes its application.
    int top = owner.pid;
    std::string executable = top > 0 ? executableOf(top) : std::string();
    while (!executable.empty()) {
        const int parent = parentOf(top);
        if (parent <= 1 || executableOf(parent) != executable) break;
        top = parent;
    }
    std::string flatpakId = owner.flatpakId;
    if (flatpakId.empty() && top > 0) flatpakId = flatpakIdOf(top);

    std::optional<DesktopEntryIndex::Entry> entry;
    if (!flatpakId.empty()) entry = index_.entryWithId(flatpakId);
    if (!entry && !executable.empty()) entry = index_.entryForExecutable(baseName(executable));
    if (!entry && !owner.binary.empty()) entry = index_.entryForExecutable(owner.binary);

    if (entry) {
        process.applicationIdentifier = entry->id;
        process.applicationName = entry->name.empty() ? owner.applicationName : entry->name;
        process.iconName = entry->icon.empty() ? owner.iconName : entry->icon;
    } else {
        process.applicationIdentifier = !flatpakId.empty() ? flatpakId : process.processIdentifier;
        if (!owner.applicationName.empty() && flatpakId.empty()) process.applicationIdentifier = owner.applicationName;
        process.applicationName = !owner.applicationName.empty() ? owner.applicationName : process.applicationIdentifier;
        process.iconName = owner.iconName;
    }
    if (process.applicationName.empty()) process.applicationName = process.applicationIdentifier;
    return process;
}

}  // namespace quillon
