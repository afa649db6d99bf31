#include "ui/settings/RecognitionSettingsSection.h"

#include <QPlainTextEdit>
#include <QSignalBlocker>

#include "ui/settings/CorrectionsEditorQt.h"

namespace quillon {

RecognitionSettingsSection::RecognitionSettingsSection(SettingsManager& settings, QWidget* parent)
    : SettingsSectionQt(QStringLiteral("Recognition"), QStringLiteral("accessories-dictionary"), parent),
      settings_(settings),
      glossary_(new QPlainTextEdit),
      corrections_(new CorrectionsEditorQt(settings)) {
    glossary_->setAccessibleName(QStringLiteral("Recognition glossary"));
    glossary_->setToolTip(QStringLiteral("Recognition glossary"));
    glossary_->setTabChangesFocus(true);
    glossary_->setFixedHeight(110);
    addRow(QStringLiteral("Preferred spellings"),
           QStringLiteral("Add names and specialist terms, one per line."), glossary_, true);
    addRow(QStringLiteral("Automatic corrections"),
           QStringLiteral("Replace common recognition mistakes after transcription."), corrections_, true);
    connect(glossary_, &QPlainTextEdit::textChanged, this,
            [this] { settings_.setTranscriptionGlossary(glossary_->toPlainText().toStdString()); });
    reload();
}

void RecognitionSettingsSection::reload() {
    {
        const QSignalBlocker blocker(glossary_);
        glossary_->setPlainText(QString::fromStdString(settings_.transcriptionGlossary()));
    }
    corrections_->reload();
}

}  // namespace quillon
