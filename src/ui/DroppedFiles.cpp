#include "ui/DroppedFiles.h"

#include <QMimeData>
#include <QUrl>

namespace quillon {

std::vector<std::filesystem::path> droppedFiles(const QMimeData* data) {
    std::vector<std::filesystem::path> files;
    if (data == nullptr || !data->hasUrls()) return files;
    for (const QUrl& url : data->urls()) {
        if (!url.isLocalFile()) return {};
        files.emplace_back(url.toLocalFile().toStdString());
    }
    return files;
}

}  // namespace quillon
