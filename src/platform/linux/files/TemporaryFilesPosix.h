#pragma once

#include <optional>

#include "core/ports/WritableFile.h"

namespace quillon {

// The program's private temporary folder: $XDG_RUNTIME_DIR/quillon when the session has a runtime
// folder, else quillon-<uid> in the system's temporary folder. The folder is made 0700 and must
// belong to the user and not be a link; files are created 0600, exclusively, never through a link.
class TemporaryFilesPosix final : public TemporaryFiles {
public:
    // The folder chosen from the environment; `base` replaces it in tests.
    explicit TemporaryFilesPosix(std::optional<std::filesystem::path> base = std::nullopt);

    std::expected<TemporaryFile, std::string> create(std::string_view name) override;
    void remove(const std::filesystem::path& file) override;

    const std::filesystem::path& directory() const { return directory_; }

private:
    std::expected<void, std::string> ensureDirectory() const;

    std::filesystem::path directory_;
};

}  // namespace quillon
