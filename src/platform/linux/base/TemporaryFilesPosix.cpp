#include "platform/linux/base/TemporaryFilesPosix.h"

#include "platform/linux/base/WritableFilePosix.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <utility>

namespace quillon {

namespace {

std::error_code lastError() { return {errno, std::system_category()}; }

std::error_code invalidName() { return std::make_error_code(std::errc::invalid_argument); }

bool isPlainName(std::string_view name) {
    return !name.empty() && name != "." && name != ".." && name.find('/') == std::string_view::npos &&
           name.find('\0') == std::string_view::npos;
}

// Closes a descriptor on every path out of a scope.
class Descriptor {
public:
    explicit Descriptor(int fd) : fd_(fd) {}
    ~Descriptor() {
        if (fd_ >= 0) ::close(fd_);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int get() const { return fd_; }
    int release() { return std::exchange(fd_, -1); }

private:
    int fd_;
};

std::expected<void, std::error_code> writeAll(int fd, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t written = ::write(fd, bytes.data(), bytes.size());
        if (written < 0) {
            if (errno == EINTR) continue;
            return std::unexpected(lastError());
        }
        bytes.remove_prefix(static_cast<std::size_t>(written));
    }
    return {};
}

}  // namespace

TemporaryFilesPosix::TemporaryFilesPosix(const std::string& runtimeDirectory,
                                         const std::filesystem::path& systemTemporary, Logger logger)
    : logger_(std::move(logger)) {
    if (!runtimeDirectory.empty() && tryFolder(std::filesystem::path(runtimeDirectory) / "quillon")) return;
    const std::string own = "quillon-" + std::to_string(::geteuid());
    if (tryFolder(systemTemporary / own)) return;

    std::string pattern = (systemTemporary / (own + "-XXXXXX")).string();
    if (!::mkdtemp(pattern.data())) {
        logger_.error("No private folder for temporary files could be made under " + systemTemporary.string() +
                      ": " + lastError().message() + "; videos cannot be transcribed and no diagnostics are kept");
    } else if (tryFolder(pattern)) {
        logger_.info("Temporary files go to the fresh private folder " + pattern);
    }
}

TemporaryFilesPosix::TemporaryFilesPosix(Logger logger)
    : TemporaryFilesPosix(
          [] {
              const char* runtime = std::getenv("XDG_RUNTIME_DIR");
              return std::string(runtime ? runtime : "");
          }(),
          [] {
              std::error_code error;
              auto path = std::filesystem::temp_directory_path(error);
              return error ? std::filesystem::path("/tmp") : path;
          }(),
          std::move(logger)) {}

TemporaryFilesPosix::~TemporaryFilesPosix() {
    if (folder_ >= 0) ::close(folder_);
}

bool TemporaryFilesPosix::tryFolder(const std::filesystem::path& path) {
    const auto refuse = [&](const std::string& why) {
        logger_.error("Not using " + path.string() + " for temporary files: " + why);
        return false;
    };
    if (::mkdir(path.c_str(), 0700) != 0 && errno != EEXIST) return refuse(lastError().message());
    // O_NOFOLLOW refuses a symbolic link planted at the path (ELOOP); O_DIRECTORY anything else.
    Descriptor folder(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (folder.get() < 0) return refuse(lastError().message());
    struct stat info {};
    if (::fstat(folder.get(), &info) != 0) return refuse(lastError().message());
    if (info.st_uid != ::geteuid()) return refuse("it belongs to another user");
    if ((info.st_mode & 077) != 0) {
        if (::fchmod(folder.get(), 0700) != 0) return refuse("others may enter it, and " + lastError().message());
        logger_.info("Narrowed " + path.string() + " to its owner alone");
    }
    folder_ = folder.release();
    directory_ = path;
    return true;
}

std::expected<int, std::error_code> TemporaryFilesPosix::openFile(std::string_view name, int flags) const {
    if (!isPlainName(name)) return std::unexpected(invalidName());
    if (folder_ < 0) return std::unexpected(std::make_error_code(std::errc::no_such_file_or_directory));
    const std::string plain(name);
    Descriptor file(::openat(folder_, plain.c_str(), flags | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (file.get() < 0) return std::unexpected(lastError());
    struct stat info {};
    if (::fstat(file.get(), &info) != 0) return std::unexpected(lastError());
    if (!S_ISREG(info.st_mode)) return std::unexpected(std::make_error_code(std::errc::invalid_argument));
    return file.release();
}

std::expected<std::filesystem::path, std::error_code> TemporaryFilesPosix::createFile(std::string_view name) {
    auto file = openFile(name, O_WRONLY | O_CREAT | O_EXCL);
    if (!file) return std::unexpected(file.error());
    ::close(*file);
    return directory_ / name;
}

std::expected<std::unique_ptr<WritableFile>, std::error_code> TemporaryFilesPosix::createWritable(
    std::string_view name) {
    auto file = openFile(name, O_WRONLY | O_CREAT | O_EXCL);
    if (!file) return std::unexpected(file.error());
    return std::make_unique<WritableFilePosix>(*file);
}

std::expected<std::uintmax_t, std::error_code> TemporaryFilesPosix::append(std::string_view name,
                                                                           std::string_view bytes) {
    auto opened = openFile(name, O_WRONLY | O_APPEND | O_CREAT);
    if (!opened) return std::unexpected(opened.error());
    Descriptor file(*opened);
    if (auto written = writeAll(file.get(), bytes); !written) return std::unexpected(written.error());
    struct stat info {};
    if (::fstat(file.get(), &info) != 0) return std::unexpected(lastError());
    return static_cast<std::uintmax_t>(info.st_size);
}

std::expected<std::string, std::error_code> TemporaryFilesPosix::read(std::string_view name) const {
    auto opened = openFile(name, O_RDONLY);
    if (!opened) return std::unexpected(opened.error());
    Descriptor file(*opened);
    std::string content;
    char buffer[16384];
    for (;;) {
        const ssize_t got = ::read(file.get(), buffer, sizeof buffer);
        if (got < 0) {
            if (errno == EINTR) continue;
            return std::unexpected(lastError());
        }
        if (got == 0) return content;
        content.append(buffer, static_cast<std::size_t>(got));
    }
}

std::expected<void, std::error_code> TemporaryFilesPosix::replace(std::string_view name, std::string_view bytes) {
    if (!isPlainName(name)) return std::unexpected(invalidName());
    // Written beside the file, then renamed over it in one step.
    const std::string next = std::string(name) + ".next";
    if (auto removed = remove(next); !removed) return removed;
    auto opened = openFile(next, O_WRONLY | O_CREAT | O_EXCL);
    if (!opened) return std::unexpected(opened.error());
    {
        Descriptor file(*opened);
        if (auto written = writeAll(file.get(), bytes); !written) {
            (void)remove(next);
            return written;
        }
    }
    const std::string plain(name);
    if (::renameat(folder_, next.c_str(), folder_, plain.c_str()) != 0) {
        const auto error = lastError();
        (void)remove(next);
        return std::unexpected(error);
    }
    return {};
}

std::expected<void, std::error_code> TemporaryFilesPosix::remove(std::string_view name) {
    if (!isPlainName(name)) return std::unexpected(invalidName());
    if (folder_ < 0) return std::unexpected(std::make_error_code(std::errc::no_such_file_or_directory));
    const std::string plain(name);
    if (::unlinkat(folder_, plain.c_str(), 0) != 0 && errno != ENOENT) return std::unexpected(lastError());
    return {};
}

}  // namespace quillon
