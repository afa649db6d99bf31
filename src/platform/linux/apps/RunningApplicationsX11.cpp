#include "platform/linux/apps/RunningApplicationsX11.h"

#include "platform/linux/apps/XErrorTrap.h"

#include <X11/Xatom.h>
#include <X11/Xlib.h>

#include <filesystem>
#include <fstream>
#include <iterator>

namespace quillon {

namespace fs = std::filesystem;

namespace {

std::string readFirstLine(const std::string& path) {
    std::ifstream file(path);
    std::string line;
    std::getline(file, line);
    return line;
}

std::optional<unsigned long> windowProperty(Display* display, Window window, Atom property) {
    Atom type = None;
    int format = 0;
    unsigned long count = 0;
    unsigned long remaining = 0;
    unsigned char* data = nullptr;
    if (XGetWindowProperty(display, window, property, 0, 1, False, AnyPropertyType, &type, &format, &count,
                           &remaining, &data) != Success) {
        return std::nullopt;
    }
    std::optional<unsigned long> result;
    if (data && count == 1 && format == 32) result = *reinterpret_cast<unsigned long*>(data);
    if (data) XFree(data);
    return result;
}

}  // namespace

RunningApplicationsX11::RunningApplicationsX11(const char* displayName, DesktopEntryIndex* index)
    : display_(XOpenDisplay(displayName)), index_(index ? *index : ownIndex_) {}

RunningApplicationsX11::~RunningApplicationsX11() {
    if (display_) XCloseDisplay(display_);
}

std::optional<std::string> RunningApplicationsX11::environmentOf(int processIdentifier, const std::string& name) {
    std::ifstream file("/proc/" + std::to_string(processIdentifier) + "/environ", std::ios::binary);
    const std::string prefix = name + "=";
    for (std::string entry; std::getline(file, entry, '\0');) {
        if (entry.starts_with(prefix)) return entry.substr(prefix.size());
    }
    return std::nullopt;
}

std::optional<RunningApplication> RunningApplicationsX11::applicationWithProcessIdentifier(int processIdentifier) {
    if (processIdentifier <= 0) return std::nullopt;
    const std::string proc = "/proc/" + std::to_string(processIdentifier);
    std::error_code error;
    if (!fs::exists(proc, error)) return std::nullopt;

    RunningApplication application;
    application.processIdentifier = processIdentifier;
    // comm is cut at 15 bytes; the executable's file name is whole.
    const std::string executable = fs::read_symlink(proc + "/exe", error).filename().string();
    application.processName = executable.empty() ? readFirstLine(proc + "/comm") : executable;
    application.flatpakId = environmentOf(processIdentifier, "FLATPAK_ID").value_or("");

    std::optional<DesktopEntryIndex::Entry> entry;
    if (!application.flatpakId.empty()) entry = index_.entryWithId(application.flatpakId);
    if (!entry) {
        // Set by GLib when it launches a desktop file, and inherited by the program's children.
        if (const auto launched = environmentOf(processIdentifier, "GIO_LAUNCHED_DESKTOP_FILE")) {
            entry = index_.entryWithId(fs::path(*launched).stem().string());
        }
    }
    if (!entry && !executable.empty()) entry = index_.entryForExecutable(executable);
    if (!entry && !application.processName.empty()) entry = index_.entryForExecutable(application.processName);

    if (entry) {
        application.desktopId = entry->id;
        application.localizedName = entry->name;
    } else if (!application.flatpakId.empty()) {
        application.desktopId = application.flatpakId;
    }
    if (application.localizedName.empty()) application.localizedName = application.processName;
    return application;
}

std::optional<int> RunningApplicationsX11::processOfWindow(unsigned long window) {
    const Atom pidAtom = XInternAtom(display_, "_NET_WM_PID", False);
    // The focus may sit on a child window of the top level that carries the process.
    for (Window current = window; current != None;) {
        if (const auto pid = windowProperty(display_, current, pidAtom); pid && *pid > 0) {
            return static_cast<int>(*pid);
        }
        Window root = None;
        Window parent = None;
        Window* children = nullptr;
        unsigned int count = 0;
        if (!XQueryTree(display_, current, &root, &parent, &children, &count)) break;
        if (children) XFree(children);
        if (parent == root) break;
        current = parent;
    }
    return std::nullopt;
}

std::optional<int> RunningApplicationsX11::frontmostProcessIdentifier() {
    if (!display_) return std::nullopt;
    std::lock_guard lock(mutex_);
    XErrorTrap trap(display_);
    const Window root = DefaultRootWindow(display_);
    const Atom active = XInternAtom(display_, "_NET_ACTIVE_WINDOW", False);
    if (const auto window = windowProperty(display_, root, active); window && *window != None) {
        if (auto pid = processOfWindow(*window)) return pid;
    }
    Window focus = None;
    int revert = 0;
    XGetInputFocus(display_, &focus, &revert);
    if (focus == None || focus == PointerRoot || focus == root) return std::nullopt;
    return processOfWindow(focus);
}

unsigned long RunningApplicationsX11::topLevelWindowOf(int processIdentifier) {
    const Atom pidAtom = XInternAtom(display_, "_NET_WM_PID", False);
    Window root = None;
    Window parent = None;
    Window* children = nullptr;
    unsigned int count = 0;
    if (!XQueryTree(display_, DefaultRootWindow(display_), &root, &parent, &children, &count)) return None;
    Window found = None;
    // Top to bottom, and one level down for window managers that reparent into frames.
    for (unsigned int i = count; i-- > 0 && found == None;) {
        XWindowAttributes attributes;
        if (!XGetWindowAttributes(display_, children[i], &attributes) || attributes.map_state != IsViewable) continue;
        if (windowProperty(display_, children[i], pidAtom) == static_cast<unsigned long>(processIdentifier)) {
            found = children[i];
            break;
        }
        Window* inner = nullptr;
        unsigned int innerCount = 0;
        if (XQueryTree(display_, children[i], &root, &parent, &inner, &innerCount)) {
            for (unsigned int j = 0; j < innerCount; ++j) {
                if (windowProperty(display_, inner[j], pidAtom) == static_cast<unsigned long>(processIdentifier)) {
                    found = inner[j];
                    break;
                }
            }
            if (inner) XFree(inner);
        }
    }
    if (children) XFree(children);
    return found;
}

bool RunningApplicationsX11::activate(int processIdentifier) {
    if (!display_) return false;
    std::lock_guard lock(mutex_);
    XErrorTrap trap(display_);
    const Window window = topLevelWindowOf(processIdentifier);
    if (window == None) return false;
    // Ask the window manager, as a pager would; without one, raise and focus the window directly.
    XEvent event{};
    event.xclient.type = ClientMessage;
    event.xclient.window = window;
    event.xclient.message_type = XInternAtom(display_, "_NET_ACTIVE_WINDOW", False);
    event.xclient.format = 32;
    event.xclient.data.l[0] = 2;  // source: a pager or tool acting for the user
    event.xclient.data.l[1] = CurrentTime;
    XSendEvent(display_, DefaultRootWindow(display_), False, SubstructureRedirectMask | SubstructureNotifyMask, &event);
    XRaiseWindow(display_, window);
    XSetInputFocus(display_, window, RevertToParent, CurrentTime);
    return !trap.failed();
}

}  // namespace quillon
