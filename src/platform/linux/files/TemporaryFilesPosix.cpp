#include "platform/linux/files/TemporaryFilesPosix.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "platform/linux/files/WritableFilePosix.h"

namespace quillon {

namespace {

std::filesystem::path defaultDirectory() {
    if (const char* runtime = std::getenv("XDG_RUNTIME_DIR"); runtime && *runtime) return std::filesystem::path(runtime) / "quillon";
    std::error_code ignored;
    auto temporary = std::filesystem::temp_directory_path(ignored);
    if (temporary.empty()) temporary = "/tmp";
    return temporary / ("quillon-" + std::to_string(::getuid()));
}

}  // namespace

TemporaryFilesPosix::TemporaryFilesPosix(std::optional<std::filesystem::path> base)
    : directory_(base ? *base : defaultDirectory()) {}

std::expected<void, std::string> TemporaryFilesPosix::ensureDirectory() const {
    if (::mkdir(directory_.c_str(), 0700) != 0 && errno != EEXIST)
        return std::unexpected("Could not create " + directory_.string() + ": " + std::strerror(errno));
    struct stat status {};
    if (::lstat(directory_.c_str(), &status) != 0) return std::unexpected(directory_.string() + ": " + std::strerror(errno));
    if (!S_ISDIR(status.st_mode) || status.st_uid != ::getuid())
        return std::unexpected(directory_.string() + " is not a folder of this user's own");
    if ((status.st_mode & 0077) != 0 && ::chmod(directory_.c_str(), 0700) != 0)
        return std::unexpected("Could not make " + directory_.string() + " private: " + std::strerror(errno));
    return {};
}

std::expected<TemporaryFile, std::string> TemporaryFilesPosix::create(std::string_view name) {
    if (auto ready = ensureDirectory(); !ready) return std::unexpected(ready.error());
    auto path = directory_ / std::string(name);
    const int descriptor = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (descriptor < 0) return std::unexpected("Could not create " + path.string() + ": " + std::strerror(errno));
    return TemporaryFile{std::move(path), std::make_unique<WritableFilePosix>(descriptor)};
}

void TemporaryFilesPosix::remove(const std::filesystem::path& file) {
    std::error_code ignored;
    std::filesystem::remove(file, ignored);
}

}  // namespace quillon
