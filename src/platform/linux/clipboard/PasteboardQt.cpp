#include "platform/linux/clipboard/PasteboardQt.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QMetaObject>
#include <QMimeData>
#include <QThread>

namespace quillon {

namespace {

// Runs `work` on the application's (GUI) thread, where QClipboard lives, and returns its result.
template <typename Work>
auto onGuiThread(Work work) -> decltype(work()) {
    QCoreApplication* application = QCoreApplication::instance();
    if (application == nullptr || QThread::currentThread() == application->thread()) return work();
    decltype(work()) result{};
    QMetaObject::invokeMethod(application, [&] { result = work(); }, Qt::BlockingQueuedConnection);
    return result;
}

}  // namespace

PasteboardQt::PasteboardQt() : clipboard_(QGuiApplication::clipboard()) {}

std::optional<std::string> PasteboardQt::string() const {
    return onGuiThread([&]() -> std::optional<std::string> {
        if (clipboard_ == nullptr) return std::nullopt;
        const QMimeData* data = clipboard_->mimeData(QClipboard::Clipboard);
        if (data == nullptr || !data->hasText()) return std::nullopt;
        return data->text().toStdString();
    });
}

bool PasteboardQt::setString(const std::string& text) {
    return onGuiThread([&]() -> bool {
        if (clipboard_ == nullptr) return false;
        const QString value = QString::fromStdString(text);
        clipboard_->setText(value, QClipboard::Clipboard);
        // X11 reports no error for a failed selection grab; reading back goes to the selection owner,
        // so it shows whether this process really holds the text now.
        return clipboard_->text(QClipboard::Clipboard) == value;
    });
}

std::vector<std::string> PasteboardQt::types() const {
    return onGuiThread([&]() -> std::vector<std::string> {
        std::vector<std::string> result;
        if (clipboard_ == nullptr) return result;
        const QMimeData* data = clipboard_->mimeData(QClipboard::Clipboard);
        if (data == nullptr) return result;
        for (const QString& format : data->formats()) result.push_back(format.toStdString());
        return result;
    });
}

void PasteboardQt::declareTypes(const std::vector<std::string>& types) {
    onGuiThread([&] {
        if (clipboard_ == nullptr) return false;
        if (types.empty()) {
            clipboard_->clear(QClipboard::Clipboard);
            return true;
        }
        auto* data = new QMimeData;
        for (const std::string& type : types) data->setData(QString::fromStdString(type), QByteArray());
        clipboard_->setMimeData(data, QClipboard::Clipboard);  // the clipboard takes ownership
        return true;
    });
}

void PasteboardQt::clear() {
    onGuiThread([&] {
        if (clipboard_ != nullptr) clipboard_->clear(QClipboard::Clipboard);
        return true;
    });
}

}  // namespace quillon
