#pragma once

#include <pulse/proplist.h>

#include <string>

#include "core/ports/SystemAudioProcesses.h"
#include "platform/linux/apps/DesktopEntryIndex.h"

namespace quillon {

// Names the application behind a playing stream as the desktop names it. The stream's properties
// give the process (application.process.id), its executable (application.process.binary), the
// name the program gave itself (application.name), its icon and, for a sandboxed program, its
// Flatpak id. A helper process resolves to its ancestor application: the chain of parents that
// run the same executable is climbed to its top (a browser's audio or renderer process to the
// browser), and that executable, or the Flatpak id, is looked up in the desktop entries. A program
// without a desktop entry keeps the name it gave itself, so two players of one executable under
// two names are two applications.
//
// Threads: any; reads /proc and the shared desktop entry index (which has its own mutex).
class PulseApplicationIdentity {
public:
    struct StreamOwner {
        int pid = 0;
        std::string binary;
        std::string applicationName;
        std::string iconName;
        std::string flatpakId;
    };

    explicit PulseApplicationIdentity(DesktopEntryIndex& index) : index_(index) {}

    static StreamOwner ownerOf(const pa_proplist* properties);
    SystemAudioProcess resolve(const StreamOwner& owner);

private:
    DesktopEntryIndex& index_;
};

}  // namespace quillon
