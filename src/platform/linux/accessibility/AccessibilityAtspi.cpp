#include "platform/linux/accessibility/AccessibilityAtspi.h"

#include <unistd.h>

#include <atspi/atspi.h>

#include "platform/linux/accessibility/AccessibilityBusStatus.h"
#include "platform/linux/accessibility/AtspiElement.h"
#include "platform/linux/accessibility/AtspiFocusSearch.h"
#include "platform/linux/accessibility/AtspiRoleTable.h"
#include "platform/linux/accessibility/AtspiThread.h"
#include "platform/linux/accessibility/GObjectPtr.h"

namespace quillon {

namespace {

AtspiAccessible* objectOf(const ElementRef& element) {
    const auto* atspi = dynamic_cast<const AtspiElement*>(element.get());
    return atspi ? atspi->object() : nullptr;
}

}  // namespace

AccessibilityAtspi::AccessibilityAtspi(RunningApplications& applications, Logger logger)
    : AccessibilityAtspi(applications, std::move(logger), Options{}) {}

AccessibilityAtspi::AccessibilityAtspi(RunningApplications& applications, Logger logger, Options options)
    : applications_(applications),
      logger_(std::move(logger)),
      options_(options),
      thread_(AtspiThread::shared()),
      responsiveness_(logger_, options.callTimeout, options.unresponsiveFor),
      focusSearch_(responsiveness_, options.focusWalkLimit, static_cast<int>(getpid())),
      ownProcess_(static_cast<int>(getpid())) {
    thread_->run([this] {
        if (!thread_->isConnected()) return;
        // No grace period for applications that just started: a hung one is hung.
        atspi_set_timeout(static_cast<gint>(options_.callTimeout.count()), -1);
        // libatspi's own cache stays as it is: it follows the applications' change events, and
        // with less cached its event handlers make calls of their own while another call waits,
        // which deadlocks the connection.
    });
    if (!thread_->isConnected()) logger_.error("The accessibility bus could not be reached");
}

AccessibilityAtspi::~AccessibilityAtspi() = default;

ElementRef AccessibilityAtspi::wrap(AtspiAccessible* owned) {
    if (!owned) return nullptr;
    return std::make_shared<AtspiElement>(owned, thread_);
}

template <typename Result, typename Body>
Result AccessibilityAtspi::onElement(const ElementRef& element, Result fallback, Body body) {
    AtspiAccessible* object = objectOf(element);
    if (!object || !thread_->isConnected()) return fallback;
    std::optional<Result> answer = thread_->run([&]() -> std::optional<Result> {
        if (!responsiveness_.isResponsive(object)) return std::nullopt;
        // Some libatspi reads (interfaces, cached states) block without reporting an error;
        // timing the whole answer catches those too.
        AtspiResponsiveness::Call whole(responsiveness_, object);
        return body(object);
    });
    return answer ? std::move(*answer) : fallback;
}

bool AccessibilityAtspi::isProcessTrusted() { return thread_->isConnected() && AccessibilityBusStatus::isEnabled(); }

std::optional<std::string> AccessibilityAtspi::enableAccessibility() {
    return AccessibilityBusStatus::setEnabled(true);
}

ElementRef AccessibilityAtspi::systemWideFocusedElement() {
    if (!thread_->isConnected()) return nullptr;
    const auto frontmost = applications_.frontmostProcessIdentifier();
    return thread_->run([&]() -> ElementRef {
        if (frontmost) {
            GObjectPtr<AtspiAccessible> application(focusSearch_.applicationForProcess(*frontmost));
            return application ? wrap(focusSearch_.focusedDescendant(application.get())) : nullptr;
        }
        // No active window is known (no window manager): ask every application but this one.
        GObjectPtr<AtspiAccessible> desktop(atspi_get_desktop(0));
        if (!desktop) return nullptr;
        const gint count = atspi_accessible_get_child_count(desktop.get(), nullptr);
        for (gint i = 0; i < count; ++i) {
            GObjectPtr<AtspiAccessible> application(atspi_accessible_get_child_at_index(desktop.get(), i, nullptr));
            if (!application) continue;
            if (static_cast<int>(atspi_accessible_get_process_id(application.get(), nullptr)) == ownProcess_) continue;
            if (AtspiAccessible* focused = focusSearch_.focusedDescendant(application.get())) return wrap(focused);
        }
        return nullptr;
    });
}

ElementRef AccessibilityAtspi::focusedApplication() {
    if (const auto frontmost = applications_.frontmostProcessIdentifier()) return applicationElement(*frontmost);
    const ElementRef focused = systemWideFocusedElement();
    return onElement<ElementRef>(focused, nullptr, [&](AtspiAccessible* object) {
        return wrap(atspi_accessible_get_application(object, nullptr));
    });
}

ElementRef AccessibilityAtspi::applicationElement(int processIdentifier) {
    if (!thread_->isConnected()) return nullptr;
    return thread_->run([&] { return wrap(focusSearch_.applicationForProcess(processIdentifier)); });
}

ElementRef AccessibilityAtspi::focusedElement(const ElementRef& application) {
    return onElement<ElementRef>(application, nullptr,
                                 [&](AtspiAccessible* object) { return wrap(focusSearch_.focusedDescendant(object)); });
}

std::optional<std::vector<ElementRef>> AccessibilityAtspi::windows(const ElementRef& application) {
    // The children of an application on the bus are its top-level windows.
    return children(application);
}

std::optional<std::vector<ElementRef>> AccessibilityAtspi::children(const ElementRef& element) {
    using Result = std::optional<std::vector<ElementRef>>;
    return onElement<Result>(element, std::nullopt, [&](AtspiAccessible* object) -> Result {
        gint count = 0;
        {
            AtspiResponsiveness::Call call(responsiveness_, object);
            count = atspi_accessible_get_child_count(object, call.error());
            if (call.failed()) return std::nullopt;
        }
        std::vector<ElementRef> result;
        for (gint i = 0; i < count && responsiveness_.isResponsive(object); ++i) {
            AtspiResponsiveness::Call call(responsiveness_, object);
            if (AtspiAccessible* child = atspi_accessible_get_child_at_index(object, i, call.error())) {
                result.push_back(wrap(child));
            }
        }
        return result;
    });
}

std::optional<AccessibilityRole> AccessibilityAtspi::role(const ElementRef& element) {
    using Result = std::optional<AccessibilityRole>;
    return onElement<Result>(element, std::nullopt, [&](AtspiAccessible* object) -> Result {
        AtspiResponsiveness::Call call(responsiveness_, object);
        const AtspiRole atspiRole = atspi_accessible_get_role(object, call.error());
        if (call.failed() || atspiRole == ATSPI_ROLE_INVALID) return std::nullopt;
        const bool multiLine = atspiRole == ATSPI_ROLE_TEXT && AtspiFocusSearch::hasState(object, ATSPI_STATE_MULTI_LINE);
        return accessibilityRoleFor(atspiRole, multiLine);
    });
}

std::optional<std::string> AccessibilityAtspi::value(const ElementRef& element) {
    using Result = std::optional<std::string>;
    return onElement<Result>(element, std::nullopt, [&](AtspiAccessible* object) -> Result {
        GObjectPtr<AtspiText> text(atspi_accessible_get_text_iface(object));
        if (!text) return std::nullopt;
        AtspiResponsiveness::Call call(responsiveness_, object);
        const gint count = atspi_text_get_character_count(text.get(), call.error());
        if (call.failed() || count < 0) return std::nullopt;
        gchar* content = atspi_text_get_text(text.get(), 0, count, call.error());
        if (!content) return std::nullopt;
        std::string result(content);
        g_free(content);
        return result;
    });
}

std::optional<TextRange> AccessibilityAtspi::selectionOrCaret(AtspiAccessible* object) {
    GObjectPtr<AtspiText> text(atspi_accessible_get_text_iface(object));
    if (!text) return std::nullopt;
    AtspiResponsiveness::Call call(responsiveness_, object);
    const gint selections = atspi_text_get_n_selections(text.get(), call.error());
    if (call.failed()) return std::nullopt;
    if (selections > 0) {
        if (AtspiRange* range = atspi_text_get_selection(text.get(), 0, call.error())) {
            const TextRange result{std::min(range->start_offset, range->end_offset),
                                   std::abs(range->end_offset - range->start_offset)};
            g_free(range);
            if (result.length > 0) return result;
        }
    }
    const gint caret = atspi_text_get_caret_offset(text.get(), call.error());
    if (call.failed() || caret < 0) return std::nullopt;
    return TextRange{caret, 0};
}

std::optional<TextRange> AccessibilityAtspi::selectedTextRange(const ElementRef& element) {
    return onElement<std::optional<TextRange>>(element, std::nullopt,
                                               [&](AtspiAccessible* object) { return selectionOrCaret(object); });
}

std::optional<std::string> AccessibilityAtspi::selectedText(const ElementRef& element) {
    using Result = std::optional<std::string>;
    return onElement<Result>(element, std::nullopt, [&](AtspiAccessible* object) -> Result {
        const auto range = selectionOrCaret(object);
        if (!range) return std::nullopt;
        if (range->length == 0) return std::string();
        GObjectPtr<AtspiText> text(atspi_accessible_get_text_iface(object));
        AtspiResponsiveness::Call call(responsiveness_, object);
        gchar* selected = atspi_text_get_text(text.get(), static_cast<gint>(range->location),
                                              static_cast<gint>(range->location + range->length), call.error());
        if (!selected) return std::nullopt;
        std::string result(selected);
        g_free(selected);
        return result;
    });
}

std::optional<long> AccessibilityAtspi::insertionPoint(const ElementRef& element) {
    using Result = std::optional<long>;
    return onElement<Result>(element, std::nullopt, [&](AtspiAccessible* object) -> Result {
        GObjectPtr<AtspiText> text(atspi_accessible_get_text_iface(object));
        if (!text) return std::nullopt;
        AtspiResponsiveness::Call call(responsiveness_, object);
        const gint caret = atspi_text_get_caret_offset(text.get(), call.error());
        if (call.failed() || caret < 0) return std::nullopt;
        return caret;
    });
}

std::optional<std::string> AccessibilityAtspi::placeholder(const ElementRef& element) {
    using Result = std::optional<std::string>;
    return onElement<Result>(element, std::nullopt, [&](AtspiAccessible* object) -> Result {
        AtspiResponsiveness::Call call(responsiveness_, object);
        GHashTable* attributes = atspi_accessible_get_attributes(object, call.error());
        if (!attributes) return std::nullopt;
        Result result;
        if (const auto* hint = static_cast<const char*>(g_hash_table_lookup(attributes, "placeholder-text"))) {
            result = std::string(hint);
        }
        g_hash_table_unref(attributes);
        return result;
    });
}

std::optional<bool> AccessibilityAtspi::isFocused(const ElementRef& element) {
    using Result = std::optional<bool>;
    return onElement<Result>(element, std::nullopt, [&](AtspiAccessible* object) -> Result {
        AtspiStateSet* states = nullptr;
        {
            AtspiResponsiveness::Call call(responsiveness_, object);
            states = atspi_accessible_get_state_set(object);
        }
        if (!states) return std::nullopt;
        Result result;
        if (!atspi_state_set_contains(states, ATSPI_STATE_DEFUNCT)) {
            result = atspi_state_set_contains(states, ATSPI_STATE_FOCUSED) != FALSE;
        }
        g_object_unref(states);
        return result;
    });
}

bool AccessibilityAtspi::isSelectedTextSettable(const ElementRef& element) {
    return onElement(element, false, [&](AtspiAccessible* object) {
        GObjectPtr<AtspiEditableText> editable(atspi_accessible_get_editable_text_iface(object));
        if (!editable) return false;
        AtspiResponsiveness::Call call(responsiveness_, object);
        return AtspiFocusSearch::hasState(object, ATSPI_STATE_EDITABLE);
    });
}

bool AccessibilityAtspi::setSelectedText(const ElementRef& element, const std::string& newText) {
    return onElement(element, false, [&](AtspiAccessible* object) {
        GObjectPtr<AtspiEditableText> editable(atspi_accessible_get_editable_text_iface(object));
        if (!editable) return false;
        const auto range = selectionOrCaret(object);
        const gint start = range ? static_cast<gint>(range->location) : 0;
        AtspiResponsiveness::Call call(responsiveness_, object);
        if (range && range->length > 0) {
            atspi_editable_text_delete_text(editable.get(), start, static_cast<gint>(range->location + range->length),
                                            call.error());
            if (call.failed()) return false;
        }
        const bool inserted = atspi_editable_text_insert_text(editable.get(), start, newText.c_str(),
                                                              static_cast<gint>(newText.size()), call.error());
        return inserted && !call.failed();
    });
}

bool AccessibilityAtspi::setSelectedTextRange(const ElementRef& element, TextRange range) {
    return onElement(element, false, [&](AtspiAccessible* object) {
        GObjectPtr<AtspiText> text(atspi_accessible_get_text_iface(object));
        if (!text) return false;
        AtspiResponsiveness::Call call(responsiveness_, object);
        const auto start = static_cast<gint>(range.location);
        const bool done = range.length == 0
                              ? atspi_text_set_caret_offset(text.get(), start, call.error())
                              : atspi_text_set_selection(text.get(), 0, start, static_cast<gint>(range.location + range.length),
                                                         call.error()) ||
                                    atspi_text_add_selection(text.get(), start,
                                                             static_cast<gint>(range.location + range.length), nullptr);
        return done && !call.failed();
    });
}

bool AccessibilityAtspi::setValue(const ElementRef& element, const std::string& newValue) {
    return onElement(element, false, [&](AtspiAccessible* object) {
        GObjectPtr<AtspiEditableText> editable(atspi_accessible_get_editable_text_iface(object));
        if (!editable) return false;
        AtspiResponsiveness::Call call(responsiveness_, object);
        return atspi_editable_text_set_text_contents(editable.get(), newValue.c_str(), call.error()) && !call.failed();
    });
}

bool AccessibilityAtspi::setFocused(const ElementRef& element) {
    return onElement(element, false, [&](AtspiAccessible* object) {
        GObjectPtr<AtspiComponent> component(atspi_accessible_get_component_iface(object));
        if (!component) return false;
        AtspiResponsiveness::Call call(responsiveness_, object);
        return atspi_component_grab_focus(component.get(), call.error()) && !call.failed();
    });
}

std::optional<int> AccessibilityAtspi::actionIndex(AtspiAccessible* object, ElementAction action) {
    GObjectPtr<AtspiAction> actions(atspi_accessible_get_action_iface(object));
    if (!actions) return std::nullopt;
    AtspiResponsiveness::Call call(responsiveness_, object);
    const gint count = atspi_action_get_n_actions(actions.get(), call.error());
    for (gint i = 0; i < count && !call.failed(); ++i) {
        gchar* name = atspi_action_get_action_name(actions.get(), i, call.error());
        if (!name) continue;
        const std::string_view view(name);
        const bool matches = view == "press" || view == "click" || view == "activate";
        g_free(name);
        if (matches && action == ElementAction::press) return i;
    }
    return std::nullopt;
}

bool AccessibilityAtspi::hasAction(const ElementRef& element, ElementAction action) {
    return onElement(element, false, [&](AtspiAccessible* object) {
        if (action == ElementAction::paste) {
            GObjectPtr<AtspiEditableText> editable(atspi_accessible_get_editable_text_iface(object));
            return editable && AtspiFocusSearch::hasState(object, ATSPI_STATE_EDITABLE);
        }
        return actionIndex(object, action).has_value();
    });
}

bool AccessibilityAtspi::performAction(const ElementRef& element, ElementAction action) {
    return onElement(element, false, [&](AtspiAccessible* object) {
        if (action == ElementAction::paste) {
            // Pastes the clipboard at the caret, as the toolkit's own paste would.
            GObjectPtr<AtspiEditableText> editable(atspi_accessible_get_editable_text_iface(object));
            if (!editable) return false;
            const auto range = selectionOrCaret(object);
            AtspiResponsiveness::Call call(responsiveness_, object);
            return atspi_editable_text_paste_text(editable.get(), range ? static_cast<gint>(range->location) : 0,
                                                  call.error()) &&
                   !call.failed();
        }
        const auto index = actionIndex(object, action);
        if (!index) return false;
        GObjectPtr<AtspiAction> actions(atspi_accessible_get_action_iface(object));
        AtspiResponsiveness::Call call(responsiveness_, object);
        return atspi_action_do_action(actions.get(), *index, call.error()) && !call.failed();
    });
}

std::optional<int> AccessibilityAtspi::processIdentifier(const ElementRef& element) {
    using Result = std::optional<int>;
    return onElement<Result>(element, std::nullopt, [&](AtspiAccessible* object) -> Result {
        GError* error = nullptr;
        const guint pid = atspi_accessible_get_process_id(object, &error);
        if (error) {
            g_error_free(error);
            return std::nullopt;
        }
        return static_cast<int>(pid);
    });
}

std::string AccessibilityAtspi::identity(const ElementRef& element) {
    const auto* atspi = dynamic_cast<const AtspiElement*>(element.get());
    return atspi ? atspi->identity() : std::string();
}

std::string AccessibilityAtspi::toolkitName(const ElementRef& element) {
    return onElement<std::string>(element, {}, [&](AtspiAccessible* object) {
        gchar* name = atspi_accessible_get_toolkit_name(object, nullptr);
        std::string result = name ? name : "";
        g_free(name);
        return result;
    });
}

}  // namespace quillon
