#include "platform/linux/accessibility/AtspiFocusSearch.h"

#include "platform/linux/accessibility/GObjectPtr.h"

namespace quillon {

AtspiFocusSearch::AtspiFocusSearch(AtspiResponsiveness& responsiveness, int walkLimit, int ownProcess)
    : responsiveness_(responsiveness), walkLimit_(walkLimit), ownProcess_(ownProcess) {}

bool AtspiFocusSearch::hasState(AtspiAccessible* object, AtspiStateType state) {
    AtspiStateSet* states = atspi_accessible_get_state_set(object);
    if (!states) return false;
    const bool contains = atspi_state_set_contains(states, state) != FALSE;
    g_object_unref(states);
    return contains;
}

AtspiAccessible* AtspiFocusSearch::applicationForProcess(int processIdentifier) {
    if (processIdentifier == ownProcess_) return nullptr;
    GObjectPtr<AtspiAccessible> desktop(atspi_get_desktop(0));
    if (!desktop) return nullptr;
    GError* error = nullptr;
    const gint count = atspi_accessible_get_child_count(desktop.get(), &error);
    g_clear_error(&error);
    for (gint i = 0; i < count; ++i) {
        AtspiAccessible* application = atspi_accessible_get_child_at_index(desktop.get(), i, &error);
        g_clear_error(&error);
        if (!application) continue;
        // The bus daemon answers this, not the application, so a hung one cannot stall it.
        const auto pid = static_cast<int>(atspi_accessible_get_process_id(application, &error));
        g_clear_error(&error);
        if (pid == processIdentifier) return application;
        g_object_unref(application);
    }
    return nullptr;
}

AtspiAccessible* AtspiFocusSearch::focusedDescendant(AtspiAccessible* root) {
    if (!responsiveness_.isResponsive(root)) return nullptr;
    AtspiCollection* collection = nullptr;
    {
        AtspiResponsiveness::Call call(responsiveness_, root);
        collection = atspi_accessible_get_collection_iface(root);
    }
    if (!responsiveness_.isResponsive(root)) {
        if (collection) g_object_unref(collection);
        return nullptr;
    }
    if (collection) {
        AtspiStateSet* states = atspi_state_set_new(nullptr);
        atspi_state_set_add(states, ATSPI_STATE_FOCUSED);
        AtspiMatchRule* rule =
            atspi_match_rule_new(states, ATSPI_Collection_MATCH_ALL, nullptr, ATSPI_Collection_MATCH_ALL, nullptr,
                                 ATSPI_Collection_MATCH_ALL, nullptr, ATSPI_Collection_MATCH_ALL, FALSE);
        GArray* matches = nullptr;
        {
            AtspiResponsiveness::Call call(responsiveness_, root);
            matches = atspi_collection_get_matches(collection, rule, ATSPI_Collection_SORT_ORDER_CANONICAL, 0, TRUE,
                                                   call.error());
        }
        g_object_unref(rule);
        g_object_unref(states);
        g_object_unref(collection);
        if (matches) {
            AtspiAccessible* found = bestFocusedMatch(matches);
            for (guint i = 0; i < matches->len; ++i) {
                AtspiAccessible* match = g_array_index(matches, AtspiAccessible*, i);
                if (match && match != found) g_object_unref(match);
            }
            g_array_free(matches, TRUE);
            return found;
        }
        if (!responsiveness_.isResponsive(root)) return nullptr;
    }
    int budget = walkLimit_;
    return walkForFocus(root, budget);
}

AtspiAccessible* AtspiFocusSearch::bestFocusedMatch(GArray* matches) {
    // A browser keeps a focused element in each of its documents, hidden ones too, and reports
    // the documents themselves as focused. What takes typing is an editable element, else the
    // first focused element that is not a document.
    AtspiAccessible* best = nullptr;
    int bestScore = -1;
    for (guint i = 0; i < matches->len; ++i) {
        AtspiAccessible* match = g_array_index(matches, AtspiAccessible*, i);
        if (!match || !responsiveness_.isResponsive(match)) continue;
        AtspiResponsiveness::Call call(responsiveness_, match);
        const AtspiRole matchRole = atspi_accessible_get_role(match, nullptr);
        const bool document = matchRole == ATSPI_ROLE_DOCUMENT_WEB || matchRole == ATSPI_ROLE_DOCUMENT_FRAME ||
                              matchRole == ATSPI_ROLE_APPLICATION || matchRole == ATSPI_ROLE_FRAME;
        const int score = (hasState(match, ATSPI_STATE_EDITABLE) ? 2 : 0) + (document ? 0 : 1);
        if (score > bestScore) {
            best = match;
            bestScore = score;
        }
    }
    return best;
}

AtspiAccessible* AtspiFocusSearch::walkForFocus(AtspiAccessible* element, int& budget) {
    if (--budget < 0 || !responsiveness_.isResponsive(element)) return nullptr;
    AtspiStateSet* states = nullptr;
    {
        AtspiResponsiveness::Call call(responsiveness_, element);
        states = atspi_accessible_get_state_set(element);
    }
    if (!states) return nullptr;
    const bool focused = atspi_state_set_contains(states, ATSPI_STATE_FOCUSED);
    const bool defunct = atspi_state_set_contains(states, ATSPI_STATE_DEFUNCT);
    const bool hidden = !atspi_state_set_contains(states, ATSPI_STATE_SHOWING) &&
                        atspi_accessible_get_role(element, nullptr) != ATSPI_ROLE_APPLICATION;
    g_object_unref(states);
    if (defunct || hidden) return nullptr;
    if (focused) return static_cast<AtspiAccessible*>(g_object_ref(element));
    gint count = 0;
    {
        AtspiResponsiveness::Call call(responsiveness_, element);
        count = atspi_accessible_get_child_count(element, call.error());
        if (call.failed()) return nullptr;
    }
    for (gint i = 0; i < count && budget > 0; ++i) {
        AtspiAccessible* child = nullptr;
        {
            AtspiResponsiveness::Call call(responsiveness_, element);
            child = atspi_accessible_get_child_at_index(element, i, call.error());
        }
        if (!child) continue;
        AtspiAccessible* found = walkForFocus(child, budget);
        g_object_unref(child);
        if (found) return found;
    }
    return nullptr;
}

}  // namespace quillon
