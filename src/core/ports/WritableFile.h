#pragma once

#include <cstddef>
#include <cstdint>
#include <expected>
#include <span>
#include <string>

namespace quillon {

// A file open for writing at a position. Errors are the system's description of what failed.
// One thread at a time.
class WritableFile {
public:
    virtual ~WritableFile() = default;

    // Writes all of `bytes` at the current position and moves past them.
    virtual std::expected<void, std::string> write(std::span<const std::byte> bytes) = 0;
    virtual std::expected<void, std::string> seek(std::uint64_t offset) = 0;
    // Closing twice is an error; a file not closed is closed when released.
    virtual std::expected<void, std::string> close() = 0;
};

}  // namespace quillon
