#pragma once

#include <QSocketNotifier>

#include <functional>
#include <initializer_list>
#include <memory>
#include <vector>

namespace quillon {

// Turns SIGTERM and SIGINT into a call on the main thread, so that the program quits through its
// event loop and its normal termination steps. The handler only writes the signal number into a
// pipe; the event loop reads it. One instance per process, made on the main thread.
class UnixSignalWatcher {
public:
    UnixSignalWatcher(std::initializer_list<int> caught, std::function<void(int)> onSignal);
    ~UnixSignalWatcher();
    UnixSignalWatcher(const UnixSignalWatcher&) = delete;
    UnixSignalWatcher& operator=(const UnixSignalWatcher&) = delete;

private:
    void readSignals();

    std::vector<int> signals_;
    int pipe_[2] = {-1, -1};
    std::function<void(int)> onSignal_;
    std::unique_ptr<QSocketNotifier> notifier_;
};

}  // namespace quillon
