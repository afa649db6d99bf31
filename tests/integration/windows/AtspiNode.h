#pragma once

// Quillon's own windows as a screen reader sees them: through the accessibility bus, by role and
// name, pressing, toggling and typing through the interfaces the widgets export.
#include <atspi/atspi.h>

#include "../shell/Desktop.h"

#include <memory>
#include <optional>
#include <string>

namespace quillon::testing {

class AtspiNode {
public:
    explicit AtspiNode(AtspiAccessible* accessible)
        : accessible_(accessible, g_object_unref) {}  // takes the reference

    // The application of process `pid` on the accessibility bus, once it is there.
    static std::optional<AtspiNode> application(long pid) {
        atspi_init();
        const AtspiNode desktop(atspi_get_desktop(0));
        for (int i = 0; i < desktop.childCount(); ++i) {
            auto app = desktop.child(i);
            if (app &&
                static_cast<long>(atspi_accessible_get_process_id(app->accessible_.get(), nullptr)) == pid)
                return app;
        }
        return std::nullopt;
    }

    std::string name() const {
        atspi_accessible_clear_cache(accessible_.get());
        return take(atspi_accessible_get_name(accessible_.get(), nullptr));
    }
    // What a screen reader says after the name: Quillon's icon buttons give their state here.
    std::string description() const {
        atspi_accessible_clear_cache(accessible_.get());
        return take(atspi_accessible_get_description(accessible_.get(), nullptr));
    }
    std::string role() const { return take(atspi_accessible_get_role_name(accessible_.get(), nullptr)); }

    bool has(AtspiStateType state) const {
        atspi_accessible_clear_cache(accessible_.get());
        AtspiStateSet* states = atspi_accessible_get_state_set(accessible_.get());
        const bool result = states != nullptr && atspi_state_set_contains(states, state);
        if (states != nullptr) g_object_unref(states);
        return result;
    }

    // The first node below, depth first, whose role and name match (an empty role matches any).
    std::optional<AtspiNode> find(const std::string& role, const std::string& name) const {
        for (int i = 0; i < childCount(); ++i) {
            auto node = child(i);
            if (!node) continue;
            if ((role.empty() || node->role() == role) && node->name() == name) return node;
            if (auto below = node->find(role, name)) return below;
        }
        return std::nullopt;
    }

    // The default action: press a button, toggle a check box, choose a menu item.
    // The interfaces are called on the object directly: a node whose cache was cleared would
    // otherwise claim to have none.
    bool press() const { return atspi_action_do_action(ATSPI_ACTION(accessible_.get()), 0, nullptr); }

    std::string text() const {
        return take(atspi_text_get_text(ATSPI_TEXT(accessible_.get()), 0, -1, nullptr));
    }

    bool setText(const std::string& contents) const {
        return atspi_editable_text_set_text_contents(ATSPI_EDITABLE_TEXT(accessible_.get()), contents.c_str(),
                                                     nullptr);
    }

    // Types `contents` at character `position`, as an input method or a braille display would.
    bool insertText(int position, const std::string& contents) const {
        return atspi_editable_text_insert_text(ATSPI_EDITABLE_TEXT(accessible_.get()), position,
                                               contents.c_str(), static_cast<int>(contents.size()), nullptr);
    }

private:
    int childCount() const { return atspi_accessible_get_child_count(accessible_.get(), nullptr); }
    std::optional<AtspiNode> child(int index) const {
        AtspiAccessible* found = atspi_accessible_get_child_at_index(accessible_.get(), index, nullptr);
        if (found == nullptr) return std::nullopt;
        return AtspiNode(found);
    }
    static std::string take(gchar* text) {
        std::string result = text != nullptr ? text : "";
        g_free(text);
        return result;
    }

    std::shared_ptr<AtspiAccessible> accessible_;
};

// The node of `quillon`'s windows with this role and name, once it is there.
inline std::optional<AtspiNode> waitForNode(QuillonProcess& quillon, const std::string& role,
                                            const std::string& name) {
    std::optional<AtspiNode> found;
    serveEventsUntil([&] {
        if (auto app = AtspiNode::application(quillon.processId())) found = app->find(role, name);
        return found.has_value();
    });
    return found;
}

}  // namespace quillon::testing
