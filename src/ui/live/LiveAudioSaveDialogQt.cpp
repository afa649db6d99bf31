#include "ui/live/LiveAudioSaveDialogQt.h"

#include <QDir>
#include <QFileDialog>
#include <QStandardPaths>

namespace quillon {

namespace {

QString fromUtf8(const std::string& text) {
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

QString defaultFolder() {
    for (auto location : {QStandardPaths::MusicLocation, QStandardPaths::DocumentsLocation}) {
        const QString folder = QStandardPaths::writableLocation(location);
        if (!folder.isEmpty() && QDir(folder).exists()) return folder;
    }
    return QDir::homePath();
}

}  // namespace

void LiveAudioSaveDialogQt::present(const SaveDialogRequest& request,
                                    std::function<void(std::optional<std::filesystem::path>)> answer) {
    QWidget* window = request.attachToTranscriptWindow ? window_.data() : nullptr;
    const bool attached = window != nullptr && window->isVisible();
    auto* dialog = new QFileDialog(attached ? window : nullptr, fromUtf8(request.title));
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setAcceptMode(QFileDialog::AcceptSave);
    dialog->setFileMode(QFileDialog::AnyFile);
    dialog->setLabelText(QFileDialog::Accept, fromUtf8(request.acceptLabel));
    dialog->setMimeTypeFilters({fromUtf8(request.mimeType)});
    dialog->setDefaultSuffix(QStringLiteral("m4a"));
    dialog->setDirectory(defaultFolder());
    dialog->selectFile(fromUtf8(request.suggestedName));
    dialog->setWindowModality(attached ? Qt::WindowModal : Qt::NonModal);
    // Exactly one answer, whatever ends the dialog (a choice, Cancel, Escape, the close button).
    QObject::connect(dialog, &QFileDialog::finished, dialog,
                     [dialog, answer = std::move(answer)](int result) {
                         const QStringList chosen = dialog->selectedFiles();
                         if (result != QDialog::Accepted || chosen.isEmpty()) {
                             answer(std::nullopt);
                             return;
                         }
                         answer(std::filesystem::path(chosen.first().toStdString()));
                     });
    dialog->open();
}

}  // namespace quillon
