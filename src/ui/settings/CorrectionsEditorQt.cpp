#include "ui/settings/CorrectionsEditorQt.h"

#include <QGridLayout>
#include <QIcon>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QToolButton>
#include <QVBoxLayout>

#include <algorithm>

namespace quillon {

CorrectionsEditorQt::CorrectionsEditorQt(SettingsManager& settings, QWidget* parent)
    : QWidget(parent), settings_(settings), table_(new QWidget), grid_(new QGridLayout(table_)) {
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    grid_->setContentsMargins(0, 0, 0, 0);
    grid_->setColumnStretch(0, 1);
    grid_->setColumnStretch(2, 1);
    layout->addWidget(table_);

    auto* add =
        new QPushButton(QIcon::fromTheme(QStringLiteral("list-add")), QStringLiteral("Add Correction"));
    connect(add, &QPushButton::clicked, this, [this] {
        rows_.push_back({Uuid::random(), {}, {}});
        rebuild();
        // The new row's first field takes the typing.
        if (auto* item = grid_->itemAtPosition(static_cast<int>(rows_.size()), 0)) item->widget()->setFocus();
    });
    layout->addWidget(add, 0, Qt::AlignLeft);
    reload();
}

void CorrectionsEditorQt::reload() {
    rows_ = GlossaryCorrectionEntry::parse(settings_.transcriptionCorrections());
    rebuild();
}

void CorrectionsEditorQt::rebuild() {
    while (QLayoutItem* item = grid_->takeAt(0)) {
        delete item->widget();
        delete item;
    }
    auto* heardAs = new QLabel(QStringLiteral("Heard as"));
    auto* replaceWith = new QLabel(QStringLiteral("Replace with"));
    grid_->addWidget(heardAs, 0, 0);
    grid_->addWidget(replaceWith, 0, 2);
    for (std::size_t index = 0; index < rows_.size(); ++index) {
        const int line = static_cast<int>(index) + 1;
        const Uuid id = rows_[index].id;
        auto* source = new QLineEdit(QString::fromStdString(rows_[index].source));
        source->setPlaceholderText(QStringLiteral("e.g. mistaken spelling"));
        source->setAccessibleName(QStringLiteral("Heard as"));
        auto* arrow = new QLabel(QStringLiteral("→"));
        arrow->setAccessibleName(QStringLiteral("becomes"));
        auto* replacement = new QLineEdit(QString::fromStdString(rows_[index].replacement));
        replacement->setPlaceholderText(QStringLiteral("e.g. preferred spelling"));
        replacement->setAccessibleName(QStringLiteral("Replace with"));
        auto* remove = new QToolButton;
        remove->setIcon(QIcon::fromTheme(QStringLiteral("list-remove")));
        remove->setText(QStringLiteral("−"));
        remove->setAccessibleName(QStringLiteral("Remove Correction"));
        remove->setToolTip(QStringLiteral("Remove Correction"));

        auto row = [this, id]() -> GlossaryCorrectionEntry* {
            auto found = std::ranges::find(rows_, id, &GlossaryCorrectionEntry::id);
            return found == rows_.end() ? nullptr : &*found;
        };
        connect(source, &QLineEdit::textChanged, this, [this, row](const QString& text) {
            if (auto* entry = row()) entry->source = text.toStdString();
            save();
        });
        connect(replacement, &QLineEdit::textChanged, this, [this, row](const QString& text) {
            if (auto* entry = row()) entry->replacement = text.toStdString();
            save();
        });
        // Removed after the click has been handled: the button deletes itself in the rebuild.
        connect(remove, &QToolButton::clicked, this, [this, id] {
            std::erase_if(rows_, [&id](const GlossaryCorrectionEntry& entry) { return entry.id == id; });
            save();
            QMetaObject::invokeMethod(
                this, [this] { rebuild(); }, Qt::QueuedConnection);
        });
        grid_->addWidget(source, line, 0);
        grid_->addWidget(arrow, line, 1);
        grid_->addWidget(replacement, line, 2);
        grid_->addWidget(remove, line, 3);
    }
}

void CorrectionsEditorQt::save() {
    settings_.setTranscriptionCorrections(GlossaryCorrectionEntry::serialize(rows_));
}

}  // namespace quillon
