#include "platform/linux/process/ChildProcessPosix.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/eventfd.h>
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
    std::atomic<bool> delivering{true};
    Handlers handlers;

    std::mutex inputMutex;
    int input = -1;
    std::string pending;   // bytes written by the caller that the child has not taken yet
    bool closing = false;  // closeInput() was called: close once pending is out

    int output = -1;
    int error = -1;
    int pidfd = -1;
    int wake = -1;  // eventfd: tells the I/O thread that pending or closing changed

    ~Shared() {
        for (int fd : {input, output, error, pidfd, wake}) {
            if (fd >= 0) ::close(fd);
        }
    }

    void deliver(void (*call)(Handlers&, std::string&&), std::string&& bytes) {
        std::lock_guard lock(deliveryMutex);
        if (delivering) call(handlers, std::move(bytes));
    }

    void wakeUp() const {
        const std::uint64_t one = 1;
        (void)::write(wake, &one, sizeof one);
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

// Writes to the non-blocking input what it takes now and removes that from `bytes`. Returns 0, or
// the error of a failed write. A child that has gone raises SIGPIPE on this thread: it is kept
// blocked here and taken back out of the pending set, so the write just fails with EPIPE.
int writeAvailable(int fd, std::string_view& bytes) {
    sigset_t pipeSignal, previous;
    sigemptyset(&pipeSignal);
    sigaddset(&pipeSignal, SIGPIPE);
    ::pthread_sigmask(SIG_BLOCK, &pipeSignal, &previous);
    int failure = 0;
    while (!bytes.empty()) {
        const ssize_t written = ::write(fd, bytes.data(), bytes.size());
        if (written < 0) {
            if (errno == EINTR) continue;
            if (errno != EAGAIN && errno != EWOULDBLOCK) failure = errno;
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
    return failure;
}

}  // namespace

ChildProcessPosix::ChildProcessPosix() : shared_(std::make_shared<Shared>()) {}

ChildProcessFactory ChildProcessPosix::factory() {
    return [] { return std::make_unique<ChildProcessPosix>(); };
}

std::expected<void, std::string> ChildProcessPosix::launch(const ChildProcessLaunch& launch, Handlers handlers) {
    if (io_.joinable() || shared_->pid > 0) return std::unexpected(std::string("The child was already started."));
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
    const int wake = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (wake < 0) {
        const int saved = errno;
        for (int fd : {input[0], input[1], output[0], output[1], error[0], error[1]}) ::close(fd);
        return std::unexpected(describe("Could not make an event descriptor", saved));
    }

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, input[0], STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, output[1], STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, error[1], STDERR_FILENO);
    posix_spawn_file_actions_addclosefrom_np(&actions, 3);

    // The child leads a process group of its own, so that terminate() reaches whatever it starts,
    // and starts with no signal blocked and the usual dispositions, whatever this thread has.
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t none, defaults;
    sigemptyset(&none);
    sigemptyset(&defaults);
    for (int signal : {SIGPIPE, SIGTERM, SIGINT, SIGHUP, SIGCHLD}) sigaddset(&defaults, signal);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setsigdefault(&attributes, &defaults);
    posix_spawnattr_setpgroup(&attributes, 0);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETPGROUP);

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
        for (int fd : {input[1], output[0], error[0], wake}) ::close(fd);
        return std::unexpected(describe("Could not start " + launch.executable, spawned));
    }

    const int pidfd = static_cast<int>(::syscall(SYS_pidfd_open, pid, 0));
    if (pidfd < 0) {
        const int saved = errno;
        ::kill(-pid, SIGKILL);
        ::waitpid(pid, nullptr, 0);
        for (int fd : {input[1], output[0], error[0], wake}) ::close(fd);
        return std::unexpected(describe("Could not watch " + launch.executable, saved));
    }
    for (int fd : {input[1], output[0], error[0]}) ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) | O_NONBLOCK);

    {
        std::lock_guard lock(shared_->inputMutex);
        shared_->input = input[1];
    }
    {
        std::lock_guard lock(shared_->processMutex);
        shared_->pid = pid;
    }
    shared_->handlers = std::move(handlers);
    shared_->output = output[0];
    shared_->error = error[0];
    shared_->pidfd = pidfd;
    shared_->wake = wake;
    shared_->running = true;
    // Held until io_ is set: a handler that destroys this object reads io_ on the I/O thread.
    std::lock_guard lock(shared_->deliveryMutex);
    io_ = std::jthread(&ChildProcessPosix::run, shared_);
    return {};
}

