#pragma once

#include <QLockFile>

#include <filesystem>
#include <memory>

namespace quillon {

// Keeps a second launch of the program from running beside the first: the first holds a lock
// file in the user's runtime folder for as long as it runs. A lock left by a crashed run names a
// process that is gone, and the next launch takes it over.
class SingleInstanceGuard {
public:
    explicit SingleInstanceGuard(const std::filesystem::path& runtimeDirectory);

    // True when this process is now the one that runs; false when another already does.
    bool acquire();

    const std::filesystem::path& lockPath() const { return lockPath_; }

private:
    std::filesystem::path lockPath_;
    std::unique_ptr<QLockFile> lock_;
};

}  // namespace quillon
