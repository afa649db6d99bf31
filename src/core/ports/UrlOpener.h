#pragma once

#include <expected>
#include <string>

namespace quillon {

// Opens an address in the user's default browser (xdg-open on Linux). Returns once the request is
// handed to the desktop; the error describes why it could not be.
class UrlOpener {
public:
    virtual ~UrlOpener() = default;
    virtual std::expected<void, std::string> open(const std::string& url) = 0;
};

}  // namespace quillon
