#pragma once

#include <filesystem>
#include <string>

#include "core/logging/Logger.h"
#include "core/ports/TemporaryFiles.h"

namespace quillon {

// Temporary files in a folder of the user's own, mode 0700: `$XDG_RUNTIME_DIR/quillon` when the
// session has a runtime folder, else "quillon-" UID under the system's temporary folder. A folder
// that is a symbolic link, not a folder, or owned by someone else is refused, and the log says
// so; the next place is tried, and last a fresh folder made by mkdtemp. A folder of the user's own
// with a wider mode is narrowed to 0700.
//
// The folder is opened once and every file is reached relative to that descriptor (openat), so a
// rename of the path cannot redirect a write. Files are made with mode 0600 and O_NOFOLLOW: a
// symbolic link in a file's place fails the operation instead of being followed.
//
// Threads: holds only the folder's descriptor, which never changes after construction; every
// operation is one or a few system calls and may run on any thread.
class TemporaryFilesPosix final : public TemporaryFiles {
public:
    // `runtimeDirectory` is $XDG_RUNTIME_DIR (empty when unset); `systemTemporary` the system's
    // temporary folder.
    TemporaryFilesPosix(const std::string& runtimeDirectory, const std::filesystem::path& systemTemporary,
                        Logger logger);
    // From the process's environment.
    explicit TemporaryFilesPosix(Logger logger);
    ~TemporaryFilesPosix() override;

    TemporaryFilesPosix(const TemporaryFilesPosix&) = delete;
    TemporaryFilesPosix& operator=(const TemporaryFilesPosix&) = delete;

    std::filesystem::path directory() const override { return directory_; }
    std::expected<std::filesystem::path, std::error_code> createFile(std::string_view name) override;
    std::expected<std::unique_ptr<WritableFile>, std::error_code> createWritable(std::string_view name) override;
    std::expected<std::uintmax_t, std::error_code> append(std::string_view name, std::string_view bytes) override;
    std::expected<std::string, std::error_code> read(std::string_view name) const override;
    std::expected<void, std::error_code> replace(std::string_view name, std::string_view bytes) override;
    std::expected<void, std::error_code> remove(std::string_view name) override;

private:
    bool tryFolder(const std::filesystem::path& path);
    std::expected<int, std::error_code> openFile(std::string_view name, int flags) const;

    Logger logger_;
    std::filesystem::path directory_;
    int folder_ = -1;
};

}  // namespace quillon
