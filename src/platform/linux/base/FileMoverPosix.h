#pragma once

#include "core/ports/FileMover.h"

namespace quillon {

// Moves with rename(2); across file systems (the private temporary folder is usually on tmpfs) it
// copies to a hidden file beside the destination, renames that into place and then deletes the
// source, so the destination never holds half a file. Blocking; safe from any thread.
class FileMoverPosix final : public FileMover {
public:
    std::expected<void, std::string> moveReplacing(const std::filesystem::path& from,
                                                   const std::filesystem::path& to) override;
    void remove(const std::filesystem::path& path) override;
};

}  // namespace quillon
