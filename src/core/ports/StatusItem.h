#pragma once

#include <functional>
#include <string>

namespace quillon {

enum class StatusIcon { idle, recording, liveTranscribing, transcribing, error };

// How the status icon looks for one AppState.
struct StatusItemAppearance {
    StatusIcon icon = StatusIcon::idle;
    std::string accessibilityDescription;
    bool pulses = false;
    bool operator==(const StatusItemAppearance&) const = default;
};

// The program's one permanent surface: a tray icon (StatusNotifierItem or XEmbed on Linux).
// Main thread only. The callbacks report the user's actions on it.
class StatusItem {
public:
    virtual ~StatusItem() = default;

    // Puts the icon in the tray. False when no tray host is there to show it; the program runs on.
    virtual bool install(const std::string& toolTip) = 0;
    virtual void setAppearance(const StatusItemAppearance& appearance) = 0;

    std::function<void()> onActivate;                // a plain click
    std::function<void()> onCopyLastTranscription;   // the copy command or its click
    std::function<void()> onQuit;
};

}  // namespace quillon
