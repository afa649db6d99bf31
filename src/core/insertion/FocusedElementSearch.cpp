#include "core/insertion/FocusedElementSearch.h"

namespace quillon {

namespace {

bool isFieldRole(AccessibilityRole role) {
    switch (role) {
        case AccessibilityRole::textField:
        case AccessibilityRole::passwordField:
        case AccessibilityRole::textArea:
        case AccessibilityRole::webArea:
        case AccessibilityRole::group:
        case AccessibilityRole::scrollArea: return true;
        default: return false;
    }
}

bool isPreferredRole(AccessibilityRole role) {
    switch (role) {
        case AccessibilityRole::textField:
        case AccessibilityRole::passwordField:
        case AccessibilityRole::textArea:
        case AccessibilityRole::webArea: return true;
        default: return false;
    }
}

// Element trees are not cyclic in practice, but a broken application could make one; the
// unvisited field search stops this deep rather than exhausting the stack.
constexpr int maximumFieldSearchDepth = 512;

}  // namespace

FocusedElementSearch::FocusedElementSearch(Accessibility& accessibility, RunningApplications& applications)
    : accessibility_(accessibility), applications_(applications) {}

bool FocusedElementSearch::isElementEditable(const ElementRef& element) {
    if (!element) return false;
    if (accessibility_.isSelectedTextSettable(element)) return true;
    if (!accessibility_.selectedTextRange(element) && !accessibility_.value(element) && !accessibility_.text(element)) {
        return false;
    }
    // Text to read (a label, a paragraph, selectable or not) has a value and may have a caret,
    // but takes no typing. An element whose role cannot be read is given the benefit of the doubt.
    return accessibility_.role(element) != AccessibilityRole::staticText;
}

bool FocusedElementSearch::isPreferredEditableElement(const ElementRef& element) {
    const auto role = accessibility_.role(element);
    return role && isPreferredRole(*role) && isElementEditable(element);
}

std::vector<ElementRef> FocusedElementSearch::getChildElements(const ElementRef& element) {
    std::vector<ElementRef> result;
    if (auto children = accessibility_.children(element)) result = std::move(*children);
    if (auto contents = accessibility_.contents(element)) {
        result.insert(result.end(), contents->begin(), contents->end());
    }
    return result;
}

ElementRef FocusedElementSearch::findTextFieldInElement(const ElementRef& element) {
    return findTextFieldBelow(element, 0);
}

ElementRef FocusedElementSearch::findTextFieldBelow(const ElementRef& element, int depth) {
    if (depth >= maximumFieldSearchDepth) return nullptr;
    const auto children = accessibility_.children(element);
    if (!children) return nullptr;
    for (const ElementRef& child : *children) {
        if (!child) continue;
        const auto role = accessibility_.role(child);
        if (role && isFieldRole(*role) && isElementEditable(child)) return child;
        if (ElementRef found = findTextFieldBelow(child, depth + 1)) return found;
    }
    return nullptr;
}

template <typename Predicate>
ElementRef FocusedElementSearch::findInTree(const ElementRef& element, VisitedSet& visited, Predicate predicate) {
    if (!element) return nullptr;
    if (!visited.insert(accessibility_.identity(element)).second) return nullptr;
    if (predicate(element)) return element;
    for (const ElementRef& child : getChildElements(element)) {
        if (ElementRef found = findInTree(child, visited, predicate)) return found;
    }
    return nullptr;
}

ElementRef FocusedElementSearch::findPreferredEditableElementInTree(const ElementRef& element, VisitedSet& visited) {
    return findInTree(element, visited, [this](const ElementRef& e) { return isPreferredEditableElement(e); });
}

ElementRef FocusedElementSearch::findEditableElementInTree(const ElementRef& element, VisitedSet& visited) {
    return findInTree(element, visited, [this](const ElementRef& e) { return isElementEditable(e); });
}

ElementRef FocusedElementSearch::findEditableElementInApplication(const ElementRef& application) {
    if (auto windows = accessibility_.windows(application)) {
        for (const ElementRef& window : *windows) {
            VisitedSet visited;
            if (ElementRef found = findEditableElementInTree(window, visited)) return found;
        }
    }
    VisitedSet visited;
    return findEditableElementInTree(application, visited);
}

ElementRef FocusedElementSearch::findFocusedApplication() { return accessibility_.focusedApplication(); }

ElementRef FocusedElementSearch::findFocusedElement(const ElementRef& application) {
    return application ? accessibility_.focusedElement(application) : nullptr;
}

ElementRef FocusedElementSearch::findFocusedWindow() {
    const ElementRef application = findFocusedApplication();
    if (!application) return nullptr;
    const auto windows = accessibility_.windows(application);
    if (!windows || windows->empty()) return nullptr;
    for (const ElementRef& window : *windows) {
        if (accessibility_.isFocused(window) == true) return window;
    }
    return windows->front();
}

std::optional<TargetApplicationInfo> FocusedElementSearch::currentFocusedApplicationInfo() {
    const ElementRef application = findFocusedApplication();
    if (!application) return std::nullopt;
    const auto pid = accessibility_.processIdentifier(application);
    if (!pid || *pid < 1) return std::nullopt;
    const auto running = applications_.applicationWithProcessIdentifier(*pid);
    if (!running) return std::nullopt;
    return TargetApplicationInfo{running->desktopId, running->localizedName, running->flatpakId, running->processName};
}

ElementRef FocusedElementSearch::focusedInsertionElement() {
    ElementRef candidate = accessibility_.systemWideFocusedElement();
    if (!candidate) {
        const ElementRef application = findFocusedApplication();
        if (!application) return nullptr;
        candidate = findFocusedElement(application);
        if (!candidate) return nullptr;
    }
    if (!isElementEditable(candidate)) {
        if (ElementRef field = findTextFieldInElement(candidate)) return field;
    }
    if (accessibility_.role(candidate) == AccessibilityRole::group) {
        VisitedSet visited;
        if (ElementRef preferred = findPreferredEditableElementInTree(candidate, visited)) return preferred;
    }
    return isElementEditable(candidate) ? candidate : nullptr;
}

ElementRef FocusedElementSearch::resolveInsertionElement() {
    if (ElementRef focused = accessibility_.systemWideFocusedElement()) {
        const auto role = accessibility_.role(focused);
        if (!role) return focused;
        if (isElementEditable(focused)) {
            if (*role != AccessibilityRole::group) return focused;
            VisitedSet visited;
            ElementRef preferred = findPreferredEditableElementInTree(focused, visited);
            return preferred ? preferred : focused;
        }
        ElementRef field = findTextFieldInElement(focused);
        return field ? field : focused;
    }

    if (const ElementRef application = findFocusedApplication()) {
        if (ElementRef element = findFocusedElement(application)) {
            if (isElementEditable(element)) return element;
            ElementRef field = findTextFieldInElement(element);
            return field ? field : element;
        }
    }

    if (const auto pid = applications_.frontmostProcessIdentifier()) {
        if (const ElementRef application = accessibility_.applicationElement(*pid)) {
            const ElementRef focused = findFocusedElement(application);
            if (focused && isElementEditable(focused)) return focused;
            VisitedSet visited;
            if (ElementRef preferred = findPreferredEditableElementInTree(application, visited)) return preferred;
            if (ElementRef editable = findEditableElementInApplication(application)) return editable;
            if (focused) return focused;
        }
    }

    if (const ElementRef window = findFocusedWindow()) {
        if (ElementRef field = findTextFieldInElement(window)) return field;
        if (isElementEditable(window)) return window;
    }
    return nullptr;
}

}  // namespace quillon
