#pragma once

#include "core/settings/SettingsManager.h"
#include "ui/settings/SettingsSectionQt.h"

class QPlainTextEdit;

namespace quillon {

class CorrectionsEditorQt;

// "Recognition": the preferred spellings (one a line) and the automatic corrections.
class RecognitionSettingsSection : public SettingsSectionQt {
public:
    explicit RecognitionSettingsSection(SettingsManager& settings, QWidget* parent = nullptr);

    void reload();

private:
    SettingsManager& settings_;
    QPlainTextEdit* glossary_;
    CorrectionsEditorQt* corrections_;
};

}  // namespace quillon
