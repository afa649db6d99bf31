#pragma once

#include <cstdint>
#include <expected>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <system_error>

#include "core/ports/WritableFile.h"

namespace quillon {

// The one place temporary files go: a folder that only the user can enter. Every file in it is
// readable and writable by the user alone, and nothing here follows a symbolic link planted in a
// file's place. Names are plain file names, never paths.
//
// Threads: safe from any thread; operations on different names never interfere.
class TemporaryFiles {
public:
    virtual ~TemporaryFiles() = default;

    // The private folder. Empty when none could be made (then every operation below fails).
    virtual std::filesystem::path directory() const = 0;

    // Makes a new, empty file `name`; fails when anything already has that name. Returns its path,
    // for libraries that open files by name.
    virtual std::expected<std::filesystem::path, std::error_code> createFile(std::string_view name) = 0;

    // Makes a new file `name` open for writing at a position (a WAV file patches its header at the
    // end); fails when anything already has that name.
    virtual std::expected<std::unique_ptr<WritableFile>, std::error_code> createWritable(std::string_view name) = 0;

    // Appends `bytes` to `name`, creating the file when it is missing. Returns the file's size after.
    virtual std::expected<std::uintmax_t, std::error_code> append(std::string_view name, std::string_view bytes) = 0;

    // The whole content of `name`.
    virtual std::expected<std::string, std::error_code> read(std::string_view name) const = 0;

    // Replaces the content of `name` at once: a reader sees the old content or the new, never a mix.
    virtual std::expected<void, std::error_code> replace(std::string_view name, std::string_view bytes) = 0;

    // Deletes `name`; a file that is already gone is not an error.
    virtual std::expected<void, std::error_code> remove(std::string_view name) = 0;
};

}  // namespace quillon
