#pragma once

#include <functional>
#include <future>
#include <memory>
#include <thread>
#include <type_traits>

typedef struct _AtspiAccessible AtspiAccessible;
typedef struct _GMainContext GMainContext;
typedef struct _GMainLoop GMainLoop;

namespace quillon {

// The one thread that talks to libatspi. libatspi is not thread-safe, and its bus connection
// needs a running main loop to take in signals (else they pile up in memory), so it gets a
// private GLib main context, iterated on this thread only. Every libatspi call of the adapter
// runs here, through run() or post().
//
// libatspi holds one bus connection for the whole process and cannot hand it to a second main
// context once the first is gone, so there is one such thread per process, made on first use
// and kept until the process ends.
//
// Lock rules: none of its own; the GLib context's queue is thread-safe.
class AtspiThread {
public:
    static std::shared_ptr<AtspiThread> shared();

    AtspiThread();
    ~AtspiThread();
    AtspiThread(const AtspiThread&) = delete;
    AtspiThread& operator=(const AtspiThread&) = delete;

    // Whether libatspi could reach the accessibility bus at start.
    bool isConnected() const { return connected_; }

    // Runs `task` on the thread and waits for its result; runs it inline when called from there.
    template <typename Task>
    auto run(Task&& task) -> std::invoke_result_t<Task> {
        if (isCurrent()) return task();
        using Result = std::invoke_result_t<Task>;
        std::packaged_task<Result()> packaged(std::forward<Task>(task));
        auto future = packaged.get_future();
        post([&packaged] { packaged(); });
        return future.get();
    }

    // Runs `task` on the thread some time later.
    void post(std::function<void()> task);

    bool isCurrent() const { return std::this_thread::get_id() == threadId_; }

    // libatspi talks to most applications over a connection of their own, which it hooks into the
    // default main context whatever context it was given: the UI thread's. When the UI thread
    // reads an answer there first, the call waiting for it here sees nothing arrive and waits out
    // its whole time-out, and libatspi's cache is changed from two threads. So, on this thread,
    // the connection of each call's application is moved into this thread's context before the
    // call, and those of every application on the desktop after it and before each wait of the
    // loop. Left on the UI thread's context: an application libatspi has met but not yet placed
    // on the desktop, until the first call of ours goes to it.
    static void keepConnectionHere(AtspiAccessible* object);
    static void keepDesktopConnectionsHere();

private:
    void main(std::promise<void>& started);

    GMainContext* context_ = nullptr;
    GMainLoop* loop_ = nullptr;
    bool connected_ = false;
    std::thread::id threadId_;
    std::jthread thread_;
};

}  // namespace quillon
