#include "platform/linux/accessibility/AccessibilityBusStatus.h"

#include <gio/gio.h>

namespace quillon {

namespace {

constexpr int callTimeoutMilliseconds = 1000;

GDBusConnection* sessionBus(GError** error) { return g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, error); }

}  // namespace

bool AccessibilityBusStatus::isEnabled() {
    GError* error = nullptr;
    GDBusConnection* bus = sessionBus(&error);
    if (!bus) {
        g_clear_error(&error);
        return false;
    }
    GVariant* reply = g_dbus_connection_call_sync(
        bus, "org.a11y.Bus", "/org/a11y/bus", "org.freedesktop.DBus.Properties", "Get",
        g_variant_new("(ss)", "org.a11y.Status", "IsEnabled"), G_VARIANT_TYPE("(v)"), G_DBUS_CALL_FLAGS_NONE,
        callTimeoutMilliseconds, nullptr, &error);
    g_object_unref(bus);
    if (!reply) {
        g_clear_error(&error);
        return false;
    }
    GVariant* boxed = nullptr;
    g_variant_get(reply, "(v)", &boxed);
    const bool enabled = g_variant_is_of_type(boxed, G_VARIANT_TYPE_BOOLEAN) && g_variant_get_boolean(boxed);
    g_variant_unref(boxed);
    g_variant_unref(reply);
    return enabled;
}

std::optional<std::string> AccessibilityBusStatus::setEnabled(bool enabled) {
    GError* error = nullptr;
    GDBusConnection* bus = sessionBus(&error);
    if (!bus) {
        std::string message = error ? error->message : "no session bus";
        g_clear_error(&error);
        return message;
    }
    GVariant* reply = g_dbus_connection_call_sync(
        bus, "org.a11y.Bus", "/org/a11y/bus", "org.freedesktop.DBus.Properties", "Set",
        g_variant_new("(ssv)", "org.a11y.Status", "IsEnabled", g_variant_new_boolean(enabled)), nullptr,
        G_DBUS_CALL_FLAGS_NONE, callTimeoutMilliseconds, nullptr, &error);
    g_object_unref(bus);
    if (!reply) {
        std::string message = error ? error->message : "the accessibility bus did not answer";
        g_clear_error(&error);
        return message;
    }
    g_variant_unref(reply);
    return std::nullopt;
}

}  // namespace quillon
