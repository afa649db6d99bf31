#pragma once

#include <QWidget>

#include <initializer_list>

#include "ui/ThemeIcons.h"

namespace quillon {

// The header of a pane of the live transcript window: an icon and a word, then the pane's
// controls at the trailing edge.
class PaneHeader : public QWidget {
public:
    PaneHeader(ThemeIcon icon, const QString& title, std::initializer_list<QWidget*> controls,
               QWidget* parent = nullptr);
};

}  // namespace quillon
