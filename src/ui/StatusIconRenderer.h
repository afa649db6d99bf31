#pragma once

#include <QIcon>

#include <map>
#include <utility>

#include "core/ports/StatusItem.h"

namespace quillon {

// Renders the bundled status icons, faded to a given opacity, at the sizes trays ask for. Each
// (icon, opacity step) is drawn once and kept, so a pulsing icon costs no drawing after its first
// cycle. GUI thread only.
class StatusIconRenderer {
public:
    // Opacity is rounded to steps of this size: fine enough to look smooth at tray sizes.
    static constexpr double opacityStep = 0.05;

    QIcon icon(StatusIcon kind, double opacity = 1.0);

    // The resource path of the SVG of `kind`.
    static QString resourcePath(StatusIcon kind);

private:
    std::map<std::pair<StatusIcon, int>, QIcon> cache_;
};

}  // namespace quillon
