#pragma once

#include <optional>
#include <string>
#include <unordered_set>
#include <vector>

#include "core/insertion/TargetApplicationInfo.h"
#include "core/ports/Accessibility.h"
#include "core/ports/RunningApplications.h"

namespace quillon {

// Finds the element of another application that should receive dictated text. Every search
// returns null rather than failing; the element trees belong to other applications and any read
// may fail at any moment.
//
// Threads: the caller's; no state of its own beyond the two ports.
class FocusedElementSearch {
public:
    using VisitedSet = std::unordered_set<std::string>;

    FocusedElementSearch(Accessibility& accessibility, RunningApplications& applications);

    // The element that would take text now (the focus, or a text field inside it), or null.
    ElementRef focusedInsertionElement();

    // The stubborn search of an insertion: the focus, then the focused application, then the
    // frontmost application, then the focused window. May return an element that is not
    // editable; null only when nothing at all is found.
    ElementRef resolveInsertionElement();

    // Deliberately generous: anything whose text, selection or value can be read counts.
    bool isElementEditable(const ElementRef& element);
    // A text-like role that is also editable.
    bool isPreferredEditableElement(const ElementRef& element);

    std::vector<ElementRef> getChildElements(const ElementRef& element);
    // Depth first, parents before children, over children only; the first editable element
    // with a field role.
    ElementRef findTextFieldInElement(const ElementRef& element);
    ElementRef findPreferredEditableElementInTree(const ElementRef& element, VisitedSet& visited);
    ElementRef findEditableElementInTree(const ElementRef& element, VisitedSet& visited);
    ElementRef findEditableElementInApplication(const ElementRef& application);

    ElementRef findFocusedApplication();
    ElementRef findFocusedElement(const ElementRef& application);
    // The focused application's window that has the focus, else its first window.
    ElementRef findFocusedWindow();

    std::optional<TargetApplicationInfo> currentFocusedApplicationInfo();

private:
    template <typename Predicate>
    ElementRef findInTree(const ElementRef& element, VisitedSet& visited, Predicate predicate);
    ElementRef findTextFieldBelow(const ElementRef& element, int depth);

    Accessibility& accessibility_;
    RunningApplications& applications_;
};

}  // namespace quillon
