#include "TestApplication.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <thread>

extern char** environ;

namespace quillon::testing {

TestApplication::TestApplication(const std::string& program, const std::vector<std::string>& arguments,
                                 bool mergeErrors) {
    int toChild[2];
    int fromChild[2];
    if (pipe2(toChild, O_CLOEXEC) != 0 || pipe2(fromChild, O_CLOEXEC) != 0) return;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, toChild[0], 0);
    posix_spawn_file_actions_adddup2(&actions, fromChild[1], 1);
    if (mergeErrors) posix_spawn_file_actions_adddup2(&actions, fromChild[1], 2);
    std::vector<std::string> all{program};
    all.insert(all.end(), arguments.begin(), arguments.end());
    std::vector<char*> argv;
    for (auto& argument : all) argv.push_back(argument.data());
    argv.push_back(nullptr);
    pid_t pid = -1;
    if (posix_spawnp(&pid, program.c_str(), &actions, nullptr, argv.data(), environ) == 0) pid_ = pid;
    posix_spawn_file_actions_destroy(&actions);
    close(toChild[0]);
    close(fromChild[1]);
    input_ = toChild[1];
    output_ = fromChild[0];
}

TestApplication::~TestApplication() {
    if (pid_ > 0 && !reaped_) {
        kill(pid_, SIGCONT);
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }
    if (input_ >= 0) close(input_);
    if (output_ >= 0) close(output_);
}

void TestApplication::send(const std::string& line) {
    const std::string data = line + "\n";
    [[maybe_unused]] const auto written = write(input_, data.data(), data.size());
}

std::optional<std::string> TestApplication::readLine(std::chrono::milliseconds timeout) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (true) {
        if (const auto end = buffered_.find('\n'); end != std::string::npos) {
            std::string line = buffered_.substr(0, end);
            buffered_.erase(0, end + 1);
            return line;
        }
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0) return std::nullopt;
        pollfd descriptor{output_, POLLIN, 0};
        if (poll(&descriptor, 1, static_cast<int>(left.count())) <= 0) continue;
        char chunk[65536];
        const ssize_t count = read(output_, chunk, sizeof chunk);
        if (count <= 0) return std::nullopt;
        buffered_.append(chunk, static_cast<std::size_t>(count));
    }
}

std::optional<std::string> TestApplication::ask(const std::string& command) {
    send(command);
    return readLine();
}

void TestApplication::signal(int number) {
    if (pid_ > 0) kill(pid_, number);
}

std::optional<int> TestApplication::waitForExit(std::chrono::milliseconds timeout) {
    if (reaped_) return 0;
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (std::chrono::steady_clock::now() < deadline) {
        int status = 0;
        if (waitpid(pid_, &status, WNOHANG) == pid_) {
            reaped_ = true;
            return status;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return std::nullopt;
}

}  // namespace quillon::testing
