#include "platform/linux/hotkey/SessionEventsLogind.h"

#include <gio/gio.h>
#include <unistd.h>

#include <string>

namespace quillon {

namespace {

constexpr const char* login1 = "org.freedesktop.login1";

}  // namespace

SessionEventsLogind::SessionEventsLogind(Scheduler& main, Logger logger)
    : main_(main), logger_(std::move(logger)) {
    context_ = g_main_context_new();
    loop_ = g_main_loop_new(context_, FALSE);
    thread_ = std::jthread([this] { run(); });
}

SessionEventsLogind::~SessionEventsLogind() {
    // Quit through the loop's own context, so that a loop not yet running quits once it does.
    GSource* quit = g_idle_source_new();
    g_source_set_callback(
        quit,
        [](gpointer loop) {
            g_main_loop_quit(static_cast<GMainLoop*>(loop));
            return G_SOURCE_REMOVE;
        },
        loop_, nullptr);
    g_source_attach(quit, context_);
    g_source_unref(quit);
    if (thread_.joinable()) thread_.join();
    g_main_loop_unref(loop_);
    g_main_context_unref(context_);
}

void SessionEventsLogind::run() {
    g_main_context_push_thread_default(context_);
    GError* error = nullptr;
    GDBusConnection* bus = g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, &error);
    if (!bus) {
        logger_.info(std::string("Wake and session switches are not watched: no system bus (") +
                     (error ? error->message : "unknown") + ")");
        g_clear_error(&error);
    } else {
        subscribe(bus);
        g_main_loop_run(loop_);
        g_object_unref(bus);  // its subscriptions go with it
    }
    g_main_context_pop_thread_default(context_);
}

void SessionEventsLogind::subscribe(GDBusConnection* bus) {
    g_dbus_connection_signal_subscribe(bus, login1, "org.freedesktop.login1.Manager", "PrepareForSleep",
                                       "/org/freedesktop/login1", nullptr, G_DBUS_SIGNAL_FLAGS_NONE,
                                       &SessionEventsLogind::sleepSignal, this, nullptr);

    GError* error = nullptr;
    GVariant* reply = g_dbus_connection_call_sync(
        bus, login1, "/org/freedesktop/login1", "org.freedesktop.login1.Manager", "GetSessionByPID",
        g_variant_new("(u)", static_cast<guint32>(getpid())), G_VARIANT_TYPE("(o)"), G_DBUS_CALL_FLAGS_NONE, 5000,
        nullptr, &error);
    if (!reply) {
        logger_.info(std::string("Session switches are not watched: no logind session (") +
                     (error ? error->message : "unknown") + ")");
        g_clear_error(&error);
        return;
    }
    const gchar* path = nullptr;
    g_variant_get(reply, "(&o)", &path);
    g_dbus_connection_signal_subscribe(bus, login1, "org.freedesktop.DBus.Properties", "PropertiesChanged", path,
                                       "org.freedesktop.login1.Session", G_DBUS_SIGNAL_FLAGS_NONE,
                                       &SessionEventsLogind::propertiesSignal, this, nullptr);
    g_variant_unref(reply);
}

void SessionEventsLogind::sleepSignal(GDBusConnection*, const char*, const char*, const char*, const char*,
                                      GVariant* parameters, void* self) {
    gboolean goingToSleep = TRUE;
    if (!g_variant_is_of_type(parameters, G_VARIANT_TYPE("(b)"))) return;
    g_variant_get(parameters, "(b)", &goingToSleep);
    if (goingToSleep) return;
    auto& events = *static_cast<SessionEventsLogind*>(self);
    events.main_.post(events.weakOwner_.weakly([&events] {
        if (events.onWake) events.onWake();
    }));
}

void SessionEventsLogind::propertiesSignal(GDBusConnection*, const char*, const char*, const char*, const char*,
                                           GVariant* parameters, void* self) {
    if (!g_variant_is_of_type(parameters, G_VARIANT_TYPE("(sa{sv}as)"))) return;
    GVariant* changed = g_variant_get_child_value(parameters, 1);
    gboolean active = FALSE;
    const bool hasActive = g_variant_lookup(changed, "Active", "b", &active);
    g_variant_unref(changed);
    if (!hasActive || !active) return;
    auto& events = *static_cast<SessionEventsLogind*>(self);
    events.main_.post(events.weakOwner_.weakly([&events] {
        if (events.onSessionActive) events.onSessionActive();
    }));
}

}  // namespace quillon
