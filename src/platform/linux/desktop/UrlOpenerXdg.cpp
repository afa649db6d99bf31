#include "platform/linux/desktop/UrlOpenerXdg.h"

#include <fcntl.h>
#include <spawn.h>
#include <unistd.h>
#include <sys/wait.h>

#include <cstring>

extern char** environ;

namespace quillon {

UrlOpenerXdg::~UrlOpenerXdg() { reapFinished(); }

void UrlOpenerXdg::reapFinished() {
    std::lock_guard lock(mutex_);
    std::erase_if(launched_, [](pid_t pid) { return ::waitpid(pid, nullptr, WNOHANG) != 0; });
}

std::expected<void, std::string> UrlOpenerXdg::open(const std::string& url) {
    reapFinished();
    std::string program = program_;
    std::string address = url;
    char* arguments[] = {program.data(), address.data(), nullptr};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addclosefrom_np(&actions, 3);
    pid_t pid = -1;
    const int spawned = ::posix_spawnp(&pid, program.c_str(), &actions, nullptr, arguments, environ);
    posix_spawn_file_actions_destroy(&actions);
    if (spawned != 0) return std::unexpected("Could not open " + url + " with " + program_ + ": " + std::strerror(spawned));
    std::lock_guard lock(mutex_);
    launched_.push_back(pid);
    return {};
}

}  // namespace quillon
