#pragma once

#include <cstddef>
#include <cstdint>
#include <expected>
#include <filesystem>
#include <memory>
#include <span>
#include <string>
#include <string_view>

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

// A new, empty file in the program's private temporary folder, and its path.
struct TemporaryFile {
    std::filesystem::path path;
    std::unique_ptr<WritableFile> file;
};

// The program's private temporary folder: files only its user can read, never created through a
// link. Thread-safe.
class TemporaryFiles {
public:
    virtual ~TemporaryFiles() = default;

    // Creates `name`, which must not exist yet.
    virtual std::expected<TemporaryFile, std::string> create(std::string_view name) = 0;

    // Deletes a file; a failure to delete is swallowed, as it is everywhere temporary audio goes.
    virtual void remove(const std::filesystem::path& file) = 0;
};

}  // namespace quillon
