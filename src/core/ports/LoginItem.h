#pragma once

#include <expected>
#include <string>

namespace quillon {

// Whether the program starts with the user's session (an XDG autostart entry on Linux).
class LoginItem {
public:
    virtual ~LoginItem() = default;
    virtual bool isEnabled() const = 0;
    // Registers or unregisters; the error is a description for the log.
    virtual std::expected<void, std::string> setEnabled(bool enabled) = 0;
};

}  // namespace quillon
