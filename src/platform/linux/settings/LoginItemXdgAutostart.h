#pragma once

#include <filesystem>

#include "core/ports/LoginItem.h"

namespace quillon {

// Starting with the desktop session through an XDG autostart entry,
// $XDG_CONFIG_HOME/autostart/quillon.desktop. The entry on disk is the truth: an entry the user
// turned off in the desktop's settings (Hidden=true, or X-GNOME-Autostart-enabled=false) counts
// as off. Main thread only.
class LoginItemXdgAutostart final : public LoginItem {
public:
    // `configHome` is the XDG configuration directory (normally ~/.config); `executable` is the
    // program the entry starts.
    LoginItemXdgAutostart(const std::filesystem::path& configHome, std::filesystem::path executable);

    bool isEnabled() const override;
    std::expected<void, std::string> setEnabled(bool enabled) override;

    const std::filesystem::path& entryPath() const { return entryPath_; }

    // The Exec= value that starts `executable` with no arguments, quoted as desktop entries
    // require.
    static std::string execValue(const std::filesystem::path& executable);

private:
    std::filesystem::path entryPath_;
    std::filesystem::path executable_;
};

}  // namespace quillon
