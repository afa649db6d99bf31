#include "platform/linux/process/ChildProcessPosix.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <vector>

namespace quillon {

struct ChildProcessPosix::Shared {
    std::mutex processMutex;
    pid_t pid = -1;
    bool reaped = false;

    std::atomic<bool> running{false};

    std::mutex deliveryMutex;
    bool delivering = true;
    Handlers handlers;

    int output = -1;
    int error = -1;
    int pidfd = -1;

    void deliver(void (*call)(Handlers&, std::string&&), std::string&& bytes) {
        std::lock_guard lock(deliveryMutex);
        if (delivering) call(handlers, std::move(bytes));
    }
};

namespace {

std::string describe(const std::string& what, int error) { return what + ": " + std::strerror(error); }

void closeFd(int& fd) {
    if (fd >= 0) ::close(fd);
    fd = -1;
}

// Reads what the pipe holds now. Returns false at end of file or on an error.
bool readAvailable(int fd, std::string& into) {
    std::array<char, 65536> buffer{};
    for (;;) {
        const ssize_t count = ::read(fd, buffer.data(), buffer.size());
        if (count > 0) {
            into.append(buffer.data(), static_cast<std::size_t>(count));
            if (static_cast<std::size_t>(count) < buffer.size()) return true;
            continue;
        }
        if (count < 0 && errno == EINTR) continue;
        if (count < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) return true;
        return false;
    }
}

}  // namespace

ChildProcessPosix::ChildProcessPosix() : shared_(std::make_shared<Shared>()) {}

ChildProcessFactory ChildProcessPosix::factory() {
    return [] { return std::make_unique<ChildProcessPosix>(); };
}

std::expected<void, std::string> ChildProcessPosix::launch(const ChildProcessLaunch& launch, Handlers handlers) {
    if (reader_.joinable() || shared_->pid > 0) return std::unexpected(std::string("The child was already started."));
    int input[2], output[2], error[2];
    if (::pipe2(input, O_CLOEXEC) != 0) return std::unexpected(describe("Could not make a pipe", errno));
    if (::pipe2(output, O_CLOEXEC) != 0) {
        const int saved = errno;
        ::close(input[0]);
        ::close(input[1]);
        return std::unexpected(describe("Could not make a pipe", saved));
    }
    if (::pipe2(error, O_CLOEXEC) != 0) {
        const int saved = errno;
        for (int fd : {input[0], input[1], output[0], output[1]}) ::close(fd);
        return std::unexpected(describe("Could not make a pipe", saved));
    }

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, input[0], STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, output[1], STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, error[1], STDERR_FILENO);
    posix_spawn_file_actions_addclosefrom_np(&actions, 3);

    // The child starts with no signal blocked and the usual dispositions, whatever this thread has.
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t none, defaults;
    sigemptyset(&none);
    sigemptyset(&defaults);
    for (int signal : {SIGPIPE, SIGTERM, SIGINT, SIGHUP, SIGCHLD}) sigaddset(&defaults, signal);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setsigdefault(&attributes, &defaults);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);

    std::vector<std::string> argumentTexts{launch.executable};
    argumentTexts.insert(argumentTexts.end(), launch.arguments.begin(), launch.arguments.end());
    std::vector<char*> arguments;
    for (auto& text : argumentTexts) arguments.push_back(text.data());
    arguments.push_back(nullptr);
    std::vector<std::string> environmentTexts;
    for (const auto& [name, value] : launch.environment) environmentTexts.push_back(name + "=" + value);
    std::vector<char*> environment;
    for (auto& text : environmentTexts) environment.push_back(text.data());
    environment.push_back(nullptr);

    pid_t pid = -1;
    const int spawned = ::posix_spawn(&pid, launch.executable.c_str(), &actions, &attributes, arguments.data(),
                                      environment.data());
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
    for (int fd : {input[0], output[1], error[1]}) ::close(fd);
    if (spawned != 0) {
        for (int fd : {input[1], output[0], error[0]}) ::close(fd);
        return std::unexpected(describe("Could not start " + launch.executable, spawned));
    }

    const int pidfd = static_cast<int>(::syscall(SYS_pidfd_open, pid, 0));
    if (pidfd < 0) {
        const int saved = errno;
        ::kill(pid, SIGKILL);
        ::waitpid(pid, nullptr, 0);
        for (int fd : {input[1], output[0], error[0]}) ::close(fd);
        return std::unexpected(describe("Could not watch " + launch.executable, saved));
    }
    ::fcntl(output[0], F_SETFL, ::fcntl(output[0], F_GETFL) | O_NONBLOCK);
    ::fcntl(error[0], F_SETFL, ::fcntl(error[0], F_GETFL) | O_NONBLOCK);

    {
        std::lock_guard lock(inputMutex_);
        input_ = input[1];
    }
    {
        std::lock_guard lock(shared_->processMutex);
        shared_->pid = pid;
    }
    shared_->handlers = std::move(handlers);
    shared_->output = output[0];
    shared_->error = error[0];
    shared_->pidfd = pidfd;
    shared_->running = true;
    reader_ = std::jthread(&ChildProcessPosix::read, shared_);
    return {};
}