void ChildProcessPosix::run(std::stop_token, std::shared_ptr<Shared> shared) {
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
    // Writes what the child takes of the backlog; closes the input when asked and the backlog is
    // out, or when the child can take nothing more. Returns the descriptor to watch for room.
    const auto flush = [&]() -> int {
        std::lock_guard lock(shared->inputMutex);
        if (shared->input < 0) return -1;
        if (!shared->pending.empty()) {
            std::string_view rest(shared->pending);
            const int failure = writeAvailable(shared->input, rest);
            shared->pending.erase(0, shared->pending.size() - rest.size());
            if (failure != 0) {
                shared->pending.clear();
                shared->closing = true;
            }
        }
        if (shared->pending.empty() && shared->closing) closeFd(shared->input);
        return shared->pending.empty() ? -1 : shared->input;
    };

    bool exited = false;
    while (!exited) {
        const int input = flush();
        std::array<pollfd, 5> fds{pollfd{shared->output, POLLIN, 0}, pollfd{shared->error, POLLIN, 0},
                                  pollfd{shared->pidfd, POLLIN, 0}, pollfd{shared->wake, POLLIN, 0},
                                  pollfd{input, POLLOUT, 0}};
        if (::poll(fds.data(), fds.size(), -1) < 0) {
            if (errno == EINTR) continue;
            break;
        }
        if (fds[0].revents != 0) drain(shared->output, +toOutput);
        if (fds[1].revents != 0) drain(shared->error, +toError);
        if (fds[3].revents != 0) {
            std::uint64_t count = 0;
            (void)::read(shared->wake, &count, sizeof count);
        }
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
    {
        std::lock_guard lock(shared->inputMutex);
        closeFd(shared->input);
        shared->pending.clear();
    }
    shared->running = false;
    closeFd(shared->output);
    closeFd(shared->error);
    closeFd(shared->pidfd);
    std::lock_guard lock(shared->deliveryMutex);
    if (shared->delivering && shared->handlers.onTermination) shared->handlers.onTermination();
}

std::expected<void, std::string> ChildProcessPosix::write(std::string_view bytes) {
    Shared& shared = *shared_;
    std::lock_guard lock(shared.inputMutex);
    if (shared.input < 0 || shared.closing) {
        return std::unexpected(std::string("Could not write to the child: its input is closed"));
    }
    if (shared.pending.empty()) {
        if (const int failure = writeAvailable(shared.input, bytes); failure != 0) {
            shared.closing = true;
            shared.wakeUp();
            return std::unexpected(describe("Could not write to the child", failure));
        }
        if (bytes.empty()) return {};
    }
    if (shared.pending.size() + bytes.size() > backlogLimit) {
        return std::unexpected(std::string("Could not write to the child: it has stopped reading its input"));
    }
    shared.pending.append(bytes);
    shared.wakeUp();
    return {};
}

void ChildProcessPosix::closeInput() {
    std::lock_guard lock(shared_->inputMutex);
    if (shared_->input < 0 || shared_->closing) return;
    shared_->closing = true;
    if (io_.joinable()) {
        shared_->wakeUp();
    } else {
        closeFd(shared_->input);
    }
}

bool ChildProcessPosix::isRunning() const { return shared_->running; }

void ChildProcessPosix::terminate() {
    std::lock_guard lock(shared_->processMutex);
    if (shared_->pid > 0 && !shared_->reaped) ::kill(-shared_->pid, SIGTERM);
}

ChildProcessPosix::~ChildProcessPosix() {
    closeInput();
    const bool onIoThread = io_.joinable() && io_.get_id() == std::this_thread::get_id();
    if (onIoThread) {
        shared_->delivering = false;  // inside a handler: this thread holds deliveryMutex already
    } else {
        std::lock_guard lock(shared_->deliveryMutex);
        shared_->delivering = false;
    }
    if (!io_.joinable()) return;
    if (onIoThread || shared_->running) {
        io_.detach();  // it reaps the child when it ends, then exits
    }
}

}  // namespace quillon
