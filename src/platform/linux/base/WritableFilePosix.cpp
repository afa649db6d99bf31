#include "platform/linux/base/WritableFilePosix.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace quillon {

WritableFilePosix::~WritableFilePosix() {
    if (descriptor_ >= 0) ::close(descriptor_);
}

std::expected<void, std::string> WritableFilePosix::write(std::span<const std::byte> bytes) {
    if (descriptor_ < 0) return std::unexpected(std::string(std::strerror(EBADF)));
    std::size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t written = ::write(descriptor_, bytes.data() + done, bytes.size() - done);
        if (written < 0) {
            if (errno == EINTR) continue;
            return std::unexpected(std::string(std::strerror(errno)));
        }
        done += static_cast<std::size_t>(written);
    }
    return {};
}

std::expected<void, std::string> WritableFilePosix::seek(std::uint64_t offset) {
    if (::lseek(descriptor_, static_cast<off_t>(offset), SEEK_SET) < 0) return std::unexpected(std::string(std::strerror(errno)));
    return {};
}

std::expected<void, std::string> WritableFilePosix::close() {
    const int descriptor = descriptor_;
    descriptor_ = -1;
    if (descriptor < 0 || ::close(descriptor) != 0) return std::unexpected(std::string(std::strerror(descriptor < 0 ? EBADF : errno)));
    return {};
}

}  // namespace quillon
