#pragma once

#include <thread>

#include "core/base/Scheduler.h"
#include "core/base/WeakOwner.h"
#include "core/logging/Logger.h"
#include "core/ports/SessionEvents.h"

typedef struct _GMainContext GMainContext;
typedef struct _GMainLoop GMainLoop;
typedef struct _GDBusConnection GDBusConnection;
typedef struct _GVariant GVariant;

namespace quillon {

// Wake and session switches from logind on the system bus: the manager's PrepareForSleep(false)
// is the wake, and this session's Active property turning true is the session becoming active.
// Without a system bus or a logind session (a bare X server) nothing is reported, and the log
// says so once.
//
// Threads: a thread of its own iterates a private GLib main context that carries the bus
// connection and its signal subscriptions; it only posts to the main queue. No lock: the GLib
// loop's quit is thread-safe, and nothing else is shared.
class SessionEventsLogind final : public SessionEvents {
public:
    SessionEventsLogind(Scheduler& main, Logger logger);
    ~SessionEventsLogind() override;
    SessionEventsLogind(const SessionEventsLogind&) = delete;
    SessionEventsLogind& operator=(const SessionEventsLogind&) = delete;

private:
    void run();
    void subscribe(GDBusConnection* bus);
    static void sleepSignal(GDBusConnection*, const char*, const char*, const char*, const char*, GVariant* parameters,
                            void* self);
    static void propertiesSignal(GDBusConnection*, const char*, const char*, const char*, const char*,
                                 GVariant* parameters, void* self);

    Scheduler& main_;
    Logger logger_;
    GMainContext* context_ = nullptr;
    GMainLoop* loop_ = nullptr;
    WeakOwner weakOwner_;
    std::jthread thread_;  // last: joined before the rest goes
};

}  // namespace quillon
