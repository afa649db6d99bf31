#pragma once

#include <QWidget>

#include <vector>

#include "core/settings/SettingsManager.h"
#include "core/text/GlossaryCorrectionEntry.h"

class QGridLayout;

namespace quillon {

// The table of automatic corrections: "Heard as" → "Replace with", a remove button per row and
// "Add Correction" below. The rows are read from the setting when shown and written back to it
// on every change; incomplete rows stay on screen but are not stored.
class CorrectionsEditorQt : public QWidget {
public:
    explicit CorrectionsEditorQt(SettingsManager& settings, QWidget* parent = nullptr);

    // Reads the rows from the setting again.
    void reload();

private:
    void rebuild();
    void save();

    SettingsManager& settings_;
    std::vector<GlossaryCorrectionEntry> rows_;
    QWidget* table_;
    QGridLayout* grid_;
};

}  // namespace quillon
