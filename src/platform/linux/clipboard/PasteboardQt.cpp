#include "platform/linux/clipboard/PasteboardQt.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QMimeData>

namespace quillon {

PasteboardQt::PasteboardQt() : clipboard_(QGuiApplication::clipboard()) {}

std::optional<std::string> PasteboardQt::string() const {
    if (clipboard_ == nullptr) return std::nullopt;
    const QMimeData* data = clipboard_->mimeData(QClipboard::Clipboard);
    if (data == nullptr || !data->hasText()) return std::nullopt;
    return data->text().toStdString();
}

bool PasteboardQt::setString(const std::string& text) {
    if (clipboard_ == nullptr) return false;
    const QString value = QString::fromStdString(text);
    clipboard_->setText(value, QClipboard::Clipboard);
    // X11 reports no error for a failed selection grab; reading back goes to the selection owner,
    // so it shows whether this process really holds the text now.
    return clipboard_->text(QClipboard::Clipboard) == value;
}

void PasteboardQt::clear() {
    if (clipboard_ != nullptr) clipboard_->clear(QClipboard::Clipboard);
}

}  // namespace quillon
