#include "platform/linux/base/FileMoverPosix.h"

#include <system_error>

namespace quillon {

std::expected<void, std::string> FileMoverPosix::moveReplacing(const std::filesystem::path& from,
                                                               const std::filesystem::path& to) {
    std::error_code error;
    std::filesystem::rename(from, to, error);
    if (!error) return {};
    if (error != std::errc::cross_device_link) return std::unexpected(error.message());

    const std::filesystem::path partial = to.parent_path() / ("." + to.filename().string() + ".part");
    std::filesystem::copy_file(from, partial, std::filesystem::copy_options::overwrite_existing, error);
    if (!error) std::filesystem::rename(partial, to, error);
    if (error) {
        std::error_code ignored;
        std::filesystem::remove(partial, ignored);
        return std::unexpected(error.message());
    }
    std::filesystem::remove(from, error);  // the copy is in place; a source left behind is only litter
    return {};
}

void FileMoverPosix::remove(const std::filesystem::path& path) {
    std::error_code ignored;
    std::filesystem::remove(path, ignored);
}

}  // namespace quillon
