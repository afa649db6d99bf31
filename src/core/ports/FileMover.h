#pragma once

#include <expected>
#include <filesystem>
#include <string>

namespace quillon {

// Moves the user's files between folders, also across file systems. Blocking: callers run it on a
// background job. Safe from any thread.
class FileMover {
public:
    virtual ~FileMover() = default;

    // Moves `from` to `to`, replacing what is there; `from` stays where it was on failure. The error
    // is the system's own description.
    virtual std::expected<void, std::string> moveReplacing(const std::filesystem::path& from,
                                                           const std::filesystem::path& to) = 0;
    // Deletes `path`; a failure is of no interest to anyone.
    virtual void remove(const std::filesystem::path& path) = 0;
};

}  // namespace quillon
