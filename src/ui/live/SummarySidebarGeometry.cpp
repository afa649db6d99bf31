#include "ui/live/SummarySidebarGeometry.h"

#include <algorithm>

namespace quillon {

double SummarySidebarGeometry::shownWidth(double stored, double available) {
    const double maximum =
        std::max(minimumSummaryWidth, available - minimumTranscriptWidth - 2 * paneSpacing - dividerWidth);
    return std::min(std::max(stored, minimumSummaryWidth), maximum);
}

double SummarySidebarGeometry::expandedWindowWidth(double collapsedWidth) {
    return std::max(collapsedWidth + defaultWidth, expandedMinimumWindowWidth);
}

int SummarySidebarGeometry::shiftedLeft(int left, int width, int growth, int visibleLeft, int visibleRight) {
    if (left + width + growth <= visibleRight) return left;
    return std::max(visibleLeft, left - growth);
}

}  // namespace quillon
