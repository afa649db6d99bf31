#include "platform/linux/accessibility/AtspiRoleTable.h"

#include <array>
#include <utility>

namespace quillon {

namespace {

constexpr std::array<std::pair<AtspiRole, AccessibilityRole>, 27> table{{
    // Text that takes input.
    {ATSPI_ROLE_ENTRY, AccessibilityRole::textField},
    {ATSPI_ROLE_SPIN_BUTTON, AccessibilityRole::textField},
    {ATSPI_ROLE_PASSWORD_TEXT, AccessibilityRole::passwordField},
    {ATSPI_ROLE_TEXT, AccessibilityRole::textArea},  // when multi-line; else textField, above
    {ATSPI_ROLE_DOCUMENT_TEXT, AccessibilityRole::textArea},
    // Text to read.
    {ATSPI_ROLE_PARAGRAPH, AccessibilityRole::staticText},
    {ATSPI_ROLE_STATIC, AccessibilityRole::staticText},
    {ATSPI_ROLE_LABEL, AccessibilityRole::staticText},
    {ATSPI_ROLE_HEADING, AccessibilityRole::staticText},
    {ATSPI_ROLE_CAPTION, AccessibilityRole::staticText},
    // Web content.
    {ATSPI_ROLE_DOCUMENT_WEB, AccessibilityRole::webArea},
    {ATSPI_ROLE_DOCUMENT_FRAME, AccessibilityRole::webArea},
    {ATSPI_ROLE_HTML_CONTAINER, AccessibilityRole::webArea},
    // Containers.
    {ATSPI_ROLE_PANEL, AccessibilityRole::group},
    {ATSPI_ROLE_SECTION, AccessibilityRole::group},
    {ATSPI_ROLE_FILLER, AccessibilityRole::group},
    {ATSPI_ROLE_FORM, AccessibilityRole::group},
    {ATSPI_ROLE_GROUPING, AccessibilityRole::group},
    {ATSPI_ROLE_BLOCK_QUOTE, AccessibilityRole::group},
    {ATSPI_ROLE_SCROLL_PANE, AccessibilityRole::scrollArea},
    {ATSPI_ROLE_VIEWPORT, AccessibilityRole::scrollArea},
    // Top levels.
    {ATSPI_ROLE_FRAME, AccessibilityRole::window},
    {ATSPI_ROLE_WINDOW, AccessibilityRole::window},
    {ATSPI_ROLE_DIALOG, AccessibilityRole::window},
    {ATSPI_ROLE_ALERT, AccessibilityRole::window},
    {ATSPI_ROLE_FILE_CHOOSER, AccessibilityRole::window},
    {ATSPI_ROLE_APPLICATION, AccessibilityRole::application},
}};

}  // namespace

AccessibilityRole accessibilityRoleFor(AtspiRole role, bool multiLine) {
    if (role == ATSPI_ROLE_TEXT && !multiLine) return AccessibilityRole::textField;
    for (const auto& [atspi, mapped] : table) {
        if (atspi == role) return mapped;
    }
    return AccessibilityRole::other;
}

}  // namespace quillon
