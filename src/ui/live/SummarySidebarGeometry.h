#pragma once

namespace quillon {

// The sizes of the summary sidebar and of the window around it.
struct SummarySidebarGeometry {
    static constexpr double minimumTranscriptWidth = 280;
    static constexpr double minimumSummaryWidth = 250;
    static constexpr double paneSpacing = 12;
    static constexpr double dividerWidth = 12;
    static constexpr double defaultWidth = 330;  // also how much the window grows for the sidebar
    static constexpr double expandedMinimumWindowWidth = 660;
    static constexpr double collapsedMinimumWindowWidth = 430;
    static constexpr double minimumWindowHeight = 180;

    // The width shown for a stored width in `available` width of panes: never below the sidebar's
    // minimum, never so wide the transcript falls under its own. The stored width itself is kept,
    // so a window that grows again shows it again.
    static double shownWidth(double stored, double available);
    // The window's width with the sidebar open, from its width without.
    static double expandedWindowWidth(double collapsedWidth);
    // The window's new left edge when it grows by `growth` to the right: moved left as far as the
    // screen's right edge asks, but never past the screen's left edge.
    static int shiftedLeft(int left, int width, int growth, int visibleLeft, int visibleRight);
};

}  // namespace quillon
