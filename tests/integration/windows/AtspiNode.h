#pragma once

// Quillon's own windows as a screen reader sees them: through the accessibility bus, by role and
// name, pressing, toggling and typing through the interfaces the widgets export.
#include <atspi/atspi.h>

#include <functional>
#include <optional>
#include <string>
#include <utility>

namespace quillon::testing {

class AtspiNode {
public:
    explicit AtspiNode(AtspiAccessible* accessible) : accessible_(accessible) {}  // takes the reference
    AtspiNode(const AtspiNode& other)
        : accessible_(static_cast<AtspiAccessible*>(g_object_ref(other.accessible_))) {}
    AtspiNode& operator=(AtspiNode other) {
        std::swap(accessible_, other.accessible_);
        return *this;
    }
    ~AtspiNode() { g_object_unref(accessible_); }

    // The application of process `pid` on the accessibility bus, once it is there.
    static std::optional<AtspiNode> application(long pid) {
        atspi_init();
        AtspiAccessible* desktop = atspi_get_desktop(0);
        std::optional<AtspiNode> found;
        const int count = atspi_accessible_get_child_count(desktop, nullptr);
        for (int i = 0; i < count && !found; ++i) {
            AtspiAccessible* app = atspi_accessible_get_child_at_index(desktop, i, nullptr);
            if (app == nullptr) continue;
            if (static_cast<long>(atspi_accessible_get_process_id(app, nullptr)) == pid) {
                found.emplace(app);
            } else {
                g_object_unref(app);
            }
        }
        g_object_unref(desktop);
        return found;
    }

    std::string name() const {
        atspi_accessible_clear_cache(accessible_);
        return take(atspi_accessible_get_name(accessible_, nullptr));
    }
    std::string role() const { return take(atspi_accessible_get_role_name(accessible_, nullptr)); }

    bool has(AtspiStateType state) const {
        atspi_accessible_clear_cache(accessible_);
        AtspiStateSet* states = atspi_accessible_get_state_set(accessible_);
        const bool result = states != nullptr && atspi_state_set_contains(states, state);
        if (states != nullptr) g_object_unref(states);
        return result;
    }

    // The first node below, depth first, whose role and name match (an empty role matches any).
    std::optional<AtspiNode> find(const std::string& role,
                                  const std::function<bool(const std::string&)>& named) const {
        const int count = atspi_accessible_get_child_count(accessible_, nullptr);
        for (int i = 0; i < count; ++i) {
            AtspiAccessible* child = atspi_accessible_get_child_at_index(accessible_, i, nullptr);
            if (child == nullptr) continue;
            AtspiNode node(child);
            if ((role.empty() || node.role() == role) && named(node.name())) return node;
            if (auto below = node.find(role, named)) return below;
        }
        return std::nullopt;
    }
    std::optional<AtspiNode> find(const std::string& role, const std::string& name) const {
        return find(role, [&name](const std::string& candidate) { return candidate == name; });
    }

    // The default action: press a button, toggle a check box, choose a menu item.
    // The interfaces are called on the object directly: a node whose cache was cleared would
    // otherwise claim to have none.
    bool press() const { return atspi_action_do_action(ATSPI_ACTION(accessible_), 0, nullptr); }

    std::string text() const {
        GError* error = nullptr;
        std::string result = take(atspi_text_get_text(ATSPI_TEXT(accessible_), 0, -1, &error));
        if (error != nullptr) {
            result = std::string("(error: ") + error->message + ")";
            g_error_free(error);
        }
        return result;
    }

    bool setText(const std::string& contents) const {
        return atspi_editable_text_set_text_contents(ATSPI_EDITABLE_TEXT(accessible_), contents.c_str(),
                                                     nullptr);
    }

private:
    static std::string take(gchar* text) {
        std::string result = text != nullptr ? text : "";
        g_free(text);
        return result;
    }

    AtspiAccessible* accessible_;
};

}  // namespace quillon::testing