void ChildProcessPosix::read(std::stop_token, std::shared_ptr<Shared> shared) {
    const auto toOutput = [](Handlers& handlers, std::string&& bytes) {
        if (handlers.onOutput) handlers.onOutput(std::move(bytes));
    };
    const auto toError = [](Handlers& handlers, std::string&& bytes) {
        if (handlers.onErrorOutput) handlers.onErrorOutput(std::move(bytes));
    };
    const auto drain = [&](int& fd, auto deliver) {
        std::string bytes;
        const bool open = readAvailable(fd, bytes);
        if (!bytes.empty()) shared->deliver(deliver, std::move(bytes));
        if (!open) closeFd(fd);
    };

    bool exited = false;
    while (!exited) {
        std::array<pollfd, 3> fds{pollfd{shared->output, POLLIN, 0}, pollfd{shared->error, POLLIN, 0},
                                  pollfd{shared->pidfd, POLLIN, 0}};
        if (::poll(fds.data(), fds.size(), -1) < 0) {
            if (errno == EINTR) continue;
            break;
        }
        if (fds[0].revents != 0) drain(shared->output, +toOutput);
        if (fds[1].revents != 0) drain(shared->error, +toError);
        exited = fds[2].revents != 0;
    }

    // Whatever the child wrote before it ended is in the pipes now: hand it over first.
    if (shared->output >= 0) drain(shared->output, +toOutput);
    if (shared->error >= 0) drain(shared->error, +toError);
    {
        std::lock_guard lock(shared->processMutex);
        while (::waitpid(shared->pid, nullptr, 0) < 0 && errno == EINTR) {
        }
        shared->reaped = true;
    }
    shared->running = false;
    closeFd(shared->output);
    closeFd(shared->error);
    closeFd(shared->pidfd);
    std::lock_guard lock(shared->deliveryMutex);
    if (shared->delivering && shared->handlers.onTermination) shared->handlers.onTermination();
}

std::expected<void, std::string> ChildProcessPosix::write(std::string_view bytes) {
    std::lock_guard lock(inputMutex_);
    if (input_ < 0) return std::unexpected(std::string("Could not write to the child: its input is closed"));

    // A child that has gone raises SIGPIPE on this thread; keep it blocked here and take it back
    // out of the pending set, so the write just fails with EPIPE.
    sigset_t pipeSignal, previous;
    sigemptyset(&pipeSignal);
    sigaddset(&pipeSignal, SIGPIPE);
    ::pthread_sigmask(SIG_BLOCK, &pipeSignal, &previous);
    int failure = 0;
    while (!bytes.empty()) {
        const ssize_t written = ::write(input_, bytes.data(), bytes.size());
        if (written < 0) {
            if (errno == EINTR) continue;
            failure = errno;
            break;
        }
        bytes.remove_prefix(static_cast<std::size_t>(written));
    }
    if (failure == EPIPE) {
        const timespec zero{0, 0};
        while (::sigtimedwait(&pipeSignal, nullptr, &zero) < 0 && errno == EINTR) {
        }
    }
    ::pthread_sigmask(SIG_SETMASK, &previous, nullptr);
    if (failure != 0) return std::unexpected(describe("Could not write to the child", failure));
    return {};
}

void ChildProcessPosix::closeInput() {
    std::lock_guard lock(inputMutex_);
    closeFd(input_);
}

bool ChildProcessPosix::isRunning() const { return shared_->running; }

void ChildProcessPosix::terminate() {
    std::lock_guard lock(shared_->processMutex);
    if (shared_->pid > 0 && !shared_->reaped) ::kill(shared_->pid, SIGTERM);
}

ChildProcessPosix::~ChildProcessPosix() {
    closeInput();
    {
        std::lock_guard lock(shared_->deliveryMutex);
        shared_->delivering = false;
    }
    if (!reader_.joinable()) return;
    if (reader_.get_id() == std::this_thread::get_id() || shared_->running) {
        reader_.detach();  // it reaps the child when it ends, then exits
    }
}

}  // namespace quillon
