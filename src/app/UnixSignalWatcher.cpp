#include "app/UnixSignalWatcher.h"

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>

namespace quillon {

namespace {

// Written by the handler, which may run on any thread at any moment; only async-signal-safe
// calls there.
std::atomic<int> signalPipeWriteEnd = -1;
static_assert(std::atomic<int>::is_always_lock_free, "the signal handler needs a lock-free atomic");

void handleSignal(int number) {
    const int savedErrno = errno;
    const unsigned char byte = static_cast<unsigned char>(number);
    [[maybe_unused]] const ssize_t ignored = ::write(signalPipeWriteEnd, &byte, 1);
    errno = savedErrno;
}

}  // namespace

UnixSignalWatcher::UnixSignalWatcher(std::initializer_list<int> caught, std::function<void(int)> onSignal)
    : signals_(caught), onSignal_(std::move(onSignal)) {
    if (::pipe2(pipe_, O_CLOEXEC | O_NONBLOCK) != 0) return;
    signalPipeWriteEnd = pipe_[1];
    notifier_ = std::make_unique<QSocketNotifier>(pipe_[0], QSocketNotifier::Read);
    QObject::connect(notifier_.get(), &QSocketNotifier::activated, notifier_.get(),
                     [this] { readSignals(); });
    struct sigaction action = {};
    action.sa_handler = handleSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    for (int number : caught) ::sigaction(number, &action, nullptr);
}

UnixSignalWatcher::~UnixSignalWatcher() {
    // From here on the signals act as if the program never caught them: they end the process.
    for (int number : signals_) ::signal(number, SIG_DFL);
    notifier_.reset();
    signalPipeWriteEnd = -1;
    for (int end : pipe_) {
        if (end >= 0) ::close(end);
    }
}

void UnixSignalWatcher::readSignals() {
    unsigned char numbers[16];
    ssize_t count = 0;
    while ((count = ::read(pipe_[0], numbers, sizeof numbers)) > 0) {
        for (ssize_t index = 0; index < count; ++index) {
            if (onSignal_) onSignal_(numbers[index]);
        }
    }
}

}  // namespace quillon
