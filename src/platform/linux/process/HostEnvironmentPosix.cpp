#include "platform/linux/process/HostEnvironmentPosix.h"

#include <sys/stat.h>
#include <unistd.h>

extern char** environ;

namespace quillon {

std::map<std::string, std::string> HostEnvironmentPosix::variables() const {
    std::map<std::string, std::string> result;
    for (char** entry = environ; entry && *entry; ++entry) {
        const std::string text(*entry);
        const auto equals = text.find('=');
        if (equals == std::string::npos || equals == 0) continue;
        result.emplace(text.substr(0, equals), text.substr(equals + 1));
    }
    return result;
}

bool HostEnvironmentPosix::isExecutableFile(const std::string& path) const {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) return false;
    return ::access(path.c_str(), X_OK) == 0;
}

}  // namespace quillon
